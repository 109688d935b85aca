// Helpers for the table operation tests: a database with one table of
// people (id, name, note, count), rows written and read as plain structs,
// and index roots made where the catalogue does not make them yet.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "DbTestFiles.h"
#include "database/btCatalog.h"
#include "database/btDatabase.h"
#include "database/btFieldType.h"
#include "database/btStatus.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"
#include "database/btTableOperations.h"
#include "database/index/btBtreeEngine.h"
#include "database/index/btIndexIterator.h"
#include "database/index/btIndexStructure.h"

namespace tableops {

constexpr uint64_t kBudget = 4u << 20;

struct Row {
  Row(uint32_t i = 0, std::string n = {}, std::string t = {}, uint32_t c = 0)
      : id(i), name(std::move(n)), note(std::move(t)), count(c) {}
  uint32_t id = 0;
  std::string name;
  std::string note;
  uint32_t count = 0;
  bool operator==(const Row& o) const {
    return id == o.id && name == o.name && note == o.note && count == o.count;
  }
};

inline std::string textOf(const btStoredRecord& r, uint32_t field) {
  tolvane::TVString s;
  if (getText(&r, field, &s) < 0 || s.isNull()) return "<null>";
  int64_t n = 0;
  const char* p = s.getLengthAndPointer(n);
  return std::string(p, static_cast<size_t>(n));
}

inline void fill(btStoredRecord* r, btTableInfo* t, const Row& row) {
  ASSERT_EQ(0, initRecord(r, t));
  ASSERT_EQ(0, setUnsigned(r, 0, row.id));
  ASSERT_EQ(0, setText(r, 1, row.name.data(), row.name.size()));
  ASSERT_EQ(0, setText(r, 2, row.note.data(), row.note.size()));
  ASSERT_EQ(0, setUnsigned(r, 3, row.count));
}

inline Row rowOf(const btStoredRecord& r) {
  Row row;
  row.id = static_cast<uint32_t>(getUnsigned(&r, 0));
  row.name = textOf(r, 1);
  row.note = textOf(r, 2);
  row.count = static_cast<uint32_t>(getUnsigned(&r, 3));
  return row;
}

// Gives every persistent index of `t` a stored root if it has none, and
// says whether all of them can be opened.
inline bool openAllIndexes(btDatabase* db, btTableInfo* t) {
  for (uint32_t i = 0; i < t->indexCount(); i++) {
    btIndexDefinition* d = t->index(i);
    if (!d->root) {
      int32_t rc = d->indexType == BT_INDEX_BTREE ? btBtreeEngine::create(db, d)
                                                  : createIndexStructure(db, d);
      if (rc < 0) return false;
    }
    if (!structureOf(d)) return false;
  }
  return true;
}

// The people table. Index 0: unique block hash on id. Index 1, on name,
// of the kind and flags given; `nameBuckets` is its threshold.
inline std::unique_ptr<btTableInfo> peopleTable(uint8_t nameKind, uint8_t nameFlags,
                                                uint32_t nameBuckets) {
  auto t = std::make_unique<btTableInfo>("people", 0);
  EXPECT_EQ(0, t->addField("id", BT_FIELD_UINT, 1, 2));
  EXPECT_EQ(0, t->addField("name", BT_FIELD_STRING, 1000, 0));
  EXPECT_EQ(0, t->addField("note", BT_FIELD_STRING, 5000, 0));
  EXPECT_EQ(0, t->addField("count", BT_FIELD_UINT, 1, 0));
  EXPECT_EQ(0, t->addIndex("id_hash", BT_INDEX_BLOCK_HASH, 2, 97, 0, 0, "id"));
  EXPECT_EQ(0, t->addIndex("name_index", nameKind, nameFlags, nameBuckets, 0, 0, "name"));
  return t;
}

// Opens (or creates with `make`) a database holding one table.
class TableDb {
 public:
  TableDb(const std::string& file, uint32_t blockSize = 8192) : path(dbTestPath(file)), block(blockSize) {}

  // Creates the file with `proto`; false (and the test is to skip) when an
  // index kind of the table cannot be opened yet.
  bool create(btTableInfo* proto) {
    db = std::make_unique<btDatabase>();
    EXPECT_EQ(0, db->createDatabase(path.c_str(), "TEST", block, kBudget, 1, 1));
    EXPECT_EQ(0, addTable(db.get(), proto));
    table = getTable(db.get(), proto->name());
    EXPECT_NE(nullptr, table);
    return table && openAllIndexes(db.get(), table);
  }
  void reopen(bool readOnly = false) {
    std::string name = table ? table->name() : "people";
    ASSERT_EQ(0, db->closeDatabase());
    db = std::make_unique<btDatabase>();
    ASSERT_EQ(0, db->openDatabase(path.c_str(), kBudget, readOnly ? 1 : 0, 0, 1));
    table = getTable(db.get(), name.c_str());
    ASSERT_NE(nullptr, table);
  }
  void close() {
    if (db) {
      EXPECT_EQ(0, db->closeDatabase());
    }
    db.reset();
  }

  int32_t insert(const Row& row, btSeek* seek = nullptr) {
    btStoredRecord r;
    fill(&r, table, row);
    return insertRecord(db.get(), table, &r, seek);
  }
  // Finds by index `index` with `key` filled from `row`'s key field.
  int32_t findBy(const char* index, const Row& key, Row* found, btSeek* seek = nullptr) {
    btIndexIterator it(getIndex(db.get(), table, index));
    btStoredRecord k;
    fill(&k, table, key);
    btStoredRecord result;
    int32_t rc = findFirst(db.get(), table, &it, &k, &result);
    if (rc == 0 && found) *found = rowOf(result);
    if (seek) *seek = it.record;
    return rc;
  }

  std::string path;
  uint32_t block;
  std::unique_ptr<btDatabase> db;
  btTableInfo* table = nullptr;
};

}  // namespace tableops
