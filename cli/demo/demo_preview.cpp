#include "demo/demo_preview.h"

#include <utility>

namespace mirvo_cli {

void LoadDemoPreviewFrame(const DemoCamera& camera, const LensGains& lens, int k, PreviewFrame* frame) {
  DemoFrame f = RenderDemoFrame(camera, lens, k);
  frame->owned[0] = std::move(f.r);
  frame->owned[1] = std::move(f.gr);
  frame->owned[2] = std::move(f.gb);
  frame->owned[3] = std::move(f.b);
  mirvo::workbench::BayerPlanes& p = frame->planes;
  p.width = f.half_width;
  p.height = f.half_height;
  for (int i = 0; i < 4; ++i) {
    p.plane[i] = frame->owned[i].data();
    p.black[i] = static_cast<float>(camera.black_level);
  }
  p.white = static_cast<float>((1 << camera.bits) - 1);
}

}  // namespace mirvo_cli
