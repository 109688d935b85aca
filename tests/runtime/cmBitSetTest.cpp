#include "runtime/cmBitSet.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <utility>
#include <vector>

namespace {

// Runs of a model set, for comparison with forEachRange.
std::vector<std::pair<uint32_t, uint32_t>> runsOf(const std::set<uint32_t>& s) {
  std::vector<std::pair<uint32_t, uint32_t>> runs;
  for (uint32_t v : s) {
    if (!runs.empty() && runs.back().second + 1 == v)
      runs.back().second = v;
    else
      runs.emplace_back(v, v);
  }
  return runs;
}

std::vector<std::pair<uint32_t, uint32_t>> runsOf(const cmBitSet& b) {
  std::vector<std::pair<uint32_t, uint32_t>> runs;
  b.forEachRange([&](uint32_t lo, uint32_t hi) { runs.emplace_back(lo, hi); });
  return runs;
}

// A small limit puts both the word array and the range list to work, and
// ranges that straddle the limit.
TEST(cmBitSet, RandomEditsMatchASet) {
  std::mt19937 rng(5);
  cmBitSet bits(200);
  std::set<uint32_t> model;
  for (int step = 0; step < 4000; ++step) {
    uint32_t a = rng() % 600, b = a + rng() % 40;
    switch (rng() % 4) {
      case 0:
        bits.set(a);
        model.insert(a);
        break;
      case 1:
        bits.setRange(a, b);
        for (uint32_t v = a; v <= b; ++v) model.insert(v);
        break;
      case 2:
        bits.reset(a);
        model.erase(a);
        break;
      case 3: {
        uint32_t probe = rng() % 700;
        ASSERT_EQ(bits.test(probe), model.count(probe) == 1) << probe;
        break;
      }
    }
    ASSERT_EQ(bits.count(), model.size()) << "step " << step;
  }
  EXPECT_EQ(runsOf(bits), runsOf(model));
  for (const BitRangeItem& r : bits.ranges()) EXPECT_GE(r.low, 200u);
  for (int64_t i = 1; i < bits.ranges().size(); ++i)
    EXPECT_GT(bits.ranges()[i].low, bits.ranges()[i - 1].high + 1);  // merged and sorted
}

TEST(cmBitSet, WordsGrowOnlyToTheHighestBit) {
  cmBitSet bits;
  bits.set(70);
  EXPECT_EQ(bits.words().size(), 3);
  EXPECT_EQ(bits.words()[2], 1u << 6);
  bits.setRange(0x10, 0x10FFFF);
  EXPECT_EQ(bits.words().size(), 0x10000 / 32);
  EXPECT_EQ(bits.words()[1], 0xFFFFFFFFu);
  ASSERT_EQ(bits.ranges().size(), 1);
  EXPECT_EQ(bits.ranges()[0], (BitRangeItem{0x10000, 0x10FFFF}));
  EXPECT_EQ(bits.count(), 0x10FFFFu - 0x10 + 1);
}

TEST(cmBitSet, ComplementAndUnion) {
  cmBitSet letters(64);
  letters.setRange('a', 'z');
  letters.setRange(100000, 100010);
  cmBitSet rest = letters.complement(200000);
  EXPECT_EQ(rest.count() + letters.count(), 200001u);
  EXPECT_FALSE(rest.test('q'));
  EXPECT_TRUE(rest.test('A'));
  EXPECT_TRUE(rest.test(200000));
  EXPECT_FALSE(rest.test(200001));
  EXPECT_FALSE(rest.test(100005));
  cmBitSet all = rest;
  all.unite(letters);
  EXPECT_EQ(runsOf(all), (std::vector<std::pair<uint32_t, uint32_t>>{{0, 200000}}));
}

}  // namespace
