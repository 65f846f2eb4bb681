// Test fixtures: wave files written byte by byte.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "media/plugin_abi.h"

namespace fixtures {

// Little-endian values appended to a file's bytes.
inline void put16(std::vector<uint8_t> &b, uint32_t v) {
  b.push_back(uint8_t(v)), b.push_back(uint8_t(v >> 8));
}
inline void put32(std::vector<uint8_t> &b, uint32_t v) { put16(b, v & 0xFFFF), put16(b, v >> 16); }

// A sound format as one comparable row: tag, channels, rate, bits, block align, bytes per second.
inline std::vector<uint32_t> FormatRow(const WAVEFORMATEX &f) {
  return {f.wFormatTag, f.nChannels, f.nSamplesPerSec, f.wBitsPerSample, f.nBlockAlign, f.nAvgBytesPerSec};
}

struct wav_layout {
  uint16_t format_tag = 1, channels = 2;
  uint32_t rate = 44100;
  uint16_t bits = 16;
  uint32_t fmt_chunk_size = 16;     // 16 (plain PCM) or 18 (with the extra-size member)
  bool junk_before_fmt = false;     // an odd-sized "JUNK" chunk (with its pad byte) before "fmt "
  int64_t data_size_override = -1;  // lie about the data chunk's size
};

// The bytes of a wave file holding `samples` (raw PCM bytes).
std::vector<uint8_t> WavBytes(const wav_layout &recipe, const std::vector<uint8_t> &samples);

// Writes bytes to a file in a fresh temporary folder; returns the path.
std::string WriteTempFile(const std::string &name, const std::vector<uint8_t> &bytes);

// A temporary folder, removed by the destructor.
class temp_dir {
 public:
  temp_dir();
  ~temp_dir();
  const std::string &path() const { return dir_; }
  std::string file(const std::string &name) const { return dir_ + "/" + name; }

 private:
  std::string dir_;
};

}  // namespace fixtures
