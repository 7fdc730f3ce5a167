#include "render/image.h"

#include <algorithm>
#include <cstring>

#include "render/font.h"

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
  const int x0 = std::max(x, 0), x1 = std::min(x + w, width_);
  const int y0 = std::max(y, 0), y1 = std::min(y + h, height_);
  for (int yy = y0; yy < y1; ++yy) {
    uint8_t* p = &pixels_[(static_cast<size_t>(yy) * width_ + x0) * 3];
    for (int xx = x0; xx < x1; ++xx, p += 3) {
      p[0] = c.r;
      p[1] = c.g;
      p[2] = c.b;
    }
  }
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
  const int x0 = std::max(x, 0), x1 = std::min(x + other.width_, width_);
  if (x1 <= x0) return;
  for (int yy = std::max(y, 0); yy < std::min(y + other.height_, height_); ++yy)
    std::memcpy(&pixels_[(static_cast<size_t>(yy) * width_ + x0) * 3],
                &other.pixels_[(static_cast<size_t>(yy - y) * other.width_ + (x0 - x)) * 3],
                static_cast<size_t>(x1 - x0) * 3);
}

}  // namespace mirvo_cli
