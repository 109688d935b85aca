#include "xml/cmMiniXmlParser.h"

#include <bit>
#include <cstring>

#include "runtime/cmErrors.h"
#include "runtime/cmException.h"
#include "xml/cmMiniXml.h"

namespace {

// Byte classes, one table lookup per byte.
constexpr uint8_t kSpace = 1;      // tab, LF, CR, space
constexpr uint8_t kNameEnd = 2;    // ends a tag name: zero, white space, '/', '>'
constexpr uint8_t kTargetEnd = 4;  // ends a PI target: as a name, and '?'
constexpr uint8_t kAttrEnd = 8;    // ends an attribute name: as a name, and '='
constexpr uint8_t kValueStop = 16; // may end an attribute value: quotes, '<', zero

struct ByteClasses {
  uint8_t c[256] = {};
  constexpr ByteClasses() {
    const unsigned char spaces[] = {'\t', '\n', '\r', ' '};
    for (unsigned char s : spaces) c[s] = kSpace | kNameEnd | kTargetEnd | kAttrEnd;
    c[0] = kNameEnd | kTargetEnd | kAttrEnd;
    c[uint8_t('/')] = kNameEnd | kTargetEnd | kAttrEnd;
    c[uint8_t('>')] = kNameEnd | kTargetEnd | kAttrEnd;
    c[uint8_t('?')] = kTargetEnd;
    c[uint8_t('=')] = kAttrEnd;
    c[uint8_t('"')] |= kValueStop;
    c[uint8_t('\'')] |= kValueStop;
    c[uint8_t('<')] |= kValueStop;
    c[0] |= kValueStop;
  }
};
constexpr ByteClasses kClasses;

inline bool is(const char* p, uint8_t cls) { return (kClasses.c[static_cast<unsigned char>(*p)] & cls) != 0; }
inline const char* skipSpace(const char* p) {
  while (is(p, kSpace)) ++p;
  return p;
}
// Unrolled: names and values are short, and the loop step costs as much as
// the test. Each byte is looked at only after its predecessor didn't stop
// the scan, so it reads no further than the plain loop.
inline const char* scanTo(const char* p, uint8_t cls) {
  for (;; p += 4) {
    if (is(p, cls)) return p;
    if (is(p + 1, cls)) return p + 1;
    if (is(p + 2, cls)) return p + 2;
    if (is(p + 3, cls)) return p + 3;
  }
}
// True when `at` begins with the `n` bytes of `open`, a name that lies
// before `at` in the text and holds no zero byte. Names of up to 8 bytes are
// compared as one word when 8 bytes of text are left, so neither read goes
// past the text; otherwise byte by byte, stopping at the first difference
// (at the latest the zero byte behind the text).
inline bool sameName(const char* at, const char* open, uint32_t n, const char* end) {
  if constexpr (std::endian::native == std::endian::little) {
    if (n <= 8 && end - at >= 8) {
      uint64_t a, b;
      std::memcpy(&a, at, 8);
      std::memcpy(&b, open, 8);
      uint64_t mask = n == 8 ? ~uint64_t{0} : (uint64_t{1} << (8 * n)) - 1;
      return ((a ^ b) & mask) == 0;
    }
  }
  uint32_t i = 0;
  while (i < n && at[i] == open[i]) ++i;
  return i == n;
}
// Byte-wise prefix test: stops at the first difference, so it never reads
// past the zero byte behind the text.
inline bool startsWith(const char* p, const char* lit) {
  for (; *lit; ++p, ++lit)
    if (*p != *lit) return false;
  return true;
}

}  // namespace

cmMiniXmlParser::cmMiniXmlParser(cmMiniXml& doc, uint32_t flags)
    : doc_(doc),
      pos_(doc.textStart_),
      end_(doc.textEnd_),
      parent_(doc.rootNode_),
      skipAllText_((flags & (CMXML_PARSE_KEEP_TEXT | CMXML_PARSE_KEEP_NONBLANK_TEXT)) == 0),
      skipBlankText_((flags & CMXML_PARSE_KEEP_NONBLANK_TEXT) != 0),
      ids_(doc.idsEnabled_) {}

// A new node, not yet linked, when a block or the id table has to grow or
// a freed record is to be reused. Out of line: it is rare, and it may throw.
cmMiniXmlNode* cmMiniXmlParser::newNodeSlow(uint32_t kind) {
  cmMiniXmlNode* n = doc_.tree_.allocNode();
  n->doc = &doc_;
  n->kind = kind;
  n->id = -1;
  if (ids_) {
    try {
      n->id = doc_.nodeIds_.add(n);
    } catch (...) {
      doc_.tree_.freeNode(n);
      throw;
    }
  }
  return n;
}

// A new last child of `parent`: the hot path of the parse. Most nodes come
// from the current block and a slot made in advance, and are written whole
// here instead of zeroed first.
inline cmMiniXmlNode* cmMiniXmlParser::child(cmMiniXmlNode* parent, uint32_t kind) {
  cmMiniXmlNode* n;
  if ((!ids_ || doc_.nodeIds_.hasFreshSlot()) && (n = doc_.tree_.takeUnusedNode()) != nullptr) {
    *n = cmMiniXmlNode{&doc_, nullptr, nullptr, 0, 0, -1, kind, parent, nullptr, nullptr, nullptr};
    if (ids_) n->id = doc_.nodeIds_.addFresh(n);
  } else {
    n = newNodeSlow(kind);
  }
  n->parent = parent;
  cmMiniXmlNode* first = parent->firstChild;
  if (!first) {
    parent->firstChild = n;
    n->nextSibling = n->prevSibling = n;
  } else {
    cmMiniXmlNode* last = first->prevSibling;
    n->prevSibling = last;
    n->nextSibling = first;
    last->nextSibling = n;
    first->prevSibling = n;
  }
  return n;
}

int32_t cmMiniXmlParser::run() {
  const char* p = pos_;
  if (startsWith(p, "<?xml") && is(p + 5, kSpace)) {
    pos_ = p + 2;
    if (int32_t rc = declaration()) return rc;
    std::string_view eol = doc_.eol();
    if (std::strncmp(pos_, eol.data(), eol.size()) == 0 && static_cast<size_t>(end_ - pos_) >= eol.size())
      pos_ += eol.size();
  }
  for (;;) {
    // Content: character data up to the next '<'.
    p = pos_;
    if (skipAllText_) {
      p = static_cast<const char*>(std::memchr(p, '<', static_cast<size_t>(end_ - p)));
      if (!p) {
        pos_ = end_;
        break;
      }
    } else {
      const char* start = p;
      if (skipBlankText_) p = skipSpace(p);
      if (p == end_) {
        pos_ = end_;
        break;
      }
      if (*p != '<') {
        // Most runs are the one line ending between two tags, too short
        // for the setup of a memchr. p < end_, so p[1] is still text or the
        // zero byte behind it.
        const char* lt = p[1] == '<' ? p + 1
                                     : static_cast<const char*>(std::memchr(p, '<', static_cast<size_t>(end_ - p)));
        if (!lt) {  // text behind the last tag makes no node
          pos_ = end_;
          break;
        }
        cmMiniXmlNode* t = child(parent_, CMXML_NODE_TEXT);
        t->value = start;
        t->valueLength = static_cast<uint32_t>(lt - start);
        p = lt;
      }
    }
    pos_ = p;
    // Markup; an element straight away, as it is nearly always one.
    int32_t rc;
    char c = p[1];
    if (c == '/' && depth_ > 0)
      rc = endTag();
    else if (c != '?' && c != '!')
      rc = element();
    else
      rc = markup();
    if (rc) return rc;
  }
  if (depth_ > 0) return CMXML_ERR_UNEXPECTED_END;
  return 0;
}

int32_t cmMiniXmlParser::markup() {
  const char* p = pos_;
  if (p[1] == '?') return processingInstruction();
  if (p[1] != '!') return element();
  if (p[2] == '-') return p[3] == '-' ? comment() : CMXML_ERR_BAD_MARKUP;
  if (startsWith(p + 2, "DOCTYPE") && is(p + 9, kSpace)) return doctype();
  if (startsWith(p + 2, "[CDATA[")) return cdata();
  return CMXML_ERR_BAD_MARKUP;
}

int32_t cmMiniXmlParser::element() {
  if (depth_ + 1 >= CMXML_MAX_DEPTH) return CMXML_ERR_TOO_DEEP;
  const char* name = pos_ + 1;
  const char* p = scanTo(name, kNameEnd);
  if (p == name) return CMXML_ERR_NO_NAME;
  cmMiniXmlNode* node = child(parent_, CMXML_NODE_ELEMENT);
  node->name = name;
  node->nameLength = static_cast<uint32_t>(p - name);
  for (;;) {
    p = skipSpace(p);
    if (*p == '>') {
      pos_ = p + 1;
      parent_ = node;
      ++depth_;
      return 0;
    }
    if (*p == '/') {
      if (p[1] != '>') return CMXML_ERR_BAD_TAG_END;
      node->kind = CMXML_NODE_ELEMENT_EMPTY;
      pos_ = p + 2;
      return 0;
    }
    const char* attrName = p;
    p = scanTo(p, kAttrEnd);
    if (p == attrName) {
      if (*p) return CMXML_ERR_BAD_ATTRIBUTE;
      return p == end_ ? CMXML_ERR_UNEXPECTED_END : CMXML_ERR_ZERO_BYTE;
    }
    const char* attrNameEnd = p;
    p = skipSpace(p);
    if (*p != '=') return CMXML_ERR_NO_EQUALS;
    p = skipSpace(p + 1);
    char quote = *p;
    if (quote != '"' && quote != '\'') return CMXML_ERR_NO_QUOTE;
    const char* value = ++p;
    for (;;) {
      p = scanTo(p, kValueStop);
      char c = *p;
      if (c == quote) break;
      if (c == '<' || (c == 0 && p == end_)) return CMXML_ERR_BAD_VALUE;
      ++p;  // the other quote, or a zero byte inside the text
    }
    cmMiniXmlNode* attr = child(node, CMXML_NODE_ATTRIBUTE);
    attr->name = attrName;
    attr->nameLength = static_cast<uint32_t>(attrNameEnd - attrName);
    attr->value = value;
    attr->valueLength = static_cast<uint32_t>(p - value);
    ++p;
  }
}

int32_t cmMiniXmlParser::endTag() {
  const char* name = pos_ + 2;
  // Nearly always the open element's name: compared in place, it needs no
  // scan of its own. The open name holds no zero byte and no byte that ends
  // a name, so the compare stops within the text, and a match followed by
  // such a byte is exactly what the scan below would find.
  {
    const char* open = parent_->name;
    uint32_t n = parent_->nameLength;
    if (n != 0 && sameName(name, open, n, end_) && is(name + n, kNameEnd)) {
      const char* p = skipSpace(name + n);
      if (*p != '>') return CMXML_ERR_END_TAG_OPEN;
      pos_ = p + 1;
      parent_ = parent_->parent;
      --depth_;
      return 0;
    }
  }
  const char* p = scanTo(name, kNameEnd);
  if (p == name) return CMXML_ERR_NO_NAME;
  size_t n = static_cast<size_t>(p - name);
  if (n != parent_->nameLength || std::memcmp(name, parent_->name, n) != 0) return CMXML_ERR_TAG_MISMATCH;
  p = skipSpace(p);
  if (*p != '>') return CMXML_ERR_END_TAG_OPEN;
  pos_ = p + 1;
  parent_ = parent_->parent;
  --depth_;
  return 0;
}

int32_t cmMiniXmlParser::processingInstruction() {
  const char* target = pos_ + 2;
  const char* p = scanTo(target, kTargetEnd);
  if (p == target) return CMXML_ERR_NO_NAME;
  const char* targetEnd = p;
  p = skipSpace(p);
  const char* value = p;
  for (;;) {
    char c = *p;
    if (c == 0) return CMXML_ERR_PI_OPEN;
    if (c == '?' && p[1] == '>') break;
    ++p;
  }
  cmMiniXmlNode* node = child(parent_, CMXML_NODE_PI);
  node->name = target;
  node->nameLength = static_cast<uint32_t>(targetEnd - target);
  node->value = value;
  node->valueLength = static_cast<uint32_t>(p - value);
  pos_ = p + 2;
  return 0;
}

int32_t cmMiniXmlParser::comment() { return enclosedText(4, "-->", CMXML_ERR_COMMENT_OPEN, CMXML_NODE_COMMENT); }

int32_t cmMiniXmlParser::cdata() { return enclosedText(9, "]]>", CMXML_ERR_CDATA_OPEN, CMXML_NODE_CDATA); }

int32_t cmMiniXmlParser::enclosedText(size_t openLength, const char* close, int32_t unclosed, uint32_t kind) {
  const char* value = pos_ + openLength;
  // The text ends with a NUL, so the search stops at the end of the input.
  const char* end = std::strstr(value, close);
  if (!end) return unclosed;
  cmMiniXmlNode* node = child(parent_, kind);
  node->value = value;
  node->valueLength = static_cast<uint32_t>(end - value);
  pos_ = end + std::strlen(close);
  return 0;
}

void cmMiniXmlParser::privateAttribute(cmMiniXmlNode* node, const char* name, const char* value,
                                       const char* valueEnd) {
  cmMiniXmlNode* attr = doc_.insertAndCreate(node, name, -1, CMXML_NODE_ATTRIBUTE, CMXML_WHERE_LAST_CHILD);
  doc_.setNodeValue(attr, std::string_view(value, static_cast<size_t>(valueEnd - value)));
}

// <!DOCTYPE root [PUBLIC "id" ["uri"] | SYSTEM "uri"] [[subset]]>, its parts
// kept as private attributes "root", "PUBLIC", "SYSTEM" and "DTD".
int32_t cmMiniXmlParser::doctype() {
  cmMiniXmlNode* node = child(parent_, CMXML_NODE_DOCTYPE);
  node->name = pos_ + 2;
  node->nameLength = 7;
  const char* p = skipSpace(pos_ + 9);
  const char* rootName = p;
  p = scanTo(p, kNameEnd);
  if (p == rootName) return CMXML_ERR_DOCTYPE_NO_NAME;
  privateAttribute(node, "root", rootName, p);
  p = skipSpace(p);
  if (*p == '>') {
    pos_ = p + 1;
    return 0;
  }
  int parts = 0;
  bool isPublic = false;
  for (;;) {
    p = skipSpace(p);
    if (*p == '>') {
      pos_ = p + 1;
      return 0;
    }
    if (*p == '[') break;
    if (*p == 0) return CMXML_ERR_UNEXPECTED_END;
    if (parts >= 2) return CMXML_ERR_DOCTYPE_EXTRA;
    const char* keyword;
    if (parts == 1 && isPublic) {
      keyword = "SYSTEM";
    } else {
      const char* k = p;
      p = scanTo(p, kNameEnd);
      std::string_view word(k, static_cast<size_t>(p - k));
      if (parts == 0 && word == "PUBLIC") {
        isPublic = true;
        keyword = "PUBLIC";
      } else if (word == "SYSTEM") {
        keyword = "SYSTEM";
        parts = 1;
      } else {
        return CMXML_ERR_DOCTYPE_KEYWORD;
      }
      if (!is(p, kSpace)) return CMXML_ERR_NO_QUOTE;
    }
    p = skipSpace(p);
    char quote = *p;
    if (quote != '"' && quote != '\'') return CMXML_ERR_NO_QUOTE;
    const char* literal = ++p;
    while (*p != quote) {
      if (*p == 0) return p == end_ ? CMXML_ERR_BAD_VALUE : CMXML_ERR_ZERO_BYTE;
      ++p;
    }
    privateAttribute(node, keyword, literal, p);
    ++p;
    ++parts;
  }
  // Internal subset: up to ']', quoted strings stepped over whole. Nothing in
  // it is interpreted, comments included.
  const char* subset = ++p;
  for (;;) {
    char c = *p;
    if (c == ']') break;
    if (c == 0) return p == end_ ? CMXML_ERR_UNEXPECTED_END : CMXML_ERR_ZERO_BYTE;
    if (c == '"' || c == '\'') {
      ++p;
      while (*p != c) {
        if (*p == 0) return p == end_ ? CMXML_ERR_BAD_VALUE : CMXML_ERR_ZERO_BYTE;
        ++p;
      }
    }
    ++p;
  }
  privateAttribute(node, "DTD", subset, p);
  p = skipSpace(p + 1);
  if (*p != '>') return CMXML_ERR_DOCTYPE_EXTRA;
  pos_ = p + 1;
  return 0;
}

// <?xml version="..." encoding="..." standalone="..."?>: fills the three
// declaration strings and makes no node. Entered at "xml".
int32_t cmMiniXmlParser::declaration() {
  const char* p = pos_ + 3;
  for (;;) {
    p = skipSpace(p);
    if (*p == 0 || *p == '/' || *p == '>') return CMXML_ERR_PI_OPEN;
    if (*p == '?') {
      if (p[1] != '>') return CMXML_ERR_BAD_TAG_END;
      pos_ = p + 2;
      return 0;
    }
    const char* name = p;
    p = scanTo(p, kAttrEnd);
    if (p == name) {
      if (*p) return CMXML_ERR_BAD_ATTRIBUTE;
      return p == end_ ? CMXML_ERR_UNEXPECTED_END : CMXML_ERR_ZERO_BYTE;
    }
    std::string_view key(name, static_cast<size_t>(p - name));
    p = skipSpace(p);
    if (*p != '=') return CMXML_ERR_NO_EQUALS;
    p = skipSpace(p + 1);
    char quote = *p;
    if (quote != '"' && quote != '\'') return CMXML_ERR_NO_QUOTE;
    const char* value = ++p;
    while (*p != quote) {
      if (*p == 0) return p == end_ ? CMXML_ERR_BAD_VALUE : CMXML_ERR_ZERO_BYTE;
      if (*p == '<') return CMXML_ERR_BAD_VALUE;
      ++p;
    }
    std::string_view text(value, static_cast<size_t>(p - value));
    ++p;
    if (key == "version")
      doc_.setVersionText(text);
    else if (key == "encoding")
      doc_.setEncodingName(text);
    else if (key == "standalone")
      doc_.setStandaloneText(text);
  }
}
