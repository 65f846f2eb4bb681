// The AVI reader: frames by time into the record's surface, sound a whole second at a time.
#include <climits>
#include <cstdlib>

#include "media/ffdecoder.h"
#include "media/mediareaders.h"
#include "media/surface.h"

namespace {

// The length of a file whose frames cannot be put in time: deliberately ten seconds. That
// includes a length too long for 32-bit milliseconds (a stream header claiming billions of
// frames), where the conversion of its end to a time fails.
constexpr int32_t kUnknownDuration = 10000;

}  // namespace

roa *mediareaders::AVIReadOpen(const char *path) {
  ffdecoder::video_info vi;
  bool has_sound = false;
  ffvideo *video = ffdecoder::VideoOpen(path, ffdecoder::container::avi, &vi, &has_sound);
  if (!video) return nullptr;
  roa *r = new roa;
  r->video = video;
  r->width = vi.width;
  r->height = vi.height;
  r->ratenum = vi.rate_num;
  r->rateden = vi.rate_den;
  r->frame = surface::SurfaceCreate(vi.width, vi.height);
  if (!r->frame) {
    AVIReadClose(r);
    return nullptr;
  }
  r->duration =
      vi.length_ms >= 0 && vi.length_ms <= INT32_MAX ? static_cast<int32_t>(vi.length_ms) : kUnknownDuration;

  // Sound is optional: a file whose sound cannot be used still opens for its pictures.
  ffdecoder::audio_info ai;
  r->audio = has_sound ? ffdecoder::AudioOpen(path, ffdecoder::container::avi, &ai) : nullptr;
  if (r->audio) {
    r->wfx = ai.wfx;
    if (IsAcceptedPCM(r->wfx)) r->audiobuffer = static_cast<uint8_t *>(std::malloc(r->wfx.nAvgBytesPerSec));
    if (r->audiobuffer) {
      r->audiovalid = 1;
    } else {
      ffdecoder::AudioClose(r->audio);
      r->audio = nullptr;
      r->wfx = WAVEFORMATEX{};
    }
  }
  return r;
}

bool mediareaders::AVIRead(roa *r, int ms) {
  if (!r || !r->video || !r->frame) return false;
  return ffdecoder::VideoRead(r->video, ms, r->frame);
}

uint8_t *mediareaders::AVIReadAudioSecond(roa *r, int ms) {
  if (!r || !r->audiovalid || !r->audiobuffer || !r->audio) return nullptr;
  // Whole seconds: ms 2999 reads sample frames 2 * rate to 3 * rate - 1. Division truncates
  // toward zero, so -999 .. -1 read second 0 as well.
  const int64_t rate = r->wfx.nSamplesPerSec;
  const int64_t second = ms / 1000;
  if (ffdecoder::AudioRead(r->audio, rate * second, rate, r->audiobuffer) == 0) return nullptr;
  return r->audiobuffer;
}

bool mediareaders::AVIReadClose(roa *r) {
  if (!r) return true;
  ffdecoder::AudioClose(r->audio);
  ffdecoder::VideoClose(r->video);
  surface::SurfaceDelete(r->frame);
  std::free(r->audiobuffer);
  delete r;
  return true;
}
