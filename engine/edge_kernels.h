#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>

#include "core/mirvo_params.h"
#include "engine/simd4.h"

// Per-row building blocks of the gradient stage and the profile fit. They
// work on 32 lanes at a time (one row of cells); a horizontal row has only 31
// edges and its 32nd lane is computed but never used.
namespace mirvo {
namespace internal {

constexpr int kEdgeLanes = 32;

// The four weighted least-squares sums of the fit, one per lane of a small
// vector: each lane adds its own terms in ascending edge order, so the four
// chains run side by side with the latency of one. The terms of an edge are
// (PU x gu) x w, (PU x PU) x w, (PV x gv) x w, (PV x PV) x w, side by side.
using FourSums = F4;

struct FitSums {
  FourSums acc = {0.0f, 0.0f, 0.0f, 0.0f};  // Nu, Du, Nv, Dv

  void Add(const float (*terms)[4], int n) {
    FourSums a = acc;
    for (int k = 0; k < n; ++k) {
      FourSums t;
      std::memcpy(&t, terms[k], sizeof t);
      a = a + t;
    }
    acc = a;
  }
  float nu() const { return acc[0]; }
  float du() const { return acc[1]; }
  float nv() const { return acc[2]; }
  float dv() const { return acc[3]; }
};

// All 32 lanes of one row, for a destination that cannot take the 32nd.
struct EdgeRowScratch {
  float gu[kEdgeLanes];
  float gv[kEdgeLanes];
  float w[kEdgeLanes];
};

// Differences b - a of both planes, the edge weight ramp and the weighting of
// the differences, for 32 lanes; with `kept` (all-ones lanes where the edge
// is reliable) the differences of unreliable edges become +0, as the mask
// step's 0.0f (never the weight); with `sums`, a second copy of the weights,
// and the projection terms of lanes [kFirst, kEnd) added to the sums in lane
// order, right where they are computed: the sums are one serial chain, and
// this way the vector work of the next lanes runs while the chain waits.
//
// The ramp's fmin(t, 1), fmax(t, 0.0005) and fmax(t, 0) are written as
// selects that give the bound for a NaN t, as minNum/maxNum do (t is an
// arithmetic result, never a signaling NaN). t is never -0 (3 - x is +0 when
// x is 3), so the zero-sign choice of fmax(t, 0), which is +0 for both the
// x86-64 C library and AArch64 fmaxnm, never arises.
template <int kFirst, int kEnd>
inline void EdgeRow(const float* __restrict ua, const float* __restrict ub, const float* __restrict va,
                    const float* __restrict vb, const int32_t* __restrict kept, const float* __restrict pu,
                    const float* __restrict pv, float smooth_thd, float* __restrict gu_out, float* __restrict gv_out,
                    float* __restrict w_out, float* __restrict w_copy, FitSums* sums) {
  const F4 smooth = Splat4(smooth_thd);
  const F4 three = Splat4(3.0f);
  const F4 one = Splat4(1.0f);
  const F4 floor = Splat4(0.0005f);
  const F4 zero = Splat4(0.0f);
  FourSums acc = sums != nullptr ? sums->acc : zero;
  const auto lanes = [&](int k, int from, int to) {
    F4 gu = Load4(ub + k) - Load4(ua + k);
    F4 gv = Load4(vb + k) - Load4(va + k);
    const F4 s = Abs4(gu) + Abs4(gv);
    const F4 t = MinLess4(three - s / smooth, one);
    const F4 w = MaxGreater4(t, floor);
    const F4 m = MaxGreater4(t, zero);
    gu = gu * m;
    gv = gv * m;
    if (kept != nullptr) {
      I4 mask;
      std::memcpy(&mask, kept + k, sizeof mask);
      gu = (F4)((I4)gu & mask);
      gv = (F4)((I4)gv & mask);
    }
    Store4(gu_out + k, gu);
    Store4(gv_out + k, gv);
    Store4(w_out + k, w);
    if (sums != nullptr) {
      Store4(w_copy + k, w);
      const F4 u = Load4(pu + k);
      const F4 v = Load4(pv + k);
      F4 terms[4];
      Transpose4(u * gu * w, u * u * w, v * gv * w, v * v * w, terms);
      for (int l = from; l < to; ++l) acc = acc + terms[l];
    }
  };
  // Whole steps in a loop, the steps holding lanes outside [kFirst, kEnd)
  // apart, so the lane range is known at compile time everywhere.
  constexpr int kLast = kEdgeLanes - 4;
  lanes(0, kFirst, kEnd < 4 ? kEnd : 4);
  for (int k = 4; k < kLast; k += 4) lanes(k, 0, 4);
  lanes(kLast, 0, kEnd - kLast);
  if (sums != nullptr) sums->acc = acc;
}

// All-ones lanes for the non-zero flags of a row.
inline void FlagMasks(const uint8_t* __restrict flags, int32_t* __restrict masks) {
  for (int k = 0; k < kEdgeLanes; ++k) masks[k] = flags[k] != 0 ? -1 : 0;
}

// Projection terms of a run of edges whose differences and weights are known.
constexpr int kTermLanes = 40;  // 37 blocks cover the 1480 edges exactly
static_assert(kNumEdges % kTermLanes == 0, "whole blocks");

inline void ProjectionTerms(const float* __restrict pu, const float* __restrict pv, const float* __restrict gu,
                            const float* __restrict gv, const float* __restrict w, float (*__restrict terms)[4]) {
  for (int k = 0; k < kTermLanes; ++k) {
    terms[k][0] = pu[k] * gu[k] * w[k];
    terms[k][1] = pu[k] * pu[k] * w[k];
    terms[k][2] = pv[k] * gv[k] * w[k];
    terms[k][3] = pv[k] * pv[k] * w[k];
  }
}

}  // namespace internal
}  // namespace mirvo
