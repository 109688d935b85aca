// btFileCacheFillThread: reads the blocks of a read-only database into the
// cache in the background, in file order, without ever evicting a dirty
// block or overdrawing the budget, and giving way to any holder of the
// cache lock (it only try-enters it).
//
// Ownership: the btCacheFile that started it keeps the pointer and deletes
// the object when the view is released. Threading: `run` is the body of the
// thread; `requestStop` may be called from any thread. Until the thread
// layer is in place, `start` reports that no thread is available and the
// view goes without a prefill; `run` can still be driven directly.
#pragma once

#include <cstdint>
#include <mutex>

class btCacheFile;

class btFileCacheFillThread {
 public:
  static constexpr const char* kThreadName = "Tagging Database Prefill Thread";

  btFileCacheFillThread(btCacheFile* file, uint64_t count) : cacheFile_(file), remaining_(count) {}
  virtual ~btFileCacheFillThread() = default;

  // Starts the thread at the lowest priority; false when threads are not
  // available, in which case the caller deletes the object.
  bool start();
  virtual int32_t run();
  // Stops the fill at its next round; there is no wait for its end.
  void requestStop();

  // Milliseconds since the user's last action; this program has no user.
  static uint32_t idleMilliseconds() { return 1000; }
  uint64_t fetched() const { return fetched_; }

 private:
  btCacheFile* cacheFile_;
  uint64_t remaining_;
  uint64_t fetched_ = 0;
  bool stop_ = false;
  std::mutex threadLock_;
};
