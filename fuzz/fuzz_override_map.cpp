// Override files: any content, applied to a tuning and a debug record.
#include "core/mirvo_params.h"
#include "io/override_map.h"
#include "scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string& path = mirvo_fuzz::WriteScratch(data, size);
  mirvo::MirvoParams params;
  mirvo::InitMirvoParams(params);
  mirvo::MirvoDebugParams debug;
  mirvo::DebugParamUpdater updater;
  updater.Init(path, &params.tuning, &debug);
  if (!updater.Update()) mirvo_fuzz::Fail("an existing override file was reported unreadable");
  return 0;
}
