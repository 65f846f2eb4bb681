// playqueue: what the play job has made ahead of the window and the sound device: a few composed
// pictures with their times and a ring of mixed sound. One producer (the worker) and two
// consumers (the window's refresh takes pictures, the sound device pulls samples); the counters
// are atomics, so neither side ever waits on a lock.
//
// Sound is the clock: the time heard is the start time plus the sample frames pulled so far.
// Pictures carry their own time; the window shows the newest one whose time has come and skips
// the older ones.
#pragma once

#include <atomic>
#include <cstdint>

struct KORSurface;

class playqueue {
 public:
  static constexpr int kPictures = 4;             // composed pictures made ahead
  static constexpr int kSoundFrames = 44100 * 4;  // four seconds of stereo sample frames

  playqueue();
  ~playqueue();
  playqueue(const playqueue &) = delete;
  playqueue &operator=(const playqueue &) = delete;

  // Empties pictures and sound and restarts the clock at `ms`. Only while neither the worker
  // nor the sound device uses the queue.
  void Reset(int ms);
  int Origin() const { return origin; }

  // ---- Producer (the play job) ----
  // The picture to fill next, made w x h when it is not that size yet; null while every
  // picture waits to be shown (or when no surface can be made).
  KORSurface *PictureToFill(int w, int h);
  // Hands the filled picture over: the picture of frame `frame` at time `ms`.
  void PicturePut(int ms, int frame);
  // Sample frames that fit in the sound ring now.
  int SoundRoom() const;
  // Appends `frames` stereo sample frames (interleaved left, right); false when they do not fit.
  bool SoundPut(const int16_t *samples, int frames);
  // The time up to which sound has been put.
  int SoundEnd() const;
  // A frame whose time passed before it could be composed.
  void CountDrop() { dropped.fetch_add(1); }
  // Nothing more will come: the end of the project or of the medium.
  void SetFinished() { finished = true; }

  // ---- Picture consumer (the window) ----
  // The k-th picture waiting (0 the oldest), with its time and frame number; null when fewer
  // wait.
  KORSurface *PictureAt(int *ms, int *frame, int k = 0) const;
  // The oldest picture has been shown (or skipped).
  void PictureDone();
  int PicturesWaiting() const { return int(picwrite.load() - picread.load()); }

  // ---- Sound consumer (the device's thread) ----
  // Copies up to `frames` sample frames out; the rest of out is silence. Returns those copied.
  int SoundGet(int16_t *out, int frames);
  int64_t SoundPlayed() const { return soundread.load(); }
  // The time heard: the start plus the frames pulled, less `latency` frames still in the
  // device; never before the start.
  int Clock(int latency = 0) const;

  int Dropped() const { return dropped.load(); }
  bool Finished() const { return finished.load(); }

 private:
  KORSurface *pictures[kPictures] = {};
  int32_t picturetime[kPictures] = {};
  int32_t pictureframe[kPictures] = {};
  std::atomic<int64_t> picwrite{0};
  std::atomic<int64_t> picread{0};
  int16_t *sound = nullptr;  // kSoundFrames * 2 samples
  std::atomic<int64_t> soundwrite{0};
  std::atomic<int64_t> soundread{0};
  std::atomic<int> dropped{0};
  std::atomic<bool> finished{false};
  int origin = 0;
};
