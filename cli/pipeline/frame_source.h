#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <future>
#include <vector>

#include "core/stats.h"
#include "pipeline/worker_pool.h"

namespace mirvo_cli {

// Prepares the statistics of a sequence of frames on worker threads, a few
// frames ahead of the consumer, and hands them out strictly in order: frames
// are decoded in parallel while one Core takes them one after the other.
class FrameSource {
 public:
  // Fills `stats` for frame `index`; may throw (CliError for bad input).
  using Prepare = std::function<void(size_t index, mirvo::Stats* stats)>;

  // `workers` threads (at least one), at most `lookahead` frames prepared
  // but not yet taken.
  FrameSource(size_t count, Prepare prepare, int workers, size_t lookahead);
  ~FrameSource();
  FrameSource(const FrameSource&) = delete;
  FrameSource& operator=(const FrameSource&) = delete;

  // The next frame, in order. Blocks until it is ready; rethrows, unchanged,
  // the exception its preparation raised. Later frames are then abandoned:
  // taking one throws rather than waiting for it.
  mirvo::Stats Take();

  // Number of worker threads to use by default: one per core.
  static int DefaultWorkers() { return WorkerPool::DefaultThreads(); }

 private:
  void SubmitNext();

  const size_t count_;
  const Prepare prepare_;
  std::vector<mirvo::Stats> stats_;
  std::deque<std::future<void>> pending_;  // frames next_take_ to next_submit_ - 1
  size_t next_submit_ = 0;
  size_t next_take_ = 0;
  bool failed_ = false;
  WorkerPool pool_;  // last, so its workers stop before the frames they fill go
};

}  // namespace mirvo_cli
