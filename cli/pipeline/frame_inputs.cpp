#include "pipeline/frame_inputs.h"

#include <future>

#include "checks/input_check.h"
#include "pipeline/worker_pool.h"

namespace mirvo_cli {

FrameInputs::FrameInputs(const std::vector<std::string>& paths, const RawOptions* raw, int jobs)
    : paths_(paths), raw_frames_(raw != nullptr), raw_(raw ? *raw : RawOptions()) {
  if (raw_frames_) {
    for (const std::string& path : paths_) CheckRawFile(path, raw_);
    return;
  }
  loaded_.resize(paths_.size());
  std::vector<std::future<void>> done;
  done.reserve(paths_.size());
  {
    WorkerPool pool(jobs, 2 * static_cast<size_t>(jobs));
    for (size_t i = 0; i < paths_.size(); ++i)
      done.push_back(pool.Submit([this, i] { LoadStatsFile(paths_[i], &loaded_[i]); }));
  }
  for (std::future<void>& d : done) d.get();
}

void FrameInputs::Prepare(size_t index, mirvo::Stats* stats) {
  if (raw_frames_)
    StatsFromRawFile(paths_[index], raw_, stats);
  else
    *stats = std::move(loaded_[index]);
}

}  // namespace mirvo_cli
