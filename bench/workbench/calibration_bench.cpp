// Flat-field calibration of a 12 MP frame against a plain read of the same
// samples: the block measurement alone, and the whole calibration of one
// capture (measurement, smooth fit of the four channels, gains).
#include <benchmark/benchmark.h>

#include "baselines.h"
#include "bench_fixtures.h"
#include "tools/bayer_raw.h"
#include "workbench/calibration/calibration.h"

namespace mirvo_bench {
namespace {

const uint16_t kBlack[4] = {256, 256, 256, 256};

void BM_MeasureFlatField(benchmark::State& state) {
  mirvo::BayerRaw raw;
  raw.ReadRawImage(UnpackedRawPath(), 4032, 3024, 10, "RGGB", false);
  mirvo::workbench::FlatFieldBlocks blocks;
  Measure(state, RawReadSeconds(),
          [&] { benchmark::DoNotOptimize(mirvo::workbench::MeasureFlatField(raw, kBlack, &blocks)); });
}
BENCHMARK(BM_MeasureFlatField)->Unit(benchmark::kMillisecond);

void BM_CalibrateFrame(benchmark::State& state) {
  mirvo::BayerRaw raw;
  raw.ReadRawImage(UnpackedRawPath(), 4032, 3024, 10, "RGGB", false);
  mirvo::workbench::FlatFieldBlocks blocks;
  mirvo::workbench::FlatFieldFit fit;
  Measure(state, RawReadSeconds(), [&] {
    mirvo::workbench::MeasureFlatField(raw, kBlack, &blocks);
    mirvo::workbench::FitFlatField(&blocks, 1, &fit);
    benchmark::DoNotOptimize(mirvo::workbench::GainsFromFit(fit, 1.0f));
  });
}
BENCHMARK(BM_CalibrateFrame)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace mirvo_bench
