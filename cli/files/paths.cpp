#include "files/paths.h"

#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <vector>

namespace mirvo_cli {

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

namespace {

// `path` is absolute.
std::string ResolveAbsolute(const std::string& path) {
  char resolved[PATH_MAX];
  if (realpath(path.c_str(), resolved)) return resolved;
  const std::string parent = DirName(path);
  if (parent == path) return path;  // "/" itself
  const std::string base = BaseName(path);
  std::string dir = ResolveAbsolute(parent);
  if (base.empty() || base == ".") return dir;
  if (base == "..") return DirName(dir);
  return (dir == "/" ? "" : dir) + "/" + base;
}

}  // namespace

std::string NormalisedPath(const std::string& path) {
  if (!path.empty() && path[0] == '/') return ResolveAbsolute(path);
  std::vector<char> cwd(PATH_MAX);
  if (!getcwd(cwd.data(), cwd.size())) return path;  // cannot tell: compared as given
  return ResolveAbsolute(std::string(cwd.data()) + "/" + path);
}

}  // namespace mirvo_cli
