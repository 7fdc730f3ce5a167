#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "core/lsc_table.h"
#include "io/lsc_table_file.h"
#include "resample/lsc_gain.h"
#include "support/engine_scene.h"
#include "support/test_support.h"

namespace mirvo {
namespace {

using mirvo_test::DataPath;
using mirvo_test::LogCapture;
using mirvo_test::ReadFile;
using mirvo_test::TempDir;
using mirvo_test::UniformTable;

std::string Repeat(const std::string& s, int n) {
  std::string out;
  for (int i = 0; i < n; ++i) out += s;
  return out;
}

int Sample(const std::string& raw, int row, int col) {
  const size_t at = (static_cast<size_t>(row) * 64 + col) * 2;
  return static_cast<unsigned char>(raw[at]) | static_cast<unsigned char>(raw[at + 1]) << 8;
}

void ExpectEvery(const Matrix<float>& m, float value) {
  ASSERT_EQ(m.cols, 32);
  ASSERT_EQ(m.rows, 24);
  for (int i = 0; i < 768; ++i) ASSERT_EQ(m.data[i], value) << i;
}

// Constant ratios: the same log in every cell, the ratios in the text dump,
// and in the raw dump (B G / G R: blue rows first, red on odd columns of odd
// rows) codes of 512 per unit ratio, saturating at 1023.
TEST(LscGain, ConstantRatiosGiveConstantLogsAndDumps) {
  struct Case {
    LscTable table;
    float rg, bg;
    const char *rg_text, *bg_text;
    int r_code, b_code;
  } const cases[] = {
      {UniformTable(1, 1, 1, 1), 1.0f, 1.0f, "1 ", "1 ", 512, 512},
      {UniformTable(2, 1, 1, 0.25f), 2.0f, 0.25f, "2 ", "0.25 ", 1023, 128},  // 1024 saturates
      {UniformTable(1, 0, 0, 1), 0.0f, 0.0f, "0 ", "0 ", 0, 0},               // no green: log 0 = -inf
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.rg_text);
    LscGain gain;
    gain.Init(k.table);
    ExpectEvery(gain.lsc_log_RG_gain, logf(k.rg));
    ExpectEvery(gain.lsc_log_BG_gain, logf(k.bg));

    TempDir dir;
    ASSERT_EQ(gain.Save(dir.File("g.txt").c_str()), kOk);
    EXPECT_EQ(ReadFile(dir.File("g.txt")), "gain_rg:\n" + Repeat(Repeat(k.rg_text, 32) + "\n", 24) + "gain_bg:\n" +
                                               Repeat(Repeat(k.bg_text, 32) + "\n", 24));
    ASSERT_EQ(gain.SaveAsRaw(dir.File("g.raw").c_str()), kOk);
    const std::string raw = ReadFile(dir.File("g.raw"));
    ASSERT_EQ(raw.size(), 6144u);
    for (int r = 0; r < 48; r += 2)
      for (int c = 0; c < 64; c += 2) {
        ASSERT_EQ(Sample(raw, r, c), k.b_code);
        ASSERT_EQ(Sample(raw, r, c + 1), 512);
        ASSERT_EQ(Sample(raw, r + 1, c), 512);
        ASSERT_EQ(Sample(raw, r + 1, c + 1), k.r_code);
      }
  }
}

TEST(LscGain, NodeWithoutGreenContributesZeroRatio) {
  LscTable t = UniformTable(1, 1, 1, 1);
  t.gb_gain[6][8] = -1.0f;  // g = 0 at node (6, 8)
  LscGain gain;
  gain.Init(t);
  // The four cells around the node take it with weight 0.75 x 0.75.
  for (const auto& rc : {std::pair{11, 15}, {11, 16}, {12, 15}, {12, 16}}) {
    EXPECT_EQ(gain.lsc_log_RG_gain(rc.first, rc.second), logf(0.4375f));
    EXPECT_EQ(gain.lsc_log_BG_gain(rc.first, rc.second), logf(0.4375f));
  }
  EXPECT_EQ(gain.lsc_log_RG_gain(10, 16), logf(0.8125f));
  EXPECT_EQ(gain.lsc_log_RG_gain(9, 16), 0.0f);

  TempDir dir;
  ASSERT_EQ(gain.SaveAsRaw(dir.File("g.raw").c_str()), kOk);
  const std::string raw = ReadFile(dir.File("g.raw"));
  EXPECT_EQ(Sample(raw, 24, 32), 224);  // blue of cell (12, 16)
  EXPECT_EQ(Sample(raw, 25, 33), 224);  // red of cell (12, 16)
  EXPECT_EQ(Sample(raw, 20, 32), 416);  // blue of cell (10, 16): 0.8125
}

TEST(LscGain, InitFromFileMatchesInitFromTable) {
  LscTable t = {};
  ASSERT_EQ(LscTableLoadHeaderFile(DataPath("ov8858_d50_lsc.h").c_str(), t), kOk);
  LscGain from_table;
  from_table.Init(t);
  LscGain from_file;
  ASSERT_EQ(from_file.Init(DataPath("ov8858_d50_lsc.h").c_str()), kOk);
  EXPECT_EQ(from_file.lsc_log_RG_gain.data, from_table.lsc_log_RG_gain.data);
  EXPECT_EQ(from_file.lsc_log_BG_gain.data, from_table.lsc_log_BG_gain.data);
  // Measured shading: red needs more gain than green towards the corners.
  EXPECT_GT(from_file.lsc_log_RG_gain(0, 0), from_file.lsc_log_RG_gain(12, 16));
}

TEST(LscGain, FailuresKeepGridsAndStaySilent) {
  LogCapture log;
  LscGain gain;
  gain.Init(UniformTable(2, 1, 1, 1));
  TempDir dir;
  const std::string missing = dir.File("no/such/file");
  EXPECT_EQ(gain.Init(missing.c_str()), kFileError);
  ExpectEvery(gain.lsc_log_RG_gain, logf(2.0f));
  EXPECT_EQ(gain.Save(missing.c_str()), kFileError);
  EXPECT_EQ(gain.SaveAsRaw(missing.c_str()), kFileError);
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace mirvo
