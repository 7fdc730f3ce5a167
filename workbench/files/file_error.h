#pragma once

#include <string>

#include "workbench/error.h"

namespace mirvo::workbench {

// A file that cannot be used, as one line: what() is "PATH: REASON". The
// front ends show it as it is (the program prefixes "mirvo: " and exits 1;
// the module raises OSError when the file could not be reached, ValueError
// otherwise), so both give the same reason for the same file.
class FileError : public WorkbenchError {
 public:
  FileError(const std::string& path, const std::string& reason, int os_error = 0)
      : WorkbenchError(path.empty() ? reason : path + ": " + reason),
        path_(path),
        reason_(reason),
        os_error_(os_error) {}
  const std::string& path() const { return path_; }
  const std::string& reason() const { return reason_; }
  // The errno when the file could not be reached (missing, a directory, not
  // readable); 0 when it was reached and its kind or content is wrong.
  int os_error() const { return os_error_; }
  // No file was named at all: a usage fault rather than a data fault.
  bool unnamed() const { return path_.empty(); }

 private:
  std::string path_;
  std::string reason_;
  int os_error_;
};

}  // namespace mirvo::workbench
