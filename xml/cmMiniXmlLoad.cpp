// The load operations of cmMiniXml: where the text comes from, its line
// ending, and how a parse ends (keep, or delete and throw).
#include <cstring>

#include "runtime/cmAlloc.h"
#include "runtime/cmErrors.h"
#include "runtime/cmException.h"
#include "xml/cmMiniXml.h"
#include "xml/cmMiniXmlFileText.h"
#include "xml/cmMiniXmlParser.h"

// Takes ownership of `buffer` as the text; `length` bytes and a zero byte.
void cmMiniXml::takeText(char* buffer, size_t capacity, size_t length) {
  if (buffer != textBuffer_) cmFree(textBuffer_);
  textBuffer_ = buffer;
  textCapacity_ = capacity;
  textStart_ = buffer;
  textEnd_ = buffer + length;
}

// The first LF or CR in the first 8192 bytes settles it; CR CR LF counts as
// CR LF. Without either, CR LF.
void cmMiniXml::detectEol() {
  eol_[0] = '\r';
  eol_[1] = '\n';
  eolLength_ = 2;
  size_t n = static_cast<size_t>(textEnd_ - textStart_);
  if (n > 8192) n = 8192;
  for (const char* p = textStart_; p < textStart_ + n; ++p) {
    if (*p == '\n') {
      eol_[0] = '\n';
      eolLength_ = 1;
      return;
    }
    if (*p == '\r') {
      if (p[1] == '\n' || (p[1] == '\r' && p[2] == '\n')) return;
      eolLength_ = 1;
      return;
    }
  }
}

void cmMiniXml::parse(uint32_t flags, int32_t* statusOut) {
  if (!rootNode_) createRoot();
  detectEol();
  // The client's verbose logs, with every attribute on a line of its own,
  // run to about one node per 12 bytes; a first guess of one per 10 makes
  // room for all of them in one step, for 8 bytes per 10 of text.
  if (idsEnabled_) nodeIds_.reserve(static_cast<int64_t>(textEnd_ - textStart_) / 10);
  int32_t code;
  try {
    cmMiniXmlParser parser(*this, flags);
    code = parser.run();
  } catch (const cmException& e) {
    code = e.number();
  }
  modified_ = 1;
  if (statusOut) *statusOut = code;
  if (code == 0) return;
  if ((flags & CMXML_PARSE_KEEP_PARTIAL) && code != CM_ERR_OUT_OF_MEMORY) return;
  deleteAllBelowRoot();
  throw cmException(code);
}

void cmMiniXml::loadText(const char* bytes, int64_t length, uint32_t flags, int32_t* statusOut, bool useInPlace) {
  reset(nullptr, CMXML_ENCODING_UTF8);
  size_t n = length < 0 ? (bytes ? std::strlen(bytes) : 0) : static_cast<size_t>(length);
  if (useInPlace && bytes) {
    textStart_ = bytes;
    textEnd_ = bytes + n;
  } else {
    char* buf = textBuffer_;
    size_t cap = textCapacity_;
    if (!buf || cap < n + 1) {
      buf = static_cast<char*>(cmAlloc(n + 1));
      if (!buf) throw cmException(CM_ERR_OUT_OF_MEMORY);
      cap = n + 1;
    }
    if (n) std::memmove(buf, bytes, n);
    buf[n] = 0;
    takeText(buf, cap, n);
  }
  parse(flags, statusOut);
}

void cmMiniXml::loadString(std::string_view text, uint32_t flags, int32_t* statusOut) {
  loadText(text.data(), static_cast<int64_t>(text.size()), flags, statusOut, false);
}

void cmMiniXml::loadFile(const char* fileName, uint32_t flags, int32_t encoding, int32_t* statusOut) {
  reset(fileName, CMXML_ENCODING_UTF8);
  cmMiniXmlFileText file;
  file.read(fileName, encoding);
  fileEncoding_ = file.encoding;
  size_t length = file.length;
  size_t capacity = file.capacity;
  takeText(file.release(), capacity, length);
  parse(flags, statusOut);
}
