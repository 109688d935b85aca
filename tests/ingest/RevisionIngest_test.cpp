// The revision pass on real repositories: file rows by their path below the
// branch, the branch a revision is given, cross references, and the commits
// that store nothing. ResolveBranchOfPath on its own, table-driven.
#include "ingest/RevisionIngest.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "IngestTestSupport.h"
#include "SvnRepoIngestSupport.h"
#include "text/TVArray.h"

namespace {

using RevisionIngestTest = RepoIngestTest;

TEST_F(RevisionIngestTest, PathsSplitIntoBranchAndSpec) {
  VCBranchInfo trunk;
  trunk.name = "/trunk";
  trunk.number = "-1";
  trunk.copyFromNumber = "-1";
  ASSERT_EQ(cache_->insertBranch(trunk), 0);
  for (const char* name : {"/branches/b", "/branches/team/b", "/tags/t"}) {
    VCBranchInfo b;
    b.parentId = trunk.id;
    b.name = name;
    b.number = "2";
    b.copyFromNumber = "1";
    ASSERT_EQ(cache_->insertBranch(b), 0) << name;
  }
  const int32_t bId = branchId("/branches/b");
  const int32_t tagId = branchId("/tags/t");

  struct Case {
    const char* path;
    int32_t branch;
    const char* fileSpec;
  } cases[] = {
      {"/trunk/a.c", trunk.id, "/a.c"},
      {"/trunk/src/deep/a.c", trunk.id, "/src/deep/a.c"},
      {"/branches/b/x/a.c", bId, "/x/a.c"},
      {"/branches/b", bId, ""},
      // Only two levels are tried: "/branches/team" is what is looked up.
      {"/branches/team/b/a.c", -1, "/b/a.c"},
      {"/tags/t/a.c", tagId, "/a.c"},
      {"/tags/other/a.c", -1, "/a.c"},
      {"/trunk", -1, "/trunk"},
      {"/a.c", -1, "/a.c"},
      {"trunk/a.c", -1, "trunk/a.c"},
      {"/Trunk/a.c", -1, ""},
      // The pieces name the branch and the length of its name cuts the
      // path, whatever stands before the first "/".
      {"x/trunk/a.c", trunk.id, "k/a.c"},
      {"/branches/b/", bId, "/"},
      {"//a.c", -1, ""},
      {"", -1, ""},
  };
  for (const Case& c : cases) {
    int32_t branchId = 99;
    tolvane::TVString fileSpec("stale");
    ResolveBranchOfPath(cache_.get(), tolvane::TVString(c.path), branchId, fileSpec);
    EXPECT_EQ(branchId, c.branch) << c.path;
    EXPECT_EQ(Str(fileSpec), c.fileSpec) << c.path;
  }
}

// The rule in its plain wording, split and joined, against the pass's own
// reading of the path, over paths of every shape the pieces can take.
void ReferenceResolve(VCDataLayer* cache, const tolvane::TVString& path, int32_t& branchId,
                      tolvane::TVString& fileSpec) {
  branchId = -1;
  fileSpec = path;
  tolvane::TVArray pieces;
  path.split('/', pieces);
  if (pieces.count() < 3) return;
  tolvane::TVString name("/");
  name += pieces[1];
  if (!(name == "/trunk")) {
    name += '/';
    name += pieces[2];
  }
  fileSpec = path.tail(name.length());
  std::unique_ptr<VCBranchInfo> branch(cache->getBranchByName(name));
  if (branch) branchId = branch->id;
}

TEST_F(RevisionIngestTest, PathsSplitAsTheRuleSays) {
  for (const char* name : {"/trunk", "/branches/b", "/tags/t", "//x", "/trunk/"}) {
    VCBranchInfo b;
    b.name = name;
    b.number = "1";
    b.copyFromNumber = "1";
    ASSERT_EQ(cache_->insertBranch(b), 0) << name;
  }
  const char* parts[] = {"", "trunk", "branches", "b", "tags", "t", "x", "a.c", "Trunk", " "};
  std::vector<std::string> paths;
  for (const char* a : parts)
    for (const char* b : parts)
      for (const char* c : parts) {
        paths.push_back(std::string(a) + "/" + b + "/" + c);
        paths.push_back("/" + std::string(a) + "/" + b + "/" + c);
        paths.push_back(std::string(a) + "/" + b + c);
        paths.push_back(std::string(a) + b + "/" + c + "/");
      }
  for (const std::string& p : paths) {
    int32_t got = 99, want = 98;
    tolvane::TVString gotSpec("stale"), wantSpec("old");
    ResolveBranchOfPath(cache_.get(), tolvane::TVString(p.c_str()), got, gotSpec);
    ReferenceResolve(cache_.get(), tolvane::TVString(p.c_str()), want, wantSpec);
    EXPECT_EQ(got, want) << "\"" << p << "\"";
    EXPECT_EQ(Str(gotSpec), Str(wantSpec)) << "\"" << p << "\"";
    EXPECT_EQ(gotSpec.isNull(), wantSpec.isNull()) << "\"" << p << "\"";
  }
}

// r2 trunk files; r3 branch; r4 one change in the branch and the trunk;
// r5 a top-level file; r6 a deletion only; r7 a file copy only; r8 a tag
// folder's file first, then a trunk file.
void MakeRevisionHistory(SvnScratchRepo& repo) {
  std::string v1 = repo.source("one\n");
  std::string v2 = repo.source("two\n");
  ASSERT_TRUE(repo.mucc("mkdir trunk mkdir branches mkdir tags", "layout"));
  ASSERT_TRUE(repo.mucc("put " + v1 + " trunk/a.c put " + v1 + " trunk/b.c", "first code", "carl"));
  ASSERT_TRUE(repo.mucc("cp 2 trunk branches/b", "branch"));
  ASSERT_TRUE(repo.mucc("put " + v2 + " branches/b/a.c put " + v2 + " trunk/a.c", "both sides"));
  ASSERT_TRUE(repo.mucc("put " + v1 + " README", "top"));
  ASSERT_TRUE(repo.mucc("rm trunk/b.c", "gone"));
  ASSERT_TRUE(repo.mucc("cp 6 trunk/a.c trunk/c.c", "copied file"));
  ASSERT_TRUE(repo.mucc("mkdir tags/x put " + v1 + " tags/x/f.c put " + v1 + " trunk/g.c", "mixed"));
}

TEST_F(RevisionIngestTest, FilesRevisionsAndCrossReferences) {
  MakeRevisionHistory(repo_);
  std::string log = ingest();
  const int32_t bId = branchId("/branches/b");

  // One row per path below the branch; copies and deletions make none.
  for (const char* name : {"/a.c", "/b.c", "/README", "/f.c", "/g.c"}) EXPECT_TRUE(file(name)) << name;
  for (const char* name : {"/c.c", "/trunk/a.c", "/branches/b/a.c", "/x/f.c"}) EXPECT_FALSE(file(name)) << name;
  EXPECT_EQ(cache_->nextFileId, 5u);
  // Revisions 2, 4 and 8 lie in known branches; 5 (top level), 6 (deletion)
  // and 7 (file copy) don't store one.
  EXPECT_EQ(cache_->nextRevisionId, 3u);
  EXPECT_NE(log.find("Added file (status=0): /README\n"), std::string::npos) << log;
  EXPECT_NE(log.find("Added revision (status=0): 8\n"), std::string::npos);
  EXPECT_EQ(log.find("Added revision (status=0): 5\n"), std::string::npos);

  REQUIRE_DUMP_TOOL();
  const std::string a = std::to_string(fileId("/a.c"));
  const std::string f = std::to_string(fileId("/f.c"));
  const std::string g = std::to_string(fileId("/g.c"));
  DumpTables t = rows();
  ASSERT_EQ(count(t, "revision"), 3u);
  auto r2 = where(t, "revision", "revision_number", "2");
  ASSERT_EQ(r2.size(), 1u);
  EXPECT_EQ(r2[0]["parent_branch_id"], "0");
  EXPECT_EQ(r2[0]["revision_author"], "carl");
  EXPECT_EQ(r2[0]["revision_comments"], "first code");
  // The branch's path comes first in the log, so it decides for the commit.
  auto r4 = where(t, "revision", "revision_number", "4");
  ASSERT_EQ(r4.size(), 1u);
  EXPECT_EQ(r4[0]["parent_branch_id"], std::to_string(bId));
  auto r8 = where(t, "revision", "revision_number", "8");
  ASSERT_EQ(r8.size(), 1u);
  EXPECT_EQ(r8[0]["parent_branch_id"], "0");

  auto x4 = where(t, "file_revision_xref", "revision_id", r4[0]["revision_id"]);
  ASSERT_EQ(x4.size(), 2u);  // both sides of the change are "/a.c"
  for (const DumpRow& x : x4) {
    EXPECT_EQ(x.at("file_id"), a);
    EXPECT_EQ(x.at("revision_number"), "4");
  }
  std::multiset<std::string> files8;
  for (const DumpRow& x : where(t, "file_revision_xref", "revision_id", r8[0]["revision_id"]))
    files8.insert(x.at("file_id"));
  EXPECT_EQ(files8, (std::multiset<std::string>{f, g}));
  EXPECT_EQ(count(t, "file_revision_xref"), 6u);
}

TEST_F(RevisionIngestTest, RepeatedAndOverlappingRunsAddOnlyNewCommits) {
  MakeRevisionHistory(repo_);
  ingest();
  const uint32_t files = cache_->nextFileId;
  const uint32_t revisions = cache_->nextRevisionId;
  std::string again = ingest();
  EXPECT_EQ(again.find("Added"), std::string::npos) << again;
  EXPECT_EQ(cache_->nextFileId, files);
  EXPECT_EQ(cache_->nextRevisionId, revisions);

  // New work, asked for with an overlap as a later run does.
  std::string v = repo_.source("three\n");
  ASSERT_TRUE(repo_.mucc("put " + v + " branches/b/new.c put " + v + " branches/b/a.c", "more"));  // r9
  std::string later = ingest(4);
  EXPECT_NE(later.find("Added file (status=0): /new.c\n"), std::string::npos) << later;
  EXPECT_NE(later.find("Added revision (status=0): 9\n"), std::string::npos);
  EXPECT_EQ(later.find("Added revision (status=0): 4\n"), std::string::npos);
  reopen();
  EXPECT_EQ(cache_->nextFileId, files + 1);
  EXPECT_EQ(cache_->nextRevisionId, revisions + 1);

  REQUIRE_DUMP_TOOL();
  DumpTables t = rows();
  EXPECT_EQ(count(t, "revision"), revisions + 1);
  EXPECT_EQ(count(t, "file_revision_xref"), 8u);
}

}  // namespace

namespace {

// The same rules for a commit made from a working copy: added and changed
// files on both sides and a deletion in one commit.
TEST_F(RevisionIngestTest, WorkingCopyCommitAcrossTrunkAndBranch) {
  ASSERT_TRUE(repo_.mucc("mkdir trunk mkdir branches", "layout"));  // r1
  ASSERT_TRUE(repo_.update());
  repo_.write("trunk/x.c", "x\n");
  repo_.write("trunk/gone.c", "g\n");
  ASSERT_TRUE(repo_.svn("add trunk/x.c trunk/gone.c"));
  ASSERT_TRUE(repo_.commit("files"));  // r2
  ASSERT_TRUE(repo_.svn("copy trunk branches/w"));
  ASSERT_TRUE(repo_.commit("branch"));  // r3
  repo_.write("trunk/x.c", "x2\n");
  repo_.write("branches/w/x.c", "x3\n");
  repo_.write("branches/w/y.c", "y\n");
  ASSERT_TRUE(repo_.svn("add branches/w/y.c"));
  ASSERT_TRUE(repo_.svn("rm trunk/gone.c"));
  ASSERT_TRUE(repo_.commit("both", "eve"));  // r4
  ingest();

  const int32_t w = branchId("/branches/w");
  ASSERT_GE(w, 1);
  EXPECT_GE(fileId("/x.c"), 0);
  EXPECT_GE(fileId("/y.c"), 0);
  EXPECT_GE(fileId("/gone.c"), 0);  // from r2
  EXPECT_EQ(cache_->nextFileId, 3u);
  EXPECT_EQ(cache_->nextRevisionId, 2u);  // r2 and r4

  REQUIRE_DUMP_TOOL();
  const std::string x = std::to_string(fileId("/x.c"));
  const std::string y = std::to_string(fileId("/y.c"));
  DumpTables t = rows();
  auto r4 = where(t, "revision", "revision_number", "4");
  ASSERT_EQ(r4.size(), 1u);
  EXPECT_EQ(r4[0]["parent_branch_id"], std::to_string(w));
  EXPECT_EQ(r4[0]["revision_author"], "eve");
  std::multiset<std::string> files;
  for (const DumpRow& r : where(t, "file_revision_xref", "revision_id", r4[0]["revision_id"]))
    files.insert(r.at("file_id"));
  // "/branches/w/x.c", "/branches/w/y.c", "/trunk/x.c"; the deletion has none.
  EXPECT_EQ(files, (std::multiset<std::string>{x, y, x}));
}

}  // namespace

namespace {

// The cache is the pass's only memory: the history ingested as one document
// and the same history ingested one revision per document give the same rows. Files recur
// in many commits, in the trunk and in a branch, and under a tag folder
// that is no branch.
TEST_F(RevisionIngestTest, OneDocumentStoresWhatOneDocumentPerRevisionStores) {
  std::string v[4];
  for (int i = 0; i < 4; ++i) v[i] = repo_.source("v" + std::to_string(i) + "\n");
  ASSERT_TRUE(repo_.mucc("mkdir trunk mkdir branches mkdir tags", "layout"));                    // r1
  ASSERT_TRUE(repo_.mucc("put " + v[0] + " trunk/a.c put " + v[0] + " trunk/b.c", "code"));       // r2
  ASSERT_TRUE(repo_.mucc("cp 2 trunk branches/b", "branch"));                                     // r3
  ASSERT_TRUE(repo_.mucc("mkdir tags/x put " + v[1] + " tags/x/a.c", "tag folder"));             // r4
  int head = 4;
  for (int i = 0; i < 6; ++i, ++head) {
    const std::string& text = v[i % 4];
    std::string actions = i % 2 ? "put " + text + " branches/b/a.c put " + text + " trunk/a.c"
                                : "put " + text + " tags/x/a.c put " + text + " trunk/b.c put " + text +
                                      " branches/b/c" + std::to_string(i) + ".c";
    ASSERT_TRUE(repo_.mucc(actions, "change " + std::to_string(i)));
  }

  ingest();
  REQUIRE_DUMP_TOOL();
  DumpTables whole = rows();

  // The same history, one document per revision, into a second cache.
  std::string otherFile = repo_.file("per-revision.db");
  {
    VCDataLayer other(tolvane::TVString(repo_.url().c_str()), tolvane::TVString(otherFile.c_str()), 1);
    ASSERT_EQ(other.open(), 0);
    for (int r = 1; r <= head; ++r) {
      std::string log = repo_.file("rev-" + std::to_string(r) + ".xml");
      std::string command = "svn log --non-interactive --xml -v -r " + std::to_string(r) + ":" +
                            std::to_string(r) + " '" + repo_.url() + "' > '" + log + "' 2>/dev/null";
      ASSERT_EQ(std::system(command.c_str()), 0);
      CaptureStdout([&] { EXPECT_EQ(ParseSvnLog(&other, log.c_str(), passes_), 0); });
    }
  }
  DumpTables perRevision;
  ASSERT_TRUE(DumpCache(otherFile, repo_.file("per-revision.json"), perRevision));

  // Stamps of the moment of storing differ; everything else is the same.
  for (DumpTables* t : {&whole, &perRevision}) {
    for (DumpRow& r : (*t)["file"]) r.erase("last_update_time");
    for (DumpRow& r : (*t)["branch"])
      if (r["branch_name"] == "/trunk") r.erase("branch_time_stamp");
  }
  EXPECT_EQ(count(whole, "file"), 5u);  // /a.c, /b.c and three /cN.c
  EXPECT_GE(count(whole, "file_revision_xref"), 16u);
  for (const char* table : {"file", "revision", "branch", "file_revision_xref", "label", "branch_exclusion"})
    EXPECT_EQ(whole[table], perRevision[table]) << table;
}

}  // namespace
