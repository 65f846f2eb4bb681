// A sample video effect plugin: turns the colours inside the effect's rectangle towards their
// negative by an amount, and the alpha channel too when its switch is on.
//
// Per channel c and amount m = round(amount * 256): c + (((255 - 2c) * m) >> 8). An amount of 1
// gives exactly 255 - c, an amount of 0 leaves c; the shift rounds towards minus infinity.
#include <algorithm>
#include <cmath>
#include <new>

#include "media/plugin_abi.h"

namespace {

enum { kGroup, kAmount, kAlpha };

class inverteffect : public effio_video {
 public:
  inverteffect() {
    SetDescription("Invert");
    AddParam(1024, "INVERT_VARS", EFFIO_PARAM_GROUP, 0.0, 0.0, 0.0);
    AddParam(1025, "INVERT_AMOUNT", 0, 0.0, 1.0, 1.0);
    AddParam(1026, "INVERT_ALPHA", EFFIO_PARAM_SWITCH, 0.0, 1.0, 0.0);
  }

  int Process(surf32 *source, surf32 *destination, RECT rc) override {
    if (!source || !destination || !source->bits || !destination->bits) return 0;
    const int left = std::max(rc.left, 0);
    const int top = std::max(rc.top, 0);
    const int right = std::min({rc.right, source->width, destination->width});
    const int bottom = std::min({rc.bottom, source->height, destination->height});
    const int m = int(std::lround(std::clamp(ParamValue(kAmount), 0.0, 1.0) * 256.0));
    const bool alpha = ParamValue(kAlpha) >= 0.5;
    auto turn = [m](uint8_t c) { return uint8_t(c + (((255 - 2 * c) * m) >> 8)); };
    for (int y = top; y < bottom; ++y) {
      const pix32 *in = source->bits + size_t(y) * size_t(source->pitch);
      pix32 *out = destination->bits + size_t(y) * size_t(destination->pitch);
      for (int x = left; x < right; ++x) {
        const pix32 p = in[x];
        out[x] = pix32(turn(p.r), turn(p.g), turn(p.b), alpha ? turn(p.a) : p.a);
      }
    }
    return 1;
  }
};

}  // namespace

LUMIVAXEL_VIDEO_ENTRY() { return new (std::nothrow) inverteffect; }
