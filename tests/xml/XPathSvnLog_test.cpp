// The log reader's four queries over a log written by the real Subversion
// client: a repository made with svnadmin, a working copy over file://, and
// commits that add, copy, modify and delete files and directories.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "xml/cmMiniXml.h"
#include "xml/cmXPath.h"

namespace {

namespace fs = std::filesystem;

bool haveSvn() { return std::system("svn --version --quiet >/dev/null 2>&1 && svnadmin --version --quiet >/dev/null 2>&1") == 0; }

// Makes the repository and returns the path of `svn log --xml -v` over it,
// oldest revision first; empty on failure.
std::string makeLog(const fs::path& dir) {
  fs::remove_all(dir);
  fs::create_directories(dir);
  const std::string d = dir.string();
  const std::string svn = "svn -q --non-interactive --config-dir '" + d + "/cfg' ";
  const std::string url = "file://" + d + "/repo";
  std::ostringstream s;
  s << "set -e; cd '" << d << "'; svnadmin create repo; " << svn << "checkout " << url << " wc; cd wc; "
    // r1: three top folders, a file, a subfolder with a file
    << svn << "mkdir trunk branches tags trunk/sub; echo a > trunk/a.txt; echo b > trunk/sub/b.txt; "
    << svn << "add trunk/a.txt trunk/sub/b.txt; " << svn << "commit -m init; "
    // r2: a branch, copied from trunk
    << svn << "copy trunk branches/br; " << svn << "commit -m branch; "
    // r3: modify a file, delete a file, add a file
    << "echo more >> trunk/a.txt; " << svn << "delete trunk/sub/b.txt; echo c > trunk/c.txt; " << svn
    << "add trunk/c.txt; " << svn << "commit -m change; " << svn << "update; "
    // r4: copy a file, delete a folder
    << svn << "copy trunk/a.txt trunk/d.txt; " << svn << "delete trunk/sub; " << svn << "commit -m copy; "
    << "cd ..; " << svn << "log --xml -v -r 1:HEAD " << url << " > log.xml";
  std::string script = s.str();
  std::string command = "sh -c \"" + script + "\" >'" + d + "/script.out' 2>&1";
  // The script holds single quotes only; double quotes wrap it for sh.
  if (std::system(command.c_str()) != 0) return {};
  return d + "/log.xml";
}

class XPathSvnLog : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (!haveSvn()) return;
    fs::path dir = fs::path(RH_BINARY_DIR) / "xpath-svnlog";
    logFile = makeLog(dir);
  }

  void SetUp() override {
    if (!haveSvn()) GTEST_SKIP() << "svn and svnadmin are not installed";
    ASSERT_FALSE(logFile.empty()) << "making the repository failed; see xpath-svnlog/script.out";
    doc.loadFile(logFile.c_str(), CMXML_PARSE_KEEP_NONBLANK_TEXT);
    cmXPath::findAll(doc, "//logentry", entries);
  }

  // The sorted texts of the paths a query finds below one log entry.
  std::vector<std::string> paths(cmMiniXmlNode* entry, const char* query) {
    cmXPathNodeList found;
    cmXPath::findAll(doc, query, found, entry);
    std::vector<std::string> out;
    for (cmMiniXmlNode* n : found) out.push_back(doc.nodeValue(n));
    std::sort(out.begin(), out.end());
    return out;
  }

  static inline std::string logFile;
  cmMiniXml doc;
  cmXPathNodeList entries;
};

using Paths = std::vector<std::string>;

TEST_F(XPathSvnLog, EveryLogEntryIsFoundInOrder) {
  ASSERT_EQ(entries.size(), 4);
  for (int64_t i = 0; i < entries.size(); ++i) {
    cmMiniXmlNode* rev = cmMiniXml::findAttribute(entries[i], "revision");
    ASSERT_NE(rev, nullptr);
    EXPECT_EQ(doc.decodedValue(rev), std::to_string(i + 1));
  }
  // From an entry, "//logentry" looks only below it.
  cmXPathNodeList inner;
  cmXPath::findAll(doc, "//logentry", inner, entries[0]);
  EXPECT_TRUE(inner.empty());
}

TEST_F(XPathSvnLog, AddedDirectories) {
  const char* q = "paths/path[@kind='dir'][@action='A']";
  ASSERT_EQ(entries.size(), 4);
  EXPECT_EQ(paths(entries[0], q), (Paths{"/branches", "/tags", "/trunk", "/trunk/sub"}));
  EXPECT_EQ(paths(entries[1], q), (Paths{"/branches/br"}));
  EXPECT_EQ(paths(entries[2], q), Paths{});
  EXPECT_EQ(paths(entries[3], q), Paths{});
  // The branch reader asks for the first one only.
  cmMiniXmlNode* first = cmXPath::findFirst(doc, q, entries[1]);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(doc.nodeValue(first), "/branches/br");
  EXPECT_EQ(doc.decodedValue(cmMiniXml::findAttribute(first, "copyfrom-path")), "/trunk");
  EXPECT_EQ(cmXPath::findFirst(doc, q, entries[2]), nullptr);
}

TEST_F(XPathSvnLog, DeletedPaths) {
  const char* q = "paths/path[@action='D']";
  ASSERT_EQ(entries.size(), 4);
  EXPECT_EQ(paths(entries[0], q), Paths{});
  EXPECT_EQ(paths(entries[1], q), Paths{});
  EXPECT_EQ(paths(entries[2], q), (Paths{"/trunk/sub/b.txt"}));
  EXPECT_EQ(paths(entries[3], q), (Paths{"/trunk/sub"}));
}

TEST_F(XPathSvnLog, ChangedFilesThatAreNeitherDeletedNorCopied) {
  const char* q = "paths/path[@kind='file'][not(@action='D')][not(@copyfrom-path)]";
  ASSERT_EQ(entries.size(), 4);
  EXPECT_EQ(paths(entries[0], q), (Paths{"/trunk/a.txt", "/trunk/sub/b.txt"}));
  EXPECT_EQ(paths(entries[1], q), Paths{});
  EXPECT_EQ(paths(entries[2], q), (Paths{"/trunk/a.txt", "/trunk/c.txt"}));
  EXPECT_EQ(paths(entries[3], q), Paths{});  // d.txt is a copy
  // The copy is there, and found by dropping the last predicate.
  EXPECT_EQ(paths(entries[3], "paths/path[@kind='file'][not(@action='D')]"), (Paths{"/trunk/d.txt"}));
}

}  // namespace
