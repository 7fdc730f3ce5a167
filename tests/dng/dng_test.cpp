// DNG frames in, GainMaps in and out: synthetic files made by dng_maker
// (independently of the workbench's writer) and the real DNGs of the shared
// data folder (skipped where it is absent).
#include <gtest/gtest.h>

#include <algorithm>
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

namespace mirvo::workbench {
namespace {

using dng_test::DngSpec;

const std::string kRealDir = MIRVO_DNG_DATA_DIR;

// A smooth, position- and plane-dependent gain surface: what a vignetting
// correction looks like; as GainMaps of rows x cols and on the 13 x 17 lattice.
std::vector<std::vector<float>> Surface(int rows = 13, int cols = 17) {
  std::vector<std::vector<float>> g(4);
  for (int p = 0; p < 4; ++p)
    for (int n = 0; n < rows * cols; ++n) {
      const double dy = n / cols / (rows - 1.0) - 0.5, dx = n % cols / (cols - 1.0) - 0.5;
      g[p].push_back(static_cast<float>(1.0 + (0.8 + 0.1 * p) * (dx * dx + dy * dy) + 0.05 * p * dx));
    }
  return g;
}

LscTable SurfaceTable() {
  LscTable t;
  const std::vector<std::vector<float>> g = Surface();
  for (int p = 0; p < 4; ++p) std::copy(g[p].begin(), g[p].end(), TablePlane(t, p));
  return t;
}

void ExpectSameTable(const LscTable& a, const LscTable& b) { EXPECT_EQ(std::memcmp(&a, &b, sizeof a), 0); }

void ExpectSameStats(const Stats& a, const Stats& b) {
  ASSERT_EQ(a.cols, b.cols);
  ASSERT_EQ(a.rows, b.rows);
  EXPECT_EQ(std::memcmp(a.black_level, b.black_level, sizeof a.black_level), 0);
  EXPECT_EQ(std::memcmp(a.cells, b.cells, sizeof(StatsCell) * a.cols * a.rows), 0);
}

// One scene in four CFA orders: the colour of each sample depends on the
// channel and the position of its 2 x 2 quad only.
DngSpec Scene(const std::string& pattern, int width, int height) {
  DngSpec s;
  s.width = width, s.height = height, s.pattern = pattern, s.black = 64;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const char c = pattern[(y % 2) * 2 + x % 2];
      const int ch = c == 'R' ? 0 : c == 'B' ? 3 : 1 + y % 2;
      s.samples.push_back(static_cast<uint16_t>(100 + 150 * ch + (y / 2 * 7 + x / 2 * 3) % 500));
    }
  return s;
}

DngFrame WriteAndRead(const std::string& path, const DngSpec& spec) {
  dng_test::WriteFile(path, dng_test::MakeDng(spec));
  return ReadDng(path);
}

TEST(DngFrame, FourCfaOrdersOfOneSceneGiveIdenticalStatistics) {
  mirvo_test::TempDir dir;
  Stats first, stats;
  for (const char* order : {"RGGB", "GRBG", "GBRG", "BGGR"}) {
    DngSpec spec = Scene(order, 96, 64);
    spec.big_endian = order[0] == 'G';
    const DngFrame f = WriteAndRead(dir.File("f.dng"), spec);
    EXPECT_EQ(f.pattern, order);
    EXPECT_EQ(f.bit_depth, 10);
    EXPECT_EQ(f.samples, spec.samples);
    EXPECT_FALSE(f.has_gain_map);
    DngStats(f, 8, 4, order[0] == 'R' ? &first : &stats);
    if (order[0] != 'R') ExpectSameStats(first, stats);
  }
}

// GainMaps of several grids, in every CFA order, through a whole file: on the
// lattice's own 13 x 17 nodes exactly, elsewhere resampled; the surface is
// quadratic, which the resampling reproduces up to rounding.
struct GridCase {
  int rows, cols;
  const char* pattern;
  int active[4];
};

class DngGainMapIn : public ::testing::TestWithParam<GridCase> {};

TEST_P(DngGainMapIn, MapsBecomeTheTable) {
  const GridCase& g = GetParam();
  mirvo_test::TempDir dir;
  DngSpec spec = Scene(g.pattern, 70, 52);
  std::copy(g.active, g.active + 4, spec.active);
  const int w = g.active[2] ? g.active[3] - g.active[1] : 70, h = g.active[2] ? g.active[2] - g.active[0] : 52;
  spec.opcode_list2 = dng_test::AndroidGainMaps(g.pattern, w, h, g.rows, g.cols, Surface(g.rows, g.cols));
  const DngFrame f = WriteAndRead(dir.File("in.dng"), spec);
  ASSERT_TRUE(f.has_gain_map);
  EXPECT_EQ(f.pattern, g.pattern);
  EXPECT_EQ(f.width, w);
  EXPECT_EQ(f.gain_maps.size(), 4u);
  const LscTable want = SurfaceTable();
  for (int p = 0; p < 4; ++p)
    for (int i = 0; i < 13 * 17; ++i)
      EXPECT_NEAR(TablePlane(f.gain_map, p)[i], TablePlane(want, p)[i], g.rows == 13 && g.cols == 17 ? 0 : 1e-5);
  // Out and back in: the table exactly, whatever grid the file had.
  LscTable other = want;
  for (int i = 0; i < 13 * 17; ++i) TablePlane(other, 2)[i] *= 1.25f;
  WriteDngGainMap(dir.File("in.dng"), dir.File("out.dng"), other);
  const DngFrame back = ReadDng(dir.File("out.dng"));
  ExpectSameTable(back.gain_map, other);
  EXPECT_EQ(back.samples, f.samples);
}

INSTANTIATE_TEST_SUITE_P(Grids, DngGainMapIn,
                         ::testing::Values(GridCase{13, 17, "RGGB", {}}, GridCase{13, 17, "GRBG", {2, 4, 50, 68}},
                                           GridCase{13, 17, "GBRG", {}}, GridCase{13, 17, "BGGR", {}},
                                           GridCase{13, 17, "GBRG", {1, 3, 51, 69}}, GridCase{25, 33, "RGGB", {}},
                                           GridCase{7, 9, "BGGR", {}}, GridCase{3, 4, "GBRG", {2, 2, 52, 70}}));

TEST(DngGainMapOut, OtherBytesAndOpcodesAreKept) {
  mirvo_test::TempDir dir;
  DngSpec spec = Scene("GRBG", 40, 30);
  // An unknown opcode before the maps and one after: both kept verbatim.
  std::vector<uint8_t> list = dng_test::AndroidGainMaps("GRBG", 40, 30, 13, 17, Surface());
  const std::vector<uint8_t> unknown = {0, 0, 0, 99, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 3, 7, 8, 9};
  list[3] = 6;
  list.insert(list.begin() + 4, unknown.begin(), unknown.end());
  list.insert(list.end(), unknown.begin(), unknown.end());
  for (bool has_list : {true, false}) {
    spec.opcode_list2 = has_list ? list : std::vector<uint8_t>();
    const std::vector<uint8_t> in = dng_test::MakeDng(spec);
    dng_test::WriteFile(dir.File("in.dng"), in);
    WriteDngGainMap(dir.File("in.dng"), dir.File("out.dng"), SurfaceTable());
    const std::string out = mirvo_test::ReadFile(dir.File("out.dng"));
    ASSERT_GE(out.size(), in.size());
    size_t changed = 0;
    for (size_t i = 0; i < in.size(); ++i) changed += in[i] != static_cast<uint8_t>(out[i]);
    EXPECT_LE(changed, 8u);  // one entry's count and offset, or one directory pointer
    const DngFrame back = ReadDng(dir.File("out.dng"));
    ExpectSameTable(back.gain_map, SurfaceTable());
    ASSERT_EQ(back.opcodes[1].size(), has_list ? 6u : 4u);
    if (has_list) {
      EXPECT_EQ(back.opcodes[1][0].id, 99u);
      EXPECT_EQ(back.opcodes[1][5].params, std::vector<uint8_t>({7, 8, 9}));
    }
    for (const GainMap& m : back.gain_maps)
      EXPECT_EQ(std::vector<uint32_t>({m.bottom, m.right, m.points_v, m.points_h}),
                std::vector<uint32_t>({30, 40, 13, 17}));
  }
}

TEST(DngGainMapIn, OneMapForAllPositionsAndRgbMapsFillFourPlanes) {
  GainMap all;
  all.bottom = 30, all.right = 40, all.points_v = 13, all.points_h = 17, all.spacing_v = 1.0 / 12,
  all.spacing_h = 1.0 / 16;
  for (int i = 0; i < 13 * 17; ++i) all.gains.push_back(1.0f + i / 256.0f);
  std::vector<GainMap> rgb(3, all);
  for (int k = 0; k < 3; ++k) {
    rgb[k].plane = static_cast<uint32_t>(k);
    for (float& g : rgb[k].gains) g += static_cast<float>(k);
  }
  const LscTable one = TableFromGainMaps({all}, GainMapStage::kMosaic, "RGGB", 40, 30);
  const LscTable three = TableFromGainMaps(rgb, GainMapStage::kRgb, "RGGB", 40, 30);
  for (int p = 0; p < 4; ++p)
    for (int i = 0; i < 13 * 17; ++i) {
      EXPECT_EQ(TablePlane(one, p)[i], all.gains[i]);
      EXPECT_EQ(TablePlane(three, p)[i], all.gains[i] + (p + 1) / 2);  // R, G, G, B
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
  if (!std::ifstream(path)) GTEST_SKIP() << path << " absent";
  const DngFrame f = ReadDng(path);
  EXPECT_EQ(f.pattern, r.pattern);
  EXPECT_EQ(std::vector<int>({f.width, f.height, f.bit_depth, f.shift}),
            std::vector<int>({r.width, r.height, r.bit_depth, r.shift}));
  double sum[4] = {0, 0, 0, 0};
  std::string bytes;
  for (size_t i = 0; i < f.samples.size(); ++i) {
    sum[(i / f.width % 2) * 2 + i % f.width % 2] += f.samples[i] << f.shift;
    bytes += {static_cast<char>(f.samples[i] & 255), static_cast<char>(f.samples[i] >> 8)};
  }
  for (int q = 0; q < 4; ++q) EXPECT_NEAR(sum[q] / (f.width * f.height / 4.0), r.means[q], 0.05 + 1.5 * f.shift);
  mirvo_test::TempDir dir;
  mirvo_test::WriteFile(dir.File("frame.raw"), bytes);
  BayerRaw raw;
  ASSERT_EQ(raw.ReadRawImage(dir.File("frame.raw").c_str(), f.width, f.height, f.bit_depth, r.pattern, false), kOk);
  Stats from_raw, from_dng;
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
  void (*spoil)(DngSpec*);  // null: the real file `name`
  const char* reason;
};

class DngRefusal : public ::testing::TestWithParam<RefusalCase> {};

TEST_P(DngRefusal, OneLineNamingFileAndReason) {
  const RefusalCase& c = GetParam();
  mirvo_test::TempDir dir;
  std::string path = kRealDir + "/" + c.name;
  if (c.spoil) {
    DngSpec spec = Scene("RGGB", 32, 24);
    c.spoil(&spec);
    dng_test::WriteFile(path = dir.File("bad.dng"), dng_test::MakeDng(spec));
  } else if (!std::ifstream(path)) {
    GTEST_SKIP() << path << " absent";
  }
  try {
    ReadDng(path);
    FAIL() << "accepted";
  } catch (const WorkbenchError& e) {
    const std::string what = e.what();
    EXPECT_EQ(what.rfind(path + ": ", 0), 0u) << what;
    EXPECT_NE(what.find(c.reason), std::string::npos) << what;
    EXPECT_EQ(what.find('\n'), std::string::npos);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Refusals, DngRefusal,
    ::testing::Values(
        RefusalCase{"truncated_strip", [](DngSpec* s) { s->strip_bytes = 32 * 24 * 2 - 2, s->samples.resize(32 * 23); },
                    "pixel data truncated"},
        RefusalCase{"huge", [](DngSpec* s) { s->width = 20000, s->height = 12000, s->samples.clear(); },
                    "over 200 megapixels"},
        RefusalCase{"linear_raw", [](DngSpec* s) { s->photometric = 34892, s->samples_per_pixel = 3; },
                    "not a Bayer CFA image (LinearRaw, 3 samples"},
        RefusalCase{"cfa", [](DngSpec* s) { s->pattern = "RGBG"; }, "unsupported CFA RGBG"},
        RefusalCase{"bits", [](DngSpec* s) { s->bits = 32; }, "unsupported bit depth 32"},
        RefusalCase{"opcodes", [](DngSpec* s) { s->opcode_list2 = {0, 0, 0, 2, 0, 0, 0, 9}; }, "malformed opcode list"},
        RefusalCase{"partial_map",
                    [](DngSpec* s) {
                      s->opcode_list2 = dng_test::AndroidGainMaps("RGGB", 32, 24, 3, 3, Surface(3, 3));
                      s->opcode_list2[4 + 16 + 11] = 12;  // first map's Bottom: half the image
                    },
                    "only part of the image"},
        RefusalCase{"two_maps",
                    [](DngSpec* s) {
                      s->opcode_list2 = dng_test::AndroidGainMaps("RGGB", 32, 24, 3, 3, Surface(3, 3));
                      s->opcode_list2[3] = 2;
                      s->opcode_list2.resize(4 + 2 * (16 + 76 + 36));
                    },
                    "do not cover every Bayer position"},
        RefusalCase{"black", [](DngSpec* s) { s->black = 2000; }, "not below the white level"},
        RefusalCase{"canon350d_adobe_truncated.dng", nullptr, "pixel data truncated"},
        RefusalCase{"lgh815_adobe_lossy_linearraw.dng", nullptr, "not a Bayer CFA image (LinearRaw"}),
    [](const auto& info) {
      std::string name = info.param.name;
      std::replace(name.begin(), name.end(), '.', '_');
      return name;
    });

TEST(OpcodeList, UnknownOpcodesRoundTripAndBadListsAreRefused) {
  const std::vector<uint8_t> list = {0, 0, 0, 1, 0, 0, 0, 8, 1, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0xAB, 0xCD};
  EXPECT_EQ(WriteOpcodeList(ParseOpcodeList(list.data(), list.size())), list);
  std::vector<uint8_t> trailing = list;
  trailing.push_back(0);
  for (size_t cut : {size_t{0}, size_t{3}, size_t{19}, size_t{21}}) {
    EXPECT_THROW(ParseOpcodeList(list.data(), cut), WorkbenchError) << cut;
  }
  EXPECT_THROW(ParseOpcodeList(trailing.data(), trailing.size()), WorkbenchError);
}

}  // namespace
}  // namespace mirvo::workbench
