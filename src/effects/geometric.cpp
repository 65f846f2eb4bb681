// The geometric effects: mirrors, rotator, wipe, second output, bubble, row and column waves and
// the square-root lens, with the rotator and frame colour variable groups.
#include "effects/geometric.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "effects/levels.h"
#include "effects/sampling.h"
#include "media/kernels.h"
#include "media/rows.h"
#include "media/surface.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

// Truncation toward zero that keeps NaN and huge values out of the integer conversion.
int trunc_int(double v) {
  if (!(v == v)) return 0;
  return int(std::clamp(v, -1e9, 1e9));
}

double unit(double v) { return !(v > 0.0) ? 0.0 : v > 1.0 ? 1.0 : v; }

surf32 frame_of(const surf &s) { return surf32{s.width, s.height, s.pitch, s.bits}; }

bool empty(const RECT &r) { return r.right <= r.left || r.bottom <= r.top; }

}  // namespace

// ---- Mirrors ----

int effectVideo::FlipXProcess(KORSurface *s, RECT rc) {
  surf a;
  if (!surface::SurfaceDataLock(s, &a)) return 0;
  const RECT r = clip_to(a, rc);
  for_rows(r, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) kernels::mirror_row(row_of(a, y) + r.left, r.right - r.left);
  });
  surface::SurfaceDataUnlock(&a);
  return 1;
}

int effectVideo::FlipYProcess(KORSurface *s, RECT rc) {
  surf a;
  if (!surface::SurfaceDataLock(s, &a)) return 0;
  const RECT r = clip_to(a, rc);
  // Each row of the upper half changes places with its mirror in the lower half.
  const RECT upper{r.left, r.top, r.right, r.top + (r.bottom - r.top) / 2};
  for_rows(upper, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y)
      kernels::swap_rows(row_of(a, y) + r.left, row_of(a, r.bottom - 1 - (y - r.top)) + r.left,
                         r.right - r.left);
  });
  surface::SurfaceDataUnlock(&a);
  return 1;
}

int effectFlipX::Process(KORSurface *, KORSurface *destination, RECT rc) {
  return FlipXProcess(destination, rc);
}

int effectFlipY::Process(KORSurface *, KORSurface *destination, RECT rc) {
  return FlipYProcess(destination, rc);
}

// ---- Rotator ----

effectRotator::effectRotator(clip *owner, vemowin *w, surface *s) : effectTyped(owner, w, s) {
  RotatorVars();
}

int effectRotator::Process(KORSurface *source, KORSurface *destination, RECT rc) {
  return RotatorProcess(source, destination, rc);
}

int effectVideo::RotatorProcess(KORSurface *source, KORSurface *destination, RECT rc) {
  surface::SurfaceClear(destination);
  const double cx = GetTimeFloat(fxid::IDS_CENTERX);
  const double cy = GetTimeFloat(fxid::IDS_CENTERY);
  const double turns = GetTimeFloat(fxid::IDS_ROTATIONS);
  const double degrees = GetTimeFloat(fxid::IDS_ANGLE);
  fxsample::locked_pair lk(source, destination);
  if (!lk.ok()) return 0;
  // The centre is measured from the frame's corner, not the rectangle's: a rectangle away from
  // the origin turns about a point shifted by its offset. Kept as it always was.
  const POINT c{trunc_int((rc.right - rc.left) * cx), trunc_int((rc.bottom - rc.top) * cy)};
  surf32 from = frame_of(lk.first), to = frame_of(lk.second);
  pixelator::Rotate(&from, &to, rc, c, turns * 360.0 + degrees);
  return 1;
}

// ---- Wipe ----

effectWipe::effectWipe(clip *owner, vemowin *w, surface *s) : effectTyped(owner, w, s) {
  TV_IDS_EFFECT_VARS();
  TV_IDS_WIPEANGLE();
  TV_IDS_PROGRESS();
  TV_IDS_SMOOTHING();
}

int effectWipe::Process(KORSurface *, KORSurface *destination, RECT rc) {
  const double angle = GetTimeFloat(fxid::IDS_WIPEANGLE);
  const double progress = GetTimeFloat(fxid::IDS_PROGRESS);
  const double smoothing = GetTimeFloat(fxid::IDS_SMOOTHING);
  const double theta = -angle * kPi / 180.0;
  const double k = std::clamp((1.0 - smoothing) * 64.0, 0.0, 64.0);
  const double sn = std::sin(theta), cs = std::cos(theta);
  const int w = rc.right - rc.left, h = rc.bottom - rc.top;
  surf a;
  if (!surface::SurfaceDataLock(destination, &a)) return 0;
  if (w > 0 && h > 0) {
    const int cx = rc.left + w / 2 + trunc_int(w * cs * progress);
    const int cy = rc.top + h / 2 + trunc_int(h * sn * progress);
    const RECT r = clip_to(a, rc);
    // The column term of the ramp, once per call.
    std::vector<double> across(size_t(std::max(r.right - r.left, 0)));
    for (int x = r.left; x < r.right; ++x)
      across[size_t(x - r.left)] = 2.0 * k * cs * double(cx - x) / double(w);
    // Along a row the level is monotonic in x (each step of its sum is), so the row is a run
    // at 255, which changes nothing, a ramp, and a run at 0, in one order or the other: the
    // ends of the ramp are found by bisection and only the ramp is worked pixel by pixel.
    for_rows(r, [&](int y0, int y1) {
      for (int y = y0; y < y1; ++y) {
        const double down = 2.0 * k * sn * double(cy - y) / double(h);
        pix32 *p = row_of(a, y);
        auto level = [&](int x) { return uint8_t(unit(down + across[size_t(x - r.left)]) * 255.0); };
        auto ramp = [&](int from, int to) {
          for (int x = from; x < to; ++x) p[x].a = std::min(p[x].a, level(x));
        };
        if (level(r.left) >= level(r.right - 1)) {
          const int start = first_where(r.left, r.right, [&](int x) { return level(x) < 255; });
          const int zero = first_where(start, r.right, [&](int x) { return level(x) == 0; });
          ramp(start, zero);
          kernels::alpha_set_row(p + zero, r.right - zero, 0);
        } else {
          const int start = first_where(r.left, r.right, [&](int x) { return level(x) > 0; });
          kernels::alpha_set_row(p + r.left, start - r.left, 0);
          ramp(start, first_where(start, r.right, [&](int x) { return level(x) == 255; }));
        }
      }
    });
  }
  surface::SurfaceDataUnlock(&a);
  return 1;
}

// ---- Second output ----

effectExtraOutput::effectExtraOutput(clip *owner, vemowin *w, surface *s) : effectTyped(owner, w, s) {
  VarsEffectMapper();
  TV_IDS_DST_RECT();
  TV_IDS_DST_L();
  TV_IDS_DST_T();
  TV_IDS_DST_R();
  TV_IDS_DST_B();
}

int effectExtraOutput::Process(KORSurface *, KORSurface *destination, RECT rc) {
  return ProcessEffectMapper(destination, rc);
}

// ---- Bubble ----

effectBubble::effectBubble(clip *owner, vemowin *w, surface *s) : effectTyped(owner, w, s) {
  TV_IDS_EFFECT_VARS();
  TV_IDS_RED();
  TV_IDS_GREEN();
  TV_IDS_BLUE();
}

// With (u, v) the position in the ellipse scaled to the unit circle, the glass is the hemisphere
// z = sqrt(1 - u^2 - v^2). Refraction through it is taken as a pull toward the centre that is
// strongest where the glass is thickest: a pixel shows the picture at
//   centre + (p - centre) * (1 - 0.5 z),
// twice magnified in the middle and unmoved at the rim. The tint adds colour * (1 - z), nothing
// in the middle and all of it at the rim, and a highlight from the upper left adds
// 170 * max(0, n . l)^16 with n = (u, v, z) and l = (-1, -1, 2) / sqrt(6).
int effectBubble::Process(KORSurface *source, KORSurface *destination, RECT rc) {
  const int tint[3] = {fxlevels::ColourByte(GetTimeFloat(fxid::IDS_RED)),
                       fxlevels::ColourByte(GetTimeFloat(fxid::IDS_GREEN)),
                       fxlevels::ColourByte(GetTimeFloat(fxid::IDS_BLUE))};
  fxsample::locked_pair lk(source, destination);
  if (!lk.ok()) return 0;
  const surf &src = lk.first, &dst = lk.second;
  const RECT r = clip_to(dst, clip_to(src, rc));
  if (empty(r)) return 1;
  const double ra = (r.right - r.left) / 2.0, rb = (r.bottom - r.top) / 2.0;
  const double cx = r.left + ra, cy = r.top + rb;  // in pixel edges: pixel x spans [x, x + 1)
  const double inv_sqrt6 = 1.0 / std::sqrt(6.0);
  std::vector<double> across(static_cast<size_t>(r.right - r.left));
  for (int x = r.left; x < r.right; ++x) across[size_t(x - r.left)] = (x + 0.5 - cx) / ra;
  for_rows(r, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) {
      const double v = (y + 0.5 - cy) / rb;
      const pix32 *sp = row_of(src, y);
      pix32 *dp = row_of(dst, y);
      for (int x = r.left; x < r.right; ++x) {
        const double u = across[size_t(x - r.left)];
        const double rho2 = u * u + v * v;
        if (rho2 >= 1.0) {
          dp[x] = sp[x];
          continue;
        }
        const double z = std::sqrt(1.0 - rho2), m = 1.0 - 0.5 * z;
        // Positions inside the rectangle are not negative: adding a half and truncating rounds.
        const int fx = int((cx + (x + 0.5 - cx) * m - 0.5) * 256.0 + 0.5);
        const int fy = int((cy + (y + 0.5 - cy) * m - 0.5) * 256.0 + 0.5);
        pix32 p = fxsample::Bilinear(src, r, fx, fy);
        double lit = (-u - v + 2.0 * z) * inv_sqrt6;
        lit = lit > 0.0 ? lit * lit : 0.0;
        lit *= lit;
        lit *= lit;
        lit *= lit;  // the 16th power
        const int glow = int(170.0 * lit), rim = int(256.0 * (1.0 - z));
        p.r = uint8_t(std::min(255, p.r + glow + ((tint[0] * rim) >> 8)));
        p.g = uint8_t(std::min(255, p.g + glow + ((tint[1] * rim) >> 8)));
        p.b = uint8_t(std::min(255, p.b + glow + ((tint[2] * rim) >> 8)));
        dp[x] = p;
      }
    }
  });
  return 1;
}

// ---- Row and column waves ----

namespace {

// Shift in 1/256 pixel of line i of n lines across a span of `length` pixels. With t = i/(n-1)
// (0 for one line), the position P and frequency F run linearly from the first edge's values to
// the second's, and the line moves by P/10 of the span along a sine of F periods over the lines:
//   shift = P(t) * length / 10 * sin(2 pi F(t) t).
// A position of 0 at both edges moves nothing; 10 swings a line a whole span either way.
int wave_shift(int i, int n, int length, double p0, double f0, double p1, double f1) {
  const double t = n > 1 ? double(i) / double(n - 1) : 0.0;
  const double p = p0 + (p1 - p0) * t, f = f0 + (f1 - f0) * t;
  const double s = p * length / 10.0 * std::sin(2.0 * kPi * f * t) * 256.0;
  if (!std::isfinite(s)) return 0;  // bounds from a damaged file can be anything
  // Reduced to one period of the span, so the fixed-point arithmetic below stays in range.
  return int(std::fmod(std::round(s), double(length) * 256.0));
}

// Start of the cyclic walk for a shift: (-shift) mod span, in 1/256 pixel.
int wave_start(int shift, int span256) {
  int s = -shift % span256;
  return s < 0 ? s + span256 : s;
}

}  // namespace

effectRotX::effectRotX(clip *owner, vemowin *w, surface *s) : effectTyped(owner, w, s) {
  TV_IDS_EFF_ROTX();
  TV_IDS_ROTX_TOP_POS();
  TV_IDS_ROTX_TOP_FREQ();
  TV_IDS_ROTX_BOT_POS();
  TV_IDS_ROTX_BOT_FREQ();
}

int effectRotX::Process(KORSurface *source, KORSurface *destination, RECT rc) {
  const double p0 = GetTimeFloat(fxid::IDS_ROTX_TOP_POS), f0 = GetTimeFloat(fxid::IDS_ROTX_TOP_FREQ);
  const double p1 = GetTimeFloat(fxid::IDS_ROTX_BOT_POS), f1 = GetTimeFloat(fxid::IDS_ROTX_BOT_FREQ);
  fxsample::locked_pair lk(source, destination);
  if (!lk.ok()) return 0;
  const RECT r = clip_to(lk.second, clip_to(lk.first, rc));
  if (empty(r)) return 1;
  const int w = r.right - r.left, h = r.bottom - r.top, span = w * 256;
  for_rows(r, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) {
      const pix32 *sp = row_of(lk.first, y) + r.left;
      pix32 *dp = row_of(lk.second, y) + r.left;
      int pos = wave_start(wave_shift(y - r.top, h, w, p0, f0, p1, f1), span);
      for (int x = 0; x < w; ++x) {
        const int x0 = pos >> 8, x1 = x0 + 1 == w ? 0 : x0 + 1;
        dp[x] = fxsample::Mix(sp[x0], sp[x1], pos & 255);
        if ((pos += 256) >= span) pos -= span;
      }
    }
  });
  return 1;
}

effectRotY::effectRotY(clip *owner, vemowin *w, surface *s) : effectTyped(owner, w, s) {
  TV_IDS_EFF_ROTY();
  TV_IDS_ROTY_LEF_POS();
  TV_IDS_ROTY_LEF_FREQ();
  TV_IDS_ROTY_RIT_POS();
  TV_IDS_ROTY_RIT_FREQ();
}

int effectRotY::Process(KORSurface *source, KORSurface *destination, RECT rc) {
  const double p0 = GetTimeFloat(fxid::IDS_ROTY_LEF_POS), f0 = GetTimeFloat(fxid::IDS_ROTY_LEF_FREQ);
  const double p1 = GetTimeFloat(fxid::IDS_ROTY_RIT_POS), f1 = GetTimeFloat(fxid::IDS_ROTY_RIT_FREQ);
  fxsample::locked_pair lk(source, destination);
  if (!lk.ok()) return 0;
  const RECT r = clip_to(lk.second, clip_to(lk.first, rc));
  if (empty(r)) return 1;
  const int w = r.right - r.left, h = r.bottom - r.top, span = h * 256;
  std::vector<int> start(static_cast<size_t>(w));
  for (int x = 0; x < w; ++x) start[size_t(x)] = wave_start(wave_shift(x, w, h, p0, f0, p1, f1), span);
  for_rows(r, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) {
      pix32 *dp = row_of(lk.second, y) + r.left;
      const int down = (y - r.top) * 256;
      for (int x = 0; x < w; ++x) {
        int pos = start[size_t(x)] + down;
        if (pos >= span) pos -= span;
        const int y0s = pos >> 8, y1s = y0s + 1 == h ? 0 : y0s + 1;
        dp[x] = fxsample::Mix(row_of(lk.first, r.top + y0s)[r.left + x],
                              row_of(lk.first, r.top + y1s)[r.left + x], pos & 255);
      }
    }
  });
  return 1;
}

// ---- Square-root lens ----

namespace {

// Source positions (1/256 pixel) along one axis of n pixels from `first`. With the centre c and
// half-size s of the span and d = (x - c) / s in -1..1, a pixel shows the picture at
//   c + sign(d) |d|^e s,  e = 1 - k for k >= 0 and e = 1 / (1 + k) for k < 0,
// so k = 0.5 is the square-root lens (the middle spreads out, the edges crowd), a negative k the
// inverse mapping, and k = 0 every pixel itself.
void lens_axis(std::vector<fxsample::tap> &out, int first, int n, double k) {
  out.resize(size_t(n));
  if (!(k == k)) k = 0.0;
  k = std::clamp(k, -1.0, 1.0);
  const double e = k >= 0.0 ? 1.0 - k : 1.0 / std::max(1.0 + k, 1e-3);
  const double s = (n - 1) / 2.0, c = first + s;
  for (int i = 0; i < n; ++i) {
    const int x = first + i;
    double pos = x;
    if (s > 0.0 && k != 0.0) {
      const double d = (x - c) / s;
      pos = c + std::copysign(std::pow(std::fabs(d), e), d) * s;
    }
    out[size_t(i)] = fxsample::Tap(int(std::lround(pos * 256.0)), first, first + n);
  }
}

}  // namespace

effectSQRT::effectSQRT(clip *owner, vemowin *w, surface *s) : effectTyped(owner, w, s) {
  TV_IDS_EFFECT_VARS();
  TV_IDS_DISTORTX();
  TV_IDS_DISTORTY();
}

int effectSQRT::Process(KORSurface *source, KORSurface *destination, RECT rc) {
  const double kx = GetTimeFloat(fxid::IDS_DISTORTX), ky = GetTimeFloat(fxid::IDS_DISTORTY);
  fxsample::locked_pair lk(source, destination);
  if (!lk.ok()) return 0;
  const RECT r = clip_to(lk.second, clip_to(lk.first, rc));
  if (empty(r)) return 1;
  std::vector<fxsample::tap> across, down;
  lens_axis(across, r.left, r.right - r.left, kx);
  lens_axis(down, r.top, r.bottom - r.top, ky);
  for_rows(r, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) {
      pix32 *dp = row_of(lk.second, y) + r.left;
      const fxsample::tap ty = down[size_t(y - r.top)];
      const pix32 *r0 = row_of(lk.first, ty.i0), *r1 = row_of(lk.first, ty.i1);
      for (size_t i = 0; i < across.size(); ++i) {
        const fxsample::tap tx = across[i];
        dp[i] = fxsample::Lerp4(r0[tx.i0], r0[tx.i1], r1[tx.i0], r1[tx.i1], tx.w, ty.w);
      }
    }
  });
  return 1;
}

// ---- Variable groups ----

int effectVideo::RotatorVars() {
  TV_IDS_EFFECT_VARS();
  TV_IDS_ANGLE();
  TV_IDS_ROTATIONS();
  TV_IDS_CENTERX();
  return TV_IDS_CENTERY();
}

int effectVideo::FrameColorVars() {
  TV_IDS_COLOR_FRAME();
  TV_IDS_COLOR_FRAME_R();
  TV_IDS_COLOR_FRAME_G();
  TV_IDS_COLOR_FRAME_B();
  return TV_IDS_COLOR_FRAME_A();
}
