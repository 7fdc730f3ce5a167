#include "workbench/preview/jpeg_writer.h"

#include <jpeglib.h>

#include <csetjmp>
#include <cstdio>
#include <cstdlib>

#include "workbench/error.h"

namespace mirvo::workbench {
namespace {

struct ErrorManager {
  jpeg_error_mgr base;
  std::jmp_buf jump;
  char message[JMSG_LENGTH_MAX];
};

void OnError(j_common_ptr info) {
  auto* err = reinterpret_cast<ErrorManager*>(info->err);
  (*info->err->format_message)(info, err->message);
  std::longjmp(err->jump, 1);
}

}  // namespace

std::string EncodeJpeg(const RgbImage& image, int quality) {
  if (image.width <= 0 || image.height <= 0) throw WorkbenchError("empty picture, nothing to encode");
  jpeg_compress_struct info;
  ErrorManager err;
  info.err = jpeg_std_error(&err.base);
  err.base.error_exit = OnError;
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  // Nothing with a destructor lives between setjmp and the encoder's calls.
  if (setjmp(err.jump)) {
    jpeg_destroy_compress(&info);
    std::free(buffer);
    throw WorkbenchError(std::string("JPEG encoder: ") + err.message);
  }
  jpeg_create_compress(&info);
  jpeg_mem_dest(&info, &buffer, &size);
  info.image_width = static_cast<JDIMENSION>(image.width);
  info.image_height = static_cast<JDIMENSION>(image.height);
  info.input_components = 3;
  info.in_color_space = JCS_RGB;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, quality < 1 ? 1 : quality > 100 ? 100 : quality, TRUE);
  jpeg_start_compress(&info, TRUE);
  while (info.next_scanline < info.image_height) {
    JSAMPROW row =
        const_cast<JSAMPROW>(image.pixels.data() + static_cast<size_t>(info.next_scanline) * image.width * 3);
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  std::string out(reinterpret_cast<const char*>(buffer), size);
  std::free(buffer);
  return out;
}

}  // namespace mirvo::workbench
