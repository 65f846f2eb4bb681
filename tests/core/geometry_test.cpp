// Rectangles, float rectangles and the clip-time text forms.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "core/frect.h"
#include "core/intarray.h"
#include "core/vemo.h"

namespace {

bool Same(RECT a, RECT b) { return vemo::RCEQUAL(a, b); }

TEST(Rectangles, PointInRectExcludesRightAndBottomMoveAndIntersection) {
  const RECT r{0, 0, 10, 5};
  EXPECT_EQ(std::vector(
                {vemo::POINTINRECT({9, 4}, r), vemo::POINTINRECT({10, 0}, r), vemo::POINTINRECT({0, 5}, r)}),
            std::vector({1, 0, 0}));
  RECT e{3, 3, 9, 9};
  EXPECT_EQ((std::pair{vemo::recrec(e), vemo::checkrec(e)}), std::pair(true, false));  // made empty
  RECT m{0, 0, 4, 4};
  EXPECT_EQ(vemo::Move(&m, 2, -1), 1);
  EXPECT_TRUE(Same(m, RECT{2, -1, 6, 3}));
  EXPECT_TRUE(Same(vemo::And(RECT{0, 0, 10, 10}, RECT{5, 5, 20, 20}), RECT{5, 5, 10, 10}));
  EXPECT_FALSE(vemo::checkrec(vemo::And(RECT{0, 0, 2, 2}, RECT{3, 3, 4, 4})));
  EXPECT_EQ(vemo::absdiff(-3, 4), 7);
}

TEST(Rectangles, SplitsCutStripsChildBandsTruncate) {
  RECT r{0, 0, 100, 50};
  EXPECT_TRUE(Same(vemo::SplitTop(&r, 10), RECT{0, 0, 100, 10}));
  EXPECT_TRUE(Same(r, RECT{0, 10, 100, 50}));
  EXPECT_TRUE(Same(vemo::SplitBottom(&r, 15), RECT{0, 35, 100, 50}));
  EXPECT_TRUE(Same(r, RECT{0, 10, 100, 35}));
  EXPECT_TRUE(Same(vemo::SplitLeft(&r, 30), RECT{0, 10, 30, 35}));
  EXPECT_TRUE(Same(vemo::SplitRight(&r, 20), RECT{80, 10, 100, 35}));
  EXPECT_TRUE(Same(r, RECT{30, 10, 80, 35}));

  // A strip taller than the rectangle takes all of it.
  for (auto split : {vemo::SplitTop, vemo::SplitBottom}) {
    RECT small{0, 0, 10, 8};
    EXPECT_TRUE(Same(split(&small, 100), RECT{0, 0, 10, 8}));
    EXPECT_EQ(vemo::RcHig(&small), 0);
  }

  RECT box{0, 0, 5, 40};
  EXPECT_TRUE(Same(vemo::SplitCloseButton(&box, 16), RECT{0, 0, 5, 16}));
  EXPECT_TRUE(Same(box, RECT{0, 0, 5, 40}));
  const RECT band{10, 20, 110, 27};                                            // height 7
  EXPECT_TRUE(Same(vemo::ChildRectY(band, 1, 2, 3), RECT{10, 22, 110, 24}));  // 7/3 = 2, 14/3 = 4
  EXPECT_TRUE(Same(vemo::ChildRectX(band, 0, 1, 3), RECT{10, 20, 43, 27}));   // 100/3 = 33
  EXPECT_TRUE(Same(vemo::ChildRectX(band, 3, 3, 3), RECT{110, 20, 110, 27}));
}

TEST(FloatRect, ScaleToUnityTruncatesClipToUnityMovesThePartner) {
  frect f(0.1, 0.25, 0.55, 1.0);
  RECT out;
  EXPECT_TRUE(frect::ScaleToUnity(&f, 10, 4, &out));
  EXPECT_TRUE(Same(out, RECT{1, 1, 5, 4}));  // 5.5 truncates to 5
  // Negative, or 1 to 1.5: empty after truncation.
  // Edges from a damaged file: no number scales to 0, far past the int range to its end.
  const double nan = std::nan(""), huge = 1e300;
  for (frect bad : {frect(-0.5, 0, 1, 1), frect(0.1, 0, 0.15, 1), frect(0, nan, 1, nan), frect(0, 0, huge, nan),
                    frect(-huge, 0, huge, 1)})
    EXPECT_FALSE(frect::ScaleToUnity(&bad, 10, 10, &out));
  // a spans -0.5 .. 1.5 horizontally; only its middle half is kept, so b keeps its middle half.
  frect a(-0.5, 0.0, 1.5, 1.0), b(0.0, 0.0, 1.0, 1.0);
  EXPECT_TRUE(frect::ClipToUnity(&a, &b));
  EXPECT_EQ(std::vector({a.left, a.right, b.left, b.top, b.bottom}), std::vector({0.0, 1.0, 0.25, 0.0, 1.0}));
  // After the left step a is 0 .. 1.5 and b 0.25 .. 1: b.right = 0.25 + (1/1.5) * 0.75 = 0.75.
  EXPECT_DOUBLE_EQ(b.right, 0.75);

  frect c(0.0, -1.0, 1.0, 1.0), d(0.2, 0.2, 0.6, 0.6);
  EXPECT_TRUE(frect::ClipToUnity(&c, &d));
  EXPECT_DOUBLE_EQ(d.top, 0.4);  // half of c was above the frame

  // Outside the frame, or empty.
  for (frect bad : {frect(1.5, 0, 2.5, 1), frect(0.5, 0, 0.5, 1)}) {
    frect partner(0, 0, 1, 1);
    EXPECT_FALSE(frect::ClipToUnity(&bad, &partner));
  }
}

TEST(ClipTime, TextFormsInSeconds) {
  char text[64];
  for (auto [ms, shown] : {std::pair{1800, "1.800000"}, {-250, "-0.250000"}})
    EXPECT_EQ((std::pair{vemo::CliptimeToString(ms, text), std::string(text)}), std::pair(true, std::string(shown)));
  // 1.8 is not exactly representable; -0.0019 truncates toward zero.
  int t = 0;
  for (auto [shown, ms] : {std::pair{"1.5", 1500}, {"1.8", 1800}, {"-0.0019", -1}})
    EXPECT_EQ((std::pair{vemo::StringToCliptime(shown, &t), t}), std::pair(true, ms)) << shown;
  EXPECT_EQ((std::pair{vemo::StringToCliptime("abc", &t), vemo::StringToCliptime("", &t)}), std::pair(false, false));
}

TEST(IntArray, HoldsAtMost256AndStaysZeroTerminated) {
  intarray a;
  for (int i = 1; i <= 256; ++i) ASSERT_TRUE(a.Add(i));
  EXPECT_EQ((std::vector{int(a.Add(257)), a.Count(), a.Data()[255], a.Data()[256]}), std::vector({0, 256, 256, 0}));
  a.Reset();
  EXPECT_EQ((std::vector{a.Count(), int(a.Add(7)), a.Data()[0], a.Data()[1]}), std::vector({0, 1, 7, 0}));
}

TEST(Rotation, QuarterTurnCounterClockwise) {
  double x = 1.0, y = 0.0;
  vemo::rot2D(x, y, 3.14159265358979323846 / 2);
  EXPECT_NEAR(x, 0.0, 1e-12);
  EXPECT_NEAR(y, 1.0, 1e-12);
}

}  // namespace
