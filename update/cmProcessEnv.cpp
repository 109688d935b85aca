#include "update/cmProcessEnv.h"

#include <cstring>

#include "platform/cmPlatformProcess.h"

void cmProcessEnv::set(const cmString& name, const cmString& value) {
  entries_[std::string(name.data(), size_t(name.length()))] = std::string(value.data(), size_t(value.length()));
}

const char* const* cmProcessEnv::getProcessEnv(bool inherit) {
  block_.clear();
  pointers_.clear();
  if (inherit) {
    for (const char* const* e = platform::environmentEntries(); e && *e; ++e) {
      const char* eq = std::strchr(*e, '=');
      const std::string name = eq ? std::string(*e, size_t(eq - *e)) : std::string(*e);
      if (entries_.count(name) == 0) block_.emplace_back(*e);
    }
  }
  for (const auto& [name, value] : entries_) block_.push_back(name + "=" + value);
  for (const auto& entry : block_) pointers_.push_back(entry.c_str());
  pointers_.push_back(nullptr);
  return pointers_.data();
}
