// The stream reader: any medium FFmpeg opens, pictures by time, one second of sound from any
// millisecond on.
#include <climits>
#include <cstdlib>

#include "media/ffdecoder.h"
#include "media/mediareaders.h"
#include "media/surface.h"

namespace {

// The length of a medium that does not tell it, as for AVI files: ten seconds.
constexpr int32_t kUnknownDuration = 10000;

int32_t LengthMs(int64_t own, int64_t container) {
  const int64_t ms = own >= 0 ? own : container >= 0 ? container : kUnknownDuration;
  return ms > INT32_MAX ? INT32_MAX : static_cast<int32_t>(ms);
}

}  // namespace

mmstream *mediareaders::StreamOpenRead(const char *path) {
  mmstream *m = new mmstream;

  // Video: any failure leaves the medium without pictures and goes on to the sound.
  ffdecoder::video_info vi;
  bool has_sound = false;
  m->video = ffdecoder::VideoOpen(path, ffdecoder::container::any, &vi, &has_sound);
  if (m->video) m->frame = surface::SurfaceCreate(vi.width, vi.height);
  if (m->video && m->frame) {
    m->videovalid = 1;
    m->width = vi.width;
    m->height = vi.height;
    m->rect = RECT{0, 0, vi.width, vi.height};
    m->duration = LengthMs(vi.length_ms, vi.container_ms);
  } else {
    ffdecoder::VideoClose(m->video);
    m->video = nullptr;
    surface::SurfaceDelete(m->frame);
    m->frame = nullptr;
  }

  ffdecoder::audio_info ai;
  m->audio = has_sound ? ffdecoder::AudioOpen(path, ffdecoder::container::any, &ai) : nullptr;
  if (m->audio) {
    m->wfx = ai.wfx;
    if (IsAcceptedPCM(m->wfx)) m->audiobuffer = static_cast<uint8_t *>(std::malloc(m->wfx.nAvgBytesPerSec));
    if (m->audiobuffer) {
      m->audiovalid = 1;
      m->audioduration = LengthMs(ai.length_ms, ai.container_ms);
      if (!m->videovalid) m->duration = m->audioduration;
    } else {
      ffdecoder::AudioClose(m->audio);
      m->audio = nullptr;
      m->wfx = WAVEFORMATEX{};
    }
  }

  if (!m->videovalid && !m->audiovalid) {
    StreamCloseRead(m);
    return nullptr;
  }
  return m;
}

KORSurface *mediareaders::StreamReadVideoSample(mmstream *m, int ms) {
  if (!m || !m->videovalid || !m->video || !m->frame) return nullptr;
  return ffdecoder::VideoRead(m->video, ms, m->frame) ? m->frame : nullptr;
}

uint8_t *mediareaders::StreamReadAudioSample(mmstream *m, int ms) {
  if (!m || !m->audiovalid || !m->audiobuffer || !m->audio || ms < 0) return nullptr;
  // The second starts at ms itself: sample frame floor(ms * rate / 1000).
  const int64_t rate = m->wfx.nSamplesPerSec;
  const int64_t start = int64_t(ms) * rate / 1000;
  if (ffdecoder::AudioRead(m->audio, start, rate, m->audiobuffer) == 0) return nullptr;
  return m->audiobuffer;
}

void mediareaders::StreamCloseRead(mmstream *m) {
  if (!m) return;
  ffdecoder::AudioClose(m->audio);
  ffdecoder::VideoClose(m->video);
  surface::SurfaceDelete(m->frame);
  std::free(m->audiobuffer);
  delete m;
}
