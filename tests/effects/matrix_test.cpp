// The neighbourhood walker, its kernels and the interlace effects.
#include <gtest/gtest.h>

#include <random>

#include "effects/fxtest.h"
#include "effects/interlace.h"
#include "effects/matrixeffects.h"
#include "media/kernels.h"
#include "media/matrixwalk.h"

using fxtest::canvas;
using fxtest::rgba;
using fxtest::video;

namespace {

surf32 frame(canvas &c) { return surf32{c.width(), c.height(), c.locked().pitch, c.locked().bits}; }

pix32 grey(int v) { return rgba(v, v, v, 255); }

}  // namespace

TEST(MatrixWalk, BlurKeepsAUniformAreaUniformAndTruncatesItsSize) {
  canvas src(12, 9, rgba(100, 150, 200, 255)), dst(12, 9);
  auto blur = video(149);
  blur->SetTimeFloat(fxid::IDS_MATRIX_SIZE, 9.0);
  ASSERT_EQ(blur->Process(src.kor(), dst.kor(), src.whole()), 1);
  // The mean is the colour itself; the full-level mix shifts by 8 and keeps the old alpha.
  for (const pix32 &p : dst.pixels()) ASSERT_EQ(p, rgba(99, 149, 199, 0));

  // One bright pixel: a 3 x 3 mean gives 90 / 9 = 10 beside it and nothing two away; 3.9 is
  // used as 3, and 4 as 5 (90 / 25 = 3 two away).
  src.fill(grey(0));
  src.at(5, 4) = grey(90);
  auto reds = [&](double size) {
    blur->SetTimeFloat(fxid::IDS_MATRIX_SIZE, size);
    blur->Process(src.kor(), dst.kor(), src.whole());
    return std::vector<int>({dst.at(6, 4).r, dst.at(7, 4).r});
  };
  EXPECT_EQ(reds(3.9), std::vector({9, 0}));  // 10 * 255 >> 8
  EXPECT_EQ(reds(4.0)[1], 2);                 // 3 * 255 >> 8
}

TEST(MatrixWalk, EdgeMapOfStepsWithTheTopRedDifferenceZero) {
  // A vertical step (0 | 90) at (2, 1) of 6 x 3: left/right differ by 270 per channel,
  // both triangle pairs by 180: (810 + 540 + 540) / 9 = 210.
  canvas src(6, 3), dst(6, 3, rgba(0, 0, 0, 77));
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 6; ++x) src.at(x, y) = grey(x < 3 ? 0 : 90);
  auto edge = video(72);
  ASSERT_EQ(edge->Process(src.kor(), dst.kor(), src.whole()), 1);
  EXPECT_EQ(dst.at(2, 1), rgba(209, 209, 209, 77));  // 210 * 255 >> 8, alpha kept

  // A horizontal step (90 over 0) at (1, 1) of 3 x 3: top/bottom differ by 270 in green and
  // blue only, the triangles by 180 each: 1620 / 9 = 180 (not 210).
  canvas s2(3, 3), d2(3, 3);
  for (int x = 0; x < 3; ++x) s2.at(x, 0) = grey(90), s2.at(x, 1) = grey(0), s2.at(x, 2) = grey(0);
  edge->Process(s2.kor(), d2.kor(), s2.whole());
  EXPECT_EQ(d2.at(1, 1).r, 179);
  // The kernel alone returns the strength in all four bytes.
  struct {
    matrixrecord head{3, 3, nullptr};
    pix32 px[9];
  } rec;
  for (int i = 0; i < 9; ++i) rec.px[i] = i < 3 ? grey(90) : grey(0);
  EXPECT_EQ(pixelator::matrixEdge(&rec.head), rgba(180, 180, 180, 180));
}

TEST(MatrixWalk, SkippedPixelsAreUntouchedAndTheWindowSlidesPastThem) {
  // One row: red 0, 30, 60, 90, 120 with the middle two transparent. The record at x = 3 is
  // the one of x = 0 moved by one column: (0, 30, 120), mean 50, not (60, 90, 120).
  canvas src(5, 1), dst(5, 1, rgba(1, 2, 3, 4));
  for (int x = 0; x < 5; ++x) src.at(x, 0) = rgba(30 * x, 0, 0, x == 1 || x == 2 ? 0 : 255);
  surf32 s = frame(src), d = frame(dst);
  ASSERT_EQ(pixelator::RunSingleMatrix(&s, &d, src.whole(), 3, 3, pixelator::matrixBlurr, nullptr, 255), 1);
  EXPECT_EQ(dst.at(0, 0).r, 9);  // (0 + 0 + 30) * 3 / 9 = 10
  EXPECT_EQ(std::pair(dst.at(1, 0), dst.at(2, 0)), std::pair(rgba(1, 2, 3, 4), rgba(1, 2, 3, 4)));
  EXPECT_EQ(dst.at(3, 0).r, 49);  // 50 * 255 >> 8
}

TEST(MatrixWalk, ColumnSumPathsGiveThePlainWalksBytes) {
  std::mt19937 rng(17);
  const kernels::tier best = kernels::ActiveTier();
  for (int round = 0; round < 24; ++round) {
    kernels::LimitTier(round < 12 ? best : kernels::tier::scalar);
    const int w = 7 + round % 12 * 3, h = 5 + round % 12 * 2;
    canvas src(w, h), fast(w, h), plain(w, h);
    // A quarter of the pixels transparent, or (odd rounds) none: then the blur is a box filter.
    src.randomise(rng, round % 2 == 1);
    fast.randomise(rng);
    plain.set(fast.pixels());
    // The largest size the effects use, one beyond the packed sums, and the 16-bit sums with one
    // multiply for the mean (3) and two (5, 7, 9), opaque (odd rounds: the box filter's vector
    // rows) and with skipped pixels, with the full level's shortcut in both.
    const int sizes[12] = {3, 3, 5, 9, 3, 3, 7, 5, 3, 3, 101, 33};
    const int n = sizes[round % 12];
    const RECT r{round % 3, round % 2, w - round % 4, h - 1};  // partial rectangles
    // A skipped first pixel: the walk's first records start from the empty one. One skipped
    // pixel low in an opaque picture: the box filter above it, the walk from its row on.
    if (round % 4 == 0) src.at(r.left, r.top).a = 0;
    if (round % 4 == 3) src.at(w / 2, h - 2).a = 0;
    const uint8_t level = round % 4 == 1 || round % 8 == 4 ? 255 : uint8_t(round * 37);
    for (matrixkernel k : {&pixelator::matrixBlurr, &pixelator::matrixEdge}) {
      surf32 s = frame(src), f = frame(fast), p = frame(plain);
      pixelator::RunSingleMatrix(&s, &f, r, n, n, k, nullptr, level);
      matrixwalk::Reference(&s, &p, r, n, n, k, nullptr, level);
      ASSERT_EQ(fast.pixels(), plain.pixels())
          << "round " << round << (k == &pixelator::matrixEdge ? " edge" : " blur");
      // Onto a destination that holds something else: as if src had been copied there first.
      fast.randomise(rng);
      plain.set(src.pixels());
      pixelator::RunSingleMatrixOntoCopy(&s, &f, r, n, n, k, nullptr, level);
      matrixwalk::Reference(&s, &p, r, n, n, k, nullptr, level);
      ASSERT_EQ(fast.pixels(), plain.pixels())
          << "onto a copy, round " << round << (k == &pixelator::matrixEdge ? " edge" : " blur");
      if (k == &pixelator::matrixBlurr) {
        // Read as opaque: the blur of a copy with every alpha lifted to 255, onto a copy of
        // that; nothing written where the record is too large for the box filter.
        std::vector<pix32> opaque = src.pixels();
        for (pix32 &q : opaque) q.a = 255;
        canvas lifted(w, h);
        lifted.set(opaque);
        surf32 l = frame(lifted);
        fast.randomise(rng);
        const std::vector<pix32> before = fast.pixels();
        plain.set(opaque);
        if (pixelator::RunBlurOpaqueOntoCopy(&s, &f, r, n, n, level))
          matrixwalk::Reference(&l, &p, r, n, n, k, nullptr, level);
        else
          plain.set(before);
        ASSERT_EQ(fast.pixels(), plain.pixels()) << "read as opaque, round " << round;
      }
      plain.set(fast.pixels());
    }
  }
  kernels::LimitTier(best);
}

TEST(MatrixWalk, KeySmootherLevelIsSoftZeroOrOne) {
  std::mt19937 rng(4);
  canvas src(14, 10), dst(14, 10), want(14, 10);
  src.randomise(rng);
  auto smoother = video(78);
  smoother->SetTimeFloat(fxid::IDS_MATRIX_SIZE, 5.0);
  for (auto [level, soft] : {std::pair{0.0, 0.0}, {0.5, 1.0}, {1.0, 1.0}}) {
    smoother->SetTimeFloat(fxid::IDS_EFFECT_LEVEL, level);
    for (canvas *c : {&dst, &want}) c->fill(rgba(5, 5, 5, 5));
    ASSERT_EQ(smoother->Process(src.kor(), dst.kor(), src.whole()), 1);
    surf32 s = frame(src), w = frame(want);
    pixelator::RunKeyBlend(&s, &w, src.whole(), 5, soft);
    EXPECT_EQ(dst.pixels(), want.pixels()) << level;
  }
}

TEST(Interlace, OddTopStartsOnTheEvenRowAboveAndAnOddCountLeavesTheLastRow) {
  // Rows 0 to 4 are red 10, 21, 40, 61, 80. Top 1 is odd: the walk starts at row 0. Four rows: the last odd
  // row has no row below and is averaged with itself and row 2.
  const struct {
    int type;
    RECT r;
    int column;
    std::vector<int> reds;
  } rows[] = {{525, {1, 1, 3, 5}, 1, {10, 10, 40, 40, 80}},
              {525, {1, 1, 3, 5}, 0, {10, 21, 40, 61, 80}},
              {526, {1, 1, 3, 5}, 2, {21, 21, 61, 61, 80}},
              {527, {1, 1, 3, 5}, 2, {10, 25, 40, 60, 80}},
              {527, {0, 0, 3, 4}, 0, {10, 25, 40, 50, 80}}};
  for (const auto &row : rows) {
    canvas c(3, 5);
    for (int y = 0; y < 5; ++y)
      for (int x = 0; x < 3; ++x) c.at(x, y) = rgba(std::vector({10, 21, 40, 61, 80})[y], 0, 0, 255);
    ASSERT_EQ(video(row.type)->Process(nullptr, c.kor(), row.r), 1);
    std::vector<int> got;
    for (int y = 0; y < 5; ++y) got.push_back(c.at(row.column, y).r);
    EXPECT_EQ(got, row.reds) << row.type << " column " << row.column;
  }
}
