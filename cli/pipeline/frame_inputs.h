#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/stats.h"
#include "workbench/inputs/frame_input.h"

namespace mirvo_cli {

// The frames of a run, every one checked before the first output is
// written, so that a bad frame late in a sequence fails the run with the
// earlier results still as they were.
class FrameInputs {
 public:
  // Memory the loaded statistics dumps may take; beyond it they are checked
  // now and loaded again, one by one, as the engine takes them.
  static constexpr uint64_t kDefaultDumpBudget = uint64_t{256} << 20;
  // Statistics of one frame as kept in memory (the engine's 32 x 24 cells).
  static uint64_t BytesPerDump();
  // The budget: kDefaultDumpBudget unless the environment variable
  // MIRVO_TEST_DUMP_BUDGET (bytes, for tests of the second path) sets one.
  // Throws UsageError when it is set to anything but a number of bytes.
  static uint64_t DumpBudget();

  // Inputs holding statistics only (dumps) are validated on `jobs` threads
  // now. Up to `budget` bytes of them they are kept (each file read once);
  // beyond, only the identity of each file checked (device, inode, size,
  // change time) is kept, and Prepare loads it again. Raw frames are checked
  // as their input checks them (their size) and decoded later by Prepare.
  // Throws the first failure in frame order.
  FrameInputs(const std::vector<std::string>& paths, std::shared_ptr<const mirvo::workbench::FrameInput> input,
              int jobs, uint64_t budget = kDefaultDumpBudget);

  // Fills `stats` with frame `index`, once: the loaded dump, the dump loaded
  // again (checked again, and refused with DataError when the file is not
  // the one checked), or the raw frame decoded now. Safe to call for
  // different frames on different threads.
  void Prepare(size_t index, mirvo::Stats* stats);

  // Whether the dumps are kept in memory (false: loaded twice).
  bool kept() const { return !loaded_.empty(); }

 private:
  // What tells a file that changed after it was checked.
  struct FileIdentity {
    uint64_t dev = 0, ino = 0, size = 0;
    int64_t mtime_ns = 0, ctime_ns = 0;
    bool operator==(const FileIdentity& o) const {
      return dev == o.dev && ino == o.ino && size == o.size && mtime_ns == o.mtime_ns && ctime_ns == o.ctime_ns;
    }
  };
  static FileIdentity Identify(const std::string& path);
  // Runs `work(i)` for every frame on `jobs` threads; rethrows the first
  // failure in frame order.
  void ForEachFrame(int jobs, void (FrameInputs::*work)(size_t));
  void Keep(size_t i);
  void CheckOnly(size_t i);

  std::vector<std::string> paths_;
  std::shared_ptr<const mirvo::workbench::FrameInput> input_;
  bool raw_frames_;
  std::vector<mirvo::Stats> loaded_;
  std::vector<FileIdentity> checked_;
};

}  // namespace mirvo_cli
