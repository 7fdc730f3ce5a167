#include "checks/diag_dump.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/cli_error.h"

namespace mirvo_cli {
namespace {

// Grids larger than this are not something the engine records.
constexpr long kMaxValues = 1 << 22;

class Reader {
 public:
  Reader(const std::string& content, const std::string& path) : s_(content), path_(path) {}

  bool AtEnd() const { return pos_ >= s_.size(); }
  char Peek() const { return s_[pos_]; }
  int line() const { return line_; }

  // Text up to the next line feed, which is consumed.
  std::string Line(const char* what) {
    const size_t nl = s_.find('\n', pos_);
    if (nl == std::string::npos) Fail("truncated: " + std::string(what) + " has no line end");
    std::string text = s_.substr(pos_, nl - pos_);
    pos_ = nl + 1;
    ++line_;
    return text;
  }

  // A byte grid of n elements: n bytes separated by single blanks, then a
  // line feed. Consumes it and returns true if the text has that shape.
  bool ByteGrid(size_t n, std::vector<double>* out) {
    const size_t len = 2 * n - 1;
    if (pos_ + len >= s_.size() || s_[pos_ + len] != '\n') return false;
    for (size_t i = 1; i < len; i += 2)
      if (s_[pos_ + i] != ' ') return false;
    out->clear();
    for (size_t i = 0; i < n; ++i) out->push_back(static_cast<unsigned char>(s_[pos_ + 2 * i]));
    pos_ += len + 1;
    ++line_;
    return true;
  }

  size_t pos() const { return pos_; }
  void Seek(size_t pos, int line) {
    pos_ = pos;
    line_ = line;
  }

  // A problem in the next line, or in the line just read.
  [[noreturn]] void Fail(const std::string& why) const { FailAt(line_ + 1, why); }
  [[noreturn]] void FailLast(const std::string& why) const { FailAt(line_, why); }

 private:
  [[noreturn]] void FailAt(int line, const std::string& why) const {
    throw DataError(path_ + ": line " + std::to_string(line) + ": " + why);
  }

  const std::string& s_;
  const std::string& path_;
  size_t pos_ = 0;
  int line_ = 0;
};

bool ParseNumber(const char* begin, const char* end, double* out) {
  if (begin == end) return false;
  std::string token(begin, end);
  char* stop = nullptr;
  *out = std::strtod(token.c_str(), &stop);
  return stop == token.c_str() + token.size();
}

// All blank-separated numbers of a line, or false if any token is not one.
bool ParseNumbers(const std::string& line, std::vector<double>* out) {
  out->clear();
  const char* p = line.data();
  const char* end = p + line.size();
  while (p < end) {
    const char* q = static_cast<const char*>(std::memchr(p, ' ', end - p));
    if (!q) q = end;
    double v = 0;
    if (!ParseNumber(p, q, &v)) return false;
    out->push_back(v);
    p = q + 1;
  }
  return true;
}

// Up to 40 characters of file text for a message, unprintable bytes shown as '?'.
std::string Snippet(const std::string& text) {
  std::string out = text.substr(0, 40);
  for (char& c : out)
    if (static_cast<unsigned char>(c) < 32 || static_cast<unsigned char>(c) > 126) c = '?';
  return out;
}

std::string KeyOf(const std::string& line, Reader& reader) {
  if (line.empty() || line.back() != '=') reader.FailLast("expected a line 'key=', found '" + Snippet(line) + "'");
  return line.substr(0, line.size() - 1);
}

}  // namespace

bool DimensionsFromKey(const std::string& key, std::string* name, int* rows, int* cols) {
  // key = name[rows][cols]
  if (key.size() < 6 || key.back() != ']') return false;
  const size_t open2 = key.rfind('[');
  if (open2 == std::string::npos || open2 < 3 || key[open2 - 1] != ']') return false;
  const size_t open1 = key.rfind('[', open2 - 1);
  if (open1 == std::string::npos || open1 == 0) return false;
  const std::string r = key.substr(open1 + 1, open2 - 2 - open1);
  const std::string c = key.substr(open2 + 1, key.size() - 2 - open2);
  char* end = nullptr;
  errno = 0;
  const long rv = std::strtol(r.c_str(), &end, 10);
  if (r.empty() || *end || errno) return false;
  const long cv = std::strtol(c.c_str(), &end, 10);
  if (c.empty() || *end || errno) return false;
  if (rv < 1 || cv < 1 || rv > kMaxValues || cv > kMaxValues || rv * cv > kMaxValues) return false;
  *name = key.substr(0, open1);
  *rows = static_cast<int>(rv);
  *cols = static_cast<int>(cv);
  return true;
}

DiagDump ParseDiagDump(const std::string& content, const std::string& path) {
  DiagDump dump;
  Reader in(content, path);
  // Scalars: no empty line before them.
  while (!in.AtEnd() && in.Peek() != '\n') {
    const std::string key = KeyOf(in.Line("scalar key"), in);
    const std::string text = in.Line("scalar value");
    double v = 0;
    if (!ParseNumber(text.data(), text.data() + text.size(), &v))
      in.FailLast("value '" + Snippet(text) + "' of scalar " + Snippet(key) + " is not a number");
    dump.scalars.emplace_back(key, v);
  }
  // Grids: an empty line, the key, one line of values. Byte grids come last.
  bool byte_section = false;
  std::vector<double> values;
  while (!in.AtEnd()) {
    if (in.Line("empty line before a grid") != "") in.FailLast("expected an empty line before the next grid");
    DiagGrid grid;
    grid.key = KeyOf(in.Line("grid key"), in);
    if (!DimensionsFromKey(grid.key, &grid.name, &grid.rows, &grid.cols))
      in.FailLast("grid key " + Snippet(grid.key) + " does not end in [rows][cols]");
    const size_t n = static_cast<size_t>(grid.rows) * grid.cols;
    bool ok = false;
    if (!byte_section) {
      const size_t start = in.pos();
      const int line = in.line();
      const std::string text = in.Line("grid values");
      ok = ParseNumbers(text, &values) && values.size() == n;
      if (!ok) {
        // Not numbers: read it again as the first byte grid.
        in.Seek(start, line);
        byte_section = true;
      }
    }
    if (!ok && byte_section) {
      ok = in.ByteGrid(n, &values);
      grid.bytes = ok;
    }
    if (!ok) in.Fail("grid " + Snippet(grid.key) + " does not hold " + std::to_string(n) + " values");
    grid.values = values;
    dump.grids.push_back(std::move(grid));
  }
  return dump;
}

}  // namespace mirvo_cli
