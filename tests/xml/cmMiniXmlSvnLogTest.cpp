// The documents that matter most: logs printed by the real Subversion client
// (`svn log --xml -v`) over a scratch repository made in the test.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "runtime/cmException.h"
#include "xml/cmMiniXml.h"

namespace {

namespace fs = std::filesystem;

struct Commit {
  std::string author;
  std::string message;
};

class SvnLog : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = new fs::path(fs::temp_directory_path() /
                        ("rh_xml_svnlog_" + std::to_string(reinterpret_cast<uintptr_t>(&dir_) ^ std::time(nullptr))));
    fs::remove_all(*dir_);
    fs::create_directories(*dir_);
    const fs::path& d = *dir_;
    std::string repo = (d / "repo").string();
    url_ = "file://" + repo;
    ok_ = run("svnadmin create '" + repo + "'") && run("svn checkout -q '" + url_ + "' '" + (d / "wc").string() + "'");
    if (!ok_) return;
    fs::path wc = d / "wc";
    fs::create_directories(wc / "dir with blanks");
    write(wc / "dir with blanks" / "file one.txt", "1\n");
    write(wc / "plain.txt", "p\n");
    ok_ = run("cd '" + wc.string() + "' && svn add -q 'dir with blanks' plain.txt") &&
          commit(wc, "J\xC3\xBCrgen \xC3\x96lm", "first & <second> \"third\" 'fourth'\nline two\n\nline four") &&
          (write(wc / "plain.txt", "q\n"), commit(wc, "bob", "")) &&
          run("cd '" + wc.string() + "' && svn copy -q 'dir with blanks' 'copy of dir'") &&
          commit(wc, "\xE5\xB1\xB1\xE7\x94\xB0", "copied: a < b > c & d;") &&
          run("cd '" + wc.string() + "' && svn delete -q plain.txt") && commit(wc, "ann", "\n  gone  \n");
    ok_ = ok_ && run("svn log --xml -v '" + url_ + "' > '" + (d / "log.xml").string() + "'");
  }
  static void TearDownTestSuite() {
    if (dir_) fs::remove_all(*dir_);
    delete dir_;
    dir_ = nullptr;
  }
  // Output is dropped unless the command redirects it itself.
  static bool run(const std::string& cmd) {
    bool redirects = cmd.find(" > ") != std::string::npos;
    return std::system((cmd + (redirects ? " 2>/dev/null" : " >/dev/null 2>&1")).c_str()) == 0;
  }
  static void write(const fs::path& p, const std::string& s) { std::ofstream(p, std::ios::binary) << s; }
  static bool commit(const fs::path& wc, const std::string& author, const std::string& message) {
    write(*dir_ / "msg.txt", message);
    commits_.insert(commits_.begin(), Commit{author, message});  // the log prints the newest first
    return run("cd '" + wc.string() + "' && svn commit -q --username '" + author + "' -F '" +
               (*dir_ / "msg.txt").string() + "'");
  }
  static std::string logText() {
    std::ifstream in(*dir_ / "log.xml", std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
  }

  static fs::path* dir_;
  static std::string url_;
  static bool ok_;
  static std::vector<Commit> commits_;
};
fs::path* SvnLog::dir_ = nullptr;
std::string SvnLog::url_;
bool SvnLog::ok_ = false;
std::vector<Commit> SvnLog::commits_;

// The first text child of the first child element `name`, as the log reader
// reaches it, or "" when a step finds nothing.
std::string field(cmMiniXml& doc, cmMiniXmlNode* entry, const char* name) {
  cmMiniXmlNode* e = cmMiniXml::findChild(entry, name, CMXML_NODE_ELEMENT);
  cmMiniXmlNode* t = cmMiniXml::firstChildOfKind(e, CMXML_NODE_TEXT);
  return t ? std::string(doc.decodedValue(t)) : std::string();
}

TEST_F(SvnLog, ReadsWhatTheClientPrinted) {
  ASSERT_TRUE(ok_) << "svn scratch repository could not be made";
  cmMiniXml doc;
  int32_t status = -1;
  doc.loadFile((*dir_ / "log.xml").c_str(), CMXML_PARSE_KEEP_TEXT, CMXML_ENCODING_AUTO_XML, &status);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(doc.versionText(), "1.0");
  EXPECT_EQ(doc.encodingName(), "UTF-8");
  EXPECT_EQ(doc.eol(), "\n");
  EXPECT_EQ(doc.fileEncoding(), CMXML_ENCODING_UTF8);
  cmMiniXmlNode* log = doc.rootElement();
  ASSERT_NE(log, nullptr);
  EXPECT_EQ(log->nameView(), "log");
  std::vector<cmMiniXmlNode*> entries;
  for (cmMiniXmlNode* e = cmMiniXml::findChild(log, "logentry", 1); e; e = cmMiniXml::nextSiblingOfKind(e, 1))
    if (e->nameView() == "logentry") entries.push_back(e);
  ASSERT_EQ(entries.size(), commits_.size());
  for (size_t i = 0; i < entries.size(); ++i) {
    cmMiniXmlNode* e = entries[i];
    EXPECT_EQ(doc.decodedValue(cmMiniXml::findAttribute(e, "revision")), std::to_string(entries.size() - i));
    EXPECT_EQ(field(doc, e, "author"), commits_[i].author);
    EXPECT_EQ(field(doc, e, "msg"), commits_[i].message) << i;
    EXPECT_EQ(field(doc, e, "date").size(), 27u);  // 2024-01-31T09:15:00.123456Z
    // An empty message is an element without text.
    if (commits_[i].message.empty()) {
      cmMiniXmlNode* msg = cmMiniXml::findChild(e, "msg", CMXML_NODE_ELEMENT);
      ASSERT_NE(msg, nullptr);
      EXPECT_EQ(cmMiniXml::firstChildOfKind(msg, CMXML_ALL_KINDS), nullptr);
    }
  }
  // Changed paths, blanks and all; the copy names its source.
  cmMiniXmlNode* paths = cmMiniXml::findChild(entries[1], "paths", 1);
  cmMiniXmlNode* path = cmMiniXml::findChild(paths, "path", 1);
  ASSERT_NE(path, nullptr);
  EXPECT_EQ(doc.nodeValue(path), "/copy of dir");
  EXPECT_EQ(doc.decodedValue(cmMiniXml::findAttribute(path, "action")), "A");
  EXPECT_EQ(doc.decodedValue(cmMiniXml::findAttribute(path, "kind")), "dir");
  EXPECT_EQ(doc.decodedValue(cmMiniXml::findAttribute(path, "copyfrom-path")), "/dir with blanks");
  // The working copy still had the directory at revision 1 when it was copied.
  EXPECT_EQ(doc.decodedValue(cmMiniXml::findAttribute(path, "copyfrom-rev")), "1");
  std::vector<std::string> firstPaths;
  for (cmMiniXmlNode* p = cmMiniXml::findChild(cmMiniXml::findChild(entries.back(), "paths", 1), "path", 1); p;
       p = cmMiniXml::nextSiblingOfKind(p, 1))
    firstPaths.push_back(doc.nodeValue(p));
  std::sort(firstPaths.begin(), firstPaths.end());
  EXPECT_EQ(firstPaths, (std::vector<std::string>{"/dir with blanks", "/dir with blanks/file one.txt", "/plain.txt"}));
  // Nodes still pointing into the text have lines, in document order
  // (decoded values are private copies and have none).
  uint64_t lastLine = 0;
  for (auto it = doc.walk(log); !it.done(); it.next()) {
    uint64_t line = doc.lineOfNode(*it);
    if (!line) continue;
    EXPECT_GE(line, lastLine);
    lastLine = line;
  }
  EXPECT_GT(lastLine, 20u);
}

TEST_F(SvnLog, EditsThenWalks) {
  ASSERT_TRUE(ok_);
  cmMiniXml doc;
  doc.setIdsEnabled(true);
  doc.loadFile((*dir_ / "log.xml").c_str(), CMXML_PARSE_KEEP_TEXT);
  cmMiniXmlNode* log = doc.rootElement();
  ASSERT_NE(log, nullptr);
  // Drop every paths element, retag the messages, add a marker attribute.
  std::vector<cmMiniXmlNode*> entries;
  for (cmMiniXmlNode* e = cmMiniXml::findChild(log, "logentry", 1); e; e = cmMiniXml::nextSiblingOfKind(e, 1))
    entries.push_back(e);
  for (cmMiniXmlNode* e : entries) {
    doc.deleteNode(cmMiniXml::findChild(e, "paths", 1), false);
    e->setAttribute("seen", "yes", CMXML_WHERE_FIRST_CHILD);
    doc.setNodeName(cmMiniXml::findChild(e, "msg", 1), "message");
  }
  doc.deleteNode(entries[0], false);
  size_t count = 0;
  for (auto it = doc.walk(); !it.done(); it.next()) {
    const cmMiniXmlNode* n = *it;
    EXPECT_NE(n->nameView(), "paths");
    EXPECT_NE(n->nameView(), "msg");
    if (n->nameView() == "logentry") {
      ++count;
      EXPECT_EQ(n->firstChild->nameView(), "seen");
      EXPECT_EQ(cmMiniXml::findAttribute(n, "revision")->rawValue().size(), 1u);
    }
  }
  EXPECT_EQ(count, entries.size() - 1);
  EXPECT_EQ(doc.nodeValue(cmMiniXml::findChild(entries[1], "message", 1)), commits_[1].message);
  // A copy of the edited tree is the same tree.
  cmMiniXml copy(doc);
  auto a = doc.walk(), b = copy.walk();
  for (; !a.done() && !b.done(); a.next(), b.next()) {
    EXPECT_EQ((*a)->kind, (*b)->kind);
    EXPECT_EQ(cmMiniXml::displayName(*a), cmMiniXml::displayName(*b));
    EXPECT_EQ(doc.nodeValue(const_cast<cmMiniXmlNode*>(*a)), copy.nodeValue(const_cast<cmMiniXmlNode*>(*b)));
  }
  EXPECT_TRUE(a.done() && b.done());
}

TEST_F(SvnLog, EveryTruncationFailsCleanlyOrKeepsAPrefix) {
  ASSERT_TRUE(ok_);
  std::string text = logText();
  size_t rootEnd = text.rfind("</log>") + 6;
  size_t declEnd = text.find("?>") + 2;
  cmMiniXml full;
  full.loadString(text, CMXML_PARSE_KEEP_TEXT);
  for (size_t cut = 0; cut < text.size(); ++cut) {
    std::string_view part(text.data(), cut);
    cmMiniXml doc;
    int32_t code = 0;
    try {
      doc.loadString(part, CMXML_PARSE_KEEP_TEXT);
    } catch (const cmException& e) {
      code = e.number();
    }
    if (cut >= rootEnd || cut == 0 || cut == declEnd || cut == declEnd + 1) {
      EXPECT_EQ(code, 0) << cut;
    } else {
      EXPECT_TRUE(code == CMXML_ERR_UNEXPECTED_END || code == CMXML_ERR_BAD_VALUE || code == CMXML_ERR_NO_NAME ||
                  code == CMXML_ERR_END_TAG_OPEN || code == CMXML_ERR_TAG_MISMATCH || code == CMXML_ERR_PI_OPEN ||
                  code == CMXML_ERR_BAD_TAG_END || code == CMXML_ERR_NO_EQUALS || code == CMXML_ERR_NO_QUOTE)
          << cut << " " << code;
      EXPECT_EQ(doc.nodeCount(), 1u);
    }
    int32_t status = 0;
    doc.loadString(part, CMXML_PARSE_KEEP_TEXT | CMXML_PARSE_KEEP_PARTIAL, &status);
    EXPECT_EQ(status, code) << cut;
    EXPECT_LE(doc.nodeCount(), full.nodeCount());
  }
}

}  // namespace
