// pixelator: the static helpers on pix32 values and surf32 frames, shared by every UI item,
// timed object and the surface manager through inheritance.
#pragma once

#include <cstdint>

#include "core/vemo.h"
#include "media/pix32.h"

// The plain frame record handed to plugins and pixel helpers: pitch is in pixels, rows top-down.
struct surf32 {
  int32_t width;
  int32_t height;
  int32_t pitch;
  pix32 *bits;
};

class pixelator : public vemo {
 public:
  pixelator() = default;
};
