// The generator factory and the gradient generator.
#include "engine/clipsource.h"

#include <new>

#include "engine/clip.h"
#include "media/surface.h"

clipsrc *clipsrc::Create(int type, clip *owner) {
  switch (type) {
    case CLIP_SRC_TEXT:
      return new (std::nothrow) clipsrcText(owner);
    case CLIP_SRC_GRADIENT:
      return new (std::nothrow) clipsrcGradient(owner);
    default:
      return nullptr;
  }
}

bool clipsrcGradient::Setup() { return srcclip->ClipAddVarsGradient(); }

namespace {

// A 4 x 4 ordered threshold, scaled to the 8 fraction bits of the channels.
constexpr uint8_t kBayer[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};

}  // namespace

bool clipsrcGradient::Paint(KORSurface *s, bool *changed) {
  if (changed) *changed = false;
  if (!s) return false;
  using namespace clipvar;
  const pix32 c[4] = {
      srcclip->GetTimeColor(IDS_COLOR_LT_R, IDS_COLOR_LT_G, IDS_COLOR_LT_B, IDS_COLOR_LT_A),
      srcclip->GetTimeColor(IDS_COLOR_RT_R, IDS_COLOR_RT_G, IDS_COLOR_RT_B, IDS_COLOR_RT_A),
      srcclip->GetTimeColor(IDS_COLOR_LB_R, IDS_COLOR_LB_G, IDS_COLOR_LB_B, IDS_COLOR_LB_A),
      srcclip->GetTimeColor(IDS_COLOR_RB_R, IDS_COLOR_RB_G, IDS_COLOR_RB_B, IDS_COLOR_RB_A),
  };
  uint8_t now[16];
  for (int i = 0; i < 4; ++i) {
    now[4 * i + 0] = c[i].b;
    now[4 * i + 1] = c[i].g;
    now[4 * i + 2] = c[i].r;
    now[4 * i + 3] = c[i].a;
  }
  const int w = s->width, h = s->height;
  bool same = valid && paintedw == w && paintedh == h;
  for (int i = 0; i < 16 && same; ++i) same = corners[i] == now[i];
  if (same) return true;

  surf lk;
  if (!surface::SurfaceDataLock(s, &lk)) return false;
  // Channel value times 256 = bilinear blend of the corners; w1 and h1 are the spans between
  // the first and the last column and row (1 for a single one, so it takes the left/top colour).
  const int64_t w1 = w > 1 ? w - 1 : 1, h1 = h > 1 ? h - 1 : 1;
  const int64_t denom = w1 * h1;
  for (int y = 0; y < h; ++y) {
    pix32 *row = lk.bits + size_t(lk.pitch) * size_t(y);
    int64_t left[4], right[4];
    for (int k = 0; k < 4; ++k) {
      left[k] = int64_t(now[k]) * (h1 - y) + int64_t(now[8 + k]) * y;        // LT .. LB
      right[k] = int64_t(now[4 + k]) * (h1 - y) + int64_t(now[12 + k]) * y;  // RT .. RB
    }
    for (int x = 0; x < w; ++x) {
      const int t = kBayer[y & 3][x & 3] * 16 + 8;
      uint8_t ch[4];
      for (int k = 0; k < 4; ++k) {
        const int64_t v256 = ((left[k] * (w1 - x) + right[k] * x) * 256) / denom;
        const int64_t v = (v256 + t) >> 8;
        ch[k] = uint8_t(v > 255 ? 255 : v);
      }
      row[x] = pix32(ch[2], ch[1], ch[0], ch[3]);
    }
  }
  surface::SurfaceDataUnlock(&lk);
  for (int i = 0; i < 16; ++i) corners[i] = now[i];
  paintedw = w;
  paintedh = h;
  valid = true;
  if (changed) *changed = true;
  return true;
}
