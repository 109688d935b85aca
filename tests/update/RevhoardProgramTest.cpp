// Runs the built program itself: its command line, exit status and status
// file as whoever starts it sees them.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

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

// The status file stands beside the cache, whatever the cache's extension.
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

// The client's log for `count` revisions, each adding a file to trunk.
std::string GeneratedLog(int count) {
  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<log>\n";
  for (int r = 1; r <= count; ++r) {
    std::string n = std::to_string(r);
    xml += "<logentry revision=\"" + n + "\"><author>dev</author><date>2024-01-01T00:00:00.000000Z</date>"
           "<paths><path action=\"A\" kind=\"file\">/trunk/src/file" + n + ".c</path></paths>"
           "<msg>change " + n + "</msg></logentry>\n";
  }
  return xml + "</log>\n";
}

// A full disk while the cache is written back: the run ends with -7 instead
// of a success, keeps the XML, and the half-written file is refused next time
// rather than read as if it were whole. The shell's file size limit stands in
// for the full disk; with its signal ignored, writes fail as they would.
TEST(RevhoardProgram, AFullDiskAtTheCloseIsMinusSevenAndTheFileIsRefusedAfter) {
  ScratchDir dir;
  const std::string cache = dir.file("cache.db"), log = dir.file("log.xml");
  WriteWholeFile(log, GeneratedLog(3000));
  const std::string arguments = " svn file:///r '" + cache + "' '" + log + "' 7 0 1";
  std::string outFile = dir.file("stdout.txt");
  std::string limited = "trap '' XFSZ; ulimit -f 64; exec '" + std::string(RH_BINARY_DIR) + "/revhoard'" +
                        arguments + " > '" + outFile + "'";
  int status = std::system(limited.c_str());
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 249);
  EXPECT_EQ(ReadWholeFile(dir.file("cache_status.txt")).rfind("-7;Error closing cache database " + cache +
                                                              ": error code -34", 0),
            0u)
      << ReadWholeFile(dir.file("cache_status.txt"));
  EXPECT_TRUE(std::filesystem::exists(log));

  ProgramRun again = RunRevhoard(dir, arguments);
  EXPECT_EQ(again.exitStatus, 254);
  EXPECT_EQ(ReadWholeFile(dir.file("cache_status.txt")).rfind("-2;", 0), 0u);
}

// Whether a process still runs: a zombie has ended, whoever is to collect it.
bool ProcessRuns(const std::string& pid) {
  std::string stat = ReadWholeFile("/proc/" + pid + "/stat");
  const size_t close = stat.rfind(')');
  return close != std::string::npos && close + 2 < stat.size() && stat[close + 2] != 'Z';
}

// A run killed while its client works takes the client with it: a client
// left behind would go on writing into the XML file that the next run uses.
TEST(RevhoardProgram, AKilledRunTakesItsClientWithIt) {
  ScratchDir dir;
  const std::string pidFile = dir.file("client.pid");
  const std::string client = dir.file("client.sh");
  WriteWholeFile(client, "#!/bin/sh\necho $$ > '" + pidFile + ".new'\nmv '" + pidFile + ".new' '" + pidFile +
                             "'\nexec sleep 30\n");
  std::filesystem::permissions(client, std::filesystem::perms::owner_all);
  const std::string script = "'" + std::string(RH_BINARY_DIR) + "/revhoard' '" + client + "' file:///r '" +
                             dir.file("cache.db") + "' '" + dir.file("log.xml") +
                             "' 7 0 > /dev/null 2>&1 & rh=$!; i=0; while [ ! -s '" + pidFile +
                             "' ] && [ $i -lt 1000 ]; do sleep 0.01; i=$((i+1)); done; kill -9 $rh; wait $rh";
  std::system(script.c_str());
  std::string pid = ReadWholeFile(pidFile);
  ASSERT_FALSE(pid.empty()) << "the client never started";
  pid.pop_back();

  bool runs = true;
  for (int i = 0; i < 500 && runs; ++i) {
    runs = ProcessRuns(pid);
    if (runs) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_FALSE(runs) << "client " << pid << " outlived the killed run";
  if (runs) std::system(("kill -9 " + pid).c_str());
}

}  // namespace
