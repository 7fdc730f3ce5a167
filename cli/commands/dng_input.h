#pragma once

namespace mirvo_cli {

// The options that describe a headerless raw frame, refused next to --dng:
// a DNG says its own geometry.
void RejectGeometryWithDng(const class Args& args);

}  // namespace mirvo_cli
