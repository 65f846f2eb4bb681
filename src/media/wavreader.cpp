// The wave file reader: our own RIFF walk over the file, one second of PCM at a time.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "media/mediareaders.h"

namespace {

// One second of the largest sound anyone records (384 kHz, 8 channels, 32-bit) is 12 MB; a
// header claiming more is corrupt, and we do not allocate for it.
constexpr uint32_t kMaxBytesPerSecond = 384000u * 8u * 4u;

}  // namespace

rwav *mediareaders::WaveFileReadOpen(const char *path) {
  if (!path) return nullptr;
  FILE *f = std::fopen(path, "rb");
  if (!f) return nullptr;
  return WaveFileReadOpenFile(f);
}

rwav *mediareaders::WaveFileReadOpenFile(FILE *f) {
  if (!f) return nullptr;
  auto fail = [&](rwav *r) -> rwav * {
    std::fclose(f);
    if (r) std::free(r->buffer);
    delete r;
    return nullptr;
  };
  const int64_t file_size = riff::FileSize(f);
  if (file_size < 12) return fail(nullptr);
  rwav *r = new rwav;
  r->handle = f;
  if (!riff::Descend(f, r->riff, FourCC('R', 'I', 'F', 'F'), FourCC('W', 'A', 'V', 'E'), file_size))
    return fail(r);
  // Sub-chunks may not run past the RIFF chunk, nor past the file when its size lies.
  int64_t riff_end = int64_t(r->riff.dwDataOffset) - 4 + int64_t(r->riff.cksize);
  if (riff_end > file_size || riff_end < r->riff.dwDataOffset) riff_end = file_size;

  if (!riff::Descend(f, r->sub, FourCC('f', 'm', 't', ' '), 0, riff_end)) return fail(r);
  // Exactly 18 bytes are read, as the format record is long; a 16-byte "fmt " chunk lends its
  // neighbour's first two bytes to the unused extra-size member.
  if (std::fread(&r->wfx, 1, sizeof r->wfx, f) != sizeof r->wfx) return fail(r);
  if (r->wfx.wFormatTag != WAVE_FORMAT_PCM) return fail(r);
  if (r->wfx.nAvgBytesPerSec == 0 || r->wfx.nAvgBytesPerSec > kMaxBytesPerSecond) return fail(r);
  if (!riff::Ascend(f, r->sub)) return fail(r);

  if (!riff::Descend(f, r->sub, FourCC('d', 'a', 't', 'a'), 0, riff_end)) return fail(r);
  r->dataoffset = static_cast<int32_t>(r->sub.dwDataOffset);
  // A size that claims more than the file holds is cut to the bytes that are there.
  uint32_t size = r->sub.cksize;
  if (int64_t(r->dataoffset) + size > file_size) size = static_cast<uint32_t>(file_size - r->dataoffset);
  r->datasize = size;
  if (r->datasize == 0) return fail(r);

  r->buffer = static_cast<uint8_t *>(std::malloc(r->wfx.nAvgBytesPerSec));
  if (!r->buffer) return fail(r);
  // Clip time is a 32-bit count of milliseconds: a sound that would last longer (a tiny claimed
  // byte rate over a large data chunk) cannot be placed and is refused.
  const double length = r->datasize * 1000.0 / r->wfx.nAvgBytesPerSec;
  if (length > double(INT32_MAX)) return fail(r);
  r->length = static_cast<int32_t>(length);
  r->valid = 1;
  return r;
}

uint8_t *mediareaders::WaveFileRead(rwav *r, int ms) {
  if (!r || !r->buffer) return nullptr;
  return WaveFileReadInto(r, ms, r->buffer, r->wfx.nAvgBytesPerSec) ? r->buffer : nullptr;
}

bool mediareaders::WaveFileReadInto(rwav *r, int ms, uint8_t *out, size_t size) {
  if (!r || !out) return false;
  const uint32_t second_bytes = r->wfx.nAvgBytesPerSec;
  const uint8_t silence = SilenceByte(r->wfx.wBitsPerSample);
  // Whatever is not read is silence, even when nothing is returned.
  auto silent_from = [&](size_t from) {
    if (from < size) std::memset(out + from, silence, size - from);
  };
  const int64_t second = ms / 1000;
  const int64_t start = second * second_bytes;
  int64_t end = (second + 1) * second_bytes;
  if (end > r->datasize) end = r->datasize;
  if (ms < 0 || ms >= r->length || end - start < 1 ||
      std::fseek(r->handle, static_cast<long>(r->dataoffset + start), SEEK_SET) != 0) {
    silent_from(0);
    return false;
  }
  // A short read (a file cut after opening) leaves the rest silent.
  silent_from(std::fread(out, 1, std::min(size_t(end - start), size), r->handle));
  return true;
}

void mediareaders::WaveFileReadClose(rwav *r) {
  if (!r) return;
  if (r->handle) std::fclose(r->handle);
  std::free(r->buffer);
  delete r;
}
