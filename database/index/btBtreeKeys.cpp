#include "database/index/btBtreeKeys.h"

#include "database/btFieldCompare.h"
#include "database/btIndexDefinition.h"
#include "database/btStatus.h"
#include "database/btStoredRecord.h"

btKeySummary btBtreeRecordKeys::summaryOfKey(const btStoredRecord* key) {
  if (keySummaryIsWide(definition_)) return keySummaryWide(key, definition_);
  btKeySummary s;
  s.hi = keySummary(key, definition_);
  return s;
}

int32_t btBtreeRecordKeys::summaryOfRecord(btSeek record, btKeySummary* summary) {
  btStoredRecord r;
  int32_t rc = btLoadIndexRecord(definition_, record, &r);
  if (rc < 0) return rc;
  *summary = summaryOfKey(&r);
  return 0;
}

int32_t btBtreeRecordKeys::compareWithRecord(const btStoredRecord* key, btSeek record,
                                             int* result) {
  btStoredRecord local;
  btStoredRecord* r = &local;
  if (keep_ && keep_ != key) {
    // The holder's record becomes a view of this one: whatever image it
    // had goes first, as a load into it would do.
    r = keep_;
    r->returnBorrowedImage();
  }
  int32_t rc = btLoadIndexRecord(definition_, record, r);
  if (rc < 0) return rc;
  *result = compareKeys(key, r, definition_);
  return 0;
}

int32_t btBtreeRecordKeys::chainTail(btIndexIterator* it) {
  btSeek head = it->chainHead > 0 ? static_cast<btSeek>(it->chainHead) : it->record;
  btSeek tail = 0;
  int32_t rc = it->readLinks(head, nullptr, &tail);
  if (rc < 0) return rc;
  it->chainHead = static_cast<int32_t>(head);
  it->record = tail ? tail : head;
  it->chainPosition = 0;
  return 0;
}
