// btDatabase: the embedded single-file database. It owns the file (through
// btFileAccess), the block cache view (btCacheFile) and, later, the table
// objects. Its own stored image is the 512-byte header at the start of
// block 0 (layout in btDatabaseHeader.h), kept bound and pinned in the
// cache while the file is open; a parsed copy in `hdr` is updated together
// with the image by every writer.
//
// Durability rests on one byte: `openForWrite` is set on disk before the
// first block is written after an open, and cleared only after all blocks
// are out at a clean close. A file found with the byte set is refused.
//
// States of the file:
//
//   from            event                           to              by
//   --------------  ------------------------------  --------------  -----------------------
//   closed          create / open for writing       open, clean     createDatabase, openDatabase
//   closed          open read-only                  open read-only  openDatabase
//   open, clean     header, table or block change   open, dirty     setDirty
//   open, dirty     first block write               marked          markFileDirty
//   marked          close, all writes succeeded     closed (clean)  closeDatabase
//   marked          close, a write failed           closed, marked  closeDatabase
//   open *          close                           closed          closeDatabase
//
// Threading: the database lock (taken by public operations; exclusive for
// now, a reader-writer lock later) comes before the cache lock, which comes
// before the file lock. The guard protects only `dirty`, `readOnly` and the
// table array.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "database/btCacheFile.h"
#include "database/btCatalog.h"
#include "database/btDatabaseHeader.h"
#include "database/btFileAccess.h"
#include "database/btRecursiveLock.h"
#include "database/btSeek.h"
#include "database/btStoredObject.h"

class btDataChainOwner;

class btDatabase : public btStoredObject {
 public:
  explicit btDatabase(void* parent = nullptr);
  ~btDatabase() override;

  bool hasVariablePart() const override { return false; }
  uint32_t storedSize() const override { return BT_HEADER_SIZE; }
  // Validates the header image and refreshes the parsed copy.
  int32_t unpack() override;

  int32_t createDatabase(const char* fileName, const char* typeTag, uint32_t blockSize,
                         uint64_t cacheBytes, int reserved, int privateCache);
  int32_t openDatabase(const char* fileName, uint64_t cacheBytes, int readOnly, int allowMapping,
                       int privateCache);
  int32_t closeDatabase();
  // Sets the open-for-write marker on disk before the first block write.
  int32_t markFileDirty();
  // Deliberately does nothing and returns 0: the engine leaves the order of
  // writes to the operating system.
  int32_t flushFile(int32_t handle);

  void setApplicationVersion(uint16_t value);
  void setDescription(const char* text);
  bool isReadOnly();
  bool isDirty();
  bool isOpen() const { return fileHandle >= 0; }

  // The change pattern: mark the header block dirty (unless mapped) and the
  // database dirty (unless read-only). Writers of header fields call
  // commitHeader, which stores the parsed copy into the image first.
  void setDirty();
  void commitHeader();
  // Sets `dirty` alone; every stored object's change ends here.
  void noteChange();

  const btDatabaseHeader& header() const { return hdr; }
  btDatabaseHeader& mutableHeader() { return hdr; }  // follow with commitHeader()
  uint64_t blockSize() const { return hdr.blockSize(); }
  uint64_t logicalFileSize() const { return hdr.fileSize; }
  uint64_t maxFileSize() const;
  // Whether encoded seeks may carry high bits in this file.
  bool highSeeksAllowed() const;
  uint64_t decodeSeek(btSeek seek) const;
  btCacheFile* getCacheFile() { return &cacheFileStorage_; }
  btFileAccess& fileAccess() { return file_; }
  const char* canonicalName() const { return fileNameCanonical ? fileNameCanonical : ""; }

  // The tables of the file (btCatalog.h): rebuilt when the header is read,
  // cleared at close.
  btCatalog* catalog() { return &catalog_; }
  btTableInfo* getTable(const char* name) { return ::getTable(this, name); }
  int32_t addTable(btTableInfo* tableInfo) { return ::addTable(this, tableInfo); }

  // Tables with private data chains register here so that unlinking a data
  // block can move their chain heads (the table layer fills this).
  void registerChainOwner(btDataChainOwner* owner);
  void unregisterChainOwner(btDataChainOwner* owner);
  uint32_t chainOwnerCount() const { return chainOwnerCount_; }
  btDataChainOwner* chainOwner(uint32_t i) const { return chainOwners_[i]; }

  // Test seam: every transfer of this database's file asks `faults` first.
  void setFileFaults(btFileFaults* faults) { file_.setFaults(faults); }

  // Scoped hold of the database lock; the write form also stops a prefill.
  class Lock {
   public:
    Lock(btDatabase* db, bool write);
    ~Lock();
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

   private:
    btDatabase* db_;
  };

  // Scoped hold of the database lock and the cache lock, in that order, for
  // a run of writes by one thread: every operation inside re-enters them,
  // a compare and a count, instead of taking two mutexes. Other threads
  // wait for the whole run, so it should be a run of the writer's own work.
  class Hold {
   public:
    explicit Hold(btDatabase* db) : db_(db, true), cache_(db->getCacheFile()->cache) {}

   private:
    Lock db_;
    btCacheLockGuard cache_;
  };

  btDatabaseHeader hdr;
  // The view pointer is the base's `cacheFile`, which the header binding
  // shares; it points at cacheFileStorage_ while the file is open.
  void* parent = nullptr;
  char* fileName = nullptr;
  char* fileNameCanonical = nullptr;
  bool headerMarked = false;
  int32_t lastWriteError = 0;
  bool abandoned = false;
  std::atomic<bool> dirty{false};
  uint8_t readOnly = 0;
  int32_t fileHandle = -1;

 private:
  int32_t recordNames(const char* name);
  void freeNames();
  int32_t writeHeaderImage(const uint8_t* image);
  int32_t validate(const btDatabaseHeader& h) const;
  void closeHandle();

  btCacheFile cacheFileStorage_;
  btFileAccess file_;
  btRecursiveLock dbLock_;
  std::mutex guard_;
  btDataChainOwner** chainOwners_ = nullptr;
  uint32_t chainOwnerCount_ = 0;
  btCatalog catalog_{this};
};
