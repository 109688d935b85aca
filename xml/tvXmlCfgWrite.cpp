// Writing through handles: tvXMLCFGSave, tvXMLCFGSaveToString and
// tvXMLCFGAppendRecordToFile.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "file/cmFileDriverRegistry.h"
#include "file/cmFileRW.h"
#include "file/cmMapExceptionToStatus.h"
#include "runtime/cmErrors.h"
#include "runtime/cmException.h"
#include "xml/tvXmlCfg.h"
#include "xml/tvXmlCfgHandleTable.h"
#include "xml/tvXmlCfgInternal.h"
#include "xml/tvXmlCfgWriter.h"

using tolvane::TVString;

namespace {

constexpr uint32_t kFileWriteFlags = CM_FILE_READ | CM_FILE_WRITE | CM_FILE_SHARE_READ | CM_FILE_CREATE;
constexpr uint32_t kFileUpdateFlags = CM_FILE_READ | CM_FILE_WRITE | CM_FILE_SHARE_READ | CM_FILE_EXISTING;

std::string_view eolFor(const cmMiniXml& doc, int32_t flags) {
  if (flags & TVXMLCFG_SAVE_EOL_CRLF) return "\r\n";
  if (flags & TVXMLCFG_SAVE_EOL_LF) return "\n";
  return doc.eol();
}

// The next code point of UTF-8 text; a bad byte stands for itself.
uint32_t nextCodePoint(std::string_view s, size_t& i) {
  unsigned char c = static_cast<unsigned char>(s[i++]);
  int more = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
  uint32_t cp = more == 3 ? (c & 0x07u) : more == 2 ? (c & 0x0Fu) : more == 1 ? (c & 0x1Fu) : c;
  for (int k = 0; k < more && i < s.size(); ++k) cp = (cp << 6) | (static_cast<unsigned char>(s[i++]) & 0x3Fu);
  return cp;
}

void putUnit(std::string& out, uint32_t unit, int bytes, bool bigEndian) {
  for (int k = 0; k < bytes; ++k) {
    int shift = bigEndian ? 8 * (bytes - 1 - k) : 8 * k;
    out += static_cast<char>((unit >> shift) & 0xFF);
  }
}

// UTF-8 text in the bytes of a file encoding (70..79), with the signature
// of the encodings that have one. Other codes are written as UTF-8.
std::string encodeForFile(std::string_view utf8, int32_t encoding) {
  if (encoding < CMXML_ENCODING_UTF8 || encoding > CMXML_ENCODING_UTF32BE_SIG) return std::string(utf8);
  const bool signature = (encoding - CMXML_ENCODING_UTF8) % 2 == 1;
  if (encoding <= CMXML_ENCODING_UTF8_SIG) return (signature ? std::string("\xEF\xBB\xBF") : std::string()) += utf8;
  const bool wide32 = encoding >= CMXML_ENCODING_UTF32LE;
  const bool bigEndian = encoding == CMXML_ENCODING_UTF16BE || encoding == CMXML_ENCODING_UTF16BE_SIG ||
                         encoding == CMXML_ENCODING_UTF32BE || encoding == CMXML_ENCODING_UTF32BE_SIG;
  const int unit = wide32 ? 4 : 2;
  std::string out;
  out.reserve(utf8.size() * unit + unit);
  if (signature) putUnit(out, 0xFEFF, unit, bigEndian);
  for (size_t i = 0; i < utf8.size();) {
    uint32_t cp = nextCodePoint(utf8, i);
    if (!wide32 && cp >= 0x10000) {
      cp -= 0x10000;
      putUnit(out, 0xD800 + (cp >> 10), 2, bigEndian);
      putUnit(out, 0xDC00 + (cp & 0x3FF), 2, bigEndian);
    } else {
      putUnit(out, cp, unit, bigEndian);
    }
  }
  return out;
}

void writeWhole(const std::string& path, const std::string& bytes) {
  cmFileRW file;
  file.open(cmPathString(path.c_str()), kFileWriteFlags);
  if (!bytes.empty()) file.write(bytes.data(), static_cast<int64_t>(bytes.size()));
  file.close();
}

// Serialises the children of `node` of a locked entry.
std::string serialise(tvXmlCfgEntry* e, cmMiniXmlNode* node, int32_t indent, int32_t flags, uint32_t mask) {
  tvXmlCfgWriter writer(e->doc, indent, static_cast<uint32_t>(flags) & mask, eolFor(e->doc, flags));
  writer.writeChildren(node);
  return writer.text();
}

int32_t saveLocked(int32_t handle, int32_t indent, int32_t flags, const char* fileName, int32_t encoding,
                   int32_t node) {
  tvXmlCfgEntry* e = tvXmlCfgTable::entry(handle);
  cmMiniXmlNode* n = tvXmlCfgTable::node(e, node);
  if (!n) return TVXMLCFG_ERR_BAD_ARGUMENT;
  std::string path;
  if (fileName && *fileName)
    tvXmlCfgInternal::absoluteFileName(fileName, path);
  else
    path = std::string(e->doc.fileName());
  if (path.empty()) return TVXMLCFG_ERR_NO_FILE;
  if (encoding < 0) encoding = e->doc.fileEncoding();
  std::string text = serialise(e, n, indent, flags, TVXMLCFG_FILE_SAVE_MASK);
  writeWhole(path, encodeForFile(text, encoding));
  return 0;
}

// The record line of an append: indentation, the element, no line end.
std::string recordText(int32_t indent, const char* recordName, int32_t attrCount, const char* const* attrNames,
                       const char* const* attrValues, const char* text) {
  std::string out;
  if (indent < 0) out += '\t';
  else out.append(static_cast<size_t>(indent), ' ');
  out += '<';
  out += recordName;
  for (int32_t i = 0; i < attrCount; ++i) {
    const char* name = attrNames ? attrNames[i] : nullptr;
    const char* value = attrValues ? attrValues[i] : nullptr;
    if (!name || !*name || !value) continue;
    out += ' ';
    out += name;
    out += '=';
    tvXmlCfgWriter::appendQuotedValue(out, value, CMXML_SAVE_ESCAPE_CONTROLS, "\n");
  }
  if (text && *text) {
    out += '>';
    tvXmlCfgWriter::appendEscapedText(out, text);
    out += "</";
    out += recordName;
    out += '>';
  } else {
    out += "/>";
  }
  return out;
}

// A new log file: a document of the root and one record, saved and closed.
int32_t createLog(const std::string& path, int32_t encoding, int32_t indent, const char* docType,
                  const char* rootName, const char* recordName, int32_t attrCount, const char* const* attrNames,
                  const char* const* attrValues, const char* text) {
  tvXmlCfgEntry* e = tvXmlCfgTable::findByFileName(path.c_str());
  if (e) {
    e->doc.deleteNode(e->doc.root(), true);
    e->doc.setFileEncoding(encoding);
  } else {
    e = tvXmlCfgTable::newEntry();
    e->doc.reset(path.c_str(), encoding);
  }
  // The close below gives this reference back; a document that was already
  // open keeps its holder's.
  e->refCount++;
  const int32_t handle = e->handle;
  try {
    cmMiniXml& doc = e->doc;
    if (docType && *docType) doc.insertAndCreate(doc.root(), docType, -1, CMXML_NODE_DOCTYPE, CMXML_WHERE_LAST_CHILD);
    cmMiniXmlNode* root = doc.insertAndCreate(doc.root(), rootName, -1, CMXML_NODE_ELEMENT, CMXML_WHERE_LAST_CHILD);
    const bool hasText = text && *text;
    cmMiniXmlNode* record =
        doc.insertAndCreate(root, recordName, -1, hasText ? CMXML_NODE_ELEMENT : CMXML_NODE_ELEMENT_EMPTY,
                            CMXML_WHERE_LAST_CHILD);
    for (int32_t i = 0; i < attrCount; ++i) {
      const char* name = attrNames ? attrNames[i] : nullptr;
      const char* value = attrValues ? attrValues[i] : nullptr;
      if (name && *name && value) doc.setAttribute(record, name, value);
    }
    if (hasText) doc.addTextOrCdata(record, text, -1);
    int32_t rc = saveLocked(handle, indent, static_cast<int32_t>(CMXML_SAVE_ATTRS_INLINE), path.c_str(), -1, 0);
    tvXmlCfgInternal::closeLocked(handle);
    return rc;
  } catch (...) {
    tvXmlCfgInternal::closeLocked(handle);
    throw;
  }
}

// Rewrites the tail of an existing log: the record goes where the root's end
// tag stood, and the end tag behind it.
int32_t appendToLog(const std::string& path, int32_t indent, const char* rootName, const char* recordName,
                    int32_t attrCount, const char* const* attrNames, const char* const* attrValues,
                    const char* text) {
  const std::string record = recordText(indent, recordName, attrCount, attrNames, attrValues, text);
  const size_t rootLength = std::strlen(rootName);
  cmFileRW file;
  file.open(cmPathString(path.c_str()), kFileUpdateFlags);
  const int64_t size = file.getSize();
  if (size < static_cast<int64_t>(rootLength + 4)) return TVXMLCFG_ERR_NOT_ROOT_END;
  const int64_t window = std::max<int64_t>(128, static_cast<int64_t>(rootLength + 4));
  const int64_t n = std::min(size, window);
  std::string tail(static_cast<size_t>(n), '\0');
  file.seek(size - n, 0);
  int64_t got = 0;
  while (got < n) {
    int64_t r = file.read(tail.data() + got, n - got);
    if (r <= 0) break;
    got += r;
  }
  tail.resize(static_cast<size_t>(got));

  size_t gt = tail.rfind('>');
  if (gt == std::string::npos || gt == 0) return TVXMLCFG_ERR_NOT_ROOT_END;
  size_t lt = tail.rfind('<', gt - 1);
  if (lt == std::string::npos) return TVXMLCFG_ERR_NOT_ROOT_END;
  size_t p = lt + 1;
  if (p >= tail.size() || tail[p] != '/') return TVXMLCFG_ERR_NOT_ROOT_END;
  ++p;
  while (p < tail.size() && (tail[p] == ' ' || tail[p] == '\t')) ++p;
  if (tail.compare(p, rootLength, rootName) != 0) return TVXMLCFG_ERR_NOT_ROOT_END;

  std::string bytes = record;
  bytes += "\n</";
  bytes += rootName;
  bytes += ">\n";
  file.seek(size - static_cast<int64_t>(tail.size()) + static_cast<int64_t>(lt), 0);
  file.write(bytes.data(), static_cast<int64_t>(bytes.size()));
  file.close();
  return 0;
}

}  // namespace

int32_t tvXMLCFGSave(int32_t handle, int32_t indent, int32_t flags, const char* fileName, int32_t encoding,
                     int32_t node) {
  tvXmlCfgLock lock;
  try {
    return saveLocked(handle, indent, flags, fileName, encoding, node);
  } catch (const cmException& ex) {
    return MapExceptionToStatus(ex.number(), TVXMLCFG_ERR_SAVE_FAILED);
  }
}

TVString tvXMLCFGSaveToString(int32_t handle, int32_t indent, int32_t flags, int32_t node) {
  tvXmlCfgLock lock;
  tvXmlCfgEntry* e = tvXmlCfgTable::entry(handle);
  cmMiniXmlNode* n = tvXmlCfgTable::node(e, node);
  if (!n) return TVString("", 0);
  try {
    std::string text = serialise(e, n, indent, flags, TVXMLCFG_STRING_SAVE_MASK);
    return TVString(text.data(), static_cast<int64_t>(text.size()));
  } catch (const cmException&) {
    return TVString("", 0);
  }
}

int32_t tvXMLCFGAppendRecordToFile(const char* fileName, int32_t encoding, int32_t indent, const char* docType,
                                   const char* rootName, const char* recordName, int32_t attrCount,
                                   const char* const* attrNames, const char* const* attrValues,
                                   const char* text) {
  if (!fileName || !*fileName) return TVXMLCFG_ERR_NO_FILE;
  if (!rootName || !recordName) return TVXMLCFG_ERR_BAD_ARGUMENT;
  tvXmlCfgLock lock;
  try {
    std::string path;
    tvXmlCfgInternal::absoluteFileName(fileName, path);
    if (!cmFile_exists(cmPathString(path.c_str())))
      return createLog(path, encoding, indent, docType, rootName, recordName, attrCount, attrNames, attrValues,
                       text);
    return appendToLog(path, indent, rootName, recordName, attrCount, attrNames, attrValues, text);
  } catch (const cmException& ex) {
    return MapExceptionToStatus(ex.number(), TVXMLCFG_ERR_NO_FILE);
  }
}
