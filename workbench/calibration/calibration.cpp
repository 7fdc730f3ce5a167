#include "workbench/calibration/calibration.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace mirvo::workbench {
namespace {

const float (&Plane(const LscTable& t, int ch))[13][17] {
  return ch == 0 ? t.r_gain : ch == 1 ? t.gr_gain : ch == 2 ? t.gb_gain : t.b_gain;
}
float (&Plane(LscTable& t, int ch))[13][17] {
  return ch == 0 ? t.r_gain : ch == 1 ? t.gr_gain : ch == 2 ? t.gb_gain : t.b_gain;
}

// log G at a node: the mean of the two greens' logs.
double LogGreen(const FlatFieldFit& f, int r, int c) { return 0.5 * (f.log_level[1][r][c] + f.log_level[2][r][c]); }

}  // namespace

bool FitFlatField(const FlatFieldBlocks* blocks, size_t count, FlatFieldFit* fit) {
  if (count == 0) return false;
  uint64_t samples = 0, clipped = 0;
  for (size_t k = 0; k < count; ++k) {
    samples += blocks[k].samples;
    clipped += blocks[k].clipped;
  }
  fit->clipped_share = samples ? static_cast<double>(clipped) / samples : 0.0;
  std::vector<float> green;
  for (size_t k = 0; k < count; ++k)
    for (int i = 0; i < kFlatBlocks; ++i) green.push_back(0.5f * (blocks[k].level[1][i] + blocks[k].level[2][i]));
  std::nth_element(green.begin(), green.begin() + green.size() / 2, green.end());
  fit->median_green = green[green.size() / 2];

  fit->residual_p90 = 0.0;
  fit->residual_rms = 0.0;
  fit->outlier_share = 0.0;
  std::vector<float> values(kFlatBlocks), weights(kFlatBlocks), residual(kFlatBlocks);
  std::vector<double> all_abs;
  for (int ch = 0; ch < 4; ++ch) {
    // Average the logs of the captures, each first brought to a mean log of zero.
    std::fill(values.begin(), values.end(), 0.0f);
    std::fill(weights.begin(), weights.end(), 1.0f);
    for (size_t k = 0; k < count; ++k) {
      double sum = 0.0;
      int n = 0;
      for (int i = 0; i < kFlatBlocks; ++i)
        if (blocks[k].level[ch][i] > 0.0f) {
          sum += std::log(blocks[k].level[ch][i]);
          ++n;
        }
      const double mean = n ? sum / n : 0.0;
      for (int i = 0; i < kFlatBlocks; ++i) {
        if (blocks[k].level[ch][i] > 0.0f)
          values[i] += static_cast<float>((std::log(blocks[k].level[ch][i]) - mean) / count);
        else
          weights[i] = 0.0f;
      }
    }
    ShadingSurfaceFit surface;
    if (!FitShadingSurface(values.data(), weights.data(), blocks[0].x, kFlatBlockCols, blocks[0].y, kFlatBlockRows,
                           &surface, residual.data()))
      return false;
    for (int r = 0; r < 13; ++r)
      for (int c = 0; c < 17; ++c) fit->log_level[ch][r][c] = surface.node[r][c];
    for (int i = 0; i < kFlatBlocks; ++i)
      if (weights[i] > 0.0f) all_abs.push_back(std::fabs(residual[i]));
    fit->residual_rms = std::max(fit->residual_rms, surface.residual_rms);
    fit->outlier_share = std::max(fit->outlier_share, static_cast<double>(surface.outliers) / kFlatBlocks);
  }
  if (!all_abs.empty()) {
    const size_t k = all_abs.size() * 9 / 10;
    std::nth_element(all_abs.begin(), all_abs.begin() + k, all_abs.end());
    fit->residual_p90 = all_abs[k];
  }
  return true;
}

FlatFieldVerdict JudgeFlatField(const FlatFieldFit& fit) {
  FlatFieldVerdict v;
  if (fit.clipped_share > kMaxClippedShare) {
    v = {FlatFieldProblem::kClipped, fit.clipped_share, kMaxClippedShare};
  } else if (fit.median_green < kMinFlatLevel * 16383.0) {
    v = {FlatFieldProblem::kTooDark, fit.median_green / 16383.0, kMinFlatLevel};
  } else if (fit.residual_p90 > kMaxFlatResidual) {
    v = {FlatFieldProblem::kNotFlat, fit.residual_p90, kMaxFlatResidual};
  } else if (fit.outlier_share > kMaxOutlierShare) {
    v = {FlatFieldProblem::kNotFlat, fit.outlier_share, kMaxOutlierShare};
  }
  return v;
}

void CaptureDifference(const FlatFieldFit& a, const FlatFieldFit& b, double* colour, double* luma) {
  // Differences of demeaned shading: exposure and white balance drop out.
  double d[3][13][17];
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) {
      const double ga = LogGreen(a, r, c), gb = LogGreen(b, r, c);
      d[0][r][c] = (a.log_level[0][r][c] - ga) - (b.log_level[0][r][c] - gb);
      d[1][r][c] = (a.log_level[3][r][c] - ga) - (b.log_level[3][r][c] - gb);
      d[2][r][c] = ga - gb;
    }
  double worst[3] = {0.0, 0.0, 0.0};
  for (int k = 0; k < 3; ++k) {
    double mean = 0.0;
    for (const auto& row : d[k])
      for (double v : row) mean += v / 221.0;
    for (const auto& row : d[k])
      for (double v : row) worst[k] = std::max(worst[k], std::fabs(v - mean));
  }
  *colour = std::max(worst[0], worst[1]);
  *luma = worst[2];
}

LscTable GainsFromFit(const FlatFieldFit& fit, float luminance_strength) {
  const double s = luminance_strength;
  LscTable table;
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) {
      const double g = LogGreen(fit, r, c);
      // Green planes: their own inverse shading to the power s. Red and blue:
      // the full inverse colour ratio on top of the green correction.
      table.gr_gain[r][c] = static_cast<float>(-s * fit.log_level[1][r][c]);
      table.gb_gain[r][c] = static_cast<float>(-s * fit.log_level[2][r][c]);
      table.r_gain[r][c] = static_cast<float>(-(fit.log_level[0][r][c] - g) - s * g);
      table.b_gain[r][c] = static_cast<float>(-(fit.log_level[3][r][c] - g) - s * g);
    }
  for (int ch = 0; ch < 4; ++ch) {
    float(&p)[13][17] = Plane(table, ch);
    float lo = p[0][0];
    for (const auto& row : p)
      for (float v : row) lo = std::min(lo, v);
    for (auto& row : p)
      for (float& v : row) v = static_cast<float>(std::exp(static_cast<double>(v) - lo));
  }
  return table;
}

CalibrationSummary SummariseFit(const FlatFieldFit& fit) {
  CalibrationSummary s;
  for (int ch = 0; ch < 4; ++ch) {
    const auto& l = fit.log_level[ch];
    const double corners = (std::exp(l[0][0]) + std::exp(l[0][16]) + std::exp(l[12][0]) + std::exp(l[12][16])) / 4.0;
    s.falloff_ev[ch] = std::log2(std::exp(l[6][8]) / corners);
  }
  double lo[2] = {1e30, 1e30}, hi[2] = {-1e30, -1e30};
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) {
      const double g = LogGreen(fit, r, c);
      const double ratio[2] = {fit.log_level[0][r][c] - g, fit.log_level[3][r][c] - g};
      for (int k = 0; k < 2; ++k) {
        lo[k] = std::min(lo[k], ratio[k]);
        hi[k] = std::max(hi[k], ratio[k]);
      }
    }
  s.rg_peak_to_peak = hi[0] - lo[0];
  s.bg_peak_to_peak = hi[1] - lo[1];
  return s;
}

void CorrectedFlatField(const FlatFieldBlocks& blocks, const LscTable& table, float (*out)[kFlatBlocks]) {
  for (int ch = 0; ch < 4; ++ch) {
    double sum = 0.0;
    for (int by = 0; by < kFlatBlockRows; ++by)
      for (int bx = 0; bx < kFlatBlockCols; ++bx) {
        const int i = by * kFlatBlockCols + bx;
        out[ch][i] = blocks.level[ch][i] * LatticeValueAt(Plane(table, ch), blocks.x[bx], blocks.y[by]);
        sum += out[ch][i];
      }
    const float mean = static_cast<float>(sum / kFlatBlocks);
    for (float& v : out[ch]) v = mean > 0.0f ? v / mean : 0.0f;
  }
}

}  // namespace mirvo::workbench
