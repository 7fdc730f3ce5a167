#include "render/preview_pictures.h"

#include <algorithm>
#include <cctype>
#include <memory>

#include "base/cli_error.h"
#include "files/atomic_file.h"
#include "render/png_writer.h"
#include "workbench/error.h"
#include "workbench/preview/jpeg_writer.h"

namespace mirvo_cli {

bool IsJpegName(const std::string& path) {
  std::string lower = path;
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
  for (const char* ext : {".jpg", ".jpeg"}) {
    const std::string e = ext;
    if (lower.size() > e.size() && lower.compare(lower.size() - e.size(), e.size(), e) == 0) return true;
  }
  return false;
}

std::string EncodePicture(const mirvo::workbench::RgbImage& image, bool jpeg, int quality) {
  if (jpeg) return mirvo::workbench::EncodeJpeg(image, quality);
  return EncodePng(image.width, image.height, image.pixels.data());
}

void WritePicture(const mirvo::workbench::RgbImage& image, const std::string& path) {
  std::string data;
  try {
    data = EncodePicture(image, IsJpegName(path));
  } catch (const std::exception& e) {
    throw DataError(path + ": " + e.what());
  }
  WriteFileAtomically(path, data);
}

void ReadRawFrame(const std::string& path, const RawOptions& raw, mirvo::BayerRaw* frame) {
  // The same input the run reads the frame's statistics through.
  const std::unique_ptr<mirvo::workbench::FrameInput> input = MakeFrameInput(&raw);
  input->Check(path);
  input->ReadFrame(path, frame);
}

}  // namespace mirvo_cli
