#include "runtime/cmMemory.h"

#include "runtime/cmAllocator.h"
#include "runtime/cmErrors.h"
#include "runtime/cmFatal.h"

#ifdef RH_ALLOC_MALLOC
#include <cstdlib>
#endif

namespace {
void* obtain(size_t size) {
#ifdef RH_ALLOC_MALLOC
  void* p = std::malloc(size ? size : 1);
#else
  void* p = cmAllocator::allocate(size);
#endif
  if (!p) cmFatalError(CM_ERR_OUT_OF_MEMORY, "cmMemory::operator new");
  return p;
}

void release(void* p) {
#ifdef RH_ALLOC_MALLOC
  std::free(p);
#else
  cmAllocator::deallocate(p);
#endif
}
}  // namespace

void* cmMemory::operator new(size_t size) { return obtain(size); }
void* cmMemory::operator new[](size_t size) { return obtain(size); }
void cmMemory::operator delete(void* p) noexcept { release(p); }
void cmMemory::operator delete[](void* p) noexcept { release(p); }
