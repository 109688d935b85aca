// cmXPathEval: runs a compiled cmXPathProgram over a cmMiniXml tree.
//
// Evaluation is continuation-passing: each opcode has a handler (a table of
// CM_XPOP_COUNT entries indexed by the code) that takes its opcode, the size
// of the enclosing step (known only when the step counted first for last()),
// the context node and its position, and calls the handler of the next
// opcode once per node it accepts. No intermediate node set is built: a path
// collects into the one set its opening opcode pushed. Values travel on an
// item stack reserved up front (the program's length bounds its depth).
//
// Position rule: a step numbers the candidates that pass its node test;
// predicates don't renumber, and a nested path or a one-step path restarts
// the chain behind it at position 1.
//
// Entry point: run(). Failures throw cmException (cmXPathErrors.h).
// Ownership: the evaluator owns its stack; it borrows the program and the
// document for the call. Single-threaded; a run writes to the document
// (lazy decoding, and nodes made by createIfMissing).
#pragma once

#include <cstdint>

#include "xml/cmXPathItem.h"
#include "xml/cmXPathOpcode.h"

class cmMiniXml;
struct cmMiniXmlNode;

struct cmXPathRunOptions {
  bool firstOnly = false;        // stop at the first node the whole query delivers
  bool createIfMissing = false;  // child steps without candidates make an empty element
  int64_t maxResults = -1;       // stop once the result holds more nodes; -1: no limit
};

class cmXPathEval {
 public:
  explicit cmXPathEval(cmMiniXml& doc) : doc_(doc) {}
  cmXPathEval(const cmXPathEval&) = delete;
  cmXPathEval& operator=(const cmXPathEval&) = delete;
  ~cmXPathEval();

  // Runs `program` from `start` (null: the document node) and moves the value
  // left on top of the stack into `result`. An empty program throws
  // CM_XPATH_ERR_EMPTY_PROGRAM.
  void run(const cmXPathProgram& program, cmMiniXmlNode* start, const cmXPathRunOptions& options,
           cmXPathItem& result);

  // ---- For the handlers.
  cmMiniXml& doc() { return doc_; }
  cmMiniXmlNode* startNode() const { return start_; }
  const cmXPathRunOptions& options() const { return options_; }
  bool stopped() const { return stop_; }
  void stop() { stop_ = true; }
  cmXPathItem& push();
  void pop() { --depth_; }
  cmXPathItem& top(int64_t fromTop = 0) { return stack_[depth_ - 1 - fromTop]; }
  int64_t depth() const { return depth_; }
  // Appends to the node set on top, stopping the run at maxResults.
  void appendResult(cmMiniXmlNode* node);

 private:
  void reserve(int64_t capacity);

  cmMiniXml& doc_;
  cmXPathItem* stack_ = nullptr;
  int64_t depth_ = 0;
  int64_t capacity_ = 0;
  cmMiniXmlNode* start_ = nullptr;
  cmXPathRunOptions options_;
  bool stop_ = false;
};
