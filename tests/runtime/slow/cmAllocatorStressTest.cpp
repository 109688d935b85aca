#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "runtime/cmAllocator.h"

namespace {

// Four threads in a ring: each allocates, fills and hands blocks to the
// next, which checks, resizes and frees them. Every block is freed by a
// thread other than the one whose allocator made it.
TEST(cmAllocatorStress, RingOfFourThreads) {
  constexpr int kThreads = 4;
  constexpr int kPerThread = 150000;
  struct Mailbox {
    std::mutex mutex;
    std::vector<unsigned char*> items;
  } boxes[kThreads];
  std::atomic<int> finished{0};
  std::atomic<int> faults{0};
  int64_t before = cmAllocator::getTotalNumberOfAllocations();

  auto worker = [&](int me) {
    std::mt19937 rng(uint32_t(me) + 17);
    Mailbox& inbox = boxes[me];
    Mailbox& next = boxes[(me + 1) % kThreads];
    auto drain = [&] {
      std::vector<unsigned char*> taken;
      {
        std::lock_guard<std::mutex> hold(inbox.mutex);
        taken.swap(inbox.items);
      }
      for (unsigned char* p : taken) {
        size_t size = cmAllocator::numBytesAllocated(p);
        unsigned char tag = p[0];
        if (p[size - 1] != tag) faults++;
        if (rng() % 3 == 0) {
          size_t grown = 16 + rng() % 3000;
          p = static_cast<unsigned char*>(cmAllocator::reallocate(p, grown));
          if (!p || p[0] != tag) faults++;
        }
        cmAllocator::deallocate(p);
      }
    };
    for (int i = 0; i < kPerThread; ++i) {
      size_t size = 1 + rng() % 2600;
      auto* p = static_cast<unsigned char*>(cmAllocator::allocate(size));
      if (!p) {
        faults++;
        continue;
      }
      size_t usable = cmAllocator::numBytesAllocated(p);
      std::memset(p, me + i, usable);
      {
        std::lock_guard<std::mutex> hold(next.mutex);
        next.items.push_back(p);
      }
      if (i % 64 == 0) drain();
    }
    finished++;
    while (finished < kThreads) {
      drain();
      std::this_thread::yield();
    }
    drain();
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(worker, t);
  for (auto& t : threads) t.join();
  // Items posted after a neighbour's last drain are still waiting.
  for (auto& box : boxes)
    for (unsigned char* p : box.items) cmAllocator::deallocate(p);

  EXPECT_EQ(faults.load(), 0);
  char why[256] = {};
  EXPECT_TRUE(cmAllocator::validate(why, sizeof why)) << why;
  EXPECT_EQ(cmAllocator::getTotalNumberOfAllocations(), before);
}

}  // namespace
