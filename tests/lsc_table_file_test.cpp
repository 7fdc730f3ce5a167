#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>

#include "core/lsc_table.h"
#include "io/lsc_table_file.h"
#include "io/sim_rolloff_file.h"
#include "support/engine_scene.h"
#include "support/test_support.h"

namespace mirvo {
namespace {

using mirvo_test::DataPath;
using mirvo_test::ReadFile;
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
// hang is reported and ends the test program rather than blocking it. An
// alarm, not a watchdog thread, so the check also works under user-mode
// emulation.
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

std::string Replace(std::string s, const std::string& from, const std::string& to) {
  const size_t at = s.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  if (at != std::string::npos) s.replace(at, from.size(), to);
  return s;
}

// Keeps the marker, "{" and row 0 of the Gr block and drops rows 1 to 12.
std::string DropGrRowsAfterFirst(const std::string& full) {
  size_t from = full.find("/* GR Gain */");
  for (int i = 0; i < 3; ++i) from = full.find('\n', from) + 1;
  const size_t to = full.find("},\n", from);
  return full.substr(0, from) + full.substr(to);
}

TEST(LscTableHeaderFile, MeasuredTableRoundTripsByteForByte) {
  const std::string original = DataPath("ov8858_d50_lsc.h");
  ASSERT_EQ(LscTableValidateHeaderFile(original.c_str()), kOk);
  LscTable t;
  ASSERT_EQ(LscTableLoadHeaderFile(original.c_str(), t), kOk);
  EXPECT_FLOAT_EQ(t.r_gain[0][0], 3.99902f);
  EXPECT_FLOAT_EQ(t.gr_gain[6][8], 1.00000f);
  EXPECT_FLOAT_EQ(t.b_gain[12][16], 2.55176f);

  TempDir dir;
  ASSERT_EQ(LscTableSaveHeaderFile(dir.File("t.h").c_str(), t), kOk);
  EXPECT_EQ(ReadFile(dir.File("t.h")), ReadFile(original));
}

TEST(LscTableHeaderFile, WriterLayoutAndFiveDecimals) {
  LscTable t = PatternTable();
  t.r_gain[0][0] = 0.5f;
  t.r_gain[0][1] = -1.25f;
  t.r_gain[0][2] = 12.345678f;
  TempDir dir;
  ASSERT_EQ(LscTableSaveHeaderFile(dir.File("t.h").c_str(), t), kOk);
  const std::string text = ReadFile(dir.File("t.h"));
  EXPECT_EQ(text.substr(0, 57), "/* R Gain */\n{\n0.50000f, -1.25000f, 12.34568f, 1.00300f, ");
  EXPECT_NE(text.find("1.01600f, \n1.01000f, "), std::string::npos);
  EXPECT_NE(text.find("1.13600f\n},\n/* GR Gain */\n{\n2.00000f, "), std::string::npos);
  EXPECT_EQ(text.substr(text.size() - 24), ", 4.13500f, 4.13600f\n},\n");
  // 4 x (marker, "{", 13 rows, "},").
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 64);
}

TEST(LscTableHeaderFile, BadPathsFail) {
  LscTable t = PatternTable();
  TempDir dir;
  const std::string missing = dir.File("no/such/t.h");
  EXPECT_EQ(LscTableSaveHeaderFile(nullptr, t), kFileError);
  EXPECT_EQ(LscTableSaveHeaderFile(missing.c_str(), t), kFileError);
  EXPECT_EQ(LscTableLoadHeaderFile(nullptr, t), kFileError);
  EXPECT_EQ(LscTableLoadHeaderFile(missing.c_str(), t), kFileError);
  std::string why;
  EXPECT_EQ(LscTableValidateHeaderFile(nullptr, &why), kFileError);
  EXPECT_EQ(why, "no path given");
  EXPECT_EQ(LscTableValidateHeaderFile(missing.c_str(), &why), kFileError);
  EXPECT_EQ(why, "cannot open file");
  EXPECT_EQ(LscTableSaveTovanSimFile(nullptr, t), kFileError);
  EXPECT_EQ(LscTableSaveTovanSimFile(missing.c_str(), t), kFileError);
}

// The simulator's file: its fixed mesh geometry, then the planes R, Gr, B, Gb
// (B before Gb), each one line of 221 gains in fixed point with 10 fractional
// bits, rounded half up and truncated toward zero, a blank line between.
TEST(LscTableSimFile, FixedGeometryThenFourPlanesInFixedPoint) {
  LscTable t = mirvo_test::UniformTable(1.0f, 1.5f, 2.0f, 0.5f);
  const float gains[] = {0.99951f, 0.99952f, -0.001f, -1.0f, 3.99902f, 0.0f};
  const int codes[] = {1023, 1024, 0, -1023, 4095, 0};  // 1023.498, 1023.508, -0.524, -1023.5, 4094.996
  for (int i = 0; i < 6; ++i) t.r_gain[12][11 + i] = gains[i];
  TempDir dir;
  ASSERT_EQ(LscTableSaveTovanSimFile(dir.File("r.txt").c_str(), t), kOk);
  const std::string text = ReadFile(dir.File("r.txt"));
  EXPECT_EQ(text.rfind("// Rolloff Table\nNUM_MESHGAIN_V = 11\nNUM_MESHGAIN_H = 15\nBLOCK_HEIGHT = 127\n"
                       "BLOCK_WIDTH = 127\nINTERP_FACTOR = 3\nSUB_GRID_Y_DELTA = 65536\nSUB_GRID_X_DELTA = 65536\n"
                       "SUB_GRID_HEIGHT = 15\nSUB_GRID_WIDTH = 15\nPIXEL_Y_INDEX = 12\nPIXEL_X_INDEX = 0\n"
                       "BLOCK_Y_INDEX = 0\nBLOCK_X_INDEX = 0\nSUB_GRID_Y_INDEX = 0\nSUB_GRID_X_INDEX = 1\n"
                       "Y_DELTA_ACCUM = 786432\n\nMESH_TABLE_R = \n",
                       0),
            0u);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 29);
  size_t at = 0;
  for (const auto& [title, code] : {std::pair{"MESH_TABLE_R = \n", 1024},
                                    {"\nMESH_TABLE_GR = \n", 1536},
                                    {"\nMESH_TABLE_B = \n", 512},
                                    {"\nMESH_TABLE_GB = \n", 2048}}) {
    SCOPED_TRACE(title);
    at = text.find(title, at);
    ASSERT_NE(at, std::string::npos);
    const size_t from = at + std::strlen(title);
    std::istringstream line(text.substr(from, text.find('\n', from) - from));
    for (int i = 0; i < 221; ++i) {
      int value = 0;
      char comma = ',';
      ASSERT_TRUE(line >> value) << i;
      EXPECT_EQ(value, code == 1024 && i >= 215 ? codes[i - 215] : code) << i;
      if (i < 220) {
        ASSERT_TRUE(line >> comma && comma == ',') << i;
      }
    }
    EXPECT_TRUE((line >> std::ws).eof());
    at = from;
  }
  EXPECT_EQ(text.substr(text.size() - 11), "2048, 2048\n");
}

TEST(LscTableHeaderFile, NumbersMayBeSpreadFreelyAfterTheBraceLine) {
  // Every plane on one line, plus extra lines before the markers, which the
  // two lines skipped after each plane only shorten. Nothing may follow the
  // last plane.
  std::string text;
  const char* markers[4] = {"/* R Gain */", "/* GR Gain */", "/* GB Gain */", "/* B Gain */"};
  for (int p = 0; p < 4; ++p) {
    text += std::string(markers[p]) + "\n{\n";
    for (int i = 0; i < 221; ++i) text += std::to_string(p + 1) + "." + std::to_string(i % 10) + "f, ";
    text += "\n},\n";
    if (p < 3) text += "\n// note\n\n";
  }
  TempDir dir;
  WriteFile(dir.File("t.h"), text);
  std::string why = "stale";
  ASSERT_EQ(LscTableValidateHeaderFile(dir.File("t.h").c_str(), &why), kOk);
  EXPECT_EQ(why, "");
  LscTable t;
  ASSERT_EQ(LscTableLoadHeaderFile(dir.File("t.h").c_str(), t), kOk);
  EXPECT_EQ(t.r_gain[0][0], 1.0f);
  EXPECT_EQ(t.gb_gain[1][0], 3.7f);  // value 17
  EXPECT_EQ(t.b_gain[12][16], 4.0f);
}

TEST(LscTableHeaderFile, TruncatedGbPlaneReportsEndOfFile) {
  TempDir dir;
  LscTable t = PatternTable();
  ASSERT_EQ(LscTableSaveHeaderFile(dir.File("full.h").c_str(), t), kOk);
  const std::string full = ReadFile(dir.File("full.h"));
  // Cut in the middle of Gb row 3, after column 7.
  const size_t gb = full.find("/* GB Gain */");
  const size_t cut = full.find("3.03800f", gb);
  ASSERT_NE(cut, std::string::npos);
  WriteFile(dir.File("cut.h"), full.substr(0, cut));

  LscTable back = {};
  testing::internal::CaptureStderr();
  EXPECT_EQ(LscTableLoadHeaderFile(dir.File("cut.h").c_str(), back), kFileError);
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(err.rfind("stream eofbit. error state: ", 0), 0u) << err;
  EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1);
  EXPECT_FLOAT_EQ(back.r_gain[12][16], t.r_gain[12][16]);
  EXPECT_FLOAT_EQ(back.gr_gain[12][16], t.gr_gain[12][16]);
  EXPECT_FLOAT_EQ(back.gb_gain[3][7], t.gb_gain[3][7]);
  EXPECT_EQ(back.gb_gain[3][8], 0.0f);

  std::string why;
  EXPECT_EQ(ValidateWithin10s(dir.File("cut.h"), &why), kFileError);
  EXPECT_EQ(why, "plane GB: expected 221 numbers, found 59");
}

// Broken markers and plane sizes, several of which would hang the loader.
TEST(LscTableHeaderFile, ValidatorNamesMarkerAndCountFaults) {
  TempDir dir;
  ASSERT_EQ(LscTableSaveHeaderFile(dir.File("full.h").c_str(), PatternTable()), kOk);
  const std::string full = ReadFile(dir.File("full.h"));
  const size_t gr = full.find("/* GR Gain */"), gb = full.find("/* GB Gain */"), b = full.find("/* B Gain */");
  struct Case {
    std::string text;
    std::string why;
  } const cases[] = {
      {Replace(full, "/* GB Gain */\n", ""), "missing marker \"/* GB Gain */\""},
      {Replace(full, "/* R Gain */\n", "/* R Gain */\r\n"),
       "marker \"/* R Gain */\" only found with extra blanks or a carriage return"},
      {Replace(full, "/* B Gain */\n", "/*  B Gain */\n"), "missing marker \"/* B Gain */\""},
      // "}," on the last row line: the two skipped lines swallow the marker.
      {Replace(full, "1.13600f\n},\n", "1.13600f },\n"), "marker \"/* GR Gain */\" not found after plane R"},
      {"", "missing marker \"/* R Gain */\""},
      // The Gr and Gb blocks swapped.
      {full.substr(0, gr) + full.substr(gb, b - gb) + full.substr(gr, gb - gr) + full.substr(b),
       "marker \"/* GB Gain */\" not found after plane GR"},
      // A Gr plane of one row runs into its own "}," line.
      {DropGrRowsAfterFirst(full), "plane GR: expected 221 numbers, found 17 before \"},\""},
      // Without the "{" line the first row is skipped instead.
      {Replace(full, "/* R Gain */\n{\n", "/* R Gain */\n"), "plane R: expected 221 numbers, found 204 before \"},\""},
      {full.substr(0, full.size() - 12), "plane B: expected 221 numbers, found 220"},
      {Replace(full, "1.00400f", "x1.004f"), "plane R: expected 221 numbers, found 4 before \"x1.004f,\""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    WriteFile(dir.File("bad.h"), c.text);
    std::string why;
    EXPECT_EQ(ValidateWithin10s(dir.File("bad.h"), &why), kFileError);
    EXPECT_EQ(why, c.why);
  }
}

TEST(LscTableHeaderFile, ValidatorIsStricterThanTheLoaderOnlyForNonNumbers) {
  TempDir dir;
  ASSERT_EQ(LscTableSaveHeaderFile(dir.File("full.h").c_str(), PatternTable()), kOk);
  const std::string full = ReadFile(dir.File("full.h"));
  // The loader takes a non-number as 0 and does not test for the very last
  // value; the validator rejects both rather than accept a silent 0 gain.
  const std::string last_missing = full.substr(0, full.size() - 12) + "\n},\n";
  WriteFile(dir.File("t.h"), last_missing);
  LscTable t = PatternTable();
  EXPECT_EQ(LscTableLoadHeaderFile(dir.File("t.h").c_str(), t), kOk);
  EXPECT_EQ(t.b_gain[12][16], 0.0f);
  EXPECT_EQ(ValidateWithin10s(dir.File("t.h"), nullptr), kFileError);

  WriteFile(dir.File("t.h"), Replace(full, "1.00400f", "x1.004f"));
  t = PatternTable();
  EXPECT_EQ(LscTableLoadHeaderFile(dir.File("t.h").c_str(), t), kOk);
  EXPECT_EQ(t.r_gain[0][4], 0.0f);
  EXPECT_EQ(t.r_gain[0][5], 1.005f);
  EXPECT_EQ(ValidateWithin10s(dir.File("t.h"), nullptr), kFileError);
}

TEST(LscTableHeaderFile, ValidatorRefusesEveryLineDeletion) {
  TempDir dir;
  ASSERT_EQ(LscTableSaveHeaderFile(dir.File("full.h").c_str(), PatternTable()), kOk);
  const std::string full = ReadFile(dir.File("full.h"));
  // Dropping any single line breaks the file for the loader, except the
  // final "}," line, which it never reads; the validator wants that one too,
  // since without it a cut file cannot be told from a complete one.
  size_t begin = 0;
  int line = 0;
  while (begin < full.size()) {
    const size_t end = full.find('\n', begin) + 1;
    WriteFile(dir.File("t.h"), full.substr(0, begin) + full.substr(end));
    std::string why;
    EXPECT_EQ(ValidateWithin10s(dir.File("t.h"), &why), kFileError) << "line " << line;
    if (line == 63) {
      EXPECT_EQ(why, "plane B: file ends after value 221 without the closing \"},\" (truncated?)");
    }
    begin = end;
    ++line;
  }
  EXPECT_EQ(line, 64);
}

}  // namespace
}  // namespace mirvo
