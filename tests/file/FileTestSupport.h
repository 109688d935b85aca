// Helpers for the file layer's tests: a private scratch directory that is
// removed afterwards, and plain read/write of whole files with the C library
// so that the layer under test is not used to check itself.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "runtime/cmException.h"

class TempDir {
 public:
  TempDir() {
    char pattern[] = "/tmp/rh-file-test-XXXXXX";
    const char* made = mkdtemp(pattern);
    path_ = made ? made : "";
  }
  ~TempDir() {
    std::error_code ec;
    if (!path_.empty()) std::filesystem::remove_all(path_, ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

inline void writeWholeFile(const std::string& path, const std::string& content) {
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) return;
  std::fwrite(content.data(), 1, content.size(), f);
  std::fclose(f);
}

inline std::string readWholeFile(const std::string& path) {
  std::string out;
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (!f) return "<missing>";
  char buffer[4096];
  size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) out.append(buffer, n);
  std::fclose(f);
  return out;
}

inline bool fileExistsOnDisk(const std::string& path) {
  std::error_code ec;
  return std::filesystem::exists(path, ec);
}

// The number thrown by an expression, or 0 when it throws nothing.
#define RH_THROWN_CODE(expr)                 \
  ([&]() -> int32_t {                        \
    try {                                    \
      expr;                                  \
    } catch (const cmException& e) {         \
      return e.number();                     \
    }                                        \
    return 0;                                \
  }())
