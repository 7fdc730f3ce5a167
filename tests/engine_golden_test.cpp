#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>

#include "core/core.h"
#include "core/cpu_features.h"
#include "io/lsc_table_file.h"
#include "tests/support/engine_scene.h"
#include "tests/support/test_support.h"

// A fixed multi-frame run of the whole engine whose output tables, debug log
// lines and final diagnostic dump are compared byte for byte with checked-in
// files. The same files must come out on x86-64 and on AArch64. Regenerate
// them after an intended change of the numbers with
//   MIRVO_UPDATE_GOLDEN=1 <build>/tests/engine_golden_test
// and review the diff. The run is repeated with the portable paths forced
// (the device's path where no vector logf/expf is built): same files.

namespace mirvo {
namespace {

constexpr int kFrames = 6;

// Small deterministic generator (integer only, so identical everywhere).
struct Lcg {
  uint32_t state;
  uint32_t Next() {
    state = state * 1664525u + 1013904223u;
    return state >> 8;
  }
  int Jitter(int amplitude) { return static_cast<int>(Next() % (2u * amplitude + 1u)) - amplitude; }
};

int Abs(int x) { return x < 0 ? -x : x; }

// Grey-ish scene with a colour cast that drifts from frame to frame, plus:
// a red object whose edges lie beyond the weight ramp, a dark patch and a
// blown-out patch (both unreliable), and a few saturated pixels.
void MakeFrame(Stats& stats, int frame) {
  stats.ConfigureStatsSize(32, 24);
  Lcg rng{0x1234u + 977u * static_cast<uint32_t>(frame)};
  const uint16_t cnt = 64;
  for (int r = 0; r < 24; ++r) {
    for (int c = 0; c < 32; ++c) {
      int g = 3000 - 40 * Abs(c - 16) - 50 * Abs(r - 12) + rng.Jitter(20);
      int red = g * (1000 + 3 * (c - 16) + 5 * frame) / 1200 + rng.Jitter(10);
      int blue = g * (1000 - 2 * (r - 12) - 4 * frame) / 1400 + rng.Jitter(10);
      if (r >= 5 && r < 10 && c >= 18 + frame && c < 24 + frame) red *= 2;
      if (r >= 15 && r < 18 && c >= 3 && c < 6) g = red = blue = 5;
      if (r == 20 && (c == 28 || c == 29)) g = 16300;
      StatsCell& cell = stats.cells[r * 32 + c];
      cell.sum[R] = static_cast<uint32_t>(red) * cnt;
      cell.sum[Gr] = static_cast<uint32_t>(g) * cnt + rng.Next() % 64u;
      cell.sum[Gb] = static_cast<uint32_t>(g) * cnt;
      cell.sum[B] = static_cast<uint32_t>(blue) * cnt;
      for (int ch = 0; ch < 4; ++ch) {
        cell.cnt[ch] = cnt;
        cell.sat_cnt[ch] = static_cast<uint16_t>(rng.Next() % 3u);
      }
    }
  }
}

void MakeParams(MirvoParams& p) {
  mirvo_test::MakePlainParams(p);
  p.tuning.filter_input_stats = 1;
  p.tuning.enable_temporal_filter = 1;
  // A fast filter with a wide dead band, so its gain moves between its bounds.
  p.tuning.prj_delta_thd = 1.0f;
  p.tuning.tint_update_gain = 0.8f;
  for (int r = 0; r < 13; ++r) {
    for (int c = 0; c < 17; ++c) {
      const float x = static_cast<float>(c - 8) / 8.0f;
      const float y = static_cast<float>(r - 6) / 6.0f;
      p.learned_tint_profile.BUL[r][c] = 0.04f * (x * x + y * y) + 0.01f * x;
      p.learned_tint_profile.BVL[r][c] = -0.03f * (x * x) + 0.02f * y;
    }
  }
}

void AppendTable(std::string& out, const LscTable& t) {
  const char* names[4] = {"R", "Gr", "Gb", "B"};
  const float(*planes[4])[17] = {t.r_gain, t.gr_gain, t.gb_gain, t.b_gain};
  char buf[32];
  for (int p = 0; p < 4; ++p) {
    out += names[p];
    out += ":\n";
    for (int r = 0; r < 13; ++r) {
      for (int c = 0; c < 17; ++c) {
        std::snprintf(buf, sizeof buf, c == 0 ? "%a" : " %a", static_cast<double>(planes[p][r][c]));
        out += buf;
      }
      out += '\n';
    }
  }
}

// Whole-text comparison; a mismatch names its first differing line.
void ExpectSameText(const std::string& golden_name, const std::string& actual) {
  const std::string expected = mirvo_test::ReadFile(mirvo_test::DataPath("golden/" + golden_name));
  ASSERT_FALSE(expected.empty()) << "missing golden file " << golden_name;
  if (expected == actual) return;
  std::istringstream want(expected), got(actual);
  std::string a, b;
  int line = 1;
  while (std::getline(want, a) && std::getline(got, b) && a == b) ++line;
  ADD_FAILURE() << golden_name << " differs at line " << line << "\n  expected: " << a << "\n  actual:   " << b;
}

// Forces the portable paths for one test.
struct PortablePaths {
  explicit PortablePaths(bool on) { internal::ForcePortablePaths(on); }
  ~PortablePaths() { internal::ForcePortablePaths(false); }
};

// The frames of the scenario through `core`, their output tables as text.
std::string RunFrames(Core& core, const LscTable& base) {
  CropInfo crop;
  crop.offs_x = 504.0f;
  crop.offs_y = 378.0f;
  crop.out_w = 3024.0f;
  crop.out_h = 2268.0f;
  core.SetSensorCrop(crop);

  std::string tables;
  for (int frame = 0; frame < kFrames; ++frame) {
    // From frame 3 on the illuminant changes: the table gets a red tilt
    // across and a blue tilt down.
    LscTable frame_base = base;
    if (frame >= 3) {
      for (int r = 0; r < 13; ++r) {
        for (int c = 0; c < 17; ++c) {
          frame_base.r_gain[r][c] *= 1.0f + 0.02f * static_cast<float>(c - 8) / 8.0f;
          frame_base.b_gain[r][c] *= 1.0f - 0.015f * static_cast<float>(r - 6) / 6.0f;
        }
      }
    }
    Stats stats;
    MakeFrame(stats, frame);
    EXPECT_TRUE(core.SetStats(stats));
    EXPECT_TRUE(core.SetInputLscTable(frame_base));
    EXPECT_TRUE(core.Execute());
    LscTable out;
    EXPECT_TRUE(core.GetOutputLscTable(&out));
    tables += "frame " + std::to_string(frame) + "\n";
    AppendTable(tables, out);
  }
  return tables;
}

class EngineGolden : public testing::TestWithParam<bool> {};

TEST_P(EngineGolden, MultiFrameScenario) {
  const PortablePaths paths(GetParam());
  static MirvoParams params;  // must outlive the Core
  MakeParams(params);
  LscTable base;
  ASSERT_EQ(LscTableLoadHeaderFile(mirvo_test::DataPath("ov8858_d50_lsc.h").c_str(), base), kOk);

  mirvo_test::LogCapture log;
  Core core;
  ASSERT_TRUE(core.LoadMirvoParams(params));
  core.GetMutableDebugParams()->debug_enable = true;
  std::string tables = RunFrames(core, base);
  tables += "log:\n";
  for (const auto& l : log.lines()) tables += std::to_string(l.priority) + " " + l.tag + " " + l.message + "\n";

  mirvo_test::TempDir dir;
  ASSERT_EQ(core.SaveDisgnosticData(dir.File("dump.txt")), kOk);
  const std::string dump = mirvo_test::ReadFile(dir.File("dump.txt"));

  const char* update = std::getenv("MIRVO_UPDATE_GOLDEN");
  if (update != nullptr && std::strcmp(update, "1") == 0 && !GetParam()) {
    mirvo_test::WriteFile(mirvo_test::DataPath("golden/engine_tables.txt"), tables);
    mirvo_test::WriteFile(mirvo_test::DataPath("golden/engine_dump.txt"), dump);
    GTEST_SKIP() << "golden files rewritten";
  }
  ExpectSameText("engine_tables.txt", tables);
  ExpectSameText("engine_dump.txt", dump);
}

// The scenario's tables with diagnostics on or off and the tuning's
// residue limit replaced where `limit` is given.
std::string Tables(bool diagnostics, const float* limit) {
  const auto params = std::make_unique<MirvoParams>();  // outlives the Core
  MakeParams(*params);
  if (limit != nullptr) params->tuning.limit_thd = *limit;
  LscTable base;
  EXPECT_EQ(LscTableLoadHeaderFile(mirvo_test::DataPath("ov8858_d50_lsc.h").c_str(), base), kOk);
  Core core;
  EXPECT_TRUE(core.LoadMirvoParams(*params));
  core.GetMutableDebugParams()->debug_enable = diagnostics;
  return RunFrames(core, base);
}

// With diagnostics off the edge stages run as one fused pass: the same
// tables, bit for bit, on both paths; also with a negative residue limit (an
// odd tuning that swaps the clamp's bounds, which both passes take as
// written).
TEST_P(EngineGolden, FusedPassGivesTheSameTables) {
  const PortablePaths paths(GetParam());
  const std::string tables = Tables(false, nullptr);
  const std::string golden = mirvo_test::ReadFile(mirvo_test::DataPath("golden/engine_tables.txt"));
  ASSERT_GE(golden.size(), tables.size());
  ExpectSameText("engine_tables.txt", tables + golden.substr(tables.size()));

  const float negative = -0.004f;
  const std::string swapped = Tables(false, &negative);
  EXPECT_NE(swapped, tables);
  EXPECT_EQ(swapped, Tables(true, &negative));
}

INSTANTIATE_TEST_SUITE_P(Paths, EngineGolden, testing::Values(false, true),
                         [](const testing::TestParamInfo<bool>& p) { return p.param ? "Portable" : "Widest"; });

}  // namespace
}  // namespace mirvo
