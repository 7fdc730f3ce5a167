// Writes a vignetted flat field as a Bayer DNG (no ActiveArea margin) and the
// exact inverse of its vignetting as an LSC table: the input of the check
// that a raw developer applies the GainMaps mirvo writes.
//   make_flat_dng OUT.dng OUT_TABLE.h [WIDTH HEIGHT PATTERN]
#include <cstdio>
#include <cstdlib>
#include <string>

#include "dng_maker.h"
#include "io/lsc_table_file.h"

namespace {

// Gain of plane p at relative position (v, h): quadratic, stronger in R and
// B than in green, as lens shading is.
double Gain(int p, double v, double h) {
  const double dy = v - 0.5, dx = h - 0.5;
  const double k[4] = {1.3, 1.0, 1.0, 1.5};
  return 1.0 + k[p] * (dx * dx + dy * dy);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 && argc != 6) {
    std::fprintf(stderr, "usage: make_flat_dng OUT.dng OUT_TABLE.h [WIDTH HEIGHT PATTERN]\n");
    return 2;
  }
  dng_test::DngSpec s;
  s.width = argc == 6 ? std::atoi(argv[3]) : 640;
  s.height = argc == 6 ? std::atoi(argv[4]) : 480;
  s.pattern = argc == 6 ? argv[5] : "RGGB";
  s.black = 256, s.white = 16383;
  const double level = 8000;  // above black: a grey card under the neutral white balance
  for (int y = 0; y < s.height; ++y)
    for (int x = 0; x < s.width; ++x) {
      const int q = (y % 2) * 2 + x % 2;
      const char c = s.pattern[q];
      const int p = c == 'R' ? 0 : c == 'B' ? 3 : q < 2 ? 1 : 2;
      const double v = level / Gain(p, static_cast<double>(y) / s.height, static_cast<double>(x) / s.width);
      s.samples.push_back(static_cast<uint16_t>(s.black + v + 0.5));
    }
  dng_test::WriteFile(argv[1], dng_test::MakeDng(s));
  mirvo::LscTable t;
  float(*planes[4])[17] = {t.r_gain, t.gr_gain, t.gb_gain, t.b_gain};
  for (int p = 0; p < 4; ++p)
    for (int r = 0; r < 13; ++r)
      for (int c = 0; c < 17; ++c) planes[p][r][c] = static_cast<float>(Gain(p, r / 12.0, c / 16.0));
  return mirvo::LscTableSaveHeaderFile(argv[2], t) == mirvo::kOk ? 0 : 1;
}
