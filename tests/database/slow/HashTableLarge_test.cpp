// Hash indexes with bucket counts well past the 65,536 cached buckets: keys
// land on both sides of that line, the small table chains many sets, the
// large table chains directory sets and the block table walks a long
// extension chain, all against the multimap model across reopen.
#include <random>

#include <gtest/gtest.h>

#include "../HashTableHarness.h"

namespace {

struct LargeCase {
  const char* name;
  HashTableSetup setup;
};

class HashTableLarge : public ::testing::TestWithParam<LargeCase> {};

TEST_P(HashTableLarge, KeysOnBothSidesOfTheCachedBuckets) {
  const LargeCase& c = GetParam();
  HashTableHarness h(std::string("hash_large_") + c.name + ".tvdb", c.setup);
  std::mt19937 rng(99 + c.setup.kind);
  const uint32_t buckets = c.setup.buckets;
  // Half the keys in the cached range, half beyond it, with collisions
  // from keys one bucket count apart.
  auto pick = [&]() -> uint32_t {
    uint32_t b = rng() % 2 ? rng() % 65536 : 65536 + rng() % (buckets - 65536);
    return b + buckets * (rng() % 3);
  };
  for (int round = 0; round < 3; round++) {
    for (int op = 0; op < 1500; op++) {
      uint32_t key = pick();
      if (!h.model_.empty() && rng() % 5 == 0) {
        auto at = h.model_.begin();
        std::advance(at, rng() % std::min<size_t>(h.model_.size(), 32));
        ASSERT_EQ(0, h.remove(at->first, at->second));
      } else {
        int32_t rc = h.insert(key);
        if (rc == BT_STATUS_KEY_VIOLATION && !h.duplicates()) continue;
        ASSERT_EQ(0, rc) << key;
      }
    }
    h.checkScans();
    for (int probe = 0; probe < 100; probe++) h.checkFind(pick());
    h.reopen();
  }
  EXPECT_GT(h.hash_->bucketCount(h.db_->getCacheFile()), 65536u);
}

const LargeCase kLargeCases[] = {
    {"small", {3, 3, 90000, 4096}},
    {"small_unique", {17, 2, 90000, 4096}},
    // 512-byte blocks: the directory of 124 entries covers 15,748 buckets,
    // so the large table chains directory sets.
    {"large", {9, 3, 200000, 512}},
    {"large_unique", {9, 2, 400000, 4096}},
    {"block", {4, 3, 200000, 512}},
    {"block_unique", {4, 2, 300000, 8192}},
};

INSTANTIATE_TEST_SUITE_P(Kinds, HashTableLarge, ::testing::ValuesIn(kLargeCases),
                         [](const ::testing::TestParamInfo<LargeCase>& i) {
                           return std::string(i.param.name);
                         });

}  // namespace
