// dc: the software drawing context on a block of 32-bit pixels (HDC is a dc*).
#pragma once

#include <cstdint>

#include "core/platform.h"
#include "media/pix32.h"

class dc {
 public:
  // A context drawing into w x h pixels at bits, rows `pitch` pixels apart. Not owned.
  dc(pix32 *bits, int w, int h, int pitch);
  ~dc();
  dc(const dc &) = delete;
  dc &operator=(const dc &) = delete;

  pix32 *Bits() const { return bits; }
  int Width() const { return width; }
  int Height() const { return height; }
  int Pitch() const { return pitch; }

 private:
  pix32 *bits;
  int width;
  int height;
  int pitch;
};
