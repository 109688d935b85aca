// cmCaseTable: the case mapping and UTF-8 decoding that every string
// operation on text shares. Upper and lower case are 65,536-entry tables of
// the Basic Multilingual Plane, built once from the generated rows in
// cmCaseTable.cpp (identity, then the mapped pairs); code points above the
// plane map to themselves. Folding for case-blind comparison and hashing is
// the upper-case table.
//
// The tables are built on first use under the language's guarantee for
// function-local statics and are read-only afterwards, so every function
// here may be called from any thread.
#pragma once

#include <cstddef>
#include <cstdint>

extern const uint32_t cmCaseTableRows[][3];
extern const size_t cmCaseTableRowCount;

class cmCaseTable {
 public:
  // Marks a sequence that is cut off or starts with no valid lead byte.
  static constexpr uint32_t kBadSequence = 0xFFFFFFFF;

  static uint32_t upper(uint32_t cp);
  static uint32_t lower(uint32_t cp);
  static uint32_t fold(uint32_t cp) { return upper(cp); }

  // Decodes one sequence whose lead byte is 0x80 or above: 110xxxxx to
  // 1111110x select 2 to 6 bytes; continuation bytes give their low six bits
  // unchecked. A sequence that would pass `end`, or a byte that fits no
  // pattern, gives kBadSequence and an advance of one byte. Returns the
  // pointer behind what was read. ASCII bytes are the caller's business but
  // are accepted too.
  static const char* decodeUtf8(const char* p, const char* end, uint32_t* cp);

  // Writes cp as UTF-8 in 1 to 4 bytes; a value above 0x1FFFFF, which four
  // bytes can't hold, is written as U+FFFD. Returns the byte count.
  static int encodeUtf8(uint32_t cp, char* out);
};
