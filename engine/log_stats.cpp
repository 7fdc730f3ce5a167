#include "engine/log_stats.h"

#include <cmath>
#include <cstring>

#include "core/simd4.h"
#include "core/vector_math.h"

// The eight-lane cell pass below passes its vectors only between
// always-inlined helpers inside the AVX2 function, never across an ABI
// boundary; GCC still notes the ABI change, at the end of the file.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace mirvo {

namespace {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "cells are read as little-endian words");

// A cell read as eight 32-bit words: the four sums, then the counts and the
// saturated counts packed two per word. One interleaved group of eight words
// is what lets the compiler vectorise the pass over cells.
typedef uint32_t __attribute__((may_alias)) CellWord;
constexpr int kCellWords = sizeof(StatsCell) / sizeof(uint32_t);
static_assert(kCellWords == 8, "StatsCell is eight words");

constexpr int kRows = 24;
constexpr int kCols = 32;

inline float Low(uint32_t w) { return static_cast<float>(static_cast<int>(w & 0xffffu)); }
inline float High(uint32_t w) { return static_cast<float>(static_cast<int>(w >> 16)); }

// Saturation test sat > trunc(limit) for a negative ratio (an odd tuning):
// below 2^23 in magnitude the truncation is the round trip through int (the
// sign of a zero result is irrelevant, sat >= 0), above it the float is
// integral already, and NaN stays NaN.
inline bool OverLimitNegativeRatio(float sat, float limit) {
  const float t = std::fabs(limit) < 8388608.0f ? static_cast<float>(static_cast<int>(limit)) : limit;
  return sat > t;
}

// Plain comparisons: a NaN mean fails neither test.
inline bool OutOfLevel(float mean, float lo, float hi) { return mean > hi || mean <= lo; }

// One row of cells: the ratios R/G and B/G (logs taken by the caller) and
// whether the cell is reliable in both components.
void CellRowNegativeRatio(const CellWord* w, float lo, float hi, float s, float* ratio_u, float* ratio_v,
                          int32_t* both) {
  for (int c = 0; c < kCols; ++c) {
    const CellWord* cell = w + kCellWords * c;
    const uint32_t cnt_r_gr = cell[4];
    const uint32_t cnt_gb_b = cell[5];
    const uint32_t sat_r_gr = cell[6];
    const uint32_t sat_gb_b = cell[7];
    const int green_cnt = static_cast<int>(cnt_r_gr >> 16) + static_cast<int>(cnt_gb_b & 0xffffu);

    float g = static_cast<float>(cell[Gr] + cell[Gb]) / static_cast<float>(green_cnt);
    g = g < lo ? lo : g;
    float rm = static_cast<float>(cell[R]) / Low(cnt_r_gr);
    rm = rm < lo ? lo : rm;
    float bm = static_cast<float>(cell[B]) / High(cnt_gb_b);
    bm = bm < lo ? lo : bm;
    ratio_u[c] = rm / g;
    ratio_v[c] = bm / g;

    const bool green_fails = OutOfLevel(g, lo, hi) || OverLimitNegativeRatio(High(sat_r_gr), s * High(cnt_r_gr)) ||
                             OverLimitNegativeRatio(Low(sat_gb_b), s * Low(cnt_gb_b));
    const bool red_fails = OutOfLevel(rm, lo, hi) || OverLimitNegativeRatio(Low(sat_r_gr), s * Low(cnt_r_gr));
    const bool blue_fails = OutOfLevel(bm, lo, hi) || OverLimitNegativeRatio(High(sat_gb_b), s * High(cnt_gb_b));
    both[c] = (green_fails || red_fails || blue_fails) ? 0 : 1;
  }
}

// The same for a negative saturation ratio (an odd tuning), row by row.
void CellPassNegativeRatio(const StatsCell* cells, float lo, float hi, float s, float* u, float* v,
                           int32_t (&both)[kRows + 1][kCols]) {
  const CellWord* words = reinterpret_cast<const CellWord*>(cells);
  for (int r = 0; r < kRows; ++r) {
    float* ur = u + r * kCols;
    float* vr = v + r * kCols;
    CellRowNegativeRatio(words + r * kCols * kCellWords, lo, hi, s, ur, vr, both[r]);
    for (int c = 0; c < kCols; ++c) {
      ur[c] = logf(ur[c]);
      vr[c] = logf(vr[c]);
    }
  }
}

// The eight words of kN cells transposed, so that field j of the cells is
// in fields[j]: the four sums, then the packed counts and saturated counts.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpsabi"
__attribute__((always_inline)) inline void CellFields(const CellWord* w, internal::F4 (&fields)[8]) {
  internal::F4 sums[4];
  internal::F4 counts[4];
  internal::Transpose4(internal::Load4Bits(w), internal::Load4Bits(w + 8), internal::Load4Bits(w + 16),
                       internal::Load4Bits(w + 24), sums);
  internal::Transpose4(internal::Load4Bits(w + 4), internal::Load4Bits(w + 12), internal::Load4Bits(w + 20),
                       internal::Load4Bits(w + 28), counts);
  for (int j = 0; j < 4; ++j) {
    fields[j] = sums[j];
    fields[4 + j] = counts[j];
  }
}

#if defined(__x86_64__)
__attribute__((always_inline)) inline void CellFields(const CellWord* w, internal::F8 (&fields)[8]) {
  using internal::F8;
  const auto row = [w](int l) __attribute__((always_inline)) {
    return internal::LoadV<F8>(reinterpret_cast<const float*>(w + kCellWords * l));
  };
  internal::Transpose8(row(0), row(1), row(2), row(3), row(4), row(5), row(6), row(7), fields);
}
#endif

// kN cells (the lanes of V): ratios R/G and B/G into u and v (logs taken
// later), and whether each cell is reliable in both components into flags.
// With a ratio >= 0 (or NaN) the saturation limit is >= 0 or NaN, and for an
// integer sat, sat > trunc(x) is sat > x there, so no truncation is needed.
template <typename V>
__attribute__((always_inline)) inline void CellStep(const CellWord* w, const V& lo, const V& hi, const V& s, float* u,
                                                    float* v, int32_t* flags) {
  using I = typename internal::VectorTraits<V>::Int;
  using U = typename internal::VectorTraits<V>::Unsigned;
  V fields[8];
  CellFields(w, fields);
  const U cnt_r_gr = (U)fields[4];
  const U cnt_gb_b = (U)fields[5];
  const U sat_r_gr = (U)fields[6];
  const U sat_gb_b = (U)fields[7];
  const auto low = [](const U& x) __attribute__((always_inline)) {
    return __builtin_convertvector((I)(x & 0xffffu), V);
  };
  const auto high = [](const U& x) __attribute__((always_inline)) { return __builtin_convertvector((I)(x >> 16), V); };
  const I green_cnt = (I)(cnt_r_gr >> 16) + (I)(cnt_gb_b & 0xffffu);

  // Means raised to lo: lo > m ? lo : m is m < lo ? lo : m.
  const V g = internal::MaxGreaterV(
      lo, internal::U32ToFloatV<V>((U)fields[Gr] + (U)fields[Gb]) / __builtin_convertvector(green_cnt, V));
  const V rm = internal::MaxGreaterV(lo, internal::U32ToFloatV<V>((U)fields[R]) / low(cnt_r_gr));
  const V bm = internal::MaxGreaterV(lo, internal::U32ToFloatV<V>((U)fields[B]) / high(cnt_gb_b));
  internal::StoreV(u, rm / g);
  internal::StoreV(v, bm / g);

  // Plain comparisons: a NaN mean fails neither level test.
  const I fails = (g > hi) | (g <= lo) | (high(sat_r_gr) > s * high(cnt_r_gr)) | (low(sat_gb_b) > s * low(cnt_gb_b)) |
                  (rm > hi) | (rm <= lo) | (low(sat_r_gr) > s * low(cnt_r_gr)) | (bm > hi) | (bm <= lo) |
                  (high(sat_gb_b) > s * high(cnt_gb_b));
  const I reliable = ~fails & 1;
  std::memcpy(flags, &reliable, sizeof reliable);
}
#pragma GCC diagnostic pop

constexpr int kCells = kRows * kCols;

// Four cells per step; the logs are taken afterwards over whole grids, so
// no library call sits inside this loop to spill its vectors.
void CellPass(const StatsCell* cells, float lo, float hi, float s, float* u, float* v,
              int32_t (&both)[kRows + 1][kCols]) {
  const CellWord* words = reinterpret_cast<const CellWord*>(cells);
  int32_t* flags = &both[0][0];
  // The thresholds in every lane once, outside the loop: rebuilt in each
  // step they cost a quarter of it.
  const internal::F4 lo4 = internal::SplatV<internal::F4>(lo);
  const internal::F4 hi4 = internal::SplatV<internal::F4>(hi);
  const internal::F4 s4 = internal::SplatV<internal::F4>(s);
  for (int c = 0; c < kCells; c += 4) {
    CellStep<internal::F4>(words + kCellWords * c, lo4, hi4, s4, u + c, v + c, flags + c);
  }
}

#if defined(__x86_64__)
// Eight cells per step where AVX2 is there: the same operations per lane.
__attribute__((target("avx2"))) void CellPassEight(const StatsCell* cells, float lo, float hi, float s, float* u,
                                                   float* v, int32_t (&both)[kRows + 1][kCols]) {
  const CellWord* words = reinterpret_cast<const CellWord*>(cells);
  int32_t* flags = &both[0][0];
  // Written out rather than through SplatV: clang refuses a call that returns
  // an eight-lane vector from a function built without AVX into this one.
  const internal::F8 lo8 = {lo, lo, lo, lo, lo, lo, lo, lo};
  const internal::F8 hi8 = {hi, hi, hi, hi, hi, hi, hi, hi};
  const internal::F8 s8 = {s, s, s, s, s, s, s, s};
  for (int c = 0; c < kCells; c += 8) {
    CellStep<internal::F8>(words + kCellWords * c, lo8, hi8, s8, u + c, v + c, flags + c);
  }
}
#endif

}  // namespace

LogStats::LogStats() : log_u_input(32, 24, 1.0f), log_v_input(32, 24, 1.0f), is_reliable_dx_(), is_reliable_dy_() {}

errCode LogStats::Init(const Stats& stats, float min_level_thd, float max_level_thd, float sat_ratio_thd) {
  if (stats.cols != log_u_input.cols || stats.rows != log_u_input.rows) return kInvalidInput;
  // The log grids are built 24 x 32 and never reshaped.
  if (stats.cols != kCols || stats.rows != kRows) return kInvalidInput;

  // Only the low five bits count as the shift; unsigned so that a depth of 31
  // does not overflow.
  const uint32_t max_value = (1u << (static_cast<uint32_t>(stats.bit_depth) & 31u)) - 1u;
  const float m = static_cast<float>(max_value);
  const float lo = m * min_level_thd;
  const float hi = m * max_level_thd;
  // The factor M in the saturation limit makes the test lenient; intended.
  const float s = m * sat_ratio_thd;

  // A cell is reliable only when both components are; one spare zero row
  // keeps the edge loops below free of bounds tests.
  int32_t both[kRows + 1][kCols];
  std::memset(both[kRows], 0, sizeof(both[kRows]));
  float* u = log_u_input.data.data();
  float* v = log_v_input.data.data();
  if (s < 0.0f) {
    CellPassNegativeRatio(stats.cells, lo, hi, s, u, v, both);
  } else {
#if defined(__x86_64__)
    if (internal::HaveEightLanes()) {
      CellPassEight(stats.cells, lo, hi, s, u, v, both);
    } else {
      CellPass(stats.cells, lo, hi, s, u, v, both);
    }
#else
    CellPass(stats.cells, lo, hi, s, u, v, both);
#endif
    internal::LogfArray(u, u, kRows * kCols);
    internal::LogfArray(v, v, kRows * kCols);
  }

  // An edge is reliable only when both of its cells are reliable in u and v.
  // Column 31 would pair with the next row's first cell: it is overwritten by
  // its left neighbour right after.
  const int32_t* b = &both[0][0];
  uint8_t* dx = &is_reliable_dx_[0][0];
  for (int i = 0; i < kRows * kCols; ++i) dx[i] = static_cast<uint8_t>(b[i] & b[i + 1]);
  for (int r = 0; r < kRows; ++r) is_reliable_dx_[r][kCols - 1] = is_reliable_dx_[r][kCols - 2];
  uint8_t* dy = &is_reliable_dy_[0][0];
  for (int i = 0; i < (kRows - 1) * kCols; ++i) dy[i] = static_cast<uint8_t>(b[i] & b[i + kCols]);
  // The filler row copies the horizontal flags of row 22, not the vertical
  // ones: nothing reads it, but the recorded grid shows it, so keep it.
  std::memcpy(is_reliable_dy_[kRows - 1], is_reliable_dx_[kRows - 2], kCols);
  return kOk;
}

}  // namespace mirvo
