// cmKeyValuePair: the element of the keyed containers, key first, then
// value. A plain value type; the container that holds it owns it.
#pragma once

#include <utility>

template <class K, class V>
struct cmKeyValuePair {
  K key{};
  V value{};

  cmKeyValuePair() = default;
  cmKeyValuePair(const K& k, const V& v) : key(k), value(v) {}
  cmKeyValuePair(K&& k, V&& v) : key(std::move(k)), value(std::move(v)) {}
};

// The value of the set containers, which keep keys alone.
struct cmNoValue {
  bool operator==(const cmNoValue&) const { return true; }
};
