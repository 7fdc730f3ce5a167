// Flat-field calibration of a 12 MP frame against a plain read of the same
// samples: the block measurement alone, and the whole calibration of one
// capture (measurement, smooth fit of the four channels, gains).
#include <benchmark/benchmark.h>

#include "baselines.h"
#include "bench_fixtures.h"
#include "tools/bayer_raw.h"
#include "tools/calibration.h"

namespace mirvo_bench {
namespace {

const uint16_t kBlack[4] = {256, 256, 256, 256};

void BM_MeasureFlatField(benchmark::State& state) {
  mirvo::BayerRaw raw;
  raw.ReadRawImage(UnpackedRawPath(), 4032, 3024, 10, "RGGB", false);
  mirvo::FlatFieldBlocks blocks;
  Measure(state, RawReadSeconds(), [&] { benchmark::DoNotOptimize(mirvo::MeasureFlatField(raw, kBlack, &blocks)); });
}
BENCHMARK(BM_MeasureFlatField)->Unit(benchmark::kMillisecond);

void BM_CalibrateFrame(benchmark::State& state) {
  mirvo::BayerRaw raw;
  raw.ReadRawImage(UnpackedRawPath(), 4032, 3024, 10, "RGGB", false);
  mirvo::FlatFieldBlocks blocks;
  mirvo::FlatFieldFit fit;
  Measure(state, RawReadSeconds(), [&] {
    mirvo::MeasureFlatField(raw, kBlack, &blocks);
    mirvo::FitFlatField(&blocks, 1, &fit);
    benchmark::DoNotOptimize(mirvo::GainsFromFit(fit, 1.0f));
  });
}
BENCHMARK(BM_CalibrateFrame)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace mirvo_bench
