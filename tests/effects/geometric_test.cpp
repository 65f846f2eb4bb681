// Geometric, pattern and frame effects by hand-worked pixels and by their properties.
#include <gtest/gtest.h>

#include <random>

#include "effects/fxtest.h"
#include "effects/geometric.h"
#include "effects/patterns.h"

using fxtest::canvas;
using fxtest::rgba;
using fxtest::video;

TEST(Mirrors, SwapFromTheOutsideInKeepingAnOddMiddleAndTwiceRestore) {
  std::mt19937 rng(3);
  canvas c(7, 5);
  c.randomise(rng);
  const auto before = c.pixels();
  const RECT r{1, 1, 4, 4};  // three columns, three rows
  auto flipx = video(300), flipy = video(301);
  ASSERT_EQ(flipx->Process(nullptr, c.kor(), r), 1);
  auto at = [&](int x, int y) { return before[size_t(y) * 7 + x]; };
  auto flipped = before;  // columns 1 and 3 exchanged inside the rectangle
  for (int y = 1; y < 4; ++y) std::swap(flipped[y * 7 + 1], flipped[y * 7 + 3]);
  EXPECT_EQ(c.pixels(), flipped);
  ASSERT_EQ(flipx->Process(nullptr, c.kor(), r), 1);
  EXPECT_EQ(c.pixels(), before);

  ASSERT_EQ(flipy->Process(nullptr, c.kor(), r), 1);
  EXPECT_EQ(std::pair(c.at(2, 1), c.at(2, 2)), std::pair(at(2, 3), at(2, 2)));  // the middle row stays
  flipy->Process(nullptr, c.kor(), r);
  EXPECT_EQ(c.pixels(), before);

  // One pixel wide or high: nothing to exchange.
  flipx->Process(nullptr, c.kor(), RECT{3, 0, 4, 5});
  flipy->Process(nullptr, c.kor(), RECT{0, 2, 7, 3});
  EXPECT_EQ(c.pixels(), before);
}

TEST(Rotator, ClearsTheDestinationAndTurnsAboutACentreFromTheFrameCorner) {
  canvas src(8, 8), dst(8, 8, rgba(1, 2, 3, 4));
  for (int y = 0; y < 8; ++y)  // red carries x, green y, so a moved pixel tells where it came from
    for (int x = 0; x < 8; ++x) src.at(x, y) = rgba(x * 10, y * 10, 7, 255);
  auto e = video(266);
  // No turn: the rectangle is copied, everything else cleared.
  ASSERT_EQ(e->Process(src.kor(), dst.kor(), RECT{2, 2, 6, 6}), 1);
  EXPECT_EQ(std::vector({dst.at(0, 0), dst.at(7, 3), dst.at(3, 4)}),
            std::vector({pix32(), pix32(), src.at(3, 4)}));

  // Half a turn over {2, 0, 6, 4}: the centre is (4 * 0.5, 4 * 0.5) = (2, 2) of the frame, not
  // (4, 2), so (x, y) shows (4 - x, 4 - y) and what falls left of the rectangle is black.
  e->SetTimeFloat(fxid::IDS_ROTATIONS, 0.5);
  ASSERT_EQ(e->Process(src.kor(), dst.kor(), RECT{2, 0, 6, 4}), 1);
  EXPECT_EQ(std::vector({dst.at(2, 1), dst.at(3, 2), dst.at(6, 1)}),
            std::vector({src.at(2, 3), pix32(), pix32()}));
}

TEST(Wipe, LowersOnlyAlphaAlongTheRamp) {
  canvas c(10, 10, rgba(9, 8, 7, 200));
  auto e = video(282);
  // Smoothing 0.99: k = 0.64, v = 2 * 0.64 * (5 - x) / 10 across a 10 x 10 rectangle.
  e->SetTimeFloat(fxid::IDS_SMOOTHING, 0.99);
  ASSERT_EQ(e->Process(nullptr, c.kor(), c.whole()), 1);
  EXPECT_EQ(c.at(0, 3), rgba(9, 8, 7, 163));  // 0.64 * 255 = 163.2
  // 0.384 * 255 = 97.9, 0.128 * 255 = 32.6, then nothing left.
  EXPECT_EQ(std::vector({c.at(2, 3).a, c.at(4, 3).a, c.at(5, 3).a, c.at(9, 9).a}),
            std::vector<uint8_t>({97, 32, 0, 0}));

  auto wipe = [&](double smoothing, double progress, double angle, int alpha) {
    c.fill(rgba(9, 8, 7, alpha));
    for (auto [id, v] : {std::pair{fxid::IDS_SMOOTHING, smoothing},
                         {fxid::IDS_PROGRESS, progress},
                         {fxid::IDS_WIPEANGLE, angle}})
      e->SetTimeFloat(id, v);
    e->Process(nullptr, c.kor(), c.whole());
  };
  // Progress 0.5 moves the centre to x = 10; a steep ramp (smoothing 0.7) keeps the old alpha.
  wipe(0.7, 0.5, 0.0, 200);
  EXPECT_EQ(c.at(9, 0).a, 200);
  wipe(0.99, 0.0, 180.0, 200);  // turned round: the ramp rises along the row
  EXPECT_EQ(std::vector<int>({c.at(0, 3).a, c.at(5, 3).a, c.at(6, 3).a, c.at(7, 3).a, c.at(9, 3).a}),
            std::vector({0, 0, 32, 65, 130}));
  wipe(0.99, 0.0, 90.0, 255);  // rotated a quarter: the ramp runs down the rows instead
  EXPECT_EQ(std::vector<int>({c.at(3, 6).a, c.at(3, 4).a}), std::vector({32, 0}));

  // An empty rectangle touches nothing.
  const auto before = c.pixels();
  EXPECT_EQ(e->Process(nullptr, c.kor(), RECT{4, 4, 4, 9}), 1);
  EXPECT_EQ(c.pixels(), before);
}

namespace {

struct designed {
  int type;
  // Variables at which the effect changes nothing (empty: it always changes the picture).
  std::vector<std::pair<int, double>> neutral;
};

const designed kDesigned[] = {
    {419, {}},
    {443, {{fxid::IDS_ROTX_TOP_POS, 0.0}, {fxid::IDS_ROTX_BOT_POS, 0.0}}},
    {449, {{fxid::IDS_ROTY_LEF_POS, 0.0}, {fxid::IDS_ROTY_RIT_POS, 0.0}}},
    {439, {{fxid::IDS_EFF_PATDIS, 0.0}}},
    {440, {{fxid::IDS_EFF_PATDIS, 100.0}}},
    {297, {{fxid::IDS_DISTORTX, 0.0}, {fxid::IDS_DISTORTY, 0.0}}},
    {676, {{fxid::IDS_SHADOW_SIZE, 0.0}}},
    {679, {{fxid::IDS_FRAME_SIZE, 0.0}}},
};

}  // namespace

TEST(DesignedEffects, StayInTheirRectangleRepeatThemselvesAndRestAtNeutral) {
  std::mt19937 rng(11);
  const RECT r{3, 2, 17, 13};
  for (const designed &d : kDesigned) {
    SCOPED_TRACE(d.type);
    auto e = video(d.type);
    ASSERT_NE(e, nullptr);
    canvas src(20, 16), dst(20, 16), again(20, 16);
    for (int round = 0; round < 4; ++round) {
      src.randomise(rng);
      fxtest::randomise_variables(*e, rng);
      // The engine hands over a copy of the picture as the destination.
      for (canvas *c : {&dst, &again}) c->set(src.pixels());
      ASSERT_EQ(e->Process(src.kor(), dst.kor(), r), 1);
      e->Process(src.kor(), again.kor(), r);
      EXPECT_EQ(dst.pixels(), again.pixels());
      for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 20; ++x)
          ASSERT_TRUE(vemo::POINTINRECT({x, y}, r) || dst.at(x, y) == src.at(x, y));
    }
    if (d.neutral.empty()) continue;
    for (auto [id, v] : d.neutral) e->SetTimeFloat(id, v);
    dst.set(src.pixels());
    e->Process(src.kor(), dst.kor(), r);
    EXPECT_EQ(dst.pixels(), src.pixels());
  }
}

TEST(DesignedEffects, BubbleLeavesTheCornersOfItsEllipseAlone) {
  std::mt19937 rng(2);
  canvas src(16, 12), dst(16, 12);
  src.randomise(rng, true);
  dst.set(src.pixels());
  auto e = video(419);
  e->SetTimeFloat(fxid::IDS_RED, 1.0);
  e->Process(src.kor(), dst.kor(), src.whole());
  for (auto [x, y] : {std::pair{0, 0}, {15, 0}, {0, 11}, {15, 11}}) EXPECT_EQ(dst.at(x, y), src.at(x, y));
  EXPECT_NE(dst.pixels(), src.pixels());
}

TEST(DesignedEffects, WorkedValuesOfLoopShadowAndFrame) {
  // Loop: 16 wide, 25 % = shift 4, band 2. Output 12 and 13 follow the seam: source 0 and 1
  // mixed with their mirrors 15 and 14 by 85/256 and 170/256 of themselves.
  canvas src(16, 1), dst(16, 1);
  for (int x = 0; x < 16; ++x) src.at(x, 0) = rgba(10 * x, 0, 0, 255);
  auto loop = video(439);
  loop->SetTimeFloat(fxid::IDS_EFF_PATDIS, 25.0);
  loop->Process(src.kor(), dst.kor(), src.whole());
  // At 12 (150 * 171 + 0 * 85) >> 8, at 13 (140 * 86 + 10 * 170) >> 8.
  EXPECT_EQ(std::vector({dst.at(0, 0).r, dst.at(11, 0).r, dst.at(12, 0).r, dst.at(13, 0).r, dst.at(14, 0).r}),
            std::vector<uint8_t>({40, 150, 100, 53, 20}));

  // Shadow: size 1 on 16 x 16 reaches 8 pixels; at the edge it keeps 56/256.
  canvas page(16, 16, rgba(200, 200, 200, 99));
  auto sink = video(676);
  sink->SetTimeFloat(fxid::IDS_SHADOW_SIZE, 1.0);
  sink->Process(nullptr, page.kor(), page.whole());
  // 200 * 56 >> 8; keep (56 * 56) >> 8 = 12 in the corner, 256 - trunc(200 * 0.25) = 206 at (4, 15).
  EXPECT_EQ(std::vector({page.at(0, 10), page.at(8, 8)}),
            std::vector({rgba(43, 43, 43, 99), rgba(200, 200, 200, 99)}));
  EXPECT_EQ(std::vector({page.at(0, 0).r, page.at(4, 15).r}), std::vector<uint8_t>({9, 160}));

  // Frame: 0.1 of 20 = 2 pixels of grey 127 at full alpha, blended by the shift rule.
  canvas pic(20, 20, rgba(0, 0, 0, 0));
  auto frame = video(679);
  frame->Process(nullptr, pic.kor(), pic.whole());
  EXPECT_EQ(std::pair(pic.at(1, 10), pic.at(2, 10)), std::pair(rgba(126, 126, 126, 255), rgba(0, 0, 0, 0)));
  // Shading 1: the lit top is 127 + 128 * 0.6 = 203, the bottom 127 - 127 * 0.6 = 50.
  frame->SetTimeFloat(fxid::IDS_FRAME_SHADING, 1.0);
  frame->Process(nullptr, pic.kor(), pic.whole());
  EXPECT_EQ(std::vector<int>({pic.at(10, 0).r, pic.at(10, 19).r}), std::vector({202, 49}));
}
