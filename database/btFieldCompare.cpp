#include "database/btFieldCompare.h"

#include <cstring>

#include "database/btFieldType.h"
#include "database/btIndexDefinition.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"
#include "text/cmCaseTable.h"
#include "text/cmStringCompare.h"

namespace {

int sign(int64_t v) { return v < 0 ? -1 : (v > 0 ? 1 : 0); }

template <typename T>
int order(T a, T b) {
  return a < b ? -1 : (b < a ? 1 : 0);
}

// Floating order; values that are not ordered count as greater.
template <typename T>
int floatOrder(T a, T b) {
  if (a < b) return -1;
  if (a > b) return 1;
  if (a == b) return 0;
  return 1;
}

int bytesOrder(const void* a, uint32_t alen, const void* b, uint32_t blen) {
  return sign(cmStringCompare::bytes(static_cast<const char*>(a), alen,
                                     static_cast<const char*>(b), blen));
}

int64_t signedValue(const uint8_t* p, uint32_t width) {
  uint64_t v = 0;
  for (uint32_t i = 0; i < width; i++) v |= static_cast<uint64_t>(p[i]) << (8 * i);
  if (width < 8 && (v >> (8 * width - 1)) & 1) v |= ~0ull << (8 * width);
  return static_cast<int64_t>(v);
}

uint64_t unsignedValue(const uint8_t* p, uint32_t width) {
  uint64_t v = 0;
  for (uint32_t i = 0; i < width; i++) v |= static_cast<uint64_t>(p[i]) << (8 * i);
  return v;
}

// One byte of a "uchar" or "char" field of size 1.
int compareByte(uint8_t a, uint8_t b, bool isSigned, int mode) {
  int64_t ea = isSigned ? static_cast<int8_t>(a) : a;
  int64_t eb = isSigned ? static_cast<int8_t>(b) : b;
  if (mode >= 1) return order(ea, eb);
  int64_t fa = ea < 0 ? ea : cmCaseTable::fold(static_cast<uint32_t>(ea));
  int64_t fb = eb < 0 ? eb : cmCaseTable::fold(static_cast<uint32_t>(eb));
  int r = order(fa, fb);
  if (r || mode == 0) return r;
  return order(ea, eb);
}

uint32_t atMost(uint32_t length, uint32_t limit) { return length < limit ? length : limit; }

int compareUtf8(const char* a, uint32_t alen, const char* b, uint32_t blen, int mode) {
  if (mode < 1) {
    int r = sign(cmStringCompare::folded(a, alen, b, blen));
    if (r || mode == 0) return r;
    if (mode == -2 && cmStringCompare::fileNames(a, alen, b, blen, true) == 0) return 0;
  }
  return bytesOrder(a, alen, b, blen);
}

}  // namespace

int compareTextByMode(const char* a, uint32_t alen, const char* b, uint32_t blen, int mode) {
  if (mode >= 1) return bytesOrder(a, alen, b, blen);
  // The same bytes are equal in every mode; a lookup that finds its row
  // compares equal texts, and need not fold them.
  if (alen == blen && std::memcmp(a, b, alen) == 0) return 0;
  int r = sign(cmStringCompare::folded(a, alen, b, blen));
  if (r || mode == 0) return r;
  return bytesOrder(a, alen, b, blen);
}

int compareField(const btStoredRecord* a, const btStoredRecord* b, uint32_t field, int mode) {
  if (a == b) return 0;
  const btFieldDefinition* f = a->table ? a->table->field(field) : nullptr;
  if (!f) return 0;
  btFieldValue va, vb;
  bool pa = getFieldData(a, field, &va);
  bool pb = getFieldData(b, field, &vb);
  if (!pa || !pb) return pa == pb ? 0 : (pa ? 1 : -1);
  const char* ta = reinterpret_cast<const char*>(va.data);
  const char* tb = reinterpret_cast<const char*>(vb.data);
  const uint8_t* x = va.data;
  const uint8_t* y = vb.data;
  uint32_t size = f->size;
  switch (f->type) {
    case BT_FIELD_STRING:
    case BT_FIELD_BSTRING:
    case BT_FIELD_ISTRING:
    case BT_FIELD_ZSTRING:
    case BT_FIELD_VSTRING:
      return compareTextByMode(ta, atMost(va.length, size), tb, atMost(vb.length, size), mode);
    case BT_FIELD_IMAGE:
    case BT_FIELD_IMAGE2:
      return bytesOrder(x, va.length, y, vb.length);
    case BT_FIELD_UCHAR:
      if (size == 1) return compareByte(x[0], y[0], false, mode);
      if (mode < 1) {
        int r = sign(cmStringCompare::folded(ta, size, tb, size));
        if (r || mode == 0) return r;
      }
      return sign(std::memcmp(x, y, size));
    case BT_FIELD_CHAR:
      if (size == 1) return compareByte(x[0], y[0], true, mode);
      return compareTextByMode(ta, size, tb, size, mode);
    case BT_FIELD_USHORT:
    case BT_FIELD_UINT:
    case BT_FIELD_ULONG:
    case BT_FIELD_UINT24:
    case BT_FIELD_CMDATE:
    case BT_FIELD_UINT48:
    case BT_FIELD_BOOLEAN: {
      uint32_t w = btFieldTypeOf(f->type)->width;
      return order(unsignedValue(x, w), unsignedValue(y, w));
    }
    case BT_FIELD_SHORT:
    case BT_FIELD_INT:
    case BT_FIELD_LONG: {
      uint32_t w = btFieldTypeOf(f->type)->width;
      return order(signedValue(x, w), signedValue(y, w));
    }
    case BT_FIELD_FLOAT: {
      float fa, fb;
      std::memcpy(&fa, x, sizeof fa);
      std::memcpy(&fb, y, sizeof fb);
      return floatOrder(fa, fb);
    }
    case BT_FIELD_DOUBLE: {
      double da, db;
      std::memcpy(&da, x, sizeof da);
      std::memcpy(&db, y, sizeof db);
      return floatOrder(da, db);
    }
    case BT_FIELD_DATE: {
      // Year, the month/day/hour word, minute, milliseconds; not the zone.
      int r = order(btGet16(x), btGet16(y));
      if (!r) r = order(btGet16(x + 2), btGet16(y + 2));
      if (!r) r = order(x[5], y[5]);
      if (!r) r = order(btGet16(x + 6), btGet16(y + 6));
      return r;
    }
    case BT_FIELD_UTF8:
      return compareUtf8(ta, va.length, tb, vb.length, mode);
    default:
      return bytesOrder(x, va.length, y, vb.length);
  }
}

int compareKeys(const btStoredRecord* a, const btStoredRecord* b, const btIndexDefinition* index) {
  if (!index) return 0;
  for (uint32_t i = 0; i < index->partCount && i < btIndexDefinition::kMaxParts; i++) {
    int r = compareField(a, b, index->partField(i), index->partMode(i));
    if (r) return r;
  }
  return 0;
}
