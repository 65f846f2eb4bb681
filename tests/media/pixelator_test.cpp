// pixelator: pixel value helpers and the surf32 frame helpers.
#include "media/pixelator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "media/kernels.h"
#include "support/mediafile.h"

namespace {

using frame = std::unique_ptr<surf32, fixtures::closer<&pixelator::Surf32Delete>>;

frame make_frame(int w, int h, uint32_t seed = 0) {
  frame f(pixelator::Surf32Create(w, h));
  std::mt19937 rng(seed);
  for (int i = 0; f && seed && i < w * h; ++i) f->bits[i] = pix32::from_word(uint32_t(rng()));
  return f;
}

pix32 &px(surf32 *f, int x, int y) { return f->bits[size_t(f->pitch) * y + x]; }

}  // namespace

TEST(Pixelator, ValueHelpersFramesVlineAndUpsideDown) {
  EXPECT_EQ(pixelator::contrast(pix32(128, 129, 0, 77)), pix32(255, 0, 255, 0));
  EXPECT_EQ(pixelator::contrast(COLORREF(0xFF80FF01)), COLORREF(0x00FF00FF));  // top byte cleared
  // (10 + 40 + 31) >> 2 = 20
  EXPECT_EQ(std::pair(pixelator::brightness(pix32(255, 255, 255)), pixelator::brightness(pix32(10, 20, 31))),
            std::pair(255, 20));
  EXPECT_EQ(pixelator::bnw(pix32(10, 20, 31, 99)), pix32(20, 20, 20, 99));
  auto f = make_frame(3, 5);
  ASSERT_TRUE(f);
  EXPECT_EQ(f->pitch, 3);
  EXPECT_EQ(reinterpret_cast<uint8_t *>(f->bits) - reinterpret_cast<uint8_t *>(f.get()), 64);
  EXPECT_EQ(pixelator::vline(f.get(), 1, 2, 2, pix32(1, 1, 1, 1)), 1);
  for (int y = 0; y < 5; ++y) EXPECT_EQ(px(f.get(), 1, y).word(), y == 2 ? 0x01010101u : 0u);
  pixelator::vline(f.get(), 2, 4, 1, pix32(9, 9, 9, 9));
  for (int y = 0; y < 5; ++y) EXPECT_EQ(px(f.get(), 2, y).a, y >= 1 ? 9 : 0);
  for (int y = 0; y < 5; ++y) px(f.get(), 0, y) = pix32(uint8_t(y), 0, 0);
  ASSERT_EQ(pixelator::UpsideDown(f.get()), 1);
  for (int y = 0; y < 5; ++y) EXPECT_EQ(px(f.get(), 0, y).r, 4 - y);  // the middle row stays
  EXPECT_EQ(pixelator::Surf32Create(0, 4), nullptr);
  EXPECT_EQ(pixelator::Surf32Load("anything.bmp"), nullptr);
}

TEST(Pixelator, BitBltCopiesOrBlendsByConstantAlpha) {
  auto src = make_frame(4, 3, 1), dst = make_frame(4, 3, 2);
  const pix32 s = px(src.get(), 1, 1), d = px(dst.get(), 1, 1);
  RECT r{1, 1, 3, 2};
  for (int a : {254, 255}) {
    auto copy = make_frame(4, 3, 2);
    ASSERT_EQ(pixelator::BitBlt(src.get(), copy.get(), &r, static_cast<unsigned char>(a)), 1);
    EXPECT_EQ(px(copy.get(), 1, 1), s);  // alpha too
    EXPECT_EQ(px(copy.get(), 0, 1), px(dst.get(), 0, 1));
  }
  ASSERT_EQ(pixelator::BitBlt(src.get(), dst.get(), &r, static_cast<unsigned char>(253)), 1);
  auto mix = [](int a, int b) { return uint8_t((a * 253 + b * 2) / 256); };
  EXPECT_EQ(px(dst.get(), 1, 1), pix32(mix(s.r, d.r), mix(s.g, d.g), mix(s.b, d.b), d.a));  // alpha kept

  auto a = make_frame(2, 1), b = make_frame(2, 1);
  RECT all{0, 0, 2, 1};
  px(a.get(), 0, 0) = pix32(200, 200, 200, 10);
  pixelator::BitBlt(a.get(), b.get(), &all, 0.5);      // a = 127
  EXPECT_EQ(px(b.get(), 0, 0), pix32(99, 99, 99, 0));  // 200 * 127 >> 8
  pixelator::BitBlt(a.get(), b.get(), &all, -3.0);     // a = 0: (d * 255) >> 8
  EXPECT_EQ(px(b.get(), 0, 0), pix32(98, 98, 98, 0));
  pixelator::BitBlt(a.get(), b.get(), &all, 7.0);  // clamped to 1: a copy
  EXPECT_EQ(px(b.get(), 0, 0), pix32(200, 200, 200, 10));
  EXPECT_EQ(pixelator::BitBlt(a.get(), b.get(), &all, 300), 1);  // an int alpha is clamped
}

TEST(Pixelator, RotateTurnsAboutTheCentreAndBlanksTheRest) {
  auto src = make_frame(5, 5, 3), dst = make_frame(5, 5, 4);
  const RECT all{0, 0, 5, 5};
  const POINT c{2, 2};
  ASSERT_EQ(pixelator::Rotate(src.get(), dst.get(), all, c, 0.0), 1);
  for (int i = 0; i < 25; ++i) EXPECT_EQ(dst->bits[i], src->bits[i]);
  // 90 degrees: dst(x, y) reads src(4 - y, x), the vector (x - 2, 2 - y) turned by -90 degrees.
  pixelator::Rotate(src.get(), dst.get(), all, c, 90.0);
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 5; ++x) EXPECT_EQ(px(dst.get(), x, y), px(src.get(), 4 - y, x)) << x << "," << y;
  pixelator::Rotate(src.get(), dst.get(), all, c, 180.0);
  EXPECT_EQ(px(dst.get(), 0, 1), px(src.get(), 4, 3));
  // Only pixels whose source lies inside r come across.
  pixelator::Rotate(src.get(), dst.get(), RECT{0, 0, 3, 5}, c, 180.0);
  EXPECT_EQ(px(dst.get(), 0, 0).word(), 0u);  // from (4, 4), outside r
  EXPECT_EQ(px(dst.get(), 2, 2), px(src.get(), 2, 2));
}

TEST(Pixelator, KeyBlendMatchesTheBoxSumRuleOnEveryTier) {
  std::mt19937 rng(11);
  const kernels::tier best = kernels::ActiveTier();
  for (kernels::tier t : {kernels::tier::scalar, best}) {
    kernels::LimitTier(t);
    for (int n : {0, 3, 4, 7}) {
      for (double soft : {0.0, 0.3, 1.0}) {
        // Wide enough for whole vector steps and a tail; alpha mostly 255 so the sums reach the ramp.
        const int w = 29, h = 7;
        auto src = make_frame(w, h, 0), dst = make_frame(w, h, uint32_t(20 + n));
        for (int i = 0; i < w * h; ++i)
          src->bits[i].a = uint8_t(rng() % 4 == 0 ? 0 : rng() % 2 ? 255 : rng());
        auto before = make_frame(w, h, uint32_t(20 + n));
        const RECT r{1, 1, w - 2, h - 1};
        ASSERT_EQ(pixelator::RunKeyBlend(src.get(), dst.get(), r, n, soft), 1);
        const int k = std::max(n | 1, 3);
        const long lo = long(k) * k * 255 / 2, hi = long(lo + lo * soft);
        for (int y = 0; y < h; ++y)
          for (int x = 0; x < w; ++x) {
            const bool in =
                x >= r.left && x < r.right && y >= r.top && y < r.bottom && px(src.get(), x, y).a != 0;
            if (!in) {
              EXPECT_EQ(px(dst.get(), x, y), px(before.get(), x, y));
              continue;
            }
            long sum = 0;
            for (int dy = -k / 2; dy <= k / 2; ++dy)
              for (int dx = -k / 2; dx <= k / 2; ++dx)
                sum += px(src.get(), std::clamp(x + dx, 0, w - 1), std::clamp(y + dy, 0, h - 1)).a;
            const int want = sum <= lo ? 0 : sum >= hi ? 255 : int((sum - lo) * 255 / (hi - lo));
            ASSERT_EQ(px(dst.get(), x, y).a, want)
                << "n=" << n << " soft=" << soft << " at " << x << "," << y;
            EXPECT_EQ(px(dst.get(), x, y).r, px(before.get(), x, y).r);
          }
        // Smoothing a frame in place reads the alpha it had before.
        for (int i = 0; i < w * h; ++i) before->bits[i] = src->bits[i];
        pixelator::RunKeyBlend(src.get(), before.get(), r, n, soft);
        pixelator::RunKeyBlend(src.get(), src.get(), r, n, soft);
        EXPECT_TRUE(std::equal(src->bits, src->bits + w * h, before->bits));
      }
    }
  }
  kernels::LimitTier(best);
}
