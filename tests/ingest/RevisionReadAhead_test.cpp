// The revision pass with its entries read on a second thread (and the
// branch pass skipping the entries that the entry scan rules out) against
// the same passes reading everything themselves: on a large generated log both must write
// the same run log, line for line, and store the same rows; a repeat of the
// log must store and log nothing more.
#include "ingest/RevisionReadAhead.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "IngestTestSupport.h"
#include "SvnRepoIngestSupport.h"
#include "ingest/BranchIngest.h"
#include "ingest/LabelIngest.h"
#include "ingest/LogEntryScan.h"
#include "xml/tvXmlCfg.h"

namespace {

// A log of `entries` commits over a trunk, a few branches, tags and the
// top level, with every kind of path the revision pass treats differently:
// deleted and copied files, directories, empty paths and paths without
// text, names that only look like branches, and long messages.
std::string GeneratedLog(int entries, uint32_t seed) {
  std::mt19937 random(seed);
  auto upTo = [&](int n) { return std::uniform_int_distribution<int>(0, n)(random); };
  auto pick = [&](const std::vector<std::string>& options) {
    return options[static_cast<size_t>(upTo(static_cast<int>(options.size()) - 1))];
  };
  std::string xml = "<?xml version=\"1.0\"?>\n<log>\n";
  for (int e = 1; e <= entries; ++e) {
    xml += "<logentry revision=\"" + std::to_string(e) + "\">";
    if (upTo(9)) xml += "<author>" + pick({"ann", "bob", " c&amp;d "}) + "</author>";
    if (upTo(9)) xml += "<date>2021-0" + std::to_string(1 + upTo(8)) + "-1" + std::to_string(upTo(9)) + "T1" +
                        std::to_string(upTo(9)) + ":33:20.0" + std::to_string(upTo(9)) + "0000Z</date>";
    xml += "<paths>";
    if (!upTo(12)) {
      // A copy: a branch or a label of a branch root, of a subdirectory or
      // of an unknown source, sometimes with deletions.
      const std::string target = pick({"/tags/t", "/branches/c", "/tags/t"}) + std::to_string(upTo(60)) +
                                 pick({"", "", "/sub"});
      xml += "<path kind=\"dir\" action=\"A\" copyfrom-path=\"" +
             pick({"/trunk", "/branches/b1", "/branches/b9", "/trunk/src", "/branches/c3"}) +
             "\" copyfrom-rev=\"" + std::to_string(upTo(e)) + "\">" + target + "</path>";
      if (!upTo(2)) xml += "<path kind=\"file\" action=\"D\">" + target + "/f" + std::to_string(upTo(9)) + ".c</path>";
    }
    for (int p = upTo(5); p > 0; --p) {
      const std::string root =
          pick({"/trunk", "/trunk", "/branches/b" + std::to_string(upTo(6)), "/tags/t" + std::to_string(upTo(2)),
                "/branches", "", "/Trunk", "/branches/team/b1"});
      std::string path = root + "/" + pick({"src/", "", "doc/deep/"}) + "f" + std::to_string(upTo(400)) + ".c";
      if (!upTo(30)) path = "";
      const std::string kind = upTo(8) ? "file" : "dir";
      const std::string action = pick({"M", "M", "A", "D", "R"});
      const std::string copy = upTo(12) ? "" : " copyfrom-path=\"/trunk/f1.c\" copyfrom-rev=\"1\"";
      if (!upTo(25))
        xml += "<path kind=\"" + kind + "\" action=\"" + action + "\"" + copy + "/>";
      else
        xml += "<path kind=\"" + kind + "\" action=\"" + action + "\"" + copy + ">" + pick({"", " ", "\n"}) + path +
               "</path>";
    }
    xml += "</paths><msg>" + std::string(static_cast<size_t>(upTo(3) * upTo(700)), 'm') + " " +
           std::to_string(e) + "</msg></logentry>\n";
  }
  return xml + "</log>\n";
}

// The log document at `path`, open for the object's life, and its entries.
struct OpenLog {
  explicit OpenLog(const std::string& path) {
    int32_t status = 0;
    handle = tvXMLCFGOpen(path.c_str(), &status, ingest::kLogOpenFlags, ingest::kLogEncodingAutoXml);
    EXPECT_EQ(status, 0) << path;
    tvXMLCFGFindList(handle, ingest::kLogEntryQuery, 0, entries, 0, -1);
  }
  ~OpenLog() { tvXMLCFGClose(handle); }
  OpenLog(const OpenLog&) = delete;
  OpenLog& operator=(const OpenLog&) = delete;

  int32_t handle = -1;
  cmArray<int> entries;
};

class ReadAheadRun {
 public:
  ReadAheadRun(ScratchDir& dir, const std::string& name) : file_(dir.file(name + ".db")) {
    cache_ = std::make_unique<VCDataLayer>(tolvane::TVString("file:///r"), tolvane::TVString(file_.c_str()), 1);
    EXPECT_EQ(cache_->open(), 0);
    // The trunk first, so that its id is 0, then branches; b5 and b6 stay
    // unknown, and one tag is known as a branch.
    for (const char* branch : {"/trunk", "/branches/b0", "/branches/b1", "/branches/b2", "/branches/b3",
                               "/branches/b4", "/tags/t1"}) {
      VCBranchInfo b;
      b.name = branch;
      b.number = "1";
      b.copyFromNumber = "-1";
      EXPECT_EQ(cache_->insertBranch(b), 0) << branch;
    }
  }

  // The run log of the revision pass over the document in `log`.
  std::string pass(const std::string& log, bool readAhead) {
    return CaptureStdout([&] {
      onDocument(log, [&](int32_t handle, const cmArray<int>& entries) {
        return StoreRevisionInfo(cache_.get(), handle, entries, readAhead);
      });
    });
  }

  // The run logs of the three passes over the document in `log`, the label
  // pass visiting only the candidates that the revision pass's reader
  // listed, or every entry.
  // `given` replaces the list for the label pass.
  std::vector<std::string> allPasses(const std::string& log, bool readAhead,
                                     ingest::LabelCandidates* seen = nullptr,
                                     const ingest::LabelCandidates* given = nullptr) {
    std::vector<std::string> logs;
    onDocument(log, [&](int32_t handle, const cmArray<int>& entries) {
      ingest::LabelCandidates labels;
      ingest::LabelCandidates* use = readAhead ? &labels : nullptr;
      // The fast way also skips the entries that the scan says add no
      // directory.
      ingest::LogEntries scan;
      ingest::ScanLogEntries(handle, scan);
      EXPECT_EQ(std::vector<int>(scan.ids.begin(), scan.ids.end()), std::vector<int>(entries.begin(), entries.end()));
      logs.push_back(CaptureStdout(
          [&] { StoreBranchInfo(cache_.get(), handle, entries, readAhead ? &scan.mayAddDirectory : nullptr); }));
      logs.push_back(
          CaptureStdout([&] { StoreRevisionInfo(cache_.get(), handle, entries, readAhead, use); }));
      if (seen) *seen = labels;
      if (given) {
        labels = *given;
        labels.document = handle;
        use = &labels;
      }
      logs.push_back(CaptureStdout([&] { StoreLabelInfo(cache_.get(), handle, entries, use); }));
      return 0;
    });
    return logs;
  }

  // Runs `body` with the handle and the entries of the document in `log`.
  template <typename Body>
  void onDocument(const std::string& log, Body&& body) {
    OpenLog doc(log);
    EXPECT_EQ(body(doc.handle, doc.entries), 0);
  }

  DumpTables rows(ScratchDir& dir) {
    cache_->close();
    DumpTables tables;
    EXPECT_TRUE(DumpCache(file_, dir.file("dump.json"), tables));
    for (DumpRow& r : tables["file"]) r.erase("last_update_time");
    for (DumpRow& r : tables["branch"])
      if (r["branch_name"] == "/trunk") r.erase("branch_time_stamp");
    EXPECT_EQ(cache_->open(), 0);
    return tables;
  }

 private:
  std::string file_;
  std::unique_ptr<VCDataLayer> cache_;
};

// Two or more caches fed from one generated log, with the run log on
// standard output where the tests capture it.
class RevisionReadAheadTest : public testing::Test {
 protected:
  void SetUp() override {
    SetVerboseLog(true);
    SetLogOutputMode(kLogToStdout);
  }
  std::string writeLog(int entries, uint32_t seed) {
    const std::string log = dir.file("log.xml");
    WriteWholeFile(log, GeneratedLog(entries, seed));
    return log;
  }

  LogSettingsGuard guard_;
  ScratchDir dir;
};

TEST_F(RevisionReadAheadTest, StoresAndLogsWhatTheSingleThreadedPassDoes) {
  REQUIRE_DUMP_TOOL();
  const std::string log = writeLog(3000, 11);

  ReadAheadRun threaded(dir, "threaded");
  ReadAheadRun alone(dir, "alone");
  const std::string threadedLog = threaded.pass(log, true);
  const std::string aloneLog = alone.pass(log, false);
  EXPECT_EQ(threadedLog, aloneLog);
  // A pass that stores nothing would pass the comparison too.
  EXPECT_GT(std::count(threadedLog.begin(), threadedLog.end(), '\n'), 1500);

  const DumpTables stored = threaded.rows(dir);
  EXPECT_EQ(stored, alone.rows(dir));
  EXPECT_GT(stored.at("file_revision_xref").size(), 2000u);

  // The same log again finds every file and every revision.
  EXPECT_EQ(threaded.pass(log, true), "");
  EXPECT_EQ(threaded.rows(dir), stored);
}

TEST_F(RevisionReadAheadTest, LabelPassOverTheListedCandidatesStoresWhatTheFullPassStores) {
  REQUIRE_DUMP_TOOL();
  const std::string log = writeLog(2500, 5);

  ReadAheadRun listed(dir, "listed");
  ReadAheadRun every(dir, "every");
  ingest::LabelCandidates candidates;
  const std::vector<std::string> listedLogs = listed.allPasses(log, true, &candidates);
  const std::vector<std::string> everyLogs = every.allPasses(log, false);
  ASSERT_EQ(listedLogs.size(), 3u);
  EXPECT_EQ(listedLogs, everyLogs);
  // The list was made, skips most entries, and still stored labels.
  EXPECT_TRUE(candidates.complete);
  EXPECT_GT(candidates.entries.size(), 20u);
  EXPECT_LT(candidates.entries.size(), 500u);
  const DumpTables stored = listed.rows(dir);
  EXPECT_EQ(stored, every.rows(dir));
  EXPECT_GT(stored.at("label").size(), 5u);
  EXPECT_GT(stored.at("label_exclusion").size(), 0u);

  // A list that is incomplete, or made for another entry list, is not
  // used: with one candidate left in it, every entry is still visited.
  for (bool complete : {false, true}) {
    ingest::LabelCandidates stale = candidates;
    stale.entries.resize(1);
    stale.complete = complete;
    if (complete) stale.entryCount = 3;
    ReadAheadRun other(dir, complete ? "other-list" : "incomplete");
    EXPECT_EQ(other.allPasses(log, true, nullptr, &stale), everyLogs) << complete;
    EXPECT_EQ(other.rows(dir), stored) << complete;
  }
}

// A reading thread that fails hands the rest of the entries back: the
// storing side gets every entry as a reader of its own would give it, and
// no label list.
TEST_F(RevisionReadAheadTest, AReaderThatFailsHandsTheRestBack) {
  const std::string log = writeLog(400, 3);
  OpenLog doc(log);
  const int32_t handle = doc.handle;
  const cmArray<int>& entries = doc.entries;
  ASSERT_EQ(entries.size(), 400);
  auto summary = [](const ingest::RevisionEntry& e) {
    std::string s = Str(e.fields.revision) + "|" + Str(e.fields.author) + "|" + Str(e.fields.message) + "|" +
                    std::to_string(e.fields.timeStamp);
    for (const ingest::ChangedPath& p : e.paths)
      s += "|" + std::to_string(p.inBranchForm) + Str(p.branchName) + ">" + Str(p.fileSpec);
    return s;
  };
  std::vector<std::string> expected;
  {
    ingest::RevisionReadAhead alone(handle, entries, false);
    for (int64_t i = 0; i < entries.size(); ++i) expected.push_back(summary(alone.entry(i)));
  }
  size_t withPaths = 0;
  for (const std::string& e : expected) withPaths += e.find('>') != std::string::npos;
  EXPECT_GT(withPaths, 200u);
  // At the first entry, inside and at the end of a hand-over, and last.
  for (int64_t failAt : {0, 31, 32, 33, 250, 399}) {
    ingest::LabelCandidates labels;
    {
      ingest::RevisionReadAhead read(handle, entries, true, &labels, failAt);
      EXPECT_TRUE(read.threaded());
      for (int64_t i = 0; i < entries.size(); ++i) ASSERT_EQ(summary(read.entry(i)), expected[i]) << failAt << " " << i;
    }
    EXPECT_FALSE(labels.complete) << failAt;
  }
  // Without a failure the list is made.
  ingest::LabelCandidates labels;
  {
    ingest::RevisionReadAhead read(handle, entries, true, &labels);
    for (int64_t i = 0; i < entries.size(); ++i) ASSERT_EQ(summary(read.entry(i)), expected[i]) << i;
  }
  EXPECT_TRUE(labels.coversAll(handle, 400));
}

TEST(RevisionReadAhead, ReadsEachEntryAsThePassNeedsIt) {
  LogSettingsGuard guard;
  ScratchDir dir;
  const std::string log = dir.file("log.xml");
  WriteWholeFile(log,
                 "<log><logentry revision=\" 7 \"><author> ann </author><msg>\n m \n</msg><paths>"
                 "<path kind=\"file\" action=\"M\"> /branches/b/x/a.c </path>"
                 "<path kind=\"file\" action=\"D\">/trunk/gone.c</path>"
                 "<path kind=\"file\" action=\"A\">/top.c</path>"
                 "<path kind=\"file\" action=\"A\"> </path>"
                 "<path kind=\"file\" action=\"A\"/>"
                 "<path kind=\"file\" action=\"R\">/trunk/b.c</path>"
                 "</paths></logentry>"
                 "<logentry revision=\"8\"><paths><path kind=\"dir\" action=\"A\">/trunk/d</path></paths>"
                 "<author>bob</author></logentry></log>");
  OpenLog doc(log);
  const int32_t handle = doc.handle;
  const cmArray<int>& entries = doc.entries;
  ASSERT_EQ(entries.size(), 2);
  for (bool useThread : {true, false}) {
    ingest::RevisionReadAhead read(handle, entries, useThread);
    ingest::RevisionEntry& first = read.entry(0);
    EXPECT_EQ(Str(first.fields.revision), " 7 ");
    EXPECT_EQ(Str(first.fields.author), "ann");
    EXPECT_EQ(Str(first.fields.message), "m");
    // The empty path keeps its place; the path without a text child has none.
    ASSERT_EQ(first.paths.size(), 4u);
    EXPECT_TRUE(first.paths[0].inBranchForm);
    EXPECT_EQ(Str(first.paths[0].branchName), "/branches/b");
    EXPECT_EQ(Str(first.paths[0].fileSpec), "/x/a.c");
    EXPECT_FALSE(first.paths[1].inBranchForm);
    EXPECT_EQ(Str(first.paths[1].fileSpec), "/top.c");
    EXPECT_FALSE(first.paths[2].inBranchForm);
    EXPECT_EQ(Str(first.paths[2].fileSpec), "");
    EXPECT_EQ(Str(first.paths[3].branchName), "/trunk");
    EXPECT_EQ(Str(first.paths[3].fileSpec), "/b.c");
    // No changed file: not even the fields are read.
    ingest::RevisionEntry& second = read.entry(1);
    EXPECT_TRUE(second.paths.empty());
    EXPECT_TRUE(second.fields.author.isEmpty());
  }
}

}  // namespace
