// Status numbers of the XML document tree and its parser. They are thrown
// inside cmException and are the interface: message texts for them come from
// the message catalogue, never from here. Out of memory is the runtime's
// CM_ERR_OUT_OF_MEMORY (-102692) and is always thrown, whatever the flags.
#pragma once

#include <cstdint>

// Syntax errors of the parser. A load either throws one of these or, with
// CMXML_PARSE_KEEP_PARTIAL, reports it through its status argument.
constexpr int32_t CMXML_ERR_BAD_MARKUP = -102999;       // "<!" that is no comment, DOCTYPE or CDATA
constexpr int32_t CMXML_ERR_NO_NAME = -102998;          // empty tag, end-tag or PI name; "</" at top level
constexpr int32_t CMXML_ERR_END_TAG_OPEN = -102997;     // end tag without ">"
constexpr int32_t CMXML_ERR_BAD_TAG_END = -102995;      // "/" or "?" not followed by ">"
constexpr int32_t CMXML_ERR_UNEXPECTED_END = -102994;   // text ends inside an element, tag or DOCTYPE
constexpr int32_t CMXML_ERR_ZERO_BYTE = -102993;        // zero byte where a name or value begins
constexpr int32_t CMXML_ERR_BAD_ATTRIBUTE = -102992;    // empty attribute name
constexpr int32_t CMXML_ERR_NO_EQUALS = -102991;        // "=" missing behind an attribute name
constexpr int32_t CMXML_ERR_NO_QUOTE = -102990;         // value or DOCTYPE literal without quote
constexpr int32_t CMXML_ERR_BAD_VALUE = -102989;        // value not closed, or "<" inside it
constexpr int32_t CMXML_ERR_PI_OPEN = -102988;          // processing instruction or declaration not closed
constexpr int32_t CMXML_ERR_COMMENT_OPEN = -102987;     // comment not closed
constexpr int32_t CMXML_ERR_CDATA_OPEN = -102986;       // CDATA section not closed
constexpr int32_t CMXML_ERR_DOCTYPE_NO_NAME = -102985;  // DOCTYPE without root name
constexpr int32_t CMXML_ERR_DOCTYPE_KEYWORD = -102984;  // DOCTYPE keyword other than PUBLIC or SYSTEM
constexpr int32_t CMXML_ERR_DOCTYPE_EXTRA = -102983;    // more in a DOCTYPE than it can hold
constexpr int32_t CMXML_ERR_TAG_MISMATCH = -102981;     // end tag names another element
constexpr int32_t CMXML_ERR_TOO_DEEP = -102977;         // elements nested CMXML_MAX_DEPTH deep

// Tree operations.
constexpr int32_t CMXML_ERR_ROOT_SIBLING = -102656;  // a sibling of the document node was asked for

// Elements may nest this deep minus one; the outermost element has depth 1.
constexpr int32_t CMXML_MAX_DEPTH = 3200;
