// First imports through the production services with the real parser: a
// small real repository end to end, and a scripted client for the log
// shapes that the real one does not produce on demand.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "FirstImportTestSupport.h"
#include "UpdateTestSupport.h"

using firstimport::Arguments;
using firstimport::CacheFreeServices;
using firstimport::RepoDir;

namespace {

const char* const kOneEntry = "<?xml version=\"1.0\"?>\n<log>\n<logentry revision=\"%s\"><msg>m</msg></logentry>\n</log>\n";

class FirstImportTest : public testing::Test {
 protected:
  LogSettingsGuard guard_;
  RepoDir dir_;
  std::string cache_ = dir_.file("cache.db");
  std::string log_ = dir_.file("log.xml");
  std::string status_ = dir_.file("cache_status.txt");
  CacheFreeServices services_{status_};

  // A client that answers a head query with `head` and every other query with `batch`.
  std::string scriptedClient(const std::string& head, const std::string& batch) {
    WriteWholeFile(dir_.file("head.xml"), head);
    WriteWholeFile(dir_.file("batch.xml"), batch);
    std::string script = dir_.file("client.sh");
    WriteWholeFile(script,
                   "#!/bin/sh\n"
                   "dir=$(dirname \"$0\")\n"
                   "case \"$*\" in *-rHEAD*) cat \"$dir/head.xml\";; *) cat \"$dir/batch.xml\";; esac\n");
    std::filesystem::permissions(script, std::filesystem::perms::owner_exec, std::filesystem::perm_options::add);
    return script;
  }
  static std::string headLog(int revision) {
    char text[256];
    std::snprintf(text, sizeof text, kOneEntry, std::to_string(revision).c_str());
    return text;
  }
};

TEST_F(FirstImportTest, SmallRepositoryInOneBatch) {
  std::string url = firstimport::MakeRepository(dir_, 3);
  ASSERT_FALSE(url.empty());
  ASSERT_EQ(firstimport::RunImport(services_, "svn", url, cache_, log_), 0);
  EXPECT_EQ(services_.headResult, 3);
  ASSERT_EQ(services_.runs.size(), 2u);
  EXPECT_EQ(services_.runs[0].arguments, Arguments(url, "-rHEAD", log_));
  EXPECT_EQ(services_.runs[1].arguments, Arguments(url, "-r0:3", log_));
  EXPECT_EQ(services_.runs[1].status, "0;0 of 0 complete;0;0");
  ASSERT_EQ(services_.parses.size(), 1u);
  EXPECT_EQ(services_.parses[0].result, 0);
  // Revision 0 changed no path, so the client lists no entry for it.
  EXPECT_EQ(services_.parses[0].entries, 3);
  EXPECT_EQ(services_.parses[0].first, "1");
  EXPECT_EQ(services_.parses[0].last, "3");
  EXPECT_EQ(ReadWholeFile(status_), "0;0 of 0 complete;0;0");
  EXPECT_FALSE(std::filesystem::exists(log_));
}

TEST_F(FirstImportTest, HeadQueryWithTwoEntriesFailsWithMinus4) {
  std::string twoEntries =
      "<log><logentry revision=\"1\"/><logentry revision=\"2\"/></log>";
  std::string client = scriptedClient(twoEntries, headLog(1));
  EXPECT_EQ(firstimport::RunImport(services_, client, "file:///nowhere", cache_, log_), -4);
  EXPECT_EQ(services_.headResult, -1);
  EXPECT_EQ(services_.runs.size(), 1u);
  EXPECT_EQ(ReadWholeFile(status_), "-4;Error parsing the current revision of the repository.");
  // A failed run keeps the client's file for inspection.
  EXPECT_TRUE(std::filesystem::exists(log_));
}

TEST_F(FirstImportTest, BatchOutcomesOfTheParser) {
  struct Case {
    const char* what;
    std::string batch;
    int32_t parse;
    int32_t exit;
    const char* status;
  } cases[] = {
      {"no entry", "<?xml version=\"1.0\"?>\n<log>\n</log>\n", -2, -5,
       "-5;Error parsing revisions 0 to 7 from SVN: error code -2"},
      {"not readable", "<log><logentry revision=7></log>", -1, -5,
       "-5;Error parsing revisions 0 to 7 from SVN: error code -1"},
      {"one entry", headLog(7), 0, 0, "0;0 of 0 complete;0;0"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    CacheFreeServices services(status_);
    std::string client = scriptedClient(headLog(7), c.batch);
    EXPECT_EQ(firstimport::RunImport(services, client, "file:///nowhere", cache_, log_), c.exit);
    ASSERT_EQ(services.parses.size(), 1u);
    EXPECT_EQ(services.parses[0].result, c.parse);
    EXPECT_EQ(ReadWholeFile(status_), c.status);
  }
}

TEST_F(FirstImportTest, MissingRepositoryFailsTheHeadQuery) {
  std::string url = "file://" + dir_.file("no-such-repo");
  EXPECT_EQ(firstimport::RunImport(services_, "svn", url, cache_, log_), -4);
  EXPECT_EQ(ReadWholeFile(status_).rfind("-4;Error retrieving the current revision of the repository from SVN: error code ", 0), 0u);
  EXPECT_TRUE(services_.parses.empty());
}

}  // namespace
