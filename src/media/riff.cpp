// RIFF chunk descent and ascent.
#include "media/riff.h"

namespace riff {

namespace {

bool ReadU32(FILE *f, uint32_t &v) {
  uint8_t b[4];
  if (std::fread(b, 1, 4, f) != 4) return false;
  v = uint32_t(b[0]) | (uint32_t(b[1]) << 8) | (uint32_t(b[2]) << 16) | (uint32_t(b[3]) << 24);
  return true;
}

}  // namespace

int64_t FileSize(FILE *f) {
  const long here = std::ftell(f);
  if (here < 0 || std::fseek(f, 0, SEEK_END) != 0) return -1;
  const long size = std::ftell(f);
  std::fseek(f, here, SEEK_SET);
  return size;
}

bool Descend(FILE *f, MMCKINFO &ck, uint32_t ckid, uint32_t form, int64_t end) {
  for (;;) {
    const long start = std::ftell(f);
    if (start < 0 || start + 8 > end) return false;
    uint32_t id = 0, size = 0;
    if (!ReadU32(f, id) || !ReadU32(f, size)) return false;
    const bool has_form = id == FourCC('R', 'I', 'F', 'F') || id == FourCC('L', 'I', 'S', 'T');
    uint32_t type = 0;
    if (has_form && !ReadU32(f, type)) return false;
    if (id == ckid && (form == 0 || type == form)) {
      ck.ckid = id;
      ck.cksize = size;
      ck.fccType = type;
      ck.dwDataOffset = static_cast<uint32_t>(start + (has_form ? 12 : 8));
      ck.dwFlags = 0;
      return true;
    }
    // Skip the whole chunk, its pad byte included; 64-bit so a huge size cannot wrap.
    const int64_t next = start + 8 + int64_t(size) + (size & 1);
    if (next > end || std::fseek(f, static_cast<long>(next), SEEK_SET) != 0) return false;
  }
}

bool Ascend(FILE *f, const MMCKINFO &ck) {
  uint32_t data_size = ck.cksize;
  if (ck.fccType != 0) data_size -= data_size >= 4 ? 4 : data_size;  // the form type was read
  const int64_t next = int64_t(ck.dwDataOffset) + data_size + (ck.cksize & 1);
  return std::fseek(f, static_cast<long>(next), SEEK_SET) == 0;
}

}  // namespace riff
