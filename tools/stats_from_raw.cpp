#include <cmath>
#include <cstdint>
#include <cstring>

#include "core/cpu_features.h"
#include "core/simd4.h"
#include "core/stats.h"
#include "tools/bayer_raw.h"

// Eight-lane vectors are only passed between always-inlined helpers inside
// AVX2 code, so the ABI note about passing them does not apply.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace mirvo {
namespace {

// Largest pixel value at `bit_depth`; only the low five bits count as the
// shift, as a hardware shifter would take them.
float MaxLevel(int32_t bit_depth) { return static_cast<float>((1u << (static_cast<uint32_t>(bit_depth) & 31u)) - 1u); }

// The float-to-integer truncation of the 16-bit store, defined for every
// float: values a 64-bit integer cannot hold saturate and NaN gives 0, as the
// device's conversion instruction does. Only degenerate gains get there (a
// black level at the top of the range, a record with a bit depth of 0).
uint16_t TruncateToSample(float value) {
  if (value != value) return 0;
  if (value >= 9223372036854775807.0f) return 0xFFFFu;
  if (value < -9223372036854775807.0f) return 0;
  return static_cast<uint16_t>(static_cast<int64_t>(value));
}

uint16_t RemoveBlack(uint16_t sample, uint16_t level, float gain) {
  if (sample <= level) return 0;
  return TruncateToSample(static_cast<float>(sample - level) * gain + 0.5f);
}

// How one plane's samples become 14-bit, black-removed values.
struct Removal {
  uint16_t level;
  float gain;
  uint32_t shift;  // 0..31; 16 and more leave nothing of the sample
  // Vector lanes are exact whenever the gain is finite: shifted
  // samples and their differences to the level stay below 2^24, and a finite
  // 14-bit gain is at most 16383 in size, so every product stays inside the
  // 32-bit conversion's range.
  bool vector;

  uint16_t Apply(uint16_t sample) const {
    return RemoveBlack(static_cast<uint16_t>((static_cast<uint32_t>(sample) << shift) & 0xFFFFu), level, gain);
  }
};

Removal MakeRemoval(uint32_t shift, uint16_t level, float gain) {
  return {level, gain, shift, shift < 16 && std::isfinite(gain)};
}

// Sum of one plane row's values over [x_begin, x_end), and the OR of the raw
// samples there.
struct Segment {
  uint32_t sum;
  uint32_t any;
};

// Raw samples for the lanes of a float vector of the shared vector helpers.
template <typename V>
struct SampleVector;
template <>
struct SampleVector<internal::F4> {
  typedef uint16_t Type __attribute__((vector_size(8)));
};
template <>
struct SampleVector<internal::F8> {
  typedef uint16_t Type __attribute__((vector_size(16)));
};

// SumSegment a vector at a time: every lane does the scalar float operations
// of RemoveBlack, and the sums wrap modulo 2^32 like the per-sample additions,
// so the results are identical. `room` is how many samples can be read from
// `row` (to the end of the plane), so a short last vector reads past x_end
// only where samples exist, and masks them out. Always inlined, so each width
// is compiled for the target of its caller.
template <typename F32V>
__attribute__((always_inline)) inline Segment SumSegmentLanes(const uint16_t* row, int x_begin, int x_end, size_t room,
                                                              const Removal& ch) {
  typedef typename SampleVector<F32V>::Type U16V;
  typedef typename internal::VectorTraits<F32V>::Int I32V;
  typedef typename internal::VectorTraits<F32V>::Unsigned U32V;
  constexpr int kLanes = internal::VectorTraits<F32V>::kLanes;
  const int32_t level = ch.level;
  const int shift = static_cast<int>(ch.shift);
  const float gain = ch.gain;
  // The lambdas take and return vectors of the caller's target width, so they
  // must be inlined as well: out of line (at -O0) they would be compiled for
  // the default target and break the vector calling convention.
  auto values = [&](I32V sample) __attribute__((always_inline)) {
    const I32V diff = ((sample << shift) & 0xFFFF) - level;
    const I32V value = __builtin_convertvector(__builtin_convertvector(diff, F32V) * gain + 0.5f, I32V);
    return (U32V)(value & 0xFFFF & (diff > 0));
  };
  auto load = [&](int x) __attribute__((always_inline)) {
    U16V v;
    std::memcpy(&v, row + x, sizeof v);
    return __builtin_convertvector(v, I32V);
  };
  U32V acc0 = {}, acc1 = {};
  I32V seen = {};
  int x = x_begin;
  // Two vectors per step keep two independent conversion chains in flight.
  for (; x + 2 * kLanes <= x_end; x += 2 * kLanes) {
    const I32V a = load(x), b = load(x + kLanes);
    acc0 += values(a);
    acc1 += values(b);
    seen |= a | b;
  }
  I32V lane;
  for (int i = 0; i < kLanes; ++i) lane[i] = i;
  for (; x < x_end && static_cast<size_t>(x) + kLanes <= room; x += kLanes) {
    const I32V a = load(x) & (lane < (x_end - x));
    acc0 += values(a);
    seen |= a;
  }
  Segment s = {0, 0};
  for (int i = 0; i < kLanes; ++i) s.sum += acc0[i] + acc1[i], s.any |= static_cast<uint32_t>(seen[i]);
  for (; x < x_end; ++x) {
    s.sum += ch.Apply(row[x]);
    s.any |= row[x];
  }
  return s;
}

#if defined(__x86_64__)
__attribute__((target("avx2"))) Segment SumSegmentEight(const uint16_t* row, int x_begin, int x_end, size_t room,
                                                        const Removal& ch) {
  return SumSegmentLanes<internal::F8>(row, x_begin, x_end, room, ch);
}
#endif

Segment SumSegment(const uint16_t* row, int x_begin, int x_end, size_t room, const Removal& ch) {
  if (!ch.vector) {
    Segment s = {0, 0};
    for (int x = x_begin; x < x_end; ++x) s.sum += ch.Apply(row[x]), s.any |= row[x];
    return s;
  }
#if defined(__x86_64__)
  if (internal::HaveEightLanes()) return SumSegmentEight(row, x_begin, x_end, room, ch);
#endif
  return SumSegmentLanes<internal::F4>(row, x_begin, x_end, room, ch);
}

}  // namespace

void Stats::InitBlacklevel(const uint16_t (&levels)[4]) {
  const float max = MaxLevel(bit_depth);
  for (int i = 0; i < 4; ++i) {
    black_level[i] = levels[i];
    black_level_gain[i] = max / (max - static_cast<float>(levels[i]));
  }
}

void Stats::SubtractBlacklevel(uint16_t (&samples)[4]) const {
  for (int i = 0; i < 4; ++i) samples[i] = RemoveBlack(samples[i], black_level[i], black_level_gain[i]);
}

errCode Stats::CreateFromRaw(const BayerRaw& raw, const uint16_t (&levels)[4], int cols_, int rows_) {
  ConfigureStatsSize(cols_, rows_);
  InitBlacklevel(levels);  // bit_depth is 14 here, whatever the raw's depth

  const int cell_w = cols_ > 0 ? raw.half_width_ / cols_ : 0;
  const int cell_h = rows_ > 0 ? raw.half_height_ / rows_ : 0;
  const uint16_t count = static_cast<uint16_t>(cell_w * cell_h);
  for (int i = 0; i < cols_ * rows_; ++i) {
    for (int c = 0; c < 4; ++c) cells[i].cnt[c] = count;
  }
  if (cell_w <= 0 || cell_h <= 0 || raw.plane_r_ == nullptr || raw.plane_gr_ == nullptr || raw.plane_gb_ == nullptr ||
      raw.plane_b_ == nullptr) {
    return kOk;
  }

  const int x0 = (raw.half_width_ - cell_w * cols_) / 2;
  const int y0 = (raw.half_height_ - cell_h * rows_) / 2;
  const size_t plane_size = static_cast<size_t>(raw.half_width_) * static_cast<size_t>(raw.half_height_);

  // The levels pair crosswise with the planes: B takes index 0, R index 3.
  const uint32_t shift = static_cast<uint32_t>(14 - raw.bit_depth_) & 31u;
  const Removal removal[4] = {
      MakeRemoval(shift, black_level[3], black_level_gain[3]),  // R
      MakeRemoval(shift, black_level[1], black_level_gain[1]),  // Gr
      MakeRemoval(shift, black_level[2], black_level_gain[2]),  // Gb
      MakeRemoval(shift, black_level[0], black_level_gain[0]),  // B
  };
  const uint16_t* const planes[4] = {raw.plane_r_, raw.plane_gr_, raw.plane_gb_, raw.plane_b_};
  const Channel channel[4] = {R, Gr, Gb, B};

  // Sums wrap modulo 2^32 like the per-sample additions, so adding per plane
  // row and cell gives the same result as sample-by-sample accumulation.
  for (int cr = 0; cr < rows_; ++cr) {
    StatsCell* row_cells = cells + static_cast<size_t>(cr) * static_cast<size_t>(cols_);
    for (int y = y0 + cr * cell_h; y < y0 + (cr + 1) * cell_h; ++y) {
      const size_t line = static_cast<size_t>(y) * static_cast<size_t>(raw.half_width_);
      for (int cc = 0; cc < cols_; ++cc) {
        const int x_begin = x0 + cc * cell_w;
        const int x_end = x_begin + cell_w;
        StatsCell& cell = row_cells[cc];
        for (int p = 0; p < 4; ++p) {
          const uint16_t* row = planes[p] + line;
          const Segment segment = SumSegment(row, x_begin, x_end, plane_size - line, removal[p]);
          cell.sum[channel[p]] += segment.sum;
          // Saturation is judged on the sample before the shift; it is rare,
          // so it is counted only on segments that hold such a sample.
          if (segment.any >= 16384u) {
            uint16_t& sat = cell.sat_cnt[channel[p]];
            for (int x = x_begin; x < x_end; ++x) sat = static_cast<uint16_t>(sat + (row[x] >= 16384));
          }
        }
      }
    }
  }
  return kOk;
}

}  // namespace mirvo
