// The preview renderer on a 12 MP frame: one picture per Bayer quad with the
// table's gains, the look and the sRGB curve, full size and for the report.
#include <benchmark/benchmark.h>

#include "bench_fixtures.h"
#include "tools/bayer_raw.h"
#include "workbench/preview/jpeg_writer.h"
#include "workbench/preview/preview_render.h"

namespace mirvo_bench {
namespace {

// The 12 MP frame with black 64 (10 bits) and a base table.
struct Frame {
  mirvo::BayerRaw raw;
  mirvo::LscTable table;
  mirvo::workbench::BayerPlanes planes;
  Frame() {
    raw.ReadRawImage(UnpackedRawPath(), 4032, 3024, 10, "RGGB", false);
    MakeBaseTable(0, &table);
    const uint16_t black[4] = {1024, 1024, 1024, 1024};
    planes = mirvo::workbench::PlanesOf(raw, black);
  }
};

void BM_RenderPreview(benchmark::State& state) {
  const Frame f;
  const mirvo::workbench::PreviewLook look = mirvo::workbench::ChooseLook(f.planes, &f.table);
  const int width = static_cast<int>(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(mirvo::workbench::RenderPreview(f.planes, &f.table, look, width));
}
BENCHMARK(BM_RenderPreview)->Arg(0)->Arg(960)->ArgName("width")->Unit(benchmark::kMillisecond);

void BM_ChooseLook(benchmark::State& state) {
  const Frame f;
  for (auto _ : state) benchmark::DoNotOptimize(mirvo::workbench::ChooseLook(f.planes, &f.table));
}
BENCHMARK(BM_ChooseLook)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace mirvo_bench
