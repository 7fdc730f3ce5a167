#include "workbench/dng/dng_writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "workbench/dng/byte_order.h"
#include "workbench/dng/dng_file.h"
#include "workbench/dng/gain_map_table.h"
#include "workbench/dng/opcode_list.h"
#include "workbench/dng/tiff_structure.h"
#include "workbench/error.h"
#include "workbench/files/file_error.h"

namespace mirvo {
namespace workbench {
namespace {

class Patcher {
 public:
  Patcher(std::vector<uint8_t>* out, bool big_endian) : out_(out), big_(big_endian) {}
  void U16(size_t pos, uint16_t v) { StoreU16(out_->data() + pos, v, big_); }
  void U32(size_t pos, uint32_t v) { StoreU32(out_->data() + pos, v, big_); }
  // Appends `bytes` at an even offset and returns it.
  uint32_t Append(const uint8_t* bytes, size_t n) {
    if (out_->size() % 2) out_->push_back(0);
    const size_t at = out_->size();
    if (at + n > 0xFFFFFFFFull) throw WorkbenchError("the copy would be larger than a TIFF file can be");
    out_->insert(out_->end(), bytes, bytes + n);
    return static_cast<uint32_t>(at);
  }

 private:
  std::vector<uint8_t>* out_;
  bool big_;
};

// The new OpcodeList2: the old one's opcodes with its GainMaps replaced by
// `maps` where the first of them stood (at the end when it had none).
std::vector<Opcode> ReplaceGainMaps(const std::vector<Opcode>& old, const std::vector<GainMap>& maps) {
  std::vector<Opcode> fresh;
  for (const GainMap& m : maps) fresh.push_back(MakeGainMapOpcode(m, kOpcodeFlagOptional));
  std::vector<Opcode> out;
  bool placed = false;
  for (const Opcode& op : old) {
    if (op.id != kOpcodeGainMap) {
      out.push_back(op);
    } else if (!placed) {
      out.insert(out.end(), fresh.begin(), fresh.end());
      placed = true;
    }
  }
  if (!placed) out.insert(out.end(), fresh.begin(), fresh.end());
  return out;
}

void WriteAtomically(const std::string& dst, const std::vector<uint8_t>& bytes) {
  std::string tmp = dst + ".XXXXXX";
  const int fd = mkstemp(&tmp[0]);
  if (fd < 0) throw FileError(dst, std::string("cannot create (") + std::strerror(errno) + ")", errno);
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      const int err = errno;
      close(fd);
      unlink(tmp.c_str());
      throw FileError(dst, std::string("cannot write (") + std::strerror(err) + ")", err);
    }
    done += static_cast<size_t>(n);
  }
  // mkstemp makes the file private; a written file gets the usual mode.
  const mode_t mask = umask(0);
  umask(mask);
  fchmod(fd, 0666 & ~mask);
  if (fsync(fd) != 0 || close(fd) != 0 || rename(tmp.c_str(), dst.c_str()) != 0) {
    const int err = errno;
    unlink(tmp.c_str());
    throw FileError(dst, std::string("cannot write (") + std::strerror(err) + ")", err);
  }
}

std::vector<uint8_t> MakeCopy(const std::vector<uint8_t>& in, const LscTable& table) {
  const TiffStructure tiff(in.data(), in.size());
  const DngLayout layout = CheckDngLayout(tiff);
  const TiffIfd& ifd = *layout.ifd;
  const std::vector<uint8_t> old_bytes = OpcodeListBytes(tiff, ifd, kTagOpcodeList2);
  const std::vector<Opcode> old =
      old_bytes.empty() ? std::vector<Opcode>{} : ParseOpcodeList(old_bytes.data(), old_bytes.size());
  const std::vector<uint8_t> list = WriteOpcodeList(ReplaceGainMaps(
      old, GainMapsFromTable(table, layout.pattern, layout.right - layout.left, layout.bottom - layout.top)));

  std::vector<uint8_t> out(in);
  Patcher patch(&out, tiff.big_endian());
  const uint32_t list_pos = patch.Append(list.data(), list.size());
  if (const TiffEntry* entry = ifd.Find(kTagOpcodeList2)) {
    patch.U16(entry->entry_pos + 2, 7);  // UNDEFINED
    patch.U32(entry->entry_pos + 4, static_cast<uint32_t>(list.size()));
    patch.U32(entry->entry_pos + 8, list_pos);
    return out;
  }
  // No list yet: the directory grows by an entry, so a copy of it (entries
  // in tag order, values that sit inside entries moving with them) goes to
  // the end and the pointer to it is redirected.
  std::vector<uint8_t> dir;
  const size_t n = ifd.entries.size();
  if (n >= 0xFFFF) throw WorkbenchError("raw image directory full");
  dir.resize(2 + 12 * (n + 1) + 4);
  size_t k = 0;
  bool inserted = false;
  const auto put_entry = [&](const uint8_t* e) { std::memcpy(&dir[2 + 12 * k++], e, 12); };
  uint8_t fresh[12];
  StoreU16(fresh, kTagOpcodeList2, tiff.big_endian());
  StoreU16(fresh + 2, 7, tiff.big_endian());
  StoreU32(fresh + 4, static_cast<uint32_t>(list.size()), tiff.big_endian());
  StoreU32(fresh + 8, list_pos, tiff.big_endian());
  for (const TiffEntry& e : ifd.entries) {
    if (!inserted && e.tag > kTagOpcodeList2) put_entry(fresh), inserted = true;
    put_entry(in.data() + e.entry_pos);
  }
  if (!inserted) put_entry(fresh);
  std::memcpy(&dir[2 + 12 * (n + 1)], in.data() + ifd.offset + 2 + 12 * n, 4);  // next directory
  StoreU16(dir.data(), static_cast<uint16_t>(n + 1), tiff.big_endian());
  const uint32_t dir_pos = patch.Append(dir.data(), dir.size());
  patch.U32(ifd.pointer_pos, dir_pos);
  return out;
}

}  // namespace

void WriteDngGainMap(const std::string& src, const std::string& dst, const LscTable& table) {
  std::vector<uint8_t> copy;
  try {
    copy = MakeCopy(ReadWholeFile(src), table);
  } catch (const FileError&) {
    throw;
  } catch (const WorkbenchError& e) {
    throw FileError(src, e.what());
  }
  WriteAtomically(dst, copy);
}

}  // namespace workbench
}  // namespace mirvo
