// btIndexDefinition: the stored description of one index of a table, and
// the slot through which the index layer reaches the index's open
// structure. The table (btTableInfo) holds one per index, in index number
// order, and its catalogue image holds the 96 bytes below at unit
// 2 + fieldCount + 2 * number; every setter writes the parsed copy and the
// table's image together and marks the image dirty.
//
// Image, 96 bytes, little-endian:
//
//   OFFSET  SIZE  MEANING
//   0       2     partCount: key parts, at most 8
//   2       1     indexType: index kind code
//   3       1     indexFlags: 1 duplicates, 2/4 copied to key fields, 8 neighbours,
//                 16/32 eight/sixteen-byte summary, 64 one-key chains
//   4       16    parts: u16[8], field number in bits 0-11; 0x1000 exact,
//                 0x2000 case-insensitive then exact, 0x4000 with file names
//   20      4     conversionCount: conversion threshold, bucket count or B-tree order
//   24      4     arg5: second size after a conversion
//   28      4     root: seek of the stored root, 0 if none
//   32      4     lastNode: last B-tree leaf, else as root; 0xFFFFFFFF reads 0
//   36      4     firstNode: first B-tree leaf, else as root; 0xFFFFFFFF reads 0
//   40      33    name, NUL-terminated, at most 32 characters
//   73      1     arg6: stored, not read
//   74      22    reserved, zero
//
// Ownership: the definition owns its open structure and destroys it through
// `destroyStructure`, which the index layer sets when it creates one (the
// structure classes live above this file). Threading: as its table.
#pragma once

#include <cstdint>

#include "database/btSeek.h"

class btIndexStructure;
class btTableInfo;

// Index flags.
constexpr uint8_t BT_INDEX_DUPLICATES = 1;
constexpr uint8_t BT_INDEX_FIELD_FLAG2 = 2;
constexpr uint8_t BT_INDEX_FIELD_FLAG4 = 4;
constexpr uint8_t BT_INDEX_NEIGHBOURS = 8;
constexpr uint8_t BT_INDEX_SUMMARY8 = 16;
constexpr uint8_t BT_INDEX_SUMMARY16 = 32;
constexpr uint8_t BT_INDEX_ONE_KEY_CHAINS = 64;

// Key part words.
constexpr uint16_t BT_KEY_FIELD_MASK = 0x0FFF;
constexpr uint16_t BT_KEY_EXACT = 0x1000;
constexpr uint16_t BT_KEY_CASE_THEN_EXACT = 0x2000;
constexpr uint16_t BT_KEY_FILE_NAMES = 0x4000;

// Comparison mode of a key part word: 1 exact, -1 case-insensitive then
// exact, -2 the same with file names, 0 case-insensitive.
inline int btKeyPartMode(uint16_t part) {
  if (part & BT_KEY_EXACT) return 1;
  if (part & BT_KEY_CASE_THEN_EXACT) return -1;
  if (part & BT_KEY_FILE_NAMES) return -2;
  return 0;
}

class btIndexDefinition {
 public:
  static constexpr uint32_t kImageSize = 96;
  static constexpr uint32_t kMaxParts = 8;

  btIndexDefinition() = default;
  ~btIndexDefinition() { releaseStructure(); }
  btIndexDefinition(const btIndexDefinition&) = delete;
  btIndexDefinition& operator=(const btIndexDefinition&) = delete;

  // Fills the stored fields from a 96-byte image.
  void read(const uint8_t* image);
  // Writes the stored fields into a 96-byte image; reserved bytes become 0.
  void write(uint8_t* image) const;

  uint32_t partField(uint32_t i) const { return parts[i] & BT_KEY_FIELD_MASK; }
  int partMode(uint32_t i) const { return btKeyPartMode(parts[i]); }
  bool allowsDuplicates() const { return (indexFlags & BT_INDEX_DUPLICATES) != 0; }
  bool summaryIsExact() const { return keyFitsLink; }

  // Whether records keep a link slot for this index (a format of version
  // 2000 or later; the caller checks the version).
  static bool needsLinkSlot(uint32_t type, uint8_t flags);
  // Kinds with a stored root, which can also list all records of a table.
  static bool isPersistentKind(uint32_t type);
  // Recomputes keyFitsLink from the parts and the owner's fields.
  void computeKeyFitsLink();

  // Setters of the stored fields that the index layer changes; each writes
  // the owner's image too and marks it dirty. Without an owner only the
  // copy changes.
  void setRoot(btSeek seek);
  void setFirstNode(btSeek seek);
  void setLastNode(btSeek seek);
  void setIndexType(uint8_t type);
  void setConversionCount(uint32_t count);
  void setArg5(uint32_t value);

  // Destroys the open structure, if any.
  void releaseStructure();

  // Stored fields.
  uint16_t partCount = 0;
  uint8_t indexType = 0;
  uint8_t indexFlags = 0;
  uint16_t parts[kMaxParts] = {};
  uint32_t conversionCount = 0;
  uint32_t arg5 = 0;
  btSeek root = 0;
  btSeek lastNode = 0;
  btSeek firstNode = 0;
  char name[33] = {};
  uint8_t arg6 = 0;

  // In memory only.
  btIndexStructure* structure = nullptr;
  void (*destroyStructure)(btIndexStructure*) = nullptr;
  btSeek openedRoot = 0;  // root for which `structure` was opened
  // The type that `structure` was last found to serve, with `openedRoot`
  // still the root: structureOf's check without the lookups. ~0u: none.
  uint32_t servedType = ~0u;
  int32_t number = -1;    // index number in its table
  btTableInfo* owner = nullptr;
  bool keyFitsLink = false;

 private:
  // The owner's image bytes of this definition, or null.
  uint8_t* storedImage() const;
  void commit();
};
