// Fuzz target: arbitrary bytes as a wave file, opened and read at a few times.
#include <cstdint>
#include <cstdio>
#include <initializer_list>

#include "fuzz_io.h"
#include "media/mediareaders.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FILE *f = fuzzio::BytesAsFile(data, size);
  if (!f) return 0;
  rwav *r = mediareaders::WaveFileReadOpenFile(f);  // takes the file
  if (r) {
    for (int ms : {0, 999, 1000, 2500}) mediareaders::WaveFileRead(r, ms);
    mediareaders::WaveFileReadClose(r);
  }
  return 0;
}
