#include "runtime/cmAlloc.h"

#include <cstdlib>
#include <malloc.h>

// Until the segment allocator lands every request goes to malloc.
extern "C" {
void* cmAlloc(size_t size) { return std::malloc(size ? size : 1); }
void cmFree(void* p) { std::free(p); }
void* cmRealloc(void* p, size_t size) { return std::realloc(p, size ? size : 1); }
size_t cmAllocCapacity(void* p) { return p ? malloc_usable_size(p) : 0; }
}
