// Helpers of the version cache tests: a scratch directory per test, whole
// file reads for byte-for-byte comparisons, and a session opened on a file
// in that directory.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>

#include "update/RunLog.h"
#include "vcache/VCDataLayer.h"

namespace vctest {

constexpr const char* kUrl = "https://svn.example.org/repos/project";
constexpr uint32_t kVersion = 7;

class ScratchDir {
 public:
  ScratchDir() {
    std::random_device rd;
    path_ = std::filesystem::temp_directory_path() / ("vcache_test_" + std::to_string(rd()) + std::to_string(rd()));
    std::filesystem::create_directories(path_);
  }
  ~ScratchDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  std::string file(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

inline std::string ReadWholeFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteWholeFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << bytes;
}

// A session on `file`, opened; the test fails when it doesn't open.
inline std::unique_ptr<VCDataLayer> OpenCache(const std::string& file, const char* url = kUrl,
                                              uint32_t version = kVersion) {
  auto cache = std::make_unique<VCDataLayer>(url, file.c_str(), version);
  EXPECT_EQ(cache->open(), 0) << file;
  return cache;
}

// Runs `f` with the run log captured and returns what it printed.
template <class F>
std::string CaptureLog(F&& f) {
  bool was = IsVerboseLog();
  SetVerboseLog(true);
  testing::internal::CaptureStdout();
  f();
  std::string out = testing::internal::GetCapturedStdout();
  SetVerboseLog(was);
  return out;
}

inline VCBranchInfo MakeBranch(const char* name, const char* number, int32_t parent = 0) {
  VCBranchInfo b;
  b.parentId = parent;
  b.number = number;
  b.copyFromNumber = "1";
  b.timeStamp = 133000000000000000ull;
  b.name = name;
  b.author = "alice";
  b.comments = "made a branch";
  return b;
}

}  // namespace vctest
