#include "render/png_writer.h"

#include <png.h>

#include <csetjmp>
#include <cstdio>

#include "base/cli_error.h"
#include "files/atomic_file.h"

namespace mirvo_cli {
namespace {

struct PngSink {
  std::string* out;
  char message[160];
};

void Append(png_structp png, png_bytep data, png_size_t size) {
  static_cast<PngSink*>(png_get_io_ptr(png))->out->append(reinterpret_cast<const char*>(data), size);
}

void Flush(png_structp) {}

void OnError(png_structp png, png_const_charp message) {
  PngSink* sink = static_cast<PngSink*>(png_get_error_ptr(png));
  std::snprintf(sink->message, sizeof(sink->message), "%s", message);
  png_longjmp(png, 1);
}

void OnWarning(png_structp, png_const_charp) {}

// Kept free of C++ objects with destructors: libpng reports errors by
// longjmp back into this function.
bool Encode(int width, int height, const uint8_t* pixels, PngSink* sink) {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, sink, OnError, OnWarning);
  if (!png) return false;
  png_infop info = png_create_info_struct(png);
  if (!info || setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, info ? &info : nullptr);
    return false;
  }
  png_set_write_fn(png, sink, Append, Flush);
  png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8, PNG_COLOR_TYPE_RGB,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  // The pictures are made of enlarged cells: most rows repeat the one above,
  // which the "up" filter turns into zeros. Much faster than trying every
  // filter on every row, and as small.
  png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_UP);
  png_write_info(png, info);
  const size_t stride = static_cast<size_t>(width) * 3;
  for (int y = 0; y < height; ++y) png_write_row(png, const_cast<png_bytep>(pixels + y * stride));
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  return true;
}

}  // namespace

std::string EncodePng(int width, int height, const uint8_t* pixels) {
  if (width < 1 || height < 1) throw DataError("cannot encode an empty picture");
  std::string out;
  PngSink sink{&out, "out of memory"};
  if (!Encode(width, height, pixels, &sink)) throw DataError(std::string("PNG encoding failed: ") + sink.message);
  return out;
}

std::string EncodePng(const Image& image) { return EncodePng(image.width(), image.height(), image.pixels().data()); }

void WritePng(const Image& image, const std::string& path) {
  std::string data;
  try {
    data = EncodePng(image);
  } catch (const DataError& e) {
    throw DataError(path + ": " + e.what());
  }
  WriteFileAtomically(path, data);
}

}  // namespace mirvo_cli
