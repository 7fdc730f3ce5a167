#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>

#include "core/mirvo_params.h"
#include "core/simd4.h"

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
// (Eight-lane instances are inlined into code of a target that has them.)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpsabi"
template <typename V, int kFirst, int kEnd>
__attribute__((always_inline)) inline void EdgeRow(const float* __restrict ua, const float* __restrict ub,
                                                   const float* __restrict va, const float* __restrict vb,
                                                   const int32_t* __restrict kept, const float* __restrict pu,
                                                   const float* __restrict pv, float smooth_thd,
                                                   float* __restrict gu_out, float* __restrict gv_out,
                                                   float* __restrict w_out, float* __restrict w_copy, FitSums* sums) {
  using I = typename VectorTraits<V>::Int;
  constexpr int kN = VectorTraits<V>::kLanes;
  const V smooth = SplatV<V>(smooth_thd);
  const V three = SplatV<V>(3.0f);
  const V one = SplatV<V>(1.0f);
  const V floor = SplatV<V>(0.0005f);
  const V zero = SplatV<V>(0.0f);
  FourSums acc = sums != nullptr ? sums->acc : Splat4(0.0f);
  const auto lanes = [&](int k, int from, int to) __attribute__((always_inline)) {
    V gu = LoadV<V>(ub + k) - LoadV<V>(ua + k);
    V gv = LoadV<V>(vb + k) - LoadV<V>(va + k);
    const V s = AbsV(gu) + AbsV(gv);
    const V t = MinLessV(three - s / smooth, one);
    const V w = MaxGreaterV(t, floor);
    const V m = MaxGreaterV(t, zero);
    gu = gu * m;
    gv = gv * m;
    if (kept != nullptr) {
      I mask;
      std::memcpy(&mask, kept + k, sizeof mask);
      gu = (V)((I)gu & mask);
      gv = (V)((I)gv & mask);
    }
    StoreV(gu_out + k, gu);
    StoreV(gv_out + k, gv);
    StoreV(w_out + k, w);
    if (sums != nullptr) {
      StoreV(w_copy + k, w);
      const V u = LoadV<V>(pu + k);
      const V v = LoadV<V>(pv + k);
      F4 terms[kN];
      TransposeTerms(u * gu * w, u * u * w, v * gv * w, v * v * w, terms);
#pragma GCC unroll 8
      for (int l = from; l < to; ++l) acc = acc + terms[l];
    }
  };
  // Whole steps in a loop, the steps holding lanes outside [kFirst, kEnd)
  // apart, so the lane range is known at compile time everywhere.
  constexpr int kLast = kEdgeLanes - kN;
  lanes(0, kFirst, kEnd < kN ? kEnd : kN);
  for (int k = kN; k < kLast; k += kN) lanes(k, 0, kN);
  lanes(kLast, 0, kEnd - kLast);
  if (sums != nullptr) sums->acc = acc;
}
#pragma GCC diagnostic pop

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
