#include "pipeline/progress.h"

#include <unistd.h>

#include <atomic>

namespace mirvo_cli {
namespace {

// The progress display being drawn; only the main thread draws, but a
// library log line may come from any thread.
std::atomic<Progress*> g_active{nullptr};

}  // namespace

void ClearProgressLine() {
  if (Progress* p = g_active.load()) p->Clear();
}

Progress::Progress(int total) : Progress(total, isatty(STDERR_FILENO) == 1, stderr) {}

Progress::Progress(int total, bool enabled, std::FILE* stream)
    : total_(total), enabled_(enabled), stream_(stream), start_(Clock::now()), last_draw_(start_) {}

Progress::~Progress() {
  Clear();
  Progress* self = this;
  g_active.compare_exchange_strong(self, nullptr);
}

std::string Progress::Text(int done, int total, double seconds) {
  char buf[96];
  const double fps = seconds > 0 ? done / seconds : 0.0;
  std::snprintf(buf, sizeof(buf), "frame %d/%d, %.1f fps", done, total, fps);
  return buf;
}

void Progress::Update(int done) {
  if (!enabled_) return;
  const Clock::time_point now = Clock::now();
  // Redrawing costs a write per frame; a few times a second is enough to see.
  if (drawn_ && done < total_ && now - last_draw_ < std::chrono::milliseconds(100)) return;
  last_draw_ = now;
  const std::string text = Text(done, total_, std::chrono::duration<double>(now - start_).count());
  const size_t pad = width_ > text.size() ? width_ - text.size() : 0;
  std::fprintf(stream_, "\r%s%*s", text.c_str(), static_cast<int>(pad), "");
  std::fflush(stream_);
  width_ = text.size();
  drawn_ = true;
  g_active = this;
}

void Progress::Clear() {
  if (!enabled_ || !drawn_) return;
  std::fprintf(stream_, "\r%*s\r", static_cast<int>(width_), "");
  std::fflush(stream_);
  drawn_ = false;
  width_ = 0;
}

}  // namespace mirvo_cli
