// TVString: construction, state, access, external buffers, copies out and
// comparison. The other families live in TVString*.cpp beside this file.
#include "text/TVString.h"

#include <cstring>

#include "runtime/cmAlloc.h"
#include "runtime/cmException.h"
#include "text/cmCaseTable.h"
#include "text/cmStringErrors.h"

namespace tolvane {

namespace {

// File names on the file systems this build runs on differ by case.
constexpr bool kFileNamesIgnoreCase = false;

void* allocOrThrow(size_t n) {
  void* p = cmAlloc(n);
  if (!p) throw cmException(CM_STR_OUT_OF_MEMORY);
  return p;
}

}  // namespace

// ---- construction -----------------------------------------------------------

TVString::TVString(const cmTextRef& text) {
  if (!text.isNull()) assign(text.data(), static_cast<size_t>(text.length()));
}

TVString::TVString(int value) { appendNumber(static_cast<long long>(value), 10); }

TVString::TVString(uint64_t cap) {
  makeEmpty();
  setCapacity(static_cast<int64_t>(cap));
}

TVString& TVString::operator=(const cmTextRef& text) {
  if (text.isNull())
    makeNull();
  else
    assign(text.data(), static_cast<size_t>(text.length()));
  return *this;
}

// ---- state ------------------------------------------------------------------

int TVString::setCapacity(int64_t cap) {
  int64_t len = length();
  if (cap < len) cap = len;
  if (cap + 1 <= capacity() && !isUsingExternalBuffer()) {
    makeRoom(static_cast<size_t>(len));  // unshare a shared block
    return 0;
  }
  makeNotNull();
  makeRoom(static_cast<size_t>(cap));
  return 0;
}

int TVString::truncateCapacity() {
  if (isNull() || isInline()) return 0;
  size_t len = static_cast<size_t>(length());
  if (capacityField() == len + 1 && !isUsingExternalBuffer()) return 0;
  Base copy(data(), static_cast<int64_t>(len));  // exact size, or inline
  Base::operator=(static_cast<Base&&>(copy));
  return 0;
}

int TVString::resetLength() {
  if (isNull()) return 0;
  makeRoom(0);
  setLengthRaw(0);
  return 0;
}

// Shortening text that isn't ours alone: a slice of it (inline when short)
// costs less than copying all of it first.
bool TVString::shortenShared(int64_t len) {
  if (len > length() || isInline() || isNull()) return false;
  cmStringBlock* b = blockField();
  if (b && !isUsingExternalBuffer() && b->refCount.load(std::memory_order_acquire) == 1) return false;
  if (!b && capacityField() > static_cast<uint64_t>(len)) return false;
  Base part = Base::sub(0, len);
  Base::operator=(static_cast<Base&&>(part));
  return true;
}

int TVString::setLength(int64_t len) {
  if (len < 0) len = 0;
  if (shortenShared(len)) return 0;
  makeNotNull();
  makeRoom(static_cast<size_t>(len));
  setLengthRaw(static_cast<size_t>(len));
  return 0;
}

int TVString::setLength(int64_t len, char fill) {
  if (len < 0) len = 0;
  if (shortenShared(len)) return 0;
  int64_t cur = length();
  makeNotNull();
  char* d = makeRoom(static_cast<size_t>(len));
  if (len > cur) std::memset(d + cur, fill, static_cast<size_t>(len - cur));
  setLengthRaw(static_cast<size_t>(len));
  return 0;
}

bool TVString::checkIntegrity() const {
  const unsigned char* r = rawBytes();
  if (r[31] > 1) return false;
  if (isInline()) return r[30] < 30 && r[r[30]] == 0;
  if (isNull()) {
    for (int i = 0; i < 32; ++i)
      if (r[i]) return false;
    return true;
  }
  cmStringBlock* b = blockField();
  if (!b) return capacityField() == 0 || lengthField() < capacityField();
  uint32_t refs = b->refCount.load(std::memory_order_relaxed);
  if (refs == 0) return false;
  const char* d = dataField();
  if (d < b->bytes() || d + lengthField() > b->bytes() + b->blockLength) return false;
  if (d == b->bytes() && capacityField() && lengthField() >= capacityField()) return false;
  return true;
}

// ---- access -----------------------------------------------------------------

char* TVString::getMutableCString() {
  makeNotNull();
  size_t len = static_cast<size_t>(length());
  char* d = makeRoom(len);
  setLengthRaw(len);
  return d;
}

// ---- external buffers -------------------------------------------------------

int TVString::subExternalBuffer(const Base& source, int64_t start, int64_t len) {
  int64_t total = source.length();
  if (source.isNull()) return makeNull();
  if (start < 0) start = 0;
  if (start > total) start = total;
  if (len < 0 || len > total - start) len = total - start;
  return setExternalBuffer(source.data() + start, len);
}

int TVString::doNotUseInternalBuffer() {
  if (!isInline()) return 0;
  size_t len = static_cast<size_t>(length());
  cmStringBlock* nb = cmStringBlock::createCopy(data(), len, len + 1);
  setLong(nb, nb->bytes(), len, len + 1);
  return 0;
}

// ---- copies out -------------------------------------------------------------

char* TVString::dupCString() const { return dup_sub(0, length()); }

char* TVString::dup_sub(int64_t start, int64_t len) const {
  int64_t total = length();
  if (start < 0) start = 0;
  if (start > total) start = total;
  if (len < 0 || len > total - start) len = total - start;
  char* p = static_cast<char*>(allocOrThrow(static_cast<size_t>(len) + 1));
  if (len) std::memcpy(p, data() + start, static_cast<size_t>(len));
  p[len] = 0;
  return p;
}

TVLSTR* TVString::dup_lstr() const {
  int64_t len = length();
  auto* l = static_cast<TVLSTR*>(allocOrThrow(sizeof(int32_t) + static_cast<size_t>(len) + 1));
  l->length = static_cast<int32_t>(len);
  if (len) std::memcpy(l->text, data(), static_cast<size_t>(len));
  l->text[len] = 0;
  return l;
}

char16_t* TVString::dup_wide() const {
  const char* p = isNull() ? "" : data();
  const char* end = p + length();
  // At most one unit per byte.
  auto* out = static_cast<char16_t*>(allocOrThrow((static_cast<size_t>(length()) + 1) * sizeof(char16_t)));
  size_t n = 0;
  while (p < end) {
    uint32_t cp;
    p = cmCaseTable::decodeUtf8(p, end, &cp);
    if (cp == cmCaseTable::kBadSequence) cp = 0xFFFD;
    if (cp >= 0x10000 && cp <= 0x10FFFF) {
      cp -= 0x10000;
      out[n++] = static_cast<char16_t>(0xD800 + (cp >> 10));
      out[n++] = static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
    } else {
      out[n++] = static_cast<char16_t>(cp > 0xFFFF ? 0xFFFD : cp);
    }
  }
  out[n] = 0;
  return out;
}

int64_t TVString::exportStr(char* buf, int64_t bufSize) const {
  if (!buf || bufSize <= 0) return 0;
  int64_t n = length();
  if (n > bufSize - 1) n = bufSize - 1;
  if (n) std::memcpy(buf, data(), static_cast<size_t>(n));
  buf[n] = 0;
  return n;
}

int64_t TVString::export_lstr(TVLSTR* out, int64_t maxBytes) const {
  if (!out) return 0;
  int64_t n = length();
  if (n > maxBytes) n = maxBytes < 0 ? 0 : maxBytes;
  if (n) std::memcpy(out->text, data(), static_cast<size_t>(n));
  out->length = static_cast<int32_t>(n);
  return n;
}

// ---- comparison -------------------------------------------------------------

bool TVString::equalTo(const cmTextRef& text, bool caseSensitive) const {
  int64_t len = length();
  if (len != text.length()) return false;
  if (len == 0) return true;
  return caseSensitive ? std::memcmp(data(), text.data(), static_cast<size_t>(len)) == 0
                       : cmStringCompare::equalFolded(data(), len, text.data(), len);
}

bool TVString::equalToIgnoreNull(const cmTextRef& text, bool caseSensitive) const {
  return equalTo(text, caseSensitive);
}

int TVString::compare(const cmTextRef& text, bool caseSensitive) const {
  if (isNull() || text.isNull()) return (isNull() ? 0 : 1) - (text.isNull() ? 0 : 1);
  return caseSensitive ? cmStringCompare::bytes(data(), length(), text.data(), text.length())
                       : cmStringCompare::folded(data(), length(), text.data(), text.length());
}

int TVString::compareString(const cmTextRef& a, const cmTextRef& b) {
  if (a.isNull() || b.isNull()) return (a.isNull() ? 0 : 1) - (b.isNull() ? 0 : 1);
  return cmStringCompare::bytes(a.data(), a.length(), b.data(), b.length());
}

int TVString::compareStringI(const cmTextRef& a, const cmTextRef& b) {
  if (a.isNull() || b.isNull()) return (a.isNull() ? 0 : 1) - (b.isNull() ? 0 : 1);
  return cmStringCompare::folded(a.data(), a.length(), b.data(), b.length());
}

int TVString::compareFilenames(const cmTextRef& a, const cmTextRef& b) {
  if (a.isNull() || b.isNull()) return (a.isNull() ? 0 : 1) - (b.isNull() ? 0 : 1);
  return cmStringCompare::fileNames(a.data(), a.length(), b.data(), b.length(), kFileNamesIgnoreCase);
}

int TVString::fileCmp(const cmTextRef& other) const {
  cmTextRef self(*this);
  return compareFilenames(self, other);
}

int TVString::fileCmpBoth(const cmTextRef& other) const {
  if (isNull() || other.isNull()) return (isNull() ? 0 : 1) - (other.isNull() ? 0 : 1);
  return cmStringCompare::fileNames(data(), length(), other.data(), other.length(), true);
}

// ---- concatenation ----------------------------------------------------------

namespace {

TVString concat(const char* a, int64_t alen, const char* b, int64_t blen) {
  TVString r(static_cast<uint64_t>(alen + blen));
  r.Base::append(a, static_cast<size_t>(alen));
  r.Base::append(b, static_cast<size_t>(blen));
  return r;
}

}  // namespace

TVString operator+(const TVString& a, const TVString& b) {
  if (b.isEmpty()) return a;
  if (a.isEmpty()) return b;
  return concat(a.data(), a.length(), b.data(), b.length());
}

TVString operator+(const TVString& a, const char* b) {
  if (!b || !*b) return a;
  return concat(a.isNull() ? "" : a.data(), a.length(), b, static_cast<int64_t>(std::strlen(b)));
}

TVString operator+(const char* a, const TVString& b) {
  if (!a || !*a) return b;
  return concat(a, static_cast<int64_t>(std::strlen(a)), b.isNull() ? "" : b.data(), b.length());
}

TVString operator+(const TVString& a, char b) { return concat(a.isNull() ? "" : a.data(), a.length(), &b, 1); }

TVString operator+(const TVString& a, const cmString& b) { return a + TVString(b); }

TVString operator+(const cmString& a, const TVString& b) { return TVString(a) + b; }

}  // namespace tolvane

// ---- wide text ----------------------------------------------------------------

cmTextRef::cmTextRef(const char16_t* wide) {
  int64_t n = 0;
  if (wide)
    while (wide[n]) ++n;
  fromWide(wide, n);
}

cmTextRef::cmTextRef(const char16_t* wide, int64_t units) { fromWide(wide, units); }

void cmTextRef::fromWide(const char16_t* wide, int64_t units) {
  if (!wide) {
    null_ = true;
    return;
  }
  owned_.makeEmpty();
  char* out = owned_.makeRoom(static_cast<size_t>(units) * 3);
  size_t n = 0;
  for (int64_t i = 0; i < units; ++i) {
    uint32_t cp = wide[i];
    if (cp >= 0xD800 && cp < 0xDC00 && i + 1 < units && wide[i + 1] >= 0xDC00 && wide[i + 1] < 0xE000) {
      cp = 0x10000 + ((cp - 0xD800) << 10) + (wide[i + 1] - 0xDC00);
      ++i;
    }
    n += cmCaseTable::encodeUtf8(cp, out + n);
  }
  owned_.setLengthRaw(n);
  data_ = owned_.data();
  length_ = static_cast<int64_t>(n);
}
