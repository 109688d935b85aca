// cmDateText: writes a cmDateParts as text, in the fixed date and time forms
// and by pattern. The readers are in text/cmDateReader.h.
//
// Fixed date forms (toText):
//   0  MM/DD/YYYY            1  MM-DD-YYYY          2  DD-mon-YYYY
//   3  YYYY-MM-DDTHH:mm:ss[.uuuuuu]Z  (the fraction only when the microsecond
//      field is not zero; the Z is written whatever zone the value is in)
//   5  YYYYMMDDHHmmss and three digits of milliseconds
//   4, 8 and up  the user's short date
//   6  the user's short date, a blank, the user's time
//   7  the user's long date, a blank, the user's time
// The user's forms come from the locale of the process environment
// (platform/cmPlatformDate.h); in the POSIX locale the short date is
// "01/31/24" and the time "09:15:00".
//
// Fixed time forms (timeText):
//   0  hh:mm on a 12-hour clock (hour 0 is 12) and "am" or "pm", no seconds
//   1  HH:mm:ss and the caller's suffix
//   2  HH:mm and the caller's suffix
//   others  the user's time
//
// Stateless; any thread.
#pragma once

#include <cstdint>

#include "text/cmDateParts.h"
#include "text/cmStringT.h"

class cmDateText {
 public:
  static cmString toText(const cmDateParts& parts, int form);
  static cmString timeText(const cmDateParts& parts, int form, const char* suffix = "");

  // Copies the pattern and replaces each token at all its occurrences, in
  // this order, case mattering (a later token may match what an earlier one
  // wrote):
  //   YYYY YY MM XM  month Month MONTH  mon Mon MON  DD XD
  //   weekday Weekday WEEKDAY  day Day DAY (whole words only)
  //   HH XH hh xh PM mmm mm ss uuuuuu
  // "X" forms drop the leading zero, "hh"/"xh" are the 12-hour clock, "PM"
  // becomes "AM" before noon and stays otherwise, "mmm" is milliseconds.
  // Names need a month of 1..12 or a day of the week of 0..6; otherwise
  // their tokens stay. Other text stays, so " -r\"{YYYY-MM-DD}:HEAD\""
  // gives " -r\"{2024-01-31}:HEAD\"".
  static cmString format(const cmDateParts& parts, const cmString& pattern);
  static cmString format(const cmDateParts& parts, const char* pattern);

  // "january".."december" for 1..12, else nullptr.
  static const char* monthName(uint32_t month);
  // "sunday".."saturday" for 0..6, else nullptr.
  static const char* dayName(uint32_t dayOfWeek);
};
