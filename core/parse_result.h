#pragma once

#include <istream>
#include <string>

#include "core/error_code.h"

namespace mirvo {

// Outcome of a strict text reader: every reader of the library's text formats
// (tuning, override map, LSC table, statistics dumps, diagnostic dumps) has a
// strict mode that never throws, hangs or prints, and answers with this.
// `reason` is one self-contained line without the file name (a caller
// prefixes it: "table.h: not a valid LSC table header file: <reason>"); it
// names the line or value where that helps. `line` is the 1-based line of the
// problem where the reader knows it, else 0, for callers that point at it.
struct ParseResult {
  bool ok = true;
  std::string reason;
  int line = 0;

  explicit operator bool() const { return ok; }
  static ParseResult Ok() { return ParseResult(); }
  static ParseResult Fail(std::string why, int at_line = 0) { return ParseResult{false, std::move(why), at_line}; }
};

// Text readers reject NUL bytes: the C conversions behind the path-taking
// loaders stop at one, so "1\0" + "5" would load as 1. Fails with "NUL byte
// on line N" for the first one. The readers test it after their walk, so
// that a binary file is reported by what is missing from it.
ParseResult NulByteProblem(const std::string& text);

// Reads the regular file at `path` whole into `text`. Fails with "no path
// given", "cannot open file" or "not a regular file" (a pipe or device could
// block or never end).
ParseResult ReadTextFile(const char* path, std::string* text);

// kOk for a good result, else kFileError with the reason in `why` if given.
errCode ReportParse(const ParseResult& result, std::string* why);

// For the path-taking validators: `parse(text)` over the file at `path`
// read whole, its result reported as by ReportParse.
template <typename Parse>
errCode ValidateTextFile(const char* path, std::string* why, Parse parse) {
  std::string text;
  ParseResult result = ReadTextFile(path, &text);
  if (result) result = parse(text);
  return ReportParse(result, why);
}

// The path-taking loaders' stream test before a read: on end of file, else
// on a failed (or bad) stream, prints "stream eofbit. error state" or
// "stream failbit (or badbit). error state" with perror and returns true.
// A third test for the bad flag alone follows, as the loaders have always
// had it; it cannot fire, the second already covering the bad flag.
bool PrintStreamFault(const std::istream& in);

// A token or line for a reason: quoted, at most 24 characters (then "..."),
// bytes outside printable ASCII shown as '?'.
std::string QuoteToken(const std::string& token);

}  // namespace mirvo
