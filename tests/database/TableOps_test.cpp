// Table operations: key violations that leave nothing behind, the rollback
// of an insert that an index refuses, updates in place and by moving,
// reuse of deleted fixed-size slots, auto-numbers, duplicate keys and the
// table scan.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "TableOpsTestSupport.h"
#include "database/btTableIterator.h"

using namespace tableops;

namespace {

struct NameIndexKind {
  const char* label;
  uint8_t kind;
  uint8_t flags;
  uint32_t threshold;
};

// The second unique index: a hash table of few buckets, so that keys
// collide and chains form, and the B-tree with an 8-byte summary.
const NameIndexKind kNameIndexes[] = {
    {"hash", BT_INDEX_BLOCK_HASH, 2, 5},
    {"btree", BT_INDEX_BTREE, 16, 0},
};

class TableOps : public ::testing::TestWithParam<NameIndexKind> {
 protected:
  bool open(TableDb* tdb) {
    auto proto = peopleTable(GetParam().kind, GetParam().flags, GetParam().threshold);
    return tdb->create(proto.get());
  }
};

#define OPEN_OR_SKIP(tdb)                                                      \
  do {                                                                         \
    if (!open(&(tdb))) GTEST_SKIP() << GetParam().label << " index not available"; \
  } while (0)

TEST_P(TableOps, SecondRowWithEitherUniqueKeyIsRefusedWithoutTrace) {
  TableDb t(std::string("ops_unique_") + GetParam().label + ".tvdb");
  OPEN_OR_SKIP(t);
  btSeek first = 0;
  ASSERT_EQ(0, t.insert({1, "alpha", "first", 10}, &first));
  ASSERT_NE(0u, first);
  uint64_t sizeBefore = t.db->logicalFileSize();

  // Same id, new name: the name must not reach the name index.
  EXPECT_EQ(BT_STATUS_KEY_VIOLATION, t.insert({1, "beta", "x", 0}));
  // Same name, new id: the id must not reach the id index.
  EXPECT_EQ(BT_STATUS_KEY_VIOLATION, t.insert({2, "alpha", "y", 0}));
  // Mode 0 names compare without case.
  EXPECT_EQ(BT_STATUS_KEY_VIOLATION, t.insert({3, "ALPHA", "z", 0}));

  EXPECT_EQ(1u, t.table->hdr.recordCount);
  EXPECT_EQ(first, t.table->hdr.firstRecord);
  EXPECT_EQ(first, t.table->hdr.lastRecord);
  EXPECT_EQ(sizeBefore, t.db->logicalFileSize());
  EXPECT_EQ(BT_STATUS_NOT_FOUND, t.findBy("name_index", {0, "beta"}, nullptr));
  EXPECT_EQ(BT_STATUS_NOT_FOUND, t.findBy("id_hash", {2, ""}, nullptr));
  Row found;
  ASSERT_EQ(0, t.findBy("id_hash", {1, ""}, &found));
  EXPECT_EQ((Row{1, "alpha", "first", 10}), found);

  // Both keys free: accepted, and both indexes find it.
  ASSERT_EQ(0, t.insert({2, "beta", "second", 20}));
  ASSERT_EQ(0, t.findBy("name_index", {0, "BETA"}, &found));
  EXPECT_EQ(2u, found.id);
  t.close();
}

TEST_P(TableOps, UpdatesStayInPlaceOnlyWhenTheRecordFitsAndKeysStay) {
  TableDb t(std::string("ops_update_") + GetParam().label + ".tvdb");
  OPEN_OR_SKIP(t);
  btSeek a = 0;
  ASSERT_EQ(0, t.insert({1, "one", std::string(100, 'n'), 1}, &a));
  ASSERT_EQ(0, t.insert({2, "two", "", 2}));

  struct Case {
    const char* what;
    Row row;
    bool inPlace;
  } cases[] = {
      {"same length, non-key change", {1, "one", std::string(100, 'm'), 5}, true},
      {"shorter by 63", {1, "one", std::string(37, 'm'), 6}, true},
      {"grows", {1, "one", std::string(200, 'g'), 7}, false},
      {"shorter by 64", {1, "one", std::string(136, 's'), 8}, false},
      {"key changes, same length", {1, "ONE", std::string(136, 's'), 9}, true},  // mode 0: equal key
      {"key changes", {1, "uno", std::string(136, 's'), 10}, false},
  };
  btSeek seek = a;
  uint32_t filler = 100;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    // A new tail before each case: a row that moves is deleted and
    // inserted again, and so becomes the tail. (Its slot may well be the
    // same one, freed and taken again.)
    ASSERT_EQ(0, t.insert({filler, "filler" + std::to_string(filler), "", 0}));
    filler++;
    btStoredRecord r;
    ASSERT_EQ(0, loadRecord(t.table, &r, seek));
    fill(&r, t.table, c.row);
    btSeek io = seek;
    ASSERT_EQ(0, updateRecord(t.db.get(), t.table, &r, &io));
    EXPECT_EQ(!c.inPlace, t.table->hdr.lastRecord == io);
    if (c.inPlace) {
      EXPECT_EQ(seek, io);
    }
    seek = io;
    Row found;
    ASSERT_EQ(0, t.findBy("id_hash", {1, ""}, &found));
    EXPECT_EQ(c.row, found);
    btSeek byName = 0;
    ASSERT_EQ(0, t.findBy("name_index", c.row, nullptr, &byName));
    EXPECT_EQ(seek, byName);
  }
  EXPECT_EQ(BT_STATUS_NOT_FOUND, t.findBy("name_index", {0, "one"}, nullptr));
  EXPECT_EQ(8u, t.table->hdr.recordCount);

  // An update that moves the row onto a key another row holds fails and
  // leaves the row deleted: that is the caller's to report.
  btStoredRecord r;
  ASSERT_EQ(0, loadRecord(t.table, &r, seek));
  fill(&r, t.table, {1, "two", std::string(300, 'x'), 0});
  btSeek io = 0;  // the seek the record was loaded from
  EXPECT_EQ(BT_STATUS_KEY_VIOLATION, updateRecord(t.db.get(), t.table, &r, &io));
  EXPECT_EQ(7u, t.table->hdr.recordCount);
  EXPECT_EQ(BT_STATUS_NOT_FOUND, t.findBy("id_hash", {1, ""}, nullptr));
  ASSERT_EQ(0, t.findBy("id_hash", {2, ""}, nullptr));
  t.close();
}

INSTANTIATE_TEST_SUITE_P(NameIndex, TableOps, ::testing::ValuesIn(kNameIndexes),
                         [](const auto& info) { return std::string(info.param.label); });

TEST(TableOpsInsert, IndexRefusalAfterPlacementIsRolledBack) {
  // The name index keeps one record per bucket, in a single bucket, so a
  // second name passes the uniqueness search and then collides on insert.
  TableDb t("ops_rollback.tvdb");
  auto proto = peopleTable(BT_INDEX_BLOCK_HASH, 2 | BT_INDEX_ONE_KEY_CHAINS, 1);
  ASSERT_TRUE(t.create(proto.get()));
  btSeek first = 0;
  ASSERT_EQ(0, t.insert({1, "a", "", 0}, &first));
  EXPECT_EQ(BT_STATUS_HASH_COLLISION, t.insert({2, "b", "", 0}));
  EXPECT_EQ(1u, t.table->hdr.recordCount);
  EXPECT_EQ(first, t.table->hdr.lastRecord);
  EXPECT_EQ(BT_STATUS_NOT_FOUND, t.findBy("id_hash", {2, ""}, nullptr));
  Row found;
  ASSERT_EQ(0, t.findBy("name_index", {0, "a"}, &found));
  EXPECT_EQ(1u, found.id);
  // The chain ends at the first row again: a scan sees one row. The
  // iterator holds the database's lock, so it ends before the close.
  {
    btTableIterator it(t.table);
    btStoredRecord r;
    ASSERT_EQ(0, seekToFirst(t.db.get(), &it, &r));
    EXPECT_EQ(BT_STATUS_NOT_FOUND, seekToNext(t.db.get(), &it, &r));
  }
  t.close();
}

TEST(TableOpsInsert, RefusalsBeforeAnythingIsWritten) {
  TableDb t("ops_refusals.tvdb");
  auto proto = peopleTable(BT_INDEX_BLOCK_HASH, 2, 11);
  ASSERT_EQ(0, proto->addField("must", BT_FIELD_STRING, 10, BT_FIELD_REQUIRED));
  ASSERT_TRUE(t.create(proto.get()));
  btStoredRecord r;
  fill(&r, t.table, {1, "a", "", 0});
  btSeek seek = 77;
  EXPECT_EQ(BT_STATUS_RECORD_REJECTED, insertRecord(t.db.get(), t.table, &r, &seek));
  EXPECT_EQ(0u, seek);
  EXPECT_EQ(BT_STATUS_NO_TABLE, insertRecord(t.db.get(), nullptr, &r, &seek));
  ASSERT_EQ(0, setText(&r, 4, "x", 1));
  ASSERT_EQ(0, insertRecord(t.db.get(), t.table, &r, &seek));
  EXPECT_NE(0u, seek);
  EXPECT_EQ(1u, t.table->hdr.recordCount);

  t.reopen(true);
  fill(&r, t.table, {2, "b", "", 0});
  ASSERT_EQ(0, setText(&r, 4, "x", 1));
  EXPECT_EQ(BT_STATUS_READ_ONLY, insertRecord(t.db.get(), t.table, &r, nullptr));
  EXPECT_EQ(BT_STATUS_READ_ONLY, deleteRecord(t.table, seek));
  EXPECT_EQ(1u, t.table->hdr.recordCount);
  t.close();
}

TEST(TableOpsFixed, DeletedSlotIsReusedAndTheChainStaysWhole) {
  TableDb t("ops_fixed.tvdb");
  btTableInfo proto("people", 0);
  ASSERT_EQ(0, proto.addField("id", BT_FIELD_UINT, 1, 2));
  ASSERT_EQ(0, proto.addField("value", BT_FIELD_UINT, 1, 0));
  ASSERT_EQ(0, proto.addIndex("id_hash", BT_INDEX_BLOCK_HASH, 2, 13, 0, 0, "id"));
  ASSERT_TRUE(t.create(&proto));
  EXPECT_EQ(0u, t.table->variableCount);
  std::vector<btSeek> seeks;
  for (uint32_t i = 1; i <= 5; i++) {
    btStoredRecord r;
    ASSERT_EQ(0, initRecord(&r, t.table));
    ASSERT_EQ(0, setUnsigned(&r, 0, i));
    ASSERT_EQ(0, setUnsigned(&r, 1, i * 100));
    btSeek s = 0;
    ASSERT_EQ(0, insertRecord(t.db.get(), t.table, &r, &s));
    seeks.push_back(s);
  }
  ASSERT_EQ(0, deleteRecord(t.table, seeks[2]));
  EXPECT_EQ(seeks[2], t.table->hdr.freeRecordHead);
  ASSERT_EQ(0, deleteRecord(t.table, seeks[0]));  // the head of the chain
  ASSERT_EQ(0, deleteRecord(t.table, seeks[4]));  // the tail
  EXPECT_EQ(seeks[1], t.table->hdr.firstRecord);
  EXPECT_EQ(seeks[3], t.table->hdr.lastRecord);

  auto scan = [&] {
    std::vector<uint32_t> ids;
    btTableIterator it(t.table);
    btStoredRecord r;
    for (int32_t rc = seekToFirst(t.db.get(), &it, &r); rc == 0; rc = seekToNext(t.db.get(), &it, &r))
      ids.push_back(static_cast<uint32_t>(getUnsigned(&r, 0)));
    return ids;
  };
  EXPECT_EQ((std::vector<uint32_t>{2, 4}), scan());

  // The free list is last in, first out.
  for (uint32_t id : {6u, 7u, 8u, 9u}) {
    btStoredRecord r;
    ASSERT_EQ(0, initRecord(&r, t.table));
    ASSERT_EQ(0, setUnsigned(&r, 0, id));
    btSeek s = 0;
    ASSERT_EQ(0, insertRecord(t.db.get(), t.table, &r, &s));
    if (id == 6) {
      EXPECT_EQ(seeks[4], s);
    }
    if (id == 7) {
      EXPECT_EQ(seeks[0], s);
    }
    if (id == 8) {
      EXPECT_EQ(seeks[2], s);
    }
  }
  EXPECT_EQ(0u, t.table->hdr.freeRecordHead);
  t.reopen();
  EXPECT_EQ((std::vector<uint32_t>{2, 4, 6, 7, 8, 9}), scan());
  btIndexIterator it(getIndex(t.db.get(), t.table, "id_hash"));
  btStoredRecord key, found;
  ASSERT_EQ(0, initRecord(&key, t.table));
  ASSERT_EQ(0, setUnsigned(&key, 0, 3));
  EXPECT_EQ(BT_STATUS_NOT_FOUND, findFirst(t.db.get(), t.table, &it, &key, &found));
  ASSERT_EQ(0, setUnsigned(&key, 0, 8));
  ASSERT_EQ(0, findFirst(t.db.get(), t.table, &it, &key, &found));
  EXPECT_EQ(seeks[2], it.record);
  t.close();
}

TEST(TableOpsScan, EmptyTableAndInsertionOrder) {
  TableDb t("ops_scan.tvdb");
  auto proto = peopleTable(BT_INDEX_BLOCK_HASH, 2, 11);
  ASSERT_TRUE(t.create(proto.get()));
  {
    btTableIterator it(t.table);
    btStoredRecord r;
    EXPECT_EQ(BT_STATUS_NOT_FOUND, seekToFirst(t.db.get(), &it, &r));
    EXPECT_EQ(BT_STATUS_NOT_FOUND, seekToNext(t.db.get(), &it, &r));
    // A writer of the same thread is not blocked by its own iterator.
    EXPECT_EQ(0, t.insert({1, "a", "", 0}));
    EXPECT_EQ(0, seekToFirst(t.db.get(), &it, nullptr));
    EXPECT_NE(0u, it.current());
  }
  for (uint32_t i = 2; i <= 40; i++) ASSERT_EQ(0, t.insert({i, "n" + std::to_string(i), "", i}));
  {
    btTableIterator it(t.table);
    btStoredRecord r;
    uint32_t expect = 1;
    for (int32_t rc = seekToFirst(t.db.get(), &it, &r); rc == 0; rc = seekToNext(t.db.get(), &it, &r))
      EXPECT_EQ(expect++, getUnsigned(&r, 0));
    EXPECT_EQ(41u, expect);
  }
  t.close();
}

TEST(TableOpsAutoNumber, CountsOnPastTakenValues) {
  TableDb t("ops_autonumber.tvdb");
  btTableInfo proto("people", 0);
  ASSERT_EQ(0, proto.addField("id", BT_FIELD_UINT, 1, 2 | BT_FIELD_AUTONUMBER));
  ASSERT_EQ(0, proto.addField("name", BT_FIELD_STRING, 100, 0));
  ASSERT_EQ(0, proto.addIndex("id_hash", BT_INDEX_BLOCK_HASH, 2, 17, 0, 0, "id"));
  ASSERT_TRUE(t.create(&proto));
  auto add = [&](uint32_t id) {
    btStoredRecord r;
    EXPECT_EQ(0, initRecord(&r, t.table));
    EXPECT_EQ(0, setUnsigned(&r, 0, id));
    btSeek s = 0;
    EXPECT_EQ(0, insertRecord(t.db.get(), t.table, &r, &s));
    btStoredRecord back;
    EXPECT_EQ(0, loadRecord(t.table, &back, s));
    return static_cast<uint32_t>(getUnsigned(&back, 0));
  };
  // Behind on the record count: the index's last entry gives the start.
  EXPECT_EQ(9u, add(9));
  EXPECT_EQ(10u, add(0));
  EXPECT_EQ(11u, add(0));
  EXPECT_EQ(12u, add(12));
  EXPECT_EQ(13u, add(0));  // 12 is taken
  EXPECT_EQ(13u, t.table->hdr.lastAutoNumber);
  t.close();
}

TEST(TableOpsDuplicates, AllRowsOfAKeyAreReadAndSurviveDeletes) {
  TableDb t("ops_duplicates.tvdb");
  // Few buckets: keys share buckets with other keys. The index also
  // offers neighbours for placement, so inserts take the clustering path.
  auto proto = peopleTable(BT_INDEX_BLOCK_HASH, 2, 11);
  ASSERT_EQ(0, proto->addIndex("count_hash", BT_INDEX_BLOCK_HASH, 3 | BT_INDEX_NEIGHBOURS, 3, 0, 0,
                               "count"));
  ASSERT_TRUE(t.create(proto.get()));
  std::vector<btSeek> seeks;
  for (uint32_t i = 0; i < 30; i++) {
    btSeek s = 0;
    ASSERT_EQ(0, t.insert({i, "n" + std::to_string(i), "", i % 4}, &s));
    seeks.push_back(s);
  }
  auto idsOfCount = [&](uint32_t count) {
    std::vector<uint32_t> ids;
    btIndexIterator it(getIndex(t.db.get(), t.table, "count_hash"));
    btStoredRecord key, r;
    fill(&key, t.table, {0, "", "", count});
    for (int32_t rc = findFirst(t.db.get(), t.table, &it, &key, &r); rc == 0;
         rc = findNextEqual(t.db.get(), t.table, &it, &r))
      ids.push_back(rowOf(r).id);
    return ids;
  };
  EXPECT_EQ((std::vector<uint32_t>{1, 5, 9, 13, 17, 21, 25, 29}), idsOfCount(1));
  // The first, a middle and the last row of the key.
  ASSERT_EQ(0, deleteRecord(t.table, seeks[1]));
  ASSERT_EQ(0, deleteRecord(t.table, seeks[13]));
  ASSERT_EQ(0, deleteRecord(t.table, seeks[29]));
  EXPECT_EQ((std::vector<uint32_t>{5, 9, 17, 21, 25}), idsOfCount(1));
  t.reopen();
  EXPECT_EQ((std::vector<uint32_t>{5, 9, 17, 21, 25}), idsOfCount(1));
  EXPECT_EQ((std::vector<uint32_t>{2, 6, 10, 14, 18, 22, 26}), idsOfCount(2));
  t.close();
}

}  // namespace

namespace {

uint32_t heldBlocks(btDatabase* db) {
  btFileCache* cache = db->getCacheFile()->cache;
  uint32_t n = 0;
  if (btFileCacheBlock* b = cache->heldHead) {
    do {
      n++;
      b = b->next;
    } while (b != cache->heldHead && n < 100000);
  }
  return n;
}

}  // namespace

// A lookup hands the record its last compare read to the caller instead of
// reading it twice. Names here share their first 8 bytes, so B-tree
// summaries tie and the tree compares with several records on the way; the
// hash table has five buckets, so its chains hold many other keys. Most
// records compared are not the answer.
TEST_P(TableOps, LookupsReturnDetachedRowsAndLeaveNoPins) {
  TableDb t(std::string("ops_find_") + GetParam().label + ".tvdb");
  OPEN_OR_SKIP(t);
  std::vector<Row> rows;
  for (uint32_t i = 1; i <= 300; i++)
    rows.push_back({i, "shared-prefix-" + std::to_string(i * 7919 % 1000), "note " + std::to_string(i), i * 3});
  for (const Row& r : rows) ASSERT_EQ(0, t.insert(r));
  uint32_t heldBefore = heldBlocks(t.db.get());

  btIndexIterator it(getIndex(t.db.get(), t.table, "name_index"));
  btStoredRecord key, found;
  uint8_t borrowed[600];
  for (size_t i = 0; i < rows.size(); i++) {
    const Row& want = rows[i];
    fill(&key, t.table, {0, want.name, "", 0});
    // Every third lookup starts from a record built in a caller's buffer.
    if (i % 3 == 0) {
      ASSERT_EQ(0, initRecord(&found, t.table, borrowed, sizeof borrowed));
    }
    ASSERT_EQ(0, findFirst(t.db.get(), t.table, &it, &key, &found)) << want.name;
    EXPECT_EQ(want, rowOf(found));
    EXPECT_EQ(nullptr, found.block) << "a found row is a private copy";
    // One field read in place finds the same row.
    uint64_t value = 0;
    ASSERT_EQ(0, findFirstUnsigned(t.db.get(), t.table, &it, &key, 3, &value)) << want.name;
    EXPECT_EQ(want.count, value);
    ASSERT_EQ(0, findFirstUnsigned(t.db.get(), t.table, &it, &key, 0, &value)) << want.name;
    EXPECT_EQ(want.id, value);
    // Misses next to a real key: the same prefix, one character more.
    fill(&key, t.table, {0, want.name + "x", "", 0});
    EXPECT_EQ(BT_STATUS_NOT_FOUND, findFirst(t.db.get(), t.table, &it, &key, &found));
    EXPECT_EQ(nullptr, found.block);
    value = 77;
    EXPECT_EQ(BT_STATUS_NOT_FOUND, findFirstUnsigned(t.db.get(), t.table, &it, &key, 0, &value));
  }
  // The key record may be the result record too.
  fill(&key, t.table, {0, rows[5].name, "", 0});
  ASSERT_EQ(0, findFirst(t.db.get(), t.table, &it, &key, &key));
  EXPECT_EQ(rows[5], rowOf(key));
  EXPECT_EQ(heldBefore, heldBlocks(t.db.get()));

  // A found row stays what it was when the table changes under it.
  fill(&key, t.table, {0, rows[7].name, "", 0});
  ASSERT_EQ(0, findFirst(t.db.get(), t.table, &it, &key, &found));
  for (uint32_t i = 1000; i < 1100; i++) ASSERT_EQ(0, t.insert({i, "shared-prefix-new-" + std::to_string(i), "n", 0}));
  EXPECT_EQ(rows[7], rowOf(found));
  t.close();
}

// A table with more unique indexes than an insert keeps search positions
// for: the later ones are searched again before their update, and a key
// violation on any of them still leaves nothing behind.
TEST(TableOpsInsert, ManyUniqueIndexesAllRefuseAndAllFind) {
  TableDb t("ops_many_indexes.tvdb");
  auto proto = std::make_unique<btTableInfo>("wide", 0);
  const char* names[] = {"k0", "k1", "k2", "k3", "k4", "k5", "k6"};
  for (const char* n : names) ASSERT_EQ(0, proto->addField(n, BT_FIELD_UINT, 1, 0));
  for (int i = 0; i < 7; i++) {
    std::string index = std::string(names[i]) + "_index";
    uint8_t kind = i % 2 ? BT_INDEX_BTREE : BT_INDEX_BLOCK_HASH;
    ASSERT_EQ(0, proto->addIndex(index.c_str(), kind, i % 2 ? 16 : 2, i % 2 ? 0 : 31, 0, 0, names[i]));
  }
  ASSERT_TRUE(t.create(proto.get()));
  auto row = [&](uint32_t base, int differ) {
    btStoredRecord r;
    EXPECT_EQ(0, initRecord(&r, t.table));
    // Field i of row `base` holds base * 10 + i; `differ` >= 0 keeps only
    // that field equal to row `base` and moves the others.
    for (uint32_t i = 0; i < 7; i++) {
      uint32_t v = base * 10 + i;
      if (differ >= 0 && static_cast<int>(i) != differ) v += 1000000;
      EXPECT_EQ(0, setUnsigned(&r, i, v));
    }
    return insertRecord(t.db.get(), t.table, &r, nullptr);
  };
  for (uint32_t b = 0; b < 200; b++) ASSERT_EQ(0, row(b, -1));
  for (int i = 0; i < 7; i++) EXPECT_EQ(BT_STATUS_KEY_VIOLATION, row(77, i)) << "index " << i;
  EXPECT_EQ(200u, t.table->hdr.recordCount);
  t.reopen();
  for (int i = 0; i < 7; i++) {
    std::string index = std::string(names[i]) + "_index";
    btIndexIterator it(getIndex(t.db.get(), t.table, index.c_str()));
    btStoredRecord key, found;
    ASSERT_EQ(0, initRecord(&key, t.table));
    for (uint32_t b = 0; b < 200; b += 13) {
      ASSERT_EQ(0, setUnsigned(&key, i, b * 10 + i));
      ASSERT_EQ(0, findFirst(t.db.get(), t.table, &it, &key, &found)) << index << " " << b;
      EXPECT_EQ(b * 10, getUnsigned(&found, 0));
    }
    // The refused rows' moved keys reached no index.
    ASSERT_EQ(0, setUnsigned(&key, i, 77 * 10 + i + 1000000));
    EXPECT_EQ(BT_STATUS_NOT_FOUND, findFirst(t.db.get(), t.table, &it, &key, &found)) << index;
  }
  t.close();
}

// Block sizes are multiples of 512 but need not be powers of two; the cache
// then divides where it otherwise shifts and masks.
TEST(TableOpsBlockSize, ATableInBlocksOf1536BytesReadsBackWhole) {
  TableDb t("ops_block_1536.tvdb", 1536);
  auto proto = peopleTable(BT_INDEX_BTREE, 16, 0);
  ASSERT_TRUE(t.create(proto.get()));
  for (uint32_t i = 1; i <= 400; i++)
    ASSERT_EQ(0, t.insert({i, "name-" + std::to_string(i * 37 % 1009), std::string(i % 90, 'n'), i}));
  t.reopen();
  for (uint32_t i = 1; i <= 400; i += 7) {
    Row found;
    ASSERT_EQ(0, t.findBy("id_hash", {i, ""}, &found)) << i;
    EXPECT_EQ((Row{i, "name-" + std::to_string(i * 37 % 1009), std::string(i % 90, 'n'), i}), found);
    ASSERT_EQ(0, t.findBy("name_index", {0, found.name}, &found)) << i;
    EXPECT_EQ(i, found.id);
  }
  t.close();
}
