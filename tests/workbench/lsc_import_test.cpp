// Import of lens shading calibrations from JSON: the geometry of every
// layout on the 13 x 17 lattice, colour temperature interpolation, the
// round trip through mirvo table --json, and refusals.
#include "workbench/import/lsc_import.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>

#include "test_support.h"
#include "workbench/files/file_error.h"

namespace mirvo::workbench {
namespace {

using nlohmann::json;

// A surface linear in lattice units, so bilinear resampling and its straight
// continuation beyond the outer samples reproduce it exactly.
double Ramp(double x, double y) { return 0.02 * x - 0.03 * y; }

json Grid(int rows, int cols, const std::function<double(int, int)>& value) {
  json g = json::array();
  for (int r = 0; r < rows; ++r) {
    g.push_back(json::array());
    for (int c = 0; c < cols; ++c) g.back().push_back(value(r, c));
  }
  return g;
}

TEST(LscImport, EveryLayoutPutsItsSamplesWhereTheLatticeExpectsThem) {
  // Cells of 16 x 12: centre of cell (i, j) at lattice (j + 0.5, i + 0.5).
  const json ramp_cells = Grid(12, 16, [](int i, int j) { return std::exp(Ramp(j + 0.5, i + 0.5)); });
  // (json::array: a braced single element would be taken as a copy of it by some compilers.)
  json cells = {{"grid_rows", 12}, {"grid_cols", 16}, {"luminance_lut", ramp_cells}};
  cells["calibrations_Cr"] = json::array({{{"ct", 5000}, {"table", Grid(12, 16, [](int, int) { return 0.5; })}}});
  cells["calibrations_Cb"] = json::array({{{"ct", 5000}, {"table", ramp_cells}}});
  // 17 x 17 nodes from edge to edge: node (i, j) at lattice (j, i * 12 / 16).
  json set = {{"ct", 4000}};
  for (const char* ch : {"r", "gr", "gb", "b"})
    set[ch] = Grid(17, 17, [](int i, int j) { return 1024.0 * std::exp(Ramp(j, i * 0.75)); });
  json nodes = {{"grid_rows", 17}, {"grid_cols", 17}, {"sets", json::array({set})}};
  nodes["x_size"] = nodes["y_size"] = std::vector<double>(8, 0.0625);
  // A 32 x 32 mesh from edge to edge, gain 1 + v / 256.
  json mset = {{"ct", 6500}};
  for (const char* ch : {"r", "g", "b"})
    mset[ch] =
        Grid(32, 32, [](int i, int j) { return 256.0 * (std::exp(Ramp(j * 16.0 / 31, i * 12.0 / 31) + 0.4) - 1); });
  const json mesh = {{"grid_rows", 32}, {"grid_cols", 32}, {"mesh_scale", 4}, {"sets", json::array({mset})}};

  const struct {
    const char* name;
    json doc;
    double scale[4];  // of the ramp in each plane's log: R, Gr, Gb, B
  } cases[] = {{"cells", cells, {1, 1, 1, 2}}, {"nodes", nodes, {1, 1, 1, 1}}, {"mesh", mesh, {1, 1, 1, 1}}};
  for (const auto& c : cases) {
    const LscTable t = ImportLscJson(c.doc.dump(), c.name, 0).table;
    const float(*planes[4])[17] = {t.r_gain, t.gr_gain, t.gb_gain, t.b_gain};
    for (int p = 0; p < 4; ++p)
      for (int r = 0; r < 13; ++r)
        for (int col = 0; col < 17; ++col)
          EXPECT_NEAR(std::log(planes[p][r][col] / planes[p][0][0]), c.scale[p] * (Ramp(col, r) - Ramp(0, 0)), 2e-6)
              << c.name << " plane " << p << " node " << r << "," << col;
    // Each plane normalised to a smallest gain of 1 (at the bottom-left node).
    EXPECT_FLOAT_EQ(t.gr_gain[12][0], 1.0f) << c.name;
  }
}

TEST(LscImport, InterpolatesBetweenColourTemperaturesInReciprocalKelvin) {
  json doc = {{"grid_rows", 2}, {"grid_cols", 2}, {"sets", json::array()}};
  for (const auto& [ct, red] : {std::pair{6000, 2.0}, std::pair{3000, 4.0}}) {
    json s = {{"ct", ct}, {"r", Grid(2, 2, [red = red](int i, int) { return 1024.0 * (i ? red : 1.0); })}};
    for (const char* ch : {"gr", "gb", "b"}) s[ch] = Grid(2, 2, [](int, int) { return 1024.0; });
    doc["sets"].push_back(s);
  }
  // 4000 K lies half way from 3000 K to 6000 K in 1/K (333, 250 and 167
  // per megakelvin); gains blend in log: 4^(1/2) * 2^(1/2) at the bottom row.
  const ImportedTable t = ImportLscJson(doc.dump(), "two", 4000);
  EXPECT_NEAR(t.table.r_gain[12][0], std::pow(2.0, 1.5), 1e-5);
  EXPECT_EQ(t.colour_temperatures, (std::vector<int>{3000, 6000}));
  EXPECT_NE(t.note.find("interpolated between 3000 K and 6000 K"), std::string::npos);
  EXPECT_NEAR(ImportLscJson(doc.dump(), "two", 9000).table.r_gain[12][0], 2.0, 1e-6);  // nearest
  EXPECT_THROW(ImportLscJson(doc.dump(), "two", 0), ColourTemperatureNeeded);
}

TEST(LscImport, ReadsBackWhatTableJsonPrintsAndTheRealCalibrations) {
  const LscTable real =
      ImportLscJson(mirvo_test::ReadFile(mirvo_test::DataPath("lsc/rpi_vc4_ov5647.json")), "ov5647", 3000).table;
  const LscTable back = ImportLscJson(TableToJson(real), "json", 0).table;
  for (int i = 0; i < 884; ++i) EXPECT_NEAR((&real.r_gain[0][0])[i], (&back.r_gain[0][0])[i], 1e-5f) << i;
  // The luminance table's corner (2.236 at the top-left cell) continues beyond the cell centre.
  EXPECT_GT(real.gr_gain[0][0], 2.236f);
}

TEST(LscImport, RefusesWhatIsNotACalibration) {
  const std::pair<std::string, const char*> cases[] = {
      {"[1, 2", "not valid JSON"},
      {std::string(100000, '[') + std::string(100000, ']'), "JSON nested deeper than 64 levels"},
      {"[1, 2]", "not a JSON object"},
      {R"({"x": 1})", "no known lens shading layout"},
      {R"({"grid_rows": 2, "grid_cols": 2, "sets": [{"ct": 5000, "r": [[1, 1], [1, 1]]}]})", "missing \"gr\""},
      {R"({"grid_rows": 2, "grid_cols": 2, "sets": [{"ct": 5000, "r": [[1, 1], [1]]}]})", "rows of 2 values"},
      {R"({"grid_rows": 2, "grid_cols": 2, "sets": [{"ct": 5000, "r": [[1, 1], [1, -1]]}]})", "out of range"},
      {R"({"grid_rows": 2, "grid_cols": 2, "sets": [{"ct": 5, "r": [[1, 1], [1, 1]]}]})", "colour temperature"},
      {R"({"grid_rows": 1e9, "grid_cols": 2, "sets": [{}]})", "grid_rows"},
  };
  for (const auto& [text, message] : cases) {
    SCOPED_TRACE(message);
    EXPECT_THROW(
        try { ImportLscJson(text, "f.json", 0); } catch (const FileError& e) {
          EXPECT_NE(std::string(e.what()).find(message), std::string::npos) << e.what();
          EXPECT_EQ(std::string(e.what()).rfind("f.json: ", 0), 0u) << e.what();
          throw;
        },
        FileError);
  }
}

}  // namespace
}  // namespace mirvo::workbench
