// Musical time: settings, the quantization table and grid, and pending edits.
#include "time/mtime.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <tuple>

namespace {

TEST(MusicalTime, SettingsAndLimits) {
  mtime mt;
  // 250 clamps to the current tempo: no change. NaN reads as the lowest tempo.
  for (auto [bpm, answer, stored] : {std::tuple<double, uint32_t, double>{5.0, QA_CHANGED, 10.0},
                                     {300.0, QA_CHANGED, 240.0},
                                     {250.0, 0u, 240.0},
                                     {double(NAN), QA_CHANGED, 10.0}}) {
    EXPECT_EQ(mt.SetBPM(bpm), answer) << bpm;
    EXPECT_EQ(mt.GetBPM(), stored) << bpm;
  }
  EXPECT_EQ(mt.isDirty(), 1);
  // 4 is the current bar size.
  for (int bad : {17, 0, 4}) EXPECT_EQ(mt.SetBarSize(bad), 0u) << bad;
  EXPECT_EQ((std::pair{mt.SetBarSize(16), mt.GetBarSize()}), std::pair(uint32_t(QA_CHANGED), 16.0));
  for (int bad : {0, 3, 5, 128, -4}) EXPECT_EQ(mt.SetUnitSize(bad), 0u) << bad;
  for (int good : {1, 2, 64}) EXPECT_EQ(mt.SetUnitSize(good), static_cast<uint32_t>(QA_CHANGED)) << good;
  EXPECT_EQ(mt.GetUnitSize(), 64.0);
}

TEST(MusicalTime, QuantizationTable) {
  EXPECT_STREQ(vemo::GetStringPtr(mtime::QUANTIZATION_IDS[2]), "Quantize Sec/30");

  // Grid units at 120 beats per minute (a beat of 500 ms) in 4/4.
  mtime mt;
  mt.SetBPM(120);
  const struct {
    int id;
    double unit;
  } units[] = {{158, 0},           {159, 10},   {634, 1000.0 / 30}, {633, 40},
               {632, 1000.0 / 24}, {631, 50},   {588, 1000.0 / 15}, {160, 100},
               {161, 1000},        {162, 2000}, {163, 1000},        {164, 500},
               {165, 250},         {166, 125},  {167, 62.5},        {168, 31.25}};
  for (const auto &u : units) {
    mt.SetQuantize(u.id);
    EXPECT_EQ(mt.GetQuantizeUnit(), u.unit) << u.id;
  }

  // 9999 is not in the table: off. Off again, by any name (0 included), is no change.
  EXPECT_EQ((std::pair{mt.SetQuantize(9999), mt.GetQuantize()}), std::pair(uint32_t(QA_CHANGED), QUANTIZE_OFF));
  EXPECT_EQ(std::vector({mt.SetQuantize(static_cast<enum_quantize>(9999)), mt.SetQuantize(QUANTIZE_OFF),
                         mt.SetQuantize(0)}),
            std::vector({0u, 0u, 0u}));

  mt.SetQuantize(QUANTIZE_BAR);
  mt.SetBarSize(6);
  mt.SetUnitSize(8);
  EXPECT_EQ(mt.GetQuantizeUnit(), 1500.0);  // 6/8 at 120
}

TEST(MusicalTime, QuantizeAndSnap) {
  mtime mt;
  auto times = [&mt](std::initializer_list<std::pair<char, int>> ops) {
    std::vector<int> out;  // q quantize, s snap, + increment, - decrement
    for (auto [op, t] : ops)
      out.push_back(op == 'q'   ? mt.GetTimeQuantized(t)
                    : op == 's' ? mt.GetTimeSnapped(t)
                    : op == '+' ? mt.Increment(t)
                                : mt.Decrement(t));
    return out;
  };
  EXPECT_EQ(times({{'q', 1234}, {'s', -77}, {'+', 5}}), std::vector({1234, -77, 5}));  // off
  mt.SetQuantize(QUANTIZE_SECOND);
  // An exact half snaps down; negatives go toward zero ((-1600 + 499.999) / 1000 truncates to -1);
  // INT_MAX would snap to 2147484000, which does not fit.
  EXPECT_EQ(times({{'q', 1999}, {'s', 1499}, {'s', 1500}, {'s', 1501}, {'q', -1500}, {'s', -1500}, {'s', -1600},
                   {'+', 1200}, {'-', 1200}, {'q', INT_MAX}, {'s', INT_MAX}, {'+', INT_MAX}, {'-', INT_MIN}}),
            std::vector({1000, 1000, 1000, 2000, -1000, -1000, -1000, 2000, 0, 2147483000, INT_MAX, INT_MAX,
                         -2147483000}));
  // 1000 / 30 in double precision: 2 units snap to 66, three are exactly 100; a step truncates to 33 ms.
  mt.SetQuantize(QUANTIZE_SEC30);
  EXPECT_EQ(times({{'s', 50}, {'s', 51}, {'q', 100}, {'+', 0}, {'+', 33}, {'-', 66}}),
            std::vector({33, 66, 100, 33, 66, 33}));
  mt.SetBPM(240);
  mt.SetQuantize(QUANTIZE_64);  // 15.625 ms
  EXPECT_EQ(times({{'q', 40}, {'+', 0}, {'+', 15}}), std::vector({31, 15, 31}));
}

TEST(MusicalTime, PendingEdits) {
  mtime mt;
  auto settings = [&mt] {
    return std::tuple(mt.GetBPM(), mt.GetBarSize(), mt.GetUnitSize(), mt.GetQuantize());
  };
  mt.SetBPM(120);
  mt.SetBarSize(3);
  mt.Revert();
  EXPECT_EQ(std::pair(settings(), mt.isDirty()), std::pair(std::tuple(60.0, 4.0, 4.0, QUANTIZE_OFF), 0));
  mt.SetBPM(90);
  EXPECT_EQ(mt.Commit(), 1);
  mt.SetUnitSize(8);
  mt.Revert();
  EXPECT_EQ(settings(), std::tuple(90.0, 4.0, 4.0, QUANTIZE_OFF));

  // A change of grid ends the pending state: the tempo survives a later Revert.
  mt.SetBPM(120);
  EXPECT_EQ((std::pair{mt.SetQuantize(QUANTIZE_4), mt.isDirty()}), std::pair(uint32_t(QA_CHANGED), 0));
  mt.Revert();
  EXPECT_EQ(settings(), std::tuple(120.0, 4.0, 4.0, QUANTIZE_4));
  // Revert with something pending also brings the committed grid back.
  mt.Commit();
  mt.SetQuantize(QUANTIZE_8);
  mt.SetBPM(100);
  mt.Revert();
  EXPECT_EQ(settings(), std::tuple(120.0, 4.0, 4.0, QUANTIZE_4));

  EXPECT_EQ(mt.Reset(), 1u);
  mt.Revert();
  EXPECT_EQ(settings(), std::tuple(60.0, 4.0, 4.0, QUANTIZE_OFF));
  // A reset does not commit: the committed tempo is still 120 for the next revert.
  mt.SetBPM(100);
  mt.Revert();
  EXPECT_EQ(mt.GetBPM(), 120.0);
}

TEST(MusicalTime, ItemsByNumberButNotTheSeparator) {
  mtime mt;
  auto owned_id = [&](int id) {  // the item's id when it is the musical time's own
    UIItem *item = mt.UIItemResolve(("#" + std::to_string(id)).c_str());
    return item && item->GetParent() == &mt ? item->GetID() : -1;
  };
  for (int id : {336, 337, 338, 339}) EXPECT_EQ(owned_id(id), id);
  EXPECT_EQ(mt.UIItemResolve("#339"), mt.UIItemResolve("339"));
  for (const char *name : {"635", "bpm", static_cast<const char *>(nullptr)})
    EXPECT_EQ(mt.UIItemResolve(name), nullptr);
}

}  // namespace
