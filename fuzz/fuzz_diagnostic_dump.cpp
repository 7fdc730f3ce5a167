// Diagnostic dumps: any bytes come back as a dump or a one-line reason; an
// accepted dump holds exactly the values its keys announce and never more
// values than the text has bytes.
#include <string>

#include "core/diagnostic_dump.h"
#include "scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  mirvo::DiagnosticDump dump;
  const mirvo::ParseResult result = mirvo::DiagnosticDumpParseText(text, &dump);
  if (mirvo_fuzz::Rejected(result)) {
    if (result.line < 1) mirvo_fuzz::Fail("rejected without naming a line");
    return 0;
  }
  size_t values = 0;
  for (const mirvo::DiagnosticGrid& grid : dump.grids) {
    if (grid.values.size() != static_cast<size_t>(grid.rows) * static_cast<size_t>(grid.cols))
      mirvo_fuzz::Fail("grid does not hold the values its key announces");
    values += grid.values.size();
  }
  if (values > size) mirvo_fuzz::Fail("more values than the text has bytes");
  return 0;
}
