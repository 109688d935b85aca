// Field comparison by type and mode, table-driven: each row builds a
// one-field table, stores two values and checks the order both ways.
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "database/btFieldCompare.h"
#include "database/btFieldType.h"
#include "database/btIndexDefinition.h"
#include "database/btStatus.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"

namespace {

// A value for one side: absent, text, raw fixed bits, or a floating value.
struct Value {
  enum Kind { kAbsent, kText, kBits, kReal } kind;
  std::string text;
  uint64_t bits = 0;
  double real = 0;
};

Value absent() { return {Value::kAbsent, "", 0, 0}; }
Value txt(std::string s) { return {Value::kText, std::move(s), 0, 0}; }
Value bits(uint64_t b) { return {Value::kBits, "", b, 0}; }
Value real(double d) { return {Value::kReal, "", 0, d}; }

struct CompareCase {
  const char* what;
  uint32_t type;
  uint32_t size;
  int mode;
  Value a;
  Value b;
  int expected;
};

void store(btStoredRecord* r, const btTableInfo& t, const Value& v) {
  switch (v.kind) {
    case Value::kAbsent:
      break;
    case Value::kText:
      ASSERT_EQ(0, setText(r, 0, v.text.data(), v.text.size()));
      break;
    case Value::kBits:
      ASSERT_EQ(0, setFixedBits(r, 0, v.bits));
      break;
    case Value::kReal: {
      int32_t status = 0;
      uint8_t* p = writableFieldAddress(r, 0, &status);
      ASSERT_NE(nullptr, p);
      if (t.field(0)->type == BT_FIELD_FLOAT) {
        float f = static_cast<float>(v.real);
        std::memcpy(p, &f, sizeof f);
      } else {
        std::memcpy(p, &v.real, sizeof v.real);
      }
      break;
    }
  }
}

// A "date" field's 8 bytes: year, month/day/hour word, zone, minute, ms.
uint64_t packedDate(uint16_t year, uint16_t month, uint16_t day, uint16_t hour, uint8_t zone,
                    uint8_t minute, uint16_t ms) {
  uint64_t word = static_cast<uint64_t>((month << 11) | (day << 6) | hour);
  return year | (word << 16) | (static_cast<uint64_t>(zone) << 32) |
         (static_cast<uint64_t>(minute) << 40) | (static_cast<uint64_t>(ms) << 48);
}

TEST(RecordCompare, ByTypeAndMode) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const CompareCase cases[] = {
      {"both absent", BT_FIELD_STRING, 10, 1, absent(), absent(), 0},
      {"absent first", BT_FIELD_STRING, 10, 1, absent(), txt(""), -1},
      {"absent vstring first", BT_FIELD_VSTRING, 10, 0, absent(), txt("a"), -1},
      {"case blind", BT_FIELD_STRING, 10, 0, txt("ABC"), txt("abc"), 0},
      {"case then exact", BT_FIELD_STRING, 10, -1, txt("ABC"), txt("abc"), -1},
      {"exact", BT_FIELD_STRING, 10, 1, txt("abc"), txt("ABC"), 1},
      {"prefix first", BT_FIELD_STRING, 10, 1, txt("ab"), txt("abc"), -1},
      {"case blind prefix", BT_FIELD_STRING, 10, 0, txt("AB"), txt("abc"), -1},
      {"cut at size", BT_FIELD_STRING, 3, 1, txt("abcX"), txt("abcY"), 0},
      {"bstring", BT_FIELD_BSTRING, 20, 0, txt("Zeta"), txt("alpha"), 1},
      {"istring", BT_FIELD_ISTRING, 20, 1, txt("b"), txt("a"), 1},
      {"zstring blind", BT_FIELD_ZSTRING, 20, 0, txt("Hello"), txt("hello"), 0},
      {"zstring exact", BT_FIELD_ZSTRING, 20, 1, txt("Hello"), txt("hello"), -1},
      {"vstring cut", BT_FIELD_VSTRING, 2, -1, txt("xyA"), txt("xyB"), 0},
      {"utf8 blind", BT_FIELD_UTF8, 20, 0, txt("\xc3\x84rger"), txt("\xc3\xa4rger"), 0},
      {"utf8 then exact", BT_FIELD_UTF8, 20, -1, txt("\xc3\x84rger"), txt("\xc3\xa4rger"), -1},
      {"utf8 file names", BT_FIELD_UTF8, 20, -2, txt("Dir/File"), txt("dir/file"), 0},
      {"utf8 longer", BT_FIELD_UTF8, 20, -1, txt("abc"), txt("ab"), 1},
      {"image bytes", BT_FIELD_IMAGE2, 20, 0, txt("\x01\x80"), txt("\x01\x7f"), 1},
      {"image shorter", BT_FIELD_IMAGE, 0, 0, txt("ab"), txt("abc"), -1},
      {"uchar byte blind", BT_FIELD_UCHAR, 1, 0, txt("A"), txt("a"), 0},
      {"uchar byte then exact", BT_FIELD_UCHAR, 1, -1, txt("A"), txt("a"), -1},
      {"uchar unsigned", BT_FIELD_UCHAR, 1, 1, bits(0x80), bits(0x7f), 1},
      {"char signed", BT_FIELD_CHAR, 1, 1, bits(0x80), bits(0x7f), -1},
      {"char signed blind", BT_FIELD_CHAR, 1, 0, bits(0xff), bits(0x01), -1},
      {"uchar long blind", BT_FIELD_UCHAR, 4, 0, txt("ABCD"), txt("abcd"), 0},
      {"uchar long then exact", BT_FIELD_UCHAR, 4, -2, txt("ABCD"), txt("abcd"), -1},
      {"char long", BT_FIELD_CHAR, 3, 1, txt("abd"), txt("abc"), 1},
      {"ushort", BT_FIELD_USHORT, 1, 1, bits(0xFFFF), bits(0), 1},
      {"short", BT_FIELD_SHORT, 1, 1, bits(0x8000), bits(0x7FFF), -1},
      {"uint", BT_FIELD_UINT, 1, 1, bits(0xFFFFFFFF), bits(1), 1},
      {"int", BT_FIELD_INT, 1, 1, bits(0xFFFFFFFF), bits(0), -1},
      {"ulong", BT_FIELD_ULONG, 1, 1, bits(~0ull), bits(0x7FFFFFFFFFFFFFFFull), 1},
      {"long", BT_FIELD_LONG, 1, 1, bits(0x8000000000000000ull), bits(1), -1},
      {"uint24", BT_FIELD_UINT24, 1, 1, bits(0x800000), bits(0x7FFFFF), 1},
      {"uint48", BT_FIELD_UINT48, 1, 1, bits(0x800000000000ull), bits(0x7FFFFFFFFFFFull), 1},
      {"cmdate", BT_FIELD_CMDATE, 1, 1, bits(0x01DA000000000001ull), bits(0x01DA000000000000ull), 1},
      {"boolean", BT_FIELD_BOOLEAN, 1, 1, bits(2), bits(1), 1},
      {"equal ints", BT_FIELD_INT, 1, 1, bits(5), bits(5), 0},
      {"float", BT_FIELD_FLOAT, 1, 1, real(-1.5), real(1.5), -1},
      {"float zeros", BT_FIELD_FLOAT, 1, 1, real(-0.0), real(0.0), 0},
      {"double", BT_FIELD_DOUBLE, 1, 1, real(1e300), real(1e299), 1},
      {"nan greater", BT_FIELD_DOUBLE, 1, 1, real(nan), real(1), 1},
      {"nan greater either side", BT_FIELD_DOUBLE, 1, 1, real(1), real(nan), 1},
      {"date zone ignored", BT_FIELD_DATE, 1, 1, bits(packedDate(2024, 5, 1, 12, 52, 30, 1000)),
       bits(packedDate(2024, 5, 1, 12, 180, 30, 1000)), 0},
      {"date minute", BT_FIELD_DATE, 1, 1, bits(packedDate(2024, 5, 1, 12, 52, 31, 0)),
       bits(packedDate(2024, 5, 1, 12, 52, 30, 59999)), 1},
      {"date year", BT_FIELD_DATE, 1, 1, bits(packedDate(2023, 12, 31, 23, 52, 59, 0)),
       bits(packedDate(2024, 1, 1, 0, 52, 0, 0)), -1},
      {"date ms", BT_FIELD_DATE, 1, 1, bits(packedDate(2024, 1, 1, 0, 52, 0, 2)),
       bits(packedDate(2024, 1, 1, 0, 52, 0, 1)), 1},
  };
  for (const CompareCase& c : cases) {
    SCOPED_TRACE(c.what);
    btTableInfo t("t", 0);
    ASSERT_EQ(0, t.addField("f", c.type, c.size, 0));
    btStoredRecord a, b;
    ASSERT_EQ(0, initRecord(&a, &t));
    ASSERT_EQ(0, initRecord(&b, &t));
    store(&a, t, c.a);
    store(&b, t, c.b);
    EXPECT_EQ(c.expected, compareField(&a, &b, 0, c.mode));
    bool unordered = c.type >= BT_FIELD_FLOAT && c.type <= BT_FIELD_DOUBLE &&
                     (c.a.kind == Value::kReal && (std::isnan(c.a.real) || std::isnan(c.b.real)));
    if (!unordered) {
      EXPECT_EQ(-c.expected, compareField(&b, &a, 0, c.mode));
    }
  }
}

TEST(RecordCompare, KeysComparePartByPartWithEachPartsMode) {
  btTableInfo t("t", 0);
  ASSERT_EQ(0, t.addField("name", BT_FIELD_STRING, 50, BT_FIELD_CASE_THEN_EXACT));
  ASSERT_EQ(0, t.addField("n", BT_FIELD_UINT, 1, 0));
  ASSERT_EQ(0, t.addIndex("by_n_name", 0, 0, 0, 0, 0, "n", "name"));
  ASSERT_EQ(0, t.addIndex("by_name", 0, 0, 0, 0, 0, "name"));
  ASSERT_EQ(0, t.addIndex("none", 0, 0, 0, 0, 0, nullptr));
  btStoredRecord a, b;
  ASSERT_EQ(0, initRecord(&a, &t));
  ASSERT_EQ(0, initRecord(&b, &t));
  ASSERT_EQ(0, setText(&a, 0, "ABC", 3));
  ASSERT_EQ(0, setText(&b, 0, "abc", 3));
  ASSERT_EQ(0, setUnsigned(&a, 1, 2));
  ASSERT_EQ(0, setUnsigned(&b, 1, 1));
  EXPECT_EQ(1, compareKeys(&a, &b, t.index(0)));   // n decides first
  ASSERT_EQ(0, setUnsigned(&b, 1, 2));
  EXPECT_EQ(-1, compareKeys(&a, &b, t.index(0)));  // then "ABC" before "abc"
  EXPECT_EQ(-1, compareKeys(&a, &b, t.index(1)));
  EXPECT_EQ(0, compareKeys(&a, &b, t.index(2)));   // no parts: all keys equal
}

}  // namespace
