// cmElementTraits<T>: how the containers hash, compare for equality and
// order their elements and keys. The defaults use, in this order of
// preference: members `uint64_t hash() const` and `int compare(const T&)
// const` that the type supplies (the string classes do, and cache their
// hash); otherwise `==`, `<=>` or `<`, with a mixed integer hash for
// integral, enum and pointer types. A type may instead specialise
// cmElementTraits. Stateless; callable from any thread.
#pragma once

#include <compare>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <type_traits>

template <class T>
concept cmHasHashMember = requires(const T& v) {
  { v.hash() } -> std::convertible_to<uint64_t>;
};

template <class T>
concept cmHasCompareMember = requires(const T& a, const T& b) {
  { a.compare(b) } -> std::convertible_to<int>;
};

// Finaliser of a 64-bit mixing function: spreads sequential keys over all
// bits, so that hash % buckets is even for any bucket count.
constexpr uint64_t cmMixHash(uint64_t x) {
  x ^= x >> 33;
  x *= 0xff51afd7ed558ccdull;
  x ^= x >> 33;
  x *= 0xc4ceb9fe1a85ec53ull;
  x ^= x >> 33;
  return x;
}

template <class T>
struct cmElementTraits {
  static uint64_t hash(const T& v) {
    if constexpr (cmHasHashMember<T>) {
      return uint64_t(v.hash());
    } else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
      return cmMixHash(uint64_t(v));
    } else if constexpr (std::is_pointer_v<T>) {
      return cmMixHash(uint64_t(reinterpret_cast<uintptr_t>(v)));
    } else if constexpr (std::is_floating_point_v<T>) {
      T value = v == T(0) ? T(0) : v;  // +0 and -0 are equal, so hash alike
      uint64_t bits = 0;
      std::memcpy(&bits, &value, sizeof value);
      return cmMixHash(bits);
    } else {
      static_assert(sizeof(T) == 0, "give the key a hash() member or specialise cmElementTraits");
      return 0;
    }
  }

  static bool equal(const T& a, const T& b) {
    if constexpr (std::equality_comparable<T>) {
      return a == b;
    } else if constexpr (cmHasCompareMember<T>) {
      return a.compare(b) == 0;
    } else if constexpr (std::is_trivially_copyable_v<T>) {
      return std::memcmp(&a, &b, sizeof(T)) == 0;
    } else {
      return false;  // no notion of equality: nothing is found by value
    }
  }

  static int compare(const T& a, const T& b) {
    if constexpr (cmHasCompareMember<T>) {
      int c = a.compare(b);
      return c < 0 ? -1 : (c > 0 ? 1 : 0);
    } else if constexpr (std::three_way_comparable<T>) {
      auto c = a <=> b;
      return c < 0 ? -1 : (c > 0 ? 1 : 0);
    } else {
      return a < b ? -1 : (b < a ? 1 : 0);
    }
  }
};
