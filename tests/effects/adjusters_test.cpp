// Adjuster kernels and level readers by hand-worked colours, and the fast paths.
#include "effects/adjusters.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "effects/fxtest.h"
#include "effects/levels.h"
#include "media/kernels.h"

using fxkernels::adjustlevels;
using fxtest::canvas;
using fxtest::rgba;

TEST(Levels, TruncateAndClampByUse) {
  for (auto [v, byte] : {std::pair{0.5, 127}, {1.7, 255}, {-0.2, 0}, {0.999, 254}, {std::nan(""), 0}})
    EXPECT_EQ(fxlevels::ColourByte(v), byte) << v;
  // -0.5 truncates toward zero to -127, not to the floor -128.
  for (auto [v, level] : {std::pair{-0.5, -127}, {-3.0, -255}, {2.0, 255}, {0.001, 0}, {std::nan(""), 0}})
    EXPECT_EQ(fxlevels::SignedLevel(v), level) << v;
  EXPECT_EQ(fxlevels::UnsignedLevel(-0.5), 0);
}

TEST(AdjustColour, ShiftsSaturateAndDesaturationNeedsKAboveOne) {
  adjustlevels l;
  l.red = 50;
  l.blue = -255;
  // Saturation 255 (k 0) and 254 (k 1): no mixing step.
  for (int saturation : {254, 255}) {
    l.saturation = saturation;
    EXPECT_EQ(fxkernels::AdjustColour(rgba(10, 200, 30, 9), l), rgba(60, 200, 0, 9)) << saturation;
  }
  l.red = 255;
  EXPECT_EQ(fxkernels::AdjustColour(rgba(10, 200, 30), l), rgba(255, 200, 0));

  // Saturation 0: pure red has L = 63 and every channel becomes 63 * 255 / 256 = 62.
  adjustlevels grey;
  grey.saturation = 0;
  EXPECT_EQ(fxkernels::AdjustColour(rgba(255, 0, 0), grey), rgba(62, 62, 62));
  // Saturation 128 (k 127): L = 100, r = (100*127 + 200*128) / 256 = 149, g = 99, b = 49.
  adjustlevels half;
  half.saturation = 128;
  EXPECT_EQ(fxkernels::AdjustColour(rgba(200, 100, 0), half), rgba(149, 99, 49));
}

TEST(Adjust, EveryPixelOfTheRectangleAlphaIncluded) {
  canvas c(4, 2, rgba(100, 100, 100, 200));
  c.at(1, 0) = rgba(100, 100, 100, 0);
  adjustlevels l;
  l.green = 20;
  l.opacity = 100;
  fxkernels::Adjust(c.locked(), RECT{0, 0, 3, 1}, l);
  // Alpha 0 is adjusted and raised too; (3, 0) and (0, 1) are outside the rectangle.
  EXPECT_EQ(std::vector({c.at(0, 0), c.at(1, 0), c.at(3, 0), c.at(0, 1)}),
            std::vector({rgba(100, 120, 100, 255), rgba(100, 120, 100, 100), rgba(100, 100, 100, 200),
                         rgba(100, 100, 100, 200)}));
}

TEST(AdjustMaskedAndMap, MixesByMaskAlphaNeverWritesTargetAlphaAndMapsThroughTables) {
  canvas mask(4, 1), target(4, 1, rgba(100, 150, 200, 77));
  mask.set({rgba(0, 0, 0, 0), rgba(0, 0, 0, 255), rgba(0, 0, 0, 128), rgba(0, 0, 0, 255)});
  adjustlevels l;
  l.red = 50;
  l.opacity = 255;  // read by the keyed adjusters, never written by them
  fxkernels::AdjustMasked(mask.locked(), target.locked(), RECT{0, 0, 3, 1}, l);
  // Mask 255: (150*255 + 100*0) / 256 = 149, and unchanged channels lose one step.
  // Mask 128: (150*128 + 100*127) / 256 = 124; (150*128 + 150*127) / 256 = 149. The last is outside.
  EXPECT_EQ(target.pixels(), std::vector({rgba(100, 150, 200, 77), rgba(149, 149, 199, 77),
                                          rgba(124, 149, 199, 77), rgba(100, 150, 200, 77)}));

  // Map lines fall, rise and flatten. Red 255 + (-32640 / 256 = -127) and 255 + (-65025 / 256 =
  // -254); the default map (green) is one step short of the identity at the top.
  const fxkernels::maplines lines{{255, 0}, {0, 255}, {0, 0}, {10, 20}};
  for (auto map : {fxkernels::Map, fxkernels::ref::Map}) {
    canvas c(11, 1, rgba(0, 255, 77, 255));
    c.at(2, 0) = rgba(255, 1, 3, 0);
    c.at(9, 0) = rgba(128, 1, 3, 0);  // the vector's eight pixels are 1..8, the rest by the tables
    c.at(10, 0) = rgba(128, 1, 3, 0);
    map(c.locked(), RECT{1, 0, 10, 1}, lines);
    const pix32 m = rgba(255, 254, 0, 19);
    EXPECT_EQ(c.pixels(), std::vector({rgba(0, 255, 77, 255), m, rgba(1, 0, 0, 10), m, m, m, m, m, m,
                                       rgba(128, 0, 0, 10), rgba(128, 1, 3, 0)}));
  }
}

TEST(AlphaAdd, SaturatesBothWaysAndRaisesTransparent) {
  canvas c(9, 2);  // wider than one vector step, with a tail
  c.fill(rgba(5, 6, 7, 200));
  c.at(8, 0) = rgba(5, 6, 7, 0);
  fxkernels::AlphaAdd(c.locked(), RECT{0, 0, 9, 1}, 100);
  EXPECT_EQ(std::vector({c.at(0, 0), c.at(8, 0), c.at(0, 1)}),
            std::vector({rgba(5, 6, 7, 255), rgba(5, 6, 7, 100), rgba(5, 6, 7, 200)}));
  fxkernels::AlphaAdd(c.locked(), RECT{0, 0, 9, 2}, -255);
  for (int x = 0; x < 9; ++x) EXPECT_EQ(c.at(x, 1).a, 0);
}

TEST(Adjust, VectorPathsMatchTheReferenceOverEveryWidthAndTail) {
  std::mt19937 rng(21);
  std::uniform_int_distribution<int> level(-255, 255), unsig(0, 255);
  const kernels::tier best = kernels::ActiveTier();
  for (int step = 0; step < 74; ++step) {
    const int w = step % 37 + 1;
    kernels::LimitTier(step < 37 ? best : kernels::tier::sse2);  // each vector width with its tails
    for (int round = 0; round < 6; ++round) {
      adjustlevels l;
      l.red = level(rng);
      l.green = round == 0 ? 0 : level(rng);
      l.blue = level(rng);
      l.opacity = level(rng);
      // Every other round desaturates (k > 1); the others stay at k 0 or 1.
      l.saturation = round % 2 ? unsig(rng) % 254 : 254 + round % 4 / 2;
      canvas a(w, 3), b(w, 3), mask(w, 3), c(w, 3), d(w, 3);
      a.randomise(rng);
      mask.randomise(rng);
      for (canvas *copy : {&b, &c, &d}) copy->set(a.pixels());
      const RECT r{w > 2 ? 1 : 0, 0, w, 3};
      fxkernels::Adjust(a.locked(), r, l);
      fxkernels::ref::Adjust(b.locked(), r, l);
      ASSERT_EQ(a.pixels(), b.pixels()) << "width " << w << " round " << round;
      fxkernels::AdjustMasked(mask.locked(), c.locked(), r, l);
      fxkernels::ref::AdjustMasked(mask.locked(), d.locked(), r, l);
      ASSERT_EQ(c.pixels(), d.pixels()) << "width " << w << " round " << round;
    }
  }
  kernels::LimitTier(best);
}
