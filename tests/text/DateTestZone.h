// Sets the process's time zone for one test and puts the old one back.
#pragma once

#include <string>

#include "platform/cmPlatform.h"
#include "platform/cmPlatformDate.h"

class ScopedTimeZone {
 public:
  explicit ScopedTimeZone(const char* tz) {
    const char* old = platform::getEnv("TZ");
    hadOld_ = old != nullptr;
    if (old) old_ = old;
    platform::setProcessTimeZone(tz);
  }
  ~ScopedTimeZone() { platform::setProcessTimeZone(hadOld_ ? old_.c_str() : nullptr); }
  ScopedTimeZone(const ScopedTimeZone&) = delete;
  ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;

 private:
  bool hadOld_ = false;
  std::string old_;
};
