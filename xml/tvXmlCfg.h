// The tvXMLCFG family: the flat, integer-based face of the XML library. A
// caller opens a file and gets a handle, a small integer; inside a document
// every node is named by its node id. No node pointer crosses this
// interface, and nothing thrown below it gets out: failures come back as the
// negative numbers of xml/tvXmlCfgErrors.h, or as the caller's default for
// functions that return data.
//
// Ownership: a handle owns its document from tvXMLCFGOpen to the
// tvXMLCFGClose that brings its reference count to zero. Strings that come
// back are copies.
//
// Threading: one process-wide recursive lock guards the handle table and
// every operation on a handle, so operations on different documents
// serialise too. Documents reached directly through cmMiniXml are not
// guarded.
#pragma once

#include <cstdint>

#include "runtime/cmArray.h"
#include "text/TVString.h"
#include "text/cmROStringT.h"
#include "text/cmStringT.h"
#include "xml/tvXmlCfgErrors.h"

// ---- Documents ---------------------------------------------------------

// Opens and parses `fileName`; `flags` are the parse flags (1 keep text, 2
// keep a partial tree and report the syntax error in *status, 8 non-blank
// text only) and TVXMLCFG_OPEN_SHARE / TVXMLCFG_OPEN_COPY. `encoding` 17
// settles the file's encoding from its content. Returns the handle, or a
// negative number that *status (may be null) repeats. With flag 2 a syntax
// error leaves a handle and its raw code in *status: the caller tests it.
int32_t tvXMLCFGOpen(const char* fileName, int32_t* status, int32_t flags, int32_t encoding);
// Drops one reference; the last one destroys the document. Never saves.
int32_t tvXMLCFGClose(int32_t handle);
// Writes the children of `node` (0: the whole document with its
// declaration). Empty fileName: the document's; negative encoding: the
// document's.
int32_t tvXMLCFGSave(int32_t handle, int32_t indent, int32_t flags, const char* fileName, int32_t encoding,
                     int32_t node);
// The same into a UTF-8 string; empty on any failure.
tolvane::TVString tvXMLCFGSaveToString(int32_t handle, int32_t indent, int32_t flags, int32_t node);

// ---- Adding and changing -------------------------------------------------

// Makes a node of `kind` placed by `where` (CMXML_WHERE_*) relative to
// `node`. Node 0 with kind 4 gives TVXMLCFG_DECLARATION_NODE.
int32_t tvXMLCFGAdd(int32_t handle, int32_t node, const char* text, int64_t length, int32_t kind, int32_t where);
int32_t tvXMLCFGAddCMString(int32_t handle, int32_t node, const cmROString& text, int32_t kind, int32_t where);
int32_t tvXMLCFGAddString(int32_t handle, int32_t node, const tolvane::TVString& text, int32_t kind,
                          int32_t where);
// Adds text (a CDATA node when it needs one) as the last child of `node`.
// length < 0: zero-terminated.
int32_t tvXMLCFGAddText(int32_t handle, int32_t node, const char* text, int64_t length);

// Sets an attribute on a node of kind 1, 2, 4 or 32; bit 1 of `flags` puts
// a new attribute first. On the declaration node "version", "encoding" and
// "standalone" set the declaration's fields and other names are ignored.
int32_t tvXMLCFGAddAttributeCMString(int32_t handle, int32_t node, const cmROString& name,
                                     const cmROString& value, int32_t flags);
int32_t tvXMLCFGAddAttributeInteger(int32_t handle, int32_t node, const cmROString& name, int64_t value,
                                    int32_t flags);
int32_t tvXMLCFGAddAttributeString(int32_t handle, int32_t node, const tolvane::TVString& name,
                                   const tolvane::TVString& value, int32_t flags);
int32_t tvXMLCFGSetAttributeCMString(int32_t handle, int32_t node, const char* name, const cmROString& value,
                                     int32_t flags);
int32_t tvXMLCFGSetAttributeInteger(int32_t handle, int32_t node, const char* name, int64_t value,
                                    int32_t flags);
int32_t tvXMLCFGSetAttributeString(int32_t handle, int32_t node, const char* name,
                                   const tolvane::TVString& value, int32_t flags);

int32_t tvXMLCFGSetNameCMString(int32_t handle, int32_t node, const cmROString& name);
int32_t tvXMLCFGSetNameString(int32_t handle, int32_t node, const tolvane::TVString& name);
int32_t tvXMLCFGSetValueString(int32_t handle, int32_t node, const tolvane::TVString& value);

// ---- Reading -------------------------------------------------------------

// The decoded attribute value; `defaultValue` (empty when null) when the
// attribute or the node is missing.
cmString tvXMLCFGGetAttributeCMString(int32_t handle, int32_t node, const char* name, const char* defaultValue);
tolvane::TVString tvXMLCFGGetAttributeString(int32_t handle, int32_t node, const char* name,
                                             const char* defaultValue);
// The attribute read as a number; `defaultValue` when missing or no number.
int64_t tvXMLCFGGetAttributeInteger(int32_t handle, int32_t node, const char* name, int64_t defaultValue);

cmString tvXMLCFGGetNameCMString(int32_t handle, int32_t node);
tolvane::TVString tvXMLCFGGetNameString(int32_t handle, int32_t node);
// False when the node's name equals `name`, true otherwise (a bad node too).
bool tvXMLCFGIsNameEqual(int32_t handle, int32_t node, const char* name);

// The node's own decoded value; empty for an element, whose text lies in
// its children.
cmString tvXMLCFGGetValueCMString(int32_t handle, int32_t node);
tolvane::TVString tvXMLCFGGetValueString(int32_t handle, int32_t node);
// The node's text: for an element, the text of its descendants.
tolvane::TVString tvXMLCFGGetText(int32_t handle, int32_t node);
// The value without the common indentation that pretty-printing left.
tolvane::TVString tvXMLCFGGetValueUnindentString(int32_t handle, int32_t node);

// ---- Finding -------------------------------------------------------------

// The first non-attribute child named `name` with a kind in kindMask;
// TVXMLCFG_ERR_NO_CHILD if none.
int32_t tvXMLCFGFindChild(int32_t handle, int32_t node, const char* name, int32_t kindMask);
// The first child with a kind in kindMask, or -1. A mask of exactly 4 asks
// for the declaration: TVXMLCFG_DECLARATION_NODE if the document has one.
int32_t tvXMLCFGGetFirstChild(int32_t handle, int32_t node, int32_t kindMask);
// The first node an XPath query reaches from `node`, or -1.
int32_t tvXMLCFGFindFirst(int32_t handle, const char* query, int32_t node);
// Every node the query reaches, as ids into `results`, which is cleared
// first unless bit 1 of `append` is set. 0 also when nothing matched.
// maxResults -1: no limit.
int32_t tvXMLCFGFindList(int32_t handle, const char* query, int32_t node, cmArray<int>& results, int32_t append,
                         int64_t maxResults);

// ---- Logs on disk --------------------------------------------------------

// Adds one record element to the end of an XML log without parsing it; a
// missing file is made with a root element `rootName` (and a DOCTYPE when
// docType is given). indent < 0: one tab.
int32_t tvXMLCFGAppendRecordToFile(const char* fileName, int32_t encoding, int32_t indent, const char* docType,
                                   const char* rootName, const char* recordName, int32_t attrCount,
                                   const char* const* attrNames, const char* const* attrValues,
                                   const char* text);
