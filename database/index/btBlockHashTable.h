// btBlockHashTable: a hash index whose bucket array starts inside its root
// node and continues in bucket blocks found through a directory. Kind 4.
// btBlockHashNode is the root and the extension node: a block of kind 6
// (a btStoredObject at block + 4). B is the block size, little-endian:
//
//   OFFSET  SIZE   MEANING
//   0       4      next node: next directory extension node; 0 at the end
//   4       4      reserved link: read and kept; 0 in a new node
//   8       4      in-node buckets I = (B-348)/4 + 1, written at creation
//   12      8*41   directory: 41 pairs of u32 bucket block seek (0: none)
//                  and u32 kept unchanged
//   340     4*I    root only: buckets 0 to I-1
//
// An extension node (chained from the root's next node) continues the
// directory behind its header instead of holding buckets: (B-344)/8 + 41
// pairs from offset 12. A bucket block (kind 5, zeroed when allocated)
// holds S = (B-4)/4 buckets behind its tag. Bucket b >= I lies in block
// k = (b-I)/S + 1, slot (b-I) % S, named by directory entry k-1: entries
// 0-40 in the root, the rest in the extension chain in order.
//
// Ownership and threading: as btAbstractHashTable.
#pragma once

#include <cstdint>

#include "database/btStoredObject.h"
#include "database/index/btAbstractHashTable.h"

class btBlockHashNode : public btStoredObject {
 public:
  static constexpr uint32_t kHeader = 12;
  static constexpr uint32_t kRootPairs = 41;
  static constexpr uint32_t kBucketsAt = 340;

  // Whether the node was loaded as the root (holds buckets) or as an
  // extension (holds directory pairs behind the header).
  explicit btBlockHashNode(bool root = true) : root_(root) {}

  uint32_t storedSize() const override;
  int32_t unpack() override;

  static uint32_t inNodeBuckets(uint64_t blockSize) {
    return static_cast<uint32_t>((blockSize - 348) / 4 + 1);
  }
  static uint32_t extensionPairs(uint64_t blockSize) {
    return static_cast<uint32_t>((blockSize - 344) / 8 + kRootPairs);
  }
  uint32_t pairCount() const;
  btSeek directoryEntry(uint32_t i) const;
  void setDirectoryEntry(uint32_t i, btSeek seek);
  uint32_t bucket(uint32_t i) const;
  void setBucket(uint32_t i, uint32_t value);
  void setNextNode(btSeek seek);

  btSeek nextNode = 0;
  uint32_t reservedLink = 0;
  uint32_t inNode = 0;

 private:
  bool root_;
};

class btBlockHashTable : public btAbstractHashTable {
 public:
  explicit btBlockHashTable(btIndexDefinition* definition);

  uint32_t indexKind() const override { return BT_INDEX_BLOCK_HASH; }
  void setDefinition(btIndexDefinition* definition) override;
  int32_t removeAll(btIndexIterator* it) override;
  uint64_t bucketCount(btCacheFile* cacheFile) override;
  uint32_t readBucket(btCacheFile* cacheFile, uint64_t bucket) override;
  int32_t writeBucket(btDatabase* database, uint64_t bucket, uint32_t value) override;
  int32_t reopen() override;

  // Allocates the root node and stores it in the definition.
  static int32_t create(btDatabase* database, btIndexDefinition* definition);

 private:
  // Directory entry e: the node holding it (loaded into `node`) and the
  // pair index there. With `extend`, missing extension nodes are made.
  int32_t locateEntry(btDatabase* database, uint64_t e, bool extend, btBlockHashNode* node,
                      uint32_t* pair);
  // Number of directory entries up to the last one in use.
  int32_t scanDirectory();
  // Writes `value` into slot `slot` of the bucket block at `seek`.
  int32_t storeInBucketBlock(btDatabase* database, btSeek seek, uint64_t slot, uint32_t value);

  btSeek scannedRoot_ = 0;
  uint64_t directoryUsed_ = 0;
  // Directory entries in order (root, then extension nodes), so that a
  // bucket read costs one block fetch; kept in step with every write.
  cmArray<btSeek> entries_;
};
