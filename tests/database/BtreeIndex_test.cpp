// B-tree index: node layout in its three entry widths, the order a new tree
// gets, corrupt nodes, the edge cases of inserting and removing at the
// front, and randomised runs against std::multimap across reopening.
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BtreeTestSupport.h"
#include "database/btCacheFile.h"

namespace {

TEST(BtreeOrder, ByEntryWidthAndBlockSize) {
  struct Case {
    uint8_t flags;
    uint64_t blockSize;
    uint32_t order, compactCapacity, image;
  } cases[] = {
      {0, 65536, 5460, 8190, 12 * 5460 + 8},
      {BT_INDEX_SUMMARY8, 65536, 4095, 5460, 16 * 4095 + 4},
      {BT_INDEX_SUMMARY16, 65536, 2730, 3276, 24 * 2730 - 4},
      {BT_INDEX_SUMMARY16 | BT_INDEX_SUMMARY8, 65536, 2730, 3276, 24 * 2730 - 4},
      {0, 512, 41, 61, 12 * 41 + 8},
      {BT_INDEX_SUMMARY16 | BT_INDEX_DUPLICATES, 512, 21, 25, 24 * 21 - 4},
  };
  for (const Case& c : cases) {
    btIndexDefinition d;
    d.indexFlags = c.flags;
    d.conversionCount = btBtreeNode::orderFor(&d, c.blockSize);
    EXPECT_EQ(c.order, d.conversionCount) << int(c.flags) << " " << c.blockSize;
    btBtreeNode n(&d);
    uint8_t image[24] = {};
    image[14] = 1;
    image[15] = 1;
    n.image = image;
    ASSERT_EQ(0, n.unpack());
    EXPECT_EQ(c.compactCapacity, n.capacity());
    EXPECT_EQ(c.image, n.storedSize());
    EXPECT_LE(n.storedSize() + 4, c.blockSize);
    n.image = nullptr;
  }
}

// Reads the node image at `seek` from the cache, as the file holds it.
std::vector<uint8_t> nodeBytes(TreeFixture& f, btSeek seek, size_t n) {
  btCacheFile* cf = f.db->getCacheFile();
  uint64_t pos = cf->decode(seek);
  uint8_t* block = cf->getBlockAt(pos - pos % cf->blockSize, 0);
  EXPECT_NE(nullptr, block);
  if (!block) return {};
  const uint8_t* image = block + pos % cf->blockSize;
  EXPECT_EQ(BT_BLOCK_BTREE_NODE, btBlockKindOf(btGet32(block)));
  return std::vector<uint8_t>(image, image + n);
}

TEST(BtreeNodeLayout, CompactLeafInEachWidth) {
  struct Case {
    uint8_t flags;
    size_t entry;
  } cases[] = {{0, 8}, {BT_INDEX_SUMMARY8, 12}, {BT_INDEX_SUMMARY16, 20}};
  for (const Case& c : cases) {
    TreeFixture f("btree_layout.db", c.flags, false);
    const char* words[] = {"mango", "apple", "peach"};
    btSeek seeks[] = {0x100, 0x108, 0x110};
    for (int i = 0; i < 3; i++) {
      f.keys->keyOf[seeks[i]] = words[i];
      TestKey k(words[i]);
      btIndexIterator it;
      f.tree->find(&it, &k, BT_FIND_ANY, false);
      ASSERT_EQ(0, f.tree->insertKey(&it, &k, seeks[i]));
    }
    std::vector<uint8_t> b = nodeBytes(f, f.def.root, 20 + 2 * c.entry);
    ASSERT_EQ(20 + 2 * c.entry, b.size());
    EXPECT_EQ(0u, le32(b, 0));   // next
    EXPECT_EQ(0u, le32(b, 4));   // previous
    EXPECT_EQ(0u, le32(b, 8));   // parent
    EXPECT_EQ(3u, le16(b, 12));  // count
    EXPECT_EQ(1, b[14]);         // leaf
    EXPECT_EQ(1, b[15]);         // compact
    // "apple" went in front of "mango", which moved into entry 1.
    EXPECT_EQ(0x108u, le32(b, 16));
    size_t sum = c.entry - 4;
    EXPECT_EQ(0x100u, le32(b, 20 + sum));
    EXPECT_EQ(0x110u, le32(b, 20 + c.entry + sum));
    // Summaries: the key's first bytes, big-endian, as u32 or u64 fields.
    if (sum == 4) {
      EXPECT_EQ(0x6D616E67u, le32(b, 20));  // "mang"
    } else {
      EXPECT_EQ(0x6D616E676F000000ull, le64(b, 20));  // "mango"
      if (sum == 16) {
        EXPECT_EQ(0u, le64(b, 28));
      }
    }
  }
}

TEST(BtreeNodeLayout, InteriorNodesUseTheFullForm) {
  TreeFixture f("btree_interior.db", BT_INDEX_SUMMARY8, true);
  // 4-byte keys in ascending order: leaves split until a root appears.
  uint32_t n = f.def.conversionCount * 2;
  for (uint32_t i = 0; i < n; i++) {
    char k[5] = {char('a' + i / 676), char('a' + i / 26 % 26), char('a' + i % 26), 'x', 0};
    btSeek s = 0x2000 + 8 * i;
    f.keys->keyOf[s] = k;
    TestKey key(k);
    btIndexIterator it;
    f.tree->find(&it, &key, BT_FIND_ANY, false);
    ASSERT_EQ(0, f.tree->insertKey(&it, &key, s));
  }
  uint32_t height = 0;
  uint64_t entries = 0;
  ASSERT_EQ(0, f.tree->checkTree(&entries, &height));
  EXPECT_EQ(n, entries);
  EXPECT_EQ(2u, height);
  std::vector<uint8_t> root = nodeBytes(f, f.def.root, 20 + 16);
  EXPECT_EQ(0, root[14]);
  EXPECT_EQ(0, root[15]);
  EXPECT_EQ(f.def.firstNode, le32(root, 16));
  // Entry 1: u64 summary, separator record, child; the separator is the
  // first record of the child.
  btSeek child = le32(root, 32);
  btSeek separator = le32(root, 28);
  std::vector<uint8_t> leaf = nodeBytes(f, child, 20);
  EXPECT_EQ(separator, le32(leaf, 16));
  EXPECT_EQ(f.def.root, le32(leaf, 8));
  EXPECT_EQ(f.keys->summaryOf(f.keys->keyOf[separator]).hi, le64(root, 20));
}

TEST(BtreeNodeLoad, RejectsCorruptHeaders) {
  TreeFixture f("btree_corrupt.db", 0, true);
  btCacheFile* cf = f.db->getCacheFile();
  uint64_t pos = cf->decode(f.def.root);
  uint8_t* block = cf->getBlockAt(pos - pos % cf->blockSize, 0);
  ASSERT_NE(nullptr, block);
  uint8_t* image = block + 4;
  struct Case {
    size_t offset;
    uint8_t value;
    int32_t status;
  } cases[] = {
      {14, 2, BT_STATUS_BAD_NODE},   // leaf byte
      {15, 7, BT_STATUS_BAD_NODE},   // compact byte
      {13, 1, BT_STATUS_NOT_READY},  // count 256 above a compact capacity of 61
  };
  for (const Case& c : cases) {
    uint8_t saved = image[c.offset];
    image[c.offset] = c.value;
    btBtreeNode n(&f.def);
    EXPECT_EQ(c.status, loadNode(&n, cf, f.def.root)) << c.offset;
    n.releaseImage();
    image[c.offset] = saved;
  }
  btBtreeNode ok(&f.def);
  EXPECT_EQ(0, loadNode(&ok, cf, f.def.root));
}

TEST(BtreeEdges, FirstKeyGoesToChildZeroAndLastRemovalKeepsTheRoot) {
  TreeFixture f("btree_edges.db", 0, false);
  btIndexIterator it;
  TestKey probe("anything");
  EXPECT_EQ(BT_STATUS_NOT_FOUND, f.tree->find(&it, &probe, BT_FIND_ANY, false));
  EXPECT_EQ(BT_STATUS_NOT_FOUND, f.tree->first(&it));
  EXPECT_EQ(BT_STATUS_NOT_FOUND, f.tree->seekAtLeast(&it, &probe));
  f.keys->keyOf[0x500] = "kiwi";
  TestKey kiwi("kiwi");
  ASSERT_EQ(0, f.tree->insertKey(&it, &kiwi, 0x500));
  // With one record a search for any key ends on it and compares.
  EXPECT_EQ(BT_STATUS_NOT_FOUND, f.tree->find(&it, &probe, BT_FIND_ANY, false));
  EXPECT_EQ(0x500u, it.record);
  EXPECT_EQ(-1, it.compare);
  TestKey zebra("zebra");
  EXPECT_EQ(BT_STATUS_NOT_FOUND, f.tree->find(&it, &zebra, BT_FIND_ANY, false));
  EXPECT_EQ(1, it.compare);
  btSeek root = f.def.root;
  ASSERT_EQ(0, f.tree->find(&it, &kiwi, 0x500, true));
  ASSERT_EQ(0, f.tree->removeCurrent(&it));
  EXPECT_EQ(0u, it.record);
  EXPECT_EQ(root, f.def.root);
  EXPECT_TRUE(f.tree->isEmpty());
}

TEST(BtreeEdges, ExactlyFullLeafSplitsOnlyOnTheNextInsert) {
  TreeFixture f("btree_full.db", 0, true);
  btBtreeNode probe(&f.def);
  uint32_t capacity = f.def.conversionCount * 12 / 8;
  for (uint32_t i = 0; i <= capacity; i++) {
    char k[5] = {'k', char('a' + i / 26), char('a' + i % 26), 'z', 0};
    btSeek s = 0x3000 + 8 * i;
    f.keys->keyOf[s] = k;
    TestKey key(k);
    btIndexIterator it;
    f.tree->find(&it, &key, BT_FIND_ANY, false);
    ASSERT_EQ(0, f.tree->insertKey(&it, &key, s));
    uint32_t height = 0;
    ASSERT_EQ(0, f.tree->checkTree(nullptr, &height));
    EXPECT_EQ(i < capacity ? 1u : 2u, height) << i;
  }
}

TEST(BtreeEdges, RemoveAllFreesNodesForReuse) {
  TreeFixture f("btree_removeall.db", BT_INDEX_DUPLICATES, true);
  std::mt19937 rng(5);
  for (uint32_t i = 0; i < 3000; i++) {
    TestKey key(modelKey(rng, false, 500));
    btSeek s = 0x4000 + 8 * i;
    f.keys->keyOf[s] = key.text;
    btIndexIterator it;
    f.tree->find(&it, &key, BT_FIND_ANY, false);
    ASSERT_EQ(0, f.tree->insertKey(&it, &key, s));
  }
  uint64_t size = f.db->logicalFileSize();
  btSeek root = f.def.root;
  btIndexIterator it;
  ASSERT_EQ(0, f.tree->removeAll(&it));
  EXPECT_EQ(root, f.def.root);
  EXPECT_TRUE(f.tree->isEmpty());
  EXPECT_EQ(f.def.root, f.def.firstNode);
  EXPECT_EQ(f.def.root, f.def.lastNode);
  uint64_t entries = 1;
  ASSERT_EQ(0, f.tree->checkTree(&entries));
  EXPECT_EQ(0u, entries);
  // Growing again takes the freed blocks before the file grows.
  f.keys->links.clear();
  for (uint32_t i = 0; i < 3000; i++) {
    TestKey key(modelKey(rng, false, 500));
    btSeek s = 0x40000 + 8 * i;
    f.keys->keyOf[s] = key.text;
    f.tree->find(&it, &key, BT_FIND_ANY, false);
    ASSERT_EQ(0, f.tree->insertKey(&it, &key, s));
  }
  EXPECT_EQ(size, f.db->logicalFileSize());
}

TEST(BtreeEdges, EqualSummariesAreOrderedByReadingRecords) {
  // Sixteen-byte summaries of keys that agree on their first 16 bytes.
  TreeFixture f("btree_ties.db", BT_INDEX_SUMMARY16, false);
  std::map<std::string, btSeek> model;
  std::mt19937 rng(11);
  for (uint32_t i = 0; i < 400; i++) {
    std::string k = "0123456789abcdef" + std::to_string(rng() % 100000);
    if (model.count(k)) continue;
    btSeek s = 0x9000 + 8 * i;
    f.keys->keyOf[s] = k;
    TestKey key(k);
    btIndexIterator it;
    ASSERT_EQ(BT_STATUS_NOT_FOUND, f.tree->find(&it, &key, BT_FIND_ANY, false));
    ASSERT_EQ(0, f.tree->insertKey(&it, &key, s));
    model[k] = s;
  }
  std::multimap<std::string, btSeek> mm(model.begin(), model.end());
  expectTreeSound(f, mm, false);
  expectScansMatch(f, mm);
  for (auto& kv : model) {
    TestKey key(kv.first);
    btIndexIterator it;
    ASSERT_EQ(0, f.tree->find(&it, &key, BT_FIND_ANY, false));
    EXPECT_EQ(kv.second, it.record);
  }
}

TEST(BtreeEdges, ExactSummariesDecideWithoutReadingRecords) {
  TreeFixture f("btree_exact.db", 0, true);
  std::mt19937 rng(3);
  std::vector<std::string> keys;
  for (uint32_t i = 0; i < 2000; i++) {
    TestKey key(modelKey(rng, false, 400000));
    btIndexIterator it;
    if (f.tree->find(&it, &key, BT_FIND_ANY, false) == 0) continue;
    btSeek s = 0x8000 + 8 * i;
    f.keys->keyOf[s] = key.text;
    ASSERT_EQ(0, f.tree->insertKey(&it, &key, s));
    keys.push_back(key.text);
  }
  uint64_t before = f.keys->reads;
  for (const std::string& k : keys) {
    TestKey key(k);
    btIndexIterator it;
    ASSERT_EQ(0, f.tree->find(&it, &key, BT_FIND_ANY, false));
  }
  // Only a hit on position 0 of a leaf, which has no summary, reads a record.
  EXPECT_LT(f.keys->reads - before, keys.size() / 4);
}

TEST(BtreeDuplicates, ChainOrderScansAndHeadRemoval) {
  TreeFixture f("btree_chain.db", BT_INDEX_DUPLICATES, true);
  const char* words[] = {"bbbb", "aaaa", "bbbb", "cccc", "bbbb", "aaaa"};
  for (int i = 0; i < 6; i++) {
    btSeek s = 0x700 + 8 * i;
    f.keys->keyOf[s] = words[i];
    TestKey key(words[i]);
    btIndexIterator it;
    f.tree->find(&it, &key, BT_FIND_ANY, false);
    ASSERT_EQ(0, f.tree->insertKey(&it, &key, s));
  }
  std::vector<btSeek> scan;
  btIndexIterator it;
  for (int32_t rc = f.tree->first(&it); rc == 0; rc = f.tree->next(&it)) scan.push_back(it.record);
  EXPECT_EQ((std::vector<btSeek>{0x708, 0x728, 0x700, 0x710, 0x720, 0x718}), scan);
  TestKey b("bbbb");
  ASSERT_EQ(0, f.tree->find(&it, &b, BT_FIND_CHAIN_END, false));
  EXPECT_EQ(0x720u, it.record);
  ASSERT_EQ(0, f.tree->find(&it, &b, 0x710, true));
  EXPECT_EQ(0x710u, it.record);
  EXPECT_EQ(BT_STATUS_NOT_FOUND, f.tree->find(&it, &b, 0x718, true));
  // Removing the head moves the entry to the next record of the chain.
  ASSERT_EQ(0, f.tree->find(&it, &b, 0x700, true));
  ASSERT_EQ(0, f.tree->removeCurrent(&it));
  ASSERT_EQ(0, f.tree->find(&it, &b, BT_FIND_ANY, false));
  EXPECT_EQ(0x710u, it.record);
  uint32_t near[12];
  uint32_t count = 0;
  ASSERT_EQ(0, f.tree->collectNeighbours(&it, near, &count, 12));
  EXPECT_EQ((std::vector<uint32_t>{0x710, 0x720, 0x718, 0x708}),
            std::vector<uint32_t>(near, near + count));
}

class BtreeModel : public ::testing::TestWithParam<ModelRun> {};

TEST_P(BtreeModel, MatchesMultimap) {
  runModel(GetParam(), "btree_model.db");
}

INSTANTIATE_TEST_SUITE_P(
    Runs, BtreeModel,
    ::testing::Values(ModelRun{0, false, 20000, 20000, 5000, 1, 3},
                      ModelRun{BT_INDEX_DUPLICATES, false, 20000, 3000, 5000, 2, 2},
                      ModelRun{BT_INDEX_SUMMARY8, true, 20000, 30000, 5000, 3, 3},
                      ModelRun{BT_INDEX_SUMMARY16 | BT_INDEX_DUPLICATES, true, 20000, 4000, 5000, 4, 3},
                      ModelRun{BT_INDEX_SUMMARY16, false, 12000, 100000, 4000, 5, 3},
                      ModelRun{0, true, 20000, 50000, 5000, 6, 3},
                      ModelRun{BT_INDEX_DUPLICATES, false, 20000, 3000, 5000, 7, 2, true},
                      ModelRun{BT_INDEX_SUMMARY16, true, 20000, 50000, 5000, 8, 3, true}));

}  // namespace
