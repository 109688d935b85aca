// A table of 256 mutexes that protect reference counts of shared objects
// (shared string buffers and the like). An object stores the index of the
// mutex it uses: cmRefCountNextMutexIndex() gives the calling thread's
// index, assigned on the thread's first call from a wrapping counter, so
// objects made by different threads mostly use different mutexes.
// Mutexes are recursive and created on first use; callable from any thread.
#pragma once

#include <cstdint>

void cmRefCountMutexLock(uint8_t index);
void cmRefCountMutexUnlock(uint8_t index);
uint8_t cmRefCountNextMutexIndex();

// Scoped hold of one of the table's mutexes.
class cmRefCountMutexGuard {
 public:
  explicit cmRefCountMutexGuard(uint8_t index) : index_(index) { cmRefCountMutexLock(index_); }
  ~cmRefCountMutexGuard() { cmRefCountMutexUnlock(index_); }
  cmRefCountMutexGuard(const cmRefCountMutexGuard&) = delete;
  cmRefCountMutexGuard& operator=(const cmRefCountMutexGuard&) = delete;

 private:
  uint8_t index_;
};
