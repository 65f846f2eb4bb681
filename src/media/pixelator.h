// pixelator: the static helpers on pix32 values and surf32 frames, shared by every UI item,
// timed object and the surface manager through inheritance.
#pragma once

#include "core/vemo.h"

class pixelator : public vemo {
 public:
  pixelator() = default;
};
