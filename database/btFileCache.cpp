#include "database/btFileCache.h"

#include <chrono>
#include <thread>
#include <cstring>

#include "database/btCacheFile.h"
#include "database/btStatus.h"
#include "runtime/cmAlloc.h"

btFileCache::~btFileCache() {
  while (heldHead) freeBlock(heldHead);
  while (hand) freeBlock(hand);
  for (size_t i = 0; i < prefillCount_; i++) cmFree(prefillNames_[i]);
  cmFree(prefillNames_);
}

void btFileCache::configure(uint64_t size, uint64_t budgetBytes) {
  if (configured_) return;
  configured_ = true;
  blockSize = size;
  maxBlocks = size ? budgetBytes / size : 0;
}

btFileCacheBlock* btFileCache::allocateBlock() {
  size_t bytes = sizeof(btFileCacheBlock) + blockSize + sizeof(uint32_t);
  auto* b = static_cast<btFileCacheBlock*>(cmAlloc(bytes));
  if (!b) return nullptr;
  std::memset(b, 0, sizeof(btFileCacheBlock));
  b->guardFront = BT_BLOCK_GUARD;
  uint32_t guard = BT_BLOCK_GUARD;
  std::memcpy(b->data() + blockSize, &guard, sizeof guard);
  totalBlocks++;
  replaceableCount++;
  insertReplaceable(b);
  return b;
}

void btFileCache::freeBlock(btFileCacheBlock* b) {
  if (b->isHeld()) toReplaceable(b);
  if (b->isDirty()) clearDirty(b);
  removeReplaceable(b);
  replaceableCount--;
  totalBlocks--;
  uint64_t freed = BT_BLOCK_FREED_LINK;
  std::memcpy(&b->next, &freed, sizeof freed);
  std::memcpy(&b->prev, &freed, sizeof freed);
  cmFree(b);
}

void btFileCache::insertReplaceable(btFileCacheBlock* b) {
  if (!hand) {
    b->next = b->prev = b;
    hand = b;
    return;
  }
  b->next = hand;
  b->prev = hand->prev;
  hand->prev->next = b;
  hand->prev = b;
}

void btFileCache::removeReplaceable(btFileCacheBlock* b) {
  if (hand == b) hand = b->next == b ? nullptr : b->next;
  b->prev->next = b->next;
  b->next->prev = b->prev;
  b->next = b->prev = b;
}

void btFileCache::toHeld(btFileCacheBlock* b) {
  if (b->isHeld()) return;
  removeReplaceable(b);
  replaceableCount--;
  b->state |= BT_BLOCK_STATE_HELD;
  if (!heldHead) {
    b->next = b->prev = b;
    heldHead = b;
    return;
  }
  b->next = heldHead;
  b->prev = heldHead->prev;
  heldHead->prev->next = b;
  heldHead->prev = b;
}

void btFileCache::toReplaceable(btFileCacheBlock* b) {
  if (!b->isHeld()) return;
  if (heldHead == b) heldHead = b->next == b ? nullptr : b->next;
  b->prev->next = b->next;
  b->next->prev = b->prev;
  b->state &= ~BT_BLOCK_STATE_HELD;
  replaceableCount++;
  insertReplaceable(b);
}

void btFileCache::touch(btFileCacheBlock* b) {
  if (b->isHeld()) return;
  if (hand == b) {
    // Moving the hand past the block puts it in the newest place.
    hand = b->next;
    return;
  }
  removeReplaceable(b);
  insertReplaceable(b);
}

void btFileCache::setDirty(btFileCacheBlock* b) {
  if (b->isDirty()) return;
  b->state |= BT_BLOCK_STATE_DIRTY;
  dirtyBlocks++;
}

void btFileCache::clearDirty(btFileCacheBlock* b) {
  if (!b->isDirty()) return;
  b->state &= ~BT_BLOCK_STATE_DIRTY;
  dirtyBlocks--;
}

void btFileCache::setUnused(btFileCacheBlock* b) {
  if (b->owner) b->owner->forgetBlock(b);
  if (b->isHeld()) toReplaceable(b);
  clearDirty(b);
  b->owner = nullptr;
  b->position = 0;
  b->state = 0;
  // Front of the ring: the next block the hand looks at.
  removeReplaceable(b);
  insertReplaceable(b);
  hand = b;
}

void btFileCache::trimToBudget() {
  while (totalBlocks > maxBlocks && hand) {
    btFileCacheBlock* p = hand;
    btFileCacheBlock* victim = nullptr;
    do {
      if (!p->owner && p->state == 0) {
        victim = p;
        break;
      }
      p = p->next;
    } while (p != hand);
    if (!victim) break;
    freeBlock(victim);
  }
}

void btFileCache::claim(btFileCacheBlock* b, btCacheFile* file, uint32_t flags, bool isNew) {
  if (!isNew) {
    if (b->owner) b->owner->forgetBlock(b);
    clearDirty(b);
    b->state = 0;
  }
  b->owner = file;
  if (flags & BLOCK_DIRTY) setDirty(b);
  if (flags & BLOCK_PIN) b->state++;
  if (flags & BLOCK_HOLD) {
    toHeld(b);
  } else if (!isNew && hand == b) {
    hand = b->next;
  }
}

btFileCacheBlock* btFileCache::findFreeBlock(btCacheFile* file, uint32_t flags, int32_t* status) {
  *status = BT_STATUS_NO_MEMORY;
  // Only an explicit no-overdraw request fails here; clean-only fetches of a
  // read-only file keep working with a small budget and merely refuse to
  // write anything back.
  if ((flags & BLOCK_NO_OVERDRAW) && totalBlocks + 512 > maxBlocks) return nullptr;
  bool noWrite = (flags & (BLOCK_NO_OVERDRAW | BLOCK_CLEAN_ONLY)) != 0;

  if (totalBlocks < maxBlocks || !hand || ((flags & BLOCK_SHADOW) && replaceableCount < 512)) {
    if (btFileCacheBlock* b = allocateBlock()) {
      claim(b, file, flags, true);
      *status = 0;
      return b;
    }
    if (!hand) return nullptr;
  }

  // First pass: a clean, unpinned block near the hand.
  btFileCacheBlock* p = hand;
  for (int i = 0; i < 64 && p; i++) {
    if (p->state == 0) {
      hand = p;
      claim(p, file, flags, false);
      *status = 0;
      return p;
    }
    p = p->next;
    if (p == hand) break;
  }

  for (int rounds = 0;; rounds++) {
    uint64_t waiting = 0;
    p = hand;
    if (p) {
      do {
        btFileCacheBlock* next = p->next;
        if (p->state == 0) {
          hand = p;
          claim(p, file, flags, false);
          *status = 0;
          return p;
        }
        if (p->state == BT_BLOCK_STATE_DIRTY && p->owner == file && !noWrite) {
          int32_t rc = file->writeBlock(p);
          if (rc < 0) {
            *status = rc;
            return nullptr;
          }
          hand = p;
          claim(p, file, flags, false);
          *status = 0;
          return p;
        }
        if (p->owner != file && !p->isDirty()) waiting++;
        p = next;
      } while (p != hand);
    }
    btFileCacheBlock* fresh = nullptr;
    bool mayOverdraw = !((flags & BLOCK_CLEAN_ONLY) && !(flags & BLOCK_SHADOW) && rounds < 10);
    if (mayOverdraw) fresh = allocateBlock();
    if (fresh) {
      claim(fresh, file, flags, true);
      *status = 0;
      return fresh;
    }
    if (waiting == 0) return nullptr;
    // Other files' readers may unpin; give them the lock for a while.
    int levels = releaseAll();
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    reacquire(levels);
  }
}

bool btFileCache::hasPrefillName(const char* name) const {
  for (size_t i = 0; i < prefillCount_; i++)
    if (std::strcmp(prefillNames_[i], name) == 0) return true;
  return false;
}

void btFileCache::addPrefillName(const char* name) {
  if (hasPrefillName(name)) return;
  auto** grown = static_cast<char**>(cmRealloc(prefillNames_, (prefillCount_ + 1) * sizeof(char*)));
  if (!grown) return;
  prefillNames_ = grown;
  size_t n = std::strlen(name) + 1;
  char* copy = static_cast<char*>(cmAlloc(n));
  if (!copy) return;
  std::memcpy(copy, name, n);
  prefillNames_[prefillCount_++] = copy;
}
