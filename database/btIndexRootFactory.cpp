// The creation of an index's stored root when its table is added. The
// structures live in database/index/; a kind whose structure has no create
// function yet (the sorted arrays) keeps a root of 0, which the index
// factory reads as "not yet created".
#include "database/btCatalog.h"
#include "database/btStatus.h"
#include "database/btTableInfo.h"
#include "database/index/btBtreeIndex.h"
#include "database/index/btIndexStructure.h"

int32_t createIndexRoot(btDatabase* database, btTableInfo* table, uint32_t index) {
  btIndexDefinition* d = table ? table->index(index) : nullptr;
  if (!d) return BT_STATUS_NO_INDEX_ROOT;
  switch (d->indexType) {
    case 0:               // B-tree
      return btBtreeIndex::create(database, d);
    case 3: case 17:      // small hash table
    case 4:               // block hash table
    case 9:               // large hash table
      return createIndexStructure(database, d);
    case 1: case 12:      // sorted array on disk: created on first use
      return 0;
    case 2: case 7: case 8: case 10: case 11: case 13: case 14: case 15: case 16:
      return 0;           // held in memory; nothing stored yet
    default:
      return BT_STATUS_UNSUPPORTED;
  }
}
