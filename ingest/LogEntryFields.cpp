#include "ingest/LogEntryFields.h"

#include "text/cmDateParts.h"
#include "text/cmDateReader.h"
#include "xml/cmMiniXmlNode.h"
#include "xml/tvXmlCfg.h"

using tolvane::TVString;

namespace {

// What surrounds a value in the client's log; tabs are content.
constexpr const char* kStripSet = " \r\n";

// The first text child of the entry's first child element `name`, or -1.
int32_t childTextNode(int32_t document, int32_t entry, const char* name) {
  int32_t child = tvXMLCFGFindChild(document, entry, name, CMXML_NODE_ELEMENT);
  if (child < 0) return -1;
  int32_t text = tvXMLCFGGetFirstChild(document, child, CMXML_NODE_TEXT);
  return text < 0 ? -1 : text;
}

}  // namespace

TVString LogEntryFields::readRevision(int32_t document, int32_t entry) {
  return tvXMLCFGGetAttributeString(document, entry, "revision", "");
}

TVString LogEntryFields::readChildText(int32_t document, int32_t entry, const char* name) {
  int32_t text = childTextNode(document, entry, name);
  if (text < 0) return TVString("", 0);
  TVString value = tvXMLCFGGetValueString(document, text);
  value.strip(kStripSet, 'B', 1);
  return value;
}

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

cmDateStamp LogEntryFields::readTimeStamp(int32_t document, int32_t entry) {
  int32_t text = childTextNode(document, entry, "date");
  if (text < 0) return 0;
  TVString value(tvXMLCFGGetValueCMString(document, text));
  value.strip(kStripSet, 'B', 1);
  return parseTimeStamp(value.getCMString());
}

LogEntryFields LogEntryFields::read(int32_t document, int32_t entry) {
  LogEntryFields f;
  f.revision = readRevision(document, entry);
  f.author = readChildText(document, entry, "author");
  f.message = readChildText(document, entry, "msg");
  f.timeStamp = readTimeStamp(document, entry);
  return f;
}
