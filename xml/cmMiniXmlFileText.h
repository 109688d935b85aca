// cmMiniXmlFileText: the whole text of an XML file, converted to UTF-8 and
// followed by a zero byte, as the parser wants it.
//
// This is the loader's one road to the disk. It reads with the C library for
// now and moves onto the file layer (cmFileRW) when that exists; the
// encoding steps belong to the buffered text files of the file layer later,
// and only their outcome matters here. Today: UTF-8 with and without
// signature, UTF-16 and UTF-32 in both byte orders (signature or a leading
// '<'); a declared encoding other than UTF-8 is read as UTF-8 bytes.
//
// The object owns its buffer (cmAlloc) until release() hands it over.
// Any thread; no shared state.
#pragma once

#include <cstddef>
#include <cstdint>

struct cmMiniXmlFileText {
  char* bytes = nullptr;  // UTF-8, zero byte at bytes[length]
  size_t length = 0;
  size_t capacity = 0;    // allocated bytes
  int32_t encoding = 0;   // code of the encoding found (70..79)

  cmMiniXmlFileText() = default;
  cmMiniXmlFileText(const cmMiniXmlFileText&) = delete;
  cmMiniXmlFileText& operator=(const cmMiniXmlFileText&) = delete;
  ~cmMiniXmlFileText();

  // Reads `fileName` as `encoding` (17, "Auto XML": settle it from the
  // first bytes). Throws cmException: CM_ERR_FILE_NOT_FOUND (with the name)
  // when the file can't be opened or read, CM_ERR_OUT_OF_MEMORY.
  void read(const char* fileName, int32_t encoding);
  // Gives up ownership of the buffer.
  char* release();

  // Encoding code from the first bytes of a file of `fileSize` bytes:
  // signatures and a leading '<' in UTF-16/32, else UTF-8 (70).
  static int32_t detect(const unsigned char* head, size_t n, uint64_t fileSize);
  // Converts `bytes` in place from `encoding` to UTF-8 without signature.
  void convertToUtf8();
};
