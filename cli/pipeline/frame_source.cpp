#include "pipeline/frame_source.h"

#include <algorithm>
#include <exception>
#include <new>

#include "base/cli_error.h"

namespace mirvo_cli {

int FrameSource::DefaultWorkers() {
  const unsigned n = std::thread::hardware_concurrency();
  return static_cast<int>(std::clamp(n, 1u, 8u));
}

FrameSource::FrameSource(size_t count, Prepare prepare, int workers, size_t lookahead)
    : count_(count), prepare_(std::move(prepare)), lookahead_(std::max<size_t>(lookahead, 1)), slots_(count) {
  const int n = static_cast<int>(std::min<size_t>(std::max(workers, 1), std::max<size_t>(count, 1)));
  threads_.reserve(n);
  for (int i = 0; i < n; ++i) threads_.emplace_back([this] { Work(); });
}

FrameSource::~FrameSource() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  space_.notify_all();
  for (std::thread& t : threads_) t.join();
}

void FrameSource::Work() {
  while (true) {
    size_t index = 0;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      // Claim frames in order, but never run too far ahead of the consumer:
      // prepared frames hold memory until they are taken.
      space_.wait(lock, [this] { return stop_ || next_claim_ >= count_ || next_claim_ < next_take_ + lookahead_; });
      if (stop_ || next_claim_ >= count_) return;
      index = next_claim_++;
    }
    Slot done;
    try {
      prepare_(index, &done.stats);
      done.state = State::kReady;
    } catch (const CliError& e) {
      done.state = State::kFailed;
      done.exit_status = e.exit_status();
      done.error = e.what();
    } catch (const std::bad_alloc&) {
      done.state = State::kFailed;
      done.exit_status = kExitDataError;
      done.error = "out of memory while reading frame " + std::to_string(index);
    } catch (const std::exception& e) {
      done.state = State::kFailed;
      done.exit_status = kExitDataError;
      done.error = std::string("internal error while reading frame ") + std::to_string(index) + ": " + e.what();
    }
    {
      std::lock_guard<std::mutex> lock(mutex_);
      slots_[index] = std::move(done);
    }
    ready_.notify_all();
  }
}

mirvo::Stats FrameSource::Take() {
  std::unique_lock<std::mutex> lock(mutex_);
  if (next_take_ >= count_) throw DataError("internal error: no more frames");
  // After a failure the workers stop: a frame not yet prepared never will be,
  // so every later frame is refused, prepared or not.
  if (stop_)
    throw DataError("internal error: frame " + std::to_string(next_take_) + " abandoned after an earlier failure");
  Slot& slot = slots_[next_take_];
  ready_.wait(lock, [&slot] { return slot.state != State::kPending; });
  ++next_take_;
  if (slot.state == State::kFailed) {
    stop_ = true;
    const CliError error(slot.exit_status, slot.error);
    lock.unlock();
    space_.notify_all();
    throw error;
  }
  mirvo::Stats stats = std::move(slot.stats);
  lock.unlock();
  space_.notify_all();
  return stats;
}

}  // namespace mirvo_cli
