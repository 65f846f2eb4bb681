// randint: seeds and values worked outside the engine.
#include <gtest/gtest.h>

#include <vector>

#include "core/randint.h"

namespace {

// The first values from the default seed 0xA10F6BA3: two steps of seed * 214013 + 2531011 mod 2^32
// per value, then (seed & 0x7FFF0000) | (seed >> 16); worked in Python.
TEST(Randint, FirstValuesWorkedByHandAndZeroSeedMeansTheDefault) {
  // Steps to 0x7878A7DA, then 0x9AE08F35; the top bit goes from the upper half only.
  randint r, b, c;
  EXPECT_EQ((std::tuple{r.Get(), r.GetSeed(), r.Get()}), std::tuple(0x1AE09AE0, 0x9AE08F35u, 0x3F66BF66));
  b.Set(0);  // stored as 0, taken as the default at the next step
  EXPECT_EQ(b.Get(), 0x1AE09AE0);
  for (const char *text : {"", static_cast<const char *>(nullptr)}) {
    c.Set(text);
    EXPECT_EQ(c.GetSeed(), 0xA10F6BA3u);
  }
}

TEST(Randint, TextSeedsFoldSignExtendedCharacters) {
  // 0x41 in all four bytes; 0x41414141 ^ 0x42424242; -23 sign-extended: 0xFFFFFFE9 or-ed with its
  // shifts keeps E9 low.
  randint r;
  for (auto [text, seed] : {std::pair{"A", 0x41414141u}, {"AB", 0x03030303u}, {"\xE9", 0xFFFFFFE9u}}) {
    r.Set(text);
    EXPECT_EQ(r.GetSeed(), seed) << text;
  }
}

TEST(Randint, LimitsUseTheSignedRemainder) {
  // lo + value % (hi - lo) on the values above: 0x1AE09AE0 % 20 = 8, 0x3F66BF66 % 20 = 18, ...
  auto six = [](int lo, int hi) {
    randint r;
    std::vector<int> got;
    for (int i = 0; i < 6; ++i) got.push_back(r.GetWithLimits(lo, hi));
    return got;
  };
  EXPECT_EQ(six(-10, 10), (std::vector<int>{-2, 8, 8, -1, -1, 7}));
  // A reversed range: the remainder by the negative span -3 keeps the value's sign, so 5 + 0..2.
  EXPECT_EQ(six(5, 2), (std::vector<int>{6, 7, 7, 5, 6, 5}));
}

TEST(RandintDeathTest, EqualLimitsStopTheProgram) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  randint r;
  EXPECT_DEATH(r.GetWithLimits(3, 3), "equal limits");
}

}  // namespace
