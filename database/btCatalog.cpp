#include "database/btCatalog.h"

#include <cstring>

#include "database/btBlockStorage.h"
#include "database/btCacheFile.h"
#include "database/btDatabase.h"
#include "database/btStatus.h"
#include "database/btTableInfo.h"
#include "text/cmStringCompare.h"

void btCatalog::clear() {
  for (int64_t i = 0; i < tables_.size(); i++) {
    if (database_) database_->unregisterChainOwner(tables_[i]);
    delete tables_[i];
  }
  tables_.clear(true);
}

void btCatalog::append(btSeek position) {
  btTableInfo* t = new btTableInfo(database_);
  t->position = position;
  tables_.append(static_cast<btTableInfo*&&>(t));
  if (database_) database_->registerChainOwner(t);
}

void btCatalog::rebuild() {
  clear();
  if (!database_) return;
  const btDatabaseHeader& h = database_->header();
  for (uint32_t i = 0; i < h.tableCount && i < BT_MAX_TABLES; i++) append(h.tables[i]);
}

int32_t btCatalog::bind(btTableInfo* t, bool force) {
  if (!force && t->image) return 0;
  btCacheFile* cf = database_ ? database_->getCacheFile() : nullptr;
  if (!cf || !cf->cache || !t->position) return BT_STATUS_NO_DATABASE;
  int32_t rc = loadObject(t, cf, t->position, force, 0, true);
  // A damaged image must not pass for a loaded table next time.
  if (rc < 0) t->releaseImage();
  return rc;
}

btTableInfo* btCatalog::table(uint32_t number) {
  if (number >= count()) return nullptr;
  btTableInfo* t = tables_[number];
  return bind(t, false) < 0 ? nullptr : t;
}

btTableInfo* btCatalog::tableAt(btSeek position) {
  for (int64_t i = 0; i < tables_.size(); i++)
    if (tables_[i]->position == position) return table(static_cast<uint32_t>(i));
  return nullptr;
}

btTableInfo* btCatalog::find(const char* name) {
  if (!name) return nullptr;
  size_t n = std::strlen(name);
  for (uint32_t i = 0; i < count(); i++) {
    btTableInfo* t = table(i);
    if (!t) continue;
    const char* stored = t->name();
    if (cmStringCompare::equalFolded(stored, std::strlen(stored), name, n)) return t;
  }
  return nullptr;
}

int32_t addTable(btDatabase* db, btTableInfo* info) {
  if (!db || !db->isOpen()) return BT_STATUS_NO_DATABASE;
  if (!info || !info->image) return BT_STATUS_NO_TABLE;
  btDatabase::Lock lock(db, true);
  if (db->isReadOnly()) return BT_STATUS_READ_ONLY;
  btCacheFile* cf = db->getCacheFile();
  btCatalog* catalog = db->catalog();

  // A working copy over a private image, checked against this database.
  btTableInfo copy(db);
  uint32_t size = info->storedSize();
  int32_t rc = ensureImage(&copy, size);
  if (rc < 0) return rc;
  std::memcpy(copy.image, info->image, size);
  rc = copy.unpack();
  if (rc < 0) return rc;

  btCacheLockGuard cacheLock(cf->cache);
  if (catalog->find(copy.name())) return BT_STATUS_DUPLICATE_TABLE;
  btSeek position = 0;
  rc = placeCatalogueObject(db, cf, &copy, &position, nullptr);
  if (rc < 0) return rc;
  btDatabaseHeader& h = db->mutableHeader();
  if (h.tableCount >= BT_MAX_TABLES) return BT_STATUS_TOO_MANY_TABLES;
  h.tables[h.tableCount++] = position;
  btSeek oldTail = h.lastTable;
  h.lastTable = position;
  if (!oldTail) h.firstTable = position;
  db->commitHeader();
  catalog->append(position);

  rc = loadObject(&copy, cf, position, true, 0, true);
  if (rc < 0) return rc;
  copy.setNextTable(0);
  copy.setPrevTable(oldTail);
  if (oldTail) {
    btTableInfo* tail = catalog->tableAt(oldTail);
    if (!tail) return BT_STATUS_BAD_ADDRESS;
    tail->setNextTable(position);
  }
  copy.setFreeRecordHead(0);
  copy.setFirstRecord(0);
  copy.setRecordCount(0);
  copy.setLastRecord(0);
  db->noteChange();

  for (uint32_t i = 0; i < copy.indexCount(); i++) {
    rc = createIndexRoot(db, &copy, i);
    if (rc < 0) return rc;
  }
  if (!getTable(db, copy.name())) return BT_STATUS_TABLE_NOT_LOADED;
  return 0;
}

btTableInfo* getTable(btDatabase* db, const char* name) {
  if (!db || !name || !db->isOpen()) return nullptr;
  btDatabase::Lock lock(db, false);
  btTableInfo* t = db->catalog()->find(name);
  if (!t) return nullptr;
  // Forced, so that the caller sees what the block holds now.
  if (loadObject(t, db->getCacheFile(), t->position, true, 0, true) < 0) {
    t->releaseImage();
    return nullptr;
  }
  return t;
}

btIndexDefinition* getIndex(btDatabase* db, btTableInfo* table, const char* name) {
  (void)db;
  if (!table) return nullptr;
  int32_t i = table->indexNumber(name);
  return i < 0 ? nullptr : table->index(static_cast<uint32_t>(i));
}

int32_t fieldIndex(const btTableInfo* table, const char* name) {
  return table ? table->fieldIndex(name) : BT_STATUS_NO_SUCH_FIELD;
}

int32_t indexNumber(const btTableInfo* table, const char* name) {
  return table ? table->indexNumber(name) : BT_STATUS_NO_SUCH_INDEX;
}
