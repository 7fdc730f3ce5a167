// Whole DNG files (small ones): the reader never crashes, hangs or allocates
// far beyond the input; it refuses with one line naming the file, or gives
// a frame of the size it reports, at most 14 bits, with a 2 x 2 Bayer order.
#include <cstring>
#include <string>

#include "scratch_file.h"
#include "workbench/dng/dng_reader.h"
#include "workbench/error.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace mirvo::workbench;
  const std::string& path = mirvo_fuzz::WriteScratch(data, size);
  try {
    const DngFrame f = ReadDng(path);
    if (f.samples.size() != static_cast<size_t>(f.width) * f.height) mirvo_fuzz::Fail("frame size");
    if (f.bit_depth < 1 || f.bit_depth > 14) mirvo_fuzz::Fail("bit depth");
    for (uint16_t v : f.samples)
      if (v >> f.bit_depth) mirvo_fuzz::Fail("sample deeper than the frame's bit depth");
  } catch (const WorkbenchError& e) {
    const std::string what = e.what();
    if (what.rfind(path + ": ", 0) != 0 || what.find('\n') != std::string::npos) mirvo_fuzz::Fail("refusal line");
  }
  return 0;
}
