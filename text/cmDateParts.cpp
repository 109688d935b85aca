#include "text/cmDateParts.h"

#include "platform/cmPlatform.h"

namespace {

// Days from 1970-01-01 back to the stamp's epoch, 1601-01-01.
constexpr int64_t kEpochDays = kDateUnixEpochSeconds / 86400;

struct Civil {
  int64_t year;
  uint32_t month;
  uint32_t day;
};

// Inverse of daysFromCivil (the era-of-400-years method).
Civil civilFromDays(int64_t z) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  const uint32_t d = uint32_t(doy - (153 * mp + 2) / 5 + 1);
  const uint32_t m = uint32_t(mp < 10 ? mp + 3 : mp - 9);
  return {yoe + era * 400 + (m <= 2 ? 1 : 0), m, d};
}

// 1970-01-01 was a Thursday.
uint32_t weekdayFromDays(int64_t days) {
  int64_t w = (days + 4) % 7;
  return uint32_t(w < 0 ? w + 7 : w);
}

int64_t stampToUnixSeconds(cmDateStamp stamp) {
  return int64_t(stamp / kDateTicksPerSecond) - kDateUnixEpochSeconds;
}

}  // namespace

bool cmDateParts::isLeapYear(uint32_t year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

uint32_t cmDateParts::daysInMonth(uint32_t year, uint32_t month) {
  static const uint8_t kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (month < 1 || month > 12) return 0;
  return month == 2 && isLeapYear(year) ? 29 : kDays[month - 1];
}

int64_t cmDateParts::daysFromCivil(int64_t year, uint32_t month, uint32_t day) {
  year -= month <= 2 ? 1 : 0;
  const int64_t era = (year >= 0 ? year : year - 399) / 400;
  const int64_t yoe = year - era * 400;
  const int64_t doy = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

cmDateParts cmDateParts::make(uint32_t year, uint32_t month, uint32_t day, uint32_t hour,
                              uint32_t minute, uint32_t second, uint32_t microsecond) {
  cmDateParts p(0, 0);
  p.setYear(year);
  p.setMonth(month);
  p.setDay(day);
  p.setHour(hour);
  p.setMinute(minute);
  p.setSecond(second);
  p.setMicrosecond(microsecond);
  p.setDayOfWeek(month >= 1 && month <= 12 ? weekdayFromDays(daysFromCivil(year, month, day))
                                           : kUnknownDayOfWeek);
  return p;
}

cmDateStamp cmDateParts::toStamp() const {
  const uint32_t y = year(), mo = month(), d = day();
  if (y == 0) return 0;
  if (y < 1601 || mo < 1 || mo > 12 || d < 1 || d > daysInMonth(y, mo) || hour() > 23 ||
      minute() > 59 || second() > 59)
    return 0;
  const int64_t days = daysFromCivil(y, mo, d) + kEpochDays;
  const uint64_t seconds = uint64_t(days) * 86400u + hour() * 3600u + minute() * 60u + second();
  return seconds * kDateTicksPerSecond + uint64_t(microsecond() % 1000000u) * 10u;
}

cmDateStamp cmDateParts::toStampLocal() const {
  const cmDateStamp local = toStamp();
  if (local == 0) return 0;
  // The offset belongs to the UTC moment, which is what is being sought:
  // guess with the local reading, then correct once with the guess's offset.
  // Around a change of offset the second reading decides, as the system's
  // own mktime does for times that occur twice or never.
  const int64_t localSeconds = stampToUnixSeconds(local);
  int64_t offset = platform::localOffsetSeconds(localSeconds);
  offset = platform::localOffsetSeconds(localSeconds - offset);
  const int64_t ticks = int64_t(local) - offset * int64_t(kDateTicksPerSecond);
  return ticks > 0 ? cmDateStamp(ticks) : 0;
}

cmDateParts cmDateParts::fromStamp(cmDateStamp stamp) {
  if (stamp == 0) return cmDateParts(0, 0);
  const uint64_t seconds = stamp / kDateTicksPerSecond;
  const int64_t days = int64_t(seconds / 86400u) - kEpochDays;
  const uint32_t inDay = uint32_t(seconds % 86400u);
  const Civil c = civilFromDays(days);
  cmDateParts p(0, 0);
  p.setYear(uint32_t(c.year));
  p.setMonth(c.month);
  p.setDay(c.day);
  p.setDayOfWeek(weekdayFromDays(days));
  p.setHour(inDay / 3600u);
  p.setMinute(inDay / 60u % 60u);
  p.setSecond(inDay % 60u);
  p.setMicrosecond(uint32_t(stamp / 10u % 1000000u));
  return p;
}

cmDateParts cmDateParts::fromStampLocal(cmDateStamp stamp) {
  if (stamp == 0) return cmDateParts(0, 0);
  const int64_t offset = platform::localOffsetSeconds(stampToUnixSeconds(stamp));
  const int64_t ticks = int64_t(stamp) + offset * int64_t(kDateTicksPerSecond);
  // A moment in the first hours of 1601 west of Greenwich has no local
  // reading on this scale; it stays at the epoch.
  return fromStamp(ticks > 0 ? cmDateStamp(ticks) : 1);
}

cmDateParts cmDateParts::fromUnixSeconds(int64_t seconds) {
  const int64_t ticks = (seconds + kDateUnixEpochSeconds) * int64_t(kDateTicksPerSecond);
  cmDateParts p = fromStampLocal(ticks > 0 ? cmDateStamp(ticks) : 1);
  p.setMicrosecond(0);
  return p;
}

cmDateStamp cmDateParts::nowStamp() {
  // The clock is read to the millisecond, like the system time record.
  const uint64_t ticks = platform::currentTimeUtc();
  return ticks - ticks % 10000u;
}

cmDateParts cmDateParts::nowLocal() { return fromStampLocal(nowStamp()); }

uint64_t cmDateParts::sortKey(cmDateStamp stamp) {
  const cmDateParts p = fromStamp(stamp);
  uint64_t key = p.year();
  key = key * 100 + p.month();
  key = key * 100 + p.day();
  key = key * 100 + p.hour();
  key = key * 100 + p.minute();
  key = key * 100 + p.second();
  return key * 1000 + p.microsecond() / 1000;
}
