// cmArray<E>: a growable array that owns and copies its elements.
//
// Storage comes from cmAlloc and goes back to cmFree, unless the array was
// handed external storage (attachExternal): then a buffer info record says
// how to release it, and a "fixed" external buffer is re-copied into owned
// storage on the first growth. Growth doubles past the needed size; memory
// beyond the size is kept zeroed. Running out of memory (-102692) and a
// capacity beyond what can be addressed (-102634) are fatal.
//
// Indexing past the end does not fail: it yields a shared default element
// (one per thread and element type) that reads as a zeroed E and absorbs
// writes. Not thread-safe; owners lock.
#pragma once

#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include "runtime/cmAlloc.h"
#include "runtime/cmCollection.h"
#include "runtime/cmElementTraits.h"
#include "runtime/cmErrors.h"
#include "runtime/cmFatal.h"

// Moves and copies of raw element storage shared by cmArray and cmStack.
namespace cmArrayDetail {

template <class E>
void relocate(E* to, E* from, int64_t n) {
  if (n <= 0) return;
  if constexpr (std::is_trivially_copyable_v<E>) {
    std::memmove(static_cast<void*>(to), static_cast<const void*>(from), size_t(n) * sizeof(E));
  } else if (to < from) {
    for (int64_t i = 0; i < n; ++i) {
      new (to + i) E(std::move(from[i]));
      from[i].~E();
    }
  } else {
    for (int64_t i = n - 1; i >= 0; --i) {
      new (to + i) E(std::move(from[i]));
      from[i].~E();
    }
  }
}

template <class E>
void destroy(E* first, int64_t n) {
  if constexpr (!std::is_trivially_destructible_v<E>) {
    for (int64_t i = 0; i < n; ++i) first[i].~E();
  }
}

}  // namespace cmArrayDetail

template <class E>
class cmArray : public cmI_Collection<E> {
 public:
  using ReleaseFunction = void (*)(void* storage);

  // Present only for storage the allocator does not own.
  struct BufferInfo {
    bool external;
    bool fixed;
    ReleaseFunction release;
    int64_t savedSize;
    int64_t savedCapacity;
  };

  static constexpr int64_t kMaxCapacity = INT64_MAX / int64_t(sizeof(E));

  cmArray() = default;
  cmArray(const cmArray& other) : cmI_Collection<E>() { appendAll(other); }
  cmArray(cmArray&& other) noexcept { swap(other); }
  cmArray& operator=(const cmArray& other) {
    if (this != &other) {
      cmArray copy(other);
      swap(copy);
    }
    return *this;
  }
  cmArray& operator=(cmArray&& other) noexcept {
    if (this != &other) {
      cmArray gone(std::move(other));
      swap(gone);
    }
    return *this;
  }
  ~cmArray() override { clear(true); }

  void swap(cmArray& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
    std::swap(info_, other.info_);
  }

  // cmI_Collection
  int64_t count() const override { return size_; }
  void add(const E& element) override {
    if (&element >= data_ && &element < data_ + size_) {
      // Growth would move the element away under our feet.
      E copy(element);
      append(std::move(copy));
      return;
    }
    ensureRoom(size_ + 1);
    new (data_ + size_) E(element);
    size_++;
  }
  void clear(bool freeStorage) override {
    cmArrayDetail::destroy(data_, size_);
    // Kept storage stays zeroed beyond the size; storage being released is
    // left alone (it may be a caller's buffer).
    if (data_ && !freeStorage) std::memset(static_cast<void*>(data_), 0, size_t(size_) * sizeof(E));
    size_ = 0;
    if (freeStorage) {
      releaseStorage(data_);
      data_ = nullptr;
      capacity_ = 0;
      if (info_) cmFree(info_);
      info_ = nullptr;
    }
  }
  bool contains(const E& element) const override { return indexOf(element) >= 0; }
  void copyTo(cmI_Collection<E>& target, bool clearFirst) const override {
    if (clearFirst) target.clear(false);
    target.reserve(target.count() + size_, false);
    for (int64_t i = 0; i < size_; ++i) target.add(data_[i]);
  }
  void reserve(int64_t count, bool extendSize) override {
    if (count > capacity_ || (info_ && info_->fixed)) grow(count);
    if (extendSize && count > size_) setSize(count);
  }

  class const_iterator : public cmIterator<E> {
   public:
    explicit const_iterator(const cmArray& array) : array_(&array) {}
    void reset() override { index_ = -1; }
    bool moveNext() override {
      if (index_ < array_->size_) index_++;
      return index_ < array_->size_;
    }
    const E& current() const override { return array_->data_[index_]; }
    bool isValid() const override { return index_ >= 0 && index_ < array_->size_; }

   private:
    const cmArray* array_;
    int64_t index_ = -1;
  };
  std::unique_ptr<cmIterator<E>> iterator() const override {
    return std::unique_ptr<cmIterator<E>>(new const_iterator(*this));
  }

  // Element access; past the end gives the shared default element.
  E& operator[](int64_t index) {
    if (index >= 0 && index < size_) return data_[index];
    return sharedDefault();
  }
  const E& operator[](int64_t index) const {
    if (index >= 0 && index < size_) return data_[index];
    return sharedDefault();
  }
  int64_t size() const { return size_; }
  int64_t capacity() const { return capacity_; }
  E* data() { return data_; }
  const E* data() const { return data_; }
  E* begin() { return data_; }
  E* end() { return data_ + size_; }
  const E* begin() const { return data_; }
  const E* end() const { return data_ + size_; }
  E& last() { return (*this)[size_ - 1]; }
  const BufferInfo* bufferInfo() const { return info_; }

  void append(E&& element) {
    ensureRoom(size_ + 1);
    new (data_ + size_) E(std::move(element));
    size_++;
  }

  // New elements are default-constructed; surplus ones destroyed.
  void setSize(int64_t newSize) {
    if (newSize < 0) newSize = 0;
    bool zeroed = false;
    if (newSize > capacity_ || (info_ && info_->fixed && newSize > size_)) {
      grow(newSize);
      zeroed = std::is_trivially_default_constructible_v<E>;  // grow cleared the new room
    }
    if (newSize > size_) {
      if (!zeroed)
        for (int64_t i = size_; i < newSize; ++i) new (data_ + i) E();
    } else {
      cmArrayDetail::destroy(data_ + newSize, size_ - newSize);
      if (data_) std::memset(static_cast<void*>(data_ + newSize), 0, size_t(size_ - newSize) * sizeof(E));
    }
    size_ = newSize;
  }

  // Inserts before `index`; an index past the end appends.
  void insert(int64_t index, const E& element) {
    E copy(element);  // the element may live in this array
    if (index < 0) index = 0;
    if (index > size_) index = size_;
    ensureRoom(size_ + 1);
    cmArrayDetail::relocate(data_ + index + 1, data_ + index, size_ - index);
    new (data_ + index) E(std::move(copy));
    size_++;
  }

  // Removes `n` elements from `index`; out-of-range parts are ignored.
  void remove(int64_t index, int64_t n = 1) {
    if (index < 0 || index >= size_ || n <= 0) return;
    if (n > size_ - index) n = size_ - index;
    cmArrayDetail::destroy(data_ + index, n);
    cmArrayDetail::relocate(data_ + index, data_ + index + n, size_ - index - n);
    size_ -= n;
    std::memset(static_cast<void*>(data_ + size_), 0, size_t(n) * sizeof(E));
  }
  void removeLast() { remove(size_ - 1); }

  int64_t indexOf(const E& element) const {
    for (int64_t i = 0; i < size_; ++i)
      if (cmElementTraits<E>::equal(data_[i], element)) return i;
    return -1;
  }

  // Takes `storage` (holding `size` constructed elements, room for
  // `capacity`) without copying it. `release` frees it later (null: never
  // freed here). A fixed buffer is copied into owned storage before the
  // array first changes its size.
  void attachExternal(E* storage, int64_t size, int64_t capacity, bool fixed, ReleaseFunction release) {
    clear(true);
    info_ = static_cast<BufferInfo*>(cmAlloc(sizeof(BufferInfo)));
    if (!info_) cmFatalError(CM_ERR_OUT_OF_MEMORY, "cmArray");
    *info_ = BufferInfo{true, fixed, release, size, capacity};
    data_ = storage;
    size_ = size;
    capacity_ = capacity;
  }

 private:
  static E& sharedDefault() {
    static thread_local E element{};
    element = E{};
    return element;
  }

  void ensureRoom(int64_t needed) {
    if (needed > capacity_ || (info_ && info_->fixed)) {
      if (needed > kMaxCapacity) cmFatalError(CM_ERR_CAPACITY_OVERFLOW, "cmArray");
      grow(needed > kMaxCapacity / 2 ? kMaxCapacity : 2 * needed);
    }
  }

  void grow(int64_t newCapacity) {
    if (newCapacity > kMaxCapacity || newCapacity < 0) cmFatalError(CM_ERR_CAPACITY_OVERFLOW, "cmArray");
    if (newCapacity < size_) newCapacity = size_;
    if (newCapacity == 0) newCapacity = 1;
    size_t bytes = size_t(newCapacity) * sizeof(E);
    E* fresh = static_cast<E*>(cmAlloc(bytes));
    if (!fresh) cmFatalError(CM_ERR_OUT_OF_MEMORY, "cmArray");
    cmArrayDetail::relocate(fresh, data_, size_);
    std::memset(static_cast<void*>(fresh + size_), 0, bytes - size_t(size_) * sizeof(E));
    releaseStorage(data_);
    if (info_) {
      cmFree(info_);
      info_ = nullptr;
    }
    data_ = fresh;
    capacity_ = newCapacity;
  }

  void releaseStorage(E* storage) {
    if (!storage) return;
    if (info_ && info_->external) {
      if (info_->release) info_->release(storage);
    } else {
      cmFree(storage);
    }
  }

  void appendAll(const cmArray& other) {
    if (other.size_ == 0) return;
    grow(other.size_);
    for (int64_t i = 0; i < other.size_; ++i) new (data_ + i) E(other.data_[i]);
    size_ = other.size_;
  }

  E* data_ = nullptr;
  int64_t size_ = 0;
  int64_t capacity_ = 0;
  BufferInfo* info_ = nullptr;
};
