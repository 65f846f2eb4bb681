// Test fixtures: wave files and temporary folders.
#include "support/wavfile.h"

#include <stdlib.h>

#include <cstdio>
#include <filesystem>

namespace fixtures {

std::vector<uint8_t> WavBytes(const wav_layout &s, const std::vector<uint8_t> &samples) {
  std::vector<uint8_t> file;
  auto id = [&file](const char *t) {
    for (int i = 0; i < 4; ++i) file.push_back(uint8_t(t[i]));
  };
  id("RIFF"), put32(file, 0), id("WAVE");                                    // the size filled in at the end
  if (s.junk_before_fmt) id("JUNK"), put32(file, 3), put32(file, 0x030201);  // 3 bytes and the pad
  id("fmt "), put32(file, s.fmt_chunk_size);
  const uint16_t align = static_cast<uint16_t>(s.channels * s.bits / 8);
  put16(file, s.format_tag), put16(file, s.channels), put32(file, s.rate), put32(file, s.rate * align);
  put16(file, align), put16(file, s.bits);
  file.resize(file.size() + s.fmt_chunk_size - 16, 0);  // the extra size (0) and its extras
  id("data"),
      put32(file, s.data_size_override >= 0 ? uint32_t(s.data_size_override) : uint32_t(samples.size()));
  file.insert(file.end(), samples.begin(), samples.end());
  if (samples.size() & 1) file.push_back(0);
  const uint32_t riff = uint32_t(file.size() - 8);
  for (int i = 0; i < 4; ++i) file[4 + i] = uint8_t(riff >> (8 * i));
  return file;
}

temp_dir::temp_dir() {
  char pattern[] = "/tmp/lv-test-XXXXXX";
  dir_ = mkdtemp(pattern) ? pattern : "/tmp";
}

temp_dir::~temp_dir() {
  std::error_code ec;
  if (dir_ != "/tmp") std::filesystem::remove_all(dir_, ec);
}

std::string WriteTempFile(const std::string &name, const std::vector<uint8_t> &bytes) {
  static temp_dir dir;  // one folder for the whole test program
  const std::string path = dir.file(name);
  if (FILE *f = std::fopen(path.c_str(), "wb")) {
    if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), f);  // data() of nothing may be null
    std::fclose(f);
  }
  return path;
}

}  // namespace fixtures
