// Statistics text dumps through the strict reader the tools use: an accepted
// text must load from a file with success and the same cells, and never reach
// the loader's throwing hex conversion.
#include <cstring>
#include <exception>
#include <string>

#include "core/stats.h"
#include "scratch_file.h"
#include "tools/stats_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  mirvo::Stats parsed;
  const mirvo::ParseResult result = mirvo::StatsParseText(text, &parsed);
  if (mirvo_fuzz::Rejected(result)) return 0;
  const std::string& path = mirvo_fuzz::WriteScratch(data, size);
  mirvo::Stats loaded;
  try {
    if (loaded.LoadSimStatsElmrak(path.c_str()) != 0)
      mirvo_fuzz::Fail("strict reader accepted a file the loader rejects");
  } catch (const std::exception&) {
    mirvo_fuzz::Fail("strict reader accepted a file the loader throws on");
  }
  if (std::memcmp(parsed.cells, loaded.cells, 768 * sizeof(mirvo::StatsCell)) != 0)
    mirvo_fuzz::Fail("strict reader and loader disagree on values");
  return 0;
}
