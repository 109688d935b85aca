// Records: the costs on the path of every insert and lookup. Building a row
// of the version cache's "revision" table (ids, texts, a stamp), reading
// its fields back from the image, comparing two rows on a text key in each
// mode, and packing and expanding a "cstring" log message.
#include <benchmark/benchmark.h>

#include <string>

#include "database/btFieldCompare.h"
#include "database/btFieldType.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"

namespace {

btTableInfo* revisionTable() {
  static btTableInfo* t = [] {
    auto* table = new btTableInfo("revision", 0);
    table->addField("revision_id", BT_FIELD_UINT, 1, 2);
    table->addField("parent_branch_id", BT_FIELD_UINT, 1, 0);
    table->addField("revision_number", BT_FIELD_STRING, 1000, 0);
    table->addField("revision_time_stamp", BT_FIELD_CMDATE, 1, 0);
    table->addField("revision_author", BT_FIELD_STRING, 1000, 0);
    table->addField("revision_comments", BT_FIELD_STRING, 5000, 0);
    table->addField("packed_comments", BT_FIELD_CSTRING, 5000, 0);
    return table;
  }();
  return t;
}

const std::string kComment =
    "Merge the release branch back into trunk; fixes the path mapping of copied "
    "directories and the order of label ingest after a rename.";

void build(btStoredRecord* r, uint32_t id) {
  initRecord(r, revisionTable());
  setUnsigned(r, 0, id);
  setUnsigned(r, 1, 7);
  std::string number = std::to_string(100000 + id);
  setText(r, 2, number.data(), number.size());
  setDate(r, 3, 133500000000000000ull + id);
  setText(r, 4, "someone", 7);
  setText(r, 5, kComment.data(), kComment.size());
}

void BM_BuildRevisionRow(benchmark::State& state) {
  uint32_t id = 0;
  for (auto _ : state) {
    btStoredRecord r;
    build(&r, id++);
    benchmark::DoNotOptimize(r.size);
  }
}
BENCHMARK(BM_BuildRevisionRow);

void BM_ReadRevisionRow(benchmark::State& state) {
  btStoredRecord r;
  build(&r, 1);
  tolvane::TVString text;
  for (auto _ : state) {
    benchmark::DoNotOptimize(getUnsigned(&r, 0));
    getText(&r, 2, &text);
    getText(&r, 5, &text);
    cmDateStamp stamp;
    getDate(&r, 3, &stamp);
    benchmark::DoNotOptimize(stamp);
  }
}
BENCHMARK(BM_ReadRevisionRow);

void BM_CompareTextKey(benchmark::State& state) {
  btStoredRecord a, b;
  build(&a, 1);
  build(&b, 1);
  setText(&b, 5, "MERGE", 5);
  int mode = static_cast<int>(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(compareField(&a, &b, 5, mode));
}
BENCHMARK(BM_CompareTextKey)->Arg(1)->Arg(0)->Arg(-1);

void BM_CstringRoundTrip(benchmark::State& state) {
  btStoredRecord r;
  build(&r, 1);
  std::string message;
  while (message.size() < static_cast<size_t>(state.range(0))) message += kComment;
  message.resize(static_cast<size_t>(state.range(0)));
  tolvane::TVString text;
  for (auto _ : state) {
    setText(&r, 6, message.data(), message.size());
    getText(&r, 6, &text);
  }
}
BENCHMARK(BM_CstringRoundTrip)->Arg(40)->Arg(1000)->Arg(5000);

}  // namespace

BENCHMARK_MAIN();
