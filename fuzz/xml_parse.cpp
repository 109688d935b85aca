// libFuzzer target: arbitrary bytes through the XML parser, then through
// every reading operation of the tree (lazy decoding, element text, lines),
// a deep copy and a delete. The first byte picks the parse flags and whether
// the bytes are parsed in place.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "runtime/cmErrors.h"
#include "runtime/cmException.h"
#include "xml/cmMiniXml.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  uint32_t flags = data[0] & (CMXML_PARSE_KEEP_TEXT | CMXML_PARSE_KEEP_PARTIAL | CMXML_PARSE_KEEP_NONBLANK_TEXT);
  bool inPlace = (data[0] & 0x10) != 0;
  bool ids = (data[0] & 0x20) != 0;
  ++data;
  --size;
  // In place needs a zero byte behind the text.
  std::string owned(reinterpret_cast<const char*>(data), size);
  cmMiniXml doc;
  if (ids) doc.setIdsEnabled(true);
  int32_t status = 0;
  try {
    doc.loadText(owned.c_str(), static_cast<int64_t>(size), flags, &status, inPlace);
  } catch (const cmException& e) {
    if (e.number() == CM_ERR_OUT_OF_MEMORY) __builtin_trap();
    if (doc.root()->firstChild) __builtin_trap();  // a refused parse keeps nothing
    return 0;
  }
  if (status != 0 && !(flags & CMXML_PARSE_KEEP_PARTIAL)) __builtin_trap();
  size_t total = 0;
  for (auto it = doc.walk(); !it.done(); it.next()) {
    cmMiniXmlNode* n = const_cast<cmMiniXmlNode*>(*it);
    if (n->doc != &doc) __builtin_trap();
    if (n->firstChild && n->firstChild->prevSibling->nextSibling != n->firstChild) __builtin_trap();
    // Element text walks the whole subtree: read it for the top element
    // only, or deep inputs turn the target quadratic.
    total += (n->kind & (CMXML_ELEMENT_KINDS | CMXML_NODE_DOCUMENT)) ? 0 : doc.nodeValue(n).size();
    total += cmMiniXml::displayName(n).size();
    total += doc.lineOfNode(n);
    if (n->kind & CMXML_ELEMENT_KINDS) total += cmMiniXml::findAttribute(n, "a") != nullptr;
  }
  total += doc.nodeValue(doc.root()).size();
  cmMiniXml copy(doc);
  if (copy.nodeCount() > doc.nodeCount()) __builtin_trap();
  if (cmMiniXmlNode* r = copy.rootElement()) {
    copy.deleteNode(r, true);
    copy.deleteNode(r, false);
  }
  return total == 0xFFFFFFFF ? 1 : 0;
}
