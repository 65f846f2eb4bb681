// Helpers of the engine tests: the reference compositor, pictures and a small project.
#include "engine/enginetest.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "core/dialogs.h"
#include "media/surface.h"
#include "time/timefloat.h"

namespace enginetest {

refpic Grab(KORSurface *s) {
  refpic p;
  surf lk;
  if (!s || !surface::SurfaceDataLock(s, &lk)) return p;
  p = refpic(lk.width, lk.height);
  for (int y = 0; y < lk.height; ++y)
    for (int x = 0; x < lk.width; ++x) p.at(x, y) = lk.bits[size_t(y) * lk.pitch + x];
  surface::SurfaceDataUnlock(&lk);
  return p;
}

std::string FirstDifference(const refpic &a, const refpic &b) {
  if (a.w != b.w || a.h != b.h) return "sizes differ";
  for (int y = 0; y < a.h; ++y)
    for (int x = 0; x < a.w; ++x) {
      const pix32 p = a.at(x, y), q = b.at(x, y);
      if (p == q) continue;
      char t[160];
      std::snprintf(t, sizeof t, "(%d,%d): bgra %d %d %d %d vs %d %d %d %d", x, y, p.b, p.g, p.r, p.a, q.b,
                    q.g, q.r, q.a);
      return t;
    }
  return "";
}

namespace {

int Mix(int s, int d, int a) { return (s * a + d * (255 - a)) >> 8; }

// Maps the interval [a0, a1] onto [b0, b1] and cuts [a0, a1] to [0, 1], moving the partner.
bool Cut(double &a0, double &a1, double &b0, double &b1) {
  if (!(a0 < a1) || !(b0 < b1) || a0 >= 1 || a1 <= 0 || b0 >= 1 || b1 <= 0) return false;
  const double k = (b1 - b0) / (a1 - a0);
  const double na0 = std::max(a0, 0.0), na1 = std::min(a1, 1.0);
  const double nb0 = b0 + (na0 - a0) * k, nb1 = b0 + (na1 - a0) * k;
  a0 = na0;
  a1 = na1;
  b0 = nb0;
  b1 = nb1;
  return a0 < a1 && b0 < b1 && b0 < 1 && b1 > 0;
}

}  // namespace

void RefComposite(refpic &dst, const refpic &src, frac s, frac d, bool blend) {
  if (!Cut(s.l, s.r, d.l, d.r) || !Cut(s.t, s.b, d.t, d.b)) return;
  if (!Cut(d.l, d.r, s.l, s.r) || !Cut(d.t, d.b, s.t, s.b)) return;
  const int sl = int(src.w * s.l), sr = int(src.w * s.r), st = int(src.h * s.t), sb = int(src.h * s.b);
  const int dl = int(dst.w * d.l), dr = int(dst.w * d.r), dt = int(dst.h * d.t), db = int(dst.h * d.b);
  if (sr - sl < 2 || sb - st < 2 || dr - dl < 2 || db - dt < 2) return;
  for (int y = dt; y < db; ++y)
    for (int x = dl; x < dr; ++x) {
      const int sx = sl + (x - dl) * (sr - sl) / (dr - dl);
      const int sy = st + (y - dt) * (sb - st) / (db - dt);
      const pix32 p = src.at(sx, sy);
      pix32 &q = dst.at(x, y);
      if (!blend) {
        q = p;
        continue;
      }
      q = pix32(uint8_t(Mix(p.r, q.r, p.a)), uint8_t(Mix(p.g, q.g, p.a)), uint8_t(Mix(p.b, q.b, p.a)),
                uint8_t(Mix(p.a, q.a, p.a)));
    }
}

void RefOpacity(refpic &p, double op) {
  const int d = int(op * 256.1);
  for (pix32 &q : p.px) q.a = uint8_t(std::clamp(q.a + d, 0, 255));
}

refpic RefEffectSurface(const refpic &src, frac s, int w, int h) {
  refpic out(w, h);
  s.l = std::max(s.l, 0.0);
  s.t = std::max(s.t, 0.0);
  s.r = std::min(s.r, 1.0);
  s.b = std::min(s.b, 1.0);
  const int sl = int(src.w * s.l), sr = int(src.w * s.r), st = int(src.h * s.t), sb = int(src.h * s.b);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) out.at(x, y) = src.at(sl + x * (sr - sl) / w, st + y * (sb - st) / h);
  return out;
}

pix32 PatternPixel(int x, int y) {
  return pix32(uint8_t(x * 7 + y * 3), uint8_t(255 - x * 5), uint8_t(y * 11 + x), 0);
}

refpic Pattern(int w, int h, const std::function<pix32(int, int)> &fn) {
  refpic p(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      pix32 c = fn(x, y);
      c.a = 0;
      p.at(x, y) = c;
    }
  return p;
}

std::string WriteBmp(const std::string &path, int w, int h, const std::function<pix32(int, int)> &fn) {
  KORSurface *s = surface::SurfaceCreate(w, h);
  surf lk;
  surface::SurfaceDataLock(s, &lk);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) lk.bits[size_t(y) * lk.pitch + x] = fn(x, y);
  surface::SurfaceDataUnlock(&lk);
  EXPECT_TRUE(surface::SurfaceSave(s, path.c_str()));
  surface::SurfaceDelete(s);
  return path;
}

project::project(int format) : p(std::make_unique<vemoproject>()) {
  HeadlessDialogs().quiet = true;
  HeadlessDialogs().answer_yes = false;
  HeadlessDialogs().file_answer.clear();
  p->New(format, 135, 10000);
}

clip *project::Solid(clip *parent, pix32 c, int start, int length, int track) {
  clip *g = p->AddGenerator(parent, CLIP_SRC_GRADIENT, start, length, track);
  if (!g) return nullptr;
  // Half a step above each byte, so the truncating conversion gives the byte itself.
  auto level = [](uint8_t v) { return (v + 0.5) / 255.0; };
  for (int base :
       {clipvar::IDS_COLOR_LT_R, clipvar::IDS_COLOR_RT_R, clipvar::IDS_COLOR_RB_R, clipvar::IDS_COLOR_LB_R}) {
    Key(g, base, 0, level(c.r));
    Key(g, base + 1, 0, level(c.g));
    Key(g, base + 2, 0, level(c.b));
    Key(g, base + 3, 0, level(c.a));
  }
  return g;
}

clip *project::Still(clip *parent, const std::string &name, int w, int h, int start, int length, int track,
                     const std::function<pix32(int, int)> &fn) {
  const std::string path = WriteBmp(dir.file(name), w, h, fn);
  return p->AddMedia(parent, path.c_str(), start, track, length);
}

refpic project::At(int t) { return Grab(p->Compose(t)); }

std::string project::Wav(const std::string &name, const std::vector<uint8_t> &samples,
                         const fixtures::wav_layout &layout) {
  return fixtures::WriteTempFile(name, fixtures::WavBytes(layout, samples));
}

void Key(vemotime *o, int id, int t, double v) {
  timefloat *tf = o->FindTimeFloat(id);
  ASSERT_NE(tf, nullptr) << "variable " << id;
  tf->SetValue(t, v);
  tf->Commit();
}

void SetRect(vemotime *o, int l, int tp, int r, int b, int t, frac f) {
  Key(o, l, t, f.l);
  Key(o, tp, t, f.t);
  Key(o, r, t, f.r);
  Key(o, b, t, f.b);
}

void SetDst(vemotime *o, int t, frac f) {
  SetRect(o, clipvar::IDS_DST_L, clipvar::IDS_DST_T, clipvar::IDS_DST_R, clipvar::IDS_DST_B, t, f);
}
void SetSrc(vemotime *o, int t, frac f) {
  SetRect(o, clipvar::IDS_SRC_L, clipvar::IDS_SRC_T, clipvar::IDS_SRC_R, clipvar::IDS_SRC_B, t, f);
}

}  // namespace enginetest
