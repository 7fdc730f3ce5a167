// Writes a vignetted flat field as a Bayer DNG (no ActiveArea margin) and the
// exact inverse of its vignetting as an LSC table: the input of the check
// that a raw developer applies the GainMaps mirvo writes.
//   make_flat_dng OUT.dng OUT_TABLE.h [WIDTH HEIGHT PATTERN]
#include <cstdio>
#include <cstdlib>

#include "dng_maker.h"
#include "io/lsc_table_file.h"

// Gain of plane p (R, Gr, Gb, B) at relative position (v, h): quadratic,
// stronger in R and B than in green, as lens shading is.
static double Gain(int p, double v, double h) {
  const double k[4] = {1.3, 1.0, 1.0, 1.5};
  return 1.0 + k[p] * ((h - 0.5) * (h - 0.5) + (v - 0.5) * (v - 0.5));
}

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
  for (int y = 0; y < s.height; ++y)
    for (int x = 0; x < s.width; ++x) {
      const int q = (y % 2) * 2 + x % 2, p = s.pattern[q] == 'R' ? 0 : s.pattern[q] == 'B' ? 3 : 1 + q / 2;
      // 8000 above black: a grey card under the neutral white balance.
      s.samples.push_back(static_cast<uint16_t>(s.black + 8000 / Gain(p, 1.0 * y / s.height, 1.0 * x / s.width) + 0.5));
    }
  dng_test::WriteFile(argv[1], dng_test::MakeDng(s));
  mirvo::LscTable t;
  float(*planes[4])[17] = {t.r_gain, t.gr_gain, t.gb_gain, t.b_gain};
  for (int p = 0; p < 4; ++p)
    for (int n = 0; n < 221; ++n) planes[p][n / 17][n % 17] = static_cast<float>(Gain(p, n / 17 / 12.0, n % 17 / 16.0));
  return mirvo::LscTableSaveHeaderFile(argv[2], t) == mirvo::kOk ? 0 : 1;
}
