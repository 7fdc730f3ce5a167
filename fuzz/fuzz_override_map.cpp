// Override files: any content, applied to a tuning and a debug record; and
// through the strict reader, which must accept only files whose every known
// key the device decodes to a finite number.
#include <cmath>
#include <string>
#include <vector>

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

  const std::string text(reinterpret_cast<const char*>(data), size);
  std::vector<mirvo::OverrideEntry> entries;
  const mirvo::ParseResult result = mirvo::OverrideMapParseText(text, &entries);
  if (mirvo_fuzz::Rejected(result)) return 0;
  const mirvo::TuningParams& t = params.tuning;
  const float applied[] = {t.min_level_thd,  t.max_level_thd, t.sat_ratio_thd,    t.smooth_thd,
                           t.limit_thd,      t.prj_delta_thd, t.tint_update_gain, debug.tint_visualization_gain,
                           debug.crop.in_w,  debug.crop.in_h, debug.crop.offs_x,  debug.crop.offs_y,
                           debug.crop.out_w, debug.crop.out_h};
  for (float v : applied)
    if (!std::isfinite(v)) mirvo_fuzz::Fail("strict reader accepted a value the device decodes as not finite");
  return 0;
}
