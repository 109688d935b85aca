// The reader program revhoard-dump, run as a process on small caches: its
// text and JSON forms, and one line on standard error with a non-zero exit
// for each kind of file it refuses.
#include <algorithm>
#include <cstdlib>

#include "VcacheTestSupport.h"
#include "database/btDatabase.h"
#include "vcache/VCSchema.h"

using namespace vctest;

namespace {

struct ToolRun {
  int exitCode = -1;
  std::string out, err;
};

ToolRun RunDump(const ScratchDir& dir, const std::string& arguments) {
  std::string out = dir.file("dump.out"), err = dir.file("dump.err");
  std::string command = std::string(RH_BINARY_DIR) + "/revhoard-dump " + arguments + " >" + out + " 2>" + err;
  int status = std::system(command.c_str());
  ToolRun run;
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  run.out = ReadWholeFile(out);
  run.err = ReadWholeFile(err);
  return run;
}

// 2023-12-25T17:46:40Z
constexpr cmDateStamp kChristmas = 133480000000000000ull;

std::string MakeSmallCache(const ScratchDir& dir) {
  std::string file = dir.file("cache.db");
  auto cache = OpenCache(file);
  EXPECT_EQ(cache->setLastUpdateTime(kChristmas), 0);
  return file;
}

// Empty tables in creation order, after the repository.
std::string EmptyTablesText() {
  std::string text;
  for (uint32_t t = 1; t < VC_TABLE_COUNT; ++t) text += std::string("table ") + vcSchemaTables()[t].name + " (0 rows)\n";
  return text;
}

TEST(CacheDumpTool, TextListsEveryTableWithItsFieldNames) {
  ScratchDir dir;
  std::string file = MakeSmallCache(dir);
  ToolRun run = RunDump(dir, file);
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out, std::string("table repository (1 row)\n"
                                 "  row 0\n"
                                 "    path: ") +
                         kUrl +
                         "\n"
                         "    last_update_time: 2023-12-25T17:46:40Z\n"
                         "    db_version: 7\n" +
                         EmptyTablesText());
}

TEST(CacheDumpTool, JsonHasOneKeyPerTableAndStampsAsIsoText) {
  ScratchDir dir;
  std::string file = MakeSmallCache(dir);
  ToolRun run = RunDump(dir, file + " --json");
  EXPECT_EQ(run.exitCode, 0) << run.err;
  std::string expected = std::string("{\n  \"repository\": [\n    {\"path\": \"") + kUrl +
                         "\", \"last_update_time\": \"2023-12-25T17:46:40Z\", \"db_version\": 7}\n  ]";
  for (uint32_t t = 1; t < VC_TABLE_COUNT; ++t) expected += std::string(",\n  \"") + vcSchemaTables()[t].name + "\": []";
  expected += "\n}\n";
  EXPECT_EQ(run.out, expected);
  // The option may stand in front of the file as well.
  EXPECT_EQ(RunDump(dir, "--json " + file).out, expected);
}

TEST(CacheDumpTool, RefusedFilesGiveOneLineAndANonZeroExit) {
  ScratchDir dir;
  std::string good = MakeSmallCache(dir);
  std::string image = ReadWholeFile(good);
  ASSERT_GT(image.size(), 512u);

  auto variant = [&](const char* name, size_t offset, std::string bytes) {
    std::string copy = image;
    copy.replace(offset, bytes.size(), bytes);
    std::string path = dir.file(name);
    WriteWholeFile(path, copy);
    return path;
  };
  std::string notClosed = variant("dirty.db", 47, std::string(1, '\1'));
  std::string older = variant("older.db", 4, std::string("\x08\x07", 2));  // format 1800
  std::string badMagic = variant("magic.db", 0, "XXXX");
  std::string shortFile = dir.file("short.db");
  WriteWholeFile(shortFile, "TVDB");
  std::string plainDb = dir.file("plain.db");
  {
    btDatabase db;
    ASSERT_EQ(db.createDatabase(plainDb.c_str(), "OTHER", 8192, VC_CACHE_BYTES, 1, 1), 0);
    db.closeDatabase();
  }

  struct Case {
    std::string file;
    const char* says;
  } cases[] = {
      {dir.file("missing.db"), "no such file"},
      {notClosed, "not closed cleanly"},
      {older, "older database format 1800"},
      {badMagic, "not a database file"},
      {shortFile, "not a database file"},
      {plainDb, "not a version cache"},
  };
  for (const Case& c : cases) {
    ToolRun run = RunDump(dir, c.file);
    EXPECT_EQ(run.exitCode, 2) << c.file;
    EXPECT_EQ(run.out, "") << c.file;
    EXPECT_EQ(run.err.find("revhoard-dump: " + c.file + ": "), 0u) << run.err;
    EXPECT_NE(run.err.find(c.says), std::string::npos) << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
  }
  // Reading never changes a file, not even a refused one.
  EXPECT_EQ(ReadWholeFile(good), image);
  EXPECT_EQ(ReadWholeFile(notClosed).substr(47, 1), std::string(1, '\1'));
}

// Rows written by the session come out with every field, in field order;
// texts are escaped in each form so a row stays on its line.
TEST(CacheDumpTool, RowsOfTheWritersWithEscapedTexts) {
  ScratchDir dir;
  std::string file = dir.file("cache.db");
  {
    auto cache = OpenCache(file);
    VCBranchInfo trunk = MakeBranch("/trunk", "-1", -1);
    VCBranchInfo branch = MakeBranch("/branches/b", "8");
    branch.comments = "line one\nsaid \"hi\"\tand \\ left";
    ASSERT_EQ(cache->insertBranch(trunk), 0);
    ASSERT_EQ(cache->insertBranch(branch), 0);
    ASSERT_EQ(cache->insertFileRevisionXref(4, 9, "8"), 0);
  }
  // 133000000000000000 is 2022-06-18T04:26:40Z.
  ToolRun json = RunDump(dir, file + " --json");
  ASSERT_EQ(json.exitCode, 0) << json.err;
  EXPECT_NE(json.out.find("  \"branch\": [\n"
                          "    {\"branch_id\": 0, \"parent_branch_id\": 4294967295, \"branch_number\": \"-1\", "
                          "\"branch_copy_from_number\": \"1\", \"branch_time_stamp\": \"2022-06-18T04:26:40Z\", "
                          "\"branch_name\": \"/trunk\", \"branch_author\": \"alice\", \"branch_comments\": \"made a branch\"},\n"
                          "    {\"branch_id\": 1, \"parent_branch_id\": 0, \"branch_number\": \"8\", "
                          "\"branch_copy_from_number\": \"1\", \"branch_time_stamp\": \"2022-06-18T04:26:40Z\", "
                          "\"branch_name\": \"/branches/b\", \"branch_author\": \"alice\", "
                          "\"branch_comments\": \"line one\\nsaid \\\"hi\\\"\\tand \\\\ left\"}\n"
                          "  ],\n"),
            std::string::npos)
      << json.out;
  EXPECT_NE(json.out.find("\"file_revision_xref\": [\n    {\"file_id\": 4, \"revision_id\": 9, \"revision_number\": \"8\"}\n  ]"),
            std::string::npos)
      << json.out;

  ToolRun text = RunDump(dir, file);
  ASSERT_EQ(text.exitCode, 0) << text.err;
  EXPECT_NE(text.out.find("table branch (2 rows)\n  row 0\n    branch_id: 0\n"), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("  row 1\n    branch_id: 1\n    parent_branch_id: 0\n"), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("    branch_comments: line one\\nsaid \"hi\"\\tand \\\\ left\n"), std::string::npos)
      << text.out;
}

TEST(CacheDumpTool, BadArgumentsShowTheUsage) {
  ScratchDir dir;
  for (const char* args : {"", "--xml x.db", "a.db b.db"}) {
    ToolRun run = RunDump(dir, args);
    EXPECT_EQ(run.exitCode, 1) << args;
    EXPECT_EQ(run.err, "usage: revhoard-dump CACHE [--json]\n");
  }
}

}  // namespace
