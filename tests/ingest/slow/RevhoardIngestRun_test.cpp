// The built program on real repositories: a first import, a run that finds
// nothing new, an incremental run after new commits, caches that belong to
// another version or URL, and a run killed in the middle of a batch.
//
// The program is run as the front end runs it, with the five required
// arguments and the verbose log on; rows are read back through a cache
// session of the test's own after the program has ended.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "ingest/SvnRepoIngestSupport.h"
#include "update/FirstImportTestSupport.h"
#include "vcache/VCDataLayer.h"

namespace {

std::string ProgramPath() { return std::string(RH_BINARY_DIR) + "/revhoard"; }

// The exit code of a shell command's last program, as the signed value the
// program returned (the shell sees it modulo 256).
int ExitCodeOf(const std::string& command, const std::string& rcFile) {
  std::string wrapped = command + "; echo $? > '" + rcFile + "'";
  if (std::system(wrapped.c_str()) != 0) return -1000;
  int rc = std::atoi(ReadWholeFile(rcFile).c_str());
  return rc > 127 ? rc - 256 : rc;
}

// What a cache file holds, as far as the counters and lookups tell.
struct CacheCounts {
  int32_t open = -99;
  uint32_t files = 0, revisions = 0, branches = 0, labels = 0;
  cmDateStamp lastUpdate = 0;
  bool operator==(const CacheCounts& o) const {
    return open == o.open && files == o.files && revisions == o.revisions && branches == o.branches &&
           labels == o.labels;
  }
};

CacheCounts ReadCounts(const std::string& url, const std::string& cacheFile, uint32_t version = 1) {
  CacheCounts c;
  VCDataLayer cache(tolvane::TVString(url.c_str()), tolvane::TVString(cacheFile.c_str()), version);
  std::string ignored = CaptureStdout([&] { c.open = cache.open(); });
  if (c.open != 0) return c;
  c.files = cache.nextFileId;
  c.revisions = cache.nextRevisionId;
  c.branches = cache.nextBranchId;
  c.labels = cache.nextLabelId;
  cache.getLastUpdateTime(c.lastUpdate);
  ignored = CaptureStdout([&] { cache.close(); });
  return c;
}

class RevhoardRunTest : public testing::Test {
 protected:
  SvnScratchRepo repo_;
  std::string cacheFile_, xmlFile_, statusFile_;

  void SetUp() override {
    ASSERT_TRUE(repo_.ready());
    ASSERT_TRUE(std::filesystem::exists(ProgramPath())) << ProgramPath();
    cacheFile_ = repo_.file("cache.db");
    xmlFile_ = repo_.file("svnlog.xml");
    statusFile_ = repo_.file("cache_status.txt");
  }

  // One run of the program; its output goes to `name`.out.
  int run(const std::string& url, const std::string& version = "1", const std::string& name = "run") {
    std::string command = "'" + ProgramPath() + "' svn '" + url + "' '" + cacheFile_ + "' '" + xmlFile_ + "' " +
                          version + " > '" + repo_.file(name + ".out") + "' 2>&1";
    return ExitCodeOf(command, repo_.file(name + ".rc"));
  }
  std::string output(const std::string& name = "run") { return ReadWholeFile(repo_.file(name + ".out")); }
};

TEST_F(RevhoardRunTest, FirstImportRepeatAndIncrementalRun) {
  std::string f = repo_.source("v1\n");
  ASSERT_TRUE(repo_.mucc("mkdir trunk mkdir branches mkdir tags put " + f + " trunk/a.c", "start"));  // r1
  ASSERT_TRUE(repo_.mucc("cp 1 trunk branches/b", "branch"));                                      // r2
  ASSERT_TRUE(repo_.mucc("put " + f + " branches/b/b.c", "branch work"));                          // r3
  ASSERT_TRUE(repo_.mucc("cp 3 branches/b tags/b-1", "tag"));                                      // r4

  ASSERT_EQ(run(repo_.url()), 0) << output();
  // Four revisions make one batch and a total of 0.
  EXPECT_EQ(ReadWholeFile(statusFile_), "0;0 of 0 complete;0;0") << output();
  CacheCounts first = ReadCounts(repo_.url(), cacheFile_);
  ASSERT_EQ(first.open, 0);
  EXPECT_EQ(first.branches, 2u);   // trunk and /branches/b
  EXPECT_EQ(first.labels, 1u);     // /tags/b-1
  EXPECT_EQ(first.files, 2u);      // /a.c and /b.c
  EXPECT_EQ(first.revisions, 2u);  // r1 and r3
  EXPECT_NE(first.lastUpdate, 0u);
  EXPECT_FALSE(std::filesystem::exists(xmlFile_));

  // Nothing new: the incremental run repeats today's revisions, which the
  // cache refuses by key.
  ASSERT_EQ(run(repo_.url(), "1", "again"), 0) << output("again");
  EXPECT_NE(output("again").find("Updating the cache since"), std::string::npos);
  EXPECT_EQ(output("again").find("Added"), std::string::npos) << output("again");
  EXPECT_TRUE(ReadCounts(repo_.url(), cacheFile_) == first);

  std::string g = repo_.source("v2\n");
  ASSERT_TRUE(repo_.mucc("put " + g + " trunk/a.c put " + g + " trunk/new.c", "more"));  // r5
  ASSERT_TRUE(repo_.mucc("cp 5 trunk branches/c", "another branch"));                   // r6
  ASSERT_EQ(run(repo_.url(), "1", "later"), 0) << output("later");
  CacheCounts later = ReadCounts(repo_.url(), cacheFile_);
  EXPECT_EQ(later.revisions, first.revisions + 1);
  EXPECT_EQ(later.files, first.files + 1);
  EXPECT_EQ(later.branches, first.branches + 1);
  EXPECT_EQ(later.labels, first.labels);
  EXPECT_NE(output("later").find("Added revision (status=0): 5"), std::string::npos) << output("later");
  EXPECT_EQ(output("later").find("Added revision (status=0): 3"), std::string::npos);
}

TEST_F(RevhoardRunTest, ACacheOfAnotherVersionOrUrlIsRefusedAndLeftAlone) {
  std::string f = repo_.source("v1\n");
  ASSERT_TRUE(repo_.mucc("mkdir trunk put " + f + " trunk/a.c", "start"));
  ASSERT_EQ(run(repo_.url()), 0) << output();
  const std::string before = ReadWholeFile(cacheFile_);
  ASSERT_FALSE(before.empty());

  EXPECT_EQ(run(repo_.url(), "2", "version"), -2);
  EXPECT_EQ(ReadWholeFile(statusFile_), "-2;Error opening SVN cache \"" + cacheFile_ + "\": error code -2");
  EXPECT_EQ(ReadWholeFile(cacheFile_), before);

  EXPECT_EQ(run("file:///no/such/repository", "1", "url"), -2);
  EXPECT_EQ(ReadWholeFile(statusFile_), "-2;Error opening SVN cache \"" + cacheFile_ + "\": error code -3");
  EXPECT_EQ(ReadWholeFile(cacheFile_), before);
}

// The open-for-write byte of the file's header.
constexpr int kOpenForWriteOffset = 47;

TEST(RevhoardKilledRunTest, AKilledImportLeavesAFileThatIsRefusedUntilRemoved) {
  firstimport::RepoDir dir;
  const int head = 12000;
  const std::string url = firstimport::MakeRepository(dir, head);
  ASSERT_FALSE(url.empty());
  const std::string cacheFile = dir.file("cache.db");
  const std::string xmlFile = dir.file("svnlog.xml");
  const std::string statusFile = dir.file("cache_status.txt");
  const std::string program = "'" + ProgramPath() + "' svn '" + url + "' '" + cacheFile + "' '" + xmlFile + "' 1 0";

  // Killed as soon as the file says it may be inconsistent, that is while
  // blocks of a batch are being written.
  const std::string killed = dir.file("killed");
  std::string script = program + " > /dev/null 2>&1 & pid=$!; while kill -0 $pid 2>/dev/null; do "
                       "b=$(od -An -tu1 -j" + std::to_string(kOpenForWriteOffset) + " -N1 '" + cacheFile +
                       "' 2>/dev/null | tr -d ' '); if [ \"$b\" = 1 ]; then kill -9 $pid; touch '" + killed +
                       "'; break; fi; sleep 0.02; done; wait $pid";
  ExitCodeOf(script, dir.file("first.rc"));
  if (!std::filesystem::exists(killed))
    GTEST_SKIP() << "the import finished before its first block write; no mid-batch state to kill";

  const std::string damaged = ReadWholeFile(cacheFile);
  EXPECT_EQ(ExitCodeOf(program + " > /dev/null 2>&1", dir.file("second.rc")), -2);
  EXPECT_EQ(ReadWholeFile(statusFile), "-2;Error opening SVN cache \"" + cacheFile + "\": error code -3903");
  EXPECT_EQ(ReadWholeFile(cacheFile), damaged);

  std::filesystem::remove(cacheFile);
  ASSERT_EQ(ExitCodeOf(program + " > /dev/null 2>&1", dir.file("third.rc")), 0);
  CacheCounts rebuilt = ReadCounts(url, cacheFile);
  ASSERT_EQ(rebuilt.open, 0);
  // Revision 1 adds /trunk and /trunk/f.txt, every later one changes it.
  EXPECT_EQ(rebuilt.revisions, static_cast<uint32_t>(head));
  EXPECT_EQ(rebuilt.files, 1u);
  EXPECT_EQ(rebuilt.branches, 1u);
  EXPECT_EQ(rebuilt.labels, 0u);
}

}  // namespace
