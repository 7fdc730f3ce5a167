// From flat fields to the engine: mirvo calibrate recovers the shading of a
// lens rendered from a real calibration, mirvo learn recovers how that
// shading changes with the illuminant, and the learned tuning lets mirvo run
// remove the colour shading a base table of another illuminant leaves.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "io/tuning_file.h"
#include "run_program.h"
#include "workbench/calibration/profile_learning.h"
#include "workbench/calibration/shading_fit.h"
#include "workbench/import/lsc_import.h"

namespace {

using mirvo::workbench::LatticeValueAt;
using mirvo_cli_test::LoadTable;
using mirvo_cli_test::Result;
using mirvo_cli_test::RunMirvo;
using mirvo_test::ReadFile;
using mirvo_test::TempDir;
using Planes = float[4][13][17];

// A module whose colour shading changes strongly with the light.
const char kModule[] = "rkisp1_imx258.json";
const int kCts[3] = {2856, 5003, 7504};
const char kRawOptions[] = " --width 1024 --height 768 --bits 10 --pattern RGGB --black-level 1024";

void LogPlanes(const mirvo::LscTable& t, Planes& out) {
  const float(*src[4])[17] = {t.r_gain, t.gr_gain, t.gb_gain, t.b_gain};
  for (int ch = 0; ch < 4; ++ch)
    for (int i = 0; i < 221; ++i) out[ch][i / 17][i % 17] = std::log(src[ch][i / 17][i % 17]);
}

// A raw capture through a lens whose shading is exactly what `truth`
// corrects: every channel's light is the inverse of its gain plane,
// interpolated smoothly between the nodes, times the scene's reflectance.
struct Shot {
  double level = 700.0;  // green above black where the gain is 1, 10-bit units over black 64
  bool flaws = true;     // 16 hot pixels and a soft dark spot, as dust on the cover glass leaves
  uint64_t seed = 1;
  // Reflectance at (x, y) in [0, 1] (left to right, top to bottom); null: a white card.
  std::function<double(double, double, int channel)> scene;
};

// Written as a 1024x768 RGGB mosaic of unpacked samples; channel
// sensitivities 0.55 (red), 0.75 (blue) of green, 4 electrons a unit.
void WriteShot(const std::string& path, const mirvo::LscTable& truth, const Shot& shot) {
  const int width = 1024, height = 768, white = 1023;
  Planes log_gain;
  LogPlanes(truth, log_gain);
  std::mt19937_64 rng(shot.seed);
  std::normal_distribution<double> normal(0.0, 1.0);
  const double sensitivity[4] = {0.55, 1.0, 1.0, 0.75};
  std::vector<uint16_t> mosaic(static_cast<size_t>(width) * height);
  const double dust_x = 0.31 * width, dust_y = 0.42 * height, dust_r = 0.015 * width;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const int ch = (y % 2) * 2 + (x % 2);
      const double px = x + 0.5, py = y + 0.5;
      const float lx = static_cast<float>(px * 16.0 / width), ly = static_cast<float>(py * 12.0 / height);
      double signal = shot.level * sensitivity[ch] * std::exp(-LatticeValueAt(log_gain[ch], lx, ly));
      if (shot.scene) signal *= shot.scene(px / width, py / height, ch);
      if (shot.flaws) {
        const double d2 = ((px - dust_x) * (px - dust_x) + (py - dust_y) * (py - dust_y)) / (dust_r * dust_r);
        signal *= 1.0 - 0.35 * std::exp(-d2);
      }
      const double noisy = signal + normal(rng) * std::sqrt(signal / 4.0 + 1.0);
      const long v = std::lround(64 + noisy);
      mosaic[static_cast<size_t>(y) * width + x] = static_cast<uint16_t>(std::min<long>(std::max(v, 0L), white));
    }
  }
  std::uniform_int_distribution<size_t> where(0, mosaic.size() - 1);
  for (int k = 0; k < (shot.flaws ? 16 : 0); ++k) mosaic[where(rng)] = static_cast<uint16_t>(white);
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(mosaic.data()), mosaic.size() * 2);
}

// RMS over the 24 x 32 statistics cell centres of the demeaned log R/G and
// log B/G (both together) of a white card seen through the lens that `truth`
// corrects and then corrected by `applied`: the colour shading left.
double ResidualColourShading(const mirvo::LscTable& truth, const mirvo::LscTable& applied) {
  Planes t, a;
  LogPlanes(truth, t);
  LogPlanes(applied, a);
  std::vector<double> u, v;
  for (int i = 0; i < 24 * 32; ++i) {
    const float x = (i % 32 + 0.5f) * 0.5f, y = (i / 32 + 0.5f) * 0.5f;
    double g[4];
    for (int ch = 0; ch < 4; ++ch) g[ch] = LatticeValueAt(a[ch], x, y) - LatticeValueAt(t[ch], x, y);
    u.push_back(g[0] - 0.5 * (g[1] + g[2]));
    v.push_back(g[3] - 0.5 * (g[1] + g[2]));
  }
  double mu = 0.0, mv = 0.0, sum = 0.0;
  for (size_t k = 0; k < u.size(); ++k) mu += u[k] / u.size(), mv += v[k] / v.size();
  for (size_t k = 0; k < u.size(); ++k) sum += (u[k] - mu) * (u[k] - mu) + (v[k] - mv) * (v[k] - mv);
  return std::sqrt(sum / (2.0 * u.size()));
}

// Demeaned log R/G, log B/G and log G of a table at the nodes.
void Shading(const mirvo::LscTable& t, double (&out)[3][221]) {
  for (int i = 0; i < 221; ++i) {
    const int r = i / 17, c = i % 17;
    const double g = 0.5 * (std::log(t.gr_gain[r][c]) + std::log(t.gb_gain[r][c]));
    out[0][i] = std::log(t.r_gain[r][c]) - g;
    out[1][i] = std::log(t.b_gain[r][c]) - g;
    out[2][i] = g;
  }
  for (auto& s : out) {
    double m = 0.0;
    for (double v : s) m += v / 221.0;
    for (double& v : s) v -= m;
  }
}

double Correlation(const float (&a)[13][17], const std::vector<double>& b) {
  double ma = 0, mb = 0, sab = 0, saa = 0, sbb = 0;
  for (int i = 0; i < 221; ++i) ma += a[i / 17][i % 17] / 221.0, mb += b[i] / 221.0;
  for (int i = 0; i < 221; ++i) {
    const double x = a[i / 17][i % 17] - ma, y = b[i] - mb;
    sab += x * y, saa += x * x, sbb += y * y;
  }
  return sab / std::sqrt(saa * sbb);
}

// One set of flat fields, calibrated tables and a learned tuning for all tests.
class Calibration : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = new TempDir;
    for (int k = 0; k < 3; ++k) {
      const std::string path = std::string(MIRVO_TEST_DATA_DIR) + "/lsc/" + kModule;
      truth_[k] = mirvo::workbench::ImportLscJson(ReadFile(path), path, kCts[k]).table;
      // Two captures per illuminant, at slightly different exposures.
      for (int n = 0; n < 2; ++n) {
        Shot shot;
        shot.seed = 110 + k + 10 * n;
        shot.level = 700.0 + 40.0 * n;
        WriteShot(Flat(k, n), truth_[k], shot);
      }
      const Result r = RunMirvo(*dir_, "calibrate --raw " + Flat(k, 0) + " " + Flat(k, 1) + kRawOptions +
                                           (k == 0 ? " --png" : "") + " --out " + Table(k));
      ASSERT_EQ(r.status, 0) << r.err;
      std::printf("%s", r.out.c_str());
    }
    // The two extremes, and all three.
    for (const auto& [tables, out] : {std::make_pair(Table(0) + " " + Table(2), "learned2.h"),
                                      std::make_pair(Table(0) + " " + Table(1) + " " + Table(2), "learned3.h")}) {
      const Result r = RunMirvo(*dir_, "learn --table " + tables + " --out " + dir_->File(out));
      ASSERT_EQ(r.status, 0) << r.err;
      std::printf("%s", r.out.c_str());
    }
  }
  static void TearDownTestSuite() { delete dir_; }

  static std::string Flat(int k, int n) {
    return dir_->File("flat_" + std::to_string(kCts[k]) + "_" + std::to_string(n) + ".raw");
  }
  static std::string Table(int k) { return dir_->File("base_" + std::to_string(kCts[k]) + ".h"); }

  static TempDir* dir_;
  static mirvo::LscTable truth_[3];
};
TempDir* Calibration::dir_ = nullptr;
mirvo::LscTable Calibration::truth_[3];

TEST_F(Calibration, RecoversTheTrueShadingAtTheNodes) {
  const char* const names[3] = {"log R/G", "log B/G", "log G"};
  for (int k = 0; k < 3; ++k) {
    double got[3][221], want[3][221];
    Shading(LoadTable(Table(k)), got);
    Shading(truth_[k], want);
    for (int s = 0; s < 3; ++s) {
      double sum = 0.0, worst = 0.0, span = 0.0;
      for (int i = 0; i < 221; ++i) {
        sum += (got[s][i] - want[s][i]) * (got[s][i] - want[s][i]);
        worst = std::max(worst, std::fabs(got[s][i] - want[s][i]));
        span = std::max(span, std::fabs(want[s][i]));
      }
      const double rms = std::sqrt(sum / 221.0);
      std::printf("%d K %-8s residual RMS %.5f, max %.5f (shading up to %.3f)\n", kCts[k], names[s], rms, worst, span);
      EXPECT_LT(rms, 0.004) << kCts[k] << " K " << names[s];
      EXPECT_LT(worst, 0.035) << kCts[k] << " K " << names[s];
    }
  }
  // --png drew the gain planes and the corrected flat field beside the table.
  for (const char* suffix : {"_gains.png", "_flat.png"})
    EXPECT_EQ(ReadFile(dir_->File(std::string("base_2856") + suffix)).substr(1, 3), "PNG");
}

// Two tables: the true tint a 7504 K scene keeps under the 2856 K table.
// Three: the first principal component of the true tables' differences.
TEST_F(Calibration, LearnRecoversTheTrueDifferenceSurface) {
  double t0[3][221], t2[3][221];
  Shading(truth_[0], t0);
  Shading(truth_[2], t2);
  std::vector<double> du(221), dv(221);
  for (int i = 0; i < 221; ++i) du[i] = t0[0][i] - t2[0][i], dv[i] = t0[1][i] - t2[1][i];
  mirvo::LearnedTintProfile from_truth;
  ASSERT_EQ(mirvo::workbench::LearnTintProfile(truth_, 3, 0, &from_truth, nullptr), mirvo::kOk);
  std::vector<double> pu(&from_truth.BUL[0][0], &from_truth.BUL[0][0] + 221);
  std::vector<double> pv(&from_truth.BVL[0][0], &from_truth.BVL[0][0] + 221);
  auto params = std::make_unique<mirvo::MirvoParams>();
  for (const auto& [file, u, v] : {std::make_tuple("learned2.h", &du, &dv), std::make_tuple("learned3.h", &pu, &pv)}) {
    ASSERT_EQ(mirvo::LoadTuningHeaderFile(dir_->File(file).c_str(), *params), mirvo::kOk);
    const double cu = Correlation(params->learned_tint_profile.BUL, *u);
    const double cv = Correlation(params->learned_tint_profile.BVL, *v);
    std::printf("%s: correlation with the truth: u %.4f, v %.4f\n", file, cu, cv);
    EXPECT_GT(cu, 0.98) << file;
    EXPECT_GT(cv, 0.97) << file;
  }
}

// A room lit by 7504 K light, the ISP using the 2856 K base table: the
// engine with the learned tuning removes most of the colour shading left,
// the built-in tuning (learned on another module) much less.
TEST_F(Calibration, LearnedTuningBeatsTheBuiltInOneInClosedLoop) {
  Shot scene;
  scene.flaws = false;
  scene.level = 600.0;
  // A wall of coloured tiles: the colour edges between tiles tell the
  // engine nothing, so across them it has only the profile to go by.
  scene.scene = [](double x, double y, int ch) {
    const unsigned tile = static_cast<unsigned>(x * 9) * 7919u + static_cast<unsigned>(y * 7) * 104729u;
    const unsigned h = (tile ^ (tile >> 7)) * 2654435761u;
    return 0.35 + 0.5 * ((h >> (8 * (ch == 3 ? 2 : ch == 0 ? 1 : 0))) & 255) / 255.0;
  };
  // The temporal filter follows a change gradually: 16 frames (four
  // captures, shown four times) let it settle.
  std::string frames;
  for (int n = 0; n < 4; ++n) {
    scene.seed = 500 + n;
    WriteShot(dir_->File("scene_" + std::to_string(n) + ".raw"), truth_[2], scene);
    frames += " " + dir_->File("scene_" + std::to_string(n) + ".raw");
  }
  frames += frames + frames + frames;
  const double before = ResidualColourShading(truth_[2], LoadTable(Table(0)));
  double after[2];
  for (int t = 0; t < 2; ++t) {
    const std::string out = dir_->File(t == 0 ? "run_learned" : "run_builtin");
    const Result r =
        RunMirvo(*dir_, "run --base " + Table(0) + (t == 0 ? " --tuning " + dir_->File("learned2.h") : "") + " --raw" +
                            frames + kRawOptions + " --out-dir " + out);
    ASSERT_EQ(r.status, 0) << r.err;
    after[t] = ResidualColourShading(truth_[2], LoadTable(out + "/table_015.h"));
  }
  std::printf(
      "residual colour shading (RMS of log R/G and B/G): base table alone %.4f, learned tuning %.4f, "
      "built-in tuning %.4f\n",
      before, after[0], after[1]);
  EXPECT_LT(after[0], 0.5 * after[1]);
  EXPECT_LT(after[0], 0.3 * before);
}

// The calibration rules are the workbench's, tested there and through the
// Python module, and the calibration files script runs each command into its
// refusals; here the program's own usage rules: one line, exit status 2, no
// output.
TEST_F(Calibration, RefusesUsageErrorsWithOneLineAndWritesNothing) {
  const std::string out = " --out " + dir_->File("out.h");
  const std::pair<std::string, std::string> rows[] = {
      {"learn --table " + Table(0) + out, "give at least two tables"},
      {"table --import " + std::string(MIRVO_TEST_DATA_DIR) + "/lsc/" + kModule + out,
       "holds calibrations at 2856, 4000, 4230, 5003, 6504, 7504 K"},
  };
  for (const auto& [args, message] : rows) {
    const Result r = RunMirvo(*dir_, args);
    EXPECT_EQ(r.status, 2) << args;
    EXPECT_NE(r.err.find(message), std::string::npos) << r.err;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    EXPECT_EQ(r.out, "");
    EXPECT_FALSE(std::ifstream(dir_->File("out.h")).good());
  }
}

}  // namespace
