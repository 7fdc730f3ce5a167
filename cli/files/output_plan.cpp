#include "files/output_plan.h"

#include <sys/stat.h>

#include <map>
#include <utility>

#include "base/cli_error.h"
#include "files/paths.h"

namespace mirvo_cli {
namespace {

using FileId = std::pair<dev_t, ino_t>;

FileId IdOf(const struct stat& st) { return {st.st_dev, st.st_ino}; }

const char* KindOf(mode_t mode) {
  if (S_ISLNK(mode)) return "a symbolic link";
  if (S_ISCHR(mode)) return "a character device";
  if (S_ISBLK(mode)) return "a block device";
  if (S_ISFIFO(mode)) return "a FIFO";
  if (S_ISSOCK(mode)) return "a socket";
  return "not a regular file";
}

}  // namespace

void CheckOutputTarget(const std::string& path) {
  struct stat st;
  if (lstat(path.c_str(), &st) != 0 || S_ISREG(st.st_mode)) return;
  if (S_ISDIR(st.st_mode)) throw DataError(path + ": is a directory, cannot write a file there");
  // Renaming a new file over it would replace the link or the device node
  // itself; writing into it would not be atomic. Neither is what was asked.
  throw DataError(path + ": is " + KindOf(st.st_mode) + "; outputs are written only as regular files");
}

void CheckOutputPlan(const std::vector<std::string>& inputs, const std::vector<std::string>& outputs) {
  std::map<FileId, const std::string*> input_ids;
  for (const std::string& in : inputs) {
    struct stat st;
    if (stat(in.c_str(), &st) == 0) input_ids.emplace(IdOf(st), &in);
  }
  std::map<FileId, const std::string*> output_ids;
  std::map<std::string, const std::string*> output_names;
  std::map<std::string, std::string> dirs;  // normalised once per directory
  for (const std::string& out : outputs) {
    CheckOutputTarget(out);
    const std::string* earlier = nullptr;
    struct stat st;
    if (lstat(out.c_str(), &st) == 0) {
      const auto in = input_ids.find(IdOf(st));
      if (in != input_ids.end())
        throw DataError(out + ": is also the input " + *in->second + "; an output never replaces an input");
      const auto [it, added] = output_ids.emplace(IdOf(st), &out);
      if (!added) earlier = it->second;
    }
    const std::string dir = DirName(out);
    auto d = dirs.find(dir);
    if (d == dirs.end()) d = dirs.emplace(dir, NormalisedPath(dir)).first;
    const std::string name = (d->second == "/" ? "" : d->second) + "/" + BaseName(out);
    const auto [it, added] = output_names.emplace(name, &out);
    if (!added && !earlier) earlier = it->second;
    if (earlier)
      throw DataError(out + ": is the same file as the output " + *earlier + "; each output needs a file of its own");
  }
}

}  // namespace mirvo_cli
