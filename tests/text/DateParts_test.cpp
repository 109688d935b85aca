#include <gtest/gtest.h>

#include "DateTestZone.h"
#include "text/cmDateParts.h"

namespace {

// Unix seconds to a stamp, written out independently of the code under test.
constexpr cmDateStamp fromUnix(int64_t seconds, uint32_t micro = 0) {
  return cmDateStamp(seconds + 11644473600ll) * 10000000ull + micro * 10ull;
}

struct KnownMoment {
  uint32_t y, mo, d, h, mi, s, us;
  uint32_t dayOfWeek;
  cmDateStamp stamp;
};

// Instants checked against Unix time (computed with `date -u +%s`).
const KnownMoment kKnown[] = {
    {1601, 1, 1, 0, 0, 0, 1, 1, 10},                                 // one microsecond past the epoch
    {1601, 1, 1, 0, 0, 1, 0, 1, 10000000},
    {1601, 12, 31, 23, 59, 59, 0, 1, (365ull * 86400 - 1) * 10000000ull},
    {1900, 3, 1, 0, 0, 0, 0, 4, fromUnix(-2203891200)},              // 1900 is no leap year
    {1970, 1, 1, 0, 0, 0, 0, 4, fromUnix(0)},
    {2000, 2, 29, 12, 0, 0, 0, 2, fromUnix(951825600)},              // 2000 is one
    {2024, 1, 31, 9, 15, 0, 123456, 3, fromUnix(1706692500, 123456)},
    {2024, 2, 29, 23, 59, 59, 999999, 4, fromUnix(1709251199, 999999)},
    {2038, 1, 19, 3, 14, 8, 0, 2, fromUnix(2147483648)},             // past 32-bit Unix time
    {2100, 3, 1, 0, 0, 0, 0, 1, fromUnix(4107542400)},
};

TEST(DateParts, KnownInstantsBothWays) {
  for (const auto& k : kKnown) {
    SCOPED_TRACE(testing::Message() << k.y << "-" << k.mo << "-" << k.d);
    const cmDateParts p = cmDateParts::make(k.y, k.mo, k.d, k.h, k.mi, k.s, k.us);
    EXPECT_EQ(p.dayOfWeek(), k.dayOfWeek);
    EXPECT_EQ(p.toStamp(), k.stamp);
    const cmDateParts back = cmDateParts::fromStamp(k.stamp);
    EXPECT_EQ(back, p);
  }
}

TEST(DateParts, EveryDayFrom1601RoundTripsAndAdvancesOneDay) {
  // Walks the calendar day by day; a slip in leap-year or era arithmetic
  // shows up as a broken chain.
  cmDateStamp stamp = 123 * 10ull;  // not 0, which means "no time"
  uint32_t expectedWeekday = 1;     // 1601-01-01 was a Monday
  cmDateParts prev = cmDateParts::fromStamp(stamp);
  ASSERT_EQ(prev, cmDateParts::make(1601, 1, 1, 0, 0, 0, 123));
  for (int i = 0; i < 800 * 366; ++i) {
    stamp += kDateTicksPerDay;
    const cmDateParts p = cmDateParts::fromStamp(stamp);
    expectedWeekday = (expectedWeekday + 1) % 7;
    ASSERT_EQ(p.dayOfWeek(), expectedWeekday) << p.year() << "-" << p.month() << "-" << p.day();
    if (p.day() == 1) {
      ASSERT_EQ(prev.day(), cmDateParts::daysInMonth(prev.year(), prev.month()));
      ASSERT_EQ(p.month(), prev.month() % 12 + 1);
    } else {
      ASSERT_EQ(p.day(), prev.day() + 1);
      ASSERT_EQ(p.month(), prev.month());
    }
    ASSERT_EQ(p.toStamp(), stamp);
    prev = p;
  }
  EXPECT_GE(prev.year(), 2400u);
}

TEST(DateParts, ZeroAndRefusedValues) {
  EXPECT_EQ(cmDateParts::fromStamp(0), cmDateParts(0, 0));
  EXPECT_EQ(cmDateParts::fromStampLocal(0), cmDateParts(0, 0));
  EXPECT_EQ(cmDateParts(0, 0).toStamp(), 0u);

  const cmDateParts fresh;
  EXPECT_EQ(fresh.word0, 0xF83C7FFFu);
  EXPECT_EQ(fresh.word1, 0u);
  EXPECT_EQ(fresh.month(), 1u);
  EXPECT_EQ(fresh.day(), 0u);
  EXPECT_EQ(fresh.dayOfWeek(), 15u);
  EXPECT_EQ(fresh.toStamp(), 0u);

  const cmDateParts refused[] = {
      cmDateParts::make(1600, 12, 31), cmDateParts::make(2023, 2, 29), cmDateParts::make(2024, 13, 1),
      cmDateParts::make(2024, 4, 31),  cmDateParts::make(2024, 1, 1, 24), cmDateParts::make(2024, 1, 1, 0, 60),
  };
  for (const auto& p : refused) EXPECT_EQ(p.toStamp(), 0u) << p.year() << "-" << p.month() << "-" << p.day();
}

TEST(DateParts, FieldsKeepTheirNeighbours) {
  cmDateParts p = cmDateParts::make(16383, 12, 31, 23, 59, 59, 999999);
  EXPECT_EQ(p.year(), 16383u);
  EXPECT_EQ(p.microsecond(), 999999u);
  p.setMonth(2);
  p.setMinute(7);
  EXPECT_EQ(p.year(), 16383u);
  EXPECT_EQ(p.day(), 31u);
  EXPECT_EQ(p.hour(), 23u);
  EXPECT_EQ(p.second(), 59u);
  EXPECT_EQ(p.microsecond(), 999999u);
  EXPECT_EQ(p.month(), 2u);
  EXPECT_EQ(p.minute(), 7u);
}

TEST(DateParts, SortKeyOrdersMoments) {
  EXPECT_EQ(cmDateParts::sortKey(fromUnix(1706692500, 123456)), 20240131091500123ull);
  EXPECT_LT(cmDateParts::sortKey(fromUnix(1706692500)), cmDateParts::sortKey(fromUnix(1706692500, 1000)));
  EXPECT_LT(cmDateParts::sortKey(fromUnix(951825599)), cmDateParts::sortKey(fromUnix(951825600)));
}

struct LocalCase {
  const char* tz;
  cmDateStamp utc;
  cmDateParts local;
};

TEST(DateParts, LocalTimeFollowsTheZoneRule) {
  const LocalCase cases[] = {
      {"UTC0", fromUnix(1706692500), cmDateParts::make(2024, 1, 31, 9, 15)},
      // Winter and summer on the same rule: the offset of the moment counts.
      {"EST5EDT,M3.2.0,M11.1.0", fromUnix(1706692500), cmDateParts::make(2024, 1, 31, 4, 15)},
      {"EST5EDT,M3.2.0,M11.1.0", fromUnix(1719825300), cmDateParts::make(2024, 7, 1, 5, 15)},
      // East of Greenwich a late UTC evening is already the next local day.
      {"CET-1CEST,M3.5.0,M10.5.0/3", fromUnix(1706743800), cmDateParts::make(2024, 2, 1, 0, 30)},
      {"<+0530>-5:30", fromUnix(1706725800), cmDateParts::make(2024, 2, 1, 0, 0)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.tz);
    ScopedTimeZone zone(c.tz);
    const cmDateParts local = cmDateParts::fromStampLocal(c.utc);
    EXPECT_EQ(local, c.local) << local.year() << "-" << local.month() << "-" << local.day() << " "
                              << local.hour() << ":" << local.minute();
    EXPECT_EQ(local.toStampLocal(), c.utc);
  }
}

TEST(DateParts, LocalRoundTripAcrossDaylightSaving) {
  ScopedTimeZone zone("EST5EDT,M3.2.0,M11.1.0");
  // Hour by hour over the spring and autumn changes of 2024.
  for (int64_t base : {int64_t(1710050400), int64_t(1730610000)}) {
    for (int h = -3; h <= 3; ++h) {
      const cmDateStamp utc = fromUnix(base + h * 3600);
      const cmDateParts local = cmDateParts::fromStampLocal(utc);
      // In the repeated autumn hour the local reading is ambiguous; it must
      // still name a moment with the same local reading.
      EXPECT_EQ(cmDateParts::fromStampLocal(local.toStampLocal()), local) << base << " " << h;
    }
  }
}

TEST(DateParts, FromUnixSecondsIsLocalWithoutFraction) {
  ScopedTimeZone zone("UTC0");
  EXPECT_EQ(cmDateParts::fromUnixSeconds(0), cmDateParts::make(1970, 1, 1));
  EXPECT_EQ(cmDateParts::fromUnixSeconds(1706692500), cmDateParts::make(2024, 1, 31, 9, 15));
}

TEST(DateParts, NowAgreesWithItself) {
  const cmDateStamp now = cmDateParts::nowStamp();
  EXPECT_EQ(now % 10000u, 0u);  // milliseconds, like the system time record
  EXPECT_GT(now, fromUnix(1700000000));
  const cmDateParts local = cmDateParts::nowLocal();
  const cmDateStamp back = local.toStampLocal();
  EXPECT_LT(back > now ? back - now : now - back, 60ull * kDateTicksPerSecond);
}

}  // namespace
