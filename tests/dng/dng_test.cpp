// DNG frames in, GainMaps in and out: synthetic files made by dng_maker
// (independently of the workbench's writer) and the real DNGs of the shared
// data folder (skipped where it is absent).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>

#include "core/stats.h"
#include "dng_maker.h"
#include "test_support.h"
#include "tools/bayer_raw.h"
#include "workbench/dng/dng_file.h"
#include "workbench/dng/dng_reader.h"
#include "workbench/dng/dng_writer.h"
#include "workbench/dng/gain_map_table.h"
#include "workbench/dng/opcode_list.h"
#include "workbench/error.h"

namespace {

using dng_test::DngSpec;
using dng_test::MakeDng;
using mirvo::LscTable;
using namespace mirvo::workbench;

const std::string kRealDir = MIRVO_DNG_DATA_DIR;

bool Exists(const std::string& path) { return std::ifstream(path).good(); }

// A smooth, position- and plane-dependent gain surface: what a vignetting
// correction looks like.
float Surface(int plane, double v, double h) {
  const double dy = v - 0.5, dx = h - 0.5;
  return static_cast<float>(1.0 + (0.8 + 0.1 * plane) * (dx * dx + dy * dy) + 0.05 * plane * dx);
}

LscTable SurfaceTable() {
  LscTable t;
  for (int p = 0; p < 4; ++p)
    for (int r = 0; r < 13; ++r)
      for (int c = 0; c < 17; ++c) TablePlane(t, p)[r * 17 + c] = Surface(p, r / 12.0, c / 16.0);
  return t;
}

std::vector<std::vector<float>> SurfaceMaps(int rows, int cols) {
  std::vector<std::vector<float>> g(4);
  for (int p = 0; p < 4; ++p)
    for (int r = 0; r < rows; ++r)
      for (int c = 0; c < cols; ++c) g[p].push_back(Surface(p, r / (rows - 1.0), c / (cols - 1.0)));
  return g;
}

bool SameTable(const LscTable& a, const LscTable& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

void ExpectSameStats(const mirvo::Stats& a, const mirvo::Stats& b) {
  ASSERT_EQ(a.cols, b.cols);
  ASSERT_EQ(a.rows, b.rows);
  EXPECT_EQ(std::memcmp(a.black_level, b.black_level, sizeof a.black_level), 0);
  EXPECT_EQ(std::memcmp(a.cells, b.cells, sizeof(mirvo::StatsCell) * a.cols * a.rows), 0);
}

// One scene in four CFA orders: the colour of each sample depends on the
// channel and the position of its 2 x 2 quad only.
DngSpec Scene(const std::string& pattern, int width, int height) {
  DngSpec s;
  s.width = width, s.height = height, s.pattern = pattern;
  s.black = 64, s.white = 1023;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const char c = pattern[(y % 2) * 2 + x % 2];
      const int ch = c == 'R' ? 0 : c == 'B' ? 3 : (y % 2 == 0 ? 1 : 2);
      s.samples.push_back(static_cast<uint16_t>(100 + 150 * ch + (y / 2 * 7 + x / 2 * 3) % 500));
    }
  return s;
}

TEST(DngFrame, FourCfaOrdersOfOneSceneGiveIdenticalStatistics) {
  mirvo_test::TempDir dir;
  std::vector<mirvo::Stats> all(4);
  const char* orders[4] = {"RGGB", "GRBG", "GBRG", "BGGR"};
  for (int i = 0; i < 4; ++i) {
    const std::string path = dir.File(std::string(orders[i]) + ".dng");
    DngSpec spec = Scene(orders[i], 96, 64);
    spec.big_endian = i % 2 == 1;
    dng_test::WriteFile(path, MakeDng(spec));
    const DngFrame f = ReadDng(path);
    EXPECT_EQ(f.pattern, orders[i]);
    EXPECT_EQ(f.bit_depth, 10);
    EXPECT_EQ(f.samples, spec.samples);
    EXPECT_FALSE(f.has_gain_map);
    DngStats(f, 8, 4, &all[i]);
    if (i > 0) ExpectSameStats(all[0], all[i]);
  }
}

// GainMaps of several grids, in every CFA order, through a whole file: on the
// lattice's own 13 x 17 nodes exactly, elsewhere resampled; the surface is
// quadratic, which the resampling reproduces up to rounding.
struct GridCase {
  int rows, cols;
  const char* pattern;
  int active[4];
  double tolerance;  // 0: exact
};

class DngGainMapIn : public ::testing::TestWithParam<GridCase> {};

TEST_P(DngGainMapIn, MapsBecomeTheTable) {
  const GridCase& g = GetParam();
  mirvo_test::TempDir dir;
  DngSpec spec = Scene(g.pattern, 70, 52);
  int w = spec.width, h = spec.height;
  if (g.active[2] > 0) {
    std::copy(g.active, g.active + 4, spec.active);
    w = g.active[3] - g.active[1], h = g.active[2] - g.active[0];
  }
  spec.opcode_list2 = dng_test::AndroidGainMaps(g.pattern, w, h, g.rows, g.cols, SurfaceMaps(g.rows, g.cols));
  const std::string in = dir.File("in.dng"), out = dir.File("out.dng");
  dng_test::WriteFile(in, MakeDng(spec));
  const DngFrame f = ReadDng(in);
  ASSERT_TRUE(f.has_gain_map);
  EXPECT_EQ(f.pattern, g.pattern);
  EXPECT_EQ(f.width, w);
  EXPECT_EQ(f.gain_maps.size(), 4u);
  const LscTable want = SurfaceTable();
  if (g.tolerance == 0) {
    EXPECT_TRUE(SameTable(f.gain_map, want));
  } else {
    for (int p = 0; p < 4; ++p)
      for (int i = 0; i < 13 * 17; ++i) EXPECT_NEAR(TablePlane(f.gain_map, p)[i], TablePlane(want, p)[i], g.tolerance);
  }
  // Out and back in: the table exactly, whatever grid the file had.
  LscTable other = want;
  for (int i = 0; i < 13 * 17; ++i) TablePlane(other, 2)[i] *= 1.25f;
  WriteDngGainMap(in, out, other);
  const DngFrame back = ReadDng(out);
  EXPECT_TRUE(SameTable(back.gain_map, other));
  EXPECT_EQ(back.samples, f.samples);
}

INSTANTIATE_TEST_SUITE_P(
    Grids, DngGainMapIn,
    ::testing::Values(GridCase{13, 17, "RGGB", {0, 0, 0, 0}, 0}, GridCase{13, 17, "GRBG", {2, 4, 50, 68}, 0},
                      GridCase{13, 17, "GBRG", {0, 0, 0, 0}, 0}, GridCase{13, 17, "BGGR", {0, 0, 0, 0}, 0},
                      GridCase{13, 17, "GBRG", {1, 3, 51, 69}, 0}, GridCase{25, 33, "RGGB", {0, 0, 0, 0}, 1e-5},
                      GridCase{7, 9, "BGGR", {0, 0, 0, 0}, 1e-5}, GridCase{3, 4, "GBRG", {2, 2, 52, 70}, 1e-5}));

TEST(DngGainMapOut, OtherBytesAndOpcodesAreKept) {
  mirvo_test::TempDir dir;
  DngSpec spec = Scene("GRBG", 40, 30);
  // An unknown opcode before the maps and one after: both kept verbatim.
  std::vector<uint8_t> list = dng_test::AndroidGainMaps("GRBG", 40, 30, 13, 17, SurfaceMaps(13, 17));
  const std::vector<uint8_t> unknown = {0, 0, 0, 99, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 3, 7, 8, 9};
  list[3] = 6;
  list.insert(list.begin() + 4, unknown.begin(), unknown.end());
  list.insert(list.end(), unknown.begin(), unknown.end());
  spec.opcode_list2 = list;
  for (bool has_list : {true, false}) {
    if (!has_list) spec.opcode_list2.clear();
    const std::vector<uint8_t> in = MakeDng(spec);
    dng_test::WriteFile(dir.File("in.dng"), in);
    const LscTable table = SurfaceTable();
    WriteDngGainMap(dir.File("in.dng"), dir.File("out.dng"), table);
    std::ifstream f(dir.File("out.dng"), std::ios::binary);
    const std::vector<uint8_t> out((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
    ASSERT_GE(out.size(), in.size());
    size_t changed = 0;
    for (size_t i = 0; i < in.size(); ++i) changed += in[i] != out[i];
    EXPECT_LE(changed, 8u);  // one entry's count and offset, or one directory pointer
    const DngFrame back = ReadDng(dir.File("out.dng"));
    EXPECT_TRUE(SameTable(back.gain_map, table));
    ASSERT_EQ(back.opcodes[1].size(), has_list ? 6u : 4u);
    if (has_list) {
      EXPECT_EQ(back.opcodes[1][0].id, 99u);
      EXPECT_EQ(back.opcodes[1][5].params, std::vector<uint8_t>({7, 8, 9}));
    }
    for (const GainMap& m : back.gain_maps) {
      EXPECT_EQ(m.bottom, 30u);
      EXPECT_EQ(m.right, 40u);
      EXPECT_EQ(m.points_v * 100 + m.points_h, 1317u);
    }
  }
}

TEST(DngGainMapIn, OneMapForAllPositionsAndRgbMapsFillFourPlanes) {
  GainMap all;
  all.bottom = 30, all.right = 40, all.points_v = 13, all.points_h = 17, all.spacing_v = 1.0 / 12,
  all.spacing_h = 1.0 / 16;
  for (int i = 0; i < 13 * 17; ++i) all.gains.push_back(1.0f + i / 256.0f);
  const LscTable one = TableFromGainMaps({all}, GainMapStage::kMosaic, "RGGB", 40, 30);
  std::vector<GainMap> rgb(3, all);
  for (int k = 0; k < 3; ++k) {
    rgb[k].plane = static_cast<uint32_t>(k);
    for (float& g : rgb[k].gains) g += static_cast<float>(k);
  }
  const LscTable three = TableFromGainMaps(rgb, GainMapStage::kRgb, "RGGB", 40, 30);
  for (int i = 0; i < 13 * 17; ++i) {
    for (int p = 0; p < 4; ++p) EXPECT_EQ(TablePlane(one, p)[i], all.gains[i]);
    EXPECT_EQ(TablePlane(three, 0)[i], all.gains[i]);
    EXPECT_EQ(TablePlane(three, 1)[i], all.gains[i] + 1);
    EXPECT_EQ(TablePlane(three, 2)[i], all.gains[i] + 1);
    EXPECT_EQ(TablePlane(three, 3)[i], all.gains[i] + 2);
  }
}

// Real files: the statistics from a DNG equal those of the same samples
// written as an unpacked raw frame and read through the raw path.
struct RealCase {
  const char* file;
  const char* pattern;
  int width, height, bit_depth, shift;
  double means[4];  // per quad position, file units, from the data's SOURCES.md
};

class DngRealFile : public ::testing::TestWithParam<RealCase> {};

TEST_P(DngRealFile, StatisticsEqualTheRawPath) {
  const RealCase& r = GetParam();
  const std::string path = kRealDir + "/" + r.file;
  if (!Exists(path)) GTEST_SKIP() << path << " absent";
  const DngFrame f = ReadDng(path);
  EXPECT_EQ(f.pattern, r.pattern);
  EXPECT_EQ(f.width, r.width);
  EXPECT_EQ(f.height, r.height);
  EXPECT_EQ(f.bit_depth, r.bit_depth);
  EXPECT_EQ(f.shift, r.shift);
  double sum[4] = {0, 0, 0, 0};
  for (int y = 0; y < f.height; ++y)
    for (int x = 0; x < f.width; ++x)
      sum[(y % 2) * 2 + x % 2] += f.samples[static_cast<size_t>(y) * f.width + x] << f.shift;
  for (int q = 0; q < 4; ++q) EXPECT_NEAR(sum[q] / (f.width * f.height / 4.0), r.means[q], 0.05 + 1.5 * f.shift);

  mirvo_test::TempDir dir;
  {
    std::ofstream raw(dir.File("frame.raw"), std::ios::binary);
    for (uint16_t v : f.samples) raw.put(static_cast<char>(v & 255)).put(static_cast<char>(v >> 8));
  }
  mirvo::BayerRaw raw;
  ASSERT_EQ(raw.ReadRawImage(dir.File("frame.raw").c_str(), f.width, f.height, f.bit_depth, r.pattern, false),
            mirvo::kOk);
  mirvo::Stats from_raw, from_dng;
  from_raw.CreateFromRaw(raw, f.stats_black, 32, 24);
  DngStats(f, 32, 24, &from_dng);
  ExpectSameStats(from_raw, from_dng);
}

INSTANTIATE_TEST_SUITE_P(
    Real, DngRealFile,
    ::testing::Values(
        RealCase{"canon550d_magiclantern_colorchart.dng", "RGGB", 1734, 1156, 14, 0, {2391.3, 2778.5, 2783.1, 2583.2}},
        RealCase{"bmpcc_cinemadng_lj92.dng", "GBRG", 1952, 1112, 14, 2, {790.3, 838.7, 517.6, 778.7}}));

// Every refusal once: one line naming the file and the reason.
struct RefusalCase {
  const char* name;
  const char* reason;
};

DngSpec Refusal(const std::string& name, std::string* real) {
  DngSpec s = Scene("RGGB", 32, 24);
  if (name == "truncated strip") s.strip_bytes = 32 * 24 * 2 - 2, s.samples.resize(32 * 23);
  if (name == "huge") s.width = 20000, s.height = 12000, s.samples.clear();
  if (name == "linear raw") s.photometric = 34892, s.samples_per_pixel = 3;
  if (name == "cfa") s.pattern = "RGBG";
  if (name == "bits") s.bits = 32;
  if (name == "opcodes") s.opcode_list2 = {0, 0, 0, 2, 0, 0, 0, 9};
  if (name == "partial map") {
    s.opcode_list2 = dng_test::AndroidGainMaps("RGGB", 32, 24, 3, 3, SurfaceMaps(3, 3));
    s.opcode_list2[4 + 16 + 11] = 12;  // first map's Bottom: half the image
  }
  if (name == "two maps") {
    s.opcode_list2 = dng_test::AndroidGainMaps("RGGB", 32, 24, 3, 3, SurfaceMaps(3, 3));
    s.opcode_list2[3] = 2;
    s.opcode_list2.resize(4 + 2 * (16 + 76 + 36));
  }
  if (name == "black") s.black = 2000;
  if (name == "real truncated") *real = "canon350d_adobe_truncated.dng";
  if (name == "real linear raw") *real = "lgh815_adobe_lossy_linearraw.dng";
  return s;
}

class DngRefusal : public ::testing::TestWithParam<RefusalCase> {};

TEST_P(DngRefusal, OneLineNamingFileAndReason) {
  mirvo_test::TempDir dir;
  std::string real;
  const DngSpec spec = Refusal(GetParam().name, &real);
  std::string path = dir.File("bad.dng");
  if (real.empty()) {
    dng_test::WriteFile(path, MakeDng(spec));
  } else {
    path = kRealDir + "/" + real;
    if (!Exists(path)) GTEST_SKIP() << path << " absent";
  }
  try {
    ReadDng(path);
    FAIL() << "accepted";
  } catch (const WorkbenchError& e) {
    const std::string what = e.what();
    EXPECT_EQ(what.rfind(path + ": ", 0), 0u) << what;
    EXPECT_NE(what.find(GetParam().reason), std::string::npos) << what;
    EXPECT_EQ(what.find('\n'), std::string::npos);
  }
}

INSTANTIATE_TEST_SUITE_P(Refusals, DngRefusal,
                         ::testing::Values(RefusalCase{"truncated strip", "pixel data truncated"},
                                           RefusalCase{"huge", "over 200 megapixels"},
                                           RefusalCase{"linear raw", "not a Bayer CFA image (LinearRaw, 3 samples"},
                                           RefusalCase{"cfa", "unsupported CFA RGBG"},
                                           RefusalCase{"bits", "unsupported bit depth 32"},
                                           RefusalCase{"opcodes", "malformed opcode list"},
                                           RefusalCase{"partial map", "only part of the image"},
                                           RefusalCase{"two maps", "do not cover every Bayer position"},
                                           RefusalCase{"black", "not below the white level"},
                                           RefusalCase{"real truncated", "pixel data truncated"},
                                           RefusalCase{"real linear raw", "not a Bayer CFA image (LinearRaw"}),
                         [](const ::testing::TestParamInfo<RefusalCase>& i) {
                           std::string n = i.param.name;
                           for (char& c : n)
                             if (c == ' ') c = '_';
                           return n;
                         });

TEST(OpcodeList, UnknownOpcodesRoundTripAndBadListsAreRefused) {
  const std::vector<uint8_t> list = {0, 0, 0, 1, 0, 0, 0, 8, 1, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0xAB, 0xCD};
  EXPECT_EQ(WriteOpcodeList(ParseOpcodeList(list.data(), list.size())), list);
  for (size_t cut : {size_t{0}, size_t{3}, size_t{19}, size_t{21}}) {
    EXPECT_THROW(ParseOpcodeList(list.data(), cut), WorkbenchError) << cut;
  }
  std::vector<uint8_t> trailing = list;
  trailing.push_back(0);
  EXPECT_THROW(ParseOpcodeList(trailing.data(), trailing.size()), WorkbenchError);
}

}  // namespace
