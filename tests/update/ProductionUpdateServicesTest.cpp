#include "update/ProductionUpdateServices.h"

#include <gtest/gtest.h>

#include "UpdateTestSupport.h"

using tolvane::TVString;

namespace {

// 2024-01-31 12:00:00 UTC: the same calendar day in every zone from UTC-12
// to UTC+11.
constexpr cmDateStamp kNoonJan31 = 133511760000000000ull;

TEST(ProductionUpdateServices, DateTextsAreLocalIsoAndPattern) {
  ProductionUpdateServices services;
  TVString iso, range;
  ASSERT_EQ(services.localIsoText(kNoonJan31, iso), 0);
  ASSERT_EQ(services.localDateByPattern(kNoonJan31, " -r\"{YYYY-MM-DD}:HEAD\"", range), 0);
  EXPECT_EQ(std::string(range.getCString()), " -r\"{2024-01-31}:HEAD\"");
  std::string text = iso.getCString();
  EXPECT_EQ(text.rfind("2024-01-31T", 0), 0u) << text;
  EXPECT_EQ(text.size(), std::string("2024-01-31T12:00:00Z").size()) << text;
  EXPECT_EQ(text.back(), 'Z');
}

TEST(ProductionUpdateServices, CurrentTimeIsWholeMilliseconds) {
  ProductionUpdateServices services;
  cmDateStamp now = services.currentTime();
  EXPECT_GT(now, kNoonJan31);
  EXPECT_EQ(now % 10000, 0u);
}

TEST(ProductionUpdateServices, MissingClientStartsNothing) {
  ScratchDir dir;
  ProductionUpdateServices services;
  std::string out = dir.file("out.xml");
  TVString client(dir.file("no-such-dir/svn").c_str());
  TVString arguments((" log --xml -v \"file:///r\" -rHEAD > \"" + out + "\"").c_str());
  EXPECT_EQ(services.runSvn(client, arguments), -2);
  EXPECT_FALSE(std::filesystem::exists(out));
}

TEST(ProductionUpdateServices, DeleteIgnoresAMissingFile) {
  ScratchDir dir;
  ProductionUpdateServices services;
  std::string file = dir.file("log.xml");
  WriteWholeFile(file, "<log/>");
  services.deleteFile(file.c_str());
  EXPECT_FALSE(std::filesystem::exists(file));
  services.deleteFile(file.c_str());
}

// Without an open session the cache calls fail instead of touching a file,
// and the parser reports an unreadable log as -1.
TEST(ProductionUpdateServices, CacheCallsWithoutASessionFail) {
  ScratchDir dir;
  ProductionUpdateServices services;
  cmDateStamp stamp = 42;
  EXPECT_NE(services.getLastUpdateTime(stamp), 0);
  EXPECT_EQ(stamp, 0u);
  EXPECT_NE(services.setLastUpdateTime(1), 0);
  EXPECT_EQ(services.parseSvnLogForMaxRevision(dir.file("missing.xml").c_str()), -1);
  EXPECT_EQ(services.parseSvnLog(dir.file("missing.xml").c_str()), -1);
  services.closeCache();
  services.closeCache();
}

// A cache in a folder that does not exist cannot be opened; the services
// keep no session behind.
TEST(ProductionUpdateServices, UnopenableCacheLeavesNoSession) {
  ScratchDir dir;
  ProductionUpdateServices services;
  EXPECT_NE(services.openCache("file:///r", dir.file("no-such-dir/cache.db").c_str(), 7), 0);
  cmDateStamp stamp = 42;
  EXPECT_NE(services.getLastUpdateTime(stamp), 0);
  EXPECT_FALSE(std::filesystem::exists(dir.file("no-such-dir")));
}

}  // namespace
