#include "baselines.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "bench_fixtures.h"
#include "core/stats.h"

namespace mirvo_bench {
namespace {

// Inputs in the ranges the engine sees: ratios near 1 for logf, small log
// tints for expf.
struct MathInputs {
  std::vector<float> log_in, exp_in;
  explicit MathInputs(int logf_calls = 3072, int expf_calls = 442) : log_in(logf_calls), exp_in(expf_calls) {
    for (size_t i = 0; i < log_in.size(); ++i) log_in[i] = 0.4f + 0.0005f * static_cast<float>(i % 3072);
    for (size_t i = 0; i < exp_in.size(); ++i) exp_in[i] = -0.05f + 0.0002f * static_cast<float>(i % 442);
  }
};

float MathPass(const MathInputs& in) {
  float acc = 0.0f;
  for (float v : in.log_in) acc += logf(v);
  for (float v : in.exp_in) acc += expf(v);
  return acc;
}

float CellPass(const mirvo::Stats& s) {
  float acc = 0.0f;
  for (int i = 0; i < s.rows * s.cols; ++i) {
    const mirvo::StatsCell& c = s.cells[i];
    uint32_t sums = c.sum[0] + c.sum[1] + c.sum[2] + c.sum[3];
    uint32_t counts =
        c.cnt[0] + c.cnt[1] + c.cnt[2] + c.cnt[3] + c.sat_cnt[0] + c.sat_cnt[1] + c.sat_cnt[2] + c.sat_cnt[3];
    acc += static_cast<float>(sums) / static_cast<float>(counts + 1);
  }
  return acc;
}

}  // namespace

double MathFloorSeconds() { return MathFloorSeconds(3072, 442); }

double MathFloorSeconds(int logf_calls, int expf_calls) {
  static std::map<std::pair<int, int>, double> cache;
  const auto key = std::make_pair(logf_calls, expf_calls);
  const auto it = cache.find(key);
  if (it != cache.end()) return it->second;
  MathInputs in(logf_calls, expf_calls);
  const double s = SecondsPerCall([&] { benchmark::DoNotOptimize(MathPass(in)); }, 2000);
  cache[key] = s;
  return s;
}

double CellPassSeconds() {
  static const double s = [] {
    mirvo::Stats stats;
    MakeFrameStats(0, &stats);
    return SecondsPerCall([&] { benchmark::DoNotOptimize(CellPass(stats)); }, 5000);
  }();
  return s;
}

double RawReadSeconds() {
  static const double s = [] {
    const auto& raw = RawSamples();
    return SecondsPerCall(
        [&] {
          uint64_t sum = 0;
          for (uint16_t v : raw) sum += v;
          benchmark::DoNotOptimize(sum);
        },
        20);
  }();
  return s;
}

static void BM_Floor_LogfExpf(benchmark::State& state) {
  MathInputs in;
  for (auto _ : state) benchmark::DoNotOptimize(MathPass(in));
}
BENCHMARK(BM_Floor_LogfExpf);

static void BM_Floor_CellPass(benchmark::State& state) {
  mirvo::Stats stats;
  MakeFrameStats(0, &stats);
  for (auto _ : state) benchmark::DoNotOptimize(CellPass(stats));
}
BENCHMARK(BM_Floor_CellPass);

static void BM_Floor_RawRead12MP(benchmark::State& state) {
  const auto& raw = RawSamples();
  for (auto _ : state) {
    uint64_t sum = 0;
    for (uint16_t v : raw) sum += v;
    benchmark::DoNotOptimize(sum);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(raw.size() * 2));
}
BENCHMARK(BM_Floor_RawRead12MP)->Unit(benchmark::kMillisecond);

}  // namespace mirvo_bench
