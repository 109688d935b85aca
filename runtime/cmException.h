// cmException: what the foundation throws. It carries a negative status
// number (the interface) and an optional text parameter, such as the file
// name that could not be opened. The outer layers catch it and return the
// number; texts for numbers come from the message catalogue.
#pragma once

#include <cstdint>
#include <cstring>

class cmException {
 public:
  explicit cmException(int32_t number, const char* param = nullptr) : number_(number) {
    if (param) {
      std::strncpy(param_, param, sizeof(param_) - 1);
      param_[sizeof(param_) - 1] = 0;
    }
  }
  int32_t number() const { return number_; }
  const char* param() const { return param_; }

 private:
  int32_t number_;
  char param_[512] = {};
};
