// Opening and closing documents through handles: failures, reference
// sharing, copies and the reuse of freed handles.
#include <gtest/gtest.h>

#include <memory>

#include "XmlCfgTestSupport.h"
#include "xml/cmXmlErrors.h"
#include "xml/tvXmlCfgHandleTable.h"

using xmlcfgtest::OpenDoc;
using xmlcfgtest::Scratch;
using xmlcfgtest::str;

namespace {

int64_t LiveHandles() {
  tvXmlCfgLock lock;
  return tvXmlCfgTable::liveCount();
}

TEST(XmlCfgOpen, MissingFileLeavesNoHandle) {
  Scratch dir;
  const int64_t before = LiveHandles();
  int32_t status = 99;
  int32_t h = tvXMLCFGOpen(dir.file("absent.xml").c_str(), &status, 1, 17);
  EXPECT_EQ(h, TVXMLCFG_ERR_NO_FILE);
  EXPECT_EQ(status, TVXMLCFG_ERR_NO_FILE);
  EXPECT_EQ(LiveHandles(), before);
}

TEST(XmlCfgOpen, NullNameIsNoFile) {
  int32_t status = 0;
  EXPECT_EQ(tvXMLCFGOpen(nullptr, &status, 1, 17), TVXMLCFG_ERR_NO_FILE);
  EXPECT_EQ(status, TVXMLCFG_ERR_NO_FILE);
}

TEST(XmlCfgOpen, SyntaxErrorFailsUnlessPartialTreeIsKept) {
  Scratch dir;
  const int64_t before = LiveHandles();
  OpenDoc strict(dir, "<log><a></b></log>", 1, "bad1.xml");
  EXPECT_EQ(strict.handle(), TVXMLCFG_ERR_OPEN_FAILED);
  EXPECT_EQ(strict.status(), TVXMLCFG_ERR_OPEN_FAILED);
  EXPECT_EQ(LiveHandles(), before);

  OpenDoc partial(dir, "<log><a></b></log>", 3, "bad2.xml");
  ASSERT_GE(partial.handle(), 0);
  EXPECT_EQ(partial.status(), CMXML_ERR_TAG_MISMATCH);
  // What was read before the error is there.
  EXPECT_GE(tvXMLCFGFindFirst(partial.handle(), "/log/a", 0), 0);
}

TEST(XmlCfgOpen, ShareGivesOneHandleThatNeedsTwoCloses) {
  Scratch dir;
  std::string path = dir.write("shared.xml", "<log/>");
  const int64_t before = LiveHandles();
  int32_t s1 = -1, s2 = -1;
  int32_t h1 = tvXMLCFGOpen(path.c_str(), &s1, 1 | TVXMLCFG_OPEN_SHARE, 17);
  int32_t h2 = tvXMLCFGOpen(path.c_str(), &s2, 1 | TVXMLCFG_OPEN_SHARE, 17);
  ASSERT_GE(h1, 0);
  EXPECT_EQ(h1, h2);
  EXPECT_EQ(s1, 0);
  EXPECT_EQ(s2, 0);
  EXPECT_EQ(LiveHandles(), before + 1);
  EXPECT_EQ(tvXMLCFGClose(h1), 0);
  EXPECT_EQ(str(tvXMLCFGGetNameString(h1, tvXMLCFGFindFirst(h1, "/log", 0))), "log");
  EXPECT_EQ(tvXMLCFGClose(h1), 0);
  EXPECT_EQ(LiveHandles(), before);
  EXPECT_EQ(tvXMLCFGClose(h1), TVXMLCFG_ERR_BAD_ARGUMENT);
}

TEST(XmlCfgOpen, ShareMatchesTheAbsoluteName) {
  Scratch dir;
  std::string path = dir.write("rel.xml", "<log/>");
  // The same file named through a detour resolves to one document.
  std::string detour = dir.file("sub/../rel.xml");
  int32_t s = 0;
  int32_t h1 = tvXMLCFGOpen(path.c_str(), &s, 1 | TVXMLCFG_OPEN_SHARE, 17);
  int32_t h2 = tvXMLCFGOpen(detour.c_str(), &s, 1 | TVXMLCFG_OPEN_SHARE, 17);
  EXPECT_EQ(h1, h2);
  tvXMLCFGClose(h1);
  tvXMLCFGClose(h2);
}

TEST(XmlCfgOpen, WithoutShareEveryOpenIsANewDocument) {
  Scratch dir;
  std::string path = dir.write("twice.xml", "<log/>");
  int32_t s = 0;
  int32_t h1 = tvXMLCFGOpen(path.c_str(), &s, 1, 17);
  int32_t h2 = tvXMLCFGOpen(path.c_str(), &s, 1, 17);
  EXPECT_NE(h1, h2);
  EXPECT_EQ(tvXMLCFGClose(h1), 0);
  EXPECT_EQ(tvXMLCFGClose(h2), 0);
}

TEST(XmlCfgOpen, CopyIsIndependentOfItsSource) {
  Scratch dir;
  // Slot 0 is never copied from: keep a document there so the source lands above it.
  OpenDoc keeper(dir, "<keep/>", 1, "keeper.xml");
  std::string path = dir.write("source.xml", "<log><e n=\"1\"/></log>");
  int32_t s = 0;
  int32_t src = tvXMLCFGOpen(path.c_str(), &s, 1, 17);
  OpenDoc* slotZero = nullptr;
  if (src == 0) {
    // The freed slot is given out next: fill it with another name.
    tvXMLCFGClose(src);
    slotZero = new OpenDoc(dir, "<zero/>", 1, "zero.xml");
    src = tvXMLCFGOpen(path.c_str(), &s, 1, 17);
  }
  std::unique_ptr<OpenDoc> holdZero(slotZero);
  ASSERT_GT(src, 0);
  int32_t copy = tvXMLCFGOpen(path.c_str(), &s, 1 | TVXMLCFG_OPEN_COPY, 17);
  ASSERT_GE(copy, 0);
  EXPECT_NE(copy, src);
  EXPECT_EQ(s, 0);
  int32_t e = tvXMLCFGFindFirst(copy, "/log/e", 0);
  ASSERT_GE(e, 0);
  EXPECT_EQ(tvXMLCFGSetAttributeInteger(copy, e, "n", 2, 0), 0);
  EXPECT_EQ(tvXMLCFGGetAttributeInteger(src, tvXMLCFGFindFirst(src, "/log/e", 0), "n", -1), 1);
  EXPECT_EQ(tvXMLCFGGetAttributeInteger(copy, e, "n", -1), 2);
  EXPECT_EQ(tvXMLCFGClose(copy), 0);
  EXPECT_EQ(tvXMLCFGClose(src), 0);
}

TEST(XmlCfgOpen, FreedHandleIsGivenOutAgain) {
  Scratch dir;
  std::string path = dir.write("reuse.xml", "<log/>");
  int32_t s = 0;
  int32_t h1 = tvXMLCFGOpen(path.c_str(), &s, 1, 17);
  ASSERT_GE(h1, 0);
  ASSERT_EQ(tvXMLCFGClose(h1), 0);
  int32_t h2 = tvXMLCFGOpen(path.c_str(), &s, 1, 17);
  EXPECT_EQ(h2, h1);
  tvXMLCFGClose(h2);
}

TEST(XmlCfgOpen, BadHandlesAreRefusedAndRecorded) {
  for (int32_t bad : {-1, 999999, TVXMLCFG_DECLARATION_NODE}) {
    EXPECT_EQ(tvXMLCFGClose(bad), TVXMLCFG_ERR_BAD_ARGUMENT) << bad;
    tvXmlCfgLock lock;
    EXPECT_EQ(tvXmlCfgTable::lastStatus(), TVXMLCFG_ERR_BAD_HANDLE);
  }
}

TEST(XmlCfgOpen, UnknownNodeIdRecordsBadNode) {
  Scratch dir;
  OpenDoc doc(dir, "<log/>");
  EXPECT_EQ(tvXMLCFGGetFirstChild(doc.handle(), 12345, 1), TVXMLCFG_ERR_BAD_ARGUMENT);
  tvXmlCfgLock lock;
  EXPECT_EQ(tvXmlCfgTable::lastStatus(), TVXMLCFG_ERR_BAD_NODE);
}

}  // namespace
