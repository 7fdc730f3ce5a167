#include "workbench/calibration/profile_learning.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "core/crop_info.h"
#include "resample/learned_tint_profile.h"

namespace mirvo::workbench {
namespace {

using Surface = std::vector<double>;  // 221 node values, row-major

// Differences smaller than this (in log units, RMS over the nodes) are the
// five-decimal rounding of the table files, not a calibration.
constexpr double kDistinctRms = 1e-4;

double Log(float gain) { return std::log(static_cast<double>(gain)); }

bool Positive(const LscTable& t) {
  const float* g = &t.r_gain[0][0];
  for (int i = 0; i < 884; ++i)
    if (!(g[i] > 0.0f) || !std::isfinite(g[i])) return false;
  return true;
}

// log(plane / green) at every node.
Surface LogRatio(const LscTable& t, const float (LscTable::*plane)[13][17]) {
  Surface s(221);
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c)
      s[r * 17 + c] = Log((t.*plane)[r][c]) - 0.5 * (Log(t.gr_gain[r][c]) + Log(t.gb_gain[r][c]));
  return s;
}

void RemoveMean(Surface* s) {
  double m = 0.0;
  for (double v : *s) m += v / s->size();
  for (double& v : *s) v -= m;
}

double Dot(const Surface& a, const Surface& b) {
  double s = 0.0;
  for (size_t i = 0; i < a.size(); ++i) s += a[i] * b[i];
  return s;
}

// The power iteration stops once no element of the unit direction moves by
// more than this between two steps, far below the float the profile is
// stored in; the cap bounds it when two directions explain almost the same.
constexpr double kPowerTolerance = 1e-12;
constexpr int kMaxPowerIterations = 200;

// The profile for one chroma component: the dominant direction of the
// differences (power iteration on their scatter, seeded with the largest),
// scaled so that the largest difference projects to +1.
void Learn(const std::vector<Surface>& diffs, float (&out)[13][17], double* explained, std::vector<double>* proj) {
  double total = 0.0;
  size_t largest = 0;
  for (size_t t = 0; t < diffs.size(); ++t) {
    const double e = Dot(diffs[t], diffs[t]);
    total += e;
    if (e > Dot(diffs[largest], diffs[largest])) largest = t;
  }
  proj->assign(diffs.size(), 0.0);
  *explained = 0.0;
  if (total <= 0.0) {  // this component does not change with the illuminant
    for (auto& row : out)
      for (float& v : row) v = 0.0f;
    return;
  }
  Surface p = diffs[largest];
  for (int it = 0; it < kMaxPowerIterations; ++it) {
    Surface next(221, 0.0);
    for (const Surface& d : diffs) {
      const double k = Dot(d, p);
      for (int i = 0; i < 221; ++i) next[i] += k * d[i];
    }
    // p is a non-zero vector in the span of the differences, so
    // next . p = sum (d . p)^2 > 0: the norm is positive.
    const double norm = std::sqrt(Dot(next, next));
    double change = 0.0;
    for (int i = 0; i < 221; ++i) {
      next[i] /= norm;
      change = std::max(change, std::fabs(next[i] - p[i]));
    }
    p = next;
    if (change < kPowerTolerance) break;
  }
  // Unit p: the projections are the dot products; scale so the largest is +1.
  double best = 0.0;
  for (const Surface& d : diffs) {
    const double k = Dot(d, p);
    if (std::fabs(k) > std::fabs(best)) best = k;
  }
  double captured = 0.0;
  proj->clear();
  for (const Surface& d : diffs) {
    const double k = Dot(d, p);
    captured += k * k;
    proj->push_back(k / best);
  }
  *explained = captured / total;
  for (int i = 0; i < 221; ++i) out[i / 17][i % 17] = static_cast<float>(p[i] * best);
}

}  // namespace

double GreenShapeDifference(const LscTable& a, const LscTable& b) {
  Surface d(221);
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c)
      d[r * 17 + c] = 0.5 * (Log(a.gr_gain[r][c]) + Log(a.gb_gain[r][c]) - Log(b.gr_gain[r][c]) - Log(b.gb_gain[r][c]));
  RemoveMean(&d);
  double worst = 0.0;
  for (double v : d) worst = std::max(worst, std::fabs(v));
  return worst;
}

errCode LearnTintProfile(const LscTable* tables, size_t count, size_t reference, LearnedTintProfile* profile,
                         ProfileLearningReport* report) {
  if (count < 2 || reference >= count) return kInvalidInput;
  for (size_t t = 0; t < count; ++t)
    if (!Positive(tables[t])) return kInvalidInput;
  std::vector<Surface> du, dv;
  const Surface ref_u = LogRatio(tables[reference], &LscTable::r_gain);
  const Surface ref_v = LogRatio(tables[reference], &LscTable::b_gain);
  bool distinct = false;
  for (size_t t = 0; t < count; ++t) {
    // The tint a scene under illuminant t keeps after the reference table:
    // the reference's correction minus the one t needs.
    Surface u = LogRatio(tables[t], &LscTable::r_gain), v = LogRatio(tables[t], &LscTable::b_gain);
    for (int i = 0; i < 221; ++i) {
      u[i] = ref_u[i] - u[i];
      v[i] = ref_v[i] - v[i];
    }
    RemoveMean(&u);
    RemoveMean(&v);
    distinct = distinct || std::sqrt((Dot(u, u) + Dot(v, v)) / 221.0) > kDistinctRms;
    du.push_back(u);
    dv.push_back(v);
  }
  if (!distinct) return kInvalidInput;
  ProfileLearningReport local;
  ProfileLearningReport* rep = report ? report : &local;
  Learn(du, profile->BUL, &rep->explained_u, &rep->projection_u);
  Learn(dv, profile->BVL, &rep->explained_v, &rep->projection_v);
  LearnedTintProfile cropped;
  Crop(CropInfo{}, *profile, &cropped);
  std::copy(cropped.BgUHXY, cropped.BgUHXY + kNumEdges, profile->BgUHXY);
  std::copy(cropped.BgVHXY, cropped.BgVHXY + kNumEdges, profile->BgVHXY);
  return kOk;
}

std::string LearnTintProfileFromTables(const std::vector<LscTable>& tables, const std::vector<std::string>& names,
                                       size_t reference, LearnedTintProfile* profile, ProfileLearningReport* report) {
  for (size_t k = 0; k < tables.size(); ++k) {
    const float* g = &tables[k].r_gain[0][0];
    for (int i = 0; i < 884; ++i)
      if (!(g[i] > 0.0f)) return names[k] + ": holds a gain that is not positive";
    const double d = GreenShapeDifference(tables[reference], tables[k]);
    if (d > kMaxGreenShapeDiff) {
      char figures[64];
      std::snprintf(figures, sizeof figures, "%.3f in log G (at most %.2f)", d, kMaxGreenShapeDiff);
      return names[k] + ": vignetting differs from " + names[reference] + "'s by " + figures +
             ": not the same module and geometry";
    }
  }
  if (LearnTintProfile(tables.data(), tables.size(), reference, profile, report) != kOk)
    return names[reference] + ": the tables' colour ratios do not differ; give tables of at least two illuminants";
  return std::string();
}

}  // namespace mirvo::workbench
