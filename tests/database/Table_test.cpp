// Tables under construction: the catalogue image bytes, addField and
// addIndex with their results, fixed offsets, key part words, link slots,
// and what keeps a key inside a record link.
#include <cstring>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "database/btFieldType.h"
#include "database/btIndexDefinition.h"
#include "database/btStatus.h"
#include "database/btTableInfo.h"

namespace {

std::string str(const uint8_t* p) { return reinterpret_cast<const char*>(p); }

TEST(Table, ImageBytesOfHeaderFieldsAndIndexes) {
  btTableInfo t("people", 0);
  EXPECT_EQ(96u, t.storedSize());
  ASSERT_EQ(0, t.addField("id", BT_FIELD_UINT, 1, 2));
  ASSERT_EQ(0, t.addField("name", BT_FIELD_STRING, 1000, BT_FIELD_CASE_THEN_EXACT));
  ASSERT_EQ(0, t.addField("born", BT_FIELD_CMDATE, 1, 0));
  ASSERT_EQ(0, t.addIndex("name_tree", 0, 33, 0, 7, 9, "name"));
  ASSERT_EQ(7u * 48u, t.storedSize());
  const uint8_t* img = t.image;
  EXPECT_EQ(3, btGet16(img + 8));
  EXPECT_EQ(1, btGet16(img + 10));
  EXPECT_EQ(12u, btGet32(img + 12));  // uint + cmdate
  EXPECT_EQ("people", str(img + 32));
  EXPECT_EQ(0, btGet16(img + 66));
  // Field 1 at unit 3.
  const uint8_t* f1 = img + 3 * 48;
  EXPECT_EQ(1000u, btGet32(f1));
  EXPECT_EQ(BT_FIELD_STRING, f1[8]);
  EXPECT_EQ(BT_FIELD_CASE_THEN_EXACT, f1[9]);
  EXPECT_EQ("name", str(f1 + 10));
  EXPECT_EQ(4u, btGet32(img + 4 * 48 + 4));  // born follows id in the fixed part
  // Index 0 at unit 2 + 3.
  const uint8_t* x = img + 5 * 48;
  EXPECT_EQ(1, btGet16(x));
  EXPECT_EQ(0, x[2]);
  EXPECT_EQ(33, x[3]);
  EXPECT_EQ(1 | BT_KEY_CASE_THEN_EXACT, btGet16(x + 4));
  EXPECT_EQ(0, btGet16(x + 6));
  EXPECT_EQ(0u, btGet32(x + 20));
  EXPECT_EQ(7u, btGet32(x + 24));
  EXPECT_EQ("name_tree", str(x + 40));
  EXPECT_EQ(9, x[73]);
  for (int i = 74; i < 96; i++) EXPECT_EQ(0, x[i]) << i;
}

TEST(Table, NamesAreCutAtThirtyTwoCharacters) {
  std::string n32(32, 'n');
  btTableInfo whole(n32.c_str(), 0);
  EXPECT_EQ(n32, whole.name());
  EXPECT_EQ(0, whole.image[32 + 32]);
  btTableInfo cut((n32 + "XYZ").c_str(), 0);
  EXPECT_EQ(n32, cut.name());
  ASSERT_EQ(0, cut.addField((n32 + "tail").c_str(), BT_FIELD_UINT, 1, 0));
  EXPECT_EQ(n32, cut.field(0)->name);
  EXPECT_EQ(0, cut.fieldIndex(n32.c_str()));
  ASSERT_EQ(0, cut.addIndex(n32.c_str(), 4, 0, 10, 0, 0, n32.c_str()));
  EXPECT_EQ(0, cut.indexNumber(n32.c_str()));
}

TEST(Table, AddFieldResults) {
  btTableInfo t("t", 0);
  EXPECT_EQ(BT_STATUS_NULL_FIELD_NAME, t.addField(nullptr, BT_FIELD_UINT, 1, 0));
  ASSERT_EQ(0, t.addField("Path", BT_FIELD_STRING, 10, 0));
  EXPECT_EQ(BT_STATUS_DUPLICATE_FIELD, t.addField("path", BT_FIELD_UINT, 1, 0));
  EXPECT_EQ(0, t.fieldIndex("PATH"));
  EXPECT_EQ(BT_STATUS_NO_SUCH_FIELD, t.fieldIndex("other"));
  for (int i = 1; i < 256; i++)
    ASSERT_EQ(0, t.addField(("f" + std::to_string(i)).c_str(), BT_FIELD_UCHAR, 1, 0)) << i;
  EXPECT_EQ(BT_STATUS_TABLE_FULL, t.addField("one_more", BT_FIELD_UINT, 1, 0));
  EXPECT_EQ(256u, t.fieldCount());
  EXPECT_EQ(255u, t.hdr.fixedSize);
}

// Fixed offsets: variable fields are skipped, "uchar"/"char" take their
// size, other types their width.
TEST(Table, FixedOffsetsFollowDeclarationOrder) {
  struct Row {
    const char* name;
    uint32_t type;
    uint32_t size;
    uint32_t offset;  // expected; ~0u for variable fields
  };
  const Row rows[] = {
      {"a", BT_FIELD_UCHAR, 3, 0},    {"b", BT_FIELD_STRING, 1000, ~0u}, {"c", BT_FIELD_SHORT, 1, 3},
      {"d", BT_FIELD_UINT24, 1, 5},   {"e", BT_FIELD_DATE, 1, 8},        {"f", BT_FIELD_UTF8, 9, ~0u},
      {"g", BT_FIELD_UINT48, 1, 16},  {"h", BT_FIELD_CHAR, 2, 22},       {"i", BT_FIELD_BOOLEAN, 1, 24},
      {"j", BT_FIELD_DOUBLE, 1, 25},  {"k", BT_FIELD_IMAGE, 0, ~0u},     {"l", BT_FIELD_FLOAT, 1, 33},
  };
  btTableInfo t("t", 0);
  for (const Row& r : rows) ASSERT_EQ(0, t.addField(r.name, r.type, r.size, 0));
  for (uint32_t i = 0; i < t.fieldCount(); i++) {
    if (rows[i].offset == ~0u) {
      EXPECT_TRUE(btFieldTypeIsVariable(t.field(i)->type));
    } else {
      EXPECT_EQ(rows[i].offset, t.field(i)->fixedOffset) << rows[i].name;
    }
  }
  EXPECT_EQ(37u, t.hdr.fixedSize);
  EXPECT_EQ(3u, t.variableCount);
  EXPECT_EQ(1u, t.variableNumber(5));
  EXPECT_EQ(10u, t.fieldOfVariable(2));
}

TEST(Table, AddIndexResults) {
  btTableInfo t("t", 0);
  ASSERT_EQ(0, t.addField("id", BT_FIELD_UINT, 1, 0));
  ASSERT_EQ(0, t.addField("pic", BT_FIELD_IMAGE, 0, 0));
  ASSERT_EQ(0, t.addField("c", BT_FIELD_CSTRING, 100, 0));
  EXPECT_EQ(BT_STATUS_NULL_INDEX_NAME, t.addIndex(nullptr, 0, 0, 0, 0, 0, "id"));
  EXPECT_EQ(BT_STATUS_NO_SUCH_FIELD, t.addIndex("x", 0, 0, 0, 0, 0, "id", "missing"));
  EXPECT_EQ(BT_STATUS_FIELD_NOT_INDEXABLE, t.addIndex("x", 0, 0, 0, 0, 0, "pic"));
  EXPECT_EQ(BT_STATUS_FIELD_NOT_INDEXABLE, t.addIndex("x", 0, 0, 0, 0, 0, "c"));
  EXPECT_EQ(0u, t.indexCount());
  ASSERT_EQ(0, t.addIndex("ID_hash", 4, 2, 500000, 0, 0, "id"));
  EXPECT_EQ(BT_STATUS_DUPLICATE_INDEX, t.addIndex("id_HASH", 0, 0, 0, 0, 0, "id"));
  EXPECT_EQ(0, t.indexNumber("id_hash"));
  EXPECT_EQ(BT_STATUS_NO_SUCH_INDEX, t.indexNumber("nothing"));
  for (int i = 1; i < 256; i++)
    ASSERT_EQ(0, t.addIndex(("x" + std::to_string(i)).c_str(), 0, 1, 0, 0, 0, "id")) << i;
  EXPECT_EQ(BT_STATUS_TABLE_FULL, t.addIndex("full", 0, 0, 0, 0, 0, "id"));
  EXPECT_EQ(256u, t.indexCount());
  EXPECT_EQ((3u + 2u + 512u) * 48u, t.storedSize());
}

TEST(Table, KeyPartModesAndFieldFlagsFromTheIndex) {
  btTableInfo t("t", 0);
  ASSERT_EQ(0, t.addField("blind", BT_FIELD_STRING, 10, 0));
  ASSERT_EQ(0, t.addField("exact", BT_FIELD_STRING, 10, BT_FIELD_EXACT));
  ASSERT_EQ(0, t.addField("both", BT_FIELD_STRING, 10, BT_FIELD_CASE_THEN_EXACT));
  ASSERT_EQ(0, t.addField("files", BT_FIELD_UTF8, 10, BT_FIELD_EXACT | BT_FIELD_CASE_THEN_EXACT));
  ASSERT_EQ(0, t.addField("plain", BT_FIELD_UINT, 1, 0));
  ASSERT_EQ(0, t.addIndex("all", 0, 4, 0, 0, 0, "blind", nullptr, "exact", "both", "files"));
  const btIndexDefinition* d = t.index(0);
  ASSERT_EQ(4, d->partCount);
  EXPECT_EQ(0, d->parts[0]);
  EXPECT_EQ(1 | BT_KEY_EXACT, d->parts[1]);
  EXPECT_EQ(2 | BT_KEY_CASE_THEN_EXACT, d->parts[2]);
  EXPECT_EQ(3 | BT_KEY_FILE_NAMES, d->parts[3]);
  EXPECT_EQ(0, d->partMode(0));
  EXPECT_EQ(1, d->partMode(1));
  EXPECT_EQ(-1, d->partMode(2));
  EXPECT_EQ(-2, d->partMode(3));
  EXPECT_EQ(BT_FIELD_KEY_FLAG4, t.field(0)->flags);  // flag 4 without flag 2
  EXPECT_EQ(BT_FIELD_KEY_FLAG4 | BT_FIELD_EXACT, t.image[(2 + 1) * 48 + 9]);
  ASSERT_EQ(0, t.addIndex("two", 4, 6, 10, 0, 0, "plain"));
  EXPECT_EQ(BT_FIELD_KEY_FLAG2, t.field(4)->flags);  // flag 2 wins over 4
}

TEST(Table, AddingAFieldMovesTheIndexesIntact) {
  btTableInfo t("t", 0);
  ASSERT_EQ(0, t.addField("a", BT_FIELD_UINT, 1, 0));
  ASSERT_EQ(0, t.addIndex("first", 4, 3, 5000000, 1, 2, "a"));
  ASSERT_EQ(0, t.addIndex("second", 0, 32, 0, 0, 0, "a"));
  std::string before(reinterpret_cast<const char*>(t.image + 3 * 48), 4 * 48);
  ASSERT_EQ(0, t.addField("b", BT_FIELD_STRING, 20, 0));
  std::string after(reinterpret_cast<const char*>(t.image + 4 * 48), 4 * 48);
  EXPECT_EQ(before, after);
  EXPECT_EQ(std::string("first"), t.index(0)->name);
  EXPECT_EQ(5000000u, t.index(0)->conversionCount);
  EXPECT_EQ(std::string("second"), t.index(1)->name);
  EXPECT_EQ("b", std::string(t.field(1)->name));
  EXPECT_EQ(1, t.fieldIndex("b"));
}

TEST(Table, ChainlessTableNeedsAnIndexThatListsRecords) {
  btTableInfo t("t", BT_TABLE_NO_CHAIN);
  ASSERT_EQ(0, t.addField("a", BT_FIELD_UINT, 1, 0));
  EXPECT_EQ(BT_STATUS_NO_ITERABLE_INDEX, t.addIndex("mem", 2, 0, 0, 0, 0, "a"));
  ASSERT_EQ(0, t.addIndex("tree", 0, 0, 0, 0, 0, "a"));
  EXPECT_EQ(0, t.addIndex("mem", 2, 0, 0, 0, 0, "a"));
  EXPECT_FALSE(t.hasChain());
  EXPECT_EQ(0u, t.linkSlots());  // no chain slot; neither index keeps a link
}

// Which index kinds and flags give records a link slot.
TEST(Table, LinkSlotsByKindAndFlags) {
  struct Row {
    uint8_t type;
    uint8_t flags;
    bool slot;
  };
  const Row rows[] = {
      {0, 0, false},  {0, 1, true},   {1, 1, true},    {12, 1, true},  {15, 1, true},
      {2, 1, false},  {16, 1, false}, {4, 0, true},    {4, 64, false}, {4, 65, true},
      {3, 64, false}, {17, 0, true},  {9, 2, true},    {18, 1, false}, {5, 1, true},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(std::to_string(r.type) + "/" + std::to_string(r.flags));
    EXPECT_EQ(r.slot, btIndexDefinition::needsLinkSlot(r.type, r.flags));
  }
  btTableInfo t("t", 0);
  ASSERT_EQ(0, t.addField("a", BT_FIELD_UINT, 1, 0));
  ASSERT_EQ(0, t.addIndex("i0", 0, 0, 0, 0, 0, "a"));  // no slot
  ASSERT_EQ(0, t.addIndex("i1", 4, 0, 9, 0, 0, "a"));  // slot
  ASSERT_EQ(0, t.addIndex("i2", 0, 1, 0, 0, 0, "a"));  // slot
  EXPECT_EQ(2u, t.indexLinkCount);
  EXPECT_EQ(3u, t.linkSlots());
  EXPECT_EQ(-1, t.linkSlotOfIndex(0));
  EXPECT_EQ(1, t.linkSlotOfIndex(1));
  EXPECT_EQ(2, t.linkSlotOfIndex(2));
  EXPECT_EQ(2, t.indexOfLinkSlot(2));
  EXPECT_EQ(-1, t.indexOfLinkSlot(0));  // the chain's own slot
}

// When the key summary is exact and fits a record link.
TEST(Table, KeyFitsLink) {
  struct Row {
    uint32_t type;
    uint32_t size;
    uint8_t flags;
    bool fits;
  };
  const Row rows[] = {
      {BT_FIELD_STRING, 4, 0, true},     {BT_FIELD_STRING, 5, 0, false},
      {BT_FIELD_UCHAR, 3, 0, true},      {BT_FIELD_UCHAR, 4, 0, false},
      {BT_FIELD_UINT, 1, 0, true},       {BT_FIELD_UINT24, 1, 0, true},
      {BT_FIELD_ULONG, 1, 0, false},     {BT_FIELD_CMDATE, 1, 0, false},
      {BT_FIELD_STRING, 8, 16, true},    {BT_FIELD_STRING, 9, 16, false},
      {BT_FIELD_STRING, 16, 32, true},   {BT_FIELD_STRING, 17, 32, false},
      {BT_FIELD_ULONG, 1, 16, true},     {BT_FIELD_DOUBLE, 1, 32, false},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(std::string(btFieldTypeOf(r.type)->name) + " " + std::to_string(r.size) + "/" +
                 std::to_string(r.flags));
    btTableInfo t("t", 0);
    ASSERT_EQ(0, t.addField("f", r.type, r.size, 0));
    ASSERT_EQ(0, t.addIndex("i", 0, r.flags, 0, 0, 0, "f"));
    EXPECT_EQ(r.fits, t.index(0)->keyFitsLink);
  }
  btTableInfo two("t", 0);
  ASSERT_EQ(0, two.addField("a", BT_FIELD_UINT, 1, 0));
  ASSERT_EQ(0, two.addField("b", BT_FIELD_USHORT, 1, 0));
  ASSERT_EQ(0, two.addIndex("plain", 0, 0, 0, 0, 0, "a", "b"));
  ASSERT_EQ(0, two.addIndex("eight", 0, 16, 0, 0, 0, "a", "b"));
  EXPECT_FALSE(two.index(0)->keyFitsLink);  // two parts need a summary flag
  EXPECT_TRUE(two.index(1)->keyFitsLink);   // 4 + 2 bytes
}

TEST(Table, IndexSettersWriteTheImage) {
  btTableInfo t("t", 0);
  ASSERT_EQ(0, t.addField("a", BT_FIELD_UINT, 1, 0));
  ASSERT_EQ(0, t.addIndex("i", 0, 0, 0, 0, 0, "a"));
  btIndexDefinition* d = t.index(0);
  d->setRoot(0x1004);
  d->setFirstNode(0x2004);
  d->setLastNode(0x3004);
  d->setIndexType(12);
  const uint8_t* x = t.image + t.indexImageOffset(0);
  EXPECT_EQ(0x1004u, btGet32(x + 28));
  EXPECT_EQ(0x3004u, btGet32(x + 32));
  EXPECT_EQ(0x2004u, btGet32(x + 36));
  EXPECT_EQ(12, x[2]);
  btPut32(t.image + t.indexImageOffset(0) + 32, 0xFFFFFFFF);
  ASSERT_EQ(0, t.unpack());
  EXPECT_EQ(0u, t.index(0)->lastNode);
  EXPECT_EQ(d, t.index(0));  // definitions survive an unpack
}

TEST(Table, UnpackRefusesImpossibleCounts) {
  btTableInfo t("t", 0);
  ASSERT_EQ(0, t.addField("a", BT_FIELD_UINT, 1, 0));
  btPut16(t.image + 8, 1025);
  EXPECT_EQ(BT_STATUS_STORED_FIELD_LIMIT, t.unpack());
  btPut16(t.image + 8, 9);  // more definitions than the image holds
  EXPECT_EQ(BT_STATUS_OBJECT_OVERRUNS_BLOCK, t.unpack());
  btPut16(t.image + 8, 1);
  btPut16(t.image + 10, 257);
  EXPECT_EQ(BT_STATUS_TABLE_FULL, t.unpack());
  btPut16(t.image + 10, 0);
  EXPECT_EQ(0, t.unpack());
  EXPECT_EQ(1u, t.fieldCount());
}

}  // namespace
