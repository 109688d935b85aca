#include "text/TVArray.h"

#include <new>
#include <utility>

#include "runtime/cmAlloc.h"
#include "runtime/cmException.h"
#include "text/cmStringErrors.h"

namespace tolvane {

TVArray::TVArray(const TVArray& other) {
  reserve(other.size_);
  for (int64_t i = 0; i < other.size_; ++i) add(other.items_[i]);
}

TVArray::TVArray(TVArray&& other) noexcept
    : items_(other.items_), size_(other.size_), capacity_(other.capacity_) {
  other.items_ = nullptr;
  other.size_ = other.capacity_ = 0;
}

TVArray& TVArray::operator=(const TVArray& other) {
  if (this != &other) {
    TVArray tmp(other);
    *this = std::move(tmp);
  }
  return *this;
}

TVArray& TVArray::operator=(TVArray&& other) noexcept {
  if (this != &other) {
    clear(true);
    items_ = other.items_;
    size_ = other.size_;
    capacity_ = other.capacity_;
    other.items_ = nullptr;
    other.size_ = other.capacity_ = 0;
  }
  return *this;
}

TVArray::~TVArray() { clear(true); }

const TVString& TVArray::operator[](int64_t i) const {
  static const TVString none;  // immutable: the answer past the end
  return (i >= 0 && i < size_) ? items_[i] : none;
}

void TVArray::reserve(int64_t n) {
  if (n <= capacity_) return;
  void* mem = cmAlloc(static_cast<size_t>(n) * sizeof(TVString));
  if (!mem) throw cmException(CM_STR_OUT_OF_MEMORY);
  TVString* fresh = static_cast<TVString*>(mem);
  for (int64_t i = 0; i < size_; ++i) {
    new (&fresh[i]) TVString(std::move(items_[i]));
    items_[i].~TVString();
  }
  if (items_) cmFree(items_);
  items_ = fresh;
  capacity_ = n;
}

void TVArray::add(const TVString& item) {
  if (size_ == capacity_) {
    TVString keep(item);  // the item may live in this array
    reserve(capacity_ ? capacity_ * 2 : 8);
    new (&items_[size_++]) TVString(std::move(keep));
    return;
  }
  new (&items_[size_++]) TVString(item);
}

void TVArray::add(TVString&& item) {
  TVString keep(std::move(item));  // the item may live in this array
  if (size_ == capacity_) reserve(capacity_ ? capacity_ * 2 : 8);
  new (&items_[size_++]) TVString(std::move(keep));
}

TVString& TVArray::addNull() {
  if (size_ == capacity_) reserve(capacity_ ? capacity_ * 2 : 8);
  return *new (&items_[size_++]) TVString();
}

void TVArray::clear(bool freeStorage) {
  for (int64_t i = 0; i < size_; ++i) items_[i].~TVString();
  size_ = 0;
  if (freeStorage && items_) {
    cmFree(items_);
    items_ = nullptr;
    capacity_ = 0;
  }
}

}  // namespace tolvane
