// The pattern and frame effects: horizontal and vertical blended loops, the top-left sink
// shadow and the bevelled frame.
#include "effects/patterns.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "effects/levels.h"
#include "effects/sampling.h"
#include "media/kernels.h"
#include "media/rows.h"
#include "media/surface.h"

namespace {

bool empty(const RECT &r) { return r.right <= r.left || r.bottom <= r.top; }

// The loop along a span of n pixels shifted by `percent` of it. Output position o shows source
// position q = (o + s) mod n, s = trunc(n * percent / 100). Where the loop has wrapped (o >= n - s)
// the first b = max(1, n / 8) source positions are cross-blended with their mirror images from
// the far edge, weight (q + 1) / (b + 1) of the picture itself:
//   out = (src(n - 1 - q) * (256 - a) + src(q) * a) >> 8,  a = (q + 1) * 256 / (b + 1),
// so the pixel after the seam continues the one before it and the blend fades out within the
// band. A displacement of 0 (or 100) is the picture unchanged.
struct loop {
  int n, shift, band;
  loop(int span, double percent) : n(span) {
    if (!(percent == percent)) percent = 0.0;
    percent = std::clamp(percent, 0.0, 100.0);
    shift = int(n * percent / 100.0) % n;
    band = std::max(1, n / 8);
  }
  // Weight of the picture itself at source position q after the seam (256 = no blend).
  int weight(int q) const { return q < band ? (q + 1) * 256 / (band + 1) : 256; }
};

}  // namespace

effectPatHor::effectPatHor(clip *owner, vemowin *w, surface *s) : effectTyped(owner, w, s) {
  TV_IDS_EFFECT_VARS();
  TV_IDS_EFF_PATDIS();
}

int effectPatHor::Process(KORSurface *source, KORSurface *destination, RECT rc) {
  const double percent = GetTimeFloat(fxid::IDS_EFF_PATDIS);
  fxsample::locked_pair lk(source, destination);
  if (!lk.ok()) return 0;
  const RECT r = clip_to(lk.second, clip_to(lk.first, rc));
  if (empty(r)) return 1;
  const loop l(r.right - r.left, percent);
  const int n = l.n, s = l.shift;
  // The band's weights, once for all rows.
  std::vector<uint16_t> weights(size_t(std::min(l.band, s)));
  for (size_t q = 0; q < weights.size(); ++q) weights[q] = uint16_t(l.weight(int(q)));
  for_rows(r, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) {
      const pix32 *sp = row_of(lk.first, y) + r.left;
      pix32 *dp = row_of(lk.second, y) + r.left;
      std::memmove(dp, sp + s, size_t(n - s) * sizeof(pix32));
      std::memmove(dp + (n - s), sp, size_t(s) * sizeof(pix32));
      kernels::mix256_mirrored_row(sp + n - 1, sp, dp + n - s, int(weights.size()), weights.data());
    }
  });
  return 1;
}

effectPatVer::effectPatVer(clip *owner, vemowin *w, surface *s) : effectTyped(owner, w, s) {
  TV_IDS_EFFECT_VARS();
  TV_IDS_EFF_PATDIS();
}

int effectPatVer::Process(KORSurface *source, KORSurface *destination, RECT rc) {
  const double percent = GetTimeFloat(fxid::IDS_EFF_PATDIS);
  fxsample::locked_pair lk(source, destination);
  if (!lk.ok()) return 0;
  const RECT r = clip_to(lk.second, clip_to(lk.first, rc));
  if (empty(r)) return 1;
  const loop l(r.bottom - r.top, percent);
  const int n = l.n, s = l.shift, w = r.right - r.left;
  auto src = [&](int q) { return row_of(lk.first, r.top + q) + r.left; };
  for (int o = 0; o < n; ++o) {
    int q = o + s;
    const bool wrapped = q >= n;
    if (wrapped) q -= n;
    pix32 *dp = row_of(lk.second, r.top + o) + r.left;
    const int a = wrapped ? l.weight(q) : 256;
    if (a == 256) {
      std::memmove(dp, src(q), size_t(w) * sizeof(pix32));
    } else {
      kernels::mix256_row(src(n - 1 - q), src(q), dp, w, a);
    }
  }
  return 1;
}

// ---- Sink shadow ----

effectSinkTL::effectSinkTL(clip *owner, vemowin *w, surface *s) : effectTyped(owner, w, s) {
  TV_IDS_EFFECT_VARS();
  TV_IDS_SHADOW_SIZE();
}

// The shadow falls inward from the top and left edges over b = trunc("Shadow Size" * min(w, h) / 2)
// pixels. At distance d < b from an edge it takes away dark(d) = trunc(200 (1 - d/b)^2) of 256;
// where both edges shade a pixel the two keep-factors multiply (256 - dark) per edge, >> 8, and
// each colour becomes c * keep >> 8. Alpha is left alone; a size of 0 changes nothing.
int effectSinkTL::Process(KORSurface *, KORSurface *destination, RECT rc) {
  const double size = GetTimeFloat(fxid::IDS_SHADOW_SIZE);
  surf a;
  if (!surface::SurfaceDataLock(destination, &a)) return 0;
  const RECT r = clip_to(a, rc);
  const int w = r.right - r.left, h = r.bottom - r.top;
  const int b = empty(r) || !(size > 0.0) ? 0 : int(std::min(size, 1.0) * std::min(w, h) / 2.0);
  if (b > 0) {
    std::vector<uint16_t> keep(size_t(std::max(w, h)), 256);
    for (int d = 0; d < b; ++d) {
      const double f = 1.0 - double(d) / b;
      keep[size_t(d)] = uint16_t(256 - int(200.0 * f * f));
    }
    // Below the top band a row keeps (256 * keep) >> 8 = keep of its left band: the factors
    // themselves are its weights, and only the top band's rows are worked out.
    std::vector<uint16_t> weight(static_cast<size_t>(w));
    for (int y = r.top; y < r.bottom; ++y) {
      const int ky = keep[size_t(y - r.top)];
      pix32 *p = row_of(a, y) + r.left;
      if (ky == 256) {
        kernels::shade_row(p, b, keep.data());
        continue;
      }
      for (int x = 0; x < w; ++x) weight[size_t(x)] = uint16_t((ky * keep[size_t(x)]) >> 8);
      kernels::shade_row(p, w, weight.data());
    }
  }
  surface::SurfaceDataUnlock(&a);
  return 1;
}

// ---- Frame ----

effectFrame01::effectFrame01(clip *owner, vemowin *w, surface *s) : effectTyped(owner, w, s) {
  FrameColorVars();
  TV_IDS_EFFECT_VARS();
  TV_IDS_FRAME_SIZE();
  TV_IDS_FRAME_SHADING();
}

namespace {

// A colour moved toward white (s > 0) or black (s < 0) by 0.6 |s| of the way.
uint8_t shade(int c, double s) {
  const double v = s >= 0.0 ? c + (255 - c) * s * 0.6 : c + c * s * 0.6;
  return uint8_t(std::clamp(int(v), 0, 255));
}

}  // namespace

// The border is t = trunc("Frame Size" * min(w, h)) pixels wide. Each border pixel belongs to
// the nearest edge (ties: top, then left, then bottom, which mitres the corners); light falls
// from the upper left, so with shading s the top and left sides take the frame colour shaded by
// s and the bottom and right sides by -s (a raised frame for s > 0, a sunk one for s < 0). The
// colour goes over the picture by "Frame Alpha" a with the blend rule (c * a + d * (255 - a)) >> 8,
// and the pixel's alpha becomes at least a. A size of 0 draws nothing.
int effectFrame01::Process(KORSurface *, KORSurface *destination, RECT rc) {
  const int red = fxlevels::ColourByte(GetTimeFloat(fxid::IDS_COLOR_FRAME_R));
  const int green = fxlevels::ColourByte(GetTimeFloat(fxid::IDS_COLOR_FRAME_G));
  const int blue = fxlevels::ColourByte(GetTimeFloat(fxid::IDS_COLOR_FRAME_B));
  const int alpha = fxlevels::ColourByte(GetTimeFloat(fxid::IDS_COLOR_FRAME_A));
  const double size = GetTimeFloat(fxid::IDS_FRAME_SIZE);
  double shading = GetTimeFloat(fxid::IDS_FRAME_SHADING);
  if (!(shading == shading)) shading = 0.0;
  shading = std::clamp(shading, -1.0, 1.0);
  surf a;
  if (!surface::SurfaceDataLock(destination, &a)) return 0;
  const RECT r = clip_to(a, rc);
  const int w = r.right - r.left, h = r.bottom - r.top;
  const int t = empty(r) || !(size > 0.0) ? 0 : int(std::min(size, 1.0) * std::min(w, h));
  if (t > 0) {
    // Sides in the order top, left, bottom, right.
    pix32 side[4];
    for (int i = 0; i < 4; ++i) {
      const double s = i < 2 ? shading : -shading;
      side[i] = pix32(shade(red, s), shade(green, s), shade(blue, s), uint8_t(alpha));
    }
    auto side_at = [&](int dt, int db, int x) {
      const int dl = x - r.left, dr = r.right - 1 - x;
      const int m = std::min({dt, dl, db, dr});
      return m >= t ? -1 : m == dt ? 0 : m == dl ? 1 : m == db ? 2 : 3;
    };
    // Along a row the distance to the left edge grows and the one to the right shrinks, so a
    // row is a run of the left side, a run of the top or bottom side (or of the inside, left
    // alone), and a run of the right side, each possibly empty.
    for (int y = r.top; y < r.bottom; ++y) {
      pix32 *p = row_of(a, y);
      const int dt = y - r.top, db = r.bottom - 1 - y;
      const int middle = first_where(r.left, r.right, [&](int x) { return side_at(dt, db, x) != 1; });
      const int right = first_where(middle, r.right, [&](int x) { return side_at(dt, db, x) == 3; });
      kernels::paint_row(p + r.left, middle - r.left, side[1], alpha);
      const int across = middle < right ? side_at(dt, db, middle) : -1;
      if (across >= 0) kernels::paint_row(p + middle, right - middle, side[across], alpha);
      kernels::paint_row(p + right, r.right - right, side[3], alpha);
    }
  }
  surface::SurfaceDataUnlock(&a);
  return 1;
}
