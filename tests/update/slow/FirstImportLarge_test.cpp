// First imports of real repositories of thousands of revisions, batch by
// batch, with the real client and the real parser.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "update/FirstImportTestSupport.h"
#include "update/UpdateTestSupport.h"

using firstimport::Arguments;
using firstimport::CacheFreeServices;
using firstimport::RepoDir;

namespace {

class FirstImportLarge : public testing::Test {
 protected:
  LogSettingsGuard guard_;
  RepoDir dir_;
  std::string cache_ = dir_.file("cache.db");
  std::string log_ = dir_.file("log.xml");
  std::string status_ = dir_.file("cache_status.txt");
  CacheFreeServices services_{status_};
};

TEST_F(FirstImportLarge, TwelveThousandRevisionsInThreeBatches) {
  std::string url = firstimport::MakeRepository(dir_, 12000);
  ASSERT_FALSE(url.empty());
  ASSERT_EQ(firstimport::RunImport(services_, "svn", url, cache_, log_), 0);
  EXPECT_EQ(services_.headResult, 12000);

  struct Expected {
    const char* range;
    const char* status;
    int64_t entries;
    const char* first;
    const char* last;
  } expected[] = {
      {"-rHEAD", "0;Beginning SVN cache update.", 0, "", ""},
      // Revision 0 changed no path: the client lists no entry for it.
      {"-r0:4999", "0;0 of 2 complete;0;2", 4999, "1", "4999"},
      {"-r5000:9999", "0;1 of 2 complete;1;2", 5000, "5000", "9999"},
      {"-r10000:12000", "0;2 of 2 complete;2;2", 2001, "10000", "12000"},
  };
  ASSERT_EQ(services_.runs.size(), 4u);
  ASSERT_EQ(services_.parses.size(), 3u);
  for (size_t i = 0; i < 4; ++i) {
    SCOPED_TRACE(expected[i].range);
    EXPECT_EQ(services_.runs[i].arguments, Arguments(url, expected[i].range, log_));
    EXPECT_EQ(services_.runs[i].status, expected[i].status);
    if (i == 0) continue;
    const firstimport::ParsedBatch& batch = services_.parses[i - 1];
    EXPECT_EQ(batch.result, 0);
    EXPECT_EQ(batch.entries, expected[i].entries);
    EXPECT_EQ(batch.first, expected[i].first);
    EXPECT_EQ(batch.last, expected[i].last);
  }
  EXPECT_EQ(ReadWholeFile(status_), "0;2 of 2 complete;2;2");
  EXPECT_FALSE(std::filesystem::exists(log_));
}

// A batch that ends exactly at the head leaves one more batch to ask for,
// and the real client refuses a range beyond the head.
TEST_F(FirstImportLarge, HeadAt4999AsksForAnEmptySecondBatch) {
  std::string url = firstimport::MakeRepository(dir_, 4999);
  ASSERT_FALSE(url.empty());
  EXPECT_EQ(firstimport::RunImport(services_, "svn", url, cache_, log_), -3);
  EXPECT_EQ(services_.headResult, 4999);
  ASSERT_EQ(services_.runs.size(), 3u);
  EXPECT_EQ(services_.runs[1].arguments, Arguments(url, "-r0:4999", log_));
  EXPECT_EQ(services_.runs[2].arguments, Arguments(url, "-r5000:4999", log_));
  EXPECT_EQ(services_.runs[2].status, "0;1 of 0 complete;1;0");
  ASSERT_EQ(services_.parses.size(), 1u);
  EXPECT_EQ(services_.parses[0].entries, 4999);
  EXPECT_EQ(ReadWholeFile(status_), "-3;Error retrieving revisions 5000 to 4999 from SVN: error code 1");
  EXPECT_TRUE(std::filesystem::exists(log_));
}

}  // namespace
