#include "commands/args.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>

#include "base/cli_error.h"

namespace mirvo_cli {

bool WantsHelp(const std::vector<std::string>& args) {
  for (const std::string& a : args) {
    if (a == "--") break;
    if (a == "--help" || a == "-h") return true;
  }
  return false;
}

bool ParseLong(const std::string& text, long* out) {
  if (text.empty() || std::isspace(static_cast<unsigned char>(text[0]))) return false;
  char* end = nullptr;
  errno = 0;
  const long v = std::strtol(text.c_str(), &end, 10);
  if (errno != 0 || end == text.c_str() || *end != '\0') return false;
  *out = v;
  return true;
}

bool ParseDouble(const std::string& text, double* out) {
  if (text.empty() || std::isspace(static_cast<unsigned char>(text[0]))) return false;
  char* end = nullptr;
  errno = 0;
  const double v = std::strtod(text.c_str(), &end);
  if (errno == ERANGE || end == text.c_str() || *end != '\0' || !std::isfinite(v)) return false;
  *out = v;
  return true;
}

std::vector<std::string> SplitCommas(const std::string& text) {
  std::vector<std::string> parts;
  size_t start = 0;
  while (true) {
    const size_t comma = text.find(',', start);
    parts.push_back(text.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  return parts;
}

Args::Args(std::string command, const std::vector<OptionSpec>& specs, const std::vector<std::string>& argv)
    : command_(std::move(command)) {
  bool options_done = false;
  for (size_t i = 0; i < argv.size(); ++i) {
    const std::string& arg = argv[i];
    if (options_done || arg.size() < 2 || arg[0] != '-') {
      positional_.push_back(arg);
      continue;
    }
    if (arg == "--") {
      options_done = true;
      continue;
    }
    std::string name = arg;
    std::string inline_value;
    bool has_inline = false;
    const size_t eq = arg.find('=');
    if (arg.rfind("--", 0) == 0 && eq != std::string::npos) {
      name = arg.substr(0, eq);
      inline_value = arg.substr(eq + 1);
      has_inline = true;
    }
    const OptionSpec* spec = nullptr;
    for (const OptionSpec& s : specs)
      if (s.name == name) spec = &s;
    if (!spec) Fail("unknown option " + name + " (see mirvo " + command_ + " --help)");
    switch (spec->kind) {
      case OptionKind::kFlag:
        if (has_inline) Fail(name + " takes no value");
        values_[name];
        break;
      case OptionKind::kValue: {
        if (values_.count(name)) Fail(name + " given twice");
        if (!has_inline) {
          if (i + 1 >= argv.size()) Fail(name + " needs a value");
          inline_value = argv[++i];
        }
        if (inline_value.empty()) Fail(name + " needs a value");
        values_[name].push_back(inline_value);
        break;
      }
      case OptionKind::kList: {
        std::vector<std::string>& list = values_[name];
        if (has_inline) list.push_back(inline_value);
        while (i + 1 < argv.size() && !(argv[i + 1].size() >= 2 && argv[i + 1].rfind("--", 0) == 0))
          list.push_back(argv[++i]);
        if (list.empty()) Fail(name + " needs at least one file");
        break;
      }
    }
  }
}

void Args::Fail(const std::string& message) const { throw UsageError(Prefix() + message); }

void Args::RejectPositional() const {
  if (!positional_.empty()) Fail("unexpected argument '" + positional_[0] + "'");
}

std::string Args::OnePositional(const std::string& what) const {
  if (positional_.size() != 1) Fail("give exactly one " + what + " (see mirvo " + command_ + " --help)");
  return positional_[0];
}

std::string Args::Get(const std::string& name, const std::string& fallback) const {
  const auto it = values_.find(name);
  if (it == values_.end() || it->second.empty()) return fallback;
  return it->second.back();
}

std::string Args::Require(const std::string& name) const {
  const auto it = values_.find(name);
  if (it == values_.end() || it->second.empty()) Fail("missing " + name);
  return it->second.back();
}

const std::vector<std::string>& Args::List(const std::string& name) const {
  static const std::vector<std::string> kEmpty;
  const auto it = values_.find(name);
  return it == values_.end() ? kEmpty : it->second;
}

long Args::ParseInt(const std::string& name, const std::string& text, long lo, long hi) const {
  long v = 0;
  if (!ParseLong(text, &v)) Fail(name + ": '" + text + "' is not an integer");
  if (v < lo || v > hi)
    Fail(name + ": " + text + " is out of range (" + std::to_string(lo) + " to " + std::to_string(hi) + ")");
  return v;
}

long Args::GetInt(const std::string& name, long fallback, long lo, long hi) const {
  return Has(name) ? ParseInt(name, Get(name), lo, hi) : fallback;
}

long Args::RequireInt(const std::string& name, long lo, long hi) const { return ParseInt(name, Require(name), lo, hi); }

}  // namespace mirvo_cli
