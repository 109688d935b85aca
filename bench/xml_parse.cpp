// Parse speed of cmMiniXml on a large history log, against two peers on the
// same bytes in the same run. The log is written deterministically in the
// exact shape `svn log --xml -v` prints (line breaks inside start tags, three
// blanks before each attribute, entities in messages, copies with
// copyfrom-path), to a file that every contender then reads from memory.
//
//   bench_xml_parse [--size_mb=N] [google-benchmark flags]
//
// Each iteration builds a whole tree from the bytes and throws it away. At
// the end the times are printed as ratios to cmMiniXml.
#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <pugixml.hpp>
#include <string>

#include "xml/cmMiniXml.h"

namespace {

std::string g_text;  // the document, as read back from its file

struct Lcg {
  uint64_t s;
  uint32_t next() {
    s = s * 6364136223846793005ull + 1442695040888963407ull;
    return static_cast<uint32_t>(s >> 33);
  }
  uint32_t below(uint32_t n) { return next() % n; }
};

std::string makeLog(size_t targetBytes) {
  static const char* authors[] = {"alice", "bob", "J\xC3\xBCrgen \xC3\x96lm", "build-bot", "carol.smith",
                                  "\xE5\xB1\xB1\xE7\x94\xB0"};
  static const char* dirs[] = {"/trunk/src", "/trunk/src/core", "/trunk/doc", "/branches/release 2.1/src",
                               "/trunk/tests/unit", "/tags/v1.0"};
  static const char* words[] = {"fix",   "crash", "in",    "parser", "when", "&amp;", "&lt;tag&gt;", "the",
                                "value", "is",    "empty", "update", "docs", "merge", "r1234",       "into"};
  static const char* actions[] = {"M", "M", "M", "A", "D", "R"};
  Lcg rng{42};
  std::string out;
  out.reserve(targetBytes + 4096);
  out += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<log>\n";
  char buf[256];
  for (uint32_t rev = 1; out.size() < targetBytes; ++rev) {
    std::snprintf(buf, sizeof buf, "<logentry\n   revision=\"%u\">\n<author>%s</author>\n", rev,
                  authors[rng.below(6)]);
    out += buf;
    std::snprintf(buf, sizeof buf, "<date>20%02u-%02u-%02uT%02u:%02u:%02u.%06uZ</date>\n<paths>\n", 10 + rng.below(15),
                  1 + rng.below(12), 1 + rng.below(28), rng.below(24), rng.below(60), rng.below(60),
                  rng.below(1000000));
    out += buf;
    uint32_t paths = 1 + rng.below(6);
    for (uint32_t p = 0; p < paths; ++p) {
      const char* action = actions[rng.below(6)];
      bool dir = rng.below(8) == 0;
      out += "<path\n";
      if (*action == 'A' && rng.below(3) == 0) {
        std::snprintf(buf, sizeof buf, "   copyfrom-path=\"%s/old name %u.cpp\"\n   copyfrom-rev=\"%u\"\n",
                      dirs[rng.below(6)], rng.below(100), rev > 1 ? rng.below(rev - 1) + 1 : 1);
        out += buf;
      }
      std::snprintf(buf, sizeof buf,
                    "   text-mods=\"%s\"\n   kind=\"%s\"\n   action=\"%s\"\n   prop-mods=\"%s\">%s/file %u.%s</path>\n",
                    dir ? "false" : "true", dir ? "dir" : "file", action, rng.below(4) ? "false" : "true",
                    dirs[rng.below(6)], rng.below(5000), dir ? "d" : "cpp");
      out += buf;
    }
    out += "</paths>\n<msg>";
    uint32_t lines = rng.below(4);  // 0: an empty message
    for (uint32_t l = 0; l < lines; ++l) {
      if (l) out += '\n';
      uint32_t n = 3 + rng.below(12);
      for (uint32_t w = 0; w < n; ++w) {
        if (w) out += ' ';
        out += words[rng.below(16)];
      }
    }
    out += "</msg>\n</logentry>\n";
  }
  out += "</log>\n";
  return out;
}

void setBytes(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(g_text.size()));
}

void BM_cmMiniXml_keepText(benchmark::State& state) {
  for (auto _ : state) {
    cmMiniXml doc;
    doc.loadText(g_text.data(), static_cast<int64_t>(g_text.size()), CMXML_PARSE_KEEP_TEXT);
    benchmark::DoNotOptimize(doc.nodeCount());
  }
  setBytes(state);
}

void BM_cmMiniXml_inPlace(benchmark::State& state) {
  for (auto _ : state) {
    cmMiniXml doc;
    doc.loadText(g_text.c_str(), static_cast<int64_t>(g_text.size()), CMXML_PARSE_KEEP_TEXT, nullptr, true);
    benchmark::DoNotOptimize(doc.nodeCount());
  }
  setBytes(state);
}

void BM_cmMiniXml_noText(benchmark::State& state) {
  for (auto _ : state) {
    cmMiniXml doc;
    doc.loadText(g_text.c_str(), static_cast<int64_t>(g_text.size()), 0, nullptr, true);
    benchmark::DoNotOptimize(doc.nodeCount());
  }
  setBytes(state);
}

// No nodes for the blank runs between tags, like the peer's default.
void BM_cmMiniXml_nonBlank(benchmark::State& state) {
  for (auto _ : state) {
    cmMiniXml doc;
    doc.loadText(g_text.data(), static_cast<int64_t>(g_text.size()), CMXML_PARSE_KEEP_NONBLANK_TEXT);
    benchmark::DoNotOptimize(doc.nodeCount());
  }
  setBytes(state);
}

void BM_cmMiniXml_withIds(benchmark::State& state) {
  for (auto _ : state) {
    cmMiniXml doc;
    doc.setIdsEnabled(true);
    doc.loadText(g_text.data(), static_cast<int64_t>(g_text.size()), CMXML_PARSE_KEEP_TEXT);
    benchmark::DoNotOptimize(doc.nodeCount());
  }
  setBytes(state);
}

// Lower bound: the one memchr pass that finds every '<'.
void BM_scanOnly(benchmark::State& state) {
  for (auto _ : state) {
    size_t n = 0;
    const char* p = g_text.data();
    const char* end = p + g_text.size();
    while ((p = static_cast<const char*>(std::memchr(p, '<', static_cast<size_t>(end - p))))) {
      ++n;
      ++p;
    }
    benchmark::DoNotOptimize(n);
  }
  setBytes(state);
}

void BM_pugixml_default(benchmark::State& state) {
  for (auto _ : state) {
    pugi::xml_document doc;
    pugi::xml_parse_result r = doc.load_buffer(g_text.data(), g_text.size());
    if (!r) state.SkipWithError("pugixml failed");
    benchmark::DoNotOptimize(doc.first_child());
  }
  setBytes(state);
}

// Keeps the blank runs as text nodes: the same node set as keepText.
void BM_pugixml_wsPcdata(benchmark::State& state) {
  for (auto _ : state) {
    pugi::xml_document doc;
    pugi::xml_parse_result r = doc.load_buffer(g_text.data(), g_text.size(), pugi::parse_default | pugi::parse_ws_pcdata);
    if (!r) state.SkipWithError("pugixml failed");
    benchmark::DoNotOptimize(doc.first_child());
  }
  setBytes(state);
}

void BM_libxml2(benchmark::State& state) {
  for (auto _ : state) {
    xmlDocPtr doc = xmlReadMemory(g_text.data(), static_cast<int>(g_text.size()), "log.xml", nullptr, XML_PARSE_HUGE);
    if (!doc) state.SkipWithError("libxml2 failed");
    benchmark::DoNotOptimize(doc);
    xmlFreeDoc(doc);
  }
  setBytes(state);
}

BENCHMARK(BM_scanOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_cmMiniXml_keepText)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_cmMiniXml_inPlace)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_cmMiniXml_nonBlank)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_cmMiniXml_noText)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_cmMiniXml_withIds)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_pugixml_default)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_pugixml_wsPcdata)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_libxml2)->Unit(benchmark::kMillisecond);

// Console output plus the mean time per run of each benchmark.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& r : runs) {
      if (r.run_type != Run::RT_Iteration || r.iterations == 0) continue;
      double n = static_cast<double>(r.iterations);
      times[r.benchmark_name()] = {r.real_accumulated_time / n, r.cpu_accumulated_time / n};
    }
  }
  std::map<std::string, std::pair<double, double>> times;  // real, CPU seconds per run
};

}  // namespace

int main(int argc, char** argv) {
  size_t sizeMb = 50;
  for (int i = 1; i < argc; ++i)
    if (std::strncmp(argv[i], "--size_mb=", 10) == 0) sizeMb = std::strtoul(argv[i] + 10, nullptr, 10);
  // Write the document to a file and read it back: every contender parses
  // the bytes of that one file.
  std::string path = std::string(std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp") + "/bench_xml_parse_log.xml";
  {
    std::string text = makeLog(sizeMb << 20);
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f || std::fwrite(text.data(), 1, text.size(), f) != text.size()) return 1;
    std::fclose(f);
  }
  {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return 1;
    std::fseek(f, 0, SEEK_END);
    g_text.resize(static_cast<size_t>(std::ftell(f)));
    std::fseek(f, 0, SEEK_SET);
    if (std::fread(g_text.data(), 1, g_text.size(), f) != g_text.size()) return 1;
    std::fclose(f);
  }
  std::remove(path.c_str());
  {
    cmMiniXml check;
    check.loadText(g_text.data(), static_cast<int64_t>(g_text.size()), CMXML_PARSE_KEEP_TEXT);
    std::printf("document: %zu bytes, %llu nodes in the tree\n", g_text.size(),
                static_cast<unsigned long long>(check.nodeCount()));
  }
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  auto base = reporter.times["BM_cmMiniXml_keepText"];
  if (base.first > 0 && base.second > 0) {
    // On a shared machine the CPU column is the steadier one.
    std::printf("\ntime relative to BM_cmMiniXml_keepText (lower is faster):\n%-26s %8s %8s\n", "", "real", "cpu");
    for (const auto& [name, t] : reporter.times)
      std::printf("  %-24s %7.2fx %7.2fx\n", name.c_str(), t.first / base.first, t.second / base.second);
  }
  // Like against like: the same node set on both sides.
  const char* pairs[][2] = {{"BM_pugixml_wsPcdata", "BM_cmMiniXml_keepText"},
                            {"BM_pugixml_default", "BM_cmMiniXml_nonBlank"},
                            {"BM_libxml2", "BM_cmMiniXml_keepText"}};
  std::printf("\npeer time / our time (above 1: we are faster):\n");
  for (auto& p : pairs) {
    auto peer = reporter.times.find(p[0]);
    auto ours = reporter.times.find(p[1]);
    if (peer == reporter.times.end() || ours == reporter.times.end()) continue;
    std::printf("  %-20s / %-22s real %5.2f  cpu %5.2f\n", p[0], p[1], peer->second.first / ours->second.first,
                peer->second.second / ours->second.second);
  }
  benchmark::Shutdown();
  xmlCleanupParser();
  return 0;
}
