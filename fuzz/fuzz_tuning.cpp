// Tuning header files through the strict reader the tools use: an accepted
// text must load from a file with success and the same record, and must
// never reach the loader's throwing stof.
#include <cstring>
#include <exception>
#include <string>

#include "io/tuning_file.h"
#include "scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  static mirvo::MirvoParams parsed;
  static mirvo::MirvoParams loaded;
  std::memset(&parsed, 0, sizeof parsed);
  std::memset(&loaded, 0, sizeof loaded);
  const mirvo::ParseResult result = mirvo::TuningParseText(text, &parsed);
  if (mirvo_fuzz::Rejected(result)) return 0;
  const std::string& path = mirvo_fuzz::WriteScratch(data, size);
  try {
    if (mirvo::LoadTuningHeaderFile(path.c_str(), loaded) != mirvo::kOk)
      mirvo_fuzz::Fail("strict reader accepted a tuning file the loader rejects");
  } catch (const std::exception&) {
    mirvo_fuzz::Fail("strict reader accepted a tuning file the loader throws on");
  }
  if (std::memcmp(&parsed, &loaded, sizeof parsed) != 0)
    mirvo_fuzz::Fail("strict reader and loader disagree on values");
  return 0;
}
