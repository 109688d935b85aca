// Helpers for first imports against real repositories: a repository of N
// revisions made from a dump file, the production services with the cache
// methods answered (the cache is not part of these runs), and a driver run
// that records what the client was asked and what the status file said.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "UpdateTestSupport.h"
#include "update/ProductionUpdateServices.h"
#include "update/UpdateDriver.h"
#include "xml/tvXmlCfg.h"

namespace firstimport {

// A scratch folder for repositories. A repository is thousands of small
// files written with syncs; a memory-backed folder, where there is one,
// keeps a load of thousands of revisions to seconds.
class RepoDir {
 public:
  RepoDir() {
    std::filesystem::path base = std::filesystem::exists("/dev/shm") ? std::filesystem::path("/dev/shm")
                                                                      : std::filesystem::temp_directory_path();
    std::random_device rd;
    path_ = base / ("rh-import-" + std::to_string(rd()) + std::to_string(rd()));
    std::filesystem::create_directories(path_);
  }
  ~RepoDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  RepoDir(const RepoDir&) = delete;
  RepoDir& operator=(const RepoDir&) = delete;
  std::string file(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

inline std::string PropertyBlock(const std::vector<std::pair<std::string, std::string>>& props) {
  std::string s;
  for (const auto& [k, v] : props)
    s += "K " + std::to_string(k.size()) + "\n" + k + "\nV " + std::to_string(v.size()) + "\n" + v + "\n";
  return s + "PROPS-END\n";
}

// Commit time of revision r: one minute apart from 2024-01-01 00:00 UTC.
inline std::string RevisionDate(int r) {
  int minutes = r;
  int day = 1 + minutes / 1440, hour = (minutes / 60) % 24, minute = minutes % 60;
  char text[40];
  std::snprintf(text, sizeof text, "2024-01-%02dT%02d:%02d:00.000000Z", day, hour, minute);
  return text;
}

// A dump (format version 2) of `head` revisions: revision 1 adds /trunk
// and /trunk/f.txt, every later one changes the file.
inline std::string DumpText(int head) {
  std::string out = "SVN-fs-dump-format-version: 2\n\n";
  for (int r = 0; r <= head; ++r) {
    std::string props =
        r == 0 ? PropertyBlock({{"svn:date", RevisionDate(0)}})
               : PropertyBlock({{"svn:author", "tester"}, {"svn:date", RevisionDate(r)}, {"svn:log", "change " + std::to_string(r)}});
    out += "Revision-number: " + std::to_string(r) + "\nProp-content-length: " + std::to_string(props.size()) +
           "\nContent-length: " + std::to_string(props.size()) + "\n\n" + props + "\n";
    if (r == 0) continue;
    std::string text = "r" + std::to_string(r) + "\n";
    std::string len = std::to_string(text.size());
    if (r == 1) {
      out += "Node-path: trunk\nNode-kind: dir\nNode-action: add\nProp-content-length: 10\nContent-length: 10\n\n"
             "PROPS-END\n\n";
      out += "Node-path: trunk/f.txt\nNode-kind: file\nNode-action: add\nProp-content-length: 10\n"
             "Text-content-length: " + len + "\nContent-length: " + std::to_string(text.size() + 10) +
             "\n\nPROPS-END\n" + text + "\n";
    } else {
      out += "Node-path: trunk/f.txt\nNode-kind: file\nNode-action: change\nText-content-length: " + len +
             "\nContent-length: " + len + "\n\n" + text + "\n";
    }
  }
  return out;
}

// Makes a repository of `head` revisions in `dir`; its file:// URL, or ""
// when the tools failed.
inline std::string MakeRepository(const RepoDir& dir, int head) {
  const std::string repo = dir.file("repo");
  const std::string dump = dir.file("repo.dump");
  std::ofstream(dump, std::ios::binary) << DumpText(head);
  std::string create = "svnadmin create \"" + repo + "\"";
  std::string load = "svnadmin load -q --no-flush-to-disk \"" + repo + "\" < \"" + dump + "\"";
  if (std::system(create.c_str()) != 0 || std::system(load.c_str()) != 0) return "";
  std::filesystem::remove(dump);
  return "file://" + repo;
}

// What one client run was asked, and the status record the file held then.
struct ClientRun {
  std::string arguments;
  std::string status;
};

// The entries one parse saw: count and the first and last revision.
struct ParsedBatch {
  int32_t result = 0;
  int64_t entries = 0;
  std::string first, last;
};

// The production services with the cache answered: it opens, has never
// been completed, and takes the new time. The client and the parser are the
// real ones; runs and parses are recorded on the way through.
class CacheFreeServices : public ProductionUpdateServices {
 public:
  explicit CacheFreeServices(std::string statusFile) : statusFile_(std::move(statusFile)) {}

  std::vector<ClientRun> runs;
  std::vector<ParsedBatch> parses;
  int32_t headResult = 0;

  int32_t openCache(const tolvane::TVString&, const tolvane::TVString&, int32_t) override { return 0; }
  int32_t getLastUpdateTime(cmDateStamp& stamp) override {
    stamp = 0;
    return 0;
  }
  int32_t setLastUpdateTime(cmDateStamp) override { return 0; }
  int32_t closeCache() override { return 0; }

  int32_t runSvn(const tolvane::TVString& svnPath, const tolvane::TVString& arguments) override {
    runs.push_back({std::string(arguments.data(), arguments.length()), ReadWholeFile(statusFile_)});
    return ProductionUpdateServices::runSvn(svnPath, arguments);
  }
  int32_t parseSvnLog(const char* xmlFile) override {
    ParsedBatch batch = Survey(xmlFile);
    batch.result = ProductionUpdateServices::parseSvnLog(xmlFile);
    parses.push_back(batch);
    return batch.result;
  }
  int32_t parseSvnLogForMaxRevision(const char* xmlFile) override {
    headResult = ProductionUpdateServices::parseSvnLogForMaxRevision(xmlFile);
    return headResult;
  }

 private:
  static ParsedBatch Survey(const char* xmlFile) {
    ParsedBatch b;
    int32_t status = 0;
    int32_t h = tvXMLCFGOpen(xmlFile, &status, 1, 17);
    if (h < 0) return b;
    cmArray<int> entries;
    tvXMLCFGFindList(h, "//logentry", 0, entries, 0, -1);
    b.entries = entries.size();
    if (b.entries > 0) {
      tolvane::TVString first = tvXMLCFGGetAttributeString(h, entries[0], "revision", "");
      tolvane::TVString last = tvXMLCFGGetAttributeString(h, entries.last(), "revision", "");
      b.first.assign(first.data(), first.length());
      b.last.assign(last.data(), last.length());
    }
    tvXMLCFGClose(h);
    return b;
  }

  std::string statusFile_;
};

// Runs the driver with the five required arguments, the log quiet.
inline int32_t RunImport(CacheFreeServices& services, const std::string& svn, const std::string& url,
                         const std::string& cacheFile, const std::string& logFile) {
  std::vector<std::string> args{"revhoard", svn, url, cacheFile, logFile, "1", "0", "0"};
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  int32_t code = -99;
  CaptureStdout([&] { code = UpdateMain(static_cast<int>(args.size()), argv.data(), services); });
  return code;
}

// The driver's arguments for a client run: the base command, a range, the redirection.
inline std::string Arguments(const std::string& url, const std::string& range, const std::string& logFile) {
  return " log --xml -v \"" + url + "\" " + range + " > \"" + logFile + "\"";
}

}  // namespace firstimport
