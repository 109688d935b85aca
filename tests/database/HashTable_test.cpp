// The stored hash indexes (small, large, block) against a multimap model,
// and the block table's layout in the file, its directory growth, chains
// with cycles, one-key buckets and removeAll.
#include <random>

#include <gtest/gtest.h>

#include "HashTableHarness.h"
#include "database/index/btBlockHashTable.h"

namespace {

struct ModelCase {
  const char* name;
  HashTableSetup setup;
  uint32_t keyRange;
};

class HashTableModel : public ::testing::TestWithParam<ModelCase> {};

TEST_P(HashTableModel, RandomOperationsMatchTheModelAcrossReopen) {
  const ModelCase& c = GetParam();
  HashTableHarness h(std::string("hash_model_") + c.name + ".tvdb", c.setup);
  std::mt19937 rng(1234 + c.setup.kind * 7 + c.setup.flags);
  h.randomRounds(rng, 3, 500, c.keyRange, true);
  EXPECT_EQ(h.model_.size(), h.table_->hdr.recordCount);
}

// Bucket counts beyond the block table's root (42 buckets in a 512-byte
// block) and its 41 root directory entries, and beyond one set of a small
// table; key ranges three times the bucket count make collisions common.
const ModelCase kModelCases[] = {
    {"small_unique", {3, 2, 6000, 512}, 18000},
    {"small_duplicates", {3, 3, 6000, 512}, 2000},
    {"small_to_large_duplicates", {17, 3, 700, 512}, 300},
    {"large_unique", {9, 2, 6000, 512}, 18000},
    {"large_duplicates", {9, 3, 6000, 512}, 2000},
    {"block_unique", {4, 2, 6000, 512}, 18000},
    {"block_duplicates", {4, 3, 6000, 512}, 2000},
    {"block_big_blocks", {4, 3, 20000, 4096}, 6000},
};

INSTANTIATE_TEST_SUITE_P(Kinds, HashTableModel, ::testing::ValuesIn(kModelCases),
                         [](const ::testing::TestParamInfo<ModelCase>& i) {
                           return std::string(i.param.name);
                         });

TEST(BlockHashTable, BucketsLieInTheRootThenInBucketBlocks) {
  // B = 512: I = (512-348)/4 + 1 = 42 buckets in the root, S = 127 per block.
  HashTableHarness h("hash_block_layout.tvdb", {4, 2, 100000, 512});
  btCacheFile* cf = h.db_->getCacheFile();
  EXPECT_EQ(42u, btBlockHashNode::inNodeBuckets(512));
  EXPECT_EQ(42u + 127u * 0, h.hash_->bucketCount(cf));
  uint64_t sizeBefore = h.db_->logicalFileSize();
  EXPECT_EQ(0u, h.hash_->readBucket(cf, 90000));  // no block is made by a read
  EXPECT_EQ(sizeBefore, h.db_->logicalFileSize());

  btSeek inRoot = 0, firstSlot = 0, lastSlot = 0;
  ASSERT_EQ(0, h.insert(41, &inRoot));     // bucket I-1: the root's last
  ASSERT_EQ(0, h.insert(42, &firstSlot));  // bucket I: block 1, slot 0
  ASSERT_EQ(0, h.insert(42 + 126, &lastSlot));  // block 1, slot 126
  EXPECT_EQ(42u + 127u, h.hash_->bucketCount(cf));
  btSeek root = h.definition_->root;
  EXPECT_EQ(root, h.definition_->firstNode);
  EXPECT_EQ(root, h.definition_->lastNode);
  h.reopen();
  EXPECT_EQ(42u + 127u, h.hash_->bucketCount(h.db_->getCacheFile()));
  ASSERT_EQ(0, h.db_->closeDatabase());

  std::vector<uint8_t> f = readFileBytes(h.path_);
  ASSERT_EQ(4u, root % 512);
  EXPECT_EQ(6u, le32(f, root - 4) >> 28);  // root block kind
  EXPECT_EQ(0u, le32(f, root));            // next node
  EXPECT_EQ(42u, le32(f, root + 8));       // in-node buckets
  EXPECT_EQ(inRoot, le32(f, root + 340 + 4 * 41));
  btSeek block1 = le32(f, root + 12);  // directory entry 0
  ASSERT_NE(0u, block1);
  EXPECT_EQ(0u, le32(f, root + 20));  // entry 1 unused
  EXPECT_EQ(5u, le32(f, block1 - 4) >> 28);
  EXPECT_EQ(firstSlot, le32(f, block1));
  EXPECT_EQ(lastSlot, le32(f, block1 + 4 * 126));
  h.db_.reset();
}

TEST(BlockHashTable, TheDirectoryContinuesInExtensionNodes) {
  HashTableHarness h("hash_block_extension.tvdb", {4, 2, 100000, 512});
  btCacheFile* cf = h.db_->getCacheFile();
  // Entry 41 is the first of the extension chain; each extension node of a
  // 512-byte block holds (512-344)/8 + 41 = 62 entries.
  const uint64_t I = 42, S = 127, E = 62;
  uint64_t entry41 = I + 41 * S;
  uint64_t secondNode = I + (41 + E) * S + 5;
  btSeek a = 0, b = 0;
  ASSERT_EQ(0, h.insert(static_cast<uint32_t>(entry41), &a));
  ASSERT_EQ(0, h.insert(static_cast<uint32_t>(secondNode), &b));
  EXPECT_EQ(I + (41 + E + 1) * S, h.hash_->bucketCount(cf));
  h.reopen();
  cf = h.db_->getCacheFile();
  EXPECT_EQ(a, h.hash_->readBucket(cf, entry41));
  EXPECT_EQ(b, h.hash_->readBucket(cf, secondNode));
  EXPECT_EQ(0u, h.hash_->readBucket(cf, secondNode + 1));
  h.checkScans();

  // removeAll gives every bucket block and extension node back and keeps
  // the root where it is.
  btSeek root = h.definition_->root;
  btIndexIterator it(h.definition_);
  ASSERT_EQ(0, h.structure_->removeAll(&it));
  EXPECT_EQ(root, h.definition_->root);
  EXPECT_EQ(I, h.hash_->bucketCount(cf));
  EXPECT_EQ(BT_STATUS_NOT_FOUND, h.structure_->first(&it));
  h.model_.clear();
  uint64_t size = h.db_->logicalFileSize();
  ASSERT_EQ(0, h.insert(static_cast<uint32_t>(secondNode)));
  EXPECT_EQ(size, h.db_->logicalFileSize());  // freed blocks were reused
  h.checkScans();
}

TEST(HashTable, RemoveAllEmptiesEveryKind) {
  for (uint8_t kind : {3, 9, 4}) {
    HashTableHarness h("hash_remove_all.tvdb", {kind, 3, 3000, 512});
    for (uint32_t k = 0; k < 400; k++) ASSERT_EQ(0, h.insert(k * 7 % 1000));
    btIndexIterator it(h.definition_);
    ASSERT_EQ(0, it.removeAll()) << int(kind);
    EXPECT_EQ(BT_STATUS_NOT_FOUND, h.structure_->first(&it));
    EXPECT_EQ(BT_STATUS_NOT_FOUND, h.structure_->last(&it));
    h.model_.clear();
    h.reopen();
    it.bind(h.definition_);
    EXPECT_EQ(BT_STATUS_NOT_FOUND, h.structure_->first(&it));
    ASSERT_EQ(0, h.insert(5));
    h.checkScans();
    h.checkFind(5);
  }
}

TEST(HashTable, OneKeyBucketsRefuseEveryCollision) {
  // Flag 64 without flag 1: no links, one record per bucket.
  HashTableHarness h("hash_one_key.tvdb", {4, 64, 100, 512});
  EXPECT_EQ(-1, h.table_->linkSlotOfIndex(0));
  ASSERT_EQ(0, h.insert(7));
  EXPECT_EQ(BT_STATUS_HASH_COLLISION, h.insert(107));  // same bucket, other key
  h.checkFind(107);
  h.checkFind(7);
  ASSERT_EQ(0, h.remove(7, h.model_.begin()->second));
  ASSERT_EQ(0, h.insert(107));
  h.checkScans();
}

TEST(HashTable, NextEqualSkipsOtherKeysOfTheBucket) {
  HashTableHarness h("hash_next_equal.tvdb", {3, 3, 100, 512});
  btSeek a = 0, b = 0, c = 0;
  ASSERT_EQ(0, h.insert(5, &a));
  ASSERT_EQ(0, h.insert(105, &b));  // collides with 5
  ASSERT_EQ(0, h.insert(5, &c));
  btStoredRecord key;
  h.keyRecord(&key, 5);
  btIndexIterator it(h.definition_);
  ASSERT_EQ(0, h.structure_->find(&it, &key, BT_FIND_ANY, false));
  EXPECT_EQ(a, it.record);
  ASSERT_EQ(0, h.structure_->nextEqual(&it));
  EXPECT_EQ(c, it.record);
  EXPECT_EQ(2u, it.chainPosition);
  EXPECT_EQ(BT_STATUS_NOT_FOUND, h.structure_->nextEqual(&it));
  // Scans list the chain in insertion order: head, then behind it.
  std::vector<btSeek> order;
  for (int32_t rc = h.structure_->first(&it); rc == 0; rc = h.structure_->next(&it))
    order.push_back(it.record);
  EXPECT_EQ((std::vector<btSeek>{a, b, c}), order);
  // Ordered positioning does not exist in a hash index.
  EXPECT_EQ(BT_STATUS_WRONG_FIELD_TYPE, h.structure_->seekAtLeast(&it, &key));
  EXPECT_EQ(BT_STATUS_WRONG_FIELD_TYPE, h.structure_->seekBelow(&it, &key));
  EXPECT_EQ(BT_STATUS_WRONG_FIELD_TYPE, h.structure_->nextKey(&it));
  EXPECT_EQ(BT_STATUS_WRONG_FIELD_TYPE, h.structure_->previousKey(&it));
}

TEST(HashTable, ACyclicChainEndsTheSearch) {
  HashTableHarness h("hash_cycle.tvdb", {4, 3, 100, 512});
  btSeek a = 0, b = 0, c = 0;
  ASSERT_EQ(0, h.insert(1, &a));
  ASSERT_EQ(0, h.insert(101, &b));
  ASSERT_EQ(0, h.insert(201, &c));
  btIndexIterator it(h.definition_);
  // Damage: the tail points back to the second record, not to the head.
  ASSERT_EQ(0, it.writeLinks(c, b, b));
  btStoredRecord key;
  h.keyRecord(&key, 301);
  EXPECT_EQ(BT_STATUS_NOT_FOUND, h.structure_->find(&it, &key, BT_FIND_ANY, false));
  // A forward walk stops after as many steps as the table has records.
  it.record = a;
  it.chainHead = static_cast<int32_t>(a);
  it.chainPosition = 0;
  int steps = 0;
  while (it.chainNext() == 0) ASSERT_LT(++steps, 10);
  // b, c and b once more: then the steps exceed the table's three records.
  EXPECT_EQ(3, steps);
}

TEST(HashTable, ExistingKeysAreFoundAsTheWantedRecord) {
  HashTableHarness h("hash_find_record.tvdb", {9, 3, 50, 512});
  btSeek first = 0, second = 0;
  ASSERT_EQ(0, h.insert(3, &first));
  ASSERT_EQ(0, h.insert(3, &second));
  btStoredRecord key;
  h.keyRecord(&key, 3);
  btIndexIterator it(h.definition_);
  ASSERT_EQ(0, h.structure_->find(&it, &key, second, true));
  EXPECT_EQ(second, it.record);
  EXPECT_EQ(static_cast<int32_t>(first), it.chainHead);
  EXPECT_EQ(BT_STATUS_NOT_FOUND, h.structure_->find(&it, &key, BT_FIND_NONE, false));
  // The neighbours of a record: itself, then its duplicates.
  ASSERT_EQ(0, h.structure_->find(&it, &key, BT_FIND_ANY, false));
  uint32_t seeks[12];
  uint32_t n = 0;
  ASSERT_EQ(0, h.structure_->collectNeighbours(&it, seeks, &n, 12));
  ASSERT_EQ(2u, n);
  EXPECT_EQ(first, seeks[0]);
  EXPECT_EQ(second, seeks[1]);
}

// An insert reuses the bucket that the find before it read, unless a bucket
// was written in between: then the head the find saw is gone stale.
TEST(HashTable, AnInsertAfterAnOlderFindRereadsAWrittenBucket) {
  for (uint8_t kind : {3, 4, 9}) {
    HashTableHarness h("hash_stale_find.tvdb", {kind, 3, 100, 512});
    btStoredRecord late;
    h.keyRecord(&late, 7, 1000);
    btIndexIterator it(h.definition_);
    ASSERT_EQ(BT_STATUS_NOT_FOUND, h.structure_->find(&it, &late, BT_FIND_ANY, false));
    btSeek early = 0;
    ASSERT_EQ(0, h.insert(7, &early));  // writes the bucket the find saw empty
    btSeek seek = 0;
    uint8_t* image = nullptr;
    ASSERT_EQ(0, placeRecord(h.db_.get(), h.db_->getCacheFile(), &late, &seek, &image, h.table_, nullptr));
    h.table_->setRecordCount(h.table_->hdr.recordCount + 1);
    ASSERT_EQ(0, h.structure_->insertKey(&it, &late, seek));
    h.model_.emplace(7, seek);
    h.checkFind(7);
    h.checkScans();
  }
}

TEST(IndexFactory, OpensReopensAndReplacesStructures) {
  HashTableHarness h("index_factory.tvdb", {3, 3, 100, 512});
  ASSERT_EQ(0, h.insert(1));
  btIndexStructure* s = structureOf(h.definition_);
  EXPECT_EQ(h.structure_, s);  // the same root: the same object
  // A new root, as a conversion sets one, reopens the object in place.
  btSeek oldRoot = h.definition_->root;
  ASSERT_EQ(0, createIndexStructure(h.db_.get(), h.definition_));
  EXPECT_NE(oldRoot, h.definition_->root);
  EXPECT_EQ(s, structureOf(h.definition_));
  EXPECT_EQ(h.definition_->root, h.definition_->openedRoot);
  btIndexIterator it(h.definition_);
  EXPECT_EQ(BT_STATUS_NOT_FOUND, s->first(&it));
  // A change of kind replaces the structure by the kind's own.
  struct {
    uint8_t kind;
    uint32_t own;
  } changes[] = {{4, 4}, {9, 9}, {17, 3}, {0, 0}};
  for (auto& c : changes) {
    h.definition_->setIndexType(c.kind);
    ASSERT_EQ(0, createIndexStructure(h.db_.get(), h.definition_)) << int(c.kind);
    btIndexStructure* now = structureOf(h.definition_);
    ASSERT_NE(nullptr, now) << int(c.kind);
    EXPECT_EQ(c.own, now->indexKind());
    EXPECT_EQ(BT_STATUS_NOT_FOUND, now->first(&it)) << int(c.kind);
  }
  h.structure_ = nullptr;
}


TEST(HashTable, UnlinkingTheHeadMovesTheBucketToItsSuccessor) {
  HashTableHarness h("hash_unlink_head.tvdb", {4, 3, 10, 512});
  btSeek a = 0, b = 0, c = 0;
  ASSERT_EQ(0, h.insert(4, &a));
  ASSERT_EQ(0, h.insert(4, &b));
  ASSERT_EQ(0, h.insert(14, &c));
  {
    btStoredRecord ra;  // its pin must go before the close
    ASSERT_EQ(0, btLoadIndexRecord(h.definition_, a, &ra));
    btIndexIterator unlinking(h.definition_);
    ASSERT_EQ(0, h.structure_->unlinkDuplicate(&unlinking, &ra, a));
    EXPECT_EQ(b, h.hash_->bucket(h.db_->getCacheFile(), 4));
  }
  h.reopen();
  btIndexIterator it(h.definition_);
  EXPECT_EQ(b, h.hash_->readBucket(h.db_->getCacheFile(), 4));
  btStoredRecord key;
  h.keyRecord(&key, 4);
  ASSERT_EQ(0, h.structure_->find(&it, &key, BT_FIND_ANY, false));
  EXPECT_EQ(b, it.record);
  EXPECT_EQ(BT_STATUS_NOT_FOUND, h.structure_->nextEqual(&it));
  EXPECT_FALSE(it.isPositioned());  // a failing step clears the position
  ASSERT_EQ(0, h.structure_->find(&it, &key, BT_FIND_ANY, false));
  ASSERT_EQ(0, h.structure_->next(&it));
  EXPECT_EQ(c, it.record);
}

}  // namespace
