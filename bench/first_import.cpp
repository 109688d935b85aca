// First import of a generated repository: the client's time alone for the
// batches of a first import against revhoard's whole run over the same
// repository, in the same process run, plus revhoard's peak memory and the
// cost of parsing and storing one batch with the client out of the picture.
// revhoard's own work is given three ways: as the whole run minus the
// client's time in that same run (the client is started through a timer,
// see timeClient); as the whole run minus a separate run of the client
// alone (two runs of the client apart, whose times move by a tenth); and as
// a whole run whose client is a stand-in that prints the logs the timed
// client runs wrote (the same work for revhoard, without the client).
//
//   bench_first_import [REVISIONS=200000] [SCRATCH=/dev/shm] [ROUNDS=3]
//
// The client alone and revhoard's whole run take turns ROUNDS times; the
// best of each is compared, as the other load of the machine only ever
// adds time.
//
// The repository is made from a generated dump (one to three file changes a
// revision, a branch every 500 revisions, a tag every 2000, a deletion every
// 50) loaded with `svnadmin load`. The revhoard binary is taken from the
// build tree beside this program.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

std::string props(const std::vector<std::pair<std::string, std::string>>& kv) {
  std::string s;
  for (const auto& [k, v] : kv) s += "K " + std::to_string(k.size()) + "\n" + k + "\nV " + std::to_string(v.size()) + "\n" + v + "\n";
  return s + "PROPS-END\n";
}

std::string date(long r) {
  long s = r * 37;  // 37 seconds apart from 2020-01-01
  long day = s / 86400, rest = s % 86400;
  // Days from 2020-01-01 to a calendar date; months of fixed lengths suffice
  // for a strictly increasing stamp, so use a 30-day month, 12-month year.
  long year = 2020 + day / 360, month = 1 + (day % 360) / 30, dom = 1 + day % 30;
  char text[64];
  std::snprintf(text, sizeof text, "%04ld-%02ld-%02ldT%02ld:%02ld:%02ld.000000Z", year, month, dom, rest / 3600,
                (rest / 60) % 60, rest % 60);
  return text;
}

void node(std::ofstream& out, const std::string& path, const char* kind, const char* action,
          const std::string* text = nullptr, const std::string* fromPath = nullptr, long fromRev = 0) {
  out << "Node-path: " << path << "\nNode-kind: " << kind << "\nNode-action: " << action << "\n";
  if (fromPath) out << "Node-copyfrom-rev: " << fromRev << "\nNode-copyfrom-path: " << *fromPath << "\n";
  bool add = std::string(action) == "add" && !fromPath;
  size_t propLen = add ? 10 : 0;
  if (add) out << "Prop-content-length: 10\n";
  if (text) out << "Text-content-length: " << text->size() << "\n";
  out << "Content-length: " << propLen + (text ? text->size() : 0) << "\n\n";
  if (add) out << "PROPS-END\n";
  if (text) out << *text;
  out << "\n";
}

void writeDump(const std::string& file, long head) {
  std::ofstream out(file, std::ios::binary);
  out << "SVN-fs-dump-format-version: 2\n\n";
  const int kFiles = 64;
  long branches = 0, tags = 0;
  for (long r = 0; r <= head; ++r) {
    std::string p = r == 0 ? props({{"svn:date", date(0)}})
                           : props({{"svn:author", "dev" + std::to_string(r % 7)},
                                    {"svn:date", date(r)},
                                    {"svn:log", "Change " + std::to_string(r) + " & fix <" + std::to_string(r % 13) + ">"}});
    out << "Revision-number: " << r << "\nProp-content-length: " << p.size() << "\nContent-length: " << p.size()
        << "\n\n" << p << "\n";
    if (r == 0) continue;
    if (r == 1) {
      node(out, "trunk", "dir", "add");
      node(out, "branches", "dir", "add");
      node(out, "tags", "dir", "add");
      node(out, "trunk/src", "dir", "add");
      for (int f = 0; f < kFiles; ++f) {
        std::string text = "file " + std::to_string(f) + "\n";
        node(out, "trunk/src/f" + std::to_string(f) + ".c", "file", "add", &text);
      }
      continue;
    }
    std::string trunk = "trunk";
    if (r % 2000 == 0) {
      std::string to = "tags/v" + std::to_string(++tags);
      node(out, to, "dir", "add", nullptr, &trunk, r - 1);
      continue;
    }
    if (r % 500 == 0) {
      std::string to = "branches/b" + std::to_string(++branches);
      node(out, to, "dir", "add", nullptr, &trunk, r - 1);
      continue;
    }
    int changes = 1 + int(r % 3);
    for (int c = 0; c < changes; ++c) {
      long f = (r * 7 + c * 13) % kFiles;
      std::string text = "r" + std::to_string(r) + " c" + std::to_string(c) + "\n";
      node(out, "trunk/src/f" + std::to_string(f) + ".c", "file", "change", &text);
    }
  }
}

double seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

int run(const std::string& command) {
  int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Processor time of the children waited for so far.
struct Usage {
  double user = 0;
  double sys = 0;
};
Usage childrenUsage() {
  rusage u{};
  getrusage(RUSAGE_CHILDREN, &u);
  return {u.ru_utime.tv_sec + u.ru_utime.tv_usec / 1e6, u.ru_stime.tv_sec + u.ru_stime.tv_usec / 1e6};
}

// One run of a command: its exit code, wall time and the processor time of
// the command and everything it waited for.
struct Timed {
  int exit = 0;
  double wall = 0;
  Usage cpu;
};
Timed runTimed(const std::string& command) {
  Usage before = childrenUsage();
  auto t = std::chrono::steady_clock::now();
  Timed r;
  r.exit = run(command);
  r.wall = seconds(t);
  Usage after = childrenUsage();
  r.cpu = {after.user - before.user, after.sys - before.sys};
  return r;
}

// Started as "client-timer" (a link to this program), it stands in for the
// client inside revhoard's run: it runs the real client ($RH_CLIENT) with
// the same arguments and output, and adds the client's wall time to the
// file $RH_CLIENT_TIMES. So the client's own time is known for the very
// batches of that run, and the difference to the whole run is revhoard's,
// without a second run of the client whose time moves by a tenth.
int timeClient(char** argv) {
  const char* real = std::getenv("RH_CLIENT");
  const char* times = std::getenv("RH_CLIENT_TIMES");
  if (!real || !times) return 127;
  argv[0] = const_cast<char*>(real);
  auto t = std::chrono::steady_clock::now();
  pid_t child = fork();
  if (child == 0) {
    execvp(real, argv);
    _exit(127);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) return 127;
  double wall = seconds(t);
  if (FILE* f = std::fopen(times, "a")) {
    std::fprintf(f, "%.6f\n", wall);
    std::fclose(f);
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 127;
}

double sumOfTimes(const fs::path& file) {
  std::ifstream in(file);
  double sum = 0, t = 0;
  while (in >> t) sum += t;
  return sum;
}

}  // namespace

int main(int argc, char** argv) {
  if (fs::path(argv[0]).filename() == "client-timer") return timeClient(argv);
  long head = argc > 1 ? std::atol(argv[1]) : 200000;
  int rounds = argc > 3 ? std::max(1, std::atoi(argv[3])) : 3;
  fs::path scratch = argc > 2 ? fs::path(argv[2]) : (fs::exists("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path());
  fs::path dir = scratch / ("rh-bench-import-" + std::to_string(head));
  fs::path self = fs::canonical("/proc/self/exe").parent_path();
  std::string revhoard = (self.parent_path() / "revhoard").string();
  std::string svn = "svn";

  fs::create_directories(dir);
  std::string repo = (dir / "repo").string();
  if (!fs::exists(repo)) {
    auto t = std::chrono::steady_clock::now();
    writeDump((dir / "repo.dump").string(), head);
    if (run("svnadmin create '" + repo + "'") != 0 ||
        run("svnadmin load -q --no-flush-to-disk '" + repo + "' < '" + (dir / "repo.dump").string() + "'") != 0) {
      std::fprintf(stderr, "making the repository failed\n");
      return 1;
    }
    fs::remove(dir / "repo.dump");
    std::printf("repository of %ld revisions made in %.1f s (kept in %s)\n", head, seconds(t), dir.c_str());
  }
  std::string url = "file://" + repo;
  std::string xml = (dir / "client.xml").string();
  fs::path logs = dir / "client-logs";
  fs::create_directories(logs);
  auto logOf = [&](const std::string& range) { return (logs / ("r" + range + ".xml")).string(); };

  // The client alone, for exactly the batches a first import asks for. Each
  // batch's output is kept for the stand-in client below.
  long start = head > 1000000 ? head - 1000000 : 0;
  int batches = 0;
  double oneBatch = 0;
  auto clientAlone = [&](Timed* out) {
    Usage before = childrenUsage();
    auto t = std::chrono::steady_clock::now();
    run(svn + " log --xml -v '" + url + "' -rHEAD > '" + logOf("HEAD") + "'");
    batches = 0;
    for (long from = start; from <= head; from += 5000, ++batches) {
      long to = std::min(from + 4999, head);
      std::string range = std::to_string(from) + ":" + std::to_string(to);
      auto b = std::chrono::steady_clock::now();
      if (run(svn + " log --xml -v '" + url + "' -r" + range + " > '" +
              logOf(std::to_string(from) + "-" + std::to_string(to)) + "'") != 0) {
        std::fprintf(stderr, "client failed on %s\n", range.c_str());
        return false;
      }
      if (batches == 1) oneBatch = seconds(b);
    }
    out->wall = seconds(t);
    Usage after = childrenUsage();
    out->cpu = {after.user - before.user, after.sys - before.sys};
    return true;
  };
  // revhoard's whole first import with the real client, started through
  // the timer, which notes the client's own time in that run.
  const fs::path timer = dir / "client-timer";
  const fs::path clientTimes = dir / "client-times.txt";
  fs::remove(timer);
  fs::create_symlink(fs::canonical("/proc/self/exe"), timer);
  setenv("RH_CLIENT", svn.c_str(), 1);
  setenv("RH_CLIENT_TIMES", clientTimes.c_str(), 1);
  std::vector<double> clientInside(rounds);
  auto wholeRun = [&](int k) {
    fs::remove(dir / "cache.db");
    fs::remove(clientTimes);
    Timed r = runTimed("'" + revhoard + "' '" + timer.string() + "' '" + url + "' '" + (dir / "cache.db").string() +
                       "' '" + (dir / "log.xml").string() + "' 1 0");
    clientInside[k] = sumOfTimes(clientTimes);
    return r;
  };
  // The two take turns, so that a change in the machine's load between
  // them moves both; the best of each is the time without interference.
  std::vector<Timed> clientRuns(rounds), wholeRuns(rounds);
  for (int k = 0; k < rounds; ++k) {
    if (!clientAlone(&clientRuns[k])) return 1;
    wholeRuns[k] = wholeRun(k);
  }
  auto best = [](const std::vector<Timed>& runs) {
    Timed b = runs[0];
    for (const Timed& r : runs)
      if (r.wall < b.wall) b = r;
    return b;
  };
  const Timed clientBest = best(clientRuns);
  const Timed whole = best(wholeRuns);
  const double client = clientBest.wall;
  const double clientCpu = clientBest.cpu.user + clientBest.cpu.sys;

  // One whole batch parsed and stored with the client out of the picture:
  // revhoard's "do not run log" mode over a copy of the second batch's log
  // (the run deletes its XML file). The best of three runs, each into a new
  // cache file, so that a busy machine disturbs the figure less.
  std::string batchXml = (dir / "batch.xml").string();
  std::string secondBatch = logOf(std::to_string(start + 5000) + "-" + std::to_string(std::min(start + 9999, head)));
  if (!fs::exists(secondBatch)) secondBatch = logOf(std::to_string(start) + "-" + std::to_string(std::min(start + 4999, head)));
  double parseStore = 0;
  Usage parseStoreCpu;
  int batchExit = 0;
  for (int attempt = 0; attempt < 3; ++attempt) {
    fs::copy_file(secondBatch, batchXml, fs::copy_options::overwrite_existing);
    fs::remove(dir / "batch.db");
    Timed r = runTimed("'" + revhoard + "' " + svn + " '" + url + "' '" + (dir / "batch.db").string() + "' '" +
                       batchXml + "' 1 0 1");
    if (attempt == 0 || r.wall < parseStore) parseStore = r.wall, parseStoreCpu = r.cpu;
    if (r.exit != 0) batchExit = r.exit;
  }

  double cacheMiB = fs::exists(dir / "cache.db") ? fs::file_size(dir / "cache.db") / 1048576.0 : 0.0;

  // The same import with a stand-in client that prints the logs kept above:
  // revhoard's own work measured directly, not as a difference of two runs
  // of the client.
  std::string standIn = (dir / "client-stand-in.sh").string();
  {
    std::ofstream out(standIn, std::ios::trunc);
    out << "#!/bin/sh\n"
           "# Prints the kept log of the range asked for (-rHEAD or -rFROM:TO).\n"
           "# No process but this shell and cat, as the real client is one process.\n"
           "for a in \"$@\"; do case \"$a\" in -r*) r=\"${a#-r}\";; esac; done\n"
           "r=\"${r#\\\"}\"; r=\"${r%\\\"}\"\n"
           "case \"$r\" in *:*) r=\"${r%%:*}-${r#*:}\";; esac\n"
           "exec cat '" << logs.string() << "/r'\"$r\".xml\n";
  }
  fs::permissions(standIn, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                               fs::perms::others_read | fs::perms::others_exec);
  // The stand-in alone for the same batches, started the same way: what the
  // stand-in itself costs (a shell, the script's shell, cat) is not
  // revhoard's work.
  Timed standInAlone;
  {
    std::vector<std::string> ranges = {"HEAD"};
    for (long from = start; from <= head; from += 5000)
      ranges.push_back(std::to_string(from) + ":" + std::to_string(std::min(from + 4999, head)));
    for (const std::string& range : ranges) {
      Timed one = runTimed("'" + standIn + "' log --xml -v '" + url + "' -r" + range + " > '" +
                           (dir / "stand-in.xml").string() + "'");
      standInAlone.wall += one.wall;
      standInAlone.cpu.user += one.cpu.user;
      standInAlone.cpu.sys += one.cpu.sys;
      if (one.exit != 0) standInAlone.exit = one.exit;
    }
  }
  // The whole run with the stand-in, best of three: it is short, and a busy
  // machine moves it more than the client's long run.
  Timed own;
  for (int attempt = 0; attempt < 3; ++attempt) {
    fs::remove(dir / "own.db");
    Timed r = runTimed("'" + revhoard + "' '" + standIn + "' '" + url + "' '" + (dir / "own.db").string() + "' '" +
                       (dir / "own.xml").string() + "' 1 0");
    if (attempt == 0 || r.wall < own.wall) own = r;
  }
  bool sameFile = fs::exists(dir / "own.db") && fs::exists(dir / "cache.db") &&
                  fs::file_size(dir / "own.db") == fs::file_size(dir / "cache.db");

  double difference = whole.wall - client;
  std::printf("revisions %ld, batches %d, rounds %d\n", head, batches, rounds);
  // What starting the client through the shell and the timer costs beyond
  // the client's own time: counted as the client's, as the shell is in the
  // client-alone runs. Measured with `true` as the client, as often as
  // there are client runs in an import.
  const int launches = batches + 1;
  double launchCost = 0;
  {
    fs::remove(clientTimes);
    setenv("RH_CLIENT", "true", 1);
    auto t = std::chrono::steady_clock::now();
    for (int i = 0; i < launches; ++i) run("'" + timer.string() + "' log > /dev/null");
    launchCost = seconds(t) - sumOfTimes(clientTimes);
    setenv("RH_CLIENT", svn.c_str(), 1);
  }
  std::printf("starting the client through the shell and the timer: %.3f s for %d runs\n", launchCost, launches);
  std::vector<double> insideRatios;
  for (int k = 0; k < rounds; ++k) {
    const double own = wholeRuns[k].wall - clientInside[k] - launchCost;
    insideRatios.push_back(own / clientInside[k]);
    std::printf("round %d: client alone %.2f s; revhoard whole first import %.2f s (exit %d), its client %.2f s: "
                "own work %.2f s = %.3f x the client's time in that run (whole minus client alone: %.3f x)\n",
                k + 1, clientRuns[k].wall, wholeRuns[k].wall, wholeRuns[k].exit, clientInside[k], own,
                insideRatios.back(), (wholeRuns[k].wall - clientRuns[k].wall) / clientRuns[k].wall);
  }
  std::sort(insideRatios.begin(), insideRatios.end());
  std::printf("revhoard's own work in its run (whole minus its client, median of %d rounds): %.3f x the client's "
              "time\n",
              rounds, insideRatios[insideRatios.size() / 2]);
  std::printf("client alone, all batches (best): %8.2f s, cpu %.2f s (one 5000-revision batch %.3f s)\n", client,
              clientCpu, oneBatch);
  std::printf("revhoard whole first import (best): %8.2f s (exit %d)\n", whole.wall, whole.exit);
  std::printf("revhoard's own work (best whole minus best client): %8.2f s = %.3f x the client's time\n", difference,
              difference / client);
  std::printf("revhoard's own work (stand-in client): %8.2f s, cpu %.2f s user + %.2f s sys = %.3f x the client's "
              "time (exit %d%s)\n",
              own.wall, own.cpu.user, own.cpu.sys, own.wall / client, own.exit,
              sameFile ? "" : ", cache size differs from the real run's");
  std::printf("the same in processor time: %.2f s = %.3f x the client's processor time\n", own.cpu.user + own.cpu.sys,
              clientCpu > 0 ? (own.cpu.user + own.cpu.sys) / clientCpu : 0.0);
  const double ownAlone = own.wall - standInAlone.wall;
  const double ownAloneCpu = own.cpu.user + own.cpu.sys - standInAlone.cpu.user - standInAlone.cpu.sys;
  std::printf("the stand-in alone, all batches: %.2f s, cpu %.2f s (exit %d)\n", standInAlone.wall,
              standInAlone.cpu.user + standInAlone.cpu.sys, standInAlone.exit);
  std::printf("revhoard's own work (stand-in run minus the stand-in alone): %.2f s = %.3f x the client's time; "
              "processor %.2f s = %.3f x\n",
              ownAlone, ownAlone / client, ownAloneCpu, clientCpu > 0 ? ownAloneCpu / clientCpu : 0.0);
  std::printf("parse+store of one 5000-revision batch (client not run, best of 3): %.3f s, cpu %.3f s user + "
              "%.3f s sys (exit %d) = %.3f x the client's batch\n",
              parseStore, parseStoreCpu.user, parseStoreCpu.sys, batchExit,
              oneBatch > 0 ? parseStore / oneBatch : 0.0);
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  std::printf("peak resident memory of the largest child (revhoard or svn): %.1f MiB\n", usage.ru_maxrss / 1024.0);
  std::printf("cache file: %.1f MiB\n", cacheMiB);
  bool wholeOk = std::all_of(wholeRuns.begin(), wholeRuns.end(), [](const Timed& r) { return r.exit == 0; });
  return wholeOk && own.exit == 0 && standInAlone.exit == 0 ? 0 : 1;
}
