#pragma once

#include <string>

namespace mirvo_cli {

// "a/b/c" -> "a/b"; "c" -> "."; "/c" -> "/".
std::string DirName(const std::string& path);
// "a/b/c" -> "c".
std::string BaseName(const std::string& path);

// The absolute form of `path` with "." and "..", repeated slashes and the
// symbolic links of its existing part resolved; the part that does not exist
// yet is taken as written. Two names of one file, existing or to be created,
// give the same result (hard links aside: they are told by device and inode).
std::string NormalisedPath(const std::string& path);

}  // namespace mirvo_cli
