// TVString: numbers read from text and written as text.
#include <cstdlib>
#include <cstring>
#include <string>

#include "text/TVString.h"

namespace tolvane {

namespace {

const char kBase64Digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
const char kDigits[] = "0123456789abcdefghijklmnopqrstuv";

int digitValue(char c, int base) {
  if (c >= '0' && c <= '9') {
    int v = c - '0';
    if (base == 8 && v > 7) return -1;
    return v;
  }
  if (base == 16) {
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  }
  return -1;
}

int base64Value(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

bool isSuffix(char c) { return c == 'L' || c == 'l' || c == 'U' || c == 'u'; }

int64_t parseDigits(const TVString& s, int64_t& position, int32_t length, const char* terminators, int base) {
  int64_t total = s.length();
  int64_t end = length == -1 ? total : position + length;
  if (end <= 0 || end > total || position < 0 || position >= end) return -1;
  const char* d = s.data();
  // Like the reader, no overflow test: the value wraps in 64 bits.
  uint64_t value = 0;
  int64_t i = position;
  for (; i < end; ++i) {
    int v = digitValue(d[i], base);
    if (v < 0) break;
    value = value * static_cast<uint64_t>(base) + static_cast<uint64_t>(v);
  }
  if (i < end) {
    if (!terminators) return -1;
    if (terminators[0] != '*' && !std::strchr(terminators, d[i])) return -1;
  }
  position = i;
  return static_cast<int64_t>(value);
}

}  // namespace

bool TVString::TVStringToInt64(const char* text, int64_t len, int64_t* result, bool allowSuffix, bool allowSign) {
  if (result) *result = 0;
  if (!text || len <= 0) return false;
  const char* p = text;
  const char* end = text + len;
  bool negative = false;
  if (allowSign && (*p == '-' || *p == '+')) {
    negative = *p == '-';
    ++p;
    if (p == end) return false;
  }
  int base = 10;
  if (*p == '0' && p + 1 < end && (p[1] == 'x' || p[1] == 'X')) {
    base = 16;
    p += 2;
  } else if (*p == '0' && p + 1 < end && p[1] == 'b') {
    base = 2;
    p += 2;
  } else if (*p == '0') {
    base = 8;
    ++p;
  }
  if (p == end && base != 8) return false;
  uint64_t value = 0;
  for (; p < end; ++p) {
    int v = digitValue(*p, base == 2 ? 10 : base);
    if (v < 0) break;
    value = value * static_cast<uint64_t>(base) + static_cast<uint64_t>(v);
  }
  if (static_cast<int64_t>(value) < 0) return false;
  if (p < end) {
    if (!allowSuffix || !isSuffix(*p)) return false;
    int us = 0, ls = 0;
    for (; p < end; ++p) {
      if (*p == 'U' || *p == 'u') {
        if (++us > 1) return false;
      } else if (*p == 'L' || *p == 'l') {
        if (++ls > 2) return false;
      } else {
        return false;
      }
    }
  }
  if (result) *result = negative ? -static_cast<int64_t>(value) : static_cast<int64_t>(value);
  return true;
}

bool TVString::toInt64(int64_t& value, bool allowSuffix, bool allowSign) const {
  return TVStringToInt64(isNull() ? nullptr : data(), length(), &value, allowSuffix, allowSign);
}

int64_t TVString::toInt64(bool allowSuffix, bool allowSign) const {
  int64_t v = 0;
  return toInt64(v, allowSuffix, allowSign) ? v : 0;
}

bool TVString::toInt32(int32_t& value, bool allowSuffix, bool allowSign) const {
  int64_t v = 0;
  bool ok = toInt64(v, allowSuffix, allowSign);
  value = static_cast<int32_t>(v);
  return ok;
}

int32_t TVString::toInt32(bool allowSuffix, bool allowSign) const {
  int32_t v = 0;
  return toInt32(v, allowSuffix, allowSign) ? v : 0;
}

double TVString::toFloat() const {
  int64_t len = length();
  if (len == 0) return 0;
  const char* d = data();
  int64_t i = 0;
  if (d[i] == '-' || d[i] == '+') ++i;
  bool hex = i + 1 < len && d[i] == '0' && d[i + 1] == 'x';
  if (hex) i += 2;
  int base = hex ? 16 : 10;
  int64_t digits = 0;
  while (i < len && digitValue(d[i], base) >= 0) ++i, ++digits;
  if (digits == 0) return 0;
  if (i < len && d[i] == '.') {
    ++i;
    while (i < len && digitValue(d[i], base) >= 0) ++i;
  }
  if (i < len && (hex ? (d[i] == 'p' || d[i] == 'P') : (d[i] == 'e' || d[i] == 'E'))) {
    ++i;
    if (i < len && (d[i] == '-' || d[i] == '+')) ++i;
    int64_t expDigits = 0;
    while (i < len && d[i] >= '0' && d[i] <= '9') ++i, ++expDigits;
    if (expDigits == 0) return 0;
  }
  if (i != len) return 0;
  // The form is checked; the terminated copy goes to the C library.
  const std::string copy(d, static_cast<size_t>(len));
  return std::strtod(copy.c_str(), nullptr);
}

bool TVString::toIntBase64(int64_t& value) const {
  value = 0;
  uint64_t v = 0;
  const char* d = data();
  for (int64_t i = 0, n = length(); i < n; ++i) {
    int x = base64Value(d[i]);
    if (x < 0) return false;
    v = v * 64 + static_cast<uint64_t>(x);
  }
  value = static_cast<int64_t>(v);
  return true;
}

int64_t TVString::parseDecimalInt(int64_t& position, int32_t length, const char* terminators) const {
  return parseDigits(*this, position, length, terminators, 10);
}

int64_t TVString::parseHexInt(int64_t& position, int32_t length, const char* terminators) const {
  return parseDigits(*this, position, length, terminators, 16);
}

int64_t TVString::parseOctalInt(int64_t& position, int32_t length, const char* terminators) const {
  return parseDigits(*this, position, length, terminators, 8);
}

int TVString::appendNumber(long long value, int base) {
  char buf[72];
  int n = 0;
  if (value == 0 || base > 32 || base < 2) {
    return Base::append('0');
  }
  bool negative = value < 0;
  // Digits by the magnitude of each remainder, so the lowest value is safe.
  while (value != 0) {
    long long r = value % base;
    buf[n++] = kDigits[r < 0 ? -r : r];
    value /= base;
  }
  if (negative && base == 10) buf[n++] = '-';
  char out[72];
  for (int i = 0; i < n; ++i) out[i] = buf[n - 1 - i];
  return Base::append(out, static_cast<size_t>(n));
}

int TVString::appendNumber(unsigned long long value, int base) {
  if (value == 0 || base < 2 || (base > 32 && base != 64)) return Base::append('0');
  const char* digits = base == 64 ? kBase64Digits : kDigits;
  char buf[72];
  int n = 0;
  while (value != 0) {
    buf[n++] = digits[value % static_cast<unsigned>(base)];
    value /= static_cast<unsigned>(base);
  }
  char out[72];
  for (int i = 0; i < n; ++i) out[i] = buf[n - 1 - i];
  return Base::append(out, static_cast<size_t>(n));
}

}  // namespace tolvane
