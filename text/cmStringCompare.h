// Byte-level comparisons shared by every string type: plain three-way order,
// case-blind order and equality through the upper-case table, and the file
// name order. Stateless, safe from any thread.
#pragma once

#include <cstddef>
#include <cstdint>

class cmStringCompare {
 public:
  // memcmp order, a shorter prefix first. Returns <0, 0 or >0.
  static int bytes(const char* a, size_t alen, const char* b, size_t blen);
  // Case-blind order by code points folded to upper case; ASCII bytes take a
  // short path. Bad UTF-8 compares by its marker value.
  static int folded(const char* a, size_t alen, const char* b, size_t blen);
  static bool equalFolded(const char* a, size_t alen, const char* b, size_t blen) {
    return alen == blen && folded(a, alen, b, blen) == 0;
  }
  // File name order: '/' and '\\' are the same separator; case counts only
  // when ignoreCase is false.
  static int fileNames(const char* a, size_t alen, const char* b, size_t blen, bool ignoreCase);
};
