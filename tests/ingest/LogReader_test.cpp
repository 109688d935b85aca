// The pass's reader of the log document against the handle functions it
// stands in for: on documents with entities, CDATA, empty elements, paths
// without text, several `paths` elements and odd attribute values, every
// query finds the same nodes, every value is the same text (null and empty
// told apart), and the fields are those of the handle-based rules. Also
// the log's stripping rule on views.
#include "ingest/LogReader.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "IngestTestSupport.h"
#include "ingest/CopyEntry.h"
#include "update/UpdateTestSupport.h"
#include "xml/cmMiniXmlNode.h"
#include "xml/cmXPathNodeList.h"
#include "xml/tvXmlCfg.h"

namespace {

using tolvane::TVString;

constexpr const char* kChangedFiles = "paths/path[@kind='file'][not(@action='D')][not(@copyfrom-path)]";

// The same text, and null exactly when the other is null.
void ExpectSameText(const TVString& got, const TVString& want, const std::string& what) {
  EXPECT_EQ(got.isNull(), want.isNull()) << what;
  EXPECT_EQ(Str(got), Str(want)) << what;
}

// The fields by the handle functions, as the passes read them before they
// had a reader.
TVString HandleChildText(int32_t h, int32_t entry, const char* name) {
  int32_t child = tvXMLCFGFindChild(h, entry, name, CMXML_NODE_ELEMENT);
  int32_t text = child < 0 ? -1 : tvXMLCFGGetFirstChild(h, child, CMXML_NODE_TEXT);
  if (text < 0) return TVString("", 0);
  TVString value = tvXMLCFGGetValueString(h, text);
  value.strip(" \r\n", 'B', 1);
  return value;
}

cmDateStamp HandleTimeStamp(int32_t h, int32_t entry) {
  int32_t child = tvXMLCFGFindChild(h, entry, "date", CMXML_NODE_ELEMENT);
  int32_t text = child < 0 ? -1 : tvXMLCFGGetFirstChild(h, child, CMXML_NODE_TEXT);
  if (text < 0) return 0;
  TVString value(tvXMLCFGGetValueCMString(h, text));
  value.strip(" \r\n", 'B', 1);
  return LogEntryFields::parseTimeStamp(value.getCMString());
}

// A path's text by the handle functions; false when it has no text child.
bool HandlePathText(int32_t h, int32_t node, TVString& text) {
  int32_t t = tvXMLCFGGetFirstChild(h, node, CMXML_NODE_TEXT);
  if (t < 0) return false;
  text = tvXMLCFGGetValueString(h, t);
  text.strip(" \r\n", 'B', 1);
  return true;
}

std::vector<int> Ids(const cmXPathNodeList& list) {
  std::vector<int> ids;
  for (cmMiniXmlNode* n : list) ids.push_back(n->id);
  return ids;
}

std::vector<int> HandleList(int32_t h, const char* query, int32_t entry) {
  cmArray<int> found;
  tvXMLCFGFindList(h, query, entry, found, 0, -1);
  return std::vector<int>(found.begin(), found.end());
}

// Compares everything the passes read of every entry of `xml`.
void CompareWithHandleFunctions(const std::string& xml) {
  ScratchDir dir;
  std::string path = dir.file("log.xml");
  WriteWholeFile(path, xml);
  int32_t status = 0;
  int32_t h = tvXMLCFGOpen(path.c_str(), &status, 1, 17);
  ASSERT_EQ(status, 0);
  cmArray<int> entries;
  tvXMLCFGFindList(h, "//logentry", 0, entries, 0, -1);
  ASSERT_GT(entries.size(), 0);
  {
    ingest::LogReader log(h);
    for (int id : entries) {
      const std::string at = "entry " + std::to_string(id);
      cmMiniXmlNode* entry = log.entry(id);
      ASSERT_NE(entry, nullptr) << at;
      EXPECT_EQ(entry->id, id);

      cmMiniXmlNode* added = log.firstAddedDirectory(entry);
      EXPECT_EQ(added ? added->id : -1, tvXMLCFGFindFirst(h, ingest::kAddedDirectoryQuery, id)) << at;
      EXPECT_EQ(Ids(log.deletedPaths(entry)), HandleList(h, ingest::kDeletedPathQuery, id)) << at;
      EXPECT_EQ(Ids(log.changedFiles(entry)), HandleList(h, kChangedFiles, id)) << at;

      // Every path element, whatever the queries make of it.
      for (int pathId : HandleList(h, "paths/path", id)) {
        const std::string p = at + " path " + std::to_string(pathId);
        cmMiniXmlNode* node = log.entry(pathId);
        TVString mine("untouched"), theirs("untouched");
        EXPECT_EQ(log.pathText(node, mine), HandlePathText(h, pathId, theirs)) << p;
        ExpectSameText(mine, theirs, p + " text");
        for (const char* name : {"kind", "action", "copyfrom-path", "copyfrom-rev", "missing"})
          ExpectSameText(log.attribute(node, name), tvXMLCFGGetAttributeString(h, pathId, name, ""),
                         p + " @" + name);
      }

      LogEntryFields f = log.fields(entry);
      ExpectSameText(f.revision, tvXMLCFGGetAttributeString(h, id, "revision", ""), at + " revision");
      ExpectSameText(f.author, HandleChildText(h, id, "author"), at + " author");
      ExpectSameText(f.message, HandleChildText(h, id, "msg"), at + " msg");
      EXPECT_EQ(f.timeStamp, HandleTimeStamp(h, id)) << at;
      LogEntryFields byHandle = LogEntryFields::read(h, id);
      ExpectSameText(byHandle.message, f.message, at + " read()");
      EXPECT_EQ(byHandle.timeStamp, f.timeStamp) << at;
    }
    // A second run of each query on the first entry finds the same again.
    cmMiniXmlNode* first = log.entry(entries[0]);
    EXPECT_EQ(Ids(log.changedFiles(first)), HandleList(h, kChangedFiles, entries[0]));
  }
  tvXMLCFGClose(h);
}

TEST(LogReader, FindsWhatTheHandleFunctionsFind) {
  CompareWithHandleFunctions(R"(<?xml version="1.0" encoding="UTF-8"?>
<log>
<logentry revision=" 7 ">
<author> ann&amp;bob
</author>
<date>2024-01-31T09:15:00.123456Z</date>
<paths>
<path kind="dir" action="M">/trunk</path>
<path kind="dir" action="A" copyfrom-path="/trunk" copyfrom-rev="6">
 /branches/1.0&#x20;</path>
<path kind="dir" action="A" copyfrom-path="/trunk/x">/branches/second</path>
<path action="D" kind="DIR">/branches/1.0/docs</path>
<path action="D" kind="file"><![CDATA[/branches/1.0/cdata.c]]></path>
<path action="D"/>
<path kind="file" action="M">/trunk/a&amp;b.c</path>
<path kind="file" action="A" copyfrom-path="/trunk/c.c" copyfrom-rev="3">/trunk/copied.c</path>
<path kind="file" action="D">/trunk/gone.c</path>
<path kind="file" action="R">	/trunk/tab.c	</path>
<path kind="file" action="M" copyfrom-path="">/trunk/empty-source.c</path>
</paths>
<msg>

two lines
of text

</msg>
</logentry>
<logentry revision="8">
<author/>
<date>not a date</date>
<paths>
<path kind="file" action="A"></path>
<path kind="file " action="M">/trunk/blank-kind.c</path>
</paths>
<paths>
<path kind="file" action="M">/branches/b/second-paths.c</path>
<path kind="dir" action="A"/>
</paths>
<msg></msg>
</logentry>
<logentry>
<msg>   </msg>
<paths><path kind="dir" action="A"></path><path kind="dir" action="A">/tags/t</path></paths>
</logentry>
<logentry revision="10"><msg>only a message</msg></logentry>
</log>
)");
}

// Entries that the added-directory query must answer on its own, and some
// that the reader answers before running it: a directory that isn't added,
// a kind spelt with a character reference, paths outside `paths`, nested
// `paths`, attributes that only look alike.
TEST(LogReader, AddedDirectoriesOfEveryShape) {
  CompareWithHandleFunctions(R"(<?xml version="1.0"?>
<log>
<logentry revision="1"><paths><path kind="dir" action="D">/trunk/x</path></paths></logentry>
<logentry revision="2"><paths><path kind="di&#x72;" action="&#65;">/branches/ref</path></paths></logentry>
<logentry revision="3"><other><path kind="dir" action="A">/branches/outside</path></other></logentry>
<logentry revision="4"><paths><paths><path kind="dir" action="A">/branches/nested</path></paths></paths></logentry>
<logentry revision="5"><paths><path Kind="dir" action="A">/a</path><path kind="Dir" action="A">/b</path>
<path kind=" dir" action="A">/c</path><pathx kind="dir" action="A">/d</pathx></paths></logentry>
<logentry revision="6"><paths kind="dir" action="A"><path kind="file" action="A">/e</path></paths></logentry>
<logentry revision="7"><paths/><paths><path action="A" kind="dir"/></paths></logentry>
<logentry revision="8"><paths><path kind="dir" action="A"><![CDATA[/branches/cdata]]></path></paths></logentry>
</log>
)");
}

// Many small documents made at random from the pieces that matter to the
// queries and the fields (a fixed seed, so a failure repeats).
TEST(LogReader, RandomDocumentsFindWhatTheHandleFunctionsFind) {
  std::mt19937 random(20261122);
  auto pick = [&](std::initializer_list<const char*> options) {
    std::uniform_int_distribution<size_t> d(0, options.size() - 1);
    return std::string(*(options.begin() + d(random)));
  };
  auto chance = [&](int percent) { return std::uniform_int_distribution<int>(0, 99)(random) < percent; };
  auto attributes = [&] {
    std::string a;
    if (chance(80)) a += " kind=\"" + pick({"dir", "file", "di&#x72;", "Dir", "dir ", "", "fi&amp;le"}) + "\"";
    if (chance(80)) a += " action=\"" + pick({"A", "M", "D", "R", "&#65;", "a", " D"}) + "\"";
    if (chance(30)) a += " copyfrom-path=\"" + pick({"/trunk", "", "/branches/b", "/t&amp;x"}) + "\"";
    if (chance(30)) a += " copyfrom-rev=\"" + pick({"6", "", " 7 "}) + "\"";
    if (chance(10)) a += " Kind=\"dir\"";
    return a;
  };
  auto text = [&] {
    return pick({"/trunk/a.c", " /branches/b/x.c\n", "/tags/t/y.c", "\r\n/branches/&amp;/z.c\t", "", "   ",
                 "<![CDATA[/trunk/cdata.c]]>", "/trunk/a.c<!-- note -->/b.c", "/branches"});
  };
  for (int doc = 0; doc < 150; ++doc) {
    std::string xml = "<?xml version=\"1.0\"?>\n<log>\n";
    const int entries = 1 + doc % 4;
    for (int e = 0; e < entries; ++e) {
      xml += "<logentry";
      if (chance(90)) xml += " revision=\"" + pick({"1", " 2 ", "30", "", "4&#x30;"}) + "\"";
      xml += ">";
      if (chance(80)) xml += "<author>" + pick({"ann", " bob ", "", "c&lt;d"}) + "</author>";
      if (chance(85)) xml += "<date>" + pick({"2024-01-31T09:15:00.123456Z", " 2020-02-29T23:59:59.000000Z\n", "bad", ""}) + "</date>";
      const int groups = std::uniform_int_distribution<int>(0, 2)(random);
      for (int g = 0; g < groups; ++g) {
        const std::string group = chance(10) ? "other" : "paths";
        xml += "<" + group + ">";
        const int paths = std::uniform_int_distribution<int>(0, 4)(random);
        for (int p = 0; p < paths; ++p) {
          if (chance(10)) {
            xml += "<path" + attributes() + "/>";
          } else {
            xml += "<path" + attributes() + ">" + text() + "</path>";
          }
        }
        xml += "</" + group + ">";
      }
      if (chance(70)) xml += "<msg>" + pick({"fix", "\n\nline\n\n", "", " \t "}) + "</msg>";
      xml += "</logentry>\n";
    }
    xml += "</log>\n";
    SCOPED_TRACE(xml);
    CompareWithHandleFunctions(xml);
    if (HasFatalFailure() || HasNonfatalFailure()) break;
  }
}

TEST(LogReader, BadHandlesAndIdsFindNothing) {
  ingest::LogReader none(987654);
  EXPECT_EQ(none.entry(0), nullptr);
  EXPECT_EQ(none.entry(5), nullptr);
  EXPECT_EQ(none.firstAddedDirectory(nullptr), nullptr);
  EXPECT_TRUE(none.changedFiles(nullptr).empty());
  EXPECT_TRUE(none.deletedPaths(nullptr).empty());
  LogEntryFields f = none.fields(nullptr);
  ExpectSameText(f.revision, TVString("", 0), "revision");
  ExpectSameText(f.author, TVString("", 0), "author");
  ExpectSameText(f.message, TVString("", 0), "message");
  EXPECT_EQ(f.timeStamp, 0u);
  // The same as the handle functions give for a handle that isn't open.
  LogEntryFields byHandle = LogEntryFields::read(987654, 3);
  ExpectSameText(byHandle.revision, f.revision, "read() revision");
  ExpectSameText(byHandle.author, f.author, "read() author");
}

TEST(LogReader, StrippedValueIsTheCopyStripped) {
  const char* texts[] = {"", " ", "\r\n", "a", " a ", "\n\r a b \r\n", "\ta\t", " \t ", "x\r", "\rx"};
  for (const char* t : texts) {
    TVString copy(t);
    ingest::StripLogValue(copy);
    ExpectSameText(ingest::StrippedLogValue(t), copy, std::string("\"") + t + "\"");
  }
  std::string longText = "  " + std::string(100, 'q') + "\n";
  TVString copy(longText.c_str());
  ingest::StripLogValue(copy);
  ExpectSameText(ingest::StrippedLogValue(longText), copy, "long");
  // A null view stays null, as a copy of a null text does.
  TVString null;
  ingest::StripLogValue(null);
  ExpectSameText(ingest::StrippedLogValue(std::string_view()), null, "null");
}

}  // namespace
