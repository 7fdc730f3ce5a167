#include "workbench/files/loaders.h"
#include "workbench/inputs/frame_input.h"

namespace mirvo::workbench {
namespace {

// A statistics text dump: checking it means loading it, since every field
// must parse.
class StatsDumpInput final : public FrameInput {
 public:
  const char* kind() const override { return "stats"; }
  void Check(const std::string& path) const override {
    Stats scratch;
    LoadStatsFile(path, &scratch);
  }
  void ReadStats(const std::string& path, Stats* stats) const override { LoadStatsFile(path, stats); }
};

}  // namespace

std::unique_ptr<FrameInput> MakeStatsDumpInput() { return std::make_unique<StatsDumpInput>(); }

}  // namespace mirvo::workbench
