#include <cstdio>
#include <sstream>
#include <string>

#include "core/stats.h"
#include "tools/stats_text.h"

namespace mirvo {
namespace {

// Writes through `writer` into memory, then into a file opened with `mode`.
// Only a failed open is reported; write and close failures are not.
template <typename Writer>
errCode SaveWith(const char* path, const char* mode, Writer writer) {
  FILE* file = std::fopen(path, mode);
  if (file == nullptr) return kFileError;
  std::ostringstream out;
  writer(out);
  const std::string data = out.str();
  std::fwrite(data.data(), 1, data.size(), file);
  std::fclose(file);
  return kOk;
}

}  // namespace

errCode Stats::Save(const char* path) const {
  return SaveWith(path, "wb", [this](std::ostream& out) { StatsWriteMeanImage(out, *this); });
}

errCode Stats::SaveAsText(const char* path) const {
  return SaveWith(path, "w", [this](std::ostream& out) { StatsWriteText(out, *this); });
}

}  // namespace mirvo
