#include "analysis/table_summary.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace mirvo_cli {
namespace {

void Append(std::string* out, const char* format, ...) __attribute__((format(printf, 2, 3)));
void Append(std::string* out, const char* format, ...) {
  char buf[256];
  va_list ap;
  va_start(ap, format);
  std::vsnprintf(buf, sizeof(buf), format, ap);
  va_end(ap);
  *out += buf;
}

void AppendPlane(std::string* out, const char* name, const float (&plane)[13][17]) {
  const PlaneSummary s = SummarisePlane(plane);
  Append(out, "%-6s %9.5f %9.5f %9.5f %9.5f %8.1f%%\n", name, s.min, s.max, s.centre, s.corner_mean, s.corner_falloff);
}

}  // namespace

PlaneSummary SummarisePlane(const float (&plane)[13][17]) {
  PlaneSummary s;
  s.min = s.max = plane[0][0];
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) {
      s.min = std::min<double>(s.min, plane[r][c]);
      s.max = std::max<double>(s.max, plane[r][c]);
    }
  s.centre = plane[6][8];
  s.corner_mean = (static_cast<double>(plane[0][0]) + plane[0][16] + plane[12][0] + plane[12][16]) / 4.0;
  s.corner_falloff = s.corner_mean != 0 ? 100.0 * s.centre / s.corner_mean : 0.0;
  return s;
}

std::string TableSummary(const mirvo::LscTable& table) {
  std::string out;
  Append(&out, "%-6s %9s %9s %9s %9s %9s\n", "plane", "min", "max", "centre", "corners", "falloff");
  AppendPlane(&out, "R", table.r_gain);
  AppendPlane(&out, "Gr", table.gr_gain);
  AppendPlane(&out, "Gb", table.gb_gain);
  AppendPlane(&out, "B", table.b_gain);
  // The colour part of the shading: red and blue relative to the mean green.
  float rg[13][17], bg[13][17];
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) {
      const float g = (table.gr_gain[r][c] + table.gb_gain[r][c]) * 0.5f;
      rg[r][c] = g != 0 ? table.r_gain[r][c] / g : 0.0f;
      bg[r][c] = g != 0 ? table.b_gain[r][c] / g : 0.0f;
    }
  AppendPlane(&out, "R/G", rg);
  AppendPlane(&out, "B/G", bg);
  return out;
}

}  // namespace mirvo_cli
