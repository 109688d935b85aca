// btSmallHashTable: a hash index whose bucket array is a stored list
// (btSeekSet) at the definition's root: bucket b is value b of the list,
// counted across its chain of sets. Kinds 3 and 17 (17 reports 3).
//
// Storage, as this class writes it: each set of the chain fills one whole
// block of kind 5 (long form, capacity (B-16)/4; layout in btSeekSet.h),
// so the root never moves; a bucket beyond the list's count reads 0, and
// writing it extends the count with zeros and, when the last set is full,
// chains a new set behind it. Every set but the last is full.
//
//   OFFSET (in block)  SIZE  MEANING
//   0                  4     block tag, kind 5
//   4                  12    btSeekSet header: next set, previous set, capacity, count
//   16                 4*c   buckets: seek of a chain head, or 0
//
// Ownership and threading: as btAbstractHashTable.
#pragma once

#include <cstdint>

#include "database/index/btAbstractHashTable.h"
#include "runtime/cmArray.h"

class btSmallHashTable : public btAbstractHashTable {
 public:
  explicit btSmallHashTable(btIndexDefinition* definition);

  uint32_t indexKind() const override { return BT_INDEX_SMALL_HASH; }
  void setDefinition(btIndexDefinition* definition) override;
  int32_t removeAll(btIndexIterator* it) override;
  uint64_t bucketCount(btCacheFile* cacheFile) override;
  uint32_t readBucket(btCacheFile* cacheFile, uint64_t bucket) override;
  int32_t writeBucket(btDatabase* database, uint64_t bucket, uint32_t value) override;
  int32_t reopen() override;

  // Allocates an empty root list and stores it in the definition.
  static int32_t create(btDatabase* database, btIndexDefinition* definition);

 private:
  // Reads the chain of sets into sets_; 0 or a status.
  int32_t loadChain();

  struct SetInfo {
    btSeek seek;
    uint64_t base;
    uint32_t count;
    uint32_t capacity;
  };
  cmArray<SetInfo> sets_;
  btSeek loadedRoot_ = 0;
};
