#include "database/btFileCacheFillThread.h"

#include <chrono>
#include <thread>

#include "database/btCacheFile.h"

bool btFileCacheFillThread::start() {
  // The thread layer is not in the tree yet: no thread, no prefill.
  return false;
}

void btFileCacheFillThread::requestStop() {
  std::lock_guard<std::mutex> guard(threadLock_);
  remaining_ = 0;
  stop_ = true;
}

int32_t btFileCacheFillThread::run() {
  if (!cacheFile_) return -3073;
  uint32_t idle = idleMilliseconds();
  if (idle > 60000) return 0;
  uint64_t rounds = 0;
  uint64_t position = 0;
  for (;;) {
    uint32_t pause = idle >= 1000 ? 1 : idle >= 100 ? 10 : 100;
    std::this_thread::sleep_for(std::chrono::milliseconds(pause));
    {
      std::lock_guard<std::mutex> guard(threadLock_);
      rounds++;
      if (rounds > remaining_ || stop_) break;
    }
    btFileCache* cache = cacheFile_->cache;
    if (!cache) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      continue;
    }
    if (!cache->tryLock()) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      continue;
    }
    position += cacheFile_->blockSize;
    uint8_t* data = cacheFile_->getBlockAt(position, BLOCK_NO_OVERDRAW | BLOCK_CLEAN_ONLY);
    cache->unlock();
    if (!data) break;
    fetched_++;
    idle = idleMilliseconds();
    if (idle > 60000) break;
  }
  return 0;
}
