// cmThinStringT: a string that is a single pointer, for structures where
// eight bytes per text matter. The pointer leads to one cmAlloc block that
// begins with the 64-bit length and then holds the text and a NUL; a null
// pointer is the empty string. The object owns its block: copies are deep,
// moves take the pointer. Not shared between threads.
//
// Block layout:
//   OFFSET SIZE MEANING
//   0      8    length in bytes
//   8      len  text
//   8+len  1    NUL
#pragma once

#include <cstdint>
#include <cstring>

#include "runtime/cmAlloc.h"
#include "runtime/cmException.h"
#include "text/cmStringErrors.h"

template <typename CharT, int Encoding>
class cmThinStringT {
  static_assert(sizeof(CharT) == 1, "strings hold bytes");

 public:
  cmThinStringT() = default;
  cmThinStringT(const char* text) { set(text, text ? std::strlen(text) : 0); }  // NOLINT
  cmThinStringT(const char* text, int64_t len) { set(text, static_cast<size_t>(len)); }
  cmThinStringT(const cmThinStringT& o) { set(o.data(), static_cast<size_t>(o.length())); }
  cmThinStringT(cmThinStringT&& o) noexcept : block_(o.block_) { o.block_ = nullptr; }
  ~cmThinStringT() {
    if (block_) cmFree(block_);
  }
  cmThinStringT& operator=(const cmThinStringT& o) {
    if (this != &o) set(o.data(), static_cast<size_t>(o.length()));
    return *this;
  }
  cmThinStringT& operator=(cmThinStringT&& o) noexcept {
    if (this != &o) {
      if (block_) cmFree(block_);
      block_ = o.block_;
      o.block_ = nullptr;
    }
    return *this;
  }

  int64_t length() const {
    if (!block_) return 0;
    int64_t n;
    std::memcpy(&n, block_, 8);
    return n;
  }
  bool isEmpty() const { return length() == 0; }
  const char* data() const { return block_ ? static_cast<const char*>(block_) + 8 : ""; }
  const char* getCString() const { return data(); }

  // Replaces the text; an empty text frees the block.
  void set(const char* text, size_t len) {
    void* nb = nullptr;
    if (text && len) {
      nb = cmAlloc(8 + len + 1);
      if (!nb) throw cmException(CM_STR_OUT_OF_MEMORY);
      int64_t n = static_cast<int64_t>(len);
      std::memcpy(nb, &n, 8);
      std::memcpy(static_cast<char*>(nb) + 8, text, len);
      static_cast<char*>(nb)[8 + len] = 0;
    }
    if (block_) cmFree(block_);
    block_ = nb;
  }

 private:
  void* block_ = nullptr;
};

using cmThinString = cmThinStringT<char, 1>;
static_assert(sizeof(cmThinString) == sizeof(void*), "one pointer");
