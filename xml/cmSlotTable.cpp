#include "xml/cmSlotTable.h"

#include "runtime/cmAlloc.h"
#include "runtime/cmErrors.h"
#include "runtime/cmException.h"

cmSlotTable::cmSlotTable(cmSlotTable&& o) noexcept { *this = static_cast<cmSlotTable&&>(o); }

cmSlotTable& cmSlotTable::operator=(cmSlotTable&& o) noexcept {
  if (this == &o) return *this;
  clear();
  capacity_ = o.capacity_;
  live_ = o.live_;
  used_ = o.used_;
  minGrowth_ = o.minGrowth_;
  reuseFree_ = o.reuseFree_;
  ownsItems_ = o.ownsItems_;
  slots_ = o.slots_;
  freeHead_ = o.freeHead_;
  o.slots_ = nullptr;
  o.freeHead_ = nullptr;
  o.capacity_ = o.live_ = o.used_ = 0;
  return *this;
}

cmSlotTable::~cmSlotTable() { cmFree(slots_); }

void cmSlotTable::clear() {
  cmFree(slots_);
  slots_ = nullptr;
  freeHead_ = nullptr;
  capacity_ = live_ = used_ = 0;
}

void cmSlotTable::reserve(int64_t slots) {
  if (slots > capacity_) growTo(slots);
}

void cmSlotTable::grow() {
  int64_t cap = capacity_ + capacity_ / 4;
  if (cap < minGrowth_) cap = minGrowth_;
  growTo(cap);
}

void cmSlotTable::growTo(int64_t cap) {
  if (cap > INT32_MAX) throw cmException(CM_ERR_CAPACITY_OVERFLOW);
  // Remember where the array was: the free chain links point into it.
  uintptr_t oldBase = reinterpret_cast<uintptr_t>(slots_);
  uintptr_t oldEnd = oldBase + static_cast<uintptr_t>(capacity_) * sizeof(void*);
  void** fresh = static_cast<void**>(cmRealloc(slots_, static_cast<size_t>(cap) * sizeof(void*)));
  if (!fresh) throw cmException(CM_ERR_OUT_OF_MEMORY);  // the old array is untouched
  // The new slots stay as they come: a slot at or beyond used_ is written
  // by add() before anything reads it.
  if (freeHead_ && reinterpret_cast<uintptr_t>(fresh) != oldBase) {
    // Rebase the chain by the distance moved. Slots holding items are left
    // alone: no item lies inside the array that was live until now.
    for (int64_t i = 0; i < used_; ++i) {
      uintptr_t p = reinterpret_cast<uintptr_t>(fresh[i]);
      if (p >= oldBase && p < oldEnd) fresh[i] = fresh + (p - oldBase) / sizeof(void*);
    }
    freeHead_ = fresh + (reinterpret_cast<uintptr_t>(freeHead_) - oldBase) / sizeof(void*);
  }
  slots_ = fresh;
  capacity_ = cap;
}

int32_t cmSlotTable::addSlow(void* item) {
  int64_t id;
  if (reuseFree_ && freeHead_) {
    void** slot = freeHead_;
    freeHead_ = static_cast<void**>(*slot);
    id = slot - slots_;
  } else {
    if (used_ == capacity_) grow();
    id = used_++;
  }
  slots_[id] = item;
  ++live_;
  return static_cast<int32_t>(id);
}

void* cmSlotTable::get(int32_t id) const {
  if (id < 0 || id >= used_) return nullptr;
  void* p = slots_[id];
  if (!p || insideArray(p)) return nullptr;
  return p;
}

void cmSlotTable::set(int32_t id, void* item) {
  if (get(id)) slots_[id] = item;
}

void cmSlotTable::release(int32_t id) {
  if (!get(id)) return;
  slots_[id] = freeHead_;
  freeHead_ = slots_ + id;
  --live_;
}
