// The reader of the client's own time form against the general ISO reader
// it stands in front of: whatever it accepts, parseIso (clearing, with the
// time) reads to the very same bits; whatever parseIso refuses, it refuses
// too. Texts: the client's form, forms parseIso reads otherwise, near
// misses one character away, and random mutations of a valid stamp.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>

#include "runtime/cmException.h"
#include "text/cmDateParts.h"
#include "text/cmDateReader.h"

namespace {

// What parseIso makes of `text` from `start`; false when it throws.
bool GeneralRead(std::string_view text, cmDateParts start, cmDateParts& out) {
  out = start;
  try {
    cmDateReader::parseIso(out, std::string(text).c_str(), true, true);
  } catch (const cmException&) {
    return false;
  }
  return true;
}

// Checks one text from several starting values; returns whether the fast
// reader accepted it.
bool ExpectAgreement(std::string_view text) {
  const cmDateParts starts[] = {cmDateParts(), cmDateParts(0, 0), cmDateParts(0xFFFFFFFFu, 0xFFFFFFFFu),
                                cmDateParts::make(1999, 12, 31, 23, 59, 59, 999999)};
  bool accepted = false;
  for (const cmDateParts& start : starts) {
    cmDateParts fast = start;
    const bool took = cmDateReader::parseClientTime(fast, text);
    cmDateParts general;
    const bool read = GeneralRead(text, start, general);
    if (took) {
      EXPECT_TRUE(read) << "accepted what the general reader refuses: \"" << text << "\"";
      EXPECT_EQ(fast.word0, general.word0) << text;
      EXPECT_EQ(fast.word1, general.word1) << text;
    } else {
      EXPECT_TRUE(fast == start) << "changed the parts of a text it refused: \"" << text << "\"";
    }
    accepted = took;
  }
  return accepted;
}

TEST(DateReaderClientTime, ReadsTheClientFormAsTheGeneralReaderDoes) {
  const char* valid[] = {
      "2020-03-26T15:33:20.000000Z", "2024-01-31T09:15:00.123456Z", "1601-01-01T00:00:00.000000Z",
      "9999-12-31T23:59:59.999999Z", "2024-02-29T12:00:00.000001Z",
      // Out of the calendar but within the reader's ranges: the same parts,
      // and toStamp decides.
      "2023-02-29T00:00:00.000000Z", "2024-04-31T00:00:00.000000Z", "2024-01-00T00:00:00.000000Z",
      "0000-01-01T00:00:00.000000Z", "1600-12-31T23:59:59.000000Z",
  };
  for (const char* text : valid) EXPECT_TRUE(ExpectAgreement(text)) << text;
}

TEST(DateReaderClientTime, LeavesEveryOtherFormToTheGeneralReader) {
  const char* others[] = {
      // Read by parseIso, but not in the client's exact form.
      "2024-01-31T09:15:00.123Z", "2024-01-31T09:15:00Z", "2024-01-31 09:15:00.123456Z",
      "2024-01-31T09:15:00,123456Z", "2024-01-31T09:15:00.123456+02:00", "2024-01-31T09:15:00.123456",
      " 2024-01-31T09:15:00.123456Z", "2024-01-31T09:15:00.123456Z ", "2024-1-31T09:15:00.1234567Z",
      "02024-01-31T09:15:00.12345Z",
      // Out of parseIso's ranges.
      "2024-13-31T09:15:00.123456Z", "2024-00-31T09:15:00.123456Z", "2024-01-32T09:15:00.123456Z",
      "2024-01-31T24:15:00.123456Z", "2024-01-31T09:60:00.123456Z", "2024-01-31T09:15:60.123456Z",
      // Not dates.
      "", "2024-01-31", "yesterday", "2024-01-31T09:15:00.12345xZ", "2024-01-31T09:1a:00.123456Z",
      "2024-01-31T09:15:00.123456z", "2024/01/31T09:15:00.123456Z",
  };
  for (const char* text : others) EXPECT_FALSE(ExpectAgreement(text)) << text;
  // A zero byte inside: parseIso stops reading there.
  EXPECT_FALSE(ExpectAgreement(std::string_view("2024-01-31T09:15:00.12\0" "456Z", 27)));
}

// Every text one character away from a valid stamp (changed, dropped or
// added), with characters that mean something to one of the readers.
TEST(DateReaderClientTime, AgreesOnEveryOneCharacterChange) {
  const std::string base = "2021-07-15T08:42:17.654321Z";
  const std::string alphabet = std::string("0123456789-T :.,Z+-zt/x\xC3", 24) + std::string(1, '\0');
  for (size_t at = 0; at < base.size(); ++at) {
    for (char c : alphabet) {
      std::string text = base;
      text[at] = c;
      ExpectAgreement(text);
    }
    ExpectAgreement(std::string_view(base).substr(0, at));
    ExpectAgreement(base.substr(0, at) + base.substr(at + 1));
    ExpectAgreement(base.substr(0, at) + "0" + base.substr(at));
  }
}

TEST(DateReaderClientTime, AgreesOnRandomStamps) {
  std::mt19937 random(20200326);
  auto digits = [&](int count, int limit) {
    std::string s = std::to_string(std::uniform_int_distribution<int>(0, limit)(random));
    return std::string(count - std::min<int>(count, static_cast<int>(s.size())), '0') + s;
  };
  int accepted = 0;
  for (int i = 0; i < 5000; ++i) {
    // Fields a little beyond their ranges now and then.
    std::string text = digits(4, 9999) + "-" + digits(2, 14) + "-" + digits(2, 33) + "T" + digits(2, 25) + ":" +
                       digits(2, 61) + ":" + digits(2, 61) + "." + digits(6, 999999) + "Z";
    if (ExpectAgreement(text)) ++accepted;
  }
  // Most of them are in range, and those the fast reader must take.
  EXPECT_GT(accepted, 2500);
}

}  // namespace
