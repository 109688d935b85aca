// The thin operating-system layer: the only place that includes system
// headers. Everything above platform/ calls these functions; the POSIX build
// compiles platform/posix/, a Windows build would compile platform/win/ with
// the same declarations. Further areas (files, processes, threads, mapping)
// have headers of their own beside this one.
//
// All functions here are safe to call from any thread.
#pragma once

#include <cstdint>

namespace platform {

// Milliseconds since an arbitrary start, wrapping at 2^32 like the Windows
// tick count the update driver was designed around.
uint32_t tickCount();

// Current time as 100-nanosecond intervals since 1601-01-01 00:00:00 UTC.
uint64_t currentTimeUtc();

// Broken-down calendar time, shaped like the Windows SYSTEMTIME record.
struct CalendarTime {
  uint16_t year;
  uint16_t month;      // 1..12
  uint16_t dayOfWeek;  // 0 = Sunday
  uint16_t day;        // 1..31
  uint16_t hour;
  uint16_t minute;
  uint16_t second;
  uint16_t milliseconds;
};

// Offset of local time from UTC, in seconds east of Greenwich, at the given
// UTC moment (seconds since the Unix epoch). Follows the TZ rules of the
// process, daylight saving included.
int64_t localOffsetSeconds(int64_t unixSecondsUtc);

// Value of an environment variable, or nullptr. The pointer stays valid until
// the environment is next changed.
const char* getEnv(const char* name);

}  // namespace platform
