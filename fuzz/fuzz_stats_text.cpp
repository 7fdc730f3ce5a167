// Statistics text dumps through the validation the tools use: an accepted
// file must load with success and never reach the throwing hex conversion.
#include <exception>

#include "core/stats.h"
#include "scratch_file.h"
#include "tools/stats_validate.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string& path = mirvo_fuzz::WriteScratch(data, size);
  std::string why;
  if (mirvo::StatsValidateTextFile(path.c_str(), &why) != mirvo::kOk) {
    if (why.empty()) mirvo_fuzz::Fail("validator rejected without a reason");
    return 0;
  }
  mirvo::Stats stats;
  try {
    if (stats.LoadSimStatsElmrak(path.c_str()) != 0) mirvo_fuzz::Fail("validator accepted a file the loader rejects");
  } catch (const std::exception&) {
    mirvo_fuzz::Fail("validator accepted a file the loader throws on");
  }
  return 0;
}
