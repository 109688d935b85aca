// The cache methods of the production update services: a real session
// behind openCache, the stored update time, and closeCache ending it.
#include "VcacheTestSupport.h"
#include "update/ProductionUpdateServices.h"

using namespace vctest;

namespace {

// Exposes the session that the parse calls hand to the passes.
class ServicesUnderTest : public ProductionUpdateServices {
 public:
  using ProductionUpdateServices::cacheSession;
};

TEST(ProductionCacheServices, OpenStoreCloseAndReopen) {
  ScratchDir dir;
  std::string file = dir.file("cache.db");
  const cmDateStamp when = 133480000000000000ull;
  {
    ServicesUnderTest services;
    EXPECT_EQ(services.cacheSession(), nullptr);
    ASSERT_EQ(services.openCache(kUrl, file.c_str(), 7), 0);
    ASSERT_NE(services.cacheSession(), nullptr);
    cmDateStamp stamp = 1;
    EXPECT_EQ(services.getLastUpdateTime(stamp), 0);
    EXPECT_EQ(stamp, 0u);  // a new cache: the driver does a first import
    EXPECT_EQ(services.setLastUpdateTime(when), 0);
    services.closeCache();
    EXPECT_EQ(services.cacheSession(), nullptr);
    services.closeCache();
    // Without a session the time calls say so.
    EXPECT_EQ(services.getLastUpdateTime(stamp), -1);
    EXPECT_EQ(stamp, 0u);
    EXPECT_EQ(services.setLastUpdateTime(when), -1);
  }
  ServicesUnderTest services;
  ASSERT_EQ(services.openCache(kUrl, file.c_str(), 7), 0);
  cmDateStamp stamp = 0;
  EXPECT_EQ(services.getLastUpdateTime(stamp), 0);
  EXPECT_EQ(stamp, when);
  // The destructor closes what is still open.
}

TEST(ProductionCacheServices, RefusedOpenLeavesNoSession) {
  ScratchDir dir;
  std::string file = dir.file("cache.db");
  ServicesUnderTest services;
  ASSERT_EQ(services.openCache(kUrl, file.c_str(), 7), 0);
  services.closeCache();
  EXPECT_EQ(services.openCache(kUrl, file.c_str(), 8), VC_OPEN_VERSION_MISMATCH);
  EXPECT_EQ(services.cacheSession(), nullptr);
  EXPECT_EQ(services.openCache("svn://other", file.c_str(), 7), VC_OPEN_URL_MISMATCH);
  EXPECT_EQ(services.cacheSession(), nullptr);
  // A second open of the same file closes the first session before it
  // opens, so the writer's lock of the file is no obstacle.
  ASSERT_EQ(services.openCache(kUrl, file.c_str(), 7), 0);
  ASSERT_EQ(services.openCache(kUrl, file.c_str(), 7), 0);
  EXPECT_NE(services.cacheSession(), nullptr);
}

}  // namespace
