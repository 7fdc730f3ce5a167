#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
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
  EXPECT_EQ(s.cols, 32);
  EXPECT_EQ(s.rows, 24);
  EXPECT_EQ(s.bit_depth, 14);
  const StatsCell zero{};
  for (int i = 0; i < 768; ++i) ASSERT_EQ(std::memcmp(&s.cells[i], &zero, sizeof zero), 0);
}

TEST(Records, StatsMoveTransfersOwnership) {
  Stats a;
  a.ConfigureStatsSize(2, 2);
  StatsCell* cells = a.cells;
  Stats b(std::move(a));
  EXPECT_EQ(b.cells, cells);
  EXPECT_EQ(a.cells, nullptr);
}

TEST(Records, MatrixFromArrayCopiesRowMajorAndWidensWithoutScaling) {
  float plane[13][17];
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) plane[r][c] = r * 100.0f + c;
  Matrix<float> m(plane);
  EXPECT_EQ(m.cols, 17);
  EXPECT_EQ(m.rows, 13);
  ASSERT_EQ(m.data.size(), 221u);
  EXPECT_EQ(m.data[1 * 17 + 2], 102.0f);
  EXPECT_EQ(m.data[220], 1216.0f);

  unsigned char flags[24][32] = {};
  flags[0][1] = 1;
  flags[23][31] = 255;
  Matrix<unsigned short> wide(flags);
  EXPECT_EQ(wide.cols, 32);
  EXPECT_EQ(wide.rows, 24);
  EXPECT_EQ(wide.data, [] {
    std::vector<unsigned short> v(768);
    v[1] = 1;
    v[767] = 255;
    return v;
  }());
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
