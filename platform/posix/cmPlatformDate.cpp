#include "platform/cmPlatformDate.h"

#include <cstdlib>
#include <ctime>

#include <locale.h>
#include <time.h>

namespace platform {

size_t formatUserDate(UserDateForm form, const CalendarTime& t, char* out, size_t outSize) {
  if (!out || outSize == 0) return 0;
  tm parts{};
  parts.tm_year = int(t.year) - 1900;
  parts.tm_mon = int(t.month) - 1;
  parts.tm_mday = t.day;
  parts.tm_wday = t.dayOfWeek % 7;
  parts.tm_hour = t.hour;
  parts.tm_min = t.minute;
  parts.tm_sec = t.second;
  // POSIX has no "long date" item; the weekday, day, month and year in the
  // locale's names stand for it.
  const char* pattern = form == UserDateForm::ShortDate ? "%x"
                        : form == UserDateForm::LongDate ? "%A, %d %B %Y"
                                                         : "%X";
  locale_t loc = newlocale(LC_TIME_MASK, "", locale_t(0));
  if (!loc) loc = newlocale(LC_TIME_MASK, "C", locale_t(0));
  size_t n = loc ? strftime_l(out, outSize, pattern, &parts, loc) : 0;
  if (loc) freelocale(loc);
  if (n == 0) out[0] = 0;
  return n;
}

void setProcessTimeZone(const char* tz) {
  if (tz)
    setenv("TZ", tz, 1);
  else
    unsetenv("TZ");
  tzset();
}

}  // namespace platform
