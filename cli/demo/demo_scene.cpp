#include "demo/demo_scene.h"

#include <algorithm>
#include <cmath>

namespace mirvo_cli {
namespace {

constexpr double kPi = 3.14159265358979323846;

// Colour of a surface as the raw channels see it, relative to the wall's green.
struct Rgb3 {
  double r, g, b;
};

// Small deterministic generator (splitmix64), so the demo is identical on
// every machine and standard library.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}
  uint64_t Next() {
    uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  double Uniform() { return (Next() >> 11) * (1.0 / 9007199254740992.0); }
  // Standard normal by Box-Muller; the second value is kept for the next call.
  double Gauss() {
    if (has_spare_) {
      has_spare_ = false;
      return spare_;
    }
    const double u1 = std::max(Uniform(), 1e-300);
    const double u2 = Uniform();
    const double m = std::sqrt(-2.0 * std::log(u1));
    spare_ = m * std::sin(2 * kPi * u2);
    has_spare_ = true;
    return m * std::cos(2 * kPi * u2);
  }

 private:
  uint64_t state_;
  bool has_spare_ = false;
  double spare_ = 0;
};

// Hash noise in [-1, 1] for an integer lattice point: static wall texture.
double Hash(int x, int y) {
  uint64_t h = static_cast<uint64_t>(x) * 0x9E3779B97F4A7C15ull ^ static_cast<uint64_t>(y) * 0xC2B2AE3D27D4EB4Full;
  h ^= h >> 29;
  h *= 0xBF58476D1CE4E5B9ull;
  h ^= h >> 32;
  return (h & 0xFFFF) / 32767.5 - 1.0;
}

// Smooth value noise on a lattice of `scale` pixels.
double ValueNoise(double px, double py, double scale) {
  const double fx = px / scale, fy = py / scale;
  const int x0 = static_cast<int>(std::floor(fx)), y0 = static_cast<int>(std::floor(fy));
  double tx = fx - x0, ty = fy - y0;
  tx = tx * tx * (3 - 2 * tx);
  ty = ty * ty * (3 - 2 * ty);
  const double a = Hash(x0, y0) + (Hash(x0 + 1, y0) - Hash(x0, y0)) * tx;
  const double b = Hash(x0, y0 + 1) + (Hash(x0 + 1, y0 + 1) - Hash(x0, y0 + 1)) * tx;
  return a + (b - a) * ty;
}

const Rgb3 kWall = {0.52, 1.0, 0.64};

// What the camera sees at normalised scene position (x, y), before the lens.
// Sizes are in fractions of the frame width for x and height for y.
Rgb3 Scene(double x, double y, double px, double py) {
  // Plaster: soft blotches and fine grain, both colourless.
  double texture = 1.0 + 0.05 * ValueNoise(px, py, 37.0) + 0.02 * ValueNoise(px, py, 5.0) +
                   0.01 * Hash(static_cast<int>(px), static_cast<int>(py));
  // A lamp to the left lights the wall a little unevenly.
  texture *= 1.08 - 0.16 * x;
  Rgb3 c = kWall;
  auto in_rect = [&](double x0, double y0, double x1, double y1) { return x >= x0 && x < x1 && y >= y0 && y < y1; };
  auto in_ellipse = [&](double cx, double cy, double rx, double ry) {
    const double dx = (x - cx) / rx, dy = (y - cy) / ry;
    return dx * dx + dy * dy < 1.0;
  };
  if (in_rect(0.36, 0.14, 0.62, 0.46)) {
    // A framed picture: dark frame around a muted landscape.
    if (in_rect(0.38, 0.17, 0.60, 0.43))
      c = y < 0.28 ? Rgb3{0.45, 0.95, 1.05} : Rgb3{0.40, 0.85, 0.35};
    else
      c = {0.20, 0.28, 0.22};
  } else if (in_rect(0.08, 0.58, 0.27, 0.88)) {
    c = {1.30, 0.45, 0.28};  // red box
  } else if (in_ellipse(0.76, 0.30, 0.09, 0.12)) {
    c = {0.22, 0.50, 1.15};  // blue plate
  } else if (in_ellipse(0.84, 0.74, 0.08, 0.15)) {
    c = {0.26, 0.82, 0.30};  // green plant
  } else if (in_rect(0.42, 0.68, 0.56, 0.80)) {
    c = {1.05, 1.10, 0.22};  // yellow book
  }
  return {c.r * texture, c.g * texture, c.b * texture};
}

// Catmull-Rom weights for fraction t.
void CubicWeights(double t, double w[4]) {
  w[0] = t * (t * (1 - 0.5 * t) - 0.5);
  w[1] = t * t * (1.5 * t - 2.5) + 1;
  w[2] = t * (t * (2 - 1.5 * t) + 0.5);
  w[3] = t * t * (0.5 * t - 0.5);
}

}  // namespace

DemoLens::DemoLens(const mirvo::LearnedTintProfile& profile, double aspect) : profile_(profile), aspect_(aspect) {}

double DemoLens::RadiusSquared(double x, double y) const {
  // 1 at the corners, on a frame of the real aspect ratio.
  const double dx = x - 0.5, dy = (y - 0.5) * aspect_;
  return (dx * dx + dy * dy) / (0.25 * (1 + aspect_ * aspect_));
}

double DemoLens::Vignetting(double x, double y) const {
  const double d = 1.0 + 0.3 * RadiusSquared(x, y);
  return 1.0 / (d * d);
}

double DemoLens::Profile(const float (&plane)[13][17], double x, double y) const {
  // The profile is given on the table lattice: node column j at x = j / 16,
  // node row i at y = i / 12.
  const double fx = std::clamp(x, 0.0, 1.0) * 16, fy = std::clamp(y, 0.0, 1.0) * 12;
  const int cx = std::min(static_cast<int>(fx), 15), cy = std::min(static_cast<int>(fy), 11);
  double wx[4], wy[4];
  CubicWeights(fx - cx, wx);
  CubicWeights(fy - cy, wy);
  double sum = 0;
  for (int i = 0; i < 4; ++i) {
    const int r = std::clamp(cy - 1 + i, 0, 12);
    double row = 0;
    for (int j = 0; j < 4; ++j) row += wx[j] * plane[r][std::clamp(cx - 1 + j, 0, 16)];
    sum += wy[i] * row;
  }
  return sum;
}

// Under the calibration illuminant red rises and blue falls towards the corners.
double DemoLens::CalibratedU(double x, double y) const { return 0.16 * RadiusSquared(x, y); }
double DemoLens::CalibratedV(double x, double y) const { return -0.10 * RadiusSquared(x, y); }

// Under the scene's light the module shows its typical (learned) tint, plus a
// slight tilt across the frame that no profile describes.
double DemoLens::ResidualU(double x, double y) const {
  return Profile(profile_.BUL, x, y) + 0.015 * (2 * x - 1) + 0.008 * (2 * y - 1);
}
double DemoLens::ResidualV(double x, double y) const {
  return Profile(profile_.BVL, x, y) - 0.012 * (2 * y - 1) + 0.006 * (2 * x - 1);
}

mirvo::LscTable DemoLens::BaseTable() const {
  mirvo::LscTable t;
  for (int i = 0; i < 13; ++i)
    for (int j = 0; j < 17; ++j) {
      const double x = j / 16.0, y = i / 12.0;
      const double g = 1.0 / Vignetting(x, y);
      t.gr_gain[i][j] = t.gb_gain[i][j] = static_cast<float>(g);
      t.r_gain[i][j] = static_cast<float>(g * std::exp(-CalibratedU(x, y)));
      t.b_gain[i][j] = static_cast<float>(g * std::exp(-CalibratedV(x, y)));
    }
  return t;
}

LensGains ComputeLensGains(const DemoCamera& camera, const DemoLens& lens) {
  const int hw = camera.width / 2, hh = camera.height / 2;
  LensGains g;
  std::vector<float>* planes[4] = {&g.r, &g.gr, &g.gb, &g.b};
  for (std::vector<float>* p : planes) p->resize(static_cast<size_t>(hw) * hh);
  for (int k = 0; k < hh; ++k)
    for (int j = 0; j < hw; ++j) {
      const size_t i = static_cast<size_t>(k) * hw + j;
      for (int site = 0; site < 4; ++site) {
        const double x = (2 * j + (site & 1) + 0.5) / camera.width;
        const double y = (2 * k + (site >> 1) + 0.5) / camera.height;
        double gain = lens.Vignetting(x, y);
        if (site == 0) gain *= std::exp(lens.ShadingU(x, y));
        if (site == 3) gain *= std::exp(lens.ShadingV(x, y));
        (*planes[site])[i] = static_cast<float>(gain);
      }
    }
  return g;
}

DemoFrame RenderDemoFrame(const DemoCamera& camera, const LensGains& lens, int index) {
  DemoFrame f;
  f.half_width = camera.width / 2;
  f.half_height = camera.height / 2;
  const size_t n = static_cast<size_t>(f.half_width) * f.half_height;
  f.r.resize(n);
  f.gr.resize(n);
  f.gb.resize(n);
  f.b.resize(n);
  Random random(camera.seed + 0x1000003ull * static_cast<uint64_t>(index));
  // Hand shake: the scene moves by a few pixels between frames.
  const double shift_x = 4.0 * std::sin(1.3 * index), shift_y = 3.0 * std::cos(0.9 * index);
  const double white = (1 << camera.bits) - 1;
  const double level = 0.42 * (white - camera.black_level);  // the wall's green at the centre
  // Photon transfer: about 4 electrons per digital number, 1.5 DN read noise.
  const double electrons_per_dn = 4.0, read_noise = 1.5;
  auto sample = [&](double value) {
    const double noisy =
        value + random.Gauss() * std::sqrt(std::max(value, 0.0) / electrons_per_dn + read_noise * read_noise);
    return static_cast<uint16_t>(std::clamp(std::lround(noisy + camera.black_level), 0L, static_cast<long>(white)));
  };
  for (int k = 0; k < f.half_height; ++k) {
    for (int j = 0; j < f.half_width; ++j) {
      const size_t i = static_cast<size_t>(k) * f.half_width + j;
      for (int site = 0; site < 4; ++site) {
        const double sx = 2 * j + (site & 1) + 0.5 + shift_x, sy = 2 * k + (site >> 1) + 0.5 + shift_y;
        const Rgb3 c = Scene(sx / camera.width, sy / camera.height, sx, sy);
        switch (site) {
          case 0:
            f.r[i] = sample(level * lens.r[i] * c.r);
            break;
          case 1:
            f.gr[i] = sample(level * lens.gr[i] * c.g);
            break;
          case 2:
            f.gb[i] = sample(level * lens.gb[i] * c.g);
            break;
          default:
            f.b[i] = sample(level * lens.b[i] * c.b);
            break;
        }
      }
    }
  }
  return f;
}

std::vector<uint16_t> Mosaic(const DemoFrame& frame) {
  const int w = frame.half_width * 2;
  std::vector<uint16_t> out(static_cast<size_t>(w) * frame.half_height * 2);
  for (int k = 0; k < frame.half_height; ++k)
    for (int j = 0; j < frame.half_width; ++j) {
      const size_t i = static_cast<size_t>(k) * frame.half_width + j;
      const size_t top = static_cast<size_t>(2 * k) * w + 2 * j;
      out[top] = frame.r[i];
      out[top + 1] = frame.gr[i];
      out[top + w] = frame.gb[i];
      out[top + w + 1] = frame.b[i];
    }
  return out;
}

}  // namespace mirvo_cli
