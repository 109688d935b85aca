// Status numbers of the XPath engine. Compile and run failures are thrown as
// cmException carrying one of these; where a text parameter goes with it, it
// is the offending text (a name, an axis, a value that is no number).
#pragma once

#include <cstdint>

// Scanner.
constexpr int32_t CM_XPATH_ERR_BAD_CHARACTER = -102950;    // a character that can't begin a token ("!" alone too)
constexpr int32_t CM_XPATH_ERR_OPEN_LITERAL = -102949;     // string literal not closed
// Conversions at run time.
constexpr int32_t CM_XPATH_ERR_NOT_ARITHMETIC = -102948;   // operand of + - is no integer and no one-node set
constexpr int32_t CM_XPATH_ERR_NOT_INTEGER = -102947;      // text that must be a decimal integer; parameter
constexpr int32_t CM_XPATH_ERR_NOT_BOOLEAN = -102946;      // text that is no boolean; parameter
constexpr int32_t CM_XPATH_ERR_INTEGER_NOT_NODES = -102945;
constexpr int32_t CM_XPATH_ERR_BOOLEAN_NOT_NODES = -102944;
constexpr int32_t CM_XPATH_ERR_STRING_NOT_NODES = -102943;
constexpr int32_t CM_XPATH_ERR_MANY_NODES_TO_STRING = -102942;
constexpr int32_t CM_XPATH_ERR_BOOLEAN_TO_STRING = -102941;
constexpr int32_t CM_XPATH_ERR_INTEGER_TO_STRING = -102940;
constexpr int32_t CM_XPATH_ERR_EMPTY_PROGRAM = -102939;
constexpr int32_t CM_XPATH_ERR_FIRST_NOT_SINGLE = -102938;  // findFirst: result is no set of at most one node
// Compiler.
constexpr int32_t CM_XPATH_ERR_TOO_MANY_PENDING = -102937;  // more than CM_XPATH_MAX_PENDING operators and nestings
constexpr int32_t CM_XPATH_ERR_MISSING_BRACKET = -102936;   // "]" missing
constexpr int32_t CM_XPATH_ERR_NAME_ENDS_IN_COLON = -102935;
constexpr int32_t CM_XPATH_ERR_UNKNOWN_AXIS = -102934;      // parameter: the axis
constexpr int32_t CM_XPATH_ERR_UNKNOWN_KIND_TEST = -102933; // parameter: the name before "("
constexpr int32_t CM_XPATH_ERR_BAD_PI_ARGUMENT = -102932;
constexpr int32_t CM_XPATH_ERR_MISSING_PAREN = -102931;     // ")" missing
constexpr int32_t CM_XPATH_ERR_PREDICATE_ON_PAREN = -102930;
constexpr int32_t CM_XPATH_ERR_NOT_IMPLEMENTED = -102929;   // "*" as an operator
constexpr int32_t CM_XPATH_ERR_NAME_TEST_MISSING = -102928;
constexpr int32_t CM_XPATH_ERR_TOO_LONG = -102927;          // more than CM_XPATH_MAX_OPCODES opcodes
constexpr int32_t CM_XPATH_ERR_TOO_FEW_ARGUMENTS = -102925;
constexpr int32_t CM_XPATH_ERR_TOO_MANY_ARGUMENTS = -102924;
constexpr int32_t CM_XPATH_ERR_BAD_SEPARATOR = -102923;
constexpr int32_t CM_XPATH_ERR_NOT_NODE_SET = -102922;      // findAll/evaluate: result is no node set
constexpr int32_t CM_XPATH_ERR_TEXT_LEFT = -102921;         // text behind the expression

// Operators and nestings (parentheses, predicates, argument lists, signs)
// that may be pending at once. This is also the compiler's bound on its own
// recursion.
constexpr int32_t CM_XPATH_MAX_PENDING = 49;
// Evaluation runs the program as a chain of calls, one frame per opcode on
// the way, so the program's length is the run's stack depth: bounded here.
constexpr int32_t CM_XPATH_MAX_OPCODES = 1024;
