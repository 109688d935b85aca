// Threads, mutexes and thread-local slots of the operating system, behind
// the same thin seam as cmPlatform.h. The runtime builds its allocator,
// reference-count locks and thread classes on these.
//
// platform::Mutex is the foundation's critical section: it can be declared
// as a constant-initialised global (the allocator needs locks before any
// constructor runs), it knows whether it has been initialised, and an
// uninitialised mutex is simply not locked. init() is idempotent and safe to
// race; destroy() must not race with users. Mutexes are recursive unless
// created with init(false).
//
// Everything here may be called from any thread.
#pragma once

#include <atomic>
#include <cstdint>

namespace platform {

class Mutex {
 public:
  constexpr Mutex() = default;
  ~Mutex() { destroy(); }
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  // Creates the OS object; a second call (from any thread) does nothing.
  void init(bool recursive = true);
  void destroy();
  bool initialised() const { return state_.load(std::memory_order_acquire) == kReady; }

  void lock();
  bool tryLock();  // true when taken, or when the mutex is not initialised
  void unlock();

 private:
  static constexpr uint8_t kNone = 0, kStarting = 1, kReady = 2;
  alignas(16) unsigned char storage_[64] = {};
  std::atomic<uint8_t> state_{kNone};
};

// Scoped hold of a Mutex.
class MutexLock {
 public:
  explicit MutexLock(Mutex& m) : m_(m) { m_.lock(); }
  ~MutexLock() { m_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& m_;
};

// A thread-local pointer slot. The slot itself is process-wide; each thread
// sees its own value, null until set. Slots are never freed while threads
// may still use them.
class TlsSlot {
 public:
  TlsSlot();
  ~TlsSlot();
  TlsSlot(const TlsSlot&) = delete;
  TlsSlot& operator=(const TlsSlot&) = delete;
  bool valid() const { return valid_; }
  void* get() const;
  void set(void* value);

 private:
  uint32_t key_ = 0;
  bool valid_ = false;
};

// Threads. A handle is null when no thread was started.
using ThreadHandle = void*;
using ThreadFunction = int32_t (*)(void* argument);

// Starts fn(argument) on a new thread with the given stack size (0: default).
// Returns null on failure.
ThreadHandle startThread(ThreadFunction fn, void* argument, uint64_t stackSize = 0);
// Waits for the thread to end and releases the handle; stores the thread's
// result when exitCode is given. Returns false when the wait failed.
bool joinThread(ThreadHandle handle, int32_t* exitCode = nullptr);
// Lets the thread run to its end on its own; the handle is released.
void detachThread(ThreadHandle handle);

// A number that identifies the calling thread while it runs; never 0.
uint64_t currentThreadId();
void sleepMilliseconds(uint32_t milliseconds);
void yieldThread();

}  // namespace platform
