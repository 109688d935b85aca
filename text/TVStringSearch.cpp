// TVString: the search family. Plain text is searched here; pattern
// syntaxes belong to the pattern engine.
#include <cstring>

#include "runtime/cmException.h"
#include "text/TVString.h"
#include "text/cmCaseTable.h"
#include "text/cmStringErrors.h"

namespace tolvane {

namespace {

constexpr uint64_t kIgnoreCase = 0x1;
constexpr uint64_t kBackward = 0x8;
constexpr uint64_t kWholeWords = 0x20;
constexpr uint64_t kSyntaxBits = 0x6004050;

const char* findBytes(const char* hay, size_t hayLen, const char* needle, size_t nLen) {
  if (nLen == 0 || nLen > hayLen) return nullptr;
  const char* last = hay + (hayLen - nLen);
  for (const char* p = hay; p <= last; ++p) {
    p = static_cast<const char*>(std::memchr(p, needle[0], static_cast<size_t>(last - p) + 1));
    if (!p) return nullptr;
    if (std::memcmp(p, needle, nLen) == 0) return p;
  }
  return nullptr;
}

// Length of text at p that equals the needle ignoring case, or -1.
int64_t foldedMatchAt(const char* p, const char* end, const char* n, const char* nEnd) {
  const char* start = p;
  while (n < nEnd) {
    if (p >= end) return -1;
    uint32_t a, b;
    unsigned char ca = static_cast<unsigned char>(*p), cb = static_cast<unsigned char>(*n);
    if (ca < 0x80 && cb < 0x80) {
      a = cmCaseTable::fold(ca);
      b = cmCaseTable::fold(cb);
      ++p;
      ++n;
    } else {
      p = cmCaseTable::decodeUtf8(p, end, &a);
      n = cmCaseTable::decodeUtf8(n, nEnd, &b);
      if (a < 0x10000) a = cmCaseTable::fold(a);
      if (b < 0x10000) b = cmCaseTable::fold(b);
    }
    if (a != b) return -1;
  }
  return p - start;
}

bool isWordByte(unsigned char c) {
  return c >= 0x80 || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

bool wordBounded(const char* text, int64_t len, int64_t at, int64_t mlen) {
  if (at > 0 && isWordByte(static_cast<unsigned char>(text[at - 1]))) return false;
  if (at + mlen < len && isWordByte(static_cast<unsigned char>(text[at + mlen]))) return false;
  return true;
}

// Match at `at` of the plain needle; its length or -1.
int64_t matchAt(const char* text, int64_t len, int64_t at, const cmTextRef& needle, uint64_t options) {
  if (options & kIgnoreCase) {
    int64_t m = foldedMatchAt(text + at, text + len, needle.data(), needle.data() + needle.length());
    if (m < 0) return -1;
    if ((options & kWholeWords) && !wordBounded(text, len, at, m)) return -1;
    return m;
  }
  if (at + needle.length() > len) return -1;
  if (std::memcmp(text + at, needle.data(), static_cast<size_t>(needle.length())) != 0) return -1;
  if ((options & kWholeWords) && !wordBounded(text, len, at, needle.length())) return -1;
  return needle.length();
}

// A set of characters: a byte map for ASCII sets, code points otherwise.
class CharSet {
 public:
  explicit CharSet(const cmTextRef& set) : set_(set) {
    std::memset(bytes_, 0, sizeof bytes_);
    for (int64_t i = 0; i < set.length(); ++i) {
      unsigned char c = static_cast<unsigned char>(set.data()[i]);
      if (c >= 0x80) ascii_ = false;
      bytes_[c] = 1;
    }
  }
  bool ascii() const { return ascii_; }
  bool hasByte(unsigned char c) const { return bytes_[c] != 0; }
  bool hasCodePoint(uint32_t cp) const {
    const char* p = set_.data();
    const char* end = p + set_.length();
    while (p < end) {
      uint32_t c;
      p = cmCaseTable::decodeUtf8(p, end, &c);
      if (c == cp) return true;
    }
    return false;
  }

 private:
  const cmTextRef& set_;
  bool ascii_ = true;
  unsigned char bytes_[256];
};

int64_t notFound() { return CM_STR_NOT_FOUND; }

}  // namespace

int64_t TVString::pos(const cmTextRef& text, int64_t start) const {
  int64_t len = length();
  if (len == 0 || text.length() == 0) return notFound();
  if (start < 0) start = 0;
  if (start >= len) return notFound();
  const char* d = data();
  const char* hit = findBytes(d + start, static_cast<size_t>(len - start), text.data(),
                              static_cast<size_t>(text.length()));
  return hit ? hit - d : notFound();
}

int64_t TVString::pos(char c, int64_t start) const {
  int64_t len = length();
  if (start < 0) start = 0;
  if (len == 0 || start >= len) return notFound();
  const char* d = data();
  const void* hit = std::memchr(d + start, c, static_cast<size_t>(len - start));
  return hit ? static_cast<const char*>(hit) - d : notFound();
}

int64_t TVString::pos(const cmTextRef& pattern, int64_t start, uint64_t options, str_match_t* match) const {
  if (options & kSyntaxBits) throw cmException(CM_STR_NO_PATTERN_ENGINE, "TVString::pos");
  int64_t len = length();
  if (match) {
    match->start = -1;
    match->length = 0;
    match->options = options;
    match->groupCount = 0;
  }
  if (len == 0 || pattern.length() == 0) return notFound();
  const char* d = data();
  int64_t at = -1, mlen = 0;
  if (options & kBackward) {
    if (start < 0 || start >= len) start = len - 1;
    for (int64_t i = start; i >= 0; --i) {
      int64_t m = matchAt(d, len, i, pattern, options);
      if (m >= 0) {
        at = i;
        mlen = m;
        break;
      }
    }
  } else {
    if (start < 0) start = 0;
    for (int64_t i = start; i < len; ++i) {
      int64_t m = matchAt(d, len, i, pattern, options);
      if (m >= 0) {
        at = i;
        mlen = m;
        break;
      }
    }
  }
  if (at < 0) return notFound();
  if (match) {
    match->start = at;
    match->length = mlen;
  }
  return at;
}

int64_t TVString::lastpos(const cmTextRef& text, int64_t start) const {
  int64_t len = length();
  int64_t n = text.length();
  if (len == 0 || n == 0 || n > len) return notFound();
  if (start < 0 || start > len - n) start = len - n;
  const char* d = data();
  for (int64_t i = start; i >= 0; --i)
    if (d[i] == text.data()[0] && std::memcmp(d + i, text.data(), static_cast<size_t>(n)) == 0) return i;
  return notFound();
}

int64_t TVString::lastpos(char c, int64_t start) const {
  int64_t len = length();
  if (len == 0) return notFound();
  if (start < 0 || start >= len) start = len - 1;
  const char* d = data();
  for (int64_t i = start; i >= 0; --i)
    if (d[i] == c) return i;
  return notFound();
}

int64_t TVString::cpos(const cmTextRef& set, int64_t start) const {
  int64_t len = length();
  if (start < 0) start = 0;
  if (len == 0 || start >= len || set.length() == 0) return notFound();
  CharSet cs(set);
  const char* d = data();
  if (cs.ascii()) {
    for (int64_t i = start; i < len; ++i)
      if (cs.hasByte(static_cast<unsigned char>(d[i]))) return i;
    return notFound();
  }
  const char* p = d + start;
  const char* end = d + len;
  while (p < end) {
    const char* at = p;
    uint32_t cp;
    p = cmCaseTable::decodeUtf8(p, end, &cp);
    if (cs.hasCodePoint(cp)) return at - d;
  }
  return notFound();
}

int64_t TVString::clastpos(const cmTextRef& set, int64_t start) const {
  int64_t len = length();
  if (len == 0 || set.length() == 0) return notFound();
  if (start < 0 || start >= len) start = len - 1;
  CharSet cs(set);
  const char* d = data();
  for (int64_t i = start; i >= 0; --i) {
    unsigned char c = static_cast<unsigned char>(d[i]);
    if (c < 0x80) {
      if (cs.hasByte(c)) return i;
      continue;
    }
    if ((c & 0xC0) == 0x80 && i > 0) continue;  // inside a sequence: find its lead byte
    uint32_t cp;
    cmCaseTable::decodeUtf8(d + i, d + len, &cp);
    if (!cs.ascii() && cs.hasCodePoint(cp)) return i;
  }
  return notFound();
}

bool TVString::beginsWith(const cmTextRef& text, bool ignoreCase) const {
  int64_t n = text.length();
  if (n > length()) return false;
  if (n == 0) return true;
  if (!ignoreCase) return std::memcmp(data(), text.data(), static_cast<size_t>(n)) == 0;
  return foldedMatchAt(data(), data() + length(), text.data(), text.data() + n) >= 0;
}

bool TVString::endsWith(const cmTextRef& text, bool ignoreCase) const {
  int64_t n = text.length();
  int64_t len = length();
  if (n > len) return false;
  if (n == 0) return true;
  if (!ignoreCase) return std::memcmp(data() + len - n, text.data(), static_cast<size_t>(n)) == 0;
  return cmStringCompare::equalFolded(data() + len - n, n, text.data(), n);
}

bool TVString::beginsWith(const cmTextRef& pattern, uint64_t options, str_match_t* match) const {
  if (options & kSyntaxBits) throw cmException(CM_STR_NO_PATTERN_ENGINE, "TVString::beginsWith");
  if (match) {
    match->start = -1;
    match->length = 0;
    match->options = options;
    match->groupCount = 0;
  }
  if (isEmpty() || pattern.isEmpty()) return false;
  int64_t m = matchAt(data(), length(), 0, pattern, options & ~kBackward);
  if (m < 0) return false;
  if (match) {
    match->start = 0;
    match->length = m;
  }
  return true;
}

bool TVString::endsWith(const cmTextRef& pattern, uint64_t options, str_match_t* match) const {
  if (options & kSyntaxBits) throw cmException(CM_STR_NO_PATTERN_ENGINE, "TVString::endsWith");
  if (match) {
    match->start = -1;
    match->length = 0;
    match->options = options;
    match->groupCount = 0;
  }
  int64_t len = length();
  if (len == 0 || pattern.isEmpty()) return false;
  // The last match that reaches the end.
  for (int64_t i = len - 1; i >= 0; --i) {
    int64_t m = matchAt(data(), len, i, pattern, options & ~kBackward);
    if (m >= 0 && i + m == len) {
      if (match) {
        match->start = i;
        match->length = m;
      }
      return true;
    }
  }
  return false;
}

bool TVString::isInList(const cmTextRef& list, char separator) const {
  int64_t n = length();
  if (n == 0 || list.isEmpty()) return false;
  const char* p = list.data();
  const char* end = p + list.length();
  const char* d = data();
  while (p <= end) {
    const char* sep = static_cast<const char*>(std::memchr(p, separator, static_cast<size_t>(end - p)));
    const char* itemEnd = sep ? sep : end;
    if (itemEnd - p == n && std::memcmp(p, d, static_cast<size_t>(n)) == 0) return true;
    if (!sep) break;
    p = sep + 1;
  }
  return false;
}

int64_t TVString::countAll(const cmTextRef& text) const {
  int64_t n = text.length();
  if (n == 0) return 0;
  int64_t count = 0;
  for (int64_t at = pos(text, 0); at >= 0; at = pos(text, at + n)) ++count;
  return count;
}

int64_t TVString::countAll(char c) const {
  int64_t count = 0;
  const char* d = data();
  for (int64_t i = 0, len = length(); i < len; ++i)
    if (d[i] == c) ++count;
  return count;
}

}  // namespace tolvane
