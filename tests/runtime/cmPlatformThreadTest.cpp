#include "platform/cmPlatformThread.h"

#include <gtest/gtest.h>

#include <atomic>

namespace {

struct Shared {
  platform::Mutex* mutex;
  platform::TlsSlot* slot;
  std::atomic<int> gotLock{-1};
  void* slotSeen = reinterpret_cast<void*>(1);
  uint64_t threadId = 0;
};

int32_t probe(void* p) {
  auto* s = static_cast<Shared*>(p);
  s->gotLock = s->mutex->tryLock() ? 1 : 0;
  if (s->gotLock == 1) s->mutex->unlock();
  s->slotSeen = s->slot->get();  // this thread never set it
  s->slot->set(s);
  s->threadId = platform::currentThreadId();
  return 42;
}

TEST(platformThread, MutexSlotAndThread) {
  platform::Mutex mutex;
  platform::TlsSlot slot;
  ASSERT_TRUE(slot.valid());
  int mine = 0;
  slot.set(&mine);
  Shared shared{&mutex, &slot};

  // Not initialised: never locked, for anyone.
  EXPECT_FALSE(mutex.initialised());
  mutex.lock();
  int32_t code = 0;
  ASSERT_TRUE(platform::joinThread(platform::startThread(probe, &shared), &code));
  EXPECT_EQ(code, 42);
  EXPECT_EQ(shared.gotLock.load(), 1);
  mutex.unlock();

  // Initialised and held twice (recursive): another thread cannot take it.
  mutex.init();
  mutex.init();  // a second init changes nothing
  mutex.lock();
  mutex.lock();
  mutex.unlock();
  ASSERT_TRUE(platform::joinThread(platform::startThread(probe, &shared), &code));
  EXPECT_EQ(shared.gotLock.load(), 0);
  mutex.unlock();
  ASSERT_TRUE(platform::joinThread(platform::startThread(probe, &shared), &code));
  EXPECT_EQ(shared.gotLock.load(), 1);

  EXPECT_EQ(shared.slotSeen, nullptr);
  EXPECT_EQ(slot.get(), &mine);  // the other thread's value stayed there
  EXPECT_NE(shared.threadId, 0u);
  EXPECT_NE(shared.threadId, platform::currentThreadId());
}

}  // namespace
