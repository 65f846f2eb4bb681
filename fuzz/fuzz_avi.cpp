// Fuzz target: arbitrary bytes as an AVI file, opened, read at a few times (forwards, backwards,
// past the end) for pictures and sound, and closed.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>

#include "fuzz_io.h"
#include "media/mediareaders.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzzio::SmallDecodes();
  // The reader takes a path: the bytes go to a file of their own.
  const fuzzio::named_file file("avi", data, size);
  if (file.path().empty()) return 0;
  const char *path = file.path().c_str();
  if (roa *r = mediareaders::AVIReadOpen(path)) {
    for (int ms : {0, 40, 1000, 0, 99999, 120}) mediareaders::AVIRead(r, ms);
    for (int ms : {0, 1500, 0, -1}) mediareaders::AVIReadAudioSecond(r, ms);
    mediareaders::AVIReadClose(r);
  }
  return 0;
}
