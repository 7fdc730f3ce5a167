#include "image.h"

#include "font.h"

namespace mirvo_cli {

Image::Image(int width, int height, Rgb background)
    : width_(width < 0 ? 0 : width),
      height_(height < 0 ? 0 : height),
      pixels_(static_cast<size_t>(width_) * height_ * 3) {
  FillRect(0, 0, width_, height_, background);
}

Rgb Image::At(int x, int y) const {
  if (x < 0 || y < 0 || x >= width_ || y >= height_) return {0, 0, 0};
  const uint8_t* p = &pixels_[(static_cast<size_t>(y) * width_ + x) * 3];
  return {p[0], p[1], p[2]};
}

void Image::Set(int x, int y, Rgb c) {
  if (x < 0 || y < 0 || x >= width_ || y >= height_) return;
  uint8_t* p = &pixels_[(static_cast<size_t>(y) * width_ + x) * 3];
  p[0] = c.r;
  p[1] = c.g;
  p[2] = c.b;
}

void Image::FillRect(int x, int y, int w, int h, Rgb c) {
  for (int yy = y; yy < y + h; ++yy)
    for (int xx = x; xx < x + w; ++xx) Set(xx, yy, c);
}

void Image::FrameRect(int x, int y, int w, int h, Rgb c) {
  FillRect(x, y, w, 1, c);
  FillRect(x, y + h - 1, w, 1, c);
  FillRect(x, y, 1, h, c);
  FillRect(x + w - 1, y, 1, h, c);
}

int Image::TextWidth(const std::string& text, int scale) {
  if (text.empty()) return 0;
  return static_cast<int>(text.size()) * (kGlyphWidth + 1) * scale - scale;
}

int Image::TextHeight(int scale) { return kGlyphHeight * scale; }

int Image::DrawText(int x, int y, const std::string& text, int scale, Rgb c) {
  int pen = x;
  for (char ch : text) {
    const uint8_t* rows = Glyph(ch);
    for (int gy = 0; gy < kGlyphHeight; ++gy)
      for (int gx = 0; gx < kGlyphWidth; ++gx)
        if (rows[gy] & (0x10 >> gx)) FillRect(pen + gx * scale, y + gy * scale, scale, scale, c);
    pen += (kGlyphWidth + 1) * scale;
  }
  return TextWidth(text, scale);
}

void Image::Blit(const Image& other, int x, int y) {
  for (int yy = 0; yy < other.height_; ++yy)
    for (int xx = 0; xx < other.width_; ++xx) Set(x + xx, y + yy, other.At(xx, yy));
}

}  // namespace mirvo_cli
