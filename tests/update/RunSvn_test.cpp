// RunSvn against the real client and a repository made for the test.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "ProcessTestDir.h"
#include "update/RunSvn.h"
#include "update/cmProcessPath.h"

namespace {

std::string str(const cmString& s) { return s.isEmpty() ? std::string() : std::string(s.data(), size_t(s.length())); }
cmString cms(const std::string& s) { return cmString(s.data(), int64_t(s.size())); }
std::string inQuotes(const std::string& s) { return "\"" + s + "\""; }

class RunSvnTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    svn_ = new std::string(str(FindProgramOnPath(cmString("svn"), 0, nullptr, false, false, nullptr)));
    const std::string svnadmin = str(FindProgramOnPath(cmString("svnadmin"), 0, nullptr, false, false, nullptr));
    if (svn_->empty() || svnadmin.empty()) return;
    dir_ = new ProcessTestDir("runsvn");
    url_ = new std::string("file://" + dir_->file("repo"));
    const std::string seed = dir_->write("seed.txt", "seed\n");
    // Three revisions: a layout, a file, a branch.
    ok_ = RunSvn(cms(svnadmin), cms(" create " + inQuotes(dir_->file("repo")))) == 0 &&
          RunSvn(cms(*svn_), cms(" mkdir -q -m layout " + inQuotes(*url_ + "/trunk") + " " +
                                 inQuotes(*url_ + "/branches"))) == 0 &&
          RunSvn(cms(*svn_), cms(" import -q -m \"add a file\" " + inQuotes(seed) + " " +
                                 inQuotes(*url_ + "/trunk/seed.txt"))) == 0 &&
          RunSvn(cms(*svn_), cms(" copy -q -m branch " + inQuotes(*url_ + "/trunk") + " " +
                                 inQuotes(*url_ + "/branches/b1"))) == 0;
  }
  static void TearDownTestSuite() {
    delete dir_;
    delete url_;
    delete svn_;
    dir_ = nullptr;
    url_ = svn_ = nullptr;
  }
  void SetUp() override {
    if (svn_->empty()) GTEST_SKIP() << "no svn client installed";
    ASSERT_TRUE(ok_) << "could not build the test repository";
  }

  // The arguments as the driver builds them.
  static std::string logArgs(const std::string& url, const std::string& range, const std::string& out) {
    return " log --xml -v " + inQuotes(url) + range + " > " + inQuotes(out);
  }

  static inline ProcessTestDir* dir_ = nullptr;
  static inline std::string* url_ = nullptr;
  static inline std::string* svn_ = nullptr;
  static inline bool ok_ = false;
};

TEST_F(RunSvnTest, HeadLogLandsInTheFile) {
  const std::string out = dir_->file("head.xml");
  ASSERT_EQ(RunSvn(cms(inQuotes(*svn_)), cms(logArgs(*url_, " -rHEAD", out))), 0);
  const std::string xml = ProcessTestDir::read(out);
  EXPECT_EQ(xml.rfind("<?xml", 0), 0u) << xml;
  EXPECT_NE(xml.find("revision=\"3\""), std::string::npos) << xml;
  EXPECT_EQ(xml.find("revision=\"2\""), std::string::npos) << xml;
  EXPECT_NE(xml.find("copyfrom-path=\"/trunk\""), std::string::npos) << xml;
  EXPECT_NE(xml.find("</log>"), std::string::npos);
}

TEST_F(RunSvnTest, RangesAsTheDriverWritesThem) {
  const std::string out = dir_->file("range.xml");
  for (const char* range : {" -r0:3", " -r\"{2000-01-01}:HEAD\"", " -r1:2"}) {
    SCOPED_TRACE(range);
    ASSERT_EQ(RunSvn(cms(inQuotes(*svn_)), cms(logArgs(*url_, range, out))), 0);
    const std::string xml = ProcessTestDir::read(out);
    EXPECT_NE(xml.find("revision=\"1\""), std::string::npos) << xml;
    EXPECT_NE(xml.find("revision=\"2\""), std::string::npos) << xml;
  }
}

TEST_F(RunSvnTest, ClientFailureGivesItsStatusAndItsMessageStaysOutOfTheFile) {
  const std::string out = dir_->file("bad.xml");
  const int32_t status =
      RunSvn(cms(inQuotes(*svn_)), cms(logArgs("file://" + dir_->file("no-such-repo"), " -rHEAD", out)));
  EXPECT_GT(status, 0);
  EXPECT_EQ(ProcessTestDir::read(out).find("svn: E"), std::string::npos);
}

TEST_F(RunSvnTest, MissingClientGivesMinusTwoAndStartsNothing) {
  const std::string out = dir_->file("never.xml");
  for (const std::string& client : {inQuotes(dir_->file("no such dir/svn")), dir_->file("nodir/svn"),
                                   std::string("no-such-svn-client")}) {
    SCOPED_TRACE(client);
    EXPECT_EQ(RunSvn(cms(client), cms(logArgs(*url_, " -rHEAD", out))), -2);
    EXPECT_FALSE(std::filesystem::exists(out));
  }
}

TEST_F(RunSvnTest, ClientPathWithBlanks) {
  std::filesystem::create_directories(dir_->file("client dir"));
  const std::string link = dir_->file("client dir/svn");
  if (!std::filesystem::exists(link)) std::filesystem::create_symlink(*svn_, link);
  const std::string out = dir_->file("out dir/blank.xml");
  std::filesystem::create_directories(dir_->file("out dir"));
  // As the driver passes it (quoted), and bare, which the runner quotes.
  for (const std::string& client : {inQuotes(link), link}) {
    SCOPED_TRACE(client);
    std::filesystem::remove(out);
    ASSERT_EQ(RunSvn(cms(client), cms(logArgs(*url_, " -rHEAD", out))), 0);
    EXPECT_NE(ProcessTestDir::read(out).find("revision=\"3\""), std::string::npos);
  }
}

TEST_F(RunSvnTest, EmptyArgumentsRunTheClientAlone) {
  // No redirection: the client runs directly and complains about the
  // missing subcommand on our standard error, with its usage status.
  EXPECT_GT(RunSvn(cms(*svn_), cmString()), 0);
}

}  // namespace
