#include "database/index/btBlockHashTable.h"

#include <cstring>

#include "database/btBlockStorage.h"
#include "database/btDatabase.h"
#include "database/btStatus.h"
#include "database/index/btIndexIterator.h"
#include "database/index/btIndexLock.h"

// ---- btBlockHashNode --------------------------------------------------------

uint32_t btBlockHashNode::pairCount() const {
  if (root_ || !cacheFile) return kRootPairs;
  return extensionPairs(cacheFile->blockSize);
}

uint32_t btBlockHashNode::storedSize() const {
  if (!image) return 0;
  if (root_) return kBucketsAt + 4 * inNode;
  return kHeader + 8 * pairCount();
}

int32_t btBlockHashNode::unpack() {
  if (!image) return 0;
  if (!headerFits(kHeader)) return BT_STATUS_OBJECT_OVERRUNS_BLOCK;
  nextNode = btReadAddress(btGet32(image));
  reservedLink = btGet32(image + 4);
  inNode = btGet32(image + 8);
  uint64_t B = cacheFile ? cacheFile->blockSize : 65536;
  if (root_ && kBucketsAt + 4ull * inNode > B) return BT_STATUS_OBJECT_OVERRUNS_BLOCK;
  return 0;
}

btSeek btBlockHashNode::directoryEntry(uint32_t i) const {
  return i < pairCount() ? btReadAddress(btGet32(image + kHeader + 8 * i)) : 0;
}

void btBlockHashNode::setDirectoryEntry(uint32_t i, btSeek seek) {
  if (i >= pairCount()) return;
  btPut32(image + kHeader + 8 * i, seek);
  markImageDirty();
}

uint32_t btBlockHashNode::bucket(uint32_t i) const {
  return root_ && i < inNode ? btGet32(image + kBucketsAt + 4 * i) : 0;
}

void btBlockHashNode::setBucket(uint32_t i, uint32_t value) {
  if (!root_ || i >= inNode) return;
  btPut32(image + kBucketsAt + 4 * i, value);
  markImageDirty();
}

void btBlockHashNode::setNextNode(btSeek seek) {
  nextNode = seek;
  btPut32(image, seek);
  markImageDirty();
}

// ---- btBlockHashTable -------------------------------------------------------

namespace {

uint64_t slotsPerBlock(const btCacheFile* cf) { return (cf->blockSize - 4) / 4; }

// A zeroed block of `kind` (its usable part); seek or 0 with *status.
btSeek newZeroBlock(btDatabase* db, uint32_t kind, int32_t* status) {
  btCacheFile* cf = db->getCacheFile();
  btBlockPin pin;
  btSeek seek = allocateBlock(db, cf, kind, status, &pin);
  if (!seek) {
    if (*status >= 0) *status = BT_STATUS_NO_MEMORY;
    return 0;
  }
  std::memset(pin.data() + 4, 0, cf->blockSize - 4);
  cf->markBlockDirty(pin.data());
  db->noteChange();
  return seek;
}

// The pinned block that a bucket block seek names.
btBlockPin bucketBlock(btCacheFile* cf, btSeek seek) {
  uint64_t pos = cf->decode(seek);
  return btBlockPin::fetch(cf, pos - pos % cf->blockSize, BLOCK_HOLD);
}

}  // namespace

btBlockHashTable::btBlockHashTable(btIndexDefinition* d) : btAbstractHashTable(d) {}

void btBlockHashTable::setDefinition(btIndexDefinition* d) {
  btAbstractHashTable::setDefinition(d);
  scannedRoot_ = 0;
}

int32_t btBlockHashTable::reopen() {
  scannedRoot_ = 0;
  clearCache();
  return definition_ && definition_->root ? scanDirectory() : BT_STATUS_NO_INDEX_ROOT;
}

int32_t btBlockHashTable::create(btDatabase* db, btIndexDefinition* d) {
  if (!db || !d) return BT_STATUS_NO_DATABASE;
  btIndexLock lock(db, true);
  btCacheFile* cf = db->getCacheFile();
  if (cf->blockSize < 512) return BT_STATUS_OBJECT_OVERRUNS_BLOCK;
  int32_t status = 0;
  btSeek root = newZeroBlock(db, BT_BLOCK_HASH_ROOT, &status);
  if (!root) return status;
  btBlockHashNode node(true);
  int32_t rc = loadObject(&node, cf, root, true);
  if (rc < 0) return rc;
  btPut32(node.image + 8, btBlockHashNode::inNodeBuckets(cf->blockSize));
  node.markImageDirty();
  d->setRoot(root);
  d->setFirstNode(root);
  d->setLastNode(root);
  return 0;
}

int32_t btBlockHashTable::locateEntry(btDatabase* db, uint64_t e, bool extend,
                                      btBlockHashNode* node, uint32_t* pair) {
  btCacheFile* cf = cacheFile();
  btBlockHashNode root(true);
  int32_t rc = loadObject(&root, cf, definition_->root, false);
  if (rc < 0) return rc;
  if (e < btBlockHashNode::kRootPairs) {
    rc = loadObject(node, cf, definition_->root, true);
    *pair = static_cast<uint32_t>(e);
    return rc;
  }
  uint64_t j = e - btBlockHashNode::kRootPairs;
  uint64_t per = btBlockHashNode::extensionPairs(cf->blockSize);
  uint64_t hops = j / per;
  *pair = static_cast<uint32_t>(j % per);
  btSeek at = root.nextNode;
  btSeek from = definition_->root;
  bool fromRoot = true;
  uint64_t maxNodes = cf->database ? cf->database->logicalFileSize() / cf->blockSize + 1 : 1;
  // Nodes made on the way count as well as those the file held before.
  for (uint64_t h = 0;; h++) {
    if (h > maxNodes + hops) return BT_STATUS_BAD_LIST;
    if (!at) {
      if (!extend) return 1;
      int32_t status = 0;
      at = newZeroBlock(db, BT_BLOCK_HASH_ROOT, &status);
      if (!at) return status;
      btBlockHashNode prev(fromRoot);
      if ((rc = loadObject(&prev, cf, from, false)) < 0) return rc;
      prev.setNextNode(at);
    }
    if ((rc = loadObject(node, cf, at, true)) < 0) return rc;
    if (h == hops) return 0;
    from = at;
    fromRoot = false;
    at = node->nextNode;
  }
}

int32_t btBlockHashTable::scanDirectory() {
  btCacheFile* cf = cacheFile();
  if (!cf) return BT_STATUS_NO_DATABASE;
  btBlockHashNode root(true);
  int32_t rc = loadObject(&root, cf, definition_->root, false);
  if (rc < 0) return rc;
  uint64_t used = 0, base = 0;
  entries_.clear(false);
  for (uint32_t i = 0; i < btBlockHashNode::kRootPairs; i++) {
    entries_.add(root.directoryEntry(i));
    if (root.directoryEntry(i)) used = i + 1;
  }
  base = btBlockHashNode::kRootPairs;
  uint64_t maxNodes = cf->database ? cf->database->logicalFileSize() / cf->blockSize + 1 : 1;
  btSeek at = root.nextNode;
  for (uint64_t h = 0; at; h++) {
    if (h > maxNodes) return BT_STATUS_BAD_LIST;
    btBlockHashNode ext(false);
    if ((rc = loadObject(&ext, cf, at, false)) < 0) return rc;
    uint32_t n = ext.pairCount();
    for (uint32_t i = 0; i < n; i++) {
      entries_.add(ext.directoryEntry(i));
      if (ext.directoryEntry(i)) used = base + i + 1;
    }
    base += n;
    at = ext.nextNode;
  }
  directoryUsed_ = used;
  scannedRoot_ = definition_->root;
  return 0;
}

uint64_t btBlockHashTable::bucketCount(btCacheFile* cf) {
  if (scannedRoot_ != definition_->root && scanDirectory() < 0) return 0;
  return btBlockHashNode::inNodeBuckets(cf->blockSize) + slotsPerBlock(cf) * directoryUsed_;
}

uint32_t btBlockHashTable::readBucket(btCacheFile* cf, uint64_t b) {
  if (!definition_->root) return 0;
  uint64_t I = btBlockHashNode::inNodeBuckets(cf->blockSize);
  if (b < I) {
    btBlockHashNode root(true);
    if (loadObject(&root, cf, definition_->root, false) < 0) return 0;
    return root.bucket(static_cast<uint32_t>(b));
  }
  if (scannedRoot_ != definition_->root && scanDirectory() < 0) return 0;
  uint64_t S = slotsPerBlock(cf);
  uint64_t e = (b - I) / S;
  if (e >= static_cast<uint64_t>(entries_.size())) return 0;
  btSeek seek = entries_[static_cast<int64_t>(e)];
  if (!seek) return 0;
  btBlockPin pin = bucketBlock(cf, seek);
  if (!pin) return 0;
  return btGet32(pin.data() + 4 + 4 * ((b - I) % S));
}

int32_t btBlockHashTable::writeBucket(btDatabase* db, uint64_t b, uint32_t value) {
  if (!db) return BT_STATUS_NO_DATABASE;
  btIndexLock lock(db, true);
  btCacheFile* cf = db->getCacheFile();
  int32_t rc = 0;
  if (scannedRoot_ != definition_->root && (rc = scanDirectory()) < 0) return rc;
  uint64_t I = btBlockHashNode::inNodeBuckets(cf->blockSize);
  if (b < I) {
    btBlockHashNode root(true);
    if ((rc = loadObject(&root, cf, definition_->root, false)) < 0) return rc;
    root.setBucket(static_cast<uint32_t>(b), value);
    return 0;
  }
  uint64_t S = slotsPerBlock(cf);
  uint64_t e = (b - I) / S;
  // The directory is known from the scan: a bucket block that exists is
  // written without walking the directory nodes to it.
  btSeek known = e < static_cast<uint64_t>(entries_.size()) ? entries_[static_cast<int64_t>(e)] : 0;
  if (known) return storeInBucketBlock(db, known, (b - I) % S, value);
  uint32_t pair = 0;
  btBlockHashNode node(e < btBlockHashNode::kRootPairs);
  rc = locateEntry(db, e, value != 0, &node, &pair);
  if (rc < 0) return rc;
  if (rc > 0) return 0;  // no node and nothing to store
  btSeek seek = node.directoryEntry(pair);
  if (!seek) {
    if (value == 0) return 0;
    int32_t status = 0;
    seek = newZeroBlock(db, BT_BLOCK_HASH_BUCKET, &status);
    if (!seek) return status;
    node.setDirectoryEntry(pair, seek);
    while (static_cast<uint64_t>(entries_.size()) <= e) entries_.add(0);
    entries_[static_cast<int64_t>(e)] = seek;
  }
  if (e + 1 > directoryUsed_) directoryUsed_ = e + 1;
  return storeInBucketBlock(db, seek, (b - I) % S, value);
}

int32_t btBlockHashTable::storeInBucketBlock(btDatabase* db, btSeek seek, uint64_t slot,
                                             uint32_t value) {
  btCacheFile* cf = db->getCacheFile();
  btBlockPin pin = bucketBlock(cf, seek);
  if (!pin) return BT_STATUS_NO_MEMORY;
  btPut32(pin.data() + 4 + 4 * slot, value);
  cf->markBlockDirty(pin.data());
  db->noteChange();
  return 0;
}

int32_t btBlockHashTable::removeAll(btIndexIterator* it) {
  int32_t rc = checkReachable();
  if (rc < 0) return rc;
  btDatabase* db = database();
  btIndexLock lock(db, true);
  btCacheFile* cf = cacheFile();
  clearCache();
  btBlockHashNode root(true);
  if ((rc = loadObject(&root, cf, definition_->root, false)) < 0) return rc;
  cmArray<btSeek> blocks;
  for (uint32_t i = 0; i < btBlockHashNode::kRootPairs; i++)
    if (btSeek s = root.directoryEntry(i)) blocks.add(s);
  uint64_t maxNodes = db->logicalFileSize() / cf->blockSize + 1;
  btSeek at = root.nextNode;
  for (uint64_t h = 0; at; h++) {
    if (h > maxNodes) return BT_STATUS_BAD_LIST;
    btBlockHashNode ext(false);
    if ((rc = loadObject(&ext, cf, at, false)) < 0) return rc;
    for (uint32_t i = 0; i < ext.pairCount(); i++)
      if (btSeek s = ext.directoryEntry(i)) blocks.add(s);
    blocks.add(at);
    at = ext.nextNode;
  }
  for (btSeek s : blocks)
    if ((rc = freeBlock(db, cf, s)) < 0) return rc;
  // The root stays where it is, emptied.
  std::memset(root.image + btBlockHashNode::kHeader, 0, 8 * btBlockHashNode::kRootPairs);
  std::memset(root.image + btBlockHashNode::kBucketsAt, 0, 4ull * root.inNode);
  root.setNextNode(0);
  directoryUsed_ = 0;
  scannedRoot_ = 0;
  clearCache();
  if (it) it->clearPosition();
  return 0;
}
