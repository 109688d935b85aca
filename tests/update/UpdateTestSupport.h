// Helpers shared by the update tests: a scratch folder removed on exit, a
// file reader, and a guard that restores the run log's settings.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "update/RunLog.h"

class ScratchDir {
 public:
  ScratchDir() {
    std::random_device rd;
    path_ = std::filesystem::temp_directory_path() /
            ("rh-update-" + std::to_string(rd()) + "-" + std::to_string(rd()));
    std::filesystem::create_directories(path_);
  }
  ~ScratchDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  std::string file(const std::string& name) const { return (path_ / name).string(); }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

inline std::string ReadWholeFile(const std::string& name) {
  std::ifstream in(name, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteWholeFile(const std::string& name, const std::string& content) {
  std::ofstream out(name, std::ios::binary | std::ios::trunc);
  out << content;
}

// Restores the process-wide log settings that a test changes.
class LogSettingsGuard {
 public:
  LogSettingsGuard() : verbose_(IsVerboseLog()), mode_(GetLogOutputMode()) {}
  ~LogSettingsGuard() {
    SetVerboseLog(verbose_);
    SetLogOutputMode(mode_);
  }

 private:
  bool verbose_;
  int32_t mode_;
};

// Runs `body` with standard output captured and returns what it printed.
template <typename Body>
std::string CaptureStdout(Body&& body) {
  std::fflush(stdout);
  testing::internal::CaptureStdout();
  body();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}
