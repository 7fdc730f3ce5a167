#include "pipeline/worker_pool.h"

#include <algorithm>

namespace mirvo_cli {

int WorkerPool::DefaultThreads() {
  const unsigned n = std::thread::hardware_concurrency();
  return static_cast<int>(std::clamp(n, 1u, 8u));
}

WorkerPool::WorkerPool(int threads, size_t max_queued) : max_queued_(std::max<size_t>(max_queued, 1)) {
  threads_.reserve(static_cast<size_t>(std::max(threads, 0)));
  for (int i = 0; i < threads; ++i) threads_.emplace_back([this] { Work(); });
}

WorkerPool::~WorkerPool() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  has_task_.notify_all();
  for (std::thread& t : threads_) t.join();
}

std::future<void> WorkerPool::Submit(std::function<void()> task) {
  std::packaged_task<void()> packaged(std::move(task));
  std::future<void> result = packaged.get_future();
  if (threads_.empty()) {
    packaged();
    return result;
  }
  std::unique_lock<std::mutex> lock(mutex_);
  has_room_.wait(lock, [this] { return queue_.size() < max_queued_; });
  queue_.push_back(std::move(packaged));
  lock.unlock();
  has_task_.notify_one();
  return result;
}

void WorkerPool::DropQueued() {
  std::deque<std::packaged_task<void()>> dropped;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    dropped.swap(queue_);
  }
  has_room_.notify_all();
  // Destroyed here, outside the lock: each sets its future's broken promise.
}

void WorkerPool::Work() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (true) {
    has_task_.wait(lock, [this] { return stop_ || !queue_.empty(); });
    if (queue_.empty()) return;  // stopping, nothing left
    std::packaged_task<void()> task = std::move(queue_.front());
    queue_.pop_front();
    lock.unlock();
    has_room_.notify_one();
    task();  // stores the task's exception, if any, in its future
    lock.lock();
  }
}

}  // namespace mirvo_cli
