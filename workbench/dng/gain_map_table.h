#pragma once

#include <string>
#include <vector>

#include "core/lsc_table.h"
#include "workbench/dng/opcode_list.h"

namespace mirvo {
namespace workbench {

// Where a file's GainMaps were applied: on the Bayer mosaic (OpcodeList2,
// one plane) or on the demosaiced R, G, B planes (OpcodeList3).
enum class GainMapStage { kMosaic, kRgb };

// The table plane (0 R, 1 Gr, 2 Gb, 3 B, as LscTable orders them) of each
// position of the 2 x 2 quad (y * 2 + x) under `pattern` ("RGGB", ...): the
// green of the quad's top row is Gr, as the raw reader splits it.
void QuadTablePlanes(const std::string& pattern, int (&plane)[4]);

// The GainMaps of one opcode list as an LSC table on the library's lattice,
// node (r, c) at (c W/16, r H/12) of the width x height active area; maps off
// those nodes are resampled (Catmull-Rom, exact for quadratic shading; nodes
// outside the map take its edge). Takes
// one map per Bayer position, one map for all positions, or R, G, B maps.
// Throws WorkbenchError saying why the maps do not make a table.
LscTable TableFromGainMaps(const std::vector<GainMap>& maps, GainMapStage stage, const std::string& pattern, int width,
                           int height);

// The table as four mosaic GainMaps in the Android layout, in the order R, Gr,
// Gb, B: 13 x 17 points per Bayer position, pitch 2, spacing 1/12 and 1/16,
// origin 0, over the whole width x height active area.
std::vector<GainMap> GainMapsFromTable(const LscTable& table, const std::string& pattern, int width, int height);

// One plane of an LSC table as 13 x 17 floats.
float* TablePlane(LscTable& table, int plane);
const float* TablePlane(const LscTable& table, int plane);

}  // namespace workbench
}  // namespace mirvo
