#pragma once

#include <string>
#include <vector>

#include "report/summary_format.h"

namespace mirvo_cli {

// Things in a run a tuning engineer should look at, one sentence each.
std::vector<std::string> RunWarnings(const RunSummaryData& summary);

// The whole report as one self-contained HTML page: inline SVG plots and
// heatmaps as embedded PNG, no scripts, no external resources. `title`
// names the run (its directory); `pictures` is the preview section, if any.
std::string ReportHtml(const RunSummaryData& summary, const std::string& title, const std::string& pictures = "");

}  // namespace mirvo_cli
