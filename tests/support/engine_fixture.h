#pragma once

#include <gtest/gtest.h>

#include "engine/mirvo_hybrid.h"
#include "engine_scene.h"

namespace mirvo_test {

// An engine on plain tuning (see MakePlainParams) and a debug record. The
// engine keeps pointers to both, so a test may change them between calls.
class EngineFixture : public ::testing::Test {
 protected:
  EngineFixture() {
    MakePlainParams(params_);
    engine_.SetMirvoParams(params_);
    engine_.SetMirvoDebugParams(debug_);
  }

  mirvo::MirvoParams params_;
  mirvo::MirvoDebugParams debug_;
  mirvo::MirvoHybrid engine_;
};

}  // namespace mirvo_test
