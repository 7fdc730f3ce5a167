#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "core/crop_info.h"
#include "core/matrix.h"
#include "core/mirvo_params.h"
#include "core/stats.h"

namespace mirvo {
namespace {

TEST(Records, ConfigureStatsSizeReplacesBufferWithZeroedOne) {
  Stats s;
  ASSERT_EQ(s.ConfigureStatsSize(4, 3), kOk);
  s.bit_depth = 10;
  s.cells[5].sum[R] = 7;
  ASSERT_EQ(s.ConfigureStatsSize(32, 24), kOk);
  EXPECT_EQ(std::make_pair(s.rows, s.cols), std::make_pair(24, 32));
  EXPECT_EQ(s.bit_depth, 14);
  const StatsCell zero{};
  for (int i = 0; i < 768; ++i) ASSERT_EQ(std::memcmp(&s.cells[i], &zero, sizeof zero), 0);
}

TEST(Records, MatrixFromArrayCopiesRowMajorAndWidensWithoutScaling) {
  float plane[13][17];
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) plane[r][c] = r * 100.0f + c;
  Matrix<float> m(plane);
  EXPECT_EQ(std::make_pair(m.rows, m.cols), std::make_pair(13, 17));
  ASSERT_EQ(m.data.size(), 221u);
  EXPECT_EQ(m.data[1 * 17 + 2], 102.0f);
  EXPECT_EQ(m.data[220], 1216.0f);

  unsigned char flags[24][32] = {};
  flags[0][1] = 1;
  flags[23][31] = 255;
  Matrix<unsigned short> wide(flags);
  std::vector<unsigned short> want(768);
  want[1] = 1;
  want[767] = 255;
  EXPECT_EQ(std::make_pair(wide.rows, wide.cols), std::make_pair(24, 32));
  EXPECT_EQ(wide.data, want);
}

TEST(Records, CropsCompareBitwise) {
  CropInfo a, b;
  EXPECT_TRUE(SameCrop(a, b));
  b.offs_x = -0.0f;
  EXPECT_FALSE(SameCrop(a, b));
  a.offs_x = std::nanf("");
  b.offs_x = a.offs_x;
  EXPECT_TRUE(SameCrop(a, b));
}

}  // namespace
}  // namespace mirvo
