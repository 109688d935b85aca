#include "platform/cmPlatform.h"

#include <cstdlib>
#include <ctime>

namespace platform {

uint32_t tickCount() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  uint64_t ms = uint64_t(ts.tv_sec) * 1000u + uint64_t(ts.tv_nsec) / 1000000u;
  return uint32_t(ms);
}

// Seconds between 1601-01-01 and 1970-01-01.
static constexpr uint64_t kEpochDelta = 11644473600ull;

uint64_t currentTimeUtc() {
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  return (uint64_t(ts.tv_sec) + kEpochDelta) * 10000000ull + uint64_t(ts.tv_nsec) / 100u;
}

int64_t localOffsetSeconds(int64_t unixSecondsUtc) {
  time_t t = time_t(unixSecondsUtc);
  tm local{};
  if (!localtime_r(&t, &local)) return 0;
  return local.tm_gmtoff;
}

const char* getEnv(const char* name) { return std::getenv(name); }

}  // namespace platform
