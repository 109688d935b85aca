// Typed access to the fields of a record: text, dates, numbers and nulls.
//
// "date" fields, 8 bytes:
//
//   OFFSET  SIZE  MEANING
//   0       2     year
//   2       2     month in bits 11-15, day in bits 6-10, hour in bits 0-5
//   4       1     time zone in quarter hours: (46800 - seconds west of UTC) / 900,
//                 plus 128 when the zone has daylight saving
//   5       1     minute
//   6       2     milliseconds within the minute: seconds * 1000 + milliseconds
//
// "cstring" fields: a value shorter than 32 bytes is stored as it is. From
// 32 bytes on it is compressed (zlib, level 7):
//
//   OFFSET  SIZE  MEANING
//   0       2     original length
//   2       ...   zlib stream; the whole is padded with zeros to at least 32 bytes
//
// so a stored length of 32 or more always means compressed.
#include <zlib.h>

#include <cmath>
#include <cstring>

#include "database/btFieldType.h"
#include "database/btStatus.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"
#include "platform/cmPlatform.h"
#include "runtime/cmAlloc.h"
#include "text/cmDateParts.h"

namespace {

constexpr uint32_t kCompressFrom = 32;
constexpr uint32_t kCompressLimit = 65000;
constexpr int kCompressLevel = 7;

const btFieldDefinition* fieldOf(const btStoredRecord* r, uint32_t field) {
  if (!r || !r->table) return nullptr;
  return r->table->field(field);
}

// The run-time library's zone globals: the standard offset and whether the
// zone knows daylight saving, read once from two dates half a year apart.
struct ZoneGlobals {
  int64_t secondsWest = 0;
  bool daylight = false;
  ZoneGlobals() {
    // 15 January and 15 July 2021, noon UTC.
    int64_t winter = platform::localOffsetSeconds(1610712000);
    int64_t summer = platform::localOffsetSeconds(1626350400);
    int64_t standard = winter < summer ? winter : summer;
    secondsWest = -standard;
    daylight = winter != summer;
  }
};

uint8_t zoneByte() {
  static const ZoneGlobals zone;
  return static_cast<uint8_t>((46800 - zone.secondsWest) / 900 + (zone.daylight ? 128 : 0));
}

// Writes a variable field's encoding: prefix and bytes.
int32_t storeVariable(btStoredRecord* r, uint32_t field, uint32_t prefix, const void* bytes,
                      uint32_t length, bool trailingNul = false) {
  int32_t status = 0;
  uint32_t total = prefix + length + (trailingNul ? 1 : 0);
  uint8_t* p = resizeField(r, field, total, &status);
  if (status < 0) return status;
  if (!p) return 0;
  if (prefix == 1) p[0] = static_cast<uint8_t>(length);
  if (prefix == 2) btPut16(p, static_cast<uint16_t>(length));
  if (prefix == 4) btPut32(p, length);
  if (length) std::memcpy(p + prefix, bytes, length);
  if (trailingNul) p[prefix + length] = 0;
  return 0;
}

int32_t storeCompressed(btStoredRecord* r, uint32_t field, const char* text, uint32_t length) {
  if (length < kCompressFrom) return storeVariable(r, field, 0, text, length);
  if (length > kCompressLimit) length = kCompressLimit;
  uLongf room = length + 128;
  uint8_t* buffer = static_cast<uint8_t*>(cmAlloc(room + 2));
  if (!buffer) return BT_STATUS_NO_MEMORY;
  int z = compress2(buffer + 2, &room, reinterpret_cast<const Bytef*>(text), length, kCompressLevel);
  if (z != Z_OK) {
    cmFree(buffer);
    return BT_STATUS_COMPRESSION_FAILED;
  }
  btPut16(buffer, static_cast<uint16_t>(length));
  uint32_t stored = static_cast<uint32_t>(room) + 2;
  int32_t status = 0;
  uint32_t total = stored < kCompressFrom ? kCompressFrom : stored;
  uint8_t* p = resizeField(r, field, total, &status);
  if (p) {
    std::memcpy(p, buffer, stored);
    std::memset(p + stored, 0, total - stored);
  }
  cmFree(buffer);
  return status;
}

}  // namespace


int32_t getText(const btStoredRecord* r, uint32_t field, tolvane::TVString* string) {
  string->makeNull();
  const btFieldDefinition* f = fieldOf(r, field);
  if (!f) return BT_STATUS_BAD_FIELD;
  if (!btFieldTypeOf(f->type)->text) return 0;
  btFieldValue v;
  if (!getFieldData(r, field, &v)) return 0;
  const char* data = reinterpret_cast<const char*>(v.data);
  if (f->type != BT_FIELD_CSTRING || v.length < kCompressFrom) {
    string->assign(data, v.length);
    return 0;
  }
  uLongf original = btGet16(v.data);
  uint8_t* buffer = static_cast<uint8_t*>(cmAlloc(original + 1));
  if (!buffer) return BT_STATUS_NO_MEMORY;
  uLongf produced = original;
  int z = uncompress(buffer, &produced, v.data + 2, v.length - 2);
  if (z != Z_OK || produced != original) {
    cmFree(buffer);
    return BT_STATUS_COMPRESSION_FAILED;
  }
  string->assign(reinterpret_cast<const char*>(buffer), produced);
  cmFree(buffer);
  return 0;
}

int32_t getDate(const btStoredRecord* r, uint32_t field, cmDateStamp* date) {
  *date = 0;
  const btFieldDefinition* f = fieldOf(r, field);
  if (!f) return BT_STATUS_BAD_FIELD;
  if (f->type != BT_FIELD_DATE && f->type != BT_FIELD_CMDATE) return BT_STATUS_WRONG_FIELD_TYPE;
  const uint8_t* p = fieldAddress(r, field);
  if (!p) return 0;
  if (f->type == BT_FIELD_CMDATE) {
    *date = btGet64(p);
    return 0;
  }
  uint32_t year = btGet16(p);
  uint16_t mdh = btGet16(p + 2);
  uint32_t ms = btGet16(p + 6);
  cmDateParts parts = cmDateParts::make(year, mdh >> 11, (mdh >> 6) & 31, mdh & 63, p[5], ms / 1000,
                                        (ms % 1000) * 1000);
  *date = year ? parts.toStampLocal() : 0;
  return 0;
}

uint64_t getUnsigned(const btStoredRecord* r, uint32_t field) {
  const btFieldDefinition* f = fieldOf(r, field);
  if (!f || btFieldTypeIsVariable(f->type)) return 0;
  const uint8_t* p = fieldAddress(r, field);
  if (!p) return 0;
  uint32_t width = btFieldTypeOf(f->type)->width;
  uint64_t value = 0;
  for (uint32_t i = 0; i < width && i < 8; i++) value |= static_cast<uint64_t>(p[i]) << (8 * i);
  return value;
}

bool isNull(const btStoredRecord* r, uint32_t field) {
  const btFieldDefinition* f = fieldOf(r, field);
  if (!f) return true;
  const uint8_t* p = fieldAddress(r, field);
  if (!p) return true;
  if (!(f->flags & BT_FIELD_NULLABLE)) return false;
  bool variable = btFieldTypeIsVariable(f->type);
  if (variable && fieldStoredLength(r, field) == 0) return true;
  switch (f->type) {
    case BT_FIELD_STRING: case BT_FIELD_USHORT: case BT_FIELD_SHORT: case BT_FIELD_DATE:
    case BT_FIELD_IMAGE2: case BT_FIELD_CMDATE:
      return btGet16(p) == 0;
    case BT_FIELD_ZSTRING: case BT_FIELD_BSTRING: case BT_FIELD_UCHAR: case BT_FIELD_CHAR:
    case BT_FIELD_BOOLEAN: case BT_FIELD_VSTRING: case BT_FIELD_UTF8: case BT_FIELD_CSTRING:
      return p[0] == 0;
    case BT_FIELD_ISTRING: case BT_FIELD_UINT: case BT_FIELD_INT: case BT_FIELD_IMAGE:
      return btGet32(p) == 0;
    case BT_FIELD_ULONG: case BT_FIELD_LONG:
      return btGet64(p) == 0;
    case BT_FIELD_FLOAT: {
      float v;
      std::memcpy(&v, p, sizeof v);
      return v == 0 || std::isnan(v);
    }
    case BT_FIELD_DOUBLE: {
      double v;
      std::memcpy(&v, p, sizeof v);
      return v == 0 || std::isnan(v);
    }
    default:
      return false;
  }
}

int32_t setText(btStoredRecord* r, uint32_t field, const char* text, size_t length) {
  const btFieldDefinition* f = fieldOf(r, field);
  if (!f) return BT_STATUS_BAD_FIELD;
  const btFieldTypeInfo* t = btFieldTypeOf(f->type);
  if (!t->text) return BT_STATUS_WRONG_FIELD_TYPE;
  if (!text) return setNull(r, field);
  // A type without a maximum takes a size of 0 as "no limit".
  if (f->size || t->maxLength) length = length < f->size ? length : f->size;
  if (f->type == BT_FIELD_BSTRING && length > 255) length = 255;
  if ((f->type == BT_FIELD_STRING || f->type == BT_FIELD_IMAGE2) && length > 0xFFFF) length = 0xFFFF;
  uint32_t n = static_cast<uint32_t>(length);
  switch (f->type) {
    case BT_FIELD_UCHAR:
    case BT_FIELD_CHAR: {
      int32_t status = 0;
      uint8_t* p = writableFieldAddress(r, field, &status);
      if (!p) return status;
      std::memcpy(p, text, n);
      return 0;
    }
    case BT_FIELD_ZSTRING:
      return storeVariable(r, field, 0, text, n, true);
    case BT_FIELD_CSTRING:
      return storeCompressed(r, field, text, n);
    default:
      return storeVariable(r, field, t->prefix, text, n);
  }
}

int32_t setText(btStoredRecord* r, uint32_t field, const tolvane::TVString& string) {
  if (string.isNull()) return setText(r, field, nullptr, 0);
  return setText(r, field, string.data(), static_cast<size_t>(string.length()));
}

int32_t setUnsigned(btStoredRecord* r, uint32_t field, uint32_t value) {
  const btFieldDefinition* f = fieldOf(r, field);
  if (!f) return BT_STATUS_BAD_FIELD;
  if (f->type != BT_FIELD_UINT) return BT_STATUS_WRONG_FIELD_TYPE;
  return setFixedBits(r, field, value);
}

int32_t setFixedBits(btStoredRecord* r, uint32_t field, uint64_t bits) {
  const btFieldDefinition* f = fieldOf(r, field);
  if (!f) return BT_STATUS_BAD_FIELD;
  if (btFieldTypeIsVariable(f->type)) return BT_STATUS_WRONG_FIELD_TYPE;
  int32_t status = 0;
  uint8_t* p = writableFieldAddress(r, field, &status);
  if (!p) return status;
  uint32_t width = btFieldTypeOf(f->type)->width;
  for (uint32_t i = 0; i < width && i < 8; i++) p[i] = static_cast<uint8_t>(bits >> (8 * i));
  return 0;
}

int32_t setDate(btStoredRecord* r, uint32_t field, cmDateStamp date) {
  const btFieldDefinition* f = fieldOf(r, field);
  if (!f) return BT_STATUS_BAD_FIELD;
  if (f->type != BT_FIELD_DATE && f->type != BT_FIELD_CMDATE) return BT_STATUS_WRONG_FIELD_TYPE;
  int32_t status = 0;
  uint8_t* p = writableFieldAddress(r, field, &status);
  if (!p) return status;
  if (f->type == BT_FIELD_CMDATE) {
    btPut64(p, date);
    return 0;
  }
  cmDateParts parts = cmDateParts::fromStampLocal(date);
  btPut16(p, static_cast<uint16_t>(parts.year()));
  btPut16(p + 2, static_cast<uint16_t>((parts.month() << 11) | (parts.day() << 6) | parts.hour()));
  p[4] = zoneByte();
  p[5] = static_cast<uint8_t>(parts.minute());
  btPut16(p + 6, static_cast<uint16_t>(parts.second() * 1000 + parts.microsecond() / 1000));
  return 0;
}

int32_t setNull(btStoredRecord* r, uint32_t field) {
  const btFieldDefinition* f = fieldOf(r, field);
  if (!f) return BT_STATUS_BAD_FIELD;
  int32_t status = 0;
  if (btFieldTypeIsVariable(f->type)) {
    resizeField(r, field, 0, &status);
    return status;
  }
  if (!(f->flags & BT_FIELD_NULLABLE)) return BT_STATUS_NOT_NULLABLE;
  uint8_t* p = writableFieldAddress(r, field, &status);
  if (!p) return status;
  std::memset(p, 0, btFieldFixedBytes(f->type, f->size));
  return 0;
}
