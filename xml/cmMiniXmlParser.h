// cmMiniXmlParser: the scanner that turns a document's text buffer into its
// tree. Internal to cmMiniXml: its one entry point is run(), called by
// cmMiniXml::parse from the load operations; use those.
//
// One pass over UTF-8 bytes that are followed by a zero byte at textEnd; the
// scan leans on that byte instead of bounds checks, which is why a zero byte
// inside the text ends a name, comment or PI with an error. Nodes point into
// the buffer; the only allocations are the pool's blocks (and the private
// strings of DOCTYPE parts). Loose by design: tags must balance and quotes
// must close; names, entities, duplicate attributes and the number of root
// elements are not checked.
//
// Nesting needs no recursion: the open elements are the chain of parent
// links from the current parent, with a depth counter bounded by
// CMXML_MAX_DEPTH. A parser lives on the stack for one load; not
// thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>

class cmMiniXml;
struct cmMiniXmlNode;

class cmMiniXmlParser {
 public:
  cmMiniXmlParser(cmMiniXml& doc, uint32_t flags);
  // Parses the whole text below the document node. Returns 0 or a syntax
  // error number; throws only CM_ERR_OUT_OF_MEMORY.
  int32_t run();

 private:
  int32_t declaration();
  int32_t markup();
  int32_t element();
  int32_t endTag();
  int32_t processingInstruction();
  int32_t comment();
  int32_t cdata();
  // A comment or CDATA node: the text from `openLength` bytes on up to `close`.
  int32_t enclosedText(size_t openLength, const char* close, int32_t unclosed, uint32_t kind);
  int32_t doctype();
  cmMiniXmlNode* child(cmMiniXmlNode* parent, uint32_t kind);
  cmMiniXmlNode* newNodeSlow(uint32_t kind);
  void privateAttribute(cmMiniXmlNode* node, const char* name, const char* value, const char* valueEnd);

  cmMiniXml& doc_;
  const char* pos_;  // parsePos
  const char* end_;  // textEnd; *end_ == 0
  cmMiniXmlNode* parent_;
  int32_t depth_ = 0;  // open elements
  bool skipAllText_;
  bool skipBlankText_;
  bool ids_;
};
