#include "render/picture_names.h"

#include <cctype>

namespace mirvo_cli {
namespace {

// Well below the 255 bytes of a file name, with room for a suffix.
constexpr size_t kMaxStem = 120;

std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

}  // namespace

std::string PictureNames::Next(const std::string& grid_name) {
  std::string stem;
  for (char c : grid_name.substr(0, kMaxStem))
    stem += (std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-') ? c : '_';
  if (stem.empty()) stem = "grid";
  std::string name = stem;
  for (int n = 2; !used_.insert(Lower(name)).second; ++n) name = stem + "_" + std::to_string(n);
  return name + ".png";
}

}  // namespace mirvo_cli
