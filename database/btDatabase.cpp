#include "database/btDatabase.h"

#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

#include "database/btStatus.h"
#include "database/btVariableLengthStorageBlock.h"
#include "runtime/cmAlloc.h"

namespace {

char* copyString(const char* s) {
  size_t n = std::strlen(s) + 1;
  char* p = static_cast<char*>(cmAlloc(n));
  if (p) std::memcpy(p, s, n);
  return p;
}

// Remote paths are never mapped: a UNC name, or a URL of another scheme.
bool mayMap(const char* name) {
  if ((name[0] == '\\' && name[1] == '\\') || (name[0] == '/' && name[1] == '/')) return false;
  const char* colon = std::strstr(name, "://");
  if (colon && !(colon - name == 4 && std::strncmp(name, "file", 4) == 0)) return false;
  return true;
}

}  // namespace

btDatabase::btDatabase(void* owner) : parent(owner) {}

btDatabase::~btDatabase() {
  if (isOpen()) closeDatabase();
  releaseImage();
  cacheFileStorage_.releaseCacheFile();
  freeNames();
  catalog_.clear();  // the tables unregister as chain owners
  cmFree(chainOwners_);
}

btDatabase::Lock::Lock(btDatabase* db, bool write) : db_(db) {
  db_->dbLock_.lock();
  if (write) db_->cacheFileStorage_.stopPrefill();
}

btDatabase::Lock::~Lock() { db_->dbLock_.unlock(); }

void btDatabase::freeNames() {
  cmFree(fileName);
  cmFree(fileNameCanonical);
  fileName = fileNameCanonical = nullptr;
}

int32_t btDatabase::recordNames(const char* name) {
  freeNames();
  fileName = copyString(name);
  std::error_code ec;
  std::string canonical = std::filesystem::weakly_canonical(std::filesystem::path(name), ec).string();
  fileNameCanonical = copyString(ec ? name : canonical.c_str());
  return fileName && fileNameCanonical ? 0 : BT_STATUS_NO_MEMORY;
}

uint64_t btDatabase::maxFileSize() const {
  return hdr.version < 2000 ? BT_MAX_OLD_FILE_SIZE : BT_MAX_FILE_SIZE;
}

bool btDatabase::highSeeksAllowed() const {
  return hdr.version >= 2000 && hdr.fileSize > BT_MAX_OLD_FILE_SIZE;
}

uint64_t btDatabase::decodeSeek(btSeek seek) const {
  return btSeekDecode(seek, blockSize(), highSeeksAllowed());
}

int32_t btDatabase::validate(const btDatabaseHeader& h) const {
  if (std::memcmp(h.magic, "TVDB", 4) != 0) return BT_STATUS_BAD_MAGIC;
  if (h.blockSizeField != 0 && (h.blockSizeField < 512 || h.blockSizeField % 512 != 0))
    return BT_STATUS_BAD_BLOCK_SIZE;
  uint64_t B = h.blockSize();
  uint64_t limit = h.version < 2000 ? BT_MAX_OLD_FILE_SIZE : BT_MAX_FILE_SIZE;
  if (h.fileSize < B || h.fileSize > limit) return BT_STATUS_BAD_FILE_SIZE;
  if (h.tableCount > BT_MAX_TABLES) return BT_STATUS_TOO_MANY_TABLES;
  uint64_t size = h.fileSize;
  for (uint32_t i = 0; i < h.tableCount; i++)
    if (h.tables[i] > size) return BT_STATUS_BAD_ADDRESS;
  if (h.firstTable > size || h.lastTable > size) return BT_STATUS_BAD_ADDRESS;
  bool high = h.version >= 2000 && size > BT_MAX_OLD_FILE_SIZE;
  for (uint32_t s : {h.freeBlockHead, h.dataBlockHead, h.secondDataBlockHead})
    if (btSeekDecode(s, B, high) > size) return BT_STATUS_BAD_ADDRESS;
  return 0;
}

int32_t btDatabase::unpack() {
  if (!image) return 0;
  btDatabaseHeader h;
  h.read(image);
  int32_t rc = validate(h);
  if (rc < 0) return rc;
  hdr = h;
  catalog_.rebuild();
  return 0;
}

bool btDatabase::isReadOnly() {
  std::lock_guard<std::mutex> g(guard_);
  return readOnly != 0;
}

bool btDatabase::isDirty() {
  std::lock_guard<std::mutex> g(guard_);
  return dirty;
}

void btDatabase::setDirty() {
  markImageDirty();
  noteChange();
}

void btDatabase::noteChange() {
  // The flag only rises between an open and a close, and every stored
  // change comes here: once it is up there is nothing to do.
  if (dirty.load(std::memory_order_relaxed)) return;
  std::lock_guard<std::mutex> g(guard_);
  if (!readOnly) dirty = true;
}

void btDatabase::commitHeader() {
  if (image && !readOnly && !mapped) hdr.write(image);
  setDirty();
}

void btDatabase::setApplicationVersion(uint16_t value) {
  if (readOnly || mapped || !image) return;
  hdr.applicationVersion = value;
  commitHeader();
}

void btDatabase::setDescription(const char* text) {
  if (readOnly || mapped || !image) return;
  btDatabaseHeader::copyText(hdr.description, text, sizeof hdr.description);
  commitHeader();
}

int32_t btDatabase::flushFile(int32_t handle) {
  (void)handle;
  return file_.flush();
}

int32_t btDatabase::writeHeaderImage(const uint8_t* header) {
  std::lock_guard<std::recursive_mutex> fileLock(file_.fileLock());
  if (file_.writeAt(0, header, BT_HEADER_SIZE) != BT_HEADER_SIZE) {
    lastWriteError = BT_STATUS_WRITE_FAILED;
    return BT_STATUS_WRITE_FAILED;
  }
  return 0;
}

int32_t btDatabase::markFileDirty() {
  if (headerMarked || readOnly || mapped || !image) return 0;
  std::lock_guard<std::recursive_mutex> fileLock(file_.fileLock());
  hdr.openForWrite = 1;
  hdr.write(image);
  // At close the header is detached from block 0 before the blocks go out;
  // the copy in the block must carry the marker too, or writing block 0
  // would clear it before the other blocks are safe.
  if (uint8_t* block0 = cacheFileStorage_.cachedBlock(0)) block0[47] = 1;
  int32_t rc = writeHeaderImage(image);
  if (rc < 0) return rc;
  flushFile(fileHandle);
  headerMarked = true;
  return 0;
}

void btDatabase::closeHandle() {
  file_.close();
  fileHandle = -1;
}

int32_t btDatabase::createDatabase(const char* name, const char* typeTag, uint32_t B,
                                   uint64_t cacheBytes, int reserved, int privateCache) {
  (void)reserved;
  if (isOpen()) closeDatabase();
  Lock lock(this, true);
  readOnly = 0;
  if (BT_HEADER_SIZE > B || B - BT_HEADER_SIZE > 65024 || B % 512 != 0)
    return BT_STATUS_BAD_BLOCK_SIZE;
  if (!name) return BT_STATUS_FILE_NOT_FOUND;
  if (recordNames(name) < 0) return BT_STATUS_NO_MEMORY;
  uint8_t* buffer = static_cast<uint8_t*>(cmAlloc(B));
  if (!buffer) return BT_STATUS_NO_MEMORY;
  std::memset(buffer, 0, B);

  hdr = btDatabaseHeader();
  btDatabaseHeader::copyText(hdr.typeTag, typeTag, sizeof hdr.typeTag);
  hdr.blockSizeField = B == 65536 ? 0 : static_cast<uint16_t>(B);
  hdr.version = BT_FORMAT_VERSION;

  int32_t rc = file_.open(name, btFileAccess::MODE_CREATE);
  if (rc < 0) {
    cmFree(buffer);
    return rc;
  }
  fileHandle = file_.handle();
  rc = cacheFileStorage_.init(this, &file_, B, cacheBytes, false, privateCache != 0);
  if (rc == 0 && B > cacheFileStorage_.blockSize) rc = BT_STATUS_BLOCK_TOO_LARGE;
  if (rc < 0) {
    cacheFileStorage_.releaseCacheFile();
    closeHandle();
    cmFree(buffer);
    return rc;
  }
  cacheFile = &cacheFileStorage_;

  hdr.fileSize = B;
  hdr.catalogueBlockHead = B - BT_HEADER_SIZE >= 256 ? BT_HEADER_SIZE : 0;
  hdr.openForWrite = 0;
  headerMarked = false;
  lastWriteError = 0;
  hdr.write(buffer);
  rc = writeHeaderImage(buffer);
  if (rc == 0 && B - BT_HEADER_SIZE > 256) {
    btVariableLengthStorageBlock::format(buffer + BT_HEADER_SIZE,
                                         static_cast<uint16_t>(B - BT_HEADER_SIZE));
    if (file_.writeAt(BT_HEADER_SIZE, buffer + BT_HEADER_SIZE, B - BT_HEADER_SIZE) !=
        static_cast<int64_t>(B - BT_HEADER_SIZE))
      rc = BT_STATUS_WRITE_FAILED;
  }
  cmFree(buffer);
  if (rc < 0) {
    cacheFileStorage_.releaseCacheFile();
    closeHandle();
    return rc;
  }
  rc = loadObject(this, &cacheFileStorage_, 0, true, 0, true);
  if (rc < 0) {
    releaseImage();
    cacheFileStorage_.flushCacheFile(false, true);
    cacheFileStorage_.releaseCacheFile();
    closeHandle();
    return rc;
  }
  dirty = false;
  return 0;
}

int32_t btDatabase::openDatabase(const char* name, uint64_t cacheBytes, int ro, int allowMapping,
                                 int privateCache) {
  if (isOpen()) closeDatabase();
  Lock lock(this, ro == 0);
  if (!name) return BT_STATUS_FILE_NOT_FOUND;
  int32_t rc = file_.open(name, ro ? btFileAccess::MODE_READ : btFileAccess::MODE_READ_WRITE);
  readOnly = ro ? 1 : 0;
  if (rc < 0) return rc;
  fileHandle = file_.handle();
  if (recordNames(name) < 0) {
    closeHandle();
    return BT_STATUS_NO_MEMORY;
  }
  uint8_t buffer[BT_HEADER_SIZE];
  btDatabaseHeader h;
  if (file_.readAt(0, buffer, sizeof buffer) != static_cast<int64_t>(sizeof buffer)) {
    closeHandle();
    return BT_STATUS_BAD_MAGIC;
  }
  h.read(buffer);
  if (std::memcmp(h.magic, "TVDB", 4) != 0) {
    closeHandle();
    return BT_STATUS_BAD_MAGIC;
  }
  if (h.version < 1000 || h.version > BT_FORMAT_VERSION) {
    closeHandle();
    return BT_STATUS_BAD_VERSION;
  }
  if (!ro && h.version != BT_FORMAT_VERSION) {
    closeHandle();
    readOnly = 1;
    return BT_STATUS_OLD_VERSION;
  }
  if (h.openForWrite) {
    closeHandle();
    return BT_STATUS_NOT_CLOSED_CLEANLY;
  }
  uint64_t B = h.blockSize();
  if (cacheBytes / B < 4) {
    closeHandle();
    return BT_STATUS_CACHE_TOO_SMALL;
  }
  // The header is checked before the cache is shaped by its block size.
  rc = validate(h);
  if (rc < 0) {
    closeHandle();
    return rc;
  }
  hdr = h;
  bool useMapping = ro && allowMapping && mayMap(name);
  rc = cacheFileStorage_.init(this, &file_, B, cacheBytes, useMapping, privateCache != 0);
  if (rc == 0 && B > cacheFileStorage_.blockSize) rc = BT_STATUS_BLOCK_TOO_LARGE;
  if (rc < 0) {
    cacheFileStorage_.flushCacheFile(false, true);
    cacheFileStorage_.releaseCacheFile();
    closeHandle();
    return rc;
  }
  cacheFile = &cacheFileStorage_;
  uint64_t prefill = cacheFileStorage_.mappedBase ? 0 : cacheFileStorage_.fileBlocksAtOpen;
  rc = loadObject(this, &cacheFileStorage_, 0, true, prefill, true);
  if (rc < 0) {
    releaseImage();
    cacheFileStorage_.flushCacheFile(false, true);
    cacheFileStorage_.releaseCacheFile();
    closeHandle();
    return rc;
  }
  if (!ro && !mapped) {
    // Kept in the cache only: written at close if something else dirtied block 0.
    hdr.openCount++;
    hdr.write(image);
  }
  headerMarked = false;
  lastWriteError = 0;
  dirty = false;
  return 0;
}

int32_t btDatabase::closeDatabase() {
  if (!isOpen()) return 0;
  Lock lock(this, true);
  bool writable = readOnly == 0;
  // A marked file must be flushed and unmarked even if nobody set `dirty`.
  bool changed = writable && (dirty || headerMarked);
  if (changed) markImageDirty();
  int32_t rc = 0;
  int32_t flushRc = 0;
  {
    btCacheLockGuard cacheLock(cacheFileStorage_.cache);
    std::lock_guard<std::recursive_mutex> fileLock(file_.fileLock());
    // Index structures held in memory save themselves here (index layer).
    // The table objects pin catalogue blocks: they go before the drop.
    catalog_.clear();
    if (image && block) {
      // Keep the header image beyond the drop of its block.
      std::memcpy(inlineBuffer, image, BT_HEADER_SIZE);
      if (!mapped) cacheFileStorage_.unpinBlock(block);
      block = nullptr;
      mapped = false;
      image = inlineBuffer;
      ownedSize = sizeof inlineBuffer;
    }
    flushRc = cacheFileStorage_.flushCacheFile(changed, true);
    if (flushRc == 0 && rc == 0 && changed) {
      int32_t f = flushFile(fileHandle);
      if (f < 0) {
        lastWriteError = f;
        markFileDirty();
      } else {
        lastWriteError = 0;
        if (headerMarked) {
          hdr.openForWrite = 0;
          hdr.write(image);
          flushRc = writeHeaderImage(image);
          flushFile(fileHandle);
          if (flushRc == 0) headerMarked = false;
        }
      }
    }
  }
  cacheFileStorage_.releaseCacheFile();
  closeHandle();
  return flushRc ? flushRc : rc;
}

void btDatabase::registerChainOwner(btDataChainOwner* owner) {
  auto** grown = static_cast<btDataChainOwner**>(
      cmRealloc(chainOwners_, (chainOwnerCount_ + 1) * sizeof(btDataChainOwner*)));
  if (!grown) return;
  chainOwners_ = grown;
  chainOwners_[chainOwnerCount_++] = owner;
}

void btDatabase::unregisterChainOwner(btDataChainOwner* owner) {
  for (uint32_t i = 0; i < chainOwnerCount_; i++) {
    if (chainOwners_[i] == owner) {
      chainOwners_[i] = chainOwners_[--chainOwnerCount_];
      return;
    }
  }
}
