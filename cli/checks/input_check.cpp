#include "checks/input_check.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

#include "base/cli_error.h"
#include "io/lsc_table_file.h"
#include "io/override_map.h"
#include "io/tuning_file.h"
#include "pipeline/progress.h"
#include "tools/bayer_raw.h"
#include "tools/stats_text.h"

namespace mirvo_cli {
void CheckRawFile(const std::string& path, const RawOptions& raw) { MakeFrameInput(&raw)->Check(path); }

void StatsFromRawFile(const std::string& path, const RawOptions& raw, mirvo::Stats* stats) {
  MakeFrameInput(&raw)->ReadStats(path, stats);
}

void CheckOverrideFile(const std::string& path) {
  const std::vector<mirvo::OverrideEntry> entries = mirvo::workbench::LoadOverrideFile(path);
  // Warnings wait until the whole file passed, so a bad file gives one line only.
  bool cleared = false;
  for (const mirvo::OverrideEntry& entry : entries) {
    if (mirvo::IsOverrideKey(entry.key)) continue;
    if (!cleared) ClearProgressLine();
    cleared = true;
    const std::string w =
        path + ": line " + std::to_string(entry.line) + ": unknown key '" + entry.key + "' is ignored";
    std::fprintf(stderr, "mirvo: warning: %s\n", Printable(w).c_str());
  }
}

}  // namespace mirvo_cli
