// TVArray: the list of TVString values that split fills and appendArray
// reads. It owns copies of its strings (long ones share blocks by the
// string's own rule) in one cmAlloc'd run that doubles as it grows. Reading
// past the end gives a null string. Not thread-safe: the owner locks.
#pragma once

#include <cstdint>

#include "text/TVString.h"

namespace tolvane {

class TVArray {
 public:
  TVArray() = default;
  TVArray(const TVArray& other);
  TVArray(TVArray&& other) noexcept;
  TVArray& operator=(const TVArray& other);
  TVArray& operator=(TVArray&& other) noexcept;
  ~TVArray();

  int64_t count() const { return size_; }
  bool isEmpty() const { return size_ == 0; }
  // The item at i, or a null string past the end.
  const TVString& operator[](int64_t i) const;
  TVString& at(int64_t i) { return items_[i]; }  // i must be in range
  void add(const TVString& item);
  void add(TVString&& item);
  // Appends a null string and returns it, for filling in place.
  TVString& addNull();
  // Grows the room to at least n items.
  void reserve(int64_t n);
  int64_t capacity() const { return capacity_; }
  // Destroys the items; `freeStorage` also gives back the room.
  void clear(bool freeStorage = false);

 private:
  TVString* items_ = nullptr;
  int64_t size_ = 0;
  int64_t capacity_ = 0;
};

}  // namespace tolvane
