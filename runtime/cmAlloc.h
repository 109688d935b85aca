// The one entry point through which the foundation allocates memory.
// cmAlloc/cmFree/cmRealloc are served by the segment allocator (cmAllocator);
// a build with RH_ALLOC_MALLOC routes them to malloc so that AddressSanitizer
// sees every object on its own.
//
// Pointers from cmAlloc are 8-byte aligned (the allocator's header is 8
// bytes); types that need more must not be placed in them. All functions
// are callable from any thread, and memory may be freed on any thread.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {
void* cmAlloc(size_t size);
void cmFree(void* p);
void* cmRealloc(void* p, size_t size);
// Usable size of an allocation made by cmAlloc.
size_t cmAllocCapacity(void* p);
// Consistency check hook of the allocator; does nothing in release form.
void cmAllocCheckMemory();
}

namespace tolvane {
// The same entry points under the public interface's names.
inline void* TVAllocate(size_t size) { return cmAlloc(size); }
inline void TVAllocateCheckMemory() { cmAllocCheckMemory(); }
}  // namespace tolvane
