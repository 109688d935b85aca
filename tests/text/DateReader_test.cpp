#include <gtest/gtest.h>

#include "runtime/cmErrors.h"
#include "runtime/cmException.h"
#include "text/cmDateParts.h"
#include "text/cmDateReader.h"

namespace {

struct IsoCase {
  const char* text;
  cmDateParts expected;
  bool hadTime;
};

TEST(DateReader, IsoTexts) {
  const IsoCase cases[] = {
      // The client's form.
      {"2024-01-31T09:15:00.123456Z", cmDateParts::make(2024, 1, 31, 9, 15, 0, 123456), true},
      {"2024-01-31T09:15:00.123Z", cmDateParts::make(2024, 1, 31, 9, 15, 0, 123000), true},
      {"2024-01-31T09:15:00,5Z", cmDateParts::make(2024, 1, 31, 9, 15, 0, 5), true},  // as it stands
      {"2024-01-31 09:15:30", cmDateParts::make(2024, 1, 31, 9, 15, 30), true},
      {"2024-01-31T09:15", cmDateParts::make(2024, 1, 31, 9, 15), true},
      {"2024-01-31T09", cmDateParts::make(2024, 1, 31, 9), true},
      {"2024-01-31", cmDateParts::make(2024, 1, 31), false},
      // Zones: the offset is added as written.
      {"2024-01-31T09:15:00+02:00", cmDateParts::make(2024, 1, 31, 11, 15), true},
      {"2024-01-31T23:15:00+01", cmDateParts::make(2024, 2, 1, 0, 15), true},
      {"2024-03-01T00:10:00-0030", cmDateParts::make(2024, 2, 29, 23, 40), true},
      {"2024-01-31T09:15:00.250-05:30", cmDateParts::make(2024, 1, 31, 3, 45, 0, 250000), true},
      {"2024-01-31T09:15:00+00:00", cmDateParts::make(2024, 1, 31, 9, 15), true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    cmDateParts p;
    bool hadTime = false;
    cmDateReader::parseIso(p, c.text, true, true, &hadTime);
    EXPECT_EQ(hadTime, c.hadTime);
    EXPECT_EQ(p.year(), c.expected.year());
    EXPECT_EQ(p.month(), c.expected.month());
    EXPECT_EQ(p.day(), c.expected.day());
    EXPECT_EQ(p.hour(), c.expected.hour());
    EXPECT_EQ(p.minute(), c.expected.minute());
    EXPECT_EQ(p.second(), c.expected.second());
    EXPECT_EQ(p.microsecond(), c.expected.microsecond());
    EXPECT_EQ(p.toStamp(), c.expected.toStamp());
  }
}

TEST(DateReader, ClientStampIsTheUtcInstant) {
  cmDateParts p;
  cmDateReader::parseIso(p, cmString("2024-01-31T09:15:00.123456Z"), true, true);
  EXPECT_EQ(p.toStamp(), (1706692500ull + 11644473600ull) * 10000000ull + 1234560ull);
}

TEST(DateReader, ClearAndTimeFlags) {
  cmDateParts p = cmDateParts::make(2000, 6, 15, 17, 45, 30, 99);
  cmDateReader::parseIso(p, "2024-01-31T09:15:00Z", false, false);
  EXPECT_EQ(p.year(), 2024u);
  EXPECT_EQ(p.hour(), 17u);  // kept without the clear flag
  EXPECT_EQ(p.minute(), 45u);
  EXPECT_EQ(p.microsecond(), 99u);

  cmDateReader::parseIso(p, "2024-01-31T09:15:00Z", true, false);
  EXPECT_EQ(p.hour(), 0u);
  EXPECT_EQ(p.word1, 0u);
  EXPECT_EQ(p.dayOfWeek(), 15u);

  bool hadTime = true;  // left alone when there is no hour
  cmDateReader::parseIso(p, "2024-01-31", true, true, &hadTime);
  EXPECT_TRUE(hadTime);
}

TEST(DateReader, MalformedIsoTextsThrow) {
  const char* bad[] = {
      "2024-13-01", "2024-00-10", "2024-01-32", "65536-01-01", "2024-01-31T24:00:00Z", "2024-01-31T09:60:00Z",
      "2024-01-31T09:15:60Z", "2024-01-31T09:15:00.1234567Z", "2024-01-31T09:15:00+2400", "2024-01-31T09:15:00+01:60",
      "", "garbage", "2024", "2024-", "20240131",
  };
  for (const char* text : bad) {
    cmDateParts p;
    try {
      cmDateReader::parseIso(p, text, true, true);
      ADD_FAILURE() << "no exception for \"" << text << "\"";
    } catch (const cmException& e) {
      EXPECT_EQ(e.number(), CM_ERR_BAD_DATE) << text;
      EXPECT_STREQ(e.param(), text);
    }
  }
}

struct PatternCase {
  const char* text;
  const char* pattern;
  cmDateParts expected;
  bool hadTime;
};

TEST(DateReader, Patterns) {
  const PatternCase cases[] = {
      {"2024-01-31", "YYYY-MM-DD", cmDateParts::make(2024, 1, 31), false},
      {"01/31/2024 09:15:07", "MM/DD/YYYY HH:mm:ss", cmDateParts::make(2024, 1, 31, 9, 15, 7), true},
      {"3/9/2024", "xM/xD/YYYY", cmDateParts::make(2024, 3, 9), false},
      {"12/25/2024", "xM/xD/YYYY", cmDateParts::make(2024, 12, 25), false},
      {"2024-01-31 01:05 PM", "YYYY-MM-DD hh:mm PM", cmDateParts::make(2024, 1, 31, 13, 5), true},
      {"2024-01-31 12:05 AM", "YYYY-MM-DD hh:mm PM", cmDateParts::make(2024, 1, 31, 0, 5), true},
      {"2024-01-31 12:05 PM", "YYYY-MM-DD hh:mm PM", cmDateParts::make(2024, 1, 31, 12, 5), true},
      {"20240131091507.250", "YYYYMMDDHHmmss.mmm", cmDateParts::make(2024, 1, 31, 9, 15, 7, 250000), true},
      {"2024-01-31 09:15:07.000042", "YYYY-MM-DD HH:mm:ss.uuuuuu", cmDateParts::make(2024, 1, 31, 9, 15, 7, 42),
       true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    cmDateParts p;
    bool hadTime = !c.hadTime;
    cmDateReader::parsePattern(p, c.text, c.pattern, true, &hadTime);
    EXPECT_EQ(hadTime, c.hadTime);
    EXPECT_EQ(p.toStamp(), c.expected.toStamp());
    EXPECT_EQ(p.microsecond(), c.expected.microsecond());
  }

  const char* bad[][2] = {
      {"2024-13-01", "YYYY-MM-DD"}, {"2024-01-00", "YYYY-MM-DD"}, {"2024-01", "YYYY-MM"},
      {"2024-0x-01", "YYYY-MM-DD"}, {"2024-01-31 25", "YYYY-MM-DD HH"}, {"20", "YYYY-MM-DD"},
  };
  for (const auto& b : bad) {
    cmDateParts p;
    try {
      cmDateReader::parsePattern(p, b[0], b[1], true);
      ADD_FAILURE() << "no exception for \"" << b[0] << "\"";
    } catch (const cmException& e) {
      EXPECT_EQ(e.number(), CM_ERR_BAD_DATE);
    }
  }
}

}  // namespace
