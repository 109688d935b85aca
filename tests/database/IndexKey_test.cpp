// Key summaries and key hashes of every key field type against values
// worked out by hand (and the byte hashes against published xxHash32
// vectors), the wide summaries over several parts, the legacy hash, and
// the kinds table with what the index factory does with each kind today.
#include <cstring>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "database/btFieldType.h"
#include "database/btStatus.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"
#include "database/index/btIndexKey.h"
#include "database/index/btIndexStructure.h"
#include "text/cmDateParts.h"

namespace {

struct FieldValue {
  uint8_t type;
  uint32_t size;
  uint8_t flags;  // 8: exact
  std::string text;
  uint64_t bits;
};

// Sets a field: text types and "uchar"/"char" by text, others by bits.
void setValue(btStoredRecord* r, uint32_t field, const FieldValue& v) {
  const btFieldTypeInfo* t = btFieldTypeOf(v.type);
  if (t->text && !v.text.empty()) {
    ASSERT_EQ(0, setText(r, field, v.text.data(), v.text.size()));
  } else {
    ASSERT_EQ(0, setFixedBits(r, field, v.bits));
  }
}

uint64_t floatBits(float f) {
  uint32_t b;
  std::memcpy(&b, &f, 4);
  return b;
}
uint64_t doubleBits(double d) {
  uint64_t b;
  std::memcpy(&b, &d, 8);
  return b;
}

// A table with the given fields and one index over all of them.
struct KeyTable {
  explicit KeyTable(const std::vector<FieldValue>& fields, uint8_t indexFlags = 0)
      : table("keys", 0) {
    const char* names[] = {"f0", "f1", "f2", "f3", "f4", "f5"};
    for (size_t i = 0; i < fields.size(); i++)
      EXPECT_EQ(0, table.addField(names[i], fields[i].type, fields[i].size, fields[i].flags));
    auto name = [&](size_t i) { return i < fields.size() ? names[i] : nullptr; };
    EXPECT_EQ(0, table.addIndex("x", 4, indexFlags, 10, 0, 0, name(0), name(1), name(2), name(3),
                                name(4), name(5)));
    EXPECT_EQ(0, initRecord(&record, &table));
    for (size_t i = 0; i < fields.size(); i++) setValue(&record, static_cast<uint32_t>(i), fields[i]);
  }
  const btIndexDefinition* index() const { return table.index(0); }
  btTableInfo table;
  btStoredRecord record;
};

struct SummaryCase {
  const char* label;
  FieldValue value;
  uint32_t summary;
  uint32_t hash;
};

constexpr uint8_t kExact = BT_FIELD_EXACT;

const SummaryCase kSummaryCases[] = {
    // Text: mode 0 lower-cases the summary; the hash masks words and
    // lower-cases the tail, which equals plain xxHash32 of "ABCD" + "ef".
    {"string folded", {BT_FIELD_STRING, 20, 0, "Abcdef", 0}, 0x61626364, 0x775F058A},
    {"string exact", {BT_FIELD_STRING, 20, kExact, "Abcdef", 0}, 0x41626364, 0x033EE540},
    // Exact bytes are signed and added: C3 -> -61<<24, 84 -> -124<<16.
    {"string exact high bytes", {BT_FIELD_STRING, 20, kExact, "\xC3\x84x", 0}, 0xC2847800, 0xFDCED1CB},
    {"zstring", {BT_FIELD_ZSTRING, 20, 0, "xy", 0}, 0x78790000, 0x548C8872},
    {"bstring", {BT_FIELD_BSTRING, 20, 0, "Q", 0}, 0x71000000, 0xA11F6F39},
    {"istring", {BT_FIELD_ISTRING, 20, 0, "HELLO", 0}, 0x68656C6C, 0xEC829BB0},
    {"uchar 1", {BT_FIELD_UCHAR, 1, 0, "Z", 0}, 122, 0xA73026CE},
    {"uchar 2", {BT_FIELD_UCHAR, 2, 0, "AB", 0}, 97 * 256 + 98, 0x4999FC53},
    {"uchar 3", {BT_FIELD_UCHAR, 3, 0, "ABC", 0}, 0x616263, 0x32D153FF},
    {"uchar 4 folded", {BT_FIELD_UCHAR, 4, 0, "abcd", 0}, ((97 * 256 + 98) * 256 + 99) * 128 + 100, 0xAA960CA6},
    {"uchar 4 exact", {BT_FIELD_UCHAR, 4, kExact, "ABCD", 0}, ((65 * 256 + 66) * 256 + 67) * 128 + 68, 0xAA960CA6},
    {"char 2 exact", {BT_FIELD_CHAR, 2, kExact, "ab", 0}, 0x61620000, 0x4999FC53},
    {"vstring folded", {BT_FIELD_VSTRING, 20, 0, "\xC3\x84" "BCdef", 0}, 0xC3A46263, 0xCD69064D},
    {"utf8 folded", {BT_FIELD_UTF8, 20, 0, "\xC3\x84" "BC", 0}, 0xC3A46263, 0x54D0B42C},
    {"utf8 exact", {BT_FIELD_UTF8, 20, kExact, "\xC3\x84" "B", 0}, 0xC2844200, 0x51DF36A0},
    // Numbers.
    {"ushort", {BT_FIELD_USHORT, 1, 0, "", 513}, 513, 513},
    {"short", {BT_FIELD_SHORT, 1, 0, "", 0xFFFB}, 32763, 0xFFFFFFFB},
    {"uint", {BT_FIELD_UINT, 1, 0, "", 0xDEADBEEF}, 0xDEADBEEF, 0xDEADBEEF},
    {"int positive", {BT_FIELD_INT, 1, 0, "", 5}, 0x08000005, 5},
    {"int minus one", {BT_FIELD_INT, 1, 0, "", 0xFFFFFFFF}, 0x07FFFFFF, 0xFFFFFFFF},
    // Below -2^27 the bias wraps and the key sorts after every positive one.
    {"int below -2^27", {BT_FIELD_INT, 1, 0, "", 0xF7FFFFFF}, 0xFFFFFFFF, 0xF7FFFFFF},
    {"ulong", {BT_FIELD_ULONG, 1, 0, "", 0x0123456789ABCDEF}, 0x01234567, 0x09ABCDEF},
    {"long", {BT_FIELD_LONG, 1, 0, "", 0xFFFFFFFFFFFFFFFE}, 0xFFFFFFFF, 0x7FFFFFFE},
    {"float", {BT_FIELD_FLOAT, 1, 0, "", floatBits(3.7f)}, 30000, 30000},
    {"double", {BT_FIELD_DOUBLE, 1, 0, "", doubleBits(-2.5)}, 0xFFFFB1E0, 0xFFFFB1E0},
    {"boolean", {BT_FIELD_BOOLEAN, 1, 0, "", 2}, 2, 2},
    {"uint24", {BT_FIELD_UINT24, 1, 0, "", 0x123456}, 0x123456, 0x123456},
    {"uint48", {BT_FIELD_UINT48, 1, 0, "", 0x123456789ABC}, 0x12345678, 0x56789ABC},
    // 2020-01-01 00:00:00 UTC, as a stamp: 1577836800 seconds after 1970.
    {"cmdate", {BT_FIELD_CMDATE, 1, 0, "", (1577836800ull + 11644473600ull) * 10000000ull}, 1577836800, 1577836800},
};

class SummaryTable : public ::testing::TestWithParam<SummaryCase> {};

TEST_P(SummaryTable, SummaryAndHash) {
  const SummaryCase& c = GetParam();
  KeyTable k({c.value});
  EXPECT_EQ(c.summary, keySummary(&k.record, k.index())) << c.label;
  EXPECT_EQ(c.hash, keyHash(&k.record, k.index())) << c.label;
}

INSTANTIATE_TEST_SUITE_P(EveryType, SummaryTable, ::testing::ValuesIn(kSummaryCases));

TEST(KeySummary, DateFieldsSummariseTheirLocalMoment) {
  // setDate packs the local parts of the stamp; the summary reads them back
  // as local time, so it names the same second since 1970.
  KeyTable k({{BT_FIELD_DATE, 1, 0, "", 0}, {BT_FIELD_CMDATE, 1, 0, "", 0}});
  cmDateStamp stamp = cmDateParts::make(2021, 6, 15, 12, 30, 45).toStamp();
  ASSERT_EQ(0, setDate(&k.record, 0, stamp));
  ASSERT_EQ(0, setDate(&k.record, 1, stamp));
  uint32_t seconds = static_cast<uint32_t>(stamp / 10000000ull - 11644473600ull);
  EXPECT_EQ(seconds, keySummary(&k.record, k.index()));
  EXPECT_EQ(seconds, keyHash(&k.record, k.index()));
}

struct WideCase {
  const char* label;
  std::vector<FieldValue> fields;
  uint8_t flags;
  uint64_t hi, lo;
};

const WideCase kWideCases[] = {
    {"numbers then folded text, 16 bytes",
     {{BT_FIELD_USHORT, 1, 0, "", 0x0102}, {BT_FIELD_INT, 1, 0, "", 0xFFFFFFFF},
      {BT_FIELD_STRING, 6, 0, "AbC", 0}},
     32, 0x01027FFFFFFF6162, 0x6300000000000000},
    {"the same in 8 bytes", 
     {{BT_FIELD_USHORT, 1, 0, "", 0x0102}, {BT_FIELD_INT, 1, 0, "", 0xFFFFFFFF},
      {BT_FIELD_STRING, 6, 0, "AbC", 0}},
     16, 0x01027FFFFFFF6162, 0},
    {"ulong fills the first half",
     {{BT_FIELD_ULONG, 1, 0, "", 0x1122334455667788}, {BT_FIELD_UINT, 1, 0, "", 0xAABBCCDD}},
     32, 0x1122334455667788, 0xAABBCCDD00000000},
    {"long is biased by 2^63", {{BT_FIELD_LONG, 1, 0, "", 0xFFFFFFFFFFFFFFFF}}, 16,
     0x7FFFFFFFFFFFFFFF, 0},
    {"double 1.5", {{BT_FIELD_DOUBLE, 1, 0, "", doubleBits(1.5)}}, 16, 0x80000000000F4240, 0},
    {"double -2.7", {{BT_FIELD_DOUBLE, 1, 0, "", doubleBits(-2.7)}}, 16, 0x7FFFFFFFFFE17B80, 0},
    {"fixed bytes and odd widths",
     {{BT_FIELD_UCHAR, 3, 0, "ABC", 0}, {BT_FIELD_UINT24, 1, 0, "", 0x010203},
      {BT_FIELD_UINT48, 1, 0, "", 0x0A0B0C0D0E0F}},
     32, 0x616263010203'0A0Bull, 0x0C0D0E0F00000000},
    {"utf8 lowered, short and boolean",
     {{BT_FIELD_UTF8, 4, 0, "\xC3\x84" "B", 0}, {BT_FIELD_SHORT, 1, 0, "", 0x8000},
      {BT_FIELD_BOOLEAN, 1, 0, "", 2}},
     32, 0xC3A4620000000200, 0},
    // One text part alone, the keys of the cache's trees.
    {"one folded text, 16 bytes, longer than the summary",
     {{BT_FIELD_STRING, 1000, 0, "/Trunk/Src/Main.c", 0}}, 32, 0x2f7472756e6b2f73,
     0x72632f6d61696e2e},
    {"one folded text, 8 bytes, shorter", {{BT_FIELD_STRING, 1000, 0, "R12", 0}}, 16,
     0x7231320000000000, 0},
    {"one exact text keeps its case", {{BT_FIELD_STRING, 1000, 8, "AbC", 0}}, 16,
     0x4162430000000000, 0},
    {"the field's size cuts the summary", {{BT_FIELD_STRING, 3, 0, "abcdef", 0}}, 32,
     0x6162630000000000, 0},
    {"a bstring", {{BT_FIELD_BSTRING, 20, 0, "XY", 0}}, 16, 0x7879000000000000, 0},
    {"fixed uchar bytes alone", {{BT_FIELD_UCHAR, 4, 0, "ABCD", 0}}, 32, 0x6162636400000000, 0},
    {"a text as wide as the summary leaves no room for the next part",
     {{BT_FIELD_STRING, 16, 0, "Ab", 0}, {BT_FIELD_UINT, 1, 0, "", 0x11223344}}, 32, 0x6162000000000000, 0},
    {"a zstring stops at its end", {{BT_FIELD_ZSTRING, 40, 0, "Q", 0}}, 16, 0x7100000000000000, 0},
};

TEST(KeySummary, WideFormsAcrossParts) {
  for (const WideCase& c : kWideCases) {
    KeyTable k(c.fields, c.flags);
    btKeySummary s = keySummaryWide(&k.record, k.index());
    EXPECT_EQ(c.hi, s.hi) << c.label << std::hex << " got " << s.hi;
    EXPECT_EQ(c.lo, s.lo) << c.label << std::hex << " got " << s.lo;
  }
}

// A folded text's summary lowers every byte by btLowerByte, whatever the
// byte and wherever it stands among the sixteen; an exact one keeps it.
TEST(KeySummary, EveryByteAtEveryPlaceOfAWideTextSummary) {
  for (uint8_t flags : {uint8_t(0), kExact}) {
    for (int value = 1; value < 256; value++) {
      const auto b = static_cast<uint8_t>(value);
      // Neighbours that are themselves letters and not, around the byte.
      std::string text = "aZ@[`{" "\x7f\x80" "Ab" "\xC0\xDA" "zA" "09";
      for (size_t at = 0; at < 16; at += 5) {
        std::string t = text;
        t[at] = static_cast<char>(b);
        KeyTable k({{BT_FIELD_STRING, 1000, flags, t.c_str(), 0}}, 32);
        btKeySummary s = keySummaryWide(&k.record, k.index());
        for (size_t i = 0; i < 16; i++) {
          const uint64_t word = i < 8 ? s.hi : s.lo;
          const auto got = static_cast<uint8_t>(word >> (56 - 8 * (i % 8)));
          const auto c = static_cast<uint8_t>(t[i]);
          ASSERT_EQ(flags == kExact ? c : btLowerByte(c), got) << "byte " << value << " at " << at << ", place " << i;
        }
      }
    }
  }
}

TEST(KeySummary, DateInTheWideFormIsDecimalDigits) {
  KeyTable k({{BT_FIELD_DATE, 1, 0, "", 0}}, 16);
  int32_t status = 0;
  uint8_t* p = writableFieldAddress(&k.record, 0, &status);
  ASSERT_NE(nullptr, p);
  btPut16(p, 2024);
  btPut16(p + 2, static_cast<uint16_t>((3 << 11) | (5 << 6) | 6));
  p[4] = 0;
  p[5] = 7;
  btPut16(p + 6, 8 * 1000 + 9);
  EXPECT_EQ(20240305060708009ull, keySummaryWide(&k.record, k.index()).hi);
  btPut16(p, 0);  // no year: 0
  EXPECT_EQ(0ull, keySummaryWide(&k.record, k.index()).hi);
}

TEST(KeySummary, FoldedTextSummariesIgnoreCase) {
  const char* pairs[][2] = {{"ABC", "abc"}, {"Readme.TXT", "README.txt"}, {"Q", "q"}};
  for (auto& p : pairs) {
    for (uint8_t type : {BT_FIELD_STRING, BT_FIELD_ZSTRING, BT_FIELD_VSTRING, BT_FIELD_UTF8}) {
      KeyTable a({{type, 20, 0, p[0], 0}});
      KeyTable b({{type, 20, 0, p[1], 0}});
      EXPECT_EQ(keySummary(&a.record, a.index()), keySummary(&b.record, b.index())) << p[0];
      EXPECT_EQ(keyHash(&a.record, a.index()), keyHash(&b.record, b.index())) << p[0];
      KeyTable ax({{type, 20, kExact, p[0], 0}});
      KeyTable bx({{type, 20, kExact, p[1], 0}});
      EXPECT_NE(keySummary(&ax.record, ax.index()), keySummary(&bx.record, bx.index())) << p[0];
      EXPECT_NE(keyHash(&ax.record, ax.index()), keyHash(&bx.record, bx.index())) << p[0];
    }
  }
}

TEST(KeyHash, PublishedVectorsOfThePlainHash) {
  EXPECT_EQ(0x02CC5D05u, btHashBytes("", 0));
  EXPECT_EQ(0x32D153FFu, btHashBytes("abc", 3));
  const char* text = "Nobody inspects the spammish repetition";
  EXPECT_EQ(0xE2293B2Fu, btHashBytes(text, std::strlen(text)));
  EXPECT_EQ(0x165667B1u + 5, btHashBytes(nullptr, 5));
  EXPECT_EQ(0x165667B1u + 5, btHashFoldedText(nullptr, 5));
}

TEST(KeyHash, FoldedStripesAndTails) {
  // Stripes and words are masked to upper case, the tail lower-cased.
  EXPECT_EQ(0x63C442A9u, btHashFoldedText("abcdefghijklmnopQ", 17));
  EXPECT_EQ(0x63C442A9u, btHashFoldedBytes("abcdefghijklmnopQ", 17));
  // A high byte in the first stripe drops the lanes and reads code points;
  // the byte variant masks it like any other byte instead.
  std::string upper = "\xC3\x84" "BCDEFGHIJKLMNOPQ";
  std::string lower = "\xC3\xA4" "bcdefghijklmnopq";
  EXPECT_EQ(btHashFoldedText(upper.data(), upper.size()),
            btHashFoldedText(lower.data(), lower.size()));
  EXPECT_NE(btHashFoldedBytes(upper.data(), upper.size()),
            btHashFoldedText(upper.data(), upper.size()));
  // Alignment does not change a value.
  for (const std::string& s : {upper, std::string("plain ascii text of some length")}) {
    uint32_t at0 = btHashFoldedText(s.data(), s.size());
    for (size_t shift = 1; shift < 4; shift++) {
      std::string buffer(shift, 'x');
      buffer += s;
      EXPECT_EQ(at0, btHashFoldedText(buffer.data() + shift, s.size())) << shift;
      EXPECT_EQ(btHashBytes(s.data(), s.size()), btHashBytes(buffer.data() + shift, s.size()));
    }
  }
}

TEST(KeyHash, LegacyHashOfOlderFiles) {
  struct {
    const char* text;
    uint8_t flags;
    uint32_t hash;
  } cases[] = {
      {"ab", kExact, 0x672},
      {"Hello, World", 0, 0x08925C34},       // lower-cased
      {"Hello, World", kExact, 0x0AB25C34},  // as signed bytes
      {"\xC3\x84x", kExact, 0x0FFF2448},
  };
  for (auto& c : cases) {
    KeyTable k({{BT_FIELD_STRING, 40, c.flags, c.text, 0}});
    EXPECT_EQ(c.hash, keyHashForVersion(&k.record, k.index(), 2000)) << c.text;
  }
}

TEST(KeyHash, AKeyWithoutPartsUsesFieldZeroAndEqualsEverything) {
  btTableInfo t("bare", 0);
  ASSERT_EQ(0, t.addField("n", BT_FIELD_UINT, 1, 0));
  ASSERT_EQ(0, t.addIndex("none", 4, 0, 10, 0, 0, nullptr));
  btStoredRecord a, b;
  ASSERT_EQ(0, initRecord(&a, &t));
  ASSERT_EQ(0, initRecord(&b, &t));
  ASSERT_EQ(0, setFixedBits(&a, 0, 41));
  ASSERT_EQ(0, setFixedBits(&b, 0, 42));
  EXPECT_EQ(41u, keyHash(&a, t.index(0)));
  EXPECT_EQ(41u, keySummary(&a, t.index(0)));
  EXPECT_EQ(0, compareKeys(&a, &b, t.index(0)));
}

TEST(IndexKinds, TextsTargetsAndWhatTheFactoryOpensToday) {
  const char* texts[] = {"B-tree", "sorted array", "memory hash table", "small hash table",
                         "block hash table", "trie", "suffix tree", "hash -> block hash",
                         "hash -> B-tree", "large hash table", "hash -> large hash",
                         "hash -> sorted array", "array -> B-tree",
                         "memory array -> sorted array", "memory array -> B-tree",
                         "memory array -> sorted -> B-tree", "memory array",
                         "small hash -> large hash", "(undefined)"};
  for (uint32_t k = 0; k < 19; k++) EXPECT_STREQ(texts[k], btIndexKindText(k)) << k;
  EXPECT_STREQ("(undefined)", btIndexKindText(200));
  EXPECT_EQ(4, btIndexKindTarget(7));
  EXPECT_EQ(12, btIndexKindTarget(15));
  EXPECT_EQ(9, btIndexKindTarget(17));
  EXPECT_EQ(-1, btIndexKindTarget(9));

  // A persistent kind without a root gives null with BT_STATUS_NO_INDEX_ROOT
  // until it is created; memory kinds, whose structures are not built yet,
  // and the kinds never built give BT_STATUS_UNSUPPORTED.
  for (uint8_t kind = 0; kind < 19; kind++) {
    btIndexDefinition d;
    d.indexType = kind;
    int32_t status = 0;
    EXPECT_EQ(nullptr, structureOf(&d, &status)) << int(kind);
    bool persistent = btIndexDefinition::isPersistentKind(kind);
    EXPECT_EQ(persistent ? BT_STATUS_NO_INDEX_ROOT : BT_STATUS_UNSUPPORTED, status) << int(kind);
  }
  // The sorted arrays are not built yet: with a root they still give
  // BT_STATUS_UNSUPPORTED.
  for (uint8_t kind : {1, 12}) {
    btIndexDefinition d;
    d.indexType = kind;
    d.root = 0x1004;
    int32_t status = 0;
    EXPECT_EQ(nullptr, structureOf(&d, &status)) << int(kind);
    EXPECT_EQ(BT_STATUS_UNSUPPORTED, status) << int(kind);
  }
  int32_t status = 0;
  EXPECT_EQ(nullptr, structureOf(nullptr, &status));
  EXPECT_EQ(BT_STATUS_NO_INDEX_ROOT, status);
}

}  // namespace

// Where the B-tree lets two summaries decide a comparison, the answer must
// be the one compareKeys gives on the records, for every pair of a set of
// strings chosen around the traps: characters between 'Z' and 'a' (which
// sort differently lowered and upper-cased), multi-byte characters,
// prefixes, keys longer than the summary, both summary widths, folding
// and exact fields.
TEST(KeySummary, SummariesDecideOnlyWhereTheComparisonAgrees) {
  const char* texts[] = {" ",  "a",   "A",    "_",     "[",          "`",          "ab",
                         "aB", "ab_", "abc",  "abd",   "Z",          "z",          "\xC3\xA4",
                         "a\xC3\xA4", "\xC3\x84", "abcdefghij", "abcdefghiX", "a\x01", "1",
                         "10", "2",   "19999", "200000", "abcdefgh",  "abcdefgh_", "ABCDEFGHIJKLMNOPq"};
  int decided = 0;
  for (uint8_t type : {BT_FIELD_STRING, BT_FIELD_ZSTRING, BT_FIELD_BSTRING}) {
    for (uint8_t fieldFlags : {uint8_t(0), kExact}) {
      for (uint8_t indexFlags : {uint8_t(16), uint8_t(32)}) {
        for (const char* x : texts) {
          for (const char* y : texts) {
            KeyTable a({{type, 40, fieldFlags, x, 0}}, indexFlags);
            KeyTable b({{type, 40, fieldFlags, y, 0}}, indexFlags);
            btKeySummary sa = keySummaryWide(&a.record, a.index());
            btKeySummary sb = keySummaryWide(&b.record, b.index());
            int order = 0;
            if (!btSummariesOrderKeys(a.index(), sa, sb, &order)) continue;
            decided++;
            EXPECT_NE(sa, sb) << x << " / " << y;
            EXPECT_EQ(compareKeys(&a.record, &b.record, a.index()), order)
                << x << " / " << y << " type " << int(type) << " flags " << int(fieldFlags);
          }
        }
      }
    }
  }
  EXPECT_GT(decided, 1000);
  // Lowered, '_' sorts before 'a'; the comparison folds to upper case, where
  // it sorts after 'A'. The decision follows the comparison.
  KeyTable under({{BT_FIELD_STRING, 40, 0, "_", 0}}, 16);
  KeyTable letter({{BT_FIELD_STRING, 40, 0, "a", 0}}, 16);
  int order = 0;
  ASSERT_TRUE(btSummariesOrderKeys(under.index(), keySummaryWide(&under.record, under.index()),
                                   keySummaryWide(&letter.record, letter.index()), &order));
  EXPECT_EQ(1, order);
  // A 4-byte summary weighs its bytes together and decides nothing.
  KeyTable narrow({{BT_FIELD_STRING, 40, 0, "a", 0}}, 0);
  EXPECT_FALSE(btSummariesOrderKeys(narrow.index(), btKeySummary{1, 0}, btKeySummary{2, 0}, &order));
}
