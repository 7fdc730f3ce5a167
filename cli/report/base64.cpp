#include "report/base64.h"

namespace mirvo_cli {

std::string Base64(const std::string& bytes) {
  static const char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  size_t i = 0;
  for (; i + 3 <= bytes.size(); i += 3) {
    const unsigned v = static_cast<unsigned char>(bytes[i]) << 16 | static_cast<unsigned char>(bytes[i + 1]) << 8 |
                       static_cast<unsigned char>(bytes[i + 2]);
    out += kDigits[v >> 18];
    out += kDigits[(v >> 12) & 63];
    out += kDigits[(v >> 6) & 63];
    out += kDigits[v & 63];
  }
  const size_t rest = bytes.size() - i;
  if (rest > 0) {
    unsigned v = static_cast<unsigned char>(bytes[i]) << 16;
    if (rest == 2) v |= static_cast<unsigned char>(bytes[i + 1]) << 8;
    out += kDigits[v >> 18];
    out += kDigits[(v >> 12) & 63];
    out += rest == 2 ? kDigits[(v >> 6) & 63] : '=';
    out += '=';
  }
  return out;
}

}  // namespace mirvo_cli
