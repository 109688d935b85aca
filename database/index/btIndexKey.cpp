#include "database/index/btIndexKey.h"

#include <cmath>
#include <bit>
#include <cstring>

#include "database/btFieldType.h"
#include "database/btIndexDefinition.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"
#include "database/btDatabase.h"
#include "text/cmCaseTable.h"
#include "text/cmDateParts.h"

namespace {

constexpr uint32_t P1 = 0x9E3779B1u;
constexpr uint32_t P2 = 0x85EBCA77u;
constexpr uint32_t P3 = 0xC2B2AE3Du;
constexpr uint32_t P4 = 0x27D4EB2Fu;
constexpr uint32_t P5 = 0x165667B1u;  // 374761393
constexpr uint32_t kFoldMask = 0xDFDFDFDFu;
constexpr uint32_t kHighBits = 0x80808080u;

inline uint32_t rotl(uint32_t x, int r) { return (x << r) | (x >> (32 - r)); }

// Little-endian word at any alignment; memcpy makes the aligned and the
// unaligned path one and the same.
inline uint32_t word(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  v = __builtin_bswap32(v);
#endif
  return v;
}

inline uint32_t round32(uint32_t acc, uint32_t input) { return rotl(acc + input * P2, 13) * P1; }
inline uint32_t byteRound(uint32_t h, uint32_t c) { return rotl(h + c * P5, 11) * P1; }

inline uint32_t avalanche(uint32_t h) {
  h ^= h >> 15;
  h *= P2;
  h ^= h >> 13;
  h *= P3;
  h ^= h >> 16;
  return h;
}

enum class Fold { none, bytes, text };

// xxHash32 with seed 0, optionally case-folded (see btIndexKey.h).
uint32_t hash32(const uint8_t* p, size_t length, Fold fold) {
  if (!p) return static_cast<uint32_t>(length) + P5;
  const uint8_t* end = p + length;
  const uint32_t mask = fold == Fold::none ? 0xFFFFFFFFu : kFoldMask;
  bool decode = false;  // a high byte stopped the word loops
  uint32_t h;
  if (length >= 16) {
    uint32_t v1 = P1 + P2, v2 = P2, v3 = 0, v4 = 0u - P1;
    while (end - p >= 16) {
      uint32_t a = word(p), b = word(p + 4), c = word(p + 8), d = word(p + 12);
      if (fold == Fold::text && ((a | b | c | d) & kHighBits)) {
        decode = true;
        break;
      }
      v1 = round32(v1, a & mask);
      v2 = round32(v2, b & mask);
      v3 = round32(v3, c & mask);
      v4 = round32(v4, d & mask);
      p += 16;
    }
    h = decode ? static_cast<uint32_t>(length) + P5
               : rotl(v1, 1) + rotl(v2, 7) + rotl(v3, 12) + rotl(v4, 18) +
                     static_cast<uint32_t>(length);
  } else {
    h = static_cast<uint32_t>(length) + P5;
  }
  if (!decode) {
    while (end - p >= 4) {
      uint32_t v = word(p);
      if (fold == Fold::text && (v & kHighBits)) break;
      h = rotl(h + (v & mask) * P3, 17) * P4;
      p += 4;
    }
  }
  while (p < end) {
    uint32_t c;
    if (fold == Fold::none) {
      c = *p++;
    } else if (fold == Fold::bytes || *p < 0x80) {
      c = cmCaseTable::lower(*p++);
    } else {
      const char* next = cmCaseTable::decodeUtf8(reinterpret_cast<const char*>(p),
                                                 reinterpret_cast<const char*>(end), &c);
      p = reinterpret_cast<const uint8_t*>(next);
      if (c < 0x10000) c = cmCaseTable::lower(c);
    }
    h = byteRound(h, c);
  }
  return avalanche(h);
}

// Up to `limit` bytes of UTF-8 text, lower-cased by code point.
uint32_t lowerUtf8(const uint8_t* data, uint32_t length, uint32_t limit, uint8_t* out,
                   uint32_t outCapacity) {
  if (length > limit) length = limit;
  const char* p = reinterpret_cast<const char*>(data);
  const char* end = p + length;
  uint32_t n = 0;
  while (p < end) {
    uint32_t cp;
    p = cmCaseTable::decodeUtf8(p, end, &cp);
    if (cp == cmCaseTable::kBadSequence) continue;
    char buf[4];
    int w = cmCaseTable::encodeUtf8(cmCaseTable::lower(cp), buf);
    if (n + static_cast<uint32_t>(w) > outCapacity) break;
    std::memcpy(out + n, buf, static_cast<size_t>(w));
    n += static_cast<uint32_t>(w);
  }
  return n;
}

// The first up to four bytes, big-endian and left-justified. With mode 1
// the bytes are signed and added with their sign; below it they are
// lower-cased first.
uint32_t pack4(const uint8_t* p, uint32_t length, int mode) {
  uint32_t v = 0;
  for (uint32_t i = 0; i < 4 && i < length; i++) {
    uint32_t weight = 1u << (24 - 8 * i);
    if (mode >= 1)
      v += static_cast<uint32_t>(static_cast<int32_t>(static_cast<int8_t>(p[i]))) * weight;
    else
      v += static_cast<uint32_t>(btLowerByte(p[i])) * weight;
  }
  return v;
}

uint64_t readUnsigned(const uint8_t* p, uint32_t width) {
  uint64_t v = 0;
  for (uint32_t i = 0; i < width; i++) v |= static_cast<uint64_t>(p[i]) << (8 * i);
  return v;
}

int64_t readSigned(const uint8_t* p, uint32_t width) {
  uint64_t v = readUnsigned(p, width);
  if (width < 8 && ((v >> (8 * width - 1)) & 1)) v |= ~0ull << (8 * width);
  return static_cast<int64_t>(v);
}

double readFloating(const uint8_t* p, uint8_t type) {
  if (type == BT_FIELD_FLOAT) {
    float f;
    std::memcpy(&f, p, 4);
    return f;
  }
  double d;
  std::memcpy(&d, p, 8);
  return d;
}

// Integer part of a value, held inside the range of int64.
int64_t integerPart(double v) {
  if (!(v == v)) return 0;
  if (v >= 9.2e18) return INT64_MAX;
  if (v <= -9.2e18) return INT64_MIN;
  return static_cast<int64_t>(v);
}

// Seconds since 1970 of a stamp.
int64_t stampSeconds(cmDateStamp stamp) {
  return static_cast<int64_t>(stamp / kDateTicksPerSecond) - kDateUnixEpochSeconds;
}

// Calendar seconds of a "date" field, read as local time.
int64_t dateFieldSeconds(const uint8_t* p) {
  uint32_t year = btGet16(p);
  uint16_t w = btGet16(p + 2);
  uint32_t month = w >> 11, day = (w >> 6) & 31, hour = w & 63;
  uint32_t minute = p[5];
  uint32_t second = btGet16(p + 6) / 1000;
  cmDateStamp s = cmDateParts::make(year, month, day, hour, minute, second).toStampLocal();
  return s ? stampSeconds(s) : 0;
}

struct Part {
  const btFieldDefinition* field = nullptr;
  int mode = 1;
  btFieldValue value;
  bool present = false;
};

// Key part `i`; an index without parts uses field 0 in mode 1.
bool keyPart(const btStoredRecord* r, const btIndexDefinition* d, uint32_t i, Part* part) {
  if (!r || !r->table) return false;
  uint32_t field = 0;
  part->mode = 1;
  if (d && d->partCount > 0) {
    field = d->partField(i);
    part->mode = d->partMode(i);
  }
  part->field = r->table->field(field);
  if (!part->field) return false;
  part->present = getFieldData(r, field, &part->value);
  return true;
}

bool isText(uint8_t type) {
  switch (type) {
    case BT_FIELD_STRING: case BT_FIELD_ZSTRING: case BT_FIELD_BSTRING: case BT_FIELD_ISTRING:
    case BT_FIELD_VSTRING: case BT_FIELD_UTF8:
      return true;
    default:
      return false;
  }
}

// The numeric summary shared by the 4-byte form and the hash.
uint32_t floatingSummary(double v) {
  return static_cast<uint32_t>(static_cast<uint64_t>(integerPart(v)) * 10000u);
}

}  // namespace

uint32_t btHashBytes(const void* data, size_t length) {
  return hash32(static_cast<const uint8_t*>(data), length, Fold::none);
}

uint32_t btHashFoldedBytes(const void* data, size_t length) {
  return hash32(static_cast<const uint8_t*>(data), length, Fold::bytes);
}

uint32_t btHashFoldedText(const void* data, size_t length) {
  return hash32(static_cast<const uint8_t*>(data), length, Fold::text);
}

uint32_t btHashLegacy(const void* data, size_t length, int mode) {
  const uint8_t* p = static_cast<const uint8_t*>(data);
  uint32_t h = 0;
  if (!p) return 0;
  for (size_t i = 0; i < length; i++) {
    uint32_t c = (mode == 0 || mode == -2)
                     ? btLowerByte(p[i])
                     : static_cast<uint32_t>(static_cast<int32_t>(static_cast<int8_t>(p[i])));
    h = h * 16 + c;
    uint32_t g = h & 0xF0000000u;
    if (g) h = h ^ (g >> 24) ^ g;
  }
  return h;
}

bool keySummaryIsWide(const btIndexDefinition* d) {
  return d && (d->indexFlags & (BT_INDEX_SUMMARY8 | BT_INDEX_SUMMARY16)) != 0;
}

uint32_t keySummary(const btStoredRecord* r, const btIndexDefinition* d) {
  Part k;
  if (!keyPart(r, d, 0, &k)) return 0;
  const uint8_t* p = k.value.data;
  uint32_t n = k.present ? k.value.length : 0;
  uint8_t type = k.field->type;
  if (!k.present && !isText(type)) return 0;
  switch (type) {
    case BT_FIELD_STRING: case BT_FIELD_ZSTRING: case BT_FIELD_BSTRING: case BT_FIELD_ISTRING:
      return pack4(p, n, k.mode);
    case BT_FIELD_VSTRING: case BT_FIELD_UTF8: {
      if (k.mode > 0) return pack4(p, n, k.mode);
      uint8_t lowered[64];
      uint32_t m = lowerUtf8(p, n, 16, lowered, sizeof lowered);
      return pack4(lowered, m, k.mode);
    }
    case BT_FIELD_UCHAR: {
      uint8_t b[4] = {};
      for (uint32_t i = 0; i < 4 && i < n; i++) b[i] = k.mode < 1 ? btLowerByte(p[i]) : p[i];
      if (n == 0) return 0;
      if (n == 1) return b[0];
      if (n == 2) return b[0] * 256u + b[1];
      if (n == 3) return (b[0] << 16) | (b[1] << 8) | b[2];
      return ((b[0] * 256u + b[1]) * 256u + b[2]) * 128u + (b[3] & 127u);
    }
    case BT_FIELD_CHAR:
      return pack4(p, n, k.mode);
    case BT_FIELD_USHORT:
      return static_cast<uint32_t>(readUnsigned(p, 2));
    case BT_FIELD_SHORT:
      return static_cast<uint32_t>(readSigned(p, 2) + 32768);
    case BT_FIELD_UINT:
      return static_cast<uint32_t>(readUnsigned(p, 4));
    case BT_FIELD_INT:
      // 2^27, not 2^31: stored trees are ordered by this bias.
      return static_cast<uint32_t>(readUnsigned(p, 4)) + 0x8000000u;
    case BT_FIELD_ULONG:
      return static_cast<uint32_t>(readUnsigned(p, 8) >> 32);
    case BT_FIELD_LONG:
      return static_cast<uint32_t>(static_cast<uint64_t>(readSigned(p, 8) >> 32));
    case BT_FIELD_FLOAT: case BT_FIELD_DOUBLE:
      return floatingSummary(readFloating(p, type));
    case BT_FIELD_BOOLEAN:
      return p[0];
    case BT_FIELD_DATE:
      return static_cast<uint32_t>(dateFieldSeconds(p));
    case BT_FIELD_CMDATE: {
      cmDateStamp s = readUnsigned(p, 8);
      return static_cast<uint32_t>(stampSeconds(s));
    }
    case BT_FIELD_UINT24:
      return static_cast<uint32_t>(readUnsigned(p, 3));
    case BT_FIELD_UINT48:
      return static_cast<uint32_t>(readUnsigned(p, 6) >> 16);
    default:
      return 0;
  }
}

namespace {

// The summary of a key whose first part is byte text at least as wide as the
// summary: the part fills it alone, lowered byte by byte where the mode
// folds, zeros past its end. Names and numbers as text, the usual keys, take
// this road; the general walk below gives the same bytes.
// btLowerByte on each of the eight bytes of `w` at once: 0x20 is added to
// the bytes from 'A' to 'Z' and to no other.
uint64_t lowerAsciiLetters(uint64_t w) {
  constexpr uint64_t kOnes = 0x0101010101010101ull;
  constexpr uint64_t kHigh = 0x8080808080808080ull;
  const uint64_t low7 = w & ~kHigh;
  // Bit 7 of each byte: set when the byte's low 7 bits are >= 'A' and
  // <= 'Z', and the byte itself is below 0x80.
  const uint64_t atLeastA = low7 + (0x80 - 'A') * kOnes;
  const uint64_t aboveZ = low7 + (0x80 - 'Z' - 1) * kOnes;
  const uint64_t upper = atLeastA & ~aboveZ & ~w & kHigh;
  return w + (upper >> 2);
}

// The eight bytes as stored in memory, read as a big-endian number.
uint64_t loadBigEndian(uint64_t w) {
  if constexpr (std::endian::native == std::endian::little) return __builtin_bswap64(w);
  return w;
}

bool wideTextSummary(const btStoredRecord* r, const btIndexDefinition* d, uint32_t limit,
                     btKeySummary* out) {
  Part k;
  if (!keyPart(r, d, 0, &k)) return false;
  switch (k.field->type) {
    case BT_FIELD_STRING: case BT_FIELD_ZSTRING: case BT_FIELD_BSTRING: case BT_FIELD_ISTRING:
      break;
    default:
      return false;
  }
  if (k.field->size < limit) return false;
  *out = btWideTextSummary(k.value.data, k.present ? k.value.length : 0, k.mode, limit == 16);
  return true;
}

}  // namespace

btKeySummary btWideTextSummary(const uint8_t* text, uint32_t length, int mode, bool sixteen) {
  const uint32_t limit = sixteen ? 16 : 8;
  uint8_t bytes[16] = {};
  uint32_t n = length < limit ? length : limit;
  if (n) std::memcpy(bytes, text, n);
  uint64_t words[2];
  std::memcpy(words, bytes, sizeof words);
  for (uint64_t& w : words) {
    if (mode < 1) w = lowerAsciiLetters(w);
    // The summary orders as the bytes do: the first byte is the highest.
    w = loadBigEndian(w);
  }
  btKeySummary out;
  out.hi = words[0];
  out.lo = words[1];
  return out;
}

btKeySummary keySummaryWide(const btStoredRecord* r, const btIndexDefinition* d) {
  btKeySummary out;
  if (!r || !d) return out;
  const bool wide16 = (d->indexFlags & BT_INDEX_SUMMARY16) != 0;
  const uint32_t limit = wide16 ? 16 : 8;
  if (wideTextSummary(r, d, limit, &out)) return out;
  uint8_t bytes[16] = {};
  uint32_t used = 0;
  auto putInteger = [&](uint64_t v, uint32_t size) {
    for (uint32_t i = 0; i < size; i++) {
      uint32_t at = used + i;
      if (at < limit) bytes[at] = static_cast<uint8_t>(v >> (8 * (size - 1 - i)));
    }
    used += size;
  };
  auto putWhole = [&](uint64_t v) {
    if (used == 0 || (used == 8 && wide16)) {
      for (uint32_t i = 0; i < 8; i++) bytes[used + i] = static_cast<uint8_t>(v >> (56 - 8 * i));
    }
    used += 8;
  };
  uint32_t parts = d->partCount ? d->partCount : 1;
  if (parts > btIndexDefinition::kMaxParts) parts = btIndexDefinition::kMaxParts;
  for (uint32_t i = 0; i < parts && used < 12; i++) {
    Part k;
    if (!keyPart(r, d, i, &k)) break;
    const uint8_t* p = k.value.data;
    uint8_t type = k.field->type;
    uint8_t zero[8] = {};
    if (!k.present) p = zero;
    bool stop = false;
    switch (type) {
      case BT_FIELD_USHORT: putInteger(readUnsigned(p, 2), 2); break;
      case BT_FIELD_SHORT: putInteger(static_cast<uint64_t>(readSigned(p, 2) + 32768), 2); break;
      case BT_FIELD_UINT: putInteger(readUnsigned(p, 4), 4); break;
      case BT_FIELD_INT:
        putInteger(static_cast<uint32_t>(readUnsigned(p, 4) + 0x80000000u), 4);
        break;
      case BT_FIELD_BOOLEAN: putInteger(p[0], 1); break;
      case BT_FIELD_UINT24: putInteger(readUnsigned(p, 3), 3); break;
      case BT_FIELD_UINT48: putInteger(readUnsigned(p, 6), 6); break;
      case BT_FIELD_ULONG: case BT_FIELD_CMDATE: putWhole(readUnsigned(p, 8)); break;
      case BT_FIELD_LONG:
        putWhole(static_cast<uint64_t>(readSigned(p, 8)) ^ 0x8000000000000000ull);
        break;
      case BT_FIELD_FLOAT: case BT_FIELD_DOUBLE: {
        int64_t part = integerPart(readFloating(p, type));
        putWhole(0x8000000000000000ull - static_cast<uint64_t>(part) * static_cast<uint64_t>(-1000000ll));
        break;
      }
      case BT_FIELD_DATE: {
        uint64_t year = btGet16(p);
        uint16_t w = btGet16(p + 2);
        uint64_t v = 0;
        if (year >= 1 && year <= 9999) {
          uint64_t day = ((year * 100 + (w >> 11)) * 100 + ((w >> 6) & 31));
          uint64_t ms = btGet16(p + 6);
          uint64_t time = ((static_cast<uint64_t>(w & 63) * 100 + p[5]) * 100 + ms / 1000);
          v = day * 1000000000ull + time * 1000 + ms % 1000;
        }
        putWhole(v);
        break;
      }
      case BT_FIELD_STRING: case BT_FIELD_ZSTRING: case BT_FIELD_BSTRING: case BT_FIELD_ISTRING:
      case BT_FIELD_UCHAR: case BT_FIELD_CHAR: case BT_FIELD_VSTRING: case BT_FIELD_UTF8: {
        uint32_t n = k.present ? k.value.length : 0;
        uint8_t lowered[64];
        if ((type == BT_FIELD_VSTRING || type == BT_FIELD_UTF8) && k.mode < 1) {
          n = lowerUtf8(p, n, 16, lowered, sizeof lowered);
          p = lowered;
        }
        uint32_t size = k.field->size;
        for (uint32_t j = 0; j < size && used + j < limit; j++) {
          uint8_t c = j < n ? p[j] : 0;
          bytes[used + j] = k.mode < 1 ? btLowerByte(c) : c;
        }
        used += size;
        break;
      }
      default:
        stop = true;  // images and anything without an order end the walk
        break;
    }
    if (stop) break;
  }
  for (int i = 0; i < 8; i++) {
    out.hi = (out.hi << 8) | bytes[i];
    out.lo = (out.lo << 8) | bytes[8 + i];
  }
  return out;
}

bool btSummariesOrderKeys(const btIndexDefinition* d, const btKeySummary& a,
                          const btKeySummary& b, int* order) {
  // The 4-byte form weighs bytes together; only the wide form keeps them.
  if (!d || d->partCount != 1 || !d->owner || !keySummaryIsWide(d)) return false;
  const btFieldDefinition* f = d->owner->field(d->partField(0));
  if (!f) return false;
  switch (f->type) {
    case BT_FIELD_STRING: case BT_FIELD_ZSTRING: case BT_FIELD_BSTRING: case BT_FIELD_ISTRING:
      break;
    default:
      return false;
  }
  bool folding = d->partMode(0) < 1;
  uint32_t limit = (d->indexFlags & BT_INDEX_SUMMARY16) ? 16 : 8;
  auto byteAt = [](const btKeySummary& s, uint32_t i) {
    uint64_t w = i < 8 ? s.hi : s.lo;
    return static_cast<uint8_t>(w >> (56 - 8 * (i % 8)));
  };
  // Upper case from a lowered byte: what the folding comparison sees.
  auto upper = [](uint8_t c) { return (c >= 'a' && c <= 'z') ? static_cast<uint8_t>(c - 32) : c; };
  for (uint32_t i = 0; i < limit && i < f->size; i++) {
    uint8_t x = byteAt(a, i), y = byteAt(b, i);
    // Past a byte of a multi-byte character the folding comparison walks
    // code points, which bytes do not show.
    if (folding && (x >= 0x80 || y >= 0x80)) return false;
    if (x == y) continue;
    if (folding) {
      x = upper(x);
      y = upper(y);
    }
    *order = x < y ? -1 : 1;
    return true;
  }
  return false;
}

uint32_t keyHashForVersion(const btStoredRecord* r, const btIndexDefinition* d,
                           uint32_t version) {
  // A 32-bit id, the key of every id and cross-reference index, hashes to
  // itself: read in place, without the general field access.
  if (version >= 2400 && r && r->table && r->image) {
    uint32_t field = d && d->partCount > 0 ? d->partField(0) : 0;
    const btFieldDefinition* f = r->table->field(field);
    if (f && (f->type == BT_FIELD_UINT || f->type == BT_FIELD_INT)) {
      const uint8_t* p = fieldAddress(r, field);
      return p ? static_cast<uint32_t>(readUnsigned(p, 4)) : 0;
    }
  }
  Part k;
  if (!keyPart(r, d, 0, &k)) return 0;
  const uint8_t* p = k.present ? k.value.data : nullptr;
  uint32_t n = k.present ? k.value.length : 0;
  uint8_t type = k.field->type;
  if (version < 2400) return btHashLegacy(p, n, k.mode);
  bool folded = k.mode == 0 || k.mode == -2;
  if (isText(type)) return folded ? btHashFoldedText(p, n) : btHashBytes(p, n);
  if (type == BT_FIELD_UCHAR || type == BT_FIELD_CHAR)
    return folded ? btHashFoldedBytes(p, n) : btHashBytes(p, n);
  if (!p) return 0;
  switch (type) {
    case BT_FIELD_USHORT: return static_cast<uint32_t>(readUnsigned(p, 2));
    case BT_FIELD_SHORT: return static_cast<uint32_t>(readSigned(p, 2));
    case BT_FIELD_UINT: case BT_FIELD_INT: return static_cast<uint32_t>(readUnsigned(p, 4));
    case BT_FIELD_ULONG: case BT_FIELD_LONG:
      return static_cast<uint32_t>(readUnsigned(p, 8)) & 0x7FFFFFFFu;
    case BT_FIELD_FLOAT: case BT_FIELD_DOUBLE: return floatingSummary(readFloating(p, type));
    case BT_FIELD_BOOLEAN: return p[0];
    case BT_FIELD_DATE: return static_cast<uint32_t>(dateFieldSeconds(p));
    case BT_FIELD_CMDATE: return static_cast<uint32_t>(stampSeconds(readUnsigned(p, 8)));
    case BT_FIELD_UINT24: return static_cast<uint32_t>(readUnsigned(p, 3));
    case BT_FIELD_UINT48: return static_cast<uint32_t>(readUnsigned(p, 6));
    default: return 0;
  }
}

uint32_t keyHash(const btStoredRecord* r, const btIndexDefinition* d) {
  uint32_t version = BT_FORMAT_VERSION;
  if (r && r->table && r->table->database) version = r->table->database->header().version;
  return keyHashForVersion(r, d, version);
}
