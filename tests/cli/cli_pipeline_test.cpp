// The threads behind run: the worker pool, frames prepared ahead and handed
// out in order, outputs written behind the engine, dumps loaded again, and
// the progress line. Both ways of keeping dumps giving the same outputs is
// the attack script's (all_inputs_first).
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <new>
#include <stdexcept>
#include <thread>
#include <typeinfo>

#include "base/cli_error.h"
#include "pipeline/frame_inputs.h"
#include "pipeline/frame_source.h"
#include "pipeline/output_queue.h"
#include "pipeline/progress.h"
#include "pipeline/worker_pool.h"
#include "run_program.h"
#include "test_support.h"
#include "workbench/files/file_error.h"

namespace {

using namespace mirvo_cli;
using mirvo_test::ReadFile;
using mirvo_test::TempDir;

void Sleep(int us) { std::this_thread::sleep_for(std::chrono::microseconds(us)); }

// What `f` threw: its type, the program's exit status for its own errors, its message.
template <typename F>
std::string Thrown(F f) {
  try {
    f();
  } catch (const CliError& e) {
    return typeid(e).name() + std::to_string(e.exit_status()) + ": " + e.what();
  } catch (const std::exception& e) {
    return typeid(e).name() + std::string(": ") + e.what();
  }
  return "nothing";
}

// Whatever a task throws reaches the caller as if thrown there; with
// threads or without. Dropping queued tasks is seen through the frame source
// and the output queue below.
TEST(WorkerPool, ExceptionsArriveWhole) {
  const std::function<void()> tasks[] = {[] { throw DataError("frame7.raw: broken"); },
                                         [] { throw CliError(2, "mirvo run: bad option"); },
                                         [] { throw std::bad_alloc(); }, [] { throw std::out_of_range("index 9"); }};
  for (const int threads : {0, 2}) {
    WorkerPool pool(threads, 4);
    for (const auto& task : tasks) EXPECT_EQ(Thrown([&] { pool.Submit(task).get(); }), Thrown(task)) << threads;
  }
}

// In order from many threads, later frames finishing first; a failure comes
// with its frame and abandons the frames after it.
TEST(FrameSource, HandsOutFramesInOrderAndErrorsWithTheirFrame) {
  std::atomic<int> running{0}, peak{0};
  FrameSource source(
      40,
      [&](size_t i, mirvo::Stats* s) {
        const int now = ++running;
        for (int p = peak.load(); now > p && !peak.compare_exchange_weak(p, now);) {
        }
        Sleep(500 * (3 - static_cast<int>(i % 4)));
        s->ConfigureStatsSize(static_cast<int>(i) + 1, 1);
        --running;
      },
      4, 6);
  for (int i = 0; i < 40; ++i) EXPECT_EQ(source.Take().cols, i + 1);
  EXPECT_GT(peak.load(), 1) << "frames were prepared in parallel";
  EXPECT_LE(peak.load(), 4) << "on no more threads than asked for";

  const auto broken = [] { throw DataError("frame3.raw: broken"); };
  FrameSource failing(
      10, [&](size_t i, mirvo::Stats* s) { i == 3 ? broken() : (void)s->ConfigureStatsSize(1, 1); }, 2, 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(failing.Take().cols, 1);
  EXPECT_EQ(Thrown([&] { failing.Take(); }), Thrown(broken));
  for (int i = 0; i < 2; ++i) EXPECT_THROW(failing.Take(), CliError) << "and does not hang";
  const auto boom = [] { throw std::runtime_error("boom"); };
  FrameSource unexpected(
      1, [&](size_t, mirvo::Stats*) { boom(); }, 1, 1);
  EXPECT_EQ(Thrown([&] { unexpected.Take(); }), Thrown(boom));
}

// Finish, or dropping the queue, runs every task first; without threads a
// task runs at once; the first failure is reported and later tasks dropped.
TEST(OutputQueue, RunsEveryTaskAndReportsTheFirstFailure) {
  for (const int threads : {3, 0}) {
    for (const bool finish : {true, false}) {
      std::atomic<int> done{0};
      {
        OutputQueue queue(threads, 2);
        for (int i = 0; i < 20; ++i) queue.Submit([&done] { Sleep(200), ++done; });
        if (finish) queue.Finish();
        if (threads == 0 || finish) {
          EXPECT_EQ(done.load(), 20);
        }
      }
      EXPECT_EQ(done.load(), 20) << "outputs of frames already run are completed";
    }
  }
  const auto failure = [] { throw DataError("table_003.h: write failed"); };
  EXPECT_EQ(Thrown([&] { OutputQueue(0, 1).Submit(failure); }), Thrown(failure));
  std::atomic<int> done{0};
  OutputQueue queue(1, 100);
  queue.Submit(failure);
  EXPECT_EQ(Thrown([&] {
              for (int i = 0; i < 20; ++i) queue.Submit([&done] { ++done; }), Sleep(1000);
              queue.Finish();
            }),
            Thrown(failure));
  EXPECT_LT(done.load(), 20);
}

// A dump rewritten after the check, even with valid content, is refused when
// its frame comes (here every dump is loaded again: a budget of 0).
TEST(FrameInputs, DumpsThatChangedSinceTheCheckAreRefused) {
  TempDir dir;
  mirvo_cli_test::WriteFixtures(dir.path());
  const std::string moving = dir.File("moving.txt");
  mirvo_test::WriteFile(moving, ReadFile(dir.File("stats_001.txt")));
  FrameInputs inputs({dir.File("stats_000.txt"), moving}, mirvo::workbench::MakeStatsDumpInput(), 1, 0);
  EXPECT_FALSE(inputs.kept());
  std::filesystem::remove(moving);
  mirvo_test::WriteFile(moving, ReadFile(dir.File("stats_002.txt")));
  mirvo::Stats stats;
  inputs.Prepare(0, &stats);
  EXPECT_EQ(
      Thrown([&] { inputs.Prepare(1, &stats); }), Thrown([&] {
        throw DataError(moving + ": changed since it was checked at the start of the run; frame 1 and later not run");
      }));
}

TEST(Progress, TextAndQuietWhenDisabled) {
  EXPECT_EQ(Progress::Text(3, 10, 1.5), "frame 3/10, 2.0 fps");
  EXPECT_EQ(Progress::Text(0, 10, 0), "frame 0/10, 0.0 fps");
  TempDir dir;
  std::FILE* f = std::fopen(dir.File("p").c_str(), "w");
  Progress(5, false, f).Update(5);
  {
    Progress shown(2, true, f);
    shown.Update(1);
    shown.Update(2);  // the last frame is always drawn
  }
  std::fclose(f);
  const std::string text = ReadFile(dir.File("p"));
  EXPECT_EQ(text.find("\rframe 1/2"), 0u) << "nothing from the quiet one";
  EXPECT_EQ(text.find("frame 2/2"), text.rfind("frame"));
  EXPECT_EQ(text.back(), '\r') << "the line is cleared at the end";
}

}  // namespace
