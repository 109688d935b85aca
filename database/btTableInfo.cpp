#include "database/btTableInfo.h"

#include <cstring>

#include "database/btCacheFile.h"
#include "database/btDatabase.h"
#include "database/btFieldType.h"
#include "database/btStatus.h"
#include "text/cmStringCompare.h"

namespace {

bool sameName(const char* a, const char* b) {
  return cmStringCompare::equalFolded(a, std::strlen(a), b, std::strlen(b));
}

void copyName(char* dst, const char* src) {
  std::memset(dst, 0, 33);
  if (!src) return;
  size_t n = std::strlen(src);
  std::memcpy(dst, src, n < 32 ? n : 32);
}

}  // namespace

void btTableHeader::read(const uint8_t* image) {
  nextTable = btReadAddress(btGet32(image));
  prevTable = btReadAddress(btGet32(image + 4));
  fieldCount = btGet16(image + 8);
  indexCount = btGet16(image + 10);
  fixedSize = btGet32(image + 12);
  freeRecordHead = btReadAddress(btGet32(image + 16));
  recordCount = btGet32(image + 20);
  firstRecord = btReadAddress(btGet32(image + 24));
  lastRecord = btReadAddress(btGet32(image + 28));
  std::memcpy(name, image + 32, 32);
  name[32] = '\0';
  tableFlags = btGet16(image + 66);
  ownDataHead = btReadAddress(btGet32(image + 68));
  ownSecondHead = btReadAddress(btGet32(image + 72));
  lastAutoNumber = btGet32(image + 76);
}

void btTableHeader::write(uint8_t* image) const {
  btPut32(image, nextTable);
  btPut32(image + 4, prevTable);
  btPut16(image + 8, fieldCount);
  btPut16(image + 10, indexCount);
  btPut32(image + 12, fixedSize);
  btPut32(image + 16, freeRecordHead);
  btPut32(image + 20, recordCount);
  btPut32(image + 24, firstRecord);
  btPut32(image + 28, lastRecord);
  std::memset(image + 32, 0, 33);
  size_t n = std::strlen(name);
  std::memcpy(image + 32, name, n < 32 ? n : 32);
  btPut16(image + 66, tableFlags);
  btPut32(image + 68, ownDataHead);
  btPut32(image + 72, ownSecondHead);
  btPut32(image + 76, lastAutoNumber);
}

btTableInfo::btTableInfo(const char* tableName, uint16_t flags) {
  std::memset(inlineBuffer, 0, sizeof inlineBuffer);
  image = inlineBuffer;
  ownedSize = sizeof inlineBuffer;
  copyName(hdr.name, tableName);
  hdr.tableFlags = flags;
  hdr.write(image);
  unpack();
}

btTableInfo::btTableInfo(btDatabase* db) : database(db) {}

btTableInfo::~btTableInfo() {
  for (int64_t i = 0; i < indexes.size(); i++) delete indexes[i];
  indexes.clear(true);
}

uint32_t btTableInfo::storedSize() const {
  if (!image) return 0;
  return (hdr.fieldCount + 2u + 2u * hdr.indexCount) * kUnit;
}

bool btTableInfo::linkSlotsInFormat() const {
  return database ? database->header().version >= 2000 : true;
}

int32_t btTableInfo::unpack() {
  if (!image) return 0;
  if (!headerFits(2 * kUnit)) return BT_STATUS_OBJECT_OVERRUNS_BLOCK;
  hdr.read(image);
  if (hdr.fieldCount > kMaxStoredFields) return BT_STATUS_STORED_FIELD_LIMIT;
  if (hdr.indexCount > kMaxIndexes) return BT_STATUS_TABLE_FULL;
  // The definitions must lie inside what holds the image before they are read.
  uint64_t room = block ? cacheFile->blockSize - static_cast<uint64_t>(image - block) : ownedSize;
  if (storedSize() > room) return BT_STATUS_OBJECT_OVERRUNS_BLOCK;

  fields.setSize(hdr.fieldCount);
  fieldToVariable.setSize(hdr.fieldCount);
  variableToField.setSize(0);
  variableCount = 0;
  for (uint32_t i = 0; i < hdr.fieldCount; i++) {
    btFieldDefinition& f = fields[i];
    f.read(image + (2 + i) * kUnit);
    f.owner = this;
    f.number = i;
    if (btFieldTypeIsVariable(f.type)) {
      fieldToVariable[i] = static_cast<uint16_t>(variableCount++);
      variableToField.append(static_cast<uint16_t>(i));
    } else {
      fieldToVariable[i] = 0xFFFF;
    }
  }

  // Definitions are kept across unpacks so that open structures survive a
  // fresh load of the same table; the index layer reopens them when the
  // root has moved.
  for (int64_t i = hdr.indexCount; i < indexes.size(); i++) delete indexes[i];
  int64_t kept = indexes.size() < hdr.indexCount ? indexes.size() : hdr.indexCount;
  indexes.setSize(hdr.indexCount);
  for (int64_t i = kept; i < hdr.indexCount; i++) indexes[i] = new btIndexDefinition();
  indexToLink.setSize(hdr.indexCount);
  linkToIndex.setSize(0);
  indexLinkCount = 0;
  bool links = linkSlotsInFormat();
  for (uint32_t i = 0; i < hdr.indexCount; i++) {
    btIndexDefinition* d = indexes[i];
    d->read(image + indexImageOffset(i));
    d->owner = this;
    d->number = static_cast<int32_t>(i);
    d->computeKeyFitsLink();
    if (links && btIndexDefinition::needsLinkSlot(d->indexType, d->indexFlags)) {
      indexToLink[i] = static_cast<int32_t>(indexLinkCount++);
      linkToIndex.append(static_cast<uint16_t>(i));
    } else {
      indexToLink[i] = -1;
    }
  }

  if (database) {
    uint64_t size = database->logicalFileSize();
    if (hdr.nextTable >= size || hdr.prevTable >= size) return BT_STATUS_BAD_ADDRESS;
    for (btSeek s : {hdr.firstRecord, hdr.lastRecord, hdr.freeRecordHead})
      if (database->decodeSeek(s) >= size) return BT_STATUS_BAD_ADDRESS;
    if (hdr.fixedSize >= database->blockSize()) return BT_STATUS_BAD_TABLE_INFO;
  }
  return 0;
}

int32_t btTableInfo::linkSlotOfIndex(uint32_t i) const {
  if (i >= hdr.indexCount || indexToLink[i] < 0) return -1;
  return indexToLink[i] + (hasChain() ? 1 : 0);
}

int32_t btTableInfo::indexOfLinkSlot(uint32_t slot) const {
  uint32_t base = hasChain() ? 1 : 0;
  if (slot < base || slot - base >= indexLinkCount) return -1;
  return linkToIndex[slot - base];
}

int32_t btTableInfo::fieldIndex(const char* fieldName) const {
  if (fieldName) {
    for (uint32_t i = 0; i < hdr.fieldCount; i++)
      if (sameName(fields[i].name, fieldName)) return static_cast<int32_t>(i);
  }
  return BT_STATUS_NO_SUCH_FIELD;
}

int32_t btTableInfo::indexNumber(const char* indexName) const {
  if (indexName) {
    for (uint32_t i = 0; i < hdr.indexCount; i++)
      if (sameName(indexes[i]->name, indexName)) return static_cast<int32_t>(i);
  }
  return BT_STATUS_NO_SUCH_INDEX;
}

void btTableInfo::computeFixedOffsets() {
  uint32_t sum = 0;
  for (uint32_t i = 0; i < hdr.fieldCount; i++) {
    uint8_t* def = image + (2 + i) * kUnit;
    uint32_t type = def[8];
    if (btFieldTypeIsVariable(type)) continue;
    btPut32(def + 4, sum);
    sum += btFieldFixedBytes(type, btGet32(def));
  }
  hdr.fixedSize = sum;
}

int32_t btTableInfo::addField(const char* fieldName, uint32_t type, uint32_t size,
                              uint8_t fieldFlags) {
  if (!image) return BT_STATUS_NOT_READY;
  if (!fieldName) return BT_STATUS_NULL_FIELD_NAME;
  if (fieldIndex(fieldName) >= 0) return BT_STATUS_DUPLICATE_FIELD;
  if (hdr.fieldCount >= kMaxFields) return BT_STATUS_TABLE_FULL;
  if (!btFieldTypeOf(type)) return BT_STATUS_WRONG_FIELD_TYPE;
  uint32_t oldSize = storedSize();
  int32_t rc = ensureImage(this, oldSize + kUnit);
  if (rc < 0) return rc;
  uint32_t at = (2 + hdr.fieldCount) * kUnit;
  std::memmove(image + at + kUnit, image + at, oldSize - at);
  btFieldDefinition f;
  f.size = size;
  f.type = static_cast<uint8_t>(type);
  // Types 14, 15 and 21 are given flag 16 first, but the argument is then
  // stored over it: they are nullable only when the caller says so.
  f.flags = fieldFlags;
  copyName(f.name, fieldName);
  f.write(image + at);
  hdr.fieldCount++;
  computeFixedOffsets();
  commitHeader();
  return unpack();
}

int32_t btTableInfo::addIndex(const char* indexName, uint8_t indexType, uint8_t indexFlags,
                              uint32_t arg4, uint32_t arg5, uint8_t arg6, const char* field1,
                              const char* field2, const char* field3, const char* field4,
                              const char* field5, const char* field6) {
  if (!indexName) return BT_STATUS_NULL_INDEX_NAME;
  if (indexNumber(indexName) >= 0) return BT_STATUS_DUPLICATE_INDEX;
  btIndexDefinition def;
  copyName(def.name, indexName);
  def.indexType = indexType;
  def.indexFlags = indexFlags;
  def.conversionCount = arg4;
  def.arg5 = arg5;
  def.arg6 = arg6;
  def.owner = this;
  const char* names[kAddIndexParts] = {field1, field2, field3, field4, field5, field6};
  for (const char* fieldName : names) {
    if (!fieldName) continue;
    int32_t fi = fieldIndex(fieldName);
    if (fi < 0) return BT_STATUS_NO_SUCH_FIELD;
    btFieldDefinition& f = fields[fi];
    if (!btFieldTypeOf(f.type)->key) return BT_STATUS_FIELD_NOT_INDEXABLE;
    if (def.partCount >= btIndexDefinition::kMaxParts) continue;
    uint16_t mode = 0;
    switch (f.flags & (BT_FIELD_EXACT | BT_FIELD_CASE_THEN_EXACT)) {
      case BT_FIELD_EXACT: mode = BT_KEY_EXACT; break;
      case BT_FIELD_CASE_THEN_EXACT: mode = BT_KEY_CASE_THEN_EXACT; break;
      case BT_FIELD_EXACT | BT_FIELD_CASE_THEN_EXACT: mode = BT_KEY_FILE_NAMES; break;
      default: break;
    }
    def.parts[def.partCount++] = static_cast<uint16_t>(fi | mode);
    uint8_t extra = (indexFlags & BT_INDEX_FIELD_FLAG2)   ? BT_FIELD_KEY_FLAG2
                    : (indexFlags & BT_INDEX_FIELD_FLAG4) ? BT_FIELD_KEY_FLAG4
                                                          : 0;
    if (extra) {
      f.flags |= extra;
      if (image) image[(2 + fi) * kUnit + 9] = f.flags;
    }
    def.computeKeyFitsLink();
  }
  if (!image) return BT_STATUS_NOT_READY;
  if (!hasChain() && !btIndexDefinition::isPersistentKind(indexType)) {
    bool iterable = false;
    for (uint32_t i = 0; i < hdr.indexCount; i++)
      if (btIndexDefinition::isPersistentKind(indexes[i]->indexType)) iterable = true;
    if (!iterable) return BT_STATUS_NO_ITERABLE_INDEX;
  }
  if (indexNumber(indexName) >= 0) return BT_STATUS_DUPLICATE_INDEX;
  if (hdr.indexCount >= kMaxIndexes) return BT_STATUS_TABLE_FULL;
  uint32_t oldSize = storedSize();
  int32_t rc = ensureImage(this, oldSize + btIndexDefinition::kImageSize);
  if (rc < 0) return rc;
  def.write(image + oldSize);
  hdr.indexCount++;
  commitHeader();
  return unpack();
}

void btTableInfo::commitHeader() {
  if (image) hdr.write(image);
  markImageDirty();
}

namespace {

void store32(btTableInfo* t, uint32_t offset, uint32_t value) {
  if (t->image) btPut32(t->image + offset, value);
  t->markImageDirty();
}

}  // namespace

void btTableInfo::setRecordCount(uint32_t count) {
  hdr.recordCount = count;
  store32(this, 20, count);
}

void btTableInfo::setFirstRecord(btSeek seek) {
  hdr.firstRecord = seek;
  store32(this, 24, seek);
}

void btTableInfo::setLastRecord(btSeek seek) {
  hdr.lastRecord = seek;
  store32(this, 28, seek);
}

void btTableInfo::setFreeRecordHead(btSeek seek) {
  hdr.freeRecordHead = seek;
  store32(this, 16, seek);
}

void btTableInfo::setLastAutoNumber(uint32_t value) {
  hdr.lastAutoNumber = value;
  store32(this, 76, value);
}

void btTableInfo::setNextTable(btSeek pos) {
  hdr.nextTable = pos;
  store32(this, 0, pos);
}

void btTableInfo::setPrevTable(btSeek pos) {
  hdr.prevTable = pos;
  store32(this, 4, pos);
}

void btTableInfo::setOwnDataHead(btSeek head) {
  hdr.ownDataHead = head;
  store32(this, 68, head);
}

void btTableInfo::setOwnSecondHead(btSeek head) {
  hdr.ownSecondHead = head;
  store32(this, 72, head);
}
