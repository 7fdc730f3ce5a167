// Tuning header files through the validation the tools use: an accepted file
// must load with success and must never reach the loader's throwing stof.
#include <exception>

#include "io/tuning_file.h"
#include "scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string& path = mirvo_fuzz::WriteScratch(data, size);
  std::string why;
  if (mirvo::TuningValidateHeaderFile(path.c_str(), &why) != mirvo::kOk) {
    if (why.empty()) mirvo_fuzz::Fail("validator rejected without a reason");
    return 0;
  }
  static mirvo::MirvoParams params;
  try {
    if (mirvo::LoadTuningHeaderFile(path.c_str(), params) != mirvo::kOk)
      mirvo_fuzz::Fail("validator accepted a tuning file the loader rejects");
  } catch (const std::exception&) {
    mirvo_fuzz::Fail("validator accepted a tuning file the loader throws on");
  }
  return 0;
}
