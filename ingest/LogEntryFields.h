// LogEntryFields: the fields of one log entry as every ingest pass reads
// them.
//
//   revision   the entry's "revision" attribute, empty when missing
//   author     text of the first "author" child element, stripped
//   message    text of the first "msg" child element, stripped
//   timeStamp  text of the first "date" child element, stripped and read
//              as ISO time in UTC; 0 when missing or not a date
//
// Stripping takes blanks, CR and LF off both ends (tabs and inner line
// ends stay). A missing element, or one without a text child, reads as
// empty (or 0).
//
// The passes read the fields through their LogReader (LogReader.h), which
// holds the document for the pass; read() is the same for one entry of a
// handle, for callers without a reader. A plain value.
#pragma once

#include <cstdint>
#include <string_view>

#include "text/TVString.h"
#include "text/cmDateStamp.h"

struct LogEntryFields {
  tolvane::TVString revision;
  tolvane::TVString author;
  tolvane::TVString message;
  cmDateStamp timeStamp = 0;

  // The fields of the entry with node id `entry` of the document behind
  // the handle; takes the handle lock for the call.
  static LogEntryFields read(int32_t document, int32_t entry);

  // ISO text ("2024-01-31T09:15:00.123456Z") to a stamp; 0 when the text
  // is no date.
  static cmDateStamp parseTimeStamp(const cmString& text);
  // The same for the unstripped value of a `date` text node: stripped by
  // the log's rule first, a null view read as the null text.
  static cmDateStamp parseTimeStamp(std::string_view value);
};
