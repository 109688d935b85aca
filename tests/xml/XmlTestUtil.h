// Helpers shared by the XML tests: a compact one-line picture of a tree, and
// a structural check of every ring.
#pragma once

#include <string>

#include "xml/cmMiniXml.h"

namespace xmltest {

// e(@k=v "text" [cdata] !comment ?pi:value b/ DOCTYPE(...)), raw values.
inline void dumpNode(const cmMiniXmlNode* n, std::string& out) {
  auto children = [&](const cmMiniXmlNode* p) {
    if (!p->firstChild) return;
    out += '(';
    const cmMiniXmlNode* c = p->firstChild;
    do {
      if (c != p->firstChild) out += ' ';
      dumpNode(c, out);
      c = c->nextSibling;
    } while (c != p->firstChild);
    out += ')';
  };
  switch (n->kind) {
    case CMXML_NODE_ELEMENT: out.append(n->nameView()); children(n); break;
    case CMXML_NODE_ELEMENT_EMPTY: out.append(n->nameView()); children(n); out += '/'; break;
    case CMXML_NODE_DECLARATION: out += "?"; out.append(n->nameView()); children(n); break;
    case CMXML_NODE_PI: out += '?'; out.append(n->nameView()); out += ':'; out.append(n->rawValue()); break;
    case CMXML_NODE_COMMENT: out += '!'; out.append(n->rawValue()); break;
    case CMXML_NODE_DOCTYPE: out.append(n->nameView()); children(n); break;
    case CMXML_NODE_ATTRIBUTE: out += '@'; out.append(n->nameView()); out += '='; out.append(n->rawValue()); break;
    case CMXML_NODE_TEXT: out += '"'; out.append(n->rawValue()); out += '"'; break;
    case CMXML_NODE_CDATA: out += '['; out.append(n->rawValue()); out += ']'; break;
    case CMXML_NODE_DOCUMENT: children(n); break;
    default: out += "?kind?"; break;
  }
}

inline std::string dump(const cmMiniXml& doc) {
  std::string out;
  const cmMiniXmlNode* r = doc.root();
  if (!r->firstChild) return out;
  const cmMiniXmlNode* c = r->firstChild;
  do {
    if (c != r->firstChild) out += ' ';
    dumpNode(c, out);
    c = c->nextSibling;
  } while (c != r->firstChild);
  return out;
}

// Every ring closed both ways, parents right, attributes leading, node
// count equal to the tree's live count. Returns "" or what is wrong.
inline std::string checkRings(const cmMiniXml& doc, bool attributesLead = true) {
  uint64_t count = 0;
  for (auto it = doc.walk(); !it.done(); it.next()) {
    const cmMiniXmlNode* n = *it;
    ++count;
    if (n->doc != &doc) return "node with foreign doc";
    if (!n->firstChild) continue;
    const cmMiniXmlNode* c = n->firstChild;
    bool seenOther = false;
    size_t guard = 0;
    do {
      if (c->parent != n) return "bad parent";
      if (c->nextSibling->prevSibling != c) return "bad back link";
      if (attributesLead && c->kind == CMXML_NODE_ATTRIBUTE && seenOther) return "attribute behind content";
      if (c->kind != CMXML_NODE_ATTRIBUTE) seenOther = true;
      c = c->nextSibling;
      if (++guard > 100000000) return "ring does not close";
    } while (c != n->firstChild);
  }
  if (count != doc.nodeCount()) return "live count " + std::to_string(doc.nodeCount()) + " but walked " + std::to_string(count);
  return "";
}

}  // namespace xmltest
