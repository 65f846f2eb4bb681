// Key kernels: colour boxes, luma ranges and soft-edged circles, ovals and rectangles on alpha.
#include "effects/keys.h"

#include <algorithm>
#include <cmath>

#include "media/rows.h"

namespace fxkernels {
namespace {

// The part of r that lies on the surface; only the walk is clipped, never the geometry.
RECT clip_to(const surf &s, RECT r) {
  r.left = std::max(r.left, 0);
  r.top = std::max(r.top, 0);
  r.right = std::min(r.right, s.width);
  r.bottom = std::min(r.bottom, s.height);
  return r;
}

inline pix32 *row(const surf &s, int y) { return s.bits + size_t(s.pitch) * size_t(y); }

// Clears the alpha of every pixel of r for which keyed(pixel) holds. A pixel already at alpha 0
// stays at 0 either way, so it needs no test of its own.
template <class Keyed>
void key_colour(const surf &s, RECT r, Keyed keyed) {
  const RECT c = clip_to(s, r);
  for_rows(c, [&](int y0, int y1) {
    const int n = c.right - c.left;
    for (int y = y0; y < y1; ++y) {
      pix32 *p = row(s, y) + c.left;
      for (int x = 0; x < n; ++x) p[x].a = keyed(p[x]) ? 0 : p[x].a;
    }
  });
}

inline int clamp_byte(int v) { return std::clamp(v, 0, 255); }

template <bool Inv>
void key_rgb(const surf &s, RECT r, const rgbkey &k) {
  const int lr = clamp_byte(k.red - k.redtol), hr = clamp_byte(k.red + k.redtol);
  const int lg = clamp_byte(k.green - k.greentol), hg = clamp_byte(k.green + k.greentol);
  const int lb = clamp_byte(k.blue - k.bluetol), hb = clamp_byte(k.blue + k.bluetol);
  key_colour(s, r, [=](pix32 p) {
    const bool in = (p.r >= lr) & (p.r <= hr) & (p.g >= lg) & (p.g <= hg) & (p.b >= lb) & (p.b <= hb);
    return in != Inv;
  });
}

// The byte arithmetic of the chroma conversion: each term is a truncating division of a possibly
// negative product, and the sum wraps as a byte would.
inline int chroma_y(int r, int g, int b) { return ((17 * r) / 64 + g / 2 + 16 + (3 * b) / 32) & 0xFF; }
inline int chroma_u(int r, int g, int b) {
  return (128 + (7 * b) / 16 + (-5 * r) / 32 + (-9 * g) / 32) & 0xFF;
}
inline int chroma_v(int r, int g, int b) {
  return (128 + (7 * r) / 16 + (-3 * g) / 8 + (-b) / 16) & 0xFF;
}

template <bool Inv>
void key_chroma(const surf &s, RECT r, const chromakey &k) {
  const int yk = chroma_y(k.red, k.green, k.blue);
  const int uk = chroma_u(k.red, k.green, k.blue);
  const int vk = chroma_v(k.red, k.green, k.blue);
  const int ly = clamp_byte(yk - k.lumatol), hy = clamp_byte(yk + k.lumatol);
  const int lv = clamp_byte(vk - k.chromatol), hv = clamp_byte(vk + k.chromatol);
  // U is tested against its own lower bound but V's upper bound: the keyed box is lopsided on
  // purpose, and with a key whose U lies above its V a tight tolerance keys nothing at all.
  const int lu = clamp_byte(uk - k.chromatol);
  key_colour(s, r, [=](pix32 p) {
    const int y = chroma_y(p.r, p.g, p.b), u = chroma_u(p.r, p.g, p.b), v = chroma_v(p.r, p.g, p.b);
    const bool in = (y >= ly) & (y <= hy) & (v >= lv) & (v <= hv) & (u >= lu) & (u <= hv);
    return in != Inv;
  });
}

template <dominance D, bool Inv>
void key_bright(const surf &s, RECT r, const brightkey &k) {
  const int lo = std::min(k.level1, k.level2), hi = std::max(k.level1, k.level2);
  key_colour(s, r, [=](pix32 p) {
    const int l = (p.b + p.r + 2 * p.g) / 4;
    bool in = (l >= lo) & (l <= hi);
    if constexpr (D == dominance::red) in = in & (p.g <= p.r) & (p.b <= p.r);
    if constexpr (D == dominance::green) in = in & (p.r <= p.g) & (p.b <= p.g);
    if constexpr (D == dominance::blue) in = in & (p.r <= p.b) & (p.g <= p.b);
    return in != Inv;
  });
}

template <dominance D>
void key_bright_pick(const surf &s, RECT r, const brightkey &k, bool inverted) {
  if (inverted)
    key_bright<D, true>(s, r, k);
  else
    key_bright<D, false>(s, r, k);
}

// ---- Shape keys ----
//
// Every shape key sorts a pixel by a distance d from the rectangle's centre into three zones:
// d >= outer (keyed by the plain key), d <= inner (keyed by the inverted one) and a ramp between,
// where alpha falls to min(alpha, ramp). When outer == inner the plain key also keys d == outer
// and the inverted key d == inner, as the zone tests run in that order. Along one row d only
// grows with |x - cx|, so each row splits into at most five runs: outer, ramp, inner, ramp,
// outer. Only the ramp runs compute d per pixel; the others are a fill or nothing.

// Rectangles farther out than this are refused, so every product below fits in 64 bits.
constexpr int64_t kMaxCoord = int64_t(1) << 24;
// Threshold products are limited to this; distances on an accepted rectangle stay well below.
constexpr double kMaxThreshold = double(int64_t(1) << 52);

int64_t threshold(double scale, double v) {
  const double t = scale * v;
  if (!(t == t)) return 0;
  return int64_t(std::clamp(t, -kMaxThreshold, kMaxThreshold));
}

// Floor of the square root of t >= 0, exact.
int64_t isqrt(int64_t t) {
  int64_t n = int64_t(std::sqrt(double(t)));
  while (n > 0 && n * n > t) --n;
  while ((n + 1) * (n + 1) <= t) ++n;
  return n;
}

// Division by a divisor fixed for the call through its reciprocal, corrected to the exact
// truncated quotient (n >= 0, q > 0, quotients below 256 here).
struct exactdiv {
  int64_t q;
  double inv;
  explicit exactdiv(int64_t divisor) : q(divisor), inv(1.0 / double(divisor)) {}
  int64_t operator()(int64_t n) const {
    int64_t a = int64_t(double(n) * inv);
    if (a * q > n)
      --a;
    else if ((a + 1) * q <= n)
      ++a;
    return a;
  }
};

struct shapezones {
  int64_t outer, inner;  // the bounds as the key defines them
  int64_t ti, to;        // d <= ti: inner zone, d >= to: outer zone, ti < to
};

shapezones make_zones(int64_t outer, int64_t inner, bool inverted) {
  shapezones z{outer, inner, 0, 0};
  // The plain key tests the outer zone first, the inverted key the inner zone first.
  z.ti = inverted ? inner : std::min(inner, outer - 1);
  z.to = inverted ? std::max(outer, inner + 1) : outer;
  return z;
}

// One row: A is the largest |dx| of the inner zone (-1: none), B the smallest |dx| of the outer
// zone (B > A). dist(dx) gives d for the ramp pixels.
template <bool Inv, class Dist>
void shape_row(pix32 *p, int xl, int xr, int64_t cx, int64_t a, int64_t b, const shapezones &z,
               const exactdiv &div, Dist dist) {
  const int64_t b0 = cx - b + 1;
  const int64_t b1 = a >= 0 ? cx - a : cx;
  const int64_t b2 = a >= 0 ? cx + a + 1 : cx;
  const int64_t b3 = cx + b;
  int x = xl;
  auto upto = [&](int64_t bound) { return int(std::clamp<int64_t>(bound, x, xr)); };
  auto clear = [&](int e) {
    for (; x < e; ++x) p[x].a = 0;
  };
  auto ramp = [&](int e) {
    for (; x < e; ++x) {
      const int64_t d = dist(int64_t(x) - cx);
      const int64_t level = Inv ? div((d - z.inner) * 255) : div((z.outer - d) * 255);
      p[x].a = uint8_t(std::min<int64_t>(p[x].a, level));
    }
  };
  int e = upto(b0);
  if (Inv) x = e; else clear(e);
  ramp(upto(b1));
  e = upto(b2);
  if (Inv) clear(e); else x = e;
  ramp(upto(b3));
  if (!Inv) clear(xr);
}

bool geometry_ok(RECT r) {
  return r.right > r.left && r.bottom > r.top && r.left > -kMaxCoord && r.top > -kMaxCoord &&
         r.right < kMaxCoord && r.bottom < kMaxCoord;
}

// Circle and oval: d = dx^2 + dy^2 with dy scaled by w / h for the oval.
template <bool Inv, bool Oval>
void key_round(const surf &s, RECT r, double v1, double v2) {
  if (!geometry_ok(r)) return;
  const int64_t w = int64_t(r.right) - r.left, h = int64_t(r.bottom) - r.top;
  const int64_t cx = r.left + w / 2, cy = r.top + h / 2;
  const int64_t m = std::max(w, h) / 2 - 2;
  const double scale = 2.0 * double(m) * double(m);
  const shapezones z =
      make_zones(threshold(scale, std::max(v1, v2)), threshold(scale, std::min(v1, v2)), Inv);
  const exactdiv div(std::max<int64_t>(z.outer - z.inner, 1));
  const RECT c = clip_to(s, r);
  if (c.right <= c.left) return;
  for_rows(c, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) {
      int64_t dy = y - cy;
      if (Oval) dy = dy * w / h;
      const int64_t e = dy * dy;
      const int64_t a = z.ti - e < 0 ? -1 : isqrt(z.ti - e);
      const int64_t t = z.to - e;
      int64_t b = t <= 0 ? 0 : isqrt(t - 1) + 1;  // the smallest n with n^2 >= t
      shape_row<Inv>(row(s, y), c.left, c.right, cx, a, b, z, div,
                     [e](int64_t dx) { return dx * dx + e; });
    }
  });
}

// Rectangle: d = max(|dx|, |dy| scaled by w / h), plain distances.
template <bool Inv>
void key_rect(const surf &s, RECT r, double v1, double v2) {
  if (!geometry_ok(r)) return;
  const int64_t w = int64_t(r.right) - r.left, h = int64_t(r.bottom) - r.top;
  const int64_t cx = r.left + w / 2, cy = r.top + h / 2;
  const double scale = double(w / 2);
  const shapezones z =
      make_zones(threshold(scale, std::max(v1, v2)), threshold(scale, std::min(v1, v2)), Inv);
  const exactdiv div(std::max<int64_t>(z.outer - z.inner, 1));
  const RECT c = clip_to(s, r);
  if (c.right <= c.left) return;
  for_rows(c, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) {
      const int64_t q = (int64_t(y) - cy) * w / h;
      const int64_t e = q < 0 ? -q : q;
      const int64_t a = e <= z.ti ? z.ti : -1;
      const int64_t b = e >= z.to ? 0 : z.to;
      shape_row<Inv>(row(s, y), c.left, c.right, cx, a, b, z, div,
                     [e](int64_t dx) { return std::max(dx < 0 ? -dx : dx, e); });
    }
  });
}

}  // namespace

uint8_t ChromaY(int red, int green, int blue) { return uint8_t(chroma_y(red, green, blue)); }
uint8_t ChromaU(int red, int green, int blue) { return uint8_t(chroma_u(red, green, blue)); }
uint8_t ChromaV(int red, int green, int blue) { return uint8_t(chroma_v(red, green, blue)); }

void KeyRGB(const surf &s, RECT r, const rgbkey &k, bool inverted) {
  if (!s.bits) return;
  if (inverted)
    key_rgb<true>(s, r, k);
  else
    key_rgb<false>(s, r, k);
}

void KeyChroma(const surf &s, RECT r, const chromakey &k, bool inverted) {
  if (!s.bits) return;
  if (inverted)
    key_chroma<true>(s, r, k);
  else
    key_chroma<false>(s, r, k);
}

void KeyBright(const surf &s, RECT r, const brightkey &k, bool inverted) {
  if (!s.bits) return;
  switch (k.dominant) {
    case dominance::none: key_bright_pick<dominance::none>(s, r, k, inverted); break;
    case dominance::red: key_bright_pick<dominance::red>(s, r, k, inverted); break;
    case dominance::green: key_bright_pick<dominance::green>(s, r, k, inverted); break;
    case dominance::blue: key_bright_pick<dominance::blue>(s, r, k, inverted); break;
  }
}

void KeyCircle(const surf &s, RECT r, double v1, double v2, bool inverted) {
  if (!s.bits) return;
  if (inverted)
    key_round<true, false>(s, r, v1, v2);
  else
    key_round<false, false>(s, r, v1, v2);
}

// The oval is the circle measured in horizontal units: the vertical offset is scaled by w / h
// (truncating, as the rectangle key scales it) before squaring, and d = dx^2 + dy^2 is held
// against the circle's own bounds D * radius with D = 2 * (max(w, h) / 2 - 2)^2. On a rectangle
// wider than high the oval at radius 0.5 so touches the middle of all four sides.
void KeyOval(const surf &s, RECT r, double v1, double v2, bool inverted) {
  if (!s.bits) return;
  if (inverted)
    key_round<true, true>(s, r, v1, v2);
  else
    key_round<false, true>(s, r, v1, v2);
}

void KeyRect(const surf &s, RECT r, double v1, double v2, bool inverted) {
  if (!s.bits) return;
  if (inverted)
    key_rect<true>(s, r, v1, v2);
  else
    key_rect<false>(s, r, v1, v2);
}

}  // namespace fxkernels
