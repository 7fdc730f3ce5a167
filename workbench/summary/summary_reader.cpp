#include "workbench/summary/summary_reader.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "workbench/error.h"

namespace mirvo::workbench {
namespace {

using json = nlohmann::ordered_json;

// A JSON number as a float; beyond the float range it is infinite (a plain
// conversion would be undefined there).
float ToFloat(const json& v) {
  const double d = v.get<double>();
  if (d > std::numeric_limits<float>::max()) return INFINITY;
  if (d < -std::numeric_limits<float>::max()) return -INFINITY;
  return static_cast<float>(d);
}

}  // namespace

std::string FloatText(float v) {
  char buf[32];
  const auto res = std::to_chars(buf, buf + sizeof(buf), v);
  return std::string(buf, res.ptr);
}

nlohmann::ordered_json FloatJson(float v) {
  if (!std::isfinite(v)) return nullptr;
  return std::strtod(FloatText(v).c_str(), nullptr);
}

void SummaryReader::Fail(const std::string& what) const { throw WorkbenchError(path_ + ": " + what); }

const SummaryReader::json& SummaryReader::Field(const json& obj, const char* key, const std::string& where) const {
  if (!obj.is_object()) Fail(where + " is not an object");
  const auto it = obj.find(key);
  if (it == obj.end()) Fail(where + " lacks \"" + key + "\"");
  return *it;
}

float SummaryReader::Float(const json& obj, const char* key, const std::string& where) const {
  const json& v = Field(obj, key, where);
  if (v.is_null()) return NAN;
  if (!v.is_number()) Fail(where + "." + key + " is not a number");
  return ToFloat(v);
}

double SummaryReader::Double(const json& obj, const char* key, const std::string& where) const {
  const json& v = Field(obj, key, where);
  if (!v.is_number()) Fail(where + "." + key + " is not a number");
  return v.get<double>();
}

int SummaryReader::Int(const json& obj, const char* key, const std::string& where, int lo, int hi) const {
  const json& v = Field(obj, key, where);
  if (!v.is_number_integer() || v.get<long long>() < lo || v.get<long long>() > hi)
    Fail(where + "." + key + " is not an integer from " + std::to_string(lo) + " to " + std::to_string(hi));
  return v.get<int>();
}

bool SummaryReader::Bool(const json& obj, const char* key, const std::string& where) const {
  const json& v = Field(obj, key, where);
  if (!v.is_boolean()) Fail(where + "." + key + " is not true or false");
  return v.get<bool>();
}

bool SummaryReader::OptionalBool(const json& obj, const char* key, const std::string& where) const {
  return obj.is_object() && obj.contains(key) ? Bool(obj, key, where) : false;
}

std::string SummaryReader::String(const json& obj, const char* key, const std::string& where, bool null_ok) const {
  const json& v = Field(obj, key, where);
  if (null_ok && v.is_null()) return "";
  if (!v.is_string()) Fail(where + "." + key + " is not a string");
  return v.get<std::string>();
}

void SummaryReader::Floats(const json& obj, const char* key, const std::string& where, float* out, size_t n) const {
  const json& v = Field(obj, key, where);
  if (!v.is_array() || v.size() != n) Fail(where + "." + key + " is not an array of " + std::to_string(n) + " numbers");
  for (size_t i = 0; i < n; ++i) {
    if (v[i].is_null()) {
      out[i] = NAN;
    } else if (v[i].is_number()) {
      out[i] = ToFloat(v[i]);
    } else {
      Fail(where + "." + key + "[" + std::to_string(i) + "] is not a number");
    }
  }
}

std::vector<std::string> SummaryReader::Strings(const json& obj, const char* key, const std::string& where) const {
  const json& v = Field(obj, key, where);
  if (!v.is_array()) Fail(where + "." + key + " is not an array");
  std::vector<std::string> out;
  for (const json& s : v) {
    if (!s.is_string()) Fail(where + "." + key + " holds a value that is not a string");
    out.push_back(s.get<std::string>());
  }
  return out;
}

}  // namespace mirvo::workbench
