#include "report/preview_section.h"

#include <sys/stat.h>

#include <cstdio>
#include <nlohmann/json.hpp>

#include "base/cli_error.h"
#include "checks/input_check.h"
#include "pipeline/preview_pairs.h"
#include "report/base64.h"
#include "report/svg_plot.h"
#include "workbench/preview/residual_overlay.h"

namespace mirvo_cli {
namespace {

// A preview file is a few tens of KB; anything far larger is not ours.
constexpr uint64_t kMaxPictureBytes = 8 << 20;
constexpr uint64_t kMaxIndexBytes = 1 << 20;

const char kPreviewStyle[] =
    ".pv{margin:18px 0 26px}.pv .pvhead{font-weight:600;margin:4px 0}"
    ".pv label{margin:0 14px 0 3px}"
    ".pv .pair{display:flex;gap:12px;align-items:flex-start}"
    ".pv figure{flex:1 1 0;min-width:0;margin:6px 0}"
    ".pv figure img{display:block;width:100%;image-rendering:auto;margin-bottom:4px}"
    ".pv figure img.maps{width:auto;max-width:100%;image-rendering:pixelated}"
    ".pv .pv-b:checked~.pair .after,.pv .pv-a:checked~.pair .before{display:none}";

std::string Percent(double v) {
  char buf[32];
  std::snprintf(buf, sizeof(buf), "%.2f %%", v * 100.0);
  return buf;
}

std::string DataUri(const std::string& path) {
  const bool jpeg = path.size() > 4 && path.compare(path.size() - 4, 4, ".jpg") == 0;
  return std::string("data:image/") + (jpeg ? "jpeg" : "png") + ";base64," +
         Base64(ReadInputFile(path, "a preview picture", kMaxPictureBytes));
}

}  // namespace

std::string PreviewSection(const std::string& dir) {
  const std::string pdir = dir + "/" + kPreviewDir;
  const std::string index_path = pdir + "/" + kPreviewIndex;
  struct stat st;
  if (stat(index_path.c_str(), &st) != 0) return "";
  nlohmann::json index;
  bool has_frames = false;
  try {
    index = nlohmann::json::parse(ReadInputFile(index_path, "a preview index", kMaxIndexBytes));
    has_frames = index.at("frames").is_array();
  } catch (const nlohmann::json::exception& e) {
    throw DataError(index_path + ": not a preview index (" + e.what() + ")");
  }
  if (!has_frames) throw DataError(index_path + ": not a preview index (no list of frames)");

  char scale[96];
  std::snprintf(scale, sizeof(scale), "&plusmn;%.2f", mirvo::workbench::kResidualScale);
  char step[32];
  std::snprintf(step, sizeof(step), "%.2f", mirvo::workbench::kIsolineStep);
  std::string html =
      "<h2>Pictures</h2>\n<p>The kept frames as the ISP renders them: on the left with the table it was given "
      "(before), on the right with mirvo's output table (after); one white balance and exposure for both, so "
      "that only the table differs. Choose <i>before</i> or <i>after</i> to flip between them in place. Under "
      "each, the colour shading left in the frame, measured on its grey statistics cells in the units of the "
      "tint maps (log R/G and log B/G about their means): isolines every " +
      std::string(step) +
      " of its 3 x 3 cell average on a dimmed copy (red above and cyan below for R/G, blue above and yellow below "
      "for B/G), and the "
      "maps (R/G left, B/G right; blue " +
      scale + " through white to red, grey: not a reliable grey cell).</p>\n<style>" + kPreviewStyle + "</style>\n";
  for (const nlohmann::json& f : index["frames"]) {
    int k = 0;
    double rms[2] = {0, 0};
    std::string reasons;
    try {
      k = f.at("index").get<int>();
      rms[0] = f.at("before_rms").get<double>();
      rms[1] = f.at("after_rms").get<double>();
      for (const auto& r : f.at("reasons")) reasons += (reasons.empty() ? "" : ", ") + r.get<std::string>();
    } catch (const nlohmann::json::exception& e) {
      throw DataError(index_path + ": bad frame entry (" + e.what() + ")");
    }
    const std::string id = "pv" + std::to_string(k);
    html += "<div class=\"pv\"><p class=\"pvhead\">frame " + std::to_string(k) + " (" + XmlEscape(reasons) +
            ") &mdash; colour shading left " + Percent(rms[0]) + " RMS before, " + Percent(rms[1]) + " after</p>\n";
    const char* modes[3][3] = {{"s", "side by side", " checked"}, {"b", "before", ""}, {"a", "after", ""}};
    for (const auto& m : modes)
      html += "<input type=\"radio\" name=\"" + id + "\" id=\"" + id + m[0] + "\" class=\"pv-" + m[0] + "\"" + m[2] +
              "><label for=\"" + id + m[0] + "\">" + m[1] + "</label>";
    html += "\n<div class=\"pair\">\n";
    const char* sides[2][2] = {{"before", "as the ISP did (its table)"}, {"after", "with mirvo's table"}};
    for (const auto& s : sides) {
      const std::string alt = std::string(s[0]) + " of frame " + std::to_string(k);
      html += "<figure class=\"" + std::string(s[0]) + "\"><figcaption>" + s[1] +
              "</figcaption><img class=\"photo\" alt=\"" + alt + "\" src=\"" +
              DataUri(pdir + "/" + PreviewFileName(k, s[0], "")) + "\"><img class=\"lines\" alt=\"" + alt +
              ", residual isolines\" src=\"" + DataUri(pdir + "/" + PreviewFileName(k, s[0], "_lines")) +
              "\"><img class=\"maps\" alt=\"" + alt + ", residual maps\" src=\"" +
              DataUri(pdir + "/" + PreviewFileName(k, s[0], "_maps")) + "\"></figure>\n";
    }
    html += "</div></div>\n";
  }
  return html;
}

}  // namespace mirvo_cli
