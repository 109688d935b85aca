// The B-tree index over stored records: keys are read from the records of
// a table, summaries come from the key code and ties are settled by
// compareKeys; duplicate keys hang in the records' link chains. Checked
// against std::multimap across close and reopen.
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "DbTestFiles.h"
#include "database/btBlockStorage.h"
#include "database/btCatalog.h"
#include "database/btDatabase.h"
#include "database/btFieldType.h"
#include "database/btStatus.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"
#include "database/index/btBtreeIndex.h"
#include "database/index/btIndexIterator.h"

namespace {

class StoredTree {
 public:
  static constexpr uint64_t kBudget = 4u << 20;

  StoredTree(const std::string& name, uint8_t flags) {
    path_ = dbTestPath(name);
    db_ = std::make_unique<btDatabase>();
    EXPECT_EQ(0, db_->createDatabase(path_.c_str(), "TREE", 1024, kBudget, 1, 1));
    btTableInfo t("paths", 0);
    EXPECT_EQ(0, t.addField("path", BT_FIELD_STRING, 60, 0));
    EXPECT_EQ(0, t.addField("serial", BT_FIELD_UINT, 1, 0));
    EXPECT_EQ(0, t.addIndex("by_path", 0, flags, 0, 0, 0, "path"));
    EXPECT_EQ(0, addTable(db_.get(), &t));
    bind();
    if (def_ && !def_->root) {
      EXPECT_EQ(0, btBtreeIndex::create(db_.get(), def_));
    }
  }
  ~StoredTree() {
    tree_.reset();
    if (db_) db_->closeDatabase();
  }
  void bind() {
    table_ = getTable(db_.get(), "paths");
    ASSERT_NE(nullptr, table_);
    def_ = getIndex(db_.get(), table_, "by_path");
    ASSERT_NE(nullptr, def_);
    tree_ = std::make_unique<btBtreeIndex>(def_);
  }
  void reopen() {
    tree_.reset();
    ASSERT_EQ(0, db_->closeDatabase());
    db_ = std::make_unique<btDatabase>();
    ASSERT_EQ(0, db_->openDatabase(path_.c_str(), kBudget, 0, 0, 1));
    bind();
  }
  void key(btStoredRecord* r, const std::string& text, uint32_t serial = 0) {
    ASSERT_EQ(0, initRecord(r, table_));
    ASSERT_EQ(0, setText(r, 0, text.data(), text.size()));
    ASSERT_EQ(0, setUnsigned(r, 1, serial));
  }
  // Stores and indexes a record; KEY_VIOLATION when a unique key exists.
  int32_t insert(const std::string& text, btSeek* seekOut) {
    btStoredRecord r;
    key(&r, text, ++serial_);
    btIndexIterator it(def_);
    int32_t found = tree_->find(&it, &r, BT_FIND_ANY, false);
    if (found == 0 && !def_->allowsDuplicates()) return BT_STATUS_KEY_VIOLATION;
    btSeek seek = 0;
    uint8_t* image = nullptr;
    int32_t rc = placeRecord(db_.get(), db_->getCacheFile(), &r, &seek, &image, table_, nullptr);
    if (rc < 0) return rc;
    table_->setRecordCount(table_->hdr.recordCount + 1);
    rc = tree_->insertKey(&it, &r, seek);
    if (rc < 0) return rc;
    *seekOut = seek;
    return 0;
  }
  int32_t remove(const std::string& text, btSeek seek) {
    btStoredRecord r;
    key(&r, text);
    btIndexIterator it(def_);
    int32_t rc = tree_->find(&it, &r, seek, true);
    if (rc < 0) return rc;
    if (it.record != seek) return BT_STATUS_NOT_FOUND;
    if ((rc = tree_->removeCurrent(&it)) < 0) return rc;
    if ((rc = releaseSlot(db_.get(), db_->getCacheFile(), seek, table_)) < 0) return rc;
    table_->setRecordCount(table_->hdr.recordCount - 1);
    return 0;
  }

  std::string path_;
  std::unique_ptr<btDatabase> db_;
  btTableInfo* table_ = nullptr;
  btIndexDefinition* def_ = nullptr;
  std::unique_ptr<btBtreeIndex> tree_;
  uint32_t serial_ = 0;
};

std::string randomPath(std::mt19937& rng, uint32_t space) {
  static const char* dirs[] = {"trunk/src/", "trunk/src/database/", "tags/release-", "branches/x/"};
  uint32_t v = rng() % space;
  std::string k = dirs[v % 4];
  for (v /= 4; v; v /= 5) k.push_back(static_cast<char>('a' + v % 5));
  return k;
}

void expectMatches(StoredTree& t, const std::multimap<std::string, btSeek>& model) {
  std::vector<btSeek> expected, forward, backward;
  for (auto& kv : model) expected.push_back(kv.second);
  btIndexIterator it(t.def_);
  for (int32_t rc = t.tree_->first(&it); rc == 0; rc = t.tree_->next(&it)) {
    forward.push_back(it.record);
    ASSERT_LE(forward.size(), expected.size());
  }
  for (int32_t rc = t.tree_->last(&it); rc == 0; rc = t.tree_->previous(&it)) {
    backward.push_back(it.record);
    ASSERT_LE(backward.size(), expected.size());
  }
  EXPECT_EQ(expected, forward);
  EXPECT_EQ(std::vector<btSeek>(expected.rbegin(), expected.rend()), backward);
  uint64_t entries = 0;
  EXPECT_EQ(0, t.tree_->checkTree(&entries));
}

void runStored(uint8_t flags, const char* file, uint32_t seed) {
  StoredTree t(file, flags);
  ASSERT_NE(nullptr, t.def_);
  EXPECT_EQ(0u, t.tree_->indexKind());
  EXPECT_TRUE(t.tree_->isEmpty());
  bool dups = (flags & BT_INDEX_DUPLICATES) != 0;
  std::mt19937 rng(seed);
  std::multimap<std::string, btSeek> model;
  std::vector<std::pair<std::string, btSeek>> live;
  for (int op = 0; op < 6000; op++) {
    if (live.empty() || rng() % 100 < (op < 4000 ? 70u : 25u)) {
      std::string k = randomPath(rng, dups ? 600 : 8000);
      btSeek s = 0;
      int32_t rc = t.insert(k, &s);
      if (!dups && model.count(k)) {
        ASSERT_EQ(BT_STATUS_KEY_VIOLATION, rc) << k;
        continue;
      }
      ASSERT_EQ(0, rc) << k << " op " << op;
      model.emplace(k, s);
      live.emplace_back(k, s);
    } else {
      size_t i = rng() % live.size();
      auto [k, s] = live[i];
      ASSERT_EQ(0, t.remove(k, s)) << k << " op " << op;
      auto range = model.equal_range(k);
      for (auto m = range.first; m != range.second; ++m)
        if (m->second == s) {
          model.erase(m);
          break;
        }
      live[i] = live.back();
      live.pop_back();
    }
    if (op % 1500 == 1499) {
      expectMatches(t, model);
      t.reopen();
      if (::testing::Test::HasFatalFailure()) return;
    }
  }
  expectMatches(t, model);
  // Range seeks read the records' keys.
  for (int i = 0; i < 200; i++) {
    btStoredRecord probe;
    std::string k = randomPath(rng, 8000);
    t.key(&probe, k);
    btIndexIterator it(t.def_);
    auto lo = model.lower_bound(k);
    int32_t rc = t.tree_->seekAtLeast(&it, &probe);
    if (lo == model.end()) {
      EXPECT_EQ(BT_STATUS_NOT_FOUND, rc);
    } else {
      ASSERT_EQ(0, rc);
      EXPECT_EQ(lo->second, it.record) << k;
    }
  }
  btIndexIterator it(t.def_);
  ASSERT_EQ(0, t.tree_->removeAll(&it));
  EXPECT_TRUE(t.tree_->isEmpty());
}

TEST(BtreeRecords, UniqueKeysWithEightByteSummaries) {
  runStored(BT_INDEX_SUMMARY8, "btree_records_unique.db", 7);
}

TEST(BtreeRecords, DuplicatesInLinkChainsWithSixteenByteSummaries) {
  runStored(BT_INDEX_SUMMARY16 | BT_INDEX_DUPLICATES, "btree_records_dups.db", 8);
}

TEST(BtreeRecords, FourByteSummariesOfLongPaths) {
  runStored(0, "btree_records_short.db", 9);
}

TEST(BtreeRecords, WithoutARootTheIndexReportsNoTable) {
  StoredTree t("btree_records_noroot.db", 0);
  ASSERT_NE(nullptr, t.def_);
  btSeek root = t.def_->root;
  t.def_->root = 0;
  btIndexIterator it(t.def_);
  EXPECT_EQ(BT_STATUS_NO_TABLE, t.tree_->first(&it));
  EXPECT_EQ(BT_STATUS_NO_TABLE, t.tree_->removeAll(&it));
  t.def_->root = root;
  EXPECT_EQ(BT_STATUS_NOT_FOUND, t.tree_->first(&it));
}

}  // namespace
