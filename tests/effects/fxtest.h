// Small locked surfaces for the effect tests: create, lock, set and read pixels, free.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "effects/effect.h"
#include "media/surface.h"

namespace fxtest {

inline std::unique_ptr<effectVideo> video(int type) {
  return std::unique_ptr<effectVideo>(effectVideo::EffectNew(type, nullptr, nullptr, nullptr));
}

// A random value within its bounds for every value variable (not a header, the rectangle or a switch).
inline void randomise_variables(effectVideo &e, std::mt19937 &rng) {
  timefloatmgr &m = e.GetTimeFloatMgr();
  for (int i = 0; i < m.GetCount(); ++i) {
    timefloat *v = m.GetTimeFloatByIndex(i);
    const int id = v->GetID();
    if (v->GetKind() == TF_KIND_GROUP || id == fxid::IDS_EFFECT_ENABLE || id == fxid::IDS_EFFECT_TOGGLE ||
        (id >= fxid::IDS_EFF_L && id <= fxid::IDS_EFF_B))
      continue;
    e.SetTimeFloat(id, std::uniform_real_distribution<double>(v->GetMinimum(), v->GetMaximum())(rng));
  }
}

inline pix32 rgba(int r, int g, int b, int a = 255) {
  return pix32(uint8_t(r), uint8_t(g), uint8_t(b), uint8_t(a));
}

// A w x h surface, locked for its whole life.
class canvas {
 public:
  canvas(int w, int h) : s(surface::SurfaceCreate(w, h)) { surface::SurfaceDataLock(s, &lk); }
  canvas(int w, int h, pix32 p) : canvas(w, h) { fill(p); }
  ~canvas() {
    surface::SurfaceDataUnlock(&lk);
    surface::SurfaceDelete(s);
  }
  canvas(const canvas &) = delete;
  canvas &operator=(const canvas &) = delete;

  pix32 &at(int x, int y) { return lk.bits[size_t(y) * lk.pitch + x]; }
  const surf &locked() const { return lk; }
  KORSurface *kor() const { return s; }
  RECT whole() const { return RECT{0, 0, width(), height()}; }
  int width() const { return lk.width; }
  int height() const { return lk.height; }

  void fill(pix32 p) {
    for (int y = 0; y < height(); ++y) std::fill_n(&at(0, y), width(), p);
  }
  // Random colours; alpha random, a quarter of the pixels at 0 unless `opaque`.
  void randomise(std::mt19937 &rng, bool opaque = false) {
    std::uniform_int_distribution<int> byte(0, 255);
    for (int y = 0; y < height(); ++y)
      for (int x = 0; x < width(); ++x) {
        int a = opaque ? 255 : byte(rng);
        if (!opaque && byte(rng) < 64) a = 0;
        at(x, y) = pix32(uint8_t(byte(rng)), uint8_t(byte(rng)), uint8_t(byte(rng)), uint8_t(a));
      }
  }
  std::vector<pix32> pixels() {
    std::vector<pix32> v;
    for (int y = 0; y < height(); ++y) v.insert(v.end(), &at(0, y), &at(0, y) + width());
    return v;
  }
  void set(const std::vector<pix32> &v) {
    for (int y = 0; y < height(); ++y) std::copy_n(v.begin() + long(y) * width(), width(), &at(0, y));
  }

 private:
  KORSurface *s;
  surf lk{};
};

}  // namespace fxtest
