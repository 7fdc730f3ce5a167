#include "png_writer.h"

#include <png.h>

#include <cstring>

#include "atomic_file.h"
#include "cli_error.h"

namespace mirvo_cli {

std::string EncodePng(const Image& image) {
  png_image png;
  std::memset(&png, 0, sizeof(png));
  png.version = PNG_IMAGE_VERSION;
  png.width = static_cast<png_uint_32>(image.width());
  png.height = static_cast<png_uint_32>(image.height());
  png.format = PNG_FORMAT_RGB;
  const png_int_32 stride = image.width() * 3;
  // The simplified API writes without longjmp, so no C++ object is skipped
  // on an error; first ask for the size, then encode.
  png_alloc_size_t size = 0;
  if (!png_image_write_to_memory(&png, nullptr, &size, 0, image.pixels().data(), stride, nullptr)) {
    const std::string why = png.message;
    png_image_free(&png);
    throw DataError("PNG encoding failed: " + why);
  }
  std::string out(size, '\0');
  if (!png_image_write_to_memory(&png, out.data(), &size, 0, image.pixels().data(), stride, nullptr)) {
    const std::string why = png.message;
    png_image_free(&png);
    throw DataError("PNG encoding failed: " + why);
  }
  out.resize(size);
  return out;
}

void WritePng(const Image& image, const std::string& path) { WriteFileAtomically(path, EncodePng(image)); }

}  // namespace mirvo_cli
