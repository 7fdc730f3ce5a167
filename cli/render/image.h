#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace mirvo_cli {

struct Rgb {
  uint8_t r, g, b;
};

// An 8-bit RGB picture with the few drawing operations the heatmaps need.
class Image {
 public:
  Image(int width, int height, Rgb background);

  int width() const { return width_; }
  int height() const { return height_; }
  Rgb At(int x, int y) const;
  const std::vector<uint8_t>& pixels() const { return pixels_; }  // rows of RGB triples

  // Drawing clips to the picture, so callers need not check bounds.
  void Set(int x, int y, Rgb c);
  void FillRect(int x, int y, int w, int h, Rgb c);
  void FrameRect(int x, int y, int w, int h, Rgb c);
  // Draws text with the built-in font enlarged `scale` times; (x, y) is the
  // top-left corner. Returns the width drawn.
  int DrawText(int x, int y, const std::string& text, int scale, Rgb c);
  // Pastes `other` with its top-left corner at (x, y).
  void Blit(const Image& other, int x, int y);

  static int TextWidth(const std::string& text, int scale);
  static int TextHeight(int scale);

 private:
  int width_;
  int height_;
  std::vector<uint8_t> pixels_;
};

}  // namespace mirvo_cli
