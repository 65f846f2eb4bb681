// The media readers: records that stay open while a clip uses a medium, delivering pictures a
// frame at a time and sound a second at a time. The surface manager carries them as members.
//
// Common principles: times are int32 milliseconds from the start of the medium; each read
// overwrites the record's one frame surface or one-second buffer, which stays valid until the
// next read or the close; failures are null/false, never messages (the clip layer decides).
#pragma once

#include <cstdint>
#include <cstdio>

#include "core/platform.h"
#include "media/riff.h"
#include "media/waveformat.h"

struct KORSurface;
// Decoder states of the video and audio files (FFmpeg underneath; see media/ffdecoder.h).
struct ffvideo;
struct ffaudio;

// An open AVI file. The decoder of the first video stream and, on a demuxer of its own, the
// decoder of the first audio stream stand where the file, stream and frame-getter handles were.
struct roa {
  KORSurface *frame = nullptr;  // the frame size; every AVIRead draws into it
  ffvideo *video = nullptr;     // first video stream
  int32_t ratenum = 0;          // its frame rate as a fraction (0/0 when the file gives none)
  int32_t rateden = 0;
  int32_t duration = 0;  // milliseconds (10 000 when the length cannot be known)
  int32_t width = 0;
  int32_t height = 0;
  ffaudio *audio = nullptr;        // first audio stream, or null
  WAVEFORMATEX wfx{};              // the PCM that AVIReadAudioSecond delivers
  int32_t audiovalid = 0;          // 1 when sound can be read
  uint8_t *audiobuffer = nullptr;  // one second: nAvgBytesPerSec bytes
};

// An open stream medium (MP4, MOV, MKV, MPEG, ASF, animated GIF, a single picture...): video
// and sound each on a decoder and demuxer of its own.
struct mmstream {
  ffvideo *video = nullptr;
  ffaudio *audio = nullptr;
  KORSurface *frame = nullptr;     // the frame size; every video read draws into it
  uint8_t *audiobuffer = nullptr;  // one second: nAvgBytesPerSec bytes
  int32_t videovalid = 0;
  int32_t audiovalid = 0;
  int32_t duration = 0;       // ms: the video's length, or without video the sound's
  int32_t audioduration = 0;  // ms: the sound's own length (0 without sound)
  int32_t width = 0;          // the video format
  int32_t height = 0;
  RECT rect{};         // {0, 0, width, height}
  WAVEFORMATEX wfx{};  // the PCM that StreamReadAudioSample delivers
};

// An open PCM wave file.
struct rwav {
  FILE *handle = nullptr;
  MMCKINFO riff;              // the RIFF chunk, form "WAVE"
  MMCKINFO sub;               // the current sub-chunk ("data" after opening)
  WAVEFORMATEX wfx{};         // 18 bytes as read from the "fmt " chunk
  uint32_t datasize = 0;      // bytes of sound in the "data" chunk
  int32_t dataoffset = 0;     // file offset of the first sample byte
  uint8_t *buffer = nullptr;  // one second: nAvgBytesPerSec bytes
  int32_t length = 0;         // milliseconds
  int32_t valid = 0;
};

class mediareaders {
 public:
  // Opens an AVI file with a video stream (other files are refused); its sound is optional and
  // is delivered as 8/16-bit PCM (converted when the file holds anything else). Null on failure.
  static roa *AVIReadOpen(const char *path);
  // Draws the frame shown at ms into r->frame (alpha 0). False before the first or after the
  // last frame, or when the frame cannot be decoded.
  static bool AVIRead(roa *r, int ms);
  // The second of sound that contains ms, aligned to whole seconds (sample frames rate * (ms /
  // 1000) onwards), its part past the end silent. Null without sound or outside it.
  static uint8_t *AVIReadAudioSecond(roa *r, int ms);
  // Frees everything; true (null is accepted).
  static bool AVIReadClose(roa *r);

  // Opens any medium with video or sound (or both). Null when it has neither that decodes.
  static mmstream *StreamOpenRead(const char *path);
  // The frame surface after the frame shown at ms was drawn into it (alpha 0), or null.
  static KORSurface *StreamReadVideoSample(mmstream *m, int ms);
  // The one-second buffer filled with sound from ms itself on (not aligned to seconds), its
  // part past the end silent. Null without sound or outside it.
  static uint8_t *StreamReadAudioSample(mmstream *m, int ms);
  // Frees decoders, frame surface, buffer and record; null is accepted.
  static void StreamCloseRead(mmstream *m);

  // Opens a PCM wave file; null when it is not one (or is empty, or its sizes are absurd).
  static rwav *WaveFileReadOpen(const char *path);
  // The buffer holding the second that contains ms, the part after the sound's end silent;
  // null before 0, at or after the length.
  static uint8_t *WaveFileRead(rwav *r, int ms);
  // The same second read straight into out, at most size bytes of it and silence after them;
  // false (all silence) where WaveFileRead gives null.
  static bool WaveFileReadInto(rwav *r, int ms, uint8_t *out, size_t size);
  // Frees buffer, file and record; null is accepted.
  static void WaveFileReadClose(rwav *r);
  // The same reader over a file already open (the record takes it); for in-memory parsing.
  static rwav *WaveFileReadOpenFile(FILE *f);
};
