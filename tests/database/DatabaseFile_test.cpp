// The database file as a whole: header bytes, create/open/close, the
// open-for-write marker and the order of header validation.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "DbTestFiles.h"
#include "database/btBlockStorage.h"
#include "database/btDatabase.h"
#include "database/btStatus.h"

namespace {

constexpr uint64_t kBudget = 0x1000000;

std::string makeDatabase(const std::string& name, uint32_t B = 8192) {
  std::string path = dbTestPath(name);
  btDatabase db;
  EXPECT_EQ(0, db.createDatabase(path.c_str(), "CACHE_DATABASE", B, kBudget, 1, 1));
  EXPECT_EQ(0, db.closeDatabase());
  return path;
}

TEST(DatabaseFile, NewFileHeaderBytes) {
  std::string path = makeDatabase("header.tvdb");
  std::vector<uint8_t> b = readFileBytes(path);
  ASSERT_EQ(8192u, b.size());
  EXPECT_EQ(0, std::memcmp(b.data(), "TVDB", 4));
  EXPECT_EQ(2400, le16(b, 4));
  EXPECT_EQ(8192, le16(b, 6));
  EXPECT_EQ(8192u, le32(b, 8));
  EXPECT_EQ(0, le16(b, 12));
  EXPECT_STREQ("CACHE_DATABASE", reinterpret_cast<const char*>(&b[14]));
  EXPECT_EQ(0, b[47]);
  EXPECT_EQ(0, le16(b, 50));
  for (size_t at = 52; at < 308; at += 4) ASSERT_EQ(0u, le32(b, at)) << at;
  EXPECT_EQ(0u, le32(b, 308));  // free chain
  EXPECT_EQ(0u, le32(b, 312));  // data chain
  EXPECT_EQ(0u, le32(b, 316));
  EXPECT_EQ(512u, le32(b, 320));  // catalogue behind the header
  EXPECT_EQ(0u, le32(b, 324));
  EXPECT_EQ(0u, le32(b, 328));
  EXPECT_EQ(0, b[332]);
  EXPECT_EQ(0, b[429]);
  EXPECT_EQ(0u, le64(b, 440));
  for (size_t at = 448; at < 512; at++) ASSERT_EQ(0, b[at]) << at;
  // The empty catalogue area behind the header.
  EXPECT_EQ(0u, le32(b, 512));
  EXPECT_EQ(0u, le32(b, 516));
  EXPECT_EQ(8192 - 512, le16(b, 520));
  EXPECT_EQ(0, le16(b, 522));
  EXPECT_EQ(0, le16(b, 524));
  EXPECT_EQ(8192 - 512, le16(b, 526));
}

TEST(DatabaseFile, BlockSizesAtCreate) {
  struct Case {
    uint32_t B;
    int32_t status;
    uint16_t field;
    uint32_t catalogue;
  } cases[] = {
      {512, 0, 512, 0},  // no room behind the header
      {1024, 0, 1024, 512},
      {8192, 0, 8192, 512},
      {65536, 0, 0, 512},  // 0 stands for 65536
      {0, BT_STATUS_BAD_BLOCK_SIZE, 0, 0},
      {256, BT_STATUS_BAD_BLOCK_SIZE, 0, 0},
      {1000, BT_STATUS_BAD_BLOCK_SIZE, 0, 0},
      {66048, BT_STATUS_BAD_BLOCK_SIZE, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.B);
    std::string path = dbTestPath("bs.tvdb");
    btDatabase db;
    ASSERT_EQ(c.status, db.createDatabase(path.c_str(), "T", c.B, kBudget, 0, 1));
    if (c.status) continue;
    ASSERT_EQ(0, db.closeDatabase());
    std::vector<uint8_t> b = readFileBytes(path);
    ASSERT_EQ(c.B, b.size());
    EXPECT_EQ(c.field, le16(b, 6));
    EXPECT_EQ(c.catalogue, le32(b, 320));
    ASSERT_EQ(0, db.openDatabase(path.c_str(), kBudget, 0, 0, 1));
    EXPECT_EQ(c.B, db.blockSize());
    EXPECT_EQ(0, db.closeDatabase());
  }
}

TEST(DatabaseFile, TextFieldsAreCutAndTerminated) {
  std::string path = dbTestPath("texts.tvdb");
  std::string longTag(40, 't');
  std::string longText(120, 'd');
  btDatabase db;
  ASSERT_EQ(0, db.createDatabase(path.c_str(), longTag.c_str(), 4096, kBudget, 0, 1));
  db.setDescription(longText.c_str());
  db.setApplicationVersion(20000);
  ASSERT_EQ(0, db.closeDatabase());
  std::vector<uint8_t> b = readFileBytes(path);
  EXPECT_EQ(std::string(32, 't'), std::string(reinterpret_cast<const char*>(&b[14])));
  EXPECT_EQ(0, b[46]);
  EXPECT_EQ(std::string(96, 'd'), std::string(reinterpret_cast<const char*>(&b[332])));
  EXPECT_EQ(0, b[428]);
  EXPECT_EQ(20000, le16(b, 12));
  EXPECT_EQ(0, b[47]);  // a clean close clears the marker
}

TEST(DatabaseFile, RoundTripKeepsChangesAndCountsWriteOpens) {
  std::string path = makeDatabase("roundtrip.tvdb", 4096);
  {
    btDatabase db;
    ASSERT_EQ(0, db.openDatabase(path.c_str(), kBudget, 0, 0, 1));
    db.setDescription("Tolvane Version Control Cache Database");
    int32_t status = 0;
    EXPECT_NE(0u, allocateBlock(&db, db.getCacheFile(), BT_BLOCK_DATA, &status));
    ASSERT_EQ(0, db.closeDatabase());
  }
  std::vector<uint8_t> b = readFileBytes(path);
  EXPECT_EQ(2 * 4096u, b.size());
  EXPECT_EQ(2 * 4096u, le32(b, 8));
  EXPECT_EQ(1u, le64(b, 440));
  EXPECT_EQ(0, b[47]);
  btDatabase db;
  ASSERT_EQ(0, db.openDatabase(path.c_str(), kBudget, 1, 1, 1));
  EXPECT_STREQ("Tolvane Version Control Cache Database", db.header().description);
  EXPECT_EQ(2 * 4096u, db.logicalFileSize());
  EXPECT_TRUE(db.isReadOnly());
  db.setApplicationVersion(7);  // read-only: silently nothing
  EXPECT_EQ(0, db.header().applicationVersion);
  EXPECT_EQ(0, db.closeDatabase());
}

TEST(DatabaseFile, OpeningWithoutChangeLeavesFileAsItWas) {
  std::string path = makeDatabase("nochange.tvdb");
  std::vector<uint8_t> before = readFileBytes(path);
  btDatabase db;
  ASSERT_EQ(0, db.openDatabase(path.c_str(), kBudget, 0, 0, 1));
  EXPECT_EQ(1u, db.header().openCount);  // in the cache only
  EXPECT_FALSE(db.isDirty());
  ASSERT_EQ(0, db.closeDatabase());
  EXPECT_EQ(before, readFileBytes(path));
}

TEST(DatabaseFile, ValidationOrderOnOpen) {
  std::string good = makeDatabase("valid.tvdb", 1024);
  std::vector<uint8_t> base = readFileBytes(good);
  struct Case {
    const char* what;
    void (*patch)(std::vector<uint8_t>&);
    int readOnly;
    uint64_t budget;
    int32_t status;
  } cases[] = {
      {"intact", [](std::vector<uint8_t>&) {}, 0, kBudget, 0},
      {"short file", [](std::vector<uint8_t>& b) { b.resize(100); }, 1, kBudget, BT_STATUS_BAD_MAGIC},
      {"magic", [](std::vector<uint8_t>& b) { b[0] = 'X'; }, 1, kBudget, BT_STATUS_BAD_MAGIC},
      {"version 999", [](std::vector<uint8_t>& b) { put16(b, 4, 999); }, 1, kBudget, BT_STATUS_BAD_VERSION},
      {"version 2401", [](std::vector<uint8_t>& b) { put16(b, 4, 2401); }, 1, kBudget, BT_STATUS_BAD_VERSION},
      {"marker", [](std::vector<uint8_t>& b) { b[47] = 1; }, 0, kBudget, BT_STATUS_NOT_CLOSED_CLEANLY},
      {"marker read-only", [](std::vector<uint8_t>& b) { b[47] = 1; }, 1, kBudget, BT_STATUS_NOT_CLOSED_CLEANLY},
      {"budget 3 blocks", [](std::vector<uint8_t>&) {}, 0, 3 * 1024, BT_STATUS_CACHE_TOO_SMALL},
      {"budget 4 blocks", [](std::vector<uint8_t>&) {}, 0, 4 * 1024, 0},
      {"block size 100", [](std::vector<uint8_t>& b) { put16(b, 6, 100); }, 1, kBudget, BT_STATUS_BAD_BLOCK_SIZE},
      {"block size 1536 odd", [](std::vector<uint8_t>& b) { put16(b, 6, 1500); }, 1, kBudget, BT_STATUS_BAD_BLOCK_SIZE},
      {"size below block", [](std::vector<uint8_t>& b) { put32(b, 8, 512); }, 1, kBudget, BT_STATUS_BAD_FILE_SIZE},
      {"size above 64 GiB", [](std::vector<uint8_t>& b) { b[429] = 0x10; put32(b, 8, 1024); }, 1, kBudget, BT_STATUS_BAD_FILE_SIZE},
      {"old version above 2 GiB", [](std::vector<uint8_t>& b) { put16(b, 4, 1500); b[429] = 1; }, 1, kBudget, BT_STATUS_BAD_FILE_SIZE},
      {"65 tables", [](std::vector<uint8_t>& b) { put16(b, 50, 65); }, 1, kBudget, BT_STATUS_TOO_MANY_TABLES},
      {"table beyond end", [](std::vector<uint8_t>& b) { put16(b, 50, 1); put32(b, 52, 99999); }, 1, kBudget, BT_STATUS_BAD_ADDRESS},
      {"free head beyond end", [](std::vector<uint8_t>& b) { put32(b, 308, 4096); }, 1, kBudget, BT_STATUS_BAD_ADDRESS},
      {"last table beyond end", [](std::vector<uint8_t>& b) { put32(b, 328, 2048); }, 1, kBudget, BT_STATUS_BAD_ADDRESS},
      {"unused entry ignored", [](std::vector<uint8_t>& b) { put32(b, 56, 99999); }, 1, kBudget, 0},
      {"no-address reads as 0", [](std::vector<uint8_t>& b) { put32(b, 312, 0xFFFFFFFF); }, 1, kBudget, 0},
      {"catalogue head unchecked", [](std::vector<uint8_t>& b) { put32(b, 320, 99999); }, 1, kBudget, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    std::string path = dbTestPath("validation.tvdb");
    std::vector<uint8_t> bytes = base;
    c.patch(bytes);
    writeFileBytes(path, bytes);
    btDatabase db;
    EXPECT_EQ(c.status, db.openDatabase(path.c_str(), c.budget, c.readOnly, 0, 1));
    EXPECT_EQ(c.status == 0, db.isOpen());
    db.closeDatabase();
  }
}

TEST(DatabaseFile, MissingFileIsMinusTwo) {
  btDatabase db;
  EXPECT_EQ(-2, db.openDatabase(dbTestPath("absent.tvdb").c_str(), kBudget, 0, 0, 1));
  EXPECT_EQ(-2, db.openDatabase(dbTestPath("absent.tvdb").c_str(), kBudget, 1, 0, 1));
}

TEST(DatabaseFile, OlderVersionsOpenOnlyForReading) {
  std::string good = makeDatabase("versions.tvdb");
  std::vector<uint8_t> base = readFileBytes(good);
  for (uint16_t version : {1000, 1999, 2000, 2399}) {
    SCOPED_TRACE(version);
    std::string path = dbTestPath("old.tvdb");
    std::vector<uint8_t> bytes = base;
    put16(bytes, 4, version);
    writeFileBytes(path, bytes);
    btDatabase db;
    EXPECT_EQ(BT_STATUS_OLD_VERSION, db.openDatabase(path.c_str(), kBudget, 0, 0, 1));
    EXPECT_TRUE(db.isReadOnly());
    EXPECT_FALSE(db.isOpen());
    EXPECT_EQ(bytes, readFileBytes(path));  // untouched
    ASSERT_EQ(0, db.openDatabase(path.c_str(), kBudget, 1, 0, 1));
    EXPECT_EQ(version, db.header().version);
    EXPECT_EQ(0, db.closeDatabase());
  }
}

TEST(DatabaseFile, MarkerIsOnDiskWhileBlocksAreWritten) {
  std::string path = makeDatabase("marker.tvdb", 1024);
  btDatabase db;
  ASSERT_EQ(0, db.openDatabase(path.c_str(), kBudget, 0, 0, 1));
  int32_t status = 0;
  btSeek seek = allocateBlock(&db, db.getCacheFile(), BT_BLOCK_DATA, &status);
  ASSERT_NE(0u, seek);
  EXPECT_EQ(0, readFileBytes(path)[47]);  // nothing written yet
  ASSERT_EQ(0, db.getCacheFile()->flushBlock(1024));
  std::vector<uint8_t> mid = readFileBytes(path);
  EXPECT_EQ(1, mid[47]);
  EXPECT_EQ(2048u, mid.size());
  EXPECT_TRUE(db.headerMarked);
  ASSERT_EQ(0, db.closeDatabase());
  EXPECT_EQ(0, readFileBytes(path)[47]);
}

TEST(DatabaseFile, FullDiskAtCloseLeavesFileRefused) {
  std::string path = makeDatabase("fulldisk.tvdb", 1024);
  RecordingFaults faults;
  btDatabase db;
  db.setFileFaults(&faults);
  ASSERT_EQ(0, db.openDatabase(path.c_str(), kBudget, 0, 0, 1));
  int32_t status = 0;
  ASSERT_NE(0u, allocateBlock(&db, db.getCacheFile(), BT_BLOCK_DATA, &status));
  faults.failing = true;
  faults.failFrom = 1024;  // the header still goes out, the new block does not
  EXPECT_EQ(BT_STATUS_WRITE_FAILED, db.closeDatabase());
  EXPECT_EQ(BT_STATUS_WRITE_FAILED, db.lastWriteError);
  EXPECT_EQ(1, readFileBytes(path)[47]);
  btDatabase again;
  EXPECT_EQ(BT_STATUS_NOT_CLOSED_CLEANLY, again.openDatabase(path.c_str(), kBudget, 0, 0, 1));
  EXPECT_EQ(BT_STATUS_NOT_CLOSED_CLEANLY, again.openDatabase(path.c_str(), kBudget, 1, 0, 1));
}

TEST(DatabaseFile, FailedHeaderWriteAtCreateIsReported) {
  std::string path = dbTestPath("createfail.tvdb");
  RecordingFaults faults;
  faults.failing = true;
  btDatabase db;
  db.setFileFaults(&faults);
  EXPECT_EQ(BT_STATUS_WRITE_FAILED, db.createDatabase(path.c_str(), "T", 4096, kBudget, 0, 1));
  EXPECT_FALSE(db.isOpen());
}

TEST(DatabaseFile, FlushFileDoesNothing) {
  btDatabase db;
  EXPECT_EQ(0, db.flushFile(-1));
  EXPECT_EQ(0, db.flushFile(7));
}

}  // namespace

namespace {

TEST(DatabaseFile, AWriterExcludesOtherOpens) {
  std::string path = makeDatabase("shared.tvdb");
  btDatabase writer;
  ASSERT_EQ(0, writer.openDatabase(path.c_str(), kBudget, 0, 0, 1));
  btDatabase second;
  EXPECT_LT(second.openDatabase(path.c_str(), kBudget, 0, 0, 1), 0);
  EXPECT_LT(second.openDatabase(path.c_str(), kBudget, 1, 0, 1), 0);
  EXPECT_FALSE(second.isOpen());
  ASSERT_EQ(0, writer.closeDatabase());
  EXPECT_EQ(0, second.openDatabase(path.c_str(), kBudget, 1, 0, 1));
  btDatabase reader;
  EXPECT_EQ(0, reader.openDatabase(path.c_str(), kBudget, 1, 0, 1));  // readers share
}

}  // namespace
