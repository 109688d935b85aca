// btVariableLengthStorageBlock: a slotted area inside a block, in which
// records, stored lists and catalogue objects live. It starts at byte 4 of
// its block (behind the block tag), or at byte 512 of block 0 (behind the
// database header). Objects are named by slot, so they can move inside the
// area when a neighbour is removed.
//
// Layout, offsets from the start of the area, little-endian:
//
//   OFFSET  SIZE  MEANING
//   0       4     next: next block in its chain (encoded seek of block + 4; raw in the catalogue); 0 ends
//   4       4     prev: previous block in its chain; 0 at the head
//   8       2     size: bytes in this area
//   10      2     usedSlots: slots that hold an object
//   12      2     slotCount: slots in the slot table, used or empty
//   14      2     heapStart: offset of the lowest object byte; equals size when empty
//   16      2*n   slot table: object offset from the area start; 0 is an empty slot
//   ...           free space
//   heapStart..size  object images, growing downward from size
//
// Ownership and threading: as btStoredObject; a bound area pins its block.
#pragma once

#include <cstdint>

#include "database/btStoredObject.h"

class btVariableLengthStorageBlock : public btStoredObject {
 public:
  static constexpr uint32_t kHeaderSize = 16;

  // Writes an empty area of `size` bytes with both links 0.
  static void format(uint8_t* area, uint16_t size);

  uint32_t storedSize() const override { return image ? size : 0; }
  int32_t unpack() override;

  // Free bytes for a new object: heapStart minus the header, the slot table
  // with one more slot when all are used, and one spare slot word.
  uint32_t freeBytes() const;
  // Copies `n` bytes into the area in a new or reused slot; BT_STATUS_BLOCK_FULL
  // when there is no room or the slot table has `maxSlots` entries.
  int32_t placeImage(const uint8_t* src, uint32_t n, uint32_t maxSlots, uint16_t* slotOut,
                     uint8_t** imageOut);
  // Removes the object of `slot`, compacting the heap unless the object is a
  // small one far above the heap start. BT_STATUS_BAD_SLOT when empty.
  int32_t removeSlot(uint32_t slot);
  uint16_t slotValue(uint32_t slot) const;
  void setNext(uint32_t v);
  void setPrev(uint32_t v);

  uint32_t next = 0;
  uint32_t prev = 0;
  uint16_t size = 0;
  uint16_t usedSlots = 0;
  uint16_t slotCount = 0;
  uint16_t heapStart = 0;

 private:
  void storeHeader();
};
