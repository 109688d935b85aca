// The creation of an index's stored root when its table is added. The
// structures that own roots are built in database/index/; until a kind's
// create function exists here its root stays 0, which the index factory
// reads as "not yet created" and creates on first use.
#include "database/btCatalog.h"
#include "database/btStatus.h"
#include "database/btTableInfo.h"

int32_t createIndexRoot(btDatabase* database, btTableInfo* table, uint32_t index) {
  (void)database;
  btIndexDefinition* d = table ? table->index(index) : nullptr;
  if (!d) return BT_STATUS_NO_INDEX_ROOT;
  switch (d->indexType) {
    case 0:               // B-tree
    case 1: case 12:      // sorted array on disk
    case 3: case 17:      // small hash table
    case 4:               // block hash table
    case 9:               // large hash table
      return 0;
    case 2: case 7: case 8: case 10: case 11: case 13: case 14: case 15: case 16:
      return 0;           // held in memory; nothing stored yet
    default:
      return BT_STATUS_UNSUPPORTED;
  }
}
