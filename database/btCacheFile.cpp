#include "database/btCacheFile.h"

#include <cstring>
#include <new>

#include "database/btDatabase.h"
#include "database/btFileAccess.h"
#include "database/btFileCacheFillThread.h"
#include "database/btStatus.h"
#include "runtime/cmAlloc.h"

btCacheFile::~btCacheFile() { releaseCacheFile(); }

int32_t btCacheFile::init(btDatabase* db, btFileAccess* f, uint64_t B, uint64_t budgetBytes,
                          bool mapping, bool privateCache, btFileCache* shared) {
  releaseCacheFile();
  database = db;
  file = f;
  blockSize = B;
  blockShift = B >= 2 && (B & (B - 1)) == 0 ? static_cast<uint32_t>(__builtin_ctzll(B)) : 0;
  readOnly = db ? db->readOnly != 0 : false;
  fileHandle = db ? db->fileHandle : 0;
  if (shared && !privateCache && (!shared->isConfigured() || shared->blockSize == B)) {
    cache = shared;
    ownsCache = false;
  } else {
    void* mem = cmAlloc(sizeof(btFileCache));
    if (!mem) return BT_STATUS_NO_MEMORY;
    cache = new (mem) btFileCache();
    ownsCache = true;
  }
  cache->configure(B, budgetBytes);
  int64_t bytes = f ? f->size() : -1;
  uint64_t fileBytes = bytes >= 0 ? static_cast<uint64_t>(bytes) : (db ? db->logicalFileSize() : 0);
  fileBlocksAtOpen = fileBytes / B;
  blockCapacity = fileBlocksAtOpen + 1 > 1024 ? fileBlocksAtOpen + 1 : 1024;
  blocks = static_cast<btFileCacheBlock**>(cmAlloc(blockCapacity * sizeof(btFileCacheBlock*)));
  if (!blocks) {
    blockCapacity = 0;
    return BT_STATUS_NO_MEMORY;
  }
  std::memset(blocks, 0, blockCapacity * sizeof(btFileCacheBlock*));
  blockCount = 0;
  useMapping = mapping && readOnly && mapFile();
  return 0;
}

bool btCacheFile::mapFile() {
  // Memory mapping arrives with the platform's mapping layer; until then a
  // read-only file is read through the cache like any other.
  return false;
}

uint64_t btCacheFile::decode(btSeek seek) const {
  return database ? database->decodeSeek(seek) : btSeekDecode(seek, blockSize, true);
}

bool btCacheFile::inMappedView(const void* data) const {
  auto* p = static_cast<const uint8_t*>(data);
  return mappedBase && p >= mappedBase && p < mappedBase + mappedSize;
}

bool btCacheFile::growTable(size_t blockNumber) {
  size_t len = blockNumber + blockNumber / 2;
  if (len <= blockNumber) len = blockNumber + 1;
  if (len > blockCapacity) {
    size_t cap = len > blockCapacity * 2 ? len : blockCapacity * 2;
    auto* grown = static_cast<btFileCacheBlock**>(cmRealloc(blocks, cap * sizeof(btFileCacheBlock*)));
    if (!grown) return false;
    std::memset(grown + blockCapacity, 0, (cap - blockCapacity) * sizeof(btFileCacheBlock*));
    blocks = grown;
    blockCapacity = cap;
  }
  blockCount = len;
  return true;
}

void btCacheFile::forgetBlock(btFileCacheBlock* b) {
  size_t n = static_cast<size_t>(blockNumberOf(b->position));
  if (n < blockCount && blocks[n] == b) blocks[n] = nullptr;
}

uint8_t* btCacheFile::cachedBlock(uint64_t position) {
  if (!cache) return nullptr;
  btCacheLockGuard lock(cache);
  size_t n = static_cast<size_t>(blockNumberOf(position));
  return n < blockCount && blocks[n] ? blocks[n]->data() : nullptr;
}

uint8_t* btCacheFile::getBlock(btSeek seek, uint32_t flags, uint64_t prefillCount) {
  return getBlockAt(decode(seek), flags, prefillCount);
}

uint8_t* btCacheFile::getBlockAt(uint64_t position, uint32_t flags, uint64_t prefillCount) {
  if (!cache || !blocks) return nullptr;
  uint64_t B = blockSize;
  size_t number = static_cast<size_t>(blockNumberOf(position));
  uint64_t pos = position - blockOffsetOf(position);
  if (mappedBase) {
    if (pos + B <= mappedSize) return mappedBase + pos;
    if (readOnly) return nullptr;
  }
  btCacheLockGuard lock(cache);
  btFileCacheBlock* b = number < blockCount ? blocks[number] : nullptr;
  if (!b) {
    if (readOnly && number == 0 && prefillCount && !shadowBase) {
      startPrefill(prefillCount);
      b = blockCount > 0 ? blocks[0] : nullptr;
    }
  }
  if (!b) {
    uint32_t find = flags | (readOnly ? BLOCK_CLEAN_ONLY : 0) | (shadowBase ? BLOCK_SHADOW : 0);
    int32_t status = 0;
    b = cache->findFreeBlock(this, find, &status);
    if (!b) return nullptr;
    b->position = pos;
    b->state++;  // temporary pin while the data comes in
    if (flags & BLOCK_CREATE) {
      std::memset(b->data(), 0, B);
      cache->setDirty(b);
    } else {
      int64_t got = file ? file->readAt(pos, b->data(), B) : -1;
      if (got != static_cast<int64_t>(B)) {
        cache->setUnused(b);
        return nullptr;
      }
    }
    // The table grows only for a block that is really there, so that a
    // damaged address far past the end costs nothing but a failed read.
    if (number >= blockCount && !growTable(number)) {
      cache->setUnused(b);
      return nullptr;
    }
    blocks[number] = b;
    b->state--;
    return b->data();
  }
  if (flags & BLOCK_DIRTY) cache->setDirty(b);
  if (flags & BLOCK_PIN) b->state++;
  if (!b->isHeld()) {
    if (flags & (BLOCK_HOLD | BLOCK_PIN)) {
      cache->toHeld(b);
    } else {
      cache->touch(b);
    }
  }
  return b->data();
}

void btCacheFile::startPrefill(uint64_t prefillCount) {
  uint64_t maxB = cache->maxBlocks;
  uint64_t room = maxB > cache->totalBlocks + 1 ? maxB - cache->totalBlocks - 1 : 0;
  uint64_t count = prefillCount < room ? prefillCount : room;
  uint64_t n = maxB / 2;
  if (count < n) n = count;
  uint64_t wide = maxB / 16 > count ? maxB / 16 : count;
  if (wide < n) n = wide;
  if (!getBlockAt(0, BLOCK_CLEAN_ONLY)) return;
  for (uint64_t i = 1; i < n && i <= 7; i++)
    if (!getBlockAt(i * blockSize, BLOCK_NO_OVERDRAW | BLOCK_CLEAN_ONLY)) break;
  const char* name = database ? database->canonicalName() : "";
  if (fillThread || cache->hasPrefillName(name)) return;
  void* mem = cmAlloc(sizeof(btFileCacheFillThread));
  if (!mem) return;
  auto* t = new (mem) btFileCacheFillThread(this, n);
  if (t->start()) {
    cache->addPrefillName(name);
    fillThread = t;
  } else {
    t->~btFileCacheFillThread();
    cmFree(mem);
  }
}

void btCacheFile::stopPrefill() {
  if (fillThread) fillThread->requestStop();
}

void btCacheFile::pinBlock(const void* data) {
  if (!cache || inMappedView(data)) return;
  btCacheLockGuard lock(cache);
  btFileCacheBlock* b = btFileCacheBlock::fromData(data);
  b->state++;
  cache->toHeld(b);
}

void btCacheFile::unpinBlock(const void* data) {
  if (!cache || inMappedView(data)) return;
  btCacheLockGuard lock(cache);
  btFileCacheBlock* b = btFileCacheBlock::fromData(data);
  if (b->pins() > 0) b->state--;
  if (b->pins() == 0 && !(b->isDirty() && shadowBase)) cache->toReplaceable(b);
}

void btCacheFile::markBlockDirty(const void* data) {
  if (!cache || inMappedView(data)) return;
  btCacheLockGuard lock(cache);
  cache->setDirty(btFileCacheBlock::fromData(data));
}

int32_t btCacheFile::writeBlock(btFileCacheBlock* b) {
  btCacheLockGuard lock(cache);
  return writeBlockLocked(b);
}

int32_t btCacheFile::writeBlockLocked(btFileCacheBlock* b) {
  if (readOnly) return BT_STATUS_READ_ONLY;
  if (!file) return BT_STATUS_WRITE_FAILED;
  std::lock_guard<std::recursive_mutex> fileLock(file->fileLock());
  if (database) {
    int32_t rc = database->markFileDirty();
    if (rc < 0) return rc;
  }
  uint64_t B = blockSize;
  int64_t size = file->size();
  if (size < 0) size = 0;
  uint64_t at = static_cast<uint64_t>(size);
  if (at < b->position) {
    // The file grows only here: zero blocks up to the block written.
    uint8_t* zeros = static_cast<uint8_t*>(cmAlloc(B));
    if (!zeros) return BT_STATUS_NO_MEMORY;
    std::memset(zeros, 0, B);
    while (at < b->position) {
      uint64_t n = b->position - at < B ? b->position - at : B;
      if (file->writeAt(at, zeros, n) != static_cast<int64_t>(n)) {
        cmFree(zeros);
        if (database) database->lastWriteError = BT_STATUS_WRITE_FAILED;
        return BT_STATUS_WRITE_FAILED;
      }
      at += n;
    }
    cmFree(zeros);
  }
  if (file->writeAt(b->position, b->data(), B) != static_cast<int64_t>(B)) {
    if (database) database->lastWriteError = BT_STATUS_WRITE_FAILED;
    return BT_STATUS_WRITE_FAILED;
  }
  cache->clearDirty(b);
  writesDone++;
  return 0;
}

int32_t btCacheFile::flushBlock(uint64_t position) {
  if (!cache) return 0;
  btCacheLockGuard lock(cache);
  size_t n = static_cast<size_t>(blockNumberOf(position));
  btFileCacheBlock* b = n < blockCount ? blocks[n] : nullptr;
  if (!b || b->owner != this || !b->isDirty()) return 0;
  int32_t rc = writeBlockLocked(b);
  if (rc == 0 && b->pins() == 0 && b->isHeld()) cache->toReplaceable(b);
  return rc;
}

int32_t btCacheFile::flushCacheFile(bool writeDirty, bool dropBlocks) {
  if (!cache) return 0;
  btCacheLockGuard lock(cache);
  int32_t first = 0;
  bool write = writeDirty && !readOnly;
  for (size_t i = 0; i < blockCount; i++) {
    btFileCacheBlock* b = blocks[i];
    if (!b) continue;
    if (write && first == 0 && (i == 0 || b->isDirty())) {
      int32_t rc = writeBlockLocked(b);
      if (rc < 0) first = rc;
    }
    if (dropBlocks) cache->setUnused(b);
  }
  if (dropBlocks) cache->trimToBudget();
  return first;
}

void btCacheFile::releaseCacheFile() {
  if (fillThread) {
    fillThread->requestStop();
    fillThread->~btFileCacheFillThread();
    cmFree(fillThread);
    fillThread = nullptr;
  }
  if (cache) {
    {
      btCacheLockGuard lock(cache);
      for (size_t i = 0; i < blockCount; i++)
        if (blocks[i]) cache->setUnused(blocks[i]);
    }
    if (ownsCache) {
      cache->~btFileCache();
      cmFree(cache);
    }
  }
  cache = nullptr;
  ownsCache = false;
  cmFree(blocks);
  blocks = nullptr;
  blockCount = blockCapacity = 0;
  mappedBase = nullptr;
  mappedSize = 0;
  useMapping = false;
}
