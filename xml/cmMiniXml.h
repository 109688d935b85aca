// cmMiniXml: the in-memory XML document. One ring-linked tree of
// cmMiniXmlNode records (see cmMiniXmlNode.h for the shape), built by the
// parser (loadFile/loadText/loadString), walked by the XPath engine and the
// writer, reached from outside through node ids.
//
// Made for one case above all: parse a whole file, read it, throw it away.
// Nodes come from a block pool and are never freed one by one to the
// allocator. A parsed node does not own its strings: name and value point
// straight into the document's text buffer. The one ownership record is the
// address: a string inside [textStart, textEnd) belongs to the buffer, one
// outside was allocated for the node (zero-terminated, one byte longer than
// its length) and is freed with it. Entity references in parsed values are
// decoded lazily, on the first read through decodedValue/nodeValue, after
// which the node holds the decoded copy; those copies live in the
// document's arena (cmMiniXmlArena.h) and go when all nodes go. Names are
// compared byte for byte; no namespace processing (`a:b` is one plain name).
//
// Ownership: the document owns its nodes, their private strings, the text
// buffer (unless a caller lent its buffer with loadText(..., useInPlace)),
// the node-id table and the declaration strings.
//
// Threading: none. Even reading writes (lazy decoding, the line cache), so a
// document belongs to one thread at a time; the handle layer locks.
//
// Walking API (stable; what XPath and the handle layer build on):
//   root()                       the document node (kind 512, id 0)
//   rootElement()                first child of the root of kind 1 or 2
//   node->firstChild, ->nextSibling, ->prevSibling, ->parent, ->lastChild()
//                                raw ring links; a ring ends at parent->firstChild
//   firstChildOfKind(n, mask)    first child whose kind is in mask (attributes only if 64 is in it)
//   nextSiblingOfKind(n, mask)   next sibling in mask, never an attribute; null at the ring's end
//   prevSiblingOfKind(n, mask)   the same backwards; null at the ring's start
//   findChild(n, name, mask)     first non-attribute child of that exact name and a kind in mask
//   findAttribute(el, name, &i)  attribute by name among the leading attributes, 1-based index
//   decodedValue(n)              the node's value with entities decoded (kinds 64 and 128)
//   nodeValue(n)                 decoded value, or for 1, 2, 4, 512 the element text
//   elementText(n, out)          text of all text/CDATA descendants through kind-1 elements
//   displayName(n)               tag name, or "#text", "#comment", ... by kind
//   lineOfNode(n)                1-based source line, 0 for nodes not from the text
//   walk(top)                    depth-first pre-order iterator with an explicit stack
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "xml/cmMiniXmlArena.h"
#include "xml/cmMiniXmlNode.h"
#include "xml/cmSlotTable.h"
#include "xml/cmTreeNoNew.h"
#include "xml/cmXmlErrors.h"

// Bits of the flags of every load.
constexpr uint32_t CMXML_PARSE_KEEP_TEXT = 1;           // every run of character data is a text node
constexpr uint32_t CMXML_PARSE_KEEP_PARTIAL = 2;        // on a syntax error keep what was made, report the code
constexpr uint32_t CMXML_PARSE_KEEP_NONBLANK_TEXT = 8;  // text nodes, but none for runs of white space only

// Encoding codes the loader knows (the code page table owns the full list).
constexpr int32_t CMXML_ENCODING_AUTO_XML = 17;
constexpr int32_t CMXML_ENCODING_UTF8 = 70;          // without signature
constexpr int32_t CMXML_ENCODING_UTF8_SIG = 71;      // with EF BB BF
constexpr int32_t CMXML_ENCODING_UTF16LE = 72;       // without signature
constexpr int32_t CMXML_ENCODING_UTF16LE_SIG = 73;
constexpr int32_t CMXML_ENCODING_UTF16BE = 74;
constexpr int32_t CMXML_ENCODING_UTF16BE_SIG = 75;
constexpr int32_t CMXML_ENCODING_UTF32LE = 76;
constexpr int32_t CMXML_ENCODING_UTF32LE_SIG = 77;
constexpr int32_t CMXML_ENCODING_UTF32BE = 78;
constexpr int32_t CMXML_ENCODING_UTF32BE_SIG = 79;

class cmMiniXmlParser;

class cmMiniXml {
 public:
  using Tree = cmTreeNoNew<cmMiniXmlNode>;
  using const_iterator = Tree::const_iterator;

  // An empty document: a root, UTF-8 without signature, CR LF, no file name,
  // ids off. Throws CM_ERR_OUT_OF_MEMORY.
  cmMiniXml();
  // Deep copy through copyDocument.
  cmMiniXml(const cmMiniXml& other);
  // Takes over nodes, ids, buffer and strings; `other` is left an empty
  // document with a fresh root.
  cmMiniXml(cmMiniXml&& other);
  cmMiniXml& operator=(const cmMiniXml&) = delete;
  cmMiniXml& operator=(cmMiniXml&&) = delete;
  ~cmMiniXml();

  // ---- Loading. Each runs reset first. A syntax error throws its number
  // (cmXmlErrors.h) after deleting every node, unless flags holds
  // CMXML_PARSE_KEEP_PARTIAL: then the nodes made so far stay and the number
  // goes to *statusOut. statusOut (may be null) receives 0 on success. Out of
  // memory is always thrown.

  // Reads the file as `encoding` (17: settle it from the content) and parses
  // it. Stores the file name and the encoding found. File errors throw, even
  // with KEEP_PARTIAL.
  void loadFile(const char* fileName, uint32_t flags, int32_t encoding = CMXML_ENCODING_AUTO_XML,
                int32_t* statusOut = nullptr);
  // Parses `length` bytes (< 0: zero-terminated). With useInPlace the bytes
  // are parsed where they are: they must be followed by a zero byte and
  // outlive the document's nodes. Otherwise they are copied.
  void loadText(const char* bytes, int64_t length, uint32_t flags, int32_t* statusOut = nullptr,
                bool useInPlace = false);
  // Parses a copy of the string's bytes.
  void loadString(std::string_view text, uint32_t flags, int32_t* statusOut = nullptr);

  // ---- Document state.

  // Deletes everything below the root, empties the declaration strings and
  // sets file name and encoding; modified 0, CR LF, no text range. The text
  // buffer stays until the next load. Node ids are not released.
  void reset(const char* fileName = nullptr, int32_t fileEncoding = CMXML_ENCODING_UTF8);
  // Stores the flag and rebuilds an empty tree whose root has id 0.
  void setIdsEnabled(bool on);
  bool idsEnabled() const { return idsEnabled_; }
  // The node in slot `id`, or null. A stale id may name a record that was
  // deleted or reused: ids are small and recycled.
  cmMiniXmlNode* nodeFromId(int32_t id) const {
    return static_cast<cmMiniXmlNode*>(nodeIds_.get(id));
  }
  const cmSlotTable& nodeIds() const { return nodeIds_; }

  std::string_view encodingName() const { return view(encodingName_); }
  std::string_view versionText() const { return view(versionText_); }
  std::string_view standaloneText() const { return view(standaloneText_); }
  std::string_view fileName() const { return view(fileName_); }
  void setEncodingName(std::string_view s);
  void setVersionText(std::string_view s);
  void setStandaloneText(std::string_view s);
  bool modified() const { return modified_ != 0; }
  void setModified(bool m) { modified_ = m ? 1 : 0; }
  std::string_view eol() const { return {eol_, static_cast<size_t>(eolLength_)}; }
  int32_t fileEncoding() const { return fileEncoding_; }
  void setFileEncoding(int32_t code) { fileEncoding_ = code; }
  const char* textStart() const { return textStart_; }
  const char* textEnd() const { return textEnd_; }
  // True when `p` lies in the text buffer, so that a node doesn't own it.
  bool inTextBuffer(const char* p) const { return p >= textStart_ && p < textEnd_ && p; }
  uint64_t nodeCount() const { return tree_.liveCount(); }
  const Tree& tree() const { return tree_; }

  // State of a running write. Only the writer touches it; a document is
  // written by one writer at a time.
  struct WriteState {
    char eol[8] = {'\r', '\n'};  // line ending of the running write
    uint64_t eolLength = 2;
    bool atLineStart = true;       // the last thing written was a line ending
    void* stream = nullptr;        // the writer's output stream, not owned
  };
  WriteState& writeState() { return writeState_; }

  // ---- Walking. Lookups never throw; they return null, 0 or "".

  cmMiniXmlNode* root() const { return rootNode_; }
  cmMiniXmlNode* rootElement() const;
  static cmMiniXmlNode* firstChildOfKind(const cmMiniXmlNode* node, uint32_t kindMask);
  static cmMiniXmlNode* nextSiblingOfKind(const cmMiniXmlNode* node, uint32_t kindMask);
  static cmMiniXmlNode* prevSiblingOfKind(const cmMiniXmlNode* node, uint32_t kindMask);
  static cmMiniXmlNode* findChild(const cmMiniXmlNode* node, std::string_view name, uint32_t kindMask);
  static cmMiniXmlNode* findAttribute(const cmMiniXmlNode* element, std::string_view name,
                                      int32_t* indexOut = nullptr);
  // Fixed names by kind; for kind 32 the 9 bytes "#doctype" plus a zero byte.
  static std::string_view displayName(const cmMiniXmlNode* node);
  // Depth-first pre-order over `top` (null: the root) and its subtree.
  const_iterator walk(const cmMiniXmlNode* top = nullptr) const {
    return const_iterator(top ? top : rootNode_);
  }

  // The node's own value, decoded for kinds 64 and 128 (the first read of a
  // raw value holding "&" makes a private decoded copy).
  std::string_view decodedValue(cmMiniXmlNode* node);
  // Appends the decoded text of the text and CDATA children of `node`, and of
  // the children of its kind-1 descendants, in document order.
  void elementText(cmMiniXmlNode* node, std::string& out);
  // Kinds 8, 16, 32, 64, 128, 256: decodedValue; others: elementText.
  std::string nodeValue(cmMiniXmlNode* node);
  // 1-based line of the node's name (or value) in the source, 0 if neither
  // lies in the text buffer.
  uint64_t lineOfNode(const cmMiniXmlNode* node);

  // ---- Changing. Each sets modified. Out of memory throws -102692 and
  // leaves the tree as it was, minus the failed node.

  // Makes a node of `kind` holding a private copy of `text` (length < 0:
  // zero-terminated) in its name (kinds in CMXML_NAME_KINDS) or value,
  // placed by `where` (CMXML_WHERE_*) relative to `ref` (null: the root).
  // A sibling of the root throws CMXML_ERR_ROOT_SIBLING.
  cmMiniXmlNode* insertAndCreate(cmMiniXmlNode* ref, const char* text, int64_t length, uint32_t kind,
                                 int where);
  cmMiniXmlNode* setAttribute(cmMiniXmlNode* element, std::string_view name, std::string_view value,
                              int where = CMXML_WHERE_LAST_CHILD);
  // Adds text as last child of `parent`; kind 256 when it holds & < > or is
  // blank or empty (and holds no "]]>"), else 128. A parent <a/> becomes 1.
  cmMiniXmlNode* addTextOrCdata(cmMiniXmlNode* parent, const char* text, int64_t length);
  // Replace a node's name or value with a private copy.
  void setNodeName(cmMiniXmlNode* node, std::string_view name);
  void setNodeValue(cmMiniXmlNode* node, std::string_view value);
  // childrenOnly false (and not the root): deletes the node and its subtree.
  // Otherwise deletes the node's non-attribute children.
  void deleteNode(cmMiniXmlNode* node, bool childrenOnly);
  bool deleteAttribute(cmMiniXmlNode* element, std::string_view name);
  // Deep copy of `source` (from any document) relative to destRef (null: the
  // root). A document node or childrenOnly copies the non-attribute children
  // and returns the first copy. Values are copied decoded.
  cmMiniXmlNode* copySubtree(cmMiniXmlNode* destRef, cmMiniXmlNode* source, int where, bool childrenOnly);
  // Makes this document a copy of `source`; ids < 0 takes source's ids flag.
  void copyDocument(const cmMiniXml& source, int ids = -1);

 private:
  friend class cmMiniXmlParser;
  friend struct cmMiniXmlNode;

  struct OwnedText {
    char* data = nullptr;
    uint32_t length = 0;
  };
  static std::string_view view(const OwnedText& t) { return {t.data ? t.data : "", t.length}; }
  static void assign(OwnedText& t, std::string_view s);
  static void release(OwnedText& t);

  void createRoot();
  cmMiniXmlNode* newNode(uint32_t kind);
  void link(cmMiniXmlNode* node, cmMiniXmlNode* ref, int where);
  static void unlink(cmMiniXmlNode* node);
  char* copyString(const char* s, size_t n);
  void freeString(const char* p);
  void freeSubtree(cmMiniXmlNode* top, bool releaseId);
  void deleteAllBelowRoot();
  void destroyTree();
  void takeText(char* buffer, size_t capacity, size_t length);
  void detectEol();
  void parse(uint32_t flags, int32_t* statusOut);
  cmMiniXmlNode* copyOne(cmMiniXmlNode* ref, cmMiniXmlNode* source, int where);

  cmSlotTable nodeIds_;
  bool idsEnabled_ = false;
  char* textBuffer_ = nullptr;  // owned; null when nothing was loaded or the text was lent
  size_t textCapacity_ = 0;
  const char* textStart_ = nullptr;
  const char* textEnd_ = nullptr;  // a zero byte follows
  Tree tree_;
  OwnedText encodingName_;
  OwnedText versionText_;
  OwnedText standaloneText_;
  OwnedText fileName_;
  uint8_t modified_ = 0;
  char eol_[2] = {'\r', '\n'};
  uint64_t eolLength_ = 2;
  WriteState writeState_;
  cmMiniXmlNode* rootNode_ = nullptr;
  int32_t fileEncoding_ = CMXML_ENCODING_UTF8;
  uint64_t lineCacheLine_ = 0;
  const char* lineCachePos_ = nullptr;
  // Node strings allocated one by one and not yet freed; decoded copies in
  // decoded_ don't count. While it is 0, as after a parse and any amount of
  // reading, throwing the tree away needs no walk.
  uint64_t ownedStrings_ = 0;
  cmMiniXmlArena decoded_;
};
