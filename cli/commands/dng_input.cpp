#include "commands/dng_input.h"

#include "base/cli_error.h"
#include "commands/args.h"
#include "workbench/dng/dng_frame_input.h"
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

void StatsFromDngFile(const std::string& path, int cols, int rows, mirvo::Stats* stats) {
  mirvo::workbench::MakeDngInput(cols, rows)->ReadStats(path, stats);
}

void RejectGeometryWithDng(const Args& args) {
  for (const char* name : {"--width", "--height", "--bits", "--pattern", "--mipi", "--black-level"})
    if (args.Has(name))
      args.Fail(std::string(name) + " cannot go with --dng: the DNG file states its own geometry and levels");
}

}  // namespace mirvo_cli
