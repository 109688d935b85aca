#include "database/btStoredObject.h"

#include <cstring>

#include "database/btCacheFile.h"
#include "database/btDatabase.h"
#include "database/btStatus.h"
#include "runtime/cmAlloc.h"

btStoredObject::~btStoredObject() { releaseImage(); }

void btStoredObject::releaseImage() {
  bool privateImage = !block && image && image != inlineBuffer;
  if (block && !mapped && cacheFile) cacheFile->unpinBlock(block);
  block = nullptr;
  mapped = false;
  if (privateImage) cmFree(image);
  image = nullptr;
  ownedSize = 0;
}

bool btStoredObject::headerFits(uint64_t n) const {
  if (!block || !cacheFile) return true;
  return static_cast<uint64_t>(image - block) + n <= cacheFile->blockSize;
}

bool btStoredObject::markImageDirty() {
  if (!block) return false;
  if (!mapped && cacheFile) {
    cacheFile->markBlockDirty(block);
    if (cacheFile->database && !cacheFile->readOnly) cacheFile->database->noteChange();
  }
  return true;
}

namespace {

// Binds `obj` to the bytes at `offset` in `data`, which the caller fetched
// with a pin of its own (BLOCK_HOLD | BLOCK_PIN): that pin becomes the
// object's, so a bind costs one trip through the cache and not four. When
// the object is already there, the extra pin goes back.
int32_t bindAt(btStoredObject* obj, btCacheFile* cf, uint8_t* data, uint64_t offset, btSeek seek,
               bool force) {
  uint8_t* target = data + offset;
  bool mapped = cf->inMappedView(data);
  if (!force && obj->image == target && obj->block == data) {
    if (!mapped) cf->unpinBlock(data);
    return 0;
  }
  // The new pin is already taken, so the old image may lie in the same block.
  obj->releaseImage();
  obj->block = data;
  obj->image = target;
  obj->cacheFile = cf;
  obj->seek = seek;
  obj->mapped = mapped;
  obj->ownedSize = 0;
  int32_t rc = obj->unpack();
  if (rc < 0) return rc;
  if (offset + obj->storedSize() > cf->blockSize) return BT_STATUS_OBJECT_OVERRUNS_BLOCK;
  return 0;
}

constexpr uint32_t kBindFlags = BLOCK_HOLD | BLOCK_PIN;

}  // namespace

int32_t loadObject(btStoredObject* object, btCacheFile* cacheFile, btSeek seek, bool force,
                   uint64_t prefillCount, bool rawOffset) {
  if (!object || !cacheFile) return BT_STATUS_NO_MEMORY;
  uint64_t pos = rawOffset ? seek : cacheFile->decode(seek);
  uint64_t offset = cacheFile->blockOffsetOf(pos);
  uint8_t* data = cacheFile->getBlockAt(pos - offset, kBindFlags, prefillCount);
  if (!data) return BT_STATUS_NO_MEMORY;
  return bindAt(object, cacheFile, data, offset, seek, force);
}

int32_t pinSlot(btCacheFile* cacheFile, btSeek seek, uint8_t** block, uint64_t* offset) {
  uint64_t pos = cacheFile->decode(seek);
  uint64_t B = cacheFile->blockSize;
  uint64_t at = cacheFile->blockOffsetOf(pos);
  uint64_t blockPos = pos - at;
  uint8_t* data = cacheFile->getBlockAt(blockPos, kBindFlags);
  if (!data) return BT_STATUS_NO_MEMORY;
  if (blockPos != 0 && btBlockKindOf(btGet32(data)) == BT_BLOCK_DATA) {
    const uint8_t* area = data + 4;
    uint16_t size = btGet16(area + 8);
    uint16_t slotCount = btGet16(area + 12);
    int32_t rc = 0;
    if (at < 4 || at - 4 >= slotCount || 16 + 2ull * slotCount > B - 4) {
      rc = BT_STATUS_BAD_ADDRESS;
    } else {
      uint16_t v = btGet16(area + 16 + 2 * (at - 4));
      if (v == 0 || v >= size || v + 4ull >= B) rc = BT_STATUS_BAD_ADDRESS;
      at = v + 4ull;
    }
    if (rc < 0) {
      if (!cacheFile->inMappedView(data)) cacheFile->unpinBlock(data);
      return rc;
    }
  }
  *block = data;
  *offset = at;
  return 0;
}

int32_t loadSlotObject(btStoredObject* object, btCacheFile* cacheFile, btSeek seek, bool force) {
  if (!object || !cacheFile) return BT_STATUS_NO_MEMORY;
  uint8_t* data = nullptr;
  uint64_t offset = 0;
  int32_t rc = pinSlot(cacheFile, seek, &data, &offset);
  if (rc < 0) return rc;
  return bindAt(object, cacheFile, data, offset, seek, force);
}

int32_t detachObject(btStoredObject* object) {
  if (!object || !object->image || !object->block) return 0;
  uint64_t room = object->cacheFile->blockSize - static_cast<uint64_t>(object->image - object->block);
  uint64_t size = object->storedSize();
  if (size > room) size = room;
  uint8_t* dst;
  uint64_t cap;
  if (size <= sizeof object->inlineBuffer) {
    dst = object->inlineBuffer;
    cap = sizeof object->inlineBuffer;
  } else {
    dst = static_cast<uint8_t*>(cmAlloc(size));
    if (!dst) return BT_STATUS_NO_MEMORY;
    cap = size;
  }
  std::memcpy(dst, object->image, size);
  if (cap > size) std::memset(dst + size, 0, cap - size);
  if (!object->mapped) object->cacheFile->unpinBlock(object->block);
  object->block = nullptr;
  object->mapped = false;
  object->image = dst;
  object->ownedSize = cap;
  return object->unpack();
}

int32_t ensureImage(btStoredObject* object, size_t size) {
  if (!object) return BT_STATUS_NO_MEMORY;
  if (!object->block && object->image && object->ownedSize >= size) return 0;
  uint64_t oldSize = 0;
  if (object->image) {
    if (object->block) {
      uint64_t room =
          object->cacheFile->blockSize - static_cast<uint64_t>(object->image - object->block);
      oldSize = object->storedSize();
      if (oldSize > room) oldSize = room;
    } else {
      oldSize = object->ownedSize;
    }
  }
  // Never cut the current image short.
  if (size < oldSize) size = static_cast<size_t>(oldSize);
  uint64_t cap = size <= sizeof object->inlineBuffer ? sizeof object->inlineBuffer : size + 512;
  uint8_t* dst;
  if (cap == sizeof object->inlineBuffer) {
    dst = object->inlineBuffer;
  } else {
    dst = static_cast<uint8_t*>(cmAlloc(cap));
    if (!dst) return BT_STATUS_NO_MEMORY;
  }
  uint64_t copy = oldSize < cap ? oldSize : cap;
  if (object->image && copy) std::memmove(dst, object->image, copy);
  std::memset(dst + copy, 0, cap - copy);
  bool privateOld = !object->block && object->image && object->image != object->inlineBuffer;
  if (object->block && !object->mapped) object->cacheFile->unpinBlock(object->block);
  if (privateOld && object->image != dst) cmFree(object->image);
  object->block = nullptr;
  object->mapped = false;
  object->image = dst;
  object->ownedSize = cap;
  return 0;
}
