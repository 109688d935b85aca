#include "ingest/CopyEntry.h"

#include <cstring>

#include "xml/cmMiniXmlNode.h"
#include "xml/tvXmlCfg.h"

using tolvane::TVString;

namespace ingest {

void StripLogValue(TVString& text) { text.strip(" \r\n", 'B', 1); }

bool ReadPathText(int32_t document, int32_t pathNode, TVString& text) {
  int32_t textNode = tvXMLCFGGetFirstChild(document, pathNode, CMXML_NODE_TEXT);
  if (textNode < 0) return false;
  text = tvXMLCFGGetValueString(document, textNode);
  StripLogValue(text);
  return true;
}

bool CopyEntry::readTarget(int32_t document, int32_t entry) {
  pathNode = tvXMLCFGFindFirst(document, kAddedDirectoryQuery, entry);
  if (pathNode < 0) return false;
  return ReadPathText(document, pathNode, path);
}

void CopyEntry::readSource(int32_t document) {
  copyFromPath = tvXMLCFGGetAttributeString(document, pathNode, "copyfrom-path", "");
  copyFromRev = tvXMLCFGGetAttributeString(document, pathNode, "copyfrom-rev", "");
}

bool CopyEntry::pathBeginsWith(const char* prefix) const {
  TVString head = path.sub(0, static_cast<int64_t>(std::strlen(prefix)));
  StripLogValue(head);
  return head == prefix;
}

}  // namespace ingest
