// Direct pixel operations: hand-worked pixels, and the fast loops against plain reference loops.
#include <gtest/gtest.h>

#include <array>

#include "media/kernels.h"
#include "surfacetest.h"

namespace {

// The blend rule worked independently of the code under test.
uint8_t blend(int s, int d, int a) { return uint8_t((s * a + d * (255 - a)) / 256); }

}  // namespace

TEST(SurfaceOps, FillClearAndCopyStayInsideTheirRectangles) {
  auto s = make_surface(5, 4);
  fill_random(s.get(), 1);
  const pix32 before_pad = at(s.get(), 6, 2);
  ASSERT_TRUE(surface::SurfaceFillRect(s.get(), RECT{1, 1, 3, 3}, 0x80FFFFFFu));
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 5; ++x)
      EXPECT_EQ(at(s.get(), x, y).word() == 0x80FFFFFFu, x >= 1 && x < 3 && y >= 1 && y < 3) << x << "," << y;
  ASSERT_TRUE(surface::SurfaceClear(s.get()));
  EXPECT_EQ(Words(s.get()), std::vector<uint32_t>(20, 0));
  EXPECT_EQ(at(s.get(), 6, 2), before_pad);  // loops cover the 5 visible pixels, not the pitch

  auto src = make_surface(5, 4), dst = make_surface(5, 4);
  fill_random(src.get(), 2);
  EXPECT_EQ(surface::SurfaceCopy(src.get(), dst.get()), 0);  // always 0, by design
  EXPECT_EQ(Words(dst.get()), Words(src.get()));
  EXPECT_EQ(at(dst.get(), 5, 0).word(), 0u);

  auto clone = owned_surface(surface::SurfaceClone(src.get()));
  ASSERT_TRUE(clone);
  EXPECT_EQ(Words(clone.get()), Words(src.get()));
}

TEST(SurfaceOps, SingleFieldDoublesEvenRowsAndKeepsAnOddLastRow) {
  auto s = make_surface(3, 5);
  fill_random(s.get(), 3);
  auto before = copy_block(s.get());
  ASSERT_TRUE(surface::SurfaceSingleField(s.get()));
  const int from[5] = {0, 0, 2, 2, 4};
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 3; ++x) EXPECT_EQ(at(s.get(), x, y), at(before.get(), x, from[y])) << x << "," << y;
}

TEST(SurfaceOps, ScaleRefusesRectanglesBelowTwoPixels) {
  auto src = make_surface(8, 8), dst = make_surface(8, 8);
  fill_random(dst.get(), 5);
  auto copy = copy_block(dst.get());
  const RECT all{0, 0, 8, 8}, thin[] = {{0, 0, 1, 8}, {0, 0, 8, 1}, {3, 3, 4, 8}, {3, 3, 8, 4}};
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(surface::SurfaceScale(src.get(), i < 2 ? thin[i] : all, dst.get(), i < 2 ? all : thin[i], i),
              0);
  EXPECT_TRUE(same_block(dst.get(), copy.get()));
}

TEST(SurfaceOps, OpaqueWhiteBlendedOverBlackIs254) {
  auto src = make_surface(4, 4), dst = make_surface(4, 4);
  surface::SurfaceFillRect(src.get(), RECT{0, 0, 4, 4}, 0xFFFFFFFFu);
  surface::SurfaceFillRect(dst.get(), RECT{0, 0, 4, 4}, 0x00000000u);
  ASSERT_EQ(surface::SurfaceScale(src.get(), RECT{0, 0, 4, 4}, dst.get(), RECT{0, 0, 4, 4}, true), 1);
  // Alpha blends too in scaling: 255 * 255 >> 8.
  EXPECT_EQ(at(dst.get(), 2, 2).word(), 0xFEFEFEFEu);

  surface::SurfaceFillRect(dst.get(), RECT{0, 0, 4, 4}, 0x10000000u);
  EXPECT_EQ(surface::SurfaceBlend(src.get(), dst.get(), RECT{0, 0, 4, 4}), 0);
  EXPECT_EQ(at(dst.get(), 1, 3).word(), 0x10FEFEFEu);  // the destination's alpha kept
}

// Scale copying, scale blending the alpha too, and blend keeping it, against the rule written out here.
TEST(SurfaceOps, ScaleAndBlendMatchAPlainLoopOnRandomSurfaces) {
  std::mt19937 rng(77);
  auto rnd = [&](int n) { return int(rng() % uint32_t(n)); };
  for (int round = 0; round < 90; ++round) {
    const int kind = round % 3;  // 0 scale copying, 1 scale blending, 2 blend
    const int sw = (kind == 2 ? 1 : 2) + rnd(37), sh = (kind == 2 ? 1 : 2) + rnd(29);
    const int dw = kind == 2 ? sw : 2 + rnd(53), dh = kind == 2 ? sh : 2 + rnd(31);
    auto src = make_surface(sw + 5, sh + 3),
         dst = kind == 2 ? make_surface(sw + 5, sh + 3) : make_surface(dw + 7, dh + 2);
    fill_random(src.get(), rng());
    fill_random(dst.get(), rng());
    auto expect = copy_block(dst.get());
    const int sx = rnd(5), sy = rnd(3), dx = rnd(7), dy = rnd(2);
    const RECT rs{sx, sy, sx + sw, sy + sh};
    const RECT rd = kind == 2 ? rs : RECT{dx, dy, dx + dw, dy + dh};
    for (int y = rd.top; y < rd.bottom; ++y)
      for (int x = rd.left; x < rd.right; ++x) {
        const pix32 s = at(src.get(), rs.left + (x - rd.left) * sw / dw, rs.top + (y - rd.top) * sh / dh);
        pix32 &d = at(expect.get(), x, y);
        d = kind == 0 ? s
                      : pix32(blend(s.r, d.r, s.a), blend(s.g, d.g, s.a), blend(s.b, d.b, s.a),
                              kind == 2 ? d.a : blend(s.a, d.a, s.a));
      }
    if (kind == 2)
      surface::SurfaceBlend(src.get(), dst.get(), rd);
    else
      ASSERT_EQ(surface::SurfaceScale(src.get(), rs, dst.get(), rd, kind == 1), 1);
    ASSERT_TRUE(same_block(dst.get(), expect.get())) << "round " << round;
  }
}

TEST(SurfaceOps, CheckerSquaresAndClamping) {
  auto s = make_surface(9, 6);
  ASSERT_TRUE(surface::SurfaceChecker(s.get(), 1));  // 2 x 2 squares, the one at the origin black
  const char *rows[6] = {"..##..##.", "..##..##.", "##..##..#", "##..##..#", "..##..##.", "..##..##."};
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 9; ++x)
      EXPECT_EQ(at(s.get(), x, y).word(), rows[y][x] == '#' ? 0x00FFFFFFu : 0u) << x << "," << y;
  surface::SurfaceChecker(s.get(), -3);  // squares of one pixel
  EXPECT_EQ((std::vector{at(s.get(), 0, 0).word(), at(s.get(), 1, 0).word(), at(s.get(), 1, 1).word()}),
            (std::vector<uint32_t>{0, 0x00FFFFFF, 0}));
  fill_random(s.get(), 5);
  surface::SurfaceChecker(s.get(), 20);  // squares of 65536: all black here
  EXPECT_EQ(Words(s.get()), std::vector<uint32_t>(54, 0));
}

TEST(SurfaceOps, OpacityAdjustDimmAndOpacity) {
  const uint8_t alphas[6] = {0, 1, 100, 127, 128, 255};
  // The amount times 256.1, truncated, moves every alpha within 0 .. 255: 0.001 -> 0, 0.5 -> +128.
  const std::pair<double, std::array<uint8_t, 6>> rows[] = {{0.001, {0, 1, 100, 127, 128, 255}},
                                                            {0.5, {128, 129, 228, 255, 255, 255}},
                                                            {-0.25, {0, 0, 36, 63, 64, 191}},
                                                            {1.0, {255, 255, 255, 255, 255, 255}},
                                                            {-1.0, {0, 0, 0, 0, 0, 0}}};
  auto s = make_surface(6, 2), copy = make_surface(6, 2);
  for (const auto &[amount, want] : rows) {
    for (int x = 0; x < 6; ++x) at(s.get(), x, 0) = at(s.get(), x, 1) = pix32(11, 22, 33, alphas[x]);
    EXPECT_EQ(surface::SurfaceCopyOpacityAdjust(s.get(), copy.get(), amount), 1);  // the source kept
    for (int x = 0; x < 6; ++x) EXPECT_EQ(at(s.get(), x, 1).a, alphas[x]);
    EXPECT_EQ(surface::SurfaceOpacityAdjust(s.get(), amount), 1);
    for (int x = 0; x < 6; ++x) {
      SCOPED_TRACE(testing::Message() << amount << " at " << x);
      EXPECT_EQ(at(s.get(), x, 1), pix32(11, 22, 33, want[x]));
      EXPECT_EQ(at(copy.get(), x, 0), pix32(11, 22, 33, want[x]));
    }
  }

  at(s.get(), 0, 0) = pix32(255, 1, 128, 77);
  ASSERT_TRUE(surface::SurfaceDimm(s.get()));
  EXPECT_EQ(at(s.get(), 0, 0), pix32(127, 0, 64, 77));
  EXPECT_EQ(at(s.get(), 5, 1), pix32(5, 11, 16, 0));

  ASSERT_TRUE(surface::SurfaceOpacity(s.get(), RECT{1, 0, 3, 1}, 200));
  for (int x = 0; x < 4; ++x) EXPECT_EQ(at(s.get(), x, 0).a, x == 0 ? 77 : x < 3 ? 200 : 0) << x;
  EXPECT_EQ(at(s.get(), 1, 1).a, 0);
  ASSERT_TRUE(surface::SurfaceOpacity(s.get(), 9));
  EXPECT_EQ(at(s.get(), 5, 1), pix32(5, 11, 16, 9));
}

// Every fast row kernel on every tier against its scalar reference, widths 1..67, unaligned starts.
TEST(SurfaceKernels, FastPathsAreBitIdenticalToReferences) {
  for (kernels::tier t : {kernels::tier::sse2, kernels::tier::avx2, kernels::tier::avx512}) {
    const kernels::tier previous = kernels::LimitTier(t);
    SCOPED_TRACE(int(kernels::ActiveTier()));
    std::mt19937 rng(2024);
    std::vector<pix32> src(80), a(80), b(80);
    std::vector<int32_t> index(80);
    for (int n = 1; n <= 67; ++n) {
      for (int off = 0; off < 4; ++off) {
        for (auto &p : src) p = pix32::from_word(uint32_t(rng()));
        for (auto &p : a) p = pix32::from_word(uint32_t(rng()));
        src[off].a = 0, src[off + n - 1].a = 255;  // extreme alphas as well as random ones
        // Random columns, scaling up (runs within 8 pixels), down (within 16), or reaching the end.
        const int start = int(rng() % 10);
        for (int i = 0; i < n; ++i)
          index[i] = (n + off) % 4 == 0   ? int32_t(rng() % 70)
                     : (n + off) % 4 == 1 ? int32_t(start + i * 2 / 3)
                     : (n + off) % 4 == 2 ? int32_t(start + i % 32 * 16 / 9)
                                          : int32_t(69 - (n - 1 - i) / 2);
        uint8_t kinds[16];
        kernels::gather_plan(index.data(), n, 70, kinds);
        // The fast kernel runs on a, its reference on a copy of a in b, and the two must agree.
        auto same = [&](const char *what, auto run) {
          b = a;
          run(a.data() + off, false);
          run(b.data() + off, true);
          for (int i = 0; i < 80; ++i)
            ASSERT_EQ(a[i], b[i]) << what << " n=" << n << " off=" << off << " i=" << i;
        };
        const pix32 *s = src.data() + off;
        using namespace kernels;
        same("blend", [&](pix32 *d, bool ref) { ref ? blend_row_ref(s, d, n) : blend_row(s, d, n); });
        for (bool blending : {false, true}) {
          const int delta = int(rng() % 601) - 300;
          same("gather", [&](pix32 *d, bool ref) {
            ref ? gather_row_ref(src.data(), index.data(), d, n, blending, delta)
                : gather_row(src.data(), index.data(), kinds, d, n, blending, delta);
          });
        }
        const int alpha = int(rng() % 256);
        same("mix", [&](pix32 *d, bool ref) { ref ? mix_row_ref(s, d, n, alpha) : mix_row(s, d, n, alpha); });
        for (int delta : {-300, -255, -17, 1, 77, 255, 400}) {
          same("alpha", [&](pix32 *d, bool ref) {
            ref ? alpha_add_row_ref(d, n, delta) : alpha_add_row(d, n, delta);
          });
          same("copy alpha", [&](pix32 *d, bool ref) {
            ref ? copy_alpha_add_row_ref(s, d, n, delta) : copy_alpha_add_row(s, d, n, delta);
          });
        }
        const uint8_t *bytes = reinterpret_cast<const uint8_t *>(src.data()) + off;  // 3 * n of 320
        same("bgr24", [&](pix32 *d, bool ref) { ref ? bgr24_row_ref(bytes, d, n) : bgr24_row(bytes, d, n); });
        same("alpha set", [&](pix32 *d, bool ref) {
          ref ? alpha_set_row_ref(d, n, uint8_t(alpha)) : alpha_set_row(d, n, uint8_t(alpha));
        });
        same("dimm", [&](pix32 *d, bool ref) { ref ? dimm_row_ref(d, n) : dimm_row(d, n); });
        same("mix256", [&](pix32 *d, bool ref) {
          ref ? mix256_row_ref(s, d, d, n, alpha + 1) : mix256_row(s, d, d, n, alpha + 1);
        });
        std::vector<uint16_t> weights(80);
        for (uint16_t &w : weights) w = uint16_t(rng() % 257);
        same("mix256 mirrored", [&](pix32 *d, bool ref) {
          ref ? mix256_mirrored_row_ref(s + n - 1, d, d, n, weights.data())
              : mix256_mirrored_row(s + n - 1, d, d, n, weights.data());
        });
        same("shade", [&](pix32 *d, bool ref) {
          ref ? shade_row_ref(d, n, weights.data()) : shade_row(d, n, weights.data());
        });
        same("paint", [&](pix32 *d, bool ref) {
          ref ? paint_row_ref(d, n, src[5], alpha) : paint_row(d, n, src[5], alpha);
        });
        same("mean", [&](pix32 *d, bool ref) { ref ? mean_row_ref(s, d, d, n) : mean_row(s, d, d, n); });
        same("mirror", [&](pix32 *d, bool ref) { ref ? mirror_row_ref(d, n) : mirror_row(d, n); });
        same("swap", [&](pix32 *d, bool ref) {
          ref ? swap_rows_ref(d, d + n / 2, n / 2) : swap_rows(d, d + n / 2, n / 2);
        });
        // Last: the row is one colour after it.
        same("fill", [&](pix32 *d, bool ref) { ref ? fill_row_ref(d, n, src[3]) : fill_row(d, n, src[3]); });
      }
    }
    kernels::LimitTier(previous);
  }
}

// Rectangles reaching off either surface: the fast scaler skips exactly what the plain loop skips.
TEST(SurfaceKernels, ScaleOffTheEdgesMatchesThePlainLoop) {
  std::mt19937 rng(31);
  for (kernels::tier t : {kernels::tier::sse2, kernels::tier::avx2}) {
    const kernels::tier previous = kernels::LimitTier(t);
    for (int round = 0; round < 60; ++round) {
      auto src = make_surface(3 + int(rng() % 30), 3 + int(rng() % 20));
      auto dst = make_surface(3 + int(rng() % 40), 3 + int(rng() % 20));
      fill_random(src.get(), rng());
      fill_random(dst.get(), rng());
      auto expect = copy_block(dst.get());
      auto pick = [&](int extent) {
        const int a = int(rng() % (extent + 10)) - 5;
        return RECT{a, 0, a + 2 + int(rng() % (extent + 8)), 0};
      };
      RECT rs = pick(src->width), rd = pick(dst->width);
      const RECT ys = pick(src->height), yd = pick(dst->height);
      rs.top = ys.left, rs.bottom = ys.right, rd.top = yd.left, rd.bottom = yd.right;
      const bool blending = round % 2;
      surf a, b, c;
      surface::SurfaceDataLock(src.get(), &a), surface::SurfaceDataLock(dst.get(), &b);
      surface::SurfaceDataLock(expect.get(), &c);
      const int delta = round % 3 ? int(rng() % 601) - 300 : 0;  // the source alpha moved, or not
      kernels::scale_rect(a, rs, b, rd, blending, delta);
      kernels::scale_rect_ref(a, rs, c, rd, blending, delta);
      ASSERT_TRUE(same_block(dst.get(), expect.get())) << "round " << round;
    }
    kernels::LimitTier(previous);
  }
}
