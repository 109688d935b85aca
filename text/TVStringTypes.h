// Plain records that travel with strings: TVLSTR, the length-prefixed text
// of the host interface, and str_match_t, which receives where a pattern
// search matched. Plain data, no ownership beyond what each field says.
#pragma once

#include <cstdint>

// Host-interface text: 32-bit length, then the bytes (not terminated).
//   OFFSET SIZE MEANING
//   0      4    length in bytes
//   4      len  text
struct TVLSTR {
  int32_t length;
  char text[1];
};

// Where a search matched: start and length of the match, the options it ran
// with and the captured groups (start -1 when a group took no part).
struct str_match_t {
  static constexpr int kMaxGroups = 10;
  int64_t start = -1;
  int64_t length = 0;
  uint64_t options = 0;
  int32_t groupCount = 0;
  struct Group {
    int64_t start;
    int64_t length;
  } groups[kMaxGroups] = {};
};
