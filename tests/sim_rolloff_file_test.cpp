#include <gtest/gtest.h>

#include <string>

#include "core/lsc_table.h"
#include "io/sim_rolloff_file.h"
#include "support/engine_scene.h"
#include "support/test_support.h"

namespace mirvo {
namespace {

using mirvo_test::ReadFile;
using mirvo_test::TempDir;
using mirvo_test::UniformTable;

const char kHeader[] =
    "// Rolloff Table\n"
    "NUM_MESHGAIN_V = 11\n"
    "NUM_MESHGAIN_H = 15\n"
    "BLOCK_HEIGHT = 127\n"
    "BLOCK_WIDTH = 127\n"
    "INTERP_FACTOR = 3\n"
    "SUB_GRID_Y_DELTA = 65536\n"
    "SUB_GRID_X_DELTA = 65536\n"
    "SUB_GRID_HEIGHT = 15\n"
    "SUB_GRID_WIDTH = 15\n"
    "PIXEL_Y_INDEX = 12\n"
    "PIXEL_X_INDEX = 0\n"
    "BLOCK_Y_INDEX = 0\n"
    "BLOCK_X_INDEX = 0\n"
    "SUB_GRID_Y_INDEX = 0\n"
    "SUB_GRID_X_INDEX = 1\n"
    "Y_DELTA_ACCUM = 786432\n"
    "\n";

std::string ValuesLine(const std::string& v) {
  std::string line = v;
  for (int i = 1; i < 221; ++i) line += ", " + v;
  return line + "\n";
}

TEST(SimRolloffFile, WritesPlanesRGrBGbAfterFixedGeometry) {
  TempDir dir;
  ASSERT_EQ(LscTableSaveTovanSimFile(dir.File("r.txt").c_str(), UniformTable(1.0f, 1.5f, 2.0f, 0.5f)), kOk);
  const std::string text = ReadFile(dir.File("r.txt"));
  EXPECT_EQ(text, std::string(kHeader) + "MESH_TABLE_R = \n" + ValuesLine("1024") + "\nMESH_TABLE_GR = \n" +
                      ValuesLine("1536") + "\nMESH_TABLE_B = \n" + ValuesLine("512") + "\nMESH_TABLE_GB = \n" +
                      ValuesLine("2048"));
  size_t lines = 0;
  for (char ch : text) lines += ch == '\n';
  EXPECT_EQ(lines, 29u);
}

TEST(SimRolloffFile, RoundsHalfUpThenTruncatesTowardZero) {
  LscTable t = UniformTable(1, 1, 1, 1);
  t.r_gain[0][0] = 0.99951f;  // 1023.498...
  t.r_gain[0][1] = 0.99952f;  // 1023.508...
  t.r_gain[0][2] = -0.001f;   // -1.024 + 0.5 truncates to 0
  t.r_gain[0][3] = -1.0f;     // -1023.5 truncates to -1023
  t.r_gain[6][8] = 3.99902f;
  t.r_gain[12][16] = 0.0f;
  TempDir dir;
  ASSERT_EQ(LscTableSaveTovanSimFile(dir.File("r.txt").c_str(), t), kOk);
  const std::string text = ReadFile(dir.File("r.txt"));
  const size_t r = text.find("MESH_TABLE_R = \n") + 16;
  const std::string line = text.substr(r, text.find('\n', r) - r + 1);
  EXPECT_EQ(line.substr(0, 30), "1023, 1024, 0, -1023, 1024, 10");
  EXPECT_NE(line.find(", 4095, "), std::string::npos);
  EXPECT_EQ(line.substr(line.size() - 8), "1024, 0\n");
}

TEST(SimRolloffFile, BadPathsFail) {
  TempDir dir;
  const LscTable t = UniformTable(1, 1, 1, 1);
  EXPECT_EQ(LscTableSaveTovanSimFile(nullptr, t), kFileError);
  EXPECT_EQ(LscTableSaveTovanSimFile(dir.File("no/such/r.txt").c_str(), t), kFileError);
}

}  // namespace
}  // namespace mirvo
