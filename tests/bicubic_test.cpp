#include <gtest/gtest.h>

#include <vector>

#include "core/matrix.h"
#include "core/rgbg.h"
#include "resample/bicubic.h"

namespace mirvo {
namespace {

void ExpectWeights(const float (&w)[4], float w0, float w1, float w2, float w3) {
  EXPECT_EQ(w[0], w0);
  EXPECT_EQ(w[1], w1);
  EXPECT_EQ(w[2], w2);
  EXPECT_EQ(w[3], w3);
}

TEST(BicubicKernel, NodesGetOneHotWeightsIncludingBothBorders) {
  float pos[13];
  for (int i = 0; i < 13; ++i) pos[i] = static_cast<float>(i);
  int start[13];
  float w[13][4];
  BicubicKernel<13>(13, pos, start, w);
  for (int k = 0; k < 13; ++k) {
    SCOPED_TRACE(k);
    float at_node[4] = {0, 0, 0, 0};
    ASSERT_GE(k - start[k], 0);
    ASSERT_LE(k - start[k], 3);
    at_node[k - start[k]] = 1.0f;
    ExpectWeights(w[k], at_node[0], at_node[1], at_node[2], at_node[3]);
  }
  EXPECT_EQ((std::vector<int>{start[0], start[1], start[6], start[11], start[12]}), (std::vector<int>{0, 0, 5, 9, 9}));

  float cols[17];
  for (int i = 0; i < 17; ++i) cols[i] = static_cast<float>(i);
  int cstart[17];
  float cw[17][4];
  BicubicKernel<17>(17, cols, cstart, cw);
  EXPECT_EQ(cstart[16], 13);
  ExpectWeights(cw[16], 0, 0, 0, 1);
}

TEST(BicubicKernel, BorderWeightsFoldInLinearExtrapolation) {
  // Catmull-Rom at t = -0.5 is (0.5625, 0.1875, 0.4375, -0.1875); the sample
  // before the first is 2 p0 - p1.
  const float pos[13] = {-0.5f, 0.5f, 6.5f, 11.5f, 12.0f, 13.5f, 0, 0, 0, 0, 0, 0, 0};
  int start[13];
  float w[13][4];
  BicubicKernel<13>(13, pos, start, w);
  EXPECT_EQ(start[0], 0);
  ExpectWeights(w[0], 1.3125f, -0.125f, -0.1875f, 0);
  // t = 0.5 in the first interval: (-0.0625, 0.5625, 0.5625, -0.0625) folded.
  EXPECT_EQ(start[1], 0);
  ExpectWeights(w[1], 0.4375f, 0.625f, -0.0625f, 0);
  EXPECT_EQ(start[2], 5);
  ExpectWeights(w[2], -0.0625f, 0.5625f, 0.5625f, -0.0625f);
  EXPECT_EQ(start[3], 9);
  ExpectWeights(w[3], 0, -0.0625f, 0.625f, 0.4375f);
  EXPECT_EQ(start[4], 9);
  ExpectWeights(w[4], 0, 0, 0, 1);
  // Beyond the last node the same cubic runs on with t = pos - 11 = 2.5.
  EXPECT_EQ(start[5], 9);
  ExpectWeights(w[5], 0, -2.8125f, 4.125f, -0.3125f);
}

TEST(ResampleBicubic, LinearRampIsReproducedInsideAndBeyondTheBorders) {
  float src[13][17];
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) src[r][c] = 2.0f * r - 3.0f * c + 5.0f;
  float x[32], y[24];
  for (int j = 0; j < 32; ++j) x[j] = -1.25f + 0.5625f * j;  // -1.25 .. 16.1875
  for (int i = 0; i < 24; ++i) y[i] = -2.0f + 0.6875f * i;   // -2 .. 13.8125
  float dst[24][32];
  ResampleBicubic<13, 17, 24, 32>(x, y, src, dst);
  for (int i = 0; i < 24; ++i)
    for (int j = 0; j < 32; ++j) ASSERT_EQ(dst[i][j], 2.0f * y[i] - 3.0f * x[j] + 5.0f) << i << "," << j;
}

TEST(ResampleBicubic, ImpulseResponseSeparatesRowsFromColumns) {
  float src[13][17] = {};
  src[6][8] = 1.0f;
  float x[32] = {}, y[24] = {};
  x[0] = 8.5f;  // tap 1 of 4 carries the impulse: 0.5625
  x[1] = 7.5f;  // tap 2: 0.5625
  x[2] = 6.5f;  // tap 3: -0.0625
  y[0] = 5.5f;  // tap 2: 0.5625
  y[1] = 6.0f;  // on the node: 1
  y[2] = 4.5f;  // tap 3: -0.0625
  float dst[24][32];
  ResampleBicubic<13, 17, 24, 32>(x, y, src, dst);
  EXPECT_EQ(dst[0][0], 0.31640625f);
  EXPECT_EQ(dst[1][1], 0.5625f);
  EXPECT_EQ(dst[1][2], -0.0625f);
  EXPECT_EQ(dst[2][0], -0.03515625f);
  EXPECT_EQ(dst[2][2], 0.00390625f);
  EXPECT_EQ(dst[3][0], 0.0f);  // row position 0 is far from the impulse
}

TEST(Resample13x17to24x32, PlacesSamplesAtQuarterAndThreeQuarters) {
  float src[13][17];
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) src[r][c] = static_cast<float>(c * c + 1000 * r * r);
  float dst[24][32];
  Resample13x17to24x32(src, dst);
  // Row 0 blends source rows 0 and 1 3:1, row 23 rows 11 and 12 1:3; along
  // columns the same at both ends.
  EXPECT_EQ(dst[0][0], 0.75f * (0.75f * 0 + 0.25f * 1) + 0.25f * (0.75f * 1000 + 0.25f * 1001));
  EXPECT_EQ(dst[0][31], 0.25f * 225 + 0.75f * 256 + 0.25f * 1000);
  EXPECT_EQ(dst[23][31], 0.25f * 225 + 0.75f * 256 + 0.25f * 121000 + 0.75f * 144000);
  EXPECT_EQ(dst[1][2], 0.25f * (0.75f * 1 + 0.25f * 4) + 0.75f * (1000 + 0.75f * 1 + 0.25f * 4));
}

// A plane varying along columns only stays so, every row alike.
TEST(Resample13x17to24x32, ColumnsOnlyVaryAlongColumns) {
  float ramp[13][17];
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) ramp[r][c] = static_cast<float>(c * c);
  float dst[24][32];
  Resample13x17to24x32(ramp, dst);
  for (int r = 0; r < 24; ++r) {
    ASSERT_EQ(dst[r][0], 0.25f);     // 0.75 * 0 + 0.25 * 1
    ASSERT_EQ(dst[r][31], 248.25f);  // 0.25 * 225 + 0.75 * 256
    ASSERT_EQ(dst[r][9], 0.75f * 25 + 0.25f * 16);
  }
}

TEST(Resample13x17to24x32, MatrixFormUsesSourceStrideAndReusesTheBuffer) {
  float plane[13][17];
  Matrix<float> wide(20, 13, -99.0f);  // extra columns must be ignored
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) {
      plane[r][c] = static_cast<float>(r * 17 + c) * 0.37f;
      wide(r, c) = plane[r][c];
    }
  float expected[24][32];
  Resample13x17to24x32(plane, expected);

  Matrix<float> dst(5, 5);
  Resample13x17to24x32(wide, &dst);
  ASSERT_EQ(dst.cols, 32);
  ASSERT_EQ(dst.rows, 24);
  ASSERT_EQ(dst.data.size(), 768u);
  for (int r = 0; r < 24; ++r)
    for (int c = 0; c < 32; ++c) ASSERT_EQ(dst(r, c), expected[r][c]);

  const float* buffer = dst.data.data();
  Resample13x17to24x32(Matrix<float>(plane), &dst);
  EXPECT_EQ(dst.data.data(), buffer);
  EXPECT_EQ(dst(23, 31), expected[23][31]);
}

TEST(CubicInterpolateRgbg, HitsTheInnerSamplesAndInterpolatesBetween) {
  Rgbg p0{0, 1}, p1{1, 3}, p2{4, 2}, p3{9, 5};
  Rgbg out{};
  EXPECT_EQ(CubicInterpolate_rgbg(&out, &p0, &p1, &p2, &p3, 0.0f), &out);
  EXPECT_EQ(std::make_pair(out.rg, out.bg), std::make_pair(1.0f, 3.0f));
  CubicInterpolate_rgbg(&out, &p0, &p1, &p2, &p3, 1.0f);
  EXPECT_EQ(std::make_pair(out.rg, out.bg), std::make_pair(4.0f, 2.0f));
  CubicInterpolate_rgbg(&out, &p0, &p1, &p2, &p3, 0.5f);
  EXPECT_EQ(out.rg, 2.0f);
  CubicInterpolate_rgbg(&out, &p0, &p1, &p2, &p3, 0.25f);
  EXPECT_EQ(out.bg, 2.890625f);
}

}  // namespace
}  // namespace mirvo
