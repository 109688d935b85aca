// Table operations against SQLite on the cache's busiest table: the rows of
// a 200,000-revision history go into the "revision" table with its two
// unique indexes (a block hash on the id, a B-tree with an 8-byte summary
// on the revision number), then every row is looked up by its number and,
// separately, by its id. SQLite gets the same table and indexes, its whole
// load in one transaction, the same cache budget and no syncs, in the same
// run. Both files are closed inside the timing. Three rounds, the two sides
// taking turns; prints the best processor time of each phase and the ratios
// SQLite / ours (above 1: we are faster).
//
//   bench_table_ops [revisions] [directory] [ours]
//
// With "ours" only our side runs (for profiling); no ratio is printed.
#include <sqlite3.h>

#include <algorithm>
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "database/btCatalog.h"
#include "database/btDatabase.h"
#include "database/btFieldType.h"
#include "database/btStatus.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"
#include "database/btTableOperations.h"
#include "database/index/btIndexIterator.h"

namespace {

// The cache session's block size and cache budget.
constexpr uint32_t kBlockSize = 8192;
constexpr uint64_t kCacheBytes = 0x1000000;

struct Revision {
  uint32_t id;
  uint32_t branch;
  std::string number;
  uint64_t stamp;
  std::string author;
  std::string comments;
};

std::vector<Revision> history(uint32_t count) {
  static const char* authors[] = {"alice", "bob", "carol", "dmitri", "eve", "farid", "gwen", "hiro"};
  std::vector<Revision> rows;
  rows.reserve(count);
  uint64_t seed = 88172645463325252ull;
  for (uint32_t i = 0; i < count; i++) {
    seed ^= seed << 13;
    seed ^= seed >> 7;
    seed ^= seed << 17;
    Revision r;
    r.id = i;
    r.branch = static_cast<uint32_t>(seed % 40);
    r.number = std::to_string(i + 1);
    r.stamp = 130000000000000000ull + i * 6000000000ull;
    r.author = authors[seed % 8];
    r.comments = "Change " + r.number + ": " + std::string(20 + seed % 180, static_cast<char>('a' + seed % 26));
    rows.push_back(std::move(r));
  }
  return rows;
}

// Processor time of this process: the machine the figures come from is
// shared, and wall time there measures the neighbours as much as us.
struct Clock {
  static std::clock_t now() { return std::clock(); }
};
double seconds(std::clock_t since) {
  return static_cast<double>(std::clock() - since) / CLOCKS_PER_SEC;
}

struct Times {
  double insert = 0;
  double byNumber = 0;
  double byId = 0;
  double close = 0;
  double total() const { return insert + byNumber + byId + close; }
};

bool check(int32_t rc, const char* what) {
  if (rc == 0) return true;
  std::fprintf(stderr, "%s failed: %d\n", what, rc);
  return false;
}

bool runOurs(const std::vector<Revision>& rows, const std::string& path, Times* t) {
  std::filesystem::remove(path);
  btDatabase db;
  if (!check(db.createDatabase(path.c_str(), "CACHE_DATABASE", kBlockSize, kCacheBytes, 1, 1),
             "createDatabase"))
    return false;
  {
    btTableInfo proto("revision", 0);
    proto.addField("revision_id", BT_FIELD_UINT, 1, 2);
    proto.addField("parent_branch_id", BT_FIELD_UINT, 1, 0);
    proto.addField("revision_number", BT_FIELD_STRING, 1000, 0);
    proto.addField("revision_time_stamp", BT_FIELD_CMDATE, 1, 0);
    proto.addField("revision_author", BT_FIELD_STRING, 1000, 0);
    proto.addField("revision_comments", BT_FIELD_STRING, 5000, 0);
    proto.addIndex("revision_id_hash", 4, 2, 5000000, 0, 0, "revision_id");
    proto.addIndex("revision_number_tree", 0, 16, 0, 0, 0, "revision_number");
    if (!check(addTable(&db, &proto), "addTable")) return false;
  }
  btTableInfo* table = getTable(&db, "revision");
  if (!table) return false;

  auto start = Clock::now();
  btStoredRecord r;
  for (const Revision& row : rows) {
    initRecord(&r, table);
    setUnsigned(&r, 0, row.id);
    setUnsigned(&r, 1, row.branch);
    setText(&r, 2, row.number.data(), row.number.size());
    setDate(&r, 3, row.stamp);
    setText(&r, 4, row.author.data(), row.author.size());
    setText(&r, 5, row.comments.data(), row.comments.size());
    if (!check(insertRecord(&db, table, &r, nullptr), "insertRecord")) return false;
  }
  t->insert = seconds(start);

  start = Clock::now();
  {
    btIndexIterator it(getIndex(&db, table, "revision_number_tree"));
    btStoredRecord key, found;
    initRecord(&key, table);
    for (const Revision& row : rows) {
      setText(&key, 2, row.number.data(), row.number.size());
      if (!check(findFirst(&db, table, &it, &key, &found), "findFirst by number")) return false;
      if (getUnsigned(&found, 0) != row.id) return check(-1, "lookup by number: wrong row");
    }
  }
  t->byNumber = seconds(start);

  start = Clock::now();
  {
    btIndexIterator it(getIndex(&db, table, "revision_id_hash"));
    btStoredRecord key, found;
    initRecord(&key, table);
    for (const Revision& row : rows) {
      setUnsigned(&key, 0, row.id);
      if (!check(findFirst(&db, table, &it, &key, &found), "findFirst by id")) return false;
      if (getUnsigned(&found, 1) != row.branch) return check(-1, "lookup by id: wrong row");
    }
  }
  t->byId = seconds(start);

  start = Clock::now();
  if (!check(db.closeDatabase(), "closeDatabase")) return false;
  t->close = seconds(start);
  return true;
}

bool sql(sqlite3* db, const char* text) {
  char* error = nullptr;
  if (sqlite3_exec(db, text, nullptr, nullptr, &error) == SQLITE_OK) return true;
  std::fprintf(stderr, "sqlite: %s: %s\n", text, error ? error : "?");
  sqlite3_free(error);
  return false;
}

bool runSqlite(const std::vector<Revision>& rows, const std::string& path, Times* t) {
  std::filesystem::remove(path);
  sqlite3* db = nullptr;
  if (sqlite3_open(path.c_str(), &db) != SQLITE_OK) return false;
  bool ok = sql(db, "PRAGMA synchronous=OFF") && sql(db, "PRAGMA cache_size=-16384") &&
            sql(db,
                "CREATE TABLE revision(revision_id INTEGER, parent_branch_id INTEGER, "
                "revision_number TEXT, revision_time_stamp INTEGER, revision_author TEXT, "
                "revision_comments TEXT)") &&
            sql(db, "CREATE UNIQUE INDEX revision_id_hash ON revision(revision_id)") &&
            sql(db, "CREATE UNIQUE INDEX revision_number_tree ON revision(revision_number)");
  if (!ok) return false;

  auto start = Clock::now();
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO revision VALUES(?,?,?,?,?,?)", -1, &insert, nullptr);
  sql(db, "BEGIN");
  for (const Revision& row : rows) {
    sqlite3_bind_int64(insert, 1, row.id);
    sqlite3_bind_int64(insert, 2, row.branch);
    sqlite3_bind_text(insert, 3, row.number.data(), static_cast<int>(row.number.size()), SQLITE_STATIC);
    sqlite3_bind_int64(insert, 4, static_cast<sqlite3_int64>(row.stamp));
    sqlite3_bind_text(insert, 5, row.author.data(), static_cast<int>(row.author.size()), SQLITE_STATIC);
    sqlite3_bind_text(insert, 6, row.comments.data(), static_cast<int>(row.comments.size()), SQLITE_STATIC);
    if (sqlite3_step(insert) != SQLITE_DONE) return false;
    sqlite3_reset(insert);
  }
  sql(db, "COMMIT");
  sqlite3_finalize(insert);
  t->insert = seconds(start);

  // Each lookup reads the whole row, as findFirst copies it out.
  auto lookups = [&](const char* text, bool byNumber) {
    sqlite3_stmt* q = nullptr;
    sqlite3_prepare_v2(db, text, -1, &q, nullptr);
    auto begin = Clock::now();
    for (const Revision& row : rows) {
      if (byNumber)
        sqlite3_bind_text(q, 1, row.number.data(), static_cast<int>(row.number.size()), SQLITE_STATIC);
      else
        sqlite3_bind_int64(q, 1, row.id);
      if (sqlite3_step(q) != SQLITE_ROW || sqlite3_column_int64(q, 0) != row.id) {
        sqlite3_finalize(q);
        return -1.0;
      }
      (void)sqlite3_column_int64(q, 1);
      (void)sqlite3_column_text(q, 2);
      (void)sqlite3_column_int64(q, 3);
      (void)sqlite3_column_text(q, 4);
      (void)sqlite3_column_text(q, 5);
      sqlite3_reset(q);
    }
    sqlite3_finalize(q);
    return seconds(begin);
  };
  // Reads in one transaction as well, so that SQLite takes its file lock
  // once and keeps its page cache between statements.
  sql(db, "BEGIN");
  t->byNumber = lookups("SELECT * FROM revision WHERE revision_number=?", true);
  t->byId = lookups("SELECT * FROM revision WHERE revision_id=?", false);
  sql(db, "COMMIT");
  if (t->byNumber < 0 || t->byId < 0) return false;

  start = Clock::now();
  sqlite3_close(db);
  t->close = seconds(start);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  uint32_t count = argc > 1 ? static_cast<uint32_t>(std::strtoul(argv[1], nullptr, 10)) : 200000;
  std::string dir = argc > 2 ? argv[2] : std::filesystem::temp_directory_path().string();
  std::vector<Revision> rows = history(count);
  bool oursOnly = argc > 3 && std::string(argv[3]) == "ours";
  // Best of three per phase, the two sides taking turns: on a shared
  // machine a neighbour's burst then spoils one round, not the ratio.
  const int rounds = oursOnly ? 1 : 3;
  Times ours, lite;
  auto keepBest = [](Times* best, const Times& t, int round) {
    if (round == 0) {
      *best = t;
      return;
    }
    best->insert = std::min(best->insert, t.insert);
    best->byNumber = std::min(best->byNumber, t.byNumber);
    best->byId = std::min(best->byId, t.byId);
    best->close = std::min(best->close, t.close);
  };
  for (int round = 0; round < rounds; round++) {
    Times a, b;
    if (!runOurs(rows, dir + "/bench_table_ops.tvdb", &a)) return 1;
    keepBest(&ours, a, round);
    if (oursOnly) continue;
    if (!runSqlite(rows, dir + "/bench_table_ops.sqlite", &b)) return 1;
    keepBest(&lite, b, round);
  }
  std::printf("%u revisions; block %u, cache %llu bytes for both; best of %d rounds per phase\n",
              count, kBlockSize, static_cast<unsigned long long>(kCacheBytes), rounds);
  std::printf("%-22s %12s %12s %10s\n", "phase", "ours (s)", "sqlite (s)", "ratio");
  auto line = [](const char* what, double a, double b) {
    std::printf("%-22s %12.3f %12.3f %9.2fx\n", what, a, b, a > 0 ? b / a : 0.0);
  };
  line("insert", ours.insert, lite.insert);
  line("lookup by number", ours.byNumber, lite.byNumber);
  line("lookup by id", ours.byId, lite.byId);
  line("close", ours.close, lite.close);
  line("total", ours.total(), lite.total());
  std::filesystem::remove(dir + "/bench_table_ops.tvdb");
  std::filesystem::remove(dir + "/bench_table_ops.sqlite");
  return 0;
}
