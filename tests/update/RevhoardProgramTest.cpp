// Runs the built program itself: its command line, exit status and status
// file as whoever starts it sees them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "UpdateTestSupport.h"

namespace {

struct ProgramRun {
  int exitStatus;
  std::string out;
};

ProgramRun RunRevhoard(const ScratchDir& dir, const std::string& arguments) {
  std::string outFile = dir.file("stdout.txt");
  std::string command = std::string("'") + RH_BINARY_DIR + "/revhoard'" + arguments + " > '" + outFile + "'";
  int status = std::system(command.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadWholeFile(outFile)};
}

TEST(RevhoardProgram, FewerThanFiveArgumentsPrintUsage) {
  ScratchDir dir;
  const std::string cache = dir.file("cache.db");
  const std::string args[] = {"", " svn", " svn file:///r", " svn file:///r '" + cache + "'",
                              " svn file:///r '" + cache + "' log.xml"};
  for (int count = 0; count < 5; ++count) {
    ProgramRun run = RunRevhoard(dir, args[count]);
    EXPECT_EQ(run.exitStatus, 255) << count;
    EXPECT_EQ(run.out,
              "Usage: revhoard [svn exe path] [repository url] [cache file name] [log file name] [database version] "
              "[verbose (0/1)] [Do not run log (0/1)]\n"
              "Arg count = " + std::to_string(count + 1) + "\n")
        << count;
  }
  EXPECT_FALSE(std::filesystem::exists(dir.file("cache_status.txt")));
}

// Until the cache layer is linked, opening it fails with -1, and the run
// ends there with -2; the status file already stands beside the cache.
TEST(RevhoardProgram, FiveArgumentsWriteTheStatusFileBesideTheCache) {
  ScratchDir dir;
  std::filesystem::create_directories(dir.file("dir.x"));
  const std::string cache = dir.file("dir.x/cache");
  ProgramRun run = RunRevhoard(dir, " svn file:///r '" + cache + "' '" + dir.file("log.xml") + "' 7");
  // The cache opens; the client then finds no repository at file:///r, so
  // the head revision cannot be fetched.
  EXPECT_EQ(run.exitStatus, 252);
  EXPECT_EQ(ReadWholeFile(dir.file("dir.x/cache_status.txt")).rfind(
                "-4;Error retrieving the current revision of the repository from SVN: error code ", 0),
            0u);
  EXPECT_TRUE(std::filesystem::exists(cache));
  // A failed run keeps the client's output for inspection.
  EXPECT_TRUE(std::filesystem::exists(dir.file("log.xml")));
  EXPECT_EQ(run.out.rfind("Beginning SVN cache update.\nsvnPath = \"svn\"\n", 0), 0u) << run.out;
}

}  // namespace
