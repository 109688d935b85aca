// btAbstractHashTable: the shared logic of the three persistent hash
// indexes (small, large, block). A bucket holds the seek of the first record
// of its chain, or 0; every record that falls into a bucket, colliding keys
// and duplicates alike, hangs in one circular chain through the index's link
// pair in the record images (btIndexIterator.h). The bucket of a key is its
// keyHash modulo the bucket count fixed by the definition's threshold; a
// table never rehashes, and bucket storage is allocated only where a bucket
// is first written. The subclasses differ only in where buckets lie.
//
// Bucket cache: buckets 0 to 65,535 are kept in memory once read (0 not
// read yet, 0xFFFFFFFF read and empty, else the content), updated by every
// write through the table, and guarded by a recursive lock of its own that
// nests inside the cache lock. Each operation takes it once behind the
// database and cache locks, so that its bucket reads re-enter cheaply; a
// bare `bucket` call leaves it before reading storage.
//
// Ownership: owned by its definition. Threading: operations take the
// database lock and the cache lock of the file; the bucket cache has its
// own mutex.
#pragma once

#include <cstdint>
#include <optional>

#include "database/btRecursiveLock.h"
#include "database/index/btIndexLock.h"
#include "database/index/btIndexStructure.h"
#include "runtime/cmArray.h"

class btAbstractHashTable : public btIndexStructure {
 public:
  static constexpr uint64_t kCachedBuckets = 65536;

  explicit btAbstractHashTable(btIndexDefinition* definition);

  void setDefinition(btIndexDefinition* definition) override;
  int32_t collectNeighbours(btIndexIterator* it, uint32_t* seeks, uint32_t* count,
                            uint32_t maxCount) override;
  int32_t insertKey(btIndexIterator* it, btStoredRecord* record, btSeek seek) override;
  int32_t removeCurrent(btIndexIterator* it) override;
  int32_t find(btIndexIterator* it, const btStoredRecord* key, btSeek record,
               bool hashOnly) override;
  int32_t first(btIndexIterator* it) override;
  int32_t last(btIndexIterator* it) override;
  int32_t previous(btIndexIterator* it) override;
  int32_t next(btIndexIterator* it) override;
  int32_t nextEqual(btIndexIterator* it) override;
  int32_t previousEqual(btIndexIterator* it) override;
  int32_t unlinkDuplicate(btIndexIterator* it, btStoredRecord* record, btSeek seek) override;

  // ---- Slots added behind the common ones, in order ---------------------
  // Buckets that the storage reaches now (scans stop there).
  virtual uint64_t bucketCount(btCacheFile* cacheFile) = 0;
  // A bucket's content; 0 where no storage exists.
  virtual uint32_t readBucket(btCacheFile* cacheFile, uint64_t bucket) = 0;
  // Stores a bucket, allocating storage on the way.
  virtual int32_t writeBucket(btDatabase* database, uint64_t bucket, uint32_t value) = 0;
  // From *bucket + 1 up to `limit`, the first non-empty bucket: its content,
  // and *bucket set to it; 0 at the end.
  virtual uint32_t nextBucket(btCacheFile* cacheFile, uint64_t* bucket, uint64_t limit);
  // From *bucket - 1 down to `limit`, the mirror image.
  virtual uint32_t previousBucket(btCacheFile* cacheFile, uint64_t* bucket, uint64_t limit);
  // ---- End of slots -------------------------------------------------------

  // find, leaving in `*found` a view of the last record whose key it
  // compared (or `*found` untouched when it read none); when that is the
  // iterator's record the caller need not load it again.
  int32_t findKeeping(btIndexIterator* it, const btStoredRecord* key, btStoredRecord* found);

  // Buckets by the definition's threshold: what keys are hashed over.
  uint64_t hashBuckets() const { return buckets_; }
  // bucketCount, remembered until the next bucket write.
  uint64_t storedBucketCount(btCacheFile* cacheFile);
  // A bucket through the cache, and a write through it.
  uint32_t bucket(btCacheFile* cacheFile, uint64_t b);
  int32_t setBucket(btDatabase* database, uint64_t b, uint32_t value);
  // Forgets every cached bucket and the remembered count.
  void clearCache();

 protected:
  // Positions the iterator on the chain whose head is `head` in bucket `b`.
  static void standOnHead(btIndexIterator* it, uint64_t b, btSeek head);
  // Positions on the last record of the chain of `head`.
  int32_t standOnTail(btIndexIterator* it, uint64_t b, btSeek head);
  bool hasLinks() const;

  // The locks of one operation: database, cache file, then the bucket cache.
  class OperationLock {
   public:
    OperationLock(btAbstractHashTable* table, bool write);
    ~OperationLock();
    OperationLock(const OperationLock&) = delete;
    OperationLock& operator=(const OperationLock&) = delete;

   private:
    btIndexLock index_;
    btRecursiveLock* buckets_;
  };

  uint64_t buckets_ = 0;
  uint64_t countCache_ = 0;
  // Bucket writes so far: a bucket that a find read stays good for the
  // insert after it while this has not moved.
  uint32_t bucketWrites_ = 0;
  btStoredRecord* keep_ = nullptr;  // see findKeeping
  cmArray<uint32_t> cache_;
  btRecursiveLock cacheLock_;
  bool useCacheLock_ = true;
};
