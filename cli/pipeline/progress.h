#pragma once

#include <chrono>
#include <cstdio>
#include <string>

namespace mirvo_cli {

// "frame k/n, X fps" on one line of a terminal, redrawn in place at most a
// few times per second. Silent when the stream is not a terminal, so logs
// and pipes stay clean.
class Progress {
 public:
  // `enabled` defaults to whether stderr is a terminal.
  explicit Progress(int total);
  Progress(int total, bool enabled, std::FILE* stream);
  ~Progress();

  // Frame `done` (1-based count of finished frames) is complete.
  void Update(int done);
  // Clears the line (before other output, or at the end).
  void Clear();

  bool enabled() const { return enabled_; }
  // The text Update would show for `done` frames after `seconds`.
  static std::string Text(int done, int total, double seconds);

 private:
  using Clock = std::chrono::steady_clock;
  int total_;
  bool enabled_;
  std::FILE* stream_;
  Clock::time_point start_;
  Clock::time_point last_draw_;
  bool drawn_ = false;
  size_t width_ = 0;
};

// Clears the progress line currently on the terminal, if any, so that a
// message printed next starts on a clean line.
void ClearProgressLine();

}  // namespace mirvo_cli
