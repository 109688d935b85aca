// The writers and lookups of the cache session: each insert's duplicate
// rule (a repeat returns -1 with the stored row's id, the counter stays),
// the trunk, texts cut to their field length, exclusions, cross references,
// parent links and the counters across sessions.
#include <string>

#include "VcacheTestSupport.h"
#include "database/btDatabase.h"
#include "database/btTableInfo.h"
#include "vcache/VCSchema.h"

using namespace vctest;

namespace {

// Rows of a table, read with the engine after the session closed.
uint32_t RowCount(const std::string& file, const char* table) {
  btDatabase db;
  EXPECT_EQ(db.openDatabase(file.c_str(), VC_CACHE_BYTES, 1, 0, 1), 0);
  btTableInfo* t = db.getTable(table);
  return t ? t->hdr.recordCount : 0xFFFFFFFFu;
}

TEST(CacheWriters, RepeatedBranchReturnsTheStoredId) {
  ScratchDir dir;
  std::string file = dir.file("cache.db");
  {
    auto cache = OpenCache(file);
    VCBranchInfo trunk = MakeBranch("/trunk", "-1", -1);
    ASSERT_EQ(cache->insertBranch(trunk), VC_INSERT_NEW);
    EXPECT_EQ(trunk.id, 0);
    VCBranchInfo first = MakeBranch("/branches/feature", "12");
    ASSERT_EQ(cache->insertBranch(first), VC_INSERT_NEW);
    EXPECT_EQ(first.id, 1);
    EXPECT_EQ(cache->nextBranchId, 2u);

    VCBranchInfo again = MakeBranch("/branches/feature", "99");
    EXPECT_EQ(cache->insertBranch(again), VC_INSERT_EXISTS);
    EXPECT_EQ(again.id, 1);
    EXPECT_EQ(cache->nextBranchId, 2u);

    std::unique_ptr<VCBranchInfo> found(cache->getBranchByName("/branches/feature"));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->id, 1);
    EXPECT_EQ(found->parentId, 0);
    EXPECT_EQ(found->number, "12");
    EXPECT_EQ(found->copyFromNumber, "1");
    EXPECT_EQ(found->timeStamp, first.timeStamp);
    EXPECT_EQ(found->author, "alice");
    EXPECT_EQ(found->comments, "made a branch");
    EXPECT_EQ(cache->getBranchByName("/branches/none"), nullptr);
  }
  EXPECT_EQ(RowCount(file, "branch"), 2u);

  // Next run: the trunk is refused by its key and found again.
  auto cache = OpenCache(file);
  VCBranchInfo trunk = MakeBranch("/trunk", "-1", -1);
  EXPECT_EQ(cache->insertBranch(trunk), VC_INSERT_EXISTS);
  EXPECT_EQ(trunk.id, 0);
  std::unique_ptr<VCBranchInfo> stored(cache->getBranchByName("/trunk"));
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->parentId, -1);  // stored as 0xFFFFFFFF
}

TEST(CacheWriters, LabelsRevisionsAndFilesFollowTheSameRule) {
  ScratchDir dir;
  auto cache = OpenCache(dir.file("cache.db"));

  VCLabelInfo label;
  label.parentId = 0;
  label.name = "/tags/1.0";
  label.number = "20";
  label.copyFromNumber = "19";
  ASSERT_EQ(cache->insertLabel(label), VC_INSERT_NEW);
  VCLabelInfo labelAgain = label;
  labelAgain.id = -1;
  EXPECT_EQ(cache->insertLabel(labelAgain), VC_INSERT_EXISTS);
  EXPECT_EQ(labelAgain.id, label.id);
  EXPECT_EQ(cache->nextLabelId, 1u);

  VCRevisionInfo revision;
  revision.parentId = 0;
  revision.number = revision.name = "21";
  revision.author = "bob";
  ASSERT_EQ(cache->insertRevision(revision), VC_INSERT_NEW);
  VCRevisionInfo other;
  other.number = other.name = "22";
  ASSERT_EQ(cache->insertRevision(other), VC_INSERT_NEW);
  EXPECT_EQ(other.id, 1);
  VCRevisionInfo repeat;
  repeat.number = repeat.name = "21";
  EXPECT_EQ(cache->insertRevision(repeat), VC_INSERT_EXISTS);
  EXPECT_EQ(repeat.id, revision.id);
  EXPECT_EQ(cache->nextRevisionId, 2u);

  VCFileInfo file;
  file.spec = "/src/main.c";
  file.lastUpdateTime = 1;
  ASSERT_EQ(cache->insertFile(file), VC_INSERT_NEW);
  EXPECT_GT(file.lastUpdateTime, 1u);  // the time of the insert
  VCFileInfo fileAgain;
  fileAgain.spec = "/src/main.c";
  EXPECT_EQ(cache->insertFile(fileAgain), VC_INSERT_EXISTS);
  EXPECT_EQ(fileAgain.id, file.id);
  EXPECT_EQ(cache->nextFileId, 1u);
  std::unique_ptr<VCFileInfo> found(cache->getFileBySpec("/src/main.c"));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->id, file.id);
  EXPECT_EQ(found->lastUpdateTime, file.lastUpdateTime);
  EXPECT_EQ(cache->getFileBySpec("/src/other.c"), nullptr);
}

// Names are cut to 1000 bytes on the way in, in the lookup's key too: two
// names that agree in their first 1000 bytes are one row.
TEST(CacheWriters, LongNamesAreCutAndCountAsOne) {
  ScratchDir dir;
  auto cache = OpenCache(dir.file("cache.db"));
  std::string stem = "/branches/" + std::string(1200, 'x');
  VCBranchInfo a = MakeBranch((stem + "A").c_str(), "5");
  VCBranchInfo b = MakeBranch((stem + "B").c_str(), "6");
  a.comments = std::string(6000, 'c').c_str();
  ASSERT_EQ(cache->insertBranch(a), VC_INSERT_NEW);
  EXPECT_EQ(cache->insertBranch(b), VC_INSERT_EXISTS);
  EXPECT_EQ(b.id, a.id);
  std::unique_ptr<VCBranchInfo> found(cache->getBranchByName((stem + "C").c_str()));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->name.length(), 1000);
  EXPECT_EQ(found->comments.length(), 5000);
}

// A key violation whose name can't be found (the id was taken by a row the
// counter didn't know of) leaves the id at -1 and says so in the log.
TEST(CacheWriters, KeyViolationWithoutAStoredNameIsLogged) {
  ScratchDir dir;
  auto cache = OpenCache(dir.file("cache.db"));
  VCBranchInfo first = MakeBranch("/branches/a", "3");
  ASSERT_EQ(cache->insertBranch(first), VC_INSERT_NEW);
  cache->nextBranchId = 0;  // as if the counter had come out too low
  VCBranchInfo second = MakeBranch("/branches/b", "4");
  int32_t status = 0;
  std::string log = CaptureLog([&] { status = cache->insertBranch(second); });
  EXPECT_EQ(status, VC_INSERT_EXISTS);
  EXPECT_EQ(second.id, -1);
  EXPECT_NE(log.find("Key violation inserting branch /branches/b : error -3901\n"), std::string::npos) << log;
  // The trunk is the one name that falls back to id 0 without a message.
  VCBranchInfo trunk = MakeBranch("/trunk", "-1", -1);
  log = CaptureLog([&] { status = cache->insertBranch(trunk); });
  EXPECT_EQ(status, VC_INSERT_EXISTS);
  EXPECT_EQ(trunk.id, 0);
  EXPECT_EQ(log, "");
}

TEST(CacheWriters, ExclusionsAreStoredAndTheArrayIsEmptied) {
  ScratchDir dir;
  std::string file = dir.file("cache.db");
  VCExclusionInfo dirRow{1, "dir", "/docs"};
  VCExclusionInfo fileRow{1, "file", "/README"};
  {
    auto cache = OpenCache(file);
    cmArray<VCExclusionInfo*> none;
    EXPECT_EQ(cache->insertBranchExclusions(none), 0);
    EXPECT_EQ(none.size(), 0);

    cmArray<VCExclusionInfo*> rows;
    rows.append(&dirRow);
    rows.append(&fileRow);
    EXPECT_EQ(cache->insertBranchExclusions(rows), 0);
    EXPECT_EQ(rows.size(), 0);
    cmArray<VCExclusionInfo*> labelRows;
    labelRows.append(&dirRow);
    EXPECT_EQ(cache->insertLabelExclusions(labelRows), 0);
    // The same rows again: duplicates of the id are allowed, and the
    // elements still belong to the caller.
    rows.append(&dirRow);
    EXPECT_EQ(cache->insertBranchExclusions(rows), 0);
    EXPECT_EQ(dirRow.name, "/docs");
  }
  EXPECT_EQ(RowCount(file, "branch_exclusion"), 3u);
  EXPECT_EQ(RowCount(file, "label_exclusion"), 1u);
}

TEST(CacheWriters, CrossReferencesAllowTheSamePairTwice) {
  ScratchDir dir;
  std::string file = dir.file("cache.db");
  {
    auto cache = OpenCache(file);
    EXPECT_EQ(cache->insertFileRevisionXref(3, 4, "40"), 0);
    EXPECT_EQ(cache->insertFileRevisionXref(3, 5, "41"), 0);
    EXPECT_EQ(cache->insertFileRevisionXref(3, 4, "40"), 0);
  }
  EXPECT_EQ(RowCount(file, "file_revision_xref"), 3u);
}

TEST(CacheWriters, SetBranchParentSurvivesReopen) {
  ScratchDir dir;
  std::string file = dir.file("cache.db");
  {
    auto cache = OpenCache(file);
    VCBranchInfo trunk = MakeBranch("/trunk", "-1", -1);
    VCBranchInfo a = MakeBranch("/branches/a", "3");
    VCBranchInfo b = MakeBranch("/branches/b", "4");
    ASSERT_EQ(cache->insertBranch(trunk), 0);
    ASSERT_EQ(cache->insertBranch(a), 0);
    ASSERT_EQ(cache->insertBranch(b), 0);
    EXPECT_EQ(cache->setBranchParent(b.id, a.id), 0);
    EXPECT_LT(cache->setBranchParent(77, a.id), 0);
  }
  auto cache = OpenCache(file);
  std::unique_ptr<VCBranchInfo> b(cache->getBranchByName("/branches/b"));
  ASSERT_TRUE(b);
  EXPECT_EQ(b->parentId, 1);
  EXPECT_EQ(b->number, "4");
}

// The id-only lookups answer as the row lookups do: the same row by the
// same key (cut to the field's length), and nothing for a missing one.
TEST(CacheWriters, IdLookupsAgreeWithRowLookups) {
  ScratchDir dir;
  auto cache = OpenCache(dir.file("cache.db"));
  VCBranchInfo trunk = MakeBranch("/trunk", "-1", -1);
  ASSERT_EQ(cache->insertBranch(trunk), 0);
  std::string stem = "/branches/" + std::string(1200, 'y');
  VCBranchInfo longName = MakeBranch((stem + "A").c_str(), "5");
  ASSERT_EQ(cache->insertBranch(longName), 0);
  for (int i = 0; i < 3; ++i) {
    VCFileInfo f;
    f.spec = ("/src/f" + std::to_string(i) + ".c").c_str();
    ASSERT_EQ(cache->insertFile(f), 0);
  }
  VCFileInfo longSpec;
  longSpec.spec = ("/" + std::string(1100, 'z') + "1").c_str();
  ASSERT_EQ(cache->insertFile(longSpec), 0);

  const char* names[] = {"/trunk", "/branches/none", "", "/Trunk"};
  for (const char* name : names) {
    std::unique_ptr<VCBranchInfo> row(cache->getBranchByName(name));
    int32_t id = 99;
    EXPECT_EQ(cache->findBranchId(name, id), row != nullptr) << name;
    EXPECT_EQ(id, row ? row->id : 99) << name;
  }
  int32_t id = -5;
  EXPECT_TRUE(cache->findBranchId((stem + "B").c_str(), id));
  EXPECT_EQ(id, longName.id);

  const char* paths[] = {"/src/f0.c", "/src/f2.c", "/src/f3.c", "/SRC/f0.c", ""};
  for (const char* path : paths) {
    std::unique_ptr<VCFileInfo> row(cache->getFileBySpec(path));
    int32_t fileId = 99;
    EXPECT_EQ(cache->findFileId(path, fileId), row != nullptr) << path;
    EXPECT_EQ(fileId, row ? row->id : 99) << path;
  }
  EXPECT_TRUE(cache->findFileId(("/" + std::string(1100, 'z') + "2").c_str(), id));
  EXPECT_EQ(id, longSpec.id);
}

TEST(CacheWriters, WritersOnAClosedSessionFailQuietly) {
  VCDataLayer cache(kUrl, "never-opened.db", kVersion);
  VCBranchInfo b = MakeBranch("/branches/a", "1");
  EXPECT_EQ(cache.insertBranch(b), VC_INSERT_FAILED);
  VCFileInfo f;
  f.spec = "/x";
  EXPECT_EQ(cache.insertFile(f), VC_INSERT_FAILED);
  EXPECT_EQ(cache.insertFileRevisionXref(0, 0, "1"), -1);
  EXPECT_EQ(cache.getBranchByName("/branches/a"), nullptr);
  EXPECT_EQ(cache.getFileBySpec("/x"), nullptr);
  int32_t id = 7;
  EXPECT_FALSE(cache.findBranchId("/branches/a", id));
  EXPECT_FALSE(cache.findFileId("/x", id));
  EXPECT_EQ(id, 7);
  EXPECT_FALSE(std::filesystem::exists("never-opened.db"));
}

TEST(CacheWriters, CountersContinueFromTheHighestStoredIds) {
  ScratchDir dir;
  std::string file = dir.file("cache.db");
  {
    auto cache = OpenCache(file);
    for (int i = 0; i < 5; ++i) {
      VCFileInfo f;
      f.spec = ("/src/file" + std::to_string(i) + ".c").c_str();
      ASSERT_EQ(cache->insertFile(f), 0);
      EXPECT_EQ(f.id, i);
    }
    VCBranchInfo trunk = MakeBranch("/trunk", "-1", -1);
    VCBranchInfo b = MakeBranch("/branches/b1", "10");
    ASSERT_EQ(cache->insertBranch(trunk), 0);
    ASSERT_EQ(cache->insertBranch(b), 0);
    VCRevisionInfo r;
    r.name = r.number = "11";
    ASSERT_EQ(cache->insertRevision(r), 0);
  }
  for (int run = 0; run < 2; ++run) {
    auto cache = OpenCache(file);
    EXPECT_EQ(cache->nextFileId, 5u + run);
    EXPECT_EQ(cache->nextBranchId, 2u);
    EXPECT_EQ(cache->nextRevisionId, 1u);
    EXPECT_EQ(cache->nextLabelId, 0u);
    VCFileInfo f;
    f.spec = ("/later" + std::to_string(run)).c_str();
    EXPECT_EQ(cache->insertFile(f), 0);
    EXPECT_EQ(f.id, 5 + run);
  }
}

}  // namespace
