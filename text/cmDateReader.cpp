#include "text/cmDateReader.h"

#include <cstring>
#include <string>

#include "runtime/cmErrors.h"
#include "runtime/cmException.h"

namespace {

[[noreturn]] void badDate(const char* text) { throw cmException(CM_ERR_BAD_DATE, text); }

// Walks a text token by token. A token runs up to the next character of a
// separator set, or the end; the separator is consumed and remembered.
class Tokens {
 public:
  explicit Tokens(const char* text) : text_(text ? text : ""), len_(std::strlen(text_)) {}

  // Returns false for an empty token (no characters before the separator).
  bool next(const char* separators, int64_t* value) {
    const size_t start = pos_;
    while (pos_ < len_ && !std::strchr(separators, text_[pos_])) ++pos_;
    const size_t end = pos_;
    last_ = pos_ < len_ ? text_[pos_] : 0;
    if (pos_ < len_) ++pos_;
    *value = readNumber(start, end, &digits_);
    return end > start;
  }

  char last() const { return last_; }
  size_t digits() const { return digits_; }
  // The character at the position or, failing that, the one before it.
  bool signAtOrBefore(char* sign) const {
    for (size_t at : {pos_, pos_ - 1}) {
      if (at < len_ && (text_[at] == '+' || text_[at] == '-')) {
        *sign = text_[at];
        return true;
      }
    }
    return false;
  }
  void skipOne() {
    if (pos_ < len_) ++pos_;
  }
  size_t position() const { return pos_; }

 private:
  // Leading blanks, then decimal digits; saturates far above every range.
  int64_t readNumber(size_t start, size_t end, size_t* digits) const {
    while (start < end && text_[start] == ' ') ++start;
    int64_t v = 0;
    *digits = 0;
    for (size_t i = start; i < end && text_[i] >= '0' && text_[i] <= '9'; ++i, ++*digits)
      if (v < 100000000000ll) v = v * 10 + (text_[i] - '0');
    return v;
  }

  const char* text_;
  size_t len_;
  size_t pos_ = 0;
  size_t digits_ = 0;
  char last_ = 0;
};

void resetTime(cmDateParts& parts) {
  parts.setDayOfWeek(cmDateParts::kUnknownDayOfWeek);
  parts.setHour(0);
  parts.word1 = 0;
}

}  // namespace

void cmDateReader::parseIso(cmDateParts& parts, const cmString& text, bool clear, bool withTime,
                            bool* hadTime) {
  const std::string copy = text.isNull() ? std::string() : std::string(text.data(), size_t(text.length()));
  parseIso(parts, copy.c_str(), clear, withTime, hadTime);
}

void cmDateReader::parseIso(cmDateParts& parts, const char* text, bool clear, bool withTime, bool* hadTime) {
  Tokens t(text);
  int64_t year, month, day;
  t.next("-", &year);
  if (year >= 65536) badDate(text);
  t.next("-", &month);
  if (month < 1 || month > 12) badDate(text);
  t.next("T ", &day);
  if (day >= 32) badDate(text);

  parts.setDay(uint32_t(day));
  parts.setMonth(uint32_t(month));
  parts.setYear(uint32_t(year));
  if (clear) resetTime(parts);
  if (!withTime) return;

  int64_t hour, minute = 0, second = 0, fraction = 0;
  if (!t.next(":", &hour)) return;
  if (hadTime) *hadTime = true;
  if (hour >= 24) badDate(text);
  // Minutes and seconds each follow only where the text goes on with ':';
  // otherwise what comes next is the zone.
  if (t.last() == ':') {
    t.next(":Z+-", &minute);
    if (minute >= 60) badDate(text);
    if (t.last() == ':') {
      t.next(":.,Z +-", &second);
      if (second >= 60) badDate(text);
      const char sep = t.last();
      if (sep == '.' || sep == ',' || sep == ':') {
        t.next("Z +-", &fraction);
        if (t.digits() == 3) fraction *= 1000;
        if (fraction >= 1000000) badDate(text);
      }
    }
  }
  parts.setHour(uint32_t(hour));
  parts.setMinute(uint32_t(minute));
  parts.setSecond(uint32_t(second));
  parts.setMicrosecond(uint32_t(fraction));

  char sign;
  if (!t.signAtOrBefore(&sign)) return;
  if (t.position() < std::strlen(text) && text[t.position()] == sign) t.skipOne();
  int64_t zone = 0, zoneMinutes = 0;
  t.next(":.", &zone);
  if (zone >= 2400) badDate(text);
  const char zoneSep = t.last();
  if ((zoneSep == ':' || zoneSep == '.') && t.next(":.", &zoneMinutes)) {
    if (zoneMinutes >= 60) badDate(text);
    zone = zone * 100 + zoneMinutes;
  } else if (zone < 24) {
    zone *= 100;
  }
  const int64_t seconds = (zone / 100) * 3600 + (zone % 100) * 60;
  if (seconds == 0) return;
  const cmDateStamp stamp = parts.toStamp();
  const int64_t moved = int64_t(stamp) + (sign == '-' ? -seconds : seconds) * int64_t(kDateTicksPerSecond);
  parts = cmDateParts::fromStamp(moved > 0 ? cmDateStamp(moved) : 0);
}

bool cmDateReader::parseClientTime(cmDateParts& parts, std::string_view text) {
  if (text.size() != 27) return false;
  const char* t = text.data();
  if (t[4] != '-' || t[7] != '-' || t[10] != 'T' || t[13] != ':' || t[16] != ':' || t[19] != '.' || t[26] != 'Z')
    return false;
  bool digits = true;
  auto number = [&](size_t at, size_t count) {
    uint32_t v = 0;
    for (size_t i = at; i < at + count; ++i) {
      const uint32_t d = uint32_t(static_cast<unsigned char>(t[i])) - '0';
      digits &= d <= 9;
      v = v * 10 + d;
    }
    return v;
  };
  const uint32_t year = number(0, 4), month = number(5, 2), day = number(8, 2), hour = number(11, 2),
                 minute = number(14, 2), second = number(17, 2), microsecond = number(20, 6);
  if (!digits) return false;
  // parseIso's ranges; a day of 0 passes there too.
  if (month < 1 || month > 12 || day >= 32 || hour >= 24 || minute >= 60 || second >= 60) return false;
  // Field by field as parseIso fills them, so that every bit agrees.
  cmDateParts read = parts;
  read.setDay(day);
  read.setMonth(month);
  read.setYear(year);
  resetTime(read);
  read.setHour(hour);
  read.setMinute(minute);
  read.setSecond(second);
  read.setMicrosecond(microsecond);
  parts = read;
  return true;
}

void cmDateReader::parsePattern(cmDateParts& parts, const char* text, const char* pattern, bool clear,
                                bool* hadTime) {
  std::string txt(text ? text : ""), pat(pattern ? pattern : "");
  for (size_t i = 0; i + 1 < pat.size(); ++i) {
    if (pat[i] != 'x' || !std::strchr("DMdh", pat[i + 1])) continue;
    pat[i] = pat[i + 1];
    const bool digitHere = i < txt.size() && txt[i] >= '0' && txt[i] <= '9';
    const bool digitNext = i + 1 < txt.size() && txt[i + 1] >= '0' && txt[i + 1] <= '9';
    if (digitHere && !digitNext) txt.insert(i, 1, '0');
  }

  // Reads the field that `token` marks, or returns false when the pattern
  // has no such token.
  auto field = [&](const char* token, int64_t* value, size_t at = std::string::npos) {
    if (at == std::string::npos) at = pat.find(token);
    if (at == std::string::npos) return false;
    const size_t width = std::strlen(token);
    if (at + width > txt.size()) badDate(text);
    int64_t v = 0;
    for (size_t i = at; i < at + width; ++i) {
      if (txt[i] < '0' || txt[i] > '9') badDate(text);
      v = v * 10 + (txt[i] - '0');
    }
    *value = v;
    return true;
  };

  int64_t year, month, day;
  if (!field("YYYY", &year) || year >= 65536) badDate(text);
  if (!field("MM", &month) || month < 1 || month > 12) badDate(text);
  if (!field("DD", &day) || day < 1 || day > 31) badDate(text);
  parts.setYear(uint32_t(year));
  parts.setMonth(uint32_t(month));
  parts.setDay(uint32_t(day));
  if (clear) resetTime(parts);

  int64_t hour;
  if (field("HH", &hour)) {
    if (hour >= 24) badDate(text);
  } else if (field("hh", &hour)) {
    if (hour < 1 || hour > 12) badDate(text);
    const size_t pm = pat.find("PM");
    if (pm != std::string::npos && pm + 2 <= txt.size()) {
      const char c = txt[pm];
      if ((c == 'P' || c == 'p') && hour < 12) hour += 12;
      if ((c == 'A' || c == 'a') && hour == 12) hour = 0;
    }
  } else {
    if (hadTime) *hadTime = false;
    return;
  }
  if (hadTime) *hadTime = true;
  parts.setHour(uint32_t(hour));

  // "mm" that is not part of a "mmm" run.
  size_t minuteAt = std::string::npos;
  for (size_t at = pat.find("mm"); at != std::string::npos; at = pat.find("mm", at + 1)) {
    if ((at == 0 || pat[at - 1] != 'm') && (at + 2 >= pat.size() || pat[at + 2] != 'm')) {
      minuteAt = at;
      break;
    }
  }
  int64_t v;
  if (minuteAt != std::string::npos && field("mm", &v, minuteAt)) {
    if (v >= 60) badDate(text);
    parts.setMinute(uint32_t(v));
  }
  if (field("ss", &v)) {
    if (v >= 60) badDate(text);
    parts.setSecond(uint32_t(v));
  }
  if (field("uuuuuu", &v)) parts.setMicrosecond(uint32_t(v));
  if (field("mmm", &v)) parts.setMicrosecond(uint32_t(v * 1000));
}
