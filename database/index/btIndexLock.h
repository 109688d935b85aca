// btIndexLock: the locks an index operation holds for its whole run: the
// database lock, then the cache lock of the file, in the engine's lock
// order. Both are recursive, so an operation may call another. A null
// database takes nothing. Scoped; one thread.
#pragma once

#include <optional>

#include "database/btDatabase.h"
#include "database/btFileCache.h"

class btIndexLock {
 public:
  btIndexLock(btDatabase* database, bool write) {
    if (!database) return;
    db_.emplace(database, write);
    cache_.emplace(database->getCacheFile()->cache);
  }
  btIndexLock(const btIndexLock&) = delete;
  btIndexLock& operator=(const btIndexLock&) = delete;

 private:
  std::optional<btDatabase::Lock> db_;
  std::optional<btCacheLockGuard> cache_;
};
