// The scan of a log's entries against the query it stands for: the same
// node ids in the same order as tvXMLCFGFindList("//logentry"), walked on
// one thread or two, and a hint that is set for every entry that has an
// added directory.
#include "ingest/LogEntryScan.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ingest/IngestCodes.h"
#include "ingest/LogReader.h"
#include "update/UpdateTestSupport.h"
#include "xml/cmMiniXmlNode.h"
#include "xml/tvXmlCfg.h"

namespace {

struct Scanned {
  std::vector<int> query;     // what the handle function lists
  std::vector<int> ids[2];    // the scan on one thread, on two
  std::vector<uint8_t> hints[2];
  std::vector<uint8_t> readerSays;  // per query match: has LogReader a first added directory
};

Scanned ScanBothWays(const std::string& xml) {
  Scanned s;
  ScratchDir dir;
  const std::string path = dir.file("log.xml");
  WriteWholeFile(path, xml);
  int32_t status = 0;
  int32_t h = tvXMLCFGOpen(path.c_str(), &status, ingest::kLogOpenFlags, ingest::kLogEncodingAutoXml);
  EXPECT_EQ(status, 0);
  cmArray<int> found;
  tvXMLCFGFindList(h, ingest::kLogEntryQuery, 0, found, 0, -1);
  s.query.assign(found.begin(), found.end());
  for (int threads = 0; threads < 2; ++threads) {
    ingest::LogEntries scan;
    ingest::ScanLogEntries(h, scan, threads == 1);
    s.ids[threads].assign(scan.ids.begin(), scan.ids.end());
    s.hints[threads] = scan.mayAddDirectory;
  }
  {
    ingest::LogReader log(h);
    for (int id : s.query) s.readerSays.push_back(log.firstAddedDirectory(log.entry(id)) ? 1 : 0);
  }
  tvXMLCFGClose(h);
  return s;
}

void ExpectSameAsQuery(const Scanned& s) {
  for (int threads = 0; threads < 2; ++threads) {
    EXPECT_EQ(s.ids[threads], s.query) << threads + 1 << " thread(s)";
    ASSERT_EQ(s.hints[threads].size(), s.query.size());
    for (size_t i = 0; i < s.query.size(); ++i)
      if (s.readerSays[i]) {
        EXPECT_TRUE(s.hints[threads][i]) << "entry " << s.query[i];
      }
  }
}

// Shapes a log never has but the query still answers: entries inside
// entries and inside other elements, names that differ in case or prefix,
// an attribute and a text called logentry, comments and processing
// instructions among them, a kind that is "dir" only once decoded.
TEST(LogEntryScan, OddDocumentsListAsTheQueryDoes) {
  const std::string odd =
      "<?xml version=\"1.0\"?>\n<!-- head -->\n<log logentry=\"1\">\n"
      "<logentry revision=\"1\"><paths><path kind=\"dir\" action=\"A\">/b</path></paths>"
      "<logentry revision=\"1.1\"><logentry revision=\"1.1.1\"/></logentry></logentry>\n"
      "<LogEntry revision=\"2\"/><x:logentry revision=\"3\"/><?pi logentry?>\n"
      "<wrap><deeper><logentry revision=\"4\"><paths><path kind=\"d&#105;r\">/c</path></paths></logentry>"
      "</deeper>logentry</wrap>\n"
      "<logentry revision=\"5\"><paths><path kind=\"file\">/f</path><path action=\"A\">/g</path></paths>"
      "<paths><path kind=\"dir\"/></paths></logentry>\n"
      "<logentry revision=\"6\"><path kind=\"dir\">/not/under/paths</path></logentry>\n"
      "</log>\n";
  Scanned s = ScanBothWays(odd);
  EXPECT_EQ(s.query.size(), 6u);
  ExpectSameAsQuery(s);
  // Entries 1, 4 (decoded) and 5 may add a directory; 1.1, 1.1.1 and 6 do not.
  EXPECT_EQ(s.hints[1], (std::vector<uint8_t>{1, 0, 0, 1, 1, 0}));

  // A log without entries, and an entry as the document's element.
  EXPECT_TRUE(ScanBothWays("<log>\n</log>\n").ids[1].empty());
  ExpectSameAsQuery(ScanBothWays("<logentry revision=\"9\"><logentry/></logentry>\n"));
}

// Enough entries for the second thread, and the halves must meet exactly:
// entries at the split, nested ones, other elements between them.
TEST(LogEntryScan, LargeLogsSplitAcrossTwoThreadsKeepTheOrder) {
  for (int entries : {255, 256, 257, 1001, 4000}) {
    std::string xml = "<?xml version=\"1.0\"?>\n<log>\n";
    for (int e = 0; e < entries; ++e) {
      xml += "<logentry revision=\"" + std::to_string(e) + "\"><paths>";
      xml += e % 7 == 0 ? "<path kind=\"dir\" action=\"A\">/branches/b</path>" : "<path kind=\"file\">/f</path>";
      xml += "</paths>";
      if (e % 97 == 0) xml += "<logentry revision=\"inner\"/>";
      xml += "</logentry>\n";
      if (e % 13 == 0) xml += "<other><logentry revision=\"other\"/></other>\n";
    }
    xml += "</log>\n";
    Scanned s = ScanBothWays(xml);
    ExpectSameAsQuery(s);
    // Here a directory is always added: the hint is the reader's answer.
    EXPECT_EQ(s.hints[1], s.readerSays) << entries;
  }
}

}  // namespace
