// Composition against hand-worked pixels and the reference compositor.
#include <gtest/gtest.h>

#include "effects/effect.h"
#include "engine/clipsource.h"
#include "engine/enginetest.h"
#include "media/surface.h"
#include "support/mediafile.h"

using namespace enginetest;

namespace {

constexpr int W = 160, H = 120;
constexpr frac kUnit{0, 0, 1, 1};

// The root's finishing step: full opacity.
refpic Finished(refpic p) {
  for (pix32 &q : p.px) q.a = 255;
  return p;
}

void ExpectAll(const refpic &p, pix32 want) { EXPECT_EQ(FirstDifference(p, refpic(W, H, want)), ""); }

// A uniform picture blended over the cleared (transparent black) parent.
refpic Ground(pix32 c) {
  refpic want(W, H);
  RefComposite(want, refpic(W, H, c), kUnit, kUnit, true);
  return want;
}

pix32 Other(int x, int y) { return pix32(uint8_t(x * 4), uint8_t(y * 5), uint8_t(200 - x - y), 0); }

}  // namespace

TEST(Compose, OpaqueStillComesOutOneStepDarkerAndFadesByItsOpacity) {
  project pr;
  clip *c = pr.Still(pr.root(), "solid.bmp", 8, 6, 0, 5000, 0, [](int, int) { return pix32(200, 100, 50); });
  ASSERT_NE(c, nullptr);
  // Alpha 0 + trunc(1 * 256.1) = 255: (200 * 255) >> 8 = 199 over black.
  ExpectAll(pr.At(100), pix32(199, 99, 49, 255));
  // Opacity 0.5: alpha 128, (200 * 128) >> 8 = 100.
  Key(c, clipvar::IDS_START_OPACITY, 0, 0.5);
  ExpectAll(pr.At(100), pix32(100, 50, 25, 255));
  // Negative opacity takes the picture away entirely.
  Key(c, clipvar::IDS_START_OPACITY, 0, -1.0);
  ExpectAll(pr.At(100), pix32(0, 0, 0, 255));
}

// A picture with its own alpha channel shows its transparency once imported; one without
// stays opaque. GradientPixel(0, 50, 20) is (200, 100, 50).
TEST(Compose, ImportedPictureKeepsItsOwnTransparency) {
  project pr;
  fixtures::media_recipe s{.format = "image2",
                           .video_codec = "png",
                           .pix_fmt = "rgba",
                           .gradient = true,
                           .alpha = 128,
                           .width = W,
                           .height = H,
                           .frames = 1};
  const std::string half = fixtures::WriteTempMedia("half.png", s);
  s.pix_fmt = "rgb24";
  const std::string opaque = fixtures::WriteTempMedia("opaque.png", s);

  clip *c = pr.p->AddMedia(pr.root(), half.c_str(), 0, 0, 5000);
  ASSERT_NE(c, nullptr);
  // Its opacity starts at 0: (200 * 128) >> 8 = 100 over black.
  EXPECT_EQ(pr.At(100).at(50, 20), pix32(100, 50, 25, 255));
  // Raised by the user, it fades towards opaque: alpha 128 + 128 = 255 at opacity 0.5.
  Key(c, clipvar::IDS_START_OPACITY, 0, 0.5);
  EXPECT_EQ(pr.At(100).at(50, 20), pix32(199, 99, 49, 255));

  project other;
  clip *d = other.p->AddMedia(other.root(), opaque.c_str(), 0, 0, 5000);
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(other.At(100).at(50, 20), pix32(199, 99, 49, 255));
}

TEST(Compose, TrackZeroCoversHigherTracksWhateverTheChildOrder) {
  project pr;
  // Blue first in child order but on track 0; red on track 1 is drawn first, then covered.
  pr.Solid(pr.root(), pix32(0, 0, 255, 255), 0, 5000, 0);
  pr.Solid(pr.root(), pix32(255, 0, 0, 255), 0, 5000, 1);
  pr.Solid(pr.root(), pix32(0, 255, 0, 255), 0, 5000, INT32_MAX);  // far below, and no slower
  ExpectAll(pr.At(0), pix32(0, 0, 254, 255));

  // Half-transparent red over opaque blue: blue 254 first, then r = 255 * 128 >> 8 = 127 and
  // b = 254 * 127 >> 8 = 126.
  project half;
  half.Solid(half.root(), pix32(255, 0, 0, 128), 0, 5000, 0);
  half.Solid(half.root(), pix32(0, 0, 255, 255), 0, 5000, 1);
  ExpectAll(half.At(0), pix32(127, 0, 126, 255));
}

TEST(Compose, AChildTakesPartFromItsStartToItsEndBothIncluded) {
  project pr;
  clip *c = pr.Solid(pr.root(), pix32(255, 255, 255, 255), 1000, 1000, 0);
  ASSERT_NE(c, nullptr);
  const pix32 black(0, 0, 0, 255), white(254, 254, 254, 255);
  for (int t : {999, 1000, 2000, 2001})
    EXPECT_EQ(pr.At(t).at(5, 5), t >= 1000 && t <= 2000 ? white : black) << t;
  // Trimming the head keeps the end: the clip now starts at 1400.
  c->SetOffset(400);
  for (int t : {1399, 1400, 2000, 2001})
    EXPECT_EQ(pr.At(t).at(5, 5), t >= 1400 && t <= 2000 ? white : black) << t;
  // A muted clip adds nothing.
  c->SetVideoMute(true);
  EXPECT_EQ(pr.At(1500).at(5, 5), black);
}

TEST(Compose, LayersWithCroppedKeyedAndOffFrameRectanglesMatchTheReference) {
  project pr;
  clip *a = pr.Still(pr.root(), "a.bmp", 40, 30, 0, 5000, 2);
  clip *b = pr.Still(pr.root(), "b.bmp", 64, 48, 0, 5000, 1, Other);
  clip *c = pr.Solid(pr.root(), pix32(10, 200, 30, 100), 0, 5000, 0);
  ASSERT_TRUE(a && b && c);
  const frac bsrc{0.25, 0, 1, 0.75}, bdst{-0.25, 0.5, 0.75, 1.5};
  SetSrc(b, 0, bsrc);
  SetDst(b, 0, bdst);
  Key(b, clipvar::IDS_START_OPACITY, 0, 0.5);
  SetDst(c, 0, {0, 0, 0.5, 0.5});
  SetDst(c, 1000, {0.5, 0.5, 1, 1});

  refpic apic = Pattern(40, 30, PatternPixel), bpic = Pattern(64, 48, Other);
  RefOpacity(apic, 1.0);
  RefOpacity(bpic, 0.5);
  const refpic cpic(W, H, pix32(10, 200, 30, 100));
  // The keyed destination at 0, half way and at the second key.
  const frac cdst[3] = {{0, 0, 0.5, 0.5}, {0.25, 0.25, 0.75, 0.75}, {0.5, 0.5, 1, 1}};
  for (int i = 0; i < 3; ++i) {
    refpic want(W, H);
    RefComposite(want, apic, kUnit, kUnit, true);
    RefComposite(want, bpic, bsrc, bdst, true);
    RefComposite(want, cpic, kUnit, cdst[i], true);
    const refpic got = pr.At(i * 500);
    EXPECT_EQ(FirstDifference(got, Finished(want)), "") << "at " << i * 500 << " ms";
  }
}

TEST(Compose, DestinationsWhollyOutsideOrTooSmallAddNothing) {
  project pr;
  clip *c = pr.Solid(pr.root(), pix32(255, 255, 255, 255), 0, 5000, 0);
  // The last: one pixel wide, narrower than the scaling works with.
  for (frac d : {frac{1, 0, 2, 1}, frac{-3, -3, 0, 0}, frac{0.5, 0, 0.5 + 1.0 / W, 1}}) {
    SetDst(c, 0, d);
    ExpectAll(pr.At(0), pix32(0, 0, 0, 255));
  }
}

TEST(Compose, EffectChainRunsOnAParentSizedCopyWithEnableAndToggleKeys) {
  project pr;
  pr.Solid(pr.root(), pix32(0, 90, 0, 255), 0, 5000, 1);
  clip *b = pr.Still(pr.root(), "b.bmp", 64, 48, 0, 5000, 0, Other);
  ASSERT_NE(b, nullptr);
  const frac src{-0.5, 0, 0.5, 0.5}, dst{0.25, 0.25, 0.75, 1.25};
  SetSrc(b, 0, src);
  SetDst(b, 0, dst);
  effectVideo *fx = b->VideoEffectAdd(103);
  ASSERT_NE(fx, nullptr);
  Key(fx, fxid::IDS_OPACITY, 0, -0.5);  // alpha - 127 ...
  SetRect(fx, fxid::IDS_EFF_L, fxid::IDS_EFF_T, fxid::IDS_EFF_R, fxid::IDS_EFF_B, 0,
          {0, 0, 0.5, 1});  // ... left half
  effectVideo *off = b->VideoEffectAdd(103);
  Key(off, fxid::IDS_OPACITY, 0, -1.0);
  Key(off, fxid::IDS_EFFECT_ENABLE, 0, 0.0);  // disabled throughout
  effectVideo *toggled = b->VideoEffectAdd(103);
  Key(toggled, fxid::IDS_OPACITY, 0, -1.0);
  Key(toggled, fxid::IDS_EFFECT_TOGGLE, 0, 0.0);  // off until 2000, then on
  Key(toggled, fxid::IDS_EFFECT_TOGGLE, 2000, 1.0);

  refpic e = RefEffectSurface(Pattern(64, 48, Other), src, W, H);
  RefOpacity(e, 1.0);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W / 2; ++x) e.at(x, y).a = uint8_t(std::max(0, e.at(x, y).a - 127));
  refpic want = Ground(pix32(0, 90, 0, 255));
  RefComposite(want, e, kUnit, dst, true);
  EXPECT_EQ(FirstDifference(pr.At(1000), Finished(want)), "");

  // After the toggle's second key the third effect takes every alpha away. Blending alpha 0
  // still costs the ground one step where the picture lies (d * 255 >> 8).
  for (pix32 &q : e.px) q.a = 0;
  refpic ground = Ground(pix32(0, 90, 0, 255));
  RefComposite(ground, e, kUnit, dst, true);
  EXPECT_EQ(FirstDifference(pr.At(2500), Finished(ground)), "");
}

// Effects that each work pixel by pixel over the whole picture run on it once it is scaled to
// its place: shrunk, enlarged or partly off the frame, it must come out as the chain run on the
// parent-sized copy would leave it. A switched-off shape key does not stand in the way.
TEST(Compose, PointwiseChainGivesTheParentSizedCopysPixelsWhereverThePictureGoes) {
  project pr;
  pr.Solid(pr.root(), pix32(0, 90, 0, 255), 0, 5000, 1);
  clip *b = pr.Still(pr.root(), "b.bmp", 64, 48, 0, 5000, 0, Other);
  ASSERT_NE(b, nullptr);
  const frac src{0.1, 0.05, 0.9, 0.95};
  SetSrc(b, 0, src);
  Key(b, clipvar::IDS_START_OPACITY, 0, 0.5);          // alpha 0 + 128
  Key(b->VideoEffectAdd(103), fxid::IDS_OPACITY, 0, -0.25);  // - trunc(63.75)
  effectVideo *shape = b->VideoEffectAdd(181);
  ASSERT_NE(shape, nullptr);
  Key(shape, fxid::IDS_EFFECT_ENABLE, 0, 0.0);

  refpic e = RefEffectSurface(Pattern(64, 48, Other), src, W, H);
  RefOpacity(e, 0.5);
  for (pix32 &q : e.px) q.a = uint8_t(q.a - 63);
  for (frac dst : {frac{-0.2, 0.3, 0.35, 0.8}, frac{0.3, -0.2, 1.6, 1.1}, frac{0.013, 0.5, 0.77, 0.61}}) {
    SetDst(b, 0, dst);
    refpic want = Ground(pix32(0, 90, 0, 255));
    RefComposite(want, e, kUnit, dst, true);
    EXPECT_EQ(FirstDifference(pr.At(1000), Finished(want)), "") << "destination from " << dst.l << ", " << dst.t;
  }
}

// A picture over the whole frame whose every alpha comes out 255 hides what lies below, which
// is then left undrawn; a picture that lets any of it through must have it drawn: a hair less
// opacity (a step of 253), a hair less height, an effect that takes alpha away.
TEST(Compose, OnlyAPictureOpaqueOverTheWholeFrameLeavesTheLayersBelowUndrawn) {
  project pr;
  pr.Solid(pr.root(), pix32(0, 90, 0, 255), 0, 5000, 1);
  clip *b = pr.Still(pr.root(), "b.bmp", 64, 48, 0, 5000, 0, Other);
  ASSERT_NE(b, nullptr);
  struct layer {
    double opacity;
    frac dst;
  };
  for (const layer l : {layer{1.0, kUnit}, layer{0.99, kUnit}, layer{1.0, frac{0, 0, 1, 0.99}}}) {
    Key(b, clipvar::IDS_START_OPACITY, 0, l.opacity);
    SetDst(b, 0, l.dst);
    refpic e = Pattern(64, 48, Other);
    RefOpacity(e, l.opacity);
    refpic want = Ground(pix32(0, 90, 0, 255));
    RefComposite(want, e, kUnit, l.dst, true);
    EXPECT_EQ(FirstDifference(pr.At(1000), Finished(want)), "") << l.opacity << ", " << l.dst.b;
  }
  // Opaque after the opacity step, then 63 taken off every alpha by the opacity effect.
  SetDst(b, 0, kUnit);
  Key(b, clipvar::IDS_START_OPACITY, 0, 1.0);
  Key(b->VideoEffectAdd(103), fxid::IDS_OPACITY, 0, -0.25);
  refpic e = RefEffectSurface(Pattern(64, 48, Other), kUnit, W, H);
  for (pix32 &q : e.px) q.a = 255 - 63;
  refpic want = Ground(pix32(0, 90, 0, 255));
  RefComposite(want, e, kUnit, kUnit, true);
  EXPECT_EQ(FirstDifference(pr.At(1000), Finished(want)), "");
}

TEST(Compose, SubArrangementKeepsItsOwnAlphaOverTheParent) {
  project pr;
  pr.Solid(pr.root(), pix32(0, 0, 255, 255), 0, 5000, 1);
  clip *sub = pr.p->AddArrangement(pr.root(), 1000, 3000, 0);
  ASSERT_NE(sub, nullptr);
  const frac subdst{0.5, 0, 1.5, 1};  // its right half lies off the frame
  SetDst(sub, 0, subdst);
  clip *still = pr.Still(sub, "s.bmp", 20, 20, 0, 1000, 1);
  clip *red = pr.Solid(sub, pix32(255, 0, 0, 200), 500, 2000, 0);
  ASSERT_TRUE(still && red);
  SetDst(still, 0, {0, 0, 1, 0.5});
  SetDst(red, 0, {0.25, 0.25, 0.5, 1});

  refpic spic = Pattern(20, 20, PatternPixel);
  RefOpacity(spic, 1.0);
  auto expect = [&](bool with_still, bool with_red) {
    refpic subpic(W, H);  // cleared: transparent black
    if (with_still) RefComposite(subpic, spic, kUnit, {0, 0, 1, 0.5}, true);
    if (with_red)
      RefComposite(subpic, refpic(W, H, pix32(255, 0, 0, 200)), kUnit, {0.25, 0.25, 0.5, 1}, true);
    refpic want = Ground(pix32(0, 0, 255, 255));
    RefComposite(want, subpic, kUnit, subdst, true);
    return Finished(want);
  };
  // The sub-arrangement's children live in its own time: root 1200 is its 200 ms.
  EXPECT_EQ(FirstDifference(pr.At(1200), expect(true, false)), "");
  EXPECT_EQ(FirstDifference(pr.At(1700), expect(true, true)), "");
  EXPECT_EQ(FirstDifference(pr.At(2500), expect(false, true)), "");
  EXPECT_EQ(FirstDifference(pr.At(900), Finished(Ground(pix32(0, 0, 255, 255)))), "");
}

TEST(Compose, EditMarksAppearOnlyInTheEditingViewAndRootEffectsRunAfterTheFullOpacity) {
  project pr;
  clip *c = pr.Solid(pr.root(), pix32(40, 50, 60, 255), 0, 5000, 0);
  effectVideo *fx = c->VideoEffectAdd(103);
  ASSERT_NE(fx, nullptr);
  Key(fx, fxid::IDS_EFFECT_ENABLE, 0, 0.0);
  pr.root()->SelectCurrent(c);
  c->SetCurrentVideoEffect(0);
  const refpic made = pr.At(100);
  ExpectAll(made, pix32(39, 49, 59, 255));
  pr.root()->ClipComposite();
  const refpic edited = Grab(pr.root()->GetDestinationSurface());
  EXPECT_NE(FirstDifference(edited, made), "");
  // Composing for making again shows none of it.
  EXPECT_EQ(FirstDifference(pr.At(100), made), "");

  // An effect of the root takes the alpha the finishing step gave.
  fx = pr.root()->VideoEffectAdd(103);
  ASSERT_NE(fx, nullptr);
  Key(fx, fxid::IDS_OPACITY, 0, -1.0);
  SetRect(fx, fxid::IDS_EFF_L, fxid::IDS_EFF_T, fxid::IDS_EFF_R, fxid::IDS_EFF_B, 0, {0, 0, 1, 0.5});
  const refpic p = pr.At(100);
  EXPECT_EQ(p.at(3, 10), pix32(39, 49, 59, 0));
  EXPECT_EQ(p.at(3, 100), pix32(39, 49, 59, 255));
}

TEST(Compose, ExtraOutputsAddTheirMappedCopyFromTheirPlaceInTheChain) {
  project pr;
  pr.Solid(pr.root(), pix32(0, 90, 0, 255), 0, 5000, 1);
  clip *b = pr.Still(pr.root(), "b.bmp", 64, 48, 0, 5000, 0);
  ASSERT_NE(b, nullptr);
  Key(b->VideoEffectAdd(103), fxid::IDS_OPACITY, 0, -0.5);  // alpha - 127
  effectVideo *extra = b->VideoEffectAdd(182);
  ASSERT_NE(extra, nullptr);
  Key(extra, fxid::IDS_MAP_RED_1, 0, 0.5);  // red to at most 127
  const frac corner{0.5, 0.5, 1.0, 1.0};
  SetRect(extra, fxid::IDS_DST_L, fxid::IDS_DST_T, fxid::IDS_DST_R, fxid::IDS_DST_B, 0, corner);
  Key(b->VideoEffectAdd(103), fxid::IDS_OPACITY, 0, -1.0);  // after the copy: the clip vanishes

  refpic e = RefEffectSurface(Pattern(64, 48, PatternPixel), kUnit, W, H);
  RefOpacity(e, 1.0);
  for (pix32 &q : e.px) q.a = uint8_t(std::max(0, q.a - 127));
  refpic copy = e;
  for (pix32 &q : copy.px)  // the mapper's tables: low + i * (high - low) / 256
    q = pix32(uint8_t(q.r * 127 / 256), uint8_t(q.g * 255 / 256), uint8_t(q.b * 255 / 256),
              uint8_t(q.a * 255 / 256));
  for (pix32 &q : e.px) q.a = 0;
  refpic want = Ground(pix32(0, 90, 0, 255));
  RefComposite(want, e, kUnit, kUnit, true);
  RefComposite(want, copy, kUnit, corner, true);
  EXPECT_EQ(FirstDifference(pr.At(1000), Finished(want)), "");

  // Switched off, it adds nothing.
  Key(extra, fxid::IDS_EFFECT_ENABLE, 0, 0.0);
  refpic without = Ground(pix32(0, 90, 0, 255));
  RefComposite(without, e, kUnit, kUnit, true);
  EXPECT_EQ(FirstDifference(pr.At(1000), Finished(without)), "");
}
