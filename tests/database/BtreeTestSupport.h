// Helpers for B-tree tests: keys that are plain strings held by the test
// (records are just numbered seeks), chains kept in a map with the same
// circular links that records carry, and a model run that checks the tree
// against std::multimap through inserts, removals, scans, seeks and
// reopening the file.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include <gtest/gtest.h>

#include "DbTestFiles.h"
#include "database/btDatabase.h"
#include "database/btIndexDefinition.h"
#include "database/btStatus.h"
#include "database/btStoredRecord.h"
#include "database/index/btBtreeEngine.h"
#include "database/index/btBtreeKeys.h"
#include "database/index/btBtreeNode.h"
#include "database/index/btIndexIterator.h"

struct TestKey : btStoredRecord {
  explicit TestKey(std::string t) : text(std::move(t)) {}
  std::string text;
};

class StringKeys : public btBtreeKeys {
 public:
  explicit StringKeys(const btIndexDefinition* d) : width_(btBtreeNode::summaryBytes(d)) {}

  btKeySummary summaryOf(const std::string& k) const {
    uint8_t b[16] = {};
    for (size_t i = 0; i < width_ && i < k.size(); i++) b[i] = static_cast<uint8_t>(k[i]);
    btKeySummary s;
    if (width_ == 4) {
      s.hi = (uint64_t{b[0]} << 24) | (b[1] << 16) | (b[2] << 8) | b[3];
      return s;
    }
    for (int i = 0; i < 8; i++) s.hi = (s.hi << 8) | b[i];
    if (width_ == 16)
      for (int i = 8; i < 16; i++) s.lo = (s.lo << 8) | b[i];
    return s;
  }
  btKeySummary summaryOfKey(const btStoredRecord* key) override {
    return summaryOf(static_cast<const TestKey*>(key)->text);
  }
  int32_t summaryOfRecord(btSeek record, btKeySummary* summary) override {
    auto f = keyOf.find(record);
    if (f == keyOf.end()) return BT_STATUS_BAD_ADDRESS;
    *summary = summaryOf(f->second);
    return 0;
  }
  int32_t compareWithRecord(const btStoredRecord* key, btSeek record, int* result) override {
    auto f = keyOf.find(record);
    if (f == keyOf.end()) return BT_STATUS_BAD_ADDRESS;
    reads++;
    int c = static_cast<const TestKey*>(key)->text.compare(f->second);
    *result = c < 0 ? -1 : c > 0 ? 1 : 0;
    return 0;
  }

  int32_t chainAdd(btIndexIterator* it, btSeek s) override {
    btSeek h = it->chainHead ? static_cast<btSeek>(it->chainHead) : it->record;
    btSeek t = links[h].second;
    if (t == 0 || t == h) {
      links[h] = {s, s};
      links[s] = {h, h};
    } else {
      links[t].first = s;
      links[s] = {h, t};
      links[h].second = s;
    }
    it->record = s;
    it->chainHead = static_cast<int32_t>(h);
    return 0;
  }
  int32_t chainNext(btIndexIterator* it) override {
    btSeek n = links[it->record].first;
    if (n == 0 || n == static_cast<btSeek>(it->chainHead)) return BT_STATUS_NOT_FOUND;
    it->record = n;
    it->chainPosition++;
    return 0;
  }
  int32_t chainPrevious(btIndexIterator* it) override {
    if (it->record == static_cast<btSeek>(it->chainHead)) return BT_STATUS_NOT_FOUND;
    btSeek p = links[it->record].second;
    if (p == 0) return BT_STATUS_NOT_FOUND;
    it->record = p;
    return 0;
  }
  int32_t chainTail(btIndexIterator* it) override {
    btSeek h = it->chainHead > 0 ? static_cast<btSeek>(it->chainHead) : it->record;
    btSeek t = links[h].second;
    it->chainHead = static_cast<int32_t>(h);
    it->record = t ? t : h;
    return 0;
  }
  int32_t chainSeek(btIndexIterator* it, btSeek s) override {
    while (it->record != s) {
      int32_t rc = chainNext(it);
      if (rc < 0) return rc;
    }
    return 0;
  }
  int32_t unlinkDuplicate(btIndexIterator* it, btSeek d, bool backward, btSeek* newHead) override {
    btSeek n = links[d].first, p = links[d].second;
    btSeek head = it->chainHead ? static_cast<btSeek>(it->chainHead) : d;
    if ((p == d && n == d) || n == 0) {
      links.erase(d);
      it->record = 0;
      it->chainHead = 0;
      *newHead = 0;
      return 0;
    }
    if (n == p) {
      links[n] = {0, 0};
    } else {
      links[p].first = n;
      links[n].second = p;
    }
    links.erase(d);
    if (head == d) head = n;
    it->chainHead = static_cast<int32_t>(head);
    it->record = backward ? p : n;
    *newHead = head;
    return 0;
  }

  std::unordered_map<btSeek, std::string> keyOf;
  std::unordered_map<btSeek, std::pair<btSeek, btSeek>> links;
  uint64_t reads = 0;

 private:
  uint32_t width_;
};

// One database file holding one tree, reopened on demand.
struct TreeFixture {
  TreeFixture(const std::string& name, uint8_t flags, bool exact, uint32_t blockSize = 512)
      : path(dbTestPath(name)), keys(nullptr) {
    def.indexFlags = flags;
    def.keyFitsLink = exact;
    keys = std::make_unique<StringKeys>(&def);
    db = std::make_unique<btDatabase>();
    EXPECT_EQ(0, db->createDatabase(path.c_str(), "T", blockSize, 8u << 20, 0, 1));
    EXPECT_EQ(0, btBtreeEngine::create(db.get(), &def));
    tree = std::make_unique<btBtreeEngine>(&def, db.get(), keys.get());
  }
  ~TreeFixture() {
    tree.reset();
    if (db) db->closeDatabase();
  }
  void reopen() {
    tree.reset();
    ASSERT_EQ(0, db->closeDatabase());
    db = std::make_unique<btDatabase>();
    ASSERT_EQ(0, db->openDatabase(path.c_str(), 8u << 20, 0, 0, 1));
    tree = std::make_unique<btBtreeEngine>(&def, db.get(), keys.get());
  }

  std::string path;
  btIndexDefinition def;
  std::unique_ptr<StringKeys> keys;
  std::unique_ptr<btDatabase> db;
  std::unique_ptr<btBtreeEngine> tree;
};

// Keys for a model run: fixed 4-byte keys whose summary decides every
// compare, or long keys that share prefixes so that summaries tie.
inline std::string modelKey(std::mt19937& rng, bool longKeys, uint32_t space) {
  uint32_t v = rng() % space;
  if (!longKeys) {
    std::string k(4, 'a');
    for (int i = 3; i >= 0; i--, v /= 26) k[static_cast<size_t>(i)] = static_cast<char>('a' + v % 26);
    return k;
  }
  static const char* prefixes[] = {"", "trunk/src/", "trunk/src/database/index/", "branches/"};
  std::string k = prefixes[v % 4];
  v /= 4;
  do {
    k.push_back(static_cast<char>('a' + v % 7));
    v /= 7;
  } while (v);
  return k;
}

struct ModelRun {
  uint8_t flags;
  bool longKeys;
  uint32_t operations;
  uint32_t keySpace;
  uint32_t reopenEvery;
  uint32_t seed;
  uint32_t minHeight;
  // Leaves in the full entry form, as older files hold them.
  bool fullLeaves = false;
};

// Compares a full scan in both directions with the model.
inline void expectScansMatch(TreeFixture& f, const std::multimap<std::string, btSeek>& model) {
  btIndexIterator it;
  std::vector<btSeek> forward, backward, expected;
  for (auto& kv : model) expected.push_back(kv.second);
  for (int32_t rc = f.tree->first(&it); rc == 0; rc = f.tree->next(&it)) {
    forward.push_back(it.record);
    ASSERT_LE(forward.size(), expected.size() + 1);
  }
  for (int32_t rc = f.tree->last(&it); rc == 0; rc = f.tree->previous(&it)) {
    backward.push_back(it.record);
    ASSERT_LE(backward.size(), expected.size() + 1);
  }
  EXPECT_EQ(expected, forward);
  std::vector<btSeek> reversed(expected.rbegin(), expected.rend());
  EXPECT_EQ(reversed, backward);
}

inline void expectTreeSound(TreeFixture& f, const std::multimap<std::string, btSeek>& model,
                            bool dups, uint32_t* height = nullptr) {
  uint64_t entries = 0;
  ASSERT_EQ(0, f.tree->checkTree(&entries, height));
  uint64_t distinct = 0;
  for (auto i = model.begin(); i != model.end(); i = model.upper_bound(i->first)) distinct++;
  EXPECT_EQ(dups ? distinct : model.size(), entries);
}

// Random seeks against the model's bounds.
inline void expectSeeksMatch(TreeFixture& f, const std::multimap<std::string, btSeek>& model,
                             std::mt19937& rng, bool longKeys, uint32_t space, int probes) {
  for (int i = 0; i < probes; i++) {
    TestKey probe(modelKey(rng, longKeys, space));
    btIndexIterator it;
    auto lo = model.lower_bound(probe.text);
    auto hi = model.upper_bound(probe.text);
    int32_t rc = f.tree->seekAtLeast(&it, &probe);
    if (lo == model.end()) {
      EXPECT_EQ(BT_STATUS_NOT_FOUND, rc) << probe.text;
    } else {
      ASSERT_EQ(0, rc) << probe.text;
      EXPECT_EQ(lo->second, it.record) << "at least " << probe.text;
    }
    rc = f.tree->seekAbove(&it, &probe);
    if (hi == model.end()) {
      EXPECT_EQ(BT_STATUS_NOT_FOUND, rc) << probe.text;
    } else {
      ASSERT_EQ(0, rc) << probe.text;
      EXPECT_EQ(hi->second, it.record) << "above " << probe.text;
    }
    // At most: the first record of the greatest key not above the probe.
    rc = f.tree->seekAtMost(&it, &probe);
    if (hi == model.begin()) {
      EXPECT_EQ(BT_STATUS_NOT_FOUND, rc) << probe.text;
    } else {
      ASSERT_EQ(0, rc) << probe.text;
      auto k = std::prev(hi);
      EXPECT_EQ(model.lower_bound(k->first)->second, it.record) << "at most " << probe.text;
    }
    rc = f.tree->seekBelow(&it, &probe);
    if (lo == model.begin()) {
      EXPECT_EQ(BT_STATUS_NOT_FOUND, rc) << probe.text;
    } else {
      ASSERT_EQ(0, rc) << probe.text;
      auto k = std::prev(lo);
      EXPECT_EQ(model.lower_bound(k->first)->second, it.record) << "below " << probe.text;
    }
  }
}

// Inserts and removes at random (inserts win while the tree is small, so it
// grows and shrinks in waves), checking every answer against the model.
inline void runModel(const ModelRun& run, const std::string& fileName) {
  bool dups = (run.flags & BT_INDEX_DUPLICATES) != 0;
  TreeFixture f(fileName, run.flags, !run.longKeys);
  if (run.fullLeaves) {
    btBtreeNode root(&f.def);
    ASSERT_EQ(0, loadNode(&root, f.db->getCacheFile(), f.def.root));
    root.format(true, false);
  }
  std::mt19937 rng(run.seed);
  std::multimap<std::string, btSeek> model;
  std::vector<btSeek> live;
  std::unordered_map<btSeek, size_t> liveAt;
  btSeek nextSeek = 0x1000;
  uint32_t wave = run.operations / 4 + 1;
  uint32_t tallest = 0;
  for (uint32_t op = 0; op < run.operations; op++) {
    bool growing = (op / wave) % 2 == 0;
    bool insert = live.empty() || rng() % 100 < (growing ? 70u : 30u);
    btIndexIterator it;
    if (insert) {
      TestKey key(modelKey(rng, run.longKeys, run.keySpace));
      int32_t rc = f.tree->find(&it, &key, BT_FIND_ANY, false);
      bool present = model.count(key.text) > 0;
      ASSERT_EQ(present ? 0 : BT_STATUS_NOT_FOUND, rc) << key.text << " op " << op;
      if (present && !dups) continue;
      btSeek s = nextSeek;
      nextSeek += 8;
      f.keys->keyOf[s] = key.text;
      ASSERT_EQ(0, f.tree->insertKey(&it, &key, s)) << key.text << " op " << op;
      ASSERT_EQ(s, it.record);
      model.emplace(key.text, s);
      liveAt[s] = live.size();
      live.push_back(s);
    } else {
      size_t i = rng() % live.size();
      btSeek s = live[i];
      TestKey key(f.keys->keyOf[s]);
      ASSERT_EQ(0, f.tree->find(&it, &key, s, true)) << key.text << " op " << op;
      ASSERT_EQ(s, it.record);
      ASSERT_EQ(0, f.tree->removeCurrent(&it)) << key.text << " op " << op;
      auto range = model.equal_range(key.text);
      for (auto m = range.first; m != range.second; ++m) {
        if (m->second == s) {
          auto after = model.erase(m);
          // Without duplicates the iterator stands on the successor.
          if (!dups) {
            EXPECT_EQ(after == model.end() ? 0u : after->second, it.record);
          }
          break;
        }
      }
      live[i] = live.back();
      liveAt[live[i]] = i;
      live.pop_back();
      liveAt.erase(s);
      f.keys->keyOf.erase(s);
    }
    if (run.reopenEvery && op % run.reopenEvery == run.reopenEvery - 1) {
      uint32_t height = 0;
      expectTreeSound(f, model, dups, &height);
      if (height > tallest) tallest = height;
      expectScansMatch(f, model);
      expectSeeksMatch(f, model, rng, run.longKeys, run.keySpace, 20);
      f.reopen();
      expectScansMatch(f, model);
      if (::testing::Test::HasFatalFailure()) return;
    }
  }
  expectTreeSound(f, model, dups);
  expectScansMatch(f, model);
  expectSeeksMatch(f, model, rng, run.longKeys, run.keySpace, 200);
  // The run must have grown interior levels for splits and merges to reach them.
  EXPECT_GE(tallest, run.minHeight);
  // Emptying one by one leaves an empty root, not a freed one.
  while (!live.empty()) {
    btSeek s = live.back();
    live.pop_back();
    TestKey key(f.keys->keyOf[s]);
    btIndexIterator it;
    ASSERT_EQ(0, f.tree->find(&it, &key, s, true));
    ASSERT_EQ(0, f.tree->removeCurrent(&it));
  }
  EXPECT_TRUE(f.tree->isEmpty());
  uint32_t height = 0;
  uint64_t entries = 1;
  ASSERT_EQ(0, f.tree->checkTree(&entries, &height));
  EXPECT_EQ(0u, entries);
  EXPECT_EQ(1u, height);
}
