// A stored table with one hash index over a "uint" key, driven side by side
// with std::unordered_multimap as the model: records are placed in data
// blocks, indexed through find and insertKey, removed through find with the
// record and removeCurrent, and the whole index is compared with the model
// by forward and backward scans and by lookups, across close and reopen.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
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
#include "database/index/btAbstractHashTable.h"
#include "database/index/btIndexIterator.h"
#include "database/index/btIndexStructure.h"

struct HashTableSetup {
  uint8_t kind;
  uint8_t flags;
  uint32_t buckets;
  uint32_t blockSize;
};

class HashTableHarness {
 public:
  static constexpr uint64_t kBudget = 4u << 20;

  HashTableHarness(const std::string& fileName, HashTableSetup setup) : setup_(setup) {
    path_ = dbTestPath(fileName);
    db_ = std::make_unique<btDatabase>();
    EXPECT_EQ(0, db_->createDatabase(path_.c_str(), "HASH", setup.blockSize, kBudget, 1, 1));
    btTableInfo t("items", 0);
    EXPECT_EQ(0, t.addField("key", BT_FIELD_UINT, 1, 0));
    EXPECT_EQ(0, t.addField("serial", BT_FIELD_UINT, 1, 0));
    EXPECT_EQ(0, t.addIndex("by_key", setup.kind, setup.flags, setup.buckets, 0, 0, "key"));
    EXPECT_EQ(0, addTable(db_.get(), &t));
    bindTable();
    if (definition_ && !definition_->root) {
      EXPECT_EQ(0, createIndexStructure(db_.get(), definition_));
    }
    open();
  }
  ~HashTableHarness() {
    if (db_) db_->closeDatabase();
  }

  void bindTable() {
    table_ = getTable(db_.get(), "items");
    ASSERT_NE(nullptr, table_);
    definition_ = getIndex(db_.get(), table_, "by_key");
    ASSERT_NE(nullptr, definition_);
  }
  void open() {
    int32_t status = 0;
    structure_ = structureOf(definition_, &status);
    ASSERT_NE(nullptr, structure_) << status;
    hash_ = dynamic_cast<btAbstractHashTable*>(structure_);
    ASSERT_NE(nullptr, hash_);
  }
  void reopen() {
    structure_ = nullptr;
    hash_ = nullptr;
    ASSERT_EQ(0, db_->closeDatabase());
    db_ = std::make_unique<btDatabase>();
    ASSERT_EQ(0, db_->openDatabase(path_.c_str(), kBudget, 0, 1, 1));
    bindTable();
    open();
  }

  bool duplicates() const { return (setup_.flags & BT_INDEX_DUPLICATES) != 0; }

  // A key record (not stored).
  void keyRecord(btStoredRecord* r, uint32_t key, uint32_t serial = 0) {
    ASSERT_EQ(0, initRecord(r, table_));
    ASSERT_EQ(0, setFixedBits(r, 0, key));
    ASSERT_EQ(0, setFixedBits(r, 1, serial));
  }

  // Stores a record and indexes it; the insert status, or the find status
  // when a unique key refuses it. The record is kept only when indexed.
  int32_t insert(uint32_t key, btSeek* seekOut = nullptr) {
    btStoredRecord r;
    keyRecord(&r, key, ++serial_);
    btIndexIterator it(definition_);
    int32_t found = structure_->find(&it, &r, BT_FIND_ANY, false);
    if (found == 0 && !duplicates()) return BT_STATUS_KEY_VIOLATION;
    btSeek seek = 0;
    uint8_t* image = nullptr;
    int32_t rc = placeRecord(db_.get(), db_->getCacheFile(), &r, &seek, &image, table_, nullptr);
    if (rc < 0) return rc;
    table_->setRecordCount(table_->hdr.recordCount + 1);
    rc = structure_->insertKey(&it, &r, seek);
    if (rc < 0) {
      releaseSlot(db_.get(), db_->getCacheFile(), seek, table_);
      table_->setRecordCount(table_->hdr.recordCount - 1);
      return rc;
    }
    model_.emplace(key, seek);
    if (seekOut) *seekOut = seek;
    return 0;
  }

  // Removes the record `seek` of `key` from the index and the table.
  int32_t remove(uint32_t key, btSeek seek) {
    btStoredRecord r;
    keyRecord(&r, key);
    btIndexIterator it(definition_);
    int32_t rc = structure_->find(&it, &r, seek, true);
    if (rc < 0) return rc;
    if (it.record != seek) return BT_STATUS_NOT_FOUND;
    rc = structure_->removeCurrent(&it);
    if (rc < 0) return rc;
    rc = releaseSlot(db_.get(), db_->getCacheFile(), seek, table_);
    if (rc < 0) return rc;
    table_->setRecordCount(table_->hdr.recordCount - 1);
    auto range = model_.equal_range(key);
    for (auto i = range.first; i != range.second; ++i) {
      if (i->second == seek) {
        model_.erase(i);
        break;
      }
    }
    return 0;
  }

  uint32_t storedKey(btSeek seek) {
    btStoredRecord r;
    EXPECT_EQ(0, btLoadIndexRecord(definition_, seek, &r));
    return static_cast<uint32_t>(getUnsigned(&r, 0));
  }

  // Every record by a forward scan, then the same backward.
  void checkScans() {
    std::vector<btSeek> forward, backward;
    btIndexIterator it(definition_);
    for (int32_t rc = structure_->first(&it); rc == 0; rc = structure_->next(&it)) {
      forward.push_back(it.record);
      ASSERT_LE(forward.size(), model_.size()) << "scan does not end";
    }
    EXPECT_EQ(0u, it.record);
    for (int32_t rc = structure_->last(&it); rc == 0; rc = structure_->previous(&it)) {
      backward.push_back(it.record);
      ASSERT_LE(backward.size(), model_.size()) << "backward scan does not end";
    }
    std::reverse(backward.begin(), backward.end());
    EXPECT_EQ(forward, backward);
    std::vector<btSeek> expected;
    for (auto& kv : model_) expected.push_back(kv.second);
    std::sort(expected.begin(), expected.end());
    std::vector<btSeek> seen = forward;
    std::sort(seen.begin(), seen.end());
    ASSERT_EQ(expected, seen);
  }

  // Lookups of `key`: every record with it, through find and nextEqual.
  void checkFind(uint32_t key) {
    btStoredRecord r;
    keyRecord(&r, key);
    btIndexIterator it(definition_);
    auto range = model_.equal_range(key);
    std::vector<btSeek> expected;
    for (auto i = range.first; i != range.second; ++i) expected.push_back(i->second);
    int32_t rc = structure_->find(&it, &r, BT_FIND_ANY, false);
    if (expected.empty()) {
      ASSERT_EQ(BT_STATUS_NOT_FOUND, rc) << key;
      return;
    }
    ASSERT_EQ(0, rc) << key;
    std::vector<btSeek> got{it.record};
    while (structure_->nextEqual(&it) == 0) {
      got.push_back(it.record);
      ASSERT_LE(got.size(), expected.size()) << key;
    }
    for (btSeek s : got) EXPECT_EQ(key, storedKey(s));
    std::sort(expected.begin(), expected.end());
    std::sort(got.begin(), got.end());
    EXPECT_EQ(expected, got) << key;
  }

  // Random inserts and removes over keys below `keyRange`, with checks.
  void randomRounds(std::mt19937& rng, int rounds, int opsPerRound, uint32_t keyRange,
                    bool reopenBetween) {
    for (int round = 0; round < rounds; round++) {
      for (int op = 0; op < opsPerRound; op++) {
        uint32_t key = rng() % keyRange;
        if (!model_.empty() && rng() % 4 == 0) {
          auto at = model_.begin();
          std::advance(at, rng() % std::min<size_t>(model_.size(), 64));
          uint32_t k = at->first;
          ASSERT_EQ(0, remove(k, at->second)) << k;
        } else {
          int32_t rc = insert(key);
          if (!duplicates() && model_.count(key) && rc == BT_STATUS_KEY_VIOLATION) continue;
          ASSERT_EQ(0, rc) << key;
        }
      }
      checkScans();
      for (int probe = 0; probe < 50; probe++) checkFind(rng() % keyRange);
      if (reopenBetween) reopen();
    }
  }

  HashTableSetup setup_;
  std::string path_;
  std::unique_ptr<btDatabase> db_;
  btTableInfo* table_ = nullptr;
  btIndexDefinition* definition_ = nullptr;
  btIndexStructure* structure_ = nullptr;
  btAbstractHashTable* hash_ = nullptr;
  std::unordered_multimap<uint32_t, btSeek> model_;
  uint32_t serial_ = 0;
};
