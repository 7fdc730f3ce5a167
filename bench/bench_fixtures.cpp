#include "bench_fixtures.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

namespace mirvo_bench {

void MakeFrameStats(int frame, mirvo::Stats* stats) {
  stats->ConfigureStatsSize(32, 24);
  std::mt19937 rng(1234u + static_cast<unsigned>(frame));
  std::normal_distribution<float> noise(0.0f, 1.0f);
  const float drift = 0.05f * std::sin(0.1f * static_cast<float>(frame));
  for (int r = 0; r < 24; ++r) {
    for (int c = 0; c < 32; ++c) {
      const float x = (c - 15.5f) / 16.0f;
      const float y = (r - 11.5f) / 12.0f;
      const float rr = x * x + y * y;
      const float vignette = 1.0f - 0.45f * rr;
      const float g = 6000.0f * vignette;
      const float red = g * (0.55f + drift) * (1.0f + 0.06f * rr);
      const float blue = g * (0.45f - drift) * (1.0f - 0.04f * rr);
      mirvo::StatsCell& cell = stats->cells[r * 32 + c];
      const uint16_t n = 3969;
      const float means[4] = {red, g, g, blue};
      for (int ch = 0; ch < 4; ++ch) {
        const float m = means[ch] * (1.0f + 0.01f * noise(rng));
        cell.sum[ch] = static_cast<uint32_t>(m * n);
        cell.cnt[ch] = n;
        cell.sat_cnt[ch] = 0;
      }
    }
  }
}

void MakeBaseTable(int variant, mirvo::LscTable* table) {
  for (int r = 0; r < 13; ++r) {
    for (int c = 0; c < 17; ++c) {
      const float x = (c - 8.0f) / 8.0f;
      const float y = (r - 6.0f) / 6.0f;
      const float rr = x * x + y * y;
      const float v = 1.0f + 0.8f * rr;
      table->r_gain[r][c] = v * (1.0f - 0.05f * rr + 0.001f * static_cast<float>(variant % 7));
      table->gr_gain[r][c] = v;
      table->gb_gain[r][c] = v * 1.002f;
      table->b_gain[r][c] = v * (1.0f + 0.03f * rr);
    }
  }
}

const std::vector<uint16_t>& RawSamples() {
  static const std::vector<uint16_t> samples = [] {
    std::vector<uint16_t> s(static_cast<size_t>(4032) * 3024);
    std::mt19937 rng(7);
    for (auto& v : s) v = static_cast<uint16_t>(64 + rng() % 900);
    return s;
  }();
  return samples;
}

namespace {

// TMPDIR first: Android has no /tmp (its shell sets TMPDIR).
std::string TempPath(const char* name) {
  const char* tmpdir = std::getenv("TMPDIR");
  return std::string(tmpdir != nullptr ? tmpdir : "/tmp") + "/mirvo_bench_" + name;
}

}  // namespace

const char* UnpackedRawPath() {
  static const std::string path = [] {
    const std::string p = TempPath("unpacked.raw");
    FILE* f = std::fopen(p.c_str(), "wb");
    const auto& s = RawSamples();
    std::fwrite(s.data(), 2, s.size(), f);
    std::fclose(f);
    return p;
  }();
  return path.c_str();
}

const char* Raw10RawPath() {
  static const std::string path = [] {
    const std::string p = TempPath("raw10.raw");
    FILE* f = std::fopen(p.c_str(), "wb");
    const auto& s = RawSamples();
    std::vector<uint8_t> row(4032 * 5 / 4);
    for (int y = 0; y < 3024; ++y) {
      const uint16_t* px = &s[static_cast<size_t>(y) * 4032];
      for (int g = 0; g < 4032 / 4; ++g) {
        uint8_t low = 0;
        for (int i = 0; i < 4; ++i) {
          row[g * 5 + i] = static_cast<uint8_t>(px[g * 4 + i] >> 2);
          low = static_cast<uint8_t>(low | ((px[g * 4 + i] & 3) << (2 * i)));
        }
        row[g * 5 + 4] = low;
      }
      std::fwrite(row.data(), 1, row.size(), f);  // 5040 bytes: no padding needed
    }
    std::fclose(f);
    return p;
  }();
  return path.c_str();
}

}  // namespace mirvo_bench
