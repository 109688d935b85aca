#include "database/index/btAbstractHashTable.h"

#include "database/btDatabase.h"
#include "database/btFieldCompare.h"
#include "database/btStatus.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"
#include "database/index/btIndexIterator.h"
#include "database/index/btIndexKey.h"
#include "database/index/btIndexLock.h"

namespace {

constexpr uint32_t kEmptyMark = 0xFFFFFFFFu;
// Longest walk of a chain when the table's record count says nothing.
constexpr uint64_t kMaxSteps = 1ull << 30;
// Buckets looked at on each side of the iterator when collecting neighbours.
constexpr uint64_t kNeighbourWindow = 65536;
// Marks the iterator's found key as hashed by this kind (the hash stands
// in place of a summary).
constexpr uint64_t kHashedKey = ~0ull;
// Marks the found key's bucket content as known (kept in summaryHi's low
// half, with the bucket write count it was read at in `node`).
constexpr uint64_t kBucketKnown = 1ull << 32;

}  // namespace

btAbstractHashTable::btAbstractHashTable(btIndexDefinition* d) : btIndexStructure(d) {
  buckets_ = d ? d->conversionCount : 0;
}

void btAbstractHashTable::setDefinition(btIndexDefinition* d) {
  btIndexStructure::setDefinition(d);
  buckets_ = d ? d->conversionCount : 0;
  clearCache();
}

bool btAbstractHashTable::hasLinks() const {
  return definition_ && btIndexHasLinks(definition_);
}

btAbstractHashTable::OperationLock::OperationLock(btAbstractHashTable* table, bool write)
    : index_(table->database(), write), buckets_(table->useCacheLock_ ? &table->cacheLock_ : nullptr) {
  if (buckets_) buckets_->lock();
}

btAbstractHashTable::OperationLock::~OperationLock() {
  if (buckets_) buckets_->unlock();
}

void btAbstractHashTable::clearCache() {
  bucketWrites_++;  // every bulk change of the buckets comes here
  std::unique_lock<btRecursiveLock> lock(cacheLock_, std::defer_lock);
  if (useCacheLock_) lock.lock();
  cache_.clear(true);
  countCache_ = 0;
}

uint64_t btAbstractHashTable::storedBucketCount(btCacheFile* cf) {
  if (countCache_) return countCache_;
  countCache_ = bucketCount(cf);
  return countCache_;
}

uint32_t btAbstractHashTable::bucket(btCacheFile* cf, uint64_t b) {
  if (b >= kCachedBuckets) return readBucket(cf, b);
  {
    std::unique_lock<btRecursiveLock> lock(cacheLock_, std::defer_lock);
    if (useCacheLock_) lock.lock();
    if (static_cast<int64_t>(b) < cache_.size() && cache_[static_cast<int64_t>(b)]) {
      uint32_t v = cache_[static_cast<int64_t>(b)];
      return v == kEmptyMark ? 0 : v;
    }
  }
  uint32_t v = readBucket(cf, b);
  std::unique_lock<btRecursiveLock> lock(cacheLock_, std::defer_lock);
  if (useCacheLock_) lock.lock();
  if (cache_.size() == 0) {
    uint64_t n = buckets_ < kCachedBuckets ? buckets_ : kCachedBuckets;
    cache_.setSize(static_cast<int64_t>(n));  // new elements are 0: "not read yet"
  }
  if (static_cast<int64_t>(b) < cache_.size()) cache_[static_cast<int64_t>(b)] = v ? v : kEmptyMark;
  return v;
}

int32_t btAbstractHashTable::setBucket(btDatabase* db, uint64_t b, uint32_t value) {
  int32_t rc = writeBucket(db, b, value);
  bucketWrites_++;
  std::unique_lock<btRecursiveLock> lock(cacheLock_, std::defer_lock);
  if (useCacheLock_) lock.lock();
  countCache_ = 0;
  if (static_cast<int64_t>(b) < cache_.size())
    cache_[static_cast<int64_t>(b)] = rc < 0 ? 0 : (value ? value : kEmptyMark);
  return rc;
}

uint32_t btAbstractHashTable::nextBucket(btCacheFile* cf, uint64_t* b, uint64_t limit) {
  for (uint64_t i = *b + 1; i < limit; i++) {
    uint32_t v = bucket(cf, i);
    if (v) {
      *b = i;
      return v;
    }
  }
  return 0;
}

uint32_t btAbstractHashTable::previousBucket(btCacheFile* cf, uint64_t* b, uint64_t limit) {
  for (uint64_t i = *b; i > limit;) {
    --i;
    uint32_t v = bucket(cf, i);
    if (v) {
      *b = i;
      return v;
    }
  }
  return 0;
}

void btAbstractHashTable::standOnHead(btIndexIterator* it, uint64_t b, btSeek head) {
  it->position = b;
  it->record = head;
  it->chainHead = static_cast<int32_t>(head);
  it->chainPosition = 0;
  it->compare = 0;
}

int32_t btAbstractHashTable::standOnTail(btIndexIterator* it, uint64_t b, btSeek head) {
  standOnHead(it, b, head);
  if (!hasLinks()) return 0;
  btSeek tail = 0;
  int32_t rc = it->readLinks(head, nullptr, &tail);
  if (rc < 0) return rc;
  if (tail && tail != head) {
    it->record = tail;
    it->chainPosition = 1;
  }
  return 0;
}

int32_t btAbstractHashTable::find(btIndexIterator* it, const btStoredRecord* key, btSeek r,
                                  bool hashOnly) {
  (void)hashOnly;
  int32_t rc = checkReachable();
  if (rc < 0) return rc;
  OperationLock lock(this, false);
  btCacheFile* cf = cacheFile();
  if (buckets_ == 0) {
    it->clearPosition();
    return BT_STATUS_NOT_FOUND;
  }
  uint32_t wanted = keyHash(key, definition_);
  uint64_t b = wanted % buckets_;
  btSeek h = bucket(cf, b);
  it->clearPosition();
  it->position = b;
  it->hash = wanted;
  it->found = {key, bucketWrites_, kHashedKey, kBucketKnown | h, wanted};
  if (!h) return BT_STATUS_NOT_FOUND;
  standOnHead(it, b, h);
  if (h == r) return 0;
  if (r) {
    rc = hasLinks() ? it->chainSeek(r) : BT_STATUS_NOT_FOUND;
    if (rc < 0) it->clearPosition();
    return rc;
  }
  uint64_t limit = table()->hdr.recordCount ? table()->hdr.recordCount : kMaxSteps;
  bool oneKey = (definition_->indexFlags & BT_INDEX_ONE_KEY_CHAINS) != 0;
  // A damaged chain may loop without passing its head. Brent's check finds
  // the loop with two words instead of a set of every record seen; all it
  // meets after the loop closed were compared already, so the answer is the
  // same, only a few steps later.
  btSeek mark = h;
  uint64_t lap = 0, power = 1;
  btSeek s = h;
  for (uint64_t steps = 0; s; steps++) {
    if (steps >= kMaxSteps || steps > limit) break;
    if (steps > 0) {
      if (s == mark) break;
      if (++lap == power) {
        mark = s;
        power *= 2;
        lap = 0;
      }
    }
    btStoredRecord local;
    btStoredRecord& rec = keep_ && keep_ != key ? *keep_ : local;
    rec.returnBorrowedImage();
    rc = btLoadIndexRecord(definition_, s, &rec);
    if (rc < 0) {
      it->clearPosition();
      return rc;
    }
    if (keyHash(&rec, definition_) == wanted && compareKeys(key, &rec, definition_) == 0) {
      it->record = s;
      it->chainPosition = steps;
      return 0;
    }
    if (oneKey || !hasLinks()) break;
    btSeek n = 0;
    if (it->readLinks(s, &n, nullptr) < 0) break;
    if (n == h) break;
    s = n;
  }
  it->clearPosition();
  return BT_STATUS_NOT_FOUND;
}

int32_t btAbstractHashTable::findKeeping(btIndexIterator* it, const btStoredRecord* key,
                                         btStoredRecord* found) {
  keep_ = found;
  int32_t rc = find(it, key, BT_FIND_ANY, false);
  keep_ = nullptr;
  return rc;
}

int32_t btAbstractHashTable::insertKey(btIndexIterator* it, btStoredRecord* record, btSeek s) {
  int32_t rc = checkReachable();
  if (rc < 0) return rc;
  btDatabase* db = database();
  OperationLock lock(this, true);
  if (buckets_ == 0) return BT_STATUS_NO_MEMORY;
  // The find before the insert hashed this very key record already.
  const btIndexIterator::FoundKey& f = it->found;
  bool hashed = f.key == record && f.position == kHashedKey;
  uint32_t hash = hashed ? static_cast<uint32_t>(f.summaryLo) : keyHash(record, definition_);
  uint64_t b = hash % buckets_;
  // The find before read this bucket too, and no bucket was written since.
  btSeek h = hashed && (f.summaryHi & kBucketKnown) && f.node == bucketWrites_
                 ? static_cast<btSeek>(f.summaryHi)
                 : bucket(cacheFile(), b);
  if (!h) {
    rc = setBucket(db, b, s);
    if (rc < 0) return rc;
    standOnHead(it, b, s);
    return 0;
  }
  if (!hasLinks()) return BT_STATUS_HASH_COLLISION;
  standOnHead(it, b, h);
  return it->chainAdd(s);
}

int32_t btAbstractHashTable::unlinkDuplicate(btIndexIterator* it, btStoredRecord* record,
                                             btSeek seek) {
  int32_t rc = checkReachable();
  if (rc < 0) return rc;
  btDatabase* db = database();
  OperationLock lock(this, true);
  if (!hasLinks()) return BT_STATUS_HASH_COLLISION;
  // The bucket of the record's key tells whether it heads its chain.
  uint64_t b = 0;
  btSeek h = 0;
  if (record && buckets_) {
    b = keyHash(record, definition_) % buckets_;
    h = bucket(cacheFile(), b);
    it->chainHead = static_cast<int32_t>(h);
  }
  btSeek head = 0;
  rc = it->unlinkDuplicate(seek, false, &head);
  if (rc < 0) return rc;
  if (h && h == seek) rc = setBucket(db, b, head);
  return rc;
}

int32_t btAbstractHashTable::removeCurrent(btIndexIterator* it) {
  int32_t rc = checkReachable();
  if (rc < 0) return rc;
  btDatabase* db = database();
  OperationLock lock(this, true);
  if (!it->record) return BT_STATUS_NOT_FOUND;
  uint64_t b = it->position;
  btSeek h = bucket(cacheFile(), b);
  if (!h) return BT_STATUS_NOT_FOUND;
  if (!hasLinks()) {
    rc = setBucket(db, b, 0);
    it->clearPosition();
    return rc;
  }
  btSeek d = it->record;
  it->chainHead = static_cast<int32_t>(h);
  btSeek newHead = 0;
  rc = it->unlinkDuplicate(d, false, &newHead);
  if (rc < 0) return rc;
  if (d == h) rc = setBucket(db, b, newHead);
  return rc;
}

int32_t btAbstractHashTable::first(btIndexIterator* it) {
  int32_t rc = checkReachable();
  if (rc < 0) return rc;
  OperationLock lock(this, false);
  btCacheFile* cf = cacheFile();
  uint64_t b = UINT64_MAX;
  btSeek h = nextBucket(cf, &b, storedBucketCount(cf));
  if (!h) {
    it->clearPosition();
    return BT_STATUS_NOT_FOUND;
  }
  standOnHead(it, b, h);
  return 0;
}

int32_t btAbstractHashTable::last(btIndexIterator* it) {
  int32_t rc = checkReachable();
  if (rc < 0) return rc;
  OperationLock lock(this, false);
  btCacheFile* cf = cacheFile();
  uint64_t b = storedBucketCount(cf);
  btSeek h = previousBucket(cf, &b, 0);
  if (!h) {
    it->clearPosition();
    return BT_STATUS_NOT_FOUND;
  }
  rc = standOnTail(it, b, h);
  if (rc < 0) it->clearPosition();
  return rc;
}

int32_t btAbstractHashTable::next(btIndexIterator* it) {
  int32_t rc = checkReachable();
  if (rc < 0) return rc;
  OperationLock lock(this, false);
  if (!it->record) return BT_STATUS_NOT_FOUND;
  if (hasLinks()) {
    rc = it->chainNext(nullptr);
    if (rc != BT_STATUS_NOT_FOUND) {
      if (rc < 0) it->clearPosition();
      return rc;
    }
  }
  btCacheFile* cf = cacheFile();
  uint64_t b = it->position;
  btSeek h = nextBucket(cf, &b, storedBucketCount(cf));
  if (!h) {
    it->clearPosition();
    return BT_STATUS_NOT_FOUND;
  }
  standOnHead(it, b, h);
  return 0;
}

int32_t btAbstractHashTable::previous(btIndexIterator* it) {
  int32_t rc = checkReachable();
  if (rc < 0) return rc;
  OperationLock lock(this, false);
  if (!it->record) return BT_STATUS_NOT_FOUND;
  if (hasLinks()) {
    rc = it->chainPrevious(nullptr);
    if (rc != BT_STATUS_NOT_FOUND) {
      if (rc < 0) it->clearPosition();
      return rc;
    }
  }
  btCacheFile* cf = cacheFile();
  uint64_t b = it->position;
  btSeek h = previousBucket(cf, &b, 0);
  if (!h) {
    it->clearPosition();
    return BT_STATUS_NOT_FOUND;
  }
  rc = standOnTail(it, b, h);
  if (rc < 0) it->clearPosition();
  return rc;
}

int32_t btAbstractHashTable::nextEqual(btIndexIterator* it) {
  int32_t rc = checkReachable();
  if (rc < 0) return rc;
  OperationLock lock(this, false);
  if (!it->record) return BT_STATUS_NOT_FOUND;
  if (!hasLinks()) {
    it->clearPosition();
    return BT_STATUS_NOT_FOUND;
  }
  btStoredRecord key;
  rc = btLoadIndexRecord(definition_, it->record, &key);
  if (rc < 0) return rc;
  rc = it->chainNext(&key);
  if (rc < 0) it->clearPosition();
  return rc;
}

int32_t btAbstractHashTable::previousEqual(btIndexIterator* it) {
  int32_t rc = checkReachable();
  if (rc < 0) return rc;
  OperationLock lock(this, false);
  if (!it->record) return BT_STATUS_NOT_FOUND;
  if (!hasLinks()) {
    it->clearPosition();
    return BT_STATUS_NOT_FOUND;
  }
  btStoredRecord key;
  rc = btLoadIndexRecord(definition_, it->record, &key);
  if (rc < 0) return rc;
  rc = it->chainPrevious(&key);
  if (rc < 0) it->clearPosition();
  return rc;
}

int32_t btAbstractHashTable::collectNeighbours(btIndexIterator* it, uint32_t* seeks,
                                               uint32_t* count, uint32_t maxCount) {
  int32_t rc = checkReachable();
  if (rc < 0) return rc;
  OperationLock lock(this, false);
  if (!it->record || *count >= maxCount) return 0;
  btCacheFile* cf = cacheFile();
  seeks[(*count)++] = it->record;
  if (hasLinks() && (definition_->indexFlags & BT_INDEX_DUPLICATES)) {
    btIndexIterator walk(*it);
    while (*count < maxCount && walk.chainNext(nullptr) == 0) seeks[(*count)++] = walk.record;
  }
  uint64_t limit = storedBucketCount(cf);
  uint64_t here = it->position;
  uint64_t b = here;
  uint64_t end = here + kNeighbourWindow < limit ? here + kNeighbourWindow : limit;
  while (*count < maxCount) {
    btSeek h = nextBucket(cf, &b, end);
    if (!h) break;
    seeks[(*count)++] = h;
  }
  b = here;
  uint64_t low = here > kNeighbourWindow ? here - kNeighbourWindow : 0;
  while (*count < maxCount) {
    btSeek h = previousBucket(cf, &b, low);
    if (!h) break;
    seeks[(*count)++] = h;
  }
  return 0;
}
