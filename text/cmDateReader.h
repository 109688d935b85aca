// cmDateReader: reads a cmDateParts from ISO text and from text laid out by
// a pattern. Both throw cmException with CM_ERR_BAD_DATE (-102659), and the
// text as its parameter, for a number out of range; the ISO reader also for
// a date it cannot find, the pattern reader for a missing date token or a
// field that is not all digits.
//
// Numbers in ISO text are read from the leading decimal digits of each token
// (blanks before them skipped); a token without digits reads as 0, which the
// month and day ranges then refuse.
//
// Stateless; any thread.
#pragma once

#include <string_view>

#include "text/cmDateParts.h"
#include "text/cmStringT.h"

class cmDateReader {
 public:
  // "YYYY-MM-DD[(T| )HH[:mm[:ss[(.|,|:)fraction]]]][Z|(+|-)HH[:mm]]" into
  // `parts`. With `clear`, the day of the week becomes 15 (not known), the
  // hour 0 and the time word 0 before anything is read; without it those
  // fields keep their bits unless the text sets them. With `withTime` false
  // only the date is read. *hadTime (if given) is set when an hour was
  // present; it is not cleared otherwise.
  //
  // A fraction of exactly three digits is milliseconds; any other count is
  // taken as microseconds as it stands (".12" is 12 microseconds).
  //
  // A zone offset other than zero is added to the time read, and the result
  // turned back into UTC parts: "+02:00" adds two hours. "Z", which the
  // Subversion client writes, leaves the time as read.
  static void parseIso(cmDateParts& parts, const char* text, bool clear, bool withTime,
                       bool* hadTime = nullptr);
  static void parseIso(cmDateParts& parts, const cmString& text, bool clear, bool withTime,
                       bool* hadTime = nullptr);

  // The form the client writes in its logs, exactly "YYYY-MM-DDTHH:mm:ss.uuuuuuZ"
  // (27 characters, no blanks), into the same parts as parseIso with
  // `clear` and `withTime` gives. Returns false, leaving `parts` alone, for
  // any other text and for a field that parseIso would refuse: the caller
  // then reads the text with parseIso, which decides.
  static bool parseClientTime(cmDateParts& parts, std::string_view text);

  // Reads `text` laid out by `pattern`, position by position: "YYYY", "MM"
  // and "DD" are required; "HH" (or "hh" with "PM"/"AM"), "mm", "ss",
  // "uuuuuu" and "mmm" (milliseconds) are read where the pattern has them.
  // An "x" before D, M, d or h in the pattern stands for a field that may
  // have one digit. With `clear` the fields not in the pattern are reset as
  // in parseIso. *hadTime is set when an hour is read and cleared when the
  // pattern has none.
  static void parsePattern(cmDateParts& parts, const char* text, const char* pattern, bool clear,
                           bool* hadTime = nullptr);
};
