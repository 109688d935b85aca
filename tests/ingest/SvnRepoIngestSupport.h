// Support for the ingest tests that run on real repositories.
//
// A real Subversion repository for the ingest tests, made with the client
// and admin tools: a repository under a scratch folder, reached over
// file://, changed through URL operations (svnmucc, for several changes in
// one commit) or through a working copy, and its history written with
// `svn log --xml -v` as the ingest reads it.
//
// Each test owns its repository; the scratch folder goes with the object.
// RepoIngestTest puts a repository, a cache and the three passes together
// and reads the cache back through its lookups and the dump tool.
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ingest/BranchIngest.h"
#include "ingest/LabelIngest.h"
#include "ingest/LogPasses.h"
#include "ingest/RevisionIngest.h"
#include "ingest/SvnLogReader.h"
#include "update/UpdateTestSupport.h"
#include "vcache/VCDataLayer.h"

class SvnScratchRepo {
 public:
  SvnScratchRepo() {
    repo_ = dir_.file("repo");
    wc_ = dir_.file("wc");
    ok_ = sh("svnadmin create '" + repo_ + "'") && sh("svn checkout -q '" + url() + "' '" + wc_ + "'");
  }

  // False when the tools are missing or the repository couldn't be made.
  bool ready() const { return ok_; }
  std::string url() const { return "file://" + repo_; }
  std::string file(const std::string& name) const { return dir_.file(name); }

  // One commit of svnmucc actions on repository paths, for example
  // "mkdir trunk mkdir branches" or "cp 2 trunk branches/b rm branches/b/docs".
  // Paths are made absolute to the repository with --root-url.
  bool mucc(const std::string& actions, const std::string& message, const std::string& author = "ann") {
    return sh("svnmucc --non-interactive -u " + author + " -U '" + url() + "' -m '" + message + "' " +
              actions);
  }

  // A local file with `content`, for svnmucc's "put SRC-FILE URL".
  std::string source(const std::string& content) {
    std::string name = dir_.file("src-" + std::to_string(++sources_));
    WriteWholeFile(name, content);
    return name;
  }

  // `svn <args>` run inside the working copy.
  bool svn(const std::string& args) { return sh("cd '" + wc_ + "' && svn -q --non-interactive " + args); }
  bool update() { return svn("update"); }
  bool commit(const std::string& message, const std::string& author = "ann") {
    return svn("commit --username " + author + " -m '" + message + "'");
  }
  // Writes a file of the working copy (made parents and all).
  void write(const std::string& relative, const std::string& content) {
    std::filesystem::path p = std::filesystem::path(wc_) / relative;
    std::filesystem::create_directories(p.parent_path());
    WriteWholeFile(p.string(), content);
  }

  // The history from `from` to HEAD, oldest first, as the driver asks for it.
  std::string log(const std::string& name, int from = 1) {
    std::string out = dir_.file(name);
    std::string command = "svn log --non-interactive --xml -v -r " + std::to_string(from) + ":HEAD '" + url() +
                          "' > '" + out + "' 2>/dev/null";
    if (std::system(command.c_str()) != 0) return std::string();
    return out;
  }

 private:
  static bool sh(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }

  ScratchDir dir_;
  std::string repo_;
  std::string wc_;
  bool ok_ = false;
  int sources_ = 0;
};

// ---- Reading a cache back -------------------------------------------------

// The three passes of a real run, called directly.
class IngestPasses : public LogPasses {
 public:
  int32_t storeBranchInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) override {
    return StoreBranchInfo(cache, document, entries);
  }
  int32_t storeRevisionInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) override {
    return StoreRevisionInfo(cache, document, entries);
  }
  int32_t storeLabelInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) override {
    return StoreLabelInfo(cache, document, entries);
  }
};

// One stored row as the dump tool prints it: field name to value text.
using DumpRow = std::map<std::string, std::string>;
using DumpTables = std::map<std::string, std::vector<DumpRow>>;

// A vector of pairs of an incomplete type is not portable; a vector of a
// struct declared first and defined after the value is.
struct DumpJsonMember;
struct DumpJsonValue {
  enum Kind { Null, Scalar, Array, Object } kind = Null;
  std::string text;
  std::vector<DumpJsonValue> items;
  std::vector<DumpJsonMember> members;
};
struct DumpJsonMember {
  std::string first;
  DumpJsonValue second;
};

// A small reader for the dump tool's JSON: objects, arrays, strings,
// numbers, true/false/null. Scalars keep their text.
class DumpJson {
 public:
  using Value = DumpJsonValue;

  static bool parse(const std::string& text, Value& out) {
    DumpJson p(text);
    if (!p.value(out)) return false;
    p.blanks();
    return p.at_ == p.text_.size();
  }

  // Every array of row objects found under a member named after a table, or
  // in an object that names its table ("name"/"table") beside "rows".
  static void collectTables(const Value& v, DumpTables& tables) {
    if (v.kind == Value::Array) {
      for (const Value& item : v.items) collectTables(item, tables);
      return;
    }
    if (v.kind != Value::Object) return;
    const Value* rows = member(v, "rows");
    const Value* name = member(v, "name");
    if (!name) name = member(v, "table");
    if (rows && name && name->kind == Value::Scalar && rows->kind == Value::Array) {
      tables[name->text] = toRows(*rows);
      return;
    }
    for (const auto& [key, value] : v.members) {
      if (value.kind == Value::Array && !value.items.empty() && value.items[0].kind == Value::Object &&
          isRowArray(value)) {
        tables[key] = toRows(value);
      } else if (value.kind == Value::Array && value.items.empty()) {
        tables[key];
      } else {
        collectTables(value, tables);
      }
    }
  }

 private:
  explicit DumpJson(const std::string& text) : text_(text) {}

  static const Value* member(const Value& v, const char* name) {
    for (const auto& [key, value] : v.members)
      if (key == name) return &value;
    return nullptr;
  }
  static bool isRowArray(const Value& v) {
    for (const Value& item : v.items) {
      if (item.kind != Value::Object) return false;
      for (const auto& m : item.members)
        if (m.second.kind == Value::Array || m.second.kind == Value::Object) return false;
    }
    return true;
  }
  static std::vector<DumpRow> toRows(const Value& v) {
    std::vector<DumpRow> rows;
    for (const Value& item : v.items) {
      DumpRow row;
      for (const auto& [key, value] : item.members) row[key] = value.text;
      rows.push_back(std::move(row));
    }
    return rows;
  }

  void blanks() {
    while (at_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[at_]))) ++at_;
  }
  bool string(std::string& out) {
    if (text_[at_] != '"') return false;
    ++at_;
    while (at_ < text_.size() && text_[at_] != '"') {
      char c = text_[at_++];
      if (c != '\\') {
        out += c;
        continue;
      }
      if (at_ >= text_.size()) return false;
      char e = text_[at_++];
      switch (e) {
        case 'n': out += '\n'; break;
        case 'r': out += '\r'; break;
        case 't': out += '\t'; break;
        case 'b': out += '\b'; break;
        case 'f': out += '\f'; break;
        case 'u': {
          if (at_ + 4 > text_.size()) return false;
          unsigned code = std::stoul(text_.substr(at_, 4), nullptr, 16);
          at_ += 4;
          // The tool writes only control characters this way.
          out += static_cast<char>(code);
          break;
        }
        default: out += e;
      }
    }
    if (at_ >= text_.size()) return false;
    ++at_;
    return true;
  }
  bool value(Value& out) {
    blanks();
    if (at_ >= text_.size()) return false;
    char c = text_[at_];
    if (c == '{') {
      out.kind = Value::Object;
      ++at_;
      blanks();
      if (at_ < text_.size() && text_[at_] == '}') return ++at_, true;
      for (;;) {
        blanks();
        std::string key;
        if (at_ >= text_.size() || !string(key)) return false;
        blanks();
        if (at_ >= text_.size() || text_[at_++] != ':') return false;
        Value member;
        if (!value(member)) return false;
        out.members.push_back({std::move(key), std::move(member)});
        blanks();
        if (at_ >= text_.size()) return false;
        if (text_[at_] == ',') { ++at_; continue; }
        if (text_[at_] == '}') return ++at_, true;
        return false;
      }
    }
    if (c == '[') {
      out.kind = Value::Array;
      ++at_;
      blanks();
      if (at_ < text_.size() && text_[at_] == ']') return ++at_, true;
      for (;;) {
        Value item;
        if (!value(item)) return false;
        out.items.push_back(std::move(item));
        blanks();
        if (at_ >= text_.size()) return false;
        if (text_[at_] == ',') { ++at_; continue; }
        if (text_[at_] == ']') return ++at_, true;
        return false;
      }
    }
    out.kind = Value::Scalar;
    if (c == '"') return string(out.text);
    size_t start = at_;
    while (at_ < text_.size() && !std::strchr(",]} \t\r\n", text_[at_])) ++at_;
    out.text = text_.substr(start, at_ - start);
    if (out.text == "null") out.kind = Value::Null, out.text.clear();
    return !out.text.empty() || out.kind == Value::Null;
  }

  const std::string& text_;
  size_t at_ = 0;
};

// The dump tool of the cache file, if it has been built.
inline std::string DumpToolPath() { return std::string(RH_BINARY_DIR) + "/revhoard-dump"; }
inline bool HaveDumpTool() { return std::filesystem::exists(DumpToolPath()); }

// Every table of a closed cache file, read by the dump tool. False when the
// tool failed or printed something that isn't JSON.
inline bool DumpCache(const std::string& cacheFile, const std::string& scratch, DumpTables& tables) {
  std::string command = "'" + DumpToolPath() + "' --json '" + cacheFile + "' > '" + scratch + "' 2>/dev/null";
  if (std::system(command.c_str()) != 0) return false;
  DumpJson::Value root;
  if (!DumpJson::parse(ReadWholeFile(scratch), root)) return false;
  tables.clear();
  DumpJson::collectTables(root, tables);
  return true;
}

// A repository, a cache of it and the passes between them. The cache is
// open between the tests' steps; rows() closes it to read the file and
// opens it again.
class RepoIngestTest : public testing::Test {
 protected:
  LogSettingsGuard guard_;
  SvnScratchRepo repo_;
  IngestPasses passes_;
  std::unique_ptr<VCDataLayer> cache_;
  std::string cacheFile_;

  void SetUp() override {
    SetVerboseLog(true);
    SetLogOutputMode(kLogToStdout);
    ASSERT_TRUE(repo_.ready()) << "svnadmin or svn could not make a repository";
    cacheFile_ = repo_.file("cache.db");
    reopen();
  }

  void reopen() {
    if (cache_) cache_->close();
    cache_ = std::make_unique<VCDataLayer>(tolvane::TVString(repo_.url().c_str()),
                                           tolvane::TVString(cacheFile_.c_str()), 1);
    ASSERT_EQ(cache_->open(), 0);
  }

  // Parses the history from `from` on and returns the run log it wrote.
  std::string ingest(int from = 1) {
    std::string log = repo_.log("log-" + std::to_string(++logs_) + ".xml", from);
    EXPECT_FALSE(log.empty()) << "svn log failed";
    int32_t result = -99;
    std::string out = CaptureStdout([&] { result = ParseSvnLog(cache_.get(), log.c_str(), passes_); });
    EXPECT_EQ(result, 0);
    return out;
  }

  std::unique_ptr<VCBranchInfo> branch(const char* name) {
    return std::unique_ptr<VCBranchInfo>(cache_->getBranchByName(tolvane::TVString(name)));
  }
  std::unique_ptr<VCFileInfo> file(const char* path) {
    return std::unique_ptr<VCFileInfo>(cache_->getFileBySpec(tolvane::TVString(path)));
  }

  // Ids of stored rows, -1 when there is no such row.
  int32_t branchId(const char* name) {
    auto b = branch(name);
    return b ? b->id : -1;
  }
  int32_t fileId(const char* path) {
    auto f = file(path);
    return f ? f->id : -1;
  }

  // All tables as the file holds them; skips the test when the dump tool
  // isn't there to read them.
  DumpTables rows() {
    cache_->close();
    DumpTables tables;
    bool ok = DumpCache(cacheFile_, repo_.file("dump.json"), tables);
    reopen();
    EXPECT_TRUE(ok) << "the dump tool could not read " << cacheFile_;
    return tables;
  }

  // Rows of `table` whose `field` has `value`.
  static std::vector<DumpRow> where(const DumpTables& t, const char* table, const char* field, const std::string& value) {
    std::vector<DumpRow> out;
    auto it = t.find(table);
    if (it == t.end()) return out;
    for (const DumpRow& r : it->second) {
      auto f = r.find(field);
      if (f != r.end() && f->second == value) out.push_back(r);
    }
    return out;
  }
  static size_t count(const DumpTables& t, const char* table) {
    auto it = t.find(table);
    return it == t.end() ? 0 : it->second.size();
  }

 private:
  int logs_ = 0;
};

#define REQUIRE_DUMP_TOOL() \
  if (!HaveDumpTool()) GTEST_SKIP() << "revhoard-dump is not built: stored rows beyond the lookups can't be read"
