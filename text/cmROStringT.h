// cmROStringT: a read-only string with the layout of cmStringT, taken by
// functions that only read text. Built from a string it shares that string's
// storage; built from a pointer or a literal it borrows the bytes without
// copying, so the caller's text must outlive it (a parameter temporary does).
// There is no terminated form: readers use data() and length(). Not shared
// between threads.
#pragma once

#include <cstdint>
#include <cstring>

#include "text/cmStringT.h"
#include "text/cmUserDefinedStringLiteral.h"

template <typename CharT, int Encoding, int InlineSize>
class cmROStringT {
 public:
  using String = cmStringT<CharT, Encoding, InlineSize>;

  cmROStringT() = default;
  cmROStringT(const char* text) {  // NOLINT: borrows
    if (text) s_.setExternalBuffer(text, static_cast<int64_t>(std::strlen(text)));
  }
  cmROStringT(const char* text, int64_t len) {
    if (text) s_.setExternalBuffer(text, len);
  }
  cmROStringT(cmUserDefinedStringLiteral<char> lit) {  // NOLINT: borrows
    if (lit.text) s_.setExternalBuffer(lit.text, lit.length);
  }
  cmROStringT(const String& s) : s_(s) {}  // NOLINT: shares
  template <int E2, int N2>
  cmROStringT(const cmStringT<CharT, E2, N2>& s) {  // NOLINT: views
    if (s.isNotNull()) s_.setExternalBuffer(s.data(), s.length());
  }

  bool isNull() const { return s_.isNull(); }
  bool isEmpty() const { return s_.isEmpty(); }
  int64_t length() const { return s_.length(); }
  const char* data() const { return s_.isNull() ? "" : s_.data(); }
  uint32_t hash() const { return s_.hash(); }
  // An owned copy, for callers that must keep the text.
  String toString() const { return s_.isNull() ? String() : String(s_.data(), s_.length()); }
  const String& view() const { return s_; }

 private:
  String s_;
};

using cmROString = cmROStringT<char, 1, 30>;
using cmROPathString = cmROStringT<char, 1, 254>;
static_assert(sizeof(cmROString) == sizeof(cmString), "same layout as the string");
