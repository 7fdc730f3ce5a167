#pragma once

#include <string>

namespace mirvo_cli {

// The report's pictures of a run directory: for each frame with previews
// (DIR/preview/index.json, as run --preview and demo write it) the frame as
// the ISP rendered it and with mirvo's table side by side, radio buttons to
// show one of them alone in place (pure CSS, no script), and under each the
// residual colour shading as isolines and maps, all embedded. Empty when the
// run kept no previews. Throws DataError naming a missing or bad file.
std::string PreviewSection(const std::string& dir);

}  // namespace mirvo_cli
