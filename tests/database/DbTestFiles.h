// Helpers for database tests: scratch file names and raw byte access, and a
// fault injector that records and optionally fails file transfers.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "database/btFileAccess.h"

inline std::string dbTestPath(const std::string& name) {
  std::filesystem::path dir = std::filesystem::path(RH_BINARY_DIR) / "tmp_database_tests";
  std::filesystem::create_directories(dir);
  std::string file = (dir / name).string();
  std::filesystem::remove(file);
  return file;
}

inline std::vector<uint8_t> readFileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline void writeFileBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline uint16_t le16(const std::vector<uint8_t>& b, size_t at) { return static_cast<uint16_t>(b[at] | (b[at + 1] << 8)); }
inline uint32_t le32(const std::vector<uint8_t>& b, size_t at) {
  return static_cast<uint32_t>(b[at]) | (static_cast<uint32_t>(b[at + 1]) << 8) |
         (static_cast<uint32_t>(b[at + 2]) << 16) | (static_cast<uint32_t>(b[at + 3]) << 24);
}
inline uint64_t le64(const std::vector<uint8_t>& b, size_t at) {
  return le32(b, at) | (static_cast<uint64_t>(le32(b, at + 4)) << 32);
}
inline void put16(std::vector<uint8_t>& b, size_t at, uint16_t v) {
  b[at] = static_cast<uint8_t>(v);
  b[at + 1] = static_cast<uint8_t>(v >> 8);
}
inline void put32(std::vector<uint8_t>& b, size_t at, uint32_t v) {
  for (int i = 0; i < 4; i++) b[at + i] = static_cast<uint8_t>(v >> (8 * i));
}

// Records every write; writes at or past `failFrom` (when set) transfer
// `shortBy` bytes fewer, as a full disk would.
class RecordingFaults : public btFileFaults {
 public:
  size_t allowWrite(uint64_t position, size_t length) override {
    writes.emplace_back(position, length);
    if (failing && position >= failFrom) return length > 0 ? length - 1 : 0;
    return length;
  }
  size_t allowRead(uint64_t position, size_t length) override {
    if (failReads && position >= failFrom) return 0;
    return length;
  }
  std::vector<std::pair<uint64_t, size_t>> writes;
  bool failing = false;
  bool failReads = false;
  uint64_t failFrom = 0;
};
