#pragma once

#include <string>
#include <vector>

namespace mirvo_cli {

// Outputs are regular files that the program creates or replaces, nothing
// else. Throws DataError naming `path` when it is a directory, a symbolic
// link, a device, a FIFO or a socket; an absent path is fine.
void CheckOutputTarget(const std::string& path);

// Checks every output of one call before the first is written: each as
// CheckOutputTarget does, none the same file as one of `inputs` (same device
// and inode, so also through a hard link or a symbolic link), and no two the
// same file (by device and inode where they exist, by normalised path where
// they do not). Inputs that cannot be found are left to the input checks.
// Throws DataError naming the output.
void CheckOutputPlan(const std::vector<std::string>& inputs, const std::vector<std::string>& outputs);

}  // namespace mirvo_cli
