#include "update/UpdateDriver.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ScriptedServices.h"
#include "UpdateTestSupport.h"

using tolvane::TVString;

namespace {

const char* const kUrl = "file:///r";
const std::string kBase = " log --xml -v \"file:///r\"";

// Runs the driver on a command line; returns the exit code and keeps what it
// printed in `out` when asked.
int32_t RunDriver(ScriptedServices& services, std::vector<std::string> args, std::string* out = nullptr) {
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  int32_t code = -99;
  std::string printed =
      CaptureStdout([&] { code = UpdateMain(static_cast<int>(args.size()), argv.data(), services); });
  if (out) *out = services.normalise(printed);
  return code;
}

class UpdateDriverTest : public testing::Test {
 protected:
  LogSettingsGuard guard_;
  ScratchDir dir_;
  std::string db_ = dir_.file("cache.db");
  std::string log_ = dir_.file("log.xml");
  std::string statusFile_ = dir_.file("cache_status.txt");
  ScriptedServices services_{db_, log_, statusFile_};
  std::string stdout_;

  void SetUp() override { WriteWholeFile(log_, "<log/>"); }

  // Runs the driver with the five required arguments and `extra` behind them.
  int32_t run(std::vector<std::string> extra = {}, std::string version = "7", std::string svn = "svn") {
    std::vector<std::string> args{"revhoard", svn, kUrl, db_, log_, version};
    args.insert(args.end(), extra.begin(), extra.end());
    return RunDriver(services_, args, &stdout_);
  }
  std::string status() const { return services_.normalise(ReadWholeFile(statusFile_)); }
  std::string callsWithStatus() const {
    std::string all;
    for (const auto& e : services_.events) all += e.call + "  [" + e.status + "]\n";
    return all;
  }
};

// The whole of a small first import: every call, the record the status file
// held at each, and every log line.
TEST_F(UpdateDriverTest, FirstImportOfHeadRevision5000) {
  services_.headRevision = 5000;
  ASSERT_EQ(run(), 0);
  EXPECT_EQ(callsWithStatus(),
            "open file:///r|DB|7  [0;Beginning SVN cache update.]\n"
            "getLast  [0;Beginning SVN cache update.]\n"
            "svn \"svn\"|" + kBase + " -rHEAD > \"LOG\"  [0;Beginning SVN cache update.]\n"
            "head LOG  [0;Beginning SVN cache update.]\n"
            "svn \"svn\"|" + kBase + " -r0:4999 > \"LOG\"  [0;0 of 1 complete;0;1]\n"
            "parse LOG  [0;0 of 1 complete;0;1]\n"
            "svn \"svn\"|" + kBase + " -r5000:5000 > \"LOG\"  [0;1 of 1 complete;1;1]\n"
            "parse LOG  [0;1 of 1 complete;1;1]\n"
            "setLast 133500000000000000  [0;1 of 1 complete;1;1]\n"
            "close  [0;1 of 1 complete;1;1]\n"
            "delete LOG  [0;1 of 1 complete;1;1]\n");
  EXPECT_EQ(stdout_,
            "Beginning SVN cache update.\n"
            "svnPath = \"svn\"\n"
            "repositoryUrl = file:///r\n"
            "dbFilename = DB\n"
            "logFileName = LOG\n"
            "dbVersion = 7\n"
            "First cache update\n"
            "Repository is at revision 5000.\n"
            "0 of 1 complete;0;1\n"
            "Caching revisions 0 to 4999\n"
            "Running update: " + kBase + " -r0:4999 > \"LOG\"\n"
            "Successfully retrieved revisions 0 to 4999 from SVN.\n"
            "Successfully parsed revisions 0 to 4999 from SVN.\n"
            "1 of 1 complete;1;1\n"
            "Caching revisions 5000 to 5000\n"
            "Running update: " + kBase + " -r5000:5000 > \"LOG\"\n"
            "Successfully retrieved revisions 5000 to 5000 from SVN.\n"
            "Successfully parsed revisions 5000 to 5000 from SVN.\n"
            "1 of 1 complete;1;1\n"
            "Successfully synced the SVN cache.\n"
            "End revhaord\n");
  EXPECT_EQ(status(), "0;1 of 1 complete;1;1");
  EXPECT_FALSE(std::filesystem::exists(log_));
  EXPECT_EQ(services_.storedLastUpdate, services_.now);
}

TEST_F(UpdateDriverTest, BatchesOfAFirstImport) {
  struct Case {
    int32_t head;
    std::vector<std::string> ranges;    // the batches' ranges, in order
    std::vector<std::string> progress;  // the record before each batch
    const char* last;                   // the record that stays
  } cases[] = {
      // A batch ending exactly at the head still asks for the next, empty range.
      {4999, {" -r0:4999", " -r5000:4999"}, {"0;0 of 0 complete;0;0", "0;1 of 0 complete;1;0"}, "0;0 of 0 complete;0;0"},
      {0, {" -r0:0"}, {"0;0 of 0 complete;0;0"}, "0;0 of 0 complete;0;0"},
      {12000,
       {" -r0:4999", " -r5000:9999", " -r10000:12000"},
       {"0;0 of 2 complete;0;2", "0;1 of 2 complete;1;2", "0;2 of 2 complete;2;2"},
       "0;2 of 2 complete;2;2"},
  };
  for (const Case& c : cases) {
    ScriptedServices services(db_, log_, statusFile_);
    services.headRevision = c.head;
    int32_t code = RunDriver(services, {"revhoard", "svn", kUrl, db_, log_, "7"});
    EXPECT_EQ(code, 0) << c.head;
    std::vector<std::string> ranges, progress;
    for (const auto& e : services.events) {
      if (e.call.rfind("svn ", 0) != 0 || e.call.find("-rHEAD") != std::string::npos) continue;
      std::string args = e.call.substr(e.call.find('|') + 1);
      ranges.push_back(args.substr(kBase.size(), args.find(" > ") - kBase.size()));
      progress.push_back(e.status);
    }
    EXPECT_EQ(ranges, c.ranges) << c.head;
    EXPECT_EQ(progress, c.progress) << c.head;
    EXPECT_EQ(services.normalise(ReadWholeFile(statusFile_)), c.last) << c.head;
  }
}

TEST_F(UpdateDriverTest, OnlyTheNewestMillionRevisionsAreImported) {
  services_.headRevision = 1000001;
  ASSERT_EQ(run(), 0);
  ASSERT_GE(services_.svnArguments.size(), 3u);
  EXPECT_EQ(services_.svnArguments[1], kBase + " -r1:5000 > \"LOG\"");
  EXPECT_EQ(services_.svnArguments.back(), kBase + " -r1000001:1000001 > \"LOG\"");
  EXPECT_EQ(services_.svnArguments.size(), 1u + 201u);
  EXPECT_NE(stdout_.find("The revision count for this repository is 1000001, beginning import at revision 1.\n"),
            std::string::npos);
  EXPECT_EQ(status(), "0;200 of 200 complete;200;200");
}

TEST_F(UpdateDriverTest, IncrementalUpdateAsksFromTheDayOfTheLastUpdate) {
  services_.storedLastUpdate = 133400000000000000ull;
  services_.ticks = {0, 0xFFFFFFFFu};  // an incremental run has no time limit
  ASSERT_EQ(run(), 0);
  const std::string command = kBase + " -r\"{2024-01-31}:HEAD\" > \"LOG\"";
  EXPECT_EQ(services_.calls(),
            "open file:///r|DB|7\n"
            "getLast\n"
            "iso 133400000000000000\n"
            "svn \"svn\"|" + command + "\n"
            "parse LOG\n"
            "setLast 133500000000000000\n"
            "close\n"
            "delete LOG\n");
  EXPECT_NE(stdout_.find("dbVersion = 7\n"
                         "Updating the cache since: 2024-01-31T09:15:00Z\n"
                         "Running update: " + command + "\n"
                         "Successfully retrieved the latest updates from SVN.\n"
                         "Successfully parsed the latest updates from SVN.\n"
                         "Successfully synced the SVN cache.\n"
                         "End revhaord\n"),
            std::string::npos)
      << stdout_;
  EXPECT_EQ(status(), "0;Successfully parsed the latest updates from SVN.");
}

TEST_F(UpdateDriverTest, DoNotRunLogParsesTheFileAsItStands) {
  for (cmDateStamp last : {cmDateStamp(0), cmDateStamp(133400000000000000ull)}) {
    ScriptedServices services(db_, log_, statusFile_);
    services.storedLastUpdate = last;
    services.headRevision = -1;  // never asked for
    int32_t code = RunDriver(services, {"revhoard", "svn", kUrl, db_, log_, "7", "1", "1"});
    EXPECT_EQ(code, 0);
    EXPECT_EQ(services.calls(),
              "open file:///r|DB|7\ngetLast\nparse LOG\nsetLast 133500000000000000\nclose\ndelete LOG\n")
        << last;
    EXPECT_EQ(services.normalise(ReadWholeFile(statusFile_)), "0;Successfully parsed the latest updates from SVN.");
  }
}

// Every failure: its exit code, the record left in the status file, and that
// the run neither stores a new update time nor removes the XML file.
TEST_F(UpdateDriverTest, FailuresReportTheirCodeAndKeepTheXmlFile) {
  struct Case {
    const char* name;
    std::function<void(ScriptedServices&)> script;
    int32_t code;
    const char* record;
    bool closes;
  } cases[] = {
      {"cache open", [](ScriptedServices& s) { s.openResult = -4; }, -2,
       "-2;Error opening SVN cache \"DB\": error code -4", false},
      {"head client", [](ScriptedServices& s) { s.svnResult = [](int, const std::string&) { return 1; }; }, -4,
       "-4;Error retrieving the current revision of the repository from SVN: error code 1", true},
      {"head parse", [](ScriptedServices& s) { s.headRevision = -1; }, -4,
       "-4;Error parsing the current revision of the repository.", true},
      {"batch client",
       [](ScriptedServices& s) {
         s.headRevision = 12000;
         s.svnResult = [](int call, const std::string&) { return call == 2 ? 1 : 0; };
       },
       -3, "-3;Error retrieving revisions 5000 to 9999 from SVN: error code 1", true},
      {"batch parse",
       [](ScriptedServices& s) {
         s.headRevision = 12000;
         s.parseResult = [](int) { return -2; };
       },
       -5, "-5;Error parsing revisions 0 to 4999 from SVN: error code -2", true},
      {"incremental client",
       [](ScriptedServices& s) {
         s.storedLastUpdate = 1;
         s.svnResult = [](int, const std::string&) { return 2; };
       },
       -3, "-3;Error retrieving the latest updates from SVN: error code 2", true},
      {"incremental parse",
       [](ScriptedServices& s) {
         s.storedLastUpdate = 1;
         s.parseResult = [](int) { return -1; };
       },
       -5, "-5;Error parsing the latest revisions from SVN: error code -1", true},
      {"date text",
       [](ScriptedServices& s) {
         s.storedLastUpdate = 1;
         s.dateResult = -1;
       },
       -3, "-3;Error retrieving the latest updates from SVN: error code -1", true},
      {"time limit",
       [](ScriptedServices& s) {
         s.headRevision = 12000;
         s.ticks = {1000, 1000 + 216001000u};
       },
       -6, "-6;SVN cache sync is incomplete after an hour.", true},
  };
  for (const Case& c : cases) {
    WriteWholeFile(log_, "<log/>");
    ScriptedServices services(db_, log_, statusFile_);
    services.storedLastUpdate = 0;
    c.script(services);
    const cmDateStamp before = services.storedLastUpdate;
    std::string out;
    int32_t code = RunDriver(services, {"revhoard", "svn", kUrl, db_, log_, "7"}, &out);
    EXPECT_EQ(code, c.code) << c.name;
    EXPECT_EQ(services.normalise(ReadWholeFile(statusFile_)), c.record) << c.name;
    // The failure is logged with the same text.
    const std::string message = std::string(c.record).substr(3);
    EXPECT_NE(out.find(message + "\n"), std::string::npos) << c.name;
    if (c.closes) {
      EXPECT_EQ(services.events.back().call, "close") << c.name;
    } else {
      EXPECT_EQ(services.calls().find("close"), std::string::npos) << c.name;
    }
    EXPECT_EQ(services.calls().find("setLast"), std::string::npos) << c.name;
    EXPECT_EQ(services.calls().find("delete"), std::string::npos) << c.name;
    EXPECT_EQ(services.storedLastUpdate, before) << c.name;
    EXPECT_TRUE(std::filesystem::exists(log_)) << c.name;
  }
}

// A cache that can't be written back at the end (a full disk) is no success:
// the run says so and keeps the XML file, whichever way it got there.
TEST_F(UpdateDriverTest, AFailedCloseAtTheFinishIsMinusSevenAndKeepsTheXmlFile) {
  for (cmDateStamp last : {cmDateStamp(0), cmDateStamp(1)}) {
    WriteWholeFile(log_, "<log/>");
    ScriptedServices services(db_, log_, statusFile_);
    services.storedLastUpdate = last;
    services.headRevision = 10;
    services.closeResult = -3904;
    std::string out;
    EXPECT_EQ(RunDriver(services, {"revhoard", "svn", kUrl, db_, log_, "7"}, &out), -7) << last;
    EXPECT_EQ(services.normalise(ReadWholeFile(statusFile_)), "-7;Error closing cache database DB: error code -3904")
        << last;
    EXPECT_EQ(services.events.back().call, "close") << last;
    EXPECT_EQ(services.calls().find("delete"), std::string::npos) << last;
    EXPECT_EQ(out.find("End revhaord"), std::string::npos) << last;
    EXPECT_TRUE(std::filesystem::exists(log_)) << last;
  }
}

TEST_F(UpdateDriverTest, TimeLimitIsLookedAtAfterEachBatchOnly) {
  struct Case {
    uint32_t start;
    uint32_t afterFirstBatch;
    int32_t code;
    size_t batches;
  } cases[] = {
      {0, 216000999u, 0, 3},                     // 216000 whole seconds is not above the limit
      {0, 216001000u, -6, 1},                    // 216001 is
      {0xFFFFFFF0u, 0xFFFFFFF0u + 216001000u, 0, 3},  // wrapped: one millisecond less, 216000
      {0xFFFFFFF0u, 0xFFFFFFF0u + 216001001u, -6, 1},
  };
  for (const Case& c : cases) {
    ScriptedServices services(db_, log_, statusFile_);
    services.headRevision = 12000;
    services.ticks = {c.start, c.afterFirstBatch, c.start};
    int32_t code = RunDriver(services, {"revhoard", "svn", kUrl, db_, log_, "7"});
    EXPECT_EQ(code, c.code) << c.afterFirstBatch;
    EXPECT_EQ(services.svnArguments.size() - 1, c.batches) << c.afterFirstBatch;
  }
}

TEST_F(UpdateDriverTest, NumericArgumentsAreReadFromTheirFirstByte) {
  struct Case {
    const char* version;
    int32_t read;
  } cases[] = {{"7", 7}, {"7x", 7}, {"x7", 0}, {"12", 1}, {"-3", 0}, {"", 0}, {"0", 0}};
  for (const Case& c : cases) EXPECT_EQ(ReadFirstDigitArgument(c.version), c.read) << c.version;

  services_.headRevision = 1;
  ASSERT_EQ(run({}, "x7"), 0);
  EXPECT_EQ(services_.events.front().call, "open file:///r|DB|0");
}

TEST_F(UpdateDriverTest, VerboseOneLogsAndAnythingElseIsSilent) {
  struct Case {
    std::vector<std::string> extra;
    bool logs;
  } cases[] = {{{}, true}, {{"1"}, true}, {{"0"}, false}, {{"2"}, false}, {{"01"}, false}, {{"1x"}, true}};
  for (const Case& c : cases) {
    services_ = ScriptedServices(db_, log_, statusFile_);
    services_.headRevision = 10;
    std::remove(statusFile_.c_str());
    ASSERT_EQ(run(c.extra), 0);
    EXPECT_EQ(!stdout_.empty(), c.logs) << (c.extra.empty() ? "(none)" : c.extra[0]);
    EXPECT_EQ(status(), "0;0 of 0 complete;0;0");
    EXPECT_EQ(services_.events.front().status, "0;Beginning SVN cache update.");
  }
}

TEST_F(UpdateDriverTest, ClientPathIsQuotedOnce) {
  struct Case {
    const char* given;
    const char* passed;
  } cases[] = {
      {"C:/Program Files/svn.exe", "\"C:/Program Files/svn.exe\""},
      {"\"C:/Program Files/svn.exe\"", "\"C:/Program Files/svn.exe\""},
      {"\"svn", "\"\"svn\""},
  };
  for (const Case& c : cases) {
    services_ = ScriptedServices(db_, log_, statusFile_);
    services_.headRevision = 0;
    ASSERT_EQ(run({}, "7", c.given), 0);
    EXPECT_EQ(services_.events[2].call.substr(0, services_.events[2].call.find('|')), std::string("svn ") + c.passed);
  }
}

TEST(QuoteArgument, JudgesEachEndApart) {
  struct Case {
    const char* text;
    const char* quoted;
  } cases[] = {
      {"", "\"\""}, {"abc", "\"abc\""}, {"\"abc\"", "\"abc\""}, {"\"abc", "\"abc\""},
      {"abc\"", "\"abc\""}, {"\"", "\""}, {"a b", "\"a b\""},
  };
  for (const Case& c : cases) EXPECT_STREQ(QuoteArgument(TVString(c.text)).getCString(), c.quoted) << c.text;
}

}  // namespace
