// A scratch directory for the process tests, removed with everything in it,
// and small helpers to put files and scripts there.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "platform/cmPlatform.h"
#include "platform/cmPlatformProcess.h"

class ProcessTestDir {
 public:
  explicit ProcessTestDir(const char* tag) {
    std::random_device rd;
    path_ = std::filesystem::temp_directory_path() /
            (std::string("rh-") + tag + "-" + std::to_string(rd()) + std::to_string(rd()));
    std::filesystem::create_directories(path_);
  }
  ~ProcessTestDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  ProcessTestDir(const ProcessTestDir&) = delete;
  ProcessTestDir& operator=(const ProcessTestDir&) = delete;

  std::string path() const { return path_.string(); }
  std::string file(const std::string& name) const { return (path_ / name).string(); }

  std::string write(const std::string& name, const std::string& text, bool executable = false) const {
    const std::string p = file(name);
    std::filesystem::create_directories(std::filesystem::path(p).parent_path());
    std::ofstream(p, std::ios::binary) << text;
    if (executable)
      std::filesystem::permissions(p, std::filesystem::perms::owner_exec, std::filesystem::perm_options::add);
    return p;
  }

  static std::string read(const std::string& p) {
    std::ifstream in(p, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

 private:
  std::filesystem::path path_;
};

// Sets an environment variable for one scope and puts the old value back.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    const char* old = platform::getEnv(name);
    hadOld_ = old != nullptr;
    if (old) old_ = old;
    platform::setEnvironmentVariable(name, value);
  }
  ~ScopedEnv() { platform::setEnvironmentVariable(name_.c_str(), hadOld_ ? old_.c_str() : nullptr); }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string name_;
  bool hadOld_ = false;
  std::string old_;
};
