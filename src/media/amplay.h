// amread and amplay: the media players of a preview. amread plays one file on its own from a
// position (picture by time, sound a second at a time, both from the stream reader); amplay holds
// the two players of a window. They decode only: the host's window shows the pictures and its
// sound device plays the sound, and the host tells a player how far playing has come (Update), so
// Tell and the end of the medium follow what was really heard.
#pragma once

#include <cstdint>

#include "core/platform.h"

struct KORSurface;
struct mmstream;

class amread {
 public:
  amread() = default;
  ~amread() { Cleanup(); }
  amread(const amread &) = delete;
  amread &operator=(const amread &) = delete;

  // Opens `path` to play in `window`'s area `area` (the host's; kept for it). Any previous file
  // is cleaned up first. False, cleaned up, when the file has neither picture nor sound.
  bool Initialize(HWND window, RECT area, const char *path);
  // Frees the reader; a player without a file plays nothing.
  void Cleanup();
  bool IsOpen() const { return stream != nullptr; }
  // What the file holds.
  bool HasVideo() const;
  bool HasAudio() const;
  int Duration() const;
  int Width() const;
  int Height() const;
  HWND GetWindow() const { return window; }
  RECT GetArea() const { return area; }

  // Plays from `ms` of the medium on: Tell counts from here.
  void Seek(int ms);
  // Milliseconds played since the last Seek (0 without a file).
  int Tell() const { return stream ? position - base : 0; }
  // The host has played up to `ms` of the medium.
  void Update(int ms) { position = ms; }
  // At the end of the medium: cleans the player up and returns true (the completion event).
  bool HandleEvent();

  // The picture shown at `ms` of the medium (alpha 0), or null.
  KORSurface *VideoFrame(int ms);
  // One second of sound from `ms` on, in the internal format (44 100 Hz, 16-bit, stereo, 44 100
  // sample frames), silent past the end; null without sound or outside it.
  const int16_t *AudioSecond(int ms);

 private:
  mmstream *stream = nullptr;
  int16_t *sound = nullptr;  // one second of the internal format
  HWND window = nullptr;
  RECT area{};
  int base = 0;
  int position = 0;
};

class amplay {
 public:
  amplay() = default;
  virtual ~amplay() = default;
  amplay(const amplay &) = delete;
  amplay &operator=(const amplay &) = delete;

  // The window the players show in.
  void SetWindow(HWND w) { playwindow = w; }
  // Cleans both players up and opens `path` on the first, in `area` of the window.
  bool OpenVideo(const char *path, RECT area);
  // The completion of either player; true when one came to its end.
  bool HandleEvent();
  void Cleanup();
  amread &Player(int i) { return players[i & 1]; }

 private:
  amread players[2];
  HWND playwindow = nullptr;
};
