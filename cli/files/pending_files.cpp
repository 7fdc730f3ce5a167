#include "files/pending_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>

namespace mirvo_cli {
namespace {

// Far more than the files in flight at once: one per worker thread and the
// engine's own.
constexpr int kSlots = 128;
constexpr size_t kMaxPath = 4096;
constexpr int kFree = 0, kFilling = 1, kArmed = 2;

struct Slot {
  std::atomic<int> state{kFree};
  char path[kMaxPath];
};
static_assert(ATOMIC_INT_LOCK_FREE == 2, "the signal handler reads the table without locks");

Slot g_slots[kSlots];
// Set by the handler before it empties the table: a file created after that
// is removed by the thread that created it.
std::atomic<bool> g_ending{false};

extern "C" void RemoveTemporariesAndDie(int sig) {
  g_ending = true;
  for (Slot& slot : g_slots)
    if (slot.state.load() == kArmed) unlink(slot.path);
  // The default action was restored on entry (SA_RESETHAND) and the signal
  // stays blocked until the handler returns; then it ends the program.
  raise(sig);
}

}  // namespace

void RemoveTemporariesOnSignals() {
  for (const int sig : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction old;
    if (sigaction(sig, nullptr, &old) != 0 || old.sa_handler == SIG_IGN) continue;
    struct sigaction action;
    std::memset(&action, 0, sizeof(action));
    action.sa_handler = RemoveTemporariesAndDie;
    action.sa_flags = SA_RESETHAND;
    sigemptyset(&action.sa_mask);
    sigaction(sig, &action, nullptr);
  }
}

int CreatePendingFile(const std::string& path, int* slot) {
  if (path.size() >= kMaxPath) {
    errno = ENAMETOOLONG;
    return -1;
  }
  if (g_ending) {  // the program is being ended by a signal
    errno = EINTR;
    return -1;
  }
  for (int i = 0; i < kSlots; ++i) {
    int expected = kFree;
    if (!g_slots[i].state.compare_exchange_strong(expected, kFilling)) continue;
    std::memcpy(g_slots[i].path, path.c_str(), path.size() + 1);
    // In the table before it exists: a signal can come at any moment after.
    // Should the name be taken, the file there is another's only for as long
    // as open() takes to say so; the caller's names contain the process id,
    // so that file is a leftover of a process that is gone.
    g_slots[i].state = kArmed;
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) {
      const int why = errno;
      g_slots[i].state = kFree;
      errno = why;
      return -1;
    }
    if (g_ending) unlink(path.c_str());  // the handler may have run before the file existed
    *slot = i;
    return fd;
  }
  errno = EMFILE;
  return -1;
}

void ForgetPendingFile(int slot) {
  if (slot >= 0 && slot < kSlots) g_slots[slot].state = kFree;
}

}  // namespace mirvo_cli
