// cmStringBlock: the shared, reference-counted buffer behind every long
// string. One block is owned jointly by all the strings that point at it;
// the string that drops the count from 1 to 0 frees it. Only refCount is
// atomic: the other fields are written only by a string that holds the sole
// reference, except cachedHash, which any holder may fill with the same value
// (stored through an atomic reference so that races stay benign).
//
// Layout in memory (16-byte header, then the text):
//   OFFSET SIZE MEANING
//   0      4    blockLength: length of the text when the block was last filled
//   4      4    reserved, 0
//   8      4    cachedHash: 0, or the case-blind hash of the whole text
//   12     4    refCount: strings that share the block (atomic)
//   16     cap  bytes: the text with a NUL behind it
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

struct cmStringBlock {
  uint32_t blockLength;
  uint32_t reserved;
  uint32_t cachedHash;
  std::atomic<uint32_t> refCount;

  char* bytes() { return reinterpret_cast<char*>(this + 1); }
  const char* bytes() const { return reinterpret_cast<const char*>(this + 1); }

  // A fresh block with room for `capacity` bytes (text plus NUL), count 1.
  // Throws cmException(-102692) when memory runs out.
  static cmStringBlock* create(uint64_t capacity);
  // A block holding a copy of `len` bytes, terminated, with the given capacity
  // (raised to len + 1 if smaller).
  static cmStringBlock* createCopy(const char* text, uint64_t len, uint64_t capacity);

  void retain() { refCount.fetch_add(1, std::memory_order_relaxed); }
  // Drops one reference; frees the block on the last one. Null is ignored.
  static void release(cmStringBlock* block);

  uint32_t loadHash() const {
    return std::atomic_ref<const uint32_t>(cachedHash).load(std::memory_order_relaxed);
  }
  void storeHash(uint32_t h) {
    std::atomic_ref<uint32_t>(cachedHash).store(h, std::memory_order_relaxed);
  }
};

static_assert(sizeof(cmStringBlock) == 16, "the block header is 16 bytes");
