#include "ingest/CopyEntry.h"

#include <cstring>
#include <string_view>

#include "ingest/LogReader.h"

using tolvane::TVString;

namespace ingest {

void StripLogValue(TVString& text) { text.strip(" \r\n", 'B', 1); }

bool CopyEntry::readTarget(LogReader& log, cmMiniXmlNode* entry) {
  pathNode = log.firstAddedDirectory(entry);
  if (!pathNode) return false;
  return log.pathText(pathNode, path);
}

void CopyEntry::readSource(LogReader& log) {
  copyFromPath = log.attribute(pathNode, "copyfrom-path");
  copyFromRev = log.attribute(pathNode, "copyfrom-rev");
}

bool CopyEntry::pathBeginsWith(const char* prefix) const {
  // The head of the path, stripped by the log's rule, without a copy.
  const size_t n = std::strlen(prefix);
  std::string_view head(path.isNull() ? "" : path.data(), static_cast<size_t>(path.length()));
  if (head.size() > n) head = head.substr(0, n);
  while (!head.empty() && IsLogBlank(head.front())) head.remove_prefix(1);
  while (!head.empty() && IsLogBlank(head.back())) head.remove_suffix(1);
  return head == std::string_view(prefix, n);
}

}  // namespace ingest
