// JSON lens shading calibrations: the import never crashes or hangs; it
// either refuses the text with one line naming the file, or gives a table of
// finite gains, each plane's smallest exactly 1, that reads back from its
// own JSON form.
#include <cmath>
#include <string>

#include "scratch_file.h"
#include "workbench/import/lsc_import.h"

namespace {

void Check(const mirvo::LscTable& t) {
  const float* g = &t.r_gain[0][0];
  for (int p = 0; p < 4; ++p) {
    float low = g[p * 221];
    for (int i = 0; i < 221; ++i) {
      const float v = g[p * 221 + i];
      if (!std::isfinite(v) || v < 1.0f) mirvo_fuzz::Fail("gain not finite or below 1");
      low = std::min(low, v);
    }
    if (low != 1.0f) mirvo_fuzz::Fail("plane not normalised to a smallest gain of 1");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  for (int ct : {0, 4000}) {
    try {
      const mirvo::workbench::ImportedTable imported = mirvo::workbench::ImportLscJson(text, "f.json", ct);
      Check(imported.table);
      Check(mirvo::workbench::ImportLscJson(mirvo::workbench::TableToJson(imported.table), "back.json", 0).table);
    } catch (const mirvo::workbench::WorkbenchError& e) {
      const std::string message = e.what();
      if (message.find('\n') != std::string::npos) mirvo_fuzz::Fail("message of more than one line");
    }
  }
  return 0;
}
