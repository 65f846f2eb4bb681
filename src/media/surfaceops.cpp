// Direct pixel operations on surfaces: fill, copy, field doubling, scale, blend, checkerboard,
// opacity and dimming. Every loop walks rows through for_rows over a locked copy.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "media/kernels.h"
#include "media/rows.h"
#include "media/surface.h"

namespace {

inline pix32 *row(const surf &s, int y) { return row_of(s, y); }

}  // namespace

int surface::SurfaceFillRect(KORSurface *s, RECT r, pix32 p) {
  surf a;
  if (!SurfaceDataLock(s, &a)) return 0;
  r = clip_to(a, r);
  for_rows(r, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) kernels::fill_row(row(a, y) + r.left, r.right - r.left, p);
  });
  SurfaceDataUnlock(&a);
  return 1;
}

int surface::SurfaceFillRect(KORSurface *s, RECT r, uint32_t word) {
  return SurfaceFillRect(s, r, pix32::from_word(word));
}

int surface::SurfaceClear(KORSurface *s) {
  if (!s) return 0;
  return SurfaceFillRect(s, RECT{0, 0, s->width, s->height}, pix32());
}

namespace {

// Each row of src's pixels that dst also holds handed to fn(src row, dst row, width): a smaller
// destination is not overrun. False when either surface cannot be locked.
template <class Fn>
bool pair_rows(KORSurface *src, KORSurface *dst, Fn &&fn) {
  surf a, b;
  if (!surface::SurfaceDataLock(src, &a)) return false;
  if (!surface::SurfaceDataLock(dst, &b)) {
    surface::SurfaceDataUnlock(&a);
    return false;
  }
  const int w = std::min(a.width, b.width);
  const int h = std::min(a.height, b.height);
  if (w > 0) {
    for_rows(0, h, [&](int y0, int y1) {
      for (int y = y0; y < y1; ++y) fn(row(a, y), row(b, y), w);
    });
  }
  surface::SurfaceDataUnlock(&b);
  surface::SurfaceDataUnlock(&a);
  return true;
}

// Scaling works with rectangles of at least 2 x 2 pixels on both sides.
bool scalable(RECT rs, RECT rd) {
  const int64_t sw = int64_t(rs.right) - rs.left, sh = int64_t(rs.bottom) - rs.top;
  const int64_t dw = int64_t(rd.right) - rd.left, dh = int64_t(rd.bottom) - rd.top;
  return sw >= 2 && sh >= 2 && dw >= 2 && dh >= 2;
}

// SurfaceScale with the alpha of each source pixel moved by delta on its way.
int scale(KORSurface *src, RECT rs, KORSurface *dst, RECT rd, bool blend, int delta) {
  if (!scalable(rs, rd)) return 0;
  surf a, b;
  if (!surface::SurfaceDataLock(src, &a)) return 0;
  if (!surface::SurfaceDataLock(dst, &b)) {
    surface::SurfaceDataUnlock(&a);
    return 0;
  }
  kernels::scale_rect(a, rs, b, rd, blend, delta);
  surface::SurfaceDataUnlock(&b);
  surface::SurfaceDataUnlock(&a);
  return 1;
}

}  // namespace

// d = 1 reaches +256 and saturates every alpha. Values far outside -1..1 saturate the same way;
// NaN adjusts nothing.
int surface::OpacityStep(double d) {
  if (std::isnan(d)) return 0;
  return int(std::clamp(d * 256.1, -1000.0, 1000.0));
}

int surface::SurfaceCopy(KORSurface *src, KORSurface *dst) {
  pair_rows(src, dst, [](const pix32 *in, pix32 *out, int w) { std::memcpy(out, in, size_t(w) * sizeof(pix32)); });
  return 0;
}

int surface::SurfaceSingleField(KORSurface *s) {
  surf a;
  if (!SurfaceDataLock(s, &a)) return 0;
  const size_t bytes = size_t(a.width) * sizeof(pix32);
  // Bands start on even rows so each pair stays within one band.
  for_rows(0, a.height / 2, [&](int p0, int p1) {
    for (int p = p0; p < p1; ++p) {
      const int y = 2 * p;
      if (y + 1 < a.height) std::memcpy(row(a, y + 1), row(a, y), bytes);
    }
  });
  SurfaceDataUnlock(&a);
  return 1;
}

int surface::SurfaceScale(KORSurface *src, RECT rs, KORSurface *dst, RECT rd, bool blend) {
  return scale(src, rs, dst, rd, blend, 0);
}

int surface::SurfaceScaleOpacityAdjust(KORSurface *src, RECT rs, KORSurface *dst, RECT rd, bool blend,
                                       double d) {
  return scale(src, rs, dst, rd, blend, OpacityStep(d));
}

bool surface::SurfaceScaleThrough(KORSurface *src, RECT rs1, RECT rd1, int w, int h, RECT rs2, KORSurface *dst,
                                  RECT rd2, KORSurface *part, double d, RECT *placed) {
  if (!scalable(rs1, rd1) || !scalable(rs2, rd2)) return false;
  surf a, b, m;
  if (!SurfaceDataLock(src, &a)) return false;
  if (!SurfaceDataLock(dst, &b)) {
    SurfaceDataUnlock(&a);
    return false;
  }
  if (!SurfaceDataLock(part, &m)) {
    SurfaceDataUnlock(&b);
    SurfaceDataUnlock(&a);
    return false;
  }
  const bool done = kernels::scale_rect_through(a, rs1, rd1, w, h, rs2, b, rd2, m, OpacityStep(d), placed);
  SurfaceDataUnlock(&m);
  SurfaceDataUnlock(&b);
  SurfaceDataUnlock(&a);
  return done;
}

int surface::SurfaceBlend(KORSurface *src, KORSurface *dst, RECT r) {
  surf a, b;
  if (!SurfaceDataLock(src, &a)) return 0;
  if (!SurfaceDataLock(dst, &b)) {
    SurfaceDataUnlock(&a);
    return 0;
  }
  r = clip_to(a, clip_to(b, r));
  for_rows(r, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y)
      kernels::blend_row(row(a, y) + r.left, row(b, y) + r.left, r.right - r.left);
  });
  SurfaceDataUnlock(&b);
  SurfaceDataUnlock(&a);
  return 0;
}

int surface::SurfaceChecker(KORSurface *s, int n) {
  surf a;
  if (!SurfaceDataLock(s, &a)) return 0;
  n = std::clamp(n, 0, 16);
  const int size = 1 << n;
  const pix32 white = pix32::from_word(0x00FFFFFF), black;
  for_rows(0, a.height, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) {
      pix32 *p = row(a, y);
      const bool ybit = (y & size) != 0;
      // Runs of `size` pixels alternate; fill run by run rather than testing each pixel.
      for (int x = 0; x < a.width;) {
        const int end = std::min(a.width, (x | (size - 1)) + 1);
        const bool xbit = (x & size) != 0;
        std::fill(p + x, p + end, xbit != ybit ? white : black);
        x = end;
      }
    }
  });
  SurfaceDataUnlock(&a);
  return 1;
}

int surface::SurfaceOpacityAdjust(KORSurface *s, double d) {
  const int delta = OpacityStep(d);
  if (delta == 0) return 1;
  surf a;
  if (!SurfaceDataLock(s, &a)) return 0;
  for_rows(0, a.height, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) kernels::alpha_add_row(row(a, y), a.width, delta);
  });
  SurfaceDataUnlock(&a);
  return 1;
}

int surface::SurfaceCopyOpacityAdjust(KORSurface *src, KORSurface *dst, double d) {
  const int delta = OpacityStep(d);
  return pair_rows(src, dst, [delta](const pix32 *in, pix32 *out, int w) {
    kernels::copy_alpha_add_row(in, out, w, delta);
  });
}

int surface::SurfaceDimm(KORSurface *s) {
  surf a;
  if (!SurfaceDataLock(s, &a)) return 0;
  for_rows(0, a.height, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) kernels::dimm_row(row(a, y), a.width);
  });
  SurfaceDataUnlock(&a);
  return 1;
}

int surface::SurfaceOpacity(KORSurface *s, unsigned char alpha) {
  if (!s) return 0;
  return SurfaceOpacity(s, RECT{0, 0, s->width, s->height}, alpha);
}

int surface::SurfaceOpacity(KORSurface *s, RECT r, unsigned char alpha) {
  surf a;
  if (!SurfaceDataLock(s, &a)) return 0;
  r = clip_to(a, r);
  for_rows(r, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) kernels::alpha_set_row(row(a, y) + r.left, r.right - r.left, alpha);
  });
  SurfaceDataUnlock(&a);
  return 1;
}
