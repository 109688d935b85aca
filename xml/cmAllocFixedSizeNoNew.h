// cmAllocFixedSizeNoNew<T>: a pool of fixed-size records carved from blocks,
// for trees that are built in one go and thrown away in one go.
//
// Records are handed out zeroed and never constructed or destroyed (T must be
// a plain record whose first word may be overwritten while it is free). Freed
// records go to a free list linked through that first word; blocks go back to
// the allocator only when the pool is destroyed. Each block is one cmAlloc
// allocation: a BlockList header followed by the records. Block sizes grow by
// half per block, from 10 up to 10000 records, so a parse of any size makes a
// logarithmic number of allocations and no block reaches a megabyte.
//
// The pool owns its blocks. Not thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "runtime/cmAlloc.h"
#include "runtime/cmErrors.h"
#include "runtime/cmException.h"

template <class T>
class cmAllocFixedSizeNoNew {
 public:
  static constexpr uint64_t kFirstBlock = 10;
  static constexpr uint64_t kMaxBlock = 10000;

  cmAllocFixedSizeNoNew() = default;
  cmAllocFixedSizeNoNew(const cmAllocFixedSizeNoNew&) = delete;
  cmAllocFixedSizeNoNew& operator=(const cmAllocFixedSizeNoNew&) = delete;
  cmAllocFixedSizeNoNew(cmAllocFixedSizeNoNew&& o) noexcept { take(o); }
  cmAllocFixedSizeNoNew& operator=(cmAllocFixedSizeNoNew&& o) noexcept {
    if (this != &o) {
      releaseBlocks();
      take(o);
    }
    return *this;
  }
  ~cmAllocFixedSizeNoNew() { releaseBlocks(); }

  // A zeroed record. Throws CM_ERR_OUT_OF_MEMORY when no block can be had.
  T* alloc() {
    T* p;
    if (freeHead_) {
      p = freeHead_;
      freeHead_ = *reinterpret_cast<T**>(p);
    } else {
      if (unused_ == 0) newBlock();
      p = nextUnused_++;
      --unused_;
    }
    std::memset(static_cast<void*>(p), 0, sizeof(T));
    return p;
  }

  // For a caller that sets every field itself: the next never-used record
  // of the current block, not zeroed, provided the free list is empty (it
  // comes first) and the block has one left. Otherwise null, and alloc()
  // is the way.
  T* takeUnused() {
    if (freeHead_ || unused_ == 0) return nullptr;
    --unused_;
    return nextUnused_++;
  }

  // Puts a record on the free list; its first word becomes the link.
  void free(T* p) {
    *reinterpret_cast<T**>(p) = freeHead_;
    freeHead_ = p;
  }

  uint64_t totalAllocated() const { return totalNodes_; }  // records in all blocks
  uint64_t nextBlockSize() const { return next_; }
  size_t blockCount() const {
    size_t n = 0;
    for (BlockList* b = blocks_; b; b = b->next) ++n;
    return n;
  }

 private:
  struct BlockList {
    T* block;
    BlockList* next;
  };

  void newBlock() {
    uint64_t n = next_ < kFirstBlock ? kFirstBlock : next_;
    size_t header = (sizeof(BlockList) + alignof(T) - 1) / alignof(T) * alignof(T);
    void* mem = cmAlloc(header + n * sizeof(T));
    if (!mem) throw cmException(CM_ERR_OUT_OF_MEMORY);
    BlockList* b = static_cast<BlockList*>(mem);
    b->block = reinterpret_cast<T*>(static_cast<char*>(mem) + header);
    b->next = blocks_;
    blocks_ = b;
    nextUnused_ = b->block;
    unused_ = n;
    totalNodes_ += n;
    uint64_t grown = n + n / 2;
    next_ = grown > kMaxBlock ? kMaxBlock : (grown < kFirstBlock ? kFirstBlock : grown);
  }

  void releaseBlocks() {
    while (blocks_) {
      BlockList* b = blocks_;
      blocks_ = b->next;
      cmFree(b);
    }
    nextUnused_ = nullptr;
    unused_ = 0;
    freeHead_ = nullptr;
    next_ = kFirstBlock;
    totalNodes_ = 0;
  }

  void take(cmAllocFixedSizeNoNew& o) {
    blocks_ = o.blocks_;
    nextUnused_ = o.nextUnused_;
    unused_ = o.unused_;
    freeHead_ = o.freeHead_;
    next_ = o.next_;
    totalNodes_ = o.totalNodes_;
    o.blocks_ = nullptr;
    o.releaseBlocks();
  }

  BlockList* blocks_ = nullptr;  // newest first
  T* nextUnused_ = nullptr;      // next never-used record of the newest block
  uint64_t unused_ = 0;          // never-used records left in the newest block
  T* freeHead_ = nullptr;
  uint64_t next_ = kFirstBlock;  // size in records of the next block
  uint64_t totalNodes_ = 0;
};
