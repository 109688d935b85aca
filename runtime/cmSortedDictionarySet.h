// cmSortedDictionarySet<K>: an ordered set of keys, the keyless form of
// cmSortedDictionary (one underneath, with an empty value). An equal key
// that is inserted with `replace` overwrites the stored one in place.
// Iteration is in ascending order. Not thread-safe; owners lock.
#pragma once

#include "runtime/cmKeyIterator.h"
#include "runtime/cmSortedDictionary.h"

template <class K>
class cmSortedDictionarySet : public cmI_DictionarySet<K> {
 public:
  using Map = cmSortedDictionary<K, cmNoValue>;

  cmSortedDictionarySet() = default;
  cmSortedDictionarySet(typename Map::CompareFunction compare, void* context) : map_(compare, context) {}

  bool insert(const K& key, bool replace) override {
    bool existed = false;
    map_.add(key, replace, &existed);
    return !existed;
  }
  const K* find(const K& key) const override { return map_.findKey(key); }
  bool remove(const K& key) override { return map_.remove(key); }
  const K* first() const { return map_.first() ? &map_.first()->key : nullptr; }
  const K* last() const { return map_.last() ? &map_.last()->key : nullptr; }
  const K* lowerBound(const K& key) const {
    auto* pair = map_.lowerBound(key);
    return pair ? &pair->key : nullptr;
  }

  int64_t count() const override { return map_.count(); }
  void add(const K& key) override { insert(key, true); }
  void clear(bool freeStorage) override { map_.clear(freeStorage); }
  bool contains(const K& key) const override { return map_.findKey(key) != nullptr; }
  void copyTo(cmI_Collection<K>& target, bool clearFirst) const override {
    if (clearFirst) target.clear(false);
    map_.forEach([&](const K& key, const cmNoValue&) { target.add(key); });
  }
  void reserve(int64_t, bool) override {}

  class const_iterator : public cmKeyIterator<K, typename Map::const_iterator> {
   public:
    explicit const_iterator(const cmSortedDictionarySet& set) : cmKeyIterator<K, typename Map::const_iterator>(set.map_) {}
    const_iterator(const cmSortedDictionarySet& set, const K& from)
        : cmKeyIterator<K, typename Map::const_iterator>(set.map_, from) {}
  };
  std::unique_ptr<cmIterator<K>> iterator() const override {
    return std::unique_ptr<cmIterator<K>>(new const_iterator(*this));
  }

  template <class F>
  void forEach(F&& fn) const {
    map_.forEach([&](const K& key, const cmNoValue&) { fn(key); });
  }
  int verify() const { return map_.verify(); }

 private:
  Map map_;
};
