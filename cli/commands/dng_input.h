#pragma once

#include <string>

#include "core/lsc_table.h"
#include "core/stats.h"
#include "workbench/dng/dng_reader.h"

namespace mirvo_cli {

// The workbench's DNG reader and writer, their refusals as DataError.
mirvo::workbench::DngFrame ReadDngFrame(const std::string& path);
void WriteDngWithTable(const std::string& src, const std::string& dst, const mirvo::LscTable& table);
// The statistics of a DNG file on a cols x rows grid, through the DNG frame
// input; a grid whose cells the frame cannot fill or whose counts overflow
// is refused.
void StatsFromDngFile(const std::string& path, int cols, int rows, mirvo::Stats* stats);

// The directories of a DNG checked without decoding it, with its GainMaps.
mirvo::workbench::DngHeader ReadDngFrameHeader(const std::string& path);

// The options that describe a headerless raw frame, refused next to --dng:
// a DNG says its own geometry.
void RejectGeometryWithDng(const class Args& args);

}  // namespace mirvo_cli
