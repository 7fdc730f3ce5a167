#pragma once

#include <string>
#include <utility>
#include <vector>

#include "core/export.h"
#include "core/parse_result.h"

namespace mirvo {

// Reader of the diagnostic dump that MirvoState::Write (and SaveAll) writes:
// scalars first, each as a line "key=" and a line with the value; then grid
// blocks, each an empty line, "key=" and one line of blank-separated
// values, float, unsigned int and unsigned short grids as numbers, byte grids
// last as raw bytes. A grid's shape comes from its key, as in
// "GradH_UX[24][31]" (24 rows, 31 columns).

struct DiagnosticGrid {
  std::string key;
  std::string name;  // key without the dimensions
  int rows = 0;
  int cols = 0;
  bool bytes = false;  // written as raw bytes rather than numbers
  std::vector<double> values;
};

struct DiagnosticDump {
  std::vector<std::pair<std::string, double>> scalars;
  std::vector<DiagnosticGrid> grids;
};

// Largest grid a dump may declare, in values; far above what the engine
// records (24 x 32). A grid's values must be present in the text before any
// memory is set aside for them, so memory follows the text, not its keys.
inline constexpr long kMaxDiagnosticGridValues = 1 << 22;

// Parses `text` into `dump`. Strict: every line as described above, every
// grid holding exactly rows x cols values, number grids before byte grids.
// Reasons start with "line N: " (lines from 1, as editors count them).
MIRVO_EXPORT ParseResult DiagnosticDumpParseText(const std::string& text, DiagnosticDump* dump);

// Name, rows and columns of a key ending in "[rows][cols]", both at least 1
// and their product at most kMaxDiagnosticGridValues; false otherwise.
bool DiagnosticGridShape(const std::string& key, std::string* name, int* rows, int* cols);

}  // namespace mirvo
