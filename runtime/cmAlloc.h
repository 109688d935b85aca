// The one entry point through which the foundation allocates memory.
// cmAlloc/cmFree/cmRealloc are served by the segment allocator (cmAllocator);
// a build with RH_ALLOC_MALLOC routes them to malloc so that AddressSanitizer
// sees every object on its own.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {
void* cmAlloc(size_t size);
void cmFree(void* p);
void* cmRealloc(void* p, size_t size);
// Usable size of an allocation made by cmAlloc.
size_t cmAllocCapacity(void* p);
}
