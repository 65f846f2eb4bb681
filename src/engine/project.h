// vemoproject: the host's headless entry to the engine: a window context, a surface manager and
// a root arrangement without a window, with loading, saving, composing, mixing and printing.
//
// Typical use (the `frame` command of the host):
//   vemoproject p;                        // headless dialogs unless one is given
//   if (!p.Load("demo.vmp")) ...          // false: unreadable or damaged project
//   KORSurface *pic = p.Compose(2500);    // the picture at 2.5 s, owned by the root
//   surface::SurfaceSave(pic, "out.bmp");
// Pictures are the project's picture size, full opacity. Sound is 44 100 Hz, 16-bit, stereo.
// Media that cannot be found leave their clips marked (clip::IsMediaMissing) and are told
// through the dialogs; the project loads all the same.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "engine/clip.h"

class dialogs;
class surface;
class vemowin;

class vemoproject {
 public:
  // `ui` answers the engine's questions (not owned); null keeps the process's current one.
  explicit vemoproject(dialogs *ui = nullptr);
  ~vemoproject();
  vemoproject(const vemoproject &) = delete;
  vemoproject &operator=(const vemoproject &) = delete;

  // False when the surface backend could not start (no picture can be made).
  bool Ok() const;
  clip *Root() const { return root; }
  surface *Surfaces() const { return surfaces; }
  vemowin *Context() const { return context; }

  // ---- The project ----
  // Empties the root and gives it a picture size and frame rate (resource IDs of the tables in
  // clip.h) and a length in ms.
  bool New(int format_id = clip::kDefaultFormat, int fps_id = clip::kDefaultFps, int length_ms = 10000);
  // Loads a project file; false (with the root emptied to a new project) when the file cannot
  // be read or is damaged.
  bool Load(const char *path);
  // Saves atomically: a failed save leaves the old file as it was.
  bool Save(const char *path);
  // The root's length in ms (the end of the make range when one is set).
  int Length() const;

  // ---- Rendering ----
  // Sets the tree's time and composes the root's picture as for making: no edit marks. The
  // picture belongs to the root and stays valid until the next composition or change of the
  // tree; null when it cannot be made.
  KORSurface *Compose(int ms);
  // The mixed sound of [from_ms, from_ms + ms): (ms * 441 / 10) sample frames, interleaved
  // left and right, appended to `out`. Mixed in steps of 100 ms, each at its start time.
  bool Mix(int from_ms, int ms, std::vector<int16_t> &out);
  // Processing messages ("Processing: clip", ...) go to fn; empty stops them.
  void SetMessages(clip::message_fn fn);

  // ---- Building (for hosts, tests and demos) ----
  // A media clip of `path` on `parent` at `start` on `track`; its length is the medium's, or
  // `length_ms` when that is positive. Null when the file cannot be imported.
  clip *AddMedia(clip *parent, const char *path, int start, int track, int length_ms = 0);
  // A generated clip (CLIP_SRC_TEXT or CLIP_SRC_GRADIENT).
  clip *AddGenerator(clip *parent, int type, int start, int length_ms, int track);
  // A sub-arrangement of the project's picture size.
  clip *AddArrangement(clip *parent, int start, int length_ms, int track);

  // ---- Printing ----
  // The tree as text: per clip its kind, name, track, start, length, offset, media path and
  // state; its effects; every variable that has keys, with the keys. Times in seconds.
  std::string Describe() const;

 private:
  vemowin *context = nullptr;
  surface *surfaces = nullptr;
  clip *root = nullptr;
  int16_t *work1 = nullptr;
  int16_t *work2 = nullptr;
  int16_t *mixbuffer = nullptr;
};

// The same building on any arrangement of a tree (the clip takes the arrangement's window context).
clip *ClipAddMedia(clip *parent, const char *path, int start, int track, int length_ms = 0);
clip *ClipAddGenerator(clip *parent, int type, int start, int length_ms, int track);
clip *ClipAddArrangement(clip *parent, int start, int length_ms, int track);

// Walks the tree depth first from `c`: fn(clip, depth) for each clip, children in child order.
void ClipWalk(clip *c, const std::function<void(clip *, int)> &fn, int depth = 0);
// The text of Describe for any subtree.
std::string DescribeClip(clip *c);
