// Writes the end-to-end test inputs into the directory given. The program's
// tests and scripts run it; what it writes:
//   base.h                 LSC table header file (the demo lens's base table)
//   tuning.h               tuning header file: the built-in tuning with
//                          smooth_thd 0.05 and limit_thd 0.012
//   override.txt           override map setting smooth_thd and limit_thd
//   stats_000..002.txt     statistics dumps of three demo frames
//   raw_000..002.raw       the same kind of frames, 520x384 RGGB 10-bit unpacked
//   mipi_000..002.raw      the same frames packed as RAW10 (rows padded)
//   zero_counts.txt        a dump whose first two rows of cells are empty
//                          (zero counts and sums)
// Frames have black level 64 (10-bit), that is 1024 in 14-bit units.
#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/stats.h"
#include "demo/demo_scene.h"
#include "io/default_tuning.h"
#include "io/lsc_table_file.h"
#include "io/tuning_file.h"
#include "tools/bayer_raw.h"

namespace {

using mirvo_cli::DemoCamera;
using mirvo_cli::DemoFrame;

void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("cannot write " + path);
}

std::vector<uint8_t> Unpacked(const std::vector<uint16_t>& mosaic) {
  std::vector<uint8_t> out;
  for (uint16_t s : mosaic) {
    out.push_back(static_cast<uint8_t>(s & 0xFF));
    out.push_back(static_cast<uint8_t>(s >> 8));
  }
  return out;
}

// RAW10: four pixels in five bytes (high bits, then the low bit pairs),
// rows padded to a multiple of 8 bytes.
std::vector<uint8_t> Raw10(const std::vector<uint16_t>& mosaic, int width, int height) {
  std::vector<uint8_t> out;
  const int payload = width * 5 / 4;
  const int pad = payload % 8 ? 8 - payload % 8 : 0;
  for (int y = 0; y < height; ++y) {
    const uint16_t* row = &mosaic[static_cast<size_t>(y) * width];
    for (int x = 0; x < width; x += 4) {
      uint8_t low = 0;
      for (int i = 0; i < 4; ++i) {
        out.push_back(static_cast<uint8_t>(row[x + i] >> 2));
        low = static_cast<uint8_t>(low | ((row[x + i] & 3) << (2 * i)));
      }
      out.push_back(low);
    }
    out.insert(out.end(), pad, 0xA5);
  }
  return out;
}

void WriteFixtures(const std::string& dir) {
  const mirvo::MirvoParams& defaults = mirvo::DefaultMirvoParams();
  DemoCamera big;
  const mirvo_cli::DemoLens lens(defaults.learned_tint_profile, static_cast<double>(big.height) / big.width);
  if (mirvo::LscTableSaveHeaderFile((dir + "/base.h").c_str(), lens.BaseTable()) != mirvo::kOk)
    throw std::runtime_error("cannot write base.h");

  mirvo::MirvoParams tuning = defaults;
  tuning.tuning.smooth_thd = 0.05f;
  tuning.tuning.limit_thd = 0.012f;
  if (mirvo::SaveTuningHeaderFile((dir + "/tuning.h").c_str(), tuning) != mirvo::kOk)
    throw std::runtime_error("cannot write tuning.h");
  std::ofstream(dir + "/override.txt") << "smooth_thd = 0.03\nlimit_thd=0.008\n";

  const mirvo_cli::LensGains big_gains = mirvo_cli::ComputeLensGains(big, lens);
  DemoCamera small;
  small.width = 520;
  small.height = 384;
  const mirvo_cli::LensGains small_gains = mirvo_cli::ComputeLensGains(small, lens);
  for (int k = 0; k < 3; ++k) {
    char name[32];
    // Statistics straight from a full-size frame's planes.
    DemoFrame frame = mirvo_cli::RenderDemoFrame(big, big_gains, k);
    mirvo::BayerRaw raw;
    const std::vector<uint16_t> big_mosaic = mirvo_cli::Mosaic(frame);
    if (raw.SplitFrame(big_mosaic.data(), 2 * frame.half_width, 2 * frame.half_height, 10, "RGGB") != mirvo::kOk)
      throw std::runtime_error("cannot split a demo frame");
    mirvo::Stats stats;
    const uint16_t levels[4] = {1024, 1024, 1024, 1024};
    stats.CreateFromRaw(raw, levels, 32, 24);
    std::snprintf(name, sizeof(name), "/stats_%03d.txt", k);
    if (stats.SaveAsText((dir + name).c_str()) != mirvo::kOk) throw std::runtime_error("cannot write stats");
    if (k == 0) {
      for (int i = 0; i < 64; ++i)
        for (int c = 0; c < 4; ++c) stats.cells[i].cnt[c] = stats.cells[i].sum[c] = 0;
      if (stats.SaveAsText((dir + "/zero_counts.txt").c_str()) != mirvo::kOk)
        throw std::runtime_error("cannot write stats");
    }

    const std::vector<uint16_t> mosaic = mirvo_cli::Mosaic(mirvo_cli::RenderDemoFrame(small, small_gains, k));
    std::snprintf(name, sizeof(name), "/raw_%03d.raw", k);
    WriteBytes(dir + name, Unpacked(mosaic));
    std::snprintf(name, sizeof(name), "/mipi_%03d.raw", k);
    WriteBytes(dir + name, Raw10(mosaic, 520, 384));
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make_cli_fixtures DIR\n");
    return 2;
  }
  try {
    WriteFixtures(argv[1]);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "make_cli_fixtures: %s\n", e.what());
    return 1;
  }
  return 0;
}
