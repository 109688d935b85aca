// cmSlotTable: small-integer ids for pointers, with a free list chained
// through the table itself. Node ids of a cmMiniXml and the XML handles of the
// flat handle interface are both slots of such a table.
//
// A slot holds either a payload pointer or, when free, a pointer to the next
// free slot inside the slot array (null at the chain's end). A slot names an
// item if and only if it is non-null and does not point into the array. Ids
// are dense and reused, the latest freed first, so an id held across a
// release may name a different item afterwards.
//
// The table owns only its slot array, never the items. Not thread-safe.
#pragma once

#include <cstdint>

class cmSlotTable {
 public:
  static constexpr int64_t kMinGrowth = 10;

  cmSlotTable() = default;
  cmSlotTable(const cmSlotTable&) = delete;
  cmSlotTable& operator=(const cmSlotTable&) = delete;
  cmSlotTable(cmSlotTable&& o) noexcept;
  cmSlotTable& operator=(cmSlotTable&& o) noexcept;
  ~cmSlotTable();

  // Gives `item` (non-null) an id: the head of the free chain when slot reuse
  // is on, else the next never-used slot, growing the array to
  // max(capacity + capacity/4, 10). Throws CM_ERR_OUT_OF_MEMORY.
  int32_t add(void* item) {
    // A parse adds one slot per node: the common case, a fresh slot in
    // room already made, is answered here.
    if (hasFreshSlot()) return addFresh(item);
    return addSlow(item);
  }
  // True when add() would take a never-used slot without growing; then
  // addFresh() is add() without the checks.
  bool hasFreshSlot() const { return (!reuseFree_ || !freeHead_) && used_ < capacity_; }
  int32_t addFresh(void* item) {
    slots_[used_] = item;
    ++live_;
    return static_cast<int32_t>(used_++);
  }
  // Frees slot `id` onto the chain. Ids that name no item are ignored.
  void release(int32_t id);
  // The item in slot `id`, or null when the id names none.
  void* get(int32_t id) const;
  // Points an occupied slot at another item.
  void set(int32_t id, void* item);
  // Makes room for at least `slots` slots in one step, so that a caller who
  // knows roughly how many ids it will hand out skips the quarter-steps.
  void reserve(int64_t slots);
  // Frees the array and forgets every id.
  void clear();

  int64_t capacity() const { return capacity_; }
  int64_t liveCount() const { return live_; }
  int64_t usedCount() const { return used_; }  // high-water mark of slots
  void setReuseFreeSlots(bool on) { reuseFree_ = on; }

 private:
  bool insideArray(void* p) const {
    return p >= static_cast<void*>(slots_) && p < static_cast<void*>(slots_ + capacity_);
  }
  int32_t addSlow(void* item);
  void grow();
  void growTo(int64_t cap);

  int64_t capacity_ = 0;
  int64_t live_ = 0;
  int64_t used_ = 0;
  int64_t minGrowth_ = kMinGrowth;
  bool reuseFree_ = true;
  bool ownsItems_ = false;  // never: items belong to whoever registered them
  void** slots_ = nullptr;
  void** freeHead_ = nullptr;  // first free slot, or null
};
