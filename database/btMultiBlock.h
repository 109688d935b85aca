// btMultiBlock: a logical byte stream spread over whole blocks, used by the
// on-disk sorted arrays and the large hash tables. Its directory is an
// embedded btSeekSet whose k-th entry (counted by capacity across the chain)
// names the block holding stream bytes k * (B - 4) onward: the block's
// position plus 4, as allocateBlock returns it. An entry of 0 or 0xFFFFFFFF
// is a hole that reads as zeros; writing into a hole allocates its block.
//
// Each stream block: u32 block tag, then B - 4 stream bytes.
//
// Ownership: the object owns its directory binding; the blocks belong to
// the file. Threading: one thread at a time, under the database lock of the
// caller; each call takes the cache lock.
#pragma once

#include <cstdint>

#include "database/btSeek.h"
#include "database/btSeekSet.h"

class btBlockPin;
class btCacheFile;
class btDatabase;

class btMultiBlock {
 public:
  explicit btMultiBlock(uint32_t blockKind = BT_BLOCK_HASH_BUCKET) : kind_(blockKind) {}

  btSeekSet& directory() { return directory_; }
  // Stream bytes the directory can address.
  int64_t byteCapacity(btCacheFile* cacheFile) const;

  // Copies `length` stream bytes from `offset`. Bytes of holes read as
  // zeros; a block that cannot be fetched also reads as zeros and makes the
  // result BT_STATUS_BAD_BLOCK. A null buffer is -3073.
  int32_t read(btCacheFile* cacheFile, void* buffer, uint64_t offset, uint64_t length);
  // Copies `length` bytes into the stream (zeros when `source` is null),
  // allocating blocks for holes. BT_STATUS_BAD_BLOCK when a block cannot be
  // had or the offset lies beyond the directory.
  int32_t write(btDatabase* database, btCacheFile* cacheFile, const void* source, uint64_t offset,
                uint64_t length);
  // The u32 element `i` of the stream, read or written in place.
  int32_t readElement(btCacheFile* cacheFile, uint64_t i, uint32_t* valueOut);
  int32_t writeElement(btDatabase* database, btCacheFile* cacheFile, uint64_t i, uint32_t value);

 private:
  // Data of the k-th block, pinned in `pin`; allocates a hole when asked.
  int32_t blockFor(btDatabase* database, btCacheFile* cacheFile, uint64_t k, bool create,
                   btBlockPin* pin);

  btSeekSet directory_;
  uint32_t kind_;
};
