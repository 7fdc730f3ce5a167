#include "files/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <vector>

#include "base/cli_error.h"

namespace mirvo_cli {
namespace {

std::atomic<bool> g_durable{true};

std::string DirName(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

std::string BaseName(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// mkstemp creates files 0600; outputs should get the usual 0666 & ~umask.
mode_t OutputMode() {
  static const mode_t mode = [] {
    const mode_t mask = umask(0);
    umask(mask);
    return static_cast<mode_t>(0666 & ~mask);
  }();
  return mode;
}

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
  OutputMode();  // settle the umask query before any worker thread exists
  // Found out now rather than by the rename, after all the work.
  struct stat st;
  if (stat(target_.c_str(), &st) == 0 && S_ISDIR(st.st_mode))
    throw DataError(target_ + ": is a directory, cannot write a file there");
  std::string tmpl = DirName(target_) + "/." + BaseName(target_) + ".tmp.XXXXXX";
  std::vector<char> buf(tmpl.begin(), tmpl.end());
  buf.push_back('\0');
  const int fd = mkstemp(buf.data());
  if (fd < 0) throw DataError(target_ + ": cannot create a file in " + DirName(target_) + ": " + Errno());
  temp_path_ = buf.data();
  const bool mode_ok = fchmod(fd, OutputMode()) == 0;
  close(fd);
  if (!mode_ok) {
    const std::string why = Errno();
    unlink(temp_path_.c_str());
    throw DataError(target_ + ": cannot set permissions: " + why);
  }
}

AtomicOutput::~AtomicOutput() {
  if (!committed_) unlink(temp_path_.c_str());
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
