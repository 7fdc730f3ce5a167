#include "workbench/dng/dng_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>

#include "workbench/dng/dng_reader.h"
#include "workbench/error.h"
#include "workbench/files/file_error.h"

namespace mirvo {
namespace workbench {
namespace {

// A DNG larger than this is not a camera frame.
constexpr uint64_t kMaxFileBytes = 1ull << 31;

std::string Num(uint64_t v) { return std::to_string(v); }

// A count or size from a field value of any numeric type: negative and NaN
// give 0, values past 32 bits 2^32 - 1, so every later conversion is defined.
uint32_t Count(double v) {
  if (!(v >= 0)) return 0;
  if (v >= 4294967295.0) return 0xFFFFFFFFu;
  return static_cast<uint32_t>(v);
}

// Strip or tile offsets and byte counts: as many as the layout needs, each
// inside the file. Returns the bytes they hold in all.
uint64_t CheckPieces(const TiffStructure& tiff, const TiffIfd& ifd, uint16_t offsets_tag, uint16_t counts_tag,
                     uint64_t needed_pieces, const std::function<uint64_t(uint64_t)>& piece_bytes, bool uncompressed) {
  const TiffEntry* offsets = ifd.Find(offsets_tag);
  const TiffEntry* counts = ifd.Find(counts_tag);
  const char* what = offsets_tag == kTagTileOffsets ? "tile" : "strip";
  if (offsets == nullptr || counts == nullptr)
    throw WorkbenchError(std::string("no ") + what + " offsets or byte counts");
  if (offsets->count != needed_pieces || counts->count != needed_pieces)
    throw WorkbenchError(std::string("pixel data truncated: ") + Num(offsets->count) + " " + what +
                         "s where the image needs " + Num(needed_pieces));
  const std::vector<double> off = tiff.Numbers(*offsets);
  const std::vector<double> cnt = tiff.Numbers(*counts);
  if (off.size() != needed_pieces || cnt.size() != needed_pieces)
    throw WorkbenchError(std::string(what) + " offsets or byte counts of an unknown type");
  uint64_t total = 0;
  for (uint64_t i = 0; i < needed_pieces; ++i) {
    const uint64_t end = uint64_t{Count(off[i])} + Count(cnt[i]);
    if (end > tiff.size())
      throw WorkbenchError(std::string("pixel data truncated: ") + what + " " + Num(i + 1) + " ends at byte " +
                           Num(end) + ", the file has " + Num(tiff.size()));
    if (uncompressed && cnt[i] < piece_bytes(i))
      throw WorkbenchError(std::string("pixel data truncated: ") + what + " " + Num(i + 1) + " holds " +
                           Num(Count(cnt[i])) + " bytes of " + Num(piece_bytes(i)));
    total += Count(cnt[i]);
  }
  return total;
}

}  // namespace

std::string ShiftPattern(const std::string& pattern, int dy, int dx) {
  std::string out = pattern;
  for (int q = 0; q < 4; ++q) out[q] = pattern[((q / 2 + dy) % 2) * 2 + (q % 2 + dx) % 2];
  return out;
}

std::vector<uint8_t> ReadWholeFile(const std::string& path) {
  std::unique_ptr<FILE, int (*)(FILE*)> f(std::fopen(path.c_str(), "rb"), std::fclose);
  if (!f) throw FileError(path, std::string("cannot open (") + std::strerror(errno) + ")", errno);
  if (std::fseek(f.get(), 0, SEEK_END) != 0) throw FileError(path, "not a regular file", EISDIR);
  const long size = std::ftell(f.get());
  if (size < 0) throw FileError(path, "not a regular file", EISDIR);
  if (static_cast<uint64_t>(size) > kMaxFileBytes) throw FileError(path, "larger than 2 GiB, not a camera frame");
  std::rewind(f.get());
  std::vector<uint8_t> bytes(static_cast<size_t>(size));
  if (size > 0 && std::fread(bytes.data(), 1, bytes.size(), f.get()) != bytes.size())
    throw FileError(path, "read error", EIO);
  return bytes;
}

MappedFile::MappedFile(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw FileError(path, std::string("cannot open (") + std::strerror(errno) + ")", errno);
  struct stat st;
  if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    close(fd);
    throw FileError(path, "not a regular file", EISDIR);
  }
  if (static_cast<uint64_t>(st.st_size) > kMaxFileBytes) {
    close(fd);
    throw FileError(path, "larger than 2 GiB, not a camera frame");
  }
  size_ = static_cast<size_t>(st.st_size);
  if (size_ > 0) {
    void* p = mmap(nullptr, size_, PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd, 0);
    if (p == MAP_FAILED) {
      const int err = errno;
      close(fd);
      throw FileError(path, std::string("cannot open (") + std::strerror(err) + ")", err);
    }
    data_ = static_cast<const uint8_t*>(p);
  }
  close(fd);
}

MappedFile::~MappedFile() {
  if (data_ != nullptr) munmap(const_cast<uint8_t*>(data_), size_);
}

DngLayout CheckDngLayout(const TiffStructure& tiff) {
  const TiffIfd* ifd = tiff.RawIfd();
  if (ifd == nullptr) throw WorkbenchError("no raw image in the file (not a DNG)");
  DngLayout l;
  l.ifd = ifd;
  const double photometric = tiff.Number(*ifd, kTagPhotometric, 0);
  const double samples = tiff.Number(*ifd, kTagSamplesPerPixel, 1);
  if (photometric != kPhotometricCfa || samples != 1)
    throw WorkbenchError("not a Bayer CFA image (" +
                         std::string(photometric == kPhotometricLinearRaw ? "LinearRaw" : "CFA") + ", " +
                         Num(Count(samples)) + " samples per pixel)");
  l.width = Count(tiff.Number(*ifd, kTagImageWidth, 0));
  l.height = Count(tiff.Number(*ifd, kTagImageLength, 0));
  if (l.width < 2 || l.height < 2) throw WorkbenchError("image of " + Num(l.width) + "x" + Num(l.height) + " pixels");
  if (uint64_t{l.width} * l.height > kMaxDngPixels)
    throw WorkbenchError("image of " + Num(l.width) + "x" + Num(l.height) + " pixels is over 200 megapixels");
  l.bits = Count(tiff.Number(*ifd, kTagBitsPerSample, 0));
  if (l.bits < 8 || l.bits > 16) throw WorkbenchError("unsupported bit depth " + Num(l.bits) + " (8 to 16)");
  const uint32_t compression = Count(tiff.Number(*ifd, kTagCompression, 1));
  if (compression != 1 && compression != 7)
    throw WorkbenchError("unsupported compression " + Num(compression) + " (uncompressed or lossless JPEG)");
  l.compression = static_cast<uint16_t>(compression);

  // The CFA: a 2 x 2 Bayer repeat of R, G, B.
  const TiffEntry* dim = ifd->Find(kTagCfaRepeatPatternDim);
  const TiffEntry* cfa = ifd->Find(kTagCfaPattern);
  const std::vector<double> d = dim ? tiff.Numbers(*dim, 2) : std::vector<double>{};
  const std::vector<double> p = cfa ? tiff.Numbers(*cfa, 5) : std::vector<double>{};
  if (d.size() != 2 || d[0] != 2 || d[1] != 2 || p.size() != 4)
    throw WorkbenchError("unsupported CFA (not a 2x2 repeat pattern)");
  for (double v : p) l.pattern += v == 0 ? 'R' : v == 1 ? 'G' : v == 2 ? 'B' : '?';
  if (l.pattern != "RGGB" && l.pattern != "GRBG" && l.pattern != "GBRG" && l.pattern != "BGGR")
    throw WorkbenchError("unsupported CFA " + l.pattern + " (not a Bayer pattern)");

  l.bottom = static_cast<int>(l.height);
  l.right = static_cast<int>(l.width);
  if (const TiffEntry* area = ifd->Find(kTagActiveArea)) {
    const std::vector<double> a = tiff.Numbers(*area, 4);
    if (a.size() != 4 || !(a[0] >= 0) || !(a[1] >= 0) || !(a[2] <= l.height) || !(a[3] <= l.width) ||
        !(a[2] - a[0] >= 2) || !(a[3] - a[1] >= 2))
      throw WorkbenchError("ActiveArea outside the image");
    l.top = static_cast<int>(Count(a[0])), l.left = static_cast<int>(Count(a[1]));
    l.bottom = static_cast<int>(Count(a[2])), l.right = static_cast<int>(Count(a[3]));
  }
  // CFAPattern starts at the stored image's origin (as raw decoders read it);
  // the frame's order is the one at the ActiveArea's corner.
  l.pattern = ShiftPattern(l.pattern, l.top, l.left);

  // The pixel data must be in the file, before anything of its size exists.
  const uint64_t row_bytes = (uint64_t{l.width} * l.bits + 7) / 8;
  uint64_t stored = 0;
  if (ifd->Find(kTagTileOffsets) != nullptr) {
    const uint64_t tw = Count(tiff.Number(*ifd, kTagTileWidth, 0));
    const uint64_t th = Count(tiff.Number(*ifd, kTagTileLength, 0));
    if (tw == 0 || th == 0 || tw > 65536 || th > 65536) throw WorkbenchError("tiles of " + Num(tw) + "x" + Num(th));
    const uint64_t tiles = ((l.width + tw - 1) / tw) * ((l.height + th - 1) / th);
    const uint64_t tile_bytes = (tw * l.bits + 7) / 8 * th;
    stored = CheckPieces(
        tiff, *ifd, kTagTileOffsets, kTagTileByteCounts, tiles, [&](uint64_t) { return tile_bytes; },
        l.compression == 1);
  } else {
    uint64_t rows = Count(tiff.Number(*ifd, kTagRowsPerStrip, l.height));
    rows = rows == 0 || rows > l.height ? l.height : rows;
    const uint64_t strips = (l.height + rows - 1) / rows;
    // The last strip may be shorter.
    stored = CheckPieces(
        tiff, *ifd, kTagStripOffsets, kTagStripByteCounts, strips,
        [&](uint64_t i) { return row_bytes * std::min<uint64_t>(rows, l.height - i * rows); }, l.compression == 1);
  }
  // Lossless JPEG takes at least one bit per sample.
  const uint64_t needed = l.compression == 1 ? row_bytes * l.height : uint64_t{l.width} * l.height / 8;
  if (stored < needed)
    throw WorkbenchError("pixel data truncated: " + Num(stored) + " bytes stored where the image needs " + Num(needed));
  return l;
}

std::vector<uint8_t> OpcodeListBytes(const TiffStructure& tiff, const TiffIfd& ifd, uint16_t tag) {
  const TiffEntry* e = ifd.Find(tag);
  if (e == nullptr) return {};
  if (e->type != 7 && e->type != 1) throw WorkbenchError("opcode list tag " + Num(tag) + " of type " + Num(e->type));
  return std::vector<uint8_t>(tiff.data() + e->data_pos, tiff.data() + e->data_pos + e->bytes);
}

}  // namespace workbench
}  // namespace mirvo
