// Test fixtures: wave files and temporary folders.
#include "support/wavfile.h"

#include <stdlib.h>

#include <cstdio>
#include <filesystem>

namespace fixtures {

namespace {

void Put16(std::vector<uint8_t> &b, uint32_t v) {
  b.push_back(uint8_t(v));
  b.push_back(uint8_t(v >> 8));
}
void Put32(std::vector<uint8_t> &b, uint32_t v) {
  Put16(b, v & 0xFFFF);
  Put16(b, v >> 16);
}
void PutId(std::vector<uint8_t> &b, const char *id) {
  for (int i = 0; i < 4; ++i) b.push_back(static_cast<uint8_t>(id[i]));
}

}  // namespace

std::vector<uint8_t> WavBytes(const wav_layout &s, const std::vector<uint8_t> &samples) {
  std::vector<uint8_t> body;
  PutId(body, "WAVE");
  if (s.junk_before_fmt) {
    PutId(body, "JUNK");
    Put32(body, 3);
    for (uint8_t v : {1, 2, 3, 0}) body.push_back(v);  // three bytes and the pad byte
  }
  PutId(body, "fmt ");
  Put32(body, s.fmt_chunk_size);
  const uint16_t align = static_cast<uint16_t>(s.channels * s.bits / 8);
  Put16(body, s.format_tag);
  Put16(body, s.channels);
  Put32(body, s.rate);
  Put32(body, s.rate * align);
  Put16(body, align);
  Put16(body, s.bits);
  if (s.fmt_chunk_size >= 18) Put16(body, 0);
  for (uint32_t i = 18; i < s.fmt_chunk_size; ++i) body.push_back(0);
  PutId(body, "data");
  Put32(body, s.data_size_override >= 0 ? static_cast<uint32_t>(s.data_size_override)
                                        : static_cast<uint32_t>(samples.size()));
  body.insert(body.end(), samples.begin(), samples.end());
  if (samples.size() & 1) body.push_back(0);
  std::vector<uint8_t> file;
  PutId(file, "RIFF");
  Put32(file, static_cast<uint32_t>(body.size()));
  file.insert(file.end(), body.begin(), body.end());
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
  FILE *f = std::fopen(path.c_str(), "wb");
  if (f) {
    if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
  }
  return path;
}

}  // namespace fixtures
