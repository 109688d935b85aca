// cmBitSet: a set of 32-bit numbers (code points, for the most part). Bits
// below a limit (0x10000 unless given) live in an array of 32-bit words that
// grows to the highest word in use; numbers at or above the limit live as a
// sorted array of disjoint, non-adjacent ranges, searched by bisection. The
// number of members is kept up to date.
//
// A value type: copies are deep. Out of memory is fatal (-102692), as in
// cmArray. Not thread-safe; owners lock.
#pragma once

#include <cstdint>

#include "runtime/cmArray.h"

struct BitRangeItem {
  uint32_t low;
  uint32_t high;  // inclusive
  bool operator==(const BitRangeItem&) const = default;
};

class cmBitSet {
 public:
  static constexpr uint64_t kDefaultLimit = 0x10000;

  cmBitSet() = default;
  // `limit` is rounded up to a multiple of 32.
  explicit cmBitSet(uint64_t limit) : limit_((limit + 31) & ~uint64_t(31)) {}

  void set(uint32_t bit);
  // Sets low..high inclusive; nothing when low > high.
  void setRange(uint32_t low, uint32_t high);
  void reset(uint32_t bit);
  bool test(uint32_t bit) const;
  // Adds every member of `other`.
  void unite(const cmBitSet& other);
  // The numbers 0..upTo that are not members, with the same limit.
  cmBitSet complement(uint32_t upTo) const;
  void clear();

  uint64_t count() const { return count_; }
  bool isEmpty() const { return count_ == 0; }
  uint64_t limit() const { return limit_; }
  const cmArray<uint32_t>& words() const { return words_; }
  const cmArray<BitRangeItem>& ranges() const { return ranges_; }

  // Calls fn(low, high) for each maximal run of members, in ascending order.
  template <class F>
  void forEachRange(F&& fn) const {
    bool open = false;
    uint32_t runLow = 0, runHigh = 0;
    auto emit = [&](uint32_t low, uint32_t high) {
      if (open && uint64_t(runHigh) + 1 == low) {
        runHigh = high;
        return;
      }
      if (open) fn(runLow, runHigh);
      open = true;
      runLow = low;
      runHigh = high;
    };
    for (int64_t w = 0; w < words_.size(); ++w) {
      uint32_t word = words_[w];
      uint32_t bit = 0;
      while (word && bit < 32) {
        if (!(word & (1u << bit))) {
          bit++;
          continue;
        }
        uint32_t start = bit;
        while (bit < 32 && (word & (1u << bit))) bit++;
        emit(uint32_t(w * 32 + start), uint32_t(w * 32 + bit - 1));
      }
    }
    for (const BitRangeItem& r : ranges_) emit(r.low, r.high);
    if (open) fn(runLow, runHigh);
  }

 private:
  void setWordBits(uint32_t low, uint32_t high);
  void addRange(uint32_t low, uint32_t high);
  // Index of the first range whose high is not below `bit`.
  int64_t findRange(uint32_t bit) const;

  cmArray<uint32_t> words_;
  cmArray<BitRangeItem> ranges_;
  uint64_t limit_ = kDefaultLimit;
  uint64_t count_ = 0;
};
