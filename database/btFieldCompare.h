// Comparison of field values between two records, on which every index
// rests: by type, with the comparison mode of the key part. Results are
// -1, 0 or 1. Both records must belong to tables of the same layout (in
// practice the same table). Stateless; any thread.
//
// Modes: 1 exact; 0 case-insensitive; -1 case-insensitive, then exact on a
// tie; -2 as -1, and "utf8" text that is equal as a file name counts as
// equal. An absent field sorts before a present one; two absent fields are
// equal.
#pragma once

#include <cstdint>

class btIndexDefinition;
class btStoredRecord;

int compareField(const btStoredRecord* a, const btStoredRecord* b, uint32_t field, int mode);
// Applies compareField to each key part in order with the part's mode and
// returns the first difference. A key without parts compares equal.
int compareKeys(const btStoredRecord* a, const btStoredRecord* b, const btIndexDefinition* index);
// Text order by mode, over two byte ranges.
int compareTextByMode(const char* a, uint32_t alen, const char* b, uint32_t blen, int mode);
