// cmXPathItem: one value of the XPath engine, on the evaluator's stack or as
// a query's result: a boolean, a signed 64-bit integer, a string, or a node
// set. The numeric order of the types matters: comparing two scalars of
// different type converts the one of higher type down.
//
// Also here: the conversions every handler shares (to string, to boolean, to
// integer for arithmetic, text to integer and to boolean). They throw the
// numbers of cmXPathErrors.h.
//
// Ownership: an item owns its text and its node list (made on first use,
// kept across reuse so that a stack slot allocates once). Single-threaded.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "xml/cmXPathNodeList.h"

class cmMiniXml;

struct cmXPathItem {
  enum Type : int32_t { BOOLEAN = 0, INTEGER = 1, STRING = 2, NODE_SET = 3 };

  std::string text;
  int64_t integer = 0;
  uint8_t boolean = 0;
  cmXPathNodeList* nodes = nullptr;  // owned; made on demand
  int32_t type = BOOLEAN;

  cmXPathItem() = default;
  cmXPathItem(const cmXPathItem&) = delete;
  cmXPathItem& operator=(const cmXPathItem&) = delete;
  ~cmXPathItem();

  void setBoolean(bool b) { type = BOOLEAN; boolean = b ? 1 : 0; }
  void setInteger(int64_t n) { type = INTEGER; integer = n; }
  void setString(std::string_view s) { type = STRING; text.assign(s); }
  // Makes this an empty node set; keeps the list's storage.
  cmXPathNodeList& setNodeSet();
  void swap(cmXPathItem& other);
};

// The document gives node values; conversions that read nodes need it.
namespace cmXPathConvert {

// The value of a node as comparisons and functions see it: decoded, the
// element text for elements and the document. `scratch` may hold the bytes.
std::string_view nodeValue(cmMiniXml& doc, cmMiniXmlNode* node, std::string& scratch);
// String value for functions: a string as is, a set of one node its value,
// an empty set "". More nodes, a boolean or an integer are refused.
std::string_view toString(cmMiniXml& doc, const cmXPathItem& item, std::string& scratch);
// Boolean value: integer not 0, string not empty, node set not empty.
bool toBoolean(const cmXPathItem& item);
// Operand of arithmetic: an integer, or a set of exactly one node holding a
// decimal integer.
int64_t toArithmetic(cmMiniXml& doc, const cmXPathItem& item);
// Decimal integer with optional blanks around it and an optional sign.
bool parseInteger(std::string_view text, int64_t* out);
// "1"/"true" and "0"/"false" after trimming of blanks; else throws
// CM_XPATH_ERR_NOT_BOOLEAN with the text.
bool textToBoolean(std::string_view text);
// Like parseInteger but throws CM_XPATH_ERR_NOT_INTEGER with the text.
int64_t textToInteger(std::string_view text);

}  // namespace cmXPathConvert
