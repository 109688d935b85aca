#include "xml/cmXPathEval.h"

#include <new>
#include <string>

#include "runtime/cmAlloc.h"
#include "runtime/cmErrors.h"
#include "runtime/cmException.h"
#include "xml/cmMiniXml.h"
#include "xml/cmXPathAxes.h"
#include "xml/cmXPathCompare.h"
#include "xml/cmXPathErrors.h"
#include "xml/cmXPathRegexSeam.h"

// ---------------------------------------------------------------- stack

cmXPathEval::~cmXPathEval() {
  for (int64_t i = 0; i < capacity_; ++i) stack_[i].~cmXPathItem();
  cmFree(stack_);
}

void cmXPathEval::reserve(int64_t capacity) {
  if (capacity <= capacity_) return;
  // Items keep their storage across pushes, so the stack never moves during
  // a run: reserved once, for the deepest the program can go.
  void* p = cmAlloc(static_cast<size_t>(capacity) * sizeof(cmXPathItem));
  if (!p) throw cmException(CM_ERR_OUT_OF_MEMORY);
  cmXPathItem* fresh = static_cast<cmXPathItem*>(p);
  for (int64_t i = 0; i < capacity; ++i) new (&fresh[i]) cmXPathItem();
  for (int64_t i = 0; i < capacity_; ++i) {
    fresh[i].swap(stack_[i]);
    stack_[i].~cmXPathItem();
  }
  cmFree(stack_);
  stack_ = fresh;
  capacity_ = capacity;
}

cmXPathItem& cmXPathEval::push() {
  // Every push belongs to an opcode on the chain of calls, so the program's
  // length bounds the depth; reserve() made room for it.
  cmXPathItem& item = stack_[depth_++];
  item.type = cmXPathItem::BOOLEAN;
  return item;
}

void cmXPathEval::appendResult(cmMiniXmlNode* node) {
  cmXPathNodeList& list = *top().nodes;
  list.push(node);
  // Only the query's own result counts, the set at the bottom of the stack;
  // sets of nested paths in predicates are not limited.
  if (options_.maxResults >= 0 && depth_ == 1 && list.size() > options_.maxResults) stop_ = true;
}

// ---------------------------------------------------------------- handlers

namespace {

using Handler = void (*)(cmXPathEval&, const cmXPathOpcode*, int64_t, cmMiniXmlNode*, int64_t);
extern const Handler kHandlers[CM_XPOP_COUNT];

inline void runOp(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  kHandlers[op->code](e, op, size, node, pos);
}
inline void runNext(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  kHandlers[op[1].code](e, op + 1, size, node, pos);
}

inline bool accepts(const cmXPathOpcode* op, const cmMiniXmlNode* n) {
  return (n->kind & op->mask) && (op->nameLength == 0 || n->nameView() == op->nameView());
}

// A child step that found nothing may make the element it looked for.
cmMiniXmlNode* createChild(cmXPathEval& e, const cmXPathOpcode* op, cmMiniXmlNode* parent) {
  if (!e.options().createIfMissing || op->mask != CM_XPATH_MASK_ELEMENTS || op->nameLength == 0) return nullptr;
  return e.doc().insertAndCreate(parent, op->name, op->nameLength, CMXML_NODE_ELEMENT_EMPTY,
                                 CMXML_WHERE_LAST_CHILD);
}

// One step over an axis: count first when last() needs the size, number the
// candidates that pass the node test, run the rest of the chain for each.
template <typename Axis, bool kChild = false>
void step(cmXPathEval& e, const cmXPathOpcode* op, int64_t, cmMiniXmlNode* node, int64_t) {
  Axis axis;
  int64_t size = 0;
  if (op->countFirst)
    for (cmMiniXmlNode* n = axis.start(node); n; n = axis.next())
      if (accepts(op, n)) ++size;
  // The last step of a path delivers straight into the result set.
  const bool direct = op[1].code == CM_XPOP_APPEND && !e.options().firstOnly;
  int64_t position = 0;
  for (cmMiniXmlNode* n = axis.start(node); n; n = axis.next()) {
    if (!accepts(op, n)) continue;
    ++position;
    if (direct) e.appendResult(n);
    else runNext(e, op, size, n, position);
    if (e.stopped()) return;
  }
  if (kChild && position == 0)
    if (cmMiniXmlNode* made = createChild(e, op, node)) runNext(e, op, 1, made, 1);
}

// 0, 1, 2: a path in its own node set; the chain behind it goes on at jump.
void pathFrom(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* from, cmMiniXmlNode* node) {
  e.push().setNodeSet();
  runNext(e, op, 1, from, 1);
  if (e.stopped()) return;
  runOp(e, op + op->jump, size, node, 1);
}
void opPathRelative(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t) {
  pathFrom(e, op, size, node, node);
}
void opPathRoot(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t) {
  pathFrom(e, op, size, e.doc().root(), node);
}
void opPathStart(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t) {
  pathFrom(e, op, size, e.startNode(), node);
}

void opAppend(cmXPathEval& e, const cmXPathOpcode* op, int64_t, cmMiniXmlNode* node, int64_t) {
  e.appendResult(node);
  if (e.options().firstOnly && op[1].code == CM_XPOP_END) e.stop();
}

// 6: a one-step relative path. When it is the whole query the result limits
// apply to it as to code 3.
void opChildPath(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t) {
  e.push().setNodeSet();
  const bool whole = op[op->jump].code == CM_XPOP_END;
  int64_t found = 0;
  cmXPathAxes::Child axis;
  for (cmMiniXmlNode* n = axis.start(node); n; n = axis.next()) {
    if (!accepts(op, n)) continue;
    ++found;
    if (whole) {
      e.appendResult(n);
      if (e.stopped() || e.options().firstOnly) break;
    } else {
      e.top().nodes->push(n);
    }
  }
  if (found == 0)
    if (cmMiniXmlNode* made = createChild(e, op, node)) e.top().nodes->push(made);
  if (e.stopped()) return;
  runOp(e, op + op->jump, size, node, 1);
}

// 42, 43: a child or descendant step fused with the attribute step behind
// it (the next opcode); the chain goes on behind both, with the attribute
// and its index among the attributes as position.
template <typename Axis, bool kChild>
void stepAttribute(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t) {
  const cmXPathOpcode* attr = op + 1;
  const bool direct = op[2].code == CM_XPOP_APPEND && !e.options().firstOnly;
  Axis axis;
  bool any = false;
  for (cmMiniXmlNode* n = axis.start(node); n; n = axis.next()) {
    if (!accepts(op, n)) continue;
    any = true;
    int32_t index = 0;
    if (cmMiniXmlNode* a = cmMiniXml::findAttribute(n, attr->nameView(), &index)) {
      if (direct) e.appendResult(a);
      else runOp(e, op + 2, size, a, index);
      if (e.stopped()) return;
    }
  }
  if (kChild && !any) {
    // A made element has no attributes: nothing to run behind it.
    createChild(e, op, node);
  }
}

// 9: the context node, then every element below it; the context keeps its
// position, the others get 1.
void opSelfAndElements(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  runNext(e, op, size, node, pos);
  cmXPathAxes::Descendant axis;
  for (cmMiniXmlNode* n = axis.start(node); n && !e.stopped(); n = axis.next())
    if (n->kind & op->mask) runNext(e, op, size, n, 1);
}

// Jumps and filters.
void opJumpIfFalse(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  bool b = cmXPathConvert::toBoolean(e.top());
  e.pop();
  runOp(e, b ? op + 1 : op + op->jump, size, node, pos);
}
void opJumpIfTrue(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  bool b = cmXPathConvert::toBoolean(e.top());
  e.pop();
  runOp(e, b ? op + op->jump : op + 1, size, node, pos);
}
void opJump(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  runOp(e, op + op->jump, size, node, pos);
}
void opFilterTrue(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  bool b = cmXPathConvert::toBoolean(e.top());
  e.pop();
  if (b) runNext(e, op, size, node, pos);
}
void opFilterFalse(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  bool b = cmXPathConvert::toBoolean(e.top());
  e.pop();
  if (!b) runNext(e, op, size, node, pos);
}

// Constants.
void opPushInteger(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  e.push().setInteger(op->number);
  runNext(e, op, size, node, pos);
}
void opPushString(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  e.push().setString(op->nameView());
  runNext(e, op, size, node, pos);
}
void opPushTrue(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  e.push().setBoolean(true);
  runNext(e, op, size, node, pos);
}
void opPushFalse(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  e.push().setBoolean(false);
  runNext(e, op, size, node, pos);
}

void opCompare(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  bool b = cmXPathCompare(e.doc(), e.top(1), e.top(), op->code);
  e.pop();
  e.top().setBoolean(b);
  runNext(e, op, size, node, pos);
}

void opNot(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  e.top().setBoolean(!cmXPathConvert::toBoolean(e.top()));
  runNext(e, op, size, node, pos);
}

void opConcat(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  std::string joined, scratch;
  for (int64_t i = op->argCount - 1; i >= 0; --i) joined += cmXPathConvert::toString(e.doc(), e.top(i), scratch);
  for (int64_t i = 1; i < op->argCount; ++i) e.pop();
  e.top().type = cmXPathItem::STRING;
  e.top().text.swap(joined);
  runNext(e, op, size, node, pos);
}

void opContains(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  std::string text, pattern, options;
  int64_t n = op->argCount;
  text.assign(cmXPathConvert::toString(e.doc(), e.top(n - 1), text));
  std::string s1;
  pattern.assign(cmXPathConvert::toString(e.doc(), e.top(n - 2), s1));
  if (n > 2) options.assign(cmXPathConvert::toString(e.doc(), e.top(0), s1));
  // The engine is cached in the opcode, which the program owns.
  void** cache = &const_cast<cmXPathOpcode*>(op)->regex;
  bool found = cmXPathRegexContains(cache, text, pattern, options);
  for (int64_t i = 1; i < n; ++i) e.pop();
  e.top().setBoolean(found);
  runNext(e, op, size, node, pos);
}

void opStringPair(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  std::string sa, sb;
  std::string_view a = cmXPathConvert::toString(e.doc(), e.top(1), sa);
  std::string_view b = cmXPathConvert::toString(e.doc(), e.top(0), sb);
  // file-eq: file names are equal exactly or case-blind.
  bool equal = (op->code == CM_XPOP_FILE_EQ && a == b) || cmXPathFoldEqual(a, b);
  e.pop();
  e.top().setBoolean(equal);
  runNext(e, op, size, node, pos);
}

void opLast(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  e.push().setInteger(size);
  runNext(e, op, size, node, pos);
}
void opPosition(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  e.push().setInteger(pos);
  runNext(e, op, size, node, pos);
}
void opName(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  e.push().setString(cmMiniXml::displayName(node));
  runNext(e, op, size, node, pos);
}

void opNth(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  int64_t n = cmXPathConvert::toArithmetic(e.doc(), e.top());
  e.pop();
  cmXPathItem& set = e.top();
  if (set.type == cmXPathItem::INTEGER) throw cmException(CM_XPATH_ERR_INTEGER_NOT_NODES);
  if (set.type == cmXPathItem::BOOLEAN) throw cmException(CM_XPATH_ERR_BOOLEAN_NOT_NODES);
  if (set.type == cmXPathItem::STRING) throw cmException(CM_XPATH_ERR_STRING_NOT_NODES);
  cmMiniXmlNode* chosen = n >= 1 && n <= set.nodes->size() ? (*set.nodes)[n - 1] : nullptr;
  set.nodes->clear();
  if (chosen) set.nodes->push(chosen);
  runNext(e, op, size, node, pos);
}

void opEnd(cmXPathEval&, const cmXPathOpcode*, int64_t, cmMiniXmlNode*, int64_t) {}

void opArithmetic(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  uint64_t r = static_cast<uint64_t>(cmXPathConvert::toArithmetic(e.doc(), e.top()));
  uint64_t l = static_cast<uint64_t>(cmXPathConvert::toArithmetic(e.doc(), e.top(1)));
  e.pop();
  // Wraps in two's complement rather than trapping.
  e.top().setInteger(static_cast<int64_t>(op->code == CM_XPOP_ADD ? l + r : l - r));
  runNext(e, op, size, node, pos);
}
void opNegate(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  uint64_t v = static_cast<uint64_t>(cmXPathConvert::toArithmetic(e.doc(), e.top()));
  e.top().setInteger(static_cast<int64_t>(0 - v));
  runNext(e, op, size, node, pos);
}
void opToInteger(cmXPathEval& e, const cmXPathOpcode* op, int64_t size, cmMiniXmlNode* node, int64_t pos) {
  e.top().setInteger(cmXPathConvert::toArithmetic(e.doc(), e.top()));
  runNext(e, op, size, node, pos);
}

namespace ax = cmXPathAxes;
const Handler kHandlers[CM_XPOP_COUNT] = {
    opPathRelative,                          // 0
    opPathRoot,                              // 1
    opPathStart,                             // 2
    opAppend,                                // 3
    step<ax::Ancestor>,                      // 4
    step<ax::AncestorOrSelf>,                // 5
    opChildPath,                             // 6
    step<ax::Child, true>,                   // 7
    step<ax::Descendant>,                    // 8
    opSelfAndElements,                       // 9
    step<ax::Descendant>,                    // 10
    step<ax::DescendantOrSelf>,              // 11
    step<ax::Following>,                     // 12
    step<ax::FollowingSibling>,              // 13
    step<ax::Parent>,                        // 14
    step<ax::Preceding>,                     // 15
    step<ax::PrecedingSibling>,              // 16
    step<ax::Self>,                          // 17
    opJumpIfFalse,                           // 18
    opJumpIfTrue,                            // 19
    opJump,                                  // 20
    opFilterTrue,                            // 21
    opFilterFalse,                           // 22
    opPushInteger,                           // 23
    opPushString,                            // 24
    opCompare, opCompare, opCompare,         // 25 26 27
    opCompare, opCompare, opCompare,         // 28 29 30
    opNot,                                   // 31
    opConcat,                                // 32
    opContains,                              // 33
    opLast,                                  // 34
    opPosition,                              // 35
    opStringPair,                            // 36 file-eq
    opStringPair,                            // 37 strieq
    opPushTrue,                              // 38
    opPushFalse,                             // 39
    opNth,                                   // 40
    opEnd,                                   // 41
    stepAttribute<ax::Child, true>,          // 42
    stepAttribute<ax::Descendant, false>,    // 43
    opArithmetic,                            // 44
    opArithmetic,                            // 45
    opNegate,                                // 46
    opToInteger,                             // 47
    opName,                                  // 48
};

}  // namespace

// ---------------------------------------------------------------- run

void cmXPathEval::run(const cmXPathProgram& program, cmMiniXmlNode* start, const cmXPathRunOptions& options,
                      cmXPathItem& result) {
  if (program.empty()) throw cmException(CM_XPATH_ERR_EMPTY_PROGRAM);
  reserve(program.size() + 100 > capacity_ ? program.size() + 100 : capacity_);
  depth_ = 0;
  stop_ = false;
  options_ = options;
  start_ = start ? start : doc_.root();
  runOp(*this, program.begin(), 1, start_, 1);
  if (depth_ == 0) {
    result.setNodeSet();
    return;
  }
  result.swap(top());
  depth_ = 0;
}
