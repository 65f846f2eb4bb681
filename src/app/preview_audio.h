// The preview's sound device: SDL audio at the internal format, its callback pulling from the
// play queue. The device is open only while playing, so nothing but the played sound reaches it.
#pragma once

#include <SDL.h>

class playqueue;

class previewaudio {
 public:
  explicit previewaudio(playqueue *q) : queue(q) {}
  ~previewaudio() { Stop(); }
  previewaudio(const previewaudio &) = delete;
  previewaudio &operator=(const previewaudio &) = delete;

  // Opens the device and starts pulling (telling the queue the device's buffer); false (with
  // SDL's reason in *error) when no device opens.
  bool Start(const char **error);
  // Stops pulling and closes the device; the queue is free to be reset afterwards.
  void Stop();
  bool Playing() const { return device != 0; }

 private:
  static void Pull(void *self, Uint8 *stream, int bytes);

  playqueue *queue;
  SDL_AudioDeviceID device = 0;
};
