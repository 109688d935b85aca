// btSeekSet: a stored list of u32 values (record seeks or block seeks) with
// overflow chaining to further sets. Values are kept either sorted (binary
// search, sorted insertion) or in insertion order (linear search); the
// caller says which at every call.
//
// Long form (byte 3 has bit 7 clear, or is 255), little-endian:
//
//   OFFSET  SIZE   MEANING
//   0       4      next: encoded seek of the next set of the chain; >= 0xFFFFFFFF reads as 0
//   4       4      prev: encoded seek of the previous set
//   8       2      capacity (bit 15 not part of the number)
//   10      2      count (bit 15 not part of the number)
//   12      4*cap  values
//
// Short form (byte 3 is 128..254, that is bit 15 of count is set), no chain:
//
//   OFFSET  SIZE   MEANING
//   0       2      capacity (mask 0x7FFF)
//   2       2      count (mask 0x7FFF; bit 15 set marks the form)
//   4       4*cap  values
//
// The form test looks at byte 3 alone, so a chained long set must never be
// linked to a seek whose top byte is 128..254. A zero image is an empty set.
// Growth of sets is the index code's business: an insert into a full set
// returns BT_STATUS_BLOCK_FULL.
//
// Ownership and threading: as btStoredObject.
#pragma once

#include <cstdint>

#include "database/btStoredObject.h"

class btSeekSet : public btStoredObject {
 public:
  static constexpr uint32_t kLongHeader = 12;
  static constexpr uint32_t kShortHeader = 4;
  // Longest chain walked; a longer one is taken to be a loop.
  static constexpr uint32_t kMaxChain = 1u << 20;

  // Writes an empty set of the given capacity into `image`.
  static void formatLong(uint8_t* image, uint16_t capacity);
  static void formatShort(uint8_t* image, uint16_t capacity);
  // Capacity of a long set that fills a whole block of size B.
  static uint16_t fullBlockCapacity(uint64_t B) { return static_cast<uint16_t>((B - 16) / 4); }

  uint32_t storedSize() const override;
  int32_t unpack() override;

  uint32_t valueAt(uint32_t i) const;
  void setValueAt(uint32_t i, uint32_t value);
  void setNext(uint32_t seek);
  void setPrev(uint32_t seek);

  // This set alone: the index of `value`, or BT_STATUS_NOT_IN_LIST.
  int32_t find(uint32_t value, bool sorted) const;
  // Adds a value: at its sorted place (BT_STATUS_ALREADY_IN_LIST when
  // present) or at the end. BT_STATUS_BLOCK_FULL when the set is full.
  int32_t insert(uint32_t value, bool sorted);
  // Removes a value; BT_STATUS_NOT_IN_LIST when missing.
  int32_t remove(uint32_t value, bool sorted);

  // Across the chain that starts with this set. A set's size is its count
  // for value lists, its capacity for a stream directory (`byCapacity`).
  int32_t findInChain(uint32_t value, bool sorted, bool byCapacity, uint64_t* indexOut) const;
  int32_t getAt(uint64_t index, bool byCapacity, uint32_t* valueOut) const;
  // Sets the value at a chain index (directory entries).
  int32_t setAt(uint64_t index, bool byCapacity, uint32_t value);
  // Number of values (or slots, by capacity) across the chain, or a status.
  int64_t countAll(bool byCapacity) const;

  uint32_t next = 0;
  uint32_t prev = 0;
  uint16_t capacity = 0;
  uint16_t count = 0;
  bool shortForm = false;

 private:
  uint8_t* values() const { return image + (shortForm ? kShortHeader : kLongHeader); }
  void storeCount();
};
