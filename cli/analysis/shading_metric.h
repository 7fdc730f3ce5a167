#pragma once

#include "core/lsc_table.h"
#include "demo/demo_scene.h"

namespace mirvo_cli {

// Residual colour shading of a flat field seen through `lens` and corrected
// by `table`: at each of the 24 x 32 statistics cell centres, the lens's
// log R/G and log B/G shading plus the log of the table's R/G and B/G gain
// ratios (resampled from the lattice to the cell centres); the RMS deviation
// of both from their means, both channels together, in percent.
double ResidualColourShading(const DemoLens& lens, const mirvo::LscTable& table);

}  // namespace mirvo_cli
