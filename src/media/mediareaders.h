// The media readers: records that stay open while a clip uses a medium, delivering pictures a
// frame at a time and sound a second at a time. The surface manager carries them as members.
//
// Common principles: times are int32 milliseconds from the start of the medium; each read
// overwrites the record's one frame surface or one-second buffer, which stays valid until the
// next read or the close; failures are null/false, never messages (the clip layer decides).
#pragma once

#include <cstdint>
#include <cstdio>

#include "media/riff.h"
#include "media/waveformat.h"

// An open PCM wave file.
struct rwav {
  FILE *handle = nullptr;
  MMCKINFO riff;          // the RIFF chunk, form "WAVE"
  MMCKINFO sub;           // the current sub-chunk ("data" after opening)
  WAVEFORMATEX wfx{};     // 18 bytes as read from the "fmt " chunk
  uint32_t datasize = 0;  // bytes of sound in the "data" chunk
  int32_t dataoffset = 0; // file offset of the first sample byte
  uint8_t *buffer = nullptr;  // one second: nAvgBytesPerSec bytes
  int32_t length = 0;     // milliseconds
  int32_t valid = 0;
};

class mediareaders {
 public:
  // Opens a PCM wave file; null when it is not one (or is empty, or its sizes are absurd).
  static rwav *WaveFileReadOpen(const char *path);
  // The buffer holding the second that contains ms, the part after the sound's end silent;
  // null before 0, at or after the length.
  static uint8_t *WaveFileRead(rwav *r, int ms);
  // Frees buffer, file and record; null is accepted.
  static void WaveFileReadClose(rwav *r);
  // The same reader over a file already open (the record takes it); for in-memory parsing.
  static rwav *WaveFileReadOpenFile(FILE *f);
};
