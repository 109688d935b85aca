#include "xml/cmXPathItem.h"

#include <new>
#include <string>
#include <utility>

#include "runtime/cmAlloc.h"
#include "runtime/cmErrors.h"
#include "runtime/cmException.h"
#include "xml/cmMiniXml.h"
#include "xml/cmXPathErrors.h"

cmXPathItem::~cmXPathItem() {
  if (nodes) {
    nodes->~cmXPathNodeList();
    cmFree(nodes);
  }
}

cmXPathNodeList& cmXPathItem::setNodeSet() {
  type = NODE_SET;
  if (!nodes) {
    void* p = cmAlloc(sizeof(cmXPathNodeList));
    if (!p) throw cmException(CM_ERR_OUT_OF_MEMORY);
    nodes = new (p) cmXPathNodeList();
    nodes->reserve(100);
  }
  nodes->clear();
  return *nodes;
}

void cmXPathItem::swap(cmXPathItem& other) {
  text.swap(other.text);
  std::swap(integer, other.integer);
  std::swap(boolean, other.boolean);
  std::swap(nodes, other.nodes);
  std::swap(type, other.type);
}

namespace {
[[noreturn]] void failWith(int32_t code, std::string_view text) {
  std::string p(text.substr(0, 500));
  throw cmException(code, p.c_str());
}
bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
std::string_view trim(std::string_view s) {
  while (!s.empty() && isBlank(s.front())) s.remove_prefix(1);
  while (!s.empty() && isBlank(s.back())) s.remove_suffix(1);
  return s;
}
}  // namespace

namespace cmXPathConvert {

std::string_view nodeValue(cmMiniXml& doc, cmMiniXmlNode* node, std::string& scratch) {
  constexpr uint32_t kOwnValue = CMXML_NODE_PI | CMXML_NODE_COMMENT | CMXML_NODE_DOCTYPE |
                                 CMXML_NODE_ATTRIBUTE | CMXML_NODE_TEXT | CMXML_NODE_CDATA;
  if (node->kind & kOwnValue) return doc.decodedValue(node);
  scratch.clear();
  doc.elementText(node, scratch);
  return scratch;
}

std::string_view toString(cmMiniXml& doc, const cmXPathItem& item, std::string& scratch) {
  switch (item.type) {
    case cmXPathItem::STRING: return item.text;
    case cmXPathItem::NODE_SET:
      if (!item.nodes || item.nodes->empty()) return {};
      if (item.nodes->size() > 1) throw cmException(CM_XPATH_ERR_MANY_NODES_TO_STRING);
      return nodeValue(doc, (*item.nodes)[0], scratch);
    case cmXPathItem::BOOLEAN: throw cmException(CM_XPATH_ERR_BOOLEAN_TO_STRING);
    default: throw cmException(CM_XPATH_ERR_INTEGER_TO_STRING);
  }
}

bool toBoolean(const cmXPathItem& item) {
  switch (item.type) {
    case cmXPathItem::BOOLEAN: return item.boolean != 0;
    case cmXPathItem::INTEGER: return item.integer != 0;
    case cmXPathItem::STRING: return !item.text.empty();
    default: return item.nodes && !item.nodes->empty();
  }
}

int64_t toArithmetic(cmMiniXml& doc, const cmXPathItem& item) {
  if (item.type == cmXPathItem::INTEGER) return item.integer;
  if (item.type == cmXPathItem::NODE_SET && item.nodes && item.nodes->size() == 1) {
    std::string scratch;
    return textToInteger(nodeValue(doc, (*item.nodes)[0], scratch));
  }
  throw cmException(CM_XPATH_ERR_NOT_ARITHMETIC);
}

bool parseInteger(std::string_view text, int64_t* out) {
  std::string_view s = trim(text);
  bool negative = false;
  if (!s.empty() && (s.front() == '-' || s.front() == '+')) {
    negative = s.front() == '-';
    s.remove_prefix(1);
  }
  if (s.empty()) return false;
  uint64_t n = 0;
  const uint64_t limit = negative ? uint64_t(1) << 63 : (uint64_t(1) << 63) - 1;
  for (char c : s) {
    if (c < '0' || c > '9') return false;
    unsigned d = static_cast<unsigned>(c - '0');
    if (n > (limit - d) / 10) return false;
    n = n * 10 + d;
  }
  *out = negative ? static_cast<int64_t>(0 - n) : static_cast<int64_t>(n);
  return true;
}

int64_t textToInteger(std::string_view text) {
  int64_t n;
  if (!parseInteger(text, &n)) failWith(CM_XPATH_ERR_NOT_INTEGER, text);
  return n;
}

bool textToBoolean(std::string_view text) {
  std::string_view s = trim(text);
  if (s == "1" || s == "true") return true;
  if (s == "0" || s == "false") return false;
  failWith(CM_XPATH_ERR_NOT_BOOLEAN, text);
}

}  // namespace cmXPathConvert
