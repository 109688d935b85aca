// The forms a key takes besides the record that bears it: the key summary
// that ordered indexes store in place of the key (4 bytes, or a 16-byte
// pair of which the 8-byte form uses the first half), and the key hash by
// which hash indexes choose a bucket. Both are read from the key parts of
// an index definition over a record; the full comparison is compareKeys
// (database/btFieldCompare.h).
//
// Summaries and hashes are stored on disk in effect (as node entries and
// as bucket choices), so every value here is part of the file format.
// Stateless; any thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "database/btFieldCompare.h"

class btIndexDefinition;
class btStoredRecord;

// A wide summary; compared unsigned, hi first.
struct btKeySummary {
  uint64_t hi = 0;
  uint64_t lo = 0;
  bool operator==(const btKeySummary& o) const { return hi == o.hi && lo == o.lo; }
};

inline int compareSummaries(const btKeySummary& a, const btKeySummary& b) {
  if (a.hi != b.hi) return a.hi < b.hi ? -1 : 1;
  if (a.lo != b.lo) return a.lo < b.lo ? -1 : 1;
  return 0;
}

// Whether the index uses the wide form (index flag 16 or 32).
bool keySummaryIsWide(const btIndexDefinition* index);
// The 4-byte summary, from the first key part only.
uint32_t keySummary(const btStoredRecord* record, const btIndexDefinition* index);
// The wide summary over the key parts; `lo` stays 0 without flag 32.
btKeySummary keySummaryWide(const btStoredRecord* record, const btIndexDefinition* index);

// The wide summary that keySummaryWide gives a one-part key whose part is
// `length` bytes of text, in a text field at least as wide as the summary:
// the bytes, lowered where `mode` folds, zeros past the end. `sixteen`
// for flag 32.
btKeySummary btWideTextSummary(const uint8_t* text, uint32_t length, int mode, bool sixteen);

// Whether two different wide summaries already tell how compareKeys
// orders the keys they come from, and `*order` (-1 or 1) when they do.
// Only a one-part key of a byte string type under a wide summary
// qualifies, and only when the summaries first differ after an ASCII
// prefix at a byte below 0x80 (any byte without case folding): there the
// lowered summary bytes give back the upper-case folding the comparison
// uses. Anything else is for the records to settle.
bool btSummariesOrderKeys(const btIndexDefinition* index, const btKeySummary& a,
                          const btKeySummary& b, int* order);
// The bucket hash of a record's key: the first key part only, legacy hash
// for files of a format below 2400.
uint32_t keyHash(const btStoredRecord* record, const btIndexDefinition* index);
uint32_t keyHashForVersion(const btStoredRecord* record, const btIndexDefinition* index,
                           uint32_t formatVersion);

// Byte-level hashes behind keyHash.
// Plain xxHash32 with seed 0; a null pointer gives length + 374761393.
uint32_t btHashBytes(const void* data, size_t length);
// Case-folded over fixed byte fields ("uchar", "char"): bytes as they are.
uint32_t btHashFoldedBytes(const void* data, size_t length);
// Case-folded over text, aware of UTF-8.
uint32_t btHashFoldedText(const void* data, size_t length);
// The hash of files older than format 2400.
uint32_t btHashLegacy(const void* data, size_t length, int mode);

// The 256-entry byte lower-case table of the key code: ASCII letters
// mapped, other bytes as they are.
inline uint8_t btLowerByte(uint8_t c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<uint8_t>(c + 32) : c;
}
