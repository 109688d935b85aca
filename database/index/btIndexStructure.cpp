#include "database/index/btIndexStructure.h"

#include "database/btDatabase.h"
#include "database/btFieldCompare.h"
#include "database/btStatus.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"
#include "database/index/btBlockHashTable.h"
#include "database/index/btBtreeIndex.h"
#include "database/index/btIndexIterator.h"
#include "database/index/btIndexLock.h"
#include "database/index/btLargeHashTable.h"
#include "database/index/btSmallHashTable.h"

namespace {

struct KindRow {
  const char* text;
  int8_t target;
};

// One row per kind code, in code order; the last row answers for any
// larger code.
constexpr KindRow kKinds[] = {
    {"B-tree", -1},
    {"sorted array", -1},
    {"memory hash table", -1},
    {"small hash table", -1},
    {"block hash table", -1},
    {"trie", -1},
    {"suffix tree", -1},
    {"hash -> block hash", 4},
    {"hash -> B-tree", 0},
    {"large hash table", -1},
    {"hash -> large hash", 9},
    {"hash -> sorted array", 1},
    {"array -> B-tree", 0},
    {"memory array -> sorted array", 1},
    {"memory array -> B-tree", 0},
    {"memory array -> sorted -> B-tree", 12},
    {"memory array", -1},
    {"small hash -> large hash", 9},
    {"(undefined)", -1},
};
constexpr uint32_t kKindRows = sizeof kKinds / sizeof kKinds[0];

void destroy(btIndexStructure* s) { delete s; }

// The structure class that serves a kind, by its own kind code, or -1.
int32_t servingKind(uint32_t kind) {
  switch (kind) {
    case 0: return 0;
    case 1: case 12: return 1;
    case 2: case 7: case 8: case 10: case 11: return 2;
    case 3: case 17: return 3;
    case 4: return 4;
    case 9: return 9;
    case 13: case 14: case 15: case 16: return 1;
    default: return -1;
  }
}

// Constructs the structure of a kind. The sorted arrays and the memory
// hash table are not built yet and give null with BT_STATUS_UNSUPPORTED;
// memory kinds will be filled by their own rebuild here once they exist.
btIndexStructure* construct(btIndexDefinition* d, int32_t* status) {
  switch (d->indexType) {
    case 0: return new btBtreeIndex(d);
    case 3: case 17: return new btSmallHashTable(d);
    case 4: return new btBlockHashTable(d);
    case 9: return new btLargeHashTable(d);
    default:
      *status = BT_STATUS_UNSUPPORTED;
      return nullptr;
  }
}

}  // namespace

const char* btIndexKindText(uint32_t kind) {
  return kKinds[kind < kKindRows ? kind : kKindRows - 1].text;
}

int32_t btIndexKindTarget(uint32_t kind) {
  return kind < kKindRows ? kKinds[kind].target : -1;
}

btDatabase* btIndexStructure::database() const {
  btTableInfo* t = table();
  return t ? t->database : nullptr;
}

btCacheFile* btIndexStructure::cacheFile() const {
  btDatabase* db = database();
  return db ? db->getCacheFile() : nullptr;
}

int32_t btIndexStructure::checkReachable() const {
  if (!definition_) return BT_STATUS_NO_INDEX_ROOT;
  if (!definition_->owner) return BT_STATUS_NO_TABLE;
  btDatabase* db = definition_->owner->database;
  if (!db || !db->isOpen()) return BT_STATUS_NO_DATABASE;
  return 0;
}

bool btIndexStructure::isEmpty() {
  btTableInfo* t = table();
  return !t || t->hdr.recordCount == 0;
}

int32_t btIndexStructure::flush(btCacheFile*, btDatabase*, void*) { return 0; }

int32_t btIndexStructure::rebuild() {
  int32_t rc = checkReachable();
  if (rc < 0) return rc;
  btTableInfo* t = table();
  btIndexLock lock(t->database, true);
  if (t->hdr.recordCount == 0) return 0;
  int32_t last = 0;
  if (t->hasChain()) {
    uint64_t steps = 0;
    for (btSeek s = t->hdr.firstRecord; s; steps++) {
      if (steps > t->hdr.recordCount) break;  // a loop in the chain
      btStoredRecord r;
      r.table = t;
      rc = loadSlotObject(&r, t->database->getCacheFile(), s, false);
      if (rc < 0) return rc;
      btIndexIterator it(definition_);
      int32_t inserted = insertKey(&it, &r, s);
      if (inserted) last = inserted;
      if (r.storedSize() < 8) break;
      s = btReadAddress(btGet32(r.image));  // chain slot 0: next record
    }
    return last;
  }
  // Without a record chain another persistent, open and current index
  // lists the records.
  for (uint32_t i = 0; i < t->indexCount(); i++) {
    btIndexDefinition* other = t->index(i);
    if (other == definition_ || !other->structure) continue;
    if (!btIndexDefinition::isPersistentKind(other->indexType)) continue;
    if (other->openedRoot != other->root) continue;
    btIndexIterator walk(other);
    for (rc = other->structure->first(&walk); rc == 0; rc = other->structure->next(&walk)) {
      btStoredRecord r;
      rc = btLoadIndexRecord(other, walk.record, &r);
      if (rc < 0) return rc;
      btIndexIterator it(definition_);
      int32_t inserted = insertKey(&it, &r, walk.record);
      if (inserted) last = inserted;
    }
    return last;
  }
  return BT_STATUS_NO_REBUILD_SOURCE;
}

int32_t btIndexStructure::removeAll(btIndexIterator* it) {
  int32_t rc = first(it);
  if (rc < 0) return rc == BT_STATUS_NOT_FOUND ? 0 : rc;
  int32_t last = 0;
  while (true) {
    btSeek before = it->record;
    rc = removeCurrent(it);
    if (rc) last = rc;
    if (rc < 0) break;
    if (it->record != before || !it->record) {
      if (first(it) < 0) break;
    }
  }
  return last == BT_STATUS_NOT_FOUND ? 0 : last;
}

namespace {

int32_t stepEqual(btIndexStructure* s, btIndexIterator* it, bool forward) {
  btIndexDefinition* d = s->definition();
  if (!it->record) return BT_STATUS_NOT_FOUND;
  btStoredRecord old;
  int32_t rc = btLoadIndexRecord(d, it->record, &old);
  if (rc < 0) return rc;
  rc = forward ? s->next(it) : s->previous(it);
  if (rc < 0) return rc;
  btStoredRecord now;
  rc = btLoadIndexRecord(d, it->record, &now);
  if (rc < 0) return rc;
  return compareKeys(&old, &now, d) == 0 ? 0 : BT_STATUS_NOT_FOUND;
}

}  // namespace

int32_t btIndexStructure::nextEqual(btIndexIterator* it) { return stepEqual(this, it, true); }
int32_t btIndexStructure::previousEqual(btIndexIterator* it) { return stepEqual(this, it, false); }

int32_t btIndexStructure::previousKey(btIndexIterator*) { return BT_STATUS_WRONG_FIELD_TYPE; }
int32_t btIndexStructure::nextKey(btIndexIterator*) { return BT_STATUS_WRONG_FIELD_TYPE; }
int32_t btIndexStructure::seekAtLeast(btIndexIterator*, const btStoredRecord*) {
  return BT_STATUS_WRONG_FIELD_TYPE;
}
int32_t btIndexStructure::seekAtMost(btIndexIterator*, const btStoredRecord*) {
  return BT_STATUS_WRONG_FIELD_TYPE;
}
int32_t btIndexStructure::seekAbove(btIndexIterator*, const btStoredRecord*) {
  return BT_STATUS_WRONG_FIELD_TYPE;
}
int32_t btIndexStructure::seekBelow(btIndexIterator*, const btStoredRecord*) {
  return BT_STATUS_WRONG_FIELD_TYPE;
}

int32_t btIndexStructure::unlinkDuplicate(btIndexIterator* it, btStoredRecord*, btSeek seek) {
  btSeek head = 0;
  return it->unlinkDuplicate(seek, false, &head);
}

btIndexStructure* structureOfChecked(btIndexDefinition* d, int32_t* status) {
  int32_t local = 0;
  if (!status) status = &local;
  *status = 0;
  if (!d) {
    *status = BT_STATUS_NO_INDEX_ROOT;
    return nullptr;
  }
  bool persistent = btIndexDefinition::isPersistentKind(d->indexType);
  if (d->structure && (!persistent || d->openedRoot == d->root)) {
    if (static_cast<int32_t>(d->structure->indexKind()) == servingKind(d->indexType)) {
      d->servedType = d->indexType;
      return d->structure;
    }
  }
  if (d->structure) {
    uint32_t own = d->structure->indexKind();
    bool keep = static_cast<int32_t>(own) == servingKind(d->indexType);
    if (own == BT_INDEX_MEMORY_HASH && d->indexType == BT_INDEX_MEMORY_HASH) keep = true;
    if (!keep) d->releaseStructure();
  }
  if (d->structure) {
    if (!persistent) return d->structure;
    if (!d->root) {
      *status = BT_STATUS_NO_INDEX_ROOT;
      return nullptr;
    }
    int32_t rc = d->structure->reopen();
    if (rc < 0) {
      *status = rc;
      return nullptr;
    }
    d->openedRoot = d->root;
    d->servedType = d->indexType;
    return d->structure;
  }
  if (servingKind(d->indexType) < 0) {
    *status = BT_STATUS_UNSUPPORTED;
    return nullptr;
  }
  if (persistent && !d->root) {
    *status = BT_STATUS_NO_INDEX_ROOT;
    return nullptr;
  }
  btIndexStructure* s = construct(d, status);
  if (!s) return nullptr;
  d->structure = s;
  d->destroyStructure = destroy;
  s->setDefinition(d);
  int32_t rc = s->reopen();
  if (rc < 0) {
    d->releaseStructure();
    *status = rc;
    return nullptr;
  }
  d->openedRoot = d->root;
  d->servedType = d->indexType;
  return s;
}

int32_t createIndexStructure(btDatabase* db, btIndexDefinition* d) {
  if (!d) return BT_STATUS_NO_INDEX_ROOT;
  if (!db) return BT_STATUS_NO_DATABASE;
  switch (d->indexType) {
    case 0: return btBtreeIndex::create(db, d);
    case 3: case 17: return btSmallHashTable::create(db, d);
    case 4: return btBlockHashTable::create(db, d);
    case 9: return btLargeHashTable::create(db, d);
    default: return BT_STATUS_UNSUPPORTED;
  }
}
