// btSeek: a 32-bit position in a database file, and the block tags.
//
// Two forms exist and the field holding a value says which one it is:
//  - raw: a plain byte position below 4 GiB (catalogue objects);
//  - encoded: reaches 36 bits. With S = B / 16, a value s whose offset in
//    its block (s mod B) is at least S carries the high bits of the position
//    in that offset: hi = (s mod B) / S, position = s - (s mod B) + s mod S
//    + (hi << 32). Only the first S bytes of a block can therefore be named;
//    objects in slotted blocks are named by slot (block + 4 + slot).
// 0 means none; 0xFFFFFFFF stored on disk reads as 0.
//
// Pure functions; callable from any thread.
#pragma once

#include <cstdint>

using btSeek = uint32_t;

constexpr uint64_t BT_MAX_FILE_SIZE = 0x1000000000ull;     // 64 GiB
constexpr uint64_t BT_MAX_OLD_FILE_SIZE = 0x80000000ull;   // 2 GiB, versions below 2000
constexpr uint16_t BT_FORMAT_VERSION = 2400;

// Block kinds, the top four bits of a block's first word.
enum btBlockKind : uint32_t {
  BT_BLOCK_FREE = 0,
  BT_BLOCK_CATALOGUE = 1,
  BT_BLOCK_DATA = 3,
  BT_BLOCK_BTREE_NODE = 4,
  BT_BLOCK_HASH_BUCKET = 5,
  BT_BLOCK_HASH_ROOT = 6,
};

// A u32 address field as stored on disk: 0xFFFFFFFF means none.
inline uint32_t btReadAddress(uint32_t stored) { return stored == 0xFFFFFFFFu ? 0 : stored; }

// Decodes an encoded seek. `highAllowed` is false for files that cannot
// reach past 4 GiB (at most 2 GiB long, or older than version 2000): their
// offsets are taken as they stand, so slot seeks never read as high bits.
inline uint64_t btSeekDecode(uint32_t s, uint64_t blockSize, bool highAllowed) {
  if (blockSize < 16 || !highAllowed) return s;
  uint64_t S = blockSize / 16;
  // Block sizes are nearly always powers of two: masks and a shift then
  // stand in for the three divisions, which show in every record bind.
  bool power = (blockSize & (blockSize - 1)) == 0;
  uint64_t off = power ? s & (blockSize - 1) : s % blockSize;
  uint64_t hi = power ? off >> __builtin_ctzll(S) : off / S;
  if (hi == 0) return s;
  uint64_t pos = (s - off) + (power ? s & (S - 1) : s % S) + (hi << 32);
  if (pos > BT_MAX_FILE_SIZE) return s;
  return pos;
}

// Encodes a position; positions below 4 GiB are their own encoding.
inline uint32_t btSeekEncode(uint64_t p, uint64_t blockSize) {
  if (p < 0x100000000ull || blockSize < 16) return static_cast<uint32_t>(p);
  uint64_t S = blockSize / 16;
  uint64_t low = p & 0xFFFFFFFFull;
  return static_cast<uint32_t>(blockSize * (low / blockSize) + p % S + S * (p >> 32));
}

// First word of an allocated block.
inline uint32_t btBlockTag(uint32_t kind, uint64_t blockPosition) {
  return (kind << 28) + static_cast<uint32_t>(blockPosition & 0x0FFFFFFF);
}
inline uint32_t btBlockKindOf(uint32_t tag) { return tag >> 28; }

// Little-endian access to image bytes.
inline uint16_t btGet16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
inline uint32_t btGet32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
         (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}
inline uint64_t btGet64(const uint8_t* p) {
  return static_cast<uint64_t>(btGet32(p)) | (static_cast<uint64_t>(btGet32(p + 4)) << 32);
}
inline void btPut16(uint8_t* p, uint16_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}
inline void btPut32(uint8_t* p, uint32_t v) {
  for (int i = 0; i < 4; i++) p[i] = static_cast<uint8_t>(v >> (8 * i));
}
inline void btPut64(uint8_t* p, uint64_t v) {
  btPut32(p, static_cast<uint32_t>(v));
  btPut32(p + 4, static_cast<uint32_t>(v >> 32));
}
