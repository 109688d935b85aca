// Node image of a B-tree index, at the usable bytes of a block of kind 4
// (block + 4). Little-endian; a seek field of 0xFFFFFFFF reads as 0.
//
//   OFFSET  SIZE  MEANING
//   0       4     next: next node on this level, 0 at the end (leaves only)
//   4       4     previous: previous node on this level, 0 at the start
//   8       4     parent: parent node, 0 in the root
//   12      2     count: child positions in use (keys are count - 1)
//   14      1     leaf: 1 leaf, 0 interior; anything else is corrupt
//   15      1     compact: 1 when a leaf uses the compact entry form
//   16      4     child 0: leftmost child, or in a leaf the first record
//   20      ...   entries for positions 1..count-1, one of these forms:
//
//   Full form (interior nodes, leaves with compact 0), by index flags:
//     none of 16, 32:  u32 summary, u32 separator, u32 child         12 bytes
//     16:              u64 summary, u32 separator, u32 child         16 bytes
//     32:              u64 hi, u64 lo, u32 separator, u32 child      24 bytes
//   Compact form (leaves with compact 1):
//     none of 16, 32:  u32 summary, u32 record                        8 bytes
//     16:              u64 summary, u32 record                       12 bytes
//     32:              u64 hi, u64 lo, u32 record                    20 bytes
//
// The order n (definition threshold) is the largest count of a full-form
// node: (usable bytes - 20) / full entry + 1. A compact leaf holds
// n * full / compact positions. The image of a node is 20 + (n - 1) * full
// bytes, which is never less than what a compact leaf of the same order
// uses.
#include "database/index/btBtreeNode.h"

#include <cstring>

#include "database/btBlockStorage.h"
#include "database/btCacheFile.h"
#include "database/btStatus.h"

namespace {

// Summary bytes are packed as u32 or u64 fields in the entry.
void putSummary(uint8_t* e, uint32_t bytes, const btKeySummary& s) {
  if (bytes == 4) {
    btPut32(e, static_cast<uint32_t>(s.hi));
  } else {
    btPut64(e, s.hi);
    if (bytes == 16) btPut64(e + 8, s.lo);
  }
}

}  // namespace

uint32_t btBtreeNode::summaryBytes(const btIndexDefinition* d) {
  if (d->indexFlags & BT_INDEX_SUMMARY16) return 16;
  if (d->indexFlags & BT_INDEX_SUMMARY8) return 8;
  return 4;
}

uint32_t btBtreeNode::orderFor(const btIndexDefinition* d, uint64_t blockSize) {
  if (blockSize < 4 + kHeaderSize + fullEntrySize(d)) return 1;
  return static_cast<uint32_t>((blockSize - 4 - kHeaderSize) / fullEntrySize(d) + 1);
}

uint32_t btBtreeNode::storedSize() const {
  uint32_t n = order() ? order() : 1;
  return kHeaderSize + (n - 1) * fullSize_;
}

uint32_t btBtreeNode::capacity() const {
  if (isCompact()) return order() * fullSize_ / compactSize_;
  return order();
}

int32_t btBtreeNode::unpack() {
  sumBytes_ = summaryBytes(definition_);
  fullSize_ = sumBytes_ + 8;
  compactSize_ = sumBytes_ + 4;
  if (!image) return BT_STATUS_NOT_READY;
  if (!headerFits(16)) return BT_STATUS_OBJECT_OVERRUNS_BLOCK;
  // A view in a block must sit in a B-tree block; a private copy is trusted.
  if (block && image == block + 4 && btBlockKindOf(btGet32(block)) != BT_BLOCK_BTREE_NODE)
    return BT_STATUS_BAD_NODE;
  next = btReadAddress(btGet32(image));
  previous = btReadAddress(btGet32(image + 4));
  parent = btReadAddress(btGet32(image + 8));
  count = btGet16(image + 12);
  leaf = image[14];
  compact = image[15];
  if (leaf > 1 || compact > 1) return BT_STATUS_BAD_NODE;
  if (count > capacity()) return BT_STATUS_NOT_READY;
  return 0;
}

void btBtreeNode::setChild(uint32_t p, btSeek child) {
  if (p == 0) {
    btPut32(image + 16, child);
  } else {
    btPut32(entryAt(p) + entrySize() - 4, child);
  }
  touch();
}

void btBtreeNode::setSeparator(uint32_t p, btSeek separator) {
  if (p == 0 || isCompact()) return;
  btPut32(entryAt(p) + sumBytes_, separator);
  touch();
}

void btBtreeNode::setSummary(uint32_t p, const btKeySummary& summary) {
  if (p == 0) return;
  putSummary(entryAt(p), sumBytes_, summary);
  touch();
}

void btBtreeNode::setNext(btSeek v) {
  next = v;
  btPut32(image, v);
  touch();
}

void btBtreeNode::setPrevious(btSeek v) {
  previous = v;
  btPut32(image + 4, v);
  touch();
}

void btBtreeNode::setParent(btSeek v) {
  parent = v;
  btPut32(image + 8, v);
  touch();
}

void btBtreeNode::setCount(uint32_t c) {
  count = static_cast<uint16_t>(c);
  btPut16(image + 12, count);
  touch();
}

void btBtreeNode::format(bool isLeaf, bool isCompactLeaf) {
  uint64_t room = cacheFile ? cacheFile->blockSize - 4 : storedSize();
  std::memset(image, 0, static_cast<size_t>(room));
  leaf = isLeaf ? 1 : 0;
  compact = isLeaf && isCompactLeaf ? 1 : 0;
  image[14] = leaf;
  image[15] = compact;
  next = previous = parent = 0;
  count = 0;
  touch();
}

int32_t btBtreeNode::insertAt(uint32_t p, btSeek child, btSeek separator,
                              const btKeySummary& summary) {
  if (p > count || count + 1u > capacity()) return BT_STATUS_BAD_FIELD;
  uint32_t es = entrySize();
  if (count == 0) {
    btPut32(image + 16, child);
    setCount(1);
    return 0;
  }
  uint32_t at = p == 0 ? 1 : p;
  // Entries at..count-1 move up by one.
  if (at < count) std::memmove(entryAt(at + 1), entryAt(at), (count - at) * es);
  uint8_t* e = entryAt(at);
  putSummary(e, sumBytes_, summary);
  if (p == 0) {
    // The old child 0 becomes entry 1 with the caller's key.
    btSeek old = childAt(0);
    if (!isCompact()) btPut32(e + sumBytes_, separator);
    btPut32(e + es - 4, old);
    btPut32(image + 16, child);
  } else {
    if (!isCompact()) btPut32(e + sumBytes_, separator);
    btPut32(e + es - 4, child);
  }
  setCount(count + 1u);
  return 0;
}

int32_t btBtreeNode::removeAt(uint32_t p) {
  if (p >= count) return BT_STATUS_BAD_FIELD;
  uint32_t es = entrySize();
  if (p == 0) {
    if (count > 1) {
      btPut32(image + 16, childAt(1));
      if (count > 2) std::memmove(entryAt(1), entryAt(2), (count - 2u) * es);
    } else {
      btPut32(image + 16, 0);
    }
  } else if (p + 1u < count) {
    std::memmove(entryAt(p), entryAt(p + 1), (count - p - 1u) * es);
  }
  setCount(count - 1u);
  return 0;
}

void btBtreeNode::dropFront(uint32_t n) {
  if (n == 0) return;
  if (n >= count) {
    btPut32(image + 16, 0);
    setCount(0);
    return;
  }
  btPut32(image + 16, childAt(n));
  if (n + 1u < count) std::memmove(entryAt(1), entryAt(n + 1), (count - n - 1u) * entrySize());
  setCount(count - n);
}

int32_t btBtreeNode::prependFrom(const btBtreeNode* src, uint32_t from, uint32_t n,
                                 btSeek separator, const btKeySummary& summary) {
  if (n == 0) return 0;
  if (src->entrySize() != entrySize() || src->isCompact() != isCompact() ||
      count + n > capacity() || from + n > src->count || from == 0 || count == 0)
    return BT_STATUS_BAD_FIELD;
  uint32_t es = entrySize();
  if (count > 1) std::memmove(entryAt(n + 1), entryAt(1), (count - 1u) * es);
  uint8_t* e = entryAt(n);
  putSummary(e, sumBytes_, summary);
  if (!isCompact()) btPut32(e + sumBytes_, separator);
  btPut32(e + es - 4, childAt(0));
  btPut32(image + 16, src->childAt(from));
  if (n > 1) std::memcpy(entryAt(1), src->entryAt(from + 1), (n - 1u) * es);
  setCount(count + n);
  return 0;
}

int32_t btBtreeNode::positionOfChild(btSeek child) const {
  if (count > 0 && childAt(0) == child) return 0;
  uint32_t es = entrySize();
  for (uint32_t p = 1; p < count; p++) {
    if (btReadAddress(btGet32(entryAt(p) + es - 4)) == child) return static_cast<int32_t>(p);
  }
  return BT_BTREE_CHILD_MISSING;
}

int32_t copyEntries(btBtreeNode* dst, const btBtreeNode* src, uint32_t from, uint32_t to,
                    uint32_t n) {
  if (dst->isCompact() != src->isCompact() || dst->entrySize() != src->entrySize())
    return BT_STATUS_BAD_FIELD;
  if (to + n > dst->capacity() || from + n > src->count || (from == 0 && to != 0))
    return BT_STATUS_BAD_FIELD;
  if (n == 0) {
    dst->setCount(to);
    return 0;
  }
  uint32_t es = dst->entrySize();
  if (to == 0) {
    btPut32(dst->image + 16, src->childAt(from));
    if (n > 1) std::memmove(dst->entryAt(1), src->entryAt(from + 1), (n - 1) * es);
  } else {
    std::memmove(dst->entryAt(to), src->entryAt(from), n * es);
  }
  dst->setCount(to + n);
  return 0;
}

int32_t loadNode(btBtreeNode* node, btCacheFile* cacheFile, btSeek seek) {
  if (seek == 0) return BT_STATUS_NO_TABLE;
  return loadObject(node, cacheFile, seek, true);
}

btSeek allocateNode(btDatabase* database, btCacheFile* cacheFile, btBtreeNode* node, bool isLeaf,
                    bool isCompactLeaf, int32_t* status) {
  btBlockPin pin;
  btSeek seek = allocateBlock(database, cacheFile, BT_BLOCK_BTREE_NODE, status, &pin);
  if (!seek) return 0;
  int32_t rc = loadNode(node, cacheFile, seek);
  if (rc < 0 && rc != BT_STATUS_BAD_NODE && rc != BT_STATUS_NOT_READY) {
    *status = rc;
    return 0;
  }
  node->format(isLeaf, isCompactLeaf);
  *status = 0;
  return seek;
}
