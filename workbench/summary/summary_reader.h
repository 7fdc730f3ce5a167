#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace mirvo::workbench {

// Shortest decimal text that reads back as the same float: the engine works
// in float, and a float widened to double would print 17 noisy digits.
std::string FloatText(float v);

// A float as a JSON value of the summary: null when not finite.
nlohmann::ordered_json FloatJson(float v);

// Reads the fields of a summary's JSON tree; every refusal is a
// WorkbenchError "PATH: WHERE.KEY is not ..." naming the file and the field.
class SummaryReader {
 public:
  using json = nlohmann::ordered_json;
  explicit SummaryReader(const std::string& path) : path_(path) {}

  [[noreturn]] void Fail(const std::string& what) const;

  const json& Field(const json& obj, const char* key, const std::string& where) const;
  float Float(const json& obj, const char* key, const std::string& where) const;  // null reads as NaN
  double Double(const json& obj, const char* key, const std::string& where) const;
  int Int(const json& obj, const char* key, const std::string& where, int lo, int hi) const;
  bool Bool(const json& obj, const char* key, const std::string& where) const;
  // Fields added after the first summaries: absent reads as false.
  bool OptionalBool(const json& obj, const char* key, const std::string& where) const;
  std::string String(const json& obj, const char* key, const std::string& where, bool null_ok = false) const;
  void Floats(const json& obj, const char* key, const std::string& where, float* out, size_t n) const;
  std::vector<std::string> Strings(const json& obj, const char* key, const std::string& where) const;

 private:
  std::string path_;
};

}  // namespace mirvo::workbench
