// Records: the image layout, every field type's packing and reading, the
// null and empty rules, "cstring" compression, copy at the first write, and
// a random model test of variable-field resizing.
#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "DbTestFiles.h"
#include "database/btBlockStorage.h"
#include "database/btDatabase.h"
#include "database/btFieldCompare.h"
#include "database/btFieldType.h"
#include "database/btStatus.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"
#include "text/cmDateParts.h"

using tolvane::TVString;

namespace {

struct FieldDecl {
  const char* name;
  uint32_t type;
  uint32_t size;
  uint8_t flags;
};

// A table under construction (no database) with the given fields.
std::unique_ptr<btTableInfo> makeTable(std::initializer_list<FieldDecl> fields, uint16_t flags = 0) {
  auto t = std::make_unique<btTableInfo>("t", flags);
  for (const FieldDecl& f : fields) EXPECT_EQ(0, t->addField(f.name, f.type, f.size, f.flags)) << f.name;
  return t;
}

std::string text(const btStoredRecord& r, uint32_t field) {
  TVString s;
  EXPECT_EQ(0, getText(&r, field, &s));
  return s.isNull() ? std::string("<null>") : std::string(s.data(), static_cast<size_t>(s.length()));
}

int32_t set(btStoredRecord& r, uint32_t field, const std::string& value) {
  return setText(&r, field, value.data(), value.size());
}

std::string randomBytes(size_t n, uint32_t seed) {
  std::mt19937 rng(seed);
  std::string s(n, '\0');
  for (char& c : s) c = static_cast<char>(rng());
  return s;
}

TEST(Record, NewImageIsAllNullWithItsSizeInWordZero) {
  // Two variable fields, two fixed: L = 1 (chain), V = 2, F = 4 + 2.
  auto t = makeTable({{"a", BT_FIELD_STRING, 100, 0}, {"n", BT_FIELD_UINT, 1, 0},
                      {"b", BT_FIELD_VSTRING, 100, 0}, {"s", BT_FIELD_SHORT, 1, 0}});
  btStoredRecord r;
  ASSERT_EQ(0, initRecord(&r, t.get()));
  EXPECT_EQ(1, r.linkSlots);
  EXPECT_EQ(2, r.variableCount);
  EXPECT_EQ(8u + 4u + 6u, r.size);
  EXPECT_EQ(r.size, r.offsetWord(0));
  for (uint32_t i = 8 + 2; i < r.size; i++) EXPECT_EQ(0, r.image[i]) << i;
  EXPECT_TRUE(isNull(&r, 0));
  EXPECT_TRUE(isNull(&r, 2));
  EXPECT_FALSE(isNull(&r, 1));  // fixed fields without flag 16 are never null
  EXPECT_EQ(r.image + 12, fieldAddress(&r, 1));
  EXPECT_EQ(r.image + 16, fieldAddress(&r, 3));
  EXPECT_EQ(r.image, r.inlineBuffer);
}

TEST(Record, InitRecordNeedsATable) {
  btStoredRecord r;
  EXPECT_EQ(BT_STATUS_NOT_READY, initRecord(&r, nullptr));
}

TEST(Record, FixedSizeTableHasNoOffsetTable) {
  auto t = makeTable({{"n", BT_FIELD_ULONG, 1, 0}, {"c", BT_FIELD_UCHAR, 5, 0}});
  btStoredRecord r;
  ASSERT_EQ(0, initRecord(&r, t.get()));
  EXPECT_FALSE(r.hasVariablePart());
  EXPECT_EQ(8u + 13u, r.storedSize());
  EXPECT_EQ(r.image + 8, fieldAddress(&r, 0));
  EXPECT_EQ(r.image + 16, fieldAddress(&r, 1));
}

TEST(Record, GivenImageIsZeroedAndUsedUntilTheRecordGrows) {
  auto t = makeTable({{"n", BT_FIELD_UINT, 1, 0}, {"s", BT_FIELD_STRING, 100, 0}});
  std::vector<uint8_t> buffer(64, 0xAB);
  {
    btStoredRecord r;
    ASSERT_EQ(0, initRecord(&r, t.get(), buffer.data(), 20));
    EXPECT_EQ(buffer.data(), r.image);
    EXPECT_EQ(0u, btGet32(buffer.data()));
    EXPECT_EQ(14, btGet16(buffer.data() + 8));  // word 0: 8 + 2 + 4
    EXPECT_EQ(0xAB, buffer[20]);                // nothing past the capacity
    ASSERT_EQ(0, setUnsigned(&r, 0, 77));
    EXPECT_EQ(77u, btGet32(buffer.data() + 10));
    ASSERT_EQ(0, set(r, 1, "longer than what the buffer holds"));
    EXPECT_NE(buffer.data(), r.image);
    EXPECT_EQ(77u, getUnsigned(&r, 0));
    EXPECT_EQ("longer than what the buffer holds", text(r, 1));
  }
  EXPECT_EQ(0xAB, buffer[20]);  // the record never freed or wrote past the buffer
}

// Round trips of the text types, with a variable neighbour on each side so
// that offsets are exercised: stored value, what reads back, and the
// stored length of the field's encoding.
struct TextCase {
  uint32_t type;
  uint32_t size;
  std::string value;
  std::string expected;
  uint32_t storedLength;  // encoding bytes; 0 = absent
};

TEST(Record, TextTypesRoundTrip) {
  const std::string k1000(1000, 'k');
  const std::string k1500(1500, 'k');
  const std::string b255(255, 'b');
  const std::string m32000 = randomBytes(32000, 1);
  const TextCase cases[] = {
      {BT_FIELD_STRING, 1000, "hello", "hello", 7},
      {BT_FIELD_STRING, 1000, "", "", 2},
      {BT_FIELD_STRING, 1000, k1000, k1000, 1002},
      {BT_FIELD_STRING, 1000, k1500, k1000, 1002},  // cut at the field's size
      {BT_FIELD_STRING, 32000, m32000, m32000, 32002},
      {BT_FIELD_ZSTRING, 10, "abc", "abc", 4},
      {BT_FIELD_ZSTRING, 10, "", "", 1},  // a lone NUL
      {BT_FIELD_ZSTRING, 3, "abcdef", "abc", 4},
      {BT_FIELD_BSTRING, 255, b255, b255, 256},
      {BT_FIELD_BSTRING, 255, b255 + "xx", b255, 256},
      {BT_FIELD_BSTRING, 255, "", "", 1},
      {BT_FIELD_ISTRING, 0, k1500, k1500, 1504},  // no maximum
      {BT_FIELD_ISTRING, 10, "0123456789AB", "0123456789", 14},
      {BT_FIELD_IMAGE, 0, std::string("\0\1\2", 3), std::string("\0\1\2", 3), 7},
      {BT_FIELD_IMAGE2, 100, std::string("\xff\0", 2), std::string("\xff\0", 2), 4},
      {BT_FIELD_VSTRING, 100, "vs", "vs", 2},
      {BT_FIELD_VSTRING, 100, "", "<null>", 0},  // empty leaves it absent
      {BT_FIELD_VSTRING, 4, "abcdef", "abcd", 4},
      {BT_FIELD_UTF8, 100, "gr\xc3\xbc\xc3\x9f", "gr\xc3\xbc\xc3\x9f", 6},
      {BT_FIELD_UTF8, 100, "", "<null>", 0},
      {BT_FIELD_CSTRING, 100, "", "<null>", 0},
      {BT_FIELD_CSTRING, 100, std::string(31, 'c'), std::string(31, 'c'), 31},
      {BT_FIELD_CSTRING, 40, std::string(100, 'c'), std::string(40, 'c'), 32},  // cut, then packed
  };
  for (const TextCase& c : cases) {
    SCOPED_TRACE(std::string(btFieldTypeOf(c.type)->name) + " of " + std::to_string(c.value.size()));
    auto t = makeTable({{"before", BT_FIELD_STRING, 100, 0},
                        {"f", c.type, c.size, 0},
                        {"after", BT_FIELD_BSTRING, 100, 0}});
    btStoredRecord r;
    ASSERT_EQ(0, initRecord(&r, t.get()));
    ASSERT_EQ(0, set(r, 0, "left"));
    ASSERT_EQ(0, set(r, 2, "right"));
    ASSERT_EQ(0, set(r, 1, c.value));
    EXPECT_EQ(c.expected, text(r, 1));
    EXPECT_EQ(c.storedLength, fieldAddress(&r, 1) ? fieldStoredLength(&r, 1) : 0);
    EXPECT_EQ("left", text(r, 0));
    EXPECT_EQ("right", text(r, 2));
    EXPECT_EQ(r.size, r.offsetWord(0));
    // Null again: the neighbours stay, the record is back to its old size.
    uint32_t withBoth = r.size - (fieldAddress(&r, 1) ? fieldStoredLength(&r, 1) : 0);
    ASSERT_EQ(0, setText(&r, 1, TVString()));
    EXPECT_EQ(nullptr, fieldAddress(&r, 1));
    EXPECT_TRUE(isNull(&r, 1));
    EXPECT_EQ(withBoth, r.size);
    EXPECT_EQ("left", text(r, 0));
    EXPECT_EQ("right", text(r, 2));
  }
}

TEST(Record, FixedTextOverwritesTheStartAndKeepsTheRest) {
  auto t = makeTable({{"u", BT_FIELD_UCHAR, 6, 0}, {"c", BT_FIELD_CHAR, 1, 0}});
  btStoredRecord r;
  ASSERT_EQ(0, initRecord(&r, t.get()));
  ASSERT_EQ(0, set(r, 0, "abcdef"));
  EXPECT_EQ("abcdef", text(r, 0));
  ASSERT_EQ(0, set(r, 0, "XY"));
  EXPECT_EQ("XYcdef", text(r, 0));
  ASSERT_EQ(0, set(r, 0, "123456789"));
  EXPECT_EQ("123456", text(r, 0));
  ASSERT_EQ(0, set(r, 1, "zq"));
  EXPECT_EQ("z", text(r, 1));
  EXPECT_EQ("123456", text(r, 0));  // the neighbour is untouched
}

TEST(Record, CstringCompressesFromThirtyTwoBytes) {
  auto t = makeTable({{"c", BT_FIELD_CSTRING, 32000, 0}, {"z", BT_FIELD_ZSTRING, 10, 0}});
  btStoredRecord r;
  ASSERT_EQ(0, initRecord(&r, t.get()));

  std::string thirtyTwo(32, 'a');
  ASSERT_EQ(0, set(r, 0, thirtyTwo));
  const uint8_t* p = fieldAddress(&r, 0);
  ASSERT_NE(nullptr, p);
  EXPECT_EQ(32u, fieldStoredLength(&r, 0));  // short stream, padded to 32
  EXPECT_EQ(32, btGet16(p));                 // the original length leads
  EXPECT_EQ(thirtyTwo, text(r, 0));

  std::string compressible(20000, 'x');
  for (size_t i = 0; i < compressible.size(); i += 7) compressible[i] = 'y';
  ASSERT_EQ(0, set(r, 0, compressible));
  EXPECT_LT(fieldStoredLength(&r, 0), 1000u);
  EXPECT_EQ(compressible, text(r, 0));

  std::string noise = randomBytes(5000, 7);
  ASSERT_EQ(0, set(r, 0, noise));
  EXPECT_GE(fieldStoredLength(&r, 0), 5000u);
  EXPECT_EQ(noise, text(r, 0));

  // A stream that does not expand reports the failure.
  ASSERT_EQ(0, set(r, 1, "tail"));
  uint8_t* stored = fieldAddress(&r, 0);
  stored[10] ^= 0xFF;
  stored[11] ^= 0xFF;
  TVString s;
  EXPECT_EQ(BT_STATUS_COMPRESSION_FAILED, getText(&r, 0, &s));
  EXPECT_EQ("tail", text(r, 1));
}

// Numbers written at their width and read back; `bits` as stored.
struct NumberCase {
  uint32_t type;
  uint64_t bits;
};

TEST(Record, NumbersKeepTheirWidth) {
  const NumberCase cases[] = {
      {BT_FIELD_UCHAR, 0xFF},          {BT_FIELD_USHORT, 0xFFFF},
      {BT_FIELD_USHORT, 0},            {BT_FIELD_SHORT, 0x8000},  // -32768
      {BT_FIELD_UINT, 0xFFFFFFFF},     {BT_FIELD_INT, 0x80000000},
      {BT_FIELD_ULONG, ~0ull},         {BT_FIELD_LONG, 0x8000000000000000ull},
      {BT_FIELD_UINT24, 0xFFFFFF},     {BT_FIELD_UINT48, 0xFFFFFFFFFFFFull},
      {BT_FIELD_BOOLEAN, 2},           {BT_FIELD_CMDATE, 0x01DA0000DEADBEEFull},
  };
  for (const NumberCase& c : cases) {
    SCOPED_TRACE(btFieldTypeOf(c.type)->name);
    // Fixed neighbours on both sides catch a write past the width.
    auto t = makeTable({{"lo", BT_FIELD_UCHAR, 1, 0}, {"f", c.type, 1, 0}, {"hi", BT_FIELD_UCHAR, 1, 0}});
    btStoredRecord r;
    ASSERT_EQ(0, initRecord(&r, t.get()));
    ASSERT_EQ(0, setFixedBits(&r, 0, 0x11));
    ASSERT_EQ(0, setFixedBits(&r, 2, 0x22));
    ASSERT_EQ(0, setFixedBits(&r, 1, c.bits));
    EXPECT_EQ(c.bits, getUnsigned(&r, 1));
    EXPECT_EQ(0x11u, getUnsigned(&r, 0));
    EXPECT_EQ(0x22u, getUnsigned(&r, 2));
    EXPECT_EQ(fieldAddress(&r, 0) + 1 + btFieldTypeOf(c.type)->width, fieldAddress(&r, 2));
  }
}

TEST(Record, FloatsThroughTheirAddress) {
  auto t = makeTable({{"f", BT_FIELD_FLOAT, 1, 0}, {"d", BT_FIELD_DOUBLE, 1, 0}});
  btStoredRecord r;
  ASSERT_EQ(0, initRecord(&r, t.get()));
  int32_t status = 0;
  float f = -3.5f;
  double d = 1e300;
  std::memcpy(writableFieldAddress(&r, 0, &status), &f, sizeof f);
  std::memcpy(writableFieldAddress(&r, 1, &status), &d, sizeof d);
  float f2;
  double d2;
  std::memcpy(&f2, fieldAddress(&r, 0), sizeof f2);
  std::memcpy(&d2, fieldAddress(&r, 1), sizeof d2);
  EXPECT_EQ(f, f2);
  EXPECT_EQ(d, d2);
}

TEST(Record, AccessorsCheckTheType) {
  auto t = makeTable({{"n", BT_FIELD_INT, 1, 0}, {"s", BT_FIELD_STRING, 10, 0}, {"u", BT_FIELD_UINT, 1, 0}});
  btStoredRecord r;
  ASSERT_EQ(0, initRecord(&r, t.get()));
  cmDateStamp stamp = 0;
  EXPECT_EQ(BT_STATUS_WRONG_FIELD_TYPE, set(r, 0, "1"));
  EXPECT_EQ(BT_STATUS_WRONG_FIELD_TYPE, setUnsigned(&r, 0, 1));
  EXPECT_EQ(BT_STATUS_WRONG_FIELD_TYPE, setDate(&r, 2, 1));
  EXPECT_EQ(BT_STATUS_WRONG_FIELD_TYPE, getDate(&r, 1, &stamp));
  EXPECT_EQ(BT_STATUS_BAD_FIELD, set(r, 3, "x"));
  EXPECT_EQ(BT_STATUS_BAD_FIELD, setNull(&r, 9));
  EXPECT_EQ(0, setUnsigned(&r, 2, 0xFFFFFFFF));
  EXPECT_EQ("<null>", text(r, 2));  // numeric fields read as a null string
}

TEST(Record, NullRules) {
  auto t = makeTable({{"b0", BT_FIELD_BOOLEAN, 1, 0},
                      {"b16", BT_FIELD_BOOLEAN, 1, BT_FIELD_NULLABLE},
                      {"d0", BT_FIELD_CMDATE, 1, 0},
                      {"d16", BT_FIELD_CMDATE, 1, BT_FIELD_NULLABLE},
                      {"u16", BT_FIELD_UCHAR, 3, BT_FIELD_NULLABLE},
                      {"s16", BT_FIELD_STRING, 10, BT_FIELD_NULLABLE},
                      {"x16", BT_FIELD_DOUBLE, 1, BT_FIELD_NULLABLE}});
  EXPECT_EQ(0, t->field(0)->flags);  // types 14, 15, 21 keep exactly the flags given
  btStoredRecord r;
  ASSERT_EQ(0, initRecord(&r, t.get()));
  EXPECT_FALSE(isNull(&r, 0));
  EXPECT_TRUE(isNull(&r, 1));
  ASSERT_EQ(0, setFixedBits(&r, 1, 1));  // false is a value
  EXPECT_FALSE(isNull(&r, 1));
  EXPECT_EQ(BT_STATUS_NOT_NULLABLE, setNull(&r, 0));
  EXPECT_EQ(BT_STATUS_NOT_NULLABLE, setNull(&r, 2));
  ASSERT_EQ(0, setDate(&r, 3, 123456789));
  EXPECT_FALSE(isNull(&r, 3));
  ASSERT_EQ(0, setNull(&r, 3));
  EXPECT_TRUE(isNull(&r, 3));
  ASSERT_EQ(0, set(r, 4, "abc"));
  ASSERT_EQ(0, setNull(&r, 4));
  EXPECT_EQ(std::string(3, '\0'), text(r, 4));
  EXPECT_TRUE(isNull(&r, 4));
  ASSERT_EQ(0, set(r, 5, ""));  // an empty string with flag 16 is stored, and counts as null
  EXPECT_NE(nullptr, fieldAddress(&r, 5));
  EXPECT_TRUE(isNull(&r, 5));
  double nan = std::nan("");
  int32_t status = 0;
  std::memcpy(writableFieldAddress(&r, 6, &status), &nan, sizeof nan);
  EXPECT_TRUE(isNull(&r, 6));
}

TEST(Record, ClearingFieldOneKeepsFieldZeroPresent) {
  auto t = makeTable({{"a", BT_FIELD_VSTRING, 50, 0}, {"b", BT_FIELD_VSTRING, 50, 0}, {"c", BT_FIELD_VSTRING, 50, 0}});
  btStoredRecord r;
  ASSERT_EQ(0, initRecord(&r, t.get()));
  ASSERT_EQ(0, set(r, 1, "bb"));
  EXPECT_EQ(r.fixedEnd(), r.offsetWord(1));  // field 0 absent: field 1 starts the part
  EXPECT_EQ("<null>", text(r, 0));
  ASSERT_EQ(0, set(r, 0, "a"));
  ASSERT_EQ(0, setNull(&r, 1));
  EXPECT_EQ(1, r.offsetWord(1));
  EXPECT_EQ("a", text(r, 0));
  ASSERT_EQ(0, setNull(&r, 0));
  EXPECT_EQ(0, r.offsetWord(1));
  EXPECT_EQ(r.fixedEnd(), r.size);
  // Field 1 cleared while field 0 is absent leaves field 0 absent.
  ASSERT_EQ(0, set(r, 1, "b"));
  ASSERT_EQ(0, setNull(&r, 1));
  EXPECT_EQ(nullptr, fieldAddress(&r, 0));
}

TEST(Record, StoredSizeBelowTheLinksIsRepaired) {
  auto t = makeTable({{"s", BT_FIELD_STRING, 50, 0}, {"n", BT_FIELD_UINT, 1, 0}});
  btStoredRecord r;
  ASSERT_EQ(0, initRecord(&r, t.get()));
  btPut16(r.image + 8, 3);  // below L * 8
  ASSERT_EQ(0, r.unpack());
  EXPECT_EQ(8u + 2u + 4u, r.size);
}

TEST(Record, DatesPackLocalPartsAndRoundTrip) {
  auto t = makeTable({{"d", BT_FIELD_DATE, 1, 0}, {"c", BT_FIELD_CMDATE, 1, 0}});
  btStoredRecord r;
  ASSERT_EQ(0, initRecord(&r, t.get()));
  cmDateStamp stamp = cmDateParts::make(2024, 2, 29, 23, 59, 58, 123000).toStampLocal();
  ASSERT_EQ(0, setDate(&r, 0, stamp));
  ASSERT_EQ(0, setDate(&r, 1, stamp));
  const uint8_t* p = fieldAddress(&r, 0);
  EXPECT_EQ(2024, btGet16(p));
  EXPECT_EQ((2 << 11) | (29 << 6) | 23, btGet16(p + 2));
  EXPECT_EQ(59, p[5]);
  EXPECT_EQ(58123, btGet16(p + 6));
  EXPECT_EQ(stamp, btGet64(fieldAddress(&r, 1)));
  cmDateStamp back = 0;
  ASSERT_EQ(0, getDate(&r, 0, &back));
  EXPECT_EQ(stamp, back);
  ASSERT_EQ(0, getDate(&r, 1, &back));
  EXPECT_EQ(stamp, back);
  ASSERT_EQ(0, setDate(&r, 0, 0));
  ASSERT_EQ(0, getDate(&r, 0, &back));
  EXPECT_EQ(0u, back);
}

// Random sets and clears over variable fields of different encodings,
// checked against a map after every step.
TEST(Record, VariableFieldsAgainstAModel) {
  auto t = makeTable({{"s", BT_FIELD_STRING, 300, 0},
                      {"n", BT_FIELD_UINT, 1, 0},
                      {"v", BT_FIELD_VSTRING, 300, 0},
                      {"z", BT_FIELD_ZSTRING, 300, 0},
                      {"c", BT_FIELD_CSTRING, 300, 0},
                      {"u", BT_FIELD_UTF8, 300, 0},
                      {"b", BT_FIELD_BSTRING, 200, 0},
                      {"t", BT_FIELD_STRING, 300, 0}});  // a string behind other variable fields
  const uint32_t variable[] = {0, 2, 3, 4, 5, 6, 7};
  btStoredRecord r;
  ASSERT_EQ(0, initRecord(&r, t.get()));
  std::map<uint32_t, std::optional<std::string>> model;
  std::mt19937 rng(42);
  for (int step = 0; step < 3000; step++) {
    uint32_t f = variable[rng() % 7];
    uint32_t choice = rng() % 4;
    if (choice == 0) {
      ASSERT_EQ(0, setNull(&r, f));
      model[f].reset();
    } else {
      size_t n = rng() % (choice == 3 ? 300 : 12);
      std::string v(n, '\0');
      for (char& c : v) c = static_cast<char>('a' + rng() % 3);  // compressible, no NULs
      ASSERT_EQ(0, set(r, f, v));
      const btFieldDefinition* def = t->field(f);
      if (v.size() > def->size) v.resize(def->size);
      bool empty = v.empty() && (def->type == BT_FIELD_VSTRING || def->type == BT_FIELD_UTF8 ||
                                 def->type == BT_FIELD_CSTRING);
      model[f] = empty ? std::optional<std::string>() : std::optional<std::string>(v);
    }
    ASSERT_EQ(0, setUnsigned(&r, 1, static_cast<uint32_t>(step)));
    for (uint32_t g : variable) {
      const auto& want = model[g];
      ASSERT_EQ(want ? *want : std::string("<null>"), text(r, g)) << "step " << step << " field " << g;
    }
    ASSERT_EQ(static_cast<uint32_t>(step), getUnsigned(&r, 1));
    ASSERT_EQ(r.size, r.offsetWord(0));
    ASSERT_EQ(0, r.unpack());
  }
}

// Damaged images: offsets and prefixes that point anywhere must never make
// a read leave the image (the buffer is exactly the image, so a sanitizer
// build sees any overrun).
TEST(Record, DamagedImagesReadInsideTheImage) {
  auto t = makeTable({{"s", BT_FIELD_STRING, 300, 0},
                      {"n", BT_FIELD_UINT, 1, BT_FIELD_NULLABLE},
                      {"i", BT_FIELD_ISTRING, 0, BT_FIELD_NULLABLE},
                      {"t", BT_FIELD_STRING, 300, 0},
                      {"z", BT_FIELD_ZSTRING, 300, 0},
                      {"c", BT_FIELD_CSTRING, 300, 0},
                      {"u", BT_FIELD_UTF8, 300, BT_FIELD_NULLABLE}});
  std::mt19937 rng(5);
  for (int round = 0; round < 2000; round++) {
    uint32_t capacity = 8 + 12 + 4 + rng() % 120;
    std::vector<uint8_t> buffer(capacity);
    btStoredRecord r;
    ASSERT_EQ(0, initRecord(&r, t.get(), buffer.data(), capacity));
    for (uint32_t i = 8; i < capacity; i++) buffer[i] = static_cast<uint8_t>(rng() % 4 ? rng() % 40 : rng());
    btPut16(buffer.data() + 8, static_cast<uint16_t>(r.fixedEnd() + rng() % (capacity - r.fixedEnd() + 1)));
    if (r.unpack() != 0) continue;
    btStoredRecord other;
    ASSERT_EQ(0, initRecord(&other, t.get()));
    for (uint32_t f = 0; f < t->fieldCount(); f++) {
      TVString s;
      int32_t rc = getText(&r, f, &s);
      EXPECT_TRUE(rc == 0 || rc == BT_STATUS_COMPRESSION_FAILED);
      isNull(&r, f);
      compareField(&r, &other, f, -1);
      compareField(&other, &r, f, 0);
    }
    r.returnBorrowedImage();
  }
}

TEST(Record, ReadInPlaceAndCopiedAtTheFirstWrite) {
  std::string path = dbTestPath("records_cow.tvdb");
  btDatabase db;
  ASSERT_EQ(0, db.createDatabase(path.c_str(), "T", 8192, 0x100000, 1, 1));
  auto t = makeTable({{"s", BT_FIELD_STRING, 2000, 0}, {"n", BT_FIELD_UINT, 1, 0}});
  btStoredRecord built;
  ASSERT_EQ(0, initRecord(&built, t.get()));
  ASSERT_EQ(0, set(built, 0, "stored"));
  ASSERT_EQ(0, setUnsigned(&built, 1, 5));
  btSeek seek = 0;
  ASSERT_EQ(0, placeRecord(&db, db.getCacheFile(), &built, &seek, nullptr, nullptr, nullptr));

  btStoredRecord r;
  r.table = t.get();
  ASSERT_EQ(0, loadSlotObject(&r, db.getCacheFile(), seek, true));
  ASSERT_NE(nullptr, r.block);
  const uint8_t* inBlock = r.image;
  EXPECT_EQ("stored", text(r, 0));
  EXPECT_EQ(5u, getUnsigned(&r, 1));
  EXPECT_EQ(inBlock, r.image);  // reads leave the view alone
  size_t nAt = static_cast<size_t>(fieldAddress(&r, 1) - r.image);

  ASSERT_EQ(0, setUnsigned(&r, 1, 6));
  EXPECT_EQ(nullptr, r.block);
  EXPECT_EQ(r.inlineBuffer, r.image);
  EXPECT_EQ(5u, btGet32(inBlock + nAt));  // the stored row is unchanged
  EXPECT_EQ(6u, getUnsigned(&r, 1));
  EXPECT_EQ("stored", text(r, 0));

  ASSERT_EQ(0, set(r, 0, std::string(1000, 'L')));  // past the inline buffer
  EXPECT_NE(r.inlineBuffer, r.image);
  EXPECT_EQ(std::string(1000, 'L'), text(r, 0));
  EXPECT_EQ(6u, getUnsigned(&r, 1));
  // A working copy of a row still in its block leaves the block alone.
  btStoredRecord view, copy;
  view.table = t.get();
  ASSERT_EQ(0, loadSlotObject(&view, db.getCacheFile(), seek, true));
  ASSERT_EQ(0, copyRecord(&copy, &view));
  ASSERT_NE(nullptr, view.block);
  EXPECT_EQ(nullptr, copy.block);
  btPut32(linkSlotAddress(&copy, 0), 0x1234);  // next
  ASSERT_EQ(0, set(copy, 0, "changed"));
  EXPECT_EQ("stored", text(view, 0));
  EXPECT_EQ(0u, btGet32(linkSlotAddress(&view, 0)));
  EXPECT_EQ(nullptr, linkSlotAddress(&view, 1));  // one slot: the chain
  EXPECT_EQ("changed", text(copy, 0));
  EXPECT_EQ(5u, getUnsigned(&copy, 1));
  view.releaseImage();
  r.releaseImage();
  EXPECT_EQ(0, db.closeDatabase());
}

}  // namespace
