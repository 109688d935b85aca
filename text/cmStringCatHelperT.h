// cmStringCatHelperT: one node of an unevaluated concatenation. An
// expression a + b + c over strings, literals and thin strings builds a tree
// of these nodes on the stack; the string that receives it measures the whole
// tree, reserves once and appends left to right. Nodes point at their
// operands and so live only until the end of the full expression: assign the
// result to a string, never keep a node. Stateless otherwise; thread-neutral.
//
// Operand kinds:
//   1 zero-terminated text     2 cmUserDefinedStringLiteral
//   3 cmStringT, inline 30     4 cmStringT, inline 254
//   5 cmThinStringT            6 helper, inline 30     7 helper, inline 254
// A null left pointer contributes nothing; a null right pointer ends the node.
#pragma once

#include <cstdint>
#include <cstring>

#include "text/cmStringT.h"
#include "text/cmThinStringT.h"
#include "text/cmUserDefinedStringLiteral.h"

template <typename CharT, int Encoding, int N>
struct cmStringCatHelperT {
  int32_t leftKind;
  int32_t rightKind;
  const void* left;
  const void* right;

  // Bytes the whole tree adds.
  int64_t catMeasure() const { return measure(leftKind, left) + measure(rightKind, right); }
  // Writes the whole tree at out; returns the end.
  char* catWrite(char* out) const { return write(rightKind, right, write(leftKind, left, out)); }

  cmStringT<CharT, Encoding, N> toString() const { return cmStringT<CharT, Encoding, N>(*this); }

 private:
  static int64_t measure(int32_t kind, const void* p) {
    if (!p) return 0;
    switch (kind) {
      case 1: return static_cast<int64_t>(std::strlen(static_cast<const char*>(p)));
      case 2: return static_cast<const cmUserDefinedStringLiteral<char>*>(p)->length;
      case 3: return static_cast<const cmStringT<CharT, 1, 30>*>(p)->length();
      case 4: return static_cast<const cmStringT<CharT, 1, 254>*>(p)->length();
      case 5: return static_cast<const cmThinStringT<CharT, 1>*>(p)->length();
      case 6: return static_cast<const cmStringCatHelperT<CharT, 1, 30>*>(p)->catMeasure();
      case 7: return static_cast<const cmStringCatHelperT<CharT, 1, 254>*>(p)->catMeasure();
      default: return 0;
    }
  }
  static char* copy(char* out, const char* src, int64_t len) {
    if (len > 0) std::memcpy(out, src, static_cast<size_t>(len));
    return out + (len > 0 ? len : 0);
  }
  static char* write(int32_t kind, const void* p, char* out) {
    if (!p) return out;
    switch (kind) {
      case 1: {
        const char* s = static_cast<const char*>(p);
        return copy(out, s, static_cast<int64_t>(std::strlen(s)));
      }
      case 2: {
        auto* l = static_cast<const cmUserDefinedStringLiteral<char>*>(p);
        return copy(out, l->text, l->length);
      }
      case 3: {
        auto* s = static_cast<const cmStringT<CharT, 1, 30>*>(p);
        return s->isNull() ? out : copy(out, s->data(), s->length());
      }
      case 4: {
        auto* s = static_cast<const cmStringT<CharT, 1, 254>*>(p);
        return s->isNull() ? out : copy(out, s->data(), s->length());
      }
      case 5: {
        auto* s = static_cast<const cmThinStringT<CharT, 1>*>(p);
        return copy(out, s->data(), s->length());
      }
      case 6: return static_cast<const cmStringCatHelperT<CharT, 1, 30>*>(p)->catWrite(out);
      case 7: return static_cast<const cmStringCatHelperT<CharT, 1, 254>*>(p)->catWrite(out);
      default: return out;
    }
  }
};

// Operand kinds by type.
template <typename T>
struct cmCatKind;
template <>
struct cmCatKind<const char*> {
  static constexpr int32_t value = 1;
  static const void* ptr(const char* const& p) { return p; }
};
template <>
struct cmCatKind<cmUserDefinedStringLiteral<char>> {
  static constexpr int32_t value = 2;
  static const void* ptr(const cmUserDefinedStringLiteral<char>& p) { return &p; }
};
template <int E, int N>
struct cmCatKind<cmStringT<char, E, N>> {
  static constexpr int32_t value = N == 254 ? 4 : 3;
  static const void* ptr(const cmStringT<char, E, N>& p) { return &p; }
};
template <int E>
struct cmCatKind<cmThinStringT<char, E>> {
  static constexpr int32_t value = 5;
  static const void* ptr(const cmThinStringT<char, E>& p) { return &p; }
};
template <int E, int N>
struct cmCatKind<cmStringCatHelperT<char, E, N>> {
  static constexpr int32_t value = N == 254 ? 7 : 6;
  static const void* ptr(const cmStringCatHelperT<char, E, N>& p) { return &p; }
};

template <int N, typename L, typename R>
cmStringCatHelperT<char, 1, N> cmMakeCat(const L& l, const R& r) {
  return {cmCatKind<L>::value, cmCatKind<R>::value, cmCatKind<L>::ptr(l), cmCatKind<R>::ptr(r)};
}

// string + operand
template <int E1, int N1, int E2, int N2>
cmStringCatHelperT<char, 1, N1> operator+(const cmStringT<char, E1, N1>& a, const cmStringT<char, E2, N2>& b) {
  return cmMakeCat<N1>(a, b);
}
template <int E, int N>
cmStringCatHelperT<char, 1, N> operator+(const cmStringT<char, E, N>& a, const char* b) {
  return cmMakeCat<N>(a, b);
}
template <int E, int N>
cmStringCatHelperT<char, 1, N> operator+(const char* a, const cmStringT<char, E, N>& b) {
  return cmMakeCat<N>(a, b);
}
template <int E, int N>
cmStringCatHelperT<char, 1, N> operator+(const cmStringT<char, E, N>& a, const cmUserDefinedStringLiteral<char>& b) {
  return cmMakeCat<N>(a, b);
}
template <int E, int N, int E2>
cmStringCatHelperT<char, 1, N> operator+(const cmStringT<char, E, N>& a, const cmThinStringT<char, E2>& b) {
  return cmMakeCat<N>(a, b);
}
// node + operand
template <int E, int N, int E2, int N2>
cmStringCatHelperT<char, 1, N> operator+(const cmStringCatHelperT<char, E, N>& a, const cmStringT<char, E2, N2>& b) {
  return cmMakeCat<N>(a, b);
}
template <int E, int N>
cmStringCatHelperT<char, 1, N> operator+(const cmStringCatHelperT<char, E, N>& a, const char* b) {
  return cmMakeCat<N>(a, b);
}
template <int E, int N>
cmStringCatHelperT<char, 1, N> operator+(const cmStringCatHelperT<char, E, N>& a,
                                         const cmUserDefinedStringLiteral<char>& b) {
  return cmMakeCat<N>(a, b);
}
template <int E, int N, int E2>
cmStringCatHelperT<char, 1, N> operator+(const cmStringCatHelperT<char, E, N>& a, const cmThinStringT<char, E2>& b) {
  return cmMakeCat<N>(a, b);
}
template <int E, int N, int E2, int N2>
cmStringCatHelperT<char, 1, N> operator+(const cmStringCatHelperT<char, E, N>& a,
                                         const cmStringCatHelperT<char, E2, N2>& b) {
  return cmMakeCat<N>(a, b);
}
