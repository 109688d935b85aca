#include "text/cmCaseTable.h"

#include <cstring>

namespace {

struct CaseTables {
  uint16_t up[65536];
  uint16_t low[65536];
  CaseTables() {
    for (uint32_t i = 0; i < 65536; ++i) {
      up[i] = static_cast<uint16_t>(i);
      low[i] = static_cast<uint16_t>(i);
    }
    for (size_t r = 0; cmCaseTableRows[r][0] != 0xFFFFFFFF; ++r) {
      uint32_t cp = cmCaseTableRows[r][0];
      if (cp >= 65536) continue;  // the tables cover the BMP only
      up[cp] = static_cast<uint16_t>(cmCaseTableRows[r][1]);
      low[cp] = static_cast<uint16_t>(cmCaseTableRows[r][2]);
    }
  }
};

const CaseTables& tables() {
  static const CaseTables t;
  return t;
}

}  // namespace

uint32_t cmCaseTable::upper(uint32_t cp) {
  if (cp < 128) return (cp >= 'a' && cp <= 'z') ? cp - 32 : cp;
  return cp < 65536 ? tables().up[cp] : cp;
}

uint32_t cmCaseTable::lower(uint32_t cp) {
  if (cp < 128) return (cp >= 'A' && cp <= 'Z') ? cp + 32 : cp;
  return cp < 65536 ? tables().low[cp] : cp;
}

const char* cmCaseTable::decodeUtf8(const char* p, const char* end, uint32_t* cp) {
  unsigned char b = static_cast<unsigned char>(*p);
  if (b < 0x80) {
    *cp = b;
    return p + 1;
  }
  int extra;
  uint32_t value;
  if ((b & 0xE0) == 0xC0) {
    extra = 1;
    value = b & 0x1F;
  } else if ((b & 0xF0) == 0xE0) {
    extra = 2;
    value = b & 0x0F;
  } else if ((b & 0xF8) == 0xF0) {
    extra = 3;
    value = b & 0x07;
  } else if ((b & 0xFC) == 0xF8) {
    extra = 4;
    value = b & 0x03;
  } else if ((b & 0xFE) == 0xFC) {
    extra = 5;
    value = b & 0x01;
  } else {
    *cp = kBadSequence;
    return p + 1;
  }
  if (end - p <= extra) {
    *cp = kBadSequence;
    return p + 1;
  }
  for (int i = 1; i <= extra; ++i) value = (value << 6) | (static_cast<unsigned char>(p[i]) & 0x3F);
  *cp = value;
  return p + 1 + extra;
}

int cmCaseTable::encodeUtf8(uint32_t cp, char* out) {
  if (cp < 0x80) {
    out[0] = static_cast<char>(cp);
    return 1;
  }
  if (cp < 0x800) {
    out[0] = static_cast<char>(0xC0 | (cp >> 6));
    out[1] = static_cast<char>(0x80 | (cp & 0x3F));
    return 2;
  }
  if (cp < 0x10000) {
    out[0] = static_cast<char>(0xE0 | (cp >> 12));
    out[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out[2] = static_cast<char>(0x80 | (cp & 0x3F));
    return 3;
  }
  if (cp > 0x1FFFFF) cp = 0xFFFD;
  out[0] = static_cast<char>(0xF0 | (cp >> 18));
  out[1] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
  out[2] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
  out[3] = static_cast<char>(0x80 | (cp & 0x3F));
  return 4;
}
