// btFieldDefinition: one field of a table, as its catalogue image stores it
// at unit 2 + field number of the table's image, with the table that owns
// it and its number. The table (btTableInfo) keeps these in an array and
// rebuilds them from its image at each unpack; they are plain values with
// no locking of their own (their table's rules apply).
//
// Image, 48 bytes, little-endian:
//
//   OFFSET  SIZE  MEANING
//   0       4     size: the `size` argument of addField
//   4       4     fixedOffset: offset in the record's fixed part; unused for variable fields
//   8       1     type: field type code (btFieldType.h)
//   9       1     fieldFlags: BT_FIELD_* flags
//   10      33    name, NUL-terminated, at most 32 characters
//   43      5     reserved, zero
#pragma once

#include <cstdint>
#include <cstring>

#include "database/btSeek.h"

class btTableInfo;

struct btFieldDefinition {
  static constexpr uint32_t kImageSize = 48;

  uint32_t size = 0;
  uint32_t fixedOffset = 0;
  uint8_t type = 0;
  uint8_t flags = 0;
  char name[33] = {};
  btTableInfo* owner = nullptr;
  uint32_t number = 0;

  void read(const uint8_t* image) {
    size = btGet32(image);
    fixedOffset = btGet32(image + 4);
    type = image[8];
    flags = image[9];
    std::memcpy(name, image + 10, 32);
    name[32] = '\0';
  }
  void write(uint8_t* image) const {
    std::memset(image, 0, kImageSize);
    btPut32(image, size);
    btPut32(image + 4, fixedOffset);
    image[8] = type;
    image[9] = flags;
    std::memcpy(image + 10, name, std::strlen(name) < 32 ? std::strlen(name) : 32);
  }
};
