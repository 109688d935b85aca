#include "text/cmStringCompare.h"

#include <cstring>

#include "text/cmCaseTable.h"

int cmStringCompare::bytes(const char* a, size_t alen, const char* b, size_t blen) {
  size_t n = alen < blen ? alen : blen;
  int r = n ? std::memcmp(a, b, n) : 0;
  if (r) return r;
  return alen < blen ? -1 : (alen > blen ? 1 : 0);
}

namespace {

// Next code point folded, from [p, end).
inline uint32_t nextFolded(const char*& p, const char* end, bool fold) {
  unsigned char c = static_cast<unsigned char>(*p);
  if (c < 0x80) {
    ++p;
    // ASCII folds to upper case without the table.
    return fold && c >= 'a' && c <= 'z' ? c - 32u : c;
  }
  uint32_t cp;
  p = cmCaseTable::decodeUtf8(p, end, &cp);
  return fold && cp < 0x10000 ? cmCaseTable::fold(cp) : cp;
}

}  // namespace

int cmStringCompare::folded(const char* a, size_t alen, const char* b, size_t blen) {
  const char* ae = a + alen;
  const char* be = b + blen;
  // Keys that share a long ASCII prefix (paths) pass it byte by byte; a
  // byte of 0x80 or above may be inside a sequence and goes the long way.
  while (a < ae && b < be && *a == *b && static_cast<unsigned char>(*a) < 0x80) {
    ++a;
    ++b;
  }
  while (a < ae && b < be) {
    uint32_t x = nextFolded(a, ae, true);
    uint32_t y = nextFolded(b, be, true);
    if (x != y) return x < y ? -1 : 1;
  }
  if (a < ae) return 1;
  if (b < be) return -1;
  return 0;
}

int cmStringCompare::fileNames(const char* a, size_t alen, const char* b, size_t blen,
                               bool ignoreCase) {
  const char* ae = a + alen;
  const char* be = b + blen;
  while (a < ae && b < be) {
    uint32_t x = nextFolded(a, ae, ignoreCase);
    uint32_t y = nextFolded(b, be, ignoreCase);
    if (x == '\\') x = '/';
    if (y == '\\') y = '/';
    if (x != y) return x < y ? -1 : 1;
  }
  if (a < ae) return 1;
  if (b < be) return -1;
  return 0;
}
