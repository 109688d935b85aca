#include "database/index/btSmallHashTable.h"

#include <cstring>

#include "database/btBlockStorage.h"
#include "database/btDatabase.h"
#include "database/btSeekSet.h"
#include "database/btStatus.h"
#include "database/index/btIndexIterator.h"
#include "database/index/btIndexLock.h"

namespace {

// A new whole-block set of kind 5; its seek, or 0 with *status set.
btSeek newSetBlock(btDatabase* db, int32_t* status) {
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

}  // namespace

btSmallHashTable::btSmallHashTable(btIndexDefinition* d) : btAbstractHashTable(d) {}

void btSmallHashTable::setDefinition(btIndexDefinition* d) {
  btAbstractHashTable::setDefinition(d);
  sets_.clear(true);
  loadedRoot_ = 0;
}

int32_t btSmallHashTable::reopen() {
  sets_.clear(true);
  loadedRoot_ = 0;
  clearCache();
  return definition_ && definition_->root ? loadChain() : BT_STATUS_NO_INDEX_ROOT;
}

int32_t btSmallHashTable::create(btDatabase* db, btIndexDefinition* d) {
  if (!db || !d) return BT_STATUS_NO_DATABASE;
  btIndexLock lock(db, true);
  int32_t status = 0;
  btSeek root = newSetBlock(db, &status);
  if (!root) return status;
  d->setRoot(root);
  d->setFirstNode(root);
  d->setLastNode(root);
  return 0;
}

int32_t btSmallHashTable::loadChain() {
  btCacheFile* cf = cacheFile();
  if (!cf) return BT_STATUS_NO_DATABASE;
  sets_.clear(false);
  loadedRoot_ = 0;
  uint64_t maxSets = cf->database ? cf->database->logicalFileSize() / cf->blockSize + 1 : 1;
  uint64_t base = 0;
  for (btSeek seek = definition_->root; seek;) {
    if (static_cast<uint64_t>(sets_.size()) >= maxSets) return BT_STATUS_BAD_LIST;
    btSeekSet s;
    int32_t rc = loadObject(&s, cf, seek, false);
    if (rc < 0) return rc;
    sets_.add(SetInfo{seek, base, s.count, s.capacity});
    base += s.count;
    seek = s.shortForm ? 0 : s.next;
  }
  loadedRoot_ = definition_->root;
  return 0;
}

uint64_t btSmallHashTable::bucketCount(btCacheFile* cf) {
  (void)cf;
  if (loadedRoot_ != definition_->root && loadChain() < 0) return 0;
  if (sets_.size() == 0) return 0;
  const SetInfo& last = sets_.last();
  return last.base + last.count;
}

uint32_t btSmallHashTable::readBucket(btCacheFile* cf, uint64_t b) {
  if (loadedRoot_ != definition_->root && loadChain() < 0) return 0;
  // Sets are few; the last one whose base is at or below b holds it.
  for (int64_t i = sets_.size() - 1; i >= 0; i--) {
    const SetInfo& info = sets_[i];
    if (info.base > b) continue;
    if (b - info.base >= info.count) return 0;
    btSeekSet s;
    if (loadObject(&s, cf, info.seek, false) < 0) return 0;
    return s.valueAt(static_cast<uint32_t>(b - info.base));
  }
  return 0;
}

int32_t btSmallHashTable::writeBucket(btDatabase* db, uint64_t b, uint32_t value) {
  if (!db) return BT_STATUS_NO_DATABASE;
  btIndexLock lock(db, true);
  btCacheFile* cf = db->getCacheFile();
  int32_t rc = 0;
  if (loadedRoot_ != definition_->root && (rc = loadChain()) < 0) return rc;
  if (sets_.size() == 0) return BT_STATUS_NO_INDEX_ROOT;
  while (true) {
    SetInfo& last = sets_.last();
    btSeekSet s;
    for (int64_t i = sets_.size() - 1; i >= 0; i--) {
      SetInfo& info = sets_[i];
      if (info.base > b || b - info.base >= info.count) continue;
      if ((rc = loadObject(&s, cf, info.seek, false)) < 0) return rc;
      s.setValueAt(static_cast<uint32_t>(b - info.base), value);
      return 0;
    }
    if (value == 0) return 0;  // beyond the list a bucket already reads 0
    if ((rc = loadObject(&s, cf, last.seek, false)) < 0) return rc;
    while (s.count < s.capacity && last.base + s.count <= b) {
      if ((rc = s.insert(0, false)) < 0) return rc;
    }
    last.count = s.count;
    if (last.base + last.count > b) continue;
    // The last set is full: chain another.
    int32_t status = 0;
    btSeek seek = newSetBlock(db, &status);
    if (!seek) return status;
    s.setNext(seek);
    btSeekSet added;
    if ((rc = loadObject(&added, cf, seek, false)) < 0) return rc;
    added.setPrev(last.seek);
    uint64_t base = last.base + last.count;
    sets_.add(SetInfo{seek, base, 0, added.capacity});
  }
}

int32_t btSmallHashTable::removeAll(btIndexIterator* it) {
  int32_t rc = checkReachable();
  if (rc < 0) return rc;
  btDatabase* db = database();
  btIndexLock lock(db, true);
  if (loadedRoot_ != definition_->root && (rc = loadChain()) < 0) return rc;
  clearCache();
  for (int64_t i = 0; i < sets_.size(); i++) {
    rc = freeBlock(db, cacheFile(), sets_[i].seek);
    if (rc < 0) return rc;
  }
  sets_.clear(false);
  loadedRoot_ = 0;
  rc = create(db, definition_);
  if (rc < 0) return rc;
  definition_->openedRoot = definition_->root;
  if (it) it->clearPosition();
  return loadChain();
}
