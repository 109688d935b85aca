// ScriptedServices: an UpdateServices whose answers a test sets beforehand
// and which records every call, together with the status file's record at
// that moment, so that a test sees the whole order of a run. The cache and
// XML file names are shown as "DB" and "LOG" in the records.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "UpdateTestSupport.h"
#include "update/UpdateServices.h"

class ScriptedServices : public UpdateServices {
 public:
  ScriptedServices(std::string dbFile, std::string logFile, std::string statusFile)
      : dbFile_(std::move(dbFile)), logFile_(std::move(logFile)), statusFile_(std::move(statusFile)) {}

  // ---- script ----
  int32_t openResult = 0;
  cmDateStamp storedLastUpdate = 0;
  int32_t headRevision = 0;
  int32_t dateResult = 0;
  int32_t closeResult = 0;
  cmDateStamp now = 133500000000000000ull;
  // Results by call number (0-based) and argument text; default success.
  std::function<int32_t(int call, const std::string& arguments)> svnResult;
  std::function<int32_t(int call)> parseResult;
  // Tick counts handed out in order; the last one repeats.
  std::vector<uint32_t> ticks{0};

  // ---- record ----
  struct Event {
    std::string call;    // e.g. "svn \"svn\"| log --xml -v ..."
    std::string status;  // the status file's content at the call
  };
  std::vector<Event> events;
  std::vector<std::string> svnArguments;
  int tickCalls = 0;

  std::string calls() const {
    std::string all;
    for (const Event& e : events) all += e.call + "\n";
    return all;
  }
  // Replaces the scratch names by "DB" and "LOG".
  std::string normalise(std::string text) const {
    replaceAll(text, logFile_, "LOG");
    replaceAll(text, dbFile_, "DB");
    return text;
  }

  // ---- UpdateServices ----
  uint32_t tickCount() override {
    size_t i = static_cast<size_t>(tickCalls++);
    return ticks[i < ticks.size() ? i : ticks.size() - 1];
  }
  cmDateStamp currentTime() override { return now; }
  int32_t localIsoText(cmDateStamp stamp, tolvane::TVString& text) override {
    record("iso " + std::to_string(stamp));
    text = "2024-01-31T09:15:00Z";
    return dateResult;
  }
  int32_t localDateByPattern(cmDateStamp stamp, const char* pattern, tolvane::TVString& text) override {
    std::string out = pattern;
    replaceAll(out, "YYYY-MM-DD", "2024-01-31");
    text = out.c_str();
    return dateResult;
  }
  int32_t runSvn(const tolvane::TVString& svnPath, const tolvane::TVString& arguments) override {
    std::string args = normalise(arguments.getCString());
    record(std::string("svn ") + svnPath.getCString() + "|" + args);
    svnArguments.push_back(args);
    int call = static_cast<int>(svnArguments.size()) - 1;
    return svnResult ? svnResult(call, args) : 0;
  }
  int32_t openCache(const tolvane::TVString& url, const tolvane::TVString& file, int32_t version) override {
    record(std::string("open ") + url.getCString() + "|" + normalise(file.getCString()) + "|" +
           std::to_string(version));
    return openResult;
  }
  int32_t getLastUpdateTime(cmDateStamp& stamp) override {
    record("getLast");
    stamp = storedLastUpdate;
    return 0;
  }
  int32_t setLastUpdateTime(cmDateStamp stamp) override {
    record("setLast " + std::to_string(stamp));
    storedLastUpdate = stamp;
    return 0;
  }
  int32_t closeCache() override {
    record("close");
    return closeResult;
  }
  int32_t parseSvnLog(const char* xmlFile) override {
    record("parse " + normalise(xmlFile));
    int call = parseCalls_++;
    return parseResult ? parseResult(call) : 0;
  }
  int32_t parseSvnLogForMaxRevision(const char* xmlFile) override {
    record("head " + normalise(xmlFile));
    return headRevision;
  }
  void deleteFile(const char* path) override {
    record("delete " + normalise(path));
    std::remove(path);
  }

 private:
  static void replaceAll(std::string& text, const std::string& from, const std::string& to) {
    if (from.empty()) return;
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
      text.replace(at, from.size(), to);
  }
  void record(std::string call) { events.push_back({std::move(call), normalise(ReadWholeFile(statusFile_))}); }

  std::string dbFile_, logFile_, statusFile_;
  int parseCalls_ = 0;
};
