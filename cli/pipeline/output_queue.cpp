#include "pipeline/output_queue.h"

#include <chrono>

namespace mirvo_cli {

OutputQueue::OutputQueue(int threads, size_t max_pending) : at_once_(threads == 0), pool_(threads, max_pending) {}

void OutputQueue::TakeOldest() {
  std::future<void> done = std::move(in_flight_.front());
  in_flight_.pop_front();
  try {
    done.get();
  } catch (...) {
    failure_ = std::current_exception();
    throw;
  }
}

void OutputQueue::RethrowFailure() {
  if (failure_) std::rethrow_exception(failure_);
  while (!in_flight_.empty()) TakeOldest();
}

void OutputQueue::Submit(std::function<void()> task) {
  if (at_once_) {
    task();
    return;
  }
  if (failed_) RethrowFailure();
  // Forget the tasks that are done, so the queue keeps no history.
  while (!in_flight_.empty() && in_flight_.front().wait_for(std::chrono::seconds(0)) == std::future_status::ready)
    TakeOldest();
  // After a failure the run is over: the outputs still queued are dropped.
  in_flight_.push_back(pool_.Submit([this, task = std::move(task)] {
    if (failed_) return;
    try {
      task();
    } catch (...) {
      failed_ = true;
      throw;
    }
  }));
}

void OutputQueue::Finish() { RethrowFailure(); }

}  // namespace mirvo_cli
