// btBtreeKeys: what a B-tree needs to know about the records it indexes:
// the key summary of a key or of a stored record, the full comparison of a
// key with a stored record, and the chains in which records of equal keys
// hang in an index with duplicates. The tree itself never reads a record.
//
// btBtreeRecordKeys is the implementation over the records of the
// definition's table (key summaries of btIndexKey.h, compareKeys, the chain
// operations of btIndexIterator). Tests may give the tree another one.
//
// Ownership: an implementation holds non-owning pointers only.
// Threading: as the tree that calls it.
#pragma once

#include <cstdint>

#include "database/btSeek.h"
#include "database/index/btIndexIterator.h"
#include "database/index/btIndexKey.h"

class btIndexDefinition;
class btStoredRecord;

class btBtreeKeys {
 public:
  virtual ~btBtreeKeys() = default;

  // The summary of a key given as a record in memory. The 4-byte form
  // stands in `hi`.
  virtual btKeySummary summaryOfKey(const btStoredRecord* key) = 0;
  virtual int32_t summaryOfRecord(btSeek record, btKeySummary* summary) = 0;
  // -1, 0 or 1 in `*result`: the key against the stored record's key.
  virtual int32_t compareWithRecord(const btStoredRecord* key, btSeek record, int* result) = 0;

  // Chains, as btIndexIterator defines them; the iterator's record and
  // chain head say where the walk stands.
  virtual int32_t chainAdd(btIndexIterator* it, btSeek seek) = 0;
  virtual int32_t chainNext(btIndexIterator* it) = 0;
  virtual int32_t chainPrevious(btIndexIterator* it) = 0;
  // Moves the iterator from the head to the last record of its chain.
  virtual int32_t chainTail(btIndexIterator* it) = 0;
  virtual int32_t chainSeek(btIndexIterator* it, btSeek seek) = 0;
  virtual int32_t unlinkDuplicate(btIndexIterator* it, btSeek seek, bool backward,
                                  btSeek* newHead) = 0;
};

class btBtreeRecordKeys : public btBtreeKeys {
 public:
  explicit btBtreeRecordKeys(const btIndexDefinition* definition) : definition_(definition) {}

  btKeySummary summaryOfKey(const btStoredRecord* key) override;
  int32_t summaryOfRecord(btSeek record, btKeySummary* summary) override;
  int32_t compareWithRecord(const btStoredRecord* key, btSeek record, int* result) override;
  // While set, compareWithRecord binds the stored record in `*keep` (a
  // view, pinned until the holder lets it go) instead of a record of its
  // own, so that a find whose last compare hit the answer hands it over
  // without a second load. Null turns it off.
  void keepComparedIn(btStoredRecord* keep) { keep_ = keep; }
  int32_t chainAdd(btIndexIterator* it, btSeek seek) override { return it->chainAdd(seek); }
  int32_t chainNext(btIndexIterator* it) override { return it->chainNext(); }
  int32_t chainPrevious(btIndexIterator* it) override { return it->chainPrevious(); }
  int32_t chainTail(btIndexIterator* it) override;
  int32_t chainSeek(btIndexIterator* it, btSeek seek) override { return it->chainSeek(seek); }
  int32_t unlinkDuplicate(btIndexIterator* it, btSeek seek, bool backward,
                          btSeek* newHead) override {
    return it->unlinkDuplicate(seek, backward, newHead);
  }

 private:
  const btIndexDefinition* definition_;
  btStoredRecord* keep_ = nullptr;
};
