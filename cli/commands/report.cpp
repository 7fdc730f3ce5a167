#include <cstdio>
#include <filesystem>
#include <new>

#include "base/cli_error.h"
#include "base/standard_output.h"
#include "checks/input_check.h"
#include "commands/args.h"
#include "commands/commands.h"
#include "files/atomic_file.h"
#include "files/output_plan.h"
#include "report/corpus_index.h"
#include "report/preview_section.h"
#include "report/report_page.h"
#include "report/summary_format.h"

namespace mirvo_cli {
namespace {

const char kHelp[] =
    "usage: mirvo report DIR\n"
    "\n"
    "Reads DIR/summary.json, as mirvo run and mirvo demo write it, and writes\n"
    "DIR/report.html: one self-contained page (no network, no scripts) that any\n"
    "browser shows. It holds the run record; plots over the frames of the profile\n"
    "projections prj_u and prj_v, the temporal update gain and the output table's\n"
    "gain range, with the frames marked where an output was not finite, the merge\n"
    "rescaling switched, the projections jumped or the guard (run --guard) replaced\n"
    "the table; heatmaps of the tint and the output table of the first, the last\n"
    "and the most notable frames; and warnings. When the run kept previews (run\n"
    "--preview, demo) the page shows those frames before and after the correction.\n"
    "Plots of runs longer than a plot is wide show per pixel column the range of its\n"
    "frames as a band and their mean as a line, so no spike is lost; summary.json\n"
    "keeps every frame.\n"
    "On a corpus output folder (with corpus_summary.json, as python3 -m mirvo.corpus\n"
    "writes it) it writes each sequence's DIR/<sequence>/report.html and DIR/index.html,\n"
    "the table of the sequences, worst first, each linking to its report.\n";

// DIR/<sequence>/report.html for each sequence with a summary, then the
// index; a sequence whose summary does not read is a row with that error.
int RunCorpus(const std::string& dir, const std::string& corpus_path) {
  std::vector<CorpusRow> rows =
      ParseCorpusSummary(ReadInputFile(corpus_path, "a corpus summary", kMaxSummaryBytes), corpus_path);
  for (CorpusRow& row : rows) {
    const std::string run_dir = dir + "/" + row.sequence;
    if (!std::filesystem::is_regular_file(run_dir + "/summary.json")) continue;
    try {
      const RunSummaryData summary = ReadSummaryJson(run_dir + "/summary.json");
      WriteFileAtomically(run_dir + "/report.html", ReportHtml(summary, run_dir));
      row.warnings = static_cast<int>(RunWarnings(summary).size());
      row.has_report = true;
    } catch (const DataError& e) {
      if (row.error.empty()) row.error = e.what();
    }
  }
  SortWorstFirst(&rows);
  const std::string out = dir + "/index.html";
  WriteFileAtomically(out, CorpusIndexHtml(rows, dir));
  std::printf("%s: %zu sequence%s\n", out.c_str(), rows.size(), rows.size() == 1 ? "" : "s");
  return kExitOk;
}

int Run(const std::vector<std::string>& argv) {
  const Args args("report", {}, argv);
  std::string dir = args.OnePositional("run directory");
  while (dir.size() > 1 && dir.back() == '/') dir.pop_back();
  const std::string corpus_path = dir + "/corpus_summary.json";
  if (std::filesystem::is_regular_file(corpus_path)) return RunCorpus(dir, corpus_path);
  const std::string path = dir + "/summary.json";
  const std::string out = dir + "/report.html";
  CheckOutputPlan({path}, {out});
  RunSummaryData summary;
  std::string html;
  try {
    summary = ReadSummaryJson(path);
    html = ReportHtml(summary, dir, PreviewSection(dir));
  } catch (const std::bad_alloc&) {
    throw DataError(path + ": out of memory making the report");
  }
  WriteFileAtomically(out, html);
  Print("%s: %d frame%s, %zu kept whole, %.0f KB\n", out.c_str(), summary.run.frames,
        summary.run.frames == 1 ? "" : "s", summary.grids.size(), html.size() / 1024.0);
  return kExitOk;
}

}  // namespace

const Command kCommandReport = {"report", "write an HTML page showing a whole run from its summary", kHelp, Run};

}  // namespace mirvo_cli
