// amread and amplay: playing one medium on its own through the stream reader.
#include "media/amplay.h"

#include <cstdlib>

#include "media/mediareaders.h"
#include "media/surface.h"
#include "media/wavcfg.h"

bool amread::Initialize(HWND w, RECT r, const char *path) {
  Cleanup();
  if (!path || !path[0]) return false;
  stream = mediareaders::StreamOpenRead(path);
  if (!stream) return false;
  if (stream->audiovalid) {
    sound = static_cast<int16_t *>(std::malloc(INTERNAL_BYTES_PER_SECOND));
    if (!sound) {
      Cleanup();
      return false;
    }
  }
  window = w;
  area = r;
  base = position = 0;
  return true;
}

void amread::Cleanup() {
  mediareaders::StreamCloseRead(stream);
  stream = nullptr;
  std::free(sound);
  sound = nullptr;
  base = position = 0;
}

bool amread::HasVideo() const { return stream && stream->videovalid; }
bool amread::HasAudio() const { return stream && stream->audiovalid && sound; }
int amread::Duration() const { return stream ? stream->duration : 0; }
int amread::Width() const { return HasVideo() ? stream->width : 0; }
int amread::Height() const { return HasVideo() ? stream->height : 0; }

void amread::Seek(int ms) { base = position = ms < 0 ? 0 : ms; }

bool amread::HandleEvent() {
  if (!stream || position < stream->duration) return false;
  Cleanup();
  return true;
}

KORSurface *amread::VideoFrame(int ms) {
  return HasVideo() ? mediareaders::StreamReadVideoSample(stream, ms) : nullptr;
}

const int16_t *amread::AudioSecond(int ms) {
  if (!HasAudio()) return nullptr;
  const uint8_t *in = mediareaders::StreamReadAudioSample(stream, ms);
  if (!in) return nullptr;
  pixelator::To44100_16_2(in, &stream->wfx, int(stream->wfx.nAvgBytesPerSec), sound, INTERNAL_BYTES_PER_SECOND);
  return sound;
}

bool amplay::OpenVideo(const char *path, RECT area) {
  Cleanup();
  return players[0].Initialize(playwindow, area, path);
}

bool amplay::HandleEvent() {
  const bool first = players[0].HandleEvent();
  const bool second = players[1].HandleEvent();
  return first || second;
}

void amplay::Cleanup() {
  players[0].Cleanup();
  players[1].Cleanup();
}
