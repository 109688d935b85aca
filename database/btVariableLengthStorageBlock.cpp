#include "database/btVariableLengthStorageBlock.h"

#include <cstring>

#include "database/btCacheFile.h"
#include "database/btStatus.h"

void btVariableLengthStorageBlock::format(uint8_t* area, uint16_t size) {
  std::memset(area, 0, size);
  btPut16(area + 8, size);
  btPut16(area + 14, size);
}

int32_t btVariableLengthStorageBlock::unpack() {
  if (!image) return 0;
  if (!headerFits(kHeaderSize)) return BT_STATUS_OBJECT_OVERRUNS_BLOCK;
  next = btReadAddress(btGet32(image));
  prev = btReadAddress(btGet32(image + 4));
  size = btGet16(image + 8);
  usedSlots = btGet16(image + 10);
  slotCount = btGet16(image + 12);
  heapStart = btGet16(image + 14);
  // The slot table must also lie inside the area, so that no operation on a
  // damaged block reaches past it.
  if (usedSlots > slotCount || size / 2 < slotCount || heapStart < kHeaderSize ||
      heapStart > size || kHeaderSize + 2u * slotCount > size)
    return BT_STATUS_BAD_BLOCK;
  if (block && cacheFile &&
      static_cast<uint64_t>(image - block) + size > cacheFile->blockSize)
    return BT_STATUS_OBJECT_OVERRUNS_BLOCK;
  return 0;
}

uint32_t btVariableLengthStorageBlock::freeBytes() const {
  int64_t n = slotCount + (usedSlots == slotCount ? 1 : 0);
  int64_t free = static_cast<int64_t>(heapStart) - (2 * n + 18);
  return free < 0 ? 0 : static_cast<uint32_t>(free);
}

uint16_t btVariableLengthStorageBlock::slotValue(uint32_t slot) const {
  if (!image || slot >= slotCount) return 0;
  return btGet16(image + kHeaderSize + 2 * slot);
}

void btVariableLengthStorageBlock::storeHeader() {
  btPut32(image, next);
  btPut32(image + 4, prev);
  btPut16(image + 8, size);
  btPut16(image + 10, usedSlots);
  btPut16(image + 12, slotCount);
  btPut16(image + 14, heapStart);
  markImageDirty();
}

void btVariableLengthStorageBlock::setNext(uint32_t v) {
  next = v;
  storeHeader();
}

void btVariableLengthStorageBlock::setPrev(uint32_t v) {
  prev = v;
  storeHeader();
}

int32_t btVariableLengthStorageBlock::placeImage(const uint8_t* src, uint32_t n, uint32_t maxSlots,
                                                 uint16_t* slotOut, uint8_t** imageOut) {
  if (!image || n > freeBytes()) return BT_STATUS_BLOCK_FULL;
  uint32_t slot = slotCount;
  if (usedSlots != slotCount) {
    for (uint32_t i = 0; i < slotCount; i++) {
      if (btGet16(image + kHeaderSize + 2 * i) == 0) {
        slot = i;
        break;
      }
    }
  }
  if (slot == slotCount) {
    if (slotCount >= maxSlots) return BT_STATUS_BLOCK_FULL;
    slotCount++;
  }
  heapStart = static_cast<uint16_t>(heapStart - n);
  btPut16(image + kHeaderSize + 2 * slot, heapStart);
  usedSlots++;
  if (src) {
    std::memcpy(image + heapStart, src, n);
  } else {
    std::memset(image + heapStart, 0, n);
  }
  storeHeader();
  if (slotOut) *slotOut = static_cast<uint16_t>(slot);
  if (imageOut) *imageOut = image + heapStart;
  return 0;
}

int32_t btVariableLengthStorageBlock::removeSlot(uint32_t slot) {
  if (!image || slot >= slotCount) return BT_STATUS_BAD_SLOT;
  uint8_t* table = image + kHeaderSize;
  uint32_t off = btGet16(table + 2 * slot);
  if (off == 0 || off < heapStart || off >= size) return BT_STATUS_BAD_SLOT;
  uint32_t end = size;
  for (uint32_t i = 0; i < slotCount; i++) {
    uint32_t v = btGet16(table + 2 * i);
    if (v > off && v < end) end = v;
  }
  uint32_t len = end - off;
  if (off >= heapStart + 1024u && len <= 32) {
    // A small hole high in a busy block is cheaper left than closed.
    std::memset(image + off, 0, len);
  } else {
    std::memmove(image + heapStart + len, image + heapStart, off - heapStart);
    for (uint32_t i = 0; i < slotCount; i++) {
      uint32_t v = btGet16(table + 2 * i);
      if (v != 0 && v < off && v >= heapStart) btPut16(table + 2 * i, static_cast<uint16_t>(v + len));
    }
    std::memset(image + heapStart, 0, len);
    heapStart = static_cast<uint16_t>(heapStart + len);
  }
  btPut16(table + 2 * slot, 0);
  usedSlots--;
  if (slot + 1 == slotCount) {
    uint32_t highest = 0;
    for (uint32_t i = 0; i < slot; i++)
      if (btGet16(table + 2 * i) != 0) highest = i + 1;
    slotCount = static_cast<uint16_t>(highest);
  }
  if (usedSlots == 0) slotCount = 0;
  storeHeader();
  return 0;
}
