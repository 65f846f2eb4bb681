// The preview's key map and shuttle steps.
#include "app/preview_keys.h"

#include <SDL.h>

previewaction KeyAction(int32_t sym, bool shift) {
  switch (sym) {
    case SDLK_SPACE:
      return previewaction::playpause;
    case SDLK_LEFT:
      return shift ? previewaction::secondback : previewaction::stepback;
    case SDLK_RIGHT:
      return shift ? previewaction::secondforward : previewaction::stepforward;
    case SDLK_HOME:
      return previewaction::home;
    case SDLK_END:
      return previewaction::end;
    case SDLK_j:
      return previewaction::reverse;
    case SDLK_k:
      return previewaction::pause;
    case SDLK_l:
      return previewaction::forward;
    case SDLK_f:
      return previewaction::fullscreen;
    case SDLK_m:
      return previewaction::media;
    case SDLK_TAB:
      return previewaction::nextchild;
    case SDLK_F12:
      return previewaction::screenshot;
    case SDLK_q:
    case SDLK_ESCAPE:
      return previewaction::quit;
    default:
      return previewaction::none;
  }
}

int ShuttleSpeed(int speed, bool forward) {
  if (forward) return speed <= 0 ? 1 : speed * 2 > kMaxShuttle ? kMaxShuttle : speed * 2;
  return speed >= 0 ? -1 : speed * 2 < -kMaxShuttle ? -kMaxShuttle : speed * 2;
}
