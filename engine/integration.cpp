#include <algorithm>
#include <cstring>

#include "core/log_tag.h"
#include "core/simd4.h"
#include "engine/filters.h"
#include "engine/grid_kernels.h"
#include "engine/mirvo_hybrid.h"

namespace mirvo {

namespace internal {

namespace {

constexpr int kHalf = 16;  // lattice intervals per row

// The passes below each finish before the next reads their output at a
// shifted position, so no load has to wait for stores that are still in
// flight.

// lx: each pair of statistics rows (2k, 2k+1) is extrapolated onto lattice
// rows k and k+1; a lattice row sums, from zero, the share of the pair above
// and then that of the pair below. Border rows get one share, doubled. A
// statistics row contributes R[c] = 0.5 (P[2c] + 2 P[2c+1] + P[2c+2]), with P
// the row with its first and last entry repeated, split here into its even
// entries and its odd ones (with the repeated ends) so that every loop runs
// over whole vectors.
void LatticeX(const Matrix<float>& gx, Matrix<float>& lx) {
  float mid[24][kHalf];       // P[2c+1] = g[2c]
  float side[24][kHalf + 1];  // P[2c] = g[2c-1], with P[0] = g[0] and P[32] = g[30]
  for (int s = 0; s < 24; ++s) {
    float last[2 * kHalf];
    const float* g = gx[s];
    if (s == 23) {  // the others may read one entry into the next row
      std::memcpy(last, g, 31 * sizeof(float));
      last[31] = 0.0f;
      g = last;
    }
    for (int c = 0; c < kHalf; ++c) {
      mid[s][c] = g[2 * c];
      side[s][c + 1] = g[2 * c + 1];
    }
    side[s][0] = g[0];
    side[s][kHalf] = g[30];
  }
  float r[24][kHalf];
  for (int s = 0; s < 24; ++s) {
    for (int c = 0; c < kHalf; ++c) r[s][c] = 0.5f * ((side[s][c] + 2.0f * mid[s][c]) + side[s][c + 1]);
  }
  float* out = lx.data.data();
  for (int c = 0; c < kHalf; ++c) out[c] = (0.0f + 0.25f * (3.0f * r[0][c] - r[1][c])) * 2.0f;
  for (int k = 1; k < 12; ++k) {
    float* o = out + k * kHalf;
    const float* a0 = r[2 * k - 2];
    const float* b0 = r[2 * k - 1];
    const float* a1 = r[2 * k];
    const float* b1 = r[2 * k + 1];
    for (int c = 0; c < kHalf; ++c) o[c] = (0.0f + 0.25f * (3.0f * b0[c] - a0[c])) + 0.25f * (3.0f * a1[c] - b1[c]);
  }
  for (int c = 0; c < kHalf; ++c) out[12 * kHalf + c] = (0.0f + 0.25f * (3.0f * r[23][c] - r[22][c])) * 2.0f;
}

// ly: column pairs (2c, 2c+1) onto lattice columns c and c+1, from the
// vertical differences padded by repeating their first and last row; a
// lattice column sums, from zero, the share of the pair to its left and then
// that of the pair to its right. C is the [1 2 1] sum down the even column,
// D three times the centre of the odd column plus the entry below (no entry
// above: the tuned tables depend on this form).
void LatticeY(const Matrix<float>& gy, Matrix<float>& ly) {
  float even[23][kHalf];
  float odd[23][kHalf];
  for (int j = 0; j < 23; ++j) {
    const float* g = gy[j];
    for (int c = 0; c < kHalf; ++c) {
      even[j][c] = g[2 * c];
      odd[j][c] = g[2 * c + 1];
    }
  }
  const auto padded = [](int i) { return i < 1 ? 0 : (i > 23 ? 22 : i - 1); };
  float left[12][kHalf + 1];  // share of pair c - 1 for column c; none for column 0
  float right[12][kHalf];     // share of pair c for column c
  for (int k = 0; k < 12; ++k) {
    const float* e0 = even[padded(2 * k)];
    const float* e1 = even[padded(2 * k + 1)];
    const float* e2 = even[padded(2 * k + 2)];
    const float* o1 = odd[padded(2 * k + 1)];
    const float* o2 = odd[padded(2 * k + 2)];
    for (int c = 0; c < kHalf; ++c) {
      const float cc = 0.5f * ((e0[c] + 2.0f * e1[c]) + e2[c]);
      const float d = 0.5f * (3.0f * o1[c] + o2[c]);
      right[k][c] = 0.25f * (3.0f * cc - d);
      left[k][c + 1] = 0.25f * (3.0f * d - cc);
    }
    left[k][0] = 0.0f;
  }
  for (int k = 0; k < 12; ++k) {
    float* o = ly[k];
    for (int c = 0; c < kHalf; ++c) o[c] = (0.0f + left[k][c]) + right[k][c];
    o[0] = (0.0f + right[k][0]) * 2.0f;
    o[kHalf] = (0.0f + left[k][kHalf]) * 2.0f;
  }
}

}  // namespace

void Matrix24x32ToMatrix13x17(const Matrix<float>& gx, const Matrix<float>& gy, Matrix<float>& lx, Matrix<float>& ly) {
  LatticeX(gx, lx);
  LatticeY(gy, ly);
}

void Integrator(int c0, int r0, const Matrix<float>& lx, const Matrix<float>& ly, Matrix<float>& out) {
  const int w = ly.cols;
  const int h = lx.rows;
  out.Resize(w, h);
  std::fill(out.data.begin(), out.data.end(), 0.0f);

  for (int c = c0 + 1; c < w; ++c) out[r0][c] = out[r0][c - 1] + lx[r0][c - 1];
  for (int c = c0 - 1; c >= 0; --c) out[r0][c] = out[r0][c + 1] - lx[r0][c];
  for (int r = r0 + 1; r < h; ++r) out[r][c0] = out[r - 1][c0] + ly[r - 1][c0];
  for (int r = r0 - 1; r >= 0; --r) out[r][c0] = out[r + 1][c0] - ly[r][c0];

  // Each quadrant sweeps away from the start node, so both the vertical and
  // the horizontal neighbour towards it are already known.
  for (int r = r0 + 1; r < h; ++r)
    for (int c = c0 + 1; c < w; ++c)
      out[r][c] = 0.5f * ((out[r - 1][c] + ly[r - 1][c]) + (out[r][c - 1] + lx[r][c - 1]));
  for (int r = r0 - 1; r >= 0; --r)
    for (int c = c0 + 1; c < w; ++c) out[r][c] = 0.5f * ((out[r + 1][c] - ly[r][c]) + (out[r][c - 1] + lx[r][c - 1]));
  for (int r = r0 + 1; r < h; ++r)
    for (int c = c0 - 1; c >= 0; --c) out[r][c] = 0.5f * ((out[r - 1][c] + ly[r - 1][c]) + (out[r][c + 1] - lx[r][c]));
  for (int r = r0 - 1; r >= 0; --r)
    for (int c = c0 - 1; c >= 0; --c) out[r][c] = 0.5f * ((out[r + 1][c] - ly[r][c]) + (out[r][c + 1] - lx[r][c]));
}

}  // namespace internal

namespace {

constexpr int kLatticeRows = 13;
constexpr int kLatticeCols = 17;
constexpr int kNodes = kLatticeRows * kLatticeCols;

using Pair = internal::FloatPair;
using Quad = internal::F4;  // two nodes

struct PairedLattice {
  Pair lx[kLatticeRows][kLatticeCols - 1];
  Pair ly[kLatticeRows - 1][kLatticeCols];
};

template <int N>
void Interleave(const float* __restrict u, const float* __restrict v, Pair* __restrict out) {
  for (int i = 0; i < N; ++i) out[i] = Pair{u[i], v[i]};
}

using PathGrid = Pair[kLatticeRows][kLatticeCols];

// Start row and column of the path grid: the two axes through the start node,
// integrated outwards (steps 1 to 5 of one integration).
void Axes(const PairedLattice& l, int r0, int c0, PathGrid& t) {
  t[r0][c0] = Pair{0.0f, 0.0f};
  for (int c = c0 + 1; c < kLatticeCols; ++c) t[r0][c] = t[r0][c - 1] + l.lx[r0][c - 1];
  for (int c = c0 - 1; c >= 0; --c) t[r0][c] = t[r0][c + 1] - l.lx[r0][c];
  for (int r = r0 + 1; r < kLatticeRows; ++r) t[r][c0] = t[r - 1][c0] + l.ly[r - 1][c0];
  for (int r = r0 - 1; r >= 0; --r) t[r][c0] = t[r + 1][c0] - l.ly[r][c0];
}

// One row of a quadrant, moving away from its start node by kDr rows and kDc
// columns per step: the node is the mean of its two predictions from the
// neighbours towards the start node, exactly as in Integrator.
template <int kDr, int kDc>
struct QuadrantRow {
  Pair* out;         // node [r][c0]
  const Pair* near;  // node [r - kDr][c0], already final
  const Pair* ly;    // vertical difference between the two: ly[r - 1] down, ly[r] up, at c0
  // Horizontal difference towards the start: lx[r][c - 1] right, lx[r][c]
  // left. Kept as row and index, since c0 - 1 is -1 for a start on the left
  // border and a pointer there would lie outside the row.
  const Pair* lx_row;
  int lx_at;
  Pair prev;  // the horizontal neighbour towards the start

  QuadrantRow(PathGrid& t, const PairedLattice& l, int r, int c0)
      : out(&t[r][c0]),
        near(&t[r - kDr][c0]),
        ly(&l.ly[kDr > 0 ? r - 1 : r][c0]),
        lx_row(l.lx[r]),
        lx_at(kDc > 0 ? c0 - 1 : c0),
        prev(t[r][c0]) {}

  void Step(int j) {
    const int c = kDc * j;
    const Pair half = {0.5f, 0.5f};
    const Pair vertical = kDr > 0 ? near[c] + ly[c] : near[c] - ly[c];
    const Pair horizontal = kDc > 0 ? prev + lx_row[lx_at + c] : prev - lx_row[lx_at + c];
    prev = half * (vertical + horizontal);
    out[c] = prev;
  }
};

struct Quadrant {
  PathGrid* t;
  int r0;
  int c0;
};

// The four quadrants of a group: equal size, one of each orientation (lower
// right, upper right, lower left, upper left of their own start nodes), swept
// together so that four independent recurrences are in flight instead of
// one. Each node's neighbours towards its start node are final before it is
// visited, so visiting quadrants side by side, each in its own sweep order,
// changes nothing.
void QuadrantGroup(const PairedLattice& l, int h, int w, Quadrant lr, Quadrant ur, Quadrant ll, Quadrant ul) {
  for (int i = 1; i <= h; ++i) {
    QuadrantRow<1, 1> a(*lr.t, l, lr.r0 + i, lr.c0);
    QuadrantRow<-1, 1> b(*ur.t, l, ur.r0 - i, ur.c0);
    QuadrantRow<1, -1> c(*ll.t, l, ll.r0 + i, ll.c0);
    QuadrantRow<-1, -1> d(*ul.t, l, ul.r0 - i, ul.c0);
    for (int j = 1; j <= w; ++j) {
      a.Step(j);
      b.Step(j);
      c.Step(j);
      d.Step(j);
    }
  }
}

// Mean over the start nodes: the sum in start order from 0, then / count,
// two nodes at a time (the odd last node alone).
template <typename V, int kNodesPerStep>
void Average(const PathGrid* paths, int first, float* __restrict u, float* __restrict v) {
  const Pair* p = &paths[0][0][0] + first;
  const auto path = [p](int k) {
    V x;
    std::memcpy(&x, p + k * kNodes, sizeof(V));
    return x;
  };
  V s = V{} + 0.0f;
  s = s + path(0);
  s = s + path(1);
  s = s + path(2);
  s = s + path(3);
  s = s + path(4);
  s = s + path(5);
  s = s + path(6);
  s = s + path(7);
  s = s + path(8);
  const V q = s / (V{} + 9.0f);
  for (int j = 0; j < kNodesPerStep; ++j) {
    u[first + j] = q[2 * j];
    v[first + j] = q[2 * j + 1];
  }
}

// Temporal blend (optional) and the profile's share added back, node by
// node: t' = t + g (tint - t) is both the new temporal state and the tint,
// then tint = profile x prj + t'.
template <bool kBlend, int kBegin, int kEnd>
void BlendAndAddProfile(float g, const float* __restrict pu, const float* __restrict pv, float prj_u, float prj_v,
                        float* __restrict tu, float* __restrict tv, float* __restrict lu, float* __restrict lv) {
  for (int i = kBegin; i < kEnd; ++i) {
    float u = lu[i];
    float v = lv[i];
    if (kBlend) {
      u = tu[i] + g * (u - tu[i]);
      v = tv[i] + g * (v - tv[i]);
      tu[i] = u;
      tv[i] = v;
    }
    lu[i] = pu[i] * prj_u + u;
    lv[i] = pv[i] * prj_v + v;
  }
}

// Whole four-lane steps (vectorised), then the last node.
template <bool kBlend>
void BlendAndAddProfile(float g, const float* pu, const float* pv, float prj_u, float prj_v, float* tu, float* tv,
                        float* lu, float* lv) {
  constexpr int kMain = kNodes / 4 * 4;
  BlendAndAddProfile<kBlend, 0, kMain>(g, pu, pv, prj_u, prj_v, tu, tv, lu, lv);
  BlendAndAddProfile<kBlend, kMain, kNodes>(g, pu, pv, prj_u, prj_v, tu, tv, lu, lv);
}

}  // namespace

void MirvoHybrid::IntegratorSum() {
  PairedLattice l;
  Interleave<kLatticeRows*(kLatticeCols - 1)>(GradL_UX.data.data(), GradL_VX.data.data(), &l.lx[0][0]);
  Interleave<(kLatticeRows - 1) * kLatticeCols>(GradL_UY.data.data(), GradL_VY.data.data(), &l.ly[0][0]);

  // Start nodes: corners, edge midpoints and centre, rows outer. Averaging
  // them removes the path dependence of a single integration and its
  // reference level.
  PathGrid* t = integration_paths_;
  constexpr int kRowStep = kLatticeRows / 2;  // 6
  constexpr int kColStep = kLatticeCols / 2;  // 8
  for (int k = 0; k < 9; ++k) Axes(l, (k / 3) * kRowStep, (k % 3) * kColStep, t[k]);
  // The sixteen quadrants fall into four groups of equal size.
  const auto at = [&](int ri, int ci) { return Quadrant{&t[3 * ri + ci], ri * kRowStep, ci * kColStep}; };
  QuadrantGroup(l, 12, 16, at(0, 0), at(2, 0), at(0, 2), at(2, 2));
  QuadrantGroup(l, 12, 8, at(0, 1), at(2, 1), at(0, 1), at(2, 1));
  QuadrantGroup(l, 6, 16, at(1, 0), at(1, 0), at(1, 2), at(1, 2));
  QuadrantGroup(l, 6, 8, at(1, 1), at(1, 1), at(1, 1), at(1, 1));

  float* u = log_tint_u.data.data();
  float* v = log_tint_v.data.data();
  int i = 0;
  for (; i + 2 <= kNodes; i += 2) Average<Quad, 2>(t, i, u, v);
  Average<Pair, 1>(t, i, u, v);
}

void MirvoHybrid::IntegrateGradientResidue() {
  if (pconfig_params_ == nullptr) {
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "Mirvo is not configured. pconfig_params_ is nullptr");
    return;
  }
  const TuningParams& tuning = pconfig_params_->tuning;

  IntegratorSum();

  if (tuning.filter_input_stats == 1) {
    Filters::Gauss_3x3(log_tint_u);
    Filters::Gauss_3x3(log_tint_v);
  }

  const LearnedTintProfile& profile = pconfig_params_->learned_tint_profile;
  // The profile's share was taken out before integration; put it back after
  // the blend, which therefore smooths only the residue.
  if (tuning.enable_temporal_filter != 0) {
    BlendAndAddProfile<true>(temporal_update_gain_, &profile.BUL[0][0], &profile.BVL[0][0], prj_u_, prj_v_,
                             temporal_tint_u_.data.data(), temporal_tint_v_.data.data(), log_tint_u.data.data(),
                             log_tint_v.data.data());
  } else {
    BlendAndAddProfile<false>(0.0f, &profile.BUL[0][0], &profile.BVL[0][0], prj_u_, prj_v_, nullptr, nullptr,
                              log_tint_u.data.data(), log_tint_v.data.data());
  }
}

}  // namespace mirvo
