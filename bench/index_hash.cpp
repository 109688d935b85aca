// Index keys and hash indexes: the key hash of a path in each mode, the
// 4-byte and 16-byte summaries, and a lookup and an insert in a stored
// block hash table of 500,000 buckets, the form of the cache's id indexes.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "database/btBlockStorage.h"
#include "database/btCatalog.h"
#include "database/btDatabase.h"
#include "database/btFieldType.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"
#include "database/index/btIndexIterator.h"
#include "database/index/btIndexKey.h"
#include "database/index/btIndexStructure.h"

namespace {

const std::string kPath = "/trunk/src/database/index/btBlockHashTable.cpp";

struct KeyRow {
  explicit KeyRow(uint8_t fieldFlags, uint8_t indexFlags) : table("paths", 0) {
    table.addField("path", BT_FIELD_STRING, 1000, fieldFlags);
    table.addIndex("by_path", 4, indexFlags, 500000, 0, 0, "path");
    initRecord(&record, &table);
    setText(&record, 0, kPath.data(), kPath.size());
  }
  btTableInfo table;
  btStoredRecord record;
};

void BM_KeyHashFolded(benchmark::State& state) {
  KeyRow k(0, 0);
  for (auto _ : state) benchmark::DoNotOptimize(keyHash(&k.record, k.table.index(0)));
}
BENCHMARK(BM_KeyHashFolded);

void BM_KeyHashExact(benchmark::State& state) {
  KeyRow k(BT_FIELD_EXACT, 0);
  for (auto _ : state) benchmark::DoNotOptimize(keyHash(&k.record, k.table.index(0)));
}
BENCHMARK(BM_KeyHashExact);

void BM_KeySummary4(benchmark::State& state) {
  KeyRow k(0, 0);
  for (auto _ : state) benchmark::DoNotOptimize(keySummary(&k.record, k.table.index(0)));
}
BENCHMARK(BM_KeySummary4);

void BM_KeySummary16(benchmark::State& state) {
  KeyRow k(0, 32);
  for (auto _ : state) benchmark::DoNotOptimize(keySummaryWide(&k.record, k.table.index(0)));
}
BENCHMARK(BM_KeySummary16);

// A stored table of ids with a unique block hash index, filled with
// `rows` records.
struct IdTable {
  explicit IdTable(uint32_t rows) {
    path = (std::filesystem::temp_directory_path() / "bench_index_hash.tvdb").string();
    std::filesystem::remove(path);
    db.createDatabase(path.c_str(), "BENCH", 65536, 64u << 20, 1, 1);
    btTableInfo t("ids", 0);
    t.addField("id", BT_FIELD_UINT, 1, 2);
    t.addIndex("by_id", 4, 2, 500000, 0, 0, "id");
    addTable(&db, &t);
    table = getTable(&db, "ids");
    index = getIndex(&db, table, "by_id");
    if (!index->root) createIndexStructure(&db, index);
    structure = structureOf(index);
    for (uint32_t i = 0; i < rows; i++) insert(i * 7919u);
  }
  ~IdTable() {
    db.closeDatabase();
    std::remove(path.c_str());
  }
  void insert(uint32_t id) {
    btStoredRecord r;
    initRecord(&r, table);
    setUnsigned(&r, 0, id);
    btIndexIterator it(index);
    structure->find(&it, &r, BT_FIND_ANY, false);
    btSeek seek = 0;
    uint8_t* image = nullptr;
    placeRecord(&db, db.getCacheFile(), &r, &seek, &image, table, nullptr);
    table->setRecordCount(table->hdr.recordCount + 1);
    structure->insertKey(&it, &r, seek);
  }
  std::string path;
  btDatabase db;
  btTableInfo* table = nullptr;
  btIndexDefinition* index = nullptr;
  btIndexStructure* structure = nullptr;
};

void BM_BlockHashFind(benchmark::State& state) {
  IdTable t(static_cast<uint32_t>(state.range(0)));
  btStoredRecord key;
  initRecord(&key, t.table);
  uint32_t i = 0;
  btIndexIterator it(t.index);
  for (auto _ : state) {
    setUnsigned(&key, 0, (i++ % state.range(0)) * 7919u);
    benchmark::DoNotOptimize(t.structure->find(&it, &key, BT_FIND_ANY, false));
  }
}
BENCHMARK(BM_BlockHashFind)->Arg(1000)->Arg(100000);

void BM_BlockHashInsert(benchmark::State& state) {
  IdTable t(0);
  uint32_t id = 0;
  for (auto _ : state) t.insert(id++ * 7919u);
}
BENCHMARK(BM_BlockHashInsert);

}  // namespace

BENCHMARK_MAIN();
