// The preview's player: what is shown when. Playing runs the engine's play job and takes its
// pictures by the sound device's clock (the newest picture whose time has come; older ones are
// dropped); pausing, stepping and scrubbing compose the picture at the new time at once; the
// J/K/L shuttle steps through pictures by the wall clock, without sound.
#pragma once

#include <chrono>
#include <deque>
#include <string>

#include "app/preview_keys.h"

class previewaudio;
class previewwindow;
class playqueue;
class vemoproject;

class previewplayer {
 public:
  previewplayer(vemoproject &project, previewwindow &window, previewaudio &audio, playqueue &queue);
  // Shows the picture at `at`, plays unless `paused`, and runs until Q or Escape or the window
  // closes. The exit status.
  int Run(int at, bool paused);

  // What playing achieved, for the last line printed.
  int Shown() const { return shown; }
  int Dropped() const;
  int MostBehind() const { return mostbehind; }

 private:
  using wallclock = std::chrono::steady_clock;

  void Act(previewaction a);
  void Tick();
  void TickPlaying();
  void TickShuttle();
  // Stops the play job and the sound device; the time stays where the picture is.
  void Halt();
  void Play(bool media);
  // Pauses and shows the picture at t (kept within the project).
  void Show(int t);
  // The same, then plays on from there when it was playing.
  void Seek(int t);
  void Shuttle(int speed);
  void Presented(int frame);
  std::string Status() const;

  vemoproject &project;
  previewwindow &window;
  previewaudio &audio;
  playqueue &queue;
  int fps;
  int end;
  int time = 0;        // the time of the picture shown
  int frame = 0;       // its frame
  int speed = 0;       // 0 paused, 1 playing with sound, else the shuttle's speed
  bool media = false;  // playing the current child's own medium
  int resume = 0;      // the composite's time to come back to from the medium
  bool priming = false;
  bool quit = false;
  std::string note;  // a passing remark in the status line
  int shuttlefrom = 0;
  wallclock::time_point shuttlestart;
  std::deque<wallclock::time_point> recent;  // pictures shown in the last second
  int shown = 0, mostbehind = 0;
  int droppedbefore = 0;  // the drops of earlier plays
};
