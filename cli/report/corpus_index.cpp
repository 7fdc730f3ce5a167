#include "report/corpus_index.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <nlohmann/json.hpp>
#include <tuple>

#include "base/cli_error.h"
#include "report/svg_plot.h"

namespace mirvo_cli {
namespace {

using json = nlohmann::json;

const char kStyle[] =
    "body{font-family:system-ui,-apple-system,'Segoe UI',Helvetica,Arial,sans-serif;margin:24px auto;"
    "max-width:1100px;padding:0 16px;color:#1a1a1a;background:#fff;line-height:1.4}"
    "h1{font-size:1.6em;margin-bottom:0}.sub{color:#555;margin-top:4px}"
    "table{border-collapse:collapse;font-size:0.92em}td,th{padding:3px 10px;text-align:left;"
    "border-bottom:1px solid #eee;vertical-align:top}th{background:#f5f5f5;cursor:pointer}"
    "td.n{text-align:right;font-variant-numeric:tabular-nums}tr.failed td{background:#fdecea}";

// Sorts by the clicked column's data-v keys, numbers as numbers; a second
// click reverses.
const char kSortScript[] =
    "document.querySelectorAll('th').forEach(function(th,i){th.onclick=function(){"
    "var b=th.closest('table').tBodies[0],r=Array.from(b.rows),d=th.dataset.d==='1'?-1:1;th.dataset.d=d;"
    "r.sort(function(p,q){var x=p.cells[i].dataset.v,y=q.cells[i].dataset.v,m=parseFloat(x),n=parseFloat(y);"
    "return d*(isNaN(m)||isNaN(n)?x.localeCompare(y):m-n)});r.forEach(function(e){b.appendChild(e)})}})";

double Number(const json& row, const char* key, const std::string& path) {
  const auto it = row.find(key);
  if (it == row.end() || it->is_null()) return std::numeric_limits<double>::quiet_NaN();
  if (!it->is_number()) throw DataError(path + ": corpus summary: '" + key + "' is not a number");
  return it->get<double>();
}

std::string Cell(double v, const char* format) {
  if (std::isnan(v)) return "<td class=\"n\" data-v=\"\"></td>";
  char buf[64];
  std::snprintf(buf, sizeof(buf), format, v);
  char key[64];
  std::snprintf(key, sizeof(key), "%.9g", v);
  return std::string("<td class=\"n\" data-v=\"") + key + "\">" + buf + "</td>";
}

std::string TextCell(const std::string& text, const std::string& shown) {
  return "<td data-v=\"" + XmlEscape(text) + "\">" + shown + "</td>";
}

}  // namespace

std::vector<CorpusRow> ParseCorpusSummary(const std::string& text, const std::string& path) {
  const json doc = json::parse(text, nullptr, false);
  if (doc.is_discarded() || !doc.is_object() || !doc.contains("sequences") || !doc["sequences"].is_array())
    throw DataError(path + ": not a corpus summary (a JSON object with a 'sequences' list)");
  std::vector<CorpusRow> rows;
  for (const json& j : doc["sequences"]) {
    if (!j.is_object() || !j.contains("sequence") || !j["sequence"].is_string() || !j.contains("status") ||
        !j["status"].is_string())
      throw DataError(path + ": corpus summary: a row without 'sequence' and 'status'");
    CorpusRow r;
    r.sequence = j["sequence"].get<std::string>();
    if (r.sequence.empty() || r.sequence == "." || r.sequence == ".." || r.sequence.find('/') != std::string::npos)
      throw DataError(path + ": corpus summary: '" + r.sequence + "' is not a sequence folder name");
    r.status = j["status"].get<std::string>();
    if (j.contains("error") && j["error"].is_string()) r.error = j["error"].get<std::string>();
    const double frames = Number(j, "frames", path);
    const double guarded = Number(j, "guarded_frames", path);
    for (double count : {frames, guarded})
      if (!std::isnan(count) && !(count >= 0 && count <= 1e9))
        throw DataError(path + ": corpus summary: a frame count out of range in '" + r.sequence + "'");
    r.frames = std::isnan(frames) ? -1 : static_cast<int>(frames);
    r.guarded_frames = std::isnan(guarded) ? -1 : static_cast<int>(guarded);
    r.prj_u = Number(j, "prj_u", path);
    r.prj_v = Number(j, "prj_v", path);
    r.residual_shading = Number(j, "residual_shading", path);
    r.seconds = Number(j, "seconds", path);
    rows.push_back(r);
  }
  return rows;
}

void SortWorstFirst(std::vector<CorpusRow>* rows) {
  std::stable_sort(rows->begin(), rows->end(), [](const CorpusRow& a, const CorpusRow& b) {
    return std::make_tuple(a.status == "ok", -a.warnings, -a.guarded_frames, a.sequence) <
           std::make_tuple(b.status == "ok", -b.warnings, -b.guarded_frames, b.sequence);
  });
}

std::string CorpusIndexHtml(const std::vector<CorpusRow>& rows, const std::string& title) {
  int failed = 0;
  for (const CorpusRow& r : rows) failed += r.status != "ok";
  std::string h =
      "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>mirvo corpus: " + XmlEscape(title) +
      "</title><style>" + kStyle + "</style></head><body>\n";
  h += "<h1>Corpus " + XmlEscape(title) + "</h1>\n<p class=\"sub\">" + std::to_string(rows.size()) + " sequences, " +
       std::to_string(failed) + " failed; worst first (click a heading to sort)</p>\n";
  h += "<table><thead><tr><th>rank</th><th>sequence</th><th>status</th><th>frames</th><th>guarded</th>"
       "<th>warnings</th><th>prj_u</th><th>prj_v</th><th>residual shading %</th><th>seconds</th><th>error</th>"
       "</tr></thead><tbody>\n";
  int rank = 0;
  for (const CorpusRow& r : rows) {
    const std::string name = XmlEscape(r.sequence);
    h += r.status == "ok" ? "<tr>" : "<tr class=\"failed\">";
    h += Cell(++rank, "%.0f");
    h += TextCell(r.sequence, r.has_report ? "<a href=\"" + name + "/report.html\">" + name + "</a>" : name);
    h += TextCell(r.status, XmlEscape(r.status));
    h += Cell(r.frames < 0 ? NAN : r.frames, "%.0f");
    h += Cell(r.guarded_frames < 0 ? NAN : r.guarded_frames, "%.0f");
    h += Cell(r.warnings < 0 ? NAN : r.warnings, "%.0f");
    h += Cell(r.prj_u, "%.4f") + Cell(r.prj_v, "%.4f") + Cell(r.residual_shading, "%.2f");
    h += Cell(r.seconds, "%.2f");
    h += TextCell(r.error, XmlEscape(r.error)) + "</tr>\n";
  }
  h += "</tbody></table>\n<script>" + std::string(kSortScript) + "</script>\n</body></html>\n";
  return h;
}

}  // namespace mirvo_cli
