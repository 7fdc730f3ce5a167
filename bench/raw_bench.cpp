// Raw frames at memory speed: reading 12 MP unpacked and RAW10, and building
// statistics from the planes, each against a plain read of the same samples.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <vector>

#include "baselines.h"
#include "bench_fixtures.h"
#include "core/stats.h"
#include "tools/bayer_raw.h"

namespace mirvo_bench {
namespace {

void BM_ReadRawImage(benchmark::State& state) {
  const bool mipi = state.range(0) != 0;
  const char* path = mipi ? Raw10RawPath() : UnpackedRawPath();
  const int64_t file_bytes = mipi ? 4032LL * 5 / 4 * 3024 : 4032LL * 2 * 3024;
  mirvo::BayerRaw raw;
  Measure(state, RawReadSeconds(),
          [&] { benchmark::DoNotOptimize(raw.ReadRawImage(path, 4032, 3024, 10, "RGGB", mipi)); });
  state.SetBytesProcessed(state.iterations() * file_bytes);
}
BENCHMARK(BM_ReadRawImage)->Arg(0)->Arg(1)->ArgName("mipi")->Unit(benchmark::kMillisecond);

void BM_CreateFromRaw(benchmark::State& state) {
  mirvo::BayerRaw raw;
  raw.ReadRawImage(UnpackedRawPath(), 4032, 3024, 10, "RGGB", false);
  mirvo::Stats stats;
  const uint16_t levels[4] = {256, 256, 256, 256};
  Measure(state, RawReadSeconds(), [&] { benchmark::DoNotOptimize(stats.CreateFromRaw(raw, levels, 32, 24)); });
}
BENCHMARK(BM_CreateFromRaw)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace mirvo_bench

namespace mirvo_bench {
namespace {

// RAW10 unpacking alone, from a packed frame already in memory: the page
// cache copy of a real file read is left out.
void BM_UnpackRaw10FromMemory(benchmark::State& state) {
  std::vector<uint8_t> packed;
  {
    FILE* f = std::fopen(Raw10RawPath(), "rb");
    packed.resize(4032 * 5 / 4 * 3024);
    if (std::fread(packed.data(), 1, packed.size(), f) != packed.size()) state.SkipWithError("short read");
    std::fclose(f);
  }
  std::vector<uint16_t> dst(static_cast<size_t>(4032) * 3024);
  for (auto _ : state) {
    FILE* mem = fmemopen(packed.data(), packed.size(), "rb");
    benchmark::DoNotOptimize(mirvo::ReadRaw10Mipi(mem, 3024, 4032, dst.data()));
    std::fclose(mem);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(packed.size()));
}
BENCHMARK(BM_UnpackRaw10FromMemory)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace mirvo_bench
