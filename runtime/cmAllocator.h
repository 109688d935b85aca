// cmAllocator: the foundation's general allocator, behind cmAlloc and
// cmMemory.
//
// Requests up to 2,048 bytes are carved from 32 KiB blocks taken from the
// process heap and kept on exact-size free lists; larger requests go to the
// process heap directly. Every allocation carries the 8-byte SegmentInfo
// header below, and the user pointer is header + 8 (so user memory is
// 8-byte aligned, not 16).
//
// Block layout (32,768 bytes, in memory only):
//   OFFSET  SIZE  MEANING
//   0       8     BlockInfo.next: next block of the same allocator
//   8       8     BlockInfo.previous: previous block
//   16      ...   segments, each a SegmentInfo then its bytes, tiling the
//                 block exactly; a whole free block is one 32,744-byte segment
//
// SegmentInfo (8 bytes in front of every allocation):
//   OFFSET  SIZE  MEANING
//   0       4     bit 0 pooled, bit 1 free, bits 2-5 allocator index,
//                 bits 6-31 usable size (its low 26 bits)
//   4       2     pooled: offset of this header in its block;
//                 heap: size >> 26
//   6       2     pooled: offset of the previous segment's header, 0 for the
//                 first; heap: 0
// A free segment holds, after its header, the next and previous pointers of
// its free list.
//
// Ownership and threads. Up to 16 allocator instances exist; each is
// created on demand and lives until the process ends, as do the blocks it
// holds. A thread is bound to one instance, round robin, on its first small
// allocation; allocator 0 serves the first thread alone. Each instance has
// its own mutex, and a thread that frees or resizes memory of another
// instance takes that instance's mutex, found through the header. All
// static members are callable from any thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/cmPlatformThread.h"

struct cmAllocatorProcessState;

class cmAllocator {
 public:
  static constexpr uint32_t BLOCK_SIZE = 32768;
  static constexpr uint32_t MIN_ALLOCATION = 16;
  static constexpr uint32_t MAX_POOL_ALLOCATION = 2048;
  static constexpr int MAX_ALLOCATORS = 16;
  static constexpr int NUM_FREE_LISTS = 257;
  static constexpr uint64_t MAX_SPARE_BLOCKS = 512;
  static constexpr uint32_t HEADER_SIZE = 8;
  static constexpr uint32_t FIRST_SEGMENT_OFFSET = 16;
  // Size of the one segment of a wholly free block.
  static constexpr uint32_t WHOLE_BLOCK_SEGMENT = BLOCK_SIZE - FIRST_SEGMENT_OFFSET - HEADER_SIZE;

  struct SegmentInfo {
    uint32_t bits;
    uint16_t offset;
    uint16_t previous;

    bool pooled() const { return bits & 1u; }
    bool isFree() const { return bits & 2u; }
    uint32_t allocator() const { return (bits >> 2) & 0xFu; }
    uint32_t size() const { return bits >> 6; }
    void set(bool pooled, bool free, uint32_t allocator, uint32_t size) {
      bits = (pooled ? 1u : 0u) | (free ? 2u : 0u) | ((allocator & 0xFu) << 2) | (size << 6);
    }
    void setFree(bool free) { bits = free ? (bits | 2u) : (bits & ~2u); }
    void setSize(uint32_t size) { bits = (bits & 0x3Fu) | (size << 6); }
  };
  static_assert(sizeof(SegmentInfo) == 8);

  struct BlockInfo {
    BlockInfo* next;
    BlockInfo* previous;
  };
  static_assert(sizeof(BlockInfo) == 16);

  // Null on failure; no exception, no message. A size below 16 becomes 16.
  static void* allocate(size_t size);
  // 0, or -1 for a null pointer. A foreign pointer is not detected.
  static int deallocate(void* p);
  // Grows or shrinks in place where the neighbours allow; a null pointer
  // allocates. Null on failure, with the old allocation untouched.
  static void* reallocate(void* p, size_t size);
  // Usable size of an allocation (at least what was asked); 0 for null.
  static size_t numBytesAllocated(const void* p);

  static int getNumberOfAllocators();
  // Clamped to 2..16; threads bound earlier keep their instance.
  static void setNumberOfAllocators(int count);
  static int getNumberOfBytesPerBlock() { return int(BLOCK_SIZE); }
  static int64_t getTotalNumberOfAllocations();
  static int64_t getTotalNumberOfBlocksAllocated();
  static int64_t getTotalNumberOfBytesAllocated();

  // Statistics lines go to `out` (one call per line, each ending in "\n");
  // without one they go to the debug console output, stderr here.
  using LineOutput = void (*)(const char* line);
  static void printStatistics(LineOutput out = nullptr);
  static void printToScreen(LineOutput out = nullptr);
  static void checkAllMemory() {}
  static void checkMemory(void*) {}

  // Inspection, for tests and debugging. The index of the instance the
  // calling thread is bound to, -1 before its first small allocation.
  static int currentThreadAllocatorIndex();
  static int64_t numberOfBlocks(int index);
  static int64_t numberOfSpareBlocks(int index);
  // Walks every block and free list of every instance and checks that
  // headers, neighbour offsets, free lists, spare and byte counts agree.
  // On a fault writes a description to `why` and returns false.
  static bool validate(char* why, size_t whyLength);

  // Helpers of the size classes, exposed for tests.
  static uint32_t normalizeSegmentSize(size_t size) {
    if (size > MAX_POOL_ALLOCATION) return uint32_t(size);
    if (size < MIN_ALLOCATION) return MIN_ALLOCATION;
    return uint32_t((size + 7) & ~size_t(7));
  }
  static int getSegmentIndex(size_t size) {
    return size > MAX_POOL_ALLOCATION ? 256 : int((size - 1) >> 3);
  }

 private:
  explicit cmAllocator(uint32_t index);

  BlockInfo* allocateBlock();
  void deallocateBlock(BlockInfo* block);
  SegmentInfo* allocateSegmentFromBlock(uint32_t n);
  SegmentInfo* allocateSegmentFromFreeList(size_t size);
  void addSegmentToFreeList(SegmentInfo* s);
  void removeSegmentFromFreeList(SegmentInfo* s);
  SegmentInfo* splitSegment(SegmentInfo* s, uint32_t n);
  SegmentInfo* joinWithNextSegmentInBlock(SegmentInfo* s);
  SegmentInfo* joinWithPrevSegmentInBlock(SegmentInfo* s);
  bool validateOne(char* why, size_t whyLength);

  static BlockInfo* getBlockPointer(SegmentInfo* s) {
    return reinterpret_cast<BlockInfo*>(reinterpret_cast<char*>(s) - s->offset);
  }
  static SegmentInfo* getFirstSegmentInBlock(BlockInfo* b) {
    return reinterpret_cast<SegmentInfo*>(reinterpret_cast<char*>(b) + FIRST_SEGMENT_OFFSET);
  }
  static SegmentInfo* getNextSegmentInBlock(SegmentInfo* s) {
    if (uint32_t(s->offset) + 32 + s->size() > BLOCK_SIZE) return nullptr;
    return reinterpret_cast<SegmentInfo*>(reinterpret_cast<char*>(s) + HEADER_SIZE + s->size());
  }
  static SegmentInfo* getPrevSegmentInBlock(SegmentInfo* s) {
    if (s->previous == 0) return nullptr;
    return reinterpret_cast<SegmentInfo*>(reinterpret_cast<char*>(getBlockPointer(s)) + s->previous);
  }
  static void* getPointer(SegmentInfo* s) { return s + 1; }
  static SegmentInfo* getSegmentPointer(const void* p) {
    return const_cast<SegmentInfo*>(static_cast<const SegmentInfo*>(p) - 1);
  }
  static size_t heapSize(const SegmentInfo* s) { return size_t(s->size()) | (size_t(s->offset) << 26); }

  static int bindThread();
  static cmAllocator* instance(uint32_t index);
  // The heap-segment count `heapPart` plus `ownPart` of every instance.
  static int64_t sumTotals(int64_t cmAllocatorProcessState::*heapPart, int64_t cmAllocator::*ownPart);
  static void* allocateHeap(size_t size);
  static void* moveAllocation(void* p, size_t oldSize, size_t size);

  struct FreeLinks {
    SegmentInfo* next;
    SegmentInfo* previous;
  };
  static FreeLinks* links(SegmentInfo* s) { return reinterpret_cast<FreeLinks*>(s + 1); }

  BlockInfo* firstBlock_ = nullptr;
  uint64_t numBlocks_ = 0;
  uint64_t numSpareBlocks_ = 0;
  SegmentInfo* freeLists_[NUM_FREE_LISTS] = {};
  // Pool totals of this instance, kept under its mutex so that the common
  // path never touches a lock shared between threads.
  int64_t numAllocations_ = 0;
  int64_t numBytes_ = 0;
  uint32_t index_;
  platform::Mutex mutex_;

  friend struct cmAllocatorProcessState;
};
