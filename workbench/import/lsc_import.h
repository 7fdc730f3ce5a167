#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/lsc_table.h"
#include "workbench/error.h"

namespace mirvo::workbench {

// A lens shading calibration brought in from another tuning format, on the
// 13 x 17 lattice (node (r, c) at pixel (c * W / 16, r * H / 12)).
struct ImportedTable {
  LscTable table;
  std::string layout;                    // which layout the file was read as
  std::vector<int> colour_temperatures;  // those the file holds, ascending
  std::string note;                      // how the requested colour temperature was met
};

// Reads a calibration from JSON text (`name` is the file name for messages):
// per-colour-temperature R/G and B/G cell tables with a luminance table
// ("calibrations_Cr", "calibrations_Cb", "luminance_lut"), four-channel gain
// tables on nodes ("sets" of "r", "gr", "gb", "b" in fixed point, 1024 = 1),
// three-channel meshes ("sets" of "r", "g", "b" with "mesh_scale"), or the
// output of mirvo table --json. With several colour temperatures, `ct` (in
// kelvin, 0 = not given) chooses one or is interpolated between the two
// around it, in reciprocal colour temperature; outside the calibrated range
// the nearest one is taken. Every plane is normalised to a smallest gain of 1.
// Throws FileError (naming `name`) for a file that is not one of these
// layouts, ColourTemperatureNeeded when one must be chosen and was not.
ImportedTable ImportLscJson(const std::string& text, const std::string& name, int ct);

// A file with several colour temperatures and none chosen: what() is
// "NAME holds calibrations at 2850, 4000 and 6500 K"; each front end adds
// how its user chooses one.
struct ColourTemperatureNeeded : WorkbenchError {
  ColourTemperatureNeeded(const std::string& name, const std::string& cts)
      : WorkbenchError(name + " holds calibrations at " + cts) {}
};

// The file at `path`, checked (CheckInputFile's rules, kMaxJsonBytes) and
// imported as ImportLscJson imports its text.
ImportedTable ImportLscFile(const std::string& path, int ct);

// The table as an LSC table header file holds it (gains to 5 decimals): what
// writing it and reading it back gives.
LscTable AsStored(const LscTable& table);

// The table as JSON: {"rows": 13, "cols": 17, "planes": {"R": [[...]], "Gr": ..., "Gb": ..., "B": ...}},
// gains rounded to 5 decimals as in the header file. ImportLscJson reads it back.
std::string TableToJson(const LscTable& table);

}  // namespace mirvo::workbench
