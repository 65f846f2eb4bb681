// pixelator: pixel value helpers and the surf32 frame helpers (copy, blend, flip, rotate,
// frame allocation). The key smoother is in keysmooth.cpp.
#include "media/pixelator.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "media/kernels.h"
#include "media/rows.h"

namespace {

inline pix32 *row(const surf32 *s, int y) { return s->bits + size_t(s->pitch) * size_t(y); }

// r limited to both frames.
RECT inside(const surf32 *a, const surf32 *b, const RECT &r) {
  RECT c{std::max(r.left, 0), std::max(r.top, 0), std::min({r.right, a->width, b->width}),
         std::min({r.bottom, a->height, b->height})};
  if (c.right < c.left) c.right = c.left;
  if (c.bottom < c.top) c.bottom = c.top;
  return c;
}

bool usable(const surf32 *s) { return s && s->bits && s->width > 0 && s->height > 0; }

}  // namespace

pix32 pixelator::contrast(pix32 p) {
  return pix32(p.r < 129 ? 255 : 0, p.g < 129 ? 255 : 0, p.b < 129 ? 255 : 0, 0);
}

COLORREF pixelator::contrast(COLORREF c) {
  COLORREF out = 0;
  for (int shift = 0; shift < 24; shift += 8)
    if (((c >> shift) & 0xFF) < 129) out |= COLORREF(0xFF) << shift;
  return out;
}

int pixelator::brightness(pix32 p) { return (p.r + 2 * p.g + p.b) >> 2; }

pix32 pixelator::bnw(pix32 p) {
  const uint8_t v = uint8_t(brightness(p));
  return pix32(v, v, v, p.a);
}

int pixelator::vline(surf32 *s, int x, int y1, int y2, pix32 p) {
  if (!usable(s)) return 0;
  if (x < 0 || x >= s->width) return 1;
  const int lo = std::max(std::min(y1, y2), 0), hi = std::min(std::max(y1, y2), s->height - 1);
  for (int y = lo; y <= hi; ++y) s->bits[size_t(s->width) * size_t(y) + size_t(x)] = p;
  return 1;
}

int pixelator::BitBlt(surf32 *src, surf32 *dst, RECT *r) {
  if (!usable(src) || !usable(dst) || !r) return 0;
  const RECT c = inside(src, dst, *r);
  if (c.right <= c.left) return 1;
  for_rows(c, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y)
      std::memmove(row(dst, y) + c.left, row(src, y) + c.left, size_t(c.right - c.left) * sizeof(pix32));
  });
  return 1;
}

int pixelator::BitBlt(surf32 *src, surf32 *dst, RECT *r, unsigned char a) {
  if (a >= 254) return BitBlt(src, dst, r);
  if (!usable(src) || !usable(dst) || !r) return 0;
  const RECT c = inside(src, dst, *r);
  if (c.right <= c.left) return 1;
  for_rows(c, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y)
      kernels::mix_row(row(src, y) + c.left, row(dst, y) + c.left, c.right - c.left, a);
  });
  return 1;
}

int pixelator::BitBlt(surf32 *src, surf32 *dst, RECT *r, int a) {
  return BitBlt(src, dst, r, static_cast<unsigned char>(std::clamp(a, 0, 255)));
}

int pixelator::BitBlt(surf32 *src, surf32 *dst, RECT *r, double d) {
  if (!(d > 0.0)) d = 0.0;
  if (d > 1.0) d = 1.0;
  return BitBlt(src, dst, r, static_cast<unsigned char>(d * 255.0));
}

int pixelator::UpsideDown(surf32 *s) {
  if (!usable(s)) return 0;
  for (int y = 0; y < s->height / 2; ++y)
    std::swap_ranges(row(s, y), row(s, y) + s->width, row(s, s->height - 1 - y));
  return 1;
}

int pixelator::Rotate(surf32 *src, surf32 *dst, RECT r, POINT c, double deg) {
  if (!usable(src) || !usable(dst)) return 0;
  const double theta = -deg * M_PI / 180.0;
  // The shared rotation turns (1, 0) into (cos, sin) exactly; applying the same products per
  // pixel gives what it gives for each vector, without a sine and cosine per pixel.
  double cs = 1.0, sn = 0.0;
  rot2D(cs, sn, theta);
  const RECT out{std::max(r.left, 0), std::max(r.top, 0), std::min(r.right, dst->width),
                 std::min(r.bottom, dst->height)};
  const pix32 black;
  for_rows(out, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) {
      pix32 *o = row(dst, y);
      const double vy = double(c.y) - y;
      for (int x = out.left; x < out.right; ++x) {
        const double vx = double(x) - c.x;
        const double u = vx * cs - vy * sn, v = vx * sn + vy * cs;
        // Nearest pixel: the turned position rounded to the closest source pixel.
        const double fx = std::floor(c.x + u + 0.5), fy = std::floor(c.y - v + 0.5);
        if (fx >= std::max(0, r.left) && fx < std::min(src->width, r.right) && fy >= std::max(0, r.top) &&
            fy < std::min(src->height, r.bottom))
          o[x] = row(src, int(fy))[int(fx)];
        else
          o[x] = black;
      }
    }
  });
  return 1;
}

surf32 *pixelator::Surf32Create(int w, int h) {
  if (w < 1 || h < 1 || w > 32768 || h > 32768) return nullptr;
  // The pixels follow the record in the same block, starting on the next cache line.
  const size_t head = 64, bytes = head + size_t(w) * size_t(h) * sizeof(pix32);
  void *block = std::aligned_alloc(64, (bytes + 63) & ~size_t(63));
  if (!block) return nullptr;
  surf32 *s = static_cast<surf32 *>(block);
  s->width = w;
  s->height = h;
  s->pitch = w;
  s->bits = reinterpret_cast<pix32 *>(static_cast<uint8_t *>(block) + head);
  std::memset(static_cast<void *>(s->bits), 0, bytes - head);
  return s;
}

void pixelator::Surf32Delete(surf32 *s) { std::free(s); }

surf32 *pixelator::Surf32Load(const char *) { return nullptr; }
