// cmXPathOpcode and cmXPathProgram: the compiled form of a query, a flat
// array of instructions that the evaluator walks as a chain of calls (each
// handler runs the next opcode, the one behind it in the array, or the one
// `jump` elements away).
//
// Ownership: the program owns its opcode array, the name of each opcode and
// the regular-expression engine an opcode may cache for `contains`.
// Single-threaded; a program lives for one query.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// Opcode numbers. The evaluator's table of handlers is indexed by them.
enum cmXPathCode : int32_t {
  CM_XPOP_PATH_RELATIVE = 0,       // push a node set, run the path from the node, go on at jump
  CM_XPOP_PATH_ROOT = 1,           // the same from the document node
  CM_XPOP_PATH_START = 2,          // the same from the run's start node
  CM_XPOP_APPEND = 3,              // append the node to the set on the stack
  CM_XPOP_ANCESTOR = 4,
  CM_XPOP_ANCESTOR_OR_SELF = 5,
  CM_XPOP_CHILD_PATH = 6,          // 0 and 7 fused: a one-step relative path
  CM_XPOP_CHILD = 7,               // also the attribute axis, with mask 64
  CM_XPOP_DESCENDANTS = 8,         // a name behind "//"
  CM_XPOP_SELF_AND_ELEMENTS = 9,   // "//" before anything else: self, then element descendants
  CM_XPOP_DESCENDANT = 10,
  CM_XPOP_DESCENDANT_OR_SELF = 11,
  CM_XPOP_FOLLOWING = 12,
  CM_XPOP_FOLLOWING_SIBLING = 13,
  CM_XPOP_PARENT = 14,
  CM_XPOP_PRECEDING = 15,
  CM_XPOP_PRECEDING_SIBLING = 16,
  CM_XPOP_SELF = 17,
  CM_XPOP_JUMP_IF_FALSE = 18,      // pop; true: run next; false: go on at jump
  CM_XPOP_JUMP_IF_TRUE = 19,       // pop; true: go on at jump; false: run next
  CM_XPOP_JUMP = 20,
  CM_XPOP_FILTER_TRUE = 21,        // pop; true: run next; false: return
  CM_XPOP_FILTER_FALSE = 22,       // pop; false: run next; true: return
  CM_XPOP_PUSH_INTEGER = 23,
  CM_XPOP_PUSH_STRING = 24,
  CM_XPOP_EQ = 25,
  CM_XPOP_NE = 26,
  CM_XPOP_LT = 27,
  CM_XPOP_LE = 28,
  CM_XPOP_GT = 29,
  CM_XPOP_GE = 30,
  CM_XPOP_NOT = 31,
  CM_XPOP_CONCAT = 32,
  CM_XPOP_CONTAINS = 33,
  CM_XPOP_LAST = 34,
  CM_XPOP_POSITION = 35,
  CM_XPOP_FILE_EQ = 36,
  CM_XPOP_STRIEQ = 37,
  CM_XPOP_PUSH_TRUE = 38,
  CM_XPOP_PUSH_FALSE = 39,
  CM_XPOP_NTH = 40,                // pop n, keep the n-th node of the set on top (no construct emits it)
  CM_XPOP_END = 41,
  CM_XPOP_CHILD_ATTRIBUTE = 42,    // a/@b in one step; the attribute test is the next opcode
  CM_XPOP_DESCENDANT_ATTRIBUTE = 43,  // //a/@b in one step
  CM_XPOP_ADD = 44,
  CM_XPOP_SUBTRACT = 45,
  CM_XPOP_NEGATE = 46,
  CM_XPOP_TO_INTEGER = 47,
  CM_XPOP_NAME = 48,
  CM_XPOP_COUNT = 49
};

// Node-test masks (node kinds of the document tree).
constexpr uint32_t CM_XPATH_MASK_ELEMENTS = 3;
constexpr uint32_t CM_XPATH_MASK_ATTRIBUTE = 64;
constexpr uint32_t CM_XPATH_MASK_COMMENT = 16;
constexpr uint32_t CM_XPATH_MASK_TEXT = 384;
constexpr uint32_t CM_XPATH_MASK_PI = 8;
constexpr uint32_t CM_XPATH_MASK_NODE = static_cast<uint32_t>(-101);  // all but 4, 32, 64
constexpr uint32_t CM_XPATH_MASK_DOCUMENT = 512;
constexpr uint32_t CM_XPATH_MASK_ANY = 0xFFFFFFFFu;  // "." and "..": no test

struct cmXPathOpcode {
  int32_t code;
  int64_t number;      // the constant of CM_XPOP_PUSH_INTEGER
  const char* name;    // name test or string literal; owned by the program; empty: any name
  uint32_t nameLength;
  uint32_t mask;       // node kinds a step accepts
  uint8_t countFirst;  // the step's predicates use last(): count the candidates first
  int64_t jump;        // relative distance in opcodes; while compiling, the link of a jump list
  int64_t argCount;    // functions
  void* regex;         // engine cached by `contains` on first use; owned

  std::string_view nameView() const { return {name ? name : "", nameLength}; }
};

class cmXPathProgram {
 public:
  cmXPathProgram() = default;
  cmXPathProgram(const cmXPathProgram&) = delete;
  cmXPathProgram& operator=(const cmXPathProgram&) = delete;
  ~cmXPathProgram() { clear(); }

  // Appends a zeroed opcode of `code` and returns its index. Throws
  // CM_XPATH_ERR_TOO_LONG beyond CM_XPATH_MAX_OPCODES, out of memory as
  // CM_ERR_OUT_OF_MEMORY.
  int64_t emit(int32_t code);
  // Gives opcode `index` a private copy of `text` as its name.
  void setName(int64_t index, std::string_view text);
  // Drops the opcodes from `count` on.
  void truncate(int64_t count);
  void clear();

  int64_t size() const { return count_; }
  bool empty() const { return count_ == 0; }
  cmXPathOpcode& operator[](int64_t i) { return ops_[i]; }
  const cmXPathOpcode& operator[](int64_t i) const { return ops_[i]; }
  const cmXPathOpcode* begin() const { return ops_; }

 private:
  cmXPathOpcode* ops_ = nullptr;
  int64_t count_ = 0;
  int64_t capacity_ = 0;
};
