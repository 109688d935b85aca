// Walking and reading the document tree: ring lookups, lazy entity decoding,
// element text, line numbers, display names.
#include <cstring>

#include "xml/cmMiniXml.h"

cmMiniXmlNode* cmMiniXml::rootElement() const { return firstChildOfKind(rootNode_, CMXML_ELEMENT_KINDS); }

cmMiniXmlNode* cmMiniXml::firstChildOfKind(const cmMiniXmlNode* node, uint32_t kindMask) {
  if (!node || !node->firstChild) return nullptr;
  cmMiniXmlNode* c = node->firstChild;
  do {
    if (c->kind & kindMask) return c;
    c = c->nextSibling;
  } while (c != node->firstChild);
  return nullptr;
}

cmMiniXmlNode* cmMiniXml::nextSiblingOfKind(const cmMiniXmlNode* node, uint32_t kindMask) {
  if (!node || !node->parent) return nullptr;
  kindMask &= ~CMXML_NODE_ATTRIBUTE;
  const cmMiniXmlNode* first = node->parent->firstChild;
  for (cmMiniXmlNode* c = node->nextSibling; c != first; c = c->nextSibling) {
    if (c->kind & kindMask) return c;
  }
  return nullptr;
}

cmMiniXmlNode* cmMiniXml::prevSiblingOfKind(const cmMiniXmlNode* node, uint32_t kindMask) {
  if (!node || !node->parent) return nullptr;
  kindMask &= ~CMXML_NODE_ATTRIBUTE;
  const cmMiniXmlNode* first = node->parent->firstChild;
  for (const cmMiniXmlNode* c = node; c != first;) {
    c = c->prevSibling;
    if (c->kind & kindMask) return const_cast<cmMiniXmlNode*>(c);
  }
  return nullptr;
}

cmMiniXmlNode* cmMiniXml::findChild(const cmMiniXmlNode* node, std::string_view name, uint32_t kindMask) {
  if (!node || !node->firstChild) return nullptr;
  kindMask &= ~CMXML_NODE_ATTRIBUTE;
  cmMiniXmlNode* c = node->firstChild;
  do {
    if ((c->kind & kindMask) && c->nameLength == name.size() &&
        (name.empty() || std::memcmp(c->name, name.data(), name.size()) == 0))
      return c;
    c = c->nextSibling;
  } while (c != node->firstChild);
  return nullptr;
}

cmMiniXmlNode* cmMiniXml::findAttribute(const cmMiniXmlNode* element, std::string_view name, int32_t* indexOut) {
  if (indexOut) *indexOut = 0;
  if (!element || !element->firstChild) return nullptr;
  cmMiniXmlNode* c = element->firstChild;
  int32_t index = 0;
  do {
    if (c->kind != CMXML_NODE_ATTRIBUTE) break;
    ++index;
    if (c->nameLength == name.size() && (name.empty() || std::memcmp(c->name, name.data(), name.size()) == 0)) {
      if (indexOut) *indexOut = index;
      return c;
    }
    c = c->nextSibling;
  } while (c != element->firstChild);
  return nullptr;
}

std::string_view cmMiniXml::displayName(const cmMiniXmlNode* node) {
  if (!node) return {};
  switch (node->kind) {
    case CMXML_NODE_COMMENT:
      return "#comment";
    case CMXML_NODE_DOCTYPE:
      return std::string_view("#doctype", 9);  // the zero byte is part of the name
    case CMXML_NODE_TEXT:
      return "#text";
    case CMXML_NODE_CDATA:
      return "#cdata-section";
    case CMXML_NODE_DOCUMENT:
      return "#document";
    default:
      return node->nameView();
  }
}

// ---------------------------------------------------------------- lazy decoding

namespace {

size_t putUtf8(uint32_t cp, char* out) {
  unsigned char* o = reinterpret_cast<unsigned char*>(out);
  if (cp < 0x80) {
    o[0] = static_cast<unsigned char>(cp);
    return 1;
  }
  if (cp < 0x800) {
    o[0] = static_cast<unsigned char>(0xC0 | (cp >> 6));
    o[1] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
    return 2;
  }
  if (cp < 0x10000) {
    o[0] = static_cast<unsigned char>(0xE0 | (cp >> 12));
    o[1] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
    o[2] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
    return 3;
  }
  if (cp < 0x200000) {
    o[0] = static_cast<unsigned char>(0xF0 | (cp >> 18));
    o[1] = static_cast<unsigned char>(0x80 | ((cp >> 12) & 0x3F));
    o[2] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
    o[3] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
    return 4;
  }
  // Beyond the 4-byte forms: the long forms of the original encoding, so
  // that every 32-bit number still has an output no longer than its
  // reference ("&#2097152;" is 10 bytes and gives 5).
  if (cp < 0x4000000) {
    o[0] = static_cast<unsigned char>(0xF8 | (cp >> 24));
    o[1] = static_cast<unsigned char>(0x80 | ((cp >> 18) & 0x3F));
    o[2] = static_cast<unsigned char>(0x80 | ((cp >> 12) & 0x3F));
    o[3] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
    o[4] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
    return 5;
  }
  if (cp < 0x80000000u) {
    o[0] = static_cast<unsigned char>(0xFC | (cp >> 30));
    o[1] = static_cast<unsigned char>(0x80 | ((cp >> 24) & 0x3F));
    o[2] = static_cast<unsigned char>(0x80 | ((cp >> 18) & 0x3F));
    o[3] = static_cast<unsigned char>(0x80 | ((cp >> 12) & 0x3F));
    o[4] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
    o[5] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
    return 6;
  }
  // No encoding at all: the replacement character (3 bytes; such a number
  // needs at least "&#x80000000;").
  o[0] = static_cast<char>(0xEF);
  o[1] = static_cast<char>(0xBF);
  o[2] = static_cast<char>(0xBD);
  return 3;
}

int hexDigit(unsigned char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool startsWith(const char* p, size_t remaining, const char* lit, size_t n) {
  return remaining >= n && std::memcmp(p, lit, n) == 0;
}

// Decodes src[0, n) into out, which has room for n bytes (no reference
// decodes to more bytes than it has). Returns the decoded length.
size_t decodeEntities(const char* src, size_t n, char* out) {
  const char* p = src;
  const char* end = src + n;
  char* o = out;
  while (p < end) {
    const char* amp = static_cast<const char*>(std::memchr(p, '&', static_cast<size_t>(end - p)));
    if (!amp) amp = end;
    std::memcpy(o, p, static_cast<size_t>(amp - p));
    o += amp - p;
    p = amp;
    if (p == end) break;
    size_t remaining = static_cast<size_t>(end - p);
    if (startsWith(p, remaining, "&amp;", 5)) {
      *o++ = '&';
      p += 5;
    } else if (startsWith(p, remaining, "&lt;", 4)) {
      *o++ = '<';
      p += 4;
    } else if (startsWith(p, remaining, "&gt;", 4)) {
      *o++ = '>';
      p += 4;
    } else if (startsWith(p, remaining, "&apos;", 6)) {
      *o++ = '\'';
      p += 6;
    } else if (startsWith(p, remaining, "&quot;", 6)) {
      *o++ = '"';
      p += 6;
    } else if (remaining >= 6 && p[1] == '#' && p[2] == 'x') {
      const char* q = p + 3;
      uint32_t cp = 0;
      int d;
      while (q < end && (d = hexDigit(static_cast<unsigned char>(*q))) >= 0) {
        cp = cp * 16 + static_cast<uint32_t>(d);
        ++q;
      }
      if (q > p + 3 && q < end && *q == ';') {
        o += putUtf8(cp, o);
        p = q + 1;
      } else {  // copied literally up to where the scan stopped
        std::memcpy(o, p, static_cast<size_t>(q - p));
        o += q - p;
        p = q;
      }
    } else if (remaining >= 5 && p[1] == '#' && p[2] != 'x') {
      const char* q = p + 2;
      uint32_t cp = 0;
      while (q < end && *q >= '0' && *q <= '9') {
        cp = cp * 10 + static_cast<uint32_t>(*q - '0');
        ++q;
      }
      if (q > p + 2 && q < end && *q == ';') {
        o += putUtf8(cp, o);
        p = q + 1;
      } else {
        std::memcpy(o, p, static_cast<size_t>(q - p));
        o += q - p;
        p = q;
      }
    } else {
      *o++ = '&';
      ++p;
    }
  }
  return static_cast<size_t>(o - out);
}

}  // namespace

std::string_view cmMiniXml::decodedValue(cmMiniXmlNode* node) {
  if (!node || !node->value) return {};
  if ((node->kind & (CMXML_NODE_ATTRIBUTE | CMXML_NODE_TEXT)) && inTextBuffer(node->value) &&
      std::memchr(node->value, '&', node->valueLength)) {
    char* out = decoded_.alloc(node->valueLength + size_t{1});
    if (out) {  // without memory the raw value stays readable
      size_t n = decodeEntities(node->value, node->valueLength, out);
      out[n] = 0;
      node->value = out;
      node->valueLength = static_cast<uint32_t>(n);
    }
  }
  return node->rawValue();
}

void cmMiniXml::elementText(cmMiniXmlNode* node, std::string& out) {
  if (!node) return;
  const_iterator it(node);
  it.next();  // the node itself contributes nothing of its own
  while (!it.done() && it.depth() > 0) {
    cmMiniXmlNode* n = const_cast<cmMiniXmlNode*>(*it);
    if (n->kind == CMXML_NODE_ELEMENT) {
      it.next();
      continue;
    }
    if (n->kind & (CMXML_NODE_TEXT | CMXML_NODE_CDATA)) out.append(decodedValue(n));
    it.skipChildren();
  }
}

std::string cmMiniXml::nodeValue(cmMiniXmlNode* node) {
  std::string out;
  if (!node) return out;
  if (node->kind & (CMXML_NODE_PI | CMXML_NODE_COMMENT | CMXML_NODE_DOCTYPE | CMXML_NODE_ATTRIBUTE |
                    CMXML_NODE_TEXT | CMXML_NODE_CDATA))
    out.assign(decodedValue(node));
  else
    elementText(node, out);
  return out;
}

uint64_t cmMiniXml::lineOfNode(const cmMiniXmlNode* node) {
  if (!node) return 0;
  const char* at = inTextBuffer(node->name) ? node->name : (inTextBuffer(node->value) ? node->value : nullptr);
  if (!at) return 0;
  const char* from = textStart_;
  uint64_t line = 1;
  if (lineCachePos_ && lineCachePos_ >= textStart_ && lineCachePos_ <= at) {
    from = lineCachePos_;
    line = lineCacheLine_;
  }
  char mark = eol_[eolLength_ - 1];
  for (const char* p = from; (p = static_cast<const char*>(std::memchr(p, mark, static_cast<size_t>(at - p))));
       ++p)
    ++line;
  lineCachePos_ = at;
  lineCacheLine_ = line;
  return line;
}
