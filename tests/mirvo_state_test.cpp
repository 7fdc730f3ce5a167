#include <gtest/gtest.h>

#include <string>

#include "core/matrix.h"
#include "core/mirvo_state.h"
#include "support/test_support.h"

namespace mirvo {
namespace {

using mirvo_test::LogCapture;
using mirvo_test::ReadFile;
using mirvo_test::TempDir;

Matrix<float> FloatGrid(int cols, int rows, std::initializer_list<float> values) {
  Matrix<float> m(cols, rows);
  m.data.assign(values);
  return m;
}

// Scalars by name, then the grids map by map; numbers to six significant
// digits, integers whole, bytes as raw characters (0 is a NUL).
TEST(MirvoState, DumpOrdersScalarsThenGridMapsByteWise) {
  MirvoState state;
  state.Set("smooth_thd", 0.04f);
  state.Set("Zed", 1234567.0f);
  state.Set("alpha", 0.123456789f);
  state.Set("base_table_Gb[13][17]", FloatGrid(4, 1, {1.0f, 1234567.0f, 1e-7f, -2.5f}));
  state.Set("base_table_B[13][17]", FloatGrid(1, 1, {0.5f}));
  Matrix<unsigned short> flags(2, 1);
  flags.data = {1, 0};
  state.Set("base_table_B[13][17]", flags);  // same key, other map: dumped twice
  Matrix<unsigned int> sums(2, 1);
  sums.data = {100000u, 4294967295u};
  state.Set("lin_stat_sum_R[1][2]", sums);
  Matrix<unsigned char> mask(4, 1);
  mask.data = {0, 1, 1, 0};
  state.Set("mask[1][4]", mask);

  TempDir dir;
  ASSERT_EQ(state.SaveAll(dir.File("d.txt")), kOk);
  const std::string expected = std::string(
                                   "Zed=\n1.23457e+06\n"
                                   "alpha=\n0.123457\n"
                                   "smooth_thd=\n0.04\n"
                                   "\nbase_table_B[13][17]=\n0.5\n"
                                   "\nbase_table_Gb[13][17]=\n1 1.23457e+06 1e-07 -2.5\n"
                                   "\nlin_stat_sum_R[1][2]=\n100000 4294967295\n"
                                   "\nbase_table_B[13][17]=\n1 0\n"
                                   "\nmask[1][4]=\n") +
                               std::string("\0 \x01 \x01 \0\n", 8);
  EXPECT_EQ(ReadFile(dir.File("d.txt")), expected);

  // Dumping leaves the store as it was and rewrites the whole file.
  ASSERT_EQ(state.SaveAll(dir.File("d.txt")), kOk);
  EXPECT_EQ(ReadFile(dir.File("d.txt")), expected);
}

TEST(MirvoState, GridOnlyDumpStartsWithEmptyLineAndKeepsLastRecording) {
  MirvoState state;
  state.Set("x", FloatGrid(3, 2, {1, 2, 3, 4, 5, 6}));
  state.Set("x", FloatGrid(1, 2, {7, 8}));
  ASSERT_EQ(state.float_matrices().size(), 1u);
  EXPECT_EQ(state.float_matrices().at("x").cols, 1);
  EXPECT_EQ(state.float_matrices().at("x").rows, 2);

  TempDir dir;
  ASSERT_EQ(state.SaveAll(dir.File("d.txt")), kOk);
  EXPECT_EQ(ReadFile(dir.File("d.txt")), "\nx=\n7 8\n");

  state.Clear();
  EXPECT_TRUE(state.float_matrices().empty());
  ASSERT_EQ(state.SaveAll(dir.File("d.txt")), kOk);
  EXPECT_EQ(ReadFile(dir.File("d.txt")), "");
}

// Opening /dev/full succeeds; every flush fails with ENOSPC.
TEST(MirvoState, UnopenableOrUnwritablePathIsLoggedAndFails) {
  TempDir dir;
  MirvoState state;
  state.Set("a", 1.0f);
  const std::string missing = dir.File("missing/d.txt");
  for (const auto& [path, line] : {std::pair{missing, "Cannot open file: " + missing},
                                   std::pair<std::string, std::string>{"/dev/full", "Cannot save file: /dev/full"}}) {
    LogCapture log;
    EXPECT_EQ(state.SaveAll(path), kFileError);
    EXPECT_EQ(mirvo_test::LogText(log), "E/MirvoCore: " + line + "\n");
  }
}

}  // namespace
}  // namespace mirvo
