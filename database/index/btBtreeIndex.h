// btBtreeIndex: the ordered persistent index (kind 0) as an index
// structure. It keeps no state besides its definition: each operation
// takes the database and cache locks, reads root, first and last node from
// the definition or the node from the iterator, and runs the matching
// worker of btBtreeEngine over the records of the definition's table
// (btBtreeRecordKeys). Node layout: btBtreeNode.cpp.
//
// Ownership: the definition owns this object (through the index factory);
// the object points back at it. Threading: any thread holding the database
// lock; the operations take it themselves, recursively.
#pragma once

#include <cstdint>

#include "database/index/btBtreeKeys.h"
#include "database/index/btIndexStructure.h"

class btBtreeIndex : public btSortedIndexStructure {
 public:
  explicit btBtreeIndex(btIndexDefinition* definition = nullptr);

  // Allocates the empty root of a new tree and sets the definition's
  // order, root, first and last node.
  static int32_t create(btDatabase* database, btIndexDefinition* definition);

  void setDefinition(btIndexDefinition* definition) override;
  uint32_t indexKind() const override { return 0; }
  bool isEmpty() override;
  int32_t collectNeighbours(btIndexIterator* it, uint32_t* seeks, uint32_t* count,
                            uint32_t maxCount) override;
  int32_t removeAll(btIndexIterator* it) override;
  int32_t insertKey(btIndexIterator* it, btStoredRecord* record, btSeek seek) override;
  int32_t removeCurrent(btIndexIterator* it) override;
  int32_t find(btIndexIterator* it, const btStoredRecord* key, btSeek record,
               bool exact) override;
  int32_t first(btIndexIterator* it) override;
  int32_t last(btIndexIterator* it) override;
  int32_t previous(btIndexIterator* it) override;
  int32_t next(btIndexIterator* it) override;
  int32_t previousKey(btIndexIterator* it) override;
  int32_t nextKey(btIndexIterator* it) override;
  int32_t seekAtLeast(btIndexIterator* it, const btStoredRecord* key) override;
  int32_t seekAtMost(btIndexIterator* it, const btStoredRecord* key) override;
  int32_t seekAbove(btIndexIterator* it, const btStoredRecord* key) override;
  int32_t seekBelow(btIndexIterator* it, const btStoredRecord* key) override;
  int32_t unlinkDuplicate(btIndexIterator* it, btStoredRecord* record, btSeek seek) override;
  // The root is read from the definition at every call: nothing to reload.
  int32_t reopen() override { return 0; }

  // find, leaving in `*found` a view of the last record it compared the
  // key with (or `*found` untouched when it compared none). When that view
  // is the iterator's record, the caller need not load it again.
  int32_t findKeeping(btIndexIterator* it, const btStoredRecord* key, btStoredRecord* found);

  // find with keys of the caller's (a btBtreeTextProbe) in place of the
  // table's records; the probe is the key, and no key record is read.
  int32_t findWith(btIndexIterator* it, btBtreeKeys* keys);

  // Whole-tree check (btBtreeEngine::checkTree) under the locks.
  int32_t checkTree(uint64_t* entries, uint32_t* height = nullptr);

 private:
  // Under the locks, with the table's record keys unless `keys` is given.
  template <typename Op>
  int32_t run(bool write, Op op, btBtreeKeys* keys = nullptr);

  btBtreeRecordKeys keys_;
};
