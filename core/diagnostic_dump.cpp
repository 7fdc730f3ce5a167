#include "core/diagnostic_dump.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace mirvo {
namespace {

// Walks the dump line by line and keeps the first fault.
class Reader {
 public:
  explicit Reader(const std::string& text) : s_(text) {}

  bool AtEnd() const { return pos_ >= s_.size(); }
  char Peek() const { return s_[pos_]; }
  bool failed() const { return !result_.ok; }
  ParseResult result() const { return result_; }

  // Text up to the next line feed, which is consumed.
  bool Line(const char* what, std::string* text) {
    const size_t nl = s_.find('\n', pos_);
    if (nl == std::string::npos) return Fail("truncated: " + std::string(what) + " has no line end");
    text->assign(s_, pos_, nl - pos_);
    pos_ = nl + 1;
    ++line_;
    return true;
  }

  // A byte grid of n elements: n bytes separated by single blanks, then a
  // line feed. Consumes it and returns true if the text has that shape; the
  // length is checked before anything is stored.
  bool ByteGrid(size_t n, std::vector<double>* out) {
    const size_t len = 2 * n - 1;
    if (pos_ + len >= s_.size() || s_[pos_ + len] != '\n') return false;
    for (size_t i = 1; i < len; i += 2)
      if (s_[pos_ + i] != ' ') return false;
    out->clear();
    out->reserve(n);
    for (size_t i = 0; i < n; ++i) out->push_back(static_cast<unsigned char>(s_[pos_ + 2 * i]));
    pos_ += len + 1;
    ++line_;
    return true;
  }

  size_t pos() const { return pos_; }
  int line() const { return line_; }
  void Seek(size_t pos, int line) {
    pos_ = pos;
    line_ = line;
  }

  // A problem in the next line, or in the line just read.
  bool Fail(const std::string& why) { return FailAt(line_ + 1, why); }
  bool FailLast(const std::string& why) { return FailAt(line_, why); }

 private:
  bool FailAt(int line, const std::string& why) {
    if (result_.ok) result_ = ParseResult::Fail("line " + std::to_string(line) + ": " + why, line);
    return false;
  }

  const std::string& s_;
  size_t pos_ = 0;
  int line_ = 0;
  ParseResult result_;
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

bool KeyOf(Reader& in, const char* what, std::string* key) {
  std::string line;
  if (!in.Line(what, &line)) return false;
  if (line.empty() || line.back() != '=') return in.FailLast("expected a line 'key=', found '" + Snippet(line) + "'");
  *key = line.substr(0, line.size() - 1);
  return true;
}

// One grid block after its empty line. Number grids come first; the first
// block whose values are not numbers starts the byte grids.
bool ReadGrid(Reader& in, bool* byte_section, DiagnosticGrid* grid) {
  if (!KeyOf(in, "grid key", &grid->key)) return false;
  if (!DiagnosticGridShape(grid->key, &grid->name, &grid->rows, &grid->cols))
    return in.FailLast("grid key " + Snippet(grid->key) + " does not end in [rows][cols]");
  const size_t n = static_cast<size_t>(grid->rows) * static_cast<size_t>(grid->cols);
  if (!*byte_section) {
    const size_t start = in.pos();
    const int line = in.line();
    std::string text;
    if (!in.Line("grid values", &text)) return false;
    if (ParseNumbers(text, &grid->values) && grid->values.size() == n) return true;
    // Not numbers: read it again as the first byte grid.
    in.Seek(start, line);
    *byte_section = true;
  }
  grid->bytes = in.ByteGrid(n, &grid->values);
  if (!grid->bytes) return in.Fail("grid " + Snippet(grid->key) + " does not hold " + std::to_string(n) + " values");
  return true;
}

}  // namespace

bool DiagnosticGridShape(const std::string& key, std::string* name, int* rows, int* cols) {
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
  const long limit = kMaxDiagnosticGridValues;
  if (rv < 1 || cv < 1 || rv > limit || cv > limit || rv * cv > limit) return false;
  *name = key.substr(0, open1);
  *rows = static_cast<int>(rv);
  *cols = static_cast<int>(cv);
  return true;
}

ParseResult DiagnosticDumpParseText(const std::string& text, DiagnosticDump* dump) {
  dump->scalars.clear();
  dump->grids.clear();
  Reader in(text);
  // Scalars: no empty line before them.
  while (!in.AtEnd() && in.Peek() != '\n') {
    std::string key, value;
    if (!KeyOf(in, "scalar key", &key) || !in.Line("scalar value", &value)) return in.result();
    double v = 0;
    if (!ParseNumber(value.data(), value.data() + value.size(), &v))
      return in.FailLast("value '" + Snippet(value) + "' of scalar " + Snippet(key) + " is not a number"), in.result();
    dump->scalars.emplace_back(key, v);
  }
  // Grids: an empty line, the key, one line of values. Byte grids come last.
  bool byte_section = false;
  while (!in.AtEnd()) {
    std::string empty;
    if (!in.Line("empty line before a grid", &empty)) return in.result();
    if (!empty.empty()) return in.FailLast("expected an empty line before the next grid"), in.result();
    DiagnosticGrid grid;
    if (!ReadGrid(in, &byte_section, &grid)) return in.result();
    dump->grids.push_back(std::move(grid));
  }
  return ParseResult::Ok();
}

}  // namespace mirvo
