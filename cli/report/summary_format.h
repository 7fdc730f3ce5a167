#pragma once

#include <string>

#include "workbench/summary/run_summary_model.h"

namespace mirvo_cli {

// What `mirvo run` records about a whole run (the model and its frame
// fields live in the workbench): DIR/summary.json, read back by `mirvo
// report`, and DIR/summary.csv, the frame records only, for spreadsheets.
using mirvo::workbench::FrameGrids;
using mirvo::workbench::FrameRecord;
using mirvo::workbench::kLatticeNodes;
using mirvo::workbench::LatticeGrid;
using mirvo::workbench::RunRecord;
using mirvo::workbench::RunSummaryData;

// The JSON text of a summary (non-finite numbers become null).
std::string SummaryJson(const RunSummaryData& summary);
// One line per frame with a header line.
std::string SummaryCsv(const RunSummaryData& summary);
// Parses and validates summary.json; throws DataError naming `path`.
RunSummaryData ParseSummaryJson(const std::string& text, const std::string& path);
// Reads `path` (within the summary size limit) and parses it as above; any
// refusal, of the file or of its text, is a DataError naming `path`.
RunSummaryData ReadSummaryJson(const std::string& path);

}  // namespace mirvo_cli
