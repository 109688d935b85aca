#include "database/btMultiBlock.h"

#include <cstring>

#include "database/btBlockStorage.h"
#include "database/btCacheFile.h"
#include "database/btDatabase.h"
#include "database/btStatus.h"

namespace {
constexpr int32_t kNullBuffer = -3073;
}

int64_t btMultiBlock::byteCapacity(btCacheFile* cf) const {
  int64_t n = directory_.countAll(true);
  if (n < 0) return n;
  return n * static_cast<int64_t>(cf->blockSize - 4);
}

int32_t btMultiBlock::blockFor(btDatabase* db, btCacheFile* cf, uint64_t k, bool create,
                               btBlockPin* pin) {
  uint32_t entry = 0;
  if (directory_.getAt(k, true, &entry) < 0) return BT_STATUS_BAD_BLOCK;
  if (entry == 0 || entry == 0xFFFFFFFFu) {
    if (!create) return 1;  // a hole
    int32_t status = 0;
    btSeek seek = allocateBlock(db, cf, kind_, &status, pin);
    if (!seek) return BT_STATUS_BAD_BLOCK;
    std::memset(pin->data() + 4, 0, cf->blockSize - 4);
    if (directory_.setAt(k, true, seek) < 0) return BT_STATUS_BAD_BLOCK;
    return 0;
  }
  uint64_t p = cf->decode(entry);
  *pin = btBlockPin::fetch(cf, p - p % cf->blockSize, BLOCK_HOLD);
  return *pin ? 0 : BT_STATUS_BAD_BLOCK;
}

int32_t btMultiBlock::read(btCacheFile* cf, void* buffer, uint64_t offset, uint64_t length) {
  if (!buffer) return kNullBuffer;
  if (!cf || !cf->cache) return BT_STATUS_BAD_BLOCK;
  btCacheLockGuard lock(cf->cache);
  uint64_t per = cf->blockSize - 4;
  auto* out = static_cast<uint8_t*>(buffer);
  int32_t result = 0;
  while (length) {
    uint64_t k = offset / per, in = offset % per;
    uint64_t n = per - in < length ? per - in : length;
    btBlockPin pin;
    int32_t rc = blockFor(nullptr, cf, k, false, &pin);
    if (rc == 0) {
      std::memcpy(out, pin.data() + 4 + in, n);
    } else {
      std::memset(out, 0, n);
      if (rc < 0) result = BT_STATUS_BAD_BLOCK;
    }
    out += n;
    offset += n;
    length -= n;
  }
  return result;
}

int32_t btMultiBlock::write(btDatabase* db, btCacheFile* cf, const void* source, uint64_t offset,
                            uint64_t length) {
  if (!db || !cf || !cf->cache) return BT_STATUS_BAD_BLOCK;
  btCacheLockGuard lock(cf->cache);
  uint64_t per = cf->blockSize - 4;
  auto* in8 = static_cast<const uint8_t*>(source);
  while (length) {
    uint64_t k = offset / per, in = offset % per;
    uint64_t n = per - in < length ? per - in : length;
    btBlockPin pin;
    if (blockFor(db, cf, k, true, &pin) != 0) return BT_STATUS_BAD_BLOCK;
    if (in8) {
      std::memcpy(pin.data() + 4 + in, in8, n);
      in8 += n;
    } else {
      std::memset(pin.data() + 4 + in, 0, n);
    }
    cf->markBlockDirty(pin.data());
    db->noteChange();
    offset += n;
    length -= n;
  }
  return 0;
}

int32_t btMultiBlock::readElement(btCacheFile* cf, uint64_t i, uint32_t* valueOut) {
  uint8_t bytes[4];
  uint64_t perBlock = (cf->blockSize - 4) / 4;
  uint64_t offset = (i / perBlock) * (cf->blockSize - 4) + (i % perBlock) * 4;
  int32_t rc = read(cf, bytes, offset, 4);
  if (valueOut) *valueOut = btGet32(bytes);
  return rc;
}

int32_t btMultiBlock::writeElement(btDatabase* db, btCacheFile* cf, uint64_t i, uint32_t value) {
  uint8_t bytes[4];
  btPut32(bytes, value);
  uint64_t perBlock = (cf->blockSize - 4) / 4;
  uint64_t offset = (i / perBlock) * (cf->blockSize - 4) + (i % perBlock) * 4;
  return write(db, cf, bytes, offset, 4);
}
