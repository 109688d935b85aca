// The ten tables of the version cache, described with addField/addIndex,
// stored with addTable in their order of creation, and read back
// identically after the database is closed and reopened.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "DbTestFiles.h"
#include "database/btCatalog.h"
#include "database/btDatabase.h"
#include "database/btStatus.h"
#include "database/btTableInfo.h"

namespace {

struct SchemaField {
  const char* name;
  uint32_t type;
  uint32_t size;
  uint8_t flags;
};

struct SchemaIndex {
  const char* name;
  uint8_t kind;
  uint8_t flags;
  uint32_t threshold;
  const char* key;
};

struct SchemaTable {
  const char* name;
  std::vector<SchemaField> fields;
  std::vector<SchemaIndex> indexes;
};

constexpr uint32_t S = 0, U = 8, D = 21;  // string, uint, cmdate

std::vector<SchemaTable> versionCacheSchema() {
  return {
      {"repository", {{"path", S, 1000, 2}, {"last_update_time", D, 1, 0}, {"db_version", U, 1, 0}}, {}},
      {"file",
       {{"file_id", U, 1, 2}, {"file_spec", S, 1000, 0}, {"last_update_time", D, 1, 0}},
       {{"file_id_hash", 4, 2, 500000, "file_id"}, {"file_spec_tree", 0, 32, 0, "file_spec"}}},
      {"revision",
       {{"revision_id", U, 1, 2}, {"parent_branch_id", U, 1, 0}, {"revision_number", S, 1000, 0},
        {"revision_time_stamp", D, 1, 0}, {"revision_author", S, 1000, 0}, {"revision_comments", S, 5000, 0}},
       {{"revision_id_hash", 4, 2, 5000000, "revision_id"},
        {"revision_number_tree", 0, 16, 0, "revision_number"}}},
      {"branch",
       {{"branch_id", U, 1, 2}, {"parent_branch_id", U, 1, 0}, {"branch_number", S, 1000, 0},
        {"branch_copy_from_number", S, 1000, 0}, {"branch_time_stamp", D, 1, 0}, {"branch_name", S, 1000, 0},
        {"branch_author", S, 1000, 0}, {"branch_comments", S, 5000, 0}},
       {{"branch_id_hash", 4, 2, 500000, "branch_id"}, {"branch_name_tree", 0, 32, 0, "branch_name"}}},
      {"label",
       {{"label_id", U, 1, 2}, {"parent_branch_id", U, 1, 0}, {"label_number", S, 1000, 0},
        {"label_copy_from_number", S, 1000, 0}, {"label_time_stamp", D, 1, 0}, {"label_name", S, 1000, 0},
        {"label_author", S, 1000, 0}, {"label_comments", S, 5000, 0}},
       {{"label_id_hash", 4, 2, 500000, "label_id"}, {"label_name_tree", 0, 32, 0, "label_name"}}},
      {"file_revision_xref",
       {{"file_id", U, 1, 2}, {"revision_id", U, 1, 2}, {"revision_number", S, 1000, 0}},
       {{"file_id_hash", 4, 3, 5000000, "file_id"}, {"revision_id_hash", 4, 3, 5000000, "revision_id"}}},
      {"branch_revision_xref",
       {{"revision_id", U, 1, 2}, {"branch_id", U, 1, 2}, {"branch_number", S, 1000, 0},
        {"branch_time_stamp", D, 1, 0}},
       {{"revision_id_hash", 4, 3, 5000000, "revision_id"}, {"branch_id_hash", 4, 3, 5000000, "branch_id"}}},
      {"label_revision_xref",
       {{"revision_id", U, 1, 2}, {"label_id", U, 1, 2}, {"label_number", S, 1000, 0},
        {"label_time_stamp", D, 1, 0}},
       {{"revision_id_hash", 4, 3, 5000000, "revision_id"}, {"label_id_hash", 4, 3, 5000000, "label_id"}}},
      {"branch_exclusion",
       {{"branch_id", U, 1, 2}, {"type", S, 1000, 0}, {"name", S, 1000, 0}},
       {{"branch_id_hash", 4, 1, 50000000, "branch_id"}, {"name_tree", 0, 33, 0, "name"}}},
      {"label_exclusion",
       {{"label_id", U, 1, 2}, {"type", S, 1000, 0}, {"name", S, 1000, 0}},
       {{"label_id_hash", 4, 1, 5000000, "label_id"}, {"name_tree", 0, 33, 0, "name"}}},
  };
}

// Builds one table the way the cache creates it: fields, then indexes; the
// result is the negative step number of the first failing call, or 0.
int buildTable(const SchemaTable& s, btTableInfo* t) {
  int step = -200;
  for (const SchemaField& f : s.fields) {
    if (t->addField(f.name, f.type, f.size, f.flags) != 0) return step;
    step--;
  }
  for (const SchemaIndex& x : s.indexes) {
    if (t->addIndex(x.name, x.kind, x.flags, x.threshold, 0, 0, x.key) != 0) return step;
    step--;
  }
  return 0;
}

void expectMatchesSchema(const SchemaTable& s, const btTableInfo& t) {
  SCOPED_TRACE(s.name);
  EXPECT_EQ(std::string(s.name), t.name());
  EXPECT_EQ(0, t.tableFlags());
  ASSERT_EQ(s.fields.size(), t.fieldCount());
  for (uint32_t i = 0; i < t.fieldCount(); i++) {
    const btFieldDefinition* f = t.field(i);
    EXPECT_EQ(std::string(s.fields[i].name), f->name);
    EXPECT_EQ(s.fields[i].type, f->type);
    EXPECT_EQ(s.fields[i].size, f->size);
    uint8_t flags = s.fields[i].flags;
    for (const SchemaIndex& x : s.indexes)
      if ((x.flags & 2) && std::string(x.key) == s.fields[i].name) flags |= 2;
    EXPECT_EQ(flags, f->flags) << f->name;
  }
  ASSERT_EQ(s.indexes.size(), t.indexCount());
  for (uint32_t i = 0; i < t.indexCount(); i++) {
    const btIndexDefinition* x = t.index(i);
    EXPECT_EQ(std::string(s.indexes[i].name), x->name);
    EXPECT_EQ(s.indexes[i].kind, x->indexType);
    EXPECT_EQ(s.indexes[i].flags, x->indexFlags);
    if (!x->root || x->indexType != 0) {
      EXPECT_EQ(s.indexes[i].threshold, x->conversionCount);
    } else {
      EXPECT_NE(0u, x->conversionCount);  // the order, computed at creation
    }
    EXPECT_EQ(0u, x->arg5);
    EXPECT_EQ(0, x->arg6);
    ASSERT_EQ(1, x->partCount);
    EXPECT_EQ(static_cast<uint32_t>(t.fieldIndex(s.indexes[i].key)), x->partField(0));
    EXPECT_EQ(0, x->partMode(0));
  }
}

// addTable fills in the list links, each index's roots, and a B-tree's
// order in its threshold; everything else is stored as built.
bool sameExceptCreated(const std::string& built, const btTableInfo& stored) {
  std::string image(reinterpret_cast<const char*>(stored.image), stored.storedSize());
  if (image.size() != built.size()) return false;
  image.replace(0, 8, built, 0, 8);
  for (uint32_t i = 0; i < stored.indexCount(); i++) {
    size_t at = stored.indexImageOffset(i);
    image.replace(at + 28, 12, built, at + 28, 12);
    if (stored.index(i)->indexType == 0) image.replace(at + 20, 4, built, at + 20, 4);
  }
  return image == built;
}

TEST(TableSchema, VersionCacheTablesStoreAndReadBack) {
  std::string path = dbTestPath("version_cache_schema.tvdb");
  std::vector<SchemaTable> schema = versionCacheSchema();
  std::vector<std::string> images;
  {
    btDatabase db;
    ASSERT_EQ(0, db.createDatabase(path.c_str(), "CACHE_DATABASE", 8192, 0x1000000, 1, 1));
    db.setApplicationVersion(20000);
    db.setDescription("Tolvane Version Control Cache Database");
    for (const SchemaTable& s : schema) {
      btTableInfo t(s.name, 0);
      ASSERT_EQ(0, buildTable(s, &t)) << s.name;
      expectMatchesSchema(s, t);
      images.emplace_back(reinterpret_cast<const char*>(t.image), t.storedSize());
      ASSERT_EQ(0, addTable(&db, &t)) << s.name;
    }
    EXPECT_EQ(0, db.closeDatabase());
  }
  btDatabase db;
  ASSERT_EQ(0, db.openDatabase(path.c_str(), 0x1000000, 0, 1, 1));
  EXPECT_EQ(10, db.header().tableCount);
  for (size_t i = 0; i < schema.size(); i++) {
    btTableInfo* t = getTable(&db, schema[i].name);
    ASSERT_NE(nullptr, t) << schema[i].name;
    expectMatchesSchema(schema[i], *t);
    EXPECT_TRUE(sameExceptCreated(images[i], *t)) << schema[i].name;
    EXPECT_EQ(db.header().tables[i], t->position);
    for (uint32_t x = 0; x < t->indexCount(); x++) {
      const btIndexDefinition* d = t->index(x);
      EXPECT_NE(0u, d->root) << d->name;  // B-trees and block hash tables have stored roots
      EXPECT_NE(0u, d->firstNode) << d->name;
      EXPECT_NE(0u, d->lastNode) << d->name;
    }
  }
  // The key tables keep one link slot per unique hash index.
  EXPECT_EQ(2u, getTable(&db, "file")->linkSlots());
  EXPECT_EQ(3u, getTable(&db, "file_revision_xref")->linkSlots());
  EXPECT_EQ(1u, getTable(&db, "repository")->linkSlots());
  EXPECT_EQ(0, db.closeDatabase());
}

}  // namespace
