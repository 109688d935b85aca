// Stored lists (btSeekSet) against std containers, and the block stream
// (btMultiBlock) against a byte vector, across close and reopen.
#include <algorithm>
#include <cstring>
#include <random>
#include <set>
#include <vector>

#include <gtest/gtest.h>

#include "DbTestFiles.h"
#include "database/btBlockStorage.h"
#include "database/btDatabase.h"
#include "database/btMultiBlock.h"
#include "database/btSeekSet.h"
#include "database/btStatus.h"

namespace {

TEST(SeekSet, FormIsToldByByteThree) {
  struct Case {
    uint8_t bytes[12];
    bool shortForm;
    uint16_t capacity, count;
    int32_t status;
  } cases[] = {
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, false, 0, 0, 0},                  // zero image: empty
      {{0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 1, 0}, false, 2, 1, 0},                  // long
      {{3, 0, 1, 0x80, 0, 0, 0, 0, 0, 0, 0, 0}, true, 3, 1, 0},               // short
      {{0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 1, 0, 0, 0}, false, 1, 0, 0},     // 255: long, next reads 0
      {{1, 0, 2, 0x80, 0, 0, 0, 0, 0, 0, 0, 0}, true, 1, 2, BT_STATUS_BAD_LIST},
      {{0, 0, 0, 0, 0, 0, 0, 0, 1, 0x80, 2, 0}, false, 1, 2, BT_STATUS_BAD_LIST},  // bit 15 masked
  };
  for (const Case& c : cases) {
    btSeekSet set;
    ASSERT_EQ(0, ensureImage(&set, 64));
    std::memcpy(set.image, c.bytes, 12);
    EXPECT_EQ(c.status, set.unpack());
    EXPECT_EQ(c.shortForm, set.shortForm);
    EXPECT_EQ(c.capacity, set.capacity);
    EXPECT_EQ(c.count, set.count);
    EXPECT_EQ(0u, set.next);
  }
  btSeekSet big;
  ASSERT_EQ(0, ensureImage(&big, 64));
  btPut16(big.image + 8, 100);  // 412 bytes in a 512-byte buffer: fits
  EXPECT_EQ(0, big.unpack());
  btPut16(big.image + 8, 200);
  EXPECT_EQ(BT_STATUS_OBJECT_OVERRUNS_BLOCK, big.unpack());
}

TEST(SeekSet, SortedAndUnsortedAgainstModels) {
  std::mt19937 rng(21);
  for (bool shortForm : {false, true}) {
    btSeekSet sorted, plain;
    for (btSeekSet* s : {&sorted, &plain}) {
      ASSERT_EQ(0, ensureImage(s, 12 + 4 * 60));
      if (shortForm) btSeekSet::formatShort(s->image, 60); else btSeekSet::formatLong(s->image, 60);
      ASSERT_EQ(0, s->unpack());
    }
    std::set<uint32_t> sortedModel;
    std::vector<uint32_t> plainModel;
    for (int op = 0; op < 3000; op++) {
      uint32_t v = 1 + rng() % 100;
      if (rng() % 2) {
        int32_t want = sortedModel.count(v) ? BT_STATUS_ALREADY_IN_LIST
                       : sortedModel.size() == 60 ? BT_STATUS_BLOCK_FULL : 0;
        ASSERT_EQ(want, sorted.insert(v, true));
        if (want == 0) sortedModel.insert(v);
        int32_t plainWant = plainModel.size() == 60 ? BT_STATUS_BLOCK_FULL : 0;
        ASSERT_EQ(plainWant, plain.insert(v, false));
        if (plainWant == 0) plainModel.push_back(v);
      } else {
        ASSERT_EQ(sortedModel.erase(v) ? 0 : BT_STATUS_NOT_IN_LIST, sorted.remove(v, true));
        auto it = std::find(plainModel.begin(), plainModel.end(), v);
        ASSERT_EQ(it != plainModel.end() ? 0 : BT_STATUS_NOT_IN_LIST, plain.remove(v, false));
        if (it != plainModel.end()) plainModel.erase(it);
      }
      ASSERT_EQ(sortedModel.size(), sorted.count);
      ASSERT_EQ(plainModel.size(), plain.count);
    }
    std::vector<uint32_t> got;
    for (uint32_t i = 0; i < sorted.count; i++) got.push_back(sorted.valueAt(i));
    EXPECT_EQ(std::vector<uint32_t>(sortedModel.begin(), sortedModel.end()), got);
    got.clear();
    for (uint32_t i = 0; i < plain.count; i++) got.push_back(plain.valueAt(i));
    EXPECT_EQ(plainModel, got);
    ASSERT_EQ(0, sorted.unpack());  // the stored count agrees with the copy
    EXPECT_EQ(sortedModel.size(), sorted.count);
    EXPECT_EQ(shortForm, sorted.shortForm);
  }
}

class StoredChain : public ::testing::Test {
 protected:
  void SetUp() override {
    path = dbTestPath(::testing::UnitTest::GetInstance()->current_test_info()->name() +
                      std::string(".tvdb"));
    ASSERT_EQ(0, db->createDatabase(path.c_str(), "T", 512, 8 * 512, 0, 1));
  }
  void reopen() {
    ASSERT_EQ(0, db->closeDatabase());
    db = std::make_unique<btDatabase>();
    ASSERT_EQ(0, db->openDatabase(path.c_str(), 8 * 512, 0, 0, 1));
  }
  btCacheFile* cf() { return db->getCacheFile(); }
  // A new whole-block set; returns its seek.
  btSeek newSet() {
    btBlockPin pin;
    int32_t status = 0;
    btSeek seek = allocateBlock(db.get(), cf(), BT_BLOCK_HASH_BUCKET, &status, &pin);
    EXPECT_NE(0u, seek);
    btSeekSet::formatLong(pin.data() + 4, btSeekSet::fullBlockCapacity(512));
    return seek;
  }

  std::unique_ptr<btDatabase> db = std::make_unique<btDatabase>();
  std::string path;
};

// A damaged seek may name the last bytes of a block: the header is checked
// against the block before a byte of it is read.
TEST_F(StoredChain, HeaderPastTheBlockEndIsRefused) {
  btSeek seek = newSet();
  uint64_t blockPos = cf()->decode(seek) / 512 * 512;
  for (uint64_t offset = 496; offset < 512; offset++) {
    btSeekSet set;
    int32_t want = offset + btSeekSet::kLongHeader <= 512 ? 0 : BT_STATUS_OBJECT_OVERRUNS_BLOCK;
    EXPECT_EQ(want, loadObject(&set, cf(), blockPos + offset, true, 0, true)) << offset;
  }
}

TEST_F(StoredChain, ValuesAcrossAChainOfSets) {
  btSeek a = newSet(), b = newSet();
  {
    btSeekSet first, second;
    ASSERT_EQ(0, loadObject(&first, cf(), a, false));
    ASSERT_EQ(124, first.capacity);
    ASSERT_EQ(0, loadObject(&second, cf(), b, false));
    first.setNext(b);
    second.setPrev(a);
    for (uint32_t v = 1; v <= 124; v++) ASSERT_EQ(0, first.insert(v * 2, true));
    EXPECT_EQ(BT_STATUS_BLOCK_FULL, first.insert(999, true));
    for (uint32_t v = 125; v <= 150; v++) ASSERT_EQ(0, second.insert(v * 2, true));
  }
  reopen();
  btSeekSet first;
  ASSERT_EQ(0, loadObject(&first, cf(), a, false));
  EXPECT_EQ(150, first.countAll(false));
  EXPECT_EQ(248, first.countAll(true));
  uint64_t index = 0;
  ASSERT_EQ(0, first.findInChain(260, true, false, &index));
  EXPECT_EQ(129u, index);
  EXPECT_EQ(BT_STATUS_NOT_IN_LIST, first.findInChain(261, true, false, &index));
  uint32_t value = 0;
  ASSERT_EQ(0, first.getAt(140, false, &value));
  EXPECT_EQ(282u, value);
  EXPECT_EQ(BT_STATUS_NOT_FOUND, first.getAt(150, false, &value));
  // By capacity, index 130 lies in the second set's slot 6.
  ASSERT_EQ(0, first.setAt(130, true, 77));
  btSeekSet second;
  ASSERT_EQ(0, loadObject(&second, cf(), b, false));
  EXPECT_EQ(77u, second.valueAt(6));
}

TEST_F(StoredChain, AChainThatLoopsIsStopped) {
  btSeek a = newSet(), b = newSet();
  btSeekSet first, second;
  ASSERT_EQ(0, loadObject(&first, cf(), a, false));
  ASSERT_EQ(0, loadObject(&second, cf(), b, false));
  first.setNext(b);
  second.setNext(a);
  EXPECT_EQ(BT_STATUS_BAD_LIST, first.countAll(false));
}

TEST_F(StoredChain, StreamAgainstModelWithHoles) {
  btSeek dirSeek = newSet();
  const uint64_t per = 512 - 4;
  std::vector<uint8_t> model(20 * per, 0);
  std::mt19937 rng(17);
  for (int round = 0; round < 3; round++) {
    btMultiBlock stream;
    ASSERT_EQ(0, loadObject(&stream.directory(), cf(), dirSeek, false));
    EXPECT_EQ(124 * static_cast<int64_t>(per), stream.byteCapacity(cf()));
    for (int op = 0; op < 40; op++) {
      uint64_t offset = rng() % (model.size() - 600);
      uint64_t length = 1 + rng() % 600;
      if (rng() % 3) {
        std::vector<uint8_t> bytes(length);
        for (auto& x : bytes) x = static_cast<uint8_t>(rng());
        ASSERT_EQ(0, stream.write(db.get(), cf(), bytes.data(), offset, length));
        std::memcpy(&model[offset], bytes.data(), length);
      } else {
        std::vector<uint8_t> got(length, 0xAA);
        ASSERT_EQ(0, stream.read(cf(), got.data(), offset, length));
        ASSERT_EQ(0, std::memcmp(got.data(), &model[offset], length)) << offset << "+" << length;
      }
    }
    // Far beyond the writes: holes read as zeros.
    std::vector<uint8_t> hole(100, 0xAA);
    ASSERT_EQ(0, stream.read(cf(), hole.data(), 100 * per, 100));
    EXPECT_EQ(std::vector<uint8_t>(100, 0), hole);
    EXPECT_EQ(-3073, stream.read(cf(), nullptr, 0, 1));
    ASSERT_EQ(0, stream.writeElement(db.get(), cf(), 300, 0xC0FFEE));
    uint32_t element = 0;
    ASSERT_EQ(0, stream.readElement(cf(), 300, &element));
    EXPECT_EQ(0xC0FFEEu, element);
    uint64_t at = (300 / (per / 4)) * per + (300 % (per / 4)) * 4;
    if (at + 4 <= model.size()) btPut32(&model[at], 0xC0FFEE);
    stream.directory().releaseImage();
    reopen();
  }
  btMultiBlock stream;
  ASSERT_EQ(0, loadObject(&stream.directory(), cf(), dirSeek, false));
  std::vector<uint8_t> all(model.size());
  ASSERT_EQ(0, stream.read(cf(), all.data(), 0, all.size()));
  EXPECT_EQ(model, all);
  EXPECT_EQ(BT_STATUS_BAD_BLOCK, stream.write(db.get(), cf(), all.data(), 124 * per, 10));
}

}  // namespace
