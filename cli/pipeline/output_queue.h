#pragma once

#include <atomic>
#include <deque>
#include <exception>
#include <functional>
#include <future>

#include "pipeline/worker_pool.h"

namespace mirvo_cli {

// Writes outputs on worker threads while the engine goes on with the next
// frame: formatting and syncing a table costs more than running the engine.
// Tasks are independent files; the first failure is rethrown, unchanged, by
// the next Submit or by Finish, and the tasks not yet run are then skipped.
class OutputQueue {
 public:
  // With 0 threads every task runs at once on the caller's thread.
  OutputQueue(int threads, size_t max_pending);
  OutputQueue(const OutputQueue&) = delete;
  OutputQueue& operator=(const OutputQueue&) = delete;

  // Queues a task; blocks while `max_pending` tasks are waiting.
  void Submit(std::function<void()> task);
  // Waits until every queued task has run.
  void Finish();

 private:
  // The result of the oldest task in flight; rethrows its failure.
  void TakeOldest();
  // Waits for the tasks in flight, in order, and rethrows the first failure.
  void RethrowFailure();

  const bool at_once_;
  std::atomic<bool> failed_{false};
  std::exception_ptr failure_;
  std::deque<std::future<void>> in_flight_;
  WorkerPool pool_;  // last: on destruction the queued tasks still run first
};

}  // namespace mirvo_cli
