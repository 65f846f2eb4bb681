// The preview's sound device.
#include "app/preview_audio.h"

#include "engine/playqueue.h"
#include "media/waveformat.h"

bool previewaudio::Start(const char **error) {
  if (device) return true;
  SDL_AudioSpec want{}, have{};
  want.freq = INTERNAL_RATE;
  want.format = AUDIO_S16SYS;
  want.channels = 2;
  want.samples = 1024;  // 23 ms: the clock runs at most this far ahead of what is heard
  want.callback = &previewaudio::Pull;
  want.userdata = this;
  device = SDL_OpenAudioDevice(nullptr, 0, &want, &have, 0);
  if (!device) {
    if (error) *error = SDL_GetError();
    return false;
  }
  queue->SetLatency(have.samples);
  SDL_PauseAudioDevice(device, 0);
  return true;
}

void previewaudio::Stop() {
  if (!device) return;
  SDL_CloseAudioDevice(device);  // waits for a running callback
  device = 0;
}

void previewaudio::Pull(void *self, Uint8 *stream, int bytes) {
  auto *a = static_cast<previewaudio *>(self);
  a->queue->SoundGet(reinterpret_cast<int16_t *>(stream), bytes / INTERNAL_BYTES_PER_FRAME);
}
