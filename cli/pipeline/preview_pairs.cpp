#include "pipeline/preview_pairs.h"

#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "base/cli_error.h"
#include "files/atomic_file.h"
#include "render/preview_pictures.h"
#include "workbench/dng/dng_reader.h"
#include "workbench/error.h"
#include "workbench/preview/residual_overlay.h"

namespace mirvo_cli {
namespace {

// JPEG quality of the photographs: their noise and texture cost the bytes.
constexpr int kPreviewQuality = 82;
// Pixels a statistics cell in the residual maps.
constexpr int kMapCell = 6;

mirvo::LscTable TableOf(const FrameGrids& g) {
  mirvo::LscTable t;
  float(*planes[4])[17] = {t.r_gain, t.gr_gain, t.gb_gain, t.b_gain};
  for (int p = 0; p < 4; ++p) std::memcpy(planes[p], g.table[static_cast<size_t>(p)].data(), sizeof(t.r_gain));
  return t;
}

}  // namespace

void LoadRawPreviewFrame(const std::string& path, const RawOptions& raw, PreviewFrame* frame) {
  ReadRawFrame(path, raw, &frame->raw);
  frame->planes = mirvo::workbench::PlanesOf(frame->raw, raw.black_level);
}

bool LoadDngPreviewFrame(const std::string& path, PreviewFrame* frame, mirvo::LscTable* gain_map) {
  const mirvo::workbench::DngFrame f = mirvo::workbench::ReadDng(path);
  mirvo::workbench::SplitDngFrame(f, &frame->raw);
  frame->planes = mirvo::workbench::PlanesOf(frame->raw, f.stats_black);
  if (f.has_neutral)
    frame->neutral =
        std::array<float, 3>{static_cast<float>(f.as_shot_neutral[0]), static_cast<float>(f.as_shot_neutral[1]),
                             static_cast<float>(f.as_shot_neutral[2])};
  if (gain_map && f.has_gain_map) *gain_map = f.gain_map;
  return f.has_gain_map;
}

std::string PreviewFileName(int k, const std::string& kind, const std::string& part) {
  char name[32];
  std::snprintf(name, sizeof(name), "frame_%04d_", k);
  return name + kind + part + (part == "_maps" ? ".png" : ".jpg");
}

int WritePreviewPairs(const std::string& dir, const RunSummaryData& summary, const std::vector<mirvo::LscTable>& bases,
                      const PreviewFrameLoader& load, int width) {
  const std::string out = dir + "/" + kPreviewDir;
  MakeDirectories(out);
  nlohmann::json index = {{"width", width}, {"frames", nlohmann::json::array()}};
  for (const FrameGrids& g : summary.grids) {
    PreviewFrame frame;
    load(g.index, &frame);
    const mirvo::LscTable after = TableOf(g);
    const mirvo::LscTable& base = bases[bases.size() == 1 ? 0 : static_cast<size_t>(g.index)];
    nlohmann::json entry = {{"index", g.index}, {"reasons", g.reasons}};
    try {
      mirvo::workbench::LookOptions options;
      options.as_shot_neutral = frame.neutral;
      const mirvo::workbench::ResidualShading after_residual = mirvo::workbench::MeasureResidual(frame.planes, &after);
      const mirvo::workbench::PreviewLook look =
          mirvo::workbench::ChooseLook(frame.planes, &after, options, &after_residual);
      const std::pair<const char*, const mirvo::LscTable*> sides[2] = {{"before", &base}, {"after", &after}};
      for (const auto& [kind, table] : sides) {
        const mirvo::workbench::RgbImage picture = mirvo::workbench::RenderPreview(frame.planes, table, look, width);
        const mirvo::workbench::ResidualShading residual =
            table == &after ? after_residual : mirvo::workbench::MeasureResidual(frame.planes, table);
        WriteFileAtomically(out + "/" + PreviewFileName(g.index, kind, ""),
                            EncodePicture(picture, true, kPreviewQuality));
        WriteFileAtomically(
            out + "/" + PreviewFileName(g.index, kind, "_lines"),
            EncodePicture(mirvo::workbench::ResidualIsolines(picture, residual), true, kPreviewQuality));
        WriteFileAtomically(out + "/" + PreviewFileName(g.index, kind, "_maps"),
                            EncodePicture(mirvo::workbench::ResidualMaps(residual, kMapCell), false));
        entry[std::string(kind) + "_rms"] = residual.rms;
        entry["grey_cells_" + std::string(kind)] = residual.grey_cells;
      }
    } catch (const mirvo::workbench::WorkbenchError& e) {
      throw DataError("frame " + std::to_string(g.index) + ": preview: " + e.what());
    }
    index["frames"].push_back(entry);
  }
  WriteFileAtomically(out + "/" + kPreviewIndex, index.dump(1) + "\n");
  return static_cast<int>(summary.grids.size());
}

}  // namespace mirvo_cli
