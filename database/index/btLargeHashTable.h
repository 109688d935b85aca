// btLargeHashTable: a hash index whose bucket array is a stream of whole
// blocks (btMultiBlock): the definition's root is the directory, a stored
// list of block seeks (btSeekSet, whole blocks of kind 5, chained when one
// is not enough), and bucket b lies in slot b % S of stream block b / S,
// with S = (B-4)/4. Kind 9. A block that was never written is a hole and
// its buckets read 0; writing a bucket there allocates the block, zeroed.
//
// Stream block (kind 5):
//
//   OFFSET  SIZE  MEANING
//   0       4     block tag, kind 5
//   4       4*S   buckets: seek of a chain head, or 0
//
// bucketCount is S times the directory entries up to the last one in use.
// Ownership and threading: as btAbstractHashTable.
#pragma once

#include <cstdint>

#include "database/index/btAbstractHashTable.h"

class btLargeHashTable : public btAbstractHashTable {
 public:
  explicit btLargeHashTable(btIndexDefinition* definition);

  uint32_t indexKind() const override { return BT_INDEX_LARGE_HASH; }
  void setDefinition(btIndexDefinition* definition) override;
  int32_t removeAll(btIndexIterator* it) override;
  uint64_t bucketCount(btCacheFile* cacheFile) override;
  uint32_t readBucket(btCacheFile* cacheFile, uint64_t bucket) override;
  int32_t writeBucket(btDatabase* database, uint64_t bucket, uint32_t value) override;
  int32_t reopen() override;

  // Allocates an empty directory and stores it in the definition.
  static int32_t create(btDatabase* database, btIndexDefinition* definition);

 private:
  // Scans the directory: its capacity and the entries up to the last used.
  int32_t scanDirectory();

  btSeek scannedRoot_ = 0;
  uint64_t directoryCapacity_ = 0;
  uint64_t directoryUsed_ = 0;
  // The directory's entries in order, so that a bucket read costs one
  // block fetch; kept in step with every write.
  cmArray<btSeek> entries_;
};
