#include "checks/input_check.h"

#include <cstdio>
#include <vector>

#include "base/cli_error.h"
#include "io/override_map.h"
#include "pipeline/progress.h"

namespace mirvo_cli {

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
