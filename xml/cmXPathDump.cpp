#include "xml/cmXPathDump.h"

namespace {
bool isStep(int32_t code) {
  return (code >= CM_XPOP_PATH_RELATIVE && code <= CM_XPOP_SELF && code != CM_XPOP_APPEND) ||
         code == CM_XPOP_CHILD_ATTRIBUTE || code == CM_XPOP_DESCENDANT_ATTRIBUTE;
}
bool isPathOpening(int32_t code) { return code <= CM_XPOP_PATH_START; }
}  // namespace

std::string cmXPathDump(const cmXPathProgram& program) {
  std::string out;
  for (int64_t i = 0; i < program.size(); ++i) {
    const cmXPathOpcode& op = program[i];
    if (i) out += ' ';
    out += std::to_string(op.code);
    if (op.code == CM_XPOP_PUSH_STRING) {
      out += '\'';
      out += op.nameView();
      out += '\'';
    } else if (op.nameLength) {
      out += ':';
      out += op.nameView();
    }
    if (op.code == CM_XPOP_PUSH_INTEGER) out += "=" + std::to_string(op.number);
    if (isStep(op.code) && !isPathOpening(op.code) && op.mask != 3) out += "/m" + std::to_string(op.mask);
    if (op.countFirst) out += '#';
    if (op.jump) out += ">" + std::to_string(op.jump);
  }
  return out;
}
