// cmXPathAxes: the walks of the XPath axes over the ring-linked tree, one
// small cursor per axis: start(context), then next() until null. Every walk
// is iterative with constant state, so a deep document costs no stack.
//
// Order: forward axes in document order; ancestors nearest first; preceding
// and preceding-sibling backwards from the context (reverse document order).
// Descendant walks never enter attributes: those are reached through the
// attribute axis only. Cursors hold no ownership; single-threaded; the tree
// must not change under a cursor except by growing where it doesn't walk.
#pragma once

#include "xml/cmMiniXmlNode.h"

namespace cmXPathAxes {

// Next sibling in the ring, null at its end (and for the document node).
inline cmMiniXmlNode* nextSibling(const cmMiniXmlNode* n) {
  return n->parent && n->nextSibling != n->parent->firstChild ? n->nextSibling : nullptr;
}
inline cmMiniXmlNode* prevSibling(const cmMiniXmlNode* n) {
  return n->parent && n != n->parent->firstChild ? n->prevSibling : nullptr;
}
// First child that is no attribute (attributes stand first in the ring).
inline cmMiniXmlNode* firstContent(const cmMiniXmlNode* n) {
  cmMiniXmlNode* c = n->firstChild;
  if (!c) return nullptr;
  for (cmMiniXmlNode* i = c;;) {
    if (i->kind != CMXML_NODE_ATTRIBUTE) return i;
    i = i->nextSibling;
    if (i == c) return nullptr;
  }
}
// Last child if it is no attribute: then the node has content.
inline cmMiniXmlNode* lastContent(const cmMiniXmlNode* n) {
  cmMiniXmlNode* l = n->lastChild();
  return l && l->kind != CMXML_NODE_ATTRIBUTE ? l : nullptr;
}
// Pre-order successor of `n`, not leaving the subtree of `top` (null: the
// whole document).
inline cmMiniXmlNode* preorderNext(const cmMiniXmlNode* n, const cmMiniXmlNode* top) {
  if (cmMiniXmlNode* c = firstContent(n)) return c;
  while (n && n != top) {
    if (cmMiniXmlNode* s = nextSibling(n)) return s;
    n = n->parent;
  }
  return nullptr;
}
// Deepest last descendant of `n` (n itself when it has no content).
inline cmMiniXmlNode* deepestLast(cmMiniXmlNode* n) {
  while (cmMiniXmlNode* l = lastContent(n)) n = l;
  return n;
}

struct Child {
  const cmMiniXmlNode* ctx;
  cmMiniXmlNode* cur;
  cmMiniXmlNode* start(const cmMiniXmlNode* c) { ctx = c; return cur = c->firstChild; }
  cmMiniXmlNode* next() { return cur = cur->nextSibling == ctx->firstChild ? nullptr : cur->nextSibling; }
};

struct Descendant {
  const cmMiniXmlNode* ctx;
  cmMiniXmlNode* cur;
  cmMiniXmlNode* start(const cmMiniXmlNode* c) { ctx = c; return cur = firstContent(c); }
  cmMiniXmlNode* next() { return cur = preorderNext(cur, ctx); }
};

struct DescendantOrSelf {
  const cmMiniXmlNode* ctx;
  cmMiniXmlNode* cur;
  cmMiniXmlNode* start(cmMiniXmlNode* c) { ctx = c; return cur = c; }
  cmMiniXmlNode* next() { return cur = cur == ctx ? firstContent(cur) : preorderNext(cur, ctx); }
};

struct Ancestor {
  cmMiniXmlNode* cur;
  cmMiniXmlNode* start(const cmMiniXmlNode* c) { return cur = c->parent; }
  cmMiniXmlNode* next() { return cur = cur->parent; }
};

struct AncestorOrSelf {
  cmMiniXmlNode* cur;
  cmMiniXmlNode* start(cmMiniXmlNode* c) { return cur = c; }
  cmMiniXmlNode* next() { return cur = cur->parent; }
};

struct Parent {
  cmMiniXmlNode* start(const cmMiniXmlNode* c) { return c->parent; }
  cmMiniXmlNode* next() { return nullptr; }
};

struct Self {
  cmMiniXmlNode* start(cmMiniXmlNode* c) { return c; }
  cmMiniXmlNode* next() { return nullptr; }
};

struct FollowingSibling {
  cmMiniXmlNode* cur;
  cmMiniXmlNode* start(const cmMiniXmlNode* c) { return cur = nextSibling(c); }
  cmMiniXmlNode* next() { return cur = nextSibling(cur); }
};

struct PrecedingSibling {
  cmMiniXmlNode* cur;
  cmMiniXmlNode* start(const cmMiniXmlNode* c) { return cur = prevSibling(c); }
  cmMiniXmlNode* next() { return cur = prevSibling(cur); }
};

// Everything behind the context's subtree in document order: the next
// siblings of the context and of each ancestor, each with its descendants.
struct Following {
  cmMiniXmlNode* cur;
  cmMiniXmlNode* start(const cmMiniXmlNode* c) {
    for (const cmMiniXmlNode* n = c; n; n = n->parent)
      if (cmMiniXmlNode* s = nextSibling(n)) return cur = s;
    return cur = nullptr;
  }
  cmMiniXmlNode* next() { return cur = preorderNext(cur, nullptr); }
};

// Everything before the context in reverse document order, ancestors left
// out: each previous sibling's subtree last child first, ending with the
// sibling itself.
struct Preceding {
  cmMiniXmlNode* cur;
  cmMiniXmlNode* ancestor;  // next ancestor the backward walk will meet
  cmMiniXmlNode* start(cmMiniXmlNode* c) {
    ancestor = c->parent;
    cur = c;
    return next();
  }
  cmMiniXmlNode* next() {
    for (;;) {
      if (cmMiniXmlNode* s = prevSibling(cur)) return cur = deepestLast(s);
      cur = cur->parent;
      if (!cur) return nullptr;
      if (cur != ancestor) return cur;
      ancestor = cur->parent;
    }
  }
};

}  // namespace cmXPathAxes
