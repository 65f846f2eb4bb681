// Key kernels by hand-worked pixels at the bounds, and the fast paths against plain walks.
#include "effects/keys.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <random>

#include "effects/fxtest.h"
#include "media/kernels.h"

using fxkernels::brightkey;
using fxkernels::chromakey;
using fxkernels::dominance;
using fxkernels::rgbkey;
using fxtest::canvas;
using fxtest::rgba;

namespace {

// Puts the colours in row 0 of a fresh canvas, runs the colour key and returns the alphas.
template <class Key>
std::vector<int> keyed(void (*kernel)(const surf &, RECT, const Key &, bool), const Key &k, bool inv,
                       const std::vector<pix32> &in) {
  canvas c(int(in.size()), 1);
  c.set(in);
  kernel(c.locked(), c.whole(), k, inv);
  std::vector<int> out;
  for (size_t i = 0; i < in.size(); ++i) {
    pix32 p = c.at(int(i), 0);
    out.push_back(p.a);
    p.a = in[i].a;
    EXPECT_EQ(p, in[i]);  // a key never writes a colour byte
  }
  return out;
}

// A 10 x 10 rectangle: centre (5, 5), m = 3, D = 18. Radii 0.5 / 0.25 give outer 9, inner 4.
struct shapecase {
  int x, y, alpha_in, plain, inverted;
};

template <class Kernel>
void expect_shape(Kernel k, int w, int h, double v1, double v2, const std::vector<shapecase> &cases) {
  for (bool inv : {false, true}) {
    canvas c(w, h);
    for (const auto &e : cases) c.at(e.x, e.y) = rgba(9, 8, 7, e.alpha_in);
    k(c.locked(), RECT{0, 0, w, h}, v1, v2, inv);
    for (const auto &e : cases)
      EXPECT_EQ(c.at(e.x, e.y).a, inv ? e.inverted : e.plain)
          << "pixel " << e.x << "," << e.y << (inv ? " inverted" : " plain");
  }
}

// The shape keys as the plainest per-pixel walk over the zones, against the run-splitting kernels.
enum class shape { circle, oval, rect };

void shape_reference(canvas &c, RECT r, shape sh, double v1, double v2, bool inv) {
  const int64_t w = r.right - r.left, h = r.bottom - r.top;
  if (w <= 0 || h <= 0) return;
  const int64_t cx = r.left + w / 2, cy = r.top + h / 2, m = std::max(w, h) / 2 - 2;
  const double scale = sh == shape::rect ? double(w / 2) : double(2 * m * m);
  const int64_t outer = int64_t(scale * std::max(v1, v2)), inner = int64_t(scale * std::min(v1, v2));
  for (int y = std::max(r.top, 0); y < std::min<int>(r.bottom, c.height()); ++y)
    for (int x = std::max(r.left, 0); x < std::min<int>(r.right, c.width()); ++x) {
      const int64_t dx = x - cx, dy = (y - cy) * w / h;
      const int64_t d = sh == shape::circle ? dx * dx + (y - cy) * (y - cy)
                        : sh == shape::oval ? dx * dx + dy * dy
                                            : std::max(std::abs(dx), std::abs(dy));
      pix32 &p = c.at(x, y);
      if (p.a == 0) continue;
      if (inv ? d <= inner : d >= outer)
        p.a = 0;
      else if (inv ? d < outer : d > inner)
        p.a = uint8_t(std::min<int64_t>(p.a, (inv ? d - inner : outer - d) * 255 / (outer - inner)));
    }
}


}  // namespace

TEST(KeyRGB, ToleranceZeroKeysOnlyTheColourSkipsTransparentAndBoundsSaturate) {
  const std::vector<pix32> in = {rgba(100, 150, 200), rgba(101, 150, 200),    rgba(100, 149, 200),
                                 rgba(100, 150, 201), rgba(100, 150, 200, 0), rgba(1, 2, 3, 0)};
  EXPECT_EQ(keyed(fxkernels::KeyRGB, rgbkey{100, 150, 200, 0, 0, 0}, false, in),
            (std::vector<int>{0, 255, 255, 255, 0, 0}));
  EXPECT_EQ(keyed(fxkernels::KeyRGB, rgbkey{100, 150, 200, 0, 0, 0}, true, in),
            (std::vector<int>{255, 0, 0, 0, 0, 0}));
  // 250 + 26 would wrap to 20 as a byte; saturated it is 255. 10 - 26 saturates to 0.
  EXPECT_EQ(keyed(fxkernels::KeyRGB, rgbkey{250, 10, 128, 26, 26, 2}, false,
                  {rgba(255, 0, 126), rgba(224, 36, 130), rgba(223, 0, 128), rgba(255, 37, 128),
                   rgba(255, 0, 131)}),
            (std::vector<int>{0, 0, 255, 255, 255}));
}

TEST(KeyChroma, ConversionTruncatesAndWrapsAndTheUpperUBoundIsTheVBound) {
  // (-5 * 10) / 32 is -1, not the floor -2; (-9 * 20) / 32 is -5, not -6. 16 + 512 / 2 = 272 wraps to 16.
  using namespace fxkernels;
  EXPECT_EQ(std::vector<int>({ChromaU(10, 20, 30), ChromaY(10, 20, 30), ChromaV(10, 20, 30), ChromaY(255, 255, 255),
                              ChromaU(255, 255, 255), ChromaV(255, 255, 255), ChromaU(0, 0, 255), ChromaV(0, 255, 0),
                              ChromaY(0, 512, 0)}),
            std::vector<int>({135, 30, 124, 233, 129, 129, 239, 33, 16}));
  // Pure blue: U 239 above V 113. With chroma tolerance 0 the U test is 239 <= U <= 113: nothing
  // is keyed, not even the key colour itself.
  const chromakey blue{0, 0, 255, 0, 0};
  const std::vector<pix32> in = {rgba(0, 0, 255), rgba(0, 0, 254)};
  EXPECT_EQ(keyed(fxkernels::KeyChroma, blue, false, in), (std::vector<int>{255, 255}));
  EXPECT_EQ(keyed(fxkernels::KeyChroma, blue, true, in), (std::vector<int>{0, 0}));

  // Pure red: Y 83, U 89, V 239. Tolerance 10 allows U up to V's 249, not 99: (255, 0, 60) with
  // Y 88, U 115, V 236 is keyed. A luma tolerance of 4 (Y 79..87) lets it go.
  const chromakey red{255, 0, 0, 10, 10};
  const chromakey tight{255, 0, 0, 10, 4};
  const std::vector<pix32> near = {rgba(255, 0, 60), rgba(255, 0, 0), rgba(0, 0, 0, 7)};
  EXPECT_EQ(keyed(fxkernels::KeyChroma, red, false, near), (std::vector<int>{0, 0, 7}));
  EXPECT_EQ(keyed(fxkernels::KeyChroma, tight, false, near), (std::vector<int>{255, 0, 7}));
  EXPECT_EQ(keyed(fxkernels::KeyChroma, tight, true, near), (std::vector<int>{0, 255, 0}));
}

TEST(KeyBright, LumaBoundsInclusiveInEitherOrderAndTiesDominate) {
  // Levels 127 and 51 given high first. Luma (b + r + 2g) / 4.
  auto bright = [](dominance d, bool inv, const std::vector<pix32> &in) {
    return keyed(fxkernels::KeyBright, brightkey{127, 51, d}, inv, in);
  };
  // Grey (luma 100: every dominance ties); luma 51 (the low bound), 50, 127 (the high bound), 128;
  // red strictly largest (luma 100); blue strictly largest; transparent.
  const std::vector<pix32> in = {rgba(100, 100, 100), rgba(0, 102, 0),     rgba(0, 101, 0),     rgba(0, 254, 0),
                                 rgba(4, 254, 0),     rgba(101, 100, 100), rgba(100, 100, 101), rgba(50, 50, 50, 0)};
  EXPECT_EQ(bright(dominance::none, false, in), (std::vector<int>{0, 0, 255, 0, 255, 0, 0, 0}));
  EXPECT_EQ(bright(dominance::green, false, in), (std::vector<int>{0, 0, 255, 0, 255, 255, 255, 0}));
  EXPECT_EQ(bright(dominance::red, false, in), (std::vector<int>{0, 255, 255, 255, 255, 0, 255, 0}));
  EXPECT_EQ(bright(dominance::blue, false, in), (std::vector<int>{0, 255, 255, 255, 255, 255, 0, 0}));
  EXPECT_EQ(bright(dominance::green, true, in), (std::vector<int>{255, 255, 0, 255, 0, 0, 0, 0}));
}

TEST(ShapeKeysByHand, CircleRectAndOvalZonesAndRamps) {
  expect_shape(fxkernels::KeyCircle, 10, 10, 0.25, 0.5,
               {{7, 5, 255, 255, 0},    // d 4 = inner
                {8, 5, 255, 0, 255},    // d 9 = outer
                {7, 6, 255, 204, 51},   // d 5: (9-5)*255/5, (5-4)*255/5
                {6, 7, 100, 100, 51},   // d 5 with alpha 100 below the ramp
                {0, 0, 255, 0, 255},    // corner
                {8, 6, 0, 0, 0}});      // transparent stays transparent
  // Equal radii, outer = inner = 9: no ramp; the plain key keys d >= 9, the inverted one d <= 9.
  expect_shape(fxkernels::KeyCircle, 10, 10, 0.5, 0.5,
               {{8, 5, 255, 0, 0}, {7, 7, 255, 255, 0}, {5, 9, 255, 0, 255}, {5, 5, 255, 255, 0}});
  // Rect, 20 x 10: centre (10, 5), hw 10; sizes 1 / 0.5 give outer 10, inner 5; dy = |(y-5)*20/10|.
  expect_shape(fxkernels::KeyRect, 20, 10, 0.5, 1.0,
               {{16, 5, 255, 204, 51},   // dx 6
                {10, 8, 255, 204, 51},   // dy 6
                {13, 7, 255, 255, 0},    // dx 3, dy 4
                {15, 5, 255, 255, 0},    // d 5 = inner
                {0, 5, 255, 0, 255},     // dx 10 = outer
                {19, 9, 255, 51, 204}});  // dx 9, dy 8: d 9
  // Oval, 20 x 10: centre (10, 5), m = 8, D = 128; radii 0.5 / 0.25 give outer 64, inner 32; dy = (y - 5) * 2.
  expect_shape(fxkernels::KeyOval, 20, 10, 0.5, 0.25,
               {{10, 9, 255, 0, 255},     // dy 8: d 64
                {10, 8, 255, 223, 31},    // dy 6: d 36, 28*255/32 and 4*255/32
                {15, 5, 255, 255, 0},     // d 25
                {17, 5, 255, 119, 135},   // d 49: 15*255/32, 17*255/32
                {18, 5, 255, 0, 255},     // d 64
                {10, 1, 255, 0, 255}});   // dy -8
  // Rect, 474 x 2: outer 237, inner 0. 79 * 255 = 237 * 85 and 158 * 255 = 237 * 170 are exact
  // multiples, where the quotient by the reciprocal comes out one short before its correction.
  expect_shape(fxkernels::KeyRect, 474, 2, 0.0, 1.0, {{316, 1, 255, 170, 85}, {395, 1, 255, 85, 170}});
  // Outer 55079, inner 0: at dx 216, 216 * 255 = 55080 = outer + 1, so the plain level is just
  // under 254 (253) and its float estimate rounds up to 254; the inverted level is 1.
  expect_shape(fxkernels::KeyRect, 474, 2, 0.0, 55079.5 / 237, {{21, 1, 255, 253, 1}});
}

TEST(ShapeKeys, RunsMatchThePerPixelWalkOnRandomRectangles) {
  std::mt19937 rng(7);
  std::uniform_int_distribution<int> coord(-12, 40);
  std::uniform_real_distribution<double> val(0.0, 1.0);
  const kernels::tier best = kernels::ActiveTier();
  for (int round = 0; round < 600; ++round) {
    kernels::LimitTier(round / 2 % 2 ? best : kernels::tier::sse2);  // vector ramps and plain ones
    const int w = 1 + round % 37, h = 1 + (round / 3) % 29;
    canvas a(w, h), b(w, h);
    a.randomise(rng);
    b.set(a.pixels());
    RECT r{coord(rng), coord(rng), 0, 0};
    r.right = r.left + 1 + std::abs(coord(rng));
    r.bottom = r.top + 1 + std::abs(coord(rng));
    const shape sh = shape(round % 3);
    const auto kernel = std::array{fxkernels::KeyCircle, fxkernels::KeyOval, fxkernels::KeyRect}[round % 3];
    // Every fourth round the two values are equal: no ramp at all.
    const double v1 = val(rng), v2 = round % 4 == 0 ? v1 : val(rng);
    const bool inv = round % 2;
    kernel(a.locked(), r, v1, v2, inv);
    shape_reference(b, r, sh, v1, v2, inv);
    ASSERT_EQ(a.pixels(), b.pixels()) << "round " << round;
  }
  kernels::LimitTier(best);
}

TEST(Keys, ColourVectorPathsMatchTheReferenceOverEveryWidthAndTail) {
  std::mt19937 rng(17);
  std::uniform_int_distribution<int> byte(0, 255), tol(0, 60);
  auto u8 = [](int v) { return uint8_t(v); };
  const kernels::tier best = kernels::ActiveTier();
  for (int step = 0; step < 111; ++step) {
    // Each vector width with its tails.
    kernels::LimitTier(std::array{best, kernels::tier::avx2, kernels::tier::sse2}[step / 37]);
    const int w = step % 37 + 1;
    for (int round = 0; round < 8; ++round) {
      canvas a(w, 2), b(w, 2);
      a.randomise(rng);
      // Some pixels on the key colour, so the boxes are not empty.
      const pix32 key = a.at(0, 0);
      for (int x = 0; x < w; x += 3) a.at(x, 1) = pix32(key.r, key.g, key.b, 200);
      b.set(a.pixels());
      const RECT r{w > 2 ? 1 : 0, 0, w, 2};
      const bool inv = round % 2;
      auto both = [&](auto fast, auto plain, const auto &k) {
        fast(a.locked(), r, k, inv);
        plain(b.locked(), r, k, inv);
      };
      if (round < 2)
        both(fxkernels::KeyRGB, fxkernels::ref::KeyRGB,
             rgbkey{key.r, key.g, key.b, u8(tol(rng)), u8(tol(rng)), u8(tol(rng))});
      else if (round < 4)
        both(fxkernels::KeyChroma, fxkernels::ref::KeyChroma,
             chromakey{key.r, key.g, key.b, u8(tol(rng)), u8(tol(rng))});
      else
        both(fxkernels::KeyBright, fxkernels::ref::KeyBright,
             brightkey{u8(byte(rng)), u8(byte(rng)), dominance(w % 4)});
      ASSERT_EQ(a.pixels(), b.pixels()) << "width " << w << " round " << round;
    }
  }
  kernels::LimitTier(best);
}
