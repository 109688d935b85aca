#include "database/btSeekSet.h"

#include <cstring>

#include "database/btCacheFile.h"
#include "database/btDatabase.h"
#include "database/btStatus.h"

void btSeekSet::formatLong(uint8_t* p, uint16_t cap) {
  std::memset(p, 0, kLongHeader + 4u * cap);
  btPut16(p + 8, cap);
}

void btSeekSet::formatShort(uint8_t* p, uint16_t cap) {
  std::memset(p, 0, kShortHeader + 4u * cap);
  btPut16(p, cap & 0x7FFF);
  btPut16(p + 2, 0x8000);
}

uint32_t btSeekSet::storedSize() const {
  if (!image) return 0;
  return (shortForm ? kShortHeader : kLongHeader) + 4u * capacity;
}

int32_t btSeekSet::unpack() {
  next = prev = 0;
  capacity = count = 0;
  shortForm = false;
  if (!image) return 0;
  if (!headerFits(kShortHeader)) return BT_STATUS_OBJECT_OVERRUNS_BLOCK;
  uint8_t b3 = image[3];
  shortForm = b3 >= 128 && b3 != 255;
  if (!shortForm && !headerFits(kLongHeader)) return BT_STATUS_OBJECT_OVERRUNS_BLOCK;
  if (shortForm) {
    capacity = btGet16(image) & 0x7FFF;
    count = btGet16(image + 2) & 0x7FFF;
  } else {
    next = btReadAddress(btGet32(image));
    prev = btReadAddress(btGet32(image + 4));
    capacity = btGet16(image + 8) & 0x7FFF;
    count = btGet16(image + 10) & 0x7FFF;
  }
  if (count > capacity) return BT_STATUS_BAD_LIST;
  uint64_t room = block && cacheFile ? cacheFile->blockSize - static_cast<uint64_t>(image - block)
                                     : ownedSize;
  if (storedSize() > room) return BT_STATUS_OBJECT_OVERRUNS_BLOCK;
  return 0;
}

uint32_t btSeekSet::valueAt(uint32_t i) const { return i < capacity ? btGet32(values() + 4 * i) : 0; }

void btSeekSet::setValueAt(uint32_t i, uint32_t value) {
  if (i >= capacity) return;
  btPut32(values() + 4 * i, value);
  markImageDirty();
}

void btSeekSet::setNext(uint32_t seek) {
  if (shortForm) return;
  next = seek;
  btPut32(image, seek);
  markImageDirty();
}

void btSeekSet::setPrev(uint32_t seek) {
  if (shortForm) return;
  prev = seek;
  btPut32(image + 4, seek);
  markImageDirty();
}

void btSeekSet::storeCount() {
  if (shortForm) {
    btPut16(image + 2, static_cast<uint16_t>(count | 0x8000));
  } else {
    btPut16(image + 10, static_cast<uint16_t>((btGet16(image + 10) & 0x8000) | count));
  }
  markImageDirty();
}

int32_t btSeekSet::find(uint32_t value, bool sorted) const {
  if (!image) return BT_STATUS_NOT_IN_LIST;
  if (sorted) {
    uint32_t lo = 0, hi = count;
    while (lo < hi) {
      uint32_t mid = (lo + hi) / 2;
      uint32_t v = valueAt(mid);
      if (v == value) return static_cast<int32_t>(mid);
      if (v < value) lo = mid + 1; else hi = mid;
    }
    return BT_STATUS_NOT_IN_LIST;
  }
  for (uint32_t i = 0; i < count; i++)
    if (valueAt(i) == value) return static_cast<int32_t>(i);
  return BT_STATUS_NOT_IN_LIST;
}

int32_t btSeekSet::insert(uint32_t value, bool sorted) {
  if (!image) return BT_STATUS_NOT_READY;
  uint32_t at = count;
  if (sorted) {
    uint32_t lo = 0, hi = count;
    while (lo < hi) {
      uint32_t mid = (lo + hi) / 2;
      uint32_t v = valueAt(mid);
      if (v == value) return BT_STATUS_ALREADY_IN_LIST;
      if (v < value) lo = mid + 1; else hi = mid;
    }
    at = lo;
  }
  if (count >= capacity) return BT_STATUS_BLOCK_FULL;
  std::memmove(values() + 4 * (at + 1), values() + 4 * at, 4u * (count - at));
  btPut32(values() + 4 * at, value);
  count++;
  storeCount();
  return 0;
}

int32_t btSeekSet::remove(uint32_t value, bool sorted) {
  int32_t at = find(value, sorted);
  if (at < 0) return at;
  uint32_t i = static_cast<uint32_t>(at);
  std::memmove(values() + 4 * i, values() + 4 * (i + 1), 4u * (count - i - 1));
  count--;
  btPut32(values() + 4 * count, 0);
  storeCount();
  return 0;
}

namespace {

// Walks the chain from `first`, calling `visit(set, base)` with the chain
// index of each set's first value; stops when visit returns non-zero.
template <class Visit>
int32_t walkChain(const btSeekSet* first, bool byCapacity, Visit visit) {
  uint64_t base = 0;
  int32_t rc = visit(const_cast<btSeekSet*>(first), base);
  if (rc) return rc;
  base += byCapacity ? first->capacity : first->count;
  uint32_t link = first->shortForm ? 0 : first->next;
  btSeekSet cur;
  // A chain cannot hold more sets than the file has room for; past that it
  // must be a loop.
  uint64_t maxHops = btSeekSet::kMaxChain;
  if (first->cacheFile && first->cacheFile->database) {
    uint64_t room = first->cacheFile->database->logicalFileSize() / btSeekSet::kLongHeader + 1;
    if (room < maxHops) maxHops = room;
  }
  for (uint64_t hops = 0; link; hops++) {
    if (hops >= maxHops || !first->cacheFile) return BT_STATUS_BAD_LIST;
    rc = loadSlotObject(&cur, first->cacheFile, link, false);
    if (rc < 0) return rc;
    rc = visit(&cur, base);
    if (rc) return rc;
    base += byCapacity ? cur.capacity : cur.count;
    link = cur.shortForm ? 0 : cur.next;
  }
  return 0;
}

}  // namespace

int32_t btSeekSet::findInChain(uint32_t value, bool sorted, bool byCapacity,
                               uint64_t* indexOut) const {
  bool found = false;
  int32_t rc = walkChain(this, byCapacity, [&](btSeekSet* s, uint64_t base) -> int32_t {
    int32_t at = s->find(value, sorted);
    if (at < 0) return 0;
    if (indexOut) *indexOut = base + static_cast<uint64_t>(at);
    found = true;
    return 1;
  });
  if (rc < 0) return rc;
  return found ? 0 : BT_STATUS_NOT_IN_LIST;
}

int32_t btSeekSet::getAt(uint64_t index, bool byCapacity, uint32_t* valueOut) const {
  bool found = false;
  int32_t rc = walkChain(this, byCapacity, [&](btSeekSet* s, uint64_t base) -> int32_t {
    uint64_t size = byCapacity ? s->capacity : s->count;
    if (index >= base + size) return 0;
    if (valueOut) *valueOut = s->valueAt(static_cast<uint32_t>(index - base));
    found = true;
    return 1;
  });
  if (rc < 0) return rc;
  return found ? 0 : BT_STATUS_NOT_FOUND;
}

int32_t btSeekSet::setAt(uint64_t index, bool byCapacity, uint32_t value) {
  bool found = false;
  int32_t rc = walkChain(this, byCapacity, [&](btSeekSet* s, uint64_t base) -> int32_t {
    uint64_t size = byCapacity ? s->capacity : s->count;
    if (index >= base + size) return 0;
    s->setValueAt(static_cast<uint32_t>(index - base), value);
    found = true;
    return 1;
  });
  if (rc < 0) return rc;
  return found ? 0 : BT_STATUS_NOT_FOUND;
}

int64_t btSeekSet::countAll(bool byCapacity) const {
  uint64_t total = 0;
  int32_t rc = walkChain(this, byCapacity, [&](btSeekSet* s, uint64_t) -> int32_t {
    total += byCapacity ? s->capacity : s->count;
    return 0;
  });
  return rc < 0 ? rc : static_cast<int64_t>(total);
}
