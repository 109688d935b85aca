#include "ingest/LogReader.h"

#include "ingest/CopyEntry.h"
#include "runtime/cmException.h"
#include "xml/cmMiniXml.h"
#include "xml/cmXPath.h"
#include "xml/cmXPathAxes.h"
#include "xml/cmXPathOpcode.h"

using tolvane::TVString;

namespace ingest {

namespace {

// Files that the commit wrote itself: added, changed or replaced. Deleted
// files and files that came by copy don't count.
constexpr const char* kChangedFileQuery = "paths/path[@kind='file'][not(@action='D')][not(@copyfrom-path)]";

}  // namespace

TVString StrippedLogValue(std::string_view value) {
  size_t from = 0, to = value.size();
  while (from < to && IsLogBlank(value[from])) ++from;
  while (to > from && IsLogBlank(value[to - 1])) --to;
  // A null view stays a null text, as a copy of it would; any other view
  // gives a text, empty or not, as strip's slice does.
  if (value.data() == nullptr) return TVString();
  return TVString(value.data() + from, static_cast<int64_t>(to - from));
}

// One query of the pass: compiled on first use, then run from each entry
// with the same evaluator; the result item keeps its list between runs.
struct LogReader::Query {
  Query(cmMiniXml& doc, std::string_view text) : xpath(doc) { xpath.compile(text); }
  cmXPath xpath;
  cmXPathItem result;
};

LogReader::LogReader(int32_t document) {
  handleEntry_ = tvXmlCfgTable::entry(document);
  if (handleEntry_) doc_ = &handleEntry_->doc;
}

LogReader::~LogReader() = default;

cmMiniXmlNode* LogReader::entry(int32_t id) const {
  return handleEntry_ ? tvXmlCfgTable::node(handleEntry_, id) : nullptr;
}

LogReader::Query& LogReader::query(std::unique_ptr<Query>& slot, std::string_view text) {
  if (!slot) slot = std::make_unique<Query>(*doc_, text);
  return *slot;
}

namespace {

const cmXPathNodeList& noPaths() {
  static const cmXPathNodeList kNone;
  return kNone;
}

// The nodes of a run's result; none when the result is no node set.
const cmXPathNodeList& nodesOf(const cmXPathItem& result) {
  if (result.type != cmXPathItem::NODE_SET || !result.nodes) return noPaths();
  return *result.nodes;
}

}  // namespace

// Whether a `path` of a `paths` child of the entry has an attribute kind
// whose value is "dir": the steps and the first predicate of the added-
// directory query, by the same node tests (elements by name, attributes by
// name, values decoded and compared byte for byte). Without such a path the
// query finds nothing; with one, the query itself decides. Most entries
// change files only, and are answered here without a run of the query.
bool LogReader::mayHaveAddedDirectory(cmMiniXmlNode* entry) {
  cmXPathAxes::Child paths, path, attribute;
  for (cmMiniXmlNode* c = paths.start(entry); c; c = paths.next()) {
    if (!(c->kind & CM_XPATH_MASK_ELEMENTS) || c->nameView() != "paths") continue;
    for (cmMiniXmlNode* p = path.start(c); p; p = path.next()) {
      if (!(p->kind & CM_XPATH_MASK_ELEMENTS) || p->nameView() != "path") continue;
      for (cmMiniXmlNode* a = attribute.start(p); a; a = attribute.next())
        if ((a->kind & CM_XPATH_MASK_ATTRIBUTE) && a->nameView() == "kind" && doc_->decodedValue(a) == "dir")
          return true;
    }
  }
  return false;
}

cmMiniXmlNode* LogReader::firstAddedDirectory(cmMiniXmlNode* entry) {
  if (!entry) return nullptr;
  // What tvXMLCFGFindFirst runs: stop at the first match. Anything thrown
  // is its "not found".
  try {
    if (!mayHaveAddedDirectory(entry)) return nullptr;
    Query& q = query(addedDirectory_, kAddedDirectoryQuery);
    cmXPathRunOptions options;
    options.firstOnly = true;
    q.xpath.run(entry, options, q.result);
    const cmXPathNodeList& found = nodesOf(q.result);
    return found.empty() ? nullptr : found[0];
  } catch (const cmException&) {
    return nullptr;
  }
}

// What tvXMLCFGFindList runs: every match, no limit. A failed run leaves no
// match, as the handle function leaves its cleared array.
const cmXPathNodeList& LogReader::list(std::unique_ptr<Query>& slot, std::string_view text, cmMiniXmlNode* entry) {
  if (!entry) return noPaths();
  try {
    Query& q = query(slot, text);
    q.xpath.run(entry, cmXPathRunOptions(), q.result);
    return nodesOf(q.result);
  } catch (const cmException&) {
    return noPaths();
  }
}

const cmXPathNodeList& LogReader::deletedPaths(cmMiniXmlNode* entry) {
  return list(deletedPath_, kDeletedPathQuery, entry);
}

const cmXPathNodeList& LogReader::changedFiles(cmMiniXmlNode* entry) {
  return list(changedFile_, kChangedFileQuery, entry);
}

bool LogReader::pathText(cmMiniXmlNode* node, TVString& text) {
  // tvXMLCFGGetFirstChild with kind mask 128, then the decoded value.
  cmMiniXmlNode* textNode = node ? cmMiniXml::firstChildOfKind(node, CMXML_NODE_TEXT) : nullptr;
  if (!textNode) return false;
  text = StrippedLogValue(doc_->decodedValue(textNode));
  return true;
}

TVString LogReader::attribute(cmMiniXmlNode* node, const char* name) {
  cmMiniXmlNode* attr = node ? cmMiniXml::findAttribute(node, name) : nullptr;
  if (!attr) return TVString("", 0);
  std::string_view v = doc_->decodedValue(attr);
  return TVString(v.data(), static_cast<int64_t>(v.size()));
}

bool LogReader::childText(cmMiniXmlNode* entry, std::string_view name, std::string_view& value) {
  // tvXMLCFGFindChild with kind mask 1, then its first text child.
  cmMiniXmlNode* child = entry ? cmMiniXml::findChild(entry, name, CMXML_NODE_ELEMENT) : nullptr;
  cmMiniXmlNode* textNode = child ? cmMiniXml::firstChildOfKind(child, CMXML_NODE_TEXT) : nullptr;
  if (!textNode) return false;
  value = doc_->decodedValue(textNode);
  return true;
}

LogEntryFields LogReader::fields(cmMiniXmlNode* entry) {
  LogEntryFields f;
  f.revision = attribute(entry, "revision");
  std::string_view value;
  f.author = childText(entry, "author", value) ? StrippedLogValue(value) : TVString("", 0);
  f.message = childText(entry, "msg", value) ? StrippedLogValue(value) : TVString("", 0);
  f.timeStamp = childText(entry, "date", value) ? LogEntryFields::parseTimeStamp(StrippedLogValue(value).getCMString())
                                                : 0;
  return f;
}

}  // namespace ingest
