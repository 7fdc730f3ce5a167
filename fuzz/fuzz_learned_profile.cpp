// Learned tint profile files: any content must come back with a code.
#include "resample/learned_tint_profile.h"
#include "scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string& path = mirvo_fuzz::WriteScratch(data, size);
  static mirvo::LearnedTintProfile profile;
  const int rc = mirvo::LoadLearnedTintProfile(path.c_str(), profile);
  if (rc != 0 && rc != -1) mirvo_fuzz::Fail("unexpected result code");
  return 0;
}
