// cmXPath: the query engine over cmMiniXml documents, and the entry points
// the document and the handle layer call. A query is compiled
// (cmXPathCompiler: text to a flat opcode array) and run (cmXPathEval:
// continuation-passing over the array) once per call; nothing is cached.
//
// The dialect: location paths with every XPath axis, predicates, the
// comparisons, integer + and -, and the functions contains (regular
// expression), strieq, file-eq, concat, not, last, position, name. Results
// stand in the order the query reached them, neither sorted nor free of
// duplicates.
//
// Entry points: findFirst, findAll, evaluate (static; context null means the
// document node). Failures throw cmException with the numbers of
// cmXPathErrors.h. Ownership: a cmXPath owns its program and its evaluation
// stack and lives for one call; it borrows the document. Single-threaded; a
// query counts as a write to the document (lazy decoding, createIfMissing).
#pragma once

#include <cstdint>
#include <string_view>

#include "xml/cmXPathEval.h"
#include "xml/cmXPathItem.h"
#include "xml/cmXPathNodeList.h"
#include "xml/cmXPathOpcode.h"

class cmMiniXml;
struct cmMiniXmlNode;

class cmXPath {
 public:
  explicit cmXPath(cmMiniXml& doc) : eval_(doc) {}
  cmXPath(const cmXPath&) = delete;
  cmXPath& operator=(const cmXPath&) = delete;

  // Compiles `query`; the text also ends at a zero byte.
  void compile(std::string_view query);
  // Runs the compiled program from `context` (null: the document node).
  void run(cmMiniXmlNode* context, const cmXPathRunOptions& options, cmXPathItem& result);
  const cmXPathProgram& program() const { return program_; }

  // The first node the query reaches, or null. With createIfMissing, child
  // steps that find nothing make an empty element of the name they test, so
  // "a/b" makes a and b as needed. A result that is no node set of at most
  // one node throws CM_XPATH_ERR_FIRST_NOT_SINGLE.
  static cmMiniXmlNode* findFirst(cmMiniXml& doc, std::string_view query, cmMiniXmlNode* context = nullptr,
                                  bool createIfMissing = false);
  // Every node the query reaches, into `results` (replaced, or added to with
  // `append`). A result that is no node set throws CM_XPATH_ERR_NOT_NODE_SET.
  static void findAll(cmMiniXml& doc, std::string_view query, cmXPathNodeList& results,
                      cmMiniXmlNode* context = nullptr, bool append = false);
  // The query's value, which must be a node set (CM_XPATH_ERR_NOT_NODE_SET).
  // maxResults -1: no limit; otherwise the run stops once the set holds more
  // than maxResults nodes.
  static void evaluate(cmMiniXml& doc, std::string_view query, cmXPathItem& result,
                       cmMiniXmlNode* context = nullptr, int64_t maxResults = -1);

 private:
  cmXPathProgram program_;
  cmXPathEval eval_;
};
