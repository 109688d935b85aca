// Block storage: seek encoding, the free chain, slotted blocks and record
// placement, checked against simple models across close and reopen.
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <vector>

#include <gtest/gtest.h>

#include "DbTestFiles.h"
#include "database/btBlockStorage.h"
#include "database/btDatabase.h"
#include "database/btStatus.h"
#include "database/btVariableLengthStorageBlock.h"

namespace {

// A stored object whose image starts with its own u16 length.
class Blob : public btStoredObject {
 public:
  uint32_t storedSize() const override { return image ? btGet16(image) : 0; }
};

std::vector<uint8_t> blobBytes(uint16_t length, uint32_t seed) {
  std::vector<uint8_t> b(length);
  for (size_t i = 2; i < length; i++) b[i] = static_cast<uint8_t>(seed * 31 + i);
  b[0] = static_cast<uint8_t>(length);
  b[1] = static_cast<uint8_t>(length >> 8);
  return b;
}

TEST(SeekEncoding, KnownValues) {
  struct Case {
    uint64_t B;
    uint64_t position;
    uint32_t encoded;
  } cases[] = {
      {8192, 0x2004, 0x2004},                  // below 4 GiB: itself
      {8192, 0x100002000ull, 0x2200},          // 1 << 32 rides in the offset
      {8192, 0x100002000ull + 4 + 3, 0x2207},  // a slot seek in that block
      {8192, 0x300000000ull + 0x4000 + 17, 0x4000 + 3 * 512 + 17},
      {65536, 0xF00010000ull + 5, 0x10000 + 15 * 4096 + 5},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.position);
    EXPECT_EQ(c.encoded, btSeekEncode(c.position, c.B));
    EXPECT_EQ(c.position, btSeekDecode(c.encoded, c.B, true));
  }
  // Small or old files take offsets as they stand.
  EXPECT_EQ(0x2200u, btSeekDecode(0x2200, 8192, false));
  EXPECT_EQ(0u, btReadAddress(0xFFFFFFFF));
  EXPECT_EQ(7u, btReadAddress(7));
}

TEST(SeekEncoding, RoundTripOfNameablePositions) {
  std::mt19937_64 rng(3);
  for (uint64_t B : {512ull, 4096ull, 8192ull, 65536ull}) {
    uint64_t S = B / 16;
    for (int i = 0; i < 2000; i++) {
      uint64_t block = rng() % (BT_MAX_FILE_SIZE / B);
      uint64_t p = block * B + rng() % S;
      ASSERT_EQ(p, btSeekDecode(btSeekEncode(p, B), B, true)) << B << " " << p;
    }
  }
}

TEST(SlottedBlock, PlaceRemoveAndReuse) {
  Blob holder;
  btVariableLengthStorageBlock area;
  ASSERT_EQ(0, ensureImage(&area, 1020));
  btVariableLengthStorageBlock::format(area.image, 1020);
  ASSERT_EQ(0, area.unpack());
  EXPECT_EQ(1020u - 20, area.freeBytes());
  uint16_t slot = 99;
  uint8_t* at = nullptr;
  std::vector<uint8_t> a = blobBytes(100, 1), b = blobBytes(50, 2), c = blobBytes(30, 3);
  ASSERT_EQ(0, area.placeImage(a.data(), 100, 64, &slot, &at));
  EXPECT_EQ(0, slot);
  EXPECT_EQ(920, area.heapStart);
  ASSERT_EQ(0, area.placeImage(b.data(), 50, 64, &slot, &at));
  EXPECT_EQ(1, slot);
  ASSERT_EQ(0, area.placeImage(c.data(), 30, 64, &slot, &at));
  EXPECT_EQ(2, slot);
  // Removing the middle object moves the lower one up and keeps its slot.
  ASSERT_EQ(0, area.removeSlot(1));
  EXPECT_EQ(2, area.usedSlots);
  EXPECT_EQ(3, area.slotCount);
  EXPECT_EQ(0, std::memcmp(area.image + area.slotValue(2), c.data(), 30));
  EXPECT_EQ(0, std::memcmp(area.image + area.slotValue(0), a.data(), 100));
  EXPECT_EQ(1020 - 130, area.heapStart);
  // A new object takes the empty slot: the old seek names the new object.
  ASSERT_EQ(0, area.placeImage(b.data(), 50, 64, &slot, &at));
  EXPECT_EQ(1, slot);
  EXPECT_EQ(BT_STATUS_BAD_SLOT, area.removeSlot(7));
  ASSERT_EQ(0, area.removeSlot(2));
  EXPECT_EQ(2, area.slotCount);  // the last slot went, the table shrinks
  ASSERT_EQ(0, area.removeSlot(0));
  ASSERT_EQ(0, area.removeSlot(1));
  EXPECT_EQ(0, area.slotCount);
  EXPECT_EQ(1020, area.heapStart);
  EXPECT_EQ(BT_STATUS_BAD_SLOT, area.removeSlot(0));
}

TEST(SlottedBlock, LimitsAndGapRule) {
  btVariableLengthStorageBlock area;
  ASSERT_EQ(0, ensureImage(&area, 4000));
  btVariableLengthStorageBlock::format(area.image, 4000);
  ASSERT_EQ(0, area.unpack());
  uint16_t slot;
  std::vector<uint8_t> small = blobBytes(8, 4);
  for (int i = 0; i < 32; i++) ASSERT_EQ(0, area.placeImage(small.data(), 8, 32, &slot, nullptr));
  EXPECT_GT(area.freeBytes(), 8u);
  EXPECT_EQ(BT_STATUS_BLOCK_FULL, area.placeImage(small.data(), 8, 32, &slot, nullptr));
  // A small object at least 1024 bytes above the heap start leaves a gap.
  std::vector<uint8_t> big = blobBytes(1500, 5);
  ASSERT_EQ(0, area.removeSlot(31));
  ASSERT_EQ(0, area.placeImage(big.data(), 1500, 64, &slot, nullptr));
  uint16_t heap = area.heapStart;
  ASSERT_EQ(0, area.removeSlot(0));  // the first 8 bytes, high in the area
  EXPECT_EQ(heap, area.heapStart);
  EXPECT_EQ(0, area.image[3992]);
  // A large object is closed up.
  ASSERT_EQ(0, area.removeSlot(slot));
  EXPECT_EQ(heap + 1500, area.heapStart);
  // Free bytes never go negative.
  btVariableLengthStorageBlock tight;
  ASSERT_EQ(0, ensureImage(&tight, 40));
  btVariableLengthStorageBlock::format(tight.image, 40);
  ASSERT_EQ(0, tight.unpack());
  std::vector<uint8_t> ten = blobBytes(10, 6);
  ASSERT_EQ(0, tight.placeImage(small.data(), 8, 64, &slot, nullptr));
  EXPECT_EQ(10u, tight.freeBytes());
  ASSERT_EQ(0, tight.placeImage(ten.data(), 10, 64, &slot, nullptr));
  EXPECT_EQ(0u, tight.freeBytes());  // 22 - (2 * 3 + 18) would be -2
}

TEST(SlottedBlock, DamagedHeadersAreRefused) {
  struct Case {
    uint16_t size, used, count, heap;
    int32_t status;
  } cases[] = {
      {1000, 0, 0, 1000, 0},
      {1000, 3, 2, 900, BT_STATUS_BAD_BLOCK},   // more used than slots
      {1000, 0, 0, 10, BT_STATUS_BAD_BLOCK},    // heap inside the header
      {1000, 0, 0, 1001, BT_STATUS_BAD_BLOCK},  // heap past the end
      {100, 0, 51, 100, BT_STATUS_BAD_BLOCK},   // slot table larger than half
  };
  for (const Case& c : cases) {
    btVariableLengthStorageBlock area;
    ASSERT_EQ(0, ensureImage(&area, 1000));
    btPut16(area.image + 8, c.size);
    btPut16(area.image + 10, c.used);
    btPut16(area.image + 12, c.count);
    btPut16(area.image + 14, c.heap);
    EXPECT_EQ(c.status, area.unpack()) << c.size << " " << c.used << " " << c.count << " " << c.heap;
  }
}

class StorageFile : public ::testing::Test {
 protected:
  void create(uint32_t blockSize, uint64_t budget) {
    B = blockSize;
    budget_ = budget;
    path = dbTestPath(::testing::UnitTest::GetInstance()->current_test_info()->name() +
                      std::string(".tvdb"));
    ASSERT_EQ(0, db->createDatabase(path.c_str(), "T", B, budget, 0, 1));
  }
  void reopen() {
    ASSERT_EQ(0, db->closeDatabase());
    db = std::make_unique<btDatabase>();
    ASSERT_EQ(0, db->openDatabase(path.c_str(), budget_, 0, 0, 1));
  }
  btCacheFile* cf() { return db->getCacheFile(); }

  std::unique_ptr<btDatabase> db = std::make_unique<btDatabase>();
  std::string path;
  uint32_t B = 0;
  uint64_t budget_ = 0;
};

TEST_F(StorageFile, AllocateFreeReuseAgainstModel) {
  create(1024, 8 * 1024);
  std::vector<uint64_t> freeStack;  // the free chain is last in, first out
  std::set<uint64_t> allocated;
  uint64_t fileEnd = B;
  std::mt19937 rng(11);
  for (int round = 0; round < 6; round++) {
    for (int op = 0; op < 150; op++) {
      if (allocated.empty() || rng() % 5 < 3) {
        uint32_t kind = (rng() % 2) ? BT_BLOCK_DATA : BT_BLOCK_BTREE_NODE;
        int32_t status = 0;
        btSeek seek = allocateBlock(db.get(), cf(), kind, &status);
        ASSERT_EQ(0, status);
        uint64_t expected;
        if (!freeStack.empty()) {
          expected = freeStack.back();
          freeStack.pop_back();
        } else {
          expected = fileEnd;
          fileEnd += B;
        }
        ASSERT_EQ(expected + 4, seek);
        uint8_t* d = cf()->getBlockAt(expected, 0);
        ASSERT_EQ(btBlockTag(kind, expected), btGet32(d));
        ASSERT_EQ(0u, btGet32(d + 4));
        allocated.insert(expected);
      } else {
        auto it = allocated.begin();
        std::advance(it, rng() % allocated.size());
        ASSERT_EQ(0, freeBlock(db.get(), cf(), static_cast<btSeek>(*it + 4)));
        freeStack.push_back(*it);
        allocated.erase(it);
      }
    }
    EXPECT_EQ(fileEnd, db->logicalFileSize());
    reopen();
    // Walk the stored free chain: it must be the model's stack, newest first.
    std::vector<uint64_t> chain;
    for (btSeek s = db->header().freeBlockHead; s; s = btGet32(cf()->getBlockAt(s, 0) + 4)) {
      ASSERT_LT(chain.size(), freeStack.size() + 1);
      uint8_t* d = cf()->getBlockAt(s, 0);
      ASSERT_EQ(BT_BLOCK_FREE, btBlockKindOf(btGet32(d)));
      chain.push_back(s);
    }
    EXPECT_EQ(std::vector<uint64_t>(freeStack.rbegin(), freeStack.rend()), chain);
  }
  EXPECT_EQ(fileEnd, readFileBytes(path).size());
}

TEST_F(StorageFile, RecordsAgainstModelAcrossReopen) {
  create(1024, 6 * 1024);
  std::map<btSeek, std::vector<uint8_t>> model;
  std::mt19937 rng(5);
  uint32_t seed = 0;
  for (int round = 0; round < 5; round++) {
    for (int op = 0; op < 400; op++) {
      if (model.empty() || rng() % 3 != 0) {
        std::vector<uint8_t> bytes = blobBytes(static_cast<uint16_t>(4 + rng() % 300), ++seed);
        Blob blob;
        ASSERT_EQ(0, ensureImage(&blob, bytes.size()));
        std::memcpy(blob.image, bytes.data(), bytes.size());
        btSeek seek = 0;
        uint8_t* placed = nullptr;
        ASSERT_EQ(0, placeRecord(db.get(), cf(), &blob, &seek, &placed, nullptr, nullptr));
        ASSERT_EQ(0, std::memcmp(placed, bytes.data(), bytes.size()));
        ASSERT_EQ(0u, model.count(seek)) << "seek handed out twice";
        model[seek] = bytes;
      } else {
        auto it = model.begin();
        std::advance(it, rng() % model.size());
        ASSERT_EQ(0, releaseSlot(db.get(), cf(), it->first, nullptr));
        model.erase(it);
      }
    }
    reopen();
    for (auto& [seek, bytes] : model) {
      Blob blob;
      ASSERT_EQ(0, loadSlotObject(&blob, cf(), seek, false)) << seek;
      ASSERT_EQ(bytes.size(), blob.storedSize());
      ASSERT_EQ(0, std::memcmp(blob.image, bytes.data(), bytes.size())) << seek;
    }
  }
  // Emptying everything gives every data block back to the free chain.
  for (auto& entry : model) ASSERT_EQ(0, releaseSlot(db.get(), cf(), entry.first, nullptr));
  EXPECT_EQ(0u, db->header().dataBlockHead);
  uint64_t freeBlocks = 0;
  for (btSeek s = db->header().freeBlockHead; s; s = btGet32(cf()->getBlockAt(s, 0) + 4)) freeBlocks++;
  EXPECT_GT(freeBlocks, 0u);
}

TEST_F(StorageFile, SlotSeeksAndTheirFailures) {
  create(1024, 1 << 20);
  std::vector<uint8_t> bytes = blobBytes(40, 9);
  btSeek seek = 0;
  ASSERT_EQ(0, placeBytes(db.get(), cf(), bytes.data(), 40, &seek, nullptr, nullptr, nullptr));
  EXPECT_EQ(1024u + 4 + 0, seek);
  Blob blob;
  EXPECT_EQ(0, loadSlotObject(&blob, cf(), seek, false));
  EXPECT_EQ(BT_STATUS_BAD_ADDRESS, loadSlotObject(&blob, cf(), seek + 1, false));  // no such slot
  ASSERT_EQ(0, placeBytes(db.get(), cf(), bytes.data(), 40, &seek, nullptr, nullptr, nullptr));
  ASSERT_EQ(1024u + 5, seek);
  ASSERT_EQ(0, releaseSlot(db.get(), cf(), 1024 + 4, nullptr));
  EXPECT_EQ(BT_STATUS_BAD_ADDRESS, loadSlotObject(&blob, cf(), 1024 + 4, false));  // empty slot
  EXPECT_EQ(BT_STATUS_BAD_SLOT, releaseSlot(db.get(), cf(), 1024 + 4, nullptr));
  EXPECT_EQ(BT_STATUS_BAD_ADDRESS, releaseSlot(db.get(), cf(), 100, nullptr));        // in block 0
  EXPECT_EQ(BT_STATUS_BAD_ADDRESS, releaseSlot(db.get(), cf(), 900000, nullptr));     // beyond the end
  // Too large for any block: a new empty block refuses it as well.
  std::vector<uint8_t> huge = blobBytes(1024 - 20, 1);
  EXPECT_EQ(BT_STATUS_BLOCK_FULL, placeBytes(db.get(), cf(), huge.data(), 1024 - 20, &seek, nullptr, nullptr, nullptr));
}

TEST_F(StorageFile, NearlyFullBlockLeavesChainAndGoesToDisk) {
  create(1024, 1 << 20);
  std::vector<uint8_t> bytes = blobBytes(300, 2);
  btSeek seek = 0;
  for (int i = 0; i < 3; i++)
    ASSERT_EQ(0, placeBytes(db.get(), cf(), bytes.data(), 300, &seek, nullptr, nullptr, nullptr));
  EXPECT_EQ(1024u + 4, db->header().dataBlockHead);
  // 3 * 300 bytes and their slots leave under B / 32 after this one.
  std::vector<uint8_t> last = blobBytes(70, 3);
  ASSERT_EQ(0, placeBytes(db.get(), cf(), last.data(), 70, &seek, nullptr, nullptr, nullptr));
  EXPECT_EQ(1024u + 4 + 3, seek);
  EXPECT_EQ(0u, db->header().dataBlockHead);
  std::vector<uint8_t> file = readFileBytes(path);
  ASSERT_EQ(2048u, file.size());
  EXPECT_EQ(4, le16(file, 1024 + 4 + 10));  // used slots, as written through
  // Releasing a slot makes room again and relinks the block at the head.
  ASSERT_EQ(0, releaseSlot(db.get(), cf(), 1024 + 4, nullptr));
  EXPECT_EQ(1024u + 4, db->header().dataBlockHead);
}

TEST_F(StorageFile, NearSeeksDrawRecordsTogether) {
  create(1024, 1 << 20);
  std::vector<uint8_t> bytes = blobBytes(100, 2);
  btSeek first = 0, other = 0, placed = 0;
  ASSERT_EQ(0, placeBytes(db.get(), cf(), bytes.data(), 100, &first, nullptr, nullptr, nullptr));
  // Force a second block at the head of the chain.
  std::vector<uint8_t> big = blobBytes(950, 3);
  ASSERT_EQ(0, placeBytes(db.get(), cf(), big.data(), 950, &other, nullptr, nullptr, nullptr));
  ASSERT_NE(first - first % 1024, other - other % 1024);
  btSeek near[] = {first, 0};
  ASSERT_EQ(0, placeBytes(db.get(), cf(), bytes.data(), 100, &placed, nullptr, nullptr, near));
  EXPECT_EQ(first - (first % 1024), placed - (placed % 1024));
  btSeek nearOther[] = {other, 0};
  ASSERT_EQ(0, placeBytes(db.get(), cf(), bytes.data(), 40, &placed, nullptr, nullptr, nearOther));
  EXPECT_EQ(other - (other % 1024), placed - (placed % 1024));
}

TEST_F(StorageFile, PrivateChainOfATable) {
  struct Table : btDataChainOwner {
    uint16_t chainFlags() const override { return BT_TABLE_PRIVATE_BLOCKS; }
    btSeek ownDataHead() const override { return head; }
    void setOwnDataHead(btSeek h) override { head = h; }
    btSeek ownSecondHead() const override { return second; }
    void setOwnSecondHead(btSeek h) override { second = h; }
    btSeek head = 0, second = 0;
  } table;
  create(1024, 1 << 20);
  std::vector<uint8_t> bytes = blobBytes(100, 2);
  btSeek shared = 0, own = 0;
  ASSERT_EQ(0, placeBytes(db.get(), cf(), bytes.data(), 100, &shared, nullptr, nullptr, nullptr));
  ASSERT_EQ(0, placeBytes(db.get(), cf(), bytes.data(), 100, &own, nullptr, &table, nullptr));
  EXPECT_EQ(1024u + 4, db->header().dataBlockHead);
  EXPECT_EQ(2048u + 4, table.head);
  EXPECT_EQ(2048u + 4, own);
  ASSERT_EQ(0, releaseSlot(db.get(), cf(), own, &table));
  EXPECT_EQ(0u, table.head);  // emptied: unlinked and freed
  EXPECT_EQ(btSeekEncode(2048, 1024), db->header().freeBlockHead);
}

TEST_F(StorageFile, CatalogueObjectsUseTheAreaBehindTheHeader) {
  create(4096, 1 << 20);
  Blob blob;
  std::vector<uint8_t> bytes = blobBytes(192, 1);
  ASSERT_EQ(0, ensureImage(&blob, bytes.size()));
  std::memcpy(blob.image, bytes.data(), bytes.size());
  btSeek seek = 0;
  ASSERT_EQ(0, placeCatalogueObject(db.get(), cf(), &blob, &seek, nullptr));
  EXPECT_EQ(512u + (4096 - 512 - 192), seek);
  Blob back;
  ASSERT_EQ(0, loadObject(&back, cf(), seek, false, 0, true));
  EXPECT_EQ(0, std::memcmp(back.image, bytes.data(), 192));
  EXPECT_EQ(4096u, db->logicalFileSize());
}

TEST_F(StorageFile, SmallestBlocksAllocateACatalogueBlock) {
  create(512, 1 << 20);
  EXPECT_EQ(0u, db->header().catalogueBlockHead);
  Blob blob;
  std::vector<uint8_t> bytes = blobBytes(192, 1);
  ASSERT_EQ(0, ensureImage(&blob, bytes.size()));
  std::memcpy(blob.image, bytes.data(), bytes.size());
  btSeek seek = 0;
  ASSERT_EQ(0, placeCatalogueObject(db.get(), cf(), &blob, &seek, nullptr));
  EXPECT_EQ(516u, db->header().catalogueBlockHead);
  EXPECT_EQ(516u + 508 - 192, seek);
  reopen();
  EXPECT_EQ(btBlockTag(BT_BLOCK_CATALOGUE, 512), btGet32(cf()->getBlockAt(512, 0)));
  Blob back;
  ASSERT_EQ(0, loadObject(&back, cf(), seek, false, 0, true));
  EXPECT_EQ(0, std::memcmp(back.image, bytes.data(), 192));
}

TEST_F(StorageFile, DetachAndEnsureImageMakePrivateCopies) {
  create(1024, 1 << 20);
  std::vector<uint8_t> bytes = blobBytes(600, 4);
  btSeek seek = 0;
  ASSERT_EQ(0, placeBytes(db.get(), cf(), bytes.data(), 600, &seek, nullptr, nullptr, nullptr));
  Blob blob;
  ASSERT_EQ(0, loadSlotObject(&blob, cf(), seek, false));
  btFileCacheBlock* cached = btFileCacheBlock::fromData(blob.block);
  EXPECT_EQ(1u, cached->pins());
  ASSERT_EQ(0, detachObject(&blob));
  EXPECT_EQ(0u, cached->pins());
  EXPECT_EQ(nullptr, blob.block);
  EXPECT_EQ(600u, blob.ownedSize);
  EXPECT_EQ(0, std::memcmp(blob.image, bytes.data(), 600));
  Blob small;
  ASSERT_EQ(0, loadSlotObject(&small, cf(), seek, false));
  // Asking for less than the bound image still keeps all of it.
  ASSERT_EQ(0, ensureImage(&small, 100));
  EXPECT_EQ(600u + 512, small.ownedSize);
  EXPECT_EQ(0, std::memcmp(small.image, bytes.data(), 600));
  EXPECT_EQ(0, small.image[600 + 511]);
  EXPECT_EQ(0u, cached->pins());
  Blob fresh;
  ASSERT_EQ(0, ensureImage(&fresh, 100));
  EXPECT_EQ(fresh.inlineBuffer, fresh.image);
  ASSERT_EQ(0, ensureImage(&fresh, 700));
  EXPECT_EQ(1212u, fresh.ownedSize);
}

}  // namespace
