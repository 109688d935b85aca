// btTableIterator: a scan of a table in the order of its record chain. It is
// a small object: its table and the seek of the current record. For its
// whole life it holds the database lock, so the table cannot be closed
// under it; the lock is recursive, so its own thread may still write.
// Constructing one stops a running prefill, which would otherwise compete
// for the cache.
//
// Ownership: the table belongs to its database; records filled by the scan
// are the caller's and are detached (private copies). Threading: one thread.
#pragma once

#include <cstdint>
#include <optional>

#include "database/btDatabase.h"
#include "database/btSeek.h"

class btStoredRecord;
class btTableInfo;

class btTableIterator {
 public:
  explicit btTableIterator(btTableInfo* table);
  virtual ~btTableIterator();
  btTableIterator(const btTableIterator&) = delete;
  btTableIterator& operator=(const btTableIterator&) = delete;

  btTableInfo* table() const { return table_; }
  // Seek of the current record; 0 before the first step and after the end.
  btSeek current() const { return current_; }
  void setCurrent(btSeek seek) { current_ = seek; }

 private:
  btTableInfo* table_;
  btSeek current_ = 0;
  std::optional<btDatabase::Lock> lock_;
};

// Positions on the table's first record and, with `record`, loads it.
// BT_STATUS_NOT_FOUND for an empty table or a failed load.
int32_t seekToFirst(btDatabase* database, btTableIterator* iterator, btStoredRecord* record);
// Steps to the record after the current one through the chain's `next`
// link. BT_STATUS_NOT_FOUND at the end; BT_STATUS_NO_ITERABLE_INDEX for a
// table whose records carry no chain.
int32_t seekToNext(btDatabase* database, btTableIterator* iterator, btStoredRecord* record);
