// Helpers for the tests of the XML handle functions: a scratch folder that
// goes away with the test, and a document opened from text through a
// handle that is closed at the end of the scope.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "xml/tvXmlCfg.h"

namespace xmlcfgtest {

class Scratch {
 public:
  Scratch() {
    std::random_device rd;
    path_ = std::filesystem::temp_directory_path() / ("rh-xmlcfg-" + std::to_string(rd()) + std::to_string(rd()));
    std::filesystem::create_directories(path_);
  }
  ~Scratch() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  std::string file(const std::string& name) const { return (path_ / name).string(); }
  std::string write(const std::string& name, const std::string& text) const {
    std::string p = file(name);
    std::ofstream(p, std::ios::binary) << text;
    return p;
  }
  static std::string read(const std::string& p) {
    std::ifstream in(p, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

 private:
  std::filesystem::path path_;
};

// A handle on a document parsed from `text` (keeping text nodes), closed
// when the object goes.
class OpenDoc {
 public:
  OpenDoc(const Scratch& dir, const std::string& text, int32_t flags = 1, const std::string& name = "doc.xml") {
    path_ = dir.write(name, text);
    handle_ = tvXMLCFGOpen(path_.c_str(), &status_, flags, 17);
  }
  ~OpenDoc() {
    if (handle_ >= 0) tvXMLCFGClose(handle_);
  }
  OpenDoc(const OpenDoc&) = delete;
  OpenDoc& operator=(const OpenDoc&) = delete;

  int32_t handle() const { return handle_; }
  int32_t status() const { return status_; }
  const std::string& path() const { return path_; }
  // The first node the query finds; fails the test when there is none.
  int32_t node(const char* query) const {
    int32_t id = tvXMLCFGFindFirst(handle_, query, 0);
    EXPECT_GE(id, 0) << query;
    return id;
  }

 private:
  std::string path_;
  int32_t handle_ = -1;
  int32_t status_ = 0;
};

inline std::string str(const tolvane::TVString& s) { return s.isNull() ? std::string() : std::string(s.data(), s.length()); }
inline std::string str(const cmString& s) { return s.isNull() ? std::string() : std::string(s.data(), s.length()); }

}  // namespace xmlcfgtest
