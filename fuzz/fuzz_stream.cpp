// Fuzz target: arbitrary bytes as a stream medium (whatever container the content looks like),
// opened, read at a few times for pictures and sound, and closed.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>

#include "fuzz_io.h"
#include "media/mediareaders.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzzio::SmallDecodes();
  // The reader takes a path: the bytes go to a file of their own.
  const fuzzio::named_file file("stream", data, size);
  if (file.path().empty()) return 0;
  const char *path = file.path().c_str();
  if (mmstream *m = mediareaders::StreamOpenRead(path)) {
    for (int ms : {0, 500, 40, 0, 99999}) mediareaders::StreamReadVideoSample(m, ms);
    for (int ms : {0, 1500, 10}) mediareaders::StreamReadAudioSample(m, ms);
    mediareaders::StreamCloseRead(m);
  }
  return 0;
}
