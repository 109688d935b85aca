// btBtreeTextProbe: the keys of a B-tree search whose key is a text held by
// the caller, for an index of one text part under a wide summary. The tree
// searches with it exactly as with a key record that holds the text (the
// same summary, the same comparison of the field), but no record is built
// and the summary is made once. Lookups by name, the commonest search of
// the version cache, go this way.
//
// The record that the last comparison read stays bound in the probe, so
// that a search whose answer it is hands it over without a second load.
// Chains and stored summaries go to the table's own record keys.
//
// Ownership: the text is the caller's and must outlive the probe; the
// probe owns the bound record and its pin until it goes or compares again.
// Threading: as the tree that calls it.
#pragma once

#include <cstdint>

#include "database/btStoredRecord.h"
#include "database/index/btBtreeKeys.h"

class btBtreeTextProbe : public btBtreeKeys {
 public:
  // Whether `index` can be searched with `length` bytes of text: one part,
  // of type `string`, no wider than the field (a longer text would be cut
  // as a record cuts it), a wide summary no wider than the field, and at
  // least one byte. Anything else goes by a key record.
  static bool fits(const btIndexDefinition* index, uint32_t length);

  // `index` must fit the text (see fits).
  btBtreeTextProbe(const btIndexDefinition* index, const char* text, uint32_t length);

  btKeySummary summaryOfKey(const btStoredRecord*) override { return summary_; }
  int32_t summaryOfRecord(btSeek record, btKeySummary* summary) override {
    return records_.summaryOfRecord(record, summary);
  }
  // As compareKeys of a key record holding the text against the record.
  int32_t compareWithRecord(const btStoredRecord*, btSeek record, int* result) override;

  int32_t chainAdd(btIndexIterator* it, btSeek seek) override { return records_.chainAdd(it, seek); }
  int32_t chainNext(btIndexIterator* it) override { return records_.chainNext(it); }
  int32_t chainPrevious(btIndexIterator* it) override { return records_.chainPrevious(it); }
  int32_t chainTail(btIndexIterator* it) override { return records_.chainTail(it); }
  int32_t chainSeek(btIndexIterator* it, btSeek seek) override { return records_.chainSeek(it, seek); }
  int32_t unlinkDuplicate(btIndexIterator* it, btSeek seek, bool backward,
                          btSeek* newHead) override {
    return records_.unlinkDuplicate(it, seek, backward, newHead);
  }

  // The record read by the last comparison, still bound, when it is the
  // one at `seek`; null otherwise.
  const btStoredRecord* comparedRecord(btSeek seek) const;

 private:
  const btIndexDefinition* index_;
  btBtreeRecordKeys records_;
  const char* text_;
  uint32_t length_;
  uint32_t field_;
  uint32_t fieldSize_;
  int mode_;
  btKeySummary summary_;
  btStoredRecord compared_;
};
