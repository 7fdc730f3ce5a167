#include "workbench/calibration/shading_fit.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace mirvo::workbench {
namespace {

// Uniform cubic B-splines with knots at the lattice's integer positions,
// basis k centred on position k - 1 for k = 0 .. n + 2 (one beyond each end).
constexpr int kCoefCols = 16 + 3;
constexpr int kCoefRows = 12 + 3;
constexpr int kCoefs = kCoefCols * kCoefRows;
// Curvature penalty relative to the data: enough to make the few
// coefficients near the border that little data reaches behave, small enough
// not to flatten real shading.
constexpr double kPenalty = 0.002;

// The four nonzero basis values at position p on an axis of `intervals`
// lattice intervals; `first` receives the index of the first.
void Basis(double p, int intervals, int* first, double w[4]) {
  int i = static_cast<int>(std::floor(p));
  i = std::min(std::max(i, 0), intervals - 1);
  const double t = p - i;
  const double s = 1.0 - t;
  w[0] = s * s * s / 6.0;
  w[1] = (3.0 * t * t * t - 6.0 * t * t + 4.0) / 6.0;
  w[2] = (-3.0 * t * t * t + 3.0 * t * t + 3.0 * t + 1.0) / 6.0;
  w[3] = t * t * t / 6.0;
  *first = i;
}

// Half bandwidth of the normal equations: a sample touches the 4 x 4
// coefficients around it, so coefficients more than three rows and three
// columns of the coefficient grid apart never meet.
constexpr int kBand = 3 * kCoefCols + 3;

// Solves the symmetric positive definite banded system a x = b in place
// (Cholesky within the band; entries outside it are zero and stay so).
bool SolveSpd(std::vector<double>& a, std::vector<double>& b, int n) {
  for (int j = 0; j < n; ++j) {
    const int k0 = std::max(0, j - kBand);
    double d = a[j * n + j];
    for (int k = k0; k < j; ++k) d -= a[j * n + k] * a[j * n + k];
    if (!(d > 0.0)) return false;
    d = std::sqrt(d);
    a[j * n + j] = d;
    for (int i = j + 1; i < std::min(n, j + kBand + 1); ++i) {
      double s = a[i * n + j];
      for (int k = std::max(k0, i - kBand); k < j; ++k) s -= a[i * n + k] * a[j * n + k];
      a[i * n + j] = s / d;
    }
  }
  for (int i = 0; i < n; ++i) {
    double s = b[i];
    for (int k = std::max(0, i - kBand); k < i; ++k) s -= a[i * n + k] * b[k];
    b[i] = s / a[i * n + i];
  }
  for (int i = n - 1; i >= 0; --i) {
    double s = b[i];
    for (int k = i + 1; k < std::min(n, i + kBand + 1); ++k) s -= a[k * n + i] * b[k];
    b[i] = s / a[i * n + i];
  }
  return true;
}

// Adds lambda * D'D for second differences along rows and columns of the coefficient grid.
void AddCurvaturePenalty(std::vector<double>& a, double lambda) {
  auto add = [&](int i0, int i1, int i2) {
    const int idx[3] = {i0, i1, i2};
    const double d[3] = {1.0, -2.0, 1.0};
    for (int p = 0; p < 3; ++p)
      for (int q = 0; q < 3; ++q) a[idx[p] * kCoefs + idx[q]] += lambda * d[p] * d[q];
  };
  for (int r = 0; r < kCoefRows; ++r)
    for (int c = 1; c + 1 < kCoefCols; ++c) add(r * kCoefCols + c - 1, r * kCoefCols + c, r * kCoefCols + c + 1);
  for (int r = 1; r + 1 < kCoefRows; ++r)
    for (int c = 0; c < kCoefCols; ++c) add((r - 1) * kCoefCols + c, r * kCoefCols + c, (r + 1) * kCoefCols + c);
}

// Sum of wy[i] * wx[j] * at(i, j) over a 4 x 4 neighbourhood.
template <typename At>
double Weighted4x4(const double (&wx)[4], const double (&wy)[4], At at) {
  double v = 0.0;
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) v += wy[i] * wx[j] * at(i, j);
  return v;
}

double Evaluate(const std::vector<double>& coef, double x, double y) {
  int cx = 0, cy = 0;
  double wx[4], wy[4];
  Basis(x, 16, &cx, wx);
  Basis(y, 12, &cy, wy);
  return Weighted4x4(wx, wy, [&](int i, int j) { return coef[(cy + i) * kCoefCols + cx + j]; });
}

bool Solve(const float* values, const std::vector<double>& weight, const float* x, int cols, const float* y, int rows,
           std::vector<double>* coef) {
  std::vector<double> a(static_cast<size_t>(kCoefs) * kCoefs, 0.0);
  std::vector<double> b(kCoefs, 0.0);
  double total = 0.0;
  for (int r = 0; r < rows; ++r) {
    int cy = 0;
    double wy[4];
    Basis(y[r], 12, &cy, wy);
    for (int c = 0; c < cols; ++c) {
      const double w = weight[r * cols + c];
      if (w == 0.0) continue;
      total += w;
      int cx = 0;
      double wx[4];
      Basis(x[c], 16, &cx, wx);
      int idx[16];
      double phi[16];
      for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
          idx[i * 4 + j] = (cy + i) * kCoefCols + cx + j;
          phi[i * 4 + j] = wy[i] * wx[j];
        }
      // The upper triangle only (idx grows with p); mirrored below.
      for (int p = 0; p < 16; ++p) {
        b[idx[p]] += w * phi[p] * values[r * cols + c];
        for (int q = p; q < 16; ++q) a[idx[p] * kCoefs + idx[q]] += w * phi[p] * phi[q];
      }
    }
  }
  if (total < kCoefs) return false;
  for (int i = 0; i < kCoefs; ++i)
    for (int j = i + 1; j < std::min(kCoefs, i + kBand + 1); ++j) a[j * kCoefs + i] = a[i * kCoefs + j];
  AddCurvaturePenalty(a, kPenalty * total / kCoefs);
  if (!SolveSpd(a, b, kCoefs)) return false;
  *coef = b;
  return true;
}

}  // namespace

bool FitShadingSurface(const float* values, const float* weights, const float* x, int cols, const float* y, int rows,
                       ShadingSurfaceFit* fit, float* residual) {
  const int n = rows * cols;
  std::vector<double> weight(n);
  for (int i = 0; i < n; ++i) weight[i] = weights[i] > 0.0f && std::isfinite(values[i]) ? 1.0 : 0.0;
  std::vector<double> coef;
  std::vector<double> res(n, 0.0);
  int outliers = 0;
  for (int pass = 0; pass < 3; ++pass) {
    if (!Solve(values, weight, x, cols, y, rows, &coef)) return false;
    std::vector<double> abs_res;
    for (int r = 0; r < rows; ++r)
      for (int c = 0; c < cols; ++c) {
        const int i = r * cols + c;
        res[i] = std::isfinite(values[i]) ? values[i] - Evaluate(coef, x[c], y[r]) : 0.0;
        if (weights[i] > 0.0f && std::isfinite(values[i])) abs_res.push_back(std::fabs(res[i]));
      }
    if (pass == 2 || abs_res.empty()) break;
    // Leave out what lies far beyond the typical scatter (5 robust sigmas,
    // never below 0.5 %, so plain noise is never cut).
    std::nth_element(abs_res.begin(), abs_res.begin() + abs_res.size() / 2, abs_res.end());
    const double limit = std::max(5.0 * 1.4826 * abs_res[abs_res.size() / 2], 0.005);
    outliers = 0;
    bool changed = false;
    for (int i = 0; i < n; ++i) {
      const bool usable = weights[i] > 0.0f && std::isfinite(values[i]);
      const double w = usable && std::fabs(res[i]) <= limit ? 1.0 : 0.0;
      changed = changed || w != weight[i];
      weight[i] = w;
      outliers += usable && w == 0.0;
    }
    if (!changed) break;  // the same samples again: the same surface
  }
  double sum = 0.0;
  int kept = 0;
  for (int i = 0; i < n; ++i) {
    if (residual) residual[i] = static_cast<float>(res[i]);
    if (weight[i] > 0.0) {
      sum += res[i] * res[i];
      ++kept;
    }
  }
  fit->residual_rms = kept ? std::sqrt(sum / kept) : 0.0;
  fit->outliers = outliers;
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) fit->node[r][c] = static_cast<float>(Evaluate(coef, c, r));
  return true;
}

float LatticeValueAt(const float (&node)[13][17], float x, float y) {
  // Catmull-Rom through the nodes, the missing outer samples taken on the
  // straight line through the last two, as the library's resampler does.
  auto axis = [](double p, int n, int* start, double w[4]) {
    int s = static_cast<int>(std::floor(p)) - 1;
    s = std::min(std::max(s, -1), n - 3);
    const double t = p - s - 1;
    double v[4] = {t * (t * (1 - 0.5 * t) - 0.5), t * (t * (1.5 * t - 2.5)) + 1, t * (t * (2 - 1.5 * t) + 0.5),
                   t * (t * (0.5 * t - 0.5))};
    if (s == -1) {
      w[0] = v[1] + 2 * v[0], w[1] = v[2] - v[0], w[2] = v[3], w[3] = 0;
      *start = 0;
    } else if (s == n - 3) {
      w[0] = 0, w[1] = v[0], w[2] = v[1] - v[3], w[3] = v[2] + 2 * v[3];
      *start = n - 4;
    } else {
      for (int i = 0; i < 4; ++i) w[i] = v[i];
      *start = s;
    }
  };
  int sx = 0, sy = 0;
  double wx[4], wy[4];
  axis(x, 17, &sx, wx);
  axis(y, 13, &sy, wy);
  return static_cast<float>(Weighted4x4(wx, wy, [&](int i, int j) { return node[sy + i][sx + j]; }));
}

}  // namespace mirvo::workbench
