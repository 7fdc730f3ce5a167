#pragma once

#include <string>
#include <vector>

#include "commands/raw_options.h"
#include "core/stats.h"

namespace mirvo_cli {

// The frames of a run, every one checked before the first output is
// written, so that a bad frame late in a sequence fails the run with the
// earlier results still as they were.
class FrameInputs {
 public:
  // Statistics dumps (`raw` null) are validated and loaded now, on `jobs`
  // threads: each is read once and kept (24 KB of statistics a frame). Raw
  // frames are checked for their size, the only way one can be wrong, and
  // decoded later by Prepare. Throws the first failure in frame order.
  FrameInputs(const std::vector<std::string>& paths, const RawOptions* raw, int jobs);

  // Fills `stats` with frame `index`, once: the loaded dump, or the raw frame
  // decoded now. Safe to call for different frames on different threads.
  void Prepare(size_t index, mirvo::Stats* stats);

 private:
  std::vector<std::string> paths_;
  bool raw_frames_;
  RawOptions raw_;
  std::vector<mirvo::Stats> loaded_;
};

}  // namespace mirvo_cli
