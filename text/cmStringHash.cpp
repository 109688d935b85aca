#include "text/cmStringHash.h"

#include <cstring>

#include "text/cmCaseTable.h"

namespace {

constexpr uint32_t P1 = 0x9E3779B1u;
constexpr uint32_t P2 = 0x85EBCA77u;
constexpr uint32_t P3 = 0xC2B2AE3Du;
constexpr uint32_t P4 = 0x27D4EB2Fu;
constexpr uint32_t P5 = 0x165667B1u;
constexpr uint32_t kMask = 0xDFDFDFDFu;
constexpr uint32_t kHigh = 0x80808080u;

inline uint32_t rotl(uint32_t x, int r) { return (x << r) | (x >> (32 - r)); }

// Little-endian lane; memcpy keeps aligned and unaligned reads equal.
inline uint32_t lane(const unsigned char* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  v = __builtin_bswap32(v);
#endif
  return v;
}

inline uint32_t round32(uint32_t acc, uint32_t input) {
  acc += input * P2;
  acc = rotl(acc, 13);
  return acc * P1;
}

}  // namespace

uint32_t cmHashKey(const char* text, size_t length) {
  if (!text) return 0;
  const unsigned char* p = reinterpret_cast<const unsigned char*>(text);
  const unsigned char* end = p + length;
  uint32_t h;
  bool codePoints = false;

  if (length >= 16) {
    uint32_t v1 = P1 + P2, v2 = P2, v3 = 0, v4 = 0u - P1;
    while (end - p >= 16) {
      uint32_t a = lane(p), b = lane(p + 4), c = lane(p + 8), d = lane(p + 12);
      if ((a | b | c | d) & kHigh) {
        codePoints = true;
        break;
      }
      v1 = round32(v1, a & kMask);
      v2 = round32(v2, b & kMask);
      v3 = round32(v3, c & kMask);
      v4 = round32(v4, d & kMask);
      p += 16;
    }
    if (codePoints)
      h = static_cast<uint32_t>(length) + P5;
    else
      h = rotl(v1, 1) + rotl(v2, 7) + rotl(v3, 12) + rotl(v4, 18) + static_cast<uint32_t>(length);
  } else {
    h = P5 + static_cast<uint32_t>(length);
  }

  if (!codePoints) {
    while (end - p >= 4) {
      uint32_t v = lane(p);
      if (v & kHigh) break;
      h += (v & kMask) * P3;
      h = rotl(h, 17) * P4;
      p += 4;
    }
  }

  while (p < end) {
    uint32_t cp;
    if (*p < 0x80) {
      cp = cmCaseTable::fold(*p);
      ++p;
    } else {
      const char* next = cmCaseTable::decodeUtf8(reinterpret_cast<const char*>(p),
                                                 reinterpret_cast<const char*>(end), &cp);
      p = reinterpret_cast<const unsigned char*>(next);
      if (cp < 0x10000) cp = cmCaseTable::fold(cp);
    }
    h += cp * P5;
    h = rotl(h, 11) * P1;
  }

  h ^= h >> 15;
  h *= P2;
  h ^= h >> 13;
  h *= P3;
  h ^= h >> 16;
  return h;
}

uint32_t cmHashKey(const char* text) { return text ? cmHashKey(text, std::strlen(text)) : 0; }
