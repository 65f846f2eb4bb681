// Reading a locked picture between pixel centres, for the effects that move pixels.
#pragma once

#include <algorithm>
#include <cstdint>

#include "core/platform.h"
#include "media/rows.h"
#include "media/surface.h"

namespace fxsample {

// The four pixels around a point mixed by its fractions ax, ay (of 256), all four bytes.
inline pix32 Lerp4(pix32 p00, pix32 p10, pix32 p01, pix32 p11, int ax, int ay) {
  auto lerp = [&](uint8_t a, uint8_t b, uint8_t c0, uint8_t d) {
    const int top = a * (256 - ax) + b * ax, bottom = c0 * (256 - ax) + d * ax;
    return uint8_t((top * (256 - ay) + bottom * ay) >> 16);
  };
  return pix32(lerp(p00.r, p10.r, p01.r, p11.r), lerp(p00.g, p10.g, p01.g, p11.g),
               lerp(p00.b, p10.b, p01.b, p11.b), lerp(p00.a, p10.a, p01.a, p11.a));
}

// One axis of a position in 1/256 pixel, clamped to [lo, hi): the two pixels and the fraction.
struct tap {
  int i0, i1, w;
};
inline tap Tap(int f, int lo, int hi) {
  f = std::clamp(f, lo * 256, (hi - 1) * 256);
  const int i0 = f >> 8;
  return tap{i0, std::min(i0 + 1, hi - 1), f & 255};
}

// The picture at (fx, fy) in 1/256 pixel, all four bytes interpolated between the four nearest
// pixels, positions clamped to the rectangle c (right and bottom exclusive). A whole position
// gives the pixel unchanged.
inline pix32 Bilinear(const surf &s, const RECT &c, int fx, int fy) {
  const tap x = Tap(fx, c.left, c.right), y = Tap(fy, c.top, c.bottom);
  const pix32 *r0 = row_of(s, y.i0), *r1 = row_of(s, y.i1);
  return Lerp4(r0[x.i0], r0[x.i1], r1[x.i0], r1[x.i1], x.w, y.w);
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
