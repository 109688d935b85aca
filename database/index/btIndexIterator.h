// btIndexIterator: the cursor over one index, and the record chains that
// hold duplicate keys and hash collisions. It keeps only seeks and numbers
// (no pointers into nodes or buckets), so it survives any reload; it is
// also where `find` leaves the position that `insertKey` uses.
//
// Chains: each index with links owns one u32 pair in every record image
// (link slot from btTableInfo::linkSlotOfIndex; first u32 next, second
// previous). A chain is circular: a lone record has 0 in both links; from
// two records on, head.previous is the tail and tail.next the head. New
// duplicates go to the tail, so a chain lists them in insertion order.
//
// States: unbound (no definition); bound and unpositioned (position fields
// 0); positioned. A failing step clears the position and stays bound.
//
// Ownership: the definition is not owned. Threading: one thread; the
// structures take the database lock around every positioning call. A bound
// iterator does not yet hold a reader count on the database (the database
// lock is not a reader-writer lock yet); closing a database under a bound
// iterator is the caller's fault until then.
//
// Chains kept in stored lists by files older than format 2000 (a negative
// chain head) are not read: chain operations on them give
// BT_STATUS_UNSUPPORTED.
#pragma once

#include <cstdint>

#include "database/btSeek.h"

class btIndexDefinition;
class btStoredRecord;

class btIndexIterator {
 public:
  btIndexIterator() = default;
  explicit btIndexIterator(btIndexDefinition* definition) { bind(definition); }
  btIndexIterator(const btIndexIterator&) = default;
  btIndexIterator& operator=(const btIndexIterator&) = default;
  virtual ~btIndexIterator() = default;

  // Calls removeAll of the definition's structure with this iterator;
  // BT_STATUS_NO_INDEX_ROOT without a definition or structure.
  virtual int32_t removeAll();

  // Binds to a definition (or none) and clears the position.
  void bind(btIndexDefinition* definition);
  void clearPosition();
  bool isPositioned() const { return record != 0; }

  // ---- Chain operations ---------------------------------------------------
  // The current record becomes the chain head, position 0.
  int32_t resetChain();
  // Steps forward to the next record of the chain (with `key`, to the next
  // one whose key equals it). BT_STATUS_NOT_FOUND at the chain's end, after
  // more steps than the table has records, or on a broken link.
  int32_t chainNext(const btStoredRecord* key = nullptr);
  // Steps backward toward the head; BT_STATUS_NOT_FOUND once on the head.
  int32_t chainPrevious(const btStoredRecord* key = nullptr);
  // Puts record `seek` at the tail of the chain whose head is the current
  // record; the iterator then stands on it.
  int32_t chainAdd(btSeek seek);
  // Positions on `seek` within the chain of the current head.
  int32_t chainSeek(btSeek seek);
  // Takes record `seek` out of its chain. The iterator moves to the
  // successor (or the predecessor when `backward`); its head follows when
  // the head went. `*newHead` gets the chain's head afterwards (0 when the
  // chain is gone) for the structure to store.
  int32_t unlinkDuplicate(btSeek seek, bool backward, btSeek* newHead);

  // The link pair of a record for this iterator's index.
  int32_t readLinks(btSeek seek, btSeek* next, btSeek* previous) const;
  int32_t writeLinks(btSeek seek, btSeek next, btSeek previous) const;

  btIndexDefinition* definition = nullptr;
  int32_t compare = 0;
  btSeek node = 0;
  uint64_t position = 0;
  uint32_t hash = 0;
  btSeek record = 0;
  int32_t chainHead = 0;
  // Steps from the chain head; a backward walk counts its steps as well,
  // since the count serves as the bound on a walk.
  uint64_t chainPosition = 0;

  // What a find computed for its key (a B-tree's summary, a hash table's
  // hash), kept for the insert that follows at the place it found, so that
  // the key is worked out once. Valid only while the iterator stands where
  // that find left it and the insert passes the same key record.
  struct FoundKey {
    const btStoredRecord* key = nullptr;
    btSeek node = 0;
    uint64_t position = 0;
    uint64_t summaryHi = 0;
    uint64_t summaryLo = 0;
  };
  FoundKey found;

 private:
  uint64_t recordLimit() const;
  int32_t linkOffset() const;
};

// Loads the record stored at `seek` of the definition's table into `record`.
int32_t btLoadIndexRecord(const btIndexDefinition* definition, btSeek seek,
                          btStoredRecord* record);
