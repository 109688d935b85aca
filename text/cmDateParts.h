// cmDateParts: a broken-down date and time packed into two 32-bit words, the
// form in which dates are parsed, formatted and compared; and the
// conversions between it and cmDateStamp, in UTC and in local time.
//
//   word  bits   field                 range
//   0     0-13   year                  0..16383 (0 means no date)
//   0     14-17  month                 1..12
//   0     18-21  day of the week       0 = Sunday .. 6; 15 = not known
//   0     22-26  day of the month      1..31
//   0     27-31  hour                  0..23
//   1     0-5    minute                0..59
//   1     6-11   second                0..59
//   1     12-31  microsecond           0..999999
//
// A fresh value is 0xF83C7FFF / 0: every bit of year, day of the week and
// hour set, month 1, day 0. Local time follows the TZ rules of the process
// (platform/cmPlatform.h), daylight saving included, at the moment
// converted. A plain value type: any thread, no sharing.
#pragma once

#include <cstdint>

#include "text/cmDateStamp.h"

class cmDateParts {
 public:
  static constexpr uint32_t kFreshWord0 = 0xF83C7FFFu;
  static constexpr uint32_t kUnknownDayOfWeek = 15;

  uint32_t word0 = kFreshWord0;
  uint32_t word1 = 0;

  cmDateParts() = default;
  cmDateParts(uint32_t w0, uint32_t w1) : word0(w0), word1(w1) {}

  // A complete value; the day of the week is computed from the date.
  static cmDateParts make(uint32_t year, uint32_t month, uint32_t day, uint32_t hour = 0,
                          uint32_t minute = 0, uint32_t second = 0, uint32_t microsecond = 0);

  uint32_t year() const { return word0 & 0x3FFFu; }
  uint32_t month() const { return (word0 >> 14) & 0xFu; }
  uint32_t dayOfWeek() const { return (word0 >> 18) & 0xFu; }
  uint32_t day() const { return (word0 >> 22) & 0x1Fu; }
  uint32_t hour() const { return (word0 >> 27) & 0x1Fu; }
  uint32_t minute() const { return word1 & 0x3Fu; }
  uint32_t second() const { return (word1 >> 6) & 0x3Fu; }
  uint32_t microsecond() const { return word1 >> 12; }

  // Each setter keeps the other fields and cuts the value to its bits.
  void setYear(uint32_t v) { word0 = (word0 & ~0x3FFFu) | (v & 0x3FFFu); }
  void setMonth(uint32_t v) { word0 = (word0 & ~(0xFu << 14)) | ((v & 0xFu) << 14); }
  void setDayOfWeek(uint32_t v) { word0 = (word0 & ~(0xFu << 18)) | ((v & 0xFu) << 18); }
  void setDay(uint32_t v) { word0 = (word0 & ~(0x1Fu << 22)) | ((v & 0x1Fu) << 22); }
  void setHour(uint32_t v) { word0 = (word0 & ~(0x1Fu << 27)) | ((v & 0x1Fu) << 27); }
  void setMinute(uint32_t v) { word1 = (word1 & ~0x3Fu) | (v & 0x3Fu); }
  void setSecond(uint32_t v) { word1 = (word1 & ~(0x3Fu << 6)) | ((v & 0x3Fu) << 6); }
  void setMicrosecond(uint32_t v) { word1 = (word1 & 0xFFFu) | (v << 12); }

  bool isDate() const { return year() != 0; }
  bool operator==(const cmDateParts& o) const { return word0 == o.word0 && word1 == o.word1; }

  // ---- Conversions -------------------------------------------------------

  // Now from the system clock, UTC, to the millisecond.
  static cmDateStamp nowStamp();
  // Now in local time, to the millisecond.
  static cmDateParts nowLocal();

  // This value read as UTC. A year of 0 gives 0; so does a value that the
  // calendar refuses (a year before 1601, month or day out of range, hour
  // above 23, minute or second above 59): the stamp of such a value has no
  // defined meaning, and 0 is the one that says so.
  cmDateStamp toStamp() const;
  // This value read as local time.
  cmDateStamp toStampLocal() const;

  // 0 gives all-zero parts. The microsecond field is stamp / 10 modulo 10^6.
  static cmDateParts fromStamp(cmDateStamp stamp);
  static cmDateParts fromStampLocal(cmDateStamp stamp);
  // Seconds since 1970-01-01 UTC to local parts, microseconds 0.
  static cmDateParts fromUnixSeconds(int64_t seconds);

  // YYYYMMDDHHmmss and three digits of milliseconds of the UTC parts, as one
  // decimal number: ordering the numbers orders the moments.
  static uint64_t sortKey(cmDateStamp stamp);

  // ---- Calendar arithmetic (proleptic Gregorian) --------------------------

  static bool isLeapYear(uint32_t year);
  static uint32_t daysInMonth(uint32_t year, uint32_t month);
  // Days from 1970-01-01 to the date, negative before it.
  static int64_t daysFromCivil(int64_t year, uint32_t month, uint32_t day);
};
