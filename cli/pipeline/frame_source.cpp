#include "pipeline/frame_source.h"

#include <algorithm>

#include "base/cli_error.h"

namespace mirvo_cli {

FrameSource::FrameSource(size_t count, Prepare prepare, int workers, size_t lookahead)
    : count_(count),
      prepare_(std::move(prepare)),
      stats_(count),
      pool_(static_cast<int>(std::min<size_t>(std::max(workers, 1), std::max<size_t>(count, 1))),
            std::max<size_t>(lookahead, 1)) {
  // Never more than `lookahead` frames ahead of the consumer: prepared
  // frames hold memory until they are taken.
  for (size_t i = 0; i < std::max<size_t>(lookahead, 1); ++i) SubmitNext();
}

FrameSource::~FrameSource() { pool_.DropQueued(); }

void FrameSource::SubmitNext() {
  if (next_submit_ >= count_) return;
  const size_t index = next_submit_++;
  pending_.push_back(pool_.Submit([this, index] { prepare_(index, &stats_[index]); }));
}

mirvo::Stats FrameSource::Take() {
  if (next_take_ >= count_) throw DataError("internal error: no more frames");
  // After a failure the frames not yet prepared never will be, so every
  // later frame is refused, prepared or not.
  if (failed_)
    throw DataError("internal error: frame " + std::to_string(next_take_) + " abandoned after an earlier failure");
  std::future<void> done = std::move(pending_.front());
  pending_.pop_front();
  const size_t index = next_take_++;
  try {
    done.get();
  } catch (...) {
    failed_ = true;
    pool_.DropQueued();
    throw;
  }
  SubmitNext();
  return std::move(stats_[index]);
}

}  // namespace mirvo_cli
