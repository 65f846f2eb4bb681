// Adjuster kernels: channel shifts, desaturation, masked mixing, table mapping and alpha offset.
#include "effects/adjusters.h"

#include <algorithm>

#include "media/kernels.h"
#include "media/rows.h"

namespace fxkernels {
namespace {

RECT clip_to(const surf &s, RECT r) {
  r.left = std::max(r.left, 0);
  r.top = std::max(r.top, 0);
  r.right = std::min(r.right, s.width);
  r.bottom = std::min(r.bottom, s.height);
  return r;
}

inline pix32 *row(const surf &s, int y) { return s.bits + size_t(s.pitch) * size_t(y); }

// The adjustment with its parameters fixed; Desat says whether the mixing step runs (k > 1).
struct adjuster {
  int dr, dg, db, k, kc;  // kc = 255 - k
  explicit adjuster(const adjustlevels &l)
      : dr(l.red), dg(l.green), db(l.blue), k(255 - l.saturation), kc(l.saturation) {}

  template <bool Desat>
  void apply(int &r, int &g, int &b) const {
    r = std::clamp(r + dr, 0, 255);
    g = std::clamp(g + dg, 0, 255);
    b = std::clamp(b + db, 0, 255);
    if constexpr (Desat) {
      const int lk = ((r + 2 * g + b) / 4) * k;
      r = (lk + r * kc) >> 8;
      g = (lk + g * kc) >> 8;
      b = (lk + b * kc) >> 8;
    }
  }
};

template <bool Desat>
void adjust(const surf &s, RECT c, const adjuster &a, int da) {
  const int n = c.right - c.left;
  for_rows(c, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) {
      pix32 *p = row(s, y) + c.left;
      for (int x = 0; x < n; ++x) {
        int r = p[x].r, g = p[x].g, b = p[x].b;
        a.apply<Desat>(r, g, b);
        p[x] = pix32(uint8_t(r), uint8_t(g), uint8_t(b), uint8_t(std::clamp(p[x].a + da, 0, 255)));
      }
    }
  });
}

template <bool Desat>
void adjust_masked(const surf &mask, const surf &target, RECT c, const adjuster &a) {
  const int n = c.right - c.left;
  for_rows(c, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) {
      const pix32 *m = row(mask, y) + c.left;
      pix32 *p = row(target, y) + c.left;
      for (int x = 0; x < n; ++x) {
        const int ma = m[x].a, mc = 255 - ma;
        int r = p[x].r, g = p[x].g, b = p[x].b;
        a.apply<Desat>(r, g, b);
        // A mask alpha of 0 leaves the pixel as it is (the mix would darken it by one step).
        const pix32 mixed(uint8_t((r * ma + p[x].r * mc) >> 8), uint8_t((g * ma + p[x].g * mc) >> 8),
                          uint8_t((b * ma + p[x].b * mc) >> 8), p[x].a);
        p[x] = ma ? mixed : p[x];
      }
    }
  });
}

}  // namespace

pix32 AdjustColour(pix32 p, const adjustlevels &l) {
  const adjuster a(l);
  int r = p.r, g = p.g, b = p.b;
  if (a.k > 1)
    a.apply<true>(r, g, b);
  else
    a.apply<false>(r, g, b);
  return pix32(uint8_t(r), uint8_t(g), uint8_t(b), p.a);
}

void Adjust(const surf &s, RECT r, const adjustlevels &l) {
  if (!s.bits) return;
  const RECT c = clip_to(s, r);
  if (c.right <= c.left) return;
  const adjuster a(l);
  if (a.k > 1)
    adjust<true>(s, c, a, l.opacity);
  else
    adjust<false>(s, c, a, l.opacity);
}

void AdjustMasked(const surf &mask, const surf &target, RECT r, const adjustlevels &l) {
  if (!mask.bits || !target.bits) return;
  const RECT c = clip_to(mask, clip_to(target, r));
  if (c.right <= c.left) return;
  const adjuster a(l);
  if (a.k > 1)
    adjust_masked<true>(mask, target, c, a);
  else
    adjust_masked<false>(mask, target, c, a);
}

void MakeMapTable(uint8_t *table, int low, int high) {
  for (int i = 0; i < 256; ++i) table[i] = uint8_t(low + (i * (high - low)) / 256);
}

void Map(const surf &s, RECT r, const maptables &t) {
  if (!s.bits) return;
  const RECT c = clip_to(s, r);
  const int n = c.right - c.left;
  for_rows(c, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) {
      pix32 *p = row(s, y) + c.left;
      for (int x = 0; x < n; ++x)
        p[x] = pix32(t.red[p[x].r], t.green[p[x].g], t.blue[p[x].b], t.alpha[p[x].a]);
    }
  });
}

void AlphaAdd(const surf &s, RECT r, int k) {
  if (!s.bits) return;
  const RECT c = clip_to(s, r);
  const int n = c.right - c.left;
  for_rows(c, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) kernels::alpha_add_row(row(s, y) + c.left, n, k);
  });
}

}  // namespace fxkernels
