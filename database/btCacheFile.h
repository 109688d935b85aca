// btCacheFile: one database's view of the block cache. It keeps, for each
// block number of the file, the cached block or null, fetches blocks on
// demand, writes dirty blocks back (growing the file with zero blocks up to
// the block written; block writes are the only place the file grows), and
// can serve a read-only file from a mapped view.
//
// Ownership: embedded in btDatabase. It owns its block table and, when
// `ownsCache` is set, the btFileCache; it never owns the blocks themselves
// (the cache does) nor the file (the database's btFileAccess does).
// Threading: every operation takes the cache lock; file transfers then take
// the file lock. Callers that already hold the database lock keep the order
// database lock, cache lock, file lock.
#pragma once

#include <cstddef>
#include <cstdint>

#include "database/btFileCache.h"
#include "database/btSeek.h"

class btDatabase;
class btFileAccess;
class btFileCacheFillThread;

class btCacheFile {
 public:
  btCacheFile() = default;
  ~btCacheFile();
  btCacheFile(const btCacheFile&) = delete;
  btCacheFile& operator=(const btCacheFile&) = delete;

  // Sets the view up for a file of block size `B`. A shared cache of another
  // block size, or none, or `privateCache`, gives a private cache. `database`
  // may be null for a bare view (no open-for-write marker, no size limit).
  int32_t init(btDatabase* database, btFileAccess* file, uint64_t B, uint64_t budgetBytes,
               bool useMapping, bool privateCache, btFileCache* shared = nullptr);

  // The data of the block holding `seek` (encoded form), or null. A null
  // result is reported by callers as -8.
  uint8_t* getBlock(btSeek seek, uint32_t flags, uint64_t prefillCount = 0);
  // The same for a plain byte position.
  uint8_t* getBlockAt(uint64_t position, uint32_t flags, uint64_t prefillCount = 0);

  void pinBlock(const void* data);
  void unpinBlock(const void* data);
  void markBlockDirty(const void* data);
  // Writes one cached dirty block now and keeps it cached.
  int32_t flushBlock(uint64_t position);
  // Writes back in ascending block order (block 0 always when `writeDirty`),
  // and with `dropBlocks` returns every block of this view to the cache.
  int32_t flushCacheFile(bool writeDirty, bool dropBlocks);
  // Forgets every block and the mapped view.
  void releaseCacheFile();

  // Writes one block to the file; used by the cache to make room.
  int32_t writeBlock(btFileCacheBlock* block);
  // Clears the table entry for `block` if it still points to it.
  void forgetBlock(btFileCacheBlock* block);
  bool inMappedView(const void* data) const;
  uint64_t decode(btSeek seek) const;
  // Stops a running prefill at its next round.
  void stopPrefill();
  // Data of the block of `position` when it is cached; never reads.
  uint8_t* cachedBlock(uint64_t position);

  // Block number and offset within its block of a file position; a shift
  // and a mask for the usual power-of-two block size.
  uint64_t blockNumberOf(uint64_t position) const {
    return blockShift ? position >> blockShift : position / blockSize;
  }
  uint64_t blockOffsetOf(uint64_t position) const {
    return blockShift ? position & (blockSize - 1) : position % blockSize;
  }

  btFileCache* cache = nullptr;
  bool ownsCache = false;
  uint64_t blockSize = 4096;
  uint32_t blockShift = 12;  // log2(blockSize), or 0 when not a power of two
  btFileCacheBlock** blocks = nullptr;
  size_t blockCount = 0;       // length of the table
  size_t blockCapacity = 0;
  btDatabase* database = nullptr;
  void* shadowBase = nullptr;  // versioned database sets only; always null
  bool readOnly = false;
  bool useMapping = false;
  int32_t fileHandle = -1;
  btFileAccess* file = nullptr;
  uint8_t* mappedBase = nullptr;
  uint64_t mappedSize = 0;
  btFileCacheFillThread* fillThread = nullptr;
  uint64_t fileBlocksAtOpen = 0;
  uint64_t writesDone = 0;     // block writes, for tests and the inspection tool

 private:
  bool growTable(size_t blockNumber);
  int32_t writeBlockLocked(btFileCacheBlock* block);
  void startPrefill(uint64_t prefillCount);
  bool mapFile();
};

// A pin on a cached block held for a scope. Mapped data needs no pin and is
// left alone by pin and unpin.
class btBlockPin {
 public:
  btBlockPin() = default;
  btBlockPin(btCacheFile* file, uint8_t* data) : file_(file), data_(data) {}
  ~btBlockPin() { reset(); }
  btBlockPin(btBlockPin&& o) noexcept : file_(o.file_), data_(o.data_) { o.data_ = nullptr; }
  btBlockPin& operator=(btBlockPin&& o) noexcept {
    if (this != &o) {
      reset();
      file_ = o.file_;
      data_ = o.data_;
      o.data_ = nullptr;
    }
    return *this;
  }
  btBlockPin(const btBlockPin&) = delete;
  btBlockPin& operator=(const btBlockPin&) = delete;

  // Fetches and pins; data() is null on failure.
  static btBlockPin fetch(btCacheFile* file, uint64_t position, uint32_t flags) {
    uint8_t* d = file->getBlockAt(position, flags | BLOCK_PIN);
    return d ? btBlockPin(file, d) : btBlockPin();
  }
  uint8_t* data() const { return data_; }
  explicit operator bool() const { return data_ != nullptr; }
  void reset() {
    if (data_ && file_) file_->unpinBlock(data_);
    data_ = nullptr;
  }

 private:
  btCacheFile* file_ = nullptr;
  uint8_t* data_ = nullptr;
};
