// The interface tree of the foundation's containers. Every container is a
// cmI_Collection of its element type and hands out iterators over it; the
// keyed kinds add cmI_Dictionary (elements are cmKeyValuePair) or
// cmI_DictionarySet (elements are keys).
//
// Iterators start before the first element: call moveNext() before
// current(). Any change of a container leaves its iterators undefined.
// Iterators handed out by iterator() belong to the caller. Nothing here is
// thread-safe; owners lock.
#pragma once

#include <cstdint>
#include <memory>

#include "runtime/cmKeyValuePair.h"
#include "runtime/cmMemory.h"

template <class E>
class cmI_Enumerator : public cmMemory {
 public:
  virtual ~cmI_Enumerator() = default;
  virtual bool moveNext() = 0;
  virtual const E& current() const = 0;
  virtual void reset() = 0;
};

template <class E>
class cmIterator : public cmI_Enumerator<E> {
 public:
  ~cmIterator() override = default;
  void reset() override = 0;
  bool moveNext() override = 0;
  const E& current() const override = 0;
  // Whether current() may be called.
  virtual bool isValid() const = 0;
};

template <class E>
class cmI_Enumerable : public cmMemory {
 public:
  virtual ~cmI_Enumerable() = default;
  virtual std::unique_ptr<cmI_Enumerator<E>> enumerator() const = 0;
};

template <class E>
class cmI_Collection : public cmI_Enumerable<E> {
 public:
  ~cmI_Collection() override = default;
  virtual int64_t count() const = 0;
  virtual bool isEmpty() const { return count() == 0; }
  virtual bool hasElements() const { return count() > 0; }
  virtual void add(const E& element) = 0;
  virtual void addCopy(const E& element) { add(element); }
  // With freeStorage the container also gives back its memory.
  virtual void clear(bool freeStorage) = 0;
  virtual bool contains(const E& element) const = 0;
  // Adds every element to `target`, after emptying it when clearFirst.
  virtual void copyTo(cmI_Collection<E>& target, bool clearFirst) const = 0;
  // Makes room for `count` elements; with extendSize an array also takes
  // that size.
  virtual void reserve(int64_t count, bool extendSize) = 0;
  virtual std::unique_ptr<cmIterator<E>> iterator() const = 0;

  std::unique_ptr<cmI_Enumerator<E>> enumerator() const override { return iterator(); }
};

template <class K, class V>
class cmI_Dictionary : public cmI_Collection<cmKeyValuePair<K, V>> {
 public:
  // Returns the value slot of `key`. *existed tells whether the key was
  // present. A present key is left alone unless `replace`, which overwrites
  // the stored key and, when given, the value; an absent key is added with
  // `value` or a default value.
  virtual V& add(const K& key, bool replace, bool* existed = nullptr, const V* value = nullptr) = 0;
  virtual V* find(const K& key) = 0;
  virtual const V* find(const K& key) const = 0;
  virtual bool remove(const K& key) = 0;
  bool containsKey(const K& key) const { return find(key) != nullptr; }

  using cmI_Collection<cmKeyValuePair<K, V>>::add;
};

template <class K>
class cmI_DictionarySet : public cmI_Collection<K> {
 public:
  // Adds `key`; returns false when an equal key was present, which is then
  // overwritten only with `replace`.
  virtual bool insert(const K& key, bool replace) = 0;
  virtual const K* find(const K& key) const = 0;
  virtual bool remove(const K& key) = 0;
};
