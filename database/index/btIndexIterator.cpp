#include "database/index/btIndexIterator.h"

#include "database/btRecordLinks.h"

#include "database/btDatabase.h"
#include "database/btFieldCompare.h"
#include "database/btIndexDefinition.h"
#include "database/btStatus.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"
#include "database/index/btIndexStructure.h"

int32_t btLoadIndexRecord(const btIndexDefinition* d, btSeek seek, btStoredRecord* record) {
  if (!d) return BT_STATUS_NO_INDEX_ROOT;
  btTableInfo* t = d->owner;
  if (!t) return BT_STATUS_NO_TABLE;
  if (!t->database || !t->database->getCacheFile()) return BT_STATUS_NO_DATABASE;
  if (!seek) return BT_STATUS_BAD_ADDRESS;
  record->table = t;
  return loadSlotObject(record, t->database->getCacheFile(), seek, false);
}

int32_t btIndexIterator::removeAll() {
  if (!definition) return BT_STATUS_NO_INDEX_ROOT;
  btIndexStructure* s = structureOf(definition);
  if (!s) return BT_STATUS_NO_INDEX_ROOT;
  return s->removeAll(this);
}

void btIndexIterator::bind(btIndexDefinition* d) {
  definition = d;
  clearPosition();
}

void btIndexIterator::clearPosition() {
  compare = 0;
  node = 0;
  position = 0;
  hash = 0;
  record = 0;
  chainHead = 0;
  chainPosition = 0;
  found = FoundKey();
}

uint64_t btIndexIterator::recordLimit() const {
  return definition && definition->owner ? definition->owner->hdr.recordCount : 0;
}

int32_t btIndexIterator::linkOffset() const {
  if (!definition) return BT_STATUS_NO_INDEX_ROOT;
  btTableInfo* t = definition->owner;
  if (!t) return BT_STATUS_NO_TABLE;
  if (definition->number < 0) return BT_STATUS_NO_INDEX_ROOT;
  int32_t slot = t->linkSlotOfIndex(static_cast<uint32_t>(definition->number));
  if (slot < 0) return BT_STATUS_HASH_COLLISION;  // no links for this index
  return slot * 8;
}

namespace {

// One record's link words for an index, bound once for any number of reads
// and writes; the record's block stays pinned while the view lives.
class LinkWords {
 public:
  int32_t bind(const btIndexDefinition* d, int32_t at, btSeek seek) {
    if (!d) return BT_STATUS_NO_INDEX_ROOT;
    int32_t rc = links_.bind(d->owner, seek);
    if (rc < 0) return rc;
    if (static_cast<uint32_t>(at) + 8 > links_.size()) return BT_STATUS_BAD_ADDRESS;
    words_ = links_.image() + at;
    return 0;
  }
  btSeek next() const { return btReadAddress(btGet32(words_)); }
  btSeek previous() const { return btReadAddress(btGet32(words_ + 4)); }
  int32_t write(btSeek next, btSeek previous) {
    if (!links_.writable()) return BT_STATUS_READ_ONLY;  // links change in the stored image only
    btPut32(words_, next);
    btPut32(words_ + 4, previous);
    links_.markDirty();
    return 0;
  }

 private:
  btRecordLinks links_;
  uint8_t* words_ = nullptr;
};

}  // namespace

int32_t btIndexIterator::readLinks(btSeek seek, btSeek* next, btSeek* previous) const {
  int32_t at = linkOffset();
  if (at < 0) return at;
  LinkWords w;
  int32_t rc = w.bind(definition, at, seek);
  if (rc < 0) return rc;
  if (next) *next = w.next();
  if (previous) *previous = w.previous();
  return 0;
}

int32_t btIndexIterator::writeLinks(btSeek seek, btSeek next, btSeek previous) const {
  int32_t at = linkOffset();
  if (at < 0) return at;
  LinkWords w;
  int32_t rc = w.bind(definition, at, seek);
  return rc < 0 ? rc : w.write(next, previous);
}

int32_t btIndexIterator::resetChain() {
  if (!record) return BT_STATUS_BAD_ADDRESS;
  chainHead = static_cast<int32_t>(record);
  chainPosition = 0;
  return 0;
}

int32_t btIndexIterator::chainNext(const btStoredRecord* key) {
  if (!record || chainHead == 0) return BT_STATUS_BAD_ADDRESS;
  if (chainHead < 0) return BT_STATUS_UNSUPPORTED;  // chains kept in sets: older files
  uint64_t count = recordLimit();
  btSeek head = static_cast<btSeek>(chainHead);
  btSeek start = record;
  btSeek n = 0;
  int32_t rc = readLinks(start, &n, nullptr);
  if (rc < 0) return rc;
  if (n == 0) return BT_STATUS_NOT_FOUND;
  for (uint64_t steps = 1;; steps++) {
    if (n == head || n == start) return BT_STATUS_NOT_FOUND;
    if (count && steps + chainPosition > count) return BT_STATUS_NOT_FOUND;
    bool stop = key == nullptr;
    if (!stop) {
      btStoredRecord r;
      rc = btLoadIndexRecord(definition, n, &r);
      if (rc < 0) return rc;
      stop = compareKeys(key, &r, definition) == 0;
    }
    if (stop) {
      record = n;
      chainPosition += steps;
      return 0;
    }
    btSeek after = 0;
    rc = readLinks(n, &after, nullptr);
    if (rc < 0) return rc;
    if (after == 0 || after == n) return BT_STATUS_NOT_FOUND;
    n = after;
  }
}

int32_t btIndexIterator::chainPrevious(const btStoredRecord* key) {
  if (!record || chainHead == 0) return BT_STATUS_BAD_ADDRESS;
  if (chainHead < 0) return BT_STATUS_UNSUPPORTED;
  uint64_t count = recordLimit();
  btSeek head = static_cast<btSeek>(chainHead);
  btSeek start = record;
  if (start == head) return BT_STATUS_NOT_FOUND;
  btSeek p = 0;
  int32_t rc = readLinks(start, nullptr, &p);
  if (rc < 0) return rc;
  if (p == 0) return BT_STATUS_NOT_FOUND;
  for (uint64_t steps = 1;; steps++) {
    if (p == start) return BT_STATUS_NOT_FOUND;
    if (count && steps + chainPosition > count) return BT_STATUS_NOT_FOUND;
    bool stop = key == nullptr;
    if (!stop) {
      btStoredRecord r;
      rc = btLoadIndexRecord(definition, p, &r);
      if (rc < 0) return rc;
      stop = compareKeys(key, &r, definition) == 0;
    }
    if (stop) {
      record = p;
      chainPosition += steps;
      return 0;
    }
    if (p == head) return BT_STATUS_NOT_FOUND;
    btSeek before = 0;
    rc = readLinks(p, nullptr, &before);
    if (rc < 0) return rc;
    if (before == 0 || before == p) return BT_STATUS_NOT_FOUND;
    p = before;
  }
}

int32_t btIndexIterator::chainAdd(btSeek s) {
  if (!record) return BT_STATUS_BAD_ADDRESS;
  if (chainHead < 0) return BT_STATUS_UNSUPPORTED;
  int32_t at = linkOffset();
  if (at < 0) return at;
  btSeek h = chainHead ? static_cast<btSeek>(chainHead) : record;
  // The new record goes in before the head, at the end of the ring: each of
  // head, tail and new record is bound once.
  LinkWords head, tail, added;
  int32_t rc = head.bind(definition, at, h);
  if (rc < 0) return rc;
  btSeek hn = head.next(), t = head.previous();
  if (t == 0 || t == h) {
    if ((rc = head.write(s, s)) < 0) return rc;
    if ((rc = added.bind(definition, at, s)) < 0 || (rc = added.write(h, h)) < 0) return rc;
  } else {
    if ((rc = tail.bind(definition, at, t)) < 0) return rc;
    if ((rc = tail.write(s, tail.previous())) < 0) return rc;
    if ((rc = added.bind(definition, at, s)) < 0 || (rc = added.write(h, t)) < 0) return rc;
    if ((rc = head.write(hn, s)) < 0) return rc;
  }
  record = s;
  chainHead = static_cast<int32_t>(h);
  return 0;
}

int32_t btIndexIterator::chainSeek(btSeek wanted) {
  if (!record || chainHead == 0) return BT_STATUS_BAD_ADDRESS;
  if (chainHead < 0) return BT_STATUS_UNSUPPORTED;
  if (record == wanted) return 0;
  while (true) {
    int32_t rc = chainNext(nullptr);
    if (rc < 0) return rc;
    if (record == wanted) return 0;
  }
}

int32_t btIndexIterator::unlinkDuplicate(btSeek d, bool backward, btSeek* newHead) {
  if (chainHead < 0) return BT_STATUS_UNSUPPORTED;
  btSeek n = 0, p = 0;
  int32_t rc = readLinks(d, &n, &p);
  if (rc < 0) return rc;
  btSeek head = chainHead ? static_cast<btSeek>(chainHead) : d;
  if ((p == d && n == d) || n == 0) {
    rc = writeLinks(d, 0, 0);
    if (rc < 0) return rc;
    record = 0;
    chainHead = 0;
    chainPosition = 0;
    if (newHead) *newHead = 0;
    return 0;
  }
  if (n == p) {
    rc = writeLinks(n, 0, 0);
  } else {
    btSeek pp = 0, nn = 0;
    if ((rc = readLinks(p, nullptr, &pp)) < 0) return rc;
    if ((rc = writeLinks(p, n, pp)) < 0) return rc;
    if ((rc = readLinks(n, &nn, nullptr)) < 0) return rc;
    rc = writeLinks(n, nn, p);
  }
  if (rc < 0) return rc;
  if ((rc = writeLinks(d, 0, 0)) < 0) return rc;
  if (head == d) {
    head = n;
    chainPosition = 0;
  } else if (backward && chainPosition > 0) {
    // The predecessor stands one step nearer the head; the successor of a
    // forward walk takes d's place and its count.
    chainPosition--;
  }
  chainHead = static_cast<int32_t>(head);
  record = backward ? p : n;
  if (newHead) *newHead = head;
  return 0;
}
