#include "text/cmStringBlock.h"

#include <cstring>
#include <new>

#include "runtime/cmAlloc.h"
#include "runtime/cmException.h"
#include "text/cmStringErrors.h"

cmStringBlock* cmStringBlock::create(uint64_t capacity) {
  if (capacity == 0) capacity = 1;
  if (capacity > (uint64_t(1) << 56) - sizeof(cmStringBlock)) throw cmException(CM_STR_OUT_OF_MEMORY);
  void* mem = cmAlloc(sizeof(cmStringBlock) + capacity);
  if (!mem) throw cmException(CM_STR_OUT_OF_MEMORY);
  cmStringBlock* b = new (mem) cmStringBlock;
  b->blockLength = 0;
  b->reserved = 0;
  b->cachedHash = 0;
  b->refCount.store(1, std::memory_order_relaxed);
  b->bytes()[0] = 0;
  return b;
}

cmStringBlock* cmStringBlock::createCopy(const char* text, uint64_t len, uint64_t capacity) {
  if (capacity < len + 1) capacity = len + 1;
  cmStringBlock* b = create(capacity);
  if (len) std::memcpy(b->bytes(), text, len);
  b->bytes()[len] = 0;
  b->blockLength = static_cast<uint32_t>(len);
  return b;
}

void cmStringBlock::release(cmStringBlock* block) {
  if (!block) return;
  if (block->refCount.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    block->~cmStringBlock();
    cmFree(block);
  }
}
