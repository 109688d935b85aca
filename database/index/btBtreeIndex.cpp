#include "database/index/btBtreeIndex.h"

#include "database/btDatabase.h"
#include "database/btStatus.h"
#include "database/btTableInfo.h"
#include "database/index/btBtreeEngine.h"
#include "database/index/btIndexLock.h"

btBtreeIndex::btBtreeIndex(btIndexDefinition* definition)
    : btSortedIndexStructure(definition), keys_(definition) {}

int32_t btBtreeIndex::create(btDatabase* database, btIndexDefinition* definition) {
  btIndexLock lock(database, true);
  return btBtreeEngine::create(database, definition);
}

void btBtreeIndex::setDefinition(btIndexDefinition* definition) {
  btSortedIndexStructure::setDefinition(definition);
  keys_ = btBtreeRecordKeys(definition);
}

template <typename Op>
int32_t btBtreeIndex::run(bool write, Op op, btBtreeKeys* keys) {
  int32_t rc = checkReachable();
  if (rc < 0) return rc;
  btDatabase* db = database();
  btIndexLock lock(db, write);
  if (!definition_->root) return BT_STATUS_NO_TABLE;
  btBtreeEngine engine(definition_, db, keys ? keys : &keys_);
  return op(engine);
}

bool btBtreeIndex::isEmpty() {
  if (checkReachable() < 0) return true;
  btIndexLock lock(database(), false);
  btBtreeEngine engine(definition_, database(), &keys_);
  return engine.isEmpty();
}

int32_t btBtreeIndex::collectNeighbours(btIndexIterator* it, uint32_t* seeks, uint32_t* count,
                                        uint32_t maxCount) {
  return run(false, [&](btBtreeEngine& e) { return e.collectNeighbours(it, seeks, count, maxCount); });
}

int32_t btBtreeIndex::removeAll(btIndexIterator* it) {
  return run(true, [&](btBtreeEngine& e) { return e.removeAll(it); });
}

int32_t btBtreeIndex::insertKey(btIndexIterator* it, btStoredRecord* record, btSeek seek) {
  return run(true, [&](btBtreeEngine& e) { return e.insertKey(it, record, seek); });
}

int32_t btBtreeIndex::removeCurrent(btIndexIterator* it) {
  return run(true, [&](btBtreeEngine& e) { return e.removeCurrent(it); });
}

int32_t btBtreeIndex::find(btIndexIterator* it, const btStoredRecord* key, btSeek record,
                           bool exact) {
  return run(false, [&](btBtreeEngine& e) { return e.find(it, key, record, exact); });
}

int32_t btBtreeIndex::findKeeping(btIndexIterator* it, const btStoredRecord* key,
                                  btStoredRecord* found) {
  keys_.keepComparedIn(found);
  int32_t rc = run(false, [&](btBtreeEngine& e) { return e.find(it, key, BT_FIND_ANY, false); });
  keys_.keepComparedIn(nullptr);
  return rc;
}

int32_t btBtreeIndex::findWith(btIndexIterator* it, btBtreeKeys* keys) {
  return run(false, [&](btBtreeEngine& e) { return e.find(it, nullptr, BT_FIND_ANY, false); }, keys);
}

int32_t btBtreeIndex::first(btIndexIterator* it) {
  return run(false, [&](btBtreeEngine& e) { return e.first(it); });
}

int32_t btBtreeIndex::last(btIndexIterator* it) {
  return run(false, [&](btBtreeEngine& e) { return e.last(it); });
}

int32_t btBtreeIndex::previous(btIndexIterator* it) {
  return run(false, [&](btBtreeEngine& e) { return e.previous(it); });
}

int32_t btBtreeIndex::next(btIndexIterator* it) {
  return run(false, [&](btBtreeEngine& e) { return e.next(it); });
}

int32_t btBtreeIndex::previousKey(btIndexIterator* it) {
  return run(false, [&](btBtreeEngine& e) { return e.previousKey(it); });
}

int32_t btBtreeIndex::nextKey(btIndexIterator* it) {
  return run(false, [&](btBtreeEngine& e) { return e.nextKey(it); });
}

int32_t btBtreeIndex::seekAtLeast(btIndexIterator* it, const btStoredRecord* key) {
  return run(false, [&](btBtreeEngine& e) { return e.seekAtLeast(it, key); });
}

int32_t btBtreeIndex::seekAtMost(btIndexIterator* it, const btStoredRecord* key) {
  return run(false, [&](btBtreeEngine& e) { return e.seekAtMost(it, key); });
}

int32_t btBtreeIndex::seekAbove(btIndexIterator* it, const btStoredRecord* key) {
  return run(false, [&](btBtreeEngine& e) { return e.seekAbove(it, key); });
}

int32_t btBtreeIndex::seekBelow(btIndexIterator* it, const btStoredRecord* key) {
  return run(false, [&](btBtreeEngine& e) { return e.seekBelow(it, key); });
}

int32_t btBtreeIndex::unlinkDuplicate(btIndexIterator* it, btStoredRecord*, btSeek seek) {
  return run(true, [&](btBtreeEngine& e) { return e.unlinkDuplicate(it, seek); });
}

int32_t btBtreeIndex::checkTree(uint64_t* entries, uint32_t* height) {
  return run(false, [&](btBtreeEngine& e) { return e.checkTree(entries, height); });
}
