// The catalogue: tables added to a database, found again by name after a
// close and reopen, the table list in the header, and addTable's results.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "DbTestFiles.h"
#include "database/btCatalog.h"
#include "database/btDatabase.h"
#include "database/btFieldType.h"
#include "database/btStatus.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"

namespace {

constexpr uint64_t kBudget = 0x100000;

std::unique_ptr<btTableInfo> sampleTable(const std::string& name) {
  auto t = std::make_unique<btTableInfo>(name.c_str(), 0);
  EXPECT_EQ(0, t->addField("id", BT_FIELD_UINT, 1, 2));
  EXPECT_EQ(0, t->addField("label", BT_FIELD_STRING, 1000, 0));
  EXPECT_EQ(0, t->addField("when", BT_FIELD_CMDATE, 1, 0));
  EXPECT_EQ(0, t->addIndex("id_hash", 4, 2, 500000, 0, 0, "id"));
  EXPECT_EQ(0, t->addIndex("label_tree", 0, 33, 0, 0, 0, "label"));
  return t;
}

// Field and index definitions as bytes: they must come back as stored,
// except what creating the structures fills in: the roots, and the order
// that a B-tree computes into its threshold.
std::string definitions(const btTableInfo& t) {
  std::string image(reinterpret_cast<const char*>(t.image), t.storedSize());
  for (uint32_t i = 0; i < t.indexCount(); i++) {
    size_t at = t.indexImageOffset(i);
    image.replace(at + 28, 12, 12, '\0');
    if (t.index(i)->indexType == 0) image.replace(at + 20, 4, 4, '\0');
  }
  return image.substr(2 * btTableInfo::kUnit);
}

TEST(TableCatalog, TablesAreFoundByNameAfterReopen) {
  std::string path = dbTestPath("catalog_reopen.tvdb");
  auto a = sampleTable("alpha");
  auto b = sampleTable("beta");
  ASSERT_EQ(0, b->addField("extra", BT_FIELD_UTF8, 50, 0));
  {
    btDatabase db;
    ASSERT_EQ(0, db.createDatabase(path.c_str(), "CACHE_DATABASE", 8192, kBudget, 1, 1));
    ASSERT_EQ(0, addTable(&db, a.get()));
    ASSERT_EQ(0, addTable(&db, b.get()));
    btTableInfo* found = getTable(&db, "ALPHA");
    ASSERT_NE(nullptr, found);
    EXPECT_EQ(definitions(*a), definitions(*found));
    EXPECT_EQ(0, db.closeDatabase());
  }
  btDatabase db;
  ASSERT_EQ(0, db.openDatabase(path.c_str(), kBudget, 0, 1, 1));
  EXPECT_EQ(nullptr, getTable(&db, "gamma"));
  btTableInfo* beta = getTable(&db, "Beta");
  ASSERT_NE(nullptr, beta);
  EXPECT_EQ(std::string("beta"), beta->name());
  EXPECT_EQ(definitions(*b), definitions(*beta));
  EXPECT_EQ(4u, beta->fieldCount());
  EXPECT_EQ(3, fieldIndex(beta, "EXTRA"));
  EXPECT_EQ(BT_STATUS_NO_SUCH_FIELD, fieldIndex(beta, "missing"));
  EXPECT_EQ(1, indexNumber(beta, "label_tree"));
  btIndexDefinition* tree = getIndex(&db, beta, "LABEL_TREE");
  ASSERT_NE(nullptr, tree);
  EXPECT_EQ(33, tree->indexFlags);
  EXPECT_NE(0u, tree->root);  // created by addTable
  EXPECT_NE(0u, getIndex(&db, beta, "id_hash")->root);
  EXPECT_EQ(nullptr, getIndex(&db, beta, "nope"));
  EXPECT_EQ(3u, beta->linkSlots());  // the chain, id_hash, and label_tree with duplicates
  EXPECT_EQ(0u, beta->hdr.recordCount);

  // Records built on a stored table get its layout.
  btStoredRecord r;
  ASSERT_EQ(0, initRecord(&r, beta));
  EXPECT_EQ(3 * 8u + 2 * 2u + 12u, r.size);
  EXPECT_EQ(0, db.closeDatabase());
}

TEST(TableCatalog, HeaderListsAndLinksTablesInCreationOrder) {
  std::string path = dbTestPath("catalog_links.tvdb");
  {
    btDatabase db;
    ASSERT_EQ(0, db.createDatabase(path.c_str(), "T", 8192, kBudget, 1, 1));
    for (const char* n : {"one", "two", "three"}) ASSERT_EQ(0, addTable(&db, sampleTable(n).get()));
    EXPECT_EQ(0, db.closeDatabase());
  }
  std::vector<uint8_t> f = readFileBytes(path);
  ASSERT_EQ(3, le16(f, 50));
  uint32_t pos[3] = {le32(f, 52), le32(f, 56), le32(f, 60)};
  EXPECT_EQ(0u, le32(f, 64));
  EXPECT_EQ(pos[0], le32(f, 324));  // firstTable
  EXPECT_EQ(pos[2], le32(f, 328));  // lastTable
  const char* names[] = {"one", "two", "three"};
  for (int i = 0; i < 3; i++) {
    SCOPED_TRACE(names[i]);
    ASSERT_LT(pos[i] + 96u, f.size());
    EXPECT_EQ(std::string(names[i]), reinterpret_cast<const char*>(&f[pos[i] + 32]));
    EXPECT_EQ(i < 2 ? pos[i + 1] : 0u, le32(f, pos[i]));      // nextTable
    EXPECT_EQ(i > 0 ? pos[i - 1] : 0u, le32(f, pos[i] + 4));  // prevTable
    EXPECT_EQ(3, le16(f, pos[i] + 8));
    EXPECT_EQ(2, le16(f, pos[i] + 10));
  }
  // The first catalogue block is the rest of block 0.
  EXPECT_LT(pos[0], 8192u);
  EXPECT_GE(pos[0], 512u);
}

TEST(TableCatalog, AddTableResults) {
  std::string path = dbTestPath("catalog_results.tvdb");
  btDatabase db;
  ASSERT_EQ(0, db.createDatabase(path.c_str(), "T", 8192, kBudget, 1, 1));
  auto t = sampleTable("dup");
  ASSERT_EQ(0, addTable(&db, t.get()));
  EXPECT_EQ(BT_STATUS_DUPLICATE_TABLE, addTable(&db, sampleTable("DUP").get()));
  EXPECT_EQ(1, db.header().tableCount);

  // A kind without a stored form fails after placement: the table stays.
  btTableInfo trie("trie", 0);
  ASSERT_EQ(0, trie.addField("k", BT_FIELD_STRING, 10, 0));
  ASSERT_EQ(0, trie.addIndex("k_trie", 5, 0, 0, 0, 0, "k"));
  EXPECT_EQ(BT_STATUS_UNSUPPORTED, addTable(&db, &trie));
  EXPECT_NE(nullptr, getTable(&db, "trie"));

  btTableInfo wide("wide", 0);
  ASSERT_EQ(0, wide.addField("big", BT_FIELD_UCHAR, 255, 0));
  for (int i = 0; i < 40; i++)
    ASSERT_EQ(0, wide.addField(("u" + std::to_string(i)).c_str(), BT_FIELD_UCHAR, 200, 0));
  EXPECT_EQ(BT_STATUS_BAD_TABLE_INFO, addTable(&db, &wide));  // fixed part not below B
  EXPECT_EQ(nullptr, getTable(&db, "wide"));
  EXPECT_EQ(0, db.closeDatabase());

  btDatabase ro;
  ASSERT_EQ(0, ro.openDatabase(path.c_str(), kBudget, 1, 0, 1));
  EXPECT_EQ(BT_STATUS_READ_ONLY, addTable(&ro, sampleTable("later").get()));
  EXPECT_NE(nullptr, getTable(&ro, "dup"));
  EXPECT_EQ(0, ro.closeDatabase());
  btDatabase closed;
  EXPECT_EQ(BT_STATUS_NO_DATABASE, addTable(&closed, t.get()));
  EXPECT_EQ(nullptr, getTable(&closed, "dup"));
}

TEST(TableCatalog, SixtyFifthTableIsRefusedButItsImageStays) {
  std::string path = dbTestPath("catalog_full.tvdb");
  btDatabase db;
  ASSERT_EQ(0, db.createDatabase(path.c_str(), "T", 8192, kBudget, 1, 1));
  for (int i = 0; i < 64; i++) {
    btTableInfo t(("t" + std::to_string(i)).c_str(), 0);
    ASSERT_EQ(0, t.addField("n", BT_FIELD_UINT, 1, 0));
    ASSERT_EQ(0, addTable(&db, &t)) << i;
  }
  uint64_t sizeBefore = db.logicalFileSize();
  btTableInfo last("t64", 0);
  ASSERT_EQ(0, last.addField("n", BT_FIELD_UINT, 1, 0));
  EXPECT_EQ(BT_STATUS_TOO_MANY_TABLES, addTable(&db, &last));
  EXPECT_EQ(64, db.header().tableCount);
  EXPECT_EQ(nullptr, getTable(&db, "t64"));
  ASSERT_NE(nullptr, getTable(&db, "t63"));
  EXPECT_EQ(0, db.closeDatabase());

  // The refused image was placed in a catalogue block all the same.
  std::vector<uint8_t> f = readFileBytes(path);
  bool found = false;
  for (size_t i = 0; i + 4 < f.size() && !found; i++) found = std::memcmp(&f[i], "t64", 4) == 0;
  EXPECT_TRUE(found);
  EXPECT_GE(f.size(), sizeBefore);

  btDatabase again;
  ASSERT_EQ(0, again.openDatabase(path.c_str(), kBudget, 0, 1, 1));
  for (int i = 0; i < 64; i += 9) EXPECT_NE(nullptr, getTable(&again, ("T" + std::to_string(i)).c_str()));
  EXPECT_EQ(0, again.closeDatabase());
}

TEST(TableCatalog, SmallBlocksAllocateTheFirstCatalogueBlock) {
  std::string path = dbTestPath("catalog_512.tvdb");
  {
    btDatabase db;
    ASSERT_EQ(0, db.createDatabase(path.c_str(), "T", 512, kBudget, 1, 1));
    EXPECT_EQ(0u, db.header().catalogueBlockHead);
    btTableInfo t("small", 0);
    ASSERT_EQ(0, t.addField("n", BT_FIELD_UINT, 1, 0));
    ASSERT_EQ(0, addTable(&db, &t));
    EXPECT_NE(0u, db.header().catalogueBlockHead);
    EXPECT_EQ(0, db.closeDatabase());
  }
  btDatabase db;
  ASSERT_EQ(0, db.openDatabase(path.c_str(), kBudget, 0, 1, 1));
  btTableInfo* t = getTable(&db, "small");
  ASSERT_NE(nullptr, t);
  EXPECT_EQ(1u, t->fieldCount());
  EXPECT_EQ(0, db.closeDatabase());
}

TEST(TableCatalog, OlderFormatsKeepNoIndexLinks) {
  std::string path = dbTestPath("catalog_v1500.tvdb");
  {
    btDatabase db;
    ASSERT_EQ(0, db.createDatabase(path.c_str(), "T", 8192, kBudget, 1, 1));
    ASSERT_EQ(0, addTable(&db, sampleTable("old").get()));
    EXPECT_EQ(2u, getTable(&db, "old")->indexLinkCount);
    EXPECT_EQ(0, db.closeDatabase());
  }
  std::vector<uint8_t> f = readFileBytes(path);
  put16(f, 4, 1500);
  writeFileBytes(path, f);
  btDatabase db;
  ASSERT_EQ(0, db.openDatabase(path.c_str(), kBudget, 1, 0, 1));
  btTableInfo* t = getTable(&db, "old");
  ASSERT_NE(nullptr, t);
  EXPECT_EQ(0u, t->indexLinkCount);
  EXPECT_EQ(1u, t->linkSlots());
  EXPECT_EQ(0, db.closeDatabase());
}

TEST(TableCatalog, DamagedTableImagesAreRefused) {
  std::string path = dbTestPath("catalog_bad.tvdb");
  {
    btDatabase db;
    ASSERT_EQ(0, db.createDatabase(path.c_str(), "T", 8192, kBudget, 1, 1));
    ASSERT_EQ(0, addTable(&db, sampleTable("t").get()));
    EXPECT_EQ(0, db.closeDatabase());
  }
  std::vector<uint8_t> good = readFileBytes(path);
  uint32_t pos = le32(good, 52);
  struct Damage {
    const char* what;
    uint32_t offset;
    uint32_t value;
  } damages[] = {
      {"record chain past the end", 24, 0x100000},
      {"next table past the end", 0, 0x100000},
      {"fixed part as large as a block", 12, 8192},
      {"field count past the block", 8, 1000},
  };
  for (const Damage& d : damages) {
    SCOPED_TRACE(d.what);
    std::vector<uint8_t> f = good;
    if (d.offset == 8) put16(f, pos + 8, static_cast<uint16_t>(d.value));
    else put32(f, pos + d.offset, d.value);
    writeFileBytes(path, f);
    btDatabase db;
    ASSERT_EQ(0, db.openDatabase(path.c_str(), kBudget, 1, 0, 1));
    EXPECT_EQ(nullptr, getTable(&db, "t"));
    EXPECT_EQ(nullptr, db.catalog()->table(0));  // not taken for loaded later
    EXPECT_EQ(nullptr, getTable(&db, "t"));
    EXPECT_EQ(0, db.closeDatabase());
  }
}

}  // namespace
