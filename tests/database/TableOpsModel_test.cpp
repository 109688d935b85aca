// Random inserts, updates and deletes against a model (two maps, by id and
// by name), across closes and reopens: every row is found by both unique
// indexes with its current content, refused keys leave nothing behind, and
// the table scan lists exactly the model's rows.
#include <map>
#include <random>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "TableOpsTestSupport.h"
#include "database/btTableIterator.h"

using namespace tableops;

namespace {

struct Variant {
  const char* label;
  uint8_t kind;
  uint8_t flags;
  uint32_t threshold;
  uint32_t blockSize;
};

const Variant kVariants[] = {
    {"hash_collisions", BT_INDEX_BLOCK_HASH, 2, 7, 8192},
    {"hash_wide", BT_INDEX_BLOCK_HASH, 2, 5000, 4096},
    {"btree_summary8", BT_INDEX_BTREE, 16, 0, 8192},
    // Small blocks make a shallow but real tree: splits and merges happen.
    {"btree_small_blocks", BT_INDEX_BTREE, 32, 0, 1024},
};

class TableOpsModel : public ::testing::TestWithParam<Variant> {};

struct Model {
  std::map<uint32_t, Row> byId;
  std::map<std::string, uint32_t> byName;
  bool idTaken(uint32_t id) const { return byId.count(id) != 0; }
  bool nameTaken(const std::string& n) const { return byName.count(n) != 0; }
};

void verify(TableDb& t, const Model& m, uint32_t idRange) {
  ASSERT_EQ(m.byId.size(), t.table->hdr.recordCount);
  for (uint32_t id = 0; id < idRange; id++) {
    Row found;
    btSeek byId = 0;
    int32_t rc = t.findBy("id_hash", {id, ""}, &found, &byId);
    auto it = m.byId.find(id);
    if (it == m.byId.end()) {
      ASSERT_EQ(BT_STATUS_NOT_FOUND, rc) << "id " << id;
      continue;
    }
    ASSERT_EQ(0, rc) << "id " << id;
    ASSERT_EQ(it->second, found) << "id " << id;
    btSeek byName = 0;
    ASSERT_EQ(0, t.findBy("name_index", it->second, &found, &byName)) << it->second.name;
    ASSERT_EQ(byId, byName) << it->second.name;
  }
  std::set<uint32_t> scanned;
  btTableIterator it(t.table);
  btStoredRecord r;
  for (int32_t rc = seekToFirst(t.db.get(), &it, &r); rc == 0; rc = seekToNext(t.db.get(), &it, &r)) {
    Row row = rowOf(r);
    ASSERT_TRUE(scanned.insert(row.id).second) << "row listed twice: " << row.id;
    ASSERT_EQ(m.byId.at(row.id), row);
  }
  ASSERT_EQ(m.byId.size(), scanned.size());
}

TEST_P(TableOpsModel, RandomChangesKeepEveryIndexInStep) {
  const Variant& v = GetParam();
  TableDb t(std::string("ops_model_") + v.label + ".tvdb", v.blockSize);
  auto proto = peopleTable(v.kind, v.flags, v.threshold);
  if (!t.create(proto.get())) GTEST_SKIP() << v.label << " index not available";

  std::mt19937 rng(20240611u + v.kind);
  constexpr uint32_t kIds = 300;
  constexpr uint32_t kNames = 400;
  auto pick = [&](uint32_t n) { return static_cast<uint32_t>(rng() % n); };
  auto nameOf = [](uint32_t n) { return "name/" + std::to_string(n * 7919 % 1000) + "/x"; };
  auto noteOf = [&] { return std::string(pick(4) == 0 ? pick(400) : pick(40), static_cast<char>('a' + pick(26))); };

  Model m;
  std::map<uint32_t, btSeek> seekOf;
  for (int step = 0; step < 2400; step++) {
    uint32_t op = pick(10);
    if (op < 5 || m.byId.empty()) {
      Row row{pick(kIds), nameOf(pick(kNames)), noteOf(), pick(1000)};
      btSeek s = 0;
      int32_t rc = t.insert(row, &s);
      if (m.idTaken(row.id) || m.nameTaken(row.name)) {
        ASSERT_EQ(BT_STATUS_KEY_VIOLATION, rc) << "step " << step;
      } else {
        ASSERT_EQ(0, rc) << "step " << step;
        m.byId[row.id] = row;
        m.byName[row.name] = row.id;
        seekOf[row.id] = s;
      }
    } else if (op < 7) {
      auto it = m.byId.begin();
      std::advance(it, pick(static_cast<uint32_t>(m.byId.size())));
      uint32_t id = it->first;
      ASSERT_EQ(0, deleteRecord(t.table, seekOf[id])) << "step " << step;
      m.byName.erase(it->second.name);
      m.byId.erase(it);
      seekOf.erase(id);
    } else {
      auto it = m.byId.begin();
      std::advance(it, pick(static_cast<uint32_t>(m.byId.size())));
      Row row = it->second;
      row.note = noteOf();
      row.count++;
      if (op == 9) row.name = nameOf(pick(kNames));
      btStoredRecord r;
      ASSERT_EQ(0, loadRecord(t.table, &r, seekOf[row.id]));
      fill(&r, t.table, row);
      btSeek s = seekOf[row.id];
      int32_t rc = updateRecord(t.db.get(), t.table, &r, &s);
      bool clash = row.name != it->second.name && m.nameTaken(row.name);
      m.byName.erase(it->second.name);
      if (clash) {
        // The row was deleted before the insert was refused.
        ASSERT_EQ(BT_STATUS_KEY_VIOLATION, rc) << "step " << step;
        seekOf.erase(row.id);
        m.byId.erase(it);
      } else {
        ASSERT_EQ(0, rc) << "step " << step;
        it->second = row;
        m.byName[row.name] = row.id;
        seekOf[row.id] = s;
      }
    }
    if (step % 600 == 599) {
      ASSERT_NO_FATAL_FAILURE(verify(t, m, kIds));
      t.reopen();
      ASSERT_NO_FATAL_FAILURE(verify(t, m, kIds));
    }
  }
  t.close();
}

INSTANTIATE_TEST_SUITE_P(Variants, TableOpsModel, ::testing::ValuesIn(kVariants),
                         [](const auto& info) { return std::string(info.param.label); });

}  // namespace
