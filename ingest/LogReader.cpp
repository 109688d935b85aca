#include "ingest/LogReader.h"

#include <cstring>

#include "ingest/CopyEntry.h"
#include "runtime/cmException.h"
#include "xml/cmMiniXml.h"
#include "xml/cmXPath.h"
#include "xml/cmXPathAxes.h"
#include "xml/cmXPathOpcode.h"

using tolvane::TVString;

namespace ingest {

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

namespace {

// A node's name against a literal, byte for byte; the literal's length is
// known here, so the test compiles to a length check and a short compare.
template <size_t N>
inline bool named(const cmMiniXmlNode* n, const char (&name)[N]) {
  return n->nameLength == N - 1 && std::memcmp(n->name, name, N - 1) == 0;
}

// The `path` children of the `paths` children of `entry`, in document
// order, by the node tests of the steps "paths/path": elements of either
// kind, names compared byte for byte. Stops when `visit` returns false.
template <typename Visit>
inline void forEachPath(cmMiniXmlNode* entry, Visit visit) {
  cmXPathAxes::Child paths, path;
  for (cmMiniXmlNode* c = paths.start(entry); c; c = paths.next()) {
    if (!(c->kind & CM_XPATH_MASK_ELEMENTS) || !named(c, "paths")) continue;
    for (cmMiniXmlNode* p = path.start(c); p; p = path.next()) {
      if (!(p->kind & CM_XPATH_MASK_ELEMENTS) || !named(p, "path")) continue;
      if (!visit(p)) return;
    }
  }
}

// [@name] of a predicate: an attribute of that name anywhere among the
// element's children, as the attribute step finds it.
template <size_t N>
inline bool hasAttribute(const cmMiniXmlNode* element, const char (&name)[N]) {
  cmXPathAxes::Child attribute;
  for (cmMiniXmlNode* a = attribute.start(element); a; a = attribute.next())
    if ((a->kind & CM_XPATH_MASK_ATTRIBUTE) && named(a, name)) return true;
  return false;
}

// Whether the attribute's decoded value is `value` (which holds no '&').
// A raw value without '&' is its own decoded value, which is what decodedValue would return
// untouched; only one with '&' goes there (and is decoded on the spot, as
// the query's comparison decodes it).
inline bool decodedValueIs(cmMiniXml& doc, cmMiniXmlNode* a, std::string_view value) {
  const std::string_view raw = a->rawValue();
  if (raw == value) return true;
  for (char c : raw)
    if (c == '&') return doc.decodedValue(a) == value;
  return false;
}

// [@name='value']: some attribute of that name whose decoded value is
// `value` byte for byte. The attributes are decoded in order up to the
// first that matches, as the comparison of the query decodes them.
template <size_t N, size_t M>
inline bool hasAttributeValue(cmMiniXml& doc, const cmMiniXmlNode* element, const char (&name)[N],
                              const char (&value)[M]) {
  cmXPathAxes::Child attribute;
  for (cmMiniXmlNode* a = attribute.start(element); a; a = attribute.next())
    if ((a->kind & CM_XPATH_MASK_ATTRIBUTE) && named(a, name) && decodedValueIs(doc, a, {value, M - 1}))
      return true;
  return false;
}

}  // namespace

// Whether a `path` of a `paths` child of the entry has an attribute kind
// whose value is "dir": the steps and the first predicate of the added-
// directory query, by the same node tests. Without such a path the query
// finds nothing; with one, the query itself decides. Most entries change
// files only, and are answered here without a run of the query.
bool LogReader::mayHaveAddedDirectory(cmMiniXmlNode* entry) {
  bool found = false;
  forEachPath(entry, [&](cmMiniXmlNode* p) {
    found = hasAttributeValue(*doc_, p, "kind", "dir");
    return !found;
  });
  return found;
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

// The query's steps and predicates in its order: kind first, then action,
// then the copy source, each tested only when the ones before it held, so
// that the same attribute values are decoded.
const cmXPathNodeList& LogReader::changedFiles(cmMiniXmlNode* entry) {
  if (!entry) return noPaths();
  try {
    changedFiles_.clear();
    forEachPath(entry, [&](cmMiniXmlNode* p) {
      if (hasAttributeValue(*doc_, p, "kind", "file") && !hasAttributeValue(*doc_, p, "action", "D") &&
          !hasAttribute(p, "copyfrom-path"))
        changedFiles_.push(p);
      return true;
    });
    return changedFiles_;
  } catch (const cmException&) {
    // Out of memory for the list: no match, as a failed run of the query.
    return noPaths();
  }
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
  f.timeStamp = childText(entry, "date", value) ? LogEntryFields::parseTimeStamp(value) : 0;
  return f;
}

}  // namespace ingest
