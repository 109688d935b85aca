#include "ingest/LogEntryFields.h"

#include "ingest/LogReader.h"
#include "text/cmDateParts.h"
#include "text/cmDateReader.h"

cmDateStamp LogEntryFields::parseTimeStamp(const cmString& text) {
  cmDateParts parts;
  // Nearly every stamp has the client's own form, which is read without
  // the general reader's copy and tokens; anything else takes that reader.
  if (!text.isNull() &&
      cmDateReader::parseClientTime(parts, std::string_view(text.data(), static_cast<size_t>(text.length()))))
    return parts.toStamp();
  try {
    cmDateReader::parseIso(parts, text, true, true);
  } catch (...) {
    // A date the reader refused leaves a half-filled value, whose stamp
    // would mean nothing: the row is stored without a time.
    return 0;
  }
  return parts.toStamp();
}

cmDateStamp LogEntryFields::parseTimeStamp(std::string_view text) {
  size_t from = 0, to = text.size();
  while (from < to && ingest::IsLogBlank(text[from])) ++from;
  while (to > from && ingest::IsLogBlank(text[to - 1])) --to;
  cmDateParts parts;
  if (cmDateReader::parseClientTime(parts, text.substr(from, to - from))) return parts.toStamp();
  return parseTimeStamp(ingest::StrippedLogValue(text).getCMString());
}

LogEntryFields LogEntryFields::read(int32_t document, int32_t entry) {
  ingest::LogReader log(document);
  return log.fields(log.entry(entry));
}
