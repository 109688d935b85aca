// btIndexStructure: the interface every index structure implements, and the
// factory (`structureOf`) that is the only way the engine reaches the open
// structure of an index definition. The definition (btIndexDefinition, kept
// by its table) owns the structure it opened; a structure holds a
// non-owning pointer back to its definition.
//
// The virtual operations stand in a fixed slot order; subclasses override
// them and never add operations in between. Statuses are 0 or a negative
// BT_STATUS_*. Operations on a persistent structure run under the database
// lock and the cache lock of the caller's file; no structure is shared
// between threads without them.
//
// Kinds (the definition's `indexType`) and the structure that serves each:
//
//   CODE  TEXT                                STRUCTURE              PERSISTENT  BECOMES
//   0     "B-tree"                            btBtreeIndex           yes
//   1     "sorted array"                      btSortedArrayOnDisk    yes
//   2     "memory hash table"                 btMemoryHashTable      no
//   3     "small hash table"                  btSmallHashTable       yes
//   4     "block hash table"                  btBlockHashTable       yes
//   5     "trie"                              refused
//   6     "suffix tree"                       refused
//   7     "hash -> block hash"                btMemoryHashTable      no          4
//   8     "hash -> B-tree"                    btMemoryHashTable      no          0
//   9     "large hash table"                  btLargeHashTable       yes
//   10    "hash -> large hash"                btMemoryHashTable      no          9
//   11    "hash -> sorted array"              btMemoryHashTable      no          1
//   12    "array -> B-tree"                   btSortedArrayOnDisk    yes         0
//   13    "memory array -> sorted array"      btSortedArrayInMemory  no          1
//   14    "memory array -> B-tree"            btSortedArrayInMemory  no          0
//   15    "memory array -> sorted -> B-tree"  btSortedArrayInMemory  no          12
//   16    "memory array"                      btSortedArrayInMemory  no
//   17    "small hash -> large hash"          btSmallHashTable       yes         9
//   18+   "(undefined)"                       none
#pragma once

#include <cstdint>

#include "database/btIndexDefinition.h"
#include "database/btSeek.h"

class btCacheFile;
class btDatabase;
class btIndexIterator;
class btStoredRecord;
class btTableInfo;

// Kind codes.
enum btIndexKind : uint8_t {
  BT_INDEX_BTREE = 0,
  BT_INDEX_SORTED_ARRAY = 1,
  BT_INDEX_MEMORY_HASH = 2,
  BT_INDEX_SMALL_HASH = 3,
  BT_INDEX_BLOCK_HASH = 4,
  BT_INDEX_TRIE = 5,
  BT_INDEX_SUFFIX_TREE = 6,
  BT_INDEX_HASH_TO_BLOCK_HASH = 7,
  BT_INDEX_HASH_TO_BTREE = 8,
  BT_INDEX_LARGE_HASH = 9,
  BT_INDEX_HASH_TO_LARGE_HASH = 10,
  BT_INDEX_HASH_TO_SORTED_ARRAY = 11,
  BT_INDEX_ARRAY_TO_BTREE = 12,
  BT_INDEX_MEMORY_ARRAY_TO_SORTED_ARRAY = 13,
  BT_INDEX_MEMORY_ARRAY_TO_BTREE = 14,
  BT_INDEX_MEMORY_ARRAY_TO_SORTED_TO_BTREE = 15,
  BT_INDEX_MEMORY_ARRAY = 16,
  BT_INDEX_SMALL_TO_LARGE_HASH = 17,
  BT_INDEX_KIND_COUNT = 18,
};

// The printed text of a kind; "(undefined)" for 18 and above.
const char* btIndexKindText(uint32_t kind);
// The kind a staged kind turns into, or -1 for a final kind.
int32_t btIndexKindTarget(uint32_t kind);

// Special record arguments of `find`.
constexpr btSeek BT_FIND_ANY = 0;                 // any record with the key
constexpr btSeek BT_FIND_NONE = 0xFFFFFFFFu;      // no record matches: for the seeks
constexpr btSeek BT_FIND_CHAIN_END = 0x7FFFFFFFu; // the end of the duplicate chain

class btIndexStructure {
 public:
  explicit btIndexStructure(btIndexDefinition* definition = nullptr) : definition_(definition) {}
  virtual ~btIndexStructure() = default;
  btIndexStructure(const btIndexStructure&) = delete;
  btIndexStructure& operator=(const btIndexStructure&) = delete;

  // ---- Slots, in order --------------------------------------------------
  virtual void setDefinition(btIndexDefinition* definition) { definition_ = definition; }
  // The structure's own kind code: 0, 1, 2, 3, 4 or 9.
  virtual uint32_t indexKind() const = 0;
  virtual bool isEmpty();
  // Record seeks around the iterator's position, for record placement.
  virtual int32_t collectNeighbours(btIndexIterator* it, uint32_t* seeks, uint32_t* count,
                                    uint32_t maxCount) = 0;
  // Refills the structure from the table (record chain, or another
  // persistent index of a table without one).
  virtual int32_t rebuild();
  virtual int32_t flush(btCacheFile* cacheFile, btDatabase* database, void* scratch);
  virtual int32_t removeAll(btIndexIterator* it);
  // Adds `record` (stored at `seek`) where `find` left the iterator.
  virtual int32_t insertKey(btIndexIterator* it, btStoredRecord* record, btSeek seek) = 0;
  virtual int32_t removeCurrent(btIndexIterator* it) = 0;
  // Positions on the key of `key`; `record` is BT_FIND_ANY, BT_FIND_NONE,
  // BT_FIND_CHAIN_END or one wanted record. `hashOnly` (memory hash) accepts
  // an equal hash; for ordered kinds it asks for the exact chain position.
  virtual int32_t find(btIndexIterator* it, const btStoredRecord* key, btSeek record,
                       bool hashOnly) = 0;
  virtual int32_t first(btIndexIterator* it) = 0;
  virtual int32_t last(btIndexIterator* it) = 0;
  virtual int32_t previous(btIndexIterator* it) = 0;
  virtual int32_t next(btIndexIterator* it) = 0;
  // `next` / `previous`, then BT_STATUS_NOT_FOUND unless the key stayed equal.
  virtual int32_t nextEqual(btIndexIterator* it);
  virtual int32_t previousEqual(btIndexIterator* it);
  // Ordered kinds only; BT_STATUS_WRONG_FIELD_TYPE here.
  virtual int32_t previousKey(btIndexIterator* it);
  virtual int32_t nextKey(btIndexIterator* it);
  virtual int32_t seekAtLeast(btIndexIterator* it, const btStoredRecord* key);
  virtual int32_t seekAtMost(btIndexIterator* it, const btStoredRecord* key);
  virtual int32_t seekAbove(btIndexIterator* it, const btStoredRecord* key);
  virtual int32_t seekBelow(btIndexIterator* it, const btStoredRecord* key);
  // Takes `record` (at `seek`) out of its duplicate chain.
  virtual int32_t unlinkDuplicate(btIndexIterator* it, btStoredRecord* record, btSeek seek);
  // ---- End of slots -----------------------------------------------------

  btIndexDefinition* definition() const { return definition_; }
  btTableInfo* table() const { return definition_ ? definition_->owner : nullptr; }
  btDatabase* database() const;
  btCacheFile* cacheFile() const;
  // Persistent kinds rebind to a new root of their definition; memory kinds
  // keep what they hold. Returns 0 or a status.
  virtual int32_t reopen() { return 0; }

 protected:
  // 0 when the definition reaches a table, database and cache file.
  int32_t checkReachable() const;

  btIndexDefinition* definition_;
};

// Ordered structures (B-tree, sorted arrays) derive from this; it adds
// nothing to the interface.
class btSortedIndexStructure : public btIndexStructure {
 public:
  using btIndexStructure::btIndexStructure;
};

// The open structure of `definition`, opened or reopened as needed; null
// when the kind has none, the persistent root is 0, or opening failed.
// When `status` is given it receives the reason for a null result.
btIndexStructure* structureOfChecked(btIndexDefinition* definition, int32_t* status);
inline btIndexStructure* structureOf(btIndexDefinition* definition, int32_t* status = nullptr) {
  // Every table operation asks once per index: a structure already checked
  // for this type and root is answered here.
  if (definition && definition->structure && definition->servedType == definition->indexType &&
      definition->openedRoot == definition->root) {
    if (status) *status = 0;
    return definition->structure;
  }
  return structureOfChecked(definition, status);
}

// Creates the stored root of a B-tree (0) or a persistent hash kind (3, 4,
// 9, 17) and sets the definition's root, first node and last node. Other
// kinds give BT_STATUS_UNSUPPORTED until their structures exist.
int32_t createIndexStructure(btDatabase* database, btIndexDefinition* definition);

// Whether records of this index carry a chain link pair.
inline bool btIndexHasLinks(const btIndexDefinition* d) {
  return btIndexDefinition::needsLinkSlot(d->indexType, d->indexFlags);
}
