#include "engine_input.h"

#include <cmath>
#include <limits>
#include <random>

#include "io/default_tuning.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t max_size);

namespace mirvo_fuzz {

namespace {

constexpr uint8_t kSequence = 128;  // in the first byte
constexpr int kDebugShift = 3;      // in the mode byte: four bits, on at 11
constexpr int kDebugOn = 11;

constexpr uint16_t kCounts[8] = {1, 2, 15, 64, 255, 1024, 4096, 65535};
constexpr double kMaxSum = 4294967295.0;  // the 32-bit limit

// Squared distance from the centre of a grid, 0 there and 1 in the corners,
// for every cell of the statistics and every node of the table.
struct Radii {
  uint16_t cells[24][32];  // in 1/256
  float nodes[221];
  Radii() {
    for (int r = 0; r < 24; ++r)
      for (int c = 0; c < 32; ++c)
        cells[r][c] = static_cast<uint16_t>(256.0f * Radius2((r + 0.5f) / 24.0f, (c + 0.5f) / 32.0f));
    for (int i = 0; i < 221; ++i) nodes[i] = Radius2((i / 17) / 12.0f, (i % 17) / 16.0f);
  }
  static float Radius2(float y, float x) { return ((x - 0.5f) * (x - 0.5f) + (y - 0.5f) * (y - 0.5f)) * 2.0f; }
};
const Radii& Radius() {
  static const Radii radii;
  return radii;
}

// Sixteen values a broken table could hold, then powers of two from 2^-16 up
// with three bits of mantissa.
float HostileGain(uint8_t v) {
  constexpr float inf = std::numeric_limits<float>::infinity();
  static const float kSpecial[16] = {std::numeric_limits<float>::quiet_NaN(),
                                     inf,
                                     -inf,
                                     0.0f,
                                     -0.0f,
                                     -1.0f,
                                     std::numeric_limits<float>::denorm_min(),
                                     std::numeric_limits<float>::max(),
                                     1.0f / 64.0f,
                                     64.0f,
                                     1.0f / 65.0f,
                                     65.0f,
                                     1.0f,
                                     0.5f,
                                     2.0f,
                                     std::numeric_limits<float>::signaling_NaN()};
  if (v < 16) return kSpecial[v];
  return std::ldexp(1.0f + (v & 7) / 8.0f, (v >> 3) - 18);
}

// Fills over whole grids are left out of coverage: their comparisons are
// loop bounds, whose tracing guides the fuzzer nowhere and took a tenth of
// each run (as for the frame path); the sanitizers still check them.
#define MIRVO_FUZZ_UNTRACED __attribute__((no_sanitize("coverage")))

struct Seed {
  uint8_t level[4];
  uint8_t count;       // a count from kCounts; with bit 7, bits 3-6 zero some channels
  uint8_t saturation;  // that share of the count, or with bit 7 more than the count
};

// In integers (a float conversion per value, each checked, cost more than
// a frame's statistics intake): weights in 1/65536, squared radii in 1/256.
MIRVO_FUZZ_UNTRACED void FillStats(const Seed (&seeds)[4], uint8_t layout, const uint8_t (&falloff)[4], int shift,
                                   mirvo::Stats* stats) {
  // Per seed: the counts, the saturated counts and the sums at the centre.
  mirvo::StatsCell cells[4];
  uint64_t sums[4][4];
  for (int k = 0; k < 4; ++k) {
    const Seed& s = seeds[k];
    for (int ch = 0; ch < 4; ++ch) {
      const bool zero = (s.count & 0x80) && ((s.count >> (3 + ch)) & 1);
      const uint16_t count = zero ? 0 : kCounts[s.count & 7];
      cells[k].cnt[ch] = count;
      cells[k].sat_cnt[ch] =
          (s.saturation & 0x80) ? 0xFFFF : static_cast<uint16_t>(count * (s.saturation & 0x7F) / 127);
      sums[k][ch] = (uint64_t{s.level[ch]} << shift) * count;
    }
  }
  const int rows = stats->rows, cols = stats->cols;
  const Radii& radii = Radius();
  mirvo::StatsCell* cell = stats->cells;
  for (int r = 0; r < rows; ++r) {
    // Other grids take the engine grid's radii of the same row and column.
    const uint16_t* rr = radii.cells[r % 24];
    for (int c = 0; c < cols; ++c, ++cell) {
      const int k = ((r >> (layout & 3)) + (c >> ((layout >> 2) & 3)) + (layout >> 4)) & 3;
      *cell = cells[k];
      const uint32_t rc = rr[c & 31];
      for (int ch = 0; ch < 4; ++ch) {
        const uint64_t sum = (sums[k][ch] * (65536u - falloff[ch] * rc)) >> 16;
        cell->sum[ch] = sum < 0xFFFFFFFFu ? static_cast<uint32_t>(sum) : 0xFFFFFFFFu;
      }
    }
  }
}

// The statistics: four seed cells (a level per channel, a count, a
// saturation), laid out in blocks over the grid, under a vignetting of its own
// strength per channel so that the engine sees colour shading.
void TakeStats(ByteReader& in, EngineInput* e) {
  const uint8_t shape = in.Take<uint8_t>();
  const bool other = (shape & 0xC0) == 0xC0;
  const int cols = other ? shape % 40 : 32;
  const int rows = other ? (shape >> 2) % 30 : 24;
  mirvo::Stats* stats = e->stats = other ? &e->other_grid : &e->engine_grid;
  // Reallocating the cells for every input cost more than a frame.
  if (stats->cells == nullptr || stats->cols != cols || stats->rows != rows) stats->ConfigureStatsSize(cols, rows);
  stats->bit_depth = in.Take<uint8_t>() % 32;
  const int shift = in.Take<uint8_t>() % 16;
  const uint8_t layout = in.Take<uint8_t>();
  uint8_t falloff[4];
  for (uint8_t& f : falloff) f = in.Take<uint8_t>();
  Seed seeds[4];
  for (Seed& s : seeds) {
    for (uint8_t& l : s.level) l = in.Take<uint8_t>();
    s.count = in.Take<uint8_t>();
    s.saturation = in.Take<uint8_t>();
  }
  FillStats(seeds, layout, falloff, shift, stats);
}

MIRVO_FUZZ_UNTRACED void FillTable(const float (&pattern)[4], const float (&strength)[4], bool tiled,
                                   mirvo::LscTable* table) {
  float* t = &table->r_gain[0][0];
  // Tiled values are copied, not computed, so a signaling NaN stays one.
  if (tiled) {
    for (int i = 0; i < 884; ++i) t[i] = pattern[i % 4];
    return;
  }
  for (int p = 0; p < 4; ++p)
    for (int i = 0; i < 221; ++i) t[p * 221 + i] = 1.0f + strength[p] * Radius().nodes[i];
}

// The base table: a radial one of its own strength per plane, or four raw
// values tiled over it.
void TakeTable(ByteReader& in, bool tiled, mirvo::LscTable* table) {
  float pattern[4] = {1.0f, 1.0f, 1.0f, 1.0f};
  float strength[4] = {};
  if (tiled) {
    for (float& f : pattern) f = in.Take<float>();
  } else {
    for (float& f : strength) f = in.Take<uint8_t>() / 64.0f;
  }
  FillTable(pattern, strength, tiled, table);
}

MIRVO_FUZZ_UNTRACED void ScaleSums(int ch, double factor, mirvo::Stats* stats) {
  for (int i = 0; i < stats->cols * stats->rows; ++i)
    stats->cells[i].sum[ch] = static_cast<uint32_t>(std::fmin(stats->cells[i].sum[ch] * factor, kMaxSum));
}

}  // namespace

void TakeEngineInput(ByteReader& in, EngineInput* e) {
  mirvo::TuningParams& tuning = e->tuning;
  tuning = mirvo::DefaultMirvoParams().tuning;
  const uint8_t which = in.Take<uint8_t>();
  if (which & 1) tuning.smooth_thd = in.Take<float>();
  if (which & 2) tuning.limit_thd = in.Take<float>();
  if (which & 4) tuning.prj_delta_thd = in.Take<float>();
  if (which & 8) tuning.min_level_thd = in.Take<float>();
  if (which & 16) tuning.sat_ratio_thd = in.Take<float>();
  const uint8_t mode = in.Take<uint8_t>();
  tuning.filter_input_stats = mode & 3;
  tuning.enable_temporal_filter = (mode >> 2) & 1;
  // Diagnostics under a four-bit pattern, one random byte in sixteen (the
  // mutator makes them rarer still): they record every stage per frame, which
  // costs several frames (fuzz_diagnostic_dump covers the record's text).
  e->debug = ((mode >> kDebugShift) & 15) == kDebugOn;

  e->crop = mirvo::CropInfo();
  if (which & 32) {
    e->crop.offs_x = static_cast<float>(in.Take<uint16_t>() % 4032);
    e->crop.out_w = static_cast<float>(1 + in.Take<uint16_t>() % 4032);
  }
  TakeStats(in, e);
  TakeTable(in, which & 64, &e->table);
  e->sequence = which & kSequence;
}

void PrepareEngine(const EngineInput& e, mirvo::MirvoParams* source, mirvo::Core* core) {
  source->tuning = e.tuning;
  core->GetMutableMirvoParams()->tuning = e.tuning;
  *core->GetMutableDebugParams() = mirvo::MirvoDebugParams();
  core->GetMutableDebugParams()->debug_enable = e.debug;
  // Crops again only when the crop differs from the last input's.
  core->SetSensorCrop(e.crop);
  static const mirvo::LogStats fresh;
  if (!e.EngineGrid()) core->log_stats_ = fresh;
}

int TakeFrames(ByteReader& in, const EngineInput& e, FrameChange* frames, int max) {
  // A frame with diagnostics costs several without: two at most then.
  if (!e.sequence) max = 1;
  if (e.debug && max > 2) max = 2;
  int n = 0;
  do {
    frames[n].what = in.Take<uint8_t>();
    frames[n].where = in.Take<uint16_t>();
    frames[n].value = in.Take<uint8_t>();
    ++n;
  } while (n < max && !in.empty());
  return n;
}

void ApplyFrameChange(const FrameChange& f, EngineInput* e, mirvo::LscTable* table) {
  mirvo::Stats& stats = *e->stats;
  if ((f.what & 1) && e->EngineGrid()) stats.cells[f.where % 768].cnt[f.what >> 6] = 0;
  if (f.what & 2) (&table->r_gain[0][0])[f.where % 884] = HostileGain(f.value);
  if (f.what & 4) ScaleSums((f.what >> 4) & 3, (f.value + 1) / 128.0, &stats);
}

size_t MutateEngineInput(uint8_t* data, size_t size, size_t max_size, unsigned int seed) {
  size = LLVMFuzzerMutate(data, size, max_size);
  if (size == 0) return 0;
  // Inputs with diagnostics or with a sequence of frames reach new code
  // early and then make up much of the corpus, and their mutants keep the
  // switch; but a frame with diagnostics costs as much as eight without, a
  // sequence two or three frames. So many mutants drop them again: three in
  // four drop diagnostics, one in two the sequence.
  std::minstd_rand rng(seed);
  const size_t mode = 1 + 4 * static_cast<size_t>(__builtin_popcount(data[0] & 31));
  if (mode < size && ((data[mode] >> kDebugShift) & 15) == kDebugOn && rng() % 4 != 0) data[mode] ^= 1 << kDebugShift;
  if ((data[0] & kSequence) && rng() % 2 == 0) data[0] &= ~kSequence;
  return size;
}

}  // namespace mirvo_fuzz
