#include "xml/cmMiniXmlFileText.h"

#include <cstdio>
#include <cstring>

#include "runtime/cmAlloc.h"
#include "runtime/cmErrors.h"
#include "runtime/cmException.h"
#include "xml/cmMiniXml.h"

cmMiniXmlFileText::~cmMiniXmlFileText() { cmFree(bytes); }

char* cmMiniXmlFileText::release() {
  char* b = bytes;
  bytes = nullptr;
  length = capacity = 0;
  return b;
}

namespace {

// Closes the C stream on every path.
struct StdioFile {
  std::FILE* f;
  ~StdioFile() {
    if (f) std::fclose(f);
  }
};

bool starts(const unsigned char* p, size_t n, const char* sig, size_t m) {
  return n >= m && std::memcmp(p, sig, m) == 0;
}

size_t putUtf8(uint32_t cp, char* o) {
  if (cp < 0x80) {
    o[0] = static_cast<char>(cp);
    return 1;
  }
  if (cp < 0x800) {
    o[0] = static_cast<char>(0xC0 | (cp >> 6));
    o[1] = static_cast<char>(0x80 | (cp & 0x3F));
    return 2;
  }
  if (cp < 0x10000) {
    o[0] = static_cast<char>(0xE0 | (cp >> 12));
    o[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    o[2] = static_cast<char>(0x80 | (cp & 0x3F));
    return 3;
  }
  if (cp > 0x10FFFF) cp = 0xFFFD;
  if (cp < 0x10000) return putUtf8(cp, o);
  o[0] = static_cast<char>(0xF0 | (cp >> 18));
  o[1] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
  o[2] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
  o[3] = static_cast<char>(0x80 | (cp & 0x3F));
  return 4;
}

}  // namespace

int32_t cmMiniXmlFileText::detect(const unsigned char* p, size_t n, uint64_t size) {
  if (starts(p, n, "\xEF\xBB\xBF", 3)) return CMXML_ENCODING_UTF8_SIG;
  if (size % 4 == 0) {
    if (starts(p, n, "<\0\0\0", 4)) return CMXML_ENCODING_UTF32LE;
    if (starts(p, n, "\0\0\0<", 4)) return CMXML_ENCODING_UTF32BE;
    if (starts(p, n, "\xFF\xFE\0\0", 4)) return CMXML_ENCODING_UTF32LE_SIG;
    if (starts(p, n, "\0\0\xFE\xFF", 4)) return CMXML_ENCODING_UTF32BE_SIG;
  }
  if (size % 2 == 0) {
    if (starts(p, n, "\xFF\xFE", 2)) return CMXML_ENCODING_UTF16LE_SIG;
    if (starts(p, n, "\xFE\xFF", 2)) return CMXML_ENCODING_UTF16BE_SIG;
    if (starts(p, n, "<\0", 2)) return CMXML_ENCODING_UTF16LE;
    if (starts(p, n, "\0<", 2)) return CMXML_ENCODING_UTF16BE;
  }
  // A declared encoding is looked up in the code page table once that
  // exists; every name reads as UTF-8 until then.
  return CMXML_ENCODING_UTF8;
}

void cmMiniXmlFileText::read(const char* fileName, int32_t wanted) {
  cmFree(bytes);
  bytes = nullptr;
  length = capacity = 0;
  StdioFile file{std::fopen(fileName, "rb")};
  if (!file.f) throw cmException(CM_ERR_FILE_NOT_FOUND, fileName);
  size_t cap = 1 << 16;
  if (std::fseek(file.f, 0, SEEK_END) == 0) {
    long size = std::ftell(file.f);
    if (size > 0) cap = static_cast<size_t>(size) + 1;
    std::fseek(file.f, 0, SEEK_SET);
  }
  bytes = static_cast<char*>(cmAlloc(cap));
  if (!bytes) throw cmException(CM_ERR_OUT_OF_MEMORY);
  capacity = cap;
  for (;;) {
    if (length + 1 >= capacity) {
      size_t bigger = capacity * 2;
      char* p = static_cast<char*>(cmRealloc(bytes, bigger));
      if (!p) throw cmException(CM_ERR_OUT_OF_MEMORY);
      bytes = p;
      capacity = bigger;
    }
    size_t got = std::fread(bytes + length, 1, capacity - 1 - length, file.f);
    length += got;
    if (got == 0) break;
  }
  if (std::ferror(file.f)) throw cmException(CM_ERR_FILE_NOT_FOUND, fileName);
  bytes[length] = 0;
  if (wanted >= CMXML_ENCODING_UTF8 && wanted <= CMXML_ENCODING_UTF32BE_SIG)
    encoding = wanted;
  else
    encoding = detect(reinterpret_cast<unsigned char*>(bytes), length < 4096 ? length : 4096, length);
  convertToUtf8();
}

void cmMiniXmlFileText::convertToUtf8() {
  const unsigned char* in = reinterpret_cast<const unsigned char*>(bytes);
  size_t unit = 1, skip = 0;
  bool bigEndian = false;
  switch (encoding) {
    case CMXML_ENCODING_UTF8_SIG:
      skip = starts(in, length, "\xEF\xBB\xBF", 3) ? 3 : 0;
      break;
    case CMXML_ENCODING_UTF16LE_SIG: skip = 2; [[fallthrough]];
    case CMXML_ENCODING_UTF16LE: unit = 2; break;
    case CMXML_ENCODING_UTF16BE_SIG: skip = 2; [[fallthrough]];
    case CMXML_ENCODING_UTF16BE: unit = 2; bigEndian = true; break;
    case CMXML_ENCODING_UTF32LE_SIG: skip = 4; [[fallthrough]];
    case CMXML_ENCODING_UTF32LE: unit = 4; break;
    case CMXML_ENCODING_UTF32BE_SIG: skip = 4; [[fallthrough]];
    case CMXML_ENCODING_UTF32BE: unit = 4; bigEndian = true; break;
    default: break;
  }
  if (skip > length) skip = length;
  if (unit == 1) {
    if (skip) {
      std::memmove(bytes, bytes + skip, length - skip);
      length -= skip;
      bytes[length] = 0;
    }
    return;
  }
  // UTF-16 needs at most 3 bytes per 2-byte unit, UTF-32 at most 4 per 4.
  size_t outCap = (length / unit) * (unit == 2 ? 3 : 4) + 1;
  char* out = static_cast<char*>(cmAlloc(outCap));
  if (!out) throw cmException(CM_ERR_OUT_OF_MEMORY);
  char* o = out;
  size_t i = skip;
  auto unitAt = [&](size_t k) -> uint32_t {
    uint32_t v = 0;
    for (size_t b = 0; b < unit; ++b) {
      uint32_t byte = in[k + (bigEndian ? b : unit - 1 - b)];
      v = (v << 8) | byte;
    }
    return v;
  };
  while (i + unit <= length) {
    uint32_t cp = unitAt(i);
    i += unit;
    if (unit == 2 && cp >= 0xD800 && cp < 0xDC00 && i + 2 <= length) {
      uint32_t lo = unitAt(i);
      if (lo >= 0xDC00 && lo < 0xE000) {
        cp = 0x10000 + ((cp - 0xD800) << 10) + (lo - 0xDC00);
        i += 2;
      }
    }
    o += putUtf8(cp, o);
  }
  *o = 0;
  cmFree(bytes);
  bytes = out;
  length = static_cast<size_t>(o - out);
  capacity = outCap;
}
