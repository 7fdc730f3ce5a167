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

TEST(MatrixToString, FormatsEachElementTypeItsOwnWay) {
  EXPECT_EQ(FloatGrid(4, 1, {0.5f, 1.0f, 1234567.0f, 1e-7f}).ToString(), "0.5 1 1.23457e+06 1e-07");
  EXPECT_EQ(FloatGrid(2, 1, {0.123456789f, -2.5f}).ToString(), "0.123457 -2.5");
  EXPECT_EQ(FloatGrid(1, 1, {3.0f}).ToString(), "3");

  Matrix<unsigned int> u(3, 1);
  u.data = {0u, 4294967295u, 42u};
  EXPECT_EQ(u.ToString(), "0 4294967295 42");

  Matrix<unsigned short> s(2, 2);
  s.data = {65535, 1, 0, 7};
  EXPECT_EQ(s.ToString(), "65535 1 0 7");

  // Bytes are raw characters, not numbers: 0 is a NUL, 1 is 0x01.
  Matrix<unsigned char> b(3, 1);
  b.data = {1, 0, 'A'};
  EXPECT_EQ(b.ToString(), std::string("\x01 \0 A", 5));
}

TEST(MirvoState, DumpOrdersScalarsThenGridMapsByteWise) {
  MirvoState state;
  state.Set("smooth_thd", 0.04f);
  state.Set("Zed", 1234567.0f);
  state.Set("alpha", 0.123456789f);
  state.Set("base_table_Gb[13][17]", FloatGrid(2, 1, {1.0f, 2.0f}));
  state.Set("base_table_B[13][17]", FloatGrid(1, 1, {0.5f}));
  Matrix<unsigned short> flags(2, 1);
  flags.data = {1, 0};
  state.Set("base_table_B[13][17]", flags);  // same key, other map: dumped twice
  Matrix<unsigned int> sums(2, 1);
  sums.data = {100000u, 3u};
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
                                   "\nbase_table_Gb[13][17]=\n1 2\n"
                                   "\nlin_stat_sum_R[1][2]=\n100000 3\n"
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
