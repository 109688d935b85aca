// btFieldType: the 24 field types of a record, by their stored codes, and
// the engine's table describing each one: whether it can be part of a key,
// whether it lives in the variable part, its width in the fixed part, the
// limits of its `size` argument, and its length prefix.
//
// The codes are stored in every field definition of the catalogue, so they
// never change. The table is constant data; any thread may read it.
#pragma once

#include <cstdint>

enum btFieldTypeCode : uint8_t {
  BT_FIELD_STRING = 0,    // u16 length, then the bytes
  BT_FIELD_ZSTRING = 1,   // bytes and a NUL
  BT_FIELD_BSTRING = 2,   // u8 length, then the bytes
  BT_FIELD_ISTRING = 3,   // u32 length, then the bytes
  BT_FIELD_UCHAR = 4,     // `size` bytes in the fixed part
  BT_FIELD_CHAR = 5,      // `size` bytes in the fixed part
  BT_FIELD_USHORT = 6,
  BT_FIELD_SHORT = 7,
  BT_FIELD_UINT = 8,
  BT_FIELD_INT = 9,
  BT_FIELD_ULONG = 10,
  BT_FIELD_LONG = 11,
  BT_FIELD_FLOAT = 12,
  BT_FIELD_DOUBLE = 13,
  BT_FIELD_BOOLEAN = 14,  // 0 null, 1 false, 2 true
  BT_FIELD_DATE = 15,     // packed local date with a time zone byte
  BT_FIELD_IMAGE = 16,    // u32 length, then the bytes
  BT_FIELD_UINT24 = 17,   // 3 bytes, low first
  BT_FIELD_VSTRING = 18,  // the bytes; length from the next offset
  BT_FIELD_IMAGE2 = 19,   // u16 length, then the bytes
  BT_FIELD_UTF8 = 20,     // UTF-8 bytes; length from the next offset
  BT_FIELD_CMDATE = 21,   // cmDateStamp as a u64
  BT_FIELD_UINT48 = 22,   // 6 bytes, low first
  BT_FIELD_CSTRING = 23,  // text, zlib-compressed from 32 bytes on
};

constexpr uint32_t BT_FIELD_TYPE_COUNT = 24;

// Field flags, stored in each field definition.
constexpr uint8_t BT_FIELD_REQUIRED = 1;      // a record with this field null is rejected
constexpr uint8_t BT_FIELD_KEY_FLAG2 = 2;     // belongs to an index with index flag 2
constexpr uint8_t BT_FIELD_KEY_FLAG4 = 4;     // belongs to an index with flag 4 and no flag 2
constexpr uint8_t BT_FIELD_EXACT = 8;         // as a key part: exact compare
constexpr uint8_t BT_FIELD_NULLABLE = 16;     // zero counts as null; fixed fields may be set null
constexpr uint8_t BT_FIELD_CASE_THEN_EXACT = 32;  // with 8 too: file name equivalence
constexpr uint8_t BT_FIELD_AUTONUMBER = 64;   // field 0 only

struct btFieldTypeInfo {
  const char* name;
  bool key;        // may be a key part
  bool variable;   // stored in the variable part
  uint8_t width;   // bytes in the fixed part; 0 for variable types
  uint32_t maxLength;  // limit of the `size` argument; 0 for none
  uint64_t maxValue;   // largest value of integer types, else 0
  bool text;       // setText accepts it
  bool binary;
  uint8_t prefix;  // bytes of length prefix
};

// name, key, variable, width, max length, max value, text, binary, prefix
inline constexpr btFieldTypeInfo btFieldTypeTable[BT_FIELD_TYPE_COUNT] = {
    {"string", true, true, 0, 32000, 0, true, false, 2},
    {"zstring", true, true, 0, 32000, 0, true, false, 0},
    {"bstring", true, true, 0, 255, 0, true, false, 1},
    {"istring", true, true, 0, 0, 0, true, false, 4},
    {"uchar", true, false, 1, 255, 255, true, true, 0},
    {"char", true, false, 1, 255, 127, true, false, 0},
    {"ushort", true, false, 2, 1, 65535, false, false, 0},
    {"short", true, false, 2, 1, 32767, false, false, 0},
    {"uint", true, false, 4, 1, 0xffffffffull, false, false, 0},
    {"int", true, false, 4, 1, 0x7fffffffull, false, false, 0},
    {"ulong", true, false, 8, 1, 0xffffffffffffffffull, false, false, 0},
    {"long", true, false, 8, 1, 0x7fffffffffffffffull, false, false, 0},
    {"float", true, false, 4, 1, 0, false, false, 0},
    {"double", true, false, 8, 1, 0, false, false, 0},
    {"boolean", true, false, 1, 1, 0, false, false, 0},
    {"date", true, false, 8, 1, 0, false, false, 0},
    {"image", false, true, 0, 0, 0, true, true, 4},
    {"uint24", true, false, 3, 1, 0xffffffull, false, false, 0},
    {"vstring", true, true, 0, 32000, 0, true, false, 0},
    {"image2", false, true, 0, 32000, 0, true, true, 2},
    {"utf8", true, true, 0, 32000, 0, true, false, 0},
    {"cmdate", true, false, 8, 1, 0, false, false, 0},
    {"uint48", true, false, 6, 1, 0xffffffffffffull, false, false, 0},
    {"cstring", false, true, 0, 32000, 0, true, false, 0},
};

// The row of a type code; null for codes past the table. Inline: every field
// access asks it.
inline const btFieldTypeInfo* btFieldTypeOf(uint32_t type) {
  return type < BT_FIELD_TYPE_COUNT ? &btFieldTypeTable[type] : nullptr;
}
// Code of a type name (exact spelling), or -1.
int32_t btFieldTypeByName(const char* name);

inline bool btFieldTypeIsVariable(uint32_t type) {
  const btFieldTypeInfo* t = btFieldTypeOf(type);
  return t && t->variable;
}
// Bytes a fixed field occupies: `size` for "uchar" and "char", the width
// otherwise.
inline uint32_t btFieldFixedBytes(uint32_t type, uint32_t size) {
  if (type == BT_FIELD_UCHAR || type == BT_FIELD_CHAR) return size;
  const btFieldTypeInfo* t = btFieldTypeOf(type);
  return t ? t->width : 0;
}
