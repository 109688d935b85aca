// The block cache under a tiny budget: replacement, pins, write-back order,
// growth of the file, and the prefill of a read-only open.
#include <algorithm>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "DbTestFiles.h"
#include "database/btBlockStorage.h"
#include "database/btDatabase.h"
#include "database/btFileCacheFillThread.h"
#include "database/btStatus.h"

namespace {

constexpr uint32_t B = 512;

// A database of `blocks` allocated blocks, each stamped with its number.
std::string makeStampedFile(const std::string& name, uint32_t blocks, uint64_t budget) {
  std::string path = dbTestPath(name);
  btDatabase db;
  EXPECT_EQ(0, db.createDatabase(path.c_str(), "T", B, budget, 0, 1));
  for (uint32_t i = 1; i <= blocks; i++) {
    btBlockPin pin;
    int32_t status = 0;
    btSeek seek = allocateBlock(&db, db.getCacheFile(), BT_BLOCK_DATA, &status, &pin);
    EXPECT_EQ(i * B + 4, seek);
    btPut32(pin.data() + 8, i);
  }
  EXPECT_EQ(0, db.closeDatabase());
  return path;
}

TEST(BlockCache, ManyMoreBlocksThanFitSurviveTheRoundTrip) {
  std::string path = makeStampedFile("many.tvdb", 200, 4 * B);
  std::vector<uint8_t> bytes = readFileBytes(path);
  ASSERT_EQ(201u * B, bytes.size());
  for (uint32_t i = 1; i <= 200; i++) {
    ASSERT_EQ(btBlockTag(BT_BLOCK_DATA, i * B), le32(bytes, i * B)) << i;
    ASSERT_EQ(i, le32(bytes, i * B + 8)) << i;
  }
  btDatabase db;
  ASSERT_EQ(0, db.openDatabase(path.c_str(), 4 * B, 1, 0, 1));
  btCacheFile* cf = db.getCacheFile();
  for (uint32_t round = 0; round < 2; round++) {
    for (uint32_t i = 1; i <= 200; i++) {
      uint8_t* data = cf->getBlockAt(i * B, 0);
      ASSERT_NE(nullptr, data) << i;
      ASSERT_EQ(i, btGet32(data + 8));
    }
  }
  // The header's block stays pinned; the rest is replaced within budget.
  EXPECT_LE(cf->cache->totalBlocks, cf->cache->maxBlocks);
  EXPECT_EQ(0, db.closeDatabase());
}

TEST(BlockCache, PinnedBlockIsNeverReplaced) {
  std::string path = makeStampedFile("pinned.tvdb", 100, 4 * B);
  btDatabase db;
  ASSERT_EQ(0, db.openDatabase(path.c_str(), 4 * B, 0, 0, 1));
  btCacheFile* cf = db.getCacheFile();
  btBlockPin pin = btBlockPin::fetch(cf, 50 * B, 0);
  ASSERT_TRUE(pin);
  uint8_t* kept = pin.data();
  for (uint32_t i = 1; i <= 100; i++) ASSERT_NE(nullptr, cf->getBlockAt(i * B, 0));
  EXPECT_EQ(kept, cf->cachedBlock(50 * B));
  EXPECT_EQ(50u, btGet32(kept + 8));
  EXPECT_EQ(kept, cf->getBlockAt(50 * B, 0));
  pin.reset();
  EXPECT_EQ(0, db.closeDatabase());
}

TEST(BlockCache, AllBlocksPinnedOverdrawsTheBudget) {
  std::string path = makeStampedFile("overdraw.tvdb", 20, 4 * B);
  btDatabase db;
  ASSERT_EQ(0, db.openDatabase(path.c_str(), 4 * B, 0, 0, 1));
  btCacheFile* cf = db.getCacheFile();
  std::vector<btBlockPin> pins;
  for (uint32_t i = 1; i <= 10; i++) {
    pins.push_back(btBlockPin::fetch(cf, i * B, 0));
    ASSERT_TRUE(pins.back()) << i;
  }
  EXPECT_GE(cf->cache->totalBlocks, 11u);
  for (uint32_t i = 1; i <= 10; i++) EXPECT_EQ(i, btGet32(pins[i - 1].data() + 8));
  pins.clear();
  EXPECT_EQ(0, db.closeDatabase());
}

TEST(BlockCache, DirtyBlocksAreWrittenOnceInFileOrder) {
  std::string path = makeStampedFile("order.tvdb", 40, 1 << 20);
  RecordingFaults faults;
  btDatabase db;
  db.setFileFaults(&faults);
  ASSERT_EQ(0, db.openDatabase(path.c_str(), 1 << 20, 0, 0, 1));
  btCacheFile* cf = db.getCacheFile();
  std::vector<uint32_t> touched = {33, 2, 17, 5, 40, 9, 21, 2, 33};
  for (uint32_t n : touched) {
    uint8_t* data = cf->getBlockAt(n * B, BLOCK_DIRTY);
    ASSERT_NE(nullptr, data);
    btPut32(data + 12, 1000 + n);
  }
  db.setDirty();
  EXPECT_TRUE(faults.writes.empty());
  ASSERT_EQ(0, db.closeDatabase());

  // Between the marker going on and off, only whole blocks are written.
  std::vector<uint64_t> blockWrites;
  for (size_t i = 1; i + 1 < faults.writes.size(); i++) blockWrites.push_back(faults.writes[i].first);
  std::vector<uint64_t> expected = {0};  // block 0 always goes out
  for (uint32_t n : {2, 5, 9, 17, 21, 33, 40}) expected.push_back(n * B);
  EXPECT_EQ(expected, blockWrites);
  // Marker on first, block writes, marker off last.
  ASSERT_GE(faults.writes.size(), 3u);
  EXPECT_EQ(std::make_pair(uint64_t{0}, size_t{512}), faults.writes.front());
  EXPECT_EQ(std::make_pair(uint64_t{0}, size_t{512}), faults.writes.back());
  std::vector<uint8_t> bytes = readFileBytes(path);
  EXPECT_EQ(1021u, le32(bytes, 21 * B + 12));
  EXPECT_EQ(0, bytes[47]);
}

TEST(BlockCache, FileGrowsWithZeroBlocksUpToTheBlockWritten) {
  std::string path = dbTestPath("grow.tvdb");
  btDatabase db;
  ASSERT_EQ(0, db.createDatabase(path.c_str(), "T", B, 1 << 20, 0, 1));
  btCacheFile* cf = db.getCacheFile();
  for (int i = 1; i <= 10; i++) {
    int32_t status = 0;
    ASSERT_NE(0u, allocateBlock(&db, cf, BT_BLOCK_DATA, &status));
  }
  EXPECT_EQ(11u * B, db.logicalFileSize());
  EXPECT_EQ(1u * B, readFileBytes(path).size());  // logical size runs ahead
  ASSERT_EQ(0, cf->flushBlock(8 * B));
  std::vector<uint8_t> bytes = readFileBytes(path);
  ASSERT_EQ(9u * B, bytes.size());
  for (size_t at = B; at < 8 * B; at++) ASSERT_EQ(0, bytes[at]) << at;
  EXPECT_EQ(btBlockTag(BT_BLOCK_DATA, 8 * B), le32(bytes, 8 * B));
  ASSERT_EQ(0, db.closeDatabase());
  EXPECT_EQ(11u * B, readFileBytes(path).size());
}

TEST(BlockCache, CleanDatabaseFlushStillWritesBlockZero) {
  std::string path = makeStampedFile("clean.tvdb", 3, 1 << 20);
  btDatabase db;
  ASSERT_EQ(0, db.openDatabase(path.c_str(), 1 << 20, 0, 0, 1));
  btCacheFile* cf = db.getCacheFile();
  for (uint32_t i = 1; i <= 3; i++) ASSERT_NE(nullptr, cf->getBlockAt(i * B, 0));
  uint64_t before = cf->writesDone;
  ASSERT_EQ(0, cf->flushCacheFile(true, false));
  EXPECT_EQ(before + 1, cf->writesDone);
  EXPECT_EQ(0, db.closeDatabase());
}

TEST(BlockCache, FailedWriteKeepsBlockDirtyAndReportsIt) {
  std::string path = makeStampedFile("failwrite.tvdb", 5, 1 << 20);
  RecordingFaults faults;
  btDatabase db;
  db.setFileFaults(&faults);
  ASSERT_EQ(0, db.openDatabase(path.c_str(), 1 << 20, 0, 0, 1));
  btCacheFile* cf = db.getCacheFile();
  uint8_t* data = cf->getBlockAt(3 * B, BLOCK_DIRTY);
  ASSERT_NE(nullptr, data);
  faults.failing = true;
  faults.failFrom = B;
  EXPECT_EQ(BT_STATUS_WRITE_FAILED, cf->flushBlock(3 * B));
  EXPECT_TRUE(btFileCacheBlock::fromData(data)->isDirty());
  faults.failing = false;
  EXPECT_EQ(0, cf->flushBlock(3 * B));
  EXPECT_FALSE(btFileCacheBlock::fromData(data)->isDirty());
  db.setDirty();
  EXPECT_EQ(0, db.closeDatabase());
}

TEST(BlockCache, FailedReadLeavesBlockOut) {
  std::string path = makeStampedFile("failread.tvdb", 20, 1 << 20);
  RecordingFaults faults;
  btDatabase db;
  db.setFileFaults(&faults);
  ASSERT_EQ(0, db.openDatabase(path.c_str(), 1 << 20, 1, 0, 1));
  btCacheFile* cf = db.getCacheFile();
  faults.failReads = true;
  faults.failFrom = 14 * B;  // past what the open prefetched
  EXPECT_EQ(nullptr, cf->getBlockAt(14 * B, 0));
  EXPECT_EQ(nullptr, cf->cachedBlock(14 * B));
  faults.failReads = false;
  EXPECT_EQ(nullptr, cf->getBlockAt(30 * B, 0));  // beyond the end
  // A damaged address far past the end does not grow the block table.
  size_t tableLength = cf->blockCount;
  EXPECT_EQ(nullptr, cf->getBlockAt(0xF00000000ull, 0));
  EXPECT_EQ(tableLength, cf->blockCount);
  EXPECT_NE(nullptr, cf->getBlockAt(14 * B, 0));
  EXPECT_EQ(0, db.closeDatabase());
}

TEST(BlockCache, RandomAccessAgainstModelWithTinyBudget) {
  std::string path = makeStampedFile("random.tvdb", 64, 1 << 20);
  std::vector<uint32_t> model(65, 0);
  std::mt19937 rng(7);
  for (int reopen = 0; reopen < 3; reopen++) {
    btDatabase db;
    ASSERT_EQ(0, db.openDatabase(path.c_str(), 6 * B, 0, 0, 1));
    btCacheFile* cf = db.getCacheFile();
    std::vector<btBlockPin> pins;
    for (int op = 0; op < 2000; op++) {
      uint32_t n = 1 + rng() % 64;
      if (rng() % 3 == 0) {
        uint8_t* d = cf->getBlockAt(n * B, BLOCK_DIRTY);
        ASSERT_NE(nullptr, d);
        model[n] = static_cast<uint32_t>(rng());
        btPut32(d + 16, model[n]);
        db.setDirty();
      } else if (rng() % 8 == 0 && pins.size() < 3) {
        pins.push_back(btBlockPin::fetch(cf, n * B, 0));
        ASSERT_TRUE(pins.back());
      } else if (!pins.empty() && rng() % 8 == 0) {
        pins.erase(pins.begin());
      } else {
        uint8_t* d = cf->getBlockAt(n * B, 0);
        ASSERT_NE(nullptr, d);
        ASSERT_EQ(model[n], btGet32(d + 16)) << "block " << n << " op " << op;
      }
    }
    pins.clear();
    ASSERT_EQ(0, db.closeDatabase());
  }
}

TEST(BlockCache, ReadOnlyOpenPrefetchesTheFirstBlocks) {
  std::string path = makeStampedFile("prefill.tvdb", 2000, 1 << 20);
  btDatabase db;
  uint64_t budget = 1024 * B;  // 1024 blocks: the thread would stop at half
  ASSERT_EQ(0, db.openDatabase(path.c_str(), budget, 1, 1, 1));
  btCacheFile* cf = db.getCacheFile();
  for (uint32_t i = 0; i <= 7; i++) EXPECT_NE(nullptr, cf->cachedBlock(i * B)) << i;
  EXPECT_EQ(nullptr, cf->cachedBlock(8 * B));
  EXPECT_EQ(nullptr, cf->fillThread);  // threads are not available yet

  // Driven directly, the fill never overdraws: it stops 512 blocks short of
  // the budget and at half of it.
  btFileCacheFillThread fill(cf, cf->cache->maxBlocks / 2);
  EXPECT_EQ(0, fill.run());
  EXPECT_LE(cf->cache->totalBlocks + 0, cf->cache->maxBlocks / 2 + 1);
  EXPECT_GE(fill.fetched(), 400u);
  EXPECT_NE(nullptr, cf->cachedBlock(300 * B));
  EXPECT_EQ(nullptr, cf->cachedBlock(1500 * B));
  EXPECT_EQ(0, db.closeDatabase());
}

TEST(BlockCache, StoppedFillFetchesNothing) {
  std::string path = makeStampedFile("stopfill.tvdb", 50, 1 << 20);
  btDatabase db;
  ASSERT_EQ(0, db.openDatabase(path.c_str(), 1 << 20, 1, 0, 1));
  btFileCacheFillThread fill(db.getCacheFile(), 40);
  fill.requestStop();
  EXPECT_EQ(0, fill.run());
  EXPECT_EQ(0u, fill.fetched());
  btFileCacheFillThread none(nullptr, 5);
  EXPECT_EQ(-3073, none.run());
  EXPECT_EQ(0, db.closeDatabase());
}

}  // namespace

namespace {

// Two bare views over two files, sharing one cache of 4 blocks.
TEST(BlockCache, SharedCacheNeverWritesAnotherFilesBlocks) {
  std::string pathA = dbTestPath("sharedA.bin"), pathB = dbTestPath("sharedB.bin");
  writeFileBytes(pathA, std::vector<uint8_t>(16 * B, 0xA1));
  writeFileBytes(pathB, std::vector<uint8_t>(16 * B, 0xB2));
  btFileAccess fileA, fileB;
  ASSERT_EQ(0, fileA.open(pathA.c_str(), btFileAccess::MODE_READ_WRITE));
  ASSERT_EQ(0, fileB.open(pathB.c_str(), btFileAccess::MODE_READ_WRITE));
  btFileCache shared;
  btCacheFile viewA, viewB;
  ASSERT_EQ(0, viewA.init(nullptr, &fileA, B, 4 * B, false, false, &shared));
  ASSERT_EQ(0, viewB.init(nullptr, &fileB, B, 4 * B, false, false, &shared));
  EXPECT_EQ(&shared, viewA.cache);
  EXPECT_FALSE(viewA.ownsCache);
  for (uint32_t i = 0; i < 4; i++) {
    uint8_t* d = viewA.getBlockAt(i * B, BLOCK_DIRTY);
    ASSERT_NE(nullptr, d);
    d[0] = static_cast<uint8_t>(i);
  }
  EXPECT_EQ(4u, shared.dirtyBlocks);
  // B needs room: A's dirty blocks stay where they are, the cache overdraws.
  for (uint32_t i = 0; i < 8; i++) ASSERT_EQ(0xB2, viewB.getBlockAt(i * B, 0)[1]);
  EXPECT_EQ(0u, viewA.writesDone);
  EXPECT_EQ(4u, shared.dirtyBlocks);
  for (uint32_t i = 0; i < 4; i++) EXPECT_NE(nullptr, viewA.cachedBlock(i * B));
  EXPECT_EQ(0xA1, readFileBytes(pathA)[0]);
  // A view of another block size gets a cache of its own.
  btCacheFile other;
  ASSERT_EQ(0, other.init(nullptr, &fileB, 2 * B, 8 * B, false, false, &shared));
  EXPECT_TRUE(other.ownsCache);
  other.releaseCacheFile();
  ASSERT_EQ(0, viewA.flushCacheFile(true, true));
  std::vector<uint8_t> a = readFileBytes(pathA);
  for (uint32_t i = 0; i < 4; i++) EXPECT_EQ(i, a[i * B]);
  EXPECT_EQ(4u, viewA.writesDone);
  EXPECT_EQ(0u, shared.dirtyBlocks);
  viewB.releaseCacheFile();
  viewA.releaseCacheFile();
}

}  // namespace
