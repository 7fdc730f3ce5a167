// The preview renderer and the residual overlay on a synthetic flat field of
// known vignetting and colour shading.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "workbench/preview/preview_render.h"
#include "workbench/preview/residual_overlay.h"

namespace {

using namespace mirvo::workbench;

constexpr int kW = 640;  // quads
constexpr int kH = 480;
constexpr float kBlack = 64;
// Known shading at plane position (x, y) in quads, edges at 0 and kW:
// luminance falls to 55 % in the corners, red rises 10 % and blue drops 8 %
// (in log) towards them.
double R2(double x, double y) {
  const double dx = (x - kW / 2.0) / (kW / 2.0);
  const double dy = (y - kH / 2.0) / (kH / 2.0);
  return (dx * dx + dy * dy) / 2.0;
}
double Shading(int plane, double x, double y) {
  const double r2 = R2(x, y);
  const double tint = plane == 0 ? 0.10 : plane == 3 ? -0.08 : 0.0;
  return (1.0 - 0.45 * r2) * std::exp(tint * r2);
}

struct FlatField {
  std::vector<uint16_t> planes[4];
  BayerPlanes view;
  mirvo::LscTable inverse;

  FlatField() {
    const double level[4] = {420, 700, 700, 380};  // a warm light, 10 bits
    for (int p = 0; p < 4; ++p) {
      planes[p].resize(static_cast<size_t>(kW) * kH);
      for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x)
          planes[p][static_cast<size_t>(y) * kW + x] =
              static_cast<uint16_t>(std::lround(kBlack + level[p] * Shading(p, x + 0.5, y + 0.5)));
      view.plane[p] = planes[p].data();
      view.black[p] = kBlack;
    }
    view.width = kW;
    view.height = kH;
    view.white = 1023;
    float(*gains[4])[17] = {inverse.r_gain, inverse.gr_gain, inverse.gb_gain, inverse.b_gain};
    for (int p = 0; p < 4; ++p)
      for (int r = 0; r < 13; ++r)
        for (int c = 0; c < 17; ++c)
          gains[p][r][c] = static_cast<float>(1.0 / Shading(p, c * kW / 16.0, r * kH / 12.0));
  }
};

const FlatField& Field() {
  static const FlatField f;
  return f;
}

double Linear(uint8_t code) {
  const double s = code / 255.0;
  return s <= 0.04045 ? s / 12.92 : std::pow((s + 0.055) / 1.055, 2.4);
}

LookOptions MidGrey() {
  LookOptions o;
  o.level = 0.5;
  return o;
}

// Rendered with the exact inverse table the field is flat and grey, at full
// and at reduced width.
class FlatPreview : public testing::TestWithParam<int> {};

TEST_P(FlatPreview, InverseTableRendersFlatGrey) {
  const FlatField& f = Field();
  const PreviewLook look = ChooseLook(f.view, &f.inverse, MidGrey());
  const RgbImage img = RenderPreview(f.view, &f.inverse, look, GetParam());
  ASSERT_EQ(img.width, GetParam() > 0 ? GetParam() : kW);
  ASSERT_EQ(img.height, img.width * kH / kW);
  const int bx = std::max(1, img.width / 50);
  const int by = std::max(1, img.height / 50);
  double mean[3] = {0, 0, 0};
  int n = 0;
  for (int y = by; y < img.height - by; ++y)
    for (int x = bx; x < img.width - bx; ++x, ++n)
      for (int c = 0; c < 3; ++c) mean[c] += img.pixels[(static_cast<size_t>(y) * img.width + x) * 3 + c];
  for (double& m : mean) m /= n;
  for (int y = by; y < img.height - by; ++y)
    for (int x = bx; x < img.width - bx; ++x)
      for (int c = 0; c < 3; ++c)
        ASSERT_NEAR(img.pixels[(static_cast<size_t>(y) * img.width + x) * 3 + c], mean[c], 0.01 * mean[c])
            << "channel " << c << " at " << x << "," << y;
  // White balanced from the grey cells: the channels agree, at mid grey.
  EXPECT_NEAR(mean[0], mean[1], 1.0);
  EXPECT_NEAR(mean[2], mean[1], 1.0);
  EXPECT_NEAR(Linear(static_cast<uint8_t>(std::lround(mean[1]))), 0.5, 0.01);
}

INSTANTIATE_TEST_SUITE_P(Widths, FlatPreview, testing::Values(0, 160));

// Rendered with a unity table each channel's corner/centre ratio is the known
// fall-off (white balance and exposure scale both alike).
TEST(Preview, UnityTableShowsTheFallOff) {
  const FlatField& f = Field();
  const PreviewLook look = ChooseLook(f.view, nullptr, MidGrey());
  const RgbImage img = RenderPreview(f.view, nullptr, look);
  const int corner[2] = {kW / 50, kH / 50};
  for (int c = 0; c < 3; ++c) {
    auto at = [&](int x, int y) { return Linear(img.pixels[(static_cast<size_t>(y) * kW + x) * 3 + c]); };
    const int p = c == 0 ? 0 : c == 1 ? 1 : 3;
    const double known = Shading(p, corner[0] + 0.5, corner[1] + 0.5) / Shading(p, kW / 2 + 0.5, kH / 2 + 0.5);
    EXPECT_NEAR(at(corner[0], corner[1]) / at(kW / 2, kH / 2), known, 0.02 * known) << "channel " << c;
  }
}

// The residual overlay: the known tint before, nothing but rounding after.
TEST(Preview, ResidualShowsTheKnownTintOnlyBefore) {
  const FlatField& f = Field();
  const ResidualShading after = MeasureResidual(f.view, &f.inverse);
  const ResidualShading before = MeasureResidual(f.view, nullptr);
  ASSERT_EQ(after.grey_cells, 32 * 24);
  ASSERT_EQ(before.grey_cells, 32 * 24);
  EXPECT_LT(after.rms, 0.002);
  // Corner cell minus centre cell: the known log tints at their centres.
  const size_t corner = 0;
  const size_t centre = 12 * 32 + 16;
  const double cx = kW / 64.0, cy = kH / 48.0;
  const double mx = 16.5 * kW / 32.0, my = 12.5 * kH / 24.0;
  const double known_u = 0.10 * (R2(cx, cy) - R2(mx, my));
  const double known_v = -0.08 * (R2(cx, cy) - R2(mx, my));
  EXPECT_NEAR(before.u[corner] - before.u[centre], known_u, 0.004);
  EXPECT_NEAR(before.v[corner] - before.v[centre], known_v, 0.004);
  EXPECT_NEAR(after.u[corner] - after.u[centre], 0.0, 0.004);
  EXPECT_NEAR(after.v[corner] - after.v[centre], 0.0, 0.004);
}

// A table with gains that are not finite (an engine output the report
// flags) still renders, black where the gains are NaN.
TEST(Preview, NonFiniteGainsRenderWithoutHarm) {
  const FlatField& f = Field();
  mirvo::LscTable broken = f.inverse;
  broken.r_gain[0][0] = std::numeric_limits<float>::quiet_NaN();
  broken.gr_gain[0][0] = broken.gb_gain[0][0] = broken.b_gain[0][0] = std::numeric_limits<float>::quiet_NaN();
  broken.b_gain[12][16] = std::numeric_limits<float>::infinity();
  const PreviewLook look = ChooseLook(f.view, &broken, MidGrey());
  for (int width : {0, 160}) {
    const RgbImage img = RenderPreview(f.view, &broken, look, width);
    ASSERT_EQ(img.pixels.size(), static_cast<size_t>(img.width) * img.height * 3);
    EXPECT_EQ(img.pixels[0] + img.pixels[1] + img.pixels[2], 0) << "width " << width;
  }
  EXPECT_GT(MeasureResidual(f.view, &broken).grey_cells, 0);
}

}  // namespace
