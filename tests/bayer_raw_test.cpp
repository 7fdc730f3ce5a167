#include "tools/bayer_raw.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "support/test_support.h"

namespace mirvo {
namespace {

using mirvo_test::ReadFile;
using mirvo_test::TempDir;
using mirvo_test::WriteFile;

std::string U16Bytes(const std::vector<uint16_t>& samples) {
  return std::string(reinterpret_cast<const char*>(samples.data()), samples.size() * 2);
}

std::vector<uint16_t> Plane(const uint16_t* plane, const BayerRaw& raw) {
  return std::vector<uint16_t>(plane, plane + raw.half_height_ * raw.half_width_);
}

// Packs rows of 10-bit pixels the way a MIPI RAW10 sensor sends them.
std::string PackRaw10(const std::vector<uint16_t>& pixels, int width, int height) {
  std::string bytes;
  const int payload = width * 5 / 4;
  const int padding = payload % 8 == 0 ? 0 : 8 - payload % 8;
  for (int y = 0; y < height; ++y) {
    for (int g = 0; g < width / 4; ++g) {
      const uint16_t* p = &pixels[y * width + 4 * g];
      unsigned low = 0;
      for (int i = 0; i < 4; ++i) {
        bytes += static_cast<char>(p[i] >> 2);
        low |= (p[i] & 3u) << (2 * i);
      }
      bytes += static_cast<char>(low);
    }
    bytes.append(padding, '\x5a');
  }
  return bytes;
}

// The 4 x 2 frame 1..8 in reading order under every pattern; the green of
// the top row always goes to plane_gr_.
TEST(BayerRaw, PatternsAssignQuadPositionsToPlanes) {
  TempDir dir;
  WriteFile(dir.File("f.raw"), U16Bytes({1, 2, 3, 4, 5, 6, 7, 8}));
  using V = std::vector<uint16_t>;
  const V tl{1, 3}, tr{2, 4}, bl{5, 7}, br{6, 8};
  struct Case {
    const char* pattern;
    V r, gr, gb, b;
  } const cases[] = {
      {"RGGB", tl, tr, bl, br}, {"GRBG", tr, tl, br, bl}, {"BGGR", br, tr, bl, tl}, {"GBRG", bl, tl, br, tr}};
  const uint16_t frame[] = {1, 2, 3, 4, 5, 6, 7, 8};
  for (const Case& c : cases) {
    for (const bool from_file : {true, false}) {
      SCOPED_TRACE(std::string(c.pattern) + (from_file ? " from a file" : " from memory"));
      BayerRaw raw;
      ASSERT_EQ(from_file ? raw.ReadRawImage(dir.File("f.raw").c_str(), 4, 2, 12, c.pattern, false)
                          : raw.SplitFrame(frame, 4, 2, 12, c.pattern),
                kOk);
      EXPECT_EQ((std::vector<int>{raw.half_width_, raw.half_height_, raw.bit_depth_}), (std::vector<int>{2, 1, 12}));
      EXPECT_EQ(Plane(raw.plane_r_, raw), c.r);
      EXPECT_EQ(Plane(raw.plane_gr_, raw), c.gr);
      EXPECT_EQ(Plane(raw.plane_gb_, raw), c.gb);
      EXPECT_EQ(Plane(raw.plane_b_, raw), c.b);
    }
  }
  BayerRaw raw;
  EXPECT_EQ(raw.SplitFrame(frame, 4, 2, 12, "RGBG"), kInvalidInput);
  EXPECT_EQ(raw.plane_r_, nullptr);
}

// Rows are padded to eight bytes. A file cut short: the row reader fails,
// having unpacked every whole group that arrived (the cut row's too) and
// nothing after them.
TEST(BayerRaw, Raw10ShortFileUnpacksTheGroupsThatArrived) {
  TempDir dir;
  // Width 12: three groups of 5 bytes and 1 byte of padding per 16-byte row.
  std::vector<uint16_t> pixels(12 * 3);
  for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint16_t>((i * 131 + 7) % 1024);
  const std::string packed = PackRaw10(pixels, 12, 3);
  struct Case {
    size_t bytes;        // kept of the 48
    size_t pixels_read;  // pixels unpacked before the reader fails
  } const cases[] = {
      {16 + 7, 12 + 4},    // second row cut inside its second group
      {16 + 15, 12 + 12},  // second row cut in its padding: all its groups whole
      {16, 12},            // cut at a row boundary
      {3, 0},              // first group incomplete
      {48, 36},            // whole
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.bytes);
    const std::string path = dir.File("cut.raw10");
    WriteFile(path, packed.substr(0, k.bytes));
    std::vector<uint16_t> out(pixels.size(), 0xFFFF);
    FILE* file = std::fopen(path.c_str(), "rb");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(ReadRaw10Mipi(file, 3, 12, out.data()), k.bytes == 48 ? 0 : -100);
    std::fclose(file);
    for (size_t i = 0; i < out.size(); ++i) ASSERT_EQ(out[i], i < k.pixels_read ? pixels[i] : 0xFFFF) << "pixel " << i;
  }
}

// Frames of arbitrary bytes and widths (groups cut by the width, odd
// widths, odd heights) reach the planes exactly as the row reader's pixels
// split by the pattern table would.
TEST(BayerRaw, Raw10FramesOfAnyWidthSplitLikeTheRowReader) {
  TempDir dir;
  uint32_t seed = 1;
  auto next = [&] { return (seed = seed * 1664525u + 1013904223u) >> 24; };
  const char* patterns[] = {"RGGB", "GRBG", "BGGR", "GBRG"};
  // Quad position (top-left, top-right, bottom-left, bottom-right) of R, Gr, Gb, B per pattern.
  const int where[4][4] = {{0, 1, 2, 3}, {1, 0, 3, 2}, {3, 1, 2, 0}, {2, 0, 3, 1}};
  int trial = 0;
  for (int width : {2, 3, 4, 6, 7, 8, 10, 14, 18, 22, 100, 102}) {
    for (int height : {1, 2, 3, 6}) {
      SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
      std::string bytes(static_cast<size_t>(height) * (width * 2 + 16), '\0');
      for (char& c : bytes) c = static_cast<char>(next());
      const std::string path = dir.File("f" + std::to_string(trial++) + ".raw10");
      WriteFile(path, bytes);

      std::vector<uint16_t> pixels(static_cast<size_t>(width) * height);
      FILE* file = std::fopen(path.c_str(), "rb");
      ASSERT_NE(file, nullptr);
      ASSERT_EQ(ReadRaw10Mipi(file, height, width, pixels.data()), 0);
      std::fclose(file);

      const int p = trial % 4;
      BayerRaw raw;
      ASSERT_EQ(raw.ReadRawImage(path.c_str(), width, height, 10, patterns[p], true), kOk);
      const uint16_t* planes[4] = {raw.plane_r_, raw.plane_gr_, raw.plane_gb_, raw.plane_b_};
      for (int c = 0; c < 4; ++c) {
        const int dy = where[p][c] / 2, dx = where[p][c] % 2;
        for (int k = 0; k < height / 2; ++k) {
          for (int j = 0; j < width / 2; ++j) {
            ASSERT_EQ(planes[c][k * (width / 2) + j], pixels[(2 * k + dy) * width + 2 * j + dx])
                << c << " " << k << " " << j;
          }
        }
      }
    }
  }
}

TEST(BayerRaw, ReadFailuresLeavePlanesAlone) {
  TempDir dir;
  WriteFile(dir.File("f.raw"), U16Bytes({1, 2, 3, 4, 5, 6, 7, 8}));
  BayerRaw raw;
  ASSERT_EQ(raw.ReadRawImage(dir.File("f.raw").c_str(), 4, 2, 10, "RGGB", false), kOk);
  uint16_t* const r = raw.plane_r_;

  EXPECT_EQ(raw.ReadRawImage(dir.File("missing.raw").c_str(), 4, 2, 10, "RGGB", false), kFileError);
  // One row short of 4 x 4.
  EXPECT_EQ(raw.ReadRawImage(dir.File("f.raw").c_str(), 4, 4, 10, "RGGB", false), kFileError);
  EXPECT_EQ(raw.half_height_, 1);
  EXPECT_EQ(raw.plane_r_, r);

  // An unknown pattern is noticed after the half sizes were set: they change,
  // the planes keep their old size and contents.
  WriteFile(dir.File("big.raw"), U16Bytes(std::vector<uint16_t>(16, 9)));
  EXPECT_EQ(raw.ReadRawImage(dir.File("big.raw").c_str(), 4, 4, 12, "rggb", false), kInvalidInput);
  EXPECT_EQ((std::vector<int>{raw.half_width_, raw.half_height_, raw.bit_depth_, r[0], r[1]}),
            (std::vector<int>{2, 2, 10, 1, 3}));
  EXPECT_EQ(raw.plane_r_, r);

  // A packed file one byte short (its last row's padding) fails the same way.
  const std::string packed = PackRaw10(std::vector<uint16_t>(48, 5), 12, 4);
  WriteFile(dir.File("short.raw10"), packed.substr(0, packed.size() - 1));
  EXPECT_EQ(raw.ReadRawImage(dir.File("short.raw10").c_str(), 12, 4, 10, "BGGR", true), kFileError);
  EXPECT_EQ(raw.plane_r_, r);
  FILE* file = std::fopen(dir.File("short.raw10").c_str(), "rb");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(ReadRaw10Mipi(file, 0, 12, nullptr), 0);
  std::fclose(file);

  // Bytes after the image are ignored.
  EXPECT_EQ(raw.ReadRawImage(dir.File("big.raw").c_str(), 4, 2, 12, "RGGB", false), kOk);
  EXPECT_EQ(raw.plane_b_[1], 9);
}

TEST(BayerRaw, SaveWritesBggrAndReadsBack) {
  // Planes R 1..4, Gr 11..14, Gb 21, 22, 23, 0xABCD, B 31..34.
  const uint16_t rggb[16] = {1,  11, 2,      12,  //
                             21, 31, 22,     32,  //
                             3,  13, 4,      14,  //
                             23, 33, 0xABCD, 34};
  BayerRaw raw;
  ASSERT_EQ(raw.SplitFrame(rggb, 4, 4, 16, "RGGB"), kOk);
  TempDir dir;
  ASSERT_EQ(raw.SaveRaw(dir.File("out.raw").c_str()), kOk);
  EXPECT_EQ(ReadFile(dir.File("out.raw")), U16Bytes({31, 11, 32, 12,  //
                                                     21, 1, 22, 2,    //
                                                     33, 13, 34, 14,  //
                                                     23, 3, 0xABCD, 4}));

  BayerRaw back;
  ASSERT_EQ(back.ReadRawImage(dir.File("out.raw").c_str(), 4, 4, 16, "BGGR", false), kOk);
  for (auto plane : {&BayerRaw::plane_r_, &BayerRaw::plane_gr_, &BayerRaw::plane_gb_, &BayerRaw::plane_b_}) {
    EXPECT_EQ(Plane(back.*plane, back), Plane(raw.*plane, raw));
  }
  EXPECT_EQ(raw.SaveRaw((dir.path() + "/no/such/dir.raw").c_str()), kFileError);
}

}  // namespace
}  // namespace mirvo
