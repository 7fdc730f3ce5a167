#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "commands/raw_options.h"
#include "core/lsc_table.h"
#include "report/summary_format.h"
#include "tools/bayer_raw.h"
#include "workbench/preview/preview_render.h"

namespace mirvo_cli {

// Width of the previews a run keeps: a report page stays below 300 KB a
// kept frame.
inline constexpr int kPreviewWidth = 512;
// Where in a run directory the previews go, and their index.
inline constexpr char kPreviewDir[] = "preview";
inline constexpr char kPreviewIndex[] = "index.json";

// One raw frame again, for its pictures: the planes live in `raw` or `owned`.
// A DNG brings the camera's neutral, which then sets the white balance.
struct PreviewFrame {
  mirvo::BayerRaw raw;
  std::vector<uint16_t> owned[4];
  mirvo::workbench::BayerPlanes planes;
  std::optional<std::array<float, 3>> neutral;
};
using PreviewFrameLoader = std::function<void(int k, PreviewFrame* frame)>;

// For every frame the summary kept whole, loads it again and writes into
// DIR/preview/ its picture as the ISP renders it with its base (before:
// `bases[k]`, or `bases[0]` for every frame when there is one) and with the
// frame's output table (after), one look for both (chosen with the output
// table and the frame's neutral), each with the residual colour shading as isolines on a
// dimmed copy (JPEG) and as maps (PNG); and index.json naming them with the
// residual's RMS. Returns the number of frames. Throws DataError.
int WritePreviewPairs(const std::string& dir, const RunSummaryData& summary, const std::vector<mirvo::LscTable>& bases,
                      const PreviewFrameLoader& load, int width = kPreviewWidth);

// A raw frame file read again for its pictures. Throws DataError.
void LoadRawPreviewFrame(const std::string& path, const RawOptions& raw, PreviewFrame* frame);

// A DNG file read again for its pictures: its active area, levels and
// as-shot neutral; its GainMaps as a table in `gain_map` when it has them
// (returns whether it has). Throws DataError.
bool LoadDngPreviewFrame(const std::string& path, PreviewFrame* frame, mirvo::LscTable* gain_map = nullptr);

// The file names of frame k's pictures, "frame_0007_before.jpg" and so on:
// kind is "before" or "after", part "" (the picture), "_lines" or "_maps".
std::string PreviewFileName(int k, const std::string& kind, const std::string& part);

}  // namespace mirvo_cli
