#include "text/cmDateText.h"

#include <cstdio>
#include <string>

#include "platform/cmPlatformDate.h"

namespace {

const char* const kMonths[12] = {"january", "february", "march",     "april",   "may",      "june",
                                 "july",    "august",   "september", "october", "november", "december"};
const char* const kDays[7] = {"sunday", "monday", "tuesday", "wednesday", "thursday", "friday", "saturday"};

std::string number(uint32_t value, int width) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "%0*u", width, value);
  return buf;
}

uint32_t hour12(uint32_t hour) {
  uint32_t h = hour % 12;
  return h == 0 ? 12 : h;
}

bool isWordChar(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

void replaceAll(std::string& s, const char* token, const std::string& value, bool wholeWords = false) {
  const std::string t(token);
  size_t at = 0;
  while ((at = s.find(t, at)) != std::string::npos) {
    if (wholeWords && ((at > 0 && isWordChar(s[at - 1])) ||
                       (at + t.size() < s.size() && isWordChar(s[at + t.size()])))) {
      at += 1;
      continue;
    }
    s.replace(at, t.size(), value);
    at += value.size();
  }
}

std::string capitalised(const char* name) {
  std::string s(name);
  if (!s.empty()) s[0] = char(s[0] - 'a' + 'A');
  return s;
}

std::string upper(const char* name) {
  std::string s(name);
  for (char& c : s) c = char(c - 'a' + 'A');
  return s;
}

std::string userForm(platform::UserDateForm form, const cmDateParts& p) {
  platform::CalendarTime t{};
  t.year = uint16_t(p.year());
  t.month = uint16_t(p.month());
  t.dayOfWeek = uint16_t(p.dayOfWeek() < 7 ? p.dayOfWeek() : 0);
  t.day = uint16_t(p.day());
  t.hour = uint16_t(p.hour());
  t.minute = uint16_t(p.minute());
  t.second = uint16_t(p.second());
  t.milliseconds = uint16_t(p.microsecond() / 1000);
  char buf[256];
  platform::formatUserDate(form, t, buf, sizeof buf);
  return buf;
}

cmString toString(const std::string& s) { return cmString(s.data(), int64_t(s.size())); }

}  // namespace

const char* cmDateText::monthName(uint32_t month) {
  return month >= 1 && month <= 12 ? kMonths[month - 1] : nullptr;
}

const char* cmDateText::dayName(uint32_t dayOfWeek) { return dayOfWeek < 7 ? kDays[dayOfWeek] : nullptr; }

cmString cmDateText::toText(const cmDateParts& p, int form) {
  const std::string yyyy = number(p.year(), 4), mm = number(p.month(), 2), dd = number(p.day(), 2);
  std::string s;
  switch (form) {
    case 0:
      s = mm + "/" + dd + "/" + yyyy;
      break;
    case 1:
      s = mm + "-" + dd + "-" + yyyy;
      break;
    case 2: {
      const char* name = monthName(p.month());
      s = dd + "-" + (name ? std::string(name, 3) : mm) + "-" + yyyy;
      break;
    }
    case 3:
      s = yyyy + "-" + mm + "-" + dd + "T" + number(p.hour(), 2) + ":" + number(p.minute(), 2) + ":" +
          number(p.second(), 2);
      if (p.microsecond() != 0) s += "." + number(p.microsecond(), 6);
      s += "Z";
      break;
    case 5:
      s = yyyy + mm + dd + number(p.hour(), 2) + number(p.minute(), 2) + number(p.second(), 2) +
          number(p.microsecond() / 1000, 3);
      break;
    case 6:
      s = userForm(platform::UserDateForm::ShortDate, p) + " " + userForm(platform::UserDateForm::Time, p);
      break;
    case 7:
      s = userForm(platform::UserDateForm::LongDate, p) + " " + userForm(platform::UserDateForm::Time, p);
      break;
    default:
      s = userForm(platform::UserDateForm::ShortDate, p);
      break;
  }
  return toString(s);
}

cmString cmDateText::timeText(const cmDateParts& p, int form, const char* suffix) {
  const std::string after = suffix ? suffix : "";
  std::string s;
  switch (form) {
    case 0:
      s = number(hour12(p.hour()), 2) + ":" + number(p.minute(), 2) + (p.hour() < 12 ? "am" : "pm");
      break;
    case 1:
      s = number(p.hour(), 2) + ":" + number(p.minute(), 2) + ":" + number(p.second(), 2) + after;
      break;
    case 2:
      s = number(p.hour(), 2) + ":" + number(p.minute(), 2) + after;
      break;
    default:
      s = userForm(platform::UserDateForm::Time, p);
      break;
  }
  return toString(s);
}

cmString cmDateText::format(const cmDateParts& p, const char* pattern) {
  std::string s(pattern ? pattern : "");
  replaceAll(s, "YYYY", number(p.year(), 4));
  replaceAll(s, "YY", number(p.year() % 100, 2));
  replaceAll(s, "MM", number(p.month(), 2));
  replaceAll(s, "XM", std::to_string(p.month()));
  if (const char* name = monthName(p.month())) {
    replaceAll(s, "month", name);
    replaceAll(s, "Month", capitalised(name));
    replaceAll(s, "MONTH", upper(name));
    const std::string three(name, 3);
    replaceAll(s, "mon", three);
    replaceAll(s, "Mon", capitalised(three.c_str()));
    replaceAll(s, "MON", upper(three.c_str()));
  }
  replaceAll(s, "DD", number(p.day(), 2));
  replaceAll(s, "XD", std::to_string(p.day()));
  if (const char* name = dayName(p.dayOfWeek())) {
    replaceAll(s, "weekday", name);
    replaceAll(s, "Weekday", capitalised(name));
    replaceAll(s, "WEEKDAY", upper(name));
    const std::string three(name, 3);
    replaceAll(s, "day", three, true);
    replaceAll(s, "Day", capitalised(three.c_str()), true);
    replaceAll(s, "DAY", upper(three.c_str()), true);
  }
  replaceAll(s, "HH", number(p.hour(), 2));
  replaceAll(s, "XH", std::to_string(p.hour()));
  replaceAll(s, "hh", number(hour12(p.hour()), 2));
  replaceAll(s, "xh", std::to_string(hour12(p.hour())));
  if (p.hour() < 12) replaceAll(s, "PM", "AM");
  replaceAll(s, "mmm", number(p.microsecond() / 1000, 3));
  replaceAll(s, "mm", number(p.minute(), 2));
  replaceAll(s, "ss", number(p.second(), 2));
  replaceAll(s, "uuuuuu", number(p.microsecond(), 6));
  return toString(s);
}

cmString cmDateText::format(const cmDateParts& parts, const cmString& pattern) {
  return format(parts, pattern.isNull() ? "" : std::string(pattern.data(), size_t(pattern.length())).c_str());
}
