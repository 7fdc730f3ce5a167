#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace mirvo_cli {

// Writes outputs on worker threads while the engine goes on with the next
// frame: formatting and syncing a table costs more than running the engine.
// Tasks are independent files; the first failure is reported (as the
// CliError it raised) by the next Submit or by Finish.
class OutputQueue {
 public:
  // With 0 threads every task runs at once on the caller's thread.
  OutputQueue(int threads, size_t max_pending);
  ~OutputQueue();
  OutputQueue(const OutputQueue&) = delete;
  OutputQueue& operator=(const OutputQueue&) = delete;

  // Queues a task; blocks while `max_pending` tasks are waiting.
  void Submit(std::function<void()> task);
  // Waits until every queued task has run.
  void Finish();

 private:
  void Work();
  void RethrowFailure();  // with mutex_ held

  const size_t max_pending_;
  std::mutex mutex_;
  std::condition_variable has_work_;
  std::condition_variable has_room_;
  std::deque<std::function<void()>> tasks_;
  size_t running_ = 0;
  bool stop_ = false;
  bool failed_ = false;
  int failure_status_ = 0;
  std::string failure_;
  std::vector<std::thread> threads_;
};

}  // namespace mirvo_cli
