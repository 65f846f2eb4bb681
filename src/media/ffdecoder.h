// Decoding through FFmpeg shared by the AVI and stream readers: one video stream decoded a frame
// at a time into a surface, one audio stream delivered as PCM a run of samples at a time.
//
// Common principles:
// - Each decoder opens the file on its own demuxer, so reading sound never moves the picture's
//   decoding position and the other way round.
// - Time 0 of a medium is its container's start, for pictures and sound alike, so streams that
//   start at different times stay together; before its first picture a medium shows that one.
// - Video time is cut into frame spans at the stream's frame rate (or, for streams without a
//   constant rate, at its time base): the frame shown at ms is the last frame whose span starts
//   at or before ms. Sequential reads decode straight on; a jump back, or ahead past a key
//   frame (the first read after opening too), seeks to the key frame before the target and
//   decodes forward from there.
// - Decoded pictures carry alpha 0: video has no opacity of its own; composition supplies it.
// - Sound comes out as PCM the engine's format check accepts: the stream's own samples when
//   they are 8- or 16-bit PCM in one or two channels, else 16-bit at the same rate in one
//   channel (mono sources) or two (all others).
// - Failures are null/false/0; corrupt data never crashes, it ends the stream early.
#pragma once

#include <cstdint>

#include "media/waveformat.h"

struct KORSurface;

// Opaque decoder states (defined with their decoders).
struct ffvideo;
struct ffaudio;

namespace ffdecoder {

// Which demuxer reads the file: the AVI one only, or whichever recognises the content.
enum class container { any, avi };

struct video_info {
  int32_t width = 0;  // the stream's frame size
  int32_t height = 0;
  int32_t rate_num = 0;  // frames per second as a fraction (0/0 when unknown)
  int32_t rate_den = 0;
  int64_t length_ms = -1;     // the stream's own length, -1 when the container does not say
  int64_t container_ms = -1;  // the whole file's length, -1 when unknown
  bool still = false;         // a single picture: shown at every time
};

// Opens the first video stream of path (cover pictures of sound files do not count). Null when
// the file cannot be read, holds no video, or its codec or frame size is not usable. *has_sound
// says, whether or not the pictures can be used, if a demuxer took the file and found a sound
// stream: a reader that wants the sound as well opens it only then, rather than probing the file
// a second time for nothing.
ffvideo *VideoOpen(const char *path, container c, video_info *info, bool *has_sound = nullptr);
// Decodes the frame shown at ms into dst (scaled to dst's size should the frame's size differ).
// False for ms before the first frame or after the last frame's span, or when decoding fails.
// Asking again for a frame already in dst does no work.
bool VideoRead(ffvideo *v, int64_t ms, KORSurface *dst);
// Frees everything; null is accepted.
void VideoClose(ffvideo *v);

// Work done so far, for tests and benchmarks: seeks, frames decoded, frames converted into a
// surface.
struct video_stats {
  int64_t seeks = 0;
  int64_t decoded = 0;
  int64_t converted = 0;
};
video_stats VideoStats(const ffvideo *v);

struct audio_info {
  WAVEFORMATEX wfx{};         // the PCM AudioRead delivers (cbSize 0)
  bool converted = false;     // true when the stream's own samples are not that PCM
  int64_t length_ms = -1;     // the stream's own length, -1 when unknown
  int64_t container_ms = -1;  // the whole file's length, -1 when unknown
};

// Opens the first audio stream of path. Null when there is none or it cannot be decoded.
ffaudio *AudioOpen(const char *path, container c, audio_info *info);
// Fills out with count sample frames (count * nBlockAlign bytes) starting at sample frame
// `start` of the stream; what the stream does not hold is silence. Returns the number of frames
// that came from the stream (0: none, the read failed or lies wholly outside the sound).
int64_t AudioRead(ffaudio *a, int64_t start, int64_t count, uint8_t *out);
// Frees everything; null is accepted.
void AudioClose(ffaudio *a);

}  // namespace ffdecoder
