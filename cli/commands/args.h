#pragma once

#include <map>
#include <string>
#include <vector>

namespace mirvo_cli {

// Kinds of command-line options.
enum class OptionKind {
  kFlag,   // --mipi
  kValue,  // --width 4032 or --width=4032
  kList,   // --stats a.txt b.txt ...: every following argument up to the next option
};

struct OptionSpec {
  std::string name;  // with the leading dashes
  OptionKind kind;
};

// Parsed command line of one command. Errors throw UsageError with a message
// that starts with the command ("mirvo run: ...").
class Args {
 public:
  Args(std::string command, const std::vector<OptionSpec>& specs, const std::vector<std::string>& argv);

  bool Has(const std::string& name) const { return values_.count(name) > 0; }
  const std::vector<std::string>& positional() const { return positional_; }
  // For commands that take options only: fails on the first positional argument.
  void RejectPositional() const;
  // For commands that take one file: that argument, or a failure asking for
  // exactly one `what`.
  std::string OnePositional(const std::string& what) const;

  // Value of an option; `fallback` when absent.
  std::string Get(const std::string& name, const std::string& fallback = "") const;
  // Value of an option that must be present.
  std::string Require(const std::string& name) const;
  const std::vector<std::string>& List(const std::string& name) const;

  // Numeric values, checked against [lo, hi].
  long GetInt(const std::string& name, long fallback, long lo, long hi) const;
  long RequireInt(const std::string& name, long lo, long hi) const;

  // Message prefix for errors about this command.
  std::string Prefix() const { return "mirvo " + command_ + ": "; }
  [[noreturn]] void Fail(const std::string& message) const;

 private:
  long ParseInt(const std::string& name, const std::string& text, long lo, long hi) const;

  std::string command_;
  std::map<std::string, std::vector<std::string>> values_;
  std::vector<std::string> positional_;
};

// True when the arguments ask for help (--help or -h anywhere).
bool WantsHelp(const std::vector<std::string>& args);

// Number parsing helpers; false on trailing junk, overflow or no digits.
bool ParseLong(const std::string& text, long* out);
bool ParseDouble(const std::string& text, double* out);
// Splits "a,b,c" at commas (empty fields kept).
std::vector<std::string> SplitCommas(const std::string& text);

}  // namespace mirvo_cli
