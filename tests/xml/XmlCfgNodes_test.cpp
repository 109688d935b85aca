// Reading and changing nodes through handles: attributes, names, values,
// children, the declaration's pseudo node, and what every operation does
// with a bad handle or node id.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "XmlCfgTestSupport.h"
#include "xml/cmMiniXmlNode.h"

using tolvane::TVString;
using xmlcfgtest::OpenDoc;
using xmlcfgtest::Scratch;
using xmlcfgtest::str;

namespace {

class XmlCfgNodes : public testing::Test {
 protected:
  Scratch dir_;
};

TEST_F(XmlCfgNodes, GetAttributeIntegerReadsNumbersOnly) {
  OpenDoc doc(dir_, "<r a=\"12\" b=\"12a\" c=\"-5\" d=\"\" e=\" 7\" f=\"0x10\"/>");
  int32_t r = doc.node("/r");
  struct Case {
    const char* name;
    int64_t expected;
  } cases[] = {
      {"a", 12}, {"b", -1}, {"c", -5}, {"d", -1}, {"missing", -1}, {"f", 16},
  };
  for (const Case& c : cases) EXPECT_EQ(tvXMLCFGGetAttributeInteger(doc.handle(), r, c.name, -1), c.expected) << c.name;
}

TEST_F(XmlCfgNodes, GetAttributeStringDecodesAndFallsBack) {
  OpenDoc doc(dir_, "<r a=\"x &amp; y\" empty=\"\"/>");
  int32_t r = doc.node("/r");
  EXPECT_EQ(str(tvXMLCFGGetAttributeString(doc.handle(), r, "a", "d")), "x & y");
  EXPECT_EQ(str(tvXMLCFGGetAttributeCMString(doc.handle(), r, "a", "d")), "x & y");
  // Present but empty is not missing.
  EXPECT_EQ(str(tvXMLCFGGetAttributeString(doc.handle(), r, "empty", "d")), "");
  EXPECT_EQ(str(tvXMLCFGGetAttributeString(doc.handle(), r, "none", "d")), "d");
  TVString nullDefault = tvXMLCFGGetAttributeString(doc.handle(), r, "none", nullptr);
  EXPECT_TRUE(nullDefault.isEmpty());
}

TEST_F(XmlCfgNodes, SetAttributeReplacesOrAddsOnlyOnAttributeHolders) {
  OpenDoc doc(dir_, "<r a=\"1\">text</r>");
  const int32_t h = doc.handle();
  int32_t r = doc.node("/r");
  EXPECT_EQ(tvXMLCFGSetAttributeString(h, r, "a", TVString("2"), 0), 0);
  EXPECT_EQ(tvXMLCFGAddAttributeInteger(h, r, "n", -42, 0), 0);
  EXPECT_EQ(tvXMLCFGAddAttributeCMString(h, r, "first", "f", 1), 0);
  EXPECT_EQ(str(tvXMLCFGSaveToString(h, 0, 0x800, 0)), "<r first=\"f\" a=\"2\" n=\"-42\">text</r>");
  int32_t text = tvXMLCFGGetFirstChild(h, r, CMXML_NODE_TEXT);
  ASSERT_GE(text, 0);
  EXPECT_EQ(tvXMLCFGSetAttributeCMString(h, text, "x", "y", 0), TVXMLCFG_ERR_BAD_ARGUMENT);
}

TEST_F(XmlCfgNodes, DeclarationPseudoNodeReadsAndWritesTheDeclaration) {
  OpenDoc with(dir_, "<?xml version=\"1.0\" encoding=\"UTF-8\"?><r/>", 1, "with.xml");
  EXPECT_EQ(tvXMLCFGGetFirstChild(with.handle(), 0, CMXML_NODE_DECLARATION), TVXMLCFG_DECLARATION_NODE);
  EXPECT_EQ(str(tvXMLCFGGetAttributeString(with.handle(), TVXMLCFG_DECLARATION_NODE, "version", "d")), "1.0");
  EXPECT_EQ(str(tvXMLCFGGetAttributeString(with.handle(), TVXMLCFG_DECLARATION_NODE, "encoding", "d")), "UTF-8");
  EXPECT_EQ(str(tvXMLCFGGetAttributeString(with.handle(), TVXMLCFG_DECLARATION_NODE, "other", "d")), "d");

  OpenDoc without(dir_, "<r/>", 1, "without.xml");
  const int32_t h = without.handle();
  EXPECT_EQ(tvXMLCFGGetFirstChild(h, 0, CMXML_NODE_DECLARATION), -1);
  // No declaration: the empty version still counts as present.
  EXPECT_EQ(str(tvXMLCFGGetAttributeString(h, TVXMLCFG_DECLARATION_NODE, "version", "d")), "");
  int32_t decl = tvXMLCFGAdd(h, 0, "xml", -1, CMXML_NODE_DECLARATION, CMXML_WHERE_FIRST_CHILD);
  ASSERT_EQ(decl, TVXMLCFG_DECLARATION_NODE);
  EXPECT_EQ(tvXMLCFGSetAttributeCMString(h, decl, "version", "1.0", 0), 0);
  EXPECT_EQ(tvXMLCFGSetAttributeCMString(h, decl, "ignored", "x", 0), 0);
  EXPECT_EQ(str(tvXMLCFGSaveToString(h, 0, 8, 0)), "<?xml version=\"1.0\"?>\n<r/>\n");
}

TEST_F(XmlCfgNodes, AddBuildsTreesAndText) {
  OpenDoc doc(dir_, "<r/>");
  const int32_t h = doc.handle();
  int32_t r = doc.node("/r");
  int32_t a = tvXMLCFGAddString(h, r, TVString("a"), CMXML_NODE_ELEMENT_EMPTY, CMXML_WHERE_LAST_CHILD);
  int32_t b = tvXMLCFGAddCMString(h, a, "b", CMXML_NODE_ELEMENT_EMPTY, CMXML_WHERE_AFTER);
  ASSERT_GE(a, 0);
  ASSERT_GE(b, 0);
  EXPECT_GE(tvXMLCFGAddText(h, a, "x < y", -1), 0);
  EXPECT_GE(tvXMLCFGAddText(h, b, "plain", 3), 0);
  EXPECT_EQ(str(tvXMLCFGSaveToString(h, 0, 0x800, 0)), "<r><a><![CDATA[x < y]]></a><b>pla</b></r>");
  // The document node has no siblings.
  EXPECT_LT(tvXMLCFGAdd(h, 0, "z", -1, CMXML_NODE_ELEMENT, CMXML_WHERE_AFTER), 0);
}

TEST_F(XmlCfgNodes, NamesAndTheirInvertedEqualityTest) {
  OpenDoc doc(dir_, "<r><!--c--><e/>t</r>");
  const int32_t h = doc.handle();
  int32_t r = doc.node("/r");
  int32_t comment = tvXMLCFGGetFirstChild(h, r, CMXML_NODE_COMMENT);
  int32_t text = tvXMLCFGGetFirstChild(h, r, CMXML_NODE_TEXT);
  EXPECT_EQ(str(tvXMLCFGGetNameString(h, r)), "r");
  EXPECT_EQ(str(tvXMLCFGGetNameCMString(h, comment)), "#comment");
  EXPECT_EQ(str(tvXMLCFGGetNameString(h, text)), "#text");
  EXPECT_FALSE(tvXMLCFGIsNameEqual(h, r, "r"));
  EXPECT_TRUE(tvXMLCFGIsNameEqual(h, r, "R"));
  EXPECT_TRUE(tvXMLCFGIsNameEqual(h, 4711, "r"));
  EXPECT_EQ(tvXMLCFGSetNameString(h, r, TVString("root")), 0);
  EXPECT_EQ(tvXMLCFGSetNameCMString(h, doc.node("/root/e"), "f"), 0);
  EXPECT_EQ(str(tvXMLCFGSaveToString(h, 0, 0x800, 0)), "<root><!--c--><f/>t</root>");
}

TEST_F(XmlCfgNodes, ValuesOfTextAndOfElements) {
  OpenDoc doc(dir_, "<r><m>a &lt; b</m><n><i>1</i><i>2</i></n></r>");
  const int32_t h = doc.handle();
  int32_t m = doc.node("/r/m");
  int32_t text = tvXMLCFGGetFirstChild(h, m, CMXML_NODE_TEXT);
  EXPECT_EQ(str(tvXMLCFGGetValueString(h, text)), "a < b");
  EXPECT_EQ(str(tvXMLCFGGetValueCMString(h, text)), "a < b");
  // An element's own value is empty; its text lies below it.
  EXPECT_EQ(str(tvXMLCFGGetValueString(h, m)), "");
  EXPECT_EQ(str(tvXMLCFGGetText(h, doc.node("/r/n"))), "12");
  EXPECT_EQ(tvXMLCFGSetValueString(h, text, TVString("new")), 0);
  EXPECT_EQ(str(tvXMLCFGGetText(h, m)), "new");
}

TEST_F(XmlCfgNodes, UnindentUndoesPrettyPrinting) {
  struct Case {
    const char* value;
    const char* expected;
  } cases[] = {
      {"\n    a\n      b\n\n    c\n  ", "a\n  b\n\nc"},
      {"\r\n\tx\r\n\ty\r\n", "x\ny"},
      {"no break first\n  x", "no break first\n  x"},
      {"\n  a\nb\n", "  a\nb"},  // a line without indentation: as it stands
      {"\n   \n  ", ""},
      {"  \n", ""},
  };
  for (const Case& c : cases) {
    OpenDoc doc(dir_, "<r/>", 1, "unindent.xml");
    const int32_t h = doc.handle();
    int32_t r = doc.node("/r");
    int32_t t = tvXMLCFGAdd(h, r, c.value, -1, CMXML_NODE_TEXT, CMXML_WHERE_LAST_CHILD);
    ASSERT_GE(t, 0);
    EXPECT_EQ(str(tvXMLCFGGetValueUnindentString(h, t)), c.expected) << '"' << c.value << '"';
  }
}

TEST_F(XmlCfgNodes, FindChildAndFirstChildByKind) {
  OpenDoc doc(dir_, "<e><author>a</author><msg/><date>d</date></e>");
  const int32_t h = doc.handle();
  int32_t e = doc.node("/e");
  int32_t author = tvXMLCFGFindChild(h, e, "author", CMXML_NODE_ELEMENT);
  ASSERT_GE(author, 0);
  EXPECT_EQ(str(tvXMLCFGGetNameString(h, author)), "author");
  EXPECT_EQ(tvXMLCFGFindChild(h, e, "msg", CMXML_NODE_ELEMENT), TVXMLCFG_ERR_NO_CHILD);
  EXPECT_GE(tvXMLCFGFindChild(h, e, "msg", CMXML_ELEMENT_KINDS), 0);
  EXPECT_EQ(tvXMLCFGFindChild(h, e, "nothing", CMXML_ALL_KINDS), TVXMLCFG_ERR_NO_CHILD);
  EXPECT_EQ(tvXMLCFGFindChild(h, e, nullptr, 1), TVXMLCFG_ERR_BAD_ARGUMENT);
  int32_t msg = tvXMLCFGFindChild(h, e, "msg", CMXML_ELEMENT_KINDS);
  EXPECT_EQ(tvXMLCFGGetFirstChild(h, msg, CMXML_NODE_TEXT), -1);
  EXPECT_GE(tvXMLCFGGetFirstChild(h, author, CMXML_NODE_TEXT), 0);
}

// Every operation with a handle that names no document, and with a node id
// that names no node: the status functions refuse with -3015, the data
// functions give their default.
TEST_F(XmlCfgNodes, BadHandleAndBadNodeAcrossTheFamily) {
  OpenDoc doc(dir_, "<r a=\"1\"/>");
  const int32_t good = doc.handle();
  struct Target {
    int32_t handle;
    int32_t node;
    const char* what;
  } targets[] = {{-7, 0, "bad handle"}, {good + 1000, 0, "unknown handle"}, {good, 9999, "bad node"}};
  for (const Target& t : targets) {
    SCOPED_TRACE(t.what);
    const int32_t h = t.handle, n = t.node;
    const int32_t statuses[] = {
        tvXMLCFGAdd(h, n, "x", -1, 1, 2),
        tvXMLCFGAddText(h, n, "x", -1),
        tvXMLCFGAddAttributeCMString(h, n, "a", "b", 0),
        tvXMLCFGAddAttributeInteger(h, n, "a", 1, 0),
        tvXMLCFGAddAttributeString(h, n, TVString("a"), TVString("b"), 0),
        tvXMLCFGSetAttributeCMString(h, n, "a", "b", 0),
        tvXMLCFGSetAttributeInteger(h, n, "a", 1, 0),
        tvXMLCFGSetAttributeString(h, n, "a", TVString("b"), 0),
        tvXMLCFGSetNameCMString(h, n, "x"),
        tvXMLCFGSetNameString(h, n, TVString("x")),
        tvXMLCFGSetValueString(h, n, TVString("x")),
        tvXMLCFGFindChild(h, n, "a", 1),
        tvXMLCFGGetFirstChild(h, n, 1),
        tvXMLCFGFindFirst(h, "//r", n),
        tvXMLCFGSave(h, 2, 0, dir_.file("never.xml").c_str(), -1, n),
    };
    for (size_t i = 0; i < sizeof statuses / sizeof statuses[0]; ++i)
      EXPECT_EQ(statuses[i], TVXMLCFG_ERR_BAD_ARGUMENT) << "operation " << i;
    cmArray<int> list;
    list.add(5);
    EXPECT_EQ(tvXMLCFGFindList(h, "//r", n, list, 1, -1), TVXMLCFG_ERR_BAD_ARGUMENT);
    EXPECT_EQ(list.size(), 1);
    EXPECT_EQ(str(tvXMLCFGGetAttributeString(h, n, "a", "dflt")), "dflt");
    EXPECT_EQ(str(tvXMLCFGGetAttributeCMString(h, n, "a", "dflt")), "dflt");
    EXPECT_EQ(tvXMLCFGGetAttributeInteger(h, n, "a", 77), 77);
    EXPECT_EQ(str(tvXMLCFGGetNameString(h, n)), "");
    EXPECT_EQ(str(tvXMLCFGGetValueString(h, n)), "");
    EXPECT_EQ(str(tvXMLCFGGetText(h, n)), "");
    EXPECT_EQ(str(tvXMLCFGGetValueUnindentString(h, n)), "");
    EXPECT_EQ(str(tvXMLCFGSaveToString(h, 2, 0, n)), "");
    EXPECT_TRUE(tvXMLCFGIsNameEqual(h, n, "r"));
  }
  EXPECT_FALSE(std::filesystem::exists(dir_.file("never.xml")));
  // The document itself was not touched by any of it.
  EXPECT_EQ(str(tvXMLCFGSaveToString(good, 0, 0x800, 0)), "<r a=\"1\"/>");
}

}  // namespace
