#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "core/diagnostic_dump.h"

namespace mirvo {
namespace {

DiagnosticDump Parse(const std::string& text) {
  DiagnosticDump dump;
  const ParseResult result = DiagnosticDumpParseText(text, &dump);
  EXPECT_TRUE(result) << result.reason;
  return dump;
}

TEST(DiagnosticDump, DimensionsComeFromTheKey) {
  std::string name;
  int rows = 0, cols = 0;
  ASSERT_TRUE(DiagnosticGridShape("GradH_UX[24][31]", &name, &rows, &cols));
  EXPECT_EQ(name, "GradH_UX");
  EXPECT_EQ(rows, 24);
  EXPECT_EQ(cols, 31);
  EXPECT_FALSE(DiagnosticGridShape("prj_u", &name, &rows, &cols));
  EXPECT_FALSE(DiagnosticGridShape("x[2]", &name, &rows, &cols));
  EXPECT_FALSE(DiagnosticGridShape("x[0][3]", &name, &rows, &cols));
  EXPECT_FALSE(DiagnosticGridShape("x[a][3]", &name, &rows, &cols));
  EXPECT_FALSE(DiagnosticGridShape("[2][3]", &name, &rows, &cols));
}

TEST(DiagnosticDump, ScalarsNumberGridsAndByteGrids) {
  // Byte grids may hold any byte, blanks and line feeds included.
  const std::string bytes("\x01 \0 \n  ", 7);
  const std::string text =
      "prj_u=\n-0.5\nred_gain=\nnan\n"
      "\nf[1][2]=\n1.5 -2e-07\n"
      "\nu[2][1]=\n7 4294967295\n"
      "\nm[1][4]=\n" +
      bytes +
      "\n"
      "\nn[1][1]=\n\x01\n";
  const DiagnosticDump d = Parse(text);
  ASSERT_EQ(d.scalars.size(), 2u);
  EXPECT_EQ(d.scalars[0].first, "prj_u");
  EXPECT_EQ(d.scalars[0].second, -0.5);
  EXPECT_TRUE(std::isnan(d.scalars[1].second));
  ASSERT_EQ(d.grids.size(), 4u);
  EXPECT_EQ(d.grids[0].values, (std::vector<double>{1.5, -2e-07}));
  EXPECT_EQ(d.grids[1].rows, 2);
  EXPECT_EQ(d.grids[1].values[1], 4294967295.0);
  EXPECT_TRUE(d.grids[2].bytes);
  EXPECT_EQ(d.grids[2].values, (std::vector<double>{1, 0, 10, 32}));
  EXPECT_EQ(d.grids[3].values, (std::vector<double>{1}));

  // A dump of grids only starts with an empty line.
  const DiagnosticDump grids = Parse("\ng[1][1]=\n3\n");
  EXPECT_TRUE(grids.scalars.empty());
  ASSERT_EQ(grids.grids.size(), 1u);
  EXPECT_TRUE(Parse("").grids.empty());
}

TEST(DiagnosticDump, MalformedDumpsNameTheLine) {
  auto fails = [](const std::string& text, const char* message) {
    DiagnosticDump dump;
    const ParseResult result = DiagnosticDumpParseText(text, &dump);
    EXPECT_FALSE(result) << "accepted: " << text;
    EXPECT_NE(result.reason.find(message), std::string::npos) << result.reason;
    EXPECT_EQ(result.reason.rfind("line " + std::to_string(result.line) + ": ", 0), 0u) << result.reason;
  };
  // Lines count from 1, as editors show them.
  fails("prj_u=\nabc\n", "line 2: value 'abc' of scalar prj_u is not a number");
  fails("prj_u\n1\n", "line 1: expected a line 'key='");
  fails("prj_u=\n1", "line 2: truncated");
  fails("\ng=\n1\n", "line 2: grid key g does not end in [rows][cols]");
  fails("\ng[2][2]=\n1 2 3\n", "line 3: grid g[2][2] does not hold 4 values");
  fails("\ng[1][1]=\n1\nh[1][1]=\n1\n", "line 4: expected an empty line");
  fails("\ng[1][2]=\n1 2", "line 3: truncated");
}

}  // namespace
}  // namespace mirvo
