// cmMemory: base of foundation objects whose storage comes from the
// allocator. Its operator new/delete (single and array) go to cmAllocator,
// or to malloc in a build with RH_ALLOC_MALLOC so the sanitizer sees each
// object. Running out of memory in new is fatal (-102692), since a C++ new
// expression has no way to report null.
//
// Copy and move assignment of the base do nothing: the allocation belongs to
// the object's address, not its value. cmDeletableMemory adds only a virtual
// destructor, for objects deleted through a base pointer.
//
// Threads: objects may be created on one thread and deleted on another.
#pragma once

#include <cstddef>

class cmMemory {
 public:
  cmMemory() = default;
  cmMemory(const cmMemory&) = default;
  cmMemory(cmMemory&&) = default;
  cmMemory& operator=(const cmMemory&) { return *this; }
  cmMemory& operator=(cmMemory&&) { return *this; }

  static void* operator new(size_t size);
  static void* operator new[](size_t size);
  static void operator delete(void* p) noexcept;
  static void operator delete[](void* p) noexcept;
  static void* operator new(size_t, void* where) noexcept { return where; }
  static void operator delete(void*, void*) noexcept {}

 protected:
  ~cmMemory() = default;
};

class cmDeletableMemory : public cmMemory {
 public:
  cmDeletableMemory() = default;
  cmDeletableMemory(const cmDeletableMemory&) = default;
  cmDeletableMemory(cmDeletableMemory&&) = default;
  cmDeletableMemory& operator=(const cmDeletableMemory&) = default;
  cmDeletableMemory& operator=(cmDeletableMemory&&) = default;
  virtual ~cmDeletableMemory() = default;
};
