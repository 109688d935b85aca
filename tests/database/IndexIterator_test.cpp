// The index iterator's record chains: links as stored in the record images
// after adds and unlinks, walks in both directions, and the results of
// chain operations without a position or a definition.
#include <vector>

#include <gtest/gtest.h>

#include "HashTableHarness.h"

namespace {

struct Links {
  btSeek next, previous;
  bool operator==(const Links& o) const { return next == o.next && previous == o.previous; }
};

class IndexChain : public ::testing::Test {
 protected:
  // One bucket: every record lands in one chain.
  IndexChain() : h("index_chain.tvdb", {3, 3, 1, 512}) {}

  Links links(btSeek s) {
    btIndexIterator it(h.definition_);
    Links l{};
    EXPECT_EQ(0, it.readLinks(s, &l.next, &l.previous));
    return l;
  }
  std::vector<btSeek> add(int n) {
    std::vector<btSeek> seeks;
    for (int i = 0; i < n; i++) {
      btSeek s = 0;
      EXPECT_EQ(0, h.insert(static_cast<uint32_t>(i), &s));
      seeks.push_back(s);
    }
    return seeks;
  }
  btIndexIterator onRecord(btSeek head, btSeek record) {
    btIndexIterator it(h.definition_);
    it.chainHead = static_cast<int32_t>(head);
    it.record = record;
    return it;
  }

  HashTableHarness h;
};

TEST_F(IndexChain, NewRecordsGoToTheTailOfACircularChain) {
  btSeek a = add(1)[0];
  EXPECT_EQ((Links{0, 0}), links(a));  // alone: both links 0
  btSeek b = add(1)[0];
  EXPECT_EQ((Links{b, b}), links(a));
  EXPECT_EQ((Links{a, a}), links(b));
  btSeek c = add(1)[0];
  EXPECT_EQ((Links{b, c}), links(a));  // head.previous is the tail
  EXPECT_EQ((Links{c, a}), links(b));
  EXPECT_EQ((Links{a, b}), links(c));  // tail.next is the head

  // The pair lies in the record's second link slot (the first is the
  // table's record chain): next at 8, previous at 12.
  btStoredRecord r;
  ASSERT_EQ(0, btLoadIndexRecord(h.definition_, b, &r));
  EXPECT_EQ(1, h.table_->linkSlotOfIndex(0));
  EXPECT_EQ(c, btGet32(r.image + 8));
  EXPECT_EQ(a, btGet32(r.image + 12));
}

TEST_F(IndexChain, WalksForwardAndBackward) {
  std::vector<btSeek> s = add(4);
  btIndexIterator it = onRecord(s[0], s[0]);
  std::vector<btSeek> seen{it.record};
  while (it.chainNext() == 0) seen.push_back(it.record);
  EXPECT_EQ(s, seen);
  EXPECT_EQ(3u, it.chainPosition);
  it = onRecord(s[0], s[3]);
  std::vector<btSeek> back{it.record};
  while (it.chainPrevious() == 0) back.push_back(it.record);
  EXPECT_EQ((std::vector<btSeek>{s[3], s[2], s[1], s[0]}), back);
  it = onRecord(s[0], s[1]);
  ASSERT_EQ(0, it.chainSeek(s[3]));
  EXPECT_EQ(s[3], it.record);
  EXPECT_EQ(BT_STATUS_NOT_FOUND, it.chainSeek(0x12345));
}

TEST_F(IndexChain, UnlinkingKeepsTheRestCircular) {
  std::vector<btSeek> s = add(4);
  btSeek head = 0;
  // The middle: its neighbours close the gap; the iterator moves on.
  btIndexIterator it = onRecord(s[0], s[1]);
  ASSERT_EQ(0, it.unlinkDuplicate(s[1], false, &head));
  EXPECT_EQ(s[0], head);
  EXPECT_EQ(s[2], it.record);
  EXPECT_EQ((Links{0, 0}), links(s[1]));
  EXPECT_EQ((Links{s[2], s[3]}), links(s[0]));
  EXPECT_EQ((Links{s[3], s[0]}), links(s[2]));
  // The head: its successor becomes the head.
  it = onRecord(s[0], s[0]);
  ASSERT_EQ(0, it.unlinkDuplicate(s[0], false, &head));
  EXPECT_EQ(s[2], head);
  EXPECT_EQ(static_cast<int32_t>(s[2]), it.chainHead);
  // Two left, one goes: the other is alone with both links 0.
  it = onRecord(s[2], s[3]);
  ASSERT_EQ(0, it.unlinkDuplicate(s[3], true, &head));
  EXPECT_EQ(s[2], it.record);  // a backward walk stands on the predecessor
  EXPECT_EQ((Links{0, 0}), links(s[2]));
  EXPECT_EQ((Links{0, 0}), links(s[3]));
  // The last one: the chain is gone.
  it = onRecord(s[2], s[2]);
  ASSERT_EQ(0, it.unlinkDuplicate(s[2], false, &head));
  EXPECT_EQ(0u, head);
  EXPECT_EQ(0u, it.record);
  EXPECT_EQ(0, it.chainHead);
}

TEST_F(IndexChain, OperationsWithoutPositionOrDefinition) {
  btIndexIterator it(h.definition_);
  EXPECT_EQ(BT_STATUS_BAD_ADDRESS, it.chainNext());
  EXPECT_EQ(BT_STATUS_BAD_ADDRESS, it.chainPrevious());
  EXPECT_EQ(BT_STATUS_BAD_ADDRESS, it.resetChain());
  EXPECT_EQ(BT_STATUS_BAD_ADDRESS, it.chainAdd(0x1234));
  btIndexIterator unbound;
  EXPECT_EQ(BT_STATUS_NO_INDEX_ROOT, unbound.removeAll());
  // Binding clears the position.
  std::vector<btSeek> s = add(2);
  ASSERT_EQ(0, h.structure_->first(&it));
  EXPECT_TRUE(it.isPositioned());
  it.bind(h.definition_);
  EXPECT_FALSE(it.isPositioned());
  EXPECT_EQ(0u, it.position);
  EXPECT_EQ(0, it.chainHead);
}

}  // namespace
