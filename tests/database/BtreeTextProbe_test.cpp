// Lookups by text (findUnsignedByText) against lookups by a key record
// (findFirstUnsigned) over the same B-trees: every answer must agree, for
// names that tie in the summary, differ only in case, carry bytes above
// 0x80 or sit at leaf borders, in every comparison mode and summary width.
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "TableOpsTestSupport.h"
#include "database/index/btBtreeTextProbe.h"

using namespace tableops;

namespace {

struct ProbeCase {
  const char* label;
  uint8_t nameFlags;   // field flags of `name`: its comparison mode
  uint8_t indexFlags;  // B-tree flags: summary width, duplicates
};

void PrintTo(const ProbeCase& c, std::ostream* os) { *os << c.label; }

const ProbeCase kCases[] = {
    {"folded16", 0, 32},
    {"folded8", 0, 16},
    {"exact16", BT_FIELD_EXACT, 32},
    {"caseThenExact16", BT_FIELD_CASE_THEN_EXACT, 32},
    {"fileNames8", BT_FIELD_EXACT | BT_FIELD_CASE_THEN_EXACT, 16},
    {"duplicates16", 0, 33},
};

std::unique_ptr<btTableInfo> namedTable(const ProbeCase& c) {
  auto t = std::make_unique<btTableInfo>("people", 0);
  EXPECT_EQ(0, t->addField("id", BT_FIELD_UINT, 1, 2));
  EXPECT_EQ(0, t->addField("name", BT_FIELD_STRING, 60, c.nameFlags));
  EXPECT_EQ(0, t->addField("note", BT_FIELD_STRING, 100, 0));
  EXPECT_EQ(0, t->addField("count", BT_FIELD_UINT, 1, 0));
  EXPECT_EQ(0, t->addIndex("id_hash", BT_INDEX_BLOCK_HASH, 2, 97, 0, 0, "id"));
  EXPECT_EQ(0, t->addIndex("name_index", BT_INDEX_BTREE, c.indexFlags, 0, 0, 0, "name"));
  return t;
}

// Names that make the tree read records: long shared prefixes (summaries
// tie), case variants, multi-byte characters, lengths around 8 and 16.
std::vector<std::string> storedNames() {
  std::vector<std::string> names;
  for (int i = 0; i < 1500; i++) {
    uint32_t h = static_cast<uint32_t>(i) * 2654435761u;
    switch (i % 6) {
      case 0: names.push_back("/branches/release-" + std::to_string(h % 100000)); break;
      case 1: names.push_back("/src/module/file" + std::to_string(h % 1000) + ".c"); break;
      case 2: names.push_back(std::string("/Src/Caf\xC3\xA9/") + std::to_string(h % 5000)); break;
      case 3: names.push_back(std::string(static_cast<size_t>(1 + h % 17), static_cast<char>('a' + h % 26))); break;
      case 4: names.push_back("/trunk/" + std::to_string(i)); break;
      default: names.push_back(std::string("\xC3\x84rger/") + std::to_string(h % 700) + "/x"); break;
    }
  }
  return names;
}

class BtreeTextProbe : public ::testing::TestWithParam<ProbeCase> {};

TEST_P(BtreeTextProbe, AnswersAsAKeyRecordDoes) {
  TableDb t(std::string("probe_") + GetParam().label + ".tvdb", 1024);
  auto proto = namedTable(GetParam());
  ASSERT_TRUE(t.create(proto.get()));
  uint32_t id = 1;
  for (const std::string& name : storedNames()) {
    // Refused names (equal under the mode) are simply not there.
    t.insert({id, name, "n", id * 3});
    id++;
  }
  t.reopen();
  btIndexDefinition* index = getIndex(t.db.get(), t.table, "name_index");
  ASSERT_NE(nullptr, index);

  std::vector<std::string> probes = storedNames();
  for (const std::string& name : storedNames()) {
    std::string upper = name, longer = name + "~", shorter = name.substr(0, name.size() / 2);
    for (char& ch : upper)
      if (ch >= 'a' && ch <= 'z') ch = static_cast<char>(ch - 32);
    probes.insert(probes.end(), {upper, longer, shorter, name + "0", " " + name});
  }
  probes.push_back(std::string(60, 'z'));
  probes.push_back("\x01");
  probes.push_back("\xFF\xFF");

  int found = 0;
  btStoredRecord key;
  for (const std::string& probe : probes) {
    if (probe.empty()) continue;
    fill(&key, t.table, {0, probe, "", 0});
    btIndexIterator byRecord(index), byText(index);
    uint64_t want = 0, got = 0;
    int32_t wantRc = findFirstUnsigned(t.db.get(), t.table, &byRecord, &key, 0, &want);
    int32_t gotRc = findUnsignedByText(t.db.get(), t.table, &byText, probe.data(),
                                       static_cast<uint32_t>(probe.size()), 0, &got);
    ASSERT_EQ(wantRc, gotRc) << probe;
    if (wantRc == 0) {
      EXPECT_EQ(want, got) << probe;
      EXPECT_EQ(byRecord.record, byText.record) << probe;
      found++;
    }
  }
  // The probes hit as well as missed.
  EXPECT_GT(found, 1000);
  t.close();
}

INSTANTIATE_TEST_SUITE_P(Modes, BtreeTextProbe, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<ProbeCase>& i) { return std::string(i.param.label); });

// Where a text cannot stand in for the key, nothing is searched and the
// caller is told to use a key record.
TEST(BtreeTextProbeFit, OtherIndexesAndTextsAreLeftToKeyRecords) {
  TableDb t("probe_fit.tvdb");
  auto proto = namedTable(kCases[0]);
  ASSERT_EQ(0, proto->addIndex("name_hash", BT_INDEX_BLOCK_HASH, 1, 31, 0, 0, "name"));
  ASSERT_EQ(0, proto->addIndex("note_tree", BT_INDEX_BTREE, 32, 0, 0, 0, "note", "name"));
  ASSERT_TRUE(t.create(proto.get()));
  ASSERT_EQ(0, t.insert({7, "alpha", "beta", 1}));
  uint64_t value = 99;
  auto byText = [&](const char* index, const std::string& text) {
    btIndexIterator it(getIndex(t.db.get(), t.table, index));
    return findUnsignedByText(t.db.get(), t.table, &it, text.data(), static_cast<uint32_t>(text.size()), 0,
                              &value);
  };
  EXPECT_EQ(BT_STATUS_UNSUPPORTED, byText("name_hash", "alpha"));
  EXPECT_EQ(BT_STATUS_UNSUPPORTED, byText("note_tree", "beta"));  // two parts
  EXPECT_EQ(BT_STATUS_UNSUPPORTED, byText("name_index", ""));
  EXPECT_EQ(BT_STATUS_UNSUPPORTED, byText("name_index", std::string(61, 'a')));  // wider than the field
  EXPECT_EQ(99u, value);
  ASSERT_EQ(0, byText("name_index", "ALPHA"));
  EXPECT_EQ(7u, value);
  EXPECT_EQ(BT_STATUS_NOT_FOUND, byText("name_index", std::string(60, 'a')));
  t.close();
}

}  // namespace
