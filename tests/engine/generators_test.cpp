// The gradient and text generators, and repainting only on change.
#include <gtest/gtest.h>

#include <cmath>

#include "engine/clipsource.h"
#include "engine/enginetest.h"

using namespace enginetest;

namespace {

constexpr int W = 160, H = 120;

// The clip's own picture after a composition at t.
refpic Picture(project &pr, clip *c, int t) {
  pr.At(t);
  return Grab(c->GetFrameSurface());
}

struct box {
  int left = W, top = H, right = -1, bottom = -1;
  int count = 0;
};

box Inked(const refpic &p, int alpha_above) {
  box b;
  for (int y = 0; y < p.h; ++y)
    for (int x = 0; x < p.w; ++x)
      if (p.at(x, y).a > alpha_above) {
        b.left = std::min(b.left, x);
        b.right = std::max(b.right, x);
        b.top = std::min(b.top, y);
        b.bottom = std::max(b.bottom, y);
        ++b.count;
      }
  return b;
}

}  // namespace

TEST(Generators, GradientIsTheBilinearBlendOfItsCorners) {
  project pr;
  clip *g = pr.p->AddGenerator(pr.root(), CLIP_SRC_GRADIENT, 0, 1000, 0);
  ASSERT_NE(g, nullptr);
  Key(g, clipvar::IDS_COLOR_RB_A, 0, 0.0);  // the lower right corner fades out
  const refpic p = Picture(pr, g, 0);
  ASSERT_EQ(p.w, W);
  // Corners: white, green, red, transparent blue, exactly.
  EXPECT_EQ(p.at(0, 0), pix32(255, 255, 255, 255));
  EXPECT_EQ(p.at(W - 1, 0), pix32(0, 255, 0, 255));
  EXPECT_EQ(p.at(0, H - 1), pix32(255, 0, 0, 255));
  EXPECT_EQ(p.at(W - 1, H - 1), pix32(0, 0, 255, 0));
  // Everywhere within one step of the exact blend (the ordered rounding).
  const double lt[4] = {255, 255, 255, 255}, rt[4] = {0, 255, 0, 255}, lb[4] = {255, 0, 0, 255},
               rb[4] = {0, 0, 255, 0};
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      const double u = x / double(W - 1), v = y / double(H - 1);
      const pix32 q = p.at(x, y);
      const int got[4] = {q.r, q.g, q.b, q.a};
      for (int k = 0; k < 4; ++k) {
        const double want = (lt[k] * (1 - u) + rt[k] * u) * (1 - v) + (lb[k] * (1 - u) + rb[k] * u) * v;
        ASSERT_LE(std::fabs(got[k] - want), 1.0) << x << "," << y << " channel " << k;
      }
    }
}

TEST(Generators, TextInksItsLettersOnATransparentGroundAlignedAndShadowed) {
  project pr;
  clip *t = pr.p->AddGenerator(pr.root(), CLIP_SRC_TEXT, 0, 1000, 0);
  ASSERT_NE(t, nullptr);
  t->ClipSetText("Ag");
  Key(t, clipvar::IDS_STR_SDIST, 0, 0.0);
  const refpic p = Picture(pr, t, 0);
  const box b = Inked(p, 0);
  ASSERT_GT(b.count, 50);
  // Centred both ways, well inside the picture.
  EXPECT_NEAR((b.left + b.right) / 2.0, W / 2.0, 4);
  EXPECT_NEAR((b.top + b.bottom) / 2.0, H / 2.0, 8);
  // The corners stay clear; full coverage carries the letters' colour (white by default).
  EXPECT_EQ(p.at(0, 0).a, 0);
  for (const pix32 &q : p.px) EXPECT_TRUE(q.a < 255 || q == pix32(255, 255, 255, 255));
  // An opaque background fills the picture.
  Key(t, clipvar::IDS_COLOR_BG_R, 0, 1.0);
  Key(t, clipvar::IDS_COLOR_BG_A, 0, 1.0);
  EXPECT_EQ(Picture(pr, t, 0).at(0, 0), pix32(255, 0, 0, 255));
  Key(t, clipvar::IDS_COLOR_BG_A, 0, 0.0);

  // Aligned left and right; the shadow falls to the lower right by default and turns with its angle.
  t->ClipSetText("x");
  t->ClipSetTextAlign(1);
  const box left = Inked(Picture(pr, t, 0), 0);
  t->ClipSetTextAlign(2);
  const box right = Inked(Picture(pr, t, 0), 0);
  EXPECT_LT(left.right, W / 4);
  EXPECT_GT(right.left, 3 * W / 4);
  t->ClipSetTextAlign(0);
  const box plain = Inked(Picture(pr, t, 0), 0);
  Key(t, clipvar::IDS_STR_SDIST, 0, 0.1);  // 12 pixels
  const box shadowed = Inked(Picture(pr, t, 0), 0);
  EXPECT_GT(shadowed.right, plain.right + 4);
  EXPECT_GT(shadowed.bottom, plain.bottom + 4);
  EXPECT_EQ(shadowed.left, plain.left);
  Key(t, clipvar::IDS_STR_SANG, 0, 1.0);  // half way round: to the upper left
  const box turned = Inked(Picture(pr, t, 0), 0);
  EXPECT_LT(turned.left, plain.left - 4);
  EXPECT_LT(turned.top, plain.top - 4);
}

TEST(Generators, PaintingRepeatsOnlyWhenSomethingChanged) {
  project pr;
  clip *t = pr.p->AddGenerator(pr.root(), CLIP_SRC_TEXT, 0, 1000, 0);
  t->ClipSetText("same");
  clipsrc *src = t->GetClipSource();
  ASSERT_NE(src, nullptr);
  bool first = false, again = true, texted = false, keyed = false;
  src->Paint(t->GetFrameSurface(), &first);
  src->Paint(t->GetFrameSurface(), &again);
  t->ClipSetText("other");
  src->Paint(t->GetFrameSurface(), &texted);
  Key(t, clipvar::IDS_STR_ITALIC, 500, 1.0);
  t->SetCurrentTime(600);
  src->Paint(t->GetFrameSurface(), &keyed);
  EXPECT_EQ(std::tuple(first, again, texted, keyed), std::tuple(true, false, true, true));
  EXPECT_FALSE(t->AddClipSource(CLIP_SRC_GRADIENT));  // a generator the clip cannot have
  for (auto [type, ok] : {std::pair{172, true}, {568, true}, {412, false}, {0, false}})
    EXPECT_EQ(clip::check_clip_src_type(type), ok) << type;
}
