#include "core/parse_result.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>

namespace mirvo {

ParseResult NulByteProblem(const std::string& text) {
  const size_t at = text.find('\0');
  if (at == std::string::npos) return ParseResult::Ok();
  const int line = 1 + static_cast<int>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
  return ParseResult::Fail("NUL byte on line " + std::to_string(line), line);
}

ParseResult ReadTextFile(const char* path, std::string* text) {
  if (path == nullptr) return ParseResult::Fail("no path given");
  struct stat info;
  if (::stat(path, &info) != 0) return ParseResult::Fail("cannot open file");
  if (!S_ISREG(info.st_mode)) return ParseResult::Fail("not a regular file");
  std::ifstream in(path, std::ios::binary);
  if (!in.is_open()) return ParseResult::Fail("cannot open file");
  text->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  if (in.bad()) return ParseResult::Fail("cannot read file");
  return ParseResult::Ok();
}

errCode ReportParse(const ParseResult& result, std::string* why) {
  if (why != nullptr) *why = result.reason;
  return result.ok ? kOk : kFileError;
}

bool PrintStreamFault(const std::istream& in) {
  if (in.eof()) {
    std::perror("stream eofbit. error state");
  } else if (in.fail()) {
    std::perror("stream failbit (or badbit). error state");
  } else if (in.bad()) {
    std::perror("stream badbit. error state");
  } else {
    return false;
  }
  return true;
}

std::string QuoteToken(const std::string& token) {
  std::string out = token.size() > 24 ? token.substr(0, 24) + "..." : token;
  for (char& c : out)
    if (static_cast<unsigned char>(c) < 32 || static_cast<unsigned char>(c) > 126) c = '?';
  return "\"" + out + "\"";
}

}  // namespace mirvo
