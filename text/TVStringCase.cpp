// TVString: case mapping and reversal, by code points.
#include <cstring>

#include "text/TVString.h"
#include "text/cmCaseTable.h"

namespace tolvane {

namespace {

enum class CaseMode { Upper, Lower, Capital };

// Maps every code point; bad sequences are copied byte for byte.
TVString mapCase(const TVString& s, CaseMode mode) {
  if (s.isNull()) return TVString();
  const char* p = s.data();
  const char* end = p + s.length();
  TVString out(static_cast<uint64_t>(s.length()));
  bool first = true;
  while (p < end) {
    const char* at = p;
    uint32_t cp;
    p = cmCaseTable::decodeUtf8(p, end, &cp);
    if (cp == cmCaseTable::kBadSequence) {
      out.Base::append(at, static_cast<size_t>(p - at));
      first = false;
      continue;
    }
    bool up = mode == CaseMode::Upper || (mode == CaseMode::Capital && first);
    uint32_t mapped = up ? cmCaseTable::upper(cp) : cmCaseTable::lower(cp);
    char buf[4];
    if (mapped == cp) {
      out.Base::append(at, static_cast<size_t>(p - at));  // keep the original bytes
    } else {
      out.Base::append(buf, static_cast<size_t>(cmCaseTable::encodeUtf8(mapped, buf)));
    }
    first = false;
  }
  return out;
}

bool isAscii(const char* p, int64_t n) {
  for (int64_t i = 0; i < n; ++i)
    if (static_cast<unsigned char>(p[i]) >= 0x80) return false;
  return true;
}

}  // namespace

int TVString::upcase() {
  if (isEmpty()) return 0;
  if (isAscii(data(), length())) {
    char* d = getMutableCString();
    for (int64_t i = 0, n = length(); i < n; ++i)
      if (d[i] >= 'a' && d[i] <= 'z') d[i] = static_cast<char>(d[i] - 32);
    return 0;
  }
  *this = mapCase(*this, CaseMode::Upper);
  return 0;
}

int TVString::lowcase() {
  if (isEmpty()) return 0;
  if (isAscii(data(), length())) {
    char* d = getMutableCString();
    for (int64_t i = 0, n = length(); i < n; ++i)
      if (d[i] >= 'A' && d[i] <= 'Z') d[i] = static_cast<char>(d[i] + 32);
    return 0;
  }
  *this = mapCase(*this, CaseMode::Lower);
  return 0;
}

int TVString::capitalize() {
  if (isEmpty()) return 0;
  *this = mapCase(*this, CaseMode::Capital);
  return 0;
}

TVString TVString::toUpcase() const {
  TVString r(*this);
  r.upcase();
  return r;
}

TVString TVString::toLowcase() const {
  TVString r(*this);
  r.lowcase();
  return r;
}

TVString TVString::toCap() const {
  TVString r(*this);
  r.capitalize();
  return r;
}

int TVString::reverse() {
  int64_t len = length();
  if (len < 2) return 0;
  const char* src = data();
  const char* end = src + len;
  TVString out(static_cast<uint64_t>(len));
  char* d = out.makeRoom(static_cast<size_t>(len));
  // Each sequence keeps its byte order; the sequences change places.
  int64_t w = len;
  for (const char* p = src; p < end;) {
    const char* at = p;
    uint32_t cp;
    p = cmCaseTable::decodeUtf8(p, end, &cp);
    int64_t n = p - at;
    w -= n;
    std::memcpy(d + w, at, static_cast<size_t>(n));
  }
  out.setLengthRaw(static_cast<size_t>(len));
  *this = static_cast<TVString&&>(out);
  return 0;
}

TVString TVString::toReverse() const {
  TVString r(*this);
  r.reverse();
  return r;
}

}  // namespace tolvane
