#include "workbench/preview/preview_render.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "tools/bayer_raw.h"
#include "workbench/error.h"
#include "workbench/preview/gain_field.h"
#include "workbench/preview/residual_overlay.h"

namespace mirvo::workbench {
namespace {

// Linear light in 1/4095 steps: finer than one 8-bit code even in the
// curve's steep dark part.
constexpr int kLutSteps = 4095;
// Quads sampled for the exposure percentile, about.
constexpr long kExposureSamples = 1 << 16;

void CheckPlanes(const BayerPlanes& planes) {
  if (planes.width <= 0 || planes.height <= 0)
    throw WorkbenchError("frame of " + std::to_string(planes.width * 2) + " x " + std::to_string(planes.height * 2) +
                         " has no pixels to render");
  for (const uint16_t* p : planes.plane)
    if (p == nullptr) throw WorkbenchError("frame without its Bayer planes");
  if (!(planes.white > 0)) throw WorkbenchError("frame without a white level");
}

float Range(const BayerPlanes& planes) {
  const float black = std::max({planes.black[0], planes.black[1], planes.black[2], planes.black[3]});
  return std::max(1.0f, planes.white - black);
}

std::vector<uint8_t> SrgbLut() {
  std::vector<uint8_t> lut(kLutSteps + 1);
  for (int i = 0; i <= kLutSteps; ++i) {
    const double v = static_cast<double>(i) / kLutSteps;
    const double s = v <= 0.0031308 ? 12.92 * v : 1.055 * std::pow(v, 1.0 / 2.4) - 0.055;
    lut[static_cast<size_t>(i)] = static_cast<uint8_t>(std::lround(std::clamp(s, 0.0, 1.0) * 255.0));
  }
  return lut;
}

// One row of quads as linear R, G, B with the look applied (unclipped).
class RowRenderer {
 public:
  RowRenderer(const BayerPlanes& planes, const LscTable* table, const PreviewLook& look)
      : planes_(planes), field_(table, planes.width, planes.height), gains_(static_cast<size_t>(planes.width) * 4) {
    const float range = Range(planes);
    k_[0] = look.gain[0] / range;
    k_[1] = look.gain[1] / range * 0.5f;  // the greens are averaged
    k_[2] = look.gain[2] / range;
  }

  template <typename Sink>
  void Row(int y, Sink&& sink) {
    const int w = planes_.width;
    float* const g[4] = {gains_.data(), gains_.data() + w, gains_.data() + 2 * w, gains_.data() + 3 * w};
    field_.Row(y, g);
    const size_t line = static_cast<size_t>(y) * w;
    const uint16_t* r = planes_.plane[0] + line;
    const uint16_t* gr = planes_.plane[1] + line;
    const uint16_t* gb = planes_.plane[2] + line;
    const uint16_t* b = planes_.plane[3] + line;
    const float* bl = planes_.black;
    for (int x = 0; x < w; ++x) {
      const float rv = (r[x] - bl[0]) * g[0][x] * k_[0];
      const float gv = ((gr[x] - bl[1]) * g[1][x] + (gb[x] - bl[2]) * g[2][x]) * k_[1];
      const float bv = (b[x] - bl[3]) * g[3][x] * k_[2];
      sink(x, rv, gv, bv);
    }
  }

 private:
  const BayerPlanes& planes_;
  GainField field_;
  std::vector<float> gains_;
  float k_[3];
};

inline int LutIndex(float v) {
  const float s = v * kLutSteps + 0.5f;
  // Written so that NaN (from a table gain that is not finite) lands on 0.
  return !(s > 0.0f) ? 0 : s >= kLutSteps ? kLutSteps : static_cast<int>(s);
}

}  // namespace

BayerPlanes PlanesOf(const BayerRaw& raw, const uint16_t (&levels)[4]) {
  const int bits = std::clamp(raw.bit_depth_, 1, 14);
  const float scale = static_cast<float>(1 << (14 - bits));
  BayerPlanes p;
  p.width = raw.half_width_;
  p.height = raw.half_height_;
  p.plane[0] = raw.plane_r_;
  p.plane[1] = raw.plane_gr_;
  p.plane[2] = raw.plane_gb_;
  p.plane[3] = raw.plane_b_;
  // The levels pair with the planes as the statistics builder pairs them:
  // R takes index 3, B index 0, the greens their own.
  const int level_of[4] = {3, 1, 2, 0};
  for (int i = 0; i < 4; ++i) p.black[i] = levels[level_of[i]] / scale;
  p.white = static_cast<float>((1 << bits) - 1);
  return p;
}

PreviewLook ChooseLook(const BayerPlanes& planes, const LscTable* table, const LookOptions& options,
                       const ResidualShading* residual) {
  CheckPlanes(planes);
  PreviewLook look;
  if (options.as_shot_neutral) {
    const std::array<float, 3>& n = *options.as_shot_neutral;
    for (float c : n)
      if (!(c > 0) || !std::isfinite(c)) throw WorkbenchError("as-shot neutral is not positive");
    look.gain = {n[1] / n[0], 1.0f, n[1] / n[2]};
  } else {
    // The grey cells' mean colour cast taken out.
    ResidualShading measured;
    if (!residual) residual = &(measured = MeasureResidual(planes, table));
    if (residual->grey_cells > 0)
      look.gain = {static_cast<float>(std::exp(-residual->mean_u)), 1.0f,
                   static_cast<float>(std::exp(-residual->mean_v))};
  }

  // Exposure from a regular sample of the quads' brightest channel.
  const long quads = static_cast<long>(planes.width) * planes.height;
  const int step = std::max(1, static_cast<int>(std::sqrt(static_cast<double>(quads) / kExposureSamples)));
  std::vector<float> bright;
  RowRenderer rows(planes, table, look);
  for (int y = step / 2; y < planes.height; y += step) {
    rows.Row(y, [&](int x, float r, float g, float b) {
      const float top = std::max({r, g, b});
      if (x % step == step / 2 && std::isfinite(top)) bright.push_back(top);
    });
  }
  if (bright.empty()) return look;
  const double q = std::clamp(options.percentile, 0.0, 1.0);
  const size_t at = std::min(bright.size() - 1, static_cast<size_t>(q * static_cast<double>(bright.size())));
  std::nth_element(bright.begin(), bright.begin() + static_cast<long>(at), bright.end());
  const float top = bright[at];
  const float exposure = top > 0 && std::isfinite(top) ? static_cast<float>(options.level) / top : 1.0f;
  for (float& g : look.gain) g *= exposure;
  return look;
}

RgbImage RenderPreview(const BayerPlanes& planes, const LscTable* table, const PreviewLook& look, int out_width) {
  CheckPlanes(planes);
  static const std::vector<uint8_t> lut = SrgbLut();
  const int w = planes.width;
  const int h = planes.height;
  RowRenderer rows(planes, table, look);
  RgbImage img;
  if (out_width <= 0 || out_width >= w) {
    img.width = w;
    img.height = h;
    img.pixels.resize(static_cast<size_t>(w) * h * 3);
    for (int y = 0; y < h; ++y) {
      uint8_t* o = img.pixels.data() + static_cast<size_t>(y) * w * 3;
      rows.Row(y, [&](int x, float r, float g, float b) {
        o[3 * x] = lut[static_cast<size_t>(LutIndex(r))];
        o[3 * x + 1] = lut[static_cast<size_t>(LutIndex(g))];
        o[3 * x + 2] = lut[static_cast<size_t>(LutIndex(b))];
      });
    }
    return img;
  }

  // Box averages in linear light: quad column x feeds output column
  // x * ow / w, quad row y output row y * oh / h.
  const int ow = out_width;
  const int oh = std::max(1, static_cast<int>(std::lround(static_cast<double>(h) * ow / w)));
  img.width = ow;
  img.height = oh;
  img.pixels.resize(static_cast<size_t>(ow) * oh * 3);
  std::vector<int> to_col(static_cast<size_t>(w));
  std::vector<int> col_count(static_cast<size_t>(ow), 0);
  for (int x = 0; x < w; ++x) {
    to_col[static_cast<size_t>(x)] = static_cast<int>(static_cast<long>(x) * ow / w);
    ++col_count[static_cast<size_t>(to_col[static_cast<size_t>(x)])];
  }
  std::vector<float> acc(static_cast<size_t>(ow) * 3, 0.0f);
  int row_count = 0;
  int current = 0;
  auto flush = [&]() {
    uint8_t* o = img.pixels.data() + static_cast<size_t>(current) * ow * 3;
    for (int x = 0; x < ow; ++x) {
      const float n = static_cast<float>(col_count[static_cast<size_t>(x)] * row_count);
      for (int c = 0; c < 3; ++c) {
        const float v = n > 0 ? std::max(0.0f, acc[static_cast<size_t>(3 * x + c)]) / n : 0.0f;
        o[3 * x + c] = lut[static_cast<size_t>(LutIndex(v))];
      }
    }
    std::fill(acc.begin(), acc.end(), 0.0f);
    row_count = 0;
  };
  for (int y = 0; y < h; ++y) {
    const int oy = static_cast<int>(static_cast<long>(y) * oh / h);
    if (oy != current) {
      flush();
      current = oy;
    }
    rows.Row(y, [&](int x, float r, float g, float b) {
      // Clipped per quad, as the sensor's highlights would be.
      float* a = &acc[static_cast<size_t>(3 * to_col[static_cast<size_t>(x)])];
      a[0] += std::min(r, 1.0f);
      a[1] += std::min(g, 1.0f);
      a[2] += std::min(b, 1.0f);
    });
    ++row_count;
  }
  flush();
  return img;
}

}  // namespace mirvo::workbench
