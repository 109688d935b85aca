#include "update/StatusFile.h"

#include <gtest/gtest.h>

#include "UpdateTestSupport.h"
#include "update/RunLog.h"

namespace {

TEST(StatusFileName, CutsTheExtensionOnly) {
  struct Case {
    const char* cache;
    const char* status;
  } cases[] = {
      {"a.b.c", "a.b_status.txt"},
      {"dir.x/cache", "dir.x/cache_status.txt"},
      {"c:\\x\\repo.db", "c:\\x\\repo_status.txt"},
      {"dir.x\\cache", "dir.x\\cache_status.txt"},
      {"c:cache", "c:cache_status.txt"},
      {"repo", "repo_status.txt"},
      {"repo.", "repo_status.txt"},
      {"/tmp/w/cache.db", "/tmp/w/cache_status.txt"},
      // An extension of 19 bytes, dot included, is cut; one of 20 is not.
      {"r.123456789012345678", "r_status.txt"},
      {"r.1234567890123456789", "r.1234567890123456789_status.txt"},
  };
  for (const Case& c : cases) EXPECT_EQ(StatusFileNameFor(c.cache), c.status) << c.cache;
}

class ReportStatusTest : public testing::Test {
 protected:
  LogSettingsGuard guard_;
  ScratchDir dir_;
  std::string status_ = dir_.file("cache_status.txt");
};

TEST_F(ReportStatusTest, ReplacesTheRecordAndLogsTheMessage) {
  SetVerboseLog(true);
  SetLogOutputMode(kLogToStdout);
  WriteWholeFile(status_, "stale content that is longer than the new record\n");
  std::string log = CaptureStdout([&] { ReportStatus(status_.c_str(), 0, "Beginning SVN cache update."); });
  EXPECT_EQ(ReadWholeFile(status_), "0;Beginning SVN cache update.");
  EXPECT_EQ(log, "Beginning SVN cache update.\n");

  log = CaptureStdout([&] {
    ReportStatus(status_.c_str(), -3, "Error retrieving revisions %i to %i from SVN: error code %i", 5000, 9999, 1);
  });
  EXPECT_EQ(ReadWholeFile(status_), "-3;Error retrieving revisions 5000 to 9999 from SVN: error code 1");
  EXPECT_EQ(log, "Error retrieving revisions 5000 to 9999 from SVN: error code 1\n");
}

TEST_F(ReportStatusTest, FileChangesWhenTheLogIsOff) {
  SetVerboseLog(false);
  std::string log = CaptureStdout([&] { ReportStatus(status_.c_str(), 0, "%i of %i complete;%i;%i", 3, 12, 3, 12); });
  EXPECT_EQ(ReadWholeFile(status_), "0;3 of 12 complete;3;12");
  EXPECT_EQ(log, "");
}

TEST_F(ReportStatusTest, LongMessageIsCutAlikeInFileAndLog) {
  SetVerboseLog(true);
  SetLogOutputMode(kLogToStdout);
  std::string longText(5000, 'x');
  longText[4094] = 'E';  // the last byte that survives the cut
  std::string log = CaptureStdout([&] { ReportStatus(status_.c_str(), -5, "%s", longText.c_str()); });
  std::string kept = longText.substr(0, 4095);
  EXPECT_EQ(ReadWholeFile(status_), "-5;" + kept);
  EXPECT_EQ(log, kept + "\n");
}

TEST_F(ReportStatusTest, PercentSignsAreReadAgainByTheLogOnly) {
  SetVerboseLog(true);
  SetLogOutputMode(kLogToStdout);
  const char* cache = "c:/a%5d/b%%c%s.db";
  std::string log = CaptureStdout(
      [&] { ReportStatus(status_.c_str(), -2, "Error opening SVN cache \"%s\": error code %i", cache, -4); });
  EXPECT_EQ(ReadWholeFile(status_), "-2;Error opening SVN cache \"c:/a%5d/b%%c%s.db\": error code -4");
  EXPECT_EQ(log, "Error opening SVN cache \"c:/a    0/b%c.db\": error code -4\n");
}

TEST_F(ReportStatusTest, UnopenableFileSilencesTheReport) {
  SetVerboseLog(true);
  SetLogOutputMode(kLogToStdout);
  std::string missing = dir_.file("no-such-dir/cache_status.txt");
  std::string log = CaptureStdout([&] { ReportStatus(missing.c_str(), -2, "lost"); });
  EXPECT_EQ(log, "");
  EXPECT_FALSE(std::filesystem::exists(missing));
}

}  // namespace
