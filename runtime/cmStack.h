// cmStack<E>: a last-in first-out stack on the storage of cmArray (same
// growth, same fatal out-of-memory). Owns copies of its elements.
// Not thread-safe; owners lock.
#pragma once

#include "runtime/cmArray.h"

template <class E>
class cmStack {
 public:
  void push(const E& element) { items_.add(element); }
  void push(E&& element) { items_.append(std::move(element)); }
  // Removes the top element into *out when given; false when empty.
  bool pop(E* out = nullptr) {
    if (items_.size() == 0) return false;
    if (out) *out = std::move(items_.last());
    items_.removeLast();
    return true;
  }
  // The top element; on an empty stack, the array's shared default.
  E& top() { return items_.last(); }
  const E& top() const { return items_[items_.size() - 1]; }
  // Element `depth` below the top (0 is the top).
  E& peek(int64_t depth) { return items_[items_.size() - 1 - depth]; }
  int64_t count() const { return items_.size(); }
  bool isEmpty() const { return items_.size() == 0; }
  void clear(bool freeStorage = false) { items_.clear(freeStorage); }
  void reserve(int64_t count) { items_.reserve(count, false); }
  // Bottom to top.
  const cmArray<E>& items() const { return items_; }

 private:
  cmArray<E> items_;
};
