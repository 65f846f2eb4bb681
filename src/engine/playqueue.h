// playqueue: what the play job has made ahead of the window and the sound device: a few composed
// pictures with their times and a ring of mixed sound. One producer (the worker) and two
// consumers (the window takes pictures, the sound device pulls samples). The sound ring is
// lock-free (atomic counters), so the device's thread never waits; the picture indices take a
// short lock per picture, never per pixel.
//
// Sound is the clock: the time heard is the start time plus the sample frames pulled so far.
// Pictures carry their own time. The window takes the newest picture whose time has come and
// the older ones are dropped; when the window falls behind and every place is taken, the job
// drops the oldest waiting picture once a newer one is due, so what waits is never stale.
#pragma once

#include <atomic>
#include <climits>
#include <cstdint>
#include <mutex>

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
  // The picture to fill next, made w x h when it is not that size yet. When every place is
  // taken, waiting pictures that a newer one due at `clock` has overtaken are dropped first;
  // null when none could be (or when no surface can be made).
  KORSurface *PictureToFill(int w, int h, int clock = INT_MIN);
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
  // The newest picture due at `clock`, with its time and frame number, held for the window
  // until PictureDone; the older ones are dropped. Null when none is due.
  KORSurface *PictureDue(int clock, int *ms, int *frame);
  // The held picture has been shown; its place is free again.
  void PictureDone();
  // The k-th picture waiting (0 the oldest), with its time and frame number; null when fewer
  // wait.
  KORSurface *PictureAt(int *ms, int *frame, int k = 0);
  int PicturesWaiting();

  // ---- Sound consumer (the device's thread) ----
  // Copies up to `frames` sample frames out; the rest of out is silence. Returns those copied.
  int SoundGet(int16_t *out, int frames);
  int64_t SoundPlayed() const { return soundread.load(); }
  // Sample frames put but not pulled yet.
  int SoundWaiting() const { return int(soundwrite.load() - soundread.load()); }
  // The time heard: the start plus the frames pulled, less those still in the device; never
  // before the start. Both sides of the queue judge pictures by this one clock.
  int Clock() const;
  // Sample frames the device holds between pulling and playing them (its buffer).
  void SetLatency(int frames) { latency = frames > 0 ? frames : 0; }

  int Dropped() const { return dropped.load(); }
  bool Finished() const { return finished.load(); }

 private:
  KORSurface *pictures[kPictures] = {};
  int32_t picturetime[kPictures] = {};
  int32_t pictureframe[kPictures] = {};
  std::mutex picturelock;  // guards the picture indices and the hold
  int64_t picwrite = 0;
  int64_t picread = 0;
  bool held = false;         // the oldest picture is being shown
  int16_t *sound = nullptr;  // kSoundFrames * 2 samples
  std::atomic<int64_t> soundwrite{0};
  std::atomic<int64_t> soundread{0};
  std::atomic<int> dropped{0};
  std::atomic<bool> finished{false};
  int origin = 0;
  std::atomic<int> latency{0};
};
