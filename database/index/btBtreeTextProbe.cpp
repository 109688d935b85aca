#include "database/index/btBtreeTextProbe.h"

#include "database/btFieldCompare.h"
#include "database/btFieldType.h"
#include "database/btIndexDefinition.h"
#include "database/btTableInfo.h"
#include "database/index/btIndexKey.h"

bool btBtreeTextProbe::fits(const btIndexDefinition* index, uint32_t length) {
  if (!index || !index->owner || index->partCount != 1 || length == 0) return false;
  if (!keySummaryIsWide(index)) return false;
  const btFieldDefinition* f = index->owner->field(index->partField(0));
  if (!f || f->type != BT_FIELD_STRING) return false;
  const uint32_t summaryBytes = (index->indexFlags & BT_INDEX_SUMMARY16) ? 16 : 8;
  return f->size >= summaryBytes && length <= f->size && length <= 0xFFFF;
}

btBtreeTextProbe::btBtreeTextProbe(const btIndexDefinition* index, const char* text, uint32_t length)
    : index_(index),
      records_(index),
      text_(text),
      length_(length),
      field_(index->partField(0)),
      fieldSize_(index->owner->field(field_)->size),
      mode_(index->partMode(0)),
      summary_(btWideTextSummary(reinterpret_cast<const uint8_t*>(text), length, mode_,
                                 (index->indexFlags & BT_INDEX_SUMMARY16) != 0)) {}

int32_t btBtreeTextProbe::compareWithRecord(const btStoredRecord*, btSeek record, int* result) {
  compared_.returnBorrowedImage();
  int32_t rc = btLoadIndexRecord(index_, record, &compared_);
  if (rc < 0) return rc;
  btFieldValue stored;
  // A stored record without the field sorts below any text, as compareField
  // puts an absent field below a present one.
  if (!getFieldData(&compared_, field_, &stored)) {
    *result = 1;
    return 0;
  }
  const uint32_t storedLength = stored.length < fieldSize_ ? stored.length : fieldSize_;
  *result = compareTextByMode(text_, length_, reinterpret_cast<const char*>(stored.data), storedLength, mode_);
  return 0;
}

const btStoredRecord* btBtreeTextProbe::comparedRecord(btSeek seek) const {
  return compared_.block && compared_.seek == seek ? &compared_ : nullptr;
}
