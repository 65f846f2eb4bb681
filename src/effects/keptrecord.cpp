// Reading back the bytes of an effect record that was stepped over.
#include "effects/keptrecord.h"

bool ReadKeptRecord(FILE *f, long start, long end, std::vector<uint8_t> &bytes) {
  if (!f || start < 0 || end < start) return false;
  bytes.resize(size_t(end - start));
  if (std::fseek(f, start, SEEK_SET) != 0) return false;
  const bool ok = bytes.empty() || std::fread(bytes.data(), 1, bytes.size(), f) == bytes.size();
  // Back where the reader stopped, whatever happened.
  return std::fseek(f, end, SEEK_SET) == 0 && ok;
}
