// The diagnostic dump: the engine's store writes it, the workstation's
// reader takes it back.
#include "core/diagnostic_dump.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "core/matrix.h"
#include "core/mirvo_state.h"
#include "support/test_support.h"

namespace mirvo {
namespace {

using mirvo_test::ReadFile;
using mirvo_test::TempDir;

template <class T>
Matrix<T> Grid(int cols, std::vector<T> values) {
  Matrix<T> m(cols, static_cast<int>(values.size()) / cols);
  m.data = values;
  return m;
}

DiagnosticDump Parse(const std::string& text) {
  DiagnosticDump dump;
  const ParseResult result = DiagnosticDumpParseText(text, &dump);
  EXPECT_TRUE(result) << result.reason;
  return dump;
}

// Scalars by name, then the grids map by map; numbers to six significant
// digits, integers whole, bytes as raw characters (0 is a NUL, blanks and
// line feeds included), which the reader takes back.
TEST(DiagnosticDump, StoreWritesScalarsThenGridMapsAndTheReaderTakesThem) {
  MirvoState state;
  state.Set("smooth_thd", 0.04f);
  state.Set("Zed", 1234567.0f);
  state.Set("alpha", 0.123456789f);
  state.Set("red_gain", std::nanf(""));
  state.Set("gb[1][4]", Grid<float>(4, {1.0f, 1234567.0f, 1e-7f, -2.5f}));
  state.Set("b[1][1]", Grid<float>(1, {0.5f}));
  state.Set("b[1][1]", Grid<unsigned short>(1, {1}));  // same key, other map: dumped twice
  state.Set("sum[1][2]", Grid<unsigned int>(2, {100000u, 4294967295u}));
  state.Set("mask[1][4]", Grid<unsigned char>(4, {0, 1, 10, 32}));
  TempDir dir;
  ASSERT_EQ(state.SaveAll(dir.File("d.txt")), kOk);
  const std::string expected =
      "Zed=\n1.23457e+06\nalpha=\n0.123457\nred_gain=\nnan\nsmooth_thd=\n0.04\n"
      "\nb[1][1]=\n0.5\n\ngb[1][4]=\n1 1.23457e+06 1e-07 -2.5\n"
      "\nsum[1][2]=\n100000 4294967295\n"
      "\nb[1][1]=\n1\n"
      "\nmask[1][4]=\n" +
      std::string("\0 \x01 \n  \n", 8);
  EXPECT_EQ(ReadFile(dir.File("d.txt")), expected);
  // Dumping leaves the store as it was and rewrites the whole file.
  ASSERT_EQ(state.SaveAll(dir.File("d.txt")), kOk);
  EXPECT_EQ(ReadFile(dir.File("d.txt")), expected);

  const DiagnosticDump d = Parse(expected);
  ASSERT_EQ(d.scalars.size(), 4u);
  EXPECT_EQ(d.scalars[0], std::make_pair(std::string("Zed"), 1234570.0));
  EXPECT_TRUE(std::isnan(d.scalars[2].second));
  ASSERT_EQ(d.grids.size(), 5u);
  EXPECT_EQ(d.grids[1].name, "gb");
  EXPECT_EQ(d.grids[1].values, (std::vector<double>{1, 1234570, 1e-07, -2.5}));
  EXPECT_EQ(d.grids[2].cols, 2);
  EXPECT_EQ(d.grids[2].values[1], 4294967295.0);
  EXPECT_TRUE(d.grids[4].bytes);
  EXPECT_EQ(d.grids[4].values, (std::vector<double>{0, 1, 10, 32}));
}

TEST(DiagnosticDump, GridOnlyDumpStartsWithEmptyLineAndKeepsLastRecording) {
  MirvoState state;
  state.Set("x[2][1]", Grid<float>(3, {1, 2, 3, 4, 5, 6}));
  state.Set("x[2][1]", Grid<float>(1, {7, 8}));
  TempDir dir;
  ASSERT_EQ(state.SaveAll(dir.File("d.txt")), kOk);
  EXPECT_EQ(ReadFile(dir.File("d.txt")), "\nx[2][1]=\n7 8\n");
  const DiagnosticDump d = Parse(ReadFile(dir.File("d.txt")));
  EXPECT_TRUE(d.scalars.empty());
  ASSERT_EQ(d.grids.size(), 1u);
  EXPECT_EQ(d.grids[0].rows, 2);

  state.Clear();
  ASSERT_EQ(state.SaveAll(dir.File("d.txt")), kOk);
  EXPECT_EQ(ReadFile(dir.File("d.txt")), "");
  EXPECT_TRUE(Parse("").grids.empty());
}

// Opening /dev/full succeeds; every flush fails with ENOSPC.
TEST(DiagnosticDump, UnopenableOrUnwritablePathIsLoggedAndFails) {
  TempDir dir;
  MirvoState state;
  state.Set("a", 1.0f);
  const std::string missing = dir.File("missing/d.txt");
  for (const auto& [path, line] : {std::pair{missing, "Cannot open file: " + missing},
                                   std::pair<std::string, std::string>{"/dev/full", "Cannot save file: /dev/full"}}) {
    mirvo_test::LogCapture log;
    EXPECT_EQ(state.SaveAll(path), kFileError);
    EXPECT_EQ(mirvo_test::LogText(log), "E/MirvoCore: " + line + "\n");
  }
}

TEST(DiagnosticDump, DimensionsComeFromTheKey) {
  std::string name;
  int rows = 0, cols = 0;
  ASSERT_TRUE(DiagnosticGridShape("GradH_UX[24][31]", &name, &rows, &cols));
  EXPECT_EQ(name + " " + std::to_string(rows) + " " + std::to_string(cols), "GradH_UX 24 31");
  for (const char* key : {"prj_u", "x[2]", "x[0][3]", "x[a][3]", "[2][3]"}) {
    EXPECT_FALSE(DiagnosticGridShape(key, &name, &rows, &cols)) << key;
  }
}

TEST(DiagnosticDump, MalformedDumpsNameTheLine) {
  // Lines count from 1, as editors show them.
  const std::pair<std::string, std::string> cases[] = {
      {"prj_u=\nabc\n", "line 2: value 'abc' of scalar prj_u is not a number"},
      {"prj_u\n1\n", "line 1: expected a line 'key='"},
      {"prj_u=\n1", "line 2: truncated"},
      {"\ng=\n1\n", "line 2: grid key g does not end in [rows][cols]"},
      {"\ng[2][2]=\n1 2 3\n", "line 3: grid g[2][2] does not hold 4 values"},
      {"\ng[1][1]=\n1\nh[1][1]=\n1\n", "line 4: expected an empty line"},
      {"\ng[1][2]=\n1 2", "line 3: truncated"},
  };
  for (const auto& [text, reason] : cases) {
    DiagnosticDump dump;
    const ParseResult result = DiagnosticDumpParseText(text, &dump);
    EXPECT_FALSE(result) << "accepted: " << text;
    EXPECT_EQ(result.reason.rfind(reason, 0), 0u) << result.reason;
    EXPECT_EQ(result.reason.rfind("line " + std::to_string(result.line) + ": ", 0), 0u) << result.reason;
  }
}

}  // namespace
}  // namespace mirvo
