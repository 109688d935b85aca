#include <gtest/gtest.h>

#include <string>

#include "DateTestZone.h"
#include "text/cmDateParts.h"
#include "text/cmDateText.h"

namespace {

std::string str(const cmString& s) { return std::string(s.data(), size_t(s.length())); }

const cmDateParts kWed = cmDateParts::make(2024, 1, 31, 9, 15, 7, 123456);
const cmDateParts kAfternoon = cmDateParts::make(2024, 3, 5, 13, 4, 0);
const cmDateParts kMidnight = cmDateParts::make(1999, 12, 26, 0, 0, 0);

struct FormCase {
  const cmDateParts* parts;
  int form;
  const char* expected;
};

TEST(DateText, FixedDateForms) {
  const FormCase cases[] = {
      {&kWed, 0, "01/31/2024"},
      {&kWed, 1, "01-31-2024"},
      {&kWed, 2, "31-jan-2024"},
      {&kWed, 3, "2024-01-31T09:15:07.123456Z"},
      {&kAfternoon, 3, "2024-03-05T13:04:00Z"},  // no fraction without microseconds
      {&kWed, 5, "20240131091507123"},
      {&kMidnight, 2, "26-dec-1999"},
  };
  for (const auto& c : cases) EXPECT_EQ(str(cmDateText::toText(*c.parts, c.form)), c.expected) << c.form;
}

TEST(DateText, UserFormsFollowThePosixLocale) {
  // The test environment has no LC_TIME of its own beyond what the shell
  // gives; only assert the shape that every locale shares.
  const std::string shortDate = str(cmDateText::toText(kWed, 4));
  EXPECT_FALSE(shortDate.empty());
  EXPECT_EQ(str(cmDateText::toText(kWed, 9)), shortDate);
  const std::string withTime = str(cmDateText::toText(kWed, 6));
  EXPECT_EQ(withTime.rfind(shortDate + " ", 0), 0u) << withTime;
  EXPECT_NE(withTime.find("15"), std::string::npos) << withTime;
  EXPECT_NE(str(cmDateText::toText(kWed, 7)).find("2024"), std::string::npos);
}

TEST(DateText, FixedTimeForms) {
  EXPECT_EQ(str(cmDateText::timeText(kWed, 0)), "09:15am");
  EXPECT_EQ(str(cmDateText::timeText(kAfternoon, 0)), "01:04pm");
  EXPECT_EQ(str(cmDateText::timeText(kMidnight, 0)), "12:00am");
  EXPECT_EQ(str(cmDateText::timeText(kWed, 1, " UTC")), "09:15:07 UTC");
  EXPECT_EQ(str(cmDateText::timeText(kWed, 2, "h")), "09:15h");
  EXPECT_FALSE(str(cmDateText::timeText(kWed, 3)).empty());
}

struct PatternCase {
  const cmDateParts* parts;
  const char* pattern;
  const char* expected;
};

TEST(DateText, Patterns) {
  const cmDateParts march = cmDateParts::make(2024, 3, 9, 13, 5, 9, 7000);
  const PatternCase cases[] = {
      {&kWed, " -r\"{YYYY-MM-DD}:HEAD\"", " -r\"{2024-01-31}:HEAD\""},
      {&march, "MM", "03"},
      {&march, "XM/XD/YY", "3/9/24"},
      {&march, "hh xh PM", "01 1 PM"},
      {&kWed, "hh xh PM", "09 9 AM"},
      {&kMidnight, "hh:mm PM", "12:00 AM"},
      {&march, "HH:mm:ss.mmm uuuuuu", "13:05:09.007 007000"},
      {&march, "month Month MONTH", "march March MARCH"},
      {&march, "mon Mon MON", "mar Mar MAR"},
      {&kWed, "weekday, Weekday WEEKDAY", "wednesday, Wednesday WEDNESDAY"},
      {&kWed, "day Day DAY today", "wed Wed WED today"},  // "day" only as a word
      {&kWed, "no tokens here", "no tokens here"},
      // A month name can contain no later token; a name may not be printed
      // for an unknown day of the week.
      {&kMidnight, "Month DD", "December 26"},
  };
  for (const auto& c : cases) EXPECT_EQ(str(cmDateText::format(*c.parts, c.pattern)), c.expected) << c.pattern;

  cmDateParts unknownDay = kWed;
  unknownDay.setDayOfWeek(15);
  EXPECT_EQ(str(cmDateText::format(unknownDay, "weekday day")), "weekday day");
  cmDateParts noMonth = kWed;
  noMonth.setMonth(0);
  EXPECT_EQ(str(cmDateText::format(noMonth, "month MM")), "month 00");
}

TEST(DateText, IncrementalRangeNearLocalMidnight) {
  // The driver's range starts at the local calendar day of the last update:
  // a moment just before midnight UTC is already the next day east of it,
  // and still the previous one west of it.
  struct Case {
    const char* tz;
    const char* range;
    const char* iso;
  };
  const cmDateStamp lastUpdate = (1706743800ull + 11644473600ull) * 10000000ull;  // 2024-01-31T23:30:00Z
  const Case cases[] = {
      {"UTC0", " -r\"{2024-01-31}:HEAD\"", "2024-01-31T23:30:00Z"},
      {"CET-1CEST,M3.5.0,M10.5.0/3", " -r\"{2024-02-01}:HEAD\"", "2024-02-01T00:30:00Z"},
      {"<-01>1", " -r\"{2024-01-31}:HEAD\"", "2024-01-31T22:30:00Z"},
  };
  for (const auto& c : cases) {
    ScopedTimeZone zone(c.tz);
    const cmDateParts local = cmDateParts::fromStampLocal(lastUpdate);
    EXPECT_EQ(str(cmDateText::format(local, " -r\"{YYYY-MM-DD}:HEAD\"")), c.range) << c.tz;
    EXPECT_EQ(str(cmDateText::toText(local, 3)), c.iso) << c.tz;
  }
}

}  // namespace
