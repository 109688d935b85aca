// btFileCacheBlock: one block of a database file held in memory, with the
// links that keep it in one of the cache's two rings. Allocated by
// btFileCache (header, B data bytes, trailing guard word) and owned by it;
// `owner` names the btCacheFile whose file the data belongs to, null while
// the block is unused. Touched only under the cache lock.
//
// State of a block (`state`: bits 0-23 pins, bit 24 dirty, bit 25 held):
//
//   from         event                              to            by
//   -----------  ---------------------------------  ------------  -----------------------------
//   unused       fetched for a file                 owned clean   btFileCache::findFreeBlock
//   owned clean  changed                            owned dirty   btCacheFile::markBlockDirty
//   owned dirty  written back                       owned clean   btCacheFile::writeBlock
//   owned *      pinned, or fetched with HOLD       held          btFileCache::toHeld
//   held         last pin dropped                   replaceable   btCacheFile::unpinBlock
//   owned clean  hand reaches it, state 0           reused        btFileCache::findFreeBlock
//   owned *      file flushed with drop, released   unused        btFileCache::setUnused
//
// Replaceable blocks sit in the ring under the clock hand; held blocks sit in
// the held ring and are never chosen for replacement.
#pragma once

#include <cstdint>

class btCacheFile;

constexpr uint32_t BT_BLOCK_PIN_MASK = 0x00FFFFFFu;
constexpr uint32_t BT_BLOCK_STATE_DIRTY = 1u << 24;
constexpr uint32_t BT_BLOCK_STATE_HELD = 1u << 25;
constexpr uint32_t BT_BLOCK_GUARD = 0xfeedbeefu;
constexpr uint64_t BT_BLOCK_FREED_LINK = 0xffffffffdeadbeefull;

struct btFileCacheBlock {
  btFileCacheBlock* next;
  btFileCacheBlock* prev;
  btCacheFile* owner;
  uint64_t position;
  uint32_t state;
  uint32_t guardFront;  // BT_BLOCK_GUARD, directly before the data

  uint8_t* data() { return reinterpret_cast<uint8_t*>(this + 1); }
  static btFileCacheBlock* fromData(const void* data) {
    return reinterpret_cast<btFileCacheBlock*>(const_cast<void*>(data)) - 1;
  }
  uint32_t pins() const { return state & BT_BLOCK_PIN_MASK; }
  bool isDirty() const { return (state & BT_BLOCK_STATE_DIRTY) != 0; }
  bool isHeld() const { return (state & BT_BLOCK_STATE_HELD) != 0; }
};

static_assert(sizeof(btFileCacheBlock) % 8 == 0, "block data must stay aligned");
