// cmDateStamp: the stored form of a moment, an unsigned count of
// 100-nanosecond intervals since 1601-01-01 00:00:00 UTC (the Windows file
// time scale). Zero means no time. A plain value; conversions to and from
// broken-down dates live with cmDateParts (text/cmDateParts.h).
#pragma once

#include <cstdint>

using cmDateStamp = uint64_t;

constexpr uint64_t kDateTicksPerSecond = 10000000ull;
constexpr uint64_t kDateTicksPerDay = 86400ull * kDateTicksPerSecond;
// Seconds from the stamp's epoch (1601) to the Unix epoch (1970).
constexpr int64_t kDateUnixEpochSeconds = 11644473600ll;
