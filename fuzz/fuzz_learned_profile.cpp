// Learned tint profile files: any content must come back from the loader
// with a code, and whatever the strict reader accepts the loader must load
// with success and the same numbers.
#include <cstring>
#include <string>

#include "io/learned_profile_file.h"
#include "scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string& path = mirvo_fuzz::WriteScratch(data, size);
  static mirvo::LearnedTintProfile loaded;
  static mirvo::LearnedTintProfile parsed;
  std::memset(&loaded, 0, sizeof loaded);
  std::memset(&parsed, 0, sizeof parsed);
  const int rc = mirvo::LoadLearnedTintProfile(path.c_str(), loaded);
  if (rc != 0 && rc != -1) mirvo_fuzz::Fail("unexpected result code");
  const mirvo::ParseResult result =
      mirvo::LearnedProfileParseText(std::string(reinterpret_cast<const char*>(data), size), &parsed);
  if (mirvo_fuzz::Rejected(result)) return 0;
  if (rc != 0) mirvo_fuzz::Fail("strict reader accepted a profile the loader rejects");
  if (std::memcmp(&parsed, &loaded, sizeof parsed) != 0)
    mirvo_fuzz::Fail("strict reader and loader disagree on values");
  return 0;
}
