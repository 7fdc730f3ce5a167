#include "workbench/files/bounded_json.h"

#include <new>

#include "workbench/error.h"
#include "workbench/files/file_error.h"

namespace mirvo::workbench {
namespace {

using json = nlohmann::json;

// Per-node costs of nlohmann::json's tree on LP64: a value is 16 bytes, an
// array or object adds its container and allocation, an object member a map
// node and its key's string.
constexpr uint64_t kValueBytes = 16, kContainerBytes = 48, kMemberBytes = 64;

// The first pass: depth, the estimated size of the tree, where parsing
// stopped and why. Stores nothing of the document.
class Measure : public nlohmann::json_sax<json> {
 public:
  explicit Measure(int max_depth) : max_depth_(max_depth) {}

  bool null() override { return Value(); }
  bool boolean(bool) override { return Value(); }
  bool number_integer(number_integer_t) override { return Value(); }
  bool number_unsigned(number_unsigned_t) override { return Value(); }
  bool number_float(number_float_t, const string_t&) override { return Value(); }
  bool string(string_t& s) override { return Value() && Add(s.size()); }
  bool binary(binary_t& b) override { return Value() && Add(b.size()); }
  bool start_object(std::size_t) override { return Open(); }
  bool key(string_t& k) override { return Add(kMemberBytes + k.size()); }
  bool end_object() override { return Close(); }
  bool start_array(std::size_t) override { return Open(); }
  bool end_array() override { return Close(); }
  bool parse_error(std::size_t position, const std::string&, const nlohmann::detail::exception&) override {
    syntax_error_at_ = position;
    return false;
  }

  uint64_t bytes = 0;
  bool too_deep = false;
  size_t syntax_error_at_ = 0;

 private:
  bool Value() { return Add(kValueBytes); }
  bool Add(uint64_t n) {
    bytes += n;
    return true;
  }
  bool Open() {
    if (++depth_ > max_depth_) {
      too_deep = true;
      return false;
    }
    return Add(kValueBytes + kContainerBytes);
  }
  bool Close() {
    --depth_;
    return true;
  }

  int max_depth_;
  int depth_ = 0;
};

// At most 40 characters of the text from just before `position`, on one line.
std::string Excerpt(const std::string& text, size_t position) {
  const size_t at = position > 0 ? position - 1 : 0;
  const size_t from = at > 20 ? at - 20 : 0;
  std::string s = from < text.size() ? text.substr(from, 40) : std::string();
  for (char& c : s)
    if (static_cast<unsigned char>(c) < 32 || c == 127) c = '?';
  return s;
}

}  // namespace

json ParseBoundedJson(const std::string& text, const std::string& path, const JsonLimits& limits) {
  if (text.size() > limits.max_bytes)
    throw FileError(path, "file is too large (" + std::to_string(text.size()) + " bytes, at most " +
                              std::to_string(limits.max_bytes) + ")");
  try {
    Measure measure(limits.max_depth);
    if (!json::sax_parse(text, &measure)) {
      if (measure.too_deep)
        throw FileError(path, "JSON nested deeper than " + std::to_string(limits.max_depth) + " levels");
      throw FileError(path, "not valid JSON at byte " + std::to_string(measure.syntax_error_at_) + " near '" +
                                Excerpt(text, measure.syntax_error_at_) + "'");
    }
    const uint64_t allowed = static_cast<uint64_t>(limits.max_memory_factor) * (text.size() + 4096);
    if (measure.bytes > allowed)
      throw FileError(path, "JSON would take " + std::to_string(measure.bytes >> 20) + " MB in memory, more than " +
                                std::to_string(limits.max_memory_factor) + " times the file's size");
    return json::parse(text);
  } catch (const std::bad_alloc&) {
    throw FileError(path, "out of memory reading the JSON");
  }
}

}  // namespace mirvo::workbench
