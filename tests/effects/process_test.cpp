// Effects at work through their variables, their twins, and lock failures.
#include <gtest/gtest.h>

#include <random>

#include "effects/adjusteffects.h"
#include "effects/effect.h"
#include "effects/fxtest.h"
#include "effects/keyeffects.h"

using fxtest::canvas;
using fxtest::randomise_variables;
using fxtest::rgba;
using fxtest::video;

namespace {

// Shape values at least 0.3 apart, so the ramp never collapses.
void spread_shape(effectVideo &e) {
  for (auto [a, b] :
       {std::pair{fxid::IDS_RADIUS_1, fxid::IDS_RADIUS_2}, std::pair{fxid::IDS_SIZE1, fxid::IDS_SIZE2}})
    if (e.FindTimeFloat(a)) {
      const double v = e.GetTimeFloat(a);
      e.SetTimeFloat(b, v < 0.5 ? v + 0.3 : v - 0.3);
    }
}

struct twins {
  int plain, inverted;
  bool shape;
};
constexpr twins kKeyTwins[] = {{28, 130, false},  {29, 131, false},  {30, 288, false},
                               {546, 547, false}, {548, 549, false}, {31, 289, false},
                               {181, 241, true},  {244, 243, true},  {247, 248, true}};
constexpr twins kAdjTwins[] = {{252, 253, false}, {254, 255, false}, {550, 551, false},
                               {290, 291, false}, {552, 553, false}, {292, 293, false},
                               {256, 257, true},  {258, 259, true},  {260, 261, true}};

}  // namespace

TEST(KeyEffects, KeyTheDestinationWithTheVariablesAsBytes) {
  auto e = video(28);  // red 0.4 is 102, green 0.2 51; no tolerances
  for (auto [id, v] : {std::pair{fxid::IDS_RED, 0.4}, {fxid::IDS_GREEN, 0.2}, {fxid::IDS_BLUE, 0.0},
                       {fxid::IDS_RED_TOLERANCE, 0.0}, {fxid::IDS_GREEN_TOLERANCE, 0.0},
                       {fxid::IDS_BLUE_TOLERANCE, 0.0}})
    e->SetTimeFloat(id, v);
  canvas src(2, 1), dst(2, 1);
  for (canvas *c : {&src, &dst}) c->set({rgba(102, 51, 0), rgba(103, 51, 0)});
  // Colour keys always answer 0; the source is not read, let alone keyed.
  EXPECT_EQ((std::vector{e->Process(src.kor(), dst.kor(), dst.whole()), int(dst.at(0, 0).a), int(dst.at(1, 0).a),
                         int(src.at(0, 0).a)}),
            std::vector({0, 0, 255, 255}));
}

// Keys key the destination, keyed adjusters their source: colour twins key exactly one of each pixel, shape
// twins on opaque pixels add up to 255 (254 where both ramps truncate). Adjusters change only under the mask.
TEST(KeyAndAdjusterEffects, EveryInvertedTwinKeysWhatItsPlainTwinKeeps) {
  std::mt19937 rng(3);
  for (int round = 0; round < 5; ++round)
    for (bool adjuster : {false, true})
      for (const twins &t : adjuster ? kAdjTwins : kKeyTwins) {
        SCOPED_TRACE(::testing::Message() << "type " << t.plain << " round " << round);
        auto plain = video(t.plain), inverted = video(t.inverted);
        std::mt19937 same = rng;
        randomise_variables(*plain, rng);
        randomise_variables(*inverted, same);
        spread_shape(*plain);
        spread_shape(*inverted);
        canvas srcp(23, 15), srci(23, 15), dstp(23, 15), dsti(23, 15);
        canvas &p = adjuster ? srcp : dstp, &q = adjuster ? srci : dsti;
        p.randomise(rng, t.shape);
        q.set(p.pixels());
        if (adjuster) dstp.randomise(rng), dsti.set(dstp.pixels());
        const auto before = p.pixels(), target = dstp.pixels();
        const int rp = plain->Process(srcp.kor(), dstp.kor(), dstp.whole());
        const int ri = inverted->Process(srci.kor(), dsti.kor(), dsti.whole());
        EXPECT_EQ(adjuster ? std::pair(rp, ri) : std::pair(1, 1), std::pair(1, 1));  // the adjusters answer 1
        const auto a = p.pixels(), b = q.pixels(), adjusted = dstp.pixels();
        for (size_t i = 0; i < before.size(); ++i) {
          if (before[i].a == 0)
            ASSERT_EQ(std::pair(a[i].a, b[i].a), std::pair(uint8_t{0}, uint8_t{0})) << i;
          else if (t.shape)
            ASSERT_TRUE(a[i].a + b[i].a == 255 || a[i].a + b[i].a == 254) << i;
          else
            ASSERT_EQ(std::pair(std::min(a[i].a, b[i].a), std::max(a[i].a, b[i].a)), std::pair(uint8_t{0}, before[i].a))
                << i;
          if (!adjuster) continue;
          ASSERT_EQ(adjusted[i].a, target[i].a) << i;
          ASSERT_TRUE(a[i].a != 0 || adjusted[i] == target[i]) << i;
        }
      }
}

TEST(AdjusterEffects, WholeRectangleAdjusterMapperAndOpacity) {
  // The arithmetic is the kernel tests'; one pixel shows the variables reach them, one outside the rectangle.
  canvas src(3, 1), dst(3, 1);
  dst.at(0, 0) = rgba(255, 0, 0, 200);
  dst.at(2, 0) = rgba(9, 9, 9, 9);
  auto adj = video(106);
  adj->SetTimeFloat(fxid::IDS_ADJ_SATURATION, 0.0);
  adj->SetTimeFloat(fxid::IDS_ADJ_OPACITY, 0.2);  // 51
  EXPECT_EQ(adj->Process(src.kor(), dst.kor(), RECT{0, 0, 2, 1}), 1);
  EXPECT_EQ(std::pair(dst.at(0, 0), dst.at(2, 0)), std::pair(rgba(62, 62, 62, 251), rgba(9, 9, 9, 9)));

  auto map = video(111);
  map->SetTimeFloat(fxid::IDS_MAP_RED_0, 1.0);
  map->SetTimeFloat(fxid::IDS_MAP_RED_1, 0.0);
  dst.at(0, 0) = rgba(0, 255, 0, 255);
  EXPECT_EQ(map->Process(src.kor(), dst.kor(), RECT{0, 0, 2, 1}), 1);
  EXPECT_EQ(dst.at(0, 0), rgba(255, 254, 0, 254));

  // Opacity -0.5 is the level -127: 200 - 127.
  auto op = video(103);
  op->SetTimeFloat(fxid::IDS_OPACITY, -0.5);
  dst.fill(rgba(1, 2, 3, 200));
  EXPECT_EQ(op->Process(src.kor(), dst.kor(), dst.whole()), 1);
  EXPECT_EQ(dst.at(2, 0), rgba(1, 2, 3, 73));
}

TEST(Effects, ResultsWhenTheSurfaceCannotBeLocked) {
  KORSurface none{};  // holds no pixels: every lock fails
  const RECT r{0, 0, 4, 4};
  for (int type : {28, 181, 252, 106, 111}) EXPECT_EQ(video(type)->Process(&none, &none, r), 0) << type;
  EXPECT_EQ(video(103)->Process(&none, &none, r), 1);  // opacity 0 touches nothing
  auto op = video(103);
  op->SetTimeFloat(fxid::IDS_OPACITY, -1.0);
  EXPECT_EQ(op->Process(&none, &none, r), 0);
  EXPECT_EQ(op->Process(nullptr, nullptr, r), 0);

  // A lockable source with an unlockable destination: the source is keyed, nothing adjusted.
  canvas src(4, 4, rgba(0, 0, 0, 255));
  EXPECT_EQ(video(256)->Process(src.kor(), &none, r), 1);  // the key's 1 or-ed with 0
  EXPECT_EQ(src.at(0, 0).a, 0);
}
