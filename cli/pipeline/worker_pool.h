#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

namespace mirvo_cli {

// A fixed set of threads taking tasks from a bounded queue in the order they
// were given. A task's exception is not turned into anything: its future
// holds it as a std::exception_ptr and get() rethrows it on the caller's
// thread, so a CliError from a worker ends the program with the same line
// and exit status as one thrown on the main thread.
class WorkerPool {
 public:
  // `threads` workers; with 0, Submit runs each task at once on the caller's
  // thread. At most `max_queued` (at least 1) tasks wait for a worker.
  WorkerPool(int threads, size_t max_queued);
  // Runs the tasks still queued (unless dropped), then joins the workers.
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // Queues a task, blocking while the queue is full.
  std::future<void> Submit(std::function<void()> task);
  // Drops the queued tasks no worker has started; their futures report
  // std::future_errc::broken_promise. Running tasks finish.
  void DropQueued();

  // One thread per core, at most 8.
  static int DefaultThreads();

 private:
  void Work();

  const size_t max_queued_;
  std::mutex mutex_;
  std::condition_variable has_task_;
  std::condition_variable has_room_;
  std::deque<std::packaged_task<void()>> queue_;
  bool stop_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace mirvo_cli
