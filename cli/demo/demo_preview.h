#pragma once

#include "demo/demo_scene.h"
#include "pipeline/preview_pairs.h"

namespace mirvo_cli {

// Frame k of the demo's sequence rendered again (it is seeded, so the same
// samples) for its pictures.
void LoadDemoPreviewFrame(const DemoCamera& camera, const LensGains& lens, int k, PreviewFrame* frame);

}  // namespace mirvo_cli
