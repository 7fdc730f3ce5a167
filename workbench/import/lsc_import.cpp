#include "workbench/import/lsc_import.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <sstream>

#include "io/lsc_table_file.h"
#include "workbench/files/checked_file.h"

namespace mirvo::workbench {
namespace {

using nlohmann::json;

constexpr double kMaxGain = 1000.0;

// Natural logs of one channel's gains on a source grid, with the lattice
// positions of its rows (0..12) and columns (0..16).
struct LogGrid {
  std::vector<double> rows_at, cols_at;
  std::vector<double> v;  // row-major
};

// One calibrated illuminant: R, Gr, Gb, B.
struct Calibration {
  int ct = 0;
  std::array<LogGrid, 4> channel;
};

class Reader {
 public:
  explicit Reader(std::string name) : name_(std::move(name)) {}
  [[noreturn]] void Fail(const std::string& why) const { throw FileError(Printable(name_), Printable(why)); }

  const json& Member(const json& obj, const char* key, const std::string& where) const {
    if (!obj.is_object() || !obj.contains(key)) Fail(where + ": missing \"" + key + "\"");
    return obj.at(key);
  }

  // A list of `rows` lists of `cols` finite numbers above `floor`.
  std::vector<double> Table(const json& t, int rows, int cols, double floor, const std::string& where) const {
    if (!t.is_array() || static_cast<int>(t.size()) != rows)
      Fail(where + ": expected a list of " + std::to_string(rows) + " rows");
    std::vector<double> out;
    for (const json& row : t) {
      if (!row.is_array() || static_cast<int>(row.size()) != cols)
        Fail(where + ": expected rows of " + std::to_string(cols) + " values");
      for (const json& x : row) {
        if (!x.is_number()) Fail(where + ": a value is not a number");
        const double d = x.get<double>();
        if (!std::isfinite(d) || !(d > floor)) Fail(where + ": value " + x.dump() + " is out of range");
        out.push_back(d);
      }
    }
    return out;
  }

  int Count(const json& obj, const char* key, int lo, int hi) const {
    const json& v = Member(obj, key, "the file");
    if (!v.is_number_integer() || v.get<long long>() < lo || v.get<long long>() > hi)
      Fail(std::string("\"") + key + "\" is not a whole number from " + std::to_string(lo) + " to " +
           std::to_string(hi));
    return static_cast<int>(v.get<long long>());
  }

  int Ct(const json& entry, const std::string& where) const {
    const json& v = Member(entry, "ct", where);
    if (!v.is_number() || !(v.get<double>() >= 1000.0) || !(v.get<double>() <= 100000.0))
      Fail(where + ": \"ct\" is not a colour temperature from 1000 to 100000 K");
    return static_cast<int>(std::lround(v.get<double>()));
  }

 private:
  std::string name_;
};

std::vector<double> Logs(std::vector<double> v, double scale, double offset) {
  for (double& x : v) x = std::log(offset + x * scale);
  return v;
}

// Lattice positions of n cell centres spanning `extent` lattice units.
std::vector<double> CellCentres(int n, double extent) {
  std::vector<double> p(n);
  for (int i = 0; i < n; ++i) p[i] = (i + 0.5) * extent / n;
  return p;
}

// Lattice positions of n evenly spaced nodes from edge to edge.
std::vector<double> EvenNodes(int n, double extent) {
  std::vector<double> p(n);
  for (int i = 0; i < n; ++i) p[i] = i * extent / (n - 1);
  return p;
}

// Nodes of a mirrored sector layout: half-image sector sizes (fractions of the
// side) from the edge to the middle, repeated in reverse for the other half.
std::vector<double> SectorNodes(const Reader& in, const json& sizes, double extent, const char* key) {
  if (!sizes.is_array() || sizes.size() != 8) in.Fail(std::string("\"") + key + "\" is not a list of 8 sector sizes");
  std::vector<double> s;
  for (const json& x : sizes) {
    if (!x.is_number() || !(x.get<double>() > 0.0) || !(x.get<double>() < 0.5))
      in.Fail(std::string("\"") + key + "\" holds a sector size out of range");
    s.push_back(x.get<double>());
  }
  double sum = 0.0;
  for (double v : s) sum += v;
  if (std::fabs(sum - 0.5) > 1e-3) in.Fail(std::string("\"") + key + "\" sectors do not cover half the image");
  std::vector<double> p = {0.0};
  for (int i = 0; i < 8; ++i) p.push_back(p.back() + s[i] / (2.0 * sum));
  for (int i = 7; i >= 0; --i) p.push_back(p.back() + s[i] / (2.0 * sum));
  for (double& v : p) v *= extent;
  return p;
}

LogGrid Grid(std::vector<double> rows_at, std::vector<double> cols_at, std::vector<double> v) {
  LogGrid g;
  g.rows_at = std::move(rows_at);
  g.cols_at = std::move(cols_at);
  g.v = std::move(v);
  return g;
}

// Segment of `pos` around p and the fraction along it; beyond either end the
// first or last segment, continued in a straight line.
void Locate(const std::vector<double>& pos, double p, size_t* i, double* f) {
  size_t k = 0;
  while (k + 2 < pos.size() && p > pos[k + 1]) ++k;
  *i = k;
  *f = (p - pos[k]) / (pos[k + 1] - pos[k]);
}

// Bilinear in the log gains, linear beyond the outermost samples.
void ToLattice(const LogGrid& g, double (&out)[13][17]) {
  const size_t cols = g.cols_at.size();
  for (int r = 0; r < 13; ++r) {
    size_t i = 0;
    double fy = 0.0;
    Locate(g.rows_at, r, &i, &fy);
    for (int c = 0; c < 17; ++c) {
      size_t j = 0;
      double fx = 0.0;
      Locate(g.cols_at, c, &j, &fx);
      const double top = g.v[i * cols + j] * (1 - fx) + g.v[i * cols + j + 1] * fx;
      const double bottom = g.v[(i + 1) * cols + j] * (1 - fx) + g.v[(i + 1) * cols + j + 1] * fx;
      out[r][c] = top * (1 - fy) + bottom * fy;
    }
  }
}

std::vector<Calibration> ReadCellCalibrations(const Reader& in, const json& doc) {
  const int rows = in.Count(doc, "grid_rows", 2, 256);
  const int cols = in.Count(doc, "grid_cols", 2, 256);
  const std::vector<double> ry = CellCentres(rows, 12.0), cx = CellCentres(cols, 16.0);
  const std::vector<double> lum =
      Logs(in.Table(in.Member(doc, "luminance_lut", "the file"), rows, cols, 0.0, "luminance_lut"), 1.0, 0.0);
  std::vector<Calibration> out;
  std::vector<int> with_blue;
  for (const char* key : {"calibrations_Cr", "calibrations_Cb"}) {
    const bool red = key == std::string("calibrations_Cr");
    const json& list = in.Member(doc, key, "the file");
    if (!list.is_array() || list.empty()) in.Fail(std::string("\"") + key + "\" is not a list of calibrations");
    for (size_t k = 0; k < list.size(); ++k) {
      const std::string where = std::string(key) + "[" + std::to_string(k) + "]";
      const int ct = in.Ct(list[k], where);
      const std::vector<double> ratio =
          Logs(in.Table(in.Member(list[k], "table", where), rows, cols, 0.0, where), 1.0, 0.0);
      auto it = std::find_if(out.begin(), out.end(), [&](const Calibration& c) { return c.ct == ct; });
      if (red) {
        if (it != out.end()) in.Fail(where + ": a second calibration at " + std::to_string(ct) + " K");
        Calibration c;
        c.ct = ct;
        // Luminance is 1/G, the ratio tables G/R and G/B: so the gains are
        // G: lum, R: lum * G/R, B: lum * G/B.
        std::vector<double> r = lum;
        for (size_t i = 0; i < r.size(); ++i) r[i] += ratio[i];
        c.channel = {Grid(ry, cx, r), Grid(ry, cx, lum), Grid(ry, cx, lum), Grid(ry, cx, lum)};
        out.push_back(c);
      } else {
        if (it == out.end()) in.Fail(where + ": no R/G calibration at " + std::to_string(ct) + " K");
        std::vector<double> b = lum;
        for (size_t i = 0; i < b.size(); ++i) b[i] += ratio[i];
        if (std::count(with_blue.begin(), with_blue.end(), ct))
          in.Fail(where + ": a second calibration at " + std::to_string(ct) + " K");
        it->channel[3] = Grid(ry, cx, b);
        with_blue.push_back(ct);
      }
    }
  }
  for (const Calibration& c : out)
    if (!std::count(with_blue.begin(), with_blue.end(), c.ct))
      in.Fail("calibrations_Cb: no B/G calibration at " + std::to_string(c.ct) + " K");
  return out;
}

std::vector<Calibration> ReadNodeSets(const Reader& in, const json& doc) {
  const json& sets = in.Member(doc, "sets", "the file");
  if (!sets.is_array() || sets.empty()) in.Fail("\"sets\" is not a list of calibrations");
  const bool mesh = doc.contains("mesh_scale");
  const int rows = in.Count(doc, "grid_rows", 2, 256);
  const int cols = in.Count(doc, "grid_cols", 2, 256);
  std::vector<double> ry = EvenNodes(rows, 12.0), cx = EvenNodes(cols, 16.0);
  if (!mesh && doc.contains("x_size")) cx = SectorNodes(in, doc.at("x_size"), 16.0, "x_size");
  if (!mesh && doc.contains("y_size")) ry = SectorNodes(in, doc.at("y_size"), 12.0, "y_size");
  if (static_cast<int>(cx.size()) != cols || static_cast<int>(ry.size()) != rows)
    in.Fail("the sector sizes do not match grid_rows and grid_cols");
  // Fixed point with 1024 = gain 1; mesh values: gain 1 + v / 256 at mesh scale 4.
  if (mesh) {
    const json& scale = doc.at("mesh_scale");
    if (!scale.is_number() || scale.get<double>() != 4.0) in.Fail("only \"mesh_scale\" 4 (gains 1.0 to 2.0) is known");
  }
  const char* const four[4] = {"r", "gr", "gb", "b"};
  const char* const three[4] = {"r", "g", "g", "b"};
  std::vector<Calibration> out;
  for (size_t k = 0; k < sets.size(); ++k) {
    const std::string where = "sets[" + std::to_string(k) + "]";
    Calibration c;
    c.ct = in.Ct(sets[k], where);
    for (const Calibration& o : out)
      if (o.ct == c.ct) in.Fail(where + ": a second calibration at " + std::to_string(c.ct) + " K");
    for (int ch = 0; ch < 4; ++ch) {
      const char* key = mesh ? three[ch] : four[ch];
      const std::vector<double> raw =
          in.Table(in.Member(sets[k], key, where), rows, cols, mesh ? -1.0 : 0.0, where + "." + key);
      c.channel[ch] = Grid(ry, cx, mesh ? Logs(raw, 1.0 / 256.0, 1.0) : Logs(raw, 1.0 / 1024.0, 0.0));
    }
    out.push_back(c);
  }
  return out;
}

std::vector<Calibration> ReadOwnTable(const Reader& in, const json& doc) {
  const json& planes = in.Member(doc, "planes", "the file");
  Calibration c;
  const char* const names[4] = {"R", "Gr", "Gb", "B"};
  for (int ch = 0; ch < 4; ++ch)
    c.channel[ch] = Grid(EvenNodes(13, 12.0), EvenNodes(17, 16.0),
                         Logs(in.Table(in.Member(planes, names[ch], "planes"), 13, 17, 0.0, names[ch]), 1.0, 0.0));
  c.ct = 0;
  return {c};
}

std::string CtList(const std::vector<int>& cts) {
  std::string s;
  for (size_t i = 0; i < cts.size(); ++i) s += (i ? ", " : "") + std::to_string(cts[i]);
  return s + " K";
}

float (&Plane(LscTable& t, int ch))[13][17] {
  return ch == 0 ? t.r_gain : ch == 1 ? t.gr_gain : ch == 2 ? t.gb_gain : t.b_gain;
}

}  // namespace

ImportedTable ImportLscJson(const std::string& text, const std::string& name, int ct) {
  const Reader in(name);
  const json doc = json::parse(text, nullptr, false);
  if (doc.is_discarded()) in.Fail("not valid JSON");
  if (!doc.is_object()) in.Fail("not a JSON object, expected a lens shading calibration");
  ImportedTable result;
  std::vector<Calibration> cals;
  if (doc.contains("calibrations_Cr")) {
    result.layout = "R/G and B/G cell tables with a luminance table";
    cals = ReadCellCalibrations(in, doc);
  } else if (doc.contains("sets")) {
    result.layout = doc.contains("mesh_scale") ? "three-channel mesh" : "four-channel node tables";
    cals = ReadNodeSets(in, doc);
  } else if (doc.contains("planes")) {
    result.layout = "13 x 17 table";
    cals = ReadOwnTable(in, doc);
  } else {
    in.Fail("no known lens shading layout (calibrations_Cr, sets or planes)");
  }
  std::sort(cals.begin(), cals.end(), [](const Calibration& a, const Calibration& b) { return a.ct < b.ct; });
  for (const Calibration& c : cals)
    if (c.ct) result.colour_temperatures.push_back(c.ct);

  // The two calibrations to blend and the weight of the second.
  size_t lo = 0, hi = 0;
  double w = 0.0;
  if (cals.size() > 1) {
    if (ct == 0) throw ColourTemperatureNeeded(Printable(name), CtList(result.colour_temperatures));
    if (ct <= cals.front().ct) {
      lo = hi = 0;
    } else if (ct >= cals.back().ct) {
      lo = hi = cals.size() - 1;
    } else {
      while (cals[hi].ct < ct) ++hi;
      lo = hi - 1;
      w = (1.0 / ct - 1.0 / cals[lo].ct) / (1.0 / cals[hi].ct - 1.0 / cals[lo].ct);
    }
    if (lo != hi)
      result.note =
          "interpolated between " + std::to_string(cals[lo].ct) + " K and " + std::to_string(cals[hi].ct) + " K";
    else if (cals[lo].ct != ct)
      result.note = "outside the calibrated range, took the nearest: " + std::to_string(cals[lo].ct) + " K";
    else
      result.note = std::to_string(ct) + " K";
  } else if (cals[0].ct) {
    result.note = std::to_string(cals[0].ct) + " K" +
                  (ct && ct != cals[0].ct ? ", the only calibration; --ct " + std::to_string(ct) + " ignored" : "");
  }
  for (int ch = 0; ch < 4; ++ch) {
    double a[13][17], b[13][17];
    ToLattice(cals[lo].channel[ch], a);
    ToLattice(cals[hi].channel[ch], b);
    double low = 1e300;
    for (int r = 0; r < 13; ++r)
      for (int c = 0; c < 17; ++c) {
        a[r][c] = a[r][c] * (1.0 - w) + b[r][c] * w;
        low = std::min(low, a[r][c]);
      }
    for (int r = 0; r < 13; ++r)
      for (int c = 0; c < 17; ++c) {
        const double gain = std::exp(a[r][c] - low);
        // Real shading spans a factor of a few; far beyond that the file is not a calibration.
        if (!(gain <= kMaxGain)) in.Fail("gains span more than a factor of " + std::to_string(int(kMaxGain)));
        Plane(result.table, ch)[r][c] = static_cast<float>(gain);
      }
  }
  return result;
}

std::string TableToJson(const LscTable& table) {
  // Keys in the table file's order: rows, cols, then R, Gr, Gb, B.
  using ordered = nlohmann::ordered_json;
  ordered planes = ordered::object();
  const char* const names[4] = {"R", "Gr", "Gb", "B"};
  LscTable t = table;
  for (int ch = 0; ch < 4; ++ch) {
    ordered rows = ordered::array();
    for (const auto& row : Plane(t, ch)) {
      ordered values = ordered::array();
      for (float v : row) {
        // The header file's 5 decimals, printed as the shortest text of that value.
        char text[32];
        std::snprintf(text, sizeof text, "%.5f", static_cast<double>(v));
        values.push_back(std::strtod(text, nullptr));
      }
      rows.push_back(values);
    }
    planes[names[ch]] = rows;
  }
  ordered doc = ordered::object();
  doc["rows"] = 13;
  doc["cols"] = 17;
  doc["planes"] = planes;
  return doc.dump() + "\n";
}

ImportedTable ImportLscFile(const std::string& path, int ct) {
  return ImportLscJson(ReadInputFile(path, "a JSON calibration", kMaxJsonBytes), path, ct);
}

LscTable AsStored(const LscTable& table) {
  std::ostringstream text;
  LscTableWriteText(text, table);
  LscTable stored{};
  LscTableParseText(text.str(), &stored);
  return stored;
}

}  // namespace mirvo::workbench
