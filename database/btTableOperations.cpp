#include "database/btTableOperations.h"

#include "database/btRecordLinks.h"

#include <cstring>
#include <new>

#include "database/btBlockStorage.h"
#include "database/btDatabase.h"
#include "database/btFieldCompare.h"
#include "database/btFieldType.h"
#include "database/btStatus.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"
#include "database/index/btAbstractHashTable.h"
#include "database/index/btBtreeIndex.h"
#include "database/index/btBtreeTextProbe.h"
#include "database/index/btIndexIterator.h"
#include "database/index/btIndexStructure.h"

namespace {

// Placement hints handed to placeRecord: the chain's ends and the
// neighbours that clustering indexes suggest.
constexpr uint32_t kNearMax = 48;
// Indexes with the neighbour flag contribute only while the list is short.
constexpr uint32_t kClusterBelow = 19;
constexpr uint32_t kNeighboursPerIndex = 12;
// The first indexes keep their search position from the uniqueness check
// to the index update, so a unique index is searched once per insert.
// Tables with more indexes search the later ones again. The cache's tables
// have two; every insert builds this many iterators.
constexpr uint32_t kRememberedIndexes = 4;
// An in-place update may waste at most this many bytes of its slot.
constexpr uint32_t kInPlaceSlack = 64;

struct NearList {
  // Only the entries up to the terminating 0 are ever read.
  NearList() { seeks[0] = 0; }
  btSeek seeks[kNearMax + 1];
  uint32_t count = 0;

  void add(btSeek s) {
    if (!s || count >= kNearMax) return;
    seeks[count++] = s;
    seeks[count] = 0;
  }
};

// An iterator built only when it is needed. Its storage is left as it is
// until then: zeroing it for every insert showed in profiles, and most
// inserts search one index of two.
class LazyIterator {
 public:
  LazyIterator() {}
  ~LazyIterator() {
    if (built_) get()->~btIndexIterator();
  }
  LazyIterator(const LazyIterator&) = delete;
  LazyIterator& operator=(const LazyIterator&) = delete;

  btIndexIterator* build(btIndexDefinition* d) {
    if (built_) get()->~btIndexIterator();
    built_ = true;
    return new (storage_) btIndexIterator(d);
  }
  bool built() const { return built_; }
  btIndexIterator* get() { return std::launder(reinterpret_cast<btIndexIterator*>(storage_)); }

 private:
  alignas(btIndexIterator) unsigned char storage_[sizeof(btIndexIterator)];
  bool built_ = false;
};

// What the uniqueness pass leaves for the index pass.
struct IndexSearch {
  LazyIterator it;  // built once searched
  bool absent;      // the search said BT_STATUS_NOT_FOUND; set when built
};

btDatabase* databaseOf(btDatabase* given, btTableInfo* table) {
  return given ? given : table->database;
}

bool usable(btDatabase* db) { return db && db->isOpen() && db->getCacheFile()->cache; }

// Locks of a table operation in the engine's order: database, then cache.
class OperationLock {
 public:
  OperationLock(btDatabase* db, bool write) : db_(db, write), cache_(db->getCacheFile()->cache) {}

 private:
  btDatabase::Lock db_;
  btCacheLockGuard cache_;
};

// The on-disk hash tables (btAbstractHashTable): they add a record by its
// key's hash alone and can hand over the record a find compared last.
bool isOnDiskHash(uint32_t kind) {
  return kind == BT_INDEX_SMALL_HASH || kind == BT_INDEX_BLOCK_HASH || kind == BT_INDEX_LARGE_HASH;
}

int32_t checkRequired(const btTableInfo* table, const btStoredRecord* record) {
  for (uint32_t f = 0; f < table->fieldCount(); f++) {
    const btFieldDefinition* def = table->field(f);
    if ((def->flags & BT_FIELD_REQUIRED) && isNull(record, f)) return BT_STATUS_RECORD_REJECTED;
  }
  return 0;
}

// A private copy of `source` bound to `table`, which the operation may
// change without touching the caller's record or its block.
int32_t workingCopy(btTableInfo* table, const btStoredRecord* source, btStoredRecord* work) {
  int32_t rc = initRecord(work, table);
  if (rc < 0 || !source->image) return rc;
  rc = ensureImage(work, source->size);
  if (rc < 0) return rc;
  std::memcpy(work->image, source->image, source->size);
  return work->unpack();
}

int32_t bindStored(btTableInfo* table, btSeek seek, btStoredRecord* record) {
  record->table = table;
  return loadSlotObject(record, table->database->getCacheFile(), seek, false);
}

// Chain link words of slot 0.
btSeek chainNext(const btStoredRecord* r) { return btReadAddress(btGet32(r->image)); }
btSeek chainPrev(const btStoredRecord* r) { return btReadAddress(btGet32(r->image + 4)); }

int32_t writeChainWord(btTableInfo* table, btSeek seek, uint32_t offset, btSeek value) {
  btRecordLinks r;
  int32_t rc = r.bind(table, seek);
  if (rc < 0) return rc;
  if (!r.writable() || r.size() < 8) return BT_STATUS_BAD_ADDRESS;
  btPut32(r.image() + offset, value);
  r.markDirty();
  return 0;
}

// The largest value of an auto-number field's type, or 0 for types that
// cannot count.
uint64_t autoNumberMax(uint8_t type) {
  switch (type) {
    case BT_FIELD_UCHAR: return 0xFF;
    case BT_FIELD_CHAR: return 0x7F;
    case BT_FIELD_USHORT: return 0xFFFF;
    case BT_FIELD_SHORT: return 0x7FFF;
    case BT_FIELD_UINT: return 0xFFFFFFFFu;
    case BT_FIELD_INT: return 0x7FFFFFFF;
    case BT_FIELD_ULONG: return ~0ull;
    case BT_FIELD_LONG: return 0x7FFFFFFFFFFFFFFFull;
    case BT_FIELD_UINT24: return 0xFFFFFF;
    case BT_FIELD_UINT48: return 0xFFFFFFFFFFFFull;
    case BT_FIELD_BOOLEAN: return 1;
    default: return 0;
  }
}

int32_t writeAutoNumber(btStoredRecord* work, uint8_t type, uint64_t candidate) {
  if (type == BT_FIELD_BOOLEAN) candidate = candidate ? 2 : 1;
  return setFixedBits(work, 0, candidate);
}

// Gives field 0 of `work` the next value that its single-field index does
// not hold, counting on from the table's lastAutoNumber.
int32_t takeAutoNumber(btTableInfo* table, btStoredRecord* work) {
  const btFieldDefinition* f0 = table->field(0);
  if (!f0 || !(f0->flags & BT_FIELD_AUTONUMBER)) return BT_STATUS_NOT_AUTONUMBERED;
  btIndexDefinition* d = nullptr;
  for (uint32_t i = 0; i < table->indexCount() && !d; i++) {
    btIndexDefinition* c = table->index(i);
    if (c->partCount == 1 && c->partField(0) == 0) d = c;
  }
  uint64_t max = autoNumberMax(f0->type);
  if (!d || !max) return BT_STATUS_WRONG_FIELD_TYPE;
  btIndexStructure* s = structureOf(d);
  if (!s) return BT_STATUS_NO_INDEX_ROOT;
  uint64_t start = table->hdr.lastAutoNumber;
  if (start < table->hdr.recordCount) {
    btIndexIterator it(d);
    btStoredRecord last;
    if (s->last(&it) == 0 && btLoadIndexRecord(d, it.record, &last) == 0) {
      uint64_t v = getUnsigned(&last, 0);
      if (v > start) start = v;
    }
  }
  uint64_t candidate = start > max ? max : start;
  for (uint64_t tried = 0; tried < max; tried++) {
    candidate = candidate >= max ? 1 : candidate + 1;
    int32_t rc = writeAutoNumber(work, f0->type, candidate);
    if (rc < 0) return rc;
    btIndexIterator it(d);
    rc = s->find(&it, work, BT_FIND_ANY, false);
    if (rc == BT_STATUS_NOT_FOUND) {
      table->setLastAutoNumber(static_cast<uint32_t>(candidate));
      return 0;
    }
    if (rc < 0) return rc;
  }
  return BT_STATUS_KEY_VIOLATION;
}

int32_t deleteLocked(btTableInfo* table, btSeek seek) {
  btDatabase* db = table->database;
  btCacheFile* cf = db->getCacheFile();
  btStoredRecord rec;
  int32_t rc = bindStored(table, seek, &rec);
  if (rc < 0) return rc;
  if (!rec.block) return BT_STATUS_BAD_ADDRESS;

  // Each index that holds this very record lets it go; one that does not
  // (an insert rolled back before reaching it) is passed over.
  for (uint32_t i = 0; i < table->indexCount(); i++) {
    btIndexDefinition* d = table->index(i);
    btIndexStructure* s = structureOf(d);
    if (!s) continue;
    btIndexIterator it(d);
    if (s->find(&it, &rec, seek, true) != 0 || it.record != seek) continue;
    s->removeCurrent(&it);
  }

  if (table->hasChain()) {
    btSeek next = chainNext(&rec);
    btSeek prev = chainPrev(&rec);
    if (!prev) {
      table->setFirstRecord(next);
    } else if ((rc = writeChainWord(table, prev, 0, next)) < 0) {
      return rc;
    }
    if (!next) {
      table->setLastRecord(prev);
    } else if ((rc = writeChainWord(table, next, 4, prev)) < 0) {
      return rc;
    }
  }

  // Fixed-size records keep their slot on the free list, linked through
  // the first link slot; a table without link slots has no room for that.
  if (table->variableCount > 0 || table->linkSlots() == 0) {
    rec.releaseImage();
    rc = releaseSlot(db, cf, seek, table);
    if (rc < 0) return rc;
  } else {
    btPut32(rec.image, table->hdr.freeRecordHead);
    btPut32(rec.image + 4, 0);
    rec.markImageDirty();
    table->setFreeRecordHead(seek);
  }
  if (table->hdr.recordCount) table->setRecordCount(table->hdr.recordCount - 1);
  table->markImageDirty();
  return 0;
}

int32_t insertLocked(btDatabase* db, btTableInfo* table, btStoredRecord* record, btSeek* seekOut) {
  btCacheFile* cf = db->getCacheFile();
  NearList near;
  if (!(table->tableFlags() & BT_TABLE_PRIVATE_BLOCKS)) {
    near.add(table->hdr.firstRecord);
    if (table->hdr.lastRecord != table->hdr.firstRecord) near.add(table->hdr.lastRecord);
  }

  btStoredRecord work;
  int32_t rc = workingCopy(table, record, &work);
  if (rc < 0) return rc;

  const btFieldDefinition* f0 = table->field(0);
  if (f0 && (f0->flags & BT_FIELD_AUTONUMBER) && getUnsigned(&work, 0) == 0) {
    rc = takeAutoNumber(table, &work);
    if (rc < 0) return rc;
  }
  rc = checkRequired(table, &work);
  if (rc < 0) return rc;

  // Uniqueness, and neighbours for placement: nothing is written yet.
  uint32_t indexCount = table->indexCount();
  IndexSearch searches[kRememberedIndexes];
  for (uint32_t i = 0; i < indexCount; i++) {
    btIndexDefinition* d = table->index(i);
    btIndexStructure* s = structureOf(d);
    if (!s) continue;
    bool cluster = near.count < kClusterBelow && (d->indexFlags & BT_INDEX_NEIGHBOURS);
    bool unique = !d->allowsDuplicates();
    if (!unique && !cluster) continue;
    LazyIterator local;
    btIndexIterator* it = i < kRememberedIndexes ? searches[i].it.build(d) : local.build(d);
    rc = s->find(it, &work, BT_FIND_ANY, false);
    if (rc == 0 && unique) return BT_STATUS_KEY_VIOLATION;
    if (rc < 0 && rc != BT_STATUS_NOT_FOUND) return rc;
    if (i < kRememberedIndexes) searches[i].absent = rc == BT_STATUS_NOT_FOUND;
    if (cluster && it->isPositioned()) {
      uint32_t seeks[kNeighboursPerIndex];
      uint32_t n = 0;
      if (s->collectNeighbours(it, seeks, &n, kNeighboursPerIndex) == 0) {
        for (uint32_t k = 0; k < n; k++) near.add(seeks[k]);
      }
    }
  }

  // The new image: link slots cleared, then the chain's tail as `prev`.
  uint32_t linkBytes = table->linkSlots() * 8u;
  if (work.size < linkBytes) return BT_STATUS_OBJECT_OVERRUNS_BLOCK;
  std::memset(work.image, 0, linkBytes);
  btSeek oldLast = table->hdr.lastRecord;
  if (table->hasChain()) btPut32(work.image + 4, oldLast);

  btSeek seek = 0;
  btSeek freeHead = table->hdr.freeRecordHead;
  bool fromFreeList = !work.hasVariablePart() && freeHead && linkBytes > 0;
  if (!fromFreeList) {
    rc = placeRecord(db, cf, &work, &seek, nullptr, table, near.seeks);
    if (rc < 0) return rc;
  } else {
    btStoredRecord slot;
    rc = bindStored(table, freeHead, &slot);
    if (rc < 0) return rc;
    if (!slot.block || slot.size != work.size) return BT_STATUS_BAD_ADDRESS;
    btSeek nextFree = btReadAddress(btGet32(slot.image));
    std::memcpy(slot.image, work.image, work.size);
    slot.markImageDirty();
    table->setFreeRecordHead(nextFree);
    seek = freeHead;
  }

  if (table->hasChain() && oldLast) {
    rc = writeChainWord(table, oldLast, 0, seek);
    if (rc < 0) {
      // Placed but not chained: give the slot back where it came from.
      if (fromFreeList) {
        writeChainWord(table, seek, 0, table->hdr.freeRecordHead);
        table->setFreeRecordHead(seek);
      } else {
        releaseSlot(db, cf, seek, table);
      }
      return rc;
    }
  }
  // The header fields change together and the image is marked once.
  if (table->hasChain() && !oldLast) table->hdr.firstRecord = seek;
  table->hdr.recordCount++;
  table->hdr.lastRecord = seek;
  table->commitHeader();
  if (seekOut) *seekOut = seek;

  for (uint32_t i = 0; i < indexCount; i++) {
    btIndexDefinition* d = table->index(i);
    btIndexStructure* s = structureOf(d);
    if (!s) {
      deleteLocked(table, seek);
      if (seekOut) *seekOut = 0;
      return BT_STATUS_BAD_FIELD;
    }
    LazyIterator local;
    btIndexIterator* it;
    bool absent = false;
    if (i < kRememberedIndexes && searches[i].it.built()) {
      it = searches[i].it.get();
      absent = searches[i].absent;
    } else {
      it = local.build(d);
    }
    // The on-disk hash tables add a record by its key's hash alone, so a
    // duplicate chain needs no search first.
    bool byHash = isOnDiskHash(s->indexKind());
    if (!absent && !byHash) {
      // Positions the iterator for the insert; for an index with
      // duplicates, on the chain that the new record joins.
      rc = s->find(it, &work, BT_FIND_ANY, false);
      if (rc < -1 && rc != BT_STATUS_NOT_FOUND) {
        deleteLocked(table, seek);
        if (seekOut) *seekOut = 0;
        return rc;
      }
      if (it->record == seek) continue;
    }
    rc = s->insertKey(it, &work, seek);
    if (rc < 0) {
      deleteLocked(table, seek);
      if (seekOut) *seekOut = 0;
      return rc;
    }
  }
  table->markImageDirty();
  return 0;
}

}  // namespace

int32_t insertRecord(btDatabase* database, btTableInfo* table, btStoredRecord* record,
                     btSeek* seekOut) {
  if (seekOut) *seekOut = 0;
  if (!table) return BT_STATUS_NO_TABLE;
  btDatabase* db = databaseOf(database, table);
  if (!usable(db)) return BT_STATUS_NO_DATABASE;
  if (db->isReadOnly()) return BT_STATUS_READ_ONLY;
  if (!record) return BT_STATUS_NOT_READY;
  OperationLock lock(db, true);
  db->setDirty();
  return insertLocked(db, table, record, seekOut);
}

int32_t deleteRecord(btTableInfo* table, btSeek seek) {
  if (!table) return BT_STATUS_NO_TABLE;
  btDatabase* db = table->database;
  if (!usable(db)) return BT_STATUS_NO_DATABASE;
  if (db->isReadOnly()) return BT_STATUS_READ_ONLY;
  if (!seek) return BT_STATUS_NOT_FOUND;
  OperationLock lock(db, true);
  db->setDirty();
  return deleteLocked(table, seek);
}

int32_t updateRecord(btDatabase* database, btTableInfo* table, btStoredRecord* record,
                     btSeek* seekInOut) {
  if (!table) return BT_STATUS_NO_TABLE;
  btDatabase* db = databaseOf(database, table);
  if (!usable(db)) return BT_STATUS_NO_DATABASE;
  if (db->isReadOnly()) return BT_STATUS_READ_ONLY;
  if (!record || !record->image) return BT_STATUS_NOT_READY;
  btSeek seek = seekInOut && *seekInOut ? *seekInOut : record->seek;
  if (!seek) return BT_STATUS_BAD_ADDRESS;
  OperationLock lock(db, true);
  int32_t rc = checkRequired(table, record);
  if (rc < 0) return rc;
  // The caller's record must not be a view on the block about to change.
  if (record->block) {
    rc = detachObject(record);
    if (rc < 0) return rc;
  }
  db->setDirty();

  btStoredRecord stored;
  rc = bindStored(table, seek, &stored);
  if (rc < 0) return rc;
  if (!stored.block) return BT_STATUS_BAD_ADDRESS;
  bool inPlace = record->size <= stored.size && stored.size - record->size < kInPlaceSlack &&
                 record->size >= stored.fixedEnd();
  for (uint32_t i = 0; inPlace && i < table->indexCount(); i++) {
    if (compareKeys(record, &stored, table->index(i)) != 0) inPlace = false;
  }
  if (inPlace) {
    // The stored links stay: the chain and the indexes still hold the slot.
    uint32_t linkBytes = table->linkSlots() * 8u;
    std::memcpy(stored.image + linkBytes, record->image + linkBytes, record->size - linkBytes);
    stored.markImageDirty();
    if (seekInOut) *seekInOut = seek;
    return 0;
  }
  stored.releaseImage();
  rc = deleteLocked(table, seek);
  if (rc < 0 && rc != BT_STATUS_NOT_FOUND) return rc;
  btSeek moved = 0;
  rc = insertLocked(db, table, record, &moved);
  if (rc < 0) return rc;
  record->seek = moved;
  if (seekInOut) *seekInOut = moved;
  return 0;
}

int32_t loadRecord(btTableInfo* table, btStoredRecord* record, btSeek seek) {
  if (!table || !record) return BT_STATUS_NO_TABLE;
  btDatabase* db = table->database;
  if (!usable(db)) return BT_STATUS_NO_DATABASE;
  if (!seek) return BT_STATUS_NOT_FOUND;
  btCacheLockGuard lock(db->getCacheFile()->cache);
  // What initRecord would do before a load: let any old image go and take
  // the table; the load then replaces the image.
  record->returnBorrowedImage();
  record->releaseImage();
  record->table = table;
  int32_t rc = loadSlotObject(record, db->getCacheFile(), seek, false);
  if (rc < 0) return rc;
  return detachObject(record);
}

namespace {

enum class Step { find, next, nextEqual };

// With `field`, the found record is not handed out: its unsigned field
// `*field` is read in place, under the operation's lock, into `value`, and
// the record is left empty. That skips copying the record out of its block.
int32_t findStep(btDatabase* database, btTableInfo* table, btIndexIterator* iterator,
                 const btStoredRecord* key, btStoredRecord* record, Step step,
                 const uint32_t* field = nullptr, uint64_t* value = nullptr) {
  if (!table) return BT_STATUS_NO_TABLE;
  btDatabase* db = databaseOf(database, table);
  if (!usable(db)) return BT_STATUS_NO_DATABASE;
  if (!iterator || !iterator->definition || iterator->definition->owner != table)
    return BT_STATUS_NOT_FOUND;
  OperationLock lock(db, false);
  btIndexStructure* s = structureOf(iterator->definition);
  if (!s) return BT_STATUS_NOT_FOUND;
  int32_t rc;
  uint32_t kind = s->indexKind();
  bool byHash = isOnDiskHash(kind);
  switch (step) {
    case Step::find:
      if (!key) return BT_STATUS_NOT_FOUND;
      if (record && record != key && (kind == BT_INDEX_BTREE || byHash)) {
        // The index binds the record its last compare read in `record`;
        // when that is the answer, detaching it is the whole load.
        btSeek before = record->block ? record->seek : 0;
        rc = kind == BT_INDEX_BTREE
                 ? static_cast<btBtreeIndex*>(s)->findKeeping(iterator, key, record)
                 : static_cast<btAbstractHashTable*>(s)->findKeeping(iterator, key, record);
        bool kept = record->block && record->table == table && record->seek != before;
        if (rc == 0 && iterator->record && kept && record->seek == iterator->record) {
          if (!field) return detachObject(record) == 0 ? 0 : BT_STATUS_NOT_FOUND;
          *value = getUnsigned(record, *field);
          record->releaseImage();
          return 0;
        }
        // Not the answer: the view goes, the record is loaded as usual.
        if (kept) record->releaseImage();
        break;
      }
      rc = s->find(iterator, key, BT_FIND_ANY, false);
      break;
    case Step::next:
      rc = s->next(iterator);
      break;
    default:
      rc = s->nextEqual(iterator);
      break;
  }
  if (rc != 0 || !iterator->record) return BT_STATUS_NOT_FOUND;
  if (!record) return 0;
  if (loadRecord(table, record, iterator->record) != 0) return BT_STATUS_NOT_FOUND;
  if (field) {
    *value = getUnsigned(record, *field);
    record->releaseImage();
  }
  return 0;
}

}  // namespace

int32_t findFirst(btDatabase* database, btTableInfo* table, btIndexIterator* iterator,
                  const btStoredRecord* key, btStoredRecord* record) {
  return findStep(database, table, iterator, key, record, Step::find);
}

int32_t findFirstUnsigned(btDatabase* database, btTableInfo* table, btIndexIterator* iterator,
                          const btStoredRecord* key, uint32_t field, uint64_t* value) {
  if (!value) return BT_STATUS_NOT_FOUND;
  btStoredRecord found;
  return findStep(database, table, iterator, key, &found, Step::find, &field, value);
}

int32_t findUnsignedByText(btDatabase* database, btTableInfo* table, btIndexIterator* iterator,
                           const char* text, uint32_t length, uint32_t field, uint64_t* value) {
  if (!table || !iterator || !iterator->definition || !value) return BT_STATUS_UNSUPPORTED;
  btIndexDefinition* d = iterator->definition;
  if (d->owner != table || d->indexType != BT_INDEX_BTREE || !btBtreeTextProbe::fits(d, length))
    return BT_STATUS_UNSUPPORTED;
  btDatabase* db = databaseOf(database, table);
  if (!usable(db)) return BT_STATUS_NO_DATABASE;
  OperationLock lock(db, false);
  btIndexStructure* s = structureOf(d);
  if (!s || s->indexKind() != BT_INDEX_BTREE) return BT_STATUS_UNSUPPORTED;
  btBtreeTextProbe probe(d, text, length);
  int32_t rc = static_cast<btBtreeIndex*>(s)->findWith(iterator, &probe);
  if (rc != 0 || !iterator->record) return BT_STATUS_NOT_FOUND;
  // Mostly the last record compared: read in place while it is bound.
  if (const btStoredRecord* r = probe.comparedRecord(iterator->record)) {
    *value = getUnsigned(r, field);
    return 0;
  }
  btStoredRecord found;
  if (loadRecord(table, &found, iterator->record) != 0) return BT_STATUS_NOT_FOUND;
  *value = getUnsigned(&found, field);
  return 0;
}

int32_t findNext(btDatabase* database, btTableInfo* table, btIndexIterator* iterator,
                 btStoredRecord* record) {
  return findStep(database, table, iterator, nullptr, record, Step::next);
}

int32_t findNextEqual(btDatabase* database, btTableInfo* table, btIndexIterator* iterator,
                      btStoredRecord* record) {
  return findStep(database, table, iterator, nullptr, record, Step::nextEqual);
}
