#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include "core/lsc_table.h"
#include "io/lsc_table_file.h"
#include "io/sim_rolloff_file.h"
#include "support/engine_scene.h"
#include "support/test_support.h"

namespace mirvo {
namespace {

using mirvo_test::ReadFile;
using mirvo_test::Replaced;
using mirvo_test::TempDir;
using mirvo_test::WriteFile;

LscTable PatternTable() {
  LscTable t;
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) {
      t.r_gain[r][c] = 1.0f + 0.01f * r + 0.001f * c;
      t.gr_gain[r][c] = 2.0f + 0.01f * r + 0.001f * c;
      t.gb_gain[r][c] = 3.0f + 0.01f * r + 0.001f * c;
      t.b_gain[r][c] = 4.0f + 0.01f * r + 0.001f * c;
    }
  return t;
}

// The validator must come back even on files that would hang the loader; a
// hang ends the test program rather than blocking it. An alarm, not a
// watchdog thread, so the check also works under user-mode emulation.
void ReportHang(int) {
  const char msg[] = "validator did not return within 10 s\n";
  if (write(2, msg, sizeof msg - 1) < 0) {
  }
  std::_Exit(1);
}

errCode ValidateWithin10s(const std::string& path, std::string* why) {
  std::signal(SIGALRM, ReportHang);
  alarm(10);
  const errCode rc = LscTableValidateHeaderFile(path.c_str(), why);
  alarm(0);
  return rc;
}

class LscTableHeaderFile : public ::testing::Test {
 protected:
  LscTableHeaderFile() {
    EXPECT_EQ(LscTableSaveHeaderFile(dir_.File("full.h").c_str(), PatternTable()), kOk);
    full_ = ReadFile(dir_.File("full.h"));
  }
  std::string Write(const std::string& text) {
    WriteFile(dir_.File("t.h"), text);
    return dir_.File("t.h");
  }
  TempDir dir_;
  std::string full_;
};

TEST_F(LscTableHeaderFile, MeasuredTableRoundTripsByteForByte) {
  const std::string original = mirvo_test::DataPath("ov8858_d50_lsc.h");
  ASSERT_EQ(LscTableValidateHeaderFile(original.c_str()), kOk);
  LscTable t;
  ASSERT_EQ(LscTableLoadHeaderFile(original.c_str(), t), kOk);
  EXPECT_FLOAT_EQ(t.r_gain[0][0], 3.99902f);
  EXPECT_FLOAT_EQ(t.b_gain[12][16], 2.55176f);
  ASSERT_EQ(LscTableSaveHeaderFile(dir_.File("t.h").c_str(), t), kOk);
  EXPECT_EQ(ReadFile(dir_.File("t.h")), ReadFile(original));
}

TEST_F(LscTableHeaderFile, WriterLayoutAndFiveDecimals) {
  LscTable t = PatternTable();
  t.r_gain[0][0] = 0.5f;
  t.r_gain[0][1] = -1.25f;
  t.r_gain[0][2] = 12.345678f;
  ASSERT_EQ(LscTableSaveHeaderFile(dir_.File("t.h").c_str(), t), kOk);
  const std::string text = ReadFile(dir_.File("t.h"));
  EXPECT_EQ(text.substr(0, 57), "/* R Gain */\n{\n0.50000f, -1.25000f, 12.34568f, 1.00300f, ");
  EXPECT_NE(text.find("1.01600f, \n1.01000f, "), std::string::npos);
  EXPECT_NE(text.find("1.13600f\n},\n/* GR Gain */\n{\n2.00000f, "), std::string::npos);
  EXPECT_EQ(text.substr(text.size() - 24), ", 4.13500f, 4.13600f\n},\n");
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 64);  // 4 x (marker, "{", 13 rows, "},")

  const std::string missing = dir_.File("no/such/t.h");
  for (const char* path : {static_cast<const char*>(nullptr), missing.c_str()}) {
    EXPECT_EQ(LscTableSaveHeaderFile(path, t), kFileError);
    EXPECT_EQ(LscTableLoadHeaderFile(path, t), kFileError);
    EXPECT_EQ(LscTableSaveTovanSimFile(path, t), kFileError);
    std::string why;
    EXPECT_EQ(LscTableValidateHeaderFile(path, &why), kFileError);
    EXPECT_EQ(why, path ? "cannot open file" : "no path given");
  }
}

// The simulator's file: its fixed mesh geometry, then the planes R, Gr, B, Gb
// (B before Gb), each one line of 221 gains in fixed point with 10 fractional
// bits, rounded half up and truncated toward zero, a blank line between.
TEST(LscTableSimFile, FixedGeometryThenFourPlanesInFixedPoint) {
  LscTable t = mirvo_test::UniformTable(1.0f, 1.5f, 2.0f, 0.5f);
  const float gains[] = {0.99951f, 0.99952f, -0.001f, -1.0f, 3.99902f, 0.0f};
  for (int i = 0; i < 6; ++i) t.r_gain[12][11 + i] = gains[i];
  TempDir dir;
  ASSERT_EQ(LscTableSaveTovanSimFile(dir.File("r.txt").c_str(), t), kOk);
  auto plane = [](int code, std::vector<int> tail) {
    std::string line;
    for (int i = 0; i < 221; ++i) line += std::to_string(i < 215 ? code : tail[i - 215]) + (i < 220 ? ", " : "\n");
    return line;
  };
  // 1023.498, 1023.508, -0.524, -1023.5, 4094.996 and 0 times 1024.
  EXPECT_EQ(ReadFile(dir.File("r.txt")),
            "// Rolloff Table\nNUM_MESHGAIN_V = 11\nNUM_MESHGAIN_H = 15\nBLOCK_HEIGHT = 127\nBLOCK_WIDTH = 127\n"
            "INTERP_FACTOR = 3\nSUB_GRID_Y_DELTA = 65536\nSUB_GRID_X_DELTA = 65536\nSUB_GRID_HEIGHT = 15\n"
            "SUB_GRID_WIDTH = 15\nPIXEL_Y_INDEX = 12\nPIXEL_X_INDEX = 0\nBLOCK_Y_INDEX = 0\nBLOCK_X_INDEX = 0\n"
            "SUB_GRID_Y_INDEX = 0\nSUB_GRID_X_INDEX = 1\nY_DELTA_ACCUM = 786432\n\nMESH_TABLE_R = \n" +
                plane(1024, {1023, 1024, 0, -1023, 4095, 0}) + "\nMESH_TABLE_GR = \n" +
                plane(1536, std::vector<int>(6, 1536)) + "\nMESH_TABLE_B = \n" + plane(512, std::vector<int>(6, 512)) +
                "\nMESH_TABLE_GB = \n" + plane(2048, std::vector<int>(6, 2048)));
}

TEST_F(LscTableHeaderFile, NumbersMayBeSpreadFreelyAfterTheBraceLine) {
  // Every plane on one line, plus extra lines before the markers, which the
  // two lines skipped after each plane only shorten.
  std::string text;
  const char* markers[4] = {"/* R Gain */", "/* GR Gain */", "/* GB Gain */", "/* B Gain */"};
  for (int p = 0; p < 4; ++p) {
    text += std::string(markers[p]) + "\n{\n";
    for (int i = 0; i < 221; ++i) text += std::to_string(p + 1) + "." + std::to_string(i % 10) + "f, ";
    text += p < 3 ? "\n},\n\n// note\n\n" : "\n},\n";
  }
  std::string why = "stale";
  ASSERT_EQ(LscTableValidateHeaderFile(Write(text).c_str(), &why), kOk);
  EXPECT_EQ(why, "");
  LscTable t;
  ASSERT_EQ(LscTableLoadHeaderFile(dir_.File("t.h").c_str(), t), kOk);
  EXPECT_EQ(t.r_gain[0][0], 1.0f);
  EXPECT_EQ(t.gb_gain[1][0], 3.7f);  // value 17
  EXPECT_EQ(t.b_gain[12][16], 4.0f);
}

// The loader's faults: a cut file stops with one perror line, keeping what
// it read; a non-number or a missing last value is taken as 0 silently.
TEST_F(LscTableHeaderFile, LoaderFaults) {
  const LscTable want = PatternTable();
  LscTable back = {};
  testing::internal::CaptureStderr();
  EXPECT_EQ(LscTableLoadHeaderFile(Write(full_.substr(0, full_.find("3.03800f"))).c_str(), back), kFileError);
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(err.rfind("stream eofbit. error state: ", 0), 0u) << err;
  EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1);
  EXPECT_EQ(back.gr_gain[12][16], want.gr_gain[12][16]);
  EXPECT_EQ(back.gb_gain[3][7], want.gb_gain[3][7]);  // Gb row 3 cut after column 7
  EXPECT_EQ(back.gb_gain[3][8], 0.0f);

  back = want;
  EXPECT_EQ(LscTableLoadHeaderFile(Write(full_.substr(0, full_.size() - 12) + "\n},\n").c_str(), back), kOk);
  EXPECT_EQ(back.b_gain[12][16], 0.0f);
  EXPECT_EQ(LscTableLoadHeaderFile(Write(Replaced(full_, "1.00400f", "x1.004f")).c_str(), back), kOk);
  EXPECT_EQ(back.r_gain[0][4], 0.0f);
  EXPECT_EQ(back.r_gain[0][5], 1.005f);
}

// Broken markers and plane sizes, several of which would hang the loader,
// and the silent faults above.
TEST_F(LscTableHeaderFile, ValidatorNamesTheFault) {
  const std::string& full = full_;
  const size_t gr = full.find("/* GR Gain */"), gb = full.find("/* GB Gain */"), b = full.find("/* B Gain */");
  // Keeps the marker, "{" and row 0 of the Gr block.
  const size_t gr_row1 = full.find('\n', full.find('\n', full.find('\n', gr) + 1) + 1) + 1;
  struct Case {
    std::string text;
    std::string why;
  } const cases[] = {
      {Replaced(full, "/* GB Gain */\n", ""), "missing marker \"/* GB Gain */\""},
      {Replaced(full, "/* R Gain */\n", "/* R Gain */\r\n"),
       "marker \"/* R Gain */\" only found with extra blanks or a carriage return"},
      {Replaced(full, "/* B Gain */\n", "/*  B Gain */\n"), "missing marker \"/* B Gain */\""},
      // "}," on the last row line: the two skipped lines swallow the marker.
      {Replaced(full, "1.13600f\n},\n", "1.13600f },\n"), "marker \"/* GR Gain */\" not found after plane R"},
      {"", "missing marker \"/* R Gain */\""},
      {full.substr(0, gr) + full.substr(gb, b - gb) + full.substr(gr, gb - gr) + full.substr(b),
       "marker \"/* GB Gain */\" not found after plane GR"},
      // A Gr plane of one row runs into its own "}," line.
      {full.substr(0, gr_row1) + full.substr(full.find("},\n", gr_row1)),
       "plane GR: expected 221 numbers, found 17 before \"},\""},
      // Without the "{" line the first row is skipped instead.
      {Replaced(full, "/* R Gain */\n{\n", "/* R Gain */\n"), "plane R: expected 221 numbers, found 204 before \"},\""},
      {full.substr(0, full.size() - 12), "plane B: expected 221 numbers, found 220"},
      {full.substr(0, full.size() - 12) + "\n},\n", "plane B: expected 221 numbers, found 220 before \"},\""},
      {Replaced(full, "1.00400f", "x1.004f"), "plane R: expected 221 numbers, found 4 before \"x1.004f,\""},
      {full.substr(0, full.find("3.03800f")), "plane GB: expected 221 numbers, found 59"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    std::string why;
    EXPECT_EQ(ValidateWithin10s(Write(c.text), &why), kFileError);
    EXPECT_EQ(why, c.why);
  }
}

TEST_F(LscTableHeaderFile, ValidatorRefusesEveryLineDeletion) {
  // Dropping any single line breaks the file for the loader, except the
  // final "}," line, which it never reads; the validator wants that one too,
  // since without it a cut file cannot be told from a complete one.
  int line = 0;
  for (size_t begin = 0, end; begin < full_.size(); begin = end, ++line) {
    end = full_.find('\n', begin) + 1;
    std::string why;
    EXPECT_EQ(ValidateWithin10s(Write(full_.substr(0, begin) + full_.substr(end)), &why), kFileError) << line;
    if (line == 63) {
      EXPECT_EQ(why, "plane B: file ends after value 221 without the closing \"},\" (truncated?)");
    }
  }
  EXPECT_EQ(line, 64);
}

}  // namespace
}  // namespace mirvo
