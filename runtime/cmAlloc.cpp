#include "runtime/cmAlloc.h"

#include <cstring>

#include "runtime/cmAllocator.h"

#ifdef RH_ALLOC_MALLOC
#include <cstdlib>
#include <malloc.h>

// Sanitizer build: every object is its own heap allocation, so overflows and
// use after free are caught at the exact object.
extern "C" {
void* cmAlloc(size_t size) { return std::malloc(size ? size : 1); }
void cmFree(void* p) { std::free(p); }
void* cmRealloc(void* p, size_t size) { return std::realloc(p, size ? size : 1); }
size_t cmAllocCapacity(void* p) { return p ? malloc_usable_size(p) : 0; }
void cmAllocCheckMemory() {}
}

#else

extern "C" {
void* cmAlloc(size_t size) { return cmAllocator::allocate(size); }

void cmFree(void* p) { cmAllocator::deallocate(p); }

// Deliberately not cmAllocator::reallocate: callers of the C interface get
// a fresh allocation every time, with the old contents copied.
void* cmRealloc(void* p, size_t size) {
  if (!p) return cmAlloc(size);
  void* fresh = cmAlloc(size);
  if (!fresh) return nullptr;
  size_t old = cmAllocator::numBytesAllocated(p);
  std::memcpy(fresh, p, old < size ? old : size);
  cmFree(p);
  return fresh;
}

size_t cmAllocCapacity(void* p) { return cmAllocator::numBytesAllocated(p); }

void cmAllocCheckMemory() { cmAllocator::checkAllMemory(); }
}

#endif
