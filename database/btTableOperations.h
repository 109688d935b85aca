// Table operations: insert, update, delete and find of the records of a
// table, with every index of the table kept in step. There are no
// transactions: each operation changes the cached blocks at once and leaves
// the table and its indexes consistent in the cache when it returns; the
// only commit point is closeDatabase.
//
// Order of an insert: the unique indexes are searched first, before any
// block is touched, so a key violation (BT_STATUS_KEY_VIOLATION) changes
// nothing; then the record is placed and chained, and the indexes are
// updated in index order. When an index fails at that stage the record is
// deleted again, which takes it out of the indexes it reached: the only
// rollback of the engine.
//
// Ownership: records are the caller's. A record returned by a find or a
// load is detached, so its image is a private copy that outlives the block.
// Threading: insert, update and delete take the database lock for writing,
// the finds for reading, then the cache lock for the whole operation.
#pragma once

#include <cstdint>

#include "database/btSeek.h"

class btDatabase;
class btIndexIterator;
class btStoredRecord;
class btTableInfo;

// Stores a copy of `record` as a new row of `table` and enters it in every
// index. `seekOut` (may be null) receives the new record's slot seek, 0 on
// failure. BT_STATUS_READ_ONLY, BT_STATUS_NO_TABLE, BT_STATUS_NO_DATABASE,
// BT_STATUS_RECORD_REJECTED (a required field is null),
// BT_STATUS_KEY_VIOLATION (a unique index holds the key; nothing changed),
// or the status of a placement or an index.
int32_t insertRecord(btDatabase* database, btTableInfo* table, btStoredRecord* record,
                     btSeek* seekOut);

// Replaces the row at `*seekInOut` (0: the seek `record` was loaded from)
// with `record`. A record whose keys are unchanged and that is no larger,
// and at most 63 bytes smaller, is rewritten in place and keeps its seek;
// otherwise the row is deleted and inserted again, and `*seekInOut` gets
// the new seek. A failed re-insert leaves the row deleted and returns its
// status.
int32_t updateRecord(btDatabase* database, btTableInfo* table, btStoredRecord* record,
                     btSeek* seekInOut);

// Removes the row at `seek` from every index and from the table. A slot of
// a fixed-size table goes on the table's free list, to be reused by the
// next insert; a variable-size record's slot is released.
int32_t deleteRecord(btTableInfo* table, btSeek seek);

// Binds `record` to `table`, loads the row at `seek` and detaches it.
int32_t loadRecord(btTableInfo* table, btStoredRecord* record, btSeek seek);

// Positions `iterator` (bound to an index of `table`, see getIndex) on the
// first record whose key equals that of `key`, and loads it into `record`
// (may be null). BT_STATUS_NOT_FOUND for anything missing or failing, and
// `record` is then either as it was or empty; BT_STATUS_NO_DATABASE for a
// table without a database.
int32_t findFirst(btDatabase* database, btTableInfo* table, btIndexIterator* iterator,
                  const btStoredRecord* key, btStoredRecord* record);
// As findFirst, for a caller that wants one unsigned field of the record
// (an id): read in place while the record is bound, without copying the
// record out of its block. The same results as findFirst and getUnsigned.
int32_t findFirstUnsigned(btDatabase* database, btTableInfo* table, btIndexIterator* iterator,
                          const btStoredRecord* key, uint32_t field, uint64_t* value);
// As findFirstUnsigned, for the B-tree of a one-part text key, with the key
// given as `length` bytes of text: no key record is built and the summary
// is made once (btBtreeTextProbe). BT_STATUS_UNSUPPORTED, with nothing
// searched, when the index is no B-tree that the text fits; the caller
// then asks with a key record.
int32_t findUnsignedByText(btDatabase* database, btTableInfo* table, btIndexIterator* iterator,
                           const char* text, uint32_t length, uint32_t field, uint64_t* value);
// Steps `iterator` with the index's `next` and loads the record there. In
// a hash index `next` walks on past the key into the following buckets.
int32_t findNext(btDatabase* database, btTableInfo* table, btIndexIterator* iterator,
                 btStoredRecord* record);
// As findNext, but BT_STATUS_NOT_FOUND once the key differs from the
// current one: the way to read all rows of one key of an index with
// duplicates.
int32_t findNextEqual(btDatabase* database, btTableInfo* table, btIndexIterator* iterator,
                      btStoredRecord* record);
