#include "resample/learned_tint_profile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "io/learned_profile_file.h"
#include "resample/bicubic.h"
#include "tests/support/test_support.h"

namespace mirvo {
namespace {

// Writes n numbers, 17 to a line; each value is unique to its section and index.
std::string Numbers(int n, float base) {
  std::ostringstream os;
  for (int i = 0; i < n; ++i) os << base + 0.25f * static_cast<float>(i) << ((i % 17 == 16 || i == n - 1) ? "\n" : " ");
  return os.str();
}

std::string ProfileText(const std::string& h1, const std::string& h2) {
  return h1 + "\n" + Numbers(221, 1000.0f) + h2 + "\n" + Numbers(221, 2000.0f) + "BgUHXY\n" +
         Numbers(kNumEdges, -3000.0f) + "BgVHXY\n" + Numbers(kNumEdges, 4000.0f);
}

LearnedTintProfile Filled(float v) {
  LearnedTintProfile p;
  float* f = &p.BUL[0][0];
  for (size_t i = 0; i < sizeof p / sizeof(float); ++i) f[i] = v;
  return p;
}

class ProfileFile : public ::testing::Test {
 protected:
  int Load(const std::string& text) {
    const std::string path = dir_.File("profile.txt");
    mirvo_test::WriteFile(path, text);
    return LoadLearnedTintProfile(path.c_str(), profile_);
  }

  mirvo_test::TempDir dir_;
  LearnedTintProfile profile_ = Filled(-1.0f);
};

TEST_F(ProfileFile, ReadsAllFourSectionsInStorageOrder) {
  ASSERT_EQ(Load(ProfileText("[BUL]", "[BVL]")), kOk);
  const float* f = &profile_.BUL[0][0];
  const float base[] = {1000.0f, 2000.0f, -3000.0f, 4000.0f};
  for (int i = 0, section = 0, start = 0; i < 442 + 2 * kNumEdges; ++i) {
    if (i == start + (section < 2 ? 221 : kNumEdges)) start = i, ++section;
    ASSERT_EQ(f[i], base[section] + 0.25f * static_cast<float>(i - start)) << i;
  }
}

TEST_F(ProfileFile, HeaderTestRejectsOnlyTheThreeLetterNames) {
  // The first header is rejected when it starts with "BUL", nothing is read.
  for (const char* h : {"BUL", "BULK 13x17", "U", "", "BU", "bul"}) {
    profile_ = Filled(-1.0f);
    const bool refused = std::string(h).rfind("BUL", 0) == 0;
    EXPECT_EQ(Load(ProfileText(h, "x")), refused ? -1 : kOk) << h;
    // Refused: nothing read; taken: read to the end.
    EXPECT_EQ(refused ? profile_.BUL[0][0] : profile_.BgVHXY[kNumEdges - 1],
              refused ? -1.0f : 4000.0f + 0.25f * (kNumEdges - 1))
        << h;
  }

  // A rejected second header leaves the first section already read.
  profile_ = Filled(-1.0f);
  EXPECT_EQ(Load(ProfileText("x", "BVL section")), -1);
  EXPECT_EQ(profile_.BUL[12][16], 1000.0f + 0.25f * 220);
  EXPECT_EQ(profile_.BVL[0][0], -1.0f);
}

TEST_F(ProfileFile, ShortFileIsNotDetected) {
  EXPECT_EQ(Load("x\n1 2 3\nBVL\nBgUHXY\nBgVHXY\n"), kOk);
  EXPECT_EQ(profile_.BUL[0][0], 1.0f);
  EXPECT_EQ(profile_.BUL[0][2], 3.0f);
  EXPECT_EQ(profile_.BgVHXY[0], -1.0f);
  EXPECT_EQ(Load(""), kOk);

  // A missing file is noticed and leaves the profile untouched.
  const LearnedTintProfile before = profile_;
  EXPECT_EQ(LoadLearnedTintProfile(dir_.File("absent.txt").c_str(), profile_), kFileError);
  EXPECT_EQ(std::memcmp(&before, &profile_, sizeof before), 0);
}

TEST_F(ProfileFile, WrittenProfileReadsBackBitForBitBothWays) {
  LearnedTintProfile p;
  float* f = &p.BUL[0][0];
  for (size_t i = 0; i < sizeof p / sizeof(float); ++i)
    f[i] = std::ldexp(1.0f + static_cast<float>(i) / 4096.0f, -20) * (i % 3 ? 1.0f : -1.0f);
  std::ostringstream out;
  LearnedProfileWriteText(out, p);
  LearnedTintProfile parsed = Filled(0.0f);
  const ParseResult result = LearnedProfileParseText(out.str(), &parsed);
  ASSERT_TRUE(result) << result.reason;
  EXPECT_EQ(std::memcmp(&parsed, &p, sizeof p), 0);
  ASSERT_EQ(Load(out.str()), kOk);
  EXPECT_EQ(std::memcmp(&profile_, &p, sizeof p), 0);
}

// Files the loader reads without a word but wrongly, or refuses; the strict
// reader names each.
TEST_F(ProfileFile, StrictReaderNamesWhatTheLoaderMisses) {
  const std::string good = ProfileText("[BUL]", "[BVL]");
  auto replaced = [&good](const std::string& from, const std::string& to) {
    return mirvo_test::Replaced(good, from, to);
  };
  struct Case {
    std::string text;
    const char* reason;
  } const cases[] = {
      {ProfileText("BUL", "[BVL]"), "header \"BUL\" starts with BUL, which the loader refuses"},
      {ProfileText("U", "[BVL]"), "header line of [BUL] expected, found \"U\""},
      {replaced("1000.25 ", "1000,25 "), "[BUL]: number 3 of 221 missing or not a finite number"},
      {replaced("1000.5 ", std::string("1000.5\0 ", 8)), "[BUL]: number 4 of 221 missing or not a finite number"},
      {replaced("1000.25 ", "1e60 "), "[BUL]: number 2 of 221 missing or not a finite number"},
      {good.substr(0, good.size() - 9), "[BgVHXY]: number 1480 of 1480 missing or not a finite number"},
      {replaced("1055\n", "1055 1\n"), "[BUL]: text after the last number: \" 1\""},
      {good + "5\n", "text after the last section: \"5\""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.reason);
    LearnedTintProfile p;
    const ParseResult result = LearnedProfileParseText(c.text, &p);
    EXPECT_FALSE(result);
    EXPECT_EQ(result.reason, c.reason);
  }
  LearnedTintProfile p;
  EXPECT_TRUE(LearnedProfileParseText(good, &p));
}

// A profile whose u plane is the plane 3r + 2c, which the resampler carries
// exactly (also beyond the grid), and whose v plane is curved.
LearnedTintProfile RampProfile() {
  LearnedTintProfile p = Filled(12345.0f);  // input gradient blocks are ignored
  for (int r = 0; r < 13; ++r) {
    for (int c = 0; c < 17; ++c) {
      p.BUL[r][c] = static_cast<float>(3 * r + 2 * c);
      p.BVL[r][c] = std::sin(0.3f * static_cast<float>(c)) * std::cos(0.2f * static_cast<float>(r * r));
    }
  }
  return p;
}

TEST(ProfileCrop, FullFrameKeepsGridsAndDerivesGradientsAtCellCentres) {
  const LearnedTintProfile in = RampProfile();
  LearnedTintProfile out = Filled(0.0f);
  Crop(CropInfo{}, in, &out);
  for (int r = 0; r < 13; ++r) {
    for (int c = 0; c < 17; ++c) {
      ASSERT_EQ(out.BUL[r][c], in.BUL[r][c]);
      ASSERT_EQ(out.BVL[r][c], in.BVL[r][c]);
    }
  }

  // Cells sit at half a node pitch plus a quarter: steps of 1 column, 1.5 rows.
  for (int i = 0; i < kNumHorizontalEdges; ++i) ASSERT_EQ(out.BgUHXY[i], 1.0f) << i;
  for (int i = kNumHorizontalEdges; i < kNumEdges; ++i) ASSERT_EQ(out.BgUHXY[i], 1.5f) << i;

  float xc[32];
  float yc[24];
  for (int j = 0; j < 32; ++j) xc[j] = 0.5f * static_cast<float>(j) + 0.25f;
  for (int i = 0; i < 24; ++i) yc[i] = 0.5f * static_cast<float>(i) + 0.25f;
  float s[24][32];
  ResampleBicubic<13, 17, 24, 32>(xc, yc, in.BVL, s);
  EXPECT_EQ(out.BgVHXY[0], s[0][1] - s[0][0]);
  EXPECT_EQ(out.BgVHXY[5 * 31 + 30], s[5][31] - s[5][30]);
  EXPECT_EQ(out.BgVHXY[kNumHorizontalEdges], s[1][0] - s[0][0]);
  EXPECT_EQ(out.BgVHXY[kNumEdges - 1], s[23][31] - s[22][31]);
}

TEST(ProfileCrop, CentredHalfCropMapsNodesIntoTheMiddle) {
  const LearnedTintProfile in = RampProfile();
  LearnedTintProfile out;
  CropInfo crop;
  crop.offs_x = 1008.0f;
  crop.out_w = 2016.0f;
  crop.offs_y = 756.0f;
  crop.out_h = 1512.0f;
  Crop(crop, in, &out);
  // Node k sits at column 4 + k/2 and row 3 + k/2 of the full sensor.
  EXPECT_EQ((std::vector<float>{out.BVL[0][0], out.BVL[12][16], out.BVL[2][6]}),
            (std::vector<float>{in.BVL[3][4], in.BVL[9][12], in.BVL[4][7]}));
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) ASSERT_EQ(out.BUL[r][c], 3.0f * (3.0f + 0.5f * r) + 2.0f * (4.0f + 0.5f * c));
  for (int i = 0; i < kNumHorizontalEdges; ++i) ASSERT_EQ(out.BgUHXY[i], 0.5f) << i;
  for (int i = kNumHorizontalEdges; i < kNumEdges; ++i) ASSERT_EQ(out.BgUHXY[i], 0.75f) << i;

  // A crop reaching past the sensor's left edge is extrapolated linearly.
  crop.offs_x = -1008.0f;
  Crop(crop, in, &out);
  EXPECT_EQ(out.BUL[0][0], 3.0f * 3.0f + 2.0f * -4.0f);
}

}  // namespace
}  // namespace mirvo
