#pragma once

#include <string>
#include <vector>

namespace mirvo_cli {

// One sequence of a corpus run, as mirvo.corpus writes it to
// corpus_summary.json, plus what the report found in its folder.
struct CorpusRow {
  std::string sequence;
  std::string status;  // "ok" or "failed"
  std::string error;   // why it failed; empty otherwise
  int frames = -1;     // -1: unknown (a failed sequence)
  int guarded_frames = -1;
  double prj_u = 0;  // NaN where the summary has none
  double prj_v = 0;
  double residual_shading = 0;
  double seconds = 0;
  int warnings = -1;        // of the sequence's report; -1: no report
  bool has_report = false;  // <sequence>/report.html was written
};

// Parses corpus_summary.json; throws DataError naming `path`. A sequence
// name that is not a plain folder name is refused.
std::vector<CorpusRow> ParseCorpusSummary(const std::string& text, const std::string& path);

// Worst first: failed sequences, then more warnings, then more guarded
// frames, then by name.
void SortWorstFirst(std::vector<CorpusRow>* rows);

// The corpus index page: one table row per sequence in the given order,
// each linking to <sequence>/report.html when it has one. A few lines of
// inline script sort the table by a clicked column; without them it stays
// worst first. Self-contained, like the run reports.
std::string CorpusIndexHtml(const std::vector<CorpusRow>& rows, const std::string& title);

}  // namespace mirvo_cli
