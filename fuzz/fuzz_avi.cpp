// Fuzz target: arbitrary bytes as an AVI file, opened, read at a few times (forwards, backwards,
// past the end) for pictures and sound, and closed.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>

#include "media/mediareaders.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  // The reader takes a path: the bytes go to a file of their own.
  char path[] = "/tmp/lv-fuzz-avi-XXXXXX";
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
  if (roa *r = mediareaders::AVIReadOpen(path)) {
    for (int ms : {0, 40, 1000, 0, 99999, 120}) mediareaders::AVIRead(r, ms);
    for (int ms : {0, 1500, 0, -1}) mediareaders::AVIReadAudioSecond(r, ms);
    mediareaders::AVIReadClose(r);
  }
  unlink(path);
  return 0;
}
