// DNG frames to statistics against LibRaw's own unpack of the same file (the
// decoding every reader of the file pays): a 12 MP uncompressed frame and a
// real lossless-JPEG CinemaDNG. And --into-dng on the 12 MP file, against a
// plain copy of its bytes.
#include <benchmark/benchmark.h>
#include <libraw/libraw.h>
#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "baselines.h"
#include "bench_fixtures.h"
#include "dng_maker.h"
#include "workbench/dng/dng_file.h"
#include "workbench/dng/dng_reader.h"
#include "workbench/dng/dng_writer.h"

namespace mirvo_bench {
namespace {

std::string TempPath(const char* name) {
  const char* tmpdir = std::getenv("TMPDIR");
  return std::string(tmpdir != nullptr ? tmpdir : "/tmp") + "/mirvo_bench_" + name;
}

// The 4032 x 3024 10-bit RGGB frame of the raw benchmarks as an uncompressed DNG.
const std::string& UncompressedDng() {
  static const std::string path = [] {
    dng_test::DngSpec s;
    s.width = 4032, s.height = 3024, s.pattern = "RGGB", s.black = 64, s.white = 1023;
    s.samples = RawSamples();
    const std::string p = TempPath("frame.dng");
    dng_test::WriteFile(p, dng_test::MakeDng(s));
    return p;
  }();
  return path;
}

std::string LosslessJpegDng() {
  const char* dir = std::getenv("MIRVO_DNG_DATA_DIR");
  return std::string(dir != nullptr ? dir : MIRVO_DNG_DATA_DIR_DEFAULT) + "/bmpcc_cinemadng_lj92.dng";
}

double LibRawUnpackSeconds(const std::string& path) {
  return SecondsPerCall(
      [&] {
        auto raw = std::make_unique<LibRaw>();
        raw->open_file(path.c_str());
        raw->unpack();
        benchmark::DoNotOptimize(raw->imgdata.rawdata.raw_image);
      },
      3);
}

// As the program runs (cli/main.cpp): frames of tens of megabytes stay in
// the heap instead of being mapped and faulted in afresh each time. These
// rows register last, so the other rows run with the default heap.
void ProgramHeap() {
  mallopt(M_MMAP_THRESHOLD, 256 << 20);
  mallopt(M_TRIM_THRESHOLD, 512 << 20);
}

void DngToStats(benchmark::State& state, const std::string& path) {
  ProgramHeap();
  if (std::FILE* f = std::fopen(path.c_str(), "rb")) {
    std::fclose(f);
  } else {
    state.SkipWithError("DNG file absent");
    return;
  }
  const double floor = LibRawUnpackSeconds(path);
  mirvo::Stats stats;
  Measure(state, floor, [&] {
    const mirvo::workbench::DngFrame frame = mirvo::workbench::ReadDng(path);
    mirvo::workbench::DngStats(frame, 32, 24, &stats);
    benchmark::DoNotOptimize(stats.cells);
  });
}

void BM_DngToStats_Uncompressed12MP(benchmark::State& state) { DngToStats(state, UncompressedDng()); }
BENCHMARK(BM_DngToStats_Uncompressed12MP)->Unit(benchmark::kMillisecond);

void BM_DngToStats_LosslessJpeg(benchmark::State& state) { DngToStats(state, LosslessJpegDng()); }
BENCHMARK(BM_DngToStats_LosslessJpeg)->Unit(benchmark::kMillisecond);

void BM_IntoDng12MP(benchmark::State& state) {
  ProgramHeap();
  const std::string& src = UncompressedDng();
  const std::string dst = TempPath("into.dng"), copy = TempPath("copy.dng");
  const double floor = SecondsPerCall(
      [&] {
        const std::vector<uint8_t> bytes = mirvo::workbench::ReadWholeFile(src);
        dng_test::WriteFile(copy, bytes);
      },
      3);
  mirvo::LscTable table;
  MakeBaseTable(0, &table);
  Measure(state, floor, [&] { mirvo::workbench::WriteDngGainMap(src, dst, table); });
  std::remove(dst.c_str());
  std::remove(copy.c_str());
}
BENCHMARK(BM_IntoDng12MP)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace mirvo_bench
