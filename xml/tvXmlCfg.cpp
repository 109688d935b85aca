// Documents, nodes, names, values and attributes of the tvXMLCFG family.
// Searching is in tvXmlCfgSearch.cpp, writing in tvXmlCfgWrite.cpp.
#include "xml/tvXmlCfg.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

#include "file/cmMapExceptionToStatus.h"
#include "runtime/cmException.h"
#include "xml/tvXmlCfgHandleTable.h"
#include "xml/tvXmlCfgInternal.h"

using tolvane::TVString;

namespace {

constexpr int32_t kOpenModeNew = 0;
constexpr int32_t kOpenModeShare = 1;
constexpr int32_t kOpenModeCopy = 2;

// Kinds that may carry attributes: both elements, declarations, DOCTYPE.
constexpr uint32_t kAttributeHolderKinds = 39;

// Parse flags that go on to the loader.
constexpr uint32_t kParseFlagMask = CMXML_PARSE_KEEP_TEXT | CMXML_PARSE_KEEP_PARTIAL |
                                    CMXML_PARSE_KEEP_NONBLANK_TEXT;

cmString toCm(std::string_view s) { return cmString(s.data(), static_cast<int64_t>(s.size())); }

std::string_view viewOf(const char* s) { return s ? std::string_view(s) : std::string_view(); }

// The declaration field an attribute name stands for on the declaration
// node, or -1.
int declarationField(std::string_view name) {
  if (name == "version") return 0;
  if (name == "encoding") return 1;
  if (name == "standalone") return 2;
  return -1;
}

std::string_view declarationValue(const cmMiniXml& doc, int field) {
  switch (field) {
    case 0: return doc.versionText();
    case 1: return doc.encodingName();
    default: return doc.standaloneText();
  }
}

// The one road of every attribute writer. Caller holds the lock.
int32_t setAttributeLocked(int32_t handle, int32_t node, std::string_view name, std::string_view value,
                           int32_t flags) {
  tvXmlCfgEntry* e = tvXmlCfgTable::entry(handle);
  if (!e) return TVXMLCFG_ERR_BAD_ARGUMENT;
  if (node == TVXMLCFG_DECLARATION_NODE) {
    switch (declarationField(name)) {
      case 0: e->doc.setVersionText(value); break;
      case 1: e->doc.setEncodingName(value); break;
      case 2: e->doc.setStandaloneText(value); break;
      default: break;  // no such field on a declaration: ignored
    }
    return 0;
  }
  cmMiniXmlNode* n = tvXmlCfgTable::node(e, node);
  if (!n || !n->isKind(kAttributeHolderKinds)) return TVXMLCFG_ERR_BAD_ARGUMENT;
  try {
    e->doc.setAttribute(n, name, value, (flags & 1) ? CMXML_WHERE_FIRST_CHILD : CMXML_WHERE_LAST_CHILD);
  } catch (const cmException& ex) {
    return MapExceptionToStatus(ex.number(), TVXMLCFG_ERR_BAD_ARGUMENT);
  }
  return 0;
}

std::string decimal(int64_t value) {
  char digits[24];
  std::snprintf(digits, sizeof digits, "%" PRId64, value);
  return digits;
}

// The attribute's decoded value, or nothing; `found` tells which. Caller
// holds the lock.
std::string_view attributeLocked(int32_t handle, int32_t node, const char* name, bool& found) {
  found = false;
  tvXmlCfgEntry* e = tvXmlCfgTable::entry(handle);
  if (!e || !name) return {};
  if (node == TVXMLCFG_DECLARATION_NODE) {
    int field = declarationField(name);
    if (field < 0) return {};
    found = true;  // an empty field counts as present
    return declarationValue(e->doc, field);
  }
  cmMiniXmlNode* n = tvXmlCfgTable::node(e, node);
  if (!n) return {};
  cmMiniXmlNode* attr = cmMiniXml::findAttribute(n, name);
  if (!attr) return {};
  found = true;
  return e->doc.decodedValue(attr);
}

// A node's name: the name field for kinds that have one, else the fixed
// name of its kind.
std::string_view nameLocked(int32_t handle, int32_t node) {
  tvXmlCfgEntry* e = tvXmlCfgTable::entry(handle);
  cmMiniXmlNode* n = tvXmlCfgTable::node(e, node);
  if (!n) return {};
  if (n->isKind(CMXML_NAME_KINDS)) return n->nameView();
  return cmMiniXml::displayName(n);
}

std::string_view valueLocked(int32_t handle, int32_t node) {
  tvXmlCfgEntry* e = tvXmlCfgTable::entry(handle);
  cmMiniXmlNode* n = tvXmlCfgTable::node(e, node);
  if (!n) return {};
  return e->doc.decodedValue(n);
}

int32_t setNameLocked(int32_t handle, int32_t node, std::string_view name) {
  tvXmlCfgEntry* e = tvXmlCfgTable::entry(handle);
  cmMiniXmlNode* n = tvXmlCfgTable::node(e, node);
  if (!n) return TVXMLCFG_ERR_BAD_ARGUMENT;
  try {
    e->doc.setNodeName(n, name);
  } catch (const cmException& ex) {
    return MapExceptionToStatus(ex.number(), TVXMLCFG_ERR_BAD_ARGUMENT);
  }
  return 0;
}

}  // namespace

// ---- Internal helpers shared by the family -------------------------------

namespace tvXmlCfgInternal {

bool absoluteFileName(const char* fileName, std::string& out) {
  out.clear();
  if (!fileName) return false;
  if (!*fileName) return true;
  std::error_code ec;
  std::filesystem::path p = std::filesystem::absolute(std::filesystem::path(fileName), ec);
  if (ec) {
    out = fileName;
    return true;
  }
  out = p.lexically_normal().string();
  return true;
}

int32_t closeLocked(int32_t handle) {
  tvXmlCfgEntry* e = tvXmlCfgTable::entry(handle);
  if (!e) return TVXMLCFG_ERR_BAD_ARGUMENT;
  // A copy that found its source in slot 0 starts with no reference; it
  // goes with its first close all the same.
  if (e->refCount-- <= 1) tvXmlCfgTable::freeEntry(e);
  return 0;
}

}  // namespace tvXmlCfgInternal

// ---- Documents -----------------------------------------------------------

int32_t tvXMLCFGOpen(const char* fileName, int32_t* status, int32_t flags, int32_t encoding) {
  int32_t localStatus = 0;
  if (!status) status = &localStatus;
  if (!fileName) {
    *status = TVXMLCFG_ERR_NO_FILE;
    return TVXMLCFG_ERR_NO_FILE;
  }
  tvXmlCfgLock lock;
  int32_t handle = -1;
  try {
    std::string name;
    tvXmlCfgInternal::absoluteFileName(fileName, name);
    int32_t mode = (flags & TVXMLCFG_OPEN_SHARE) ? kOpenModeShare
                   : (flags & TVXMLCFG_OPEN_COPY) ? kOpenModeCopy
                                                  : kOpenModeNew;
    if (name.empty()) mode = kOpenModeNew;
    tvXmlCfgEntry* match = mode != kOpenModeNew ? tvXmlCfgTable::findByFileName(name.c_str()) : nullptr;
    if (mode == kOpenModeShare && match) {
      match->refCount++;
      *status = 0;
      return match->handle;
    }
    tvXmlCfgEntry* e = tvXmlCfgTable::newEntry();
    handle = e->handle;
    if (mode == kOpenModeCopy && match) {
      // Copies are taken only of documents above slot 0; a match in slot 0
      // leaves the new document empty and without a reference.
      if (match->handle > 0) {
        e->refCount = 1;
        e->doc.copyDocument(match->doc, 1);
      }
      *status = 0;
      return handle;
    }
    e->refCount = 1;
    *status = 0;
    e->doc.loadFile(name.c_str(), static_cast<uint32_t>(flags) & kParseFlagMask, encoding, status);
    return handle;
  } catch (const cmException& ex) {
    *status = MapExceptionToStatus(ex.number(), TVXMLCFG_ERR_OPEN_FAILED);
  } catch (const std::bad_alloc&) {
    *status = MapExceptionToStatus(CM_ERR_OUT_OF_MEMORY, TVXMLCFG_ERR_OPEN_FAILED);
  }
  if (handle >= 0) tvXmlCfgInternal::closeLocked(handle);
  return *status;
}

int32_t tvXMLCFGClose(int32_t handle) {
  tvXmlCfgLock lock;
  return tvXmlCfgInternal::closeLocked(handle);
}

// ---- Adding and changing -------------------------------------------------

int32_t tvXMLCFGAdd(int32_t handle, int32_t node, const char* text, int64_t length, int32_t kind, int32_t where) {
  tvXmlCfgLock lock;
  tvXmlCfgEntry* e = tvXmlCfgTable::entry(handle);
  if (!e) return TVXMLCFG_ERR_BAD_ARGUMENT;
  if (node == 0 && kind == CMXML_NODE_DECLARATION) return TVXMLCFG_DECLARATION_NODE;
  cmMiniXmlNode* ref = tvXmlCfgTable::node(e, node);
  if (!ref) return TVXMLCFG_ERR_BAD_ARGUMENT;
  try {
    cmMiniXmlNode* made = e->doc.insertAndCreate(ref, text, length, static_cast<uint32_t>(kind), where);
    return made->id;
  } catch (const cmException& ex) {
    return MapExceptionToStatus(ex.number(), TVXMLCFG_ERR_BAD_ARGUMENT);
  }
}

int32_t tvXMLCFGAddCMString(int32_t handle, int32_t node, const cmROString& text, int32_t kind, int32_t where) {
  return tvXMLCFGAdd(handle, node, text.data(), text.length(), kind, where);
}

int32_t tvXMLCFGAddString(int32_t handle, int32_t node, const TVString& text, int32_t kind, int32_t where) {
  return tvXMLCFGAdd(handle, node, text.isNull() ? "" : text.data(), text.length(), kind, where);
}

int32_t tvXMLCFGAddText(int32_t handle, int32_t node, const char* text, int64_t length) {
  tvXmlCfgLock lock;
  tvXmlCfgEntry* e = tvXmlCfgTable::entry(handle);
  cmMiniXmlNode* parent = tvXmlCfgTable::node(e, node);
  if (!parent) return TVXMLCFG_ERR_BAD_ARGUMENT;
  try {
    return e->doc.addTextOrCdata(parent, text ? text : "", text ? length : 0)->id;
  } catch (const cmException& ex) {
    return MapExceptionToStatus(ex.number(), TVXMLCFG_ERR_BAD_ARGUMENT);
  }
}

int32_t tvXMLCFGAddAttributeCMString(int32_t handle, int32_t node, const cmROString& name,
                                     const cmROString& value, int32_t flags) {
  tvXmlCfgLock lock;
  return setAttributeLocked(handle, node, {name.data(), static_cast<size_t>(name.length())},
                            {value.data(), static_cast<size_t>(value.length())}, flags);
}

int32_t tvXMLCFGAddAttributeInteger(int32_t handle, int32_t node, const cmROString& name, int64_t value,
                                    int32_t flags) {
  tvXmlCfgLock lock;
  return setAttributeLocked(handle, node, {name.data(), static_cast<size_t>(name.length())}, decimal(value),
                            flags);
}

int32_t tvXMLCFGAddAttributeString(int32_t handle, int32_t node, const TVString& name, const TVString& value,
                                   int32_t flags) {
  return tvXMLCFGAddAttributeCMString(handle, node, cmROString(name.getCMString()),
                                      cmROString(value.getCMString()), flags);
}

int32_t tvXMLCFGSetAttributeCMString(int32_t handle, int32_t node, const char* name, const cmROString& value,
                                     int32_t flags) {
  tvXmlCfgLock lock;
  return setAttributeLocked(handle, node, viewOf(name), {value.data(), static_cast<size_t>(value.length())},
                            flags);
}

int32_t tvXMLCFGSetAttributeInteger(int32_t handle, int32_t node, const char* name, int64_t value,
                                    int32_t flags) {
  tvXmlCfgLock lock;
  return setAttributeLocked(handle, node, viewOf(name), decimal(value), flags);
}

int32_t tvXMLCFGSetAttributeString(int32_t handle, int32_t node, const char* name, const TVString& value,
                                   int32_t flags) {
  return tvXMLCFGSetAttributeCMString(handle, node, name, cmROString(value.getCMString()), flags);
}

int32_t tvXMLCFGSetNameCMString(int32_t handle, int32_t node, const cmROString& name) {
  tvXmlCfgLock lock;
  return setNameLocked(handle, node, {name.data(), static_cast<size_t>(name.length())});
}

int32_t tvXMLCFGSetNameString(int32_t handle, int32_t node, const TVString& name) {
  return tvXMLCFGSetNameCMString(handle, node, cmROString(name.getCMString()));
}

int32_t tvXMLCFGSetValueString(int32_t handle, int32_t node, const TVString& value) {
  tvXmlCfgLock lock;
  tvXmlCfgEntry* e = tvXmlCfgTable::entry(handle);
  cmMiniXmlNode* n = tvXmlCfgTable::node(e, node);
  if (!n) return TVXMLCFG_ERR_BAD_ARGUMENT;
  try {
    e->doc.setNodeValue(n, {value.isNull() ? "" : value.data(), static_cast<size_t>(value.length())});
  } catch (const cmException& ex) {
    return MapExceptionToStatus(ex.number(), TVXMLCFG_ERR_BAD_ARGUMENT);
  }
  return 0;
}

// ---- Reading -------------------------------------------------------------

cmString tvXMLCFGGetAttributeCMString(int32_t handle, int32_t node, const char* name, const char* defaultValue) {
  tvXmlCfgLock lock;
  bool found = false;
  std::string_view v = attributeLocked(handle, node, name, found);
  if (!found) return toCm(viewOf(defaultValue));
  return toCm(v);
}

TVString tvXMLCFGGetAttributeString(int32_t handle, int32_t node, const char* name, const char* defaultValue) {
  return TVString(tvXMLCFGGetAttributeCMString(handle, node, name, defaultValue));
}

int64_t tvXMLCFGGetAttributeInteger(int32_t handle, int32_t node, const char* name, int64_t defaultValue) {
  tvXmlCfgLock lock;
  bool found = false;
  std::string_view v = attributeLocked(handle, node, name, found);
  int64_t value = 0;
  if (!found || !TVString::TVStringToInt64(v.data(), static_cast<int64_t>(v.size()), &value, true, true))
    return defaultValue;
  return value;
}

cmString tvXMLCFGGetNameCMString(int32_t handle, int32_t node) {
  tvXmlCfgLock lock;
  return toCm(nameLocked(handle, node));
}

TVString tvXMLCFGGetNameString(int32_t handle, int32_t node) {
  return TVString(tvXMLCFGGetNameCMString(handle, node));
}

bool tvXMLCFGIsNameEqual(int32_t handle, int32_t node, const char* name) {
  tvXmlCfgLock lock;
  tvXmlCfgEntry* e = tvXmlCfgTable::entry(handle);
  if (!tvXmlCfgTable::node(e, node) || !name) return true;
  return nameLocked(handle, node) != std::string_view(name);
}

cmString tvXMLCFGGetValueCMString(int32_t handle, int32_t node) {
  tvXmlCfgLock lock;
  return toCm(valueLocked(handle, node));
}

TVString tvXMLCFGGetValueString(int32_t handle, int32_t node) {
  return TVString(tvXMLCFGGetValueCMString(handle, node));
}

TVString tvXMLCFGGetText(int32_t handle, int32_t node) {
  tvXmlCfgLock lock;
  tvXmlCfgEntry* e = tvXmlCfgTable::entry(handle);
  cmMiniXmlNode* n = tvXmlCfgTable::node(e, node);
  if (!n) return TVString("", 0);
  try {
    std::string text = e->doc.nodeValue(n);
    return TVString(text.data(), static_cast<int64_t>(text.size()));
  } catch (const cmException&) {
    return TVString("", 0);
  }
}

TVString tvXMLCFGGetValueUnindentString(int32_t handle, int32_t node) {
  tvXmlCfgLock lock;
  std::string text = tvXmlCfgInternal::unindent(valueLocked(handle, node));
  return TVString(text.data(), static_cast<int64_t>(text.size()));
}

// ---- Children --------------------------------------------------------------

int32_t tvXMLCFGFindChild(int32_t handle, int32_t node, const char* name, int32_t kindMask) {
  tvXmlCfgLock lock;
  tvXmlCfgEntry* e = tvXmlCfgTable::entry(handle);
  cmMiniXmlNode* n = tvXmlCfgTable::node(e, node);
  if (!n || !name) return TVXMLCFG_ERR_BAD_ARGUMENT;
  cmMiniXmlNode* child = cmMiniXml::findChild(n, name, static_cast<uint32_t>(kindMask));
  return child ? child->id : TVXMLCFG_ERR_NO_CHILD;
}

int32_t tvXMLCFGGetFirstChild(int32_t handle, int32_t node, int32_t kindMask) {
  tvXmlCfgLock lock;
  tvXmlCfgEntry* e = tvXmlCfgTable::entry(handle);
  cmMiniXmlNode* n = tvXmlCfgTable::node(e, node);
  if (!n) return TVXMLCFG_ERR_BAD_ARGUMENT;
  if (kindMask == CMXML_NODE_DECLARATION)
    return e->doc.versionText().empty() && e->doc.encodingName().empty() && e->doc.standaloneText().empty()
               ? TVXMLCFG_NOT_FOUND
               : TVXMLCFG_DECLARATION_NODE;
  cmMiniXmlNode* child = cmMiniXml::firstChildOfKind(n, static_cast<uint32_t>(kindMask));
  return child ? child->id : TVXMLCFG_NOT_FOUND;
}
