#include "database/btRecordLinks.h"

#include "database/btCacheFile.h"
#include "database/btDatabase.h"
#include "database/btStatus.h"
#include "database/btStoredObject.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"

int32_t btRecordLinks::bind(btTableInfo* table, btSeek seek) {
  release();
  if (!table) return BT_STATUS_NO_TABLE;
  if (!table->database || !table->database->getCacheFile()) return BT_STATUS_NO_DATABASE;
  if (!seek) return BT_STATUS_BAD_ADDRESS;
  btCacheFile* cf = table->database->getCacheFile();
  uint8_t* data = nullptr;
  uint64_t offset = 0;
  int32_t rc = pinSlot(cf, seek, &data, &offset);
  if (rc < 0) return rc;
  cacheFile_ = cf;
  block_ = data;
  image_ = data + offset;
  mapped_ = cf->inMappedView(data);
  rc = btStoredRecord::storedSizeIn(table, image_, cf->blockSize - offset, &size_);
  if (rc < 0) release();
  return rc;
}

bool btRecordLinks::markDirty() {
  if (!block_ || mapped_) return false;
  cacheFile_->markBlockDirty(block_);
  if (cacheFile_->database && !cacheFile_->readOnly) cacheFile_->database->noteChange();
  return true;
}

void btRecordLinks::release() {
  if (block_ && !mapped_) cacheFile_->unpinBlock(block_);
  block_ = nullptr;
  image_ = nullptr;
  size_ = 0;
  mapped_ = false;
}
