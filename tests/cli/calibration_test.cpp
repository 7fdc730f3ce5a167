// From flat fields to the engine: mirvo calibrate recovers the shading of a
// lens rendered from a real calibration, mirvo learn recovers how that
// shading changes with the illuminant, and the learned tuning lets mirvo run
// remove the colour shading a base table of another illuminant leaves.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "flat_field_scene.h"
#include "io/lsc_table_file.h"
#include "io/tuning_file.h"
#include "run_program.h"
#include "test_support.h"
#include "workbench/calibration/profile_learning.h"

namespace {

using mirvo_cli_test::RenderShot;
using mirvo_cli_test::ShotSettings;
using mirvo_cli_test::TruthTable;
using mirvo_cli_test::WriteRaw;
using mirvo_test::ReadFile;
using mirvo_test::TempDir;

// A module whose colour shading changes strongly with the light.
const char kModule[] = "rkisp1_imx258.json";
const int kCts[3] = {2856, 5003, 7504};
const char kRawOptions[] = " --width 1024 --height 768 --bits 10 --pattern RGGB --black-level 1024";

using mirvo_cli_test::Result;

Result RunMirvo(const TempDir& tmp, const std::string& args) {
  return mirvo_cli_test::RunProgram(MIRVO_EXE, tmp, args);
}
mirvo::LscTable LoadTable(const std::string& path) {
  mirvo::LscTable t{};
  EXPECT_EQ(mirvo::LscTableLoadHeaderFile(path.c_str(), t), mirvo::kOk) << path;
  return t;
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
  double ma = 0, mb = 0;
  for (int i = 0; i < 221; ++i) {
    ma += a[i / 17][i % 17] / 221.0;
    mb += b[i] / 221.0;
  }
  double sab = 0, saa = 0, sbb = 0;
  for (int i = 0; i < 221; ++i) {
    const double x = a[i / 17][i % 17] - ma, y = b[i] - mb;
    sab += x * y;
    saa += x * x;
    sbb += y * y;
  }
  return sab / std::sqrt(saa * sbb);
}

// One set of flat fields, calibrated tables and a learned tuning for all tests.
class Calibration : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = new TempDir;
    for (int k = 0; k < 3; ++k) {
      truth_[k] = TruthTable(kModule, kCts[k]);
      ShotSettings shot;
      shot.seed = 100 + k;
      // Two captures per illuminant, at slightly different exposures.
      for (int n = 0; n < 2; ++n) {
        shot.seed += 10;
        shot.level = 700.0 + 40.0 * n;
        WriteRaw(Flat(k, n), RenderShot(truth_[k], shot));
      }
      const Result r = RunMirvo(*dir_, "calibrate --raw " + Flat(k, 0) + " " + Flat(k, 1) + kRawOptions +
                                           (k == 0 ? " --png" : "") + " --out " + Table(k));
      ASSERT_EQ(r.status, 0) << r.err;
      std::printf("%s", r.out.c_str());
    }
    // The two extremes, and all three.
    for (const std::string& tables : {Table(0) + " " + Table(2), Table(0) + " " + Table(1) + " " + Table(2)}) {
      const Result r =
          RunMirvo(*dir_, "learn --table " + tables + " --out " +
                              dir_->File(tables.size() > 2 * Table(0).size() + 1 ? "learned3.h" : "learned2.h"));
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

TEST_F(Calibration, LearnRecoversTheTrueDifferenceSurface) {
  auto params = std::make_unique<mirvo::MirvoParams>();
  ASSERT_EQ(mirvo::LoadTuningHeaderFile(dir_->File("learned2.h").c_str(), *params), mirvo::kOk);
  // The true tint a 7504 K scene keeps under the 2856 K table.
  double t0[3][221], t2[3][221];
  Shading(truth_[0], t0);
  Shading(truth_[2], t2);
  std::vector<double> du(221), dv(221);
  for (int i = 0; i < 221; ++i) {
    du[i] = t0[0][i] - t2[0][i];
    dv[i] = t0[1][i] - t2[1][i];
  }
  const double cu = Correlation(params->learned_tint_profile.BUL, du);
  const double cv = Correlation(params->learned_tint_profile.BVL, dv);
  std::printf("two tables: correlation with the true %d K - %d K difference: u %.4f, v %.4f\n", kCts[0], kCts[2], cu,
              cv);
  EXPECT_GT(cu, 0.98);
  EXPECT_GT(cv, 0.97);
  // Three tables: the first principal component of the true differences.
  ASSERT_EQ(mirvo::LoadTuningHeaderFile(dir_->File("learned3.h").c_str(), *params), mirvo::kOk);
  mirvo::LearnedTintProfile from_truth;
  ASSERT_EQ(mirvo::workbench::LearnTintProfile(truth_, 3, 0, &from_truth, nullptr), mirvo::kOk);
  const std::vector<double> pu(&from_truth.BUL[0][0], &from_truth.BUL[0][0] + 221);
  const std::vector<double> pv(&from_truth.BVL[0][0], &from_truth.BVL[0][0] + 221);
  const double c3u = Correlation(params->learned_tint_profile.BUL, pu);
  const double c3v = Correlation(params->learned_tint_profile.BVL, pv);
  std::printf("three tables: correlation with the true tables' principal component: u %.4f, v %.4f\n", c3u, c3v);
  EXPECT_GT(c3u, 0.98);
  EXPECT_GT(c3v, 0.97);
}

// A room lit by 7504 K light, the ISP using the 2856 K base table: the
// engine with the learned tuning removes most of the colour shading left,
// the built-in tuning (learned on another module) much less.
TEST_F(Calibration, LearnedTuningBeatsTheBuiltInOneInClosedLoop) {
  ShotSettings scene;
  scene.dust = false;
  scene.hot_pixels = 0;
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
    const std::string path = dir_->File("scene_" + std::to_string(n) + ".raw");
    WriteRaw(path, RenderShot(truth_[2], scene));
    frames += " " + path;
  }
  frames += frames + frames + frames;
  const double before = mirvo_cli_test::ResidualColourShading(truth_[2], LoadTable(Table(0)));
  double after[2];
  for (int t = 0; t < 2; ++t) {
    const std::string out = dir_->File(t == 0 ? "run_learned" : "run_builtin");
    const Result r =
        RunMirvo(*dir_, "run --base " + Table(0) + (t == 0 ? " --tuning " + dir_->File("learned2.h") : "") + " --raw" +
                            frames + kRawOptions + " --out-dir " + out);
    ASSERT_EQ(r.status, 0) << r.err;
    after[t] = mirvo_cli_test::ResidualColourShading(truth_[2], LoadTable(out + "/table_015.h"));
  }
  std::printf(
      "residual colour shading (RMS of log R/G and B/G): base table alone %.4f, learned tuning %.4f, "
      "built-in tuning %.4f\n",
      before, after[0], after[1]);
  EXPECT_LT(after[0], 0.5 * after[1]);
  EXPECT_LT(after[0], 0.3 * before);
}

// Each bad input once: one line naming the problem, exit status 1 (2 for a
// usage error), and no output file.
TEST_F(Calibration, RefusesBadInputWithOneLineAndWritesNothing) {
  ShotSettings shot;
  shot.level = 1200.0;  // beyond the white level in the middle
  WriteRaw(dir_->File("clipped.raw"), RenderShot(truth_[0], shot));
  shot.level = 25.0;
  WriteRaw(dir_->File("dark.raw"), RenderShot(truth_[0], shot));
  shot.level = 700.0;
  shot.scene = [](double x, double y, int) {
    return (static_cast<int>(x * 6) + static_cast<int>(y * 4)) % 2 ? 1.0 : 0.6;
  };
  WriteRaw(dir_->File("scene.raw"), RenderShot(truth_[0], shot));
  // A table whose vignetting is far stronger: another module.
  mirvo::LscTable other = truth_[0];
  for (float* g = &other.r_gain[0][0]; g < &other.r_gain[0][0] + 884; ++g) *g = std::pow(*g, 6.0f);
  ASSERT_EQ(mirvo::LscTableSaveHeaderFile(dir_->File("other.h").c_str(), other), mirvo::kOk);
  mirvo_test::WriteFile(dir_->File("broken.json"), "{\"sets\": [");
  mirvo_test::WriteFile(dir_->File("unknown.json"), "{\"gains\": [1, 2]}");

  const std::string calibrate = std::string("calibrate") + kRawOptions + " --out " + dir_->File("out.h") + " --raw ";
  const std::string out = " --out " + dir_->File("out.h");
  const std::string json = std::string(MIRVO_TEST_DATA_DIR) + "/lsc/" + kModule;
  const struct {
    std::string args;
    int status;
    std::string message;
  } cases[] = {
      {calibrate + dir_->File("clipped.raw"), 1, "of the samples are clipped (at most 0.1 %)"},
      {calibrate + dir_->File("dark.raw"), 1, "too dark to measure: the green level is"},
      {calibrate + dir_->File("scene.raw"), 1, "not a flat field"},
      {calibrate + Flat(0, 0) + " " + Flat(2, 0), 1, "disagrees with " + Flat(0, 0)},
      {std::string("calibrate") + kRawOptions + out, 2, "missing --raw"},
      {calibrate + dir_->File("nope.raw"), 1, "nope.raw: cannot open a raw frame"},
      {calibrate + Table(0), 1, "expected 1572864 for 1024x768 unpacked 16-bit"},
      {"learn --table " + Table(0) + " " + Table(2) + " --out " + dir_->path(), 1, "is a directory"},
      {"table --import " + json + " --ct 5000 --out " + dir_->path(), 1, "is a directory"},
      {"learn --table " + Table(0) + " " + Table(0) + out, 1, "colour ratios do not differ"},
      {"learn --table " + Table(0) + " " + dir_->File("other.h") + out, 1, "not the same module and geometry"},
      {"learn --table " + Table(0) + out, 2, "give at least two tables"},
      {"table --import " + dir_->File("broken.json") + out, 1, "broken.json: not valid JSON"},
      {"table --import " + dir_->File("unknown.json") + out, 1, "no known lens shading layout"},
      {"table --import " + json + out, 2, "holds calibrations at 2856, 4000, 4230, 5003, 6504, 7504 K"},
  };
  for (const auto& c : cases) {
    const Result r = RunMirvo(*dir_, c.args);
    EXPECT_EQ(r.status, c.status) << c.args;
    EXPECT_NE(r.err.find(c.message), std::string::npos) << c.args << "\n" << r.err;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    EXPECT_TRUE(r.out.empty()) << r.out;
    EXPECT_NE(std::system(("test -e " + dir_->File("out.h")).c_str()), 0) << c.args;
  }
}

}  // namespace
