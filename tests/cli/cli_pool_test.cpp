// The worker pool under the frame source and the output queue.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <new>
#include <stdexcept>
#include <thread>

#include "base/cli_error.h"
#include "pipeline/worker_pool.h"

namespace {

using mirvo_cli::CliError;
using mirvo_cli::DataError;
using mirvo_cli::WorkerPool;

TEST(WorkerPool, RunsEveryTaskOnItsThreadsWithinTheBound) {
  std::atomic<int> done{0}, running{0}, peak{0};
  std::vector<std::future<void>> results;
  {
    WorkerPool pool(3, 2);
    for (int i = 0; i < 30; ++i)
      results.push_back(pool.Submit([&] {
        const int now = ++running;
        int p = peak.load();
        while (now > p && !peak.compare_exchange_weak(p, now)) {
        }
        std::this_thread::sleep_for(std::chrono::microseconds(300));
        --running;
        ++done;
      }));
    for (auto& r : results) r.get();
  }
  EXPECT_EQ(done.load(), 30);
  EXPECT_GT(peak.load(), 1) << "tasks ran in parallel";
  EXPECT_LE(peak.load(), 3);
}

// Whatever a task throws reaches the caller as it was thrown: type, message
// and, for the program's own errors, exit status.
TEST(WorkerPool, ExceptionsArriveWhole) {
  for (const int threads : {0, 2}) {
    WorkerPool pool(threads, 4);
    std::future<void> data = pool.Submit([] { throw DataError("frame7.raw: broken"); });
    std::future<void> usage = pool.Submit([] { throw CliError(2, "mirvo run: bad option"); });
    std::future<void> memory = pool.Submit([] { throw std::bad_alloc(); });
    std::future<void> other = pool.Submit([] { throw std::out_of_range("index 9"); });
    try {
      data.get();
      ADD_FAILURE();
    } catch (const DataError& e) {
      EXPECT_STREQ(e.what(), "frame7.raw: broken");
      EXPECT_EQ(e.exit_status(), 1);
    }
    try {
      usage.get();
      ADD_FAILURE();
    } catch (const CliError& e) {
      EXPECT_EQ(e.exit_status(), 2);
    }
    EXPECT_THROW(memory.get(), std::bad_alloc);
    try {
      other.get();
      ADD_FAILURE();
    } catch (const std::out_of_range& e) {
      EXPECT_STREQ(e.what(), "index 9");
    }
  }
}

TEST(WorkerPool, DroppedTasksNeverRunAndSayWhy) {
  std::atomic<int> ran{0};
  std::promise<void> started, release;
  std::shared_future<void> gate = release.get_future().share();
  WorkerPool pool(1, 10);
  std::future<void> first = pool.Submit([&started, gate] {
    started.set_value();
    gate.wait();
  });
  started.get_future().wait();  // the one worker is busy: what follows stays queued
  std::vector<std::future<void>> later;
  for (int i = 0; i < 5; ++i) later.push_back(pool.Submit([&ran] { ++ran; }));
  pool.DropQueued();
  release.set_value();
  first.get();
  for (auto& f : later) {
    try {
      f.get();
      ADD_FAILURE() << "a dropped task reported success";
    } catch (const std::future_error& e) {
      EXPECT_EQ(e.code(), std::future_errc::broken_promise);
    }
  }
  EXPECT_EQ(ran.load(), 0);
}

}  // namespace
