// btCatalog: the tables of an open database, and the operations that add a
// table and find one by name. The catalogue on disk is the set of all
// btTableInfo images: they live in catalogue blocks (kind 1, chained from
// the header's catalogueBlockHead), the header lists their raw positions in
// table number order (tables[], tableCount), and they form a list in
// creation order through nextTable/prevTable from firstTable to lastTable.
//
// Ownership: the database owns its btCatalog, and the catalog owns one
// btTableInfo per table. They are made unbound when the header is read and
// bound to their images on first need; they live until the database closes
// or reads its header again. A table handed out by getTable belongs to the
// database. The catalog registers each table as a data chain owner, so
// that block storage can move the heads of private chains.
// Threading: callers hold the database lock (addTable the write lock,
// getTable the read lock); addTable also holds the cache lock.
#pragma once

#include <cstdint>

#include "database/btSeek.h"
#include "runtime/cmArray.h"

class btDatabase;
class btIndexDefinition;
class btTableInfo;

class btCatalog {
 public:
  explicit btCatalog(btDatabase* database) : database_(database) {}
  ~btCatalog() { clear(); }
  btCatalog(const btCatalog&) = delete;
  btCatalog& operator=(const btCatalog&) = delete;

  // Destroys the table objects and makes one, unbound, for each position
  // that the header lists.
  void rebuild();
  // Destroys the table objects (before the blocks they pin are dropped).
  void clear();
  // Adds an unbound table object for a newly placed image.
  void append(btSeek position);

  uint32_t count() const { return static_cast<uint32_t>(tables_.size()); }
  // The table of a number, bound to its image first; null on failure.
  btTableInfo* table(uint32_t number);
  // The table whose image lies at `position`, bound; null if none.
  btTableInfo* tableAt(btSeek position);
  // The table of a name (case-insensitive), bound; null if none.
  btTableInfo* find(const char* name);

 private:
  int32_t bind(btTableInfo* table, bool force);

  btDatabase* database_;
  cmArray<btTableInfo*> tables_;
};

// Adds a table built in memory to the database: places a copy of its image
// in the catalogue, links it at the tail of the table list, and creates the
// stored roots of its indexes. The caller keeps `tableInfo`. Returns 0 or a
// status; a failure after the placement leaves the table in the catalogue.
int32_t addTable(btDatabase* database, btTableInfo* tableInfo);
// The database's table of that name, freshly bound, or null.
btTableInfo* getTable(btDatabase* database, const char* name);
// The index definition of that name in `table`, or null.
btIndexDefinition* getIndex(btDatabase* database, btTableInfo* table, const char* name);
// Field and index numbers by name; BT_STATUS_NO_SUCH_FIELD / _INDEX.
int32_t fieldIndex(const btTableInfo* table, const char* name);
int32_t indexNumber(const btTableInfo* table, const char* name);

// Creates the stored root of index `index` of a table just added, by kind:
// 0 B-tree; 1, 12 sorted array on disk; 3, 17 small hash table; 4 block
// hash table; 9 large hash table. Kinds 2, 7, 8, 10, 11, 13 to 16 have no
// root at this stage; 5, 6 and kinds above 17 give BT_STATUS_UNSUPPORTED.
// Defined in btIndexRootFactory.cpp, beside the index structures.
int32_t createIndexRoot(btDatabase* database, btTableInfo* table, uint32_t index);
