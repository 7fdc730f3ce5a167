#pragma once

#include <string>
#include <utility>
#include <vector>

namespace mirvo_cli {

// One grid of a diagnostic dump; its shape comes from the key, as in
// "GradH_UX[24][31]" (24 rows, 31 columns).
struct DiagGrid {
  std::string key;
  std::string name;  // key without the dimensions
  int rows = 0;
  int cols = 0;
  bool bytes = false;  // written as raw bytes rather than numbers
  std::vector<double> values;
};

struct DiagDump {
  std::vector<std::pair<std::string, double>> scalars;
  std::vector<DiagGrid> grids;
};

// Parses a dump: scalars first ("key=\nvalue\n"), then grid blocks
// ("\nkey=\nvalues\n"), number grids before byte grids, whose elements are
// single raw bytes separated by blanks. Throws DataError naming `path`.
DiagDump ParseDiagDump(const std::string& content, const std::string& path);

// Rows and columns from a key ending in "[rows][cols]"; false if it does not.
bool DimensionsFromKey(const std::string& key, std::string* name, int* rows, int* cols);

}  // namespace mirvo_cli
