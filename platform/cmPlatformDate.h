// The user's date and time conventions, and the time-zone rule of the
// process. The date functions of text/ compute the calendar themselves; only
// the locale's written forms and the zone come from the system.
//
// formatUserDate reads the user's locale (LC_TIME, then LANG) each call and
// changes nothing global. setProcessTimeZone changes the zone of the whole
// process and is meant for tests and tools; call it before other threads
// read local time.
#pragma once

#include <cstddef>

#include "platform/cmPlatform.h"

namespace platform {

enum class UserDateForm {
  ShortDate,  // the locale's numeric date ("01/31/24" in the POSIX locale)
  LongDate,   // weekday, day, month name and year, in the locale's language
  Time,       // the locale's time of day ("09:15:00" in the POSIX locale)
};

// Writes the form of `t` into `out` (terminated); returns the length, 0 when
// it did not fit.
size_t formatUserDate(UserDateForm form, const CalendarTime& t, char* out, size_t outSize);

// Sets the TZ rule ("UTC", "America/New_York", "CET-1CEST,M3.5.0,M10.5.0/3")
// and makes local time follow it at once; nullptr restores the system's.
void setProcessTimeZone(const char* tz);

}  // namespace platform
