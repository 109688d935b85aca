// Construction, state and changes of the document tree. Walking and value
// reading live in cmMiniXmlRead.cpp, the parser in cmMiniXmlParser.cpp.
#include "xml/cmMiniXml.h"

#include <cstring>
#include <utility>

#include "runtime/cmAlloc.h"
#include "runtime/cmErrors.h"
#include "runtime/cmException.h"

cmMiniXml::cmMiniXml() { createRoot(); }

cmMiniXml::cmMiniXml(const cmMiniXml& other) {
  createRoot();
  copyDocument(other, -1);
}

cmMiniXml::cmMiniXml(cmMiniXml&& other)
    : nodeIds_(std::move(other.nodeIds_)),
      idsEnabled_(other.idsEnabled_),
      textBuffer_(other.textBuffer_),
      textCapacity_(other.textCapacity_),
      textStart_(other.textStart_),
      textEnd_(other.textEnd_),
      tree_(std::move(other.tree_)),
      encodingName_(other.encodingName_),
      versionText_(other.versionText_),
      standaloneText_(other.standaloneText_),
      fileName_(other.fileName_),
      modified_(other.modified_),
      eolLength_(other.eolLength_),
      rootNode_(other.rootNode_),
      fileEncoding_(other.fileEncoding_),
      lineCacheLine_(other.lineCacheLine_),
      lineCachePos_(other.lineCachePos_),
      ownedStrings_(other.ownedStrings_),
      decoded_(std::move(other.decoded_)) {
  std::memcpy(eol_, other.eol_, 2);
  // Every node names its document.
  for (const_iterator it = walk(); !it.done(); it.next()) const_cast<cmMiniXmlNode*>(*it)->doc = this;
  other.textBuffer_ = nullptr;
  other.textCapacity_ = 0;
  other.textStart_ = other.textEnd_ = nullptr;
  other.encodingName_ = other.versionText_ = other.standaloneText_ = other.fileName_ = OwnedText{};
  other.rootNode_ = nullptr;
  other.idsEnabled_ = false;
  other.modified_ = 0;
  other.eol_[0] = '\r';
  other.eol_[1] = '\n';
  other.eolLength_ = 2;
  other.fileEncoding_ = CMXML_ENCODING_UTF8;
  other.lineCacheLine_ = 0;
  other.lineCachePos_ = nullptr;
  other.ownedStrings_ = 0;
  other.createRoot();
}

cmMiniXml::~cmMiniXml() {
  destroyTree();
  release(encodingName_);
  release(versionText_);
  release(standaloneText_);
  release(fileName_);
  cmFree(textBuffer_);
}

// ---------------------------------------------------------------- strings

void cmMiniXml::assign(OwnedText& t, std::string_view s) {
  char* p = static_cast<char*>(cmAlloc(s.size() + 1));
  if (!p) throw cmException(CM_ERR_OUT_OF_MEMORY);
  if (!s.empty()) std::memcpy(p, s.data(), s.size());
  p[s.size()] = 0;
  cmFree(t.data);
  t.data = p;
  t.length = static_cast<uint32_t>(s.size());
}

void cmMiniXml::release(OwnedText& t) {
  cmFree(t.data);
  t = OwnedText{};
}

void cmMiniXml::setEncodingName(std::string_view s) {
  assign(encodingName_, s);
  modified_ = 1;
}
void cmMiniXml::setVersionText(std::string_view s) {
  assign(versionText_, s);
  modified_ = 1;
}
void cmMiniXml::setStandaloneText(std::string_view s) {
  assign(standaloneText_, s);
  modified_ = 1;
}

char* cmMiniXml::copyString(const char* s, size_t n) {
  char* p = static_cast<char*>(cmAlloc(n + 1));
  if (!p) throw cmException(CM_ERR_OUT_OF_MEMORY);
  if (n) std::memcpy(p, s, n);
  p[n] = 0;
  ++ownedStrings_;
  return p;
}

void cmMiniXml::freeString(const char* p) {
  if (p && !inTextBuffer(p) && !decoded_.contains(p)) {
    cmFree(const_cast<char*>(p));
    --ownedStrings_;
  }
}

void cmMiniXml::setNodeName(cmMiniXmlNode* node, std::string_view name) {
  char* p = copyString(name.data(), name.size());
  freeString(node->name);
  node->name = p;
  node->nameLength = static_cast<uint32_t>(name.size());
  modified_ = 1;
}

void cmMiniXml::setNodeValue(cmMiniXmlNode* node, std::string_view value) {
  char* p = copyString(value.data(), value.size());
  freeString(node->value);
  node->value = p;
  node->valueLength = static_cast<uint32_t>(value.size());
  modified_ = 1;
}

// ---------------------------------------------------------------- nodes and rings

cmMiniXmlNode* cmMiniXml::newNode(uint32_t kind) {
  cmMiniXmlNode* n = tree_.allocNode();
  n->doc = this;
  n->kind = kind;
  n->id = -1;
  if (idsEnabled_) {
    try {
      n->id = nodeIds_.add(n);
    } catch (...) {
      tree_.freeNode(n);
      throw;
    }
  }
  return n;
}

void cmMiniXml::createRoot() {
  rootNode_ = newNode(CMXML_NODE_DOCUMENT);
  tree_.setRoot(rootNode_);
}

// Links `node` into the ring of ref's parent (where 0, 1) or of ref (2).
void cmMiniXml::link(cmMiniXmlNode* node, cmMiniXmlNode* ref, int where) {
  if (where == CMXML_WHERE_LAST_CHILD) {
    node->parent = ref;
    cmMiniXmlNode* first = ref->firstChild;
    if (!first) {
      ref->firstChild = node;
      node->nextSibling = node->prevSibling = node;
    } else {
      node->prevSibling = first->prevSibling;
      node->nextSibling = first;
      first->prevSibling->nextSibling = node;
      first->prevSibling = node;
    }
    return;
  }
  node->parent = ref->parent;
  if (where == CMXML_WHERE_AFTER) {
    node->prevSibling = ref;
    node->nextSibling = ref->nextSibling;
    ref->nextSibling->prevSibling = node;
    ref->nextSibling = node;
  } else {
    node->nextSibling = ref;
    node->prevSibling = ref->prevSibling;
    ref->prevSibling->nextSibling = node;
    ref->prevSibling = node;
    if (ref->parent->firstChild == ref) ref->parent->firstChild = node;
  }
}

void cmMiniXml::unlink(cmMiniXmlNode* node) {
  cmMiniXmlNode* parent = node->parent;
  if (!parent) return;
  if (node->nextSibling == node) {
    parent->firstChild = nullptr;
  } else {
    node->prevSibling->nextSibling = node->nextSibling;
    node->nextSibling->prevSibling = node->prevSibling;
    if (parent->firstChild == node) parent->firstChild = node->nextSibling;
  }
  node->parent = node->nextSibling = node->prevSibling = nullptr;
}

cmMiniXmlNode* cmMiniXml::insertAndCreate(cmMiniXmlNode* ref, const char* text, int64_t length, uint32_t kind,
                                          int where) {
  if (!ref) ref = rootNode_;
  if (ref == rootNode_ && (where == CMXML_WHERE_AFTER || where == CMXML_WHERE_BEFORE))
    throw cmException(CMXML_ERR_ROOT_SIBLING, "cmMiniXml::insertAndCreate");
  size_t n = length < 0 ? (text ? std::strlen(text) : 0) : static_cast<size_t>(length);
  if (where == CMXML_WHERE_FIRST_CHILD) {
    if (kind != CMXML_NODE_ATTRIBUTE && ref->kind == CMXML_NODE_ELEMENT_EMPTY) ref->kind = CMXML_NODE_ELEMENT;
    uint32_t mask = kind | ~CMXML_NODE_ATTRIBUTE;
    cmMiniXmlNode* before = nullptr;
    if (cmMiniXmlNode* c = ref->firstChild) {
      do {
        if (c->kind & mask) {
          before = c;
          break;
        }
        c = c->nextSibling;
      } while (c != ref->firstChild);
    }
    if (before) {
      ref = before;
      where = CMXML_WHERE_BEFORE;
    } else {
      where = CMXML_WHERE_LAST_CHILD;
    }
  } else if (where == CMXML_WHERE_LAST_CHILD) {
    if (kind != CMXML_NODE_ATTRIBUTE && ref->kind == CMXML_NODE_ELEMENT_EMPTY) ref->kind = CMXML_NODE_ELEMENT;
  }
  modified_ = 1;
  cmMiniXmlNode* node = newNode(kind);
  link(node, ref, where);
  char* copy;
  try {
    copy = copyString(text, n);
  } catch (...) {
    freeSubtree(node, true);
    throw;
  }
  if (kind & CMXML_NAME_KINDS) {
    node->name = copy;
    node->nameLength = static_cast<uint32_t>(n);
  } else {
    node->value = copy;
    node->valueLength = static_cast<uint32_t>(n);
  }
  return node;
}

cmMiniXmlNode* cmMiniXmlNode::setAttribute(std::string_view attrName, std::string_view attrValue, int where) {
  return doc->setAttribute(this, attrName, attrValue, where);
}

cmMiniXmlNode* cmMiniXml::setAttribute(cmMiniXmlNode* element, std::string_view name, std::string_view value,
                                       int where) {
  if (!element) element = rootNode_;
  cmMiniXmlNode* attr = findAttribute(element, name);
  if (attr) {
    char* n = copyString(name.data(), name.size());
    char* v;
    try {
      v = copyString(value.data(), value.size());
    } catch (...) {
      freeString(n);
      throw;
    }
    freeString(attr->name);
    freeString(attr->value);
    attr->name = n;
    attr->nameLength = static_cast<uint32_t>(name.size());
    attr->value = v;
    attr->valueLength = static_cast<uint32_t>(value.size());
    modified_ = 1;
    return attr;
  }
  if (where == CMXML_WHERE_FIRST_CHILD) {
    attr = insertAndCreate(element, name.data(), static_cast<int64_t>(name.size()), CMXML_NODE_ATTRIBUTE,
                           CMXML_WHERE_FIRST_CHILD);
  } else {
    cmMiniXmlNode* firstOther = nullptr;
    if (cmMiniXmlNode* c = element->firstChild) {
      do {
        if (c->kind != CMXML_NODE_ATTRIBUTE) {
          firstOther = c;
          break;
        }
        c = c->nextSibling;
      } while (c != element->firstChild);
    }
    if (firstOther)
      attr = insertAndCreate(firstOther, name.data(), static_cast<int64_t>(name.size()), CMXML_NODE_ATTRIBUTE,
                             CMXML_WHERE_BEFORE);
    else
      attr = insertAndCreate(element, name.data(), static_cast<int64_t>(name.size()), CMXML_NODE_ATTRIBUTE,
                             CMXML_WHERE_LAST_CHILD);
  }
  try {
    setNodeValue(attr, value);
  } catch (...) {
    freeSubtree(attr, true);
    throw;
  }
  return attr;
}

cmMiniXmlNode* cmMiniXml::addTextOrCdata(cmMiniXmlNode* parent, const char* text, int64_t length) {
  if (!parent) parent = rootNode_;
  size_t n = length < 0 ? (text ? std::strlen(text) : 0) : static_cast<size_t>(length);
  std::string_view s(text ? text : "", n);
  uint32_t kind = CMXML_NODE_TEXT;
  if (s.find("]]>") == std::string_view::npos) {
    bool special = false, blank = true;
    for (char c : s) {
      if (c == '&' || c == '<' || c == '>') special = true;
      if (c != '\t' && c != '\n' && c != '\r' && c != ' ') blank = false;
    }
    if (special || blank) kind = CMXML_NODE_CDATA;
  }
  return insertAndCreate(parent, s.data(), static_cast<int64_t>(n), kind, CMXML_WHERE_LAST_CHILD);
}

// ---------------------------------------------------------------- deletion

// Frees the owned strings of the subtree and gives its records back to the
// pool; only the top node's id is released (the descendants' slots keep
// pointing at their records, by design of the id table).
void cmMiniXml::freeSubtree(cmMiniXmlNode* top, bool releaseId) {
  unlink(top);
  if (releaseId && top->id >= 0) {
    nodeIds_.release(top->id);
    top->id = -1;
  }
  // Pass one: strings.
  for (const_iterator it(ownedStrings_ ? top : nullptr); !it.done(); it.next()) {
    const cmMiniXmlNode* n = *it;
    freeString(n->name);
    freeString(n->value);
  }
  // Pass two: records, children before their parents so that the links
  // are read before the free-list link overwrites the first word.
  cmMiniXmlNode* n = top;
  for (;;) {
    while (n->firstChild) n = n->firstChild;  // descend to a leaf
    if (n == top) break;
    cmMiniXmlNode* parent = n->parent;
    // Cut the leaf out of its parent's ring, then free it.
    if (n->nextSibling == n) {
      parent->firstChild = nullptr;
    } else {
      n->prevSibling->nextSibling = n->nextSibling;
      n->nextSibling->prevSibling = n->prevSibling;
      parent->firstChild = n->nextSibling;
    }
    tree_.freeNode(n);
    n = parent;
  }
  tree_.freeNode(top);
}

void cmMiniXml::deleteNode(cmMiniXmlNode* node, bool childrenOnly) {
  if (!node) return;
  modified_ = 1;
  if (!childrenOnly && node != rootNode_) {
    freeSubtree(node, true);
    return;
  }
  cmMiniXmlNode* c = node->firstChild;
  while (c) {
    // Attributes lead the ring; find the first non-attribute child each time.
    cmMiniXmlNode* first = node->firstChild;
    c = first;
    cmMiniXmlNode* victim = nullptr;
    do {
      if (c->kind != CMXML_NODE_ATTRIBUTE) {
        victim = c;
        break;
      }
      c = c->nextSibling;
    } while (c != first);
    if (!victim) break;
    freeSubtree(victim, true);
    c = node->firstChild;
  }
}

void cmMiniXml::deleteAllBelowRoot() {
  while (cmMiniXmlNode* c = rootNode_->firstChild) freeSubtree(c, false);
  // The root's own value is never decoded, so no node holds a decoded copy.
  decoded_.release();
}

bool cmMiniXml::deleteAttribute(cmMiniXmlNode* element, std::string_view name) {
  cmMiniXmlNode* attr = findAttribute(element ? element : rootNode_, name);
  if (!attr) return false;
  deleteNode(attr, false);
  return true;
}

void cmMiniXml::destroyTree() {
  if (!rootNode_) return;
  // Strings only: the pool returns its blocks when the tree goes.
  for (const_iterator it(ownedStrings_ ? rootNode_ : nullptr); !it.done(); it.next()) {
    freeString((*it)->name);
    freeString((*it)->value);
  }
  tree_ = Tree();
  rootNode_ = nullptr;
  decoded_.release();
}

void cmMiniXml::reset(const char* fileName, int32_t fileEncoding) {
  if (!rootNode_) createRoot();
  deleteAllBelowRoot();
  release(encodingName_);
  release(versionText_);
  release(standaloneText_);
  if (fileName)
    assign(fileName_, fileName);
  else
    release(fileName_);
  fileEncoding_ = fileEncoding;
  modified_ = 0;
  eol_[0] = '\r';
  eol_[1] = '\n';
  eolLength_ = 2;
  lineCacheLine_ = 0;
  lineCachePos_ = nullptr;
  textStart_ = textEnd_ = nullptr;
}

void cmMiniXml::setIdsEnabled(bool on) {
  idsEnabled_ = on;
  destroyTree();
  nodeIds_.clear();
  createRoot();
}

// ---------------------------------------------------------------- copying

// Copies one node (name raw, value decoded) into place; no children.
cmMiniXmlNode* cmMiniXml::copyOne(cmMiniXmlNode* ref, cmMiniXmlNode* source, int where) {
  std::string_view value = source->doc->decodedValue(source);
  cmMiniXmlNode* n;
  if (source->kind & CMXML_NAME_KINDS) {
    n = insertAndCreate(ref, source->name, source->nameLength, source->kind, where);
    if (source->value) {
      try {
        setNodeValue(n, value);
      } catch (...) {
        freeSubtree(n, true);
        throw;
      }
    }
  } else {
    n = insertAndCreate(ref, value.data(), static_cast<int64_t>(value.size()), source->kind, where);
  }
  return n;
}

cmMiniXmlNode* cmMiniXml::copySubtree(cmMiniXmlNode* destRef, cmMiniXmlNode* source, int where,
                                      bool childrenOnly) {
  if (!source) return nullptr;
  if (!destRef) destRef = rootNode_;
  if (destRef->kind == CMXML_NODE_DOCUMENT) {
    if (where == CMXML_WHERE_AFTER) where = CMXML_WHERE_LAST_CHILD;
    if (where == CMXML_WHERE_BEFORE) where = CMXML_WHERE_FIRST_CHILD;
  }
  // A copy into the source's own subtree would walk what it adds.
  const cmMiniXmlNode* target = where >= CMXML_WHERE_LAST_CHILD ? destRef : destRef->parent;
  for (const cmMiniXmlNode* a = target; a; a = a->parent) {
    if (a == source) return firstChildOfKind(source, CMXML_ALL_KINDS & ~CMXML_NODE_ATTRIBUTE);
  }
  modified_ = 1;

  // Copies everything below `src` under `dst`, walking by parent links.
  auto copyChildren = [this](cmMiniXmlNode* src, cmMiniXmlNode* dst) {
    cmMiniXmlNode* s = src->firstChild;
    if (!s) return;
    cmMiniXmlNode* d = copyOne(dst, s, CMXML_WHERE_LAST_CHILD);
    for (;;) {
      if (s->firstChild) {
        s = s->firstChild;
        d = copyOne(d, s, CMXML_WHERE_LAST_CHILD);
        continue;
      }
      while (s != src && s->nextSibling == s->parent->firstChild) {
        s = s->parent;
        d = d->parent;
      }
      if (s == src) return;
      s = s->nextSibling;
      d = copyOne(d->parent, s, CMXML_WHERE_LAST_CHILD);
    }
  };

  if (source->kind == CMXML_NODE_DOCUMENT || childrenOnly) {
    cmMiniXmlNode* firstCopy = nullptr;
    cmMiniXmlNode* prev = nullptr;
    for (cmMiniXmlNode* c = firstChildOfKind(source, CMXML_ALL_KINDS & ~CMXML_NODE_ATTRIBUTE); c;
         c = nextSiblingOfKind(c, CMXML_ALL_KINDS)) {
      cmMiniXmlNode* copy = prev ? copyOne(prev, c, CMXML_WHERE_AFTER) : copyOne(destRef, c, where);
      copyChildren(c, copy);
      if (!firstCopy) firstCopy = copy;
      prev = copy;
    }
    return firstCopy;
  }
  cmMiniXmlNode* copy = copyOne(destRef, source, where);
  copyChildren(source, copy);
  return copy;
}

void cmMiniXml::copyDocument(const cmMiniXml& source, int ids) {
  if (&source == this) return;
  setIdsEnabled(ids < 0 ? source.idsEnabled_ : ids != 0);
  textStart_ = textEnd_ = nullptr;
  assign(encodingName_, source.encodingName());
  assign(versionText_, source.versionText());
  assign(standaloneText_, source.standaloneText());
  assign(fileName_, source.fileName());
  std::memcpy(eol_, source.eol_, 2);
  eolLength_ = source.eolLength_;
  fileEncoding_ = source.fileEncoding_;
  lineCacheLine_ = 0;
  lineCachePos_ = nullptr;
  // Reading the source may decode values lazily; that changes no content.
  copySubtree(rootNode_, const_cast<cmMiniXml&>(source).rootNode_, CMXML_WHERE_LAST_CHILD, false);
  modified_ = source.modified_;
}
