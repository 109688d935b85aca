// cmKeyIterator<K, Inner>: walks a map's iterator and yields only the keys;
// what the key sets hand out as their iterator. Holds the map iterator by
// value; the map must outlive it.
#pragma once

#include "runtime/cmCollection.h"

template <class K, class Inner>
class cmKeyIterator : public cmIterator<K> {
 public:
  template <class... Args>
  explicit cmKeyIterator(const Args&... args) : inner_(args...) {}
  void reset() override { inner_.reset(); }
  bool moveNext() override { return inner_.moveNext(); }
  const K& current() const override { return inner_.current().key; }
  bool isValid() const override { return inner_.isValid(); }

 private:
  Inner inner_;
};
