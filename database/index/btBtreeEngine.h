// btBtreeEngine: the algorithms of the B-tree index over its nodes: search,
// insert with splits, delete with redistribution and merges, removal of all
// entries, scans both ways and range seeks. btBtreeIndex wraps it as an
// index structure; tests drive it directly with keys of their own.
//
// The tree is a B+ tree of btBtreeNode blocks. Entries hold key summaries
// and record seeks, never keys: a compare that the summary settles (the
// definition's summaryIsExact) reads no record, anything else asks
// btBtreeKeys. Records of equal keys in an index with duplicates share one
// entry, which names the head of their chain.
//
// Depth: every walk from the root is bounded by kMaxHeight levels. A tree
// of order n >= 21 (the smallest block of 512 bytes with 24-byte entries)
// holds at least 11^(h-1) * 2 records at height h, so 24 levels exceed any
// file; a deeper walk means a cycle or corruption and fails with
// BT_STATUS_BAD_NODE instead of running on.
//
// Ownership: the engine holds non-owning pointers to the definition, the
// database and the keys. Iterators hold only seeks and positions. Nodes are
// pinned for the length of one call. Threading: the caller holds the
// database lock around every call.
#pragma once

#include <cstdint>

#include "database/btSeek.h"
#include "database/index/btBtreeKeys.h"
#include "database/index/btIndexIterator.h"
#include "database/index/btIndexKey.h"
#include "database/index/btIndexStructure.h"

class btBtreeNode;
class btCacheFile;
class btDatabase;
class btIndexDefinition;
class btStoredRecord;

class btBtreeEngine {
 public:
  static constexpr int kMaxHeight = 24;

  btBtreeEngine(btIndexDefinition* definition, btDatabase* database, btBtreeKeys* keys);

  // Allocates the empty root (a compact leaf), computes and stores the
  // order, and sets root, first and last node of the definition.
  static int32_t create(btDatabase* database, btIndexDefinition* definition);

  bool isEmpty();
  // Positions `it` on the key; `record` is BT_FIND_ANY, BT_FIND_NONE,
  // BT_FIND_CHAIN_END or a wanted record, `exact` asks for that record's
  // place in a chain. BT_STATUS_NOT_FOUND leaves the iterator on the
  // neighbour with `compare` set.
  int32_t find(btIndexIterator* it, const btStoredRecord* key, btSeek record, bool exact);
  // Adds `record` stored at `seek` where `find` left `it`.
  int32_t insertKey(btIndexIterator* it, const btStoredRecord* record, btSeek seek);
  // Removes the iterator's record; the iterator moves to the next record.
  int32_t removeCurrent(btIndexIterator* it);
  // Frees every node but the root, which is left empty.
  int32_t removeAll(btIndexIterator* it);
  int32_t first(btIndexIterator* it);
  int32_t last(btIndexIterator* it);
  int32_t next(btIndexIterator* it);
  int32_t previous(btIndexIterator* it);
  int32_t nextKey(btIndexIterator* it);
  int32_t previousKey(btIndexIterator* it);
  int32_t seekAtLeast(btIndexIterator* it, const btStoredRecord* key);
  int32_t seekAtMost(btIndexIterator* it, const btStoredRecord* key);
  int32_t seekAbove(btIndexIterator* it, const btStoredRecord* key);
  int32_t seekBelow(btIndexIterator* it, const btStoredRecord* key);
  // The iterator's record, its chain, then the records after and before it
  // in its leaf, appended from `*count` up to `maxCount`.
  int32_t collectNeighbours(btIndexIterator* it, uint32_t* seeks, uint32_t* count,
                            uint32_t maxCount);
  // Takes `seek` out of its chain; a changed head is written to its entry.
  int32_t unlinkDuplicate(btIndexIterator* it, btSeek seek);

  // Walks the whole tree and checks what must hold between nodes: parents,
  // counts, summary order, separators naming the first record below them,
  // the leaf chain and the definition's first and last node. Returns 0 and
  // the number of entries in `*entries`, or the first fault as a status.
  int32_t checkTree(uint64_t* entries, uint32_t* height = nullptr);

 private:
  struct Item {
    btSeek child = 0;
    btSeek separator = 0;
    btKeySummary summary;
  };
  struct SplitResult {
    btSeek right = 0;
    Item pushed;
    btSeek landedNode = 0;
    uint32_t landedPosition = 0;
  };

  int32_t ready() const;
  void place(btIndexIterator* it, btSeek node, uint32_t position, btSeek record) const;
  // `loaded`, when given, is the node at `leaf` already bound by the caller.
  int32_t insertUpward(btSeek leaf, uint32_t at, Item item, btSeek* landedNode,
                       uint32_t* landedPosition, btBtreeNode* loaded = nullptr);
  int32_t split(btBtreeNode* node, uint32_t at, const Item& item, SplitResult* result);
  int32_t setParentOf(btSeek child, btSeek parent);
  int32_t rewriteAncestor(btSeek child, btSeek parent, btSeek separator,
                          const btKeySummary* summary, btSeek onlyIfNames);
  int32_t rebalance(btSeek leaf, bool remembered, btSeek separator, btKeySummary summary,
                    btSeek* leafHint);
  int32_t redistribute(btBtreeNode* left, btBtreeNode* right, btBtreeNode* parent, uint32_t rp);
  int32_t merge(btBtreeNode* left, btBtreeNode* right, btBtreeNode* parent, uint32_t rp);
  int32_t freeSubtree(btSeek seek, int depth);
  int32_t locate(btIndexIterator* it, btSeek record, btSeek hint);
  int32_t checkNode(btSeek seek, btSeek parent, int depth, btSeek* firstRecord, uint64_t* entries,
                    uint32_t* height, btSeek* lastLeaf);

  btIndexDefinition* def_;
  btDatabase* db_;
  btCacheFile* cf_;
  btBtreeKeys* keys_;
};
