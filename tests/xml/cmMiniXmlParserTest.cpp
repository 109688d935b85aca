// The parser: what it accepts, the tree it makes, and the number it gives
// for each input it refuses.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "XmlTestUtil.h"
#include "runtime/cmErrors.h"
#include "runtime/cmException.h"
#include "xml/cmMiniXml.h"

using xmltest::checkRings;
using xmltest::dump;

namespace {

// Loads and returns the thrown number, 0 on success.
int32_t loadCode(cmMiniXml& doc, std::string_view text, uint32_t flags) {
  try {
    doc.loadString(text, flags);
  } catch (const cmException& e) {
    return e.number();
  }
  return 0;
}

struct Accepted {
  const char* input;
  uint32_t flags;
  const char* tree;
};

TEST(MiniXmlParser, AcceptedInputsMakeTheseTrees) {
  const Accepted cases[] = {
      {"", 1, ""},
      {"  \r\n ", 1, ""},  // top-level text behind the last tag is dropped
      {"<a/>", 1, "a/"},
      {"<a></a>", 1, "a"},
      {"<a b='1' b=\"2\"/>", 1, "a(@b=1 @b=2)/"},
      {"<a b = \"x\"\tc='y'  ></a >", 1, "a(@b=x @c=y)"},
      {"<a b='a > b &amp; c'/>", 1, "a(@b=a > b &amp; c)/"},
      {"<a><![CDATA[x<&>]]></a>", 1, "a([x<&>])"},
      {"<a><!-- x -- y --></a>", 1, "a(! x -- y )"},
      {"<a><!----></a>", 0, "a(!)"},
      {"<?pi some value?><a/>", 0, "?pi:some value a/"},
      {"<?pi?>", 0, "?pi:"},
      {"<a> <b/> </a>", 8, "a(b/)"},
      {"<a> <b/> </a>", 1, "a(\" \" b/ \" \")"},
      {"<a> <b/> </a>", 9, "a(b/)"},
      {"<a> x </a>", 8, "a(\" x \")"},
      {"<a> x <b>y</b></a>", 0, "a(b)"},
      {"<a/><b/>", 0, "a/ b/"},
      {"text<a/>", 1, "\"text\" a/"},
      {"<a/>trailing", 1, "a/"},
      {"<a>&nbsp;</a>", 1, "a(\"&nbsp;\")"},
      {"<x:y a:b='1'>t</x:y>", 1, "x:y(@a:b=1 \"t\")"},
      {"<a=<b>c</a=<b>", 1, "a=<b(\"c\")"},  // names are not checked
      {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<log/>", 1, "log/"},
      {"<?xml version=\"1.0\"?><log/>", 1, "log/"},
      {" <?xml version=\"1.0\"?><log/>", 0, "?xml:version=\"1.0\" log/"},
      {"\n<?xml version=\"1.0\"?><log/>", 0, "?xml:version=\"1.0\" log/"},
      {"<!DOCTYPE a>", 0, "DOCTYPE(@root=a)"},
      {"<!DOCTYPE a SYSTEM 'u'>", 0, "DOCTYPE(@root=a @SYSTEM=u)"},
      {"<!DOCTYPE a PUBLIC \"x\" \"y\" [<!ENTITY b \"]\">]><a/>", 0,
       "DOCTYPE(@root=a @PUBLIC=x @SYSTEM=y @DTD=<!ENTITY b \"]\">) a/"},
      {"<!DOCTYPE a [ x ] >", 0, "DOCTYPE(@root=a @DTD= x )"},
  };
  for (const Accepted& c : cases) {
    cmMiniXml doc;
    EXPECT_EQ(loadCode(doc, c.input, c.flags), 0) << c.input;
    EXPECT_EQ(dump(doc), c.tree) << c.input;
    EXPECT_EQ(checkRings(doc), "") << c.input;
  }
}

// End tags are compared with the open element's name in place, a word at a
// time when the name is short and enough text follows; every way of being
// almost the open name must still give the number a scan of the end tag
// gives, also where the text ends within a word's reach.
TEST(MiniXmlParser, EndTagsMatchTheOpenNameExactly) {
  const struct {
    const char* input;
    int32_t code;
    const char* tree;
  } cases[] = {
      {"<abcdefgh></abcdefgh>", 0, "abcdefgh"},
      {"<abcdefghi></abcdefghi>", 0, "abcdefghi"},
      {"<abcdefg></abcdefg>x", 0, "abcdefg"},
      {"<a></a\t\r\n >", 0, "a"},
      {"<a=b></a=b>", 0, "a=b"},
      {"<\xC3\xA9></\xC3\xA9>", 0, "\xC3\xA9"},
      {"<a><a></a></a>", 0, "a(a)"},
      {"<a></ab>", CMXML_ERR_TAG_MISMATCH, nullptr},
      {"<ab></a>", CMXML_ERR_TAG_MISMATCH, nullptr},
      {"<abcdefgh></abcdefgX>", CMXML_ERR_TAG_MISMATCH, nullptr},
      {"<abcdefgh></Abcdefgh>", CMXML_ERR_TAG_MISMATCH, nullptr},
      {"<abcdefgh></abcdefghi>", CMXML_ERR_TAG_MISMATCH, nullptr},
      {"<abcdefghi></abcdefghX>", CMXML_ERR_TAG_MISMATCH, nullptr},
      {"<abcdefgh></abcdefg>", CMXML_ERR_TAG_MISMATCH, nullptr},
      {"<abc></ab", CMXML_ERR_TAG_MISMATCH, nullptr},
      {"<abcdefgh></abcdefg", CMXML_ERR_TAG_MISMATCH, nullptr},
      {"<abc></abc", CMXML_ERR_END_TAG_OPEN, nullptr},
      {"<abcdefgh></abcdefgh", CMXML_ERR_END_TAG_OPEN, nullptr},
      {"<abc></abc/>", CMXML_ERR_END_TAG_OPEN, nullptr},
      {"<abc></abc x>", CMXML_ERR_END_TAG_OPEN, nullptr},
      {"<abc></ abc>", CMXML_ERR_NO_NAME, nullptr},
      {"<abc></", CMXML_ERR_NO_NAME, nullptr},
  };
  for (const auto& c : cases) {
    cmMiniXml doc;
    EXPECT_EQ(loadCode(doc, c.input, CMXML_PARSE_KEEP_TEXT), c.code) << c.input;
    if (c.tree) {
      EXPECT_EQ(dump(doc), c.tree) << c.input;
    }
    EXPECT_EQ(checkRings(doc), "") << c.input;
  }
}

// Runs of text of every short length, the one-byte run included, end at the
// right '<'; a run behind the last tag makes no node however short.
TEST(MiniXmlParser, ShortTextRunsEndAtTheNextTag) {
  for (size_t n = 1; n <= 12; ++n) {
    std::string run(n, 'x');
    run[0] = '\n';
    cmMiniXml doc;
    doc.loadString("<a>" + run + "<b/>" + run + "</a>" + run, CMXML_PARSE_KEEP_TEXT);
    EXPECT_EQ(dump(doc), "a(\"" + run + "\" b/ \"" + run + "\")") << n;
    EXPECT_EQ(checkRings(doc), "") << n;
  }
}

// Nodes of a reload come partly from records the previous tree gave back;
// the tree must be the one a fresh document makes, with ids that name them.
TEST(MiniXmlParser, ReloadIntoFreedRecordsMakesTheSameTree) {
  std::string text = "<log>";
  for (int i = 0; i < 300; ++i)
    text += "\n<e r='" + std::to_string(i) + "'>\n<m>t&amp;" + std::to_string(i) + "</m></e>";
  text += "\n</log>\n";
  cmMiniXml fresh;
  fresh.setIdsEnabled(true);
  fresh.loadString(text, CMXML_PARSE_KEEP_TEXT);
  cmMiniXml reused;
  reused.setIdsEnabled(true);
  reused.loadString("<x>" + std::string(500, ' ') + "<y a='1' b='2'/></x>", CMXML_PARSE_KEEP_TEXT);
  reused.loadString(text, CMXML_PARSE_KEEP_TEXT);
  EXPECT_EQ(dump(reused), dump(fresh));
  EXPECT_EQ(reused.nodeCount(), fresh.nodeCount());
  EXPECT_EQ(checkRings(reused), "");
  for (auto it = reused.walk(); !it.done(); it.next())
    EXPECT_EQ(reused.nodeFromId((*it)->id), *it);
}

TEST(MiniXmlParser, ZeroByteInTextIsText) {
  cmMiniXml doc;
  const char in[] = "<a>x\0y</a>";
  doc.loadText(in, sizeof in - 1, CMXML_PARSE_KEEP_TEXT);
  cmMiniXmlNode* t = doc.rootElement()->firstChild;
  ASSERT_EQ(t->kind, CMXML_NODE_TEXT);
  EXPECT_EQ(t->rawValue(), std::string_view("x\0y", 3));
}

struct Refused {
  std::string_view input;
  int32_t code;
};

TEST(MiniXmlParser, RefusedInputsGiveTheirNumber) {
  using namespace std::string_view_literals;
  const Refused cases[] = {
      {"<a>text", CMXML_ERR_UNEXPECTED_END},
      {"<a", CMXML_ERR_UNEXPECTED_END},
      {"<a><b></b>", CMXML_ERR_UNEXPECTED_END},
      {"<", CMXML_ERR_NO_NAME},
      {"< a/>", CMXML_ERR_NO_NAME},
      {"</a>", CMXML_ERR_NO_NAME},
      {"<a></ a>", CMXML_ERR_NO_NAME},
      {"<a></>", CMXML_ERR_NO_NAME},
      {"<? x?>", CMXML_ERR_NO_NAME},
      {"<a b=\"1", CMXML_ERR_BAD_VALUE},
      {"<a b=\"x<y\"/>", CMXML_ERR_BAD_VALUE},
      {"<a></b>", CMXML_ERR_TAG_MISMATCH},
      {"<ab></a>", CMXML_ERR_TAG_MISMATCH},
      {"<a><b></a></b>", CMXML_ERR_TAG_MISMATCH},
      {"<a></a", CMXML_ERR_END_TAG_OPEN},
      {"<a></a x>", CMXML_ERR_END_TAG_OPEN},
      {"<a b=1>", CMXML_ERR_NO_QUOTE},
      {"<a =1>", CMXML_ERR_BAD_ATTRIBUTE},
      {"<a b>", CMXML_ERR_NO_EQUALS},
      {"<a b c='1'>", CMXML_ERR_NO_EQUALS},
      {"<a/ >", CMXML_ERR_BAD_TAG_END},
      {"<a\0b/>"sv, CMXML_ERR_ZERO_BYTE},
      {"<a b='1'\0/>"sv, CMXML_ERR_ZERO_BYTE},
      {"<?pi x", CMXML_ERR_PI_OPEN},
      {"<?pi x\0?>"sv, CMXML_ERR_PI_OPEN},
      {"<!-- x", CMXML_ERR_COMMENT_OPEN},
      {"<!-- \0 -->"sv, CMXML_ERR_COMMENT_OPEN},
      {"<![CDATA[x]]", CMXML_ERR_CDATA_OPEN},
      {"<![CDATA[\0]]>"sv, CMXML_ERR_CDATA_OPEN},
      {"<!x>", CMXML_ERR_BAD_MARKUP},
      {"<!-x-->", CMXML_ERR_BAD_MARKUP},
      {"<!doctype a>", CMXML_ERR_BAD_MARKUP},
      {"<!DOCTYPE>", CMXML_ERR_BAD_MARKUP},
      {"<![CDAT[x]]>", CMXML_ERR_BAD_MARKUP},
      {"<!DOCTYPE >", CMXML_ERR_DOCTYPE_NO_NAME},
      {"<!DOCTYPE a FOO 'x'>", CMXML_ERR_DOCTYPE_KEYWORD},
      {"<!DOCTYPE a public 'x'>", CMXML_ERR_DOCTYPE_KEYWORD},
      {"<!DOCTYPE a SYSTEM 'x' 'y'>", CMXML_ERR_DOCTYPE_EXTRA},
      {"<!DOCTYPE a [x] y>", CMXML_ERR_DOCTYPE_EXTRA},
      {"<!DOCTYPE a SYSTEM>", CMXML_ERR_NO_QUOTE},
      {"<!DOCTYPE a SYSTEM'x'>", CMXML_ERR_DOCTYPE_KEYWORD},  // the keyword runs on
      {"<!DOCTYPE a SYSTEM x>", CMXML_ERR_NO_QUOTE},
      {"<!DOCTYPE a SYSTEM 'x", CMXML_ERR_BAD_VALUE},
      {"<!DOCTYPE a SYSTEM 'x\0'>"sv, CMXML_ERR_ZERO_BYTE},
      {"<!DOCTYPE a [x", CMXML_ERR_UNEXPECTED_END},
      {"<!DOCTYPE a [<!-- it's -->]>", CMXML_ERR_BAD_VALUE},  // the quote runs on
      {"<!DOCTYPE a ", CMXML_ERR_UNEXPECTED_END},
      {"<?xml version='1.0'", CMXML_ERR_PI_OPEN},
      {"<?xml version='1.0' >", CMXML_ERR_PI_OPEN},
      {"<?xml version='1.0'?", CMXML_ERR_BAD_TAG_END},
      {"<?xml version='1.0?>", CMXML_ERR_BAD_VALUE},
      {"<?xml version='1<0'?>", CMXML_ERR_BAD_VALUE},
      {"<?xml version='1\0'?>"sv, CMXML_ERR_ZERO_BYTE},
      {"<?xml =?>", CMXML_ERR_BAD_ATTRIBUTE},
      {"<?xml version?>", CMXML_ERR_NO_EQUALS},
      {"<?xml version=1?>", CMXML_ERR_NO_QUOTE},
  };
  for (const Refused& c : cases) {
    cmMiniXml doc;
    EXPECT_EQ(loadCode(doc, c.input, CMXML_PARSE_KEEP_TEXT), c.code) << c.input;
    // A refused document keeps nothing but its root.
    EXPECT_EQ(doc.nodeCount(), 1u) << c.input;
    EXPECT_EQ(doc.root()->firstChild, nullptr) << c.input;
    // With the partial flag the number comes back through the status.
    int32_t status = 1;
    EXPECT_NO_THROW(doc.loadString(c.input, CMXML_PARSE_KEEP_TEXT | CMXML_PARSE_KEEP_PARTIAL, &status))
        << c.input;
    EXPECT_EQ(status, c.code) << c.input;
    EXPECT_EQ(checkRings(doc), "") << c.input;
  }
}

TEST(MiniXmlParser, KeepPartialKeepsTheNodesMadeSoFar) {
  cmMiniXml doc;
  int32_t status = 0;
  doc.loadString("<log><logentry revision='7'><author>ann</author><msg>cut her", 1 | 2, &status);
  EXPECT_EQ(status, CMXML_ERR_UNEXPECTED_END);
  EXPECT_EQ(dump(doc), "log(logentry(@revision=7 author(\"ann\") msg))");
  // The open elements keep kind 1.
  cmMiniXmlNode* msg = cmMiniXml::findChild(doc.rootElement()->firstChild, "msg", 1);
  ASSERT_NE(msg, nullptr);
  EXPECT_EQ(msg->kind, CMXML_NODE_ELEMENT);

  doc.loadString("<a><b x='1'/><c></d></a>", 2, &status);
  EXPECT_EQ(status, CMXML_ERR_TAG_MISMATCH);
  EXPECT_EQ(dump(doc), "a(b(@x=1)/ c)");
  doc.loadString("<a/>", 2, &status);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(dump(doc), "a/");
}

TEST(MiniXmlParser, NestingLimit) {
  for (int depth : {3199, 3200}) {
    std::string s;
    for (int i = 0; i < depth; ++i) s += "<e>";
    for (int i = 0; i < depth; ++i) s += "</e>";
    cmMiniXml doc;
    EXPECT_EQ(loadCode(doc, s, 0), depth == 3199 ? 0 : CMXML_ERR_TOO_DEEP) << depth;
    if (depth == 3199) {
      EXPECT_EQ(doc.nodeCount(), 3200u);
    }
  }
  // Deep but unclosed: the limit wins over the missing end.
  cmMiniXml doc;
  std::string open;
  for (int i = 0; i < 100000; ++i) open += "<e>";
  EXPECT_EQ(loadCode(doc, open, 0), CMXML_ERR_TOO_DEEP);
}

TEST(MiniXmlParser, DeclarationFillsStringsAndMakesNoNode) {
  cmMiniXml doc;
  doc.loadString("<?xml version=\"1.0\" encoding='UTF-8' standalone=\"yes\" other='x'?>\r\n<a/>", 1);
  EXPECT_EQ(doc.versionText(), "1.0");
  EXPECT_EQ(doc.encodingName(), "UTF-8");
  EXPECT_EQ(doc.standaloneText(), "yes");
  // The line ending right behind the declaration is stepped over, once.
  EXPECT_EQ(dump(doc), "a/");
  doc.loadString("<?xml version=\"1.0\"?>\n\n<a/>", 1);
  EXPECT_EQ(dump(doc), "\"\n\" a/");
  EXPECT_TRUE(doc.modified());
}

TEST(MiniXmlParser, LineEndingDetection) {
  struct Case {
    const char* text;
    const char* eol;
  } cases[] = {
      {"<a>\n</a>", "\n"},     {"<a>\r\n</a>", "\r\n"}, {"<a>\r\r\n</a>", "\r\n"},
      {"<a>\r</a>", "\r"},     {"<a/>", "\r\n"},        {"<a>\n\r\n</a>", "\n"},
      {"<a>\r\n\n</a>", "\r\n"},
  };
  for (const Case& c : cases) {
    cmMiniXml doc;
    doc.loadString(c.text, 0);
    EXPECT_EQ(doc.eol(), c.eol) << c.text;
  }
  // Only the first 8192 bytes are looked at.
  std::string late = "<a>" + std::string(9000, ' ') + "\n</a>";
  cmMiniXml doc;
  doc.loadString(late, 0);
  EXPECT_EQ(doc.eol(), "\r\n");
}

TEST(MiniXmlParser, UseInPlaceParsesTheCallersBytes) {
  std::string text = "<a b='x'>t</a>";
  cmMiniXml doc;
  doc.loadText(text.c_str(), -1, 1, nullptr, true);
  cmMiniXmlNode* a = doc.rootElement();
  EXPECT_EQ(a->firstChild->name, text.c_str() + 3);
  EXPECT_EQ(doc.textStart(), text.c_str());
  // Copied otherwise.
  doc.loadText(text.c_str(), -1, 1, nullptr, false);
  EXPECT_NE(doc.textStart(), text.c_str());
  EXPECT_EQ(dump(doc), "a(@b=x \"t\")");
}

TEST(MiniXmlParser, ReloadReplacesEverything) {
  cmMiniXml doc;
  doc.loadString("<?xml version='1.0' encoding='latin'?><a><b/></a>", 1);
  doc.loadString("<c/>", 1);
  EXPECT_EQ(dump(doc), "c/");
  EXPECT_EQ(doc.encodingName(), "");
  EXPECT_EQ(doc.nodeCount(), 2u);
}

class MiniXmlFile : public ::testing::Test {
 protected:
  std::string path(const char* name) { return std::string(RH_BINARY_DIR) + "/xml_test_" + name; }
  void write(const std::string& file, std::string_view bytes) {
    std::FILE* f = std::fopen(file.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
  }
};

TEST_F(MiniXmlFile, EncodingsFoundFromTheFirstBytes) {
  using namespace std::string_view_literals;
  struct Case {
    std::string_view bytes;
    int32_t encoding;
  } cases[] = {
      {"<a>\xC3\xBC</a>"sv, CMXML_ENCODING_UTF8},
      {"\xEF\xBB\xBF<a>\xC3\xBC</a>"sv, CMXML_ENCODING_UTF8_SIG},
      {"\xFF\xFE<\0a\0>\0\xFC\0<\0/\0a\0>\0"sv, CMXML_ENCODING_UTF16LE_SIG},
      {"\xFE\xFF\0<\0a\0>\0\xFC\0<\0/\0a\0>"sv, CMXML_ENCODING_UTF16BE_SIG},
      {"<\0a\0>\0\xFC\0<\0/\0a\0>\0"sv, CMXML_ENCODING_UTF16LE},
      {"\0<\0a\0>\0\xFC\0<\0/\0a\0>"sv, CMXML_ENCODING_UTF16BE},
      {"<\0\0\0a\0\0\0>\0\0\0\xFC\0\0\0<\0\0\0/\0\0\0a\0\0\0>\0\0\0"sv, CMXML_ENCODING_UTF32LE},
      {"\0\0\xFE\xFF\0\0\0<\0\0\0a\0\0\0>\0\0\0\xFC\0\0\0<\0\0\0/\0\0\0a\0\0\0>"sv, CMXML_ENCODING_UTF32BE_SIG},
  };
  for (const Case& c : cases) {
    std::string file = path("enc.xml");
    write(file, c.bytes);
    cmMiniXml doc;
    int32_t status = -1;
    doc.loadFile(file.c_str(), 1, CMXML_ENCODING_AUTO_XML, &status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(doc.fileEncoding(), c.encoding) << c.encoding;
    EXPECT_EQ(doc.fileName(), file);
    ASSERT_NE(doc.rootElement(), nullptr) << c.encoding;
    EXPECT_EQ(doc.nodeValue(doc.rootElement()), "\xC3\xBC") << c.encoding;
    std::remove(file.c_str());
  }
}

TEST_F(MiniXmlFile, MissingFileThrowsEvenWithKeepPartial) {
  cmMiniXml doc;
  try {
    doc.loadFile(path("does-not-exist.xml").c_str(), 1 | 2);
    FAIL() << "no throw";
  } catch (const cmException& e) {
    EXPECT_EQ(e.number(), CM_ERR_FILE_NOT_FOUND);
    EXPECT_NE(std::string(e.param()).find("does-not-exist.xml"), std::string::npos);
  }
}

}  // namespace
