// The preview renderer on a 12 MP frame: one picture per Bayer quad with the
// table's gains, the look and the sRGB curve, full size and for the report.
#include <benchmark/benchmark.h>

#include "bench_fixtures.h"
#include "tools/bayer_raw.h"
#include "workbench/preview/jpeg_writer.h"
#include "workbench/preview/preview_render.h"

namespace mirvo_bench {
namespace {

const uint16_t kBlack[4] = {1024, 1024, 1024, 1024};  // 64 in the frame's 10 bits

void BM_RenderPreview(benchmark::State& state) {
  mirvo::BayerRaw raw;
  raw.ReadRawImage(UnpackedRawPath(), 4032, 3024, 10, "RGGB", false);
  mirvo::LscTable table;
  MakeBaseTable(0, &table);
  const mirvo::workbench::BayerPlanes planes = mirvo::workbench::PlanesOf(raw, kBlack);
  const mirvo::workbench::PreviewLook look = mirvo::workbench::ChooseLook(planes, &table);
  const int width = static_cast<int>(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(mirvo::workbench::RenderPreview(planes, &table, look, width));
}
BENCHMARK(BM_RenderPreview)->Arg(0)->Arg(960)->ArgName("width")->Unit(benchmark::kMillisecond);

void BM_ChooseLook(benchmark::State& state) {
  mirvo::BayerRaw raw;
  raw.ReadRawImage(UnpackedRawPath(), 4032, 3024, 10, "RGGB", false);
  mirvo::LscTable table;
  MakeBaseTable(0, &table);
  const mirvo::workbench::BayerPlanes planes = mirvo::workbench::PlanesOf(raw, kBlack);
  for (auto _ : state) benchmark::DoNotOptimize(mirvo::workbench::ChooseLook(planes, &table));
}
BENCHMARK(BM_ChooseLook)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace mirvo_bench
