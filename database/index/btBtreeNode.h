// btBtreeNode: one node of a B-tree index, a view on the usable bytes of a
// block of kind 4 (the node's seek is the block's address plus 4). It keeps
// a parsed copy of the header; every writer changes the image and the copy
// together and marks the block dirty. Keys are not stored: an entry holds a
// fixed-width key summary and the seek of a record that bears the key.
// The image layout is in btBtreeNode.cpp, which packs it.
//
// Positions: a node of count c has positions 0..c-1. Position 0 is the
// header's child 0 and has no key of its own; position p >= 1 is entry p-1.
// In a leaf, "child" is the record; a compact leaf has no separator column,
// its record serves as the separator.
//
// Ownership: the node holds one pin on its block while bound (released by
// the destructor); the definition is not owned. Threading: one thread,
// under the database lock of the operation that loaded it.
#pragma once

#include <cstdint>

#include "database/btIndexDefinition.h"
#include "database/btStoredObject.h"
#include "database/index/btIndexKey.h"

class btDatabase;

// The value -3956 as the B-tree reports it: a child missing from its parent.
constexpr int32_t BT_BTREE_CHILD_MISSING = -3956;

class btBtreeNode : public btStoredObject {
 public:
  static constexpr uint32_t kHeaderSize = 20;

  explicit btBtreeNode(const btIndexDefinition* definition) : definition_(definition) {}

  uint32_t storedSize() const override;
  // Parses the header; BT_STATUS_BAD_NODE for a leaf or compact byte above
  // 1 or a block of another kind, BT_STATUS_NOT_READY for a count above
  // capacity.
  int32_t unpack() override;

  // Bytes of the summary in an entry: 4, 8 or 16 by the index flags.
  static uint32_t summaryBytes(const btIndexDefinition* d);
  static uint32_t fullEntrySize(const btIndexDefinition* d) { return summaryBytes(d) + 8; }
  static uint32_t compactEntrySize(const btIndexDefinition* d) { return summaryBytes(d) + 4; }
  // The order a new tree gets for blocks of `blockSize` bytes.
  static uint32_t orderFor(const btIndexDefinition* d, uint64_t blockSize);

  uint32_t order() const { return definition_->conversionCount; }
  bool isCompact() const { return leaf && compact; }
  uint32_t entrySize() const { return isCompact() ? compactSize_ : fullSize_; }
  // Largest count: the order, or order * full / compact for a compact leaf.
  uint32_t capacity() const;
  bool isFull() const { return count >= capacity(); }
  // Fewer positions than half the capacity plus one.
  bool inUnderflow() const { return count < (capacity() >> 1) + 1; }

  // Inline: a search reads them a dozen times per node.
  btSeek childAt(uint32_t p) const {
    if (p == 0) return btReadAddress(btGet32(image + 16));
    if (p >= count) return 0;
    return btReadAddress(btGet32(entryAt(p) + entrySize() - 4));
  }
  // The record bearing the key of position p (0 for position 0 of a
  // full-form node); in a compact leaf the record itself.
  btSeek separatorAt(uint32_t p) const {
    if (isCompact()) return childAt(p);
    if (p == 0 || p >= count) return 0;
    return btReadAddress(btGet32(entryAt(p) + sumBytes_));
  }
  btKeySummary summaryAt(uint32_t p) const {
    btKeySummary s;
    if (p == 0 || p >= count) return s;
    const uint8_t* e = entryAt(p);
    if (sumBytes_ == 4) {
      s.hi = btGet32(e);
    } else {
      s.hi = btGet64(e);
      if (sumBytes_ == 16) s.lo = btGet64(e + 8);
    }
    return s;
  }

  void setChild(uint32_t p, btSeek child);
  void setSeparator(uint32_t p, btSeek separator);
  void setSummary(uint32_t p, const btKeySummary& summary);
  void setNext(btSeek v);
  void setPrevious(btSeek v);
  void setParent(btSeek v);
  void setCount(uint32_t c);
  // Formats an empty node of the given form over the whole usable area.
  void format(bool isLeaf, bool isCompactLeaf);

  // Puts a position at p (0..count). For p = 0 the old position 0 moves to
  // entry 1 and `separator`/`summary` are its key; an empty node just takes
  // the child. BT_STATUS_BAD_FIELD when p > count or the node is full.
  int32_t insertAt(uint32_t p, btSeek child, btSeek separator, const btKeySummary& summary);
  // Removes position p; for p = 0 position 1 becomes child 0 and its key is
  // dropped. BT_STATUS_BAD_FIELD for p >= count.
  int32_t removeAt(uint32_t p);
  // Drops the first n positions: position n becomes child 0.
  void dropFront(uint32_t n);
  // Shifts this node's positions up by n and fills positions 0..n-1 from
  // positions from..from+n-1 of `source` (same form); the old child 0 gets
  // the key `separator`/`summary`. BT_STATUS_BAD_FIELD when it won't fit.
  int32_t prependFrom(const btBtreeNode* source, uint32_t from, uint32_t n, btSeek separator,
                      const btKeySummary& summary);
  // Position whose child is `child`, or BT_BTREE_CHILD_MISSING.
  int32_t positionOfChild(btSeek child) const;

  btSeek next = 0;
  btSeek previous = 0;
  btSeek parent = 0;
  uint16_t count = 0;
  uint8_t leaf = 0;
  uint8_t compact = 0;

 private:
  friend int32_t copyEntries(btBtreeNode* destination, const btBtreeNode* source, uint32_t from,
                             uint32_t to, uint32_t n);
  uint8_t* entryAt(uint32_t p) const { return image + kHeaderSize + (p - 1) * entrySize(); }
  void touch() { markImageDirty(); }

  const btIndexDefinition* definition_;
  uint32_t sumBytes_ = 4;
  uint32_t fullSize_ = 12;
  uint32_t compactSize_ = 8;
};

// Copies n positions of `source` starting at `from` to `destination`
// starting at `to`, and sets the destination's count to to + n. With to = 0
// the key of the first copied position is dropped (it becomes child 0);
// from = 0 needs to = 0. Both nodes must have the same entry form, else
// BT_STATUS_BAD_FIELD, as is a copy past the destination's capacity.
int32_t copyEntries(btBtreeNode* destination, const btBtreeNode* source, uint32_t from,
                    uint32_t to, uint32_t n);

// Binds `node` to the node at `seek`.
int32_t loadNode(btBtreeNode* node, btCacheFile* cacheFile, btSeek seek);

// Allocates a block of kind 4 and formats an empty node in it; `node` is
// left bound to it. Returns the seek or 0 with `*status` set.
btSeek allocateNode(btDatabase* database, btCacheFile* cacheFile, btBtreeNode* node, bool isLeaf,
                    bool isCompactLeaf, int32_t* status);
