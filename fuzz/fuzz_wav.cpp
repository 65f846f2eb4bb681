// Fuzz target: arbitrary bytes as a wave file, opened and read at a few times.
#include <cstdint>
#include <cstdio>
#include <initializer_list>

#include "media/mediareaders.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FILE *f = std::tmpfile();
  if (!f) return 0;
  if (size) std::fwrite(data, 1, size, f);
  std::rewind(f);
  rwav *r = mediareaders::WaveFileReadOpenFile(f);  // takes the file
  if (r) {
    for (int ms : {0, 999, 1000, 2500}) mediareaders::WaveFileRead(r, ms);
    mediareaders::WaveFileReadClose(r);
  }
  return 0;
}
