// LSC table header files: the strict reader must never hang, and whatever it
// accepts the path loader must read to the end with success and the same
// gains.
#include <cstring>
#include <string>

#include "io/lsc_table_file.h"
#include "scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  mirvo::LscTable parsed;
  const mirvo::ParseResult result = mirvo::LscTableParseText(text, &parsed);
  if (mirvo_fuzz::Rejected(result)) return 0;
  const std::string& path = mirvo_fuzz::WriteScratch(data, size);
  mirvo::LscTable loaded;
  if (mirvo::LscTableLoadHeaderFile(path.c_str(), loaded) != mirvo::kOk)
    mirvo_fuzz::Fail("strict reader accepted a table the loader rejects");
  if (std::memcmp(&parsed, &loaded, sizeof parsed) != 0)
    mirvo_fuzz::Fail("strict reader and loader disagree on values");
  return 0;
}
