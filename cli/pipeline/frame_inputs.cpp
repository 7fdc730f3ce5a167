#include "pipeline/frame_inputs.h"

#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <future>

#include "base/cli_error.h"
#include "pipeline/worker_pool.h"

namespace mirvo_cli {

uint64_t FrameInputs::BytesPerDump() { return 32 * 24 * sizeof(mirvo::StatsCell) + sizeof(mirvo::Stats); }

uint64_t FrameInputs::DumpBudget() {
  const char* text = std::getenv("MIRVO_TEST_DUMP_BUDGET");
  if (!text) return kDefaultDumpBudget;
  uint64_t bytes = 0;
  const char* end = text + std::strlen(text);
  const auto res = std::from_chars(text, end, bytes);
  if (res.ec != std::errc() || res.ptr != end || res.ptr == text)
    throw UsageError(std::string("MIRVO_TEST_DUMP_BUDGET: '") + text + "' is not a number of bytes");
  return bytes;
}

FrameInputs::FrameInputs(const std::vector<std::string>& paths,
                         std::shared_ptr<const mirvo::workbench::FrameInput> input, int jobs, uint64_t budget)
    : paths_(paths), input_(std::move(input)), raw_frames_(input_->layout() != nullptr) {
  if (raw_frames_) {
    for (const std::string& path : paths_) input_->Check(path);
    return;
  }
  if (paths_.size() <= budget / BytesPerDump()) {
    loaded_.resize(paths_.size());
    ForEachFrame(jobs, &FrameInputs::Keep);
  } else {
    checked_.resize(paths_.size());
    ForEachFrame(jobs, &FrameInputs::CheckOnly);
  }
}

void FrameInputs::ForEachFrame(int jobs, void (FrameInputs::*work)(size_t)) {
  std::vector<std::future<void>> done;
  done.reserve(paths_.size());
  {
    WorkerPool pool(jobs, 2 * static_cast<size_t>(jobs));
    for (size_t i = 0; i < paths_.size(); ++i) done.push_back(pool.Submit([this, work, i] { (this->*work)(i); }));
  }
  for (std::future<void>& d : done) d.get();
}

FrameInputs::FileIdentity FrameInputs::Identify(const std::string& path) {
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) throw DataError(path + ": " + std::strerror(errno));
  FileIdentity id;
  id.dev = st.st_dev;
  id.ino = st.st_ino;
  id.size = static_cast<uint64_t>(st.st_size);
  id.mtime_ns = int64_t{st.st_mtim.tv_sec} * 1000000000 + st.st_mtim.tv_nsec;
  id.ctime_ns = int64_t{st.st_ctim.tv_sec} * 1000000000 + st.st_ctim.tv_nsec;
  return id;
}

void FrameInputs::Keep(size_t i) { input_->ReadStats(paths_[i], &loaded_[i]); }

void FrameInputs::CheckOnly(size_t i) {
  // The identity first: a change while the file is being checked then shows
  // as a mismatch when it is loaded again.
  checked_[i] = Identify(paths_[i]);
  input_->Check(paths_[i]);
}

void FrameInputs::Prepare(size_t index, mirvo::Stats* stats) {
  if (raw_frames_) {
    input_->ReadStats(paths_[index], stats);
  } else if (!loaded_.empty()) {
    *stats = std::move(loaded_[index]);
  } else {
    // Checked again as it is loaded; the identity after the load, so a file
    // replaced or rewritten at any time since its first check is refused.
    input_->ReadStats(paths_[index], stats);
    if (!(Identify(paths_[index]) == checked_[index]))
      throw DataError(paths_[index] + ": changed since it was checked at the start of the run; frame " +
                      std::to_string(index) + " and later not run");
  }
}

}  // namespace mirvo_cli
