#include "resample/lsc_gain.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>

#include "io/lsc_table_file.h"
#include "resample/bicubic.h"

namespace mirvo {

LscGain::LscGain() : lsc_log_RG_gain(32, 24, 0.0f), lsc_log_BG_gain(32, 24, 0.0f) {}

namespace {

void LogInto(const float (&lin)[24][32], Matrix<float>& out) {
  out.Resize(32, 24);
  float* o = out.data.data();
  for (int r = 0; r < 24; ++r)
    for (int c = 0; c < 32; ++c) o[r * 32 + c] = logf(lin[r][c]);
}

}  // namespace

void LscGain::Init(const LscTable& table) {
  // Stack grids only: this runs on every frame.
  float rg[13][17] = {};
  float bg[13][17] = {};
  for (int r = 0; r < 13; ++r) {
    for (int c = 0; c < 17; ++c) {
      const float g = (table.gb_gain[r][c] + table.gr_gain[r][c]) * 0.5f;
      // A node without a positive green gain contributes a ratio of 0.
      if (g > 0.0f) {
        rg[r][c] = table.r_gain[r][c] / g;
        bg[r][c] = table.b_gain[r][c] / g;
      }
    }
  }
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
