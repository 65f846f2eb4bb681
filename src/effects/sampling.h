// Reading a locked picture between pixel centres, for the effects that move pixels.
#pragma once

#include <algorithm>
#include <cstdint>

#include "core/platform.h"
#include "media/rows.h"
#include "media/surface.h"

namespace fxsample {

// The picture at (fx, fy) in 1/256 pixel, all four bytes interpolated between the four nearest
// pixels, positions clamped to the rectangle c (right and bottom exclusive). A whole position
// gives the pixel unchanged.
inline pix32 Bilinear(const surf &s, const RECT &c, int fx, int fy) {
  fx = std::clamp(fx, c.left * 256, (c.right - 1) * 256);
  fy = std::clamp(fy, c.top * 256, (c.bottom - 1) * 256);
  const int x0 = fx >> 8, y0 = fy >> 8, ax = fx & 255, ay = fy & 255;
  const int x1 = std::min(x0 + 1, c.right - 1), y1 = std::min(y0 + 1, c.bottom - 1);
  const pix32 *r0 = row_of(s, y0), *r1 = row_of(s, y1);
  const pix32 p00 = r0[x0], p10 = r0[x1], p01 = r1[x0], p11 = r1[x1];
  auto lerp = [&](uint8_t a, uint8_t b, uint8_t c0, uint8_t d) {
    const int top = a * (256 - ax) + b * ax, bottom = c0 * (256 - ax) + d * ax;
    return uint8_t((top * (256 - ay) + bottom * ay) >> 16);
  };
  return pix32(lerp(p00.r, p10.r, p01.r, p11.r), lerp(p00.g, p10.g, p01.g, p11.g),
               lerp(p00.b, p10.b, p01.b, p11.b), lerp(p00.a, p10.a, p01.a, p11.a));
}

// Two pixels mixed by w/256 of b, all four bytes.
inline pix32 Mix(pix32 a, pix32 b, int w) {
  const int k = 256 - w;
  return pix32(uint8_t((a.r * k + b.r * w) >> 8), uint8_t((a.g * k + b.g * w) >> 8),
               uint8_t((a.b * k + b.b * w) >> 8), uint8_t((a.a * k + b.a * w) >> 8));
}

// Locks two surfaces for the length of a scope; ok() is false when either lock failed.
class locked_pair {
 public:
  locked_pair(KORSurface *a, KORSurface *b) {
    if (!surface::SurfaceDataLock(a, &first)) return;
    if (!surface::SurfaceDataLock(b, &second)) {
      surface::SurfaceDataUnlock(&first);
      return;
    }
    good = true;
  }
  ~locked_pair() {
    if (!good) return;
    surface::SurfaceDataUnlock(&second);
    surface::SurfaceDataUnlock(&first);
  }
  locked_pair(const locked_pair &) = delete;
  locked_pair &operator=(const locked_pair &) = delete;
  bool ok() const { return good; }
  surf first{}, second{};

 private:
  bool good = false;
};

}  // namespace fxsample
