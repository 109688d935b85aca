// cmDictionarySet<K>: a hash set of keys, the keyless form of cmDictionary
// with the same buckets, growth and hooks (it is one underneath, with an
// empty value). Owns copies of its keys. Not thread-safe; owners lock.
#pragma once

#include "runtime/cmKeyIterator.h"
#include "runtime/cmDictionary.h"

template <class K>
class cmDictionarySet : public cmI_DictionarySet<K> {
 public:
  using Map = cmDictionary<K, cmNoValue>;

  bool insert(const K& key, bool replace) override {
    bool existed = false;
    map_.add(key, replace, &existed);
    return !existed;
  }
  const K* find(const K& key) const override { return map_.findKey(key); }
  bool remove(const K& key) override { return map_.remove(key); }

  int64_t count() const override { return map_.count(); }
  void add(const K& key) override { insert(key, false); }
  void clear(bool freeStorage) override { map_.clear(freeStorage); }
  bool contains(const K& key) const override { return map_.findKey(key) != nullptr; }
  void copyTo(cmI_Collection<K>& target, bool clearFirst) const override {
    if (clearFirst) target.clear(false);
    map_.forEach([&](const K& key, const cmNoValue&) { target.add(key); });
  }
  void reserve(int64_t count, bool extendSize) override { map_.reserve(count, extendSize); }

  class const_iterator : public cmKeyIterator<K, typename Map::const_iterator> {
   public:
    explicit const_iterator(const cmDictionarySet& set) : cmKeyIterator<K, typename Map::const_iterator>(set.map_) {}
  };
  std::unique_ptr<cmIterator<K>> iterator() const override {
    return std::unique_ptr<cmIterator<K>>(new const_iterator(*this));
  }

  template <class F>
  void forEach(F&& fn) const {
    map_.forEach([&](const K& key, const cmNoValue&) { fn(key); });
  }

  int32_t rehash(int64_t newBucketCount = 0) { return map_.rehash(newBucketCount); }
  int32_t setBucketCount(int64_t buckets, bool autoRehash) { return map_.setBucketCount(buckets, autoRehash); }
  void setHashFunction(typename Map::HashFunction fn, void* context) { map_.setHashFunction(fn, context); }
  void setCompareFunction(typename Map::CompareFunction fn, void* context) { map_.setCompareFunction(fn, context); }
  int64_t bucketCount() const { return map_.bucketCount(); }

 private:
  Map map_;
};
