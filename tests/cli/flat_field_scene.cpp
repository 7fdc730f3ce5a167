#include "flat_field_scene.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

#include "workbench/calibration/shading_fit.h"
#include "workbench/import/lsc_import.h"

namespace mirvo_cli_test {
namespace {

using Planes = float[4][13][17];

void LogPlanes(const mirvo::LscTable& t, Planes& out) {
  const float(*src[4])[17] = {t.r_gain, t.gr_gain, t.gb_gain, t.b_gain};
  for (int ch = 0; ch < 4; ++ch)
    for (int r = 0; r < 13; ++r)
      for (int c = 0; c < 17; ++c) out[ch][r][c] = std::log(src[ch][r][c]);
}

}  // namespace

std::vector<uint16_t> RenderShot(const mirvo::LscTable& truth, const ShotSettings& shot) {
  Planes log_gain;
  LogPlanes(truth, log_gain);
  std::mt19937_64 rng(shot.seed);
  std::normal_distribution<double> normal(0.0, 1.0);
  const int white = (1 << shot.bits) - 1;
  const double sensitivity[4] = {shot.red, 1.0, 1.0, shot.blue};
  std::vector<uint16_t> mosaic(static_cast<size_t>(shot.width) * shot.height);
  const double dust_x = 0.31 * shot.width, dust_y = 0.42 * shot.height, dust_r = 0.015 * shot.width;
  for (int y = 0; y < shot.height; ++y) {
    for (int x = 0; x < shot.width; ++x) {
      // RGGB: R top-left, Gr top-right, Gb bottom-left, B bottom-right.
      const int ch = (y % 2) * 2 + (x % 2);
      const double px = x + 0.5, py = y + 0.5;
      const float lx = static_cast<float>(px * 16.0 / shot.width), ly = static_cast<float>(py * 12.0 / shot.height);
      double signal = shot.level * sensitivity[ch] * std::exp(-mirvo::workbench::LatticeValueAt(log_gain[ch], lx, ly));
      if (shot.scene) signal *= shot.scene(px / shot.width, py / shot.height, ch);
      if (shot.dust) {
        const double d2 = ((px - dust_x) * (px - dust_x) + (py - dust_y) * (py - dust_y)) / (dust_r * dust_r);
        signal *= 1.0 - 0.35 * std::exp(-d2);
      }
      const double noisy = signal + normal(rng) * std::sqrt(signal / shot.electrons_per_dn + 1.0);
      const long v = std::lround(shot.black + noisy);
      mosaic[static_cast<size_t>(y) * shot.width + x] = static_cast<uint16_t>(std::min<long>(std::max(v, 0L), white));
    }
  }
  std::uniform_int_distribution<size_t> where(0, mosaic.size() - 1);
  for (int k = 0; k < shot.hot_pixels; ++k) mosaic[where(rng)] = static_cast<uint16_t>(white);
  return mosaic;
}

void WriteRaw(const std::string& path, const std::vector<uint16_t>& mosaic) {
  std::ofstream out(path, std::ios::binary);
  for (uint16_t v : mosaic) {
    const char b[2] = {static_cast<char>(v & 0xff), static_cast<char>(v >> 8)};
    out.write(b, 2);
  }
  if (!out) throw std::runtime_error("cannot write " + path);
}

mirvo::LscTable TruthTable(const std::string& json_name, int ct) {
  const std::string path = std::string(MIRVO_TEST_DATA_DIR) + "/lsc/" + json_name;
  std::ifstream in(path);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return mirvo::workbench::ImportLscJson(text, path, ct).table;
}

double ResidualColourShading(const mirvo::LscTable& truth, const mirvo::LscTable& applied) {
  Planes t, a;
  LogPlanes(truth, t);
  LogPlanes(applied, a);
  std::vector<double> u, v;
  for (int i = 0; i < 24; ++i)
    for (int j = 0; j < 32; ++j) {
      const float x = (j + 0.5f) * 0.5f, y = (i + 0.5f) * 0.5f;
      double g[4];
      for (int ch = 0; ch < 4; ++ch)
        g[ch] = mirvo::workbench::LatticeValueAt(a[ch], x, y) - mirvo::workbench::LatticeValueAt(t[ch], x, y);
      const double green = 0.5 * (g[1] + g[2]);
      u.push_back(g[0] - green);
      v.push_back(g[3] - green);
    }
  double mu = 0.0, mv = 0.0;
  for (size_t k = 0; k < u.size(); ++k) {
    mu += u[k] / u.size();
    mv += v[k] / v.size();
  }
  double sum = 0.0;
  for (size_t k = 0; k < u.size(); ++k) sum += (u[k] - mu) * (u[k] - mu) + (v[k] - mv) * (v[k] - mv);
  return std::sqrt(sum / (2.0 * u.size()));
}

}  // namespace mirvo_cli_test
