// The reader's walk for the changed files of an entry against the query it
// stands for, run through the handle functions: on many entries made at
// random (attributes in any order, missing, repeated or spelt with
// character references; every action; copy sources; comments, processing
// instructions, CDATA and text between and inside the paths; several and
// empty `paths` elements) both find the same nodes in the same order, and
// both leave the same attribute values decoded.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "ingest/LogReader.h"
#include "update/UpdateTestSupport.h"
#include "xml/cmMiniXml.h"
#include "xml/cmXPathNodeList.h"
#include "xml/tvXmlCfg.h"
#include "xml/tvXmlCfgHandleTable.h"

namespace {

class RandomEntries {
 public:
  explicit RandomEntries(uint32_t seed) : random_(seed) {}

  std::string document(int entries) {
    std::string xml = "<?xml version=\"1.0\"?>\n<log>\n";
    for (int e = 0; e < entries; ++e) xml += entry(e);
    return xml + "</log>\n";
  }

 private:
  std::string pick(const std::vector<std::string>& options) {
    return options[std::uniform_int_distribution<size_t>(0, options.size() - 1)(random_)];
  }
  bool chance(int percent) { return std::uniform_int_distribution<int>(0, 99)(random_) < percent; }
  int upTo(int n) { return std::uniform_int_distribution<int>(0, n)(random_); }

  // Something that is no element, or an element of another name.
  std::string noise() {
    return pick({"\n", "  ", "<!-- <path kind=\"file\"/> -->", "<?pi kind='file'?>", "<![CDATA[<path/>]]>",
                 "text", "<pathx kind=\"file\">/x</pathx>", "<Path kind=\"file\">/y</Path>"});
  }

  std::string attributes() {
    std::vector<std::string> a;
    if (chance(85))
      a.push_back("kind=\"" + pick({"file", "file", "dir", "fil&#x65;", "&#102;ile", "File", "file ", ""}) + "\"");
    if (chance(85))
      a.push_back("action=\"" + pick({"M", "A", "D", "R", "&#68;", "&#x44;", "d", " D", "D&amp;", ""}) + "\"");
    if (chance(25)) a.push_back("copyfrom-path=\"" + pick({"/trunk/a.c", "", "/t&amp;x"}) + "\"");
    if (chance(25)) a.push_back("copyfrom-rev=\"" + pick({"6", ""}) + "\"");
    if (chance(40)) a.push_back("prop-mods=\"false\"");
    if (chance(40)) a.push_back("text-mods=\"" + pick({"true", "&amp;"}) + "\"");
    // Repeated names: the parser keeps both, and a predicate sees both.
    if (chance(8)) a.push_back("kind=\"" + pick({"file", "dir"}) + "\"");
    if (chance(8)) a.push_back("action=\"" + pick({"D", "M"}) + "\"");
    if (chance(5)) a.push_back("copyfrom-pathx=\"/z\"");
    std::shuffle(a.begin(), a.end(), random_);
    std::string out;
    for (const std::string& one : a) out += pick({" ", "\n   ", "\t"}) + one;
    return out;
  }

  std::string path() {
    if (chance(12)) return "<path" + attributes() + "/>";
    std::string inside = pick({"/trunk/a.c", " /branches/b/x.c\n", "/a&amp;b.c", "", "<![CDATA[/c.c]]>"});
    if (chance(10)) inside = noise() + inside;
    return "<path" + attributes() + ">" + inside + "</path>";
  }

  std::string entry(int number) {
    std::string xml = "<logentry revision=\"" + std::to_string(number) + "\">";
    if (chance(50)) xml += "<author>ann</author><date>2020-03-26T15:33:20.000000Z</date>";
    const int groups = upTo(3);
    for (int g = 0; g < groups; ++g) {
      if (chance(15)) xml += noise();
      if (chance(8)) {
        xml += pick({"<paths/>", "<paths kind=\"file\" action=\"M\"/>"});
        continue;
      }
      const std::string group = chance(8) ? pick({"other", "Paths", "paths2"}) : "paths";
      xml += "<" + group + pick({"", " kind=\"file\""}) + ">";
      const int paths = upTo(6);
      for (int p = 0; p < paths; ++p) {
        if (chance(20)) xml += noise();
        xml += path();
      }
      xml += "</" + group + ">";
    }
    // A `path` straight below the entry is no changed file.
    if (chance(10)) xml += "<path kind=\"file\" action=\"M\">/direct.c</path>";
    xml += "<msg>m</msg></logentry>\n";
    return xml;
  }

  std::mt19937 random_;
};

std::vector<int> Ids(const cmXPathNodeList& list) {
  std::vector<int> ids;
  for (cmMiniXmlNode* n : list) ids.push_back(n->id);
  return ids;
}

int32_t Open(const std::string& path) {
  int32_t status = 0;
  int32_t h = tvXMLCFGOpen(path.c_str(), &status, 1, 17);
  EXPECT_EQ(status, 0);
  return h;
}

// For every node of the document in order, whether its value has been
// decoded (moved out of the text buffer).
std::vector<bool> DecodedValues(int32_t h) {
  tvXmlCfgLock lock;
  cmMiniXml& doc = tvXmlCfgTable::entry(h)->doc;
  std::vector<bool> decoded;
  for (cmMiniXml::const_iterator it = doc.walk(); !it.done(); it.next())
    decoded.push_back((*it)->value && !doc.inTextBuffer((*it)->value));
  return decoded;
}

// Runs the walk on one copy of `xml` and the query on another, entry by
// entry, and compares what they find and what they decoded. Returns the
// number of paths found.
size_t CompareWalkWithQuery(const std::string& xml) {
  ScratchDir dir;
  const std::string walked = dir.file("walked.xml"), queried = dir.file("queried.xml");
  WriteWholeFile(walked, xml);
  WriteWholeFile(queried, xml);
  const int32_t hw = Open(walked), hq = Open(queried);
  EXPECT_NE(hw, hq);
  cmArray<int> entries;
  tvXMLCFGFindList(hw, "//logentry", 0, entries, 0, -1);
  EXPECT_GT(entries.size(), 0);
  size_t found = 0;
  {
    ingest::LogReader log(hw);
    for (int id : entries) {
      cmArray<int> byQuery;
      tvXMLCFGFindList(hq, ingest::kChangedFileQuery, id, byQuery, 0, -1);
      const std::vector<int> expected(byQuery.begin(), byQuery.end());
      EXPECT_EQ(Ids(log.changedFiles(log.entry(id))), expected) << "entry " << id;
      found += expected.size();
    }
    // From the document node the steps find no `paths` child.
    EXPECT_TRUE(log.changedFiles(log.entry(0)).empty());
  }
  EXPECT_EQ(DecodedValues(hw), DecodedValues(hq));
  tvXMLCFGClose(hw);
  tvXMLCFGClose(hq);
  return found;
}

TEST(LogReaderChangedFiles, FindsWhatTheQueryFindsOnRandomEntries) {
  RandomEntries make(20200326);
  size_t found = 0;
  for (int doc = 0; doc < 120; ++doc) {
    const std::string xml = make.document(1 + doc % 6);
    SCOPED_TRACE(xml);
    found += CompareWalkWithQuery(xml);
    if (HasFailure()) break;
  }
  // The pieces are chosen so that a fair share of paths are changed files.
  EXPECT_GT(found, 100u);
}

// Shapes worth naming, each one entry.
TEST(LogReaderChangedFiles, FindsWhatTheQueryFindsOnChosenEntries) {
  EXPECT_EQ(CompareWalkWithQuery(R"(<?xml version="1.0"?>
<log>
<logentry revision="1"><paths>
<path action="M" kind="file">/order.c</path>
<path kind="file">/no-action.c</path>
<path action="M">/no-kind.c</path>
<path kind="file" action="D">/deleted.c</path>
<path kind="file" action="&#68;">/deleted-by-reference.c</path>
<path kind="f&#105;le" action="M">/kind-by-reference.c</path>
<path kind="file" action="M" copyfrom-path="">/empty-source.c</path>
<path kind="file" action="A" copyfrom-rev="3">/rev-only.c</path>
<path kind="dir" kind="file" action="M">/second-kind.c</path>
<path kind="file" action="M" action="D">/second-action.c</path>
<path kind="file" action="M"/>
<!-- <path kind="file" action="M">/comment.c</path> -->
</paths>
<paths/>
<paths><path kind="file" action="R">/second-paths.c</path></paths>
</logentry>
<logentry revision="2"><paths><path kind="dir" action="M">/dir</path></paths></logentry>
<logentry revision="3"/>
</log>
)"),
            7u);  // order, no-action, kind-by-reference, rev-only, second-kind, the empty path, second-paths
}

}  // namespace
