#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "core/stats.h"

namespace mirvo_cli {

// Prepares the statistics of a sequence of frames on worker threads, a few
// frames ahead of the consumer, and hands them out strictly in order: frames
// are decoded in parallel while one Core takes them one after the other.
class FrameSource {
 public:
  // Fills `stats` for frame `index`; may throw CliError for bad input.
  using Prepare = std::function<void(size_t index, mirvo::Stats* stats)>;

  // `workers` threads (at least one), at most `lookahead` frames prepared
  // but not yet taken.
  FrameSource(size_t count, Prepare prepare, int workers, size_t lookahead);
  ~FrameSource();
  FrameSource(const FrameSource&) = delete;
  FrameSource& operator=(const FrameSource&) = delete;

  // The next frame, in order. Blocks until it is ready; rethrows the error
  // its preparation raised. Later frames are then abandoned: taking one
  // throws rather than waiting for it.
  mirvo::Stats Take();

  // Number of worker threads to use by default: one per core.
  static int DefaultWorkers();

 private:
  enum class State { kPending, kReady, kFailed };
  struct Slot {
    State state = State::kPending;
    mirvo::Stats stats;
    int exit_status = 0;
    std::string error;
  };

  void Work();

  const size_t count_;
  const Prepare prepare_;
  const size_t lookahead_;
  std::mutex mutex_;
  std::condition_variable ready_;
  std::condition_variable space_;
  std::vector<Slot> slots_;
  size_t next_claim_ = 0;
  size_t next_take_ = 0;
  bool stop_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace mirvo_cli
