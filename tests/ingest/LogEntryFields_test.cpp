// How a pass reads the fields of one log entry: stripping, missing and
// empty elements, and dates.
#include "ingest/LogEntryFields.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "IngestTestSupport.h"
#include "text/DateTestZone.h"
#include "text/cmDateParts.h"
#include "update/UpdateTestSupport.h"
#include "xml/tvXmlCfg.h"

namespace {

// Reads the fields of the single entry of `body` (the inside of <logentry>).
LogEntryFields ReadEntry(const ScratchDir& dir, const std::string& attributes, const std::string& body) {
  std::string path = dir.file("entry.xml");
  WriteWholeFile(path, "<?xml version=\"1.0\"?>\n<log>\n<logentry" + attributes + ">" + body + "</logentry>\n</log>\n");
  int32_t status = 0;
  int32_t h = tvXMLCFGOpen(path.c_str(), &status, 1, 17);
  EXPECT_EQ(status, 0);
  int32_t entry = tvXMLCFGFindFirst(h, "//logentry", 0);
  EXPECT_GE(entry, 0);
  LogEntryFields f = LogEntryFields::read(h, entry);
  tvXMLCFGClose(h);
  return f;
}

TEST(LogEntryFields, TextFields) {
  ScratchDir dir;
  struct Case {
    const char* what;
    const char* body;
    const char* author;
    const char* message;
  } cases[] = {
      {"plain", "<author>ann</author><msg>fix</msg>", "ann", "fix"},
      {"line ends around message", "<author>ann</author><msg>\r\n\nfix it\n\n</msg>", "ann", "fix it"},
      {"inner line ends stay", "<msg>\nline one\r\nline two\n</msg>", "", "line one\r\nline two"},
      {"blanks only", "<author>   </author><msg>  \n \r\n  </msg>", "", ""},
      {"tabs are content", "<msg>\t indented\t </msg>", "", "\t indented\t"},
      {"author without text", "<author></author><msg>m</msg>", "", "m"},
      {"empty elements", "<author/><msg/>", "", ""},
      {"missing elements", "<date>2024-01-01T00:00:00.000000Z</date>", "", ""},
      {"entities decoded", "<author>a&amp;b</author><msg>&lt;tag&gt;</msg>", "a&b", "<tag>"},
      {"first element counts", "<author>one</author><author>two</author>", "one", ""},
      {"comment before text", "<author><!-- c -->ann</author>", "ann", ""},
  };
  for (const Case& c : cases) {
    LogEntryFields f = ReadEntry(dir, " revision=\"5\"", c.body);
    EXPECT_EQ(Str(f.author), c.author) << c.what;
    EXPECT_EQ(Str(f.message), c.message) << c.what;
    EXPECT_EQ(Str(f.revision), "5") << c.what;
  }
}

TEST(LogEntryFields, RevisionAttribute) {
  ScratchDir dir;
  EXPECT_EQ(Str(ReadEntry(dir, "", "").revision), "");
  EXPECT_EQ(Str(ReadEntry(dir, " revision=\"12000\"", "").revision), "12000");
}

TEST(LogEntryFields, DatesAreUtcAndBadOnesAreZero) {
  ScratchDir dir;
  const cmDateStamp expected = cmDateParts::make(2024, 1, 31, 9, 15, 0, 123456).toStamp();
  ASSERT_NE(expected, 0u);
  struct Case {
    const char* body;
    cmDateStamp stamp;
  } cases[] = {
      {"<date>2024-01-31T09:15:00.123456Z</date>", expected},
      {"<date>\n  2024-01-31T09:15:00.123456Z \r\n</date>", expected},
      {"<date>2024-01-31T09:15:00.123Z</date>", cmDateParts::make(2024, 1, 31, 9, 15, 0, 123000).toStamp()},
      {"<date>2024-02-31T09:15:00Z</date>", 0},
      {"<date>yesterday</date>", 0},
      {"<date>2024-01-31T25:15:00Z</date>", 0},
      {"<date></date>", 0},
      {"", 0},
  };
  for (const Case& c : cases) EXPECT_EQ(ReadEntry(dir, "", c.body).timeStamp, c.stamp) << c.body;
}

// A date text node's raw value reads as the stamp of its copy stripped by
// the log's rule: the client's form, blanks and line ends around it, tabs
// (which stay and spoil it), other forms, and values that are no date.
TEST(LogEntryFields, RawDateValueReadsAsItsStrippedCopy) {
  const std::string_view values[] = {
      "2024-01-31T09:15:00.123456Z", "\r\n 2024-01-31T09:15:00.123456Z \n", "\t2024-01-31T09:15:00.123456Z",
      "2024-01-31T09:15:00.123456Z\t", " 2024-01-31T09:15:00.123Z ", "2024-01-31 09:15:00.123456Z",
      "2024-01-31T09:15:00.123456+02:00", "2024-02-30T09:15:00.123456Z", "2024-13-31T09:15:00.123456Z",
      "\n\n", "", "yesterday", std::string_view("2024-01-31T09:15:00.1\0" "3456Z", 27), std::string_view(),
  };
  for (std::string_view value : values) {
    tolvane::TVString copy = value.data() ? tolvane::TVString(value.data(), static_cast<int64_t>(value.size()))
                                          : tolvane::TVString();
    copy.strip(" \r\n", 'B', 1);
    EXPECT_EQ(LogEntryFields::parseTimeStamp(value), LogEntryFields::parseTimeStamp(copy.getCMString()))
        << std::string(value);
  }
  EXPECT_NE(LogEntryFields::parseTimeStamp(std::string_view("\n2024-01-31T09:15:00.123456Z\n")), 0u);
}

// The local zone plays no part in reading the client's UTC times.
TEST(LogEntryFields, DateIgnoresTheLocalZone) {
  ScopedTimeZone zone("Asia/Kolkata");
  // 2024-01-31 09:15:00 UTC in 100 ns since 1601.
  EXPECT_EQ(LogEntryFields::parseTimeStamp(cmString("2024-01-31T09:15:00.000000Z")), 133511661000000000ull);
}

}  // namespace
