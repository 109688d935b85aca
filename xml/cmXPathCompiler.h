// cmXPathCompiler: turns a query text into a cmXPathProgram, the flat opcode
// array that cmXPathEval runs. Scanner and compiler in one pass: an
// operator-precedence loop over operands (cmXPathExpItem) that emits code as
// soon as an operand is known, keeps constants unemitted until needed, and
// compiles `and` / `or` to short-circuit jumps patched through jump lists.
//
// Entry point: compile(text, length, program). Failures throw cmException
// with the numbers of cmXPathErrors.h. Recursion follows the nesting of the
// query (parentheses, predicates, arguments, signs) and is bounded by
// CM_XPATH_MAX_PENDING, the program's length by CM_XPATH_MAX_OPCODES.
//
// Single-threaded; one compiler per query. It keeps no pointer into the text
// beyond the call: string literals are copied into the program.
#pragma once

#include <cstdint>
#include <string_view>

#include "xml/cmXPathOpcode.h"

// Tokens of the query language.
enum cmXPathToken : int32_t {
  CM_XTOK_END = 0,
  CM_XTOK_NAME = 1,
  CM_XTOK_LITERAL = 2,  // string or decimal integer
  CM_XTOK_DOT = 3,
  CM_XTOK_DOTDOT = 4,
  CM_XTOK_SLASH = 5,
  CM_XTOK_DSLASH = 6,
  CM_XTOK_LPAREN = 7,
  CM_XTOK_RPAREN = 8,
  CM_XTOK_LBRACKET = 9,
  CM_XTOK_RBRACKET = 10,
  CM_XTOK_COMMA = 11,
  CM_XTOK_STAR = 12,
  CM_XTOK_PLUS = 13,
  CM_XTOK_MINUS = 14,
  CM_XTOK_AT = 15,
  CM_XTOK_BAR = 16,
  CM_XTOK_COLON = 17,
  CM_XTOK_DCOLON = 18,
  CM_XTOK_GT = 19,
  CM_XTOK_GE = 20,
  CM_XTOK_LT = 21,
  CM_XTOK_LE = 22,
  CM_XTOK_EQ = 23,
  CM_XTOK_NE = 24
};

// A compile-time operand.
struct cmXPathExpItem {
  enum State : int32_t {
    CONSTANT = 0,  // held here, not yet emitted
    BOOLEAN = 1,   // on the run-time stack, or (jumpForm) in the pending jumps
    INTEGER = 2,
    STRING = 3,
    NODE_SET = 4,
    OPEN_PATH = 5
  };
  int32_t state = CONSTANT;
  // The constant: an integer, or a string literal (a view of the query text).
  bool isString = false;
  int64_t integer = 0;
  std::string_view text;
  // A boolean in jump form: falling through means true; the lists chain,
  // through `jump`, the jumps that go to the true and to the false target.
  bool jumpForm = false;
  int64_t trueList = -1;
  int64_t falseList = -1;
  int32_t trueCode = CM_XPOP_JUMP_IF_TRUE;
  int32_t falseCode = CM_XPOP_JUMP_IF_FALSE;
};

class cmXPathCompiler {
 public:
  // Compiles the query into `program`, which is cleared first. `length` < 0:
  // the text ends at its zero byte; it ends at a zero byte in any case. An
  // empty or blank query gives an empty program, refused when it is run.
  void compile(const char* text, int64_t length, cmXPathProgram& program);

 private:
  // Scanner.
  void next();
  void scanName();
  char peekNonBlank(int offset = 0) const;
  bool tokenIs(std::string_view word) const { return tok_ == CM_XTOK_NAME && tokText_ == word; }

  // Parser.
  cmXPathExpItem parseExpr();
  cmXPathExpItem parseUnary();
  cmXPathExpItem parsePrimary();
  cmXPathExpItem parseFunction();
  cmXPathExpItem parseLocationPath();
  void parseStep(bool afterDoubleSlash);
  void parsePredicate(int64_t step);
  int32_t binaryOperator() const;
  void prepareLeft(cmXPathExpItem& left, int32_t op);
  cmXPathExpItem reduce(cmXPathExpItem& left, cmXPathExpItem& right, int32_t op);
  void enter();
  void leave() { --pending_; }

  // Emission.
  int64_t emit(int32_t code) { return program_->emit(code); }
  void materialize(cmXPathExpItem& item);
  void toJumpForm(cmXPathExpItem& item);
  void patch(int64_t list, int64_t target);
  int64_t addToList(int64_t list, int64_t index);
  void fuse();

  cmXPathProgram* program_ = nullptr;
  const char* start_ = nullptr;
  const char* end_ = nullptr;
  const char* pos_ = nullptr;
  int32_t tok_ = CM_XTOK_END;
  std::string_view tokText_;   // name, or string literal without quotes
  int64_t tokNumber_ = 0;
  bool tokIsNumber_ = false;
  int32_t pending_ = 0;        // operators and nestings open now
  int64_t currentStep_ = -1;   // the step whose predicates are being compiled (for last())
};
