#pragma once

namespace mirvo {

// Bayer channel index; also the plane order of LscTable and of file sections.
enum Channel { R = 0, Gr = 1, Gb = 2, B = 3 };

}  // namespace mirvo
