// Strings against std::string on the work the program does most: building
// path-like keys by appends, copying them around, hashing and comparing them,
// and cutting them at separators. The hash is also set against the plain
// xxHash32 it is derived from (header-only, so nothing is linked in).
#include <benchmark/benchmark.h>

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <string>
#include <vector>

#include "text/TVArray.h"
#include "text/TVString.h"

using tolvane::TVArray;
using tolvane::TVString;

namespace {

const char* kPath = "/branches/release-2.4/src/database/index/btHashTable.cpp";

void BM_AppendPath_TVString(benchmark::State& state) {
  for (auto _ : state) {
    TVString s;
    for (int i = 0; i < 8; ++i) {
      s.append("/segment");
      s.appendNumber(i);
    }
    benchmark::DoNotOptimize(s.data());
  }
}
BENCHMARK(BM_AppendPath_TVString);

void BM_AppendPath_StdString(benchmark::State& state) {
  for (auto _ : state) {
    std::string s;
    for (int i = 0; i < 8; ++i) {
      s.append("/segment");
      s.append(std::to_string(i));
    }
    benchmark::DoNotOptimize(s.data());
  }
}
BENCHMARK(BM_AppendPath_StdString);

void BM_CopyLong_TVString(benchmark::State& state) {
  TVString src(kPath);
  for (auto _ : state) {
    TVString copy(src);
    benchmark::DoNotOptimize(copy.data());
  }
}
BENCHMARK(BM_CopyLong_TVString);

void BM_CopyLong_StdString(benchmark::State& state) {
  std::string src(kPath);
  for (auto _ : state) {
    std::string copy(src);
    benchmark::DoNotOptimize(copy.data());
  }
}
BENCHMARK(BM_CopyLong_StdString);

void BM_Hash_cmHashKey(benchmark::State& state) {
  std::string text(static_cast<size_t>(state.range(0)), 'A');
  for (size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>('a' + i % 26);
  for (auto _ : state) benchmark::DoNotOptimize(cmHashKey(text.data(), text.size()));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Hash_cmHashKey)->Arg(12)->Arg(60)->Arg(1024);

void BM_Hash_XXH32(benchmark::State& state) {
  std::string text(static_cast<size_t>(state.range(0)), 'A');
  for (size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>('a' + i % 26);
  for (auto _ : state) benchmark::DoNotOptimize(XXH32(text.data(), text.size(), 0));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Hash_XXH32)->Arg(12)->Arg(60)->Arg(1024);

void BM_EqualDifferentCachedHash(benchmark::State& state) {
  TVString a(kPath), b(kPath);
  b.getMutableCString()[b.length() - 1] = 'x';
  a.hash();
  b.hash();
  for (auto _ : state) benchmark::DoNotOptimize(a == b);
}
BENCHMARK(BM_EqualDifferentCachedHash);

void BM_SplitPath_TVString(benchmark::State& state) {
  TVString path(kPath);
  TVArray parts;
  for (auto _ : state) {
    path.split('/', parts);
    benchmark::DoNotOptimize(parts.count());
  }
}
BENCHMARK(BM_SplitPath_TVString);

void BM_SplitPath_StdString(benchmark::State& state) {
  std::string path(kPath);
  std::vector<std::string> parts;
  for (auto _ : state) {
    parts.clear();
    size_t from = 0;
    for (size_t at = path.find('/'); at != std::string::npos; at = path.find('/', from)) {
      parts.emplace_back(path, from, at - from);
      from = at + 1;
    }
    parts.emplace_back(path, from);
    benchmark::DoNotOptimize(parts.size());
  }
}
BENCHMARK(BM_SplitPath_StdString);

}  // namespace

BENCHMARK_MAIN();
