// Public numbers of the XML handle functions (the tvXMLCFG family). The
// family returns these instead of throwing; library codes that reach it in a
// cmException are turned into public numbers by MapExceptionToStatus.
#pragma once

#include <cstdint>

constexpr int32_t TVXMLCFG_ERR_NO_FILE = -2;            // no file name, or file not found
constexpr int32_t TVXMLCFG_ERR_OPEN_FAILED = -32;       // open failed with a code that has no public number
constexpr int32_t TVXMLCFG_ERR_NOT_ROOT_END = -33;      // the file to append to doesn't end in the root's end tag
constexpr int32_t TVXMLCFG_ERR_SAVE_FAILED = -34;       // save failed with a code that has no public number
constexpr int32_t TVXMLCFG_ERR_BAD_ARGUMENT = -3015;    // bad handle, bad node id, or a node of the wrong kind
constexpr int32_t TVXMLCFG_ERR_ALREADY_OPEN = -5418;    // internal: a document of that name is open
constexpr int32_t TVXMLCFG_ERR_NO_CHILD = -5423;        // no such child
constexpr int32_t TVXMLCFG_ERR_BAD_HANDLE = -5433;      // last status after a bad handle
constexpr int32_t TVXMLCFG_ERR_BAD_NODE = -5434;        // last status after a bad node id
constexpr int32_t TVXMLCFG_NOT_FOUND = -1;              // a search found nothing

// The node id that stands for the document's XML declaration, which has no
// node of its own.
constexpr int32_t TVXMLCFG_DECLARATION_NODE = 0x7fffffff;

// Open flags beyond the parse flags 1, 2 and 8 of cmMiniXml.
constexpr int32_t TVXMLCFG_OPEN_SHARE = 4;   // an open document of that name: same handle, one more reference
constexpr int32_t TVXMLCFG_OPEN_COPY = 32;   // an open document of that name: a new handle on a deep copy

// Save flags this layer adds to the writer's.
constexpr int32_t TVXMLCFG_SAVE_EOL_CRLF = 4;
constexpr int32_t TVXMLCFG_SAVE_EOL_LF = 8;
// Writer bits passed on to a file and to a string (no sorted attributes there).
constexpr int32_t TVXMLCFG_FILE_SAVE_MASK = 0x13bb2;
constexpr int32_t TVXMLCFG_STRING_SAVE_MASK = 0x3bb2;
