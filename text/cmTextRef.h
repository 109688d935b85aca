// cmTextRef: the one parameter type behind the "text" overloads of the
// string operations. It converts implicitly from every form text takes in
// the foundation (strings of either inline size, read-only strings, thin
// strings, literals, zero-terminated and counted pointers, TVLSTR records,
// concatenations and wide text) and presents pointer, length and null-ness.
// Views borrow; concatenations and wide text are evaluated into a string the
// reference owns. Lives for one call; not shared between threads.
#pragma once

#include <cstdint>
#include <cstring>

#include "text/TVStringTypes.h"
#include "text/cmROStringT.h"
#include "text/cmStringCatHelperT.h"
#include "text/cmStringT.h"
#include "text/cmThinStringT.h"
#include "text/cmUserDefinedStringLiteral.h"

class cmTextRef {
 public:
  cmTextRef(const char* p)  // NOLINT
      : data_(p ? p : ""), length_(p ? static_cast<int64_t>(std::strlen(p)) : 0), null_(!p) {}
  cmTextRef(const char* p, int64_t len)
      : data_(p ? p : ""), length_(p ? (len < 0 ? static_cast<int64_t>(std::strlen(p)) : len) : 0), null_(!p) {}
  cmTextRef(cmUserDefinedStringLiteral<char> l)  // NOLINT
      : data_(l.text ? l.text : ""), length_(l.text ? l.length : 0), null_(!l.text) {}
  template <int E, int N>
  cmTextRef(const cmStringT<char, E, N>& s)  // NOLINT
      : data_(s.isNull() ? "" : s.data()), length_(s.length()), null_(s.isNull()) {}
  template <int E, int N>
  cmTextRef(const cmROStringT<char, E, N>& s)  // NOLINT
      : data_(s.data()), length_(s.length()), null_(s.isNull()) {}
  template <int E>
  cmTextRef(const cmThinStringT<char, E>& s)  // NOLINT
      : data_(s.data()), length_(s.length()), null_(false) {}
  cmTextRef(const TVLSTR* l)  // NOLINT
      : data_(l ? l->text : ""), length_(l ? l->length : 0), null_(!l) {}
  template <int E, int N>
  cmTextRef(const cmStringCatHelperT<char, E, N>& cat) : owned_(cat) {  // NOLINT
    data_ = owned_.data();
    length_ = owned_.length();
  }
  // UTF-16 text (a null pointer is null); converted to UTF-8.
  cmTextRef(const char16_t* wide);  // NOLINT
  cmTextRef(const char16_t* wide, int64_t units);

  cmTextRef(const cmTextRef&) = delete;
  cmTextRef& operator=(const cmTextRef&) = delete;

  const char* data() const { return data_; }
  int64_t length() const { return length_; }
  bool isNull() const { return null_; }
  bool isEmpty() const { return length_ == 0; }

 private:
  void fromWide(const char16_t* wide, int64_t units);

  const char* data_ = "";
  int64_t length_ = 0;
  bool null_ = false;
  cmString owned_;
};
