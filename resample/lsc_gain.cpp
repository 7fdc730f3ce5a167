#include "resample/lsc_gain.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>

#include "core/simd4.h"
#include "core/vector_math.h"
#include "io/lsc_table_file.h"
#include "resample/bicubic.h"

namespace mirvo {

LscGain::LscGain() : lsc_log_RG_gain(32, 24, 0.0f), lsc_log_BG_gain(32, 24, 0.0f) {}

namespace {

// R/G and B/G of the table nodes, with g = (Gb + Gr) x 0.5; a node without a
// positive green gain (or with a NaN one) keeps a ratio of +0. Four nodes at
// a time, the quotient selected by a bit mask (its lanes are IEEE divisions
// as in the scalar code); the odd last node alone.
void NodeRatios(const LscTable& table, float (&rg)[13][17], float (&bg)[13][17]) {
  using internal::F4;
  using internal::I4;
  const float* r = &table.r_gain[0][0];
  const float* gr = &table.gr_gain[0][0];
  const float* gb = &table.gb_gain[0][0];
  const float* b = &table.b_gain[0][0];
  float* out_rg = &rg[0][0];
  float* out_bg = &bg[0][0];
  constexpr int kNodes = 13 * 17;
  constexpr int kMain = kNodes / 4 * 4;
  const F4 half = internal::Splat4(0.5f);
  const F4 zero = internal::Splat4(0.0f);
  for (int i = 0; i < kMain; i += 4) {
    const F4 g = (internal::Load4(gb + i) + internal::Load4(gr + i)) * half;
    const I4 positive = g > zero;
    internal::Store4(out_rg + i, (F4)(positive & (I4)(internal::Load4(r + i) / g)));
    internal::Store4(out_bg + i, (F4)(positive & (I4)(internal::Load4(b + i) / g)));
  }
  for (int i = kMain; i < kNodes; ++i) {
    const float g = (gb[i] + gr[i]) * 0.5f;
    out_rg[i] = g > 0.0f ? r[i] / g : 0.0f;
    out_bg[i] = g > 0.0f ? b[i] / g : 0.0f;
  }
}

void LogInto(const float (&lin)[24][32], Matrix<float>& out) {
  out.Resize(32, 24);
  internal::LogfArray(&lin[0][0], out.data.data(), 24 * 32);
}

}  // namespace

void LscGain::Init(const LscTable& table) {
  // Stack grids only: this runs on every frame.
  float rg[13][17];
  float bg[13][17];
  NodeRatios(table, rg, bg);
  // The ratios are interpolated linearly and only then turned into logs.
  float lin[24][32];
  Resample13x17to24x32(rg, lin);
  LogInto(lin, lsc_log_RG_gain);
  Resample13x17to24x32(bg, lin);
  LogInto(lin, lsc_log_BG_gain);
}

errCode LscGain::Init(const char* path) {
  LscTable table = {};
  const errCode rc = LscTableLoadHeaderFile(path, table);
  if (rc != kOk) return rc;
  Init(table);
  return kOk;
}

errCode LscGain::Save(const char* path) const {
  std::ofstream out(path);
  if (!out.is_open()) return kFileError;
  const auto write_grid = [&out](const char* title, const Matrix<float>& grid) {
    out << title << std::endl;
    for (int r = 0; r < 24; ++r) {
      for (int c = 0; c < 32; ++c) out << expf(grid(r, c)) << ' ';
      out << std::endl;
    }
  };
  write_grid("gain_rg:", lsc_log_RG_gain);
  write_grid("gain_bg:", lsc_log_BG_gain);
  return kOk;
}

namespace {

// 10-bit code of a linear gain with 1.0 at 512; saturates at 1023 and has no
// lower clamp. fmin keeps a NaN gain from reaching the integer conversion.
uint16_t RawCode(float log_gain) {
  return static_cast<uint16_t>(static_cast<int>(std::fmin(expf(log_gain) * 512.0f, 1023.0f) + 0.5f));
}

void PutSample(unsigned char* p, uint16_t v) {
  p[0] = static_cast<unsigned char>(v & 0xff);
  p[1] = static_cast<unsigned char>(v >> 8);
}

}  // namespace

errCode LscGain::SaveAsRaw(const char* path) const {
  FILE* f = std::fopen(path, "wb");
  if (!f) return kFileError;
  constexpr uint16_t kGreen = 512;
  unsigned char blue_row[64 * 2];
  unsigned char red_row[64 * 2];
  // B G / G R mosaic, two image rows per statistics row, little-endian samples.
  for (int r = 0; r < 24; ++r) {
    for (int c = 0; c < 32; ++c) {
      PutSample(blue_row + 4 * c, RawCode(lsc_log_BG_gain(r, c)));
      PutSample(blue_row + 4 * c + 2, kGreen);
      PutSample(red_row + 4 * c, kGreen);
      PutSample(red_row + 4 * c + 2, RawCode(lsc_log_RG_gain(r, c)));
    }
    std::fwrite(blue_row, 1, sizeof blue_row, f);
    std::fwrite(red_row, 1, sizeof red_row, f);
  }
  std::fclose(f);
  return kOk;
}

}  // namespace mirvo
