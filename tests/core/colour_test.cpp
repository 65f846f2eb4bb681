// Colour conversions against values worked out by hand from the integer formulas.
#include <gtest/gtest.h>

#include <vector>

#include "core/vemo.h"

namespace {

// The colour bytes of p (the conversions leave alpha alone).
std::vector<int> Rgb(pix32 p) { return {p.r, p.g, p.b}; }

TEST(Colour, DoubleToByteTruncatesAndClampsColorRefDropsAlpha) {
  for (auto [v, byte] : {std::pair{-0.5, 0}, {0.5, 127}, {0.999, 254}, {1.0, 255}, {2.0, 255}})
    EXPECT_EQ(vemo::d2uc(v), byte) << v;
  EXPECT_DOUBLE_EQ(vemo::uc2d(51), 0.2);
  EXPECT_EQ(vemo::FromColorRef(0x00FF8000), pix32(0, 128, 255, 0));
  // Back again; alpha does not travel.
  EXPECT_EQ(std::vector({vemo::ToColorRef(pix32(0, 128, 255, 0)), vemo::ToColorRef(pix32(1, 2, 3, 200))}),
            std::vector({0x00FF8000u, 0x00030201u}));
}

TEST(Colour, YuvBothWaysHandWorkedWithTheirQuirks) {
  EXPECT_EQ(Rgb(vemo::rgb2yuv(pix32(0, 0, 0))), (std::vector{16, 128, 128}));
  // White: Y = 66 + 127 + 23 + 16; U = -39 - 71 + 111 + 128; V = 111 - 95 - 15 + 128.
  EXPECT_EQ(Rgb(vemo::rgb2yuv(pix32(255, 255, 255))), (std::vector{233, 129, 129}));
  // Pure red 200: Y = 53 + 16; U = -1000/32 = -31 (toward zero) + 128; V = 87 + 128.
  EXPECT_EQ(Rgb(vemo::rgb2yuv(pix32(200, 0, 0))), (std::vector{69, 97, 215}));
  // Pure blue 10: Y = 0 + 0 + 0 + 16; U = 70/16 = 4 + 128; V = -10/16 = 0 (toward zero) + 128.
  EXPECT_EQ(Rgb(vemo::rgb2yuv(pix32(0, 0, 10))), (std::vector{16, 132, 128}));
  // y = 18; R = 18 + 256 - 274 = 0; G = 18 - 104 - 50 + 136 = 0; B = 18 + 3200 - 418 -> 255.
  EXPECT_EQ(Rgb(vemo::yuv2rgb(pix32(16, 128, 128))), (std::vector{0, 0, 255}));
  // Blue reaches 0 only for very small U: Y 100 (y 112), U 10 -> 112 + 250 - 418 < 0.
  // R = 112 + 400 - 274 = 238; G = 112 - 8 - 78 + 136 = 162 (13*10/16 = 8, 25*200/64 = 78).
  EXPECT_EQ(Rgb(vemo::yuv2rgb(pix32(100, 10, 200))), (std::vector{238, 162, 0}));
}

}  // namespace
