// The database's file door against a byte model: positioned reads and writes
// in any order, size queries between them, and short transfers from the
// fault seam, so that a remembered file position can never send a transfer
// to the wrong place.
#include <algorithm>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "DbTestFiles.h"

namespace {

// Cuts every third write short, to a random length.
class ShortWrites : public btFileFaults {
 public:
  explicit ShortWrites(std::mt19937& rng) : rng_(rng) {}
  size_t allowWrite(uint64_t, size_t length) override {
    if (++calls_ % 3 != 0 || length == 0) return length;
    return std::uniform_int_distribution<size_t>(0, length - 1)(rng_);
  }

 private:
  std::mt19937& rng_;
  int calls_ = 0;
};

TEST(FileAccess, TransfersInAnyOrderLandWhereTheyWereAimed) {
  std::string path = dbTestPath("access.bin");
  std::mt19937 rng(7);
  ShortWrites faults(rng);
  std::vector<uint8_t> model;
  {
    btFileAccess file;
    ASSERT_EQ(0, file.open(path.c_str(), btFileAccess::MODE_CREATE));
    file.setFaults(&faults);
    std::vector<uint8_t> buffer;
    uint64_t askedEnd = 0;  // where the last transfer would have ended in full
    for (int step = 0; step < 3000; step++) {
      const int op = std::uniform_int_distribution<int>(0, 9)(rng);
      // Often exactly at the end, or where the last transfer would have
      // ended had it not been cut short; otherwise anywhere, past the end
      // included.
      uint64_t at = std::uniform_int_distribution<uint64_t>(0, model.size() + 300)(rng);
      if (op % 3 == 0) at = model.size();
      if (op % 3 == 1) at = askedEnd;
      const size_t length = std::uniform_int_distribution<size_t>(0, 700)(rng);
      askedEnd = at + length;
      if (op < 5) {
        buffer.resize(length);
        for (uint8_t& b : buffer) b = static_cast<uint8_t>(rng());
        const int64_t put = file.writeAt(at, buffer.data(), length);
        ASSERT_GE(put, 0);
        ASSERT_LE(static_cast<size_t>(put), length);
        if (put > 0 && at + put > model.size()) model.resize(at + put, 0);
        std::copy(buffer.begin(), buffer.begin() + put, model.begin() + static_cast<int64_t>(at));
      } else if (op < 9) {
        buffer.assign(length, 0xEE);
        const int64_t got = file.readAt(at, buffer.data(), length);
        const size_t expected = at >= model.size() ? 0 : std::min<size_t>(length, model.size() - at);
        ASSERT_EQ(static_cast<int64_t>(expected), got) << "step " << step;
        ASSERT_TRUE(std::equal(buffer.begin(), buffer.begin() + got, model.begin() + static_cast<int64_t>(at)))
            << "step " << step;
      } else {
        ASSERT_EQ(static_cast<int64_t>(model.size()), file.size()) << "step " << step;
      }
    }
    ASSERT_EQ(0, file.close());
  }
  EXPECT_EQ(model, readFileBytes(path));
}

TEST(FileAccess, AClosedOrReopenedFileForgetsItsPosition) {
  std::string path = dbTestPath("reopen.bin");
  btFileAccess file;
  const uint8_t a[4] = {1, 2, 3, 4};
  EXPECT_LT(file.writeAt(0, a, 4), 0);  // not open yet
  ASSERT_EQ(0, file.open(path.c_str(), btFileAccess::MODE_CREATE));
  ASSERT_EQ(4, file.writeAt(0, a, 4));
  ASSERT_EQ(0, file.close());
  // Reopened: the first write at 4 must not trust the old handle's position.
  ASSERT_EQ(0, file.open(path.c_str(), btFileAccess::MODE_READ_WRITE));
  uint8_t check[4] = {};
  ASSERT_EQ(2, file.readAt(2, check, 2));
  ASSERT_EQ(4, file.writeAt(0, a + 0, 4));
  ASSERT_EQ(4, file.size());
  ASSERT_EQ(2, file.writeAt(4, a + 2, 2));
  ASSERT_EQ(0, file.close());
  EXPECT_EQ((std::vector<uint8_t>{1, 2, 3, 4, 3, 4}), readFileBytes(path));
}

}  // namespace
