#include "workbench/files/checked_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

namespace mirvo::workbench {

uint64_t CheckInputFile(const std::string& path, const std::string& what, uint64_t max_bytes) {
  if (path.empty()) throw FileError("", "empty file name given for " + what);
  struct stat st;
  if (stat(path.c_str(), &st) != 0) {
    const int err = errno;
    throw FileError(path, "cannot open " + what + ": " + std::strerror(err), err);
  }
  if (S_ISDIR(st.st_mode)) throw FileError(path, "is a directory, expected " + what, EISDIR);
  if (!S_ISREG(st.st_mode)) throw FileError(path, "is not a regular file, expected " + what);
  if (access(path.c_str(), R_OK) != 0) {
    const int err = errno;
    throw FileError(path, "cannot read " + what + ": " + std::strerror(err), err);
  }
  const uint64_t size = static_cast<uint64_t>(st.st_size);
  if (size == 0) throw FileError(path, "is empty, expected " + what);
  if (size > max_bytes)
    throw FileError(path, "file of " + std::to_string(size) + " bytes is too large for " + what + " (at most " +
                              std::to_string(max_bytes) + ")");
  return size;
}

std::string ReadInputFile(const std::string& path, const std::string& what, uint64_t max_bytes) {
  CheckInputFile(path, what, max_bytes);
  std::ifstream in(path, std::ios::binary);
  std::ostringstream buffer;
  buffer << in.rdbuf();
  const std::string content = buffer.str();
  if (in.bad() || !in.is_open()) throw FileError(path, "cannot read " + what, EIO);
  // It may have grown since it was checked.
  if (content.size() > max_bytes) throw FileError(path, "file is too large for " + what);
  return content;
}

}  // namespace mirvo::workbench
