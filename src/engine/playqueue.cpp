// playqueue: the pictures and the sound ring between the play job and the host's window and
// sound device.
#include "engine/playqueue.h"

#include <cstdlib>
#include <cstring>

#include "media/surface.h"

playqueue::playqueue() {
  sound = static_cast<int16_t *>(std::calloc(size_t(kSoundFrames) * 2, sizeof(int16_t)));
}

playqueue::~playqueue() {
  for (KORSurface *&p : pictures) surface::SurfaceDelete(p);
  std::free(sound);
}

void playqueue::Reset(int ms) {
  {
    std::lock_guard<std::mutex> hold(picturelock);
    picwrite = picread = 0;
    held = false;
  }
  soundwrite = 0;
  soundread = 0;
  dropped = 0;
  finished = false;
  origin = ms;
}

KORSurface *playqueue::PictureToFill(int w, int h, int clock) {
  int64_t n;
  {
    std::lock_guard<std::mutex> hold(picturelock);
    // The oldest goes when the one after it is due too: it would never be shown.
    while (picwrite - picread >= kPictures && !held && picturetime[(picread + 1) % kPictures] <= clock) {
      ++picread;
      dropped.fetch_add(1);
    }
    if (picwrite - picread >= kPictures) return nullptr;
    n = picwrite;
  }
  KORSurface *&p = pictures[n % kPictures];
  if (p && (p->width != w || p->height != h)) {
    surface::SurfaceDelete(p);
    p = nullptr;
  }
  if (!p) p = surface::SurfaceCreate(w, h);
  return p;
}

void playqueue::PicturePut(int ms, int frame) {
  std::lock_guard<std::mutex> hold(picturelock);
  picturetime[picwrite % kPictures] = ms;
  pictureframe[picwrite % kPictures] = frame;
  ++picwrite;
}

KORSurface *playqueue::PictureDue(int clock, int *ms, int *frame) {
  std::lock_guard<std::mutex> hold(picturelock);
  if (held) return nullptr;
  int64_t due = -1;
  for (int64_t n = picread; n < picwrite && picturetime[n % kPictures] <= clock; ++n) due = n;
  if (due < 0) return nullptr;
  dropped.fetch_add(int(due - picread));
  picread = due;
  held = true;
  if (ms) *ms = picturetime[due % kPictures];
  if (frame) *frame = pictureframe[due % kPictures];
  return pictures[due % kPictures];
}

void playqueue::PictureDone() {
  std::lock_guard<std::mutex> hold(picturelock);
  if (held && picread < picwrite) ++picread;
  held = false;
}

KORSurface *playqueue::PictureAt(int *ms, int *frame, int k) {
  std::lock_guard<std::mutex> hold(picturelock);
  const int64_t n = picread + k;
  if (k < 0 || n >= picwrite) return nullptr;
  if (ms) *ms = picturetime[n % kPictures];
  if (frame) *frame = pictureframe[n % kPictures];
  return pictures[n % kPictures];
}

int playqueue::PicturesWaiting() {
  std::lock_guard<std::mutex> hold(picturelock);
  return int(picwrite - picread);
}

int playqueue::SoundRoom() const { return kSoundFrames - int(soundwrite.load() - soundread.load()); }

bool playqueue::SoundPut(const int16_t *samples, int frames) {
  if (!sound || frames < 0 || frames > SoundRoom()) return false;
  const int64_t w = soundwrite.load();
  const int at = int(w % kSoundFrames);
  const int first = frames < kSoundFrames - at ? frames : kSoundFrames - at;
  std::memcpy(sound + size_t(at) * 2, samples, size_t(first) * 4);
  std::memcpy(sound, samples + size_t(first) * 2, size_t(frames - first) * 4);
  soundwrite.store(w + frames);
  return true;
}

int playqueue::SoundEnd() const { return origin + int(soundwrite.load() * 10 / 441); }

int playqueue::SoundGet(int16_t *out, int frames) {
  const int64_t r = soundread.load();
  int64_t have = soundwrite.load() - r;
  const int n = int(have < frames ? have : frames);
  const int at = int(r % kSoundFrames);
  const int first = n < kSoundFrames - at ? n : kSoundFrames - at;
  if (sound) {
    std::memcpy(out, sound + size_t(at) * 2, size_t(first) * 4);
    std::memcpy(out + size_t(first) * 2, sound, size_t(n - first) * 4);
  }
  std::memset(out + size_t(n) * 2, 0, size_t(frames - n) * 4);
  soundread.store(r + n);
  return n;
}

int playqueue::Clock() const {
  const int64_t heard = soundread.load() - latency.load();
  return origin + (heard > 0 ? int(heard * 10 / 441) : 0);
}
