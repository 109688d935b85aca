#include "runtime/cmBitSet.h"

#include <bit>

namespace {
uint32_t maskFrom(uint32_t lowBit, uint32_t highBit) {
  // Bits lowBit..highBit of one word, both within 0..31.
  uint32_t upper = highBit == 31 ? 0xFFFFFFFFu : ((1u << (highBit + 1)) - 1);
  return upper & ~((1u << lowBit) - 1);
}
}  // namespace

void cmBitSet::set(uint32_t bit) { setRange(bit, bit); }

void cmBitSet::setRange(uint32_t low, uint32_t high) {
  if (low > high) return;
  if (low < limit_) setWordBits(low, uint64_t(high) < limit_ ? high : uint32_t(limit_ - 1));
  if (uint64_t(high) >= limit_) addRange(uint64_t(low) > limit_ ? low : uint32_t(limit_), high);
}

void cmBitSet::setWordBits(uint32_t low, uint32_t high) {
  int64_t lastWord = high / 32;
  if (words_.size() <= lastWord) words_.setSize(lastWord + 1);
  for (int64_t w = low / 32; w <= lastWord; ++w) {
    uint32_t from = w == low / 32 ? low % 32 : 0;
    uint32_t to = w == lastWord ? high % 32 : 31;
    uint32_t before = words_[w];
    uint32_t after = before | maskFrom(from, to);
    count_ += uint64_t(std::popcount(after) - std::popcount(before));
    words_[w] = after;
  }
}

int64_t cmBitSet::findRange(uint32_t bit) const {
  int64_t lo = 0, hi = ranges_.size();
  while (lo < hi) {
    int64_t mid = (lo + hi) / 2;
    if (ranges_[mid].high < bit)
      lo = mid + 1;
    else
      hi = mid;
  }
  return lo;
}

void cmBitSet::addRange(uint32_t low, uint32_t high) {
  // Ranges that overlap or touch [low, high] merge into one.
  int64_t first = findRange(low == 0 ? 0 : low - 1);
  int64_t last = first;
  uint64_t covered = 0;
  uint32_t newLow = low, newHigh = high;
  while (last < ranges_.size() && uint64_t(ranges_[last].low) <= uint64_t(high) + 1) {
    const BitRangeItem& r = ranges_[last];
    if (r.low < newLow) newLow = r.low;
    if (r.high > newHigh) newHigh = r.high;
    covered += uint64_t(r.high) - r.low + 1;
    last++;
  }
  count_ += (uint64_t(newHigh) - newLow + 1) - covered;
  if (last > first) ranges_.remove(first, last - first);
  ranges_.insert(first, BitRangeItem{newLow, newHigh});
}

void cmBitSet::reset(uint32_t bit) {
  if (bit < limit_) {
    int64_t w = bit / 32;
    if (w < words_.size() && (words_[w] & (1u << (bit % 32)))) {
      words_[w] &= ~(1u << (bit % 32));
      count_--;
    }
    return;
  }
  int64_t i = findRange(bit);
  if (i >= ranges_.size() || ranges_[i].low > bit) return;
  BitRangeItem r = ranges_[i];
  count_--;
  if (r.low == r.high) {
    ranges_.remove(i);
  } else if (bit == r.low) {
    ranges_[i].low++;
  } else if (bit == r.high) {
    ranges_[i].high--;
  } else {
    ranges_[i].high = bit - 1;
    ranges_.insert(i + 1, BitRangeItem{bit + 1, r.high});
  }
}

bool cmBitSet::test(uint32_t bit) const {
  if (bit < limit_) {
    int64_t w = bit / 32;
    return w < words_.size() && (words_[w] & (1u << (bit % 32)));
  }
  int64_t i = findRange(bit);
  return i < ranges_.size() && ranges_[i].low <= bit;
}

void cmBitSet::unite(const cmBitSet& other) {
  other.forEachRange([this](uint32_t low, uint32_t high) { setRange(low, high); });
}

cmBitSet cmBitSet::complement(uint32_t upTo) const {
  cmBitSet result(limit_);
  uint64_t next = 0;  // first number not yet decided
  forEachRange([&](uint32_t low, uint32_t high) {
    if (next > upTo) return;
    if (low > next) result.setRange(uint32_t(next), low - 1 < upTo ? low - 1 : upTo);
    next = uint64_t(high) + 1;
  });
  if (next <= upTo) result.setRange(uint32_t(next), upTo);
  return result;
}

void cmBitSet::clear() {
  words_.clear(true);
  ranges_.clear(true);
  count_ = 0;
}
