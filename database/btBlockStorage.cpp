#include "database/btBlockStorage.h"

#include <cstring>

#include "database/btDatabase.h"
#include "database/btStatus.h"
#include "database/btVariableLengthStorageBlock.h"

namespace {

constexpr uint32_t kMaxChainWalk = 1000;

uint64_t blockPositionOf(btDatabase* db, btSeek seek) {
  uint64_t p = db->decodeSeek(seek);
  return p - p % db->blockSize();
}

// Seek of a block's slotted area, as chain links and heads hold it.
btSeek areaSeek(btDatabase* db, uint64_t blockPosition) {
  return btSeekEncode(blockPosition, db->blockSize()) + 4;
}

bool validBlock(btDatabase* db, uint64_t pos) {
  return pos != 0 && pos + db->blockSize() <= db->logicalFileSize();
}

int32_t loadArea(btVariableLengthStorageBlock* area, btDatabase* db, btCacheFile* cf,
                 uint64_t blockPosition) {
  if (!validBlock(db, blockPosition)) return BT_STATUS_BAD_ADDRESS;
  return loadObject(area, cf, areaSeek(db, blockPosition), false);
}

bool sameBlock(btDatabase* db, btSeek a, uint64_t blockPosition) {
  return a != 0 && blockPositionOf(db, a) == blockPosition;
}

// Whether some chain head names the block.
bool isHead(btDatabase* db, uint64_t pos, btDataChainOwner* table) {
  const btDatabaseHeader& h = db->header();
  if (sameBlock(db, h.dataBlockHead, pos) || sameBlock(db, h.secondDataBlockHead, pos)) return true;
  for (uint32_t i = 0; i < db->chainOwnerCount(); i++) {
    btDataChainOwner* t = db->chainOwner(i);
    if (sameBlock(db, t->ownDataHead(), pos) || sameBlock(db, t->ownSecondHead(), pos)) return true;
  }
  return table && (sameBlock(db, table->ownDataHead(), pos) || sameBlock(db, table->ownSecondHead(), pos));
}

void moveHeads(btDatabase* db, uint64_t pos, btSeek next, btDataChainOwner* table) {
  btDatabaseHeader& h = db->mutableHeader();
  bool changed = false;
  if (sameBlock(db, h.dataBlockHead, pos)) {
    h.dataBlockHead = next;
    changed = true;
  }
  if (sameBlock(db, h.secondDataBlockHead, pos)) {
    h.secondDataBlockHead = next;
    changed = true;
  }
  if (changed) db->commitHeader();
  auto fix = [&](btDataChainOwner* t) {
    if (sameBlock(db, t->ownDataHead(), pos)) t->setOwnDataHead(next);
    if (sameBlock(db, t->ownSecondHead(), pos)) t->setOwnSecondHead(next);
  };
  for (uint32_t i = 0; i < db->chainOwnerCount(); i++) fix(db->chainOwner(i));
  if (table) fix(table);
}

// Takes a bound data area out of its chain.
void unlinkArea(btDatabase* db, btCacheFile* cf, btVariableLengthStorageBlock* area, uint64_t pos,
                btDataChainOwner* table) {
  btSeek next = area->next, prev = area->prev;
  moveHeads(db, pos, next, table);
  if (prev) {
    btVariableLengthStorageBlock p;
    if (loadArea(&p, db, cf, blockPositionOf(db, prev)) == 0) p.setNext(next);
  }
  if (next) {
    btVariableLengthStorageBlock n;
    if (loadArea(&n, db, cf, blockPositionOf(db, next)) == 0) n.setPrev(prev);
  }
  area->setNext(0);
  area->setPrev(0);
}

// Links a bound data area at the head of the table's or the database's chain.
void linkAtHead(btDatabase* db, btCacheFile* cf, btVariableLengthStorageBlock* area, uint64_t pos,
                btDataChainOwner* table) {
  bool own = table && (table->chainFlags() & BT_TABLE_PRIVATE_BLOCKS);
  btSeek head = own ? table->ownDataHead() : db->header().dataBlockHead;
  btSeek self = areaSeek(db, pos);
  area->setNext(head);
  area->setPrev(0);
  if (head) {
    btVariableLengthStorageBlock old;
    if (loadArea(&old, db, cf, blockPositionOf(db, head)) == 0) old.setPrev(self);
  }
  if (own) {
    table->setOwnDataHead(self);
  } else {
    db->mutableHeader().dataBlockHead = self;
    db->commitHeader();
  }
}

uint32_t log2Floor(uint64_t v) {
  uint32_t d = 0;
  while (v >>= 1) d++;
  return d;
}

}  // namespace

btSeek allocateBlock(btDatabase* db, btCacheFile* cf, uint32_t kind, int32_t* status,
                     btBlockPin* pin) {
  int32_t ignored;
  if (!status) status = &ignored;
  *status = 0;
  if (!db || !cf || !cf->cache) {
    *status = BT_STATUS_NO_DATABASE;
    return 0;
  }
  if (db->readOnly) {
    *status = BT_STATUS_READ_ONLY;
    return 0;
  }
  btCacheLockGuard lock(cf->cache);
  uint64_t B = db->blockSize();
  uint64_t S = B / 16;
  btSeek head = db->header().freeBlockHead;
  uint64_t pos;
  uint8_t* data;
  if (head - head % S != 0) {
    pos = blockPositionOf(db, head);
    if (!validBlock(db, pos)) {
      *status = BT_STATUS_BAD_ADDRESS;
      return 0;
    }
    data = cf->getBlockAt(pos, BLOCK_HOLD | BLOCK_DIRTY | BLOCK_PIN);
    if (!data) {
      *status = BT_STATUS_NO_MEMORY;
      return 0;
    }
    db->mutableHeader().freeBlockHead = btReadAddress(btGet32(data + 4));
  } else {
    pos = db->logicalFileSize();
    if (pos + B > db->maxFileSize()) {
      *status = BT_STATUS_FILE_FULL;
      return 0;
    }
    data = cf->getBlockAt(pos, BLOCK_CREATE | BLOCK_HOLD | BLOCK_DIRTY | BLOCK_PIN);
    if (!data) {
      *status = BT_STATUS_NO_MEMORY;
      return 0;
    }
    db->mutableHeader().fileSize = pos + B;
  }
  db->commitHeader();
  cf->markBlockDirty(data);
  btPut32(data, btBlockTag(kind, pos));
  btPut32(data + 4, 0);
  if (pin) {
    *pin = btBlockPin(cf, data);
  } else {
    cf->unpinBlock(data);
  }
  return areaSeek(db, pos);
}

int32_t freeBlock(btDatabase* db, btCacheFile* cf, btSeek seek) {
  if (!db || !cf || !cf->cache) return BT_STATUS_NO_DATABASE;
  if (db->readOnly) return BT_STATUS_READ_ONLY;
  btCacheLockGuard lock(cf->cache);
  uint64_t B = db->blockSize();
  uint64_t pos = blockPositionOf(db, seek);
  if (!validBlock(db, pos)) return BT_STATUS_BAD_ADDRESS;
  btBlockPin pin = btBlockPin::fetch(cf, pos, BLOCK_DIRTY);
  if (!pin) return BT_STATUS_NO_MEMORY;
  uint8_t* data = pin.data();
  std::memset(data, 0, B);
  btPut32(data, static_cast<uint32_t>(pos & 0x0FFFFFFF));
  btPut32(data + 4, db->header().freeBlockHead);
  cf->markBlockDirty(data);
  db->mutableHeader().freeBlockHead = btSeekEncode(pos, B);
  db->commitHeader();
  return 0;
}

int32_t placeBytes(btDatabase* db, btCacheFile* cf, const uint8_t* bytes, uint32_t n,
                   btSeek* seekOut, uint8_t** imageOut, btDataChainOwner* table,
                   const btSeek* nearSeeks) {
  if (seekOut) *seekOut = 0;
  if (!db || !cf || !cf->cache) return BT_STATUS_NO_DATABASE;
  if (db->readOnly) return BT_STATUS_READ_ONLY;
  btCacheLockGuard lock(cf->cache);
  uint64_t B = db->blockSize();
  uint64_t S = B / 16;
  uint32_t depth = log2Floor(db->logicalFileSize() / B);
  uint32_t want = 0;
  if (nearSeeks)
    while (want < 8 && nearSeeks[want]) want++;
  bool own = table && (table->chainFlags() & BT_TABLE_PRIVATE_BLOCKS);

  uint64_t bestPos = 0;
  uint32_t bestScore = 0;
  // Two views take turns along the chain; the best block so far stays bound
  // in one of them, so the placement needs no second binding.
  btVariableLengthStorageBlock views[2];
  int cur = 0, best = -1;
  uint32_t examined = 0;
  bool done = false;
  btSeek heads[2] = {table ? table->ownDataHead() : 0, own ? 0 : db->header().dataBlockHead};
  for (int c = 0; c < 2 && !done; c++) {
    if (c == 1 && bestPos && bestScore > 1) break;
    btSeek link = heads[c];
    while (link && !done) {
      uint64_t pos = blockPositionOf(db, link);
      btVariableLengthStorageBlock& view = views[cur];
      if (loadArea(&view, db, cf, pos) < 0 || btBlockKindOf(btGet32(view.block)) != BT_BLOCK_DATA)
        break;  // a damaged chain is left as it is; a new block will do
      examined++;
      link = view.next;
      if (n <= view.freeBytes()) {
        if (!nearSeeks) {
          bestPos = pos;
          best = cur;
          done = true;
          break;
        }
        uint32_t score = 1;
        for (uint32_t i = 0; i < want; i++)
          if (blockPositionOf(db, nearSeeks[i]) == pos) score++;
        if (view.freeBytes() >= view.size / 2u) score++;
        if (score > bestScore) {
          bestScore = score;
          bestPos = pos;
          best = cur;
          cur ^= 1;
        }
        if (bestScore >= want) done = true;
      }
      if (examined > kMaxChainWalk || (examined > depth && bestPos)) done = true;
    }
  }

  btVariableLengthStorageBlock fresh;
  btVariableLengthStorageBlock* chosen = &fresh;
  if (bestPos) {
    chosen = &views[best];
    views[best == 0 ? 1 : 0].releaseImage();
  } else {
    int32_t status = 0;
    btBlockPin pin;
    btSeek seek = allocateBlock(db, cf, BT_BLOCK_DATA, &status, &pin);
    if (!seek) return status;
    bestPos = blockPositionOf(db, seek);
    btVariableLengthStorageBlock::format(pin.data() + 4, static_cast<uint16_t>(B - 4));
    int32_t rc = loadArea(&fresh, db, cf, bestPos);
    if (rc < 0) return rc;
    linkAtHead(db, cf, &fresh, bestPos, table);
  }
  btVariableLengthStorageBlock& area = *chosen;
  db->setDirty();
  uint16_t slot = 0;
  uint8_t* placed = nullptr;
  int32_t rc = area.placeImage(bytes, n, static_cast<uint32_t>(S), &slot, &placed);
  if (rc < 0) return rc;
  if (seekOut) *seekOut = areaSeek(db, bestPos) + slot;
  if (imageOut) *imageOut = placed;
  if (area.freeBytes() < B / 32) {
    // Nearly full: out of the chain and onto the disk, so it is neither
    // examined again nor left dirty in the cache.
    if (area.prev || isHead(db, bestPos, table)) unlinkArea(db, cf, &area, bestPos, table);
    rc = cf->flushBlock(bestPos);
    if (rc < 0) return rc;
  }
  return 0;
}

int32_t placeRecord(btDatabase* db, btCacheFile* cf, btStoredObject* object, btSeek* seekOut,
                    uint8_t** imageOut, btDataChainOwner* table, const btSeek* nearSeeks) {
  if (!object || !object->image) return BT_STATUS_NOT_READY;
  return placeBytes(db, cf, object->image, object->storedSize(), seekOut, imageOut, table,
                    nearSeeks);
}

int32_t placeCatalogueObject(btDatabase* db, btCacheFile* cf, btStoredObject* object,
                             btSeek* seekOut, uint8_t** imageOut) {
  if (seekOut) *seekOut = 0;
  if (!db || !cf || !cf->cache) return BT_STATUS_NO_DATABASE;
  if (!object || !object->image) return BT_STATUS_NOT_READY;
  if (db->readOnly) return BT_STATUS_READ_ONLY;
  btCacheLockGuard lock(cf->cache);
  uint64_t B = db->blockSize();
  uint32_t n = object->storedSize();
  btVariableLengthStorageBlock area;
  btSeek link = db->header().catalogueBlockHead;
  btSeek areaPos = 0;
  for (uint32_t examined = 0; link && examined < kMaxChainWalk; examined++) {
    if (link >= db->logicalFileSize() || loadObject(&area, cf, link, false, 0, true) < 0) break;
    if (n <= area.freeBytes()) {
      areaPos = link;
      break;
    }
    link = area.next;
  }
  if (!areaPos) {
    int32_t status = 0;
    btBlockPin pin;
    btSeek seek = allocateBlock(db, cf, BT_BLOCK_CATALOGUE, &status, &pin);
    if (!seek) return status;
    uint64_t pos = blockPositionOf(db, seek);
    if (pos + 4 > 0xFFFFFFFFull) return BT_STATUS_FILE_FULL;  // catalogue positions are raw
    btVariableLengthStorageBlock::format(pin.data() + 4, static_cast<uint16_t>(B - 4));
    areaPos = static_cast<btSeek>(pos + 4);
    int32_t rc = loadObject(&area, cf, areaPos, true, 0, true);
    if (rc < 0) return rc;
    area.setNext(db->header().catalogueBlockHead);
    db->mutableHeader().catalogueBlockHead = areaPos;
    db->commitHeader();
  }
  db->setDirty();
  uint16_t slot = 0;
  uint8_t* placed = nullptr;
  int32_t rc = area.placeImage(object->image, n, static_cast<uint32_t>(B / 16), &slot, &placed);
  if (rc < 0) return rc;
  if (seekOut) *seekOut = areaPos + area.slotValue(slot);
  if (imageOut) *imageOut = placed;
  return 0;
}

int32_t releaseSlot(btDatabase* db, btCacheFile* cf, btSeek seek, btDataChainOwner* table) {
  if (!db || !cf || !cf->cache) return BT_STATUS_NO_DATABASE;
  if (db->readOnly) return BT_STATUS_READ_ONLY;
  btCacheLockGuard lock(cf->cache);
  uint64_t B = db->blockSize();
  uint64_t p = db->decodeSeek(seek);
  if (p < B || p > db->logicalFileSize()) return BT_STATUS_BAD_ADDRESS;
  uint64_t pos = p - p % B;
  uint64_t offset = p % B;
  btVariableLengthStorageBlock area;
  int32_t rc = loadArea(&area, db, cf, pos);
  if (rc < 0) return rc;
  if (btBlockKindOf(btGet32(area.block)) != BT_BLOCK_DATA) return BT_STATUS_BAD_ADDRESS;
  if (offset < 4) return BT_STATUS_BAD_SLOT;
  rc = area.removeSlot(static_cast<uint32_t>(offset - 4));
  if (rc < 0) return rc;
  db->setDirty();
  if (area.freeBytes() > B / 4) {
    bool linked = area.prev != 0 || isHead(db, pos, table);
    if (area.usedSlots > 0) {
      if (!linked) linkAtHead(db, cf, &area, pos, table);
    } else {
      if (linked) unlinkArea(db, cf, &area, pos, table);
      area.releaseImage();
      rc = freeBlock(db, cf, areaSeek(db, pos));
    }
  }
  return rc;
}
