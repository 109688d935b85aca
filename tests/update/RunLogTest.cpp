#include "update/RunLog.h"

#include <gtest/gtest.h>

#include <string>

#include "UpdateTestSupport.h"
#include "update/HostHooks.h"

namespace {

TEST(RunLog, WritesOneLinePerCallAndKeepsTrailingLineEnds) {
  LogSettingsGuard guard;
  SetVerboseLog(true);
  SetLogOutputMode(kLogToStdout);
  std::string log = CaptureStdout([] {
    LogVerbose("dbVersion = %i", 7);
    LogVerbose("Opening cache database %s\n", "c.db");
  });
  EXPECT_EQ(log, "dbVersion = 7\nOpening cache database c.db\n\n");
}

TEST(RunLog, SilentWhenOffOrInAnUnknownMode) {
  LogSettingsGuard guard;
  SetVerboseLog(false);
  EXPECT_EQ(CaptureStdout([] { LogVerbose("hidden %d", 1); }), "");
  SetVerboseLog(true);
  SetLogOutputMode(2);
  EXPECT_EQ(CaptureStdout([] { LogVerbose("dropped %d", 2); }), "");
}

TEST(RunLog, LongLineIsCutAt4095Bytes) {
  LogSettingsGuard guard;
  SetVerboseLog(true);
  SetLogOutputMode(kLogToStdout);
  std::string text(4200, 'y');
  std::string log = CaptureStdout([&] { LogVerbose("%s", text.c_str()); });
  EXPECT_EQ(log, std::string(4095, 'y') + "\n");
}

TEST(RunLog, FormatOnlyGivesEveryConversionAZero) {
  LogSettingsGuard guard;
  SetVerboseLog(true);
  SetLogOutputMode(kLogToStdout);
  struct Case {
    const char* format;
    const char* line;
  } cases[] = {
      {"plain", "plain"},
      {"100%% done", "100% done"},
      {"[%d|%3i|%-3u|%x|%05ld]", "[0|  0|0  |0|00000]"},
      {"[%s|%5s|%.2f|%*d|%c]", "[|     |0.00|0|]"},
      {"%lld %zu %hhd", "0 0 0"},
      {"unfinished %", "unfinished %"},
      {"odd %y stays", "odd %y stays"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(CaptureStdout([&] { LogVerboseFormatOnly(c.format); }), std::string(c.line) + "\n") << c.format;
}

TEST(RunLog, PrintStdoutReturnsTheCount) {
  int count = 0;
  EXPECT_EQ(CaptureStdout([&] { count = PrintStdout("%s-%d", "ab", 12); }), "ab-12");
  EXPECT_EQ(count, 5);
}

TEST(RunLog, HostMessageEndsWithALineOnlyWhenItFilledItsBuffer) {
  EXPECT_EQ(CaptureStdout([] { PrintHostMessage("Invalid call to %s", "x"); }), "Invalid call to x");
  std::string huge(9000, 'h');
  std::string out = CaptureStdout([&] { PrintHostMessage("%s", huge.c_str()); });
  EXPECT_EQ(out, std::string(8190, 'h') + "\n");
}

TEST(HostHooks, StubsSayTheyWereCalledInError) {
  struct Case {
    const char* name;
    int32_t (*call)();
    const char* printed;
    int32_t result;
  } cases[] = {
      {"array element", [] { return tvHvarArrayEl(nullptr, 0, nullptr); }, "Invalid call to tvHvarArrayEl", 1},
      {"integer setter", [] { return tvHvarSetI(nullptr, 5); }, "Invalid call to tvHvarSetI", 1},
      {"string setter", [] { return tvHvarSetB(nullptr, "b", 1); }, "Invalid call to tvHvarSetB", 1},
      {"insert line", [] { tvInsertLine(nullptr, 1, "t"); return 0; }, "Invalid call to tvInsertLine", 0},
      {"xml property", [] { tvLangSetPropertyMiniXml(nullptr, "p", "v"); return 0; },
       "Invalid call to tvLangSetPropertyMiniXml\n", 0},
      {"xml error", [] { tvXMLError(-3); return 0; }, "", 0},
      {"idle time", [] { return static_cast<int32_t>(idleMilliseconds()); }, "", 1000},
  };
  for (const Case& c : cases) {
    int32_t result = -99;
    EXPECT_EQ(CaptureStdout([&] { result = c.call(); }), c.printed) << c.name;
    EXPECT_EQ(result, c.result) << c.name;
  }
}

TEST(HostHooks, VariableTextIsANullString) {
  for (auto hook : {&tvHvarGetS, &tvHvarGetString}) {
    tolvane::TVString text("not null");
    EXPECT_EQ(CaptureStdout([&] { text = hook(nullptr); }), "Invalid call to tvHvarGetLstr");
    EXPECT_TRUE(text.isNull());
  }
}

}  // namespace
