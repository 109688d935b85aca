// The two entry points of the log reader: what they return for each shape
// of file, what the passes receive, and the run log they leave.
#include "ingest/SvnLogReader.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "IngestTestSupport.h"
#include "text/cmDateParts.h"
#include "update/UpdateTestSupport.h"
#include "xml/tvXmlCfgHandleTable.h"

namespace {

int64_t LiveHandles() {
  tvXmlCfgLock lock;
  return tvXmlCfgTable::liveCount();
}

const char* const kTwoEntries =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<log>\n"
    "<logentry\n   revision=\"7\">\n<author>ann</author>\n<date>2024-01-31T09:15:00.123456Z</date>\n"
    "<paths>\n<path action=\"A\" kind=\"dir\">/trunk</path>\n</paths>\n<msg>first</msg>\n</logentry>\n"
    "<logentry\n   revision=\"8\">\n<author>bob</author>\n<date>2024-02-01T00:00:00.000000Z</date>\n"
    "<msg>second</msg>\n</logentry>\n"
    "</log>\n";

class SvnLogReaderTest : public testing::Test {
 protected:
  LogSettingsGuard guard_;
  ScratchDir dir_;
  RecordingPasses passes_;
  // The passes get the cache as it was handed in; no object stands behind it here.
  VCDataLayer* cache_ = reinterpret_cast<VCDataLayer*>(static_cast<uintptr_t>(0x1000));

  void SetUp() override { SetVerboseLog(false); }

  std::string write(const std::string& text) {
    std::string path = dir_.file("log.xml");
    WriteWholeFile(path, text);
    return path;
  }
};

TEST_F(SvnLogReaderTest, PassesRunInOrderOverAllEntries) {
  std::string path = write(kTwoEntries);
  const int64_t before = LiveHandles();
  ASSERT_EQ(ParseSvnLog(cache_, path.c_str(), passes_), 0);
  ASSERT_EQ(passes_.calls.size(), 3u);
  const char* order[] = {"branch", "revision", "label"};
  for (size_t i = 0; i < 3; ++i) {
    const RecordedPass& call = passes_.calls[i];
    EXPECT_EQ(call.pass, order[i]);
    EXPECT_EQ(call.cache, cache_);
    EXPECT_EQ(call.document, passes_.calls[0].document);
    ASSERT_EQ(call.entries.size(), 2u);
    EXPECT_EQ(Str(call.entries[0].revision), "7");
    EXPECT_EQ(Str(call.entries[0].author), "ann");
    EXPECT_EQ(Str(call.entries[0].message), "first");
    EXPECT_EQ(call.entries[0].timeStamp, cmDateParts::make(2024, 1, 31, 9, 15, 0, 123456).toStamp());
    EXPECT_EQ(Str(call.entries[1].revision), "8");
  }
  // The document was closed again.
  EXPECT_EQ(LiveHandles(), before);
}

TEST_F(SvnLogReaderTest, ResultsByShapeOfFile) {
  struct Case {
    const char* name;
    const char* content;  // null: no file
    int32_t parse;
    int32_t head;
  } cases[] = {
      {"missing file", nullptr, -1, -1},
      {"unquoted attribute", "<log><logentry revision=1/></log>", -1, -1},
      {"text without markup", "this is no log", -2, -1},
      {"broken XML", "<log><logentry revision=\"1\"></log>", -1, -1},
      {"empty file", "", -2, -1},
      {"no entry", "<?xml version=\"1.0\"?>\n<log>\n</log>\n", -2, -1},
      {"one entry", "<log><logentry revision=\"4999\"/></log>", 0, 4999},
      {"two entries", kTwoEntries, 0, -1},
      {"entry under another root", "<x><y><logentry revision=\"3\"/></y></x>", 0, 3},
      {"revision no number", "<log><logentry revision=\"r12\"/></log>", 0, -1},
      {"revision missing", "<log><logentry/></log>", 0, -1},
      {"revision beyond 32 bits", "<log><logentry revision=\"4294967297\"/></log>", 0, 1},
  };
  const int64_t before = LiveHandles();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::string path = dir_.file(std::string(c.name) + ".xml");
    if (c.content) WriteWholeFile(path, c.content);
    RecordingPasses passes;
    EXPECT_EQ(ParseSvnLog(cache_, path.c_str(), passes), c.parse);
    EXPECT_EQ(passes.calls.size(), c.parse == 0 ? 3u : 0u);
    EXPECT_EQ(ParseSvnLogForMaxRevision(nullptr, path.c_str()), c.head);
    EXPECT_EQ(LiveHandles(), before);
  }
}

TEST_F(SvnLogReaderTest, LogsEveryStepWithTheTime) {
  std::string path = write(kTwoEntries);
  SetVerboseLog(true);
  SetLogOutputMode(kLogToStdout);
  std::string printed = CaptureStdout([&] {
    ParseSvnLog(cache_, path.c_str(), passes_);
    ParseSvnLogForMaxRevision(cache_, path.c_str());
  });
  std::string shape = std::regex_replace(printed, std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(\.\d{6})?Z)"), "TIME");
  EXPECT_EQ(shape,
            "Begin tvXMLCFGOpen: TIME\n"
            "Begin StoreBranchInfo: TIME\n"
            "Begin StoreRevisionInfo: TIME\n"
            "Begin StoreLabelInfo: TIME\n"
            "Done: TIME\n"
            "Begin ParseSvnLogForMaxRevision tvXMLCFGOpen: TIME\n");
}

TEST_F(SvnLogReaderTest, NoEntryStopsBeforeThePasses) {
  std::string path = write("<log/>");
  SetVerboseLog(true);
  SetLogOutputMode(kLogToStdout);
  int32_t rc = 0;
  std::string printed = CaptureStdout([&] { rc = ParseSvnLog(cache_, path.c_str(), passes_); });
  EXPECT_EQ(rc, -2);
  EXPECT_EQ(printed.find("StoreBranchInfo"), std::string::npos);
  EXPECT_TRUE(passes_.calls.empty());
}

// The passes of a real run without an open cache: nothing is stored and
// the parse still succeeds. (With a cache: the *Ingest tests.)
TEST_F(SvnLogReaderTest, DefaultPassesWithoutACacheStoreNothing) {
  std::string path = write(kTwoEntries);
  EXPECT_EQ(ParseSvnLog(nullptr, path.c_str()), 0);
  cmArray<int> entries;
  entries.add(1);
  CacheLogPasses passes;
  EXPECT_EQ(passes.storeBranchInfo(nullptr, -1, entries), 0);
  EXPECT_EQ(passes.storeRevisionInfo(nullptr, -1, entries), 0);
  EXPECT_EQ(passes.storeLabelInfo(nullptr, -1, entries), 0);
}

}  // namespace
