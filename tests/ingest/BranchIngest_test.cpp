// The branch pass on real repositories: which copies become branches, the
// rows they get, their parents, their exclusions, and what a repeated run
// leaves alone.
#include "ingest/BranchIngest.h"

#include <gtest/gtest.h>

#include "IngestTestSupport.h"
#include "SvnRepoIngestSupport.h"

namespace {

using BranchIngestTest = RepoIngestTest;

// One history with every kind of directory that appears under /branches.
void MakeBranchHistory(SvnScratchRepo& repo) {
  std::string f = repo.source("int main() {}\n");
  ASSERT_TRUE(repo.mucc("mkdir trunk mkdir branches mkdir tags", "layout"));                        // r1
  ASSERT_TRUE(repo.mucc("mkdir trunk/sub put " + f + " trunk/a.c put " + f + " trunk/sub/s.c", "code"));  // r2
  ASSERT_TRUE(repo.mucc("cp 2 trunk branches/1.0", "make 1.0", "bob"));                            // r3
  ASSERT_TRUE(repo.mucc("cp 3 branches/1.0 branches/1.0-fix", "fix branch"));                       // r4
  ASSERT_TRUE(repo.mucc("cp 4 trunk/sub branches/sub", "branch of a folder"));                      // r5
  ASSERT_TRUE(repo.mucc("mkdir branches/plain", "no copy"));                                        // r6
  // The first added directory, "/aaa", is no branch, so the copy isn't seen.
  ASSERT_TRUE(repo.mucc("mkdir aaa cp 6 trunk branches/y", "two dirs"));                            // r7
}

TEST_F(BranchIngestTest, CopiesUnderBranchesBecomeBranchesWithTheirSources) {
  MakeBranchHistory(repo_);
  std::string log = ingest();

  auto trunk = branch("/trunk");
  ASSERT_TRUE(trunk);
  EXPECT_EQ(trunk->id, 0);
  EXPECT_EQ(trunk->parentId, -1);
  EXPECT_EQ(Str(trunk->number), "-1");
  EXPECT_EQ(Str(trunk->copyFromNumber), "-1");
  EXPECT_NE(trunk->timeStamp, 0u);

  auto release = branch("/branches/1.0");
  ASSERT_TRUE(release);
  EXPECT_EQ(release->id, 1);
  EXPECT_EQ(release->parentId, 0);
  EXPECT_EQ(Str(release->number), "3");
  EXPECT_EQ(Str(release->copyFromNumber), "2");
  EXPECT_EQ(Str(release->author), "bob");
  EXPECT_EQ(Str(release->comments), "make 1.0");
  EXPECT_NE(release->timeStamp, 0u);

  // A branch of a branch made in the same batch finds its source, since
  // parents are linked after all branches are stored.
  auto fix = branch("/branches/1.0-fix");
  ASSERT_TRUE(fix);
  EXPECT_EQ(fix->parentId, release->id);
  EXPECT_EQ(Str(fix->copyFromNumber), "3");

  // A folder of the trunk is no branch root: the trunk stays the parent.
  auto sub = branch("/branches/sub");
  ASSERT_TRUE(sub);
  EXPECT_EQ(sub->parentId, 0);
  EXPECT_NE(log.find("Unable to update branch parent ID for branch /branches/sub, parent branch is '/trunk/sub'"),
            std::string::npos)
      << log;

  // Without a copy source there is no branch, only the failed link.
  EXPECT_FALSE(branch("/branches/plain"));
  EXPECT_NE(log.find("Unable to update branch parent ID for branch /branches/plain, parent branch is ''"),
            std::string::npos);
  EXPECT_FALSE(branch("/branches/y"));
  EXPECT_EQ(cache_->nextBranchId, 4u);

  EXPECT_NE(log.find("Added branch (status=0): /trunk\n"), std::string::npos);
  EXPECT_NE(log.find("Added branch (status=0): /branches/1.0\n"), std::string::npos);
  EXPECT_EQ(log.find("Added branch (status=0): /branches/plain"), std::string::npos);
}

TEST_F(BranchIngestTest, DeletionsOfTheCreatingCommitAreExclusions) {
  REQUIRE_DUMP_TOOL();
  std::string f = repo_.source("text\n");
  ASSERT_TRUE(repo_.mucc("mkdir trunk mkdir branches", "layout"));
  ASSERT_TRUE(repo_.mucc("mkdir trunk/docs put " + f + " trunk/docs/d.txt put " + f + " trunk/keep.c put " + f +
                             " trunk/old.c",
                         "code"));
  ASSERT_TRUE(repo_.mucc("cp 2 trunk branches/b rm branches/b/docs rm branches/b/keep.c rm trunk/old.c", "cut"));
  // A later deletion in the branch is an ordinary change, no exclusion.
  ASSERT_TRUE(repo_.mucc("rm branches/b/old.c", "later"));
  std::string log = ingest();
  EXPECT_NE(log.find("Added 3 branch exclusions (status=0)"), std::string::npos) << log;

  auto b = branch("/branches/b");
  ASSERT_TRUE(b);
  DumpTables t = rows();
  auto excl = where(t, "branch_exclusion", "branch_id", std::to_string(b->id));
  ASSERT_EQ(excl.size(), 3u);
  EXPECT_EQ(count(t, "branch_exclusion"), 3u);
  std::map<std::string, std::string> byName;
  for (const DumpRow& r : excl) byName[r.at("name")] = r.at("type");
  // Inside the branch relative to it; outside it in full.
  EXPECT_EQ(byName["/docs"], "dir");
  EXPECT_EQ(byName["/keep.c"], "file");
  EXPECT_EQ(byName["/trunk/old.c"], "file");
}

TEST_F(BranchIngestTest, ASecondRunOverTheSameLogAddsNothing) {
  MakeBranchHistory(repo_);
  ASSERT_TRUE(repo_.mucc("cp 7 trunk branches/2.0 rm branches/2.0/sub", "with exclusion"));  // r8
  ingest();
  reopen();
  const uint32_t branches = cache_->nextBranchId;
  std::string again = ingest();
  EXPECT_EQ(again.find("Added branch"), std::string::npos) << again;
  EXPECT_EQ(again.find("branch exclusions"), std::string::npos);
  EXPECT_EQ(cache_->nextBranchId, branches);
  // The parent link is written again, to the same value.
  auto fix = branch("/branches/1.0-fix");
  ASSERT_TRUE(fix);
  EXPECT_EQ(fix->parentId, branchId("/branches/1.0"));
  reopen();
  EXPECT_EQ(cache_->nextBranchId, branches);

  if (!HaveDumpTool()) return;
  DumpTables t = rows();
  EXPECT_EQ(count(t, "branch"), branches);
  EXPECT_EQ(count(t, "branch_exclusion"), 1u);
}

TEST_F(BranchIngestTest, TheBranchesFolderItselfMadeByCopyIsABranch) {
  ASSERT_TRUE(repo_.mucc("mkdir trunk", "trunk"));
  ASSERT_TRUE(repo_.mucc("cp 1 trunk branches", "odd layout"));
  ingest();
  auto b = branch("/branches");
  ASSERT_TRUE(b);
  EXPECT_EQ(b->parentId, 0);
  EXPECT_EQ(Str(b->number), "2");
}

// Shapes the client doesn't write, for the rules that a real log can't reach.
TEST_F(BranchIngestTest, HandWrittenEntriesFollowTheSameRules) {
  const char* xml =
      "<?xml version=\"1.0\"?><log>"
      "<logentry revision=\" 5 \"><author>ann</author><date>2024-01-31T09:15:00.000000Z</date><paths>"
      "<path kind=\"dir\" action=\"A\" copyfrom-path=\"/trunk\">/branches/norev</path></paths><msg>m</msg></logentry>"
      "<logentry revision=\"6\"><paths>"
      "<path kind=\"dir\" action=\"A\" copyfrom-path=\"/trunk\" copyfrom-rev=\"5\">\n /branchesold \n</path></paths>"
      "</logentry>"
      "<logentry revision=\"7\"><paths>"
      "<path kind=\"dir\" action=\"A\" copyfrom-path=\"/trunk\" copyfrom-rev=\"5\">/Branches/upper</path></paths>"
      "</logentry>"
      "</log>";
  std::string path = repo_.file("hand.xml");
  WriteWholeFile(path, xml);
  int32_t result = -99;
  std::string log = CaptureStdout([&] { result = ParseSvnLog(cache_.get(), path.c_str(), passes_); });
  ASSERT_EQ(result, 0);
  EXPECT_FALSE(branch("/branches/norev"));
  EXPECT_FALSE(branch("/Branches/upper"));
  // A longer word still begins with "/branches"; the text is stripped, the
  // revision too.
  auto old = branch("/branchesold");
  ASSERT_TRUE(old);
  EXPECT_EQ(Str(old->number), "6");
  EXPECT_EQ(old->timeStamp, 0u);
  EXPECT_EQ(Str(old->author), "");
}

}  // namespace

namespace {

// The passes of a real run are these three: a parse with the default
// passes stores the same rows.
TEST_F(BranchIngestTest, DefaultPassesStoreRows) {
  std::string f = repo_.source("x\n");
  ASSERT_TRUE(repo_.mucc("mkdir trunk mkdir branches mkdir tags put " + f + " trunk/a.c", "start"));
  ASSERT_TRUE(repo_.mucc("cp 1 trunk branches/b", "branch"));
  ASSERT_TRUE(repo_.mucc("cp 2 branches/b tags/t", "tag"));
  std::string path = repo_.log("default.xml");
  int32_t result = -99;
  std::string log = CaptureStdout([&] { result = ParseSvnLog(cache_.get(), path.c_str()); });
  ASSERT_EQ(result, 0);
  ASSERT_TRUE(branch("/branches/b"));
  EXPECT_TRUE(file("/a.c"));
  EXPECT_EQ(cache_->nextRevisionId, 1u);
  EXPECT_EQ(cache_->nextLabelId, 1u);
  EXPECT_NE(log.find("Added label (status=0): /tags/t"), std::string::npos) << log;
}

}  // namespace
