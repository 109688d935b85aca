// cmUserDefinedStringLiteral: pointer and 64-bit length of a text known at
// compile time, the form in which literals travel between functions. It owns
// nothing, copies freely, and its text needn't be terminated. Thread-neutral.
#pragma once

#include <cstddef>
#include <cstdint>

template <typename CharT>
struct cmUserDefinedStringLiteral {
  const CharT* text = nullptr;
  int64_t length = 0;

  constexpr cmUserDefinedStringLiteral() = default;
  constexpr cmUserDefinedStringLiteral(const CharT* p, int64_t len) : text(p), length(len) {}
  template <size_t N>
  constexpr cmUserDefinedStringLiteral(const CharT (&lit)[N]) : text(lit), length(N - 1) {}  // NOLINT
};

// "abc"_cms gives a literal view with its length known at compile time.
constexpr cmUserDefinedStringLiteral<char> operator""_cms(const char* p, size_t n) {
  return cmUserDefinedStringLiteral<char>(p, static_cast<int64_t>(n));
}
