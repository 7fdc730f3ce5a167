#include "workbench/dng/dng_reader.h"

#include <libraw/libraw.h>

#include <algorithm>
#include <iterator>
#include <memory>

#include "tools/bayer_raw.h"
#include "workbench/dng/dng_file.h"
#include "workbench/dng/gain_map_table.h"
#include "workbench/dng/tiff_structure.h"
#include "workbench/error.h"
#include "workbench/files/file_error.h"

namespace mirvo {
namespace workbench {
namespace {

int BitLength(uint32_t v) {
  int n = 0;
  while (v >> n) ++n;
  return n;
}

// The GainMaps of the lists, as the table the ISP applied: OpcodeList2's
// when it has any, else OpcodeList3's.
void ReadGainMaps(DngFrame* f) {
  for (int list : {2, 3}) {
    for (const Opcode& op : f->opcodes[list - 1])
      if (op.id == kOpcodeGainMap) f->gain_maps.push_back(ParseGainMap(op));
    if (f->gain_maps.empty()) continue;
    f->gain_map_list = list;
    f->gain_map = TableFromGainMaps(f->gain_maps, list == 2 ? GainMapStage::kMosaic : GainMapStage::kRgb, f->pattern,
                                    f->width, f->height);
    f->has_gain_map = true;
    return;
  }
}

void ReadFrame(const std::string& path, DngFrame* f) {
  const MappedFile bytes(path);
  const TiffStructure tiff(bytes.data(), bytes.size());
  const DngLayout layout = CheckDngLayout(tiff);
  const TiffIfd& ifd = *layout.ifd;
  f->compression = layout.compression;
  f->linearised = ifd.Find(kTagLinearizationTable) != nullptr;
  static const uint16_t kLists[3] = {kTagOpcodeList1, kTagOpcodeList2, kTagOpcodeList3};
  for (int i = 0; i < 3; ++i) {
    const std::vector<uint8_t> list = OpcodeListBytes(tiff, ifd, kLists[i]);
    if (!list.empty()) f->opcodes[i] = ParseOpcodeList(list.data(), list.size());
  }
  if (const TiffEntry* neutral = tiff.ifds()[0].Find(kTagAsShotNeutral)) {
    const std::vector<double> n = tiff.Numbers(*neutral, 3);
    if (n.size() == 3) {
      f->has_neutral = true;
      std::copy(n.begin(), n.end(), f->as_shot_neutral);
    }
  }

  // LibRaw decodes from the bytes already read; the object is large, so it
  // lives on the heap.
  auto raw = std::make_unique<LibRaw>();
  int rc = raw->open_buffer(const_cast<uint8_t*>(bytes.data()), bytes.size());  // only read
  if (rc == LIBRAW_SUCCESS) rc = raw->unpack();
  if (rc != LIBRAW_SUCCESS)
    throw WorkbenchError(std::string("cannot decode the raw image (") + libraw_strerror(rc) + ")");
  const libraw_image_sizes_t& s = raw->imgdata.sizes;
  const uint16_t* image = raw->imgdata.rawdata.raw_image;
  if (image == nullptr || raw->imgdata.idata.filters == 0 || s.raw_width != layout.width ||
      s.raw_height != layout.height)
    throw WorkbenchError("the decoder found no Bayer image of " + std::to_string(layout.width) + "x" +
                         std::to_string(layout.height) + " pixels");
  // The frame is the ActiveArea as the file states it (the decoder may trim
  // it to even sizes).
  f->raw_width = s.raw_width;
  f->raw_height = s.raw_height;
  f->top = layout.top;
  f->left = layout.left;
  f->width = layout.right - layout.left;
  f->height = layout.bottom - layout.top;

  // CFA order and black levels at the active area's origin, from which the
  // decoder counts its colour positions (it rounds its margins to even sizes,
  // the pattern it reports does not move with them).
  const libraw_colordata_t& c = raw->imgdata.color;
  for (int q = 0; q < 4; ++q) {
    const int y = q / 2, x = q % 2;
    const int colour = raw->COLOR(y, x);
    if (colour < 0 || colour > 3) throw WorkbenchError("unsupported CFA (not a Bayer pattern)");
    f->pattern += raw->imgdata.idata.cdesc[colour];
    double black = c.black + c.cblack[colour];
    if (c.cblack[4] > 0 && c.cblack[5] > 0 && c.cblack[4] * c.cblack[5] <= LIBRAW_CBLACK_SIZE - 6)
      black += c.cblack[6 + (y % c.cblack[4]) * c.cblack[5] + x % c.cblack[5]];
    f->black[q] = black;
  }
  if (f->pattern != layout.pattern)
    throw WorkbenchError("the decoder reads the CFA as " + f->pattern + ", the file says " + layout.pattern);

  // Bit depth from the white level; deeper samples (after a linearisation
  // table) are brought to 14 bits by a right shift, the black level with them.
  f->white_level = c.maximum;
  const int bits = BitLength(f->white_level);
  if (bits == 0) throw WorkbenchError("white level 0");
  f->shift = std::max(0, bits - 14);
  f->bit_depth = bits - f->shift;
  int quad_plane[4];
  QuadTablePlanes(f->pattern, quad_plane);
  static const int kStatsIndex[4] = {3, 1, 2, 0};  // table plane R, Gr, Gb, B -> builder's level index
  for (int q = 0; q < 4; ++q) {
    if (f->black[q] >= f->white_level)
      throw WorkbenchError("black level " + std::to_string(static_cast<long>(f->black[q])) +
                           " not below the white level " + std::to_string(f->white_level));
    const uint32_t level = static_cast<uint32_t>(f->black[q]) >> f->shift;
    f->stats_black[kStatsIndex[quad_plane[q]]] = static_cast<uint16_t>(level << (14 - f->bit_depth));
  }

  // The active area, shifted and held to the bit depth; appended row by row,
  // so the frame's memory is written once.
  const uint16_t top_code = static_cast<uint16_t>((1u << f->bit_depth) - 1);
  const size_t pitch = s.raw_pitch / 2;
  const int shift = f->shift;
  f->samples.reserve(static_cast<size_t>(f->width) * f->height);
  for (int y = 0; y < f->height; ++y) {
    const uint16_t* in = image + static_cast<size_t>(y + f->top) * pitch + f->left;
    std::transform(in, in + f->width, std::back_inserter(f->samples),
                   [=](uint16_t v) { return std::min<uint16_t>(static_cast<uint16_t>(v >> shift), top_code); });
  }
  raw.reset();
  ReadGainMaps(f);
}

// Prefixes the file name to the reasons `body` throws.
template <typename Body>
void Named(const std::string& path, Body&& body) {
  try {
    body();
  } catch (const FileError&) {
    throw;
  } catch (const WorkbenchError& e) {
    throw FileError(path, e.what());
  } catch (const std::bad_alloc&) {
    throw FileError(path, "out of memory");
  }
}

}  // namespace

DngHeader ReadDngHeader(const std::string& path) {
  DngHeader h;
  Named(path, [&] {
    const MappedFile bytes(path);
    const TiffStructure tiff(bytes.data(), bytes.size());
    const DngLayout layout = CheckDngLayout(tiff);
    DngFrame f;
    f.pattern = layout.pattern;
    f.width = layout.right - layout.left;
    f.height = layout.bottom - layout.top;
    static const uint16_t kLists[2] = {kTagOpcodeList2, kTagOpcodeList3};
    for (int i = 0; i < 2; ++i) {
      const std::vector<uint8_t> list = OpcodeListBytes(tiff, *layout.ifd, kLists[i]);
      if (!list.empty()) f.opcodes[i + 1] = ParseOpcodeList(list.data(), list.size());
    }
    ReadGainMaps(&f);
    h.width = f.width, h.height = f.height, h.pattern = f.pattern;
    h.has_gain_map = f.has_gain_map;
    h.gain_map = f.gain_map;
  });
  return h;
}

DngFrame ReadDng(const std::string& path) {
  DngFrame f;
  f.path = path;
  Named(path, [&] { ReadFrame(path, &f); });
  return f;
}

void SplitDngFrame(const DngFrame& frame, BayerRaw* raw) {
  if (raw->SplitFrame(frame.samples.data(), frame.width, frame.height, frame.bit_depth, frame.pattern.c_str()) != kOk)
    throw FileError(frame.path, "frame cannot be split into Bayer planes");
}

void DngStats(const DngFrame& frame, int cols, int rows, Stats* stats) {
  BayerRaw raw;
  SplitDngFrame(frame, &raw);
  stats->CreateFromRaw(raw, frame.stats_black, cols, rows);
}

}  // namespace workbench
}  // namespace mirvo
