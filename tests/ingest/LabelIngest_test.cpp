// The label pass on real repositories: tags of the trunk and of a branch
// become labels with that parent and their exclusions; tags of a folder or
// of another tag, and plain folders, don't; a repeat adds nothing.
#include "ingest/LabelIngest.h"

#include <gtest/gtest.h>

#include "IngestTestSupport.h"
#include "SvnRepoIngestSupport.h"

namespace {

using LabelIngestTest = RepoIngestTest;

void MakeLabelHistory(SvnScratchRepo& repo) {
  std::string f = repo.source("code\n");
  ASSERT_TRUE(repo.mucc("mkdir trunk mkdir branches mkdir tags", "layout"));                          // r1
  ASSERT_TRUE(repo.mucc("mkdir trunk/sub put " + f + " trunk/a.c put " + f + " trunk/sub/s.c", "code"));  // r2
  ASSERT_TRUE(repo.mucc("cp 2 trunk branches/b", "branch"));                                         // r3
  ASSERT_TRUE(repo.mucc("cp 3 trunk tags/1.0", "release", "dora"));                                  // r4
  ASSERT_TRUE(repo.mucc("cp 4 branches/b tags/b-1 rm tags/b-1/sub", "branch release"));              // r5
  ASSERT_TRUE(repo.mucc("cp 5 trunk/sub tags/x", "tag of a folder"));                                // r6
  ASSERT_TRUE(repo.mucc("cp 6 tags/1.0 tags/1.0-again", "tag of a tag"));                            // r7
  // Sorted, "/branches/z" is the first added directory: a branch, no label.
  ASSERT_TRUE(repo.mucc("cp 7 trunk branches/z cp 7 trunk tags/z", "both"));                        // r8
  ASSERT_TRUE(repo.mucc("mkdir tags/plain", "no copy"));                                             // r9
}

TEST_F(LabelIngestTest, TagsOfBranchRootsBecomeLabels) {
  MakeLabelHistory(repo_);
  std::string log = ingest();
  EXPECT_NE(log.find("Added label (status=0): /tags/1.0\n"), std::string::npos) << log;
  EXPECT_NE(log.find("Added label (status=0): /tags/b-1\n"), std::string::npos);
  EXPECT_NE(log.find("Added 1 label exclusions (status=0)"), std::string::npos);
  EXPECT_EQ(cache_->nextLabelId, 2u);
  EXPECT_TRUE(branch("/branches/z"));
  EXPECT_FALSE(branch("/tags/z"));
  const int32_t bId = branchId("/branches/b");

  REQUIRE_DUMP_TOOL();
  DumpTables t = rows();
  ASSERT_EQ(count(t, "label"), 2u);
  auto release = where(t, "label", "label_name", "/tags/1.0");
  ASSERT_EQ(release.size(), 1u);
  EXPECT_EQ(release[0]["parent_branch_id"], "0");
  EXPECT_EQ(release[0]["label_number"], "4");
  EXPECT_EQ(release[0]["label_copy_from_number"], "3");
  EXPECT_EQ(release[0]["label_author"], "dora");
  EXPECT_EQ(release[0]["label_comments"], "release");
  auto b1 = where(t, "label", "label_name", "/tags/b-1");
  ASSERT_EQ(b1.size(), 1u);
  EXPECT_EQ(b1[0]["parent_branch_id"], std::to_string(bId));
  for (const char* none : {"/tags/x", "/tags/1.0-again", "/tags/z", "/tags/plain"})
    EXPECT_TRUE(where(t, "label", "label_name", none).empty()) << none;

  auto excl = where(t, "label_exclusion", "label_id", b1[0]["label_id"]);
  ASSERT_EQ(excl.size(), 1u);
  EXPECT_EQ(excl[0]["name"], "/sub");
  EXPECT_EQ(excl[0]["type"], "dir");
  EXPECT_EQ(count(t, "label_exclusion"), 1u);
}

TEST_F(LabelIngestTest, ARepeatedRunAddsNoLabelOrExclusion) {
  MakeLabelHistory(repo_);
  ingest();
  reopen();
  const uint32_t labels = cache_->nextLabelId;
  std::string again = ingest();
  EXPECT_EQ(again.find("Added label"), std::string::npos) << again;
  EXPECT_EQ(again.find("label exclusions"), std::string::npos);
  reopen();
  EXPECT_EQ(cache_->nextLabelId, labels);

  REQUIRE_DUMP_TOOL();
  DumpTables t = rows();
  EXPECT_EQ(count(t, "label"), labels);
  EXPECT_EQ(count(t, "label_exclusion"), 1u);
}

}  // namespace
