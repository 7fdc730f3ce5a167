// LSC table header files: the validator must never hang, and whatever it
// accepts the loader must read to the end with success.
#include "io/lsc_table_file.h"
#include "scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string& path = mirvo_fuzz::WriteScratch(data, size);
  std::string why;
  if (mirvo::LscTableValidateHeaderFile(path.c_str(), &why) != mirvo::kOk) {
    if (why.empty()) mirvo_fuzz::Fail("validator rejected without a reason");
    return 0;
  }
  mirvo::LscTable table;
  if (mirvo::LscTableLoadHeaderFile(path.c_str(), table) != mirvo::kOk)
    mirvo_fuzz::Fail("validator accepted a table the loader rejects");
  return 0;
}
