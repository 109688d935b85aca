// btRecursiveLock: the engine's recursive lock (database lock, cache lock,
// bucket cache lock). An operation takes each lock once at its top and the
// blocks, nodes and buckets it touches below re-enter it many times; a
// re-entry by the holding thread is a compare and a count, with no atomic
// read-modify-write and no call into the thread library. Only the first
// level takes the underlying mutex.
//
// The owner word is written only by the thread that holds the mutex, so a
// thread reads its own id there exactly when it holds the lock; any other
// value (stale or not) means "not mine", and relaxed order is enough. The id
// is the address of a thread-local byte: one load, where asking the thread
// library is a call on every re-entry.
//
// Ownership: none; embed it. Threading: any thread; `depth` and the release
// helpers are for the holder only.
#pragma once

#include <atomic>
#include <mutex>

class btRecursiveLock {
 public:
  btRecursiveLock() = default;
  btRecursiveLock(const btRecursiveLock&) = delete;
  btRecursiveLock& operator=(const btRecursiveLock&) = delete;

  void lock() {
    const void* me = currentThread();
    if (owner_.load(std::memory_order_relaxed) == me) {
      depth_++;
      return;
    }
    mutex_.lock();
    owner_.store(me, std::memory_order_relaxed);
    depth_ = 1;
  }

  bool try_lock() {
    const void* me = currentThread();
    if (owner_.load(std::memory_order_relaxed) == me) {
      depth_++;
      return true;
    }
    if (!mutex_.try_lock()) return false;
    owner_.store(me, std::memory_order_relaxed);
    depth_ = 1;
    return true;
  }

  void unlock() {
    if (--depth_ > 0) return;
    owner_.store(nullptr, std::memory_order_relaxed);
    mutex_.unlock();
  }

  bool heldByMe() const { return owner_.load(std::memory_order_relaxed) == currentThread(); }

  // Leaves every level the calling thread holds and says how many.
  int releaseAll() {
    if (!heldByMe()) return 0;
    int levels = depth_;
    depth_ = 1;
    unlock();
    return levels;
  }
  // Takes the lock again with `levels` levels.
  void reacquire(int levels) {
    if (levels <= 0) return;
    lock();
    depth_ = levels;
  }

 private:
  static const void* currentThread() {
    static thread_local const char tag = 0;
    return &tag;
  }

  std::mutex mutex_;
  std::atomic<const void*> owner_{nullptr};
  int depth_ = 0;
};
