// The native file layer against the C library's streams, on the work the
// database gives it: open and close of an existing file (the share check
// costs a table lookup and four lock calls), and 4 KiB block transfers at
// random positions of a 16 MiB file (a seek and a read or write each; the
// stream is unbuffered so both sides reach the system every time).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "file/cmFileRW.h"

namespace {

constexpr int64_t kFileSize = 16 << 20;
constexpr int64_t kBlock = 4096;

const std::string& scratchFile() {
  static std::string path = [] {
    std::string p = "/tmp/rh-bench-file-io.bin";
    std::FILE* f = std::fopen(p.c_str(), "wb");
    std::vector<char> block(kBlock, 'x');
    for (int64_t i = 0; i < kFileSize / kBlock; i++) std::fwrite(block.data(), 1, block.size(), f);
    std::fclose(f);
    return p;
  }();
  return path;
}

std::vector<int64_t> positions() {
  std::mt19937 rng(7);
  std::vector<int64_t> out(4096);
  for (int64_t& p : out) p = int64_t(rng() % (kFileSize / kBlock)) * kBlock;
  return out;
}

void BM_OpenClose_cmFileRW(benchmark::State& state) {
  const std::string& path = scratchFile();
  for (auto _ : state) {
    cmFileRW file;
    file.open(path.c_str(), CM_FILE_EXISTING | CM_FILE_READ | CM_FILE_WRITE | CM_FILE_SHARE_READ);
  }
}

void BM_OpenClose_stdio(benchmark::State& state) {
  const std::string& path = scratchFile();
  for (auto _ : state) {
    std::FILE* f = std::fopen(path.c_str(), "r+b");
    std::fclose(f);
  }
}

void BM_RandomRead_cmFileRW(benchmark::State& state) {
  cmFileRW file;
  file.open(scratchFile().c_str(), CM_FILE_EXISTING | CM_FILE_READ | CM_FILE_SHARE_READ);
  std::vector<int64_t> at = positions();
  std::vector<char> buffer(kBlock);
  size_t i = 0;
  for (auto _ : state) {
    file.seek(at[i++ % at.size()], 0);
    benchmark::DoNotOptimize(file.read(buffer.data(), kBlock));
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * kBlock);
}

void BM_RandomRead_stdio(benchmark::State& state) {
  std::FILE* f = std::fopen(scratchFile().c_str(), "rb");
  std::setvbuf(f, nullptr, _IONBF, 0);
  std::vector<int64_t> at = positions();
  std::vector<char> buffer(kBlock);
  size_t i = 0;
  for (auto _ : state) {
    std::fseek(f, long(at[i++ % at.size()]), SEEK_SET);
    benchmark::DoNotOptimize(std::fread(buffer.data(), 1, kBlock, f));
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * kBlock);
  std::fclose(f);
}

void BM_RandomWrite_cmFileRW(benchmark::State& state) {
  cmFileRW file;
  file.open(scratchFile().c_str(), CM_FILE_EXISTING | CM_FILE_READ | CM_FILE_WRITE | CM_FILE_SHARE_READ);
  std::vector<int64_t> at = positions();
  std::vector<char> buffer(kBlock, 'y');
  size_t i = 0;
  for (auto _ : state) {
    file.seek(at[i++ % at.size()], 0);
    file.write(buffer.data(), kBlock);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * kBlock);
}

void BM_RandomWrite_stdio(benchmark::State& state) {
  std::FILE* f = std::fopen(scratchFile().c_str(), "r+b");
  std::setvbuf(f, nullptr, _IONBF, 0);
  std::vector<int64_t> at = positions();
  std::vector<char> buffer(kBlock, 'y');
  size_t i = 0;
  for (auto _ : state) {
    std::fseek(f, long(at[i++ % at.size()]), SEEK_SET);
    std::fwrite(buffer.data(), 1, kBlock, f);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * kBlock);
  std::fclose(f);
}

}  // namespace

BENCHMARK(BM_OpenClose_cmFileRW);
BENCHMARK(BM_OpenClose_stdio);
BENCHMARK(BM_RandomRead_cmFileRW);
BENCHMARK(BM_RandomRead_stdio);
BENCHMARK(BM_RandomWrite_cmFileRW);
BENCHMARK(BM_RandomWrite_stdio);

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::remove(scratchFile().c_str());
  return 0;
}
