// Record layout: binding, the offset table and the resizing of variable
// fields. The typed accessors are in btStoredRecordFields.cpp.
#include "database/btStoredRecord.h"

#include <cstring>

#include "database/btCacheFile.h"
#include "database/btFieldType.h"
#include "database/btStatus.h"
#include "database/btTableInfo.h"

namespace {

constexpr uint32_t kMaxImage = 0xFFFF;  // word 0 is a u16

uint8_t* wordAt(uint8_t* image, const btStoredRecord* r, uint32_t i) {
  return image + r->linkSlots * 8u + 2u * i;
}

// Bytes that hold the image: the rest of the block, or the private buffer.
uint64_t imageRoom(const btStoredRecord* r) {
  if (r->block) return r->cacheFile->blockSize - static_cast<uint64_t>(r->image - r->block);
  if (r->usesBorrowedImage()) return r->borrowedCapacity;
  return r->ownedSize;
}

// Private, writable image of at least `needed` bytes; an image in a block
// or one borrowed from initRecord's caller is copied first.
int32_t ensureWritable(btStoredRecord* r, uint32_t needed) {
  if (r->usesBorrowedImage()) {
    if (needed <= r->borrowedCapacity) return 0;
    uint8_t* borrowed = r->image;
    r->image = nullptr;
    r->ownedSize = 0;
    int32_t rc = ensureImage(r, needed);
    if (rc < 0) {
      r->image = borrowed;
      return rc;
    }
    std::memcpy(r->image, borrowed, r->size);
    r->borrowed = nullptr;
    r->borrowedCapacity = 0;
    return 0;
  }
  uint32_t want = needed > r->size ? needed : r->size;
  return ensureImage(r, want);
}

// Offset of the first present variable field after `v`, or the record end.
uint32_t nextPresent(const btStoredRecord* r, uint32_t v) {
  for (uint32_t j = v + 1; j < r->variableCount; j++) {
    uint16_t w = r->offsetWord(j);
    if (w >= 4 && w <= r->size) return w;
  }
  return r->size;
}

}  // namespace

btStoredRecord::~btStoredRecord() { returnBorrowedImage(); }

void btStoredRecord::returnBorrowedImage() {
  if (usesBorrowedImage()) {
    image = nullptr;
    ownedSize = 0;
  }
  borrowed = nullptr;
  borrowedCapacity = 0;
}

uint32_t btStoredRecord::fixedEnd() const {
  return linkSlots * 8u + 2u * variableCount + (table ? table->hdr.fixedSize : 0);
}


int32_t btStoredRecord::storedSizeIn(const btTableInfo* table, const uint8_t* image, uint64_t room, uint32_t* size) {
  const uint32_t links = table->linkSlots();
  const uint32_t variables = table->variableCount;
  const uint32_t base = links * 8u + 2u * variables + table->hdr.fixedSize;
  if (base > room) return BT_STATUS_OBJECT_OVERRUNS_BLOCK;
  uint32_t stored = base;
  if (variables != 0) {
    stored = btGet16(image + links * 8u);
    if (stored < links * 8u) stored = base;
  }
  *size = stored;
  if (stored < base || stored > room) return BT_STATUS_OBJECT_OVERRUNS_BLOCK;
  return 0;
}

int32_t btStoredRecord::unpack() {
  if (!table) return image ? BT_STATUS_NOT_READY : 0;
  linkSlots = static_cast<uint16_t>(table->linkSlots());
  variableCount = static_cast<uint16_t>(table->variableCount);
  if (!image) {
    size = fixedEnd();
    return 0;
  }
  return storedSizeIn(table, image, imageRoom(this), &size);
}

int32_t initRecord(btStoredRecord* record, btTableInfo* table, uint8_t* image,
                   uint32_t imageCapacity) {
  if (!record) return BT_STATUS_NOT_READY;
  if (!table) table = record->table;
  if (!table) return BT_STATUS_NOT_READY;
  record->returnBorrowedImage();
  record->releaseImage();
  record->table = table;
  record->unpack();  // members from the table; no image yet
  uint32_t size = record->fixedEnd();
  if (image) {
    if (imageCapacity < size) return BT_STATUS_OBJECT_OVERRUNS_BLOCK;
    std::memset(image, 0, imageCapacity);
    record->image = image;
    record->borrowed = image;
    record->borrowedCapacity = imageCapacity;
  } else {
    int32_t rc = ensureImage(record, size);
    if (rc < 0) return rc;
  }
  if (record->variableCount) btPut16(wordAt(record->image, record, 0), static_cast<uint16_t>(size));
  return record->unpack();
}

int32_t copyRecord(btStoredRecord* target, const btStoredRecord* source) {
  if (!target || !source || target == source) return BT_STATUS_NOT_READY;
  int32_t rc = initRecord(target, source->table);
  if (rc < 0 || !source->image) return rc;
  rc = ensureImage(target, source->size);
  if (rc < 0) return rc;
  std::memcpy(target->image, source->image, source->size);
  return target->unpack();
}

uint8_t* linkSlotAddress(const btStoredRecord* r, uint32_t slot) {
  if (!r->image || slot >= r->linkSlots) return nullptr;
  return r->image + 8u * slot;
}

uint8_t* fieldAddress(const btStoredRecord* r, uint32_t field) {
  if (!r->image || !r->table) return nullptr;
  const btTableInfo* t = r->table;
  const btFieldDefinition& f = t->fields[field];
  uint32_t fe = r->fixedEnd();
  if (!btFieldTypeIsVariable(f.type))
    return r->image + r->linkSlots * 8u + 2u * r->variableCount + f.fixedOffset;
  uint32_t v = t->variableNumber(field);
  if (v >= 1) {
    uint16_t w = r->offsetWord(v);
    if (w < 4 || w > r->size || w < fe) return nullptr;
    return r->image + w;
  }
  if (r->variableCount == 1) {
    if (r->size <= fe) return nullptr;
  } else {
    uint16_t w1 = r->offsetWord(1);
    if (w1 == 0 || w1 == fe) return nullptr;
  }
  return r->image + fe;
}

uint32_t fieldStoredLength(const btStoredRecord* r, uint32_t field) {
  const btFieldDefinition& f = r->table->fields[field];
  if (!btFieldTypeIsVariable(f.type)) return btFieldFixedBytes(f.type, f.size);
  uint8_t* p = fieldAddress(r, field);
  if (!p) return 0;
  uint32_t start = static_cast<uint32_t>(p - r->image);
  uint32_t end = nextPresent(r, r->table->variableNumber(field));
  return end > start ? end - start : 0;
}

uint32_t btVariableFieldEnd(const btStoredRecord* r, uint32_t v) { return nextPresent(r, v); }

// Beside fieldAddress so that the compiler can fold the two together: keys,
// summaries and hashes come through here.
bool getFieldData(const btStoredRecord* r, uint32_t field, btFieldValue* value) {
  *value = btFieldValue();
  if (!r || !r->table) return false;
  const btFieldDefinition* f = r->table->field(field);
  if (!f) return false;
  if (f->type == BT_FIELD_STRING && r->image) {
    // The text of names, numbers and messages: found, bounded and read in
    // one go, by the same rules as below.
    const uint32_t v = r->table->variableNumber(field);
    const uint32_t fe = r->fixedEnd();
    uint32_t start;
    if (v >= 1) {
      start = r->offsetWord(v);
      if (start < 4 || start > r->size || start < fe) return false;
    } else {
      if (r->variableCount == 1 ? r->size <= fe : (r->offsetWord(1) == 0 || r->offsetWord(1) == fe)) return false;
      start = fe;
    }
    const uint32_t end = nextPresent(r, v);
    const uint32_t region = end > start ? end - start : 0;
    const uint32_t prefix = region < 2 ? region : 2;
    uint32_t length = region >= 2 ? btGet16(r->image + start) : 0;
    if (length > region - prefix) length = region - prefix;
    value->data = r->image + start + prefix;
    value->length = length;
    return true;
  }
  uint8_t* p = fieldAddress(r, field);
  if (!p) return false;
  // fieldStoredLength without finding the address a second time.
  const btFieldTypeInfo* info = btFieldTypeOf(f->type);
  uint32_t region;
  if (!info || !info->variable) {
    region = btFieldFixedBytes(f->type, f->size);
  } else {
    uint32_t start = static_cast<uint32_t>(p - r->image);
    uint32_t end = btVariableFieldEnd(r, r->table->variableNumber(field));
    region = end > start ? end - start : 0;
  }
  uint32_t prefix = info ? info->prefix : 0;
  uint32_t length = region;
  switch (f->type) {
    case BT_FIELD_STRING:
    case BT_FIELD_IMAGE2:
      length = region >= 2 ? btGet16(p) : 0;
      break;
    case BT_FIELD_BSTRING:
      length = region >= 1 ? p[0] : 0;
      break;
    case BT_FIELD_ISTRING:
    case BT_FIELD_IMAGE:
      length = region >= 4 ? btGet32(p) : 0;
      break;
    case BT_FIELD_ZSTRING: {
      const void* nul = std::memchr(p, 0, region);
      length = nul ? static_cast<uint32_t>(static_cast<const uint8_t*>(nul) - p) : region;
      break;
    }
    default:
      break;
  }
  // A damaged prefix must not read past the field.
  if (prefix > region) prefix = region;
  if (length > region - prefix) length = region - prefix;
  value->data = p + prefix;
  value->length = length;
  return true;
}

uint8_t* writableFieldAddress(btStoredRecord* r, uint32_t field, int32_t* status) {
  *status = 0;
  // A record being built already has its private image: its fixed fields
  // are written where they stand.
  if (r->table && field < r->table->fieldCount() && r->image && !r->block &&
      (r->usesBorrowedImage() ? r->size <= r->borrowedCapacity : r->ownedSize >= r->size)) {
    const btFieldDefinition& f = r->table->fields[field];
    if (!btFieldTypeIsVariable(f.type))
      return r->image + r->linkSlots * 8u + 2u * r->variableCount + f.fixedOffset;
  }
  if (!r->table || field >= r->table->fieldCount()) {
    *status = BT_STATUS_BAD_FIELD;
    return nullptr;
  }
  if (!r->image) {
    *status = initRecord(r, r->table);
    if (*status < 0) return nullptr;
  }
  *status = ensureWritable(r, r->size);
  if (*status < 0) return nullptr;
  return fieldAddress(r, field);
}

uint8_t* resizeField(btStoredRecord* r, uint32_t field, uint32_t newLength, int32_t* status) {
  *status = 0;
  if (!r->table || field >= r->table->fieldCount()) {
    *status = BT_STATUS_BAD_FIELD;
    return nullptr;
  }
  if (!r->image) {
    *status = initRecord(r, r->table);
    if (*status < 0) return nullptr;
  }
  const btFieldDefinition& f = r->table->fields[field];
  if (!btFieldTypeIsVariable(f.type)) return writableFieldAddress(r, field, status);

  uint32_t v = r->table->variableNumber(field);
  uint8_t* old = fieldAddress(r, field);
  // The field runs up to the next present one (or the end) either way.
  uint32_t end = nextPresent(r, v);
  uint32_t pos = old ? static_cast<uint32_t>(old - r->image) : end;
  uint32_t oldLength = old && end > pos ? end - pos : 0;
  if (old && oldLength == newLength) {
    *status = ensureWritable(r, r->size);
    return *status < 0 ? nullptr : r->image + pos;
  }
  if (!old && newLength == 0) return nullptr;
  int64_t diff = static_cast<int64_t>(newLength) - static_cast<int64_t>(oldLength);
  int64_t newSize = static_cast<int64_t>(r->size) + diff;
  if (newSize > kMaxImage) {
    *status = BT_STATUS_OBJECT_OVERRUNS_BLOCK;
    return nullptr;
  }
  // Only removing field 1 needs to know whether field 0 is there.
  bool field0Present =
      v != 1 || newLength > 0 || fieldAddress(r, r->table->fieldOfVariable(0)) != nullptr;
  *status = ensureWritable(r, static_cast<uint32_t>(newSize > r->size ? newSize : r->size));
  if (*status < 0) return nullptr;

  uint8_t* img = r->image;
  uint32_t tail = pos + oldLength;
  std::memmove(img + pos + newLength, img + tail, r->size - tail);
  if (diff < 0) std::memset(img + newSize, 0, static_cast<size_t>(-diff));
  for (uint32_t j = v + 1; j < r->variableCount; j++) {
    uint8_t* w = wordAt(img, r, j);
    uint16_t value = btGet16(w);
    if (value >= 4) btPut16(w, static_cast<uint16_t>(value + diff));
  }
  r->size = static_cast<uint32_t>(newSize);
  btPut16(wordAt(img, r, 0), static_cast<uint16_t>(newSize));
  if (newLength > 0) {
    if (v >= 1) {
      btPut16(wordAt(img, r, v), static_cast<uint16_t>(pos));
    } else if (r->variableCount > 1 && r->offsetWord(1) == 0) {
      btPut16(wordAt(img, r, 1), 1);
    }
    return img + pos;
  }
  if (v == 1) {
    // Word 1 at 1 keeps field 0 present; with field 0 absent it must be 0.
    btPut16(wordAt(img, r, 1), field0Present ? 1 : 0);
  } else if (v >= 2) {
    btPut16(wordAt(img, r, v), 0);
  } else if (r->variableCount > 1 && r->offsetWord(1) == 1) {
    btPut16(wordAt(img, r, 1), 0);
  }
  return nullptr;
}
