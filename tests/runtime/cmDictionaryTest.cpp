#include "runtime/cmDictionary.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "runtime/cmDictionarySet.h"
#include "runtime/cmSortedDictionary.h"
#include "runtime/cmSortedDictionarySet.h"

#if __has_include("text/TVString.h")
#include "text/TVString.h"
#define RH_HAVE_TVSTRING 1
#endif

namespace {

// Keys equal by `key` alone, so that tests can see which key object the
// container keeps.
struct Tagged {
  int key = 0;
  int tag = 0;
  bool operator==(const Tagged& o) const { return key == o.key; }
  uint64_t hash() const { return uint64_t(key) * 2654435761u; }
  int compare(const Tagged& o) const { return key < o.key ? -1 : (key > o.key ? 1 : 0); }
};

uint64_t identityHash(const int& key, void*) { return uint64_t(key); }

TEST(cmDictionary, DuplicateRules) {
  cmDictionary<Tagged, int> d;
  bool existed = true;
  int one = 1, two = 2;
  d.add(Tagged{5, 100}, false, &existed, &one);
  EXPECT_FALSE(existed);
  int& slot = d.add(Tagged{5, 200}, false, &existed, &two);
  EXPECT_TRUE(existed);
  EXPECT_EQ(slot, 1);  // kept: no replace
  EXPECT_EQ(d.findKey(Tagged{5, 0})->tag, 100);
  d.add(Tagged{5, 300}, true, &existed, &two);
  EXPECT_TRUE(existed);
  EXPECT_EQ(*d.find(Tagged{5, 0}), 2);
  EXPECT_EQ(d.findKey(Tagged{5, 0})->tag, 300);  // key object replaced too
  EXPECT_EQ(d.count(), 1);
  // The returned slot is the stored value.
  d.add(Tagged{6, 0}, false) = 66;
  EXPECT_EQ(*d.find(Tagged{6, 0}), 66);
}

TEST(cmDictionary, RehashesOnlyPastHalfCollisionsAndFullBuckets) {
  // With an identity hash, keys 0..102 fill the 103 buckets once each and
  // every later key collides.
  cmDictionary<int, int> d;
  d.setHashFunction(identityHash, nullptr);
  for (int k = 0; k <= 102; ++k) d.add(k, false);
  EXPECT_EQ(d.bucketCount(), 103);
  EXPECT_EQ(d.collisions(), 0);
  for (int k = 103; k <= 154; ++k) d.add(k, false);  // 52 collisions, 155 entries
  EXPECT_EQ(d.collisions(), 52);
  EXPECT_EQ(d.bucketCount(), 103);  // the check ran at 51 collisions
  d.add(155, false);
  EXPECT_EQ(d.bucketCount(), 413);
  EXPECT_EQ(d.count(), 156);
  for (int k = 0; k <= 155; ++k) ASSERT_NE(d.find(k), nullptr) << k;
  d.rehash();
  EXPECT_EQ(d.bucketCount(), 1653);
  EXPECT_EQ(d.collisions(), 0);
}

TEST(cmDictionary, FixedSizeWithoutAutomaticRehash) {
  cmDictionary<int, int> d;
  ASSERT_EQ(d.setBucketCount(7, false), 0);
  for (int k = 0; k < 200; ++k) d.add(k, false);
  EXPECT_EQ(d.bucketCount(), 7);
  EXPECT_EQ(d.collisions(), 200 - 7);
  for (int k = 0; k < 200; ++k) ASSERT_NE(d.find(k), nullptr);
}

TEST(cmDictionary, RandomOperationsMatchAMap) {
  std::mt19937 rng(99);
  cmDictionary<int, int> d;
  std::unordered_map<int, int> model;
  for (int step = 0; step < 20000; ++step) {
    int key = int(rng() % 3000);
    int value = int(rng());
    switch (rng() % 4) {
      case 0:
      case 1: {
        bool existed = false;
        d.add(key, true, &existed, &value);
        ASSERT_EQ(existed, model.count(key) == 1);
        model[key] = value;
        break;
      }
      case 2:
        ASSERT_EQ(d.remove(key), model.erase(key) == 1) << step;
        break;
      case 3: {
        const int* found = d.find(key);
        auto it = model.find(key);
        ASSERT_EQ(found != nullptr, it != model.end());
        if (found) {
          ASSERT_EQ(*found, it->second);
        }
        break;
      }
    }
    ASSERT_EQ(d.count(), int64_t(model.size()));
  }
  // Every entry once through the iterator, and a copy is equal and separate.
  std::unordered_map<int, int> seen;
  cmDictionary<int, int>::const_iterator it(d);
  while (it.moveNext()) ASSERT_TRUE(seen.emplace(it.current().key, it.current().value).second);
  EXPECT_EQ(seen, model);
  cmDictionary<int, int> copy(d);
  EXPECT_EQ(copy.count(), d.count());
  copy.add(-1, false);
  EXPECT_EQ(d.find(-1), nullptr);
  for (auto& [k, v] : model) ASSERT_TRUE(copy.contains(cmKeyValuePair<int, int>(k, v)));
  // Removal keeps the collision count honest: back to an empty table.
  for (auto& [k, v] : model) d.remove(k);
  EXPECT_EQ(d.count(), 0);
  EXPECT_EQ(d.collisions(), 0);
}

TEST(cmDictionarySet, AddsEachKeyOnce) {
  cmDictionarySet<Tagged> s;
  EXPECT_TRUE(s.insert(Tagged{1, 10}, false));
  EXPECT_FALSE(s.insert(Tagged{1, 20}, false));
  EXPECT_EQ(s.find(Tagged{1, 0})->tag, 10);
  EXPECT_FALSE(s.insert(Tagged{1, 30}, true));
  EXPECT_EQ(s.find(Tagged{1, 0})->tag, 30);
  s.add(Tagged{2, 0});
  EXPECT_EQ(s.count(), 2);
  EXPECT_TRUE(s.contains(Tagged{2, 5}));
  EXPECT_TRUE(s.remove(Tagged{2, 0}));
  EXPECT_FALSE(s.contains(Tagged{2, 0}));
}

TEST(cmSortedDictionary, RandomOperationsKeepOrderAndBalance) {
  std::mt19937 rng(3);
  cmSortedDictionary<int, int> d;
  std::map<int, int> model;
  for (int step = 0; step < 8000; ++step) {
    int key = int(rng() % 2000);
    if (rng() % 3) {
      d.set(key, step);
      model[key] = step;
    } else {
      ASSERT_EQ(d.remove(key), model.erase(key) == 1);
    }
    ASSERT_GE(d.verify(), 0) << "step " << step;
    ASSERT_EQ(d.count(), int64_t(model.size()));
  }
  std::vector<std::pair<int, int>> walked;
  d.forEach([&](const int& k, const int& v) { walked.emplace_back(k, v); });
  std::vector<std::pair<int, int>> expected(model.begin(), model.end());
  EXPECT_EQ(walked, expected);
  ASSERT_FALSE(model.empty());
  EXPECT_EQ(d.first()->key, model.begin()->first);
  EXPECT_EQ(d.last()->key, model.rbegin()->first);
  // Seeking starts at the first key not below the one asked for.
  for (int probe : {-5, 0, 777, 1999, 2500}) {
    auto expected = model.lower_bound(probe);
    cmSortedDictionary<int, int>::const_iterator it(d, probe);
    bool any = it.moveNext();
    ASSERT_EQ(any, expected != model.end()) << probe;
    if (any) {
      EXPECT_EQ(it.current().key, expected->first) << probe;
    }
  }
  cmSortedDictionary<int, int> copy(d);
  EXPECT_GE(copy.verify(), 0);
  EXPECT_EQ(copy.count(), d.count());
  // Sequential keys are the classic worst case for an unbalanced tree.
  cmSortedDictionary<int, int> sequential;
  for (int k = 0; k < 4096; ++k) sequential.set(k, k);
  int blackHeight = sequential.verify();
  EXPECT_GT(blackHeight, 0);
  EXPECT_LE(blackHeight, 13);
}

TEST(cmSortedDictionary, EqualKeyIsReplacedInPlace) {
  cmSortedDictionary<Tagged, int> d;
  d.set(Tagged{1, 1}, 10);
  d.set(Tagged{1, 2}, 20);
  EXPECT_EQ(d.count(), 1);
  EXPECT_EQ(d.first()->key.tag, 2);
  EXPECT_EQ(d.first()->value, 20);
  bool existed = false;
  d.add(Tagged{1, 3}, false, &existed) = 30;
  EXPECT_TRUE(existed);
  EXPECT_EQ(d.first()->key.tag, 2);
  EXPECT_EQ(d.first()->value, 30);
}

int descending(const int& a, const int& b, void*) { return a > b ? -1 : (a < b ? 1 : 0); }

TEST(cmSortedDictionarySet, OrderFollowsTheCompareFunction) {
  cmSortedDictionarySet<int> s(descending, nullptr);
  for (int k : {5, 1, 9, 5, 3}) s.add(k);
  EXPECT_EQ(s.count(), 4);
  std::vector<int> order;
  auto it = s.iterator();
  while (it->moveNext()) order.push_back(it->current());
  EXPECT_EQ(order, (std::vector<int>{9, 5, 3, 1}));
  EXPECT_EQ(*s.first(), 9);
  EXPECT_EQ(*s.lowerBound(4), 3);  // "not below" in the set's own order
  EXPECT_TRUE(s.remove(5));
  EXPECT_FALSE(s.contains(5));
  EXPECT_GE(s.verify(), 0);
  EXPECT_FALSE(s.insert(9, false));
}

#ifdef RH_HAVE_TVSTRING
TEST(cmDictionary, StringKeys) {
  using tolvane::TVString;
  cmDictionary<TVString, int> d;
  cmSortedDictionarySet<TVString> sorted;
  const char* words[] = {"pear", "apple", "a rather longer key that lives in a shared block", "fig", ""};
  for (int i = 0; i < 5; ++i) {
    d.add(TVString(words[i]), false) = i;
    sorted.add(TVString(words[i]));
  }
  for (int i = 0; i < 5; ++i) {
    const int* v = d.find(TVString(words[i]));
    ASSERT_NE(v, nullptr) << words[i];
    EXPECT_EQ(*v, i);
  }
  EXPECT_EQ(d.find(TVString("Pear2")), nullptr);
  std::vector<std::string> order;
  sorted.forEach([&](const TVString& s) { order.emplace_back(s.data(), size_t(s.length())); });
  EXPECT_EQ(order, (std::vector<std::string>{"", "a rather longer key that lives in a shared block", "apple", "fig",
                                             "pear"}));
}
#endif

}  // namespace
