#include "ingest/SvnLogReader.h"

#include "ingest/LogEntryScan.h"
#include "text/cmDateParts.h"
#include "text/cmDateText.h"
#include "update/RunLog.h"
#include "xml/tvXmlCfg.h"

namespace {

// Logs `format` with the local time of this moment in ISO form.
void logWithTime(const char* format) {
  cmString now = cmDateText::toText(cmDateParts::nowLocal(), 3);
  LogVerbose(format, now.isNull() ? "" : now.data());
}

// Opens the log; the handle, or a negative number after which there is
// nothing to close.
int32_t openLog(const char* xmlFile) {
  int32_t status = 0;
  int32_t handle = tvXMLCFGOpen(xmlFile, &status, ingest::kLogOpenFlags, ingest::kLogEncodingAutoXml);
  if (status != 0 || handle < 0) return ingest::kParseUnreadable;
  return handle;
}

// Closes the handle on every way out.
class LogDocument {
 public:
  explicit LogDocument(int32_t handle) : handle_(handle) {}
  ~LogDocument() { tvXMLCFGClose(handle_); }
  LogDocument(const LogDocument&) = delete;
  LogDocument& operator=(const LogDocument&) = delete;
  int32_t handle() const { return handle_; }

 private:
  int32_t handle_;
};

}  // namespace

int32_t ParseSvnLog(VCDataLayer* cache, const char* xmlFile, LogPasses& passes) {
  logWithTime("Begin tvXMLCFGOpen: %s");
  int32_t handle = openLog(xmlFile);
  if (handle < 0) return ingest::kParseUnreadable;
  LogDocument doc(handle);

  // The entries of kLogEntryQuery, with a hint for the branch pass.
  ingest::LogEntries scan;
  ingest::ScanLogEntries(handle, scan);
  const cmArray<int>& entries = scan.ids;
  if (entries.size() == 0) return ingest::kParseNoEntries;
  passes.noteDirectoryHints(&scan.mayAddDirectory);
  struct Forget {
    LogPasses& passes;
    ~Forget() { passes.noteDirectoryHints(nullptr); }
  } forget{passes};

  logWithTime("Begin StoreBranchInfo: %s");
  passes.storeBranchInfo(cache, handle, entries);
  logWithTime("Begin StoreRevisionInfo: %s");
  passes.storeRevisionInfo(cache, handle, entries);
  logWithTime("Begin StoreLabelInfo: %s");
  passes.storeLabelInfo(cache, handle, entries);
  logWithTime("Done: %s");
  return ingest::kParseOk;
}

int32_t ParseSvnLog(VCDataLayer* cache, const char* xmlFile) {
  CacheLogPasses passes;
  return ParseSvnLog(cache, xmlFile, passes);
}

int32_t ParseSvnLogForMaxRevision(VCDataLayer*, const char* xmlFile) {
  logWithTime("Begin ParseSvnLogForMaxRevision tvXMLCFGOpen: %s");
  int32_t handle = openLog(xmlFile);
  if (handle < 0) return ingest::kNoHeadRevision;
  LogDocument doc(handle);

  cmArray<int> entries;
  tvXMLCFGFindList(handle, ingest::kLogEntryQuery, 0, entries, 0, -1);
  if (entries.size() != 1) return ingest::kNoHeadRevision;
  return static_cast<int32_t>(tvXMLCFGGetAttributeInteger(handle, entries[0], "revision", -1));
}
