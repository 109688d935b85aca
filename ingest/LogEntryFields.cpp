#include "ingest/LogEntryFields.h"

#include "ingest/LogReader.h"
#include "text/cmDateParts.h"
#include "text/cmDateReader.h"

cmDateStamp LogEntryFields::parseTimeStamp(const cmString& text) {
  cmDateParts parts;
  try {
    cmDateReader::parseIso(parts, text, true, true);
  } catch (...) {
    // A date the reader refused leaves a half-filled value, whose stamp
    // would mean nothing: the row is stored without a time.
    return 0;
  }
  return parts.toStamp();
}

LogEntryFields LogEntryFields::read(int32_t document, int32_t entry) {
  ingest::LogReader log(document);
  return log.fields(log.entry(entry));
}
