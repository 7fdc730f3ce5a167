#pragma once

#include <string>

#include "core/lsc_table.h"
#include "core/matrix.h"
#include "render/heatmap.h"
#include "render/image.h"

namespace mirvo_cli {

// One 13 x 17 plane of gains (row-major), for a sequential heatmap.
GridView PlaneView(const float* plane, const std::string& title);
// The log tint -ln(gain) of a 13 x 17 linear tint (row-major), signed.
GridView LogTintView(const float* linear_tint, const std::string& title);

// The four gain planes of a table, two by two, each titled "<title> R" etc.
Image TablePicture(const mirvo::LscTable& table, const std::string& title);

// The estimated tint of a frame on the 13 x 17 lattice, u beside v. Takes the
// engine's linear tint (its normalised correction gains) and shows the log
// tint it corrects: -ln(gain), positive where the image was too red (u) or
// too blue (v).
Image TintPicture(const mirvo::Matrix<float>& linear_tint_u, const mirvo::Matrix<float>& linear_tint_v,
                  const std::string& title);

}  // namespace mirvo_cli
