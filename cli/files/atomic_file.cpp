#include "files/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <vector>

#include "base/cli_error.h"
#include "files/output_plan.h"
#include "files/paths.h"
#include "files/pending_files.h"

namespace mirvo_cli {
namespace {

std::atomic<bool> g_durable{true};
std::atomic<unsigned> g_temp_count{0};

std::string Errno() { return std::strerror(errno); }

void SyncPath(const std::string& path, int flags, const std::string& target) {
  const int fd = open(path.c_str(), flags | O_CLOEXEC);
  if (fd < 0) throw DataError(target + ": cannot reopen for syncing: " + Errno());
  if (fsync(fd) != 0 && errno != EINVAL) {
    const std::string why = Errno();
    close(fd);
    throw DataError(target + ": cannot write: " + why);
  }
  if (close(fd) != 0) throw DataError(target + ": cannot write: " + Errno());
}

}  // namespace

void SetDurableWrites(bool on) { g_durable = on; }

AtomicOutput::AtomicOutput(std::string target) : target_(std::move(target)) {
  // Found out now rather than by the rename, after all the work.
  CheckOutputTarget(target_);
  // Named after this process, so a name that is taken belongs to no live
  // program; the next number is tried then.
  const std::string stem = DirName(target_) + "/." + BaseName(target_) + ".tmp." + std::to_string(getpid()) + ".";
  for (int attempt = 0;; ++attempt) {
    temp_path_ = stem + std::to_string(g_temp_count++);
    const int fd = CreatePendingFile(temp_path_, &slot_);
    if (fd >= 0) {
      close(fd);
      return;
    }
    if (errno != EEXIST || attempt == 100)
      throw DataError(target_ + ": cannot create a file in " + DirName(target_) + ": " + Errno());
  }
}

AtomicOutput::~AtomicOutput() {
  if (!committed_) unlink(temp_path_.c_str());
  ForgetPendingFile(slot_);
}

void AtomicOutput::Write(const std::string& data) {
  const int fd = open(temp_path_.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
  if (fd < 0) throw DataError(target_ + ": cannot write: " + Errno());
  size_t done = 0;
  while (done < data.size()) {
    const ssize_t n = write(fd, data.data() + done, data.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      const std::string why = n < 0 ? Errno() : "short write";
      close(fd);
      throw DataError(target_ + ": cannot write: " + why);
    }
    done += static_cast<size_t>(n);
  }
  if (close(fd) != 0) throw DataError(target_ + ": cannot write: " + Errno());
}

void AtomicOutput::Commit() {
  if (committed_) return;
  if (g_durable) SyncPath(temp_path_, O_RDONLY, target_);
  if (rename(temp_path_.c_str(), target_.c_str()) != 0) throw DataError(target_ + ": cannot replace: " + Errno());
  committed_ = true;
  ForgetPendingFile(slot_);
  slot_ = -1;
  // The rename itself is durable only once the directory is synced.
  if (g_durable) SyncPath(DirName(target_), O_RDONLY | O_DIRECTORY, target_);
}

void WriteFileAtomically(const std::string& target, const std::string& data) {
  AtomicOutput out(target);
  out.Write(data);
  out.Commit();
}

void MakeDirectories(const std::string& dir) {
  if (dir.empty()) return;
  struct stat st;
  if (stat(dir.c_str(), &st) == 0) {
    if (!S_ISDIR(st.st_mode)) throw DataError(dir + ": cannot use as output directory: not a directory");
    return;
  }
  // Parents first; any failure is reported for the directory asked for.
  std::vector<std::string> missing;
  for (std::string d = dir; stat(d.c_str(), &st) != 0; d = DirName(d)) {
    missing.push_back(d);
    if (DirName(d) == d) break;
  }
  for (auto it = missing.rbegin(); it != missing.rend(); ++it)
    if (mkdir(it->c_str(), 0777) != 0 && errno != EEXIST)
      throw DataError(dir + ": cannot create directory: " + Errno());
}

}  // namespace mirvo_cli
