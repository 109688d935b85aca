// TVString operations by family, table-driven where inputs and outputs line
// up.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "runtime/cmAlloc.h"
#include "runtime/cmException.h"
#include "text/TVArray.h"
#include "text/TVString.h"

using tolvane::TVArray;
using tolvane::TVString;

namespace {

std::string str(const TVString& s) { return std::string(s.data() ? s.data() : "", s.length()); }

std::string joined(const TVArray& a) {
  std::string out;
  for (int64_t i = 0; i < a.count(); ++i) out += "[" + str(a[i]) + "]";
  return out;
}

constexpr int64_t kNotFound = -3022;

}  // namespace

// ---- search -------------------------------------------------------------------

TEST(TVStringSearch, PositionsAndNotFound) {
  struct Case {
    const char* text;
    const char* find;
    int64_t start;
    int64_t pos;
    int64_t lastpos;  // searching back from the end
  } cases[] = {
      {"abcabc", "bc", 0, 1, 4},
      {"abcabc", "bc", 2, 4, 4},
      {"abcabc", "abc", 0, 0, 3},
      {"abcabc", "x", 0, kNotFound, kNotFound},
      {"abcabc", "bc", 6, kNotFound, 4},
      {"", "a", 0, kNotFound, kNotFound},
      {"abc", "", 0, kNotFound, kNotFound},
      {"aaa", "aa", 0, 0, 1},
      {"abc", "abcd", 0, kNotFound, kNotFound},
  };
  for (const auto& c : cases) {
    TVString s(c.text);
    EXPECT_EQ(s.pos(c.find, c.start), c.pos) << c.text << " / " << c.find;
    EXPECT_EQ(s.lastpos(c.find), c.lastpos) << c.text << " / " << c.find;
  }
  EXPECT_EQ(TVString().pos("a"), kNotFound);
  EXPECT_EQ(TVString("a/b/c").pos('/', 2), 3);
  EXPECT_EQ(TVString("a/b/c").lastpos('/'), 3);
  EXPECT_EQ(TVString("a/b/c").lastpos('/', 2), 1);
  EXPECT_EQ(TVString("abcabc").lastpos("abc", 2), 0);
}

TEST(TVStringSearch, CharacterSets) {
  TVString s("key = value; other");
  EXPECT_EQ(s.cpos("=;"), 4);
  EXPECT_EQ(s.cpos("=;", 5), 11);
  EXPECT_EQ(s.clastpos("=;"), 11);
  EXPECT_EQ(s.clastpos("=;", 10), 4);
  EXPECT_EQ(s.cpos("#"), kNotFound);
  EXPECT_EQ(s.cpos(""), kNotFound);
  TVString u("ab\xC3\xA9" "cd\xC3\xA9");  // é twice
  EXPECT_EQ(u.cpos("\xC3\xA9"), 2);
  EXPECT_EQ(u.clastpos("\xC3\xA9"), 6);
  EXPECT_EQ(u.cpos("\xC3\xA8"), kNotFound);  // è shares the lead byte only
}

TEST(TVStringSearch, PlainPatternOptions) {
  TVString s("Find the Word, word and WORD");
  str_match_t m;
  EXPECT_EQ(s.pos("word", 0, 0x1, &m), 9);
  EXPECT_EQ(m.start, 9);
  EXPECT_EQ(m.length, 4);
  EXPECT_EQ(s.pos("word", 0, 0), 15);
  EXPECT_EQ(s.pos("word", 27, 0x1 | 0x8), 24);  // backward
  EXPECT_EQ(s.pos("WOR", 0, 0x1 | 0x20), kNotFound);  // whole words only
  EXPECT_EQ(s.pos("the", 0, 0x20), 5);
  TVString u("Stra\xC3\x9F" "e \xC3\x84rger");  // Straße Ärger
  EXPECT_EQ(u.pos("\xC3\xA4rger", 0, 0x1, &m), 8);
  EXPECT_EQ(m.length, 6);
  // Pattern syntaxes are the pattern engine's; plain strings can't serve them.
  EXPECT_THROW(s.pos("w.rd", 0, 0x4004000), cmException);
}

TEST(TVStringSearch, BeginsEndsWith) {
  TVString s("Readme.TXT");
  EXPECT_TRUE(s.beginsWith("Read"));
  EXPECT_FALSE(s.beginsWith("read"));
  EXPECT_TRUE(s.beginsWith("read", true));
  EXPECT_TRUE(s.endsWith(".txt", true));
  EXPECT_FALSE(s.endsWith(".txt"));
  EXPECT_TRUE(s.endsWith(""));
  EXPECT_FALSE(TVString("ab").endsWith("xab"));
  str_match_t m;
  EXPECT_TRUE(s.endsWith(".txt", 0x1, &m));
  EXPECT_EQ(m.start, 6);
  EXPECT_TRUE(s.beginsWith("README", 0x1, &m));
  EXPECT_EQ(m.length, 6);
}

TEST(TVStringSearch, IsInListAndCountAll) {
  struct Case {
    const char* item;
    const char* list;
    bool in;
  } cases[] = {
      {"b", "a,b,c", true},  {"a", "a,b,c", true},   {"c", "a,b,c", true}, {"ab", "a,b,c", false},
      {"b", "a,bb,c", false}, {"", "a,,c", false},  {"x", "", false},     {"a,b", "a,b,c", false},
  };
  for (const auto& c : cases) EXPECT_EQ(TVString(c.item).isInList(c.list, ','), c.in) << c.item << " in " << c.list;
  EXPECT_EQ(TVString("aaaa").countAll("aa"), 2);
  EXPECT_EQ(TVString("a.b.c").countAll('.'), 2);
  EXPECT_EQ(TVString("abc").countAll(""), 0);
}

// ---- comparison -------------------------------------------------------------

TEST(TVStringCompare, CaseAndFileNames) {
  TVString a("Hello"), b("hELLO");
  EXPECT_FALSE(a == b);
  EXPECT_TRUE(a.equalTo(b, false));
  EXPECT_TRUE(a.equalTo("hello", false));
  EXPECT_FALSE(a.equalTo("hello"));
  EXPECT_EQ(TVString::compareStringI("\xC3\x84pfel", "\xC3\xA4PFEL"), 0);  // Äpfel
  EXPECT_LT(TVString::compareString("abc", "abd"), 0);
  EXPECT_LT(TVString::compareFilenames(static_cast<const char*>(nullptr), ""), 0);
  EXPECT_EQ(TVString::compareFilenames("dir\\sub/file", "dir/sub\\file"), 0);
  EXPECT_TRUE(TVString("a/B").fileEq("a\\B"));
  EXPECT_EQ(TVString("a/B").fileCmpBoth("A\\b"), 0);
  EXPECT_TRUE(TVString("x").equalToIgnoreNull(static_cast<const char*>(nullptr)) == false);
  EXPECT_TRUE(TVString().equalToIgnoreNull(""));
  EXPECT_TRUE(TVString("b") > TVString("a"));
  EXPECT_TRUE(TVString("a") <= TVString("a"));
}

// ---- building ---------------------------------------------------------------

TEST(TVStringBuild, AppendPrependInsert) {
  TVString s;
  s.append(TVString());
  EXPECT_TRUE(s.isNull());  // a null operand leaves the target
  s.append("");
  EXPECT_TRUE(s.isNull());
  s.append("middle");
  s.prepend("<");
  s.append('>');
  s.insert(1, "[");
  s.insert(100, "]");
  EXPECT_EQ(str(s), "<[middle>]");
  s.insert(0, s);
  EXPECT_EQ(str(s), "<[middle>]<[middle>]");
  char16_t wide[] = {u'w', 0x00E9, 0xD83D, 0xDE00, 0};  // w é 😀
  TVString w;
  w.append(wide);
  EXPECT_EQ(str(w), "w\xC3\xA9\xF0\x9F\x98\x80");
}

TEST(TVStringBuild, AppendArrayKeepsItsSeparatorOrder) {
  TVArray items;
  TVString out("=");
  out.appendArray(&items, ",");
  EXPECT_EQ(str(out), "=");
  items.add(TVString("a"));
  out = "";
  out.appendArray(&items, ",", true);
  EXPECT_EQ(str(out), "a,");
  items.add(TVString("b"));
  items.add(TVString("c"));
  out = "";
  out.appendArray(&items, ",");
  EXPECT_EQ(str(out), "ab,c,");
  out = "x";
  EXPECT_EQ(out.appendArray(nullptr, ","), 0);
  EXPECT_EQ(str(out), "x");
}

TEST(TVStringBuild, Numbers) {
  struct Case {
    long long value;
    int base;
    const char* want;
  } cases[] = {{0, 10, "0"},    {255, 16, "ff"},  {-42, 10, "-42"}, {-255, 16, "ff"},
               {5, 2, "101"},   {7, 40, "0"},     {-9223372036854775807LL - 1, 10, "-9223372036854775808"}};
  for (const auto& c : cases) {
    TVString s;
    s.fromNumber(c.value, c.base);
    EXPECT_EQ(str(s), c.want) << c.value << " base " << c.base;
  }
  TVString u;
  u.fromNumber(63ull, 64);
  EXPECT_EQ(str(u), "/");
  u.fromNumber(64ull, 64);
  EXPECT_EQ(str(u), "BA");
  u.fromNumber(18446744073709551615ull, 16);
  EXPECT_EQ(str(u), "ffffffffffffffff");
  TVString n(12);
  EXPECT_EQ(str(n), "12");
  TVString reserved(uint64_t{100});
  EXPECT_TRUE(reserved.isEmpty());
  EXPECT_GE(reserved.capacity(), 101);
}

TEST(TVStringBuild, PadSurroundMaybe) {
  TVString s("ab");
  s.pad(5, '.');
  EXPECT_EQ(str(s), "ab...");
  s.pad(2, '.');
  EXPECT_EQ(str(s), "ab...");

  struct Case {
    const char* text;
    char front, back;
    const char* surround;
    const char* maybe;
  } cases[] = {
      {"abc", '"', 0, "\"abc\"", "\"abc\""},
      {"\"abc", '"', 0, "\"\"abc\"", "\"\"abc\""},
      {"\"abc\"", '"', 0, "\"\"abc\"\"", "\"abc\""},
      {"(x)", '(', ')', "((x))", "(x)"},
      {"", '[', ']', "[]", "[]"},
  };
  for (const auto& c : cases) {
    TVString a(c.text), b(c.text);
    a.surround(c.front, c.back);
    b.maybeSurround(c.front, c.back);
    EXPECT_EQ(str(a), c.surround) << c.text;
    EXPECT_EQ(str(b), c.maybe) << c.text;
  }
  TVString t("body");
  t.maybeSurround("<b>", "</b>");
  t.maybeSurround("<b>", "</b>");
  EXPECT_EQ(str(t), "<b>body</b>");
  t.surround("{", "}");
  EXPECT_EQ(str(t), "{<b>body</b>}");

  TVString e;
  e.maybeAppend('/', false);
  EXPECT_TRUE(e.isEmpty());
  e.maybeAppend('/', true);
  e.maybeAppend('/');
  EXPECT_EQ(str(e), "/");
  TVString p("dir");
  p.maybePrepend('/');
  p.maybePrepend('/');
  p.maybeAppendFileSep();
  p.maybeAppendFileSep();
  EXPECT_EQ(str(p), "/dir\\");
  TVString none;
  none.maybeAppendFileSep();
  EXPECT_TRUE(none.isEmpty());
}

// ---- cutting ----------------------------------------------------------------

TEST(TVStringCut, RemoveAndReplace) {
  struct Case {
    const char* text;
    int64_t start, count;
    const char* want;
  } cases[] = {{"abcdef", 1, 2, "adef"}, {"abcdef", 6, 2, "abcdef"}, {"abcdef", 4, 99, "abcd"},
               {"abcdef", 0, 6, ""},     {"abcdef", 2, 0, "abcdef"}};
  for (const auto& c : cases) {
    TVString s(c.text);
    s.remove(c.start, c.count);
    EXPECT_EQ(str(s), c.want) << c.text << " " << c.start << "," << c.count;
  }
  TVString e("abcdef");
  e.removeEnd(2);
  EXPECT_EQ(str(e), "abcd");
  e.removeEnd(10);
  EXPECT_TRUE(e.isEmpty());

  TVString r("one two one two");
  r.replace("two", "2");
  EXPECT_EQ(str(r), "one 2 one two");
  r.replaceAll("one", "1!");
  EXPECT_EQ(str(r), "1! 2 1! two");
  r.replace(0, 2, "ONE");
  EXPECT_EQ(str(r), "ONE 2 1! two");
  r.replaceAll(' ', '_');
  EXPECT_EQ(str(r), "ONE_2_1!_two");
  r.replaceAll("x", "y");
  EXPECT_EQ(str(r), "ONE_2_1!_two");
}

TEST(TVStringCut, Strip) {
  struct Case {
    const char* text;
    const char* set;
    char option;
    int all;
    const char* want;
  } cases[] = {
      {"  ab  ", " ", 'B', 1, "ab"},  {"  ab  ", " ", 'b', 0, " ab "}, {"  ab  ", " ", 'L', 1, "ab  "},
      {"  ab  ", " ", 't', 1, "  ab"}, {"  ab  ", " ", 'X', 1, "  ab  "}, {"xyabyx", "xy", 'B', 1, "ab"},
      {"    ", " ", 'B', 1, ""},      {"", " ", 'B', 1, ""},
  };
  for (const auto& c : cases) {
    TVString s(c.text);
    s.strip(c.set, c.option, c.all);
    EXPECT_EQ(str(s), c.want) << "'" << c.text << "' " << c.option << c.all;
  }
  TVString t("\t a b \t");
  t.stripSpaces('B');
  EXPECT_EQ(str(t), "a b");
  TVString pair("<<x>>");
  pair.strip('<', '>', 'B', 1);
  EXPECT_EQ(str(pair), "x");
  TVString w(" \r\nword\n");
  w.trim();
  EXPECT_EQ(str(w), "word");
}

TEST(TVStringCut, StripQuotes) {
  struct Case {
    const char* text;
    bool matchingOnly;
    const char* want;
  } cases[] = {
      {"\"abc\"", true, "abc"}, {"'abc'", true, "abc"},  {"\"abc'", true, "\"abc'"}, {"\"abc'", false, "abc"},
      {"\"abc", false, "abc"},  {"abc'", false, "abc"},  {"abc", false, "abc"},      {"\"", true, ""},
      {"xabcx", true, "xabcx"},
  };
  for (const auto& c : cases) {
    TVString s(c.text);
    s.stripQuotes(c.matchingOnly);
    EXPECT_EQ(str(s), c.want) << c.text << " " << c.matchingOnly;
  }
}

TEST(TVStringCut, ParseAndParseLast) {
  TVString s("key=value=more");
  TVString rest;
  EXPECT_EQ(str(s.parse('=', rest)), "key");
  EXPECT_EQ(str(rest), "value=more");
  EXPECT_EQ(str(s.parse('=', rest, 4)), "value");
  EXPECT_EQ(str(rest), "more");
  EXPECT_EQ(str(s.parse(':', rest)), "key=value=more");
  EXPECT_TRUE(rest.isNull());
  TVString part = TVString().parse('=', rest);
  EXPECT_TRUE(part.isEmpty());
  EXPECT_FALSE(part.isNull());
  EXPECT_TRUE(rest.isNull());
  TVString trailing("key=");
  EXPECT_EQ(str(trailing.parse('=', rest)), "key");
  EXPECT_TRUE(rest.isEmpty());
  EXPECT_FALSE(rest.isNull());

  TVString path("dir/sub/file.txt");
  EXPECT_EQ(str(path.parseLast('/', rest)), "file.txt");
  EXPECT_EQ(str(rest), "dir/sub");
  EXPECT_EQ(str(TVString("file").parseLast('/', rest)), "file");
  EXPECT_TRUE(rest.isNull());
}

TEST(TVStringCut, Split) {
  struct Case {
    const char* text;
    const char* want;
  } cases[] = {
      {"/a/b", "[][a][b]"}, {"/", "[][]"}, {"a//b/", "[a][][b][]"}, {"abc", "[abc]"},
  };
  for (const auto& c : cases) {
    TVArray a;
    TVString(c.text).split('/', a);
    EXPECT_EQ(joined(a), c.want) << c.text;
  }
  TVArray keep;
  keep.add(TVString("old"));
  TVString("").split('/', keep);
  TVString().split('/', keep);
  EXPECT_EQ(joined(keep), "[old]");
  TVString("x::y").split("::", keep, false);
  EXPECT_EQ(joined(keep), "[old][x][y]");

  TVArray lines;
  TVString("one\r\ntwo\nthree\r\rfive\n").splitLines(lines);
  EXPECT_EQ(joined(lines), "[one][two][three][][five]");
}

TEST(TVStringCut, LongPiecesShareTheSourceBlock) {
  std::string piece(40, 'p');
  TVString s((piece + "," + piece).c_str());
  TVArray a;
  s.split(',', a);
  ASSERT_EQ(a.count(), 2);
  EXPECT_EQ(a[0].blockPointer(), s.blockPointer());
  EXPECT_EQ(str(a[1]), piece);
  EXPECT_TRUE(a[5].isNull());  // past the end
}

// ---- case -------------------------------------------------------------------

TEST(TVStringCase, UnicodeAware) {
  struct Case {
    const char* text;
    const char* upper;
    const char* lower;
    const char* cap;
  } cases[] = {
      {"hello World", "HELLO WORLD", "hello world", "Hello world"},
      {"\xC3\xA4pfel \xC3\x96L", "\xC3\x84PFEL \xC3\x96L", "\xC3\xA4pfel \xC3\xB6l", "\xC3\x84pfel \xC3\xB6l"},
      {"\xCE\xB1\xCE\xB2\xCE\xB3", "\xCE\x91\xCE\x92\xCE\x93", "\xCE\xB1\xCE\xB2\xCE\xB3", "\xCE\x91\xCE\xB2\xCE\xB3"},
      {"\xD0\xB4\xD0\x96", "\xD0\x94\xD0\x96", "\xD0\xB4\xD0\xB6", "\xD0\x94\xD0\xB6"},
      {"", "", "", ""},
  };
  for (const auto& c : cases) {
    TVString s(c.text);
    EXPECT_EQ(str(s.toUpcase()), c.upper) << c.text;
    EXPECT_EQ(str(s.toLowcase()), c.lower) << c.text;
    EXPECT_EQ(str(s.toCap()), c.cap) << c.text;
    EXPECT_EQ(str(s), c.text);  // the to- forms leave the source
  }
  TVString bad("a\xFF" "b");
  bad.upcase();
  EXPECT_EQ(str(bad), "A\xFF" "B");
}

TEST(TVStringCase, ReverseByCodePoints) {
  TVString s("ab\xC3\xA9\xE2\x82\xAC");  // a b é €
  s.reverse();
  EXPECT_EQ(str(s), "\xE2\x82\xAC\xC3\xA9" "ba");
  EXPECT_EQ(str(TVString("x").toReverse()), "x");
}

// ---- numbers ----------------------------------------------------------------

TEST(TVStringNumbers, Int64Reader) {
  struct Case {
    const char* text;
    bool suffix, sign;
    bool ok;
    int64_t value;
  } cases[] = {
      {"0", true, true, true, 0},       {"0x", true, true, false, 0},     {"0b101", true, true, true, 5},
      {"0B101", true, true, false, 0},  {"12L", true, true, true, 12},    {"12UL", true, true, true, 12},
      {"12LU", true, true, true, 12},   {"12LL", true, true, true, 12},   {"12LLL", true, true, false, 0},
      {"12UU", true, true, false, 0},   {"12L", false, true, false, 0},   {"-5", true, false, false, 0},
      {"-5", true, true, true, -5},     {"+7", true, true, true, 7},      {"-", true, true, false, 0},
      {"010", true, true, true, 8},     {"08", true, true, false, 0},     {"0xFf", true, true, true, 255},
      {"12a", true, true, false, 0},    {"", true, true, false, 0},       {"9223372036854775808", true, true, false, 0},
  };
  for (const auto& c : cases) {
    int64_t v = 99;
    bool ok = TVString::TVStringToInt64(c.text, static_cast<int64_t>(std::strlen(c.text)), &v, c.suffix, c.sign);
    EXPECT_EQ(ok, c.ok) << c.text;
    EXPECT_EQ(v, c.value) << c.text;
  }
  EXPECT_FALSE(TVString::TVStringToInt64(nullptr, 3, nullptr, true, true));
  EXPECT_EQ(TVString("x").toInt32(), 0);
  EXPECT_EQ(TVString("7").toInt32(), 7);
  EXPECT_EQ(TVString("-0x10").toInt64(), -16);
  int32_t v32 = 0;
  EXPECT_TRUE(TVString("42").toInt32(v32));
  EXPECT_EQ(v32, 42);
}

TEST(TVStringNumbers, ParseDigitsAtPosition) {
  TVString s("12:34:x5");
  int64_t p = 0;
  EXPECT_EQ(s.parseDecimalInt(p, -1, ":"), 12);
  EXPECT_EQ(p, 2);
  p = 3;
  EXPECT_EQ(s.parseDecimalInt(p, -1, "*"), 34);
  EXPECT_EQ(p, 5);
  p = 0;
  EXPECT_EQ(s.parseDecimalInt(p), -1);  // ':' without terminators
  p = 0;
  EXPECT_EQ(s.parseDecimalInt(p, 2), 12);
  EXPECT_EQ(p, 2);
  p = 8;
  EXPECT_EQ(s.parseDecimalInt(p), -1);  // at the end
  p = 0;
  EXPECT_EQ(s.parseDecimalInt(p, 20), -1);  // end behind the text
  TVString huge("999999999999999999999999:");  // wraps instead of trapping
  p = 0;
  huge.parseDecimalInt(p, -1, ":");
  EXPECT_EQ(p, 24);
  TVString h("ff-17");
  p = 0;
  EXPECT_EQ(h.parseHexInt(p, -1, "-"), 255);
  p = 3;
  EXPECT_EQ(h.parseOctalInt(p), 15);
}

TEST(TVStringNumbers, FloatsAndBase64Integers) {
  struct Case {
    const char* text;
    double value;
  } cases[] = {{"1.5", 1.5}, {"-2e3", -2000}, {"0x1p4", 16}, {"3.", 3}, {"", 0}, {"1e", 0}, {"abc", 0}, {".5", 0}, {"1.5x", 0}};
  for (const auto& c : cases) EXPECT_DOUBLE_EQ(TVString(c.text).toFloat(), c.value) << c.text;
  int64_t v = -1;
  EXPECT_TRUE(TVString("").toIntBase64(v));
  EXPECT_EQ(v, 0);
  EXPECT_TRUE(TVString("BA").toIntBase64(v));
  EXPECT_EQ(v, 64);
  EXPECT_FALSE(TVString("B=").toIntBase64(v));
}

// ---- base64 variant ------------------------------------------------------------

TEST(TVStringBase64, KnownGroups) {
  struct Case {
    const char* plain;
    const char* encoded;
  } cases[] = {
      {"Man", "TWFu"},          // ordinary bytes match the usual form
      {"M", "TQ=="},            // missing bytes overwrite the end
      {"\x01\x02\x03", "QID"},  // fewest digits
      {"A\x80" "B", "QIBC"},    // 0x80 borrows: 0x41 * 65536 - 128 * 256 + 0x42
      {"", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(str(TVString(c.plain).getBase64EncodedString()), c.encoded) << c.plain;
}

TEST(TVStringBase64, TextRoundTripsAndDecoderRules) {
  const char* texts[] = {"Hello, world!", "ab", "a", "The quick brown fox jumps over the lazy dog"};
  for (const char* t : texts) {
    TVString enc = TVString(t).getBase64EncodedString();
    EXPECT_EQ(str(enc.getBase64DecodedString()), t);
  }
  TVString wrapped = TVString("The quick brown fox jumps over the lazy dog").getBase64EncodedString(16);
  EXPECT_NE(wrapped.pos("\r\n"), kNotFound);
  EXPECT_EQ(wrapped.pos("\r\n"), 20);  // a break once a line is past 16
  EXPECT_EQ(str(wrapped.getBase64DecodedString()), "The quick brown fox jumps over the lazy dog");
  // Alternative characters for 62 and 63, and a bad group gives nothing.
  EXPECT_EQ(str(TVString("TWFu").getBase64DecodedString()), "Man");
  EXPECT_EQ(str(TVString("////").getBase64DecodedString()), str(TVString("_-:_").getBase64DecodedString()));
  EXPECT_EQ(str(TVString("++++").getBase64DecodedString()), str(TVString("!!!!").getBase64DecodedString()));
  EXPECT_EQ(str(TVString("TW?u TWFu").getBase64DecodedString()), "Man");
  // A NUL ends the input.
  EXPECT_EQ(str(TVString("Ma\0nn", 5).getBase64EncodedString()), "TWE=");
}

// ---- copies out -------------------------------------------------------------

TEST(TVStringCopies, DupAndExport) {
  TVString s("h\xC3\xA9llo");
  char* c = s.dupCString();
  EXPECT_STREQ(c, "h\xC3\xA9llo");
  cmFree(c);
  char* part = s.dup_sub(1, 2);
  EXPECT_STREQ(part, "\xC3\xA9");
  cmFree(part);
  TVLSTR* l = s.dup_lstr();
  EXPECT_EQ(l->length, 6);
  EXPECT_EQ(std::memcmp(l->text, "h\xC3\xA9llo", 6), 0);
  EXPECT_EQ(TVString(l), s);
  cmFree(l);
  char16_t* w = s.dup_wide();
  EXPECT_EQ(w[1], 0x00E9);
  EXPECT_EQ(w[5], 0);
  cmFree(w);
  char buf[4];
  EXPECT_EQ(s.exportStr(buf, sizeof buf), 3);
  EXPECT_STREQ(buf, "h\xC3\xA9");
}

TEST(TVStringState, SetLengthAndCapacity) {
  TVString s("abc");
  s.setLength(6, '-');
  EXPECT_EQ(str(s), "abc---");
  s.setLength(2);
  EXPECT_EQ(str(s), "ab");
  s.setCapacity(100);
  EXPECT_GE(s.capacity(), 101);
  EXPECT_EQ(str(s), "ab");
  s.truncateCapacity();
  EXPECT_TRUE(s.isInline());
  s.resetLength();
  EXPECT_TRUE(s.isEmpty());
  EXPECT_FALSE(s.isNull());
  TVString t("x");
  t.doNotUseInternalBuffer();
  EXPECT_FALSE(t.isInline());
  EXPECT_EQ(str(t), "x");
  EXPECT_EQ(t.first_char(), 'x');
  EXPECT_EQ(TVString().last_char(), 0);
  EXPECT_EQ(t[5], 0);
}
