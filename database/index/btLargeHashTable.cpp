#include "database/index/btLargeHashTable.h"

#include <cstring>

#include "database/btBlockStorage.h"
#include "database/btDatabase.h"
#include "database/btMultiBlock.h"
#include "database/btSeekSet.h"
#include "database/btStatus.h"
#include "database/index/btIndexIterator.h"
#include "database/index/btIndexLock.h"

namespace {

btSeek newDirectoryBlock(btDatabase* db, int32_t* status) {
  btCacheFile* cf = db->getCacheFile();
  btBlockPin pin;
  btSeek seek = allocateBlock(db, cf, BT_BLOCK_HASH_BUCKET, status, &pin);
  if (!seek) {
    if (*status >= 0) *status = BT_STATUS_NO_MEMORY;
    return 0;
  }
  std::memset(pin.data() + 4, 0, cf->blockSize - 4);
  btSeekSet::formatLong(pin.data() + 4, btSeekSet::fullBlockCapacity(cf->blockSize));
  cf->markBlockDirty(pin.data());
  db->noteChange();
  return seek;
}

uint64_t bucketsPerBlock(const btCacheFile* cf) { return (cf->blockSize - 4) / 4; }

// Calls visit(set) for each set of the directory chain.
template <class Visit>
int32_t walkDirectory(btCacheFile* cf, btSeek root, Visit visit) {
  uint64_t maxSets = cf->database ? cf->database->logicalFileSize() / cf->blockSize + 1 : 1;
  uint64_t n = 0;
  for (btSeek seek = root; seek; n++) {
    if (n >= maxSets) return BT_STATUS_BAD_LIST;
    btSeekSet s;
    int32_t rc = loadObject(&s, cf, seek, false);
    if (rc < 0) return rc;
    rc = visit(s, seek);
    if (rc < 0) return rc;
    seek = s.shortForm ? 0 : s.next;
  }
  return 0;
}

}  // namespace

btLargeHashTable::btLargeHashTable(btIndexDefinition* d) : btAbstractHashTable(d) {}

void btLargeHashTable::setDefinition(btIndexDefinition* d) {
  btAbstractHashTable::setDefinition(d);
  scannedRoot_ = 0;
}

int32_t btLargeHashTable::reopen() {
  scannedRoot_ = 0;
  clearCache();
  return definition_ && definition_->root ? scanDirectory() : BT_STATUS_NO_INDEX_ROOT;
}

int32_t btLargeHashTable::create(btDatabase* db, btIndexDefinition* d) {
  if (!db || !d) return BT_STATUS_NO_DATABASE;
  btIndexLock lock(db, true);
  int32_t status = 0;
  btSeek root = newDirectoryBlock(db, &status);
  if (!root) return status;
  d->setRoot(root);
  d->setFirstNode(root);
  d->setLastNode(root);
  return 0;
}

int32_t btLargeHashTable::scanDirectory() {
  btCacheFile* cf = cacheFile();
  if (!cf) return BT_STATUS_NO_DATABASE;
  uint64_t capacity = 0, used = 0;
  entries_.clear(false);
  int32_t rc = walkDirectory(cf, definition_->root, [&](btSeekSet& s, btSeek) -> int32_t {
    for (uint32_t i = 0; i < s.capacity; i++) {
      btSeek entry = btReadAddress(s.valueAt(i));
      entries_.add(entry);
      if (entry) used = capacity + i + 1;
    }
    capacity += s.capacity;
    return 0;
  });
  if (rc < 0) return rc;
  directoryCapacity_ = capacity;
  directoryUsed_ = used;
  scannedRoot_ = definition_->root;
  return 0;
}

uint64_t btLargeHashTable::bucketCount(btCacheFile* cf) {
  if (scannedRoot_ != definition_->root && scanDirectory() < 0) return 0;
  return directoryUsed_ * bucketsPerBlock(cf);
}

uint32_t btLargeHashTable::readBucket(btCacheFile* cf, uint64_t b) {
  if (!definition_->root) return 0;
  if (scannedRoot_ != definition_->root && scanDirectory() < 0) return 0;
  uint64_t k = b / bucketsPerBlock(cf);
  if (k >= static_cast<uint64_t>(entries_.size())) return 0;
  btSeek entry = entries_[static_cast<int64_t>(k)];
  if (!entry) return 0;  // a hole reads as empty buckets
  uint64_t pos = cf->decode(entry);
  btBlockPin pin = btBlockPin::fetch(cf, pos - pos % cf->blockSize, BLOCK_HOLD);
  if (!pin) return 0;
  return btGet32(pin.data() + 4 + 4 * (b % bucketsPerBlock(cf)));
}

int32_t btLargeHashTable::writeBucket(btDatabase* db, uint64_t b, uint32_t value) {
  if (!db) return BT_STATUS_NO_DATABASE;
  btIndexLock lock(db, true);
  btCacheFile* cf = db->getCacheFile();
  int32_t rc = 0;
  if (scannedRoot_ != definition_->root && (rc = scanDirectory()) < 0) return rc;
  uint64_t k = b / bucketsPerBlock(cf);
  if (k >= directoryCapacity_) {
    if (value == 0) return 0;
    // Chain directory sets until entry k exists.
    btSeek lastSeek = 0;
    rc = walkDirectory(cf, definition_->root, [&](btSeekSet&, btSeek seek) -> int32_t {
      lastSeek = seek;
      return 0;
    });
    if (rc < 0) return rc;
    while (k >= directoryCapacity_) {
      int32_t status = 0;
      btSeek added = newDirectoryBlock(db, &status);
      if (!added) return status;
      btSeekSet prev, next;
      if ((rc = loadObject(&prev, cf, lastSeek, false)) < 0) return rc;
      if ((rc = loadObject(&next, cf, added, false)) < 0) return rc;
      prev.setNext(added);
      next.setPrev(lastSeek);
      directoryCapacity_ += next.capacity;
      for (uint32_t i = 0; i < next.capacity; i++) entries_.add(0);
      lastSeek = added;
    }
  }
  btMultiBlock stream;
  if ((rc = loadObject(&stream.directory(), cf, definition_->root, false)) < 0) return rc;
  if (value == 0) {
    uint32_t entry = 0;
    if (stream.directory().getAt(k, true, &entry) >= 0 && btReadAddress(entry) == 0) return 0;
  }
  rc = stream.writeElement(db, cf, b, value);
  if (rc < 0) return rc;
  if (k < static_cast<uint64_t>(entries_.size()) && !entries_[static_cast<int64_t>(k)]) {
    uint32_t entry = 0;
    stream.directory().getAt(k, true, &entry);
    entries_[static_cast<int64_t>(k)] = btReadAddress(entry);
  }
  if (k + 1 > directoryUsed_) directoryUsed_ = k + 1;
  return 0;
}

int32_t btLargeHashTable::removeAll(btIndexIterator* it) {
  int32_t rc = checkReachable();
  if (rc < 0) return rc;
  btDatabase* db = database();
  btIndexLock lock(db, true);
  btCacheFile* cf = cacheFile();
  clearCache();
  cmArray<btSeek> blocks;
  rc = walkDirectory(cf, definition_->root, [&](btSeekSet& s, btSeek seek) -> int32_t {
    for (uint32_t i = 0; i < s.capacity; i++)
      if (btSeek v = btReadAddress(s.valueAt(i))) blocks.add(v);
    blocks.add(seek);
    return 0;
  });
  if (rc < 0) return rc;
  for (btSeek s : blocks)
    if ((rc = freeBlock(db, cf, s)) < 0) return rc;
  scannedRoot_ = 0;
  rc = create(db, definition_);
  if (rc < 0) return rc;
  definition_->openedRoot = definition_->root;
  if (it) it->clearPosition();
  return scanDirectory();
}
