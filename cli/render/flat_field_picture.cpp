#include "render/flat_field_picture.h"

#include "render/heatmap.h"

namespace mirvo_cli {

Image FlatFieldPicture(const float (*levels)[mirvo::workbench::kFlatBlocks], const std::string& title) {
  const char* const names[4] = {" R", " Gr", " Gb", " B"};
  const int cell = AutoCellSize(mirvo::workbench::kFlatBlockRows, mirvo::workbench::kFlatBlockCols);
  std::vector<Image> panels;
  for (int ch = 0; ch < 4; ++ch) {
    GridView g;
    g.title = title + names[ch];
    g.rows = mirvo::workbench::kFlatBlockRows;
    g.cols = mirvo::workbench::kFlatBlockCols;
    g.values.assign(levels[ch], levels[ch] + mirvo::workbench::kFlatBlocks);
    panels.push_back(RenderHeatmap(g, cell));
  }
  return ComposePanels(panels, 2);
}

}  // namespace mirvo_cli
