#pragma once

#include <stdexcept>
#include <string>

#include "workbench/error.h"

namespace mirvo_cli {

// Exit statuses of the program.
inline constexpr int kExitOk = 0;
inline constexpr int kExitDataError = 1;
inline constexpr int kExitUsageError = 2;

// A failure reported to the user as one line on stderr; the message names the
// file or option concerned and the problem.
class CliError : public std::runtime_error {
 public:
  CliError(int exit_status, const std::string& message) : std::runtime_error(message), exit_status_(exit_status) {}
  int exit_status() const { return exit_status_; }

 private:
  int exit_status_;
};

// Wrong command line: unknown option, missing or malformed value.
class UsageError : public CliError {
 public:
  explicit UsageError(const std::string& message) : CliError(kExitUsageError, message) {}
};

// Bad input data or an output that cannot be written.
class DataError : public CliError {
 public:
  explicit DataError(const std::string& message) : CliError(kExitDataError, message) {}
};

// Message text made one line (the workstation library's rule).
using mirvo::workbench::Printable;

}  // namespace mirvo_cli
