// tvXmlCfgWriter: serialises a cmMiniXml tree to UTF-8 text for the save
// functions of the tvXMLCFG family. It keeps what a hand-edited file should
// keep: the document's line ending, parsed attribute values byte for byte
// with their own quotes, and the text of elements on the tag's line when it
// is one line. Formatting is chosen by save flags (the CMXML_SAVE_* bits
// below).
//
// Not covered: re-indenting multi-line text (0x1000, 0x2000 are written
// as plain text).
//
// Ownership: borrows the document for one write; owns its output string.
// Single-threaded, like the document (a read may decode values lazily).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "xml/cmMiniXml.h"

constexpr uint32_t CMXML_SAVE_ONE_ATTR_INLINE = 0x2;
constexpr uint32_t CMXML_SAVE_SPACED_EQUALS = 0x10;
constexpr uint32_t CMXML_SAVE_CLOSE_ON_OWN_LINE = 0x20;
constexpr uint32_t CMXML_SAVE_SPACE_BEFORE_SLASH = 0x80;
constexpr uint32_t CMXML_SAVE_ESCAPE_CONTROLS = 0x100;
constexpr uint32_t CMXML_SAVE_ATTRS_INLINE = 0x200;
constexpr uint32_t CMXML_SAVE_NO_FORMAT = 0x800;
constexpr uint32_t CMXML_SAVE_REINDENT_TEXT = 0x1000;
constexpr uint32_t CMXML_SAVE_TEXT_ON_OWN_LINES = 0x2000;
constexpr uint32_t CMXML_SAVE_CDATA_AS_TEXT = 0x8000;
constexpr uint32_t CMXML_SAVE_SORT_ATTRS = 0x10000;

// Deeper elements are left out of the output, their end tags stay balanced.
constexpr int32_t CMXML_SAVE_MAX_DEPTH = 3200;

class tvXmlCfgWriter {
 public:
  // indent: spaces per level, < 0 one tab per level, 0 none. eol: one or two
  // bytes.
  tvXmlCfgWriter(cmMiniXml& doc, int32_t indent, uint32_t flags, std::string_view eol);

  // The children of `node` (null or the document node: the whole document,
  // with the declaration when the document has a version).
  void writeChildren(cmMiniXmlNode* node);
  const std::string& text() const { return out_; }

  // A value quoted and escaped as for an attribute that no longer lies in
  // the parsed text; flags as above (CMXML_SAVE_ESCAPE_CONTROLS matters).
  static void appendQuotedValue(std::string& out, std::string_view value, uint32_t flags, std::string_view eol);
  // & < > as references.
  static void appendEscapedText(std::string& out, std::string_view text);

 private:
  void writeDeclaration();
  void writeList(cmMiniXmlNode* first, cmMiniXmlNode* parent, int32_t depth);
  void writeNode(cmMiniXmlNode* n, int32_t depth);
  void writeElement(cmMiniXmlNode* n, int32_t depth);
  void writeAttribute(cmMiniXmlNode* a);
  void writeText(cmMiniXmlNode* n);
  void writeCdata(cmMiniXmlNode* n);
  void writeDoctype(cmMiniXmlNode* n);
  void indentTo(int32_t depth);
  void lineEnd();
  // Copies source text, each LF (with a CR before it) becoming the line end.
  void raw(std::string_view s);
  void put(std::string_view s) { out_.append(s); atLineStart_ = false; }

  cmMiniXml& doc_;
  int32_t indent_;
  uint32_t flags_;
  std::string eol_;
  std::string out_;
  bool atLineStart_ = true;
};
