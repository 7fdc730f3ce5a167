// How a camera HAL drives libmirvo_core: the tuning is loaded once when the
// camera opens, the sensor crop is set when the stream is configured, and
// then every frame hands over the ISP's statistics and its current lens
// shading table and gets the corrected table back. Here the frames come from
// memory: a lens falloff with a colour tint that drifts from frame to frame.
//
//   hal_loop [--tuning FILE] [--frames N]
//
// Without --tuning the library's built-in default tuning is used.
#include <mirvo/core/core.h>
#include <mirvo/io/tuning_file.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int kStatsRows = 24;
constexpr int kStatsCols = 32;

// Relative illumination of the lens at a point given in [-1, 1] on both axes.
float Falloff(float x, float y) { return 1.0f - 0.3f * (x * x + y * y); }

// The per-camera stage a HAL would own. The tuning record must outlive the
// Core, which keeps a pointer to it: both are members, tuning first.
class LensShadingStage {
 public:
  bool Open(const char* tuning_path, const mirvo::CropInfo& crop) {
    if (tuning_path != nullptr) {
      // The tuning reader trusts its input; check the file first.
      std::string why;
      if (mirvo::TuningValidateHeaderFile(tuning_path, &why) != mirvo::kOk) {
        std::fprintf(stderr, "hal_loop: %s: %s\n", tuning_path, why.c_str());
        return false;
      }
      if (tuning_.LoadHeaderFile(tuning_path) != mirvo::kOk) {
        std::fprintf(stderr, "hal_loop: %s: cannot load the tuning\n", tuning_path);
        return false;
      }
    }
    if (!core_.LoadMirvoParams(*tuning_.GetTuningTable())) {
      std::fprintf(stderr, "hal_loop: LoadMirvoParams failed\n");
      return false;
    }
    core_.SetSensorCrop(crop);  // after every LoadMirvoParams, which resets the crop
    return true;
  }

  // The per-frame calls; allocation-free with diagnostics off.
  bool Process(const mirvo::Stats& stats, const mirvo::LscTable& isp_table, mirvo::LscTable* out) {
    if (!core_.SetStats(stats)) return Fail("SetStats");
    if (!core_.SetInputLscTable(isp_table)) return Fail("SetInputLscTable");
    if (!core_.Execute()) return Fail("Execute");
    if (!core_.GetOutputLscTable(out)) return Fail("GetOutputLscTable");
    return true;
  }

 private:
  static bool Fail(const char* call) {
    std::fprintf(stderr, "hal_loop: %s failed\n", call);
    return false;
  }

  mirvo::MirvoTuning tuning_;
  mirvo::Core core_;
};

// The ISP's table: it flattens the lens falloff but not the colour tint.
void MakeIspTable(mirvo::LscTable* table) {
  for (int r = 0; r < 13; ++r) {
    for (int c = 0; c < 17; ++c) {
      const float gain = 1.0f / Falloff(c / 8.0f - 1.0f, r / 6.0f - 1.0f);
      table->r_gain[r][c] = gain;
      table->gr_gain[r][c] = gain;
      table->gb_gain[r][c] = gain;
      table->b_gain[r][c] = gain;
    }
  }
}

// Statistics of a grey scene under the lens, with a red-to-blue tint across
// the frame whose strength drifts with the frame number.
bool FillStats(int frame, mirvo::Stats* stats) {
  if (stats->cells == nullptr) {
    if (stats->ConfigureStatsSize(kStatsCols, kStatsRows) != mirvo::kOk) return false;
    for (int ch = 0; ch < 4; ++ch) {  // the ISP's statistics come black-level corrected
      stats->black_level[ch] = 0;
      stats->black_level_gain[ch] = 1.0f;
    }
  }
  const float drift = 0.04f * std::sin(0.3f * static_cast<float>(frame));
  const uint16_t pixels = 256;
  for (int r = 0; r < kStatsRows; ++r) {
    for (int c = 0; c < kStatsCols; ++c) {
      const float x = (c + 0.5f) / 16.0f - 1.0f;
      const float y = (r + 0.5f) / 12.0f - 1.0f;
      const float green = 4000.0f * Falloff(x, y);
      const float tint = (0.06f + drift) * x;
      mirvo::StatsCell& cell = stats->cells[r * kStatsCols + c];
      cell.sum[mirvo::R] = static_cast<uint32_t>(green * (1.0f + tint)) * pixels;
      cell.sum[mirvo::Gr] = static_cast<uint32_t>(green) * pixels;
      cell.sum[mirvo::Gb] = static_cast<uint32_t>(green) * pixels;
      cell.sum[mirvo::B] = static_cast<uint32_t>(green * (1.0f - tint)) * pixels;
      for (int ch = 0; ch < 4; ++ch) {
        cell.cnt[ch] = pixels;
        cell.sat_cnt[ch] = 0;
      }
    }
  }
  return true;
}

bool Finite(const mirvo::LscTable& table) {
  const float* g = &table.r_gain[0][0];
  return std::all_of(g, g + sizeof(table) / sizeof(float), [](float v) { return std::isfinite(v) && v > 0.0f; });
}

}  // namespace

int main(int argc, char** argv) {
  const char* tuning_path = nullptr;
  int frames = 30;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--tuning") == 0 && i + 1 < argc) {
      tuning_path = argv[++i];
    } else if (std::strcmp(argv[i], "--frames") == 0 && i + 1 < argc) {
      frames = std::atoi(argv[++i]);
    } else {
      std::fprintf(stderr, "usage: hal_loop [--tuning FILE] [--frames N]\n");
      return 2;
    }
  }

  // A 4:3 sensor streaming a centred 16:9 crop.
  mirvo::CropInfo crop;
  crop.offs_y = 378.0f;
  crop.out_h = 2268.0f;

  LensShadingStage stage;
  if (!stage.Open(tuning_path, crop)) return 1;

  mirvo::LscTable isp_table;
  MakeIspTable(&isp_table);
  mirvo::Stats stats;
  mirvo::LscTable out;
  std::vector<double> times_us;
  for (int frame = 0; frame < frames; ++frame) {
    if (!FillStats(frame, &stats)) {
      std::fprintf(stderr, "hal_loop: cannot size the statistics\n");
      return 1;
    }
    const auto t0 = std::chrono::steady_clock::now();
    const bool ok = stage.Process(stats, isp_table, &out);
    const auto t1 = std::chrono::steady_clock::now();
    if (!ok) return 1;
    if (!Finite(out)) {
      std::fprintf(stderr, "hal_loop: frame %d: the table has a gain that is not a positive number\n", frame);
      return 1;
    }
    times_us.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count());
    std::printf("frame %3d  %8.1f us  R gain left %.4f right %.4f  B gain left %.4f right %.4f\n", frame,
                times_us.back(), out.r_gain[6][0], out.r_gain[6][16], out.b_gain[6][0], out.b_gain[6][16]);
    // The ISP would now be programmed with `out`; this loop keeps feeding it
    // the same base table, as a HAL does until the ISP reports a new one.
  }
  if (!times_us.empty()) {
    std::sort(times_us.begin(), times_us.end());
    std::printf("%d frames: median %.1f us, fastest %.1f us, slowest %.1f us\n", frames, times_us[times_us.size() / 2],
                times_us.front(), times_us.back());
  }
  return 0;
}
