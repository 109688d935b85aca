// Opening, creating and closing a cache file: the statuses of each refusal,
// the schema a new file gets, the counters and the last update time across
// sessions.
#include <cstring>

#include "VcacheTestSupport.h"
#include "database/btDatabase.h"
#include "database/btStatus.h"
#include "database/btTableInfo.h"
#include "vcache/VCSchema.h"

using namespace vctest;

namespace {

// Opens `file` with the engine alone, to look at what the session left.
struct RawDatabase {
  explicit RawDatabase(const std::string& file, int readOnly = 1) {
    status = db.openDatabase(file.c_str(), VC_CACHE_BYTES, readOnly, 0, 1);
  }
  btDatabase db;
  int32_t status;
};

TEST(CacheSession, NewFileGetsTheTenTablesInOrderAndTheRepositoryRow) {
  ScratchDir dir;
  std::string file = dir.file("cache.db");
  {
    auto cache = OpenCache(file);
    cmDateStamp stamp = 99;
    EXPECT_EQ(cache->getLastUpdateTime(stamp), 0);
    EXPECT_EQ(stamp, 0u);
    EXPECT_EQ(cache->nextFileId, 0u);
    EXPECT_EQ(cache->nextRevisionId, 0u);
    EXPECT_EQ(cache->nextBranchId, 0u);
    EXPECT_EQ(cache->nextLabelId, 0u);
  }
  RawDatabase raw(file);
  ASSERT_EQ(raw.status, 0);
  EXPECT_EQ(raw.db.header().applicationVersion, VC_APPLICATION_VERSION);
  ASSERT_EQ(raw.db.catalog()->count(), VC_TABLE_COUNT);
  for (uint32_t t = 0; t < VC_TABLE_COUNT; ++t) {
    const VCTableSpec& want = vcSchemaTables()[t];
    btTableInfo* table = raw.db.catalog()->table(t);
    ASSERT_NE(table, nullptr) << want.name;
    EXPECT_STREQ(table->name(), want.name);
    ASSERT_EQ(table->fieldCount(), want.fieldCount) << want.name;
    for (uint32_t f = 0; f < want.fieldCount; ++f) {
      const btFieldDefinition* field = table->field(f);
      EXPECT_STREQ(field->name, want.fields[f].name) << want.name;
      EXPECT_EQ(field->type, want.fields[f].type) << want.fields[f].name;
      EXPECT_EQ(field->size, want.fields[f].length) << want.fields[f].name;
      EXPECT_EQ(field->flags & 2, want.fields[f].flags & 2) << want.fields[f].name;
    }
    ASSERT_EQ(table->indexCount(), want.indexCount) << want.name;
    for (uint32_t i = 0; i < want.indexCount; ++i) {
      const btIndexDefinition* index = table->index(i);
      EXPECT_STREQ(index->name, want.indexes[i].name);
      EXPECT_EQ(index->indexType, want.indexes[i].kind) << index->name;
      EXPECT_EQ(index->indexFlags, want.indexes[i].flags) << index->name;
      EXPECT_STREQ(table->field(index->partField(0))->name, want.indexes[i].key) << index->name;
    }
  }
  // Only the repository table has a row.
  EXPECT_EQ(raw.db.getTable("repository")->hdr.recordCount, 1u);
  EXPECT_EQ(raw.db.getTable("branch")->hdr.recordCount, 0u);
}

TEST(CacheSession, VersionMismatchRefusesAndLeavesTheFileAlone) {
  ScratchDir dir;
  std::string file = dir.file("cache.db");
  OpenCache(file)->close();
  std::string before = ReadWholeFile(file);
  ASSERT_FALSE(before.empty());

  VCDataLayer cache(kUrl, file.c_str(), kVersion + 1);
  int32_t status = 0;
  std::string log = CaptureLog([&] { status = cache.open(); });
  EXPECT_EQ(status, VC_OPEN_VERSION_MISMATCH);
  EXPECT_FALSE(cache.isOpen());
  EXPECT_NE(log.find("Warning: The version of the cache file (7) does not match the current version (8).\n"),
            std::string::npos)
      << log;
  EXPECT_EQ(ReadWholeFile(file), before);
  // The version is checked before the URL.
  VCDataLayer both("svn://elsewhere", file.c_str(), kVersion + 1);
  EXPECT_EQ(both.open(), VC_OPEN_VERSION_MISMATCH);
  EXPECT_EQ(ReadWholeFile(file), before);
}

TEST(CacheSession, UrlComparesWithoutCaseAndAnotherUrlIsRefused) {
  ScratchDir dir;
  std::string file = dir.file("cache.db");
  OpenCache(file)->close();

  VCDataLayer upper("HTTPS://SVN.EXAMPLE.ORG/REPOS/PROJECT", file.c_str(), kVersion);
  EXPECT_EQ(upper.open(), 0);
  upper.close();

  VCDataLayer other("https://svn.example.org/repos/other", file.c_str(), kVersion);
  int32_t status = 0;
  std::string log = CaptureLog([&] { status = other.open(); });
  EXPECT_EQ(status, VC_OPEN_URL_MISMATCH);
  EXPECT_FALSE(other.isOpen());
  EXPECT_NE(log.find("Error: The repository URL of the cache file (https://svn.example.org/repos/project) does not "
                     "match the requested URL (https://svn.example.org/repos/other).\n"),
            std::string::npos)
      << log;
}

TEST(CacheSession, FileWithoutRepositoryRowGivesMinusFour) {
  ScratchDir dir;
  std::string file = dir.file("cache.db");
  {
    btDatabase db;
    ASSERT_EQ(createCacheSchema(&db, file.c_str()), 0);
    db.closeDatabase();
  }
  VCDataLayer cache(kUrl, file.c_str(), kVersion);
  EXPECT_EQ(cache.open(), VC_OPEN_NO_REPOSITORY_ROW);
  EXPECT_FALSE(cache.isOpen());
}

TEST(CacheSession, FileThatIsNoDatabasePassesTheEngineStatusOn) {
  ScratchDir dir;
  std::string file = dir.file("cache.db");
  std::string junk(20000, 'x');
  WriteWholeFile(file, junk);
  VCDataLayer cache(kUrl, file.c_str(), kVersion);
  int32_t status = 0;
  std::string log = CaptureLog([&] { status = cache.open(); });
  EXPECT_LT(status, 0);
  EXPECT_NE(status, VC_OPEN_CREATE_FAILED);
  EXPECT_FALSE(cache.isOpen());
  EXPECT_NE(log.find("Unable to open the version cache database. error " + std::to_string(status)), std::string::npos)
      << log;
  EXPECT_EQ(ReadWholeFile(file), junk);
}

// Only a missing file (or one of an older format) leads to creation; a
// missing directory is a refusal of the open, and its status goes through.
TEST(CacheSession, MissingDirectoryIsAnOpenFailureNotACreation) {
  ScratchDir dir;
  std::string file = dir.file("no/such/dir/cache.db");
  VCDataLayer cache(kUrl, file.c_str(), kVersion);
  int32_t status = 0;
  std::string log = CaptureLog([&] { status = cache.open(); });
  EXPECT_LT(status, 0);
  EXPECT_NE(status, BT_STATUS_FILE_NOT_FOUND);
  EXPECT_EQ(log.find("Creating cache database"), std::string::npos) << log;
  EXPECT_NE(log.find("Unable to open the version cache database. error " + std::to_string(status) + "\n"),
            std::string::npos)
      << log;
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST(CacheSession, LastUpdateTimeSurvivesCloseAndReopen) {
  ScratchDir dir;
  std::string file = dir.file("cache.db");
  const cmDateStamp when = 133480000000000000ull;
  {
    auto cache = OpenCache(file);
    EXPECT_EQ(cache->setLastUpdateTime(when), 0);
    cmDateStamp read = 0;
    EXPECT_EQ(cache->getLastUpdateTime(read), 0);
    EXPECT_EQ(read, when);
  }
  auto cache = OpenCache(file);
  cmDateStamp read = 0;
  EXPECT_EQ(cache->getLastUpdateTime(read), 0);
  EXPECT_EQ(read, when);
}

// A file of an older format can't be opened for writing; it is replaced by
// a new cache. A file left open for writing is refused as it is.
TEST(CacheSession, OlderFormatIsReplacedAndAnUncleanFileRefused) {
  ScratchDir dir;
  std::string file = dir.file("cache.db");
  {
    auto cache = OpenCache(file);
    VCFileInfo f;
    f.spec = "/old.c";
    ASSERT_EQ(cache->insertFile(f), 0);
  }
  std::string image = ReadWholeFile(file);
  std::string older = image;
  older.replace(4, 2, std::string("\x08\x07", 2));  // format 1800
  WriteWholeFile(file, older);
  {
    VCDataLayer cache(kUrl, file.c_str(), kVersion);
    std::string log = CaptureLog([&] { EXPECT_EQ(cache.open(), 0); });
    EXPECT_NE(log.find("Creating cache database " + file + "\n"), std::string::npos) << log;
    EXPECT_EQ(cache.nextFileId, 0u);
  }
  std::string unclean = image;
  unclean[47] = 1;
  WriteWholeFile(file, unclean);
  VCDataLayer cache(kUrl, file.c_str(), kVersion);
  EXPECT_EQ(cache.open(), BT_STATUS_NOT_CLOSED_CLEANLY);
  EXPECT_EQ(ReadWholeFile(file), unclean);
}

TEST(CacheSession, CloseTwiceAndReopenTheSameObject) {
  ScratchDir dir;
  std::string file = dir.file("cache.db");
  VCDataLayer cache(kUrl, file.c_str(), kVersion);
  ASSERT_EQ(cache.open(), 0);
  std::string log = CaptureLog([&] {
    cache.close();
    cache.close();
  });
  EXPECT_EQ(log, "Closing cache database " + file + "\n\n");
  EXPECT_FALSE(cache.isOpen());
  cmDateStamp stamp = 5;
  EXPECT_EQ(cache.getLastUpdateTime(stamp), 0);
  EXPECT_EQ(stamp, 0u);
  ASSERT_EQ(cache.open(), 0);
  EXPECT_TRUE(cache.isOpen());
  // A cleanly closed file opens with the engine without complaint.
  cache.close();
  RawDatabase raw(file, 0);
  EXPECT_EQ(raw.status, 0);
}

}  // namespace
