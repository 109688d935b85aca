// btFileCache: the memory budget and the two rings of cached blocks shared
// by one or more btCacheFile views. Blocks are replaced with a clock hand
// that walks the ring of replaceable blocks; pinned or held blocks wait in
// the held ring and are never replaced.
//
// Ownership: the cache owns every btFileCacheBlock it allocated and frees
// them in its destructor. It is owned by the view that created it.
// Threading: every member except the lock itself is touched only under
// `cacheLock`, a recursive lock. Before sleeping for a block, the holder
// leaves all its levels and enters them again afterwards.
#pragma once

#include <cstddef>
#include <cstdint>
#include "database/btFileCacheBlock.h"
#include "database/btRecursiveLock.h"

// getBlock flags.
constexpr uint32_t BLOCK_CREATE = 1;        // do not read; zero the data and mark it dirty
constexpr uint32_t BLOCK_NO_OVERDRAW = 2;   // fail when totalBlocks + 512 exceeds maxBlocks
constexpr uint32_t BLOCK_SHADOW = 4;        // set internally for a shadow file
constexpr uint32_t BLOCK_CLEAN_ONLY = 8;    // never write a dirty block to make room
constexpr uint32_t BLOCK_HOLD = 16;         // keep out of the replaceable ring until unpinned
constexpr uint32_t BLOCK_DIRTY = 32;        // mark the block dirty
constexpr uint32_t BLOCK_PIN = 64;          // add a pin for the caller

class btFileCache {
 public:
  btFileCache() = default;
  ~btFileCache();
  btFileCache(const btFileCache&) = delete;
  btFileCache& operator=(const btFileCache&) = delete;

  // Sets block size and budget at the first use; later calls change nothing.
  void configure(uint64_t blockSize, uint64_t budgetBytes);
  bool isConfigured() const { return configured_; }

  // Recursive cache lock with a count of levels, so that a sleeper can leave
  // all of them. Re-entry by the holder is cheap: operations take it once
  // at their top, and each block they touch enters it again.
  void lock() { cacheLock_.lock(); }
  void unlock() { cacheLock_.unlock(); }
  bool tryLock() { return cacheLock_.try_lock(); }
  int releaseAll() { return cacheLock_.releaseAll(); }
  void reacquire(int levels) { cacheLock_.reacquire(levels); }

  // A block to hold a block of `file`, or null; `status` gets the reason
  // (a failed write-back, or -8). Under the lock.
  btFileCacheBlock* findFreeBlock(btCacheFile* file, uint32_t flags, int32_t* status);

  // Ring moves, under the lock.
  void toHeld(btFileCacheBlock* b);
  void toReplaceable(btFileCacheBlock* b);
  void touch(btFileCacheBlock* b);  // newest place, just behind the hand
  void setUnused(btFileCacheBlock* b);
  void setDirty(btFileCacheBlock* b);
  void clearDirty(btFileCacheBlock* b);
  // Frees unused blocks while more than the budget is allocated.
  void trimToBudget();

  // Canonical names of files whose prefill has been started; a file is
  // prefilled once in the life of the cache.
  bool hasPrefillName(const char* name) const;
  void addPrefillName(const char* name);

  uint64_t blockSize = 4096;
  btFileCacheBlock* hand = nullptr;
  btFileCacheBlock* heldHead = nullptr;
  uint64_t replaceableCount = 0;
  uint64_t totalBlocks = 0;
  uint64_t maxBlocks = 0;
  uint64_t dirtyBlocks = 0;

 private:
  btFileCacheBlock* allocateBlock();
  void freeBlock(btFileCacheBlock* b);
  void insertReplaceable(btFileCacheBlock* b);  // behind the hand
  void removeReplaceable(btFileCacheBlock* b);
  void claim(btFileCacheBlock* b, btCacheFile* file, uint32_t flags, bool isNew);

  bool configured_ = false;
  btRecursiveLock cacheLock_;
  char** prefillNames_ = nullptr;
  size_t prefillCount_ = 0;
};

// Scoped hold of the cache lock.
class btCacheLockGuard {
 public:
  explicit btCacheLockGuard(btFileCache* cache) : cache_(cache) {
    if (cache_) cache_->lock();
  }
  ~btCacheLockGuard() {
    if (cache_) cache_->unlock();
  }
  btCacheLockGuard(const btCacheLockGuard&) = delete;
  btCacheLockGuard& operator=(const btCacheLockGuard&) = delete;

 private:
  btFileCache* cache_;
};
