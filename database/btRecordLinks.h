// btRecordLinks: the link words of one stored record, pinned in its block,
// for the writers that only rewrite links: the table's record chain and
// the duplicate chains of hash and B-tree indexes. Binding a whole record
// unpacks it into a btStoredRecord and takes a second trip through the
// cache to mark it dirty; a chain add rewrites three records' links and
// needs none of that.
//
// The record is found, checked and sized exactly as a bind finds, checks
// and sizes it (pinSlot, btStoredRecord::storedSizeIn), so a damaged
// address or size gives the same status.
//
// Ownership: the object owns its pin and gives it back when destroyed or
// bound again. Threading: as the record binds it stands in for, under the
// caller's database lock. Not copyable.
#pragma once

#include <cstdint>

#include "database/btSeek.h"

class btCacheFile;
class btTableInfo;

class btRecordLinks {
 public:
  btRecordLinks() = default;
  ~btRecordLinks() { release(); }
  btRecordLinks(const btRecordLinks&) = delete;
  btRecordLinks& operator=(const btRecordLinks&) = delete;

  // Pins the record of `table` at `seek`. 0, or a negative status with
  // nothing pinned.
  int32_t bind(btTableInfo* table, btSeek seek);
  // The record's image and its stored size; the link words of slot i are
  // the 8 bytes at 8 * i.
  uint8_t* image() const { return image_; }
  uint32_t size() const { return size_; }
  // After a change to the image: marks the block dirty and notes the change
  // with the database, as a bound record's markImageDirty does. False when
  // the record lies in a read-only mapped view, whose bytes must not change.
  bool markDirty();
  // True when the image may be written (not in a read-only mapped view).
  bool writable() const { return image_ && !mapped_; }

 private:
  void release();

  btCacheFile* cacheFile_ = nullptr;
  uint8_t* block_ = nullptr;
  uint8_t* image_ = nullptr;
  uint32_t size_ = 0;
  bool mapped_ = false;
};
