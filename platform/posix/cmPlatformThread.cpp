#include "platform/cmPlatformThread.h"

#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <new>

namespace platform {

static_assert(sizeof(pthread_mutex_t) <= 64, "platform::Mutex storage too small");

static pthread_mutex_t* native(unsigned char* storage) {
  return reinterpret_cast<pthread_mutex_t*>(storage);
}

void Mutex::init(bool recursive) {
  uint8_t expected = kNone;
  if (state_.compare_exchange_strong(expected, kStarting, std::memory_order_acq_rel)) {
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, recursive ? PTHREAD_MUTEX_RECURSIVE : PTHREAD_MUTEX_NORMAL);
    pthread_mutex_init(native(storage_), &attr);
    pthread_mutexattr_destroy(&attr);
    state_.store(kReady, std::memory_order_release);
    return;
  }
  // Someone else is creating it: wait until it is usable.
  while (state_.load(std::memory_order_acquire) != kReady) sched_yield();
}

void Mutex::destroy() {
  if (state_.load(std::memory_order_acquire) != kReady) return;
  pthread_mutex_destroy(native(storage_));
  state_.store(kNone, std::memory_order_release);
}

void Mutex::lock() {
  if (initialised()) pthread_mutex_lock(native(storage_));
}

bool Mutex::tryLock() {
  if (!initialised()) return true;
  return pthread_mutex_trylock(native(storage_)) == 0;
}

void Mutex::unlock() {
  if (initialised()) pthread_mutex_unlock(native(storage_));
}

TlsSlot::TlsSlot() {
  pthread_key_t key;
  if (pthread_key_create(&key, nullptr) == 0) {
    key_ = uint32_t(key);
    valid_ = true;
  }
}

TlsSlot::~TlsSlot() {
  if (valid_) pthread_key_delete(pthread_key_t(key_));
}

void* TlsSlot::get() const { return valid_ ? pthread_getspecific(pthread_key_t(key_)) : nullptr; }

void TlsSlot::set(void* value) {
  if (valid_) pthread_setspecific(pthread_key_t(key_), value);
}

namespace {
// What a started thread needs; allocated with malloc so that the runtime's
// allocator is not entered from here.
struct ThreadStart {
  pthread_t thread;
  ThreadFunction fn;
  void* argument;
  int32_t result;
};

void* threadEntry(void* p) {
  auto* start = static_cast<ThreadStart*>(p);
  start->result = start->fn(start->argument);
  return nullptr;
}
}  // namespace

ThreadHandle startThread(ThreadFunction fn, void* argument, uint64_t stackSize) {
  auto* start = static_cast<ThreadStart*>(std::malloc(sizeof(ThreadStart)));
  if (!start) return nullptr;
  start->fn = fn;
  start->argument = argument;
  start->result = 0;
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  if (stackSize) pthread_attr_setstacksize(&attr, size_t(stackSize));
  int rc = pthread_create(&start->thread, &attr, threadEntry, start);
  pthread_attr_destroy(&attr);
  if (rc != 0) {
    std::free(start);
    return nullptr;
  }
  return start;
}

bool joinThread(ThreadHandle handle, int32_t* exitCode) {
  if (!handle) return false;
  auto* start = static_cast<ThreadStart*>(handle);
  bool ok = pthread_join(start->thread, nullptr) == 0;
  if (ok && exitCode) *exitCode = start->result;
  std::free(start);
  return ok;
}

void detachThread(ThreadHandle handle) {
  if (!handle) return;
  auto* start = static_cast<ThreadStart*>(handle);
  // The record must outlive the thread, so a detached thread keeps it; the
  // few bytes are the price of not synchronising with the thread's end.
  pthread_detach(start->thread);
}

uint64_t currentThreadId() {
  static thread_local uint64_t id = 0;
  if (!id) id = uint64_t(syscall(SYS_gettid));
  return id;
}

void sleepMilliseconds(uint32_t milliseconds) {
  timespec ts{time_t(milliseconds / 1000), long(milliseconds % 1000) * 1000000L};
  while (nanosleep(&ts, &ts) == -1 && errno == EINTR) {
  }
}

void yieldThread() { sched_yield(); }

}  // namespace platform
