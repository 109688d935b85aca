// Writing through handles: saving to files and strings, and appending
// records to XML logs on disk.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "XmlCfgTestSupport.h"
#include "xml/cmMiniXmlNode.h"

using tolvane::TVString;
using xmlcfgtest::OpenDoc;
using xmlcfgtest::Scratch;
using xmlcfgtest::str;

namespace {

class XmlCfgWrite : public testing::Test {
 protected:
  Scratch dir_;
};

TEST_F(XmlCfgWrite, SaveToStringFormats) {
  struct Case {
    const char* source;
    int32_t indent;
    int32_t flags;
    const char* expected;
  } cases[] = {
      // Line ending from the flags; one text child stays on the tag's line.
      {"<a><b>text</b><c/></a>", 2, 8, "<a>\n  <b>text</b>\n  <c/>\n</a>\n"},
      {"<a><b>text</b></a>", 2, 4, "<a>\r\n  <b>text</b>\r\n</a>\r\n"},
      {"<a><b>text</b></a>", -1, 8, "<a>\n\t<b>text</b>\n</a>\n"},
      // Attributes on lines of their own unless asked otherwise.
      {"<a x=\"1\" y=\"2\"/>", 2, 8, "<a\n  x=\"1\"\n  y=\"2\"/>\n"},
      {"<a x=\"1\" y=\"2\"/>", 2, 8 | 0x200, "<a x=\"1\" y=\"2\"/>\n"},
      {"<a x=\"1\"/>", 2, 8 | 0x2, "<a x=\"1\"/>\n"},
      {"<a x='q\"q'/>", 0, 0x800, "<a x='q\"q'/>"},  // parsed values keep their quotes
      // Mixed content is not broken up.
      {"<p>one <b>two</b> three</p>", 2, 8, "<p>one <b>two</b> three</p>\n"},
      {"<a></a>", 2, 8, "<a></a>\n"},
      // CDATA as text is a file writer choice this layer does not pass on.
      {"<a><![CDATA[x]]></a>", 0, 0x800 | 0x8000, "<a><![CDATA[x]]></a>"},
      {"<a><!--note--><?pi data?></a>", 2, 8, "<a>\n  <!--note-->\n  <?pi data?>\n</a>\n"},
      {"<a>x &amp; y</a>", 0, 0x800, "<a>x &amp; y</a>"},
  };
  for (const Case& c : cases) {
    OpenDoc doc(dir_, c.source, 1, "fmt.xml");
    ASSERT_GE(doc.handle(), 0) << c.source;
    EXPECT_EQ(str(tvXMLCFGSaveToString(doc.handle(), c.indent, c.flags, 0)), c.expected) << c.source;
  }
}

TEST_F(XmlCfgWrite, SaveToStringOfOneNodeWritesItsChildren) {
  OpenDoc doc(dir_, "<a><b><c/><d/></b></a>");
  EXPECT_EQ(str(tvXMLCFGSaveToString(doc.handle(), 0, 0x800, doc.node("/a/b"))), "<c/><d/>");
}

TEST_F(XmlCfgWrite, SetValuesAreQuotedAndEscaped) {
  OpenDoc doc(dir_, "<a/>");
  const int32_t h = doc.handle();
  int32_t a = doc.node("/a");
  tvXMLCFGSetAttributeCMString(h, a, "q", "x\"y", 0);
  tvXMLCFGSetAttributeCMString(h, a, "both", "x\"y'z", 0);
  tvXMLCFGSetAttributeCMString(h, a, "lt", "a<b", 0);
  EXPECT_EQ(str(tvXMLCFGSaveToString(h, 0, 0x800, 0)), "<a q='x\"y' both=\"x&quot;y'z\" lt=\"a&lt;b\"/>");
}

TEST_F(XmlCfgWrite, SaveRoundTripsThroughAFileInEveryEncoding) {
  const char* source = "<?xml version=\"1.0\"?>\n<log>\n  <e a=\"\xC3\xA9\">\xE2\x82\xAC \xF0\x9F\x98\x80</e>\n</log>\n";
  for (int32_t encoding : {70, 71, 72, 73, 74, 75, 76, 77, 78, 79}) {
    OpenDoc doc(dir_, source, 1, "in.xml");
    std::string out = dir_.file("out.xml");
    ASSERT_EQ(tvXMLCFGSave(doc.handle(), 2, 8 | 0x2, out.c_str(), encoding, 0), 0) << encoding;
    int32_t status = 0;
    int32_t again = tvXMLCFGOpen(out.c_str(), &status, 1, 17);
    ASSERT_GE(again, 0) << encoding;
    EXPECT_EQ(str(tvXMLCFGSaveToString(again, 2, 8 | 0x2, 0)), source) << encoding;
    EXPECT_EQ(str(tvXMLCFGGetAttributeString(again, tvXMLCFGFindFirst(again, "//e", 0), "a", "")), "\xC3\xA9");
    tvXMLCFGClose(again);
  }
}

TEST_F(XmlCfgWrite, SaveWithoutANameUsesTheDocumentsOwn) {
  OpenDoc doc(dir_, "<log/>", 1, "own.xml");
  const int32_t h = doc.handle();
  ASSERT_GE(tvXMLCFGAdd(h, doc.node("/log"), "e", -1, CMXML_NODE_ELEMENT_EMPTY, CMXML_WHERE_LAST_CHILD), 0);
  ASSERT_EQ(tvXMLCFGSave(h, 1, 8, "", -1, 0), 0);
  EXPECT_EQ(Scratch::read(doc.path()), "<log>\n <e/>\n</log>\n");
}

TEST_F(XmlCfgWrite, SaveIntoAMissingFolderFails) {
  OpenDoc doc(dir_, "<log/>");
  std::string out = dir_.file("no/such/dir/out.xml");
  int32_t rc = tvXMLCFGSave(doc.handle(), 2, 0, out.c_str(), -1, 0);
  EXPECT_LT(rc, 0);
  EXPECT_FALSE(std::filesystem::exists(out));
}

// ---- Appending records ------------------------------------------------------

const char* const kNames[] = {"rev", "who", "", "skipped"};
const char* const kValues[] = {"12", "a&b", "no name", nullptr};

TEST_F(XmlCfgWrite, AppendGoesInFrontOfTheRootsEndTag) {
  std::string path = dir_.write("log.xml", "<log>\n  <r rev=\"1\"/>\n</log>\n");
  ASSERT_EQ(tvXMLCFGAppendRecordToFile(path.c_str(), 70, 2, nullptr, "log", "r", 4, kNames, kValues, "t<x"), 0);
  EXPECT_EQ(Scratch::read(path),
            "<log>\n  <r rev=\"1\"/>\n  <r rev=\"12\" who=\"a&amp;b\">t&lt;x</r>\n</log>\n");
  ASSERT_EQ(tvXMLCFGAppendRecordToFile(path.c_str(), 70, -1, nullptr, "log", "r", 0, nullptr, nullptr, ""), 0);
  std::string text = Scratch::read(path);
  EXPECT_NE(text.find("\t<r/>\n</log>\n"), std::string::npos) << text;
  // The result is still a document.
  OpenDoc doc(dir_, text, 1, "check.xml");
  cmArray<int> records;
  ASSERT_EQ(tvXMLCFGFindList(doc.handle(), "/log/r", 0, records, 0, -1), 0);
  EXPECT_EQ(records.size(), 3);
}

TEST_F(XmlCfgWrite, AppendAcceptsBlanksInTheEndTag) {
  std::string path = dir_.write("log.xml", "<log></ \tlog>");
  ASSERT_EQ(tvXMLCFGAppendRecordToFile(path.c_str(), 70, 0, nullptr, "log", "r", 0, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(Scratch::read(path), "<log><r/>\n</log>\n");
}

TEST_F(XmlCfgWrite, AppendRefusesATailThatIsNoEndTag) {
  struct Case {
    const char* content;
  } cases[] = {{"<log/>"}, {"<log></other>"}, {"<log>< /log>"}, {"<x>"}, {"</log"}};
  for (const Case& c : cases) {
    std::string path = dir_.write("bad.xml", c.content);
    EXPECT_EQ(tvXMLCFGAppendRecordToFile(path.c_str(), 70, 2, nullptr, "log", "r", 0, nullptr, nullptr, "t"),
              TVXMLCFG_ERR_NOT_ROOT_END)
        << c.content;
    EXPECT_EQ(Scratch::read(path), c.content);
  }
}

TEST_F(XmlCfgWrite, AppendToAMissingFileMakesTheLog) {
  std::string path = dir_.file("new.xml");
  ASSERT_EQ(tvXMLCFGAppendRecordToFile(path.c_str(), 70, 2, nullptr, "log", "r", 2, kNames, kValues, nullptr), 0);
  std::string made = Scratch::read(path);
  EXPECT_EQ(made, "<log>\r\n  <r rev=\"12\" who=\"a&amp;b\"/>\r\n</log>\r\n");
  ASSERT_EQ(tvXMLCFGAppendRecordToFile(path.c_str(), 70, 2, nullptr, "log", "r", 1, kNames, kValues, "x"), 0);
  OpenDoc doc(dir_, Scratch::read(path), 1, "check.xml");
  cmArray<int> records;
  ASSERT_EQ(tvXMLCFGFindList(doc.handle(), "/log/r", 0, records, 0, -1), 0);
  EXPECT_EQ(records.size(), 2);
}

TEST_F(XmlCfgWrite, AppendArgumentChecks) {
  EXPECT_EQ(tvXMLCFGAppendRecordToFile(nullptr, 70, 2, nullptr, "log", "r", 0, nullptr, nullptr, nullptr),
            TVXMLCFG_ERR_NO_FILE);
  EXPECT_EQ(tvXMLCFGAppendRecordToFile("", 70, 2, nullptr, "log", "r", 0, nullptr, nullptr, nullptr),
            TVXMLCFG_ERR_NO_FILE);
  std::string path = dir_.file("x.xml");
  EXPECT_EQ(tvXMLCFGAppendRecordToFile(path.c_str(), 70, 2, nullptr, nullptr, "r", 0, nullptr, nullptr, nullptr),
            TVXMLCFG_ERR_BAD_ARGUMENT);
  EXPECT_EQ(tvXMLCFGAppendRecordToFile(path.c_str(), 70, 2, nullptr, "log", nullptr, 0, nullptr, nullptr, nullptr),
            TVXMLCFG_ERR_BAD_ARGUMENT);
  EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
