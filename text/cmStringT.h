// cmStringT: the working string of the foundation. A value type of
// InlineSize + 2 bytes that keeps short texts inside the object and longer
// ones in a shared, reference-counted cmStringBlock. Text is bytes in the
// given Encoding (1: UTF-8); only byte-sized characters are supported.
//
// Ownership: a string owns one counted share of its block. Copying a long
// string shares the block; the first write through a shared block copies it.
// A slice (sub) shares its source's block and points inside it. A borrowed
// string (setExternalBuffer) has no block and does not own its bytes; copying
// it makes an owned copy so that copies outlive the borrowed bytes.
//
// Threads: only the block's reference count is atomic. Copies of one string
// may live on different threads; one string object may not be shared.
//
// Object layout (N = InlineSize, all little-endian):
//   inline form (byte N+1 is 1)
//     OFFSET SIZE MEANING
//     0      N    text, NUL-terminated (at most N - 1 bytes of text)
//     N      1    length
//     N+1    1    isInline = 1
//   long form (byte N+1 is 0)
//     0      8    block: owning cmStringBlock*, null when borrowed
//     8      8    data: first byte of the text; null with block in a null string
//     16     8    length in bytes
//     N-6    7    capacity: writable bytes at data (low 56 bits of the last word)
//     N+1    1    isInline = 0
//   A zeroed object is the null string.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "text/cmStringBlock.h"
#include "text/cmStringCompare.h"
#include "text/cmStringHash.h"

template <typename CharT, int Encoding, int InlineSize>
class cmStringT {
  static_assert(sizeof(CharT) == 1, "strings hold bytes");
  static_assert((InlineSize + 2) % 8 == 0 && InlineSize >= 22, "object is whole words, long form fits");

 public:
  static constexpr int kInlineSize = InlineSize;
  static constexpr int kEncoding = Encoding;
  static constexpr int kObjectSize = InlineSize + 2;

  // ---- construction -------------------------------------------------------
  cmStringT() noexcept { std::memset(raw_, 0, sizeof raw_); }
  cmStringT(const char* text) {  // NOLINT: text converts implicitly
    std::memset(raw_, 0, sizeof raw_);
    if (text) initFrom(text, std::strlen(text));
  }
  cmStringT(const char* text, int64_t len) {
    std::memset(raw_, 0, sizeof raw_);
    if (text) initFrom(text, len < 0 ? std::strlen(text) : static_cast<size_t>(len));
  }
  cmStringT(const cmStringT& other) {
    std::memset(raw_, 0, sizeof raw_);
    copyFrom(other);
  }
  template <int E2, int N2>
  cmStringT(const cmStringT<CharT, E2, N2>& other) {
    std::memset(raw_, 0, sizeof raw_);
    if (other.isNotNull()) initFrom(other.data(), static_cast<size_t>(other.length()));
  }
  cmStringT(cmStringT&& other) {
    std::memset(raw_, 0, sizeof raw_);
    moveFrom(other);
  }
  // From an unevaluated concatenation (cmStringCatHelperT): measured once,
  // reserved once, written left to right.
  template <class H, class = decltype(std::declval<const H&>().catMeasure())>
  cmStringT(const H& cat) {  // NOLINT: a concatenation converts implicitly
    std::memset(raw_, 0, sizeof raw_);
    appendCat(cat);
  }
  ~cmStringT() { releaseStorage(); }

  template <class H, class = decltype(std::declval<const H&>().catMeasure())>
  cmStringT& operator=(const H& cat) {
    cmStringT tmp(cat);
    return *this = static_cast<cmStringT&&>(tmp);
  }
  template <class H, class = decltype(std::declval<const H&>().catMeasure())>
  int appendCat(const H& cat) {
    size_t cur = isNull() ? 0 : static_cast<size_t>(length());
    size_t add = static_cast<size_t>(cat.catMeasure());
    char* d = makeRoom(cur + add, true);
    cat.catWrite(d + cur);
    setLengthRaw(cur + add);
    return 0;
  }

  cmStringT& operator=(const cmStringT& other) {
    if (this != &other) {
      cmStringT tmp(other);
      releaseStorage();
      std::memset(raw_, 0, sizeof raw_);
      moveFrom(tmp);
    }
    return *this;
  }
  cmStringT& operator=(cmStringT&& other) {
    if (this != &other) {
      releaseStorage();
      std::memset(raw_, 0, sizeof raw_);
      moveFrom(other);
    }
    return *this;
  }
  cmStringT& operator=(const char* text) {
    if (!text) {
      makeNull();
    } else {
      assign(text, std::strlen(text));
    }
    return *this;
  }

  // ---- state --------------------------------------------------------------
  bool isInline() const { return raw_[InlineSize + 1] == 1; }
  bool isNull() const { return !isInline() && dataField() == nullptr; }
  bool isNotNull() const { return !isNull(); }
  bool isEmpty() const { return length() == 0; }
  bool isNotEmpty() const { return length() != 0; }

  int64_t length() const {
    return isInline() ? raw_[InlineSize] : static_cast<int64_t>(lengthField());
  }
  int32_t length32() const { return static_cast<int32_t>(length()); }
  // Writable bytes, terminator included: InlineSize for the inline form.
  int64_t capacity() const {
    return isInline() ? InlineSize : static_cast<int64_t>(capacityField());
  }

  // The first byte of the text; never null for a string that isn't null.
  const char* data() const { return isInline() ? reinterpret_cast<const char*>(raw_) : dataField(); }

  int makeNull() {
    releaseStorage();
    std::memset(raw_, 0, sizeof raw_);
    return 0;
  }
  int makeEmpty() {
    releaseStorage();
    setInline(0);
    return 0;
  }
  int makeNotNull() {
    if (isNull()) setInline(0);
    return 0;
  }

  bool isUsingExternalBuffer() const {
    if (isInline() || isNull()) return false;
    cmStringBlock* b = blockField();
    return !b || dataField() != b->bytes();
  }
  bool isUsingInternalBuffer() const { return isInline(); }

  // Replaces the text with a copy of [text, text + len).
  int assign(const char* text, size_t len) {
    if (!text) return makeNull();
    // The source may lie inside our own storage: keep a reference alive.
    cmStringT keep;
    if (!isInline() && isNotNull() && text >= data() && text <= data() + length()) keep = *this;
    char tmp[InlineSize];
    if (isInline() && len < static_cast<size_t>(InlineSize) && text >= data() && text < data() + InlineSize) {
      std::memcpy(tmp, text, len);
      text = tmp;
    }
    resetStorageFor(len);
    char* dst = writable();
    if (len) std::memmove(dst, text, len);
    setLengthRaw(len);
    return 0;
  }

  int append(const char* text, size_t len) {
    if (!text || len == 0) return 0;  // a null or empty operand leaves the target
    size_t cur = static_cast<size_t>(length());
    // Appending part of ourselves: grow from a stable copy of the source.
    if (isNotNull() && text >= data() && text <= data() + cur) {
      cmStringT copy(text, static_cast<int64_t>(len));
      return append(copy.data(), len);
    }
    char* dst = makeRoom(cur + len, true);
    std::memcpy(dst + cur, text, len);
    setLengthRaw(cur + len);
    return 0;
  }
  int append(const char* text) { return text ? append(text, std::strlen(text)) : 0; }
  template <int E2, int N2>
  int append(const cmStringT<CharT, E2, N2>& other) {
    if (other.isEmpty()) return 0;
    if constexpr (N2 == InlineSize && E2 == Encoding) {
      // Appending to nothing: share instead of copying.
      if (isNull() && !other.isUsingExternalBuffer() && !other.isInline()) {
        *this = other;
        return 0;
      }
    }
    return append(other.data(), static_cast<size_t>(other.length()));
  }
  int append(char c) { return append(&c, 1); }

  cmStringT& operator+=(const char* text) {
    append(text);
    return *this;
  }
  cmStringT& operator+=(char c) {
    append(c);
    return *this;
  }
  template <int E2, int N2>
  cmStringT& operator+=(const cmStringT<CharT, E2, N2>& other) {
    append(other);
    return *this;
  }

  // Makes the string writable for a text of n bytes (plus NUL) and returns
  // the first byte. The current text (up to its length) is kept. growthRoom
  // adds a quarter for appends that will come back for more.
  char* makeRoom(size_t n, bool growthRoom = false) {
    size_t len = static_cast<size_t>(length());
    if (isInline()) {
      if (n < static_cast<size_t>(InlineSize)) return reinterpret_cast<char*>(raw_);
    } else if (!isNull()) {
      cmStringBlock* b = blockField();
      char* d = dataField();
      if (!b) {
        if (n < capacityField()) return d;  // borrowed buffer with room
      } else if (d == b->bytes() && b->refCount.load(std::memory_order_acquire) == 1) {
        if (n < capacityField()) {
          b->cachedHash = 0;
          return d;
        }
      }
    }
    if (n < static_cast<size_t>(InlineSize) && len < static_cast<size_t>(InlineSize)) {
      char tmp[InlineSize];
      if (len) std::memcpy(tmp, data(), len);
      releaseStorage();
      std::memcpy(raw_, tmp, len);
      setInline(len);
      return reinterpret_cast<char*>(raw_);
    }
    uint64_t cap = n + (growthRoom ? (n + 4) / 4 : 1);
    if (cap < len + 1) cap = len + 1;
    cmStringBlock* nb = cmStringBlock::createCopy(isNull() ? "" : data(), len, cap);
    releaseStorage();
    setLong(nb, nb->bytes(), len, cap);
    return nb->bytes();
  }

  // Sets the length of a string made writable by makeRoom and terminates it.
  void setLengthRaw(size_t n) {
    if (isInline()) {
      raw_[InlineSize] = static_cast<unsigned char>(n);
      raw_[n] = 0;
      return;
    }
    setLengthField(n);
    char* d = dataField();
    if (n < capacityField()) d[n] = 0;
    if (cmStringBlock* b = blockField(); b && d == b->bytes()) {
      b->blockLength = static_cast<uint32_t>(n);
      b->cachedHash = 0;
    }
  }

  // ---- access -------------------------------------------------------------
  // Zero-terminated text; "" for a null string. A slice or borrowed text that
  // isn't terminated is first made a private copy.
  const char* getCString() const {
    if (isNull()) return "";
    if (isInline()) return reinterpret_cast<const char*>(raw_);
    const_cast<cmStringT*>(this)->nullTerminate();
    return data();  // terminating may have moved the text inline
  }
  // Makes the text terminated in place: see getCString.
  int nullTerminate() {
    if (isNull() || isInline()) return 0;
    char* d = dataField();
    size_t len = lengthField();
    cmStringBlock* b = blockField();
    if (b) {
      // A slice lies inside its block's text, so the byte behind it is readable.
      if (d[len] == 0) return 0;
    } else if (len < capacityField()) {
      d[len] = 0;
      return 0;
    }
    breakLink();
    return 0;
  }
  // Gives the string private, writable, owned storage of its own text.
  int breakLink() {
    if (isNull() || isInline()) return 0;
    if (!isUsingExternalBuffer() && blockField()->refCount.load(std::memory_order_acquire) == 1) return 0;
    size_t len = lengthField();
    if (len < static_cast<size_t>(InlineSize)) {
      char tmp[InlineSize];
      std::memcpy(tmp, dataField(), len);
      releaseStorage();
      std::memcpy(raw_, tmp, len);
      setInline(len);
      return 0;
    }
    cmStringBlock* nb = cmStringBlock::createCopy(dataField(), len, len + 1);
    releaseStorage();
    setLong(nb, nb->bytes(), len, len + 1);
    return 0;
  }

  // ---- slices -------------------------------------------------------------
  // [start, start + len) clipped to the text. Short results are inline
  // copies; longer ones share the block (or copy a borrowed text).
  cmStringT sub(int64_t start, int64_t len) const {
    cmStringT r;
    subInto(r, start, len);
    return r;
  }
  // The same slice written into `r`, which must be null: saves the move of a
  // returned object where slices are made in bulk.
  void subInto(cmStringT& r, int64_t start, int64_t len) const {
    int64_t total = length();
    if (isNull()) return;
    if (start < 0) start = 0;
    if (start > total) start = total;
    if (len < 0 || len > total - start) len = total - start;
    const char* src = data() + start;
    cmStringBlock* b = isInline() ? nullptr : blockField();
    if (len < InlineSize || !b) {
      r.initFrom(src, static_cast<size_t>(len));
      return;
    }
    b->retain();
    r.setLong(b, const_cast<char*>(src), static_cast<size_t>(len), 0);
  }

  // ---- comparison ---------------------------------------------------------
  // Equality: lengths first, then pointers, then the cached hashes when both
  // strings are whole blocks that carry one, then the bytes (or the folding
  // compare when case is ignored).
  template <int E2, int N2>
  bool equalTo(const cmStringT<CharT, E2, N2>& other, bool caseSensitive = true) const {
    int64_t len = length();
    if (len != other.length()) return false;
    const char* a = data();
    const char* b = other.data();
    if (len == 0 || a == b) return true;
    if (!caseSensitive) return cmStringCompare::equalFolded(a, len, b, len);
    uint32_t ha = wholeBlockHash(), hb = other.wholeBlockHash();
    if (ha && hb && ha != hb) return false;
    return std::memcmp(a, b, static_cast<size_t>(len)) == 0;
  }
  bool equalTo(const char* text, bool caseSensitive = true) const {
    size_t n = text ? std::strlen(text) : 0;
    if (static_cast<size_t>(length()) != n) return false;
    if (n == 0) return true;
    return caseSensitive ? std::memcmp(data(), text, n) == 0
                         : cmStringCompare::equalFolded(data(), n, text, n);
  }
  // Three-way order: a null string first, then bytes (or folded code points).
  template <int E2, int N2>
  int compare(const cmStringT<CharT, E2, N2>& other, bool caseSensitive = true) const {
    if (isNull() || other.isNull()) return (isNull() ? 0 : 1) - (other.isNull() ? 0 : 1);
    return caseSensitive ? cmStringCompare::bytes(data(), length(), other.data(), other.length())
                         : cmStringCompare::folded(data(), length(), other.data(), other.length());
  }

  // ---- hash ---------------------------------------------------------------
  // The case-blind hash of the text, cached in an owned block.
  uint32_t hash() const {
    if (isNull()) return 0;
    if (uint32_t h = wholeBlockHash()) return h;
    uint32_t h = cmHashKey(data(), static_cast<size_t>(length()));
    if (!isInline()) {
      cmStringBlock* b = blockField();
      if (b && dataField() == b->bytes() && lengthField() == b->blockLength) b->storeHash(h);
    }
    return h;
  }
  // The block's cached hash when it belongs to exactly this text, else 0.
  uint32_t wholeBlockHash() const {
    if (isInline() || isNull()) return 0;
    cmStringBlock* b = blockField();
    if (!b || dataField() != b->bytes() || lengthField() != b->blockLength) return 0;
    return b->loadHash();
  }

  // ---- external buffers ---------------------------------------------------
  // Borrows [p, p + len) with `cap` writable bytes (0: read-only). Nothing is
  // copied; the caller keeps the buffer alive.
  int setExternalBuffer(char* p, int64_t len, int64_t cap) {
    releaseStorage();
    std::memset(raw_, 0, sizeof raw_);
    if (!p) return 0;
    setLong(nullptr, p, static_cast<size_t>(len), cap < 0 ? 0 : static_cast<uint64_t>(cap));
    return 0;
  }
  // Borrows read-only text.
  int setExternalBuffer(const char* p, int64_t len) { return setExternalBuffer(const_cast<char*>(p), len, 0); }

  // Raw state, for the family's own classes.
  const unsigned char* rawBytes() const { return raw_; }
  cmStringBlock* blockPointer() const { return isInline() ? nullptr : blockField(); }

 protected:
  // Makes the string an empty writable one ready to take `len` bytes.
  void resetStorageFor(size_t len) {
    if (isInline() && len < static_cast<size_t>(InlineSize)) return;
    if (!isInline() && !isNull()) {
      cmStringBlock* b = blockField();
      if (!b && len < capacityField()) return;
      if (b && dataField() == b->bytes() && b->refCount.load(std::memory_order_acquire) == 1 &&
          len < capacityField())
        return;
    }
    releaseStorage();
    if (len < static_cast<size_t>(InlineSize)) {
      setInline(0);
      return;
    }
    cmStringBlock* nb = cmStringBlock::create(len + 1);
    setLong(nb, nb->bytes(), 0, len + 1);
  }
  // Fills a null object with an owned copy: inline when it fits, else a block
  // sized to the text.
  void initFrom(const char* text, size_t len) {
    if (len < static_cast<size_t>(InlineSize)) {
      if (len) std::memcpy(raw_, text, len);
      setInline(len);
      return;
    }
    cmStringBlock* nb = cmStringBlock::createCopy(text, len, len + 1);
    setLong(nb, nb->bytes(), len, len + 1);
  }
  char* writable() { return isInline() ? reinterpret_cast<char*>(raw_) : dataField(); }

  void releaseStorage() {
    if (!isInline()) cmStringBlock::release(blockField());
  }
  // The text may already stand in raw_[0, len): only the terminator, the
  // length and the flag are written.
  void setInline(size_t len) {
    raw_[len] = 0;
    raw_[InlineSize] = static_cast<unsigned char>(len);
    raw_[InlineSize + 1] = 1;
  }
  void setLong(cmStringBlock* b, char* d, size_t len, uint64_t cap) {
    std::memcpy(raw_, &b, 8);
    std::memcpy(raw_ + 8, &d, 8);
    uint64_t l = len;
    std::memcpy(raw_ + 16, &l, 8);
    uint64_t c = cap & kCapMask;
    std::memcpy(raw_ + kCapOffset, &c, 8);
  }

  void copyFrom(const cmStringT& o) {
    if (o.isInline() || o.isNull()) {
      std::memcpy(raw_, o.raw_, sizeof raw_);
      return;
    }
    cmStringBlock* b = o.blockField();
    if (!b) {
      // Borrowed text: the copy owns its bytes.
      initFrom(o.dataField(), o.lengthField());
      return;
    }
    b->retain();
    std::memcpy(raw_, o.raw_, sizeof raw_);
  }
  void moveFrom(cmStringT& o) {
    if (o.isInline() || o.isNull() || !o.isUsingExternalBuffer()) {
      std::memcpy(raw_, o.raw_, sizeof raw_);
      std::memset(o.raw_, 0, sizeof o.raw_);
      return;
    }
    copyFrom(o);
  }

  cmStringBlock* blockField() const {
    cmStringBlock* b;
    std::memcpy(&b, raw_, 8);
    return b;
  }
  char* dataField() const {
    char* d;
    std::memcpy(&d, raw_ + 8, 8);
    return d;
  }
  uint64_t lengthField() const {
    uint64_t l;
    std::memcpy(&l, raw_ + 16, 8);
    return l;
  }
  void setLengthField(uint64_t l) { std::memcpy(raw_ + 16, &l, 8); }
  uint64_t capacityField() const {
    uint64_t c;
    std::memcpy(&c, raw_ + kCapOffset, 8);
    return c & kCapMask;
  }

  static constexpr int kCapOffset = kObjectSize - 8;
  static constexpr uint64_t kCapMask = (uint64_t(1) << 56) - 1;

  alignas(8) unsigned char raw_[kObjectSize];

  template <typename, int, int>
  friend class cmStringT;
};

template <typename C, int E1, int N1, int E2, int N2>
bool operator==(const cmStringT<C, E1, N1>& a, const cmStringT<C, E2, N2>& b) {
  return a.equalTo(b);
}
template <typename C, int E, int N>
bool operator==(const cmStringT<C, E, N>& a, const char* b) {
  return a.equalTo(b);
}
template <typename C, int E1, int N1, int E2, int N2>
bool operator<(const cmStringT<C, E1, N1>& a, const cmStringT<C, E2, N2>& b) {
  return a.compare(b) < 0;
}

using cmString = cmStringT<char, 1, 30>;
using cmPathString = cmStringT<char, 1, 254>;

static_assert(sizeof(cmString) == 32, "everyday string is 32 bytes");
static_assert(sizeof(cmPathString) == 256, "path string is 256 bytes");
