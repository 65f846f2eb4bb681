// The keys of the preview window and the J/K/L shuttle: plain functions of a key and a state,
// so the window loop only routes.
#pragma once

#include <cstdint>

enum class previewaction {
  none,
  playpause,    // space
  stepback,     // left: one frame
  stepforward,  // right
  secondback,   // shift+left: one second
  secondforward,
  home,
  end,
  reverse,  // J: backwards, faster when pressed again
  pause,    // K
  forward,  // L: forwards, faster when pressed again
  fullscreen,
  media,       // M: the current child's own medium on its own
  nextchild,   // Tab: the next child becomes the current one
  screenshot,  // F12: the window as a PNG in the current folder
  quit,        // Q, Escape
};

// The action of an SDL key code with or without shift.
previewaction KeyAction(int32_t sym, bool shift);

// The shuttle speed after J (forward false) or L (forward true): from a standstill or the other
// direction one step (-1 or 1), in the same direction twice as fast, at most kMaxShuttle.
constexpr int kMaxShuttle = 8;
int ShuttleSpeed(int speed, bool forward);
