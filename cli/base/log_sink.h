#pragma once

namespace mirvo_cli {

// Routes the library's log lines to stderr as "mirvo: library: ...", keeping
// only warnings and errors unless `verbose` (then debug lines too, such as
// the per-frame projections).
void InstallLogSink(bool verbose);

}  // namespace mirvo_cli
