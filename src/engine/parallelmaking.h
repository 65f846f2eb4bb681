// Frame-parallel making: composers, each a project of its own loaded from the same file as the
// root's (its own tree, readers and work surfaces), compose the frames of the make range in
// turn, a few frames ahead, while the make loop hands them to the export plugin strictly in
// order. The sound is mixed ahead the same way by one more copy, the mixer, frame after frame in
// order (sound effects carry state from one frame to the next). Every frame is composed and
// mixed exactly as the root would do it, so the made file is the same byte for byte whatever the
// number of threads.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class clip;
class vemoproject;
struct KORSurface;

class parallelmaking {
 public:
  // Loads `threads` composers (when the root makes pictures) and a mixer (when it makes sound)
  // from `path` with the root's make range, and installs them as the root's frame and sound
  // sources for frames first up to last (-1: the range's end) until destroyed. Null when fewer
  // than two threads or frames are asked for, the root makes neither, or a copy of the project
  // cannot be loaded.
  static std::unique_ptr<parallelmaking> Start(clip *root, const std::string &path, int threads, int first = 0,
                                               int last = -1);
  ~parallelmaking();  // stops and waits for the helpers; the root makes its own frames and sound again
  parallelmaking(const parallelmaking &) = delete;
  parallelmaking &operator=(const parallelmaking &) = delete;

  // The picture of frame i, asked in order from 0; valid until the next call. Null when it
  // could not be made.
  KORSurface *Picture(int i);
  // The sound of frame i, asked in order from `first`; valid until the next call. Null when it
  // could not be mixed.
  int16_t *Sound(int i);

 private:
  // Frames each composer may have finished ahead of the make loop.
  static constexpr int kDepth = 2;
  struct composer {
    std::unique_ptr<vemoproject> project;
    KORSurface *slots[kDepth] = {};
    int ready[kDepth] = {};  // the frame a slot holds, -1 while it is free
    bool failed[kDepth] = {};
    std::thread thread;
  };
  // The mixer runs ahead by whole chunks of frames, so the make loop and the mixer meet once a
  // chunk rather than once a frame (a second of sound is 25 or more frames).
  static constexpr int kChunkFrames = 16, kChunks = 4;
  struct soundchunk {
    std::vector<int16_t> samples;
    int offsets[kChunkFrames + 1] = {};  // where each frame's sound starts in samples, and the end
    int begin = -1;                  // the first frame held, -1 while the chunk is free
  };
  struct mixer {
    std::unique_ptr<vemoproject> project;
    soundchunk chunks[kChunks];
    bool failed = false;  // no buffers to mix in: every frame's sound is missing
    std::thread thread;
  };

  parallelmaking(clip *root, int count, int start, int length, int first, int last);
  void Compose(composer *c, int k);
  void Mix();

  clip *root;
  int count, start, length;
  int first, last;  // the frames made
  std::vector<std::unique_ptr<composer>> composers;
  std::unique_ptr<mixer> sound;
  std::mutex lock;
  std::condition_variable changed;
  bool stopping = false;
  int shown = -1;  // the frame the make loop holds
  int heard = -1;  // the chunk whose sound the make loop holds
};
