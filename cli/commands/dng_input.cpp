#include "commands/dng_input.h"

#include "base/cli_error.h"
#include "commands/args.h"
#include "workbench/dng/dng_writer.h"
#include "workbench/error.h"

namespace mirvo_cli {

mirvo::workbench::DngFrame ReadDngFrame(const std::string& path) {
  try {
    return mirvo::workbench::ReadDng(path);
  } catch (const mirvo::workbench::WorkbenchError& e) {
    throw DataError(e.what());
  }
}

mirvo::workbench::DngHeader ReadDngFrameHeader(const std::string& path) {
  try {
    return mirvo::workbench::ReadDngHeader(path);
  } catch (const mirvo::workbench::WorkbenchError& e) {
    throw DataError(e.what());
  }
}

void WriteDngWithTable(const std::string& src, const std::string& dst, const mirvo::LscTable& table) {
  try {
    mirvo::workbench::WriteDngGainMap(src, dst, table);
  } catch (const mirvo::workbench::WorkbenchError& e) {
    throw DataError(e.what());
  }
}

void StatsFromDngFrame(const mirvo::workbench::DngFrame& frame, int cols, int rows, mirvo::Stats* stats) {
  const long cell_w = frame.width / 2 / cols, cell_h = frame.height / 2 / rows;
  if (cell_w < 1 || cell_h < 1)
    throw DataError(frame.path + ": the frame is too small for a " + std::to_string(cols) + "x" + std::to_string(rows) +
                    " grid");
  if (cell_w * cell_h > 65535)
    throw DataError(frame.path + ": cells of " + std::to_string(cell_w * cell_h) +
                    " samples overflow the 16-bit counts; use a finer --grid");
  try {
    mirvo::workbench::DngStats(frame, cols, rows, stats);
  } catch (const mirvo::workbench::WorkbenchError& e) {
    throw DataError(e.what());
  }
}

void RejectGeometryWithDng(const Args& args) {
  for (const char* name : {"--width", "--height", "--bits", "--pattern", "--mipi", "--black-level"})
    if (args.Has(name))
      args.Fail(std::string(name) + " cannot go with --dng: the DNG file states its own geometry and levels");
}

}  // namespace mirvo_cli
