// The document tree: pool, ids, placement, edits, walks, values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "XmlTestUtil.h"
#include "runtime/cmErrors.h"
#include "runtime/cmException.h"
#include "xml/cmAllocFixedSizeNoNew.h"
#include "xml/cmMiniXml.h"
#include "xml/cmMiniXmlArena.h"
#include "xml/cmSlotTable.h"

using xmltest::checkRings;
using xmltest::dump;

namespace {

cmMiniXmlNode* add(cmMiniXml& doc, cmMiniXmlNode* ref, const char* text, uint32_t kind, int where) {
  return doc.insertAndCreate(ref, text, -1, kind, where);
}

TEST(MiniXmlPool, BlocksGrowByHalfUpToTenThousand) {
  struct Rec {
    void* link;
    int payload[5];
  };
  cmAllocFixedSizeNoNew<Rec> pool;
  std::vector<uint64_t> totals;
  uint64_t lastTotal = 0;
  for (int i = 0; i < 200000; ++i) {
    Rec* r = pool.alloc();
    EXPECT_EQ(r->payload[3], 0);
    r->payload[3] = 7;
    if (pool.totalAllocated() != lastTotal) {
      totals.push_back(pool.totalAllocated() - lastTotal);
      lastTotal = pool.totalAllocated();
    }
  }
  ASSERT_GE(totals.size(), 5u);
  EXPECT_EQ(totals[0], 10u);
  EXPECT_EQ(totals[1], 15u);
  EXPECT_EQ(totals[2], 22u);
  EXPECT_EQ(totals[3], 33u);
  EXPECT_EQ(totals.back(), 10000u);
  for (size_t i = 1; i < totals.size(); ++i)
    EXPECT_EQ(totals[i], std::min<uint64_t>(totals[i - 1] + totals[i - 1] / 2, 10000));
  EXPECT_EQ(pool.blockCount(), totals.size());
  // A freed record comes back first, zeroed.
  Rec* r = pool.alloc();
  r->payload[0] = 42;
  pool.free(r);
  Rec* again = pool.alloc();
  EXPECT_EQ(again, r);
  EXPECT_EQ(again->payload[0], 0);
}

TEST(MiniXmlSlotTable, MatchesAModelUnderRandomUse) {
  cmSlotTable table;
  std::map<int32_t, void*> live;  // model: id -> item
  std::vector<int32_t> freed;     // model: free chain, latest last
  int32_t used = 0;
  std::mt19937 rng(5);
  static char items[1000];
  for (int step = 0; step < 20000; ++step) {
    if (live.empty() || rng() % 3 != 0) {
      void* item = &items[rng() % 1000];
      int32_t expect = freed.empty() ? used++ : freed.back();
      if (!freed.empty()) freed.pop_back();
      int32_t id = table.add(item);
      ASSERT_EQ(id, expect);
      live[id] = item;
    } else {
      auto it = live.begin();
      std::advance(it, rng() % live.size());
      table.release(it->first);
      freed.push_back(it->first);
      live.erase(it);
    }
    if (step % 97 == 0) {
      for (int32_t id = -1; id <= used; ++id) {
        auto it = live.find(id);
        ASSERT_EQ(table.get(id), it == live.end() ? nullptr : it->second) << id;
      }
    }
  }
  EXPECT_EQ(table.liveCount(), static_cast<int64_t>(live.size()));
  EXPECT_EQ(table.usedCount(), used);
  table.release(123456);  // ids that name nothing are ignored
  EXPECT_EQ(table.liveCount(), static_cast<int64_t>(live.size()));
}

// Room made ahead, then outgrown: ids stay dense and every item stays
// where it was put, with and without the reuse of freed slots.
TEST(MiniXmlSlotTable, ReserveThenGrowKeepsEveryItem) {
  static char items[4000];
  for (bool reuse : {true, false}) {
    cmSlotTable table;
    table.setReuseFreeSlots(reuse);
    table.reserve(1000);
    EXPECT_EQ(table.capacity(), 1000);
    for (int i = 0; i < 3000; ++i) ASSERT_EQ(table.add(&items[i]), i);
    EXPECT_GE(table.capacity(), 3000);
    table.release(10);
    table.release(2000);
    EXPECT_EQ(table.get(10), nullptr);
    EXPECT_EQ(table.get(3000), nullptr);  // beyond the last id handed out
    // Freed slots come back latest first, or not at all.
    EXPECT_EQ(table.add(&items[3000]), reuse ? 2000 : 3000);
    EXPECT_EQ(table.add(&items[3001]), reuse ? 10 : 3001);
    EXPECT_EQ(table.add(&items[3002]), reuse ? 3000 : 3002);
    for (int i = 0; i < 3000; ++i) {
      if (i != 10 && i != 2000) {
        ASSERT_EQ(table.get(i), &items[i]) << i;
      }
    }
    EXPECT_EQ(table.liveCount(), 3001);
  }
}

TEST(MiniXmlTree, EmptyDocument) {
  cmMiniXml doc;
  EXPECT_EQ(doc.root()->kind, CMXML_NODE_DOCUMENT);
  EXPECT_EQ(doc.rootElement(), nullptr);
  EXPECT_EQ(doc.fileEncoding(), CMXML_ENCODING_UTF8);
  EXPECT_EQ(doc.eol(), "\r\n");
  EXPECT_FALSE(doc.idsEnabled());
  doc.setIdsEnabled(true);
  EXPECT_EQ(doc.root()->id, 0);
  EXPECT_EQ(doc.nodeFromId(0), doc.root());
  EXPECT_EQ(doc.nodeFromId(1), nullptr);
  EXPECT_EQ(doc.nodeValue(doc.root()), "");
}

TEST(MiniXmlTree, PlacementByWhere) {
  cmMiniXml doc;
  cmMiniXmlNode* a = add(doc, nullptr, "a", CMXML_NODE_ELEMENT_EMPTY, CMXML_WHERE_LAST_CHILD);
  add(doc, a, "x", CMXML_NODE_ATTRIBUTE, CMXML_WHERE_LAST_CHILD);
  EXPECT_EQ(a->kind, CMXML_NODE_ELEMENT_EMPTY);  // an attribute leaves <a/> alone
  EXPECT_EQ(dump(doc), "a(@x=)/");
  cmMiniXmlNode* b = add(doc, a, "b", CMXML_NODE_ELEMENT, CMXML_WHERE_LAST_CHILD);
  EXPECT_EQ(a->kind, CMXML_NODE_ELEMENT);  // a child makes it an element with an end tag
  add(doc, b, "c", CMXML_NODE_ELEMENT, CMXML_WHERE_AFTER);
  add(doc, b, "p", CMXML_NODE_ELEMENT, CMXML_WHERE_BEFORE);
  add(doc, a, "f", CMXML_NODE_ELEMENT, CMXML_WHERE_FIRST_CHILD);
  add(doc, a, "y", CMXML_NODE_ATTRIBUTE, CMXML_WHERE_FIRST_CHILD);
  add(doc, a, "t", CMXML_NODE_TEXT, CMXML_WHERE_LAST_CHILD);
  EXPECT_EQ(dump(doc), "a(@y= @x= f p b c \"t\")");
  // where 3 on a node with only attributes appends.
  cmMiniXmlNode* e = add(doc, a, "e", CMXML_NODE_ELEMENT_EMPTY, CMXML_WHERE_LAST_CHILD);
  add(doc, e, "k", CMXML_NODE_ATTRIBUTE, CMXML_WHERE_LAST_CHILD);
  add(doc, e, "first", CMXML_NODE_ELEMENT, CMXML_WHERE_FIRST_CHILD);
  EXPECT_EQ(e->kind, CMXML_NODE_ELEMENT);
  EXPECT_EQ(dump(doc), "a(@y= @x= f p b c \"t\" e(@k= first))");
  // The first-child position moves when inserting before the first child.
  add(doc, a->firstChild, "z", CMXML_NODE_ATTRIBUTE, CMXML_WHERE_BEFORE);
  EXPECT_EQ(a->firstChild->nameView(), "z");
  EXPECT_EQ(checkRings(doc), "");
  // The text goes where the kind says.
  cmMiniXmlNode* pi = add(doc, nullptr, "target", CMXML_NODE_PI, CMXML_WHERE_FIRST_CHILD);
  cmMiniXmlNode* com = add(doc, nullptr, "note", CMXML_NODE_COMMENT, CMXML_WHERE_LAST_CHILD);
  EXPECT_EQ(pi->nameView(), "target");
  EXPECT_EQ(pi->value, nullptr);
  EXPECT_EQ(com->rawValue(), "note");
  EXPECT_EQ(com->name, nullptr);
  EXPECT_EQ(doc.root()->firstChild, pi);
  EXPECT_TRUE(doc.modified());
}

TEST(MiniXmlTree, NoSiblingOfTheRoot) {
  cmMiniXml doc;
  for (int where : {CMXML_WHERE_AFTER, CMXML_WHERE_BEFORE}) {
    for (cmMiniXmlNode* ref : {static_cast<cmMiniXmlNode*>(nullptr), doc.root()}) {
      try {
        add(doc, ref, "x", CMXML_NODE_ELEMENT, where);
        FAIL() << "no throw";
      } catch (const cmException& e) {
        EXPECT_EQ(e.number(), CMXML_ERR_ROOT_SIBLING);
        EXPECT_STREQ(e.param(), "cmMiniXml::insertAndCreate");
      }
    }
  }
  EXPECT_EQ(doc.nodeCount(), 1u);
}

TEST(MiniXmlTree, SetAttributeKeepsAttributesInFront) {
  cmMiniXml doc;
  doc.loadString("<a k='1'>text<b/></a>", CMXML_PARSE_KEEP_TEXT);
  cmMiniXmlNode* a = doc.rootElement();
  // Replacing: both strings become private copies.
  cmMiniXmlNode* k = a->setAttribute("k", "2");
  EXPECT_FALSE(doc.inTextBuffer(k->name));
  EXPECT_EQ(k->rawValue(), "2");
  a->setAttribute("m", "3");
  doc.setAttribute(a, "f", "0", CMXML_WHERE_FIRST_CHILD);
  EXPECT_EQ(dump(doc), "a(@f=0 @k=2 @m=3 \"text\" b/)");
  int32_t index = 0;
  EXPECT_EQ(cmMiniXml::findAttribute(a, "m", &index)->rawValue(), "3");
  EXPECT_EQ(index, 3);
  EXPECT_EQ(cmMiniXml::findAttribute(a, "zz", &index), nullptr);
  EXPECT_EQ(index, 0);
  // Added with where 2 an attribute lands behind the content, out of reach.
  add(doc, a, "late", CMXML_NODE_ATTRIBUTE, CMXML_WHERE_LAST_CHILD);
  EXPECT_EQ(cmMiniXml::findAttribute(a, "late"), nullptr);
  // setAttribute on an element without children.
  cmMiniXmlNode* b = cmMiniXml::findChild(a, "b", CMXML_ELEMENT_KINDS);
  b->setAttribute("x", "y");
  EXPECT_EQ(b->kind, CMXML_NODE_ELEMENT_EMPTY);
  EXPECT_TRUE(doc.deleteAttribute(a, "k"));
  EXPECT_FALSE(doc.deleteAttribute(a, "k"));
  EXPECT_EQ(dump(doc), "a(@f=0 @m=3 \"text\" b(@x=y)/ @late=)");
  EXPECT_EQ(checkRings(doc, false), "");
}

TEST(MiniXmlTree, TextOrCdataByContent) {
  struct Case {
    const char* text;
    uint32_t kind;
  } cases[] = {
      {"plain", CMXML_NODE_TEXT},   {"a & b", CMXML_NODE_CDATA}, {"a<b", CMXML_NODE_CDATA},
      {"a>b", CMXML_NODE_CDATA},    {"", CMXML_NODE_CDATA},      {" \t\r\n", CMXML_NODE_CDATA},
      {"x]]>y<", CMXML_NODE_TEXT},  {" x ", CMXML_NODE_TEXT},
  };
  for (const Case& c : cases) {
    cmMiniXml doc;
    cmMiniXmlNode* e = add(doc, nullptr, "e", CMXML_NODE_ELEMENT_EMPTY, CMXML_WHERE_LAST_CHILD);
    cmMiniXmlNode* t = doc.addTextOrCdata(e, c.text, -1);
    EXPECT_EQ(t->kind, c.kind) << c.text;
    EXPECT_EQ(t->rawValue(), c.text);
    EXPECT_EQ(e->kind, CMXML_NODE_ELEMENT);
  }
}

TEST(MiniXmlTree, DeletionAndIdReuse) {
  cmMiniXml doc;
  doc.setIdsEnabled(true);
  doc.loadString("<a x='1'><b><c/><d/></b>t<e/></a>", CMXML_PARSE_KEEP_TEXT);
  cmMiniXmlNode* a = doc.rootElement();
  EXPECT_EQ(a->id, 1);
  EXPECT_EQ(doc.nodeIds().liveCount(), 8);
  cmMiniXmlNode* e = cmMiniXml::findChild(a, "e", CMXML_ELEMENT_KINDS);
  int32_t eId = e->id;
  doc.deleteNode(e, false);
  EXPECT_EQ(doc.nodeFromId(eId), nullptr);
  cmMiniXmlNode* f = add(doc, a, "f", CMXML_NODE_ELEMENT, CMXML_WHERE_LAST_CHILD);
  EXPECT_EQ(f->id, eId);  // the id just freed names the new node
  EXPECT_EQ(doc.nodeFromId(eId), f);

  cmMiniXmlNode* b = cmMiniXml::findChild(a, "b", CMXML_ELEMENT_KINDS);
  int32_t bId = b->id, cId = b->firstChild->id;
  doc.deleteNode(b, false);
  EXPECT_EQ(doc.nodeFromId(bId), nullptr);
  // A descendant's id still resolves to a record, but not to a live node.
  EXPECT_NE(doc.nodeFromId(cId), nullptr);
  EXPECT_EQ(dump(doc), "a(@x=1 \"t\" f)");
  doc.deleteNode(a, true);  // children only: the attribute stays
  EXPECT_EQ(dump(doc), "a(@x=1)");
  EXPECT_EQ(checkRings(doc), "");
  doc.deleteNode(doc.root(), false);  // the root is never deleted this way
  EXPECT_EQ(dump(doc), "");
  EXPECT_EQ(doc.nodeCount(), 1u);
  // reset releases no ids: they keep growing over reloads.
  cmMiniXml reloaded;
  reloaded.setIdsEnabled(true);
  reloaded.loadString("<a><b/></a>", 0);
  EXPECT_EQ(reloaded.rootElement()->firstChild->id, 2);
  reloaded.loadString("<z/>", 0);
  EXPECT_EQ(reloaded.rootElement()->id, 3);
  EXPECT_NE(reloaded.nodeFromId(1), nullptr);  // a stale record, not a live node
}

TEST(MiniXmlTree, Lookups) {
  cmMiniXml doc;
  doc.loadString("<r n='attr'><!--c--><n>1</n><m/><n>2</n><?p v?></r>", CMXML_PARSE_KEEP_TEXT);
  cmMiniXmlNode* r = doc.rootElement();
  EXPECT_EQ(cmMiniXml::findChild(r, "n", CMXML_ALL_KINDS), r->firstChild->nextSibling->nextSibling);
  EXPECT_EQ(cmMiniXml::findChild(r, "m", CMXML_NODE_ELEMENT), nullptr);  // m is kind 2
  EXPECT_EQ(cmMiniXml::findChild(r, "p", CMXML_NODE_PI)->rawValue(), "v");
  EXPECT_EQ(cmMiniXml::firstChildOfKind(r, CMXML_NODE_ATTRIBUTE)->nameView(), "n");
  EXPECT_EQ(cmMiniXml::firstChildOfKind(r, CMXML_NODE_COMMENT)->rawValue(), "c");
  std::string names;
  for (cmMiniXmlNode* c = cmMiniXml::firstChildOfKind(r, CMXML_ALL_KINDS); c;
       c = cmMiniXml::nextSiblingOfKind(c, CMXML_ELEMENT_KINDS))
    names += std::string(cmMiniXml::displayName(c)) + ",";
  EXPECT_EQ(names, "n,n,m,n,");  // starts at the attribute; the walk skips attributes
  std::string back;
  for (cmMiniXmlNode* c = r->lastChild(); c; c = cmMiniXml::prevSiblingOfKind(c, CMXML_ALL_KINDS))
    back += std::string(cmMiniXml::displayName(c)) + ",";
  EXPECT_EQ(back, "p,n,m,n,#comment,");
  EXPECT_EQ(cmMiniXml::nextSiblingOfKind(doc.root(), CMXML_ALL_KINDS), nullptr);
  EXPECT_EQ(cmMiniXml::findChild(nullptr, "x", 1), nullptr);
}

TEST(MiniXmlTree, DisplayNames) {
  cmMiniXml doc;
  doc.loadString("<!DOCTYPE r><?pi x?><r a='1'><!--c-->t<![CDATA[d]]></r>", CMXML_PARSE_KEEP_TEXT);
  std::vector<std::string> names;
  for (auto it = doc.walk(); !it.done(); it.next()) names.emplace_back(cmMiniXml::displayName(*it));
  std::vector<std::string> expected = {"#document", std::string("#doctype", 9), "root", "pi", "r", "a",
                                       "#comment", "#text", "#cdata-section"};
  EXPECT_EQ(names, expected);
  EXPECT_EQ(cmMiniXml::displayName(doc.root()->firstChild).size(), 9u);
}

TEST(MiniXmlTree, LazyDecoding) {
  struct Case {
    const char* raw;
    std::string decoded;
  } cases[] = {
      {"a&amp;b", "a&b"},
      {"&lt;&gt;&apos;&quot;", "<>'\""},
      {"&unknown; &#xZZ; & &", "&unknown; &#xZZ; & &"},
      {"&#65;x", "Ax"},
      {"&#233;x", "\xC3\xA9x"},
      {"&#65;", "A"},                 // five bytes at the end: decoded
      {"&#9;", "&#9;"},               // four bytes at the end: stays
      {"&#x41;", "A"},
      {"&#x9;", "&#x9;"},             // five bytes at the end: stays
      {"&#x9;.", "\t."},
      {"&#x20AC;", "\xE2\x82\xAC"},
      {"&#x1F600;", "\xF0\x9F\x98\x80"},
      {"&#12a;", "&#12a;"},
      {"&#;&#x;", "&#;&#x;"},
      {"&amp", "&amp"},
      {"&am;", "&am;"},
      {"x&#1234", "x&#1234"},
      {"&&amp;", "&&"},
      {"&#0;z", std::string("\0z", 2)},
  };
  for (const Case& c : cases) {
    cmMiniXml doc;
    std::string text = std::string("<e v=\"") + c.raw + "\">" + c.raw + "</e>";
    doc.loadString(text, CMXML_PARSE_KEEP_TEXT);
    cmMiniXmlNode* e = doc.rootElement();
    cmMiniXmlNode* attr = e->firstChild;
    cmMiniXmlNode* txt = attr->nextSibling;
    EXPECT_EQ(doc.decodedValue(attr), c.decoded) << c.raw;
    EXPECT_EQ(doc.decodedValue(txt), c.decoded) << c.raw;
    EXPECT_EQ(doc.nodeValue(e), c.decoded) << c.raw;
  }
  // The second read doesn't decode again.
  cmMiniXml doc;
  doc.loadString("<e>&amp;amp;</e>", CMXML_PARSE_KEEP_TEXT);
  cmMiniXmlNode* t = doc.rootElement()->firstChild;
  EXPECT_EQ(doc.decodedValue(t), "&amp;");
  EXPECT_EQ(doc.decodedValue(t), "&amp;");
  EXPECT_FALSE(doc.inTextBuffer(t->value));
  // Other kinds are never decoded.
  doc.loadString("<e><![CDATA[&amp;]]><!--&amp;--><?p &amp;?></e>", 0);
  for (cmMiniXmlNode* c = doc.rootElement()->firstChild; c; c = cmMiniXml::nextSiblingOfKind(c, 1023))
    EXPECT_EQ(doc.decodedValue(c), "&amp;");
}

TEST(MiniXmlTree, ElementText) {
  cmMiniXml doc;
  doc.loadString("<a k='no'>one <b>two<c>three</c></b><d/><![CDATA[<four>]]><!--no--><?p no?></a>",
                 CMXML_PARSE_KEEP_TEXT);
  cmMiniXmlNode* a = doc.rootElement();
  EXPECT_EQ(doc.nodeValue(a), "one twothree<four>");
  EXPECT_EQ(doc.nodeValue(doc.root()), "one twothree<four>");
  EXPECT_EQ(doc.nodeValue(cmMiniXml::findChild(a, "d", 2)), "");
  EXPECT_EQ(doc.nodeValue(a->firstChild), "no");
}

TEST(MiniXmlTree, LineOfNode) {
  for (const char* eol : {"\n", "\r\n", "\r"}) {
    std::string e(eol);
    cmMiniXml doc;
    doc.loadString("<a>" + e + "<b/>" + e + e + "<c x='1'/>" + e + "</a>", 0);
    cmMiniXmlNode* a = doc.rootElement();
    cmMiniXmlNode* c = cmMiniXml::findChild(a, "c", 2);
    EXPECT_EQ(doc.lineOfNode(c), 4u) << eol;
    EXPECT_EQ(doc.lineOfNode(c->firstChild), 4u) << eol;
    EXPECT_EQ(doc.lineOfNode(cmMiniXml::findChild(a, "b", 2)), 2u) << eol;  // behind the cache
    EXPECT_EQ(doc.lineOfNode(a), 1u) << eol;
    EXPECT_EQ(doc.lineOfNode(doc.root()), 0u);
    cmMiniXmlNode* n = add(doc, a, "new", CMXML_NODE_ELEMENT, CMXML_WHERE_LAST_CHILD);
    EXPECT_EQ(doc.lineOfNode(n), 0u);
  }
}

TEST(MiniXmlTree, WalkIsPreOrderWithoutRecursion) {
  cmMiniXml doc;
  doc.loadString("<a x='1'><b><c/></b><d>t</d></a><e/>", CMXML_PARSE_KEEP_TEXT);
  std::string order;
  std::string depths;
  for (auto it = doc.walk(); !it.done(); it.next()) {
    order += std::string(cmMiniXml::displayName(*it)) + " ";
    depths += std::to_string(it.depth());
  }
  EXPECT_EQ(order, "#document a x b c d #text e ");
  EXPECT_EQ(depths, "01223231");
  // skipChildren steps over a subtree; a walk from an inner node stays inside.
  std::string skipped;
  for (auto it = doc.walk(doc.rootElement()); !it.done();) {
    skipped += std::string(cmMiniXml::displayName(*it)) + " ";
    if ((*it)->nameView() == "b")
      it.skipChildren();
    else
      it.next();
  }
  EXPECT_EQ(skipped, "a x b d #text ");
  // A chain a million deep built by edits: walk, copy and delete it.
  cmMiniXml deep;
  cmMiniXmlNode* n = nullptr;
  for (int i = 0; i < 1000000; ++i) n = add(deep, n, "n", CMXML_NODE_ELEMENT, CMXML_WHERE_LAST_CHILD);
  deep.addTextOrCdata(n, "leaf", -1);
  uint32_t maxDepth = 0;
  for (auto it = deep.walk(); !it.done(); it.next()) maxDepth = std::max(maxDepth, it.depth());
  EXPECT_EQ(maxDepth, 1000001u);
  EXPECT_EQ(deep.nodeValue(deep.rootElement()), "leaf");
  cmMiniXml copy(deep);
  EXPECT_EQ(copy.nodeCount(), deep.nodeCount());
  deep.deleteNode(deep.rootElement(), false);
  EXPECT_EQ(deep.nodeCount(), 1u);
}

TEST(MiniXmlTree, CopySubtree) {
  cmMiniXml src;
  src.loadString("<s a='x&amp;y'><t>1&lt;2</t><u/></s>", CMXML_PARSE_KEEP_TEXT);
  cmMiniXml dst;
  cmMiniXmlNode* top = add(dst, nullptr, "top", CMXML_NODE_ELEMENT, CMXML_WHERE_LAST_CHILD);
  cmMiniXmlNode* s = src.rootElement();
  cmMiniXmlNode* copy = dst.copySubtree(top, s, CMXML_WHERE_LAST_CHILD, false);
  EXPECT_EQ(copy->parent, top);
  EXPECT_EQ(dump(dst), "top(s(@a=x&y t(\"1<2\") u/))");  // values decoded
  dst.copySubtree(top, s, CMXML_WHERE_FIRST_CHILD, true);  // children only
  EXPECT_EQ(dump(dst), "top(t(\"1<2\") u/ s(@a=x&y t(\"1<2\") u/))");
  // Onto the document node: where 0 means last, 1 first.
  dst.copySubtree(nullptr, cmMiniXml::findChild(s, "u", 2), CMXML_WHERE_AFTER, false);
  dst.copySubtree(nullptr, cmMiniXml::findChild(s, "t", 1), CMXML_WHERE_BEFORE, false);
  EXPECT_EQ(dump(dst), "t(\"1<2\") top(t(\"1<2\") u/ s(@a=x&y t(\"1<2\") u/)) u/");
  // Copying the source document copies its top-level nodes.
  cmMiniXmlNode* first = dst.copySubtree(top, src.root(), CMXML_WHERE_AFTER, false);
  EXPECT_EQ(first->nameView(), "s");
  EXPECT_EQ(first->prevSibling, top);
  // Into itself: nothing copied, the first non-attribute child returned.
  uint64_t before = dst.nodeCount();
  cmMiniXmlNode* s2 = cmMiniXml::findChild(top, "s", 1);
  EXPECT_EQ(dst.copySubtree(s2, s2, CMXML_WHERE_LAST_CHILD, false), cmMiniXml::findChild(s2, "t", 1));
  EXPECT_EQ(dst.nodeCount(), before);
  // Behind itself is outside its subtree, and copies.
  cmMiniXmlNode* twin = dst.copySubtree(s2, s2, CMXML_WHERE_AFTER, false);
  EXPECT_EQ(twin->prevSibling, s2);
  EXPECT_EQ(dst.nodeCount(), before + 5);
  // Everything copied is private to the destination.
  for (auto it = dst.walk(); !it.done(); it.next()) {
    EXPECT_FALSE(src.inTextBuffer((*it)->name));
    EXPECT_FALSE(src.inTextBuffer((*it)->value));
  }
  EXPECT_EQ(checkRings(dst), "");
}

TEST(MiniXmlTree, CopyAndMoveDocuments) {
  cmMiniXml src;
  src.setIdsEnabled(true);
  src.loadString("<?xml version='1.0' encoding='UTF-8'?>\n<a k='v'>x&amp;y<b/></a><!--end-->\n", 1);
  cmMiniXml copy(src);
  EXPECT_TRUE(copy.idsEnabled());
  EXPECT_EQ(dump(copy), "a(@k=v \"x&y\" b/) !end");
  EXPECT_EQ(copy.versionText(), "1.0");
  EXPECT_EQ(copy.eol(), "\n");
  EXPECT_EQ(checkRings(copy), "");
  cmMiniXml noIds;
  noIds.copyDocument(src, 0);
  EXPECT_FALSE(noIds.idsEnabled());
  noIds.copyDocument(noIds, 1);  // itself: nothing happens
  EXPECT_FALSE(noIds.idsEnabled());

  cmMiniXml moved(std::move(copy));
  EXPECT_EQ(dump(moved), "a(@k=v \"x&y\" b/) !end");
  EXPECT_EQ(checkRings(moved), "");  // every node names its new document
  EXPECT_EQ(dump(copy), "");
  EXPECT_EQ(copy.fileEncoding(), CMXML_ENCODING_UTF8);
  add(copy, nullptr, "again", CMXML_NODE_ELEMENT, CMXML_WHERE_LAST_CHILD);
  EXPECT_EQ(dump(copy), "again");
}

// Decoded copies live in the document's arena. They must stay readable
// through moves and edits of other nodes, must never be handed to the
// allocator one by one (replacing or deleting a decoded node), and must go
// with a reload. Under the sanitizers a wrong free or a stale read fails.
TEST(MiniXmlTree, DecodedCopiesSurviveEditsMovesAndReloads) {
  // Enough decoded text for several chunks, and one value bigger than any
  // chunk so far.
  std::string text = "<log>";
  std::vector<std::string> expected;
  for (int i = 0; i < 2000; ++i) {
    std::string v = std::to_string(i) + std::string(static_cast<size_t>(i % 37), 'x');
    text += "<m k='" + v + "&amp;'>" + v + "&lt;</m>";
    expected.push_back(v);
  }
  std::string big(300000, 'b');
  text += "<big>" + big + "&quot;</big></log>";
  cmMiniXml doc;
  doc.loadString(text, CMXML_PARSE_KEEP_TEXT);
  auto check = [&](cmMiniXml& d, int count, const std::string& bigValue) {
    int i = 0;
    for (cmMiniXmlNode* m = cmMiniXml::findChild(d.rootElement(), "m", 1); m && m->nameView() == "m";
         m = cmMiniXml::nextSiblingOfKind(m, 1), ++i) {
      EXPECT_EQ(d.decodedValue(m->firstChild), expected[i] + "&") << i;
      EXPECT_EQ(d.nodeValue(m), expected[i] + "<") << i;
    }
    EXPECT_EQ(i, count);
    EXPECT_EQ(d.nodeValue(cmMiniXml::findChild(d.rootElement(), "big", 1)), bigValue);
  };
  check(doc, 2000, big + '"');
  // Values read before the move are still the node's after it.
  cmMiniXml moved(std::move(doc));
  check(moved, 2000, big + '"');
  EXPECT_EQ(checkRings(moved), "");
  // Replace a decoded value, overwrite a decoded attribute, delete decoded
  // nodes: the arena copies are dropped, not freed.
  cmMiniXmlNode* last = cmMiniXml::findChild(moved.rootElement(), "big", 1);
  cmMiniXmlNode* m = cmMiniXml::prevSiblingOfKind(last, 1);
  moved.setNodeValue(m->firstChild->nextSibling, "plain");
  moved.setAttribute(m, "k", "new");
  EXPECT_EQ(moved.nodeValue(m), "plain");
  EXPECT_EQ(moved.decodedValue(m->firstChild), "new");
  moved.deleteNode(m, false);
  moved.deleteNode(last->firstChild, false);
  check(moved, 1999, "");
  cmMiniXml copy(moved);
  check(copy, 1999, "");
  // A reload drops every copy; the new ones decode afresh.
  moved.loadString("<a v='&lt;'>&gt;</a>", CMXML_PARSE_KEEP_TEXT);
  EXPECT_EQ(moved.decodedValue(moved.rootElement()->firstChild), "<");
  EXPECT_EQ(moved.nodeValue(moved.rootElement()), ">");
  check(copy, 1999, "");
}

TEST(MiniXmlArena, PiecesStayApartAndAreKnownUntilReleased) {
  cmMiniXmlArena arena;
  std::mt19937 rng(7);
  std::vector<std::pair<char*, size_t>> pieces;
  for (int i = 0; i < 3000; ++i) {
    size_t n = 1 + rng() % (i % 100 == 0 ? 20000 : 300);
    char* p = arena.alloc(n);
    ASSERT_NE(p, nullptr);
    std::memset(p, static_cast<char>(i), n);
    pieces.emplace_back(p, n);
  }
  for (size_t i = 0; i < pieces.size(); ++i) {
    auto [p, n] = pieces[i];
    EXPECT_TRUE(arena.contains(p)) << i;
    EXPECT_TRUE(arena.contains(p + n - 1)) << i;
    EXPECT_EQ(std::count(p, p + n, static_cast<char>(i)), static_cast<std::ptrdiff_t>(n)) << i;
  }
  std::string elsewhere = "not from the arena";
  EXPECT_FALSE(arena.contains(elsewhere.data()));
  cmMiniXmlArena taken(std::move(arena));
  EXPECT_TRUE(arena.empty());
  EXPECT_FALSE(arena.contains(pieces[0].first));
  EXPECT_TRUE(taken.contains(pieces[0].first));
  taken.release();
  EXPECT_TRUE(taken.empty());
  EXPECT_FALSE(taken.contains(pieces.back().first));
}

TEST(MiniXmlTree, ResetKeepsNothingButTheRoot) {
  cmMiniXml doc;
  doc.loadString("<?xml version='1.0'?><a><b/></a>", 1);
  doc.reset("name.xml", 71);
  EXPECT_EQ(dump(doc), "");
  EXPECT_EQ(doc.fileName(), "name.xml");
  EXPECT_EQ(doc.fileEncoding(), 71);
  EXPECT_EQ(doc.versionText(), "");
  EXPECT_FALSE(doc.modified());
  EXPECT_EQ(doc.textStart(), nullptr);
}

// A slow model of the tree: ordered children in vectors. Random edits run
// on both and the pictures must agree.
struct ModelNode {
  uint32_t kind;
  std::string text;
  std::vector<std::unique_ptr<ModelNode>> children;
  ModelNode* parent = nullptr;
};

void modelDump(const ModelNode& n, std::string& out) {
  switch (n.kind) {
    case CMXML_NODE_ELEMENT: out += n.text; break;
    case CMXML_NODE_ELEMENT_EMPTY: out += n.text; break;
    case CMXML_NODE_ATTRIBUTE: out += "@" + n.text + "="; break;
    case CMXML_NODE_TEXT: out += "\"" + n.text + "\""; break;
  }
  if (!n.children.empty()) {
    out += '(';
    for (size_t i = 0; i < n.children.size(); ++i) {
      if (i) out += ' ';
      modelDump(*n.children[i], out);
    }
    out += ')';
  }
  if (n.kind == CMXML_NODE_ELEMENT_EMPTY) out += '/';
}

TEST(MiniXmlTree, RandomEditsMatchAModel) {
  std::mt19937 rng(11);
  for (int round = 0; round < 20; ++round) {
    cmMiniXml doc;
    doc.setIdsEnabled(round % 2 == 0);
    ModelNode modelRoot{CMXML_NODE_DOCUMENT, "", {}, nullptr};
    std::vector<std::pair<cmMiniXmlNode*, ModelNode*>> nodes = {{doc.root(), &modelRoot}};
    for (int step = 0; step < 400; ++step) {
      // Plain variables, not a structured binding: a lambda below captures them.
      auto picked = nodes[rng() % nodes.size()];
      auto ref = picked.first;
      ModelNode* mref = picked.second;
      int op = static_cast<int>(rng() % 10);
      if (op < 7) {
        static const uint32_t kinds[] = {CMXML_NODE_ELEMENT, CMXML_NODE_ELEMENT_EMPTY, CMXML_NODE_ATTRIBUTE,
                                         CMXML_NODE_TEXT};
        uint32_t kind = kinds[rng() % 4];
        int where = static_cast<int>(rng() % 4);
        if (ref == doc.root() && where < 2) where += 2;
        if ((mref->kind & (CMXML_NODE_TEXT | CMXML_NODE_ATTRIBUTE)) && where >= 2) continue;
        std::string text = "n" + std::to_string(step);
        cmMiniXmlNode* made = doc.insertAndCreate(ref, text.c_str(), -1, kind, where);
        auto m = std::make_unique<ModelNode>(ModelNode{kind, text, {}, nullptr});
        ModelNode* mm = m.get();
        ModelNode* parent = where >= 2 ? mref : mref->parent;
        auto& sib = parent->children;
        size_t pos;
        if (where == 2) {
          pos = sib.size();
        } else if (where == 3) {
          pos = sib.size();
          for (size_t i = 0; i < sib.size(); ++i)
            if (kind == CMXML_NODE_ATTRIBUTE || sib[i]->kind != CMXML_NODE_ATTRIBUTE) {
              pos = i;
              break;
            }
        } else {
          size_t at = 0;
          while (sib[at].get() != mref) ++at;
          pos = where == 0 ? at + 1 : at;
        }
        if (where >= 2 && kind != CMXML_NODE_ATTRIBUTE && parent->kind == CMXML_NODE_ELEMENT_EMPTY)
          parent->kind = CMXML_NODE_ELEMENT;
        mm->parent = parent;
        sib.insert(sib.begin() + static_cast<long>(pos), std::move(m));
        nodes.emplace_back(made, mm);
      } else if (ref != doc.root()) {
        bool childrenOnly = op == 9;
        doc.deleteNode(ref, childrenOnly);
        // Forget every pair inside what went away.
        auto gone = [&](ModelNode* m) {
          for (ModelNode* a = m; a; a = a->parent) {
            if (a == mref && (!childrenOnly || (m != mref && m->parent == mref ? m->kind != CMXML_NODE_ATTRIBUTE
                                                                                : m != mref)))
              return true;
            if (childrenOnly && a->parent == mref && a->kind == CMXML_NODE_ATTRIBUTE) return false;
          }
          return false;
        };
        std::vector<std::pair<cmMiniXmlNode*, ModelNode*>> kept;
        for (auto& p : nodes)
          if (!gone(p.second)) kept.push_back(p);
        nodes.swap(kept);
        auto& sib = childrenOnly ? mref->children : mref->parent->children;
        for (size_t i = 0; i < sib.size();) {
          if (childrenOnly ? sib[i]->kind != CMXML_NODE_ATTRIBUTE : sib[i].get() == mref)
            sib.erase(sib.begin() + static_cast<long>(i));
          else
            ++i;
        }
      }
      std::string expect;
      modelDump(modelRoot, expect);
      if (!expect.empty()) expect = expect.substr(1, expect.size() - 2);  // the root's parentheses
      ASSERT_EQ(dump(doc), expect) << "round " << round << " step " << step;
      ASSERT_EQ(checkRings(doc, false), "");
    }
  }
}

}  // namespace
