#include "runtime/cmAllocator.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "runtime/cmAlloc.h"
#include "runtime/cmMemory.h"
#include "runtime/cmRefCountMutex.h"

namespace {

using Seg = cmAllocator::SegmentInfo;

const Seg* header(const void* p) { return static_cast<const Seg*>(p) - 1; }

void expectValid() {
  char why[256] = {};
  ASSERT_TRUE(cmAllocator::validate(why, sizeof why)) << why;
}

// Runs fn on a thread of its own, so it is bound to an allocator other than
// the main thread's.
// Index of the calling thread's allocator, binding the thread if needed.
int boundIndex() {
  if (cmAllocator::currentThreadAllocatorIndex() < 0) cmAllocator::deallocate(cmAllocator::allocate(16));
  return cmAllocator::currentThreadAllocatorIndex();
}

template <class F>
void onNewThread(F fn) {
  std::thread t(fn);
  t.join();
}

TEST(cmAllocator, SizeClasses) {
  struct Case {
    size_t size;
    uint32_t normalized;
    int list;
  } cases[] = {
      {1, 16, 0},      {16, 16, 1},     {17, 24, 2},     {24, 24, 2},          {25, 32, 3},
      {2047, 2048, 255}, {2048, 2048, 255}, {2049, 2049, 256}, {32744, 32744, 256},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(cmAllocator::normalizeSegmentSize(c.size), c.normalized) << c.size;
    EXPECT_EQ(cmAllocator::getSegmentIndex(c.size), c.list) << c.size;
  }
  EXPECT_EQ(cmAllocator::getNumberOfBytesPerBlock(), 32768);
}

TEST(cmAllocator, ZeroBytesGiveSixteen) {
  void* p = cmAllocator::allocate(0);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(cmAllocator::numBytesAllocated(p), 16u);
  EXPECT_TRUE(header(p)->pooled());
  EXPECT_EQ(cmAllocator::deallocate(p), 0);
  EXPECT_EQ(cmAllocator::deallocate(nullptr), -1);
  expectValid();
}

TEST(cmAllocator, PoolLimitIsTwoThousandFortyEight) {
  void* pooled = cmAllocator::allocate(2048);
  void* heap = cmAllocator::allocate(2049);
  ASSERT_TRUE(pooled && heap);
  EXPECT_TRUE(header(pooled)->pooled());
  EXPECT_GE(cmAllocator::numBytesAllocated(pooled), 2048u);
  EXPECT_FALSE(header(heap)->pooled());
  EXPECT_EQ(cmAllocator::numBytesAllocated(heap), 2049u);
  EXPECT_EQ(header(heap)->previous, 0);
  cmAllocator::deallocate(pooled);
  cmAllocator::deallocate(heap);
  expectValid();
}

TEST(cmAllocator, ReallocateAcrossThePoolLimitMovesTheData) {
  auto* p = static_cast<unsigned char*>(cmAllocator::allocate(2048));
  for (int i = 0; i < 2048; ++i) p[i] = static_cast<unsigned char>(i * 7);
  auto* q = static_cast<unsigned char*>(cmAllocator::reallocate(p, 2049));
  ASSERT_NE(q, nullptr);
  EXPECT_FALSE(header(q)->pooled());
  for (int i = 0; i < 2048; ++i) ASSERT_EQ(q[i], static_cast<unsigned char>(i * 7)) << i;
  q[2048] = 0xAB;
  auto* r = static_cast<unsigned char*>(cmAllocator::reallocate(q, 2048));
  ASSERT_NE(r, nullptr);
  EXPECT_TRUE(header(r)->pooled());
  for (int i = 0; i < 2048; ++i) ASSERT_EQ(r[i], static_cast<unsigned char>(i * 7)) << i;
  cmAllocator::deallocate(r);
  expectValid();
}

TEST(cmAllocator, HugeHeapAllocationKeepsItsSize) {
  const size_t size = (size_t(1) << 26) + 24;
  void* p = cmAllocator::allocate(size);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(header(p)->offset, 1);  // the high part of the size
  EXPECT_EQ(cmAllocator::numBytesAllocated(p), size);
  int64_t bytesBefore = cmAllocator::getTotalNumberOfBytesAllocated();
  void* q = cmAllocator::reallocate(p, size + 8);
  ASSERT_NE(q, nullptr);
  EXPECT_EQ(cmAllocator::numBytesAllocated(q), size + 8);
  EXPECT_EQ(cmAllocator::getTotalNumberOfBytesAllocated() - bytesBefore, 8);
  cmAllocator::deallocate(q);
  EXPECT_EQ(cmAllocator::getTotalNumberOfBytesAllocated(), bytesBefore - int64_t(size));
}

TEST(cmAllocator, ShrinkInPlaceSplitsAndGrowInPlaceJoins) {
  onNewThread([] {
    void* p = cmAllocator::allocate(1024);
    void* fence = cmAllocator::allocate(16);  // keeps p from being the block's last segment
    void* q = cmAllocator::reallocate(p, 100);
    EXPECT_EQ(q, p);
    EXPECT_EQ(cmAllocator::numBytesAllocated(q), 104u);
    expectValid();
    // The freed tail lies right after q, so growing back needs no move.
    void* r = cmAllocator::reallocate(q, 1000);
    EXPECT_EQ(r, q);
    EXPECT_GE(cmAllocator::numBytesAllocated(r), 1000u);
    expectValid();
    cmAllocator::deallocate(r);
    cmAllocator::deallocate(fence);
    expectValid();
  });
}

TEST(cmAllocator, GrowIntoAFreePredecessorMovesDataDown) {
  onNewThread([] {
    // Make a fresh block whose segments are known: a (free), b (live), c.
    std::vector<void*> filler;
    int index = boundIndex();
    int64_t blocks = cmAllocator::numberOfBlocks(index);
    void* a = nullptr;
    while (true) {
      a = cmAllocator::allocate(512);
      if (cmAllocator::numberOfBlocks(index) != blocks && header(a)->offset == 16) break;
      filler.push_back(a);
      blocks = cmAllocator::numberOfBlocks(index);
    }
    auto* b = static_cast<unsigned char*>(cmAllocator::allocate(512));
    void* c = cmAllocator::allocate(512);
    ASSERT_EQ(header(b)->previous, 16);
    for (int i = 0; i < 512; ++i) b[i] = static_cast<unsigned char>(i);
    cmAllocator::deallocate(a);
    auto* moved = static_cast<unsigned char*>(cmAllocator::reallocate(b, 900));
    EXPECT_EQ(moved, static_cast<unsigned char*>(a));
    for (int i = 0; i < 512; ++i) ASSERT_EQ(moved[i], static_cast<unsigned char>(i)) << i;
    expectValid();
    cmAllocator::deallocate(moved);
    cmAllocator::deallocate(c);
    for (void* f : filler) cmAllocator::deallocate(f);
    expectValid();
  });
}

TEST(cmAllocator, WholeFreeBlockIsKeptAsSpareOrReturned) {
  onNewThread([] {
    int index = boundIndex();
    // Allocate until a segment starts a block of its own.
    std::vector<void*> filler;
    void* alone = nullptr;
    while (true) {
      int64_t before = cmAllocator::numberOfBlocks(index);
      void* p = cmAllocator::allocate(2048);
      if (cmAllocator::numberOfBlocks(index) == before + 1) {
        alone = p;
        break;
      }
      filler.push_back(p);
    }
    int64_t blocks = cmAllocator::numberOfBlocks(index);
    int64_t spare = cmAllocator::numberOfSpareBlocks(index);
    cmAllocator::deallocate(alone);
    if (spare < 512 && spare * 2 < blocks) {
      EXPECT_EQ(cmAllocator::numberOfSpareBlocks(index), spare + 1);
      EXPECT_EQ(cmAllocator::numberOfBlocks(index), blocks);
    } else {
      EXPECT_EQ(cmAllocator::numberOfSpareBlocks(index), spare);
      EXPECT_EQ(cmAllocator::numberOfBlocks(index), blocks - 1);
    }
    expectValid();
    for (void* p : filler) cmAllocator::deallocate(p);
    expectValid();
  });
}

// Random allocate / free / reallocate over every size class, with the
// invariants and every live allocation's contents checked after each step.
TEST(cmAllocator, RandomisedOperationsKeepInvariants) {
  std::mt19937 rng(12345);
  struct Live {
    size_t size;
    unsigned char fill;
  };
  std::map<unsigned char*, Live> live;
  auto fill = [](unsigned char* p, size_t n, unsigned char v) { std::memset(p, v, n); };
  auto intact = [](const unsigned char* p, size_t n, unsigned char v) {
    for (size_t i = 0; i < n; ++i)
      if (p[i] != v) return false;
    return true;
  };
  auto randomSize = [&]() -> size_t {
    switch (rng() % 10) {
      case 0: return rng() % 16;                // below the minimum
      case 1: return 2040 + rng() % 16;         // around the pool limit
      case 2: return 2049 + rng() % 6000;       // heap
      default: return 1 + rng() % 2048;         // every pool class
    }
  };
  int64_t allocationsBefore = cmAllocator::getTotalNumberOfAllocations();
  int64_t bytesBefore = cmAllocator::getTotalNumberOfBytesAllocated();
  unsigned char nextFill = 1;
  for (int step = 0; step < 6000; ++step) {
    unsigned op = rng() % 10;
    if (op < 5 || live.empty()) {
      size_t size = randomSize();
      auto* p = static_cast<unsigned char*>(cmAllocator::allocate(size));
      ASSERT_NE(p, nullptr);
      ASSERT_GE(cmAllocator::numBytesAllocated(p), size < 16 ? 16 : size);
      ASSERT_EQ(live.count(p), 0u) << "pointer handed out twice";
      fill(p, size, nextFill);
      live[p] = {size, nextFill++};
    } else {
      auto it = live.begin();
      std::advance(it, rng() % live.size());
      ASSERT_TRUE(intact(it->first, it->second.size, it->second.fill)) << "step " << step;
      if (op < 8) {
        cmAllocator::deallocate(it->first);
        live.erase(it);
      } else {
        size_t size = randomSize();
        Live l = it->second;
        auto* q = static_cast<unsigned char*>(cmAllocator::reallocate(it->first, size));
        ASSERT_NE(q, nullptr);
        live.erase(it);
        size_t kept = l.size < size ? l.size : size;
        ASSERT_TRUE(intact(q, kept, l.fill)) << "reallocate lost data at step " << step;
        fill(q, size, nextFill);
        live[q] = {size, nextFill++};
      }
    }
    char why[256] = {};
    ASSERT_TRUE(cmAllocator::validate(why, sizeof why)) << "step " << step << ": " << why;
    if (step % 500 == 0) {
      for (auto& [p, l] : live) ASSERT_TRUE(intact(p, l.size, l.fill)) << "step " << step;
    }
  }
  EXPECT_EQ(cmAllocator::getTotalNumberOfAllocations() - allocationsBefore, int64_t(live.size()));
  for (auto& [p, l] : live) cmAllocator::deallocate(p);
  expectValid();
  EXPECT_EQ(cmAllocator::getTotalNumberOfAllocations(), allocationsBefore);
  EXPECT_EQ(cmAllocator::getTotalNumberOfBytesAllocated(), bytesBefore);
}

// One thread allocates, another frees and resizes what it was handed, while
// also allocating on its own allocator.
TEST(cmAllocator, TwoThreadsFreeEachOthersMemory) {
  int64_t allocationsBefore = cmAllocator::getTotalNumberOfAllocations();
  std::mutex queueMutex;
  std::vector<unsigned char*> queue;
  std::atomic<bool> producerDone{false};
  std::atomic<int> faults{0};
  std::atomic<int> producerIndex{-1}, consumerIndex{-1};

  std::thread producer([&] {
    std::mt19937 rng(1);
    for (int i = 0; i < 40000; ++i) {
      size_t size = 1 + rng() % 2100;
      auto* p = static_cast<unsigned char*>(cmAllocator::allocate(size));
      if (!p) {
        faults++;
        continue;
      }
      p[0] = static_cast<unsigned char>(size);
      std::lock_guard<std::mutex> hold(queueMutex);
      queue.push_back(p);
    }
    producerIndex = cmAllocator::currentThreadAllocatorIndex();
    producerDone = true;
  });
  std::thread consumer([&] {
    std::mt19937 rng(2);
    std::vector<void*> own;
    while (true) {
      // Read the flag before taking the queue: the producer's last push
      // comes before it sets the flag, so an empty take after a set flag
      // really is the end.
      bool done = producerDone;
      std::vector<unsigned char*> taken;
      {
        std::lock_guard<std::mutex> hold(queueMutex);
        taken.swap(queue);
      }
      if (taken.empty() && done) break;
      for (unsigned char* p : taken) {
        if (rng() % 4 == 0) {
          unsigned char tag = p[0];
          p = static_cast<unsigned char*>(cmAllocator::reallocate(p, 1 + rng() % 2100));
          if (!p || p[0] != tag) faults++;
        }
        cmAllocator::deallocate(p);
        own.push_back(cmAllocator::allocate(1 + rng() % 512));
        if (own.size() > 64) {
          size_t victim = rng() % own.size();
          cmAllocator::deallocate(own[victim]);
          own[victim] = own.back();
          own.pop_back();
        }
      }
    }
    consumerIndex = cmAllocator::currentThreadAllocatorIndex();
    for (void* p : own) cmAllocator::deallocate(p);
  });
  producer.join();
  consumer.join();
  EXPECT_EQ(faults.load(), 0);
  EXPECT_NE(producerIndex.load(), consumerIndex.load());
  expectValid();
  EXPECT_EQ(cmAllocator::getTotalNumberOfAllocations(), allocationsBefore);
}

TEST(cmAllocator, ThreadsAreBoundRoundRobinAwayFromAllocatorZero) {
  EXPECT_EQ(cmAllocator::getNumberOfAllocators(), 16);
  cmAllocator::setNumberOfAllocators(1);
  EXPECT_EQ(cmAllocator::getNumberOfAllocators(), 2);
  cmAllocator::setNumberOfAllocators(99);
  EXPECT_EQ(cmAllocator::getNumberOfAllocators(), 16);
  cmAllocator::deallocate(cmAllocator::allocate(8));  // bind this thread too
  int seen[cmAllocator::MAX_ALLOCATORS] = {};
  for (int i = 0; i < 20; ++i) {
    onNewThread([&] {
      EXPECT_EQ(cmAllocator::currentThreadAllocatorIndex(), -1);
      cmAllocator::deallocate(cmAllocator::allocate(8));
      int index = cmAllocator::currentThreadAllocatorIndex();
      EXPECT_GE(index, 1);
      EXPECT_LT(index, 16);
      if (index >= 0 && index < 16) seen[index]++;
    });
  }
  // Twenty consecutive bindings over fifteen instances touch all of them.
  for (int i = 1; i < 16; ++i) EXPECT_GT(seen[i], 0) << i;
  expectValid();
}

std::vector<std::string>* gCaptured = nullptr;
void capture(const char* line) { gCaptured->push_back(line); }

TEST(cmAllocator, StatisticsLines) {
  std::vector<std::string> lines;
  gCaptured = &lines;
  cmAllocator::printStatistics(capture);
  ASSERT_EQ(lines.size(), 6u);
  EXPECT_EQ(lines[0], "cmAllocator:  block size = 32768\n");
  EXPECT_EQ(lines[1], "cmAllocator:  minimum allocation size = 16\n");
  EXPECT_EQ(lines[2], "cmAllocator:  maximum allocation size = 2048\n");
  EXPECT_EQ(lines[4].rfind("cmAllocator:  number of blocks allocated = ", 0), 0u);
  lines.clear();
  void* p = cmAllocator::allocate(16);  // at least one instance with a block
  cmAllocator::printToScreen(capture);
  cmAllocator::deallocate(p);
  ASSERT_GE(lines.size(), 4u);
  EXPECT_EQ(lines[3].rfind("cmAllocator[", 0), 0u);
  gCaptured = nullptr;
}

#ifndef RH_ALLOC_MALLOC
TEST(cmAlloc, ReallocAlwaysMovesAndCopies) {
  auto* p = static_cast<char*>(cmAlloc(100));
  std::memcpy(p, "0123456789", 10);
  auto* q = static_cast<char*>(cmRealloc(p, 50));
  ASSERT_NE(q, nullptr);
  EXPECT_NE(q, p);
  EXPECT_EQ(std::memcmp(q, "0123456789", 10), 0);
  EXPECT_EQ(cmAllocCapacity(q), 56u);
  cmFree(q);
}

struct Counted : cmDeletableMemory {
  int64_t payload[5] = {};
};

TEST(cmMemory, ObjectsComeFromTheAllocator) {
  int64_t before = cmAllocator::getTotalNumberOfAllocations();
  auto* one = new Counted;
  auto* many = new Counted[3];
  EXPECT_EQ(cmAllocator::getTotalNumberOfAllocations(), before + 2);
  cmDeletableMemory* base = one;
  delete base;
  delete[] many;
  EXPECT_EQ(cmAllocator::getTotalNumberOfAllocations(), before);
}
#endif

TEST(cmRefCountMutex, IndexIsPerThreadAndLocksAreRecursive) {
  uint8_t mine = cmRefCountNextMutexIndex();
  EXPECT_EQ(cmRefCountNextMutexIndex(), mine);
  uint8_t a = 0, b = 0;
  onNewThread([&] { a = cmRefCountNextMutexIndex(); });
  onNewThread([&] { b = cmRefCountNextMutexIndex(); });
  EXPECT_NE(a, b);
  cmRefCountMutexLock(a);
  cmRefCountMutexLock(a);
  std::atomic<bool> taken{false};
  std::thread other([&] {
    cmRefCountMutexGuard hold(a);
    taken = true;
  });
  cmRefCountMutexUnlock(a);
  EXPECT_FALSE(taken.load());  // still held once
  cmRefCountMutexUnlock(a);
  other.join();
  EXPECT_TRUE(taken.load());
}

}  // namespace
