#include "files/tuning_output.h"

#include <cstring>
#include <memory>

#include "base/cli_error.h"
#include "files/atomic_file.h"
#include "io/tuning_file.h"

namespace mirvo_cli {

void WriteTuningFile(const std::string& path, const mirvo::MirvoParams& params) {
  AtomicOutput file(path);
  // The writer reports only a failed open; reading the file back catches a
  // short write (a full disk) before it replaces anything.
  if (mirvo::SaveTuningHeaderFile(file.temp_path().c_str(), params) != mirvo::kOk)
    throw DataError(path + ": cannot write tuning file");
  auto back = std::make_unique<mirvo::MirvoParams>();
  if (mirvo::TuningValidateHeaderFile(file.temp_path().c_str()) != mirvo::kOk ||
      mirvo::LoadTuningHeaderFile(file.temp_path().c_str(), *back) != mirvo::kOk ||
      std::memcmp(back.get(), &params, sizeof params) != 0)
    throw DataError(path + ": tuning file came out incomplete (disk full?)");
  file.Commit();
}

}  // namespace mirvo_cli
