#include "pipeline/output_queue.h"

#include <exception>
#include <new>

#include "base/cli_error.h"

namespace mirvo_cli {
namespace {

// Runs a task, turning whatever it throws into a status and one line.
bool RunTask(const std::function<void()>& task, int* status, std::string* message) {
  try {
    task();
    return true;
  } catch (const CliError& e) {
    *status = e.exit_status();
    *message = e.what();
  } catch (const std::bad_alloc&) {
    *status = kExitDataError;
    *message = "out of memory while writing outputs";
  } catch (const std::exception& e) {
    *status = kExitDataError;
    *message = std::string("internal error while writing outputs: ") + e.what();
  }
  return false;
}

}  // namespace

OutputQueue::OutputQueue(int threads, size_t max_pending) : max_pending_(max_pending < 1 ? 1 : max_pending) {
  for (int i = 0; i < threads; ++i) threads_.emplace_back([this] { Work(); });
}

OutputQueue::~OutputQueue() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  has_work_.notify_all();
  for (std::thread& t : threads_) t.join();
}

void OutputQueue::RethrowFailure() {
  if (failed_) throw CliError(failure_status_, failure_);
}

void OutputQueue::Submit(std::function<void()> task) {
  if (threads_.empty()) {
    task();
    return;
  }
  std::unique_lock<std::mutex> lock(mutex_);
  RethrowFailure();
  has_room_.wait(lock, [this] { return failed_ || tasks_.size() < max_pending_; });
  RethrowFailure();
  tasks_.push_back(std::move(task));
  lock.unlock();
  has_work_.notify_one();
}

void OutputQueue::Finish() {
  std::unique_lock<std::mutex> lock(mutex_);
  has_room_.wait(lock, [this] { return tasks_.empty() && running_ == 0; });
  RethrowFailure();
}

void OutputQueue::Work() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (true) {
    has_work_.wait(lock, [this] { return stop_ || !tasks_.empty(); });
    if (tasks_.empty()) return;  // stopping, nothing left
    std::function<void()> task = std::move(tasks_.front());
    tasks_.pop_front();
    ++running_;
    // After a failure the run is over: remaining outputs are dropped.
    const bool skip = failed_;
    lock.unlock();
    int status = 0;
    std::string message;
    const bool ok = skip || RunTask(task, &status, &message);
    lock.lock();
    --running_;
    if (!ok && !failed_) {
      failed_ = true;
      failure_status_ = status;
      failure_ = message;
    }
    has_room_.notify_all();
  }
}

}  // namespace mirvo_cli
