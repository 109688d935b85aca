// UpdateServices: everything the update driver asks of the world outside its
// own control flow: the clock, the Subversion client, the XML parser, the
// cache session and file removal. The driver calls only these, in the order
// of a run; the program links ProductionUpdateServices, and tests put a
// scripted implementation in its place to see and steer every step.
//
// Ownership: an implementation owns the cache session that openCache starts
// and ends it in closeCache (or its destructor). The driver owns nothing.
// Threading: one run on one thread; implementations need no locks.
#pragma once

#include <cstdint>

#include "text/TVString.h"
#include "text/cmDateStamp.h"

class UpdateServices {
 public:
  virtual ~UpdateServices() = default;

  // Milliseconds from an arbitrary start, wrapping at 2^32.
  virtual uint32_t tickCount() = 0;
  // Now as a stamp, UTC, to the millisecond.
  virtual cmDateStamp currentTime() = 0;

  // The stamp in local time as ISO text ("YYYY-MM-DDTHH:mm:ss", a fraction
  // when there are microseconds, then "Z"), and the same local time written
  // by a date pattern such as " -r\"{YYYY-MM-DD}:HEAD\"". 0, or a negative
  // number when the text could not be made.
  virtual int32_t localIsoText(cmDateStamp stamp, tolvane::TVString& text) = 0;
  virtual int32_t localDateByPattern(cmDateStamp stamp, const char* pattern, tolvane::TVString& text) = 0;

  // Runs the client with an argument text that redirects its output; the
  // client's exit status (0 for success) or a negative number when it could
  // not be started.
  virtual int32_t runSvn(const tolvane::TVString& svnPath, const tolvane::TVString& arguments) = 0;

  // Makes the cache session and opens or creates the file: 0, or the
  // session's negative number.
  virtual int32_t openCache(const tolvane::TVString& repositoryUrl, const tolvane::TVString& databaseFile,
                            int32_t dbVersion) = 0;
  // The stored time of the last complete update; 0 when never completed.
  virtual int32_t getLastUpdateTime(cmDateStamp& stamp) = 0;
  virtual int32_t setLastUpdateTime(cmDateStamp stamp) = 0;
  // Writes what is dirty and ends the session: 0, or the status of a write
  // that failed. A call without a session does nothing and gives 0.
  virtual int32_t closeCache() = 0;

  // Stores the entries of the client's XML file in the open cache: 0, -1 for
  // a file that can't be read as XML, -2 for one without entries.
  virtual int32_t parseSvnLog(const char* xmlFile) = 0;
  // The revision of the single entry of a head query, or -1.
  virtual int32_t parseSvnLogForMaxRevision(const char* xmlFile) = 0;

  // Removes a file; failure is not reported.
  virtual void deleteFile(const char* path) = 0;
};
