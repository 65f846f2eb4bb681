// Test fixtures: video and sound files encoded by FFmpeg from frames and samples the test knows.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/mediareaders.h"
#include "media/pix32.h"

struct KORSurface;

namespace fixtures {

// Frame i's flat colour: neighbours differ by at least 51 in some channel, more than lossy coding moves.
pix32 FrameColour(int i);
// Frame i's picture for lossless codecs: every pixel different, so order and orientation show. Alpha 0.
pix32 GradientPixel(int i, int x, int y);

// The samples written for sample frame n, channel c: distinct at every position.
int16_t Sample16(int64_t n, int c);
uint8_t Sample8(int64_t n, int c);
int32_t Sample24(int64_t n, int c);  // a signed 24-bit value
// A smooth signal for lossy codecs: 0.5 * sin(2 pi 440 n / rate + c).
float SampleSine(int64_t n, int c, int rate);
// The 16-bit sample of sample frame `frame`, channel c, in interleaved little-endian PCM.
inline int16_t SampleAt(const uint8_t *pcm, int64_t frame, int channels, int c) {
  return int16_t(pcm[(frame * channels + c) * 2] | (pcm[(frame * channels + c) * 2 + 1] << 8));
}
// The frame shown at `ms` at num / den frames per second.
inline int64_t FrameAt(int64_t ms, int num, int den) { return ms * num / (int64_t(1000) * den); }

struct media_recipe {
  std::string format = "avi";         // muxer: avi, mp4, mov, matroska, mpeg, asf, gif, ...
  std::string video_codec = "mjpeg";  // encoder name; empty for a file without video
  std::string pix_fmt{};              // empty: what the encoder takes first
  bool gradient = false;              // GradientPixel pictures instead of flat colours
  uint8_t alpha = 255;                // every pixel's alpha, where the pixel format keeps one
  int width = 64, height = 48;
  int rate_num = 25, rate_den = 1;  // frames per second
  int frames = 50, gop = 12, max_b_frames = 0;
  // Frame i's time stamp in units of tb_num / tb_den seconds; empty: frame i at i / rate.
  std::vector<int64_t> pts{};
  int tb_num = 0, tb_den = 0;
  int video_start = 0;        // the first frame's time stamp, in frames (or units of tb_num / tb_den)
  std::string audio_codec{};  // empty for none; pcm_s16le, pcm_u8 or pcm_s24le
  int64_t audio_start = 0;    // the first sample frame's time stamp, in sample frames
  int audio_rate = 8000, audio_channels = 2;
  int64_t audio_samples = 0;  // sample frames
};

// The frame whose colour a flat surface shows (within 24, corners and centre), -1 for none or alpha not 0.
int ShownFrame(KORSurface *s, int count);
// Pixels more than `tolerance` off frame i's gradient or whose alpha is not `alpha`; -1 if not locked.
int GradientMismatches(KORSurface *s, int i, int tolerance = 0, uint8_t alpha = 0);
// Sample frames of a second of 16-bit stereo PCM at `rate` off Sample16 from `first` on (silence from
// `end`); -1 for no sound at all.
int64_t SoundMismatches(const uint8_t *pcm, int rate, int64_t first, int64_t end);
// The frame an AVI file or a stream shows at `ms`; -2 when it reads nothing there.
inline int AVIFrame(roa *r, int ms, int count) {
  return mediareaders::AVIRead(r, ms) ? ShownFrame(r->frame, count) : -2;
}
inline int StreamFrame(mmstream *m, int ms, int count) {
  KORSurface *f = mediareaders::StreamReadVideoSample(m, ms);
  return f ? ShownFrame(f, count) : -2;
}

bool HaveEncoder(const char *name);

// Writes the medium into the program's temporary folder (a test failure when it cannot); its path.
std::string WriteTempMedia(const std::string &name, const media_recipe &recipe);
// A whole file's bytes (empty when it cannot be read), or the same as text.
std::vector<uint8_t> ReadFileBytes(const std::string &path);
inline std::string ReadFileText(const std::string &path) {
  const std::vector<uint8_t> b = ReadFileBytes(path);
  return std::string(b.begin(), b.end());
}
// What the readers open, closed when the handle goes.
template <auto Close>
struct closer {
  void operator()(auto *p) const { Close(p); }
};
using avi_handle = std::unique_ptr<roa, closer<&mediareaders::AVIReadClose>>;
using stream_handle = std::unique_ptr<mmstream, closer<&mediareaders::StreamCloseRead>>;
using wave_handle = std::unique_ptr<rwav, closer<&mediareaders::WaveFileReadClose>>;
avi_handle OpenAVI(const std::string &path);
stream_handle OpenStream(const std::string &path);
wave_handle OpenWave(const std::string &path);

// A small deterministic generator for scattered times and damaged bytes: 24 bits per call.
uint32_t NextRandom(uint32_t &state);

}  // namespace fixtures
