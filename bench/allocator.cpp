// Small-allocation churn: cmAllocator against the C library's malloc.
//
// Each thread keeps 4,096 slots; every step frees a random slot (if it is
// occupied) and fills it with a new block of a random size from 16 to 2,048
// bytes, touching its first byte. Sizes and slots come from a precomputed
// sequence so both allocators see the same work. Runs with one and two
// threads; after the run the ratio cmAllocator / malloc of the time per
// operation is printed for each thread count, by wall clock and by CPU
// time (the second is steadier on a loaded machine).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "runtime/cmAllocator.h"

namespace {

constexpr int kSlots = 4096;
constexpr int kSequence = 1 << 16;

struct Work {
  std::vector<uint32_t> slot;
  std::vector<uint32_t> size;
  explicit Work(uint32_t seed) : slot(kSequence), size(kSequence) {
    std::mt19937 rng(seed);
    for (int i = 0; i < kSequence; ++i) {
      slot[i] = rng() % kSlots;
      size[i] = 16 + rng() % (2048 - 16 + 1);
    }
  }
};

struct UseMalloc {
  static void* allocate(size_t n) { return std::malloc(n); }
  static void release(void* p) { std::free(p); }
};
struct UseCmAllocator {
  static void* allocate(size_t n) { return cmAllocator::allocate(n); }
  static void release(void* p) { cmAllocator::deallocate(p); }
};

template <class A>
void churn(benchmark::State& state) {
  Work work(1234u + uint32_t(state.thread_index()));
  std::vector<void*> slots(kSlots, nullptr);
  // Warm the slots so that the timed loop sees a steady population.
  for (int i = 0; i < kSlots; ++i) slots[i] = A::allocate(work.size[i]);
  int i = 0;
  for (auto _ : state) {
    uint32_t s = work.slot[i];
    if (slots[s]) A::release(slots[s]);
    auto* p = static_cast<char*>(A::allocate(work.size[i]));
    *p = char(i);
    slots[s] = p;
    benchmark::DoNotOptimize(p);
    i = (i + 1) & (kSequence - 1);
  }
  for (void* p : slots)
    if (p) A::release(p);
  state.SetItemsProcessed(state.iterations());
}

void BM_Malloc(benchmark::State& state) { churn<UseMalloc>(state); }
void BM_CmAllocator(benchmark::State& state) { churn<UseCmAllocator>(state); }

BENCHMARK(BM_Malloc)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_CmAllocator)->Threads(1)->Threads(2)->UseRealTime();

// Console output plus the time per operation of every run, keyed by name.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  std::map<std::string, double> nsPerOp, cpuNsPerOp;
  bool haveMedian = false;
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& r : runs)
      if (r.run_type == Run::RT_Iteration && r.iterations > 0 && !haveMedian) {
        nsPerOp[r.run_name.str()] = r.GetAdjustedRealTime();
        cpuNsPerOp[r.run_name.str()] = r.GetAdjustedCPUTime();
      } else if (r.run_type == Run::RT_Aggregate && r.aggregate_name == "median") {
        // With repetitions the median stands for the run.
        haveMedian = true;
        nsPerOp[r.run_name.str()] = r.GetAdjustedRealTime();
        cpuNsPerOp[r.run_name.str()] = r.GetAdjustedCPUTime();
      }
    ConsoleReporter::ReportRuns(runs);
  }
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  for (const char* suffix : {"/real_time/threads:1", "/real_time/threads:2"}) {
    auto mine = reporter.nsPerOp.find(std::string("BM_CmAllocator") + suffix);
    auto theirs = reporter.nsPerOp.find(std::string("BM_Malloc") + suffix);
    if (mine == reporter.nsPerOp.end() || theirs == reporter.nsPerOp.end()) continue;
    double mineCpu = reporter.cpuNsPerOp[mine->first], theirsCpu = reporter.cpuNsPerOp[theirs->first];
    std::printf("cmAllocator / malloc %s: real %.2f (%.1f vs %.1f ns), cpu %.2f (%.1f vs %.1f ns) per free+allocate\n",
                suffix + 1, mine->second / theirs->second, mine->second, theirs->second, mineCpu / theirsCpu, mineCpu,
                theirsCpu);
  }
  benchmark::Shutdown();
  return 0;
}
