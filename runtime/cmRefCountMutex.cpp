#include "runtime/cmRefCountMutex.h"

#include <atomic>

#include "platform/cmPlatformThread.h"

namespace {
// Constant-initialised and never destroyed: reference counts are dropped by
// the destructors of other statics, in no order we control.
union MutexTable {
  constexpr MutexTable() : mutexes{} {}
  ~MutexTable() {}
  platform::Mutex mutexes[256];
};
constinit MutexTable gTable;
constinit std::atomic<uint8_t> gNextIndex{0};
constinit thread_local int tIndex = -1;
}  // namespace

void cmRefCountMutexLock(uint8_t index) {
  platform::Mutex& m = gTable.mutexes[index];
  if (!m.initialised()) m.init();
  m.lock();
}

void cmRefCountMutexUnlock(uint8_t index) { gTable.mutexes[index].unlock(); }

uint8_t cmRefCountNextMutexIndex() {
  if (tIndex < 0) tIndex = gNextIndex.fetch_add(1, std::memory_order_relaxed);
  return uint8_t(tIndex);
}
