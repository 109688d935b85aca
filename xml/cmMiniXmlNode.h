// cmMiniXmlNode: one node of a cmMiniXml document tree, a plain record.
//
// Nodes are never constructed or destroyed on their own: the document's block
// pool (cmAllocFixedSizeNoNew) hands them out zeroed and takes them back on
// delete. The document owns every node; a node owns its name and value only
// when they lie outside the document's text buffer (see cmMiniXml.h).
//
// Shape of the tree. The children of a node form a circular doubly linked
// ring in document order: firstChild->prevSibling is the last child and the
// last child's nextSibling is the first child again; an only child points at
// itself. A walk over the children stops when it comes back to
// parent->firstChild. Attributes (kind 64) are children too and stand in the
// ring before every other child.
//
// Not thread-safe; a node belongs to the thread that owns its document.
#pragma once

#include <cstdint>
#include <string_view>

class cmMiniXml;

// Node kinds: single bits, so that a set of kinds is one mask. The values are
// part of the interface (handles and XPath node tests pass them).
constexpr uint32_t CMXML_NODE_ELEMENT = 1;         // element with (possible) content, has an end tag
constexpr uint32_t CMXML_NODE_ELEMENT_EMPTY = 2;   // element written <a/>: attributes only
constexpr uint32_t CMXML_NODE_DECLARATION = 4;     // <?name attr="v" ?>, made by add operations only
constexpr uint32_t CMXML_NODE_PI = 8;              // <?target value?>
constexpr uint32_t CMXML_NODE_COMMENT = 16;        // <!-- value -->
constexpr uint32_t CMXML_NODE_DOCTYPE = 32;        // <!DOCTYPE ...>, parts as attribute children
constexpr uint32_t CMXML_NODE_ATTRIBUTE = 64;      // attribute of the parent
constexpr uint32_t CMXML_NODE_TEXT = 128;          // character data
constexpr uint32_t CMXML_NODE_CDATA = 256;         // CDATA section
constexpr uint32_t CMXML_NODE_DOCUMENT = 512;      // the root; one per document, id 0

// Kinds whose one string lives in the name field (1, 2, 4, 8, 32, 64).
constexpr uint32_t CMXML_NAME_KINDS = 111;
// Both element kinds.
constexpr uint32_t CMXML_ELEMENT_KINDS = CMXML_NODE_ELEMENT | CMXML_NODE_ELEMENT_EMPTY;
// Every kind.
constexpr uint32_t CMXML_ALL_KINDS = 1023;

// Placement of a new node relative to a reference node.
constexpr int CMXML_WHERE_AFTER = 0;        // directly behind ref, same parent
constexpr int CMXML_WHERE_BEFORE = 1;       // directly before ref, same parent
constexpr int CMXML_WHERE_LAST_CHILD = 2;   // as last child of ref
constexpr int CMXML_WHERE_FIRST_CHILD = 3;  // as first child, behind the attributes unless an attribute

struct cmMiniXmlNode {
  // The owning document. While the node is on the pool's free list this
  // first word is the link to the next free node instead.
  cmMiniXml* doc;
  // Not zero-terminated when they point into the text buffer; null when the
  // kind has no such string (a text node has no name).
  const char* name;
  const char* value;
  uint32_t nameLength;
  uint32_t valueLength;
  int32_t id;     // node id when the document keeps ids; -1 once released
  uint32_t kind;  // one CMXML_NODE_* bit
  cmMiniXmlNode* parent;  // null for the document node
  cmMiniXmlNode* firstChild;
  cmMiniXmlNode* nextSibling;  // ring: see above
  cmMiniXmlNode* prevSibling;

  std::string_view nameView() const { return {name ? name : "", nameLength}; }
  // The raw value: entity references are undecoded while it still points
  // into the text buffer. cmMiniXml::decodedValue gives the decoded one.
  std::string_view rawValue() const { return {value ? value : "", valueLength}; }
  bool isKind(uint32_t mask) const { return (kind & mask) != 0; }
  cmMiniXmlNode* lastChild() const { return firstChild ? firstChild->prevSibling : nullptr; }
  // True for the ring's last node, the one whose successor is the first.
  bool isLastSibling() const { return !parent || nextSibling == parent->firstChild; }
  bool isFirstSibling() const { return !parent || parent->firstChild == this; }

  // Finds the attribute `name` among the leading attributes. Found: both its
  // name and value are replaced with fresh copies. Not found: a new attribute
  // is made, first of all with `where` 3, otherwise behind the last
  // attribute. Returns the attribute node. Throws -102692 on out of memory.
  cmMiniXmlNode* setAttribute(std::string_view attrName, std::string_view attrValue, int where = 2);
};
