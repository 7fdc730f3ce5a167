#pragma once

#include <stdexcept>
#include <string>

namespace mirvo::workbench {

// What the workstation layer throws for bad input: one line naming the file
// (or argument) and the problem, ready to show. Each front end decides how to
// present it (the program prefixes nothing and exits 1, the module raises).
struct WorkbenchError : std::runtime_error {
  explicit WorkbenchError(const std::string& what) : std::runtime_error(what) {}
};

// Message text with control characters (from file names or file contents)
// shown as '?', so that every message stays on its one line.
inline std::string Printable(std::string text) {
  for (char& c : text)
    if (static_cast<unsigned char>(c) < 32 || c == 127) c = '?';
  return text;
}

}  // namespace mirvo::workbench
