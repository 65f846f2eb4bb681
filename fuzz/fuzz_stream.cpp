// Fuzz target: arbitrary bytes as a stream medium (whatever container the content looks like),
// opened, read at a few times for pictures and sound, and closed.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>

#include "media/mediareaders.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  // The reader takes a path: the bytes go to a file of their own.
  char path[] = "/tmp/lv-fuzz-stream-XXXXXX";
  const int fd = mkstemp(path);
  if (fd < 0) return 0;
  FILE *f = fdopen(fd, "wb");
  if (!f) {
    close(fd);
    unlink(path);
    return 0;
  }
  if (size) std::fwrite(data, 1, size, f);
  std::fclose(f);
  if (mmstream *m = mediareaders::StreamOpenRead(path)) {
    for (int ms : {0, 500, 40, 0, 99999}) mediareaders::StreamReadVideoSample(m, ms);
    for (int ms : {0, 1500, 10}) mediareaders::StreamReadAudioSample(m, ms);
    mediareaders::StreamCloseRead(m);
  }
  unlink(path);
  return 0;
}
