#pragma once

#include <set>
#include <string>

namespace mirvo_cli {

// File names for the pictures of one set of named grids, all different:
// the grid's name with anything but letters, digits, '_' and '-' replaced
// by '_', cut to a length any file system takes, then "_2", "_3"... until
// the name is new to the set, compared without case so that no two
// pictures are one file on a file system that ignores case either.
class PictureNames {
 public:
  // "NAME.png" for the next grid.
  std::string Next(const std::string& grid_name);

 private:
  std::set<std::string> used_;  // lower case, without the extension
};

}  // namespace mirvo_cli
