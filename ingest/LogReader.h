// LogReader: what one ingest pass reads of the open log document, reached
// once for the whole pass instead of once per field.
//
// The passes read the document by the same rules for every log entry: three
// XPath queries, the first text child of a `path`, attributes with an empty
// default, and the fields of LogEntryFields. Through the handle functions
// each of those reads took the handle lock, looked the handle and the node
// id up again, copied the value twice, and each query was compiled anew for
// every entry. A LogReader takes the lock once, resolves the handle to its
// document once, compiles each query on its first use and runs the compiled
// program with one evaluator for every entry of the pass. The changed-file
// query, run on every entry, is answered by a walk of the entry's children
// that applies the query's node tests and predicates in the query's order.
// The results are those of the handle functions, value for value: the same
// nodes in the same order, and values made from the same decoded bytes (a
// missing value reads as the same empty text, a missing node as "no
// match").
//
// Lifetime: one object per pass, on the pass's stack, while ParseSvnLog
// holds the document open. Node pointers and the node lists that the
// queries return are valid until the reader runs the same query again or
// is destroyed. The reader holds the handle family's recursive lock for
// its whole life, so nothing else reads or changes a document meanwhile
// (the program has one thread; the lock keeps the rule of the family).
// Not copyable; one thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "ingest/LogEntryFields.h"
#include "text/TVString.h"
#include "xml/cmXPathNodeList.h"
#include "xml/tvXmlCfgHandleTable.h"

class cmMiniXml;
struct cmMiniXmlNode;

namespace ingest {

// Files that the commit wrote itself: added, changed or replaced; deleted
// files and files that came by copy don't count. changedFiles() walks the
// tree instead of running it; the two change together.
constexpr const char* kChangedFileQuery = "paths/path[@kind='file'][not(@action='D')][not(@copyfrom-path)]";

class LogReader {
 public:
  // The reader of the document behind `document`; a bad handle gives a
  // reader that finds no entry (entry() is null for every id).
  explicit LogReader(int32_t document);
  ~LogReader();
  LogReader(const LogReader&) = delete;
  LogReader& operator=(const LogReader&) = delete;

  // The node of a log entry's id, or null for an id that names no node.
  cmMiniXmlNode* entry(int32_t id) const;

  // The first `path` of "paths/path[@kind='dir'][@action='A']", or null.
  // An entry without a `path` of kind "dir" is answered without running
  // the query (see mayHaveAddedDirectory); any other by the query.
  cmMiniXmlNode* firstAddedDirectory(cmMiniXmlNode* entry);
  // The paths of "paths/path[@action='D']", in document order.
  const cmXPathNodeList& deletedPaths(cmMiniXmlNode* entry);
  // The paths of kChangedFileQuery, in document order.
  const cmXPathNodeList& changedFiles(cmMiniXmlNode* entry);

  // The stripped value of the node's first text child (kind 128); false,
  // and `text` left alone, when there is none.
  bool pathText(cmMiniXmlNode* node, tolvane::TVString& text);
  // The decoded value of the attribute `name`, or the empty text.
  tolvane::TVString attribute(cmMiniXmlNode* node, const char* name);
  // The entry's fields by the rules of LogEntryFields; a null entry reads
  // as the fields of an entry without any of them.
  LogEntryFields fields(cmMiniXmlNode* entry);

 private:
  struct Query;
  Query& query(std::unique_ptr<Query>& slot, std::string_view text);
  const cmXPathNodeList& list(std::unique_ptr<Query>& slot, std::string_view text, cmMiniXmlNode* entry);
  bool mayHaveAddedDirectory(cmMiniXmlNode* entry);
  // The decoded value of the first text child of the entry's first child
  // element `name`; false when either is missing.
  bool childText(cmMiniXmlNode* entry, std::string_view name, std::string_view& value);

  tvXmlCfgLock lock_;
  cmMiniXml* doc_ = nullptr;
  tvXmlCfgEntry* handleEntry_ = nullptr;
  std::unique_ptr<Query> addedDirectory_;
  std::unique_ptr<Query> deletedPath_;
  cmXPathNodeList changedFiles_;
};

// The set that StripLogValue takes off both ends; tabs are content.
inline bool IsLogBlank(char c) { return c == ' ' || c == '\r' || c == '\n'; }

// The text between the blanks, CR and LF at both ends of `value`, as a
// string; the same text as copying `value` and stripping it by the log's
// rule (StripLogValue), made with one copy.
tolvane::TVString StrippedLogValue(std::string_view value);

}  // namespace ingest
