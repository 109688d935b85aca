#include "database/btTableIterator.h"

#include "database/btStatus.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"
#include "database/btTableOperations.h"

btTableIterator::btTableIterator(btTableInfo* table) : table_(table) {
  btDatabase* db = table ? table->database : nullptr;
  if (!db) return;
  db->getCacheFile()->stopPrefill();
  lock_.emplace(db, false);
}

btTableIterator::~btTableIterator() = default;

namespace {

int32_t checkIterator(btDatabase* database, btTableIterator* it) {
  if (!it || !it->table()) return BT_STATUS_NO_TABLE;
  btDatabase* db = database ? database : it->table()->database;
  if (!db || !db->isOpen()) return BT_STATUS_NO_DATABASE;
  return 0;
}

int32_t standOn(btTableIterator* it, btSeek seek, btStoredRecord* record) {
  it->setCurrent(seek);
  if (!seek) return BT_STATUS_NOT_FOUND;
  if (!record) return 0;
  return loadRecord(it->table(), record, seek) == 0 ? 0 : BT_STATUS_NOT_FOUND;
}

}  // namespace

int32_t seekToFirst(btDatabase* database, btTableIterator* it, btStoredRecord* record) {
  int32_t rc = checkIterator(database, it);
  if (rc < 0) return rc;
  return standOn(it, it->table()->hdr.firstRecord, record);
}

int32_t seekToNext(btDatabase* database, btTableIterator* it, btStoredRecord* record) {
  int32_t rc = checkIterator(database, it);
  if (rc < 0) return rc;
  btTableInfo* table = it->table();
  if (!table->hasChain()) return BT_STATUS_NO_ITERABLE_INDEX;
  if (!it->current()) return BT_STATUS_NOT_FOUND;
  btDatabase* db = table->database;
  btSeek next = 0;
  {
    // A view is enough to read the link: no copy of the record.
    btCacheLockGuard lock(db->getCacheFile()->cache);
    btStoredRecord here;
    here.table = table;
    rc = loadSlotObject(&here, db->getCacheFile(), it->current(), false);
    if (rc == 0 && here.size >= 8) next = btReadAddress(btGet32(here.image));
    else rc = rc < 0 ? rc : BT_STATUS_BAD_ADDRESS;
  }
  if (rc < 0) {
    it->setCurrent(0);
    return BT_STATUS_NOT_FOUND;
  }
  return standOn(it, next, record);
}
