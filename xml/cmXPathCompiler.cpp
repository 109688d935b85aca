#include "xml/cmXPathCompiler.h"

#include <cstring>
#include <string>

#include "runtime/cmException.h"
#include "xml/cmXPathErrors.h"

namespace {

// Binary operators that have no opcode of their own.
constexpr int32_t kOpAnd = 100;
constexpr int32_t kOpOr = 101;
constexpr int32_t kOpMultiply = 102;

int precedence(int32_t op) {
  switch (op) {
    case kOpMultiply: return 11;
    case CM_XPOP_ADD:
    case CM_XPOP_SUBTRACT: return 10;
    case kOpAnd: return 3;
    case kOpOr: return 2;
    default: return 8;  // comparisons
  }
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool isNameStart(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c >= 128;
}
bool isNameChar(unsigned char c) {
  return isNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

struct AxisEntry {
  const char* name;
  int32_t code;
  bool attribute;
};
constexpr AxisEntry kAxes[] = {
    {"ancestor", CM_XPOP_ANCESTOR, false},
    {"ancestor-or-self", CM_XPOP_ANCESTOR_OR_SELF, false},
    {"attribute", CM_XPOP_CHILD, true},
    {"child", CM_XPOP_CHILD, false},
    {"descendant", CM_XPOP_DESCENDANT, false},
    {"descendant-or-self", CM_XPOP_DESCENDANT_OR_SELF, false},
    {"following", CM_XPOP_FOLLOWING, false},
    {"following-sibling", CM_XPOP_FOLLOWING_SIBLING, false},
    {"parent", CM_XPOP_PARENT, false},
    {"preceding", CM_XPOP_PRECEDING, false},
    {"preceding-sibling", CM_XPOP_PRECEDING_SIBLING, false},
    {"self", CM_XPOP_SELF, false},
};

struct FunctionEntry {
  const char* name;
  int32_t code;
  int minArgs;
  int maxArgs;  // -1: no limit
  int32_t state;
};
constexpr FunctionEntry kFunctions[] = {
    {"contains", CM_XPOP_CONTAINS, 2, 3, cmXPathExpItem::BOOLEAN},
    {"strieq", CM_XPOP_STRIEQ, 2, 2, cmXPathExpItem::BOOLEAN},
    {"file-eq", CM_XPOP_FILE_EQ, 2, 2, cmXPathExpItem::BOOLEAN},
    {"concat", CM_XPOP_CONCAT, 2, -1, cmXPathExpItem::STRING},
    {"not", CM_XPOP_NOT, 1, 1, cmXPathExpItem::BOOLEAN},
    {"last", CM_XPOP_LAST, 0, 0, cmXPathExpItem::INTEGER},
    {"position", CM_XPOP_POSITION, 0, 0, cmXPathExpItem::INTEGER},
    {"name", CM_XPOP_NAME, 0, 0, cmXPathExpItem::STRING},
};

const FunctionEntry* findFunction(std::string_view name) {
  for (const FunctionEntry& f : kFunctions)
    if (name == f.name) return &f;
  return nullptr;
}

[[noreturn]] void fail(int32_t code, std::string_view param = {}) {
  if (param.empty()) throw cmException(code);
  std::string p(param.substr(0, 500));
  throw cmException(code, p.c_str());
}

}  // namespace

// ---------------------------------------------------------------- scanner

char cmXPathCompiler::peekNonBlank(int offset) const {
  const char* p = pos_;
  while (p < end_ && isBlank(*p)) ++p;
  p += offset;
  return p < end_ ? *p : 0;
}

void cmXPathCompiler::scanName() {
  const char* begin = pos_;
  for (;;) {
    while (pos_ < end_ && isNameChar(static_cast<unsigned char>(*pos_))) ++pos_;
    // One colon between two names belongs to the name; "::" is an axis.
    if (pos_ < end_ && *pos_ == ':' && !(pos_ + 1 < end_ && pos_[1] == ':')) {
      if (pos_ + 1 < end_ && isNameStart(static_cast<unsigned char>(pos_[1]))) {
        pos_ += 2;
        continue;
      }
      fail(CM_XPATH_ERR_NAME_ENDS_IN_COLON, std::string_view(begin, pos_ + 1 - begin));
    }
    break;
  }
  tok_ = CM_XTOK_NAME;
  tokText_ = std::string_view(begin, pos_ - begin);
}

void cmXPathCompiler::next() {
  while (pos_ < end_ && isBlank(*pos_)) ++pos_;
  tokText_ = {};
  tokIsNumber_ = false;
  if (pos_ >= end_) {
    tok_ = CM_XTOK_END;
    return;
  }
  unsigned char c = static_cast<unsigned char>(*pos_);
  if (isNameStart(c)) {
    scanName();
    return;
  }
  if (c >= '0' && c <= '9') {
    // Wraps silently on overflow, as a plain accumulator does.
    uint64_t n = 0;
    while (pos_ < end_ && *pos_ >= '0' && *pos_ <= '9') n = n * 10 + static_cast<uint64_t>(*pos_++ - '0');
    tok_ = CM_XTOK_LITERAL;
    tokIsNumber_ = true;
    tokNumber_ = static_cast<int64_t>(n);
    return;
  }
  if (c == '\'' || c == '"') {
    const char* q = static_cast<const char*>(std::memchr(pos_ + 1, c, end_ - pos_ - 1));
    if (!q) fail(CM_XPATH_ERR_OPEN_LITERAL);
    tok_ = CM_XTOK_LITERAL;
    tokText_ = std::string_view(pos_ + 1, q - pos_ - 1);
    pos_ = q + 1;
    return;
  }
  bool two = pos_ + 1 < end_;
  char d = two ? pos_[1] : 0;
  ++pos_;
  switch (c) {
    case '.':
      if (d == '.') { ++pos_; tok_ = CM_XTOK_DOTDOT; } else tok_ = CM_XTOK_DOT;
      return;
    case '/':
      if (d == '/') { ++pos_; tok_ = CM_XTOK_DSLASH; } else tok_ = CM_XTOK_SLASH;
      return;
    case ':':
      if (d == ':') { ++pos_; tok_ = CM_XTOK_DCOLON; } else tok_ = CM_XTOK_COLON;
      return;
    case '>':
      if (d == '=') { ++pos_; tok_ = CM_XTOK_GE; } else tok_ = CM_XTOK_GT;
      return;
    case '<':
      if (d == '=') { ++pos_; tok_ = CM_XTOK_LE; } else tok_ = CM_XTOK_LT;
      return;
    case '!':
      if (d == '=') { ++pos_; tok_ = CM_XTOK_NE; return; }
      break;
    case '(': tok_ = CM_XTOK_LPAREN; return;
    case ')': tok_ = CM_XTOK_RPAREN; return;
    case '[': tok_ = CM_XTOK_LBRACKET; return;
    case ']': tok_ = CM_XTOK_RBRACKET; return;
    case ',': tok_ = CM_XTOK_COMMA; return;
    case '*': tok_ = CM_XTOK_STAR; return;
    case '+': tok_ = CM_XTOK_PLUS; return;
    case '-': tok_ = CM_XTOK_MINUS; return;
    case '@': tok_ = CM_XTOK_AT; return;
    case '|': tok_ = CM_XTOK_BAR; return;
    case '=': tok_ = CM_XTOK_EQ; return;
    default: break;
  }
  fail(CM_XPATH_ERR_BAD_CHARACTER, std::string_view(pos_ - 1, 1));
}

// ---------------------------------------------------------------- emission

int64_t cmXPathCompiler::addToList(int64_t list, int64_t index) {
  (*program_)[index].jump = list;
  return index;
}

void cmXPathCompiler::patch(int64_t list, int64_t target) {
  while (list >= 0) {
    cmXPathOpcode& op = (*program_)[list];
    int64_t link = op.jump;
    op.jump = target - list;
    list = link;
  }
}

namespace {
int64_t concatLists(cmXPathProgram& p, int64_t a, int64_t b) {
  if (a < 0) return b;
  if (b < 0) return a;
  int64_t tail = a;
  while (p[tail].jump >= 0) tail = p[tail].jump;
  p[tail].jump = b;
  return a;
}
}  // namespace

void cmXPathCompiler::materialize(cmXPathExpItem& item) {
  if (item.state == cmXPathExpItem::CONSTANT) {
    if (item.isString) {
      int64_t i = emit(CM_XPOP_PUSH_STRING);
      program_->setName(i, item.text);
      item.state = cmXPathExpItem::STRING;
    } else {
      int64_t i = emit(CM_XPOP_PUSH_INTEGER);
      (*program_)[i].number = item.integer;
      item.state = cmXPathExpItem::INTEGER;
    }
    return;
  }
  if (item.state == cmXPathExpItem::BOOLEAN && item.jumpForm) {
    // Both targets meet here: push true, jump over, push false.
    patch(item.trueList, program_->size());
    emit(CM_XPOP_PUSH_TRUE);
    int64_t over = emit(CM_XPOP_JUMP);
    (*program_)[over].jump = 2;
    patch(item.falseList, program_->size());
    emit(CM_XPOP_PUSH_FALSE);
    item.jumpForm = false;
    item.trueList = item.falseList = -1;
  }
}

void cmXPathCompiler::toJumpForm(cmXPathExpItem& item) {
  if (item.state == cmXPathExpItem::BOOLEAN && item.jumpForm) return;
  materialize(item);
  item.falseList = addToList(-1, emit(item.falseCode));
  item.trueList = -1;
  item.state = cmXPathExpItem::BOOLEAN;
  item.jumpForm = true;
}

// ---------------------------------------------------------------- parser

void cmXPathCompiler::enter() {
  if (++pending_ > CM_XPATH_MAX_PENDING) fail(CM_XPATH_ERR_TOO_MANY_PENDING);
}

int32_t cmXPathCompiler::binaryOperator() const {
  switch (tok_) {
    case CM_XTOK_EQ: return CM_XPOP_EQ;
    case CM_XTOK_NE: return CM_XPOP_NE;
    case CM_XTOK_LT: return CM_XPOP_LT;
    case CM_XTOK_LE: return CM_XPOP_LE;
    case CM_XTOK_GT: return CM_XPOP_GT;
    case CM_XTOK_GE: return CM_XPOP_GE;
    case CM_XTOK_PLUS: return CM_XPOP_ADD;
    case CM_XTOK_MINUS: return CM_XPOP_SUBTRACT;
    case CM_XTOK_STAR: return kOpMultiply;
    case CM_XTOK_NAME:
      // Words are operators only here, behind an operand. div, idiv, mod,
      // union, intersect and except are known words that nothing implements:
      // like "|" they end the expression.
      if (tokText_ == "or") return kOpOr;
      if (tokText_ == "and") return kOpAnd;
      if (tokText_ == "eq") return CM_XPOP_EQ;
      if (tokText_ == "ne") return CM_XPOP_NE;
      if (tokText_ == "lt") return CM_XPOP_LT;
      if (tokText_ == "le") return CM_XPOP_LE;
      if (tokText_ == "gt") return CM_XPOP_GT;
      if (tokText_ == "ge") return CM_XPOP_GE;
      return -1;
    default: return -1;
  }
}

void cmXPathCompiler::prepareLeft(cmXPathExpItem& left, int32_t op) {
  if (op == kOpAnd) {
    // False leaves through the false list; true falls into the right operand.
    toJumpForm(left);
    patch(left.trueList, program_->size());
    left.trueList = -1;
  } else if (op == kOpOr) {
    if (left.state == cmXPathExpItem::BOOLEAN && left.jumpForm) {
      left.trueList = addToList(left.trueList, emit(CM_XPOP_JUMP));
      patch(left.falseList, program_->size());
      left.falseList = -1;
    } else {
      materialize(left);
      left.trueList = addToList(-1, emit(left.trueCode));
      left.falseList = -1;
      left.state = cmXPathExpItem::BOOLEAN;
      left.jumpForm = true;
    }
  } else {
    materialize(left);
  }
}

cmXPathExpItem cmXPathCompiler::reduce(cmXPathExpItem& left, cmXPathExpItem& right, int32_t op) {
  cmXPathExpItem out;
  if (op == kOpMultiply) fail(CM_XPATH_ERR_NOT_IMPLEMENTED, "*");
  if (op == kOpAnd || op == kOpOr) {
    toJumpForm(right);
    out.state = cmXPathExpItem::BOOLEAN;
    out.jumpForm = true;
    out.falseList = concatLists(*program_, left.falseList, right.falseList);
    if (op == kOpAnd) {
      patch(right.trueList, program_->size());
      out.trueList = -1;
    } else {
      out.trueList = concatLists(*program_, left.trueList, right.trueList);
    }
    return out;
  }
  materialize(right);
  emit(op);
  out.state = (op == CM_XPOP_ADD || op == CM_XPOP_SUBTRACT) ? cmXPathExpItem::INTEGER
                                                            : cmXPathExpItem::BOOLEAN;
  return out;
}

cmXPathExpItem cmXPathCompiler::parseExpr() {
  enter();
  // Left-associative: an operator reduces everything pending of the same or
  // higher precedence, so at most one operator per level stays open.
  cmXPathExpItem values[8];
  int32_t ops[8];
  int nv = 0, no = 0;
  values[nv++] = parseUnary();
  for (;;) {
    int32_t op = binaryOperator();
    if (op < 0) break;
    while (no > 0 && precedence(ops[no - 1]) >= precedence(op)) {
      cmXPathExpItem r = reduce(values[nv - 2], values[nv - 1], ops[no - 1]);
      --no;
      leave();
      values[--nv - 1] = r;
    }
    prepareLeft(values[nv - 1], op);
    enter();
    ops[no++] = op;
    next();
    values[nv++] = parseUnary();
  }
  while (no > 0) {
    cmXPathExpItem r = reduce(values[nv - 2], values[nv - 1], ops[no - 1]);
    --no;
    leave();
    values[--nv - 1] = r;
  }
  leave();
  return values[0];
}

cmXPathExpItem cmXPathCompiler::parseUnary() {
  if (tok_ != CM_XTOK_MINUS && tok_ != CM_XTOK_PLUS) return parsePrimary();
  bool negate = tok_ == CM_XTOK_MINUS;
  enter();
  next();
  cmXPathExpItem v = parseUnary();
  leave();
  if (v.state == cmXPathExpItem::CONSTANT && !v.isString) {
    if (negate) v.integer = static_cast<int64_t>(0 - static_cast<uint64_t>(v.integer));
    return v;
  }
  materialize(v);
  emit(negate ? CM_XPOP_NEGATE : CM_XPOP_TO_INTEGER);
  cmXPathExpItem out;
  out.state = cmXPathExpItem::INTEGER;
  return out;
}

cmXPathExpItem cmXPathCompiler::parsePrimary() {
  if (tok_ == CM_XTOK_LPAREN) {
    next();
    cmXPathExpItem v = parseExpr();
    if (tok_ != CM_XTOK_RPAREN) fail(CM_XPATH_ERR_MISSING_PAREN);
    next();
    if (tok_ == CM_XTOK_LBRACKET) fail(CM_XPATH_ERR_PREDICATE_ON_PAREN);
    return v;
  }
  if (tok_ == CM_XTOK_LITERAL) {
    cmXPathExpItem v;
    v.state = cmXPathExpItem::CONSTANT;
    v.isString = !tokIsNumber_;
    v.integer = tokNumber_;
    v.text = tokText_;
    next();
    return v;
  }
  if (tok_ == CM_XTOK_NAME && peekNonBlank() == '(' && findFunction(tokText_)) return parseFunction();
  return parseLocationPath();
}

cmXPathExpItem cmXPathCompiler::parseFunction() {
  const FunctionEntry* f = findFunction(tokText_);
  next();  // "("
  next();
  enter();
  int args = 0;
  if (tok_ != CM_XTOK_RPAREN) {
    for (;;) {
      cmXPathExpItem a = parseExpr();
      materialize(a);
      ++args;
      if (tok_ == CM_XTOK_COMMA) {
        next();
        continue;
      }
      if (tok_ == CM_XTOK_RPAREN) break;
      fail(CM_XPATH_ERR_BAD_SEPARATOR);
    }
  }
  next();
  leave();
  if (args < f->minArgs) fail(CM_XPATH_ERR_TOO_FEW_ARGUMENTS, f->name);
  if (f->maxArgs >= 0 && args > f->maxArgs) fail(CM_XPATH_ERR_TOO_MANY_ARGUMENTS, f->name);
  if (f->code == CM_XPOP_LAST && currentStep_ >= 0) (*program_)[currentStep_].countFirst = 1;
  int64_t i = emit(f->code);
  (*program_)[i].argCount = args;
  cmXPathExpItem out;
  out.state = f->state;
  return out;
}

cmXPathExpItem cmXPathCompiler::parseLocationPath() {
  int64_t open;
  if (tok_ == CM_XTOK_SLASH) {
    open = emit(CM_XPOP_PATH_ROOT);
    next();
    // "/" alone is the document node.
    if (tok_ == CM_XTOK_NAME || tok_ == CM_XTOK_STAR || tok_ == CM_XTOK_AT || tok_ == CM_XTOK_DOT ||
        tok_ == CM_XTOK_DOTDOT)
      parseStep(false);
  } else if (tok_ == CM_XTOK_DSLASH) {
    open = emit(CM_XPOP_PATH_START);
    next();
    parseStep(true);
  } else {
    open = emit(CM_XPOP_PATH_RELATIVE);
    parseStep(false);
  }
  for (;;) {
    if (tok_ == CM_XTOK_SLASH) {
      next();
      parseStep(false);
    } else if (tok_ == CM_XTOK_DSLASH) {
      next();
      parseStep(true);
    } else {
      break;
    }
  }
  cmXPathProgram& p = *program_;
  if (p[open].code == CM_XPOP_PATH_RELATIVE && p.size() == open + 2 && p[open + 1].code == CM_XPOP_CHILD) {
    // One child or attribute step without predicate: 0 and 7 become 6.
    cmXPathOpcode& step = p[open + 1];
    p.setName(open, step.nameView());
    p[open].code = CM_XPOP_CHILD_PATH;
    p[open].mask = step.mask;
    p[open].jump = 1;
    p.truncate(open + 1);
  } else {
    emit(CM_XPOP_APPEND);
    p[open].jump = p.size() - open;
  }
  cmXPathExpItem out;
  out.state = cmXPathExpItem::NODE_SET;
  return out;
}

void cmXPathCompiler::parseStep(bool afterDoubleSlash) {
  if (tok_ == CM_XTOK_DOT || tok_ == CM_XTOK_DOTDOT) {
    if (afterDoubleSlash) (*program_)[emit(CM_XPOP_SELF_AND_ELEMENTS)].mask = CM_XPATH_MASK_ELEMENTS;
    int64_t s = emit(tok_ == CM_XTOK_DOT ? CM_XPOP_SELF : CM_XPOP_PARENT);
    (*program_)[s].mask = CM_XPATH_MASK_ANY;
    next();
    return;
  }
  int32_t axis = CM_XPOP_CHILD;
  bool attribute = false;
  bool explicitAxis = false;
  if (tok_ == CM_XTOK_AT) {
    attribute = true;
    explicitAxis = true;
    next();
  } else if (tok_ == CM_XTOK_NAME && peekNonBlank() == ':' && peekNonBlank(1) == ':') {
    const AxisEntry* found = nullptr;
    for (const AxisEntry& a : kAxes)
      if (tokText_ == a.name) found = &a;
    if (!found) fail(CM_XPATH_ERR_UNKNOWN_AXIS, tokText_);
    axis = found->code;
    attribute = found->attribute;
    explicitAxis = axis != CM_XPOP_CHILD || attribute;
    next();  // "::"
    next();
  }
  std::string_view name;
  uint32_t mask;
  if (tok_ == CM_XTOK_STAR) {
    mask = attribute ? CM_XPATH_MASK_ATTRIBUTE : CM_XPATH_MASK_ELEMENTS;
    next();
  } else if (tok_ == CM_XTOK_NAME && peekNonBlank() == '(') {
    std::string_view test = tokText_;
    if (test == "comment") mask = CM_XPATH_MASK_COMMENT;
    else if (test == "text") mask = CM_XPATH_MASK_TEXT;
    else if (test == "processing-instruction") mask = CM_XPATH_MASK_PI;
    else if (test == "node") mask = CM_XPATH_MASK_NODE;
    else if (test == "document-node") mask = CM_XPATH_MASK_DOCUMENT;
    else fail(CM_XPATH_ERR_UNKNOWN_KIND_TEST, test);
    // On the attribute axis only node() finds anything: the attributes.
    if (attribute) mask = mask == CM_XPATH_MASK_NODE ? CM_XPATH_MASK_ATTRIBUTE : 0;
    next();  // "("
    next();
    if (test == "processing-instruction") {
      if (tok_ == CM_XTOK_NAME) {
        name = tokText_;
        next();
      } else if (tok_ != CM_XTOK_RPAREN) {
        fail(CM_XPATH_ERR_BAD_PI_ARGUMENT);
      }
    }
    if (tok_ != CM_XTOK_RPAREN) fail(CM_XPATH_ERR_MISSING_PAREN);
    next();
  } else if (tok_ == CM_XTOK_NAME) {
    name = tokText_;
    mask = attribute ? CM_XPATH_MASK_ATTRIBUTE : CM_XPATH_MASK_ELEMENTS;
    next();
  } else {
    fail(CM_XPATH_ERR_NAME_TEST_MISSING);
  }
  int64_t step;
  if (afterDoubleSlash && !explicitAxis) {
    step = emit(CM_XPOP_DESCENDANTS);
  } else {
    if (afterDoubleSlash) (*program_)[emit(CM_XPOP_SELF_AND_ELEMENTS)].mask = CM_XPATH_MASK_ELEMENTS;
    step = emit(axis);
  }
  (*program_)[step].mask = mask;
  if (!name.empty()) program_->setName(step, name);
  while (tok_ == CM_XTOK_LBRACKET) parsePredicate(step);
}

void cmXPathCompiler::parsePredicate(int64_t step) {
  next();
  int64_t saved = currentStep_;
  currentStep_ = step;
  cmXPathExpItem v = parseExpr();
  currentStep_ = saved;
  if (tok_ != CM_XTOK_RBRACKET) fail(CM_XPATH_ERR_MISSING_BRACKET);
  next();
  cmXPathProgram& p = *program_;
  if ((v.state == cmXPathExpItem::CONSTANT && !v.isString) || v.state == cmXPathExpItem::INTEGER) {
    // A number selects by position.
    materialize(v);
    emit(CM_XPOP_POSITION);
    emit(CM_XPOP_EQ);
    emit(CM_XPOP_FILTER_TRUE);
  } else if (v.state == cmXPathExpItem::BOOLEAN && v.jumpForm) {
    // Jumps to false end the candidate's chain instead; true goes on behind.
    for (int64_t i = v.falseList; i >= 0;) {
      int64_t link = p[i].jump;
      p[i].jump = 0;
      p[i].code = p[i].code == CM_XPOP_JUMP_IF_FALSE  ? CM_XPOP_FILTER_TRUE
                  : p[i].code == CM_XPOP_JUMP_IF_TRUE ? CM_XPOP_FILTER_FALSE
                                                      : CM_XPOP_END;
      i = link;
    }
    patch(v.trueList, p.size());
  } else {
    materialize(v);
    emit(CM_XPOP_FILTER_TRUE);
  }
}

void cmXPathCompiler::fuse() {
  cmXPathProgram& p = *program_;
  for (int64_t i = 0; i + 1 < p.size(); ++i) {
    const cmXPathOpcode& b = p[i + 1];
    if (b.code != CM_XPOP_CHILD || b.mask != CM_XPATH_MASK_ATTRIBUTE || b.nameLength == 0 || b.countFirst)
      continue;
    if (p[i].code == CM_XPOP_CHILD) p[i].code = CM_XPOP_CHILD_ATTRIBUTE;
    else if (p[i].code == CM_XPOP_DESCENDANTS) p[i].code = CM_XPOP_DESCENDANT_ATTRIBUTE;
  }
}

void cmXPathCompiler::compile(const char* text, int64_t length, cmXPathProgram& program) {
  program.clear();
  program_ = &program;
  start_ = pos_ = text ? text : "";
  size_t n = length < 0 ? std::strlen(start_) : static_cast<size_t>(length);
  const void* zero = std::memchr(start_, 0, n);
  end_ = zero ? static_cast<const char*>(zero) : start_ + n;
  pending_ = 0;
  currentStep_ = -1;
  next();
  if (tok_ == CM_XTOK_END) return;
  cmXPathExpItem v = parseExpr();
  if (tok_ != CM_XTOK_END) fail(CM_XPATH_ERR_TEXT_LEFT);
  materialize(v);
  emit(CM_XPOP_END);
  fuse();
}
