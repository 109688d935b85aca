#include "runtime/cmArray.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "runtime/cmLinkedList.h"
#include "runtime/cmStack.h"

namespace {

// An element with a life of its own: counts live objects and owns heap
// memory, so that a missed destructor or a raw copy shows.
struct Tracked {
  static inline int live = 0;
  int* value;
  Tracked(int v = 0) : value(new int(v)) { live++; }
  Tracked(const Tracked& o) : value(new int(*o.value)) { live++; }
  Tracked(Tracked&& o) noexcept : value(o.value) {
    o.value = nullptr;
    live++;
  }
  Tracked& operator=(const Tracked& o) {
    if (this != &o) *value = *o.value;
    return *this;
  }
  Tracked& operator=(Tracked&& o) noexcept {
    std::swap(value, o.value);
    return *this;
  }
  ~Tracked() {
    delete value;
    live--;
  }
  int get() const { return value ? *value : -1; }
  bool operator==(const Tracked& o) const { return get() == o.get(); }
};

TEST(cmArray, CapacityDoublesPastTheNeededSize) {
  struct Case {
    int adds;
    int64_t capacity;
  } cases[] = {{0, 0}, {1, 2}, {2, 2}, {3, 6}, {6, 6}, {7, 14}, {15, 30}};
  for (const Case& c : cases) {
    cmArray<int> a;
    for (int i = 0; i < c.adds; ++i) a.add(i);
    EXPECT_EQ(a.capacity(), c.capacity) << c.adds << " adds";
    EXPECT_EQ(a.count(), c.adds);
    for (int i = 0; i < c.adds; ++i) EXPECT_EQ(a[i], i);
  }
}

TEST(cmArray, ElementAddedFromItselfSurvivesGrowth) {
  cmArray<int> ints;
  ints.add(41);
  ints.add(42);  // full: capacity 2
  ints.add(ints[1]);
  EXPECT_EQ(ints[2], 42);

  cmArray<Tracked> tracked;
  tracked.add(Tracked(7));
  tracked.add(Tracked(8));
  tracked.add(tracked[0]);
  tracked.insert(0, tracked[2]);
  EXPECT_EQ(tracked[0].get(), 7);
  EXPECT_EQ(tracked[3].get(), 7);
}

TEST(cmArray, ReadingPastTheEndGivesASharedZeroedElement) {
  cmArray<int64_t> a;
  a.add(5);
  EXPECT_EQ(a[1], 0);
  EXPECT_EQ(a[-1], 0);
  a[100] = 99;  // lands in the shared element, not in the array
  EXPECT_EQ(a.count(), 1);
  EXPECT_EQ(a[100], 0);
  EXPECT_EQ(&a[100], &a[200]);
  EXPECT_EQ(a[0], 5);
}

TEST(cmArray, RandomEditsMatchAVector) {
  std::mt19937 rng(7);
  {
    cmArray<Tracked> a;
    std::vector<int> model;
    for (int step = 0; step < 3000; ++step) {
      int v = int(rng() % 1000);
      switch (rng() % 6) {
        case 0:
        case 1:
          a.add(Tracked(v));
          model.push_back(v);
          break;
        case 2: {
          size_t at = model.empty() ? 0 : rng() % (model.size() + 1);
          a.insert(int64_t(at), Tracked(v));
          model.insert(model.begin() + at, v);
          break;
        }
        case 3:
          if (!model.empty()) {
            size_t at = rng() % model.size();
            size_t n = 1 + rng() % 3;
            if (n > model.size() - at) n = model.size() - at;
            a.remove(int64_t(at), int64_t(n));
            model.erase(model.begin() + at, model.begin() + at + n);
          }
          break;
        case 4: {
          size_t size = rng() % 40;
          a.setSize(int64_t(size));
          model.resize(size, 0);
          break;
        }
        case 5:
          if (rng() % 20 == 0) {
            a.clear(rng() % 2);
            model.clear();
          }
          break;
      }
      ASSERT_EQ(a.count(), int64_t(model.size())) << "step " << step;
      ASSERT_LE(a.count(), a.capacity());
      for (size_t i = 0; i < model.size(); ++i) ASSERT_EQ(a[int64_t(i)].get(), model[i]) << "step " << step;
      ASSERT_EQ(Tracked::live, int(model.size())) << "step " << step;
    }
    cmArray<Tracked> copy(a);
    EXPECT_EQ(copy.count(), a.count());
    if (copy.count()) {
      EXPECT_NE(copy[0].value, a[0].value);  // deep
    }
  }
  EXPECT_EQ(Tracked::live, 0);
}

TEST(cmArray, ClearKeepsOrFreesStorage) {
  cmArray<int> a;
  for (int i = 0; i < 10; ++i) a.add(i);
  int64_t capacity = a.capacity();
  a.clear(false);
  EXPECT_EQ(a.count(), 0);
  EXPECT_EQ(a.capacity(), capacity);
  EXPECT_EQ(a.data()[3], 0);  // storage beyond the size is zeroed
  a.clear(true);
  EXPECT_EQ(a.capacity(), 0);
  EXPECT_EQ(a.data(), nullptr);
}

TEST(cmArray, ReserveCanExtendTheSize) {
  cmArray<int> a;
  a.reserve(50, false);
  EXPECT_EQ(a.count(), 0);
  EXPECT_GE(a.capacity(), 50);
  a.reserve(20, true);
  EXPECT_EQ(a.count(), 20);
  EXPECT_EQ(a[19], 0);
}

int gReleased = 0;
void releaseExternal(void*) { gReleased++; }

TEST(cmArray, FixedExternalStorageIsCopiedOnGrowth) {
  int external[8] = {1, 2, 3};
  gReleased = 0;
  {
    cmArray<int> a;
    a.attachExternal(external, 3, 8, true, releaseExternal);
    EXPECT_EQ(a.data(), external);
    ASSERT_NE(a.bufferInfo(), nullptr);
    a.add(4);  // room enough, but a fixed buffer must become owned
    EXPECT_NE(a.data(), external);
    EXPECT_EQ(a.bufferInfo(), nullptr);
    EXPECT_EQ(gReleased, 1);
    EXPECT_EQ(a[0] + a[1] + a[2] + a[3], 10);
  }
  EXPECT_EQ(gReleased, 1);
  {
    cmArray<int> a;
    a.attachExternal(external, 3, 8, false, releaseExternal);
    a.add(4);
    EXPECT_EQ(a.data(), external);  // not fixed: used in place
  }
  EXPECT_EQ(gReleased, 2);
  EXPECT_EQ(external[3], 4);
}

TEST(cmArray, IteratesThroughTheCollectionInterface) {
  cmArray<int> a;
  for (int i = 1; i <= 4; ++i) a.add(i * 10);
  const cmI_Collection<int>& c = a;
  EXPECT_TRUE(c.contains(30));
  EXPECT_FALSE(c.contains(31));
  auto it = c.iterator();
  EXPECT_FALSE(it->isValid());
  int sum = 0;
  while (it->moveNext()) sum += it->current();
  EXPECT_EQ(sum, 100);
  EXPECT_FALSE(it->moveNext());
  it->reset();
  ASSERT_TRUE(it->moveNext());
  EXPECT_EQ(it->current(), 10);

  cmLinkedList<int> list;
  list.add(99);
  c.copyTo(list, false);
  EXPECT_EQ(list.count(), 5);
  EXPECT_EQ(*list.first(), 99);
  EXPECT_EQ(*list.last(), 40);
  c.copyTo(list, true);
  EXPECT_EQ(list.count(), 4);
}

TEST(cmArrayDeath, CapacityOverflowIsFatal) {
  EXPECT_DEATH(
      {
        cmArray<int64_t> a;
        a.reserve(cmArray<int64_t>::kMaxCapacity + 1, false);
      },
      "cmFatalError: -102634");
}

#ifndef RH_ALLOC_MALLOC
// The sanitizer's own allocator reports a request this size before it can
// fail, so this runs in the pooled build only.
TEST(cmArrayDeath, OutOfMemoryIsFatal) {
  EXPECT_DEATH(
      {
        cmArray<int64_t> a;
        a.reserve(int64_t(1) << 50, false);
      },
      "cmFatalError: -102692");
}
#endif

TEST(cmStack, LastInFirstOut) {
  cmStack<Tracked> s;
  EXPECT_FALSE(s.pop());
  for (int i = 0; i < 5; ++i) s.push(Tracked(i));
  EXPECT_EQ(s.top().get(), 4);
  EXPECT_EQ(s.peek(2).get(), 2);
  Tracked out;
  ASSERT_TRUE(s.pop(&out));
  EXPECT_EQ(out.get(), 4);
  EXPECT_EQ(s.count(), 4);
  s.clear(true);
  EXPECT_TRUE(s.isEmpty());
}

TEST(cmLinkedList, BothEndsAndRemoval) {
  cmLinkedList<int> list;
  list.addLast(2);
  list.addFirst(1);
  list.addLast(3);
  EXPECT_TRUE(list.remove(2));
  EXPECT_FALSE(list.remove(2));
  int out = 0;
  ASSERT_TRUE(list.removeLast(&out));
  EXPECT_EQ(out, 3);
  ASSERT_TRUE(list.removeFirst(&out));
  EXPECT_EQ(out, 1);
  EXPECT_EQ(list.count(), 0);
  EXPECT_EQ(list.first(), nullptr);

  cmLinkedListS<int> single;
  for (int i = 0; i < 3; ++i) single.add(i);  // grows at the head
  cmLinkedListS<int> copy(single);
  std::vector<int> order;
  cmLinkedListS<int>::const_iterator it(copy);
  while (it.moveNext()) order.push_back(it.current());
  EXPECT_EQ(order, (std::vector<int>{2, 1, 0}));
  EXPECT_TRUE(copy.contains(1));
}

}  // namespace
