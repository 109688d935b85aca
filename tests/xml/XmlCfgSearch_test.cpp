// XPath searches through handles: first match, lists, limits, appending,
// failures, and the host delivery that this program has no host for.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "XmlCfgTestSupport.h"
#include "xml/tvXmlCfgInternal.h"

using xmlcfgtest::OpenDoc;
using xmlcfgtest::Scratch;
using xmlcfgtest::str;

namespace {

const char* const kLog =
    "<log>"
    "<logentry revision=\"1\"><paths><path kind=\"dir\" action=\"A\">/trunk</path></paths></logentry>"
    "<logentry revision=\"2\"><paths><path kind=\"file\" action=\"M\">/trunk/a</path>"
    "<path kind=\"file\" action=\"D\">/trunk/b</path></paths></logentry>"
    "<logentry revision=\"3\"/>"
    "</log>";

std::vector<std::string> Revisions(int32_t h, const cmArray<int>& ids) {
  std::vector<std::string> out;
  for (int id : ids) out.push_back(str(tvXMLCFGGetAttributeString(h, id, "revision", "?")));
  return out;
}

class XmlCfgSearch : public testing::Test {
 protected:
  Scratch dir_;
  OpenDoc doc_{dir_, kLog};
  int32_t h_ = doc_.handle();
};

TEST_F(XmlCfgSearch, FindListGivesDocumentOrder) {
  cmArray<int> ids;
  ASSERT_EQ(tvXMLCFGFindList(h_, "//logentry", 0, ids, 0, -1), 0);
  EXPECT_EQ(Revisions(h_, ids), (std::vector<std::string>{"1", "2", "3"}));
}

TEST_F(XmlCfgSearch, FindListClearsUnlessAskedToAppend) {
  cmArray<int> ids;
  ids.add(4711);
  ASSERT_EQ(tvXMLCFGFindList(h_, "//logentry[@revision='3']", 0, ids, 0, -1), 0);
  ASSERT_EQ(tvXMLCFGFindList(h_, "//logentry[@revision='1']", 0, ids, 1, -1), 0);
  EXPECT_EQ(Revisions(h_, ids), (std::vector<std::string>{"3", "1"}));
  // Only bit 1 of the append word counts.
  ASSERT_EQ(tvXMLCFGFindList(h_, "//logentry[@revision='2']", 0, ids, 2, -1), 0);
  EXPECT_EQ(Revisions(h_, ids), (std::vector<std::string>{"2"}));
}

TEST_F(XmlCfgSearch, NothingFoundIsNotAFailureForLists) {
  cmArray<int> ids;
  ids.add(1);
  EXPECT_EQ(tvXMLCFGFindList(h_, "//nothing", 0, ids, 0, -1), 0);
  EXPECT_EQ(ids.size(), 0);
  EXPECT_EQ(tvXMLCFGFindFirst(h_, "//nothing", 0), -1);
}

TEST_F(XmlCfgSearch, RelativeQueriesFromAnEntry) {
  cmArray<int> entries;
  ASSERT_EQ(tvXMLCFGFindList(h_, "//logentry", 0, entries, 0, -1), 0);
  ASSERT_EQ(entries.size(), 3);
  int32_t added = tvXMLCFGFindFirst(h_, "paths/path[@kind='dir'][@action='A']", entries[0]);
  ASSERT_GE(added, 0);
  EXPECT_EQ(str(tvXMLCFGGetText(h_, added)), "/trunk");
  EXPECT_EQ(tvXMLCFGFindFirst(h_, "paths/path[@kind='dir'][@action='A']", entries[1]), -1);
  cmArray<int> deleted;
  ASSERT_EQ(tvXMLCFGFindList(h_, "paths/path[@action='D']", entries[1], deleted, 0, -1), 0);
  ASSERT_EQ(deleted.size(), 1);
  EXPECT_EQ(str(tvXMLCFGGetText(h_, deleted[0])), "/trunk/b");
}

TEST_F(XmlCfgSearch, MaxResultsStopsTheRun) {
  cmArray<int> ids;
  ASSERT_EQ(tvXMLCFGFindList(h_, "//logentry", 0, ids, 0, 1), 0);
  EXPECT_LT(ids.size(), 3);
  EXPECT_GE(ids.size(), 1);
}

TEST_F(XmlCfgSearch, FailuresMapToMinusOne) {
  cmArray<int> ids;
  struct Case {
    const char* query;
  } cases[] = {{"//logentry["}, {"count(("}, {"1 = 1"}, {"'text'"}};
  for (const Case& c : cases) {
    EXPECT_EQ(tvXMLCFGFindList(h_, c.query, 0, ids, 0, -1), -1) << c.query;
    EXPECT_EQ(tvXMLCFGFindFirst(h_, c.query, 0), -1) << c.query;
  }
  EXPECT_EQ(tvXMLCFGFindFirst(h_, nullptr, 0), TVXMLCFG_ERR_BAD_ARGUMENT);
}

// An action other than -1 and 0 hands matches to the host's variables; this
// program's host hooks refuse, and the search reports the refusal.
TEST_F(XmlCfgSearch, HostDeliveryIsRefusedByTheStubs) {
  tvXmlCfgSearchOptions options;
  options.action = 3;
  std::fflush(stdout);
  testing::internal::CaptureStdout();
  int32_t rc = tvXmlCfgInternal::search(h_, "//logentry", 0, options, nullptr, false, -1);
  std::fflush(stdout);
  std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(rc, TVXMLCFG_ERR_BAD_ARGUMENT);
  EXPECT_EQ(options.matchCount, 0);
  EXPECT_EQ(printed, "Invalid call to tvHvarArrayEl");

  // Line delivery has no answer to refuse with: every match goes to the hook.
  options = tvXmlCfgSearchOptions();
  options.action = 3;
  options.line = 10;
  std::fflush(stdout);
  testing::internal::CaptureStdout();
  rc = tvXmlCfgInternal::search(h_, "//logentry", 0, options, nullptr, false, -1);
  std::fflush(stdout);
  printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(options.matchCount, 3);
  EXPECT_EQ(printed, "Invalid call to tvInsertLineInvalid call to tvInsertLineInvalid call to tvInsertLine");
}

TEST_F(XmlCfgSearch, ResultActionCountsTheMatch) {
  tvXmlCfgSearchOptions options;
  options.action = TVXMLCFG_ACTION_RESULT;
  options.flags = TVXMLCFG_SEARCH_FIRST_ONLY;
  int32_t id = tvXmlCfgInternal::search(h_, "//logentry", 0, options, nullptr, false, -1);
  EXPECT_EQ(str(tvXMLCFGGetAttributeString(h_, id, "revision", "")), "1");
  EXPECT_EQ(options.matchCount, 1);
}

}  // namespace
