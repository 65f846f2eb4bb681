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
  EXPECT_TRUE(mt.SetBarSize(16) == QA_CHANGED && mt.GetBarSize() == 16.0);
  for (int bad : {0, 3, 5, 128, -4}) EXPECT_EQ(mt.SetUnitSize(bad), 0u) << bad;
  for (int good : {1, 2, 8, 16, 32, 64})
    EXPECT_EQ(mt.SetUnitSize(good), static_cast<uint32_t>(QA_CHANGED)) << good;
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
    EXPECT_EQ(mt.GetQuantize(), u.id);
    EXPECT_EQ(mt.GetQuantizeUnit(), u.unit) << u.id;
  }

  EXPECT_EQ(mt.SetQuantize(9999), static_cast<uint32_t>(QA_CHANGED));  // not in the table: off
  EXPECT_EQ(mt.GetQuantize(), QUANTIZE_OFF);
  EXPECT_EQ(mt.SetQuantize(static_cast<enum_quantize>(9999)), 0u);
  EXPECT_EQ(mt.SetQuantize(QUANTIZE_OFF), 0u);
  EXPECT_EQ(mt.SetQuantize(0), 0u);  // 0 also means off, already set

  mt.SetQuantize(QUANTIZE_BAR);
  mt.SetBarSize(6);
  mt.SetUnitSize(8);
  EXPECT_EQ(mt.GetQuantizeUnit(), 1500.0);  // 6/8 at 120
}

TEST(MusicalTime, QuantizeAndSnap) {
  mtime mt;
  EXPECT_EQ(mt.GetTimeQuantized(1234), 1234);  // off
  EXPECT_EQ(mt.GetTimeSnapped(-77), -77);
  EXPECT_EQ(mt.Increment(5), 5);

  mt.SetQuantize(QUANTIZE_SECOND);
  EXPECT_EQ(mt.GetTimeQuantized(1999), 1000);
  EXPECT_EQ(mt.GetTimeSnapped(1499), 1000);
  EXPECT_EQ(mt.GetTimeSnapped(1500), 1000);  // an exact half snaps down
  EXPECT_EQ(mt.GetTimeSnapped(1501), 2000);
  EXPECT_EQ(mt.GetTimeQuantized(-1500), -1000);  // toward zero
  EXPECT_EQ(mt.GetTimeSnapped(-1500), -1000);
  EXPECT_EQ(mt.GetTimeSnapped(-1600), -1000);  // (-1600 + 499.999) / 1000 truncates to -1
  EXPECT_EQ(mt.Increment(1200), 2000);
  EXPECT_EQ(mt.Decrement(1200), 0);
  EXPECT_EQ(mt.GetTimeQuantized(INT_MAX), 2147483000);
  EXPECT_EQ(mt.GetTimeSnapped(INT_MAX), INT_MAX);  // 2147484000 does not fit
  EXPECT_EQ(mt.Increment(INT_MAX), INT_MAX);
  EXPECT_EQ(mt.Decrement(INT_MIN), -2147483000);

  mt.SetQuantize(QUANTIZE_SEC30);
  EXPECT_EQ(mt.GetTimeSnapped(50), 33);
  EXPECT_EQ(mt.GetTimeSnapped(51), 66);      // 2 * 33.33 truncated
  EXPECT_EQ(mt.GetTimeQuantized(100), 100);  // three units of 1000 / 30 in double precision
  EXPECT_EQ(mt.Increment(0), 33);            // one unit truncated to 33 ms
  EXPECT_EQ(mt.Increment(33), 66);
  EXPECT_EQ(mt.Decrement(66), 33);

  mt.SetBPM(240);
  mt.SetQuantize(QUANTIZE_64);  // 15.625 ms
  EXPECT_EQ(mt.GetTimeQuantized(40), 31);
  EXPECT_EQ(mt.Increment(0), 15);
  EXPECT_EQ(mt.Increment(15), 31);
}

TEST(MusicalTime, PendingEdits) {
  mtime mt;
  auto settings = [&mt] {
    return std::tuple(mt.GetBPM(), mt.GetBarSize(), mt.GetUnitSize(), mt.GetQuantize());
  };
  mt.SetBPM(120);
  mt.SetBarSize(3);
  mt.Revert();
  EXPECT_EQ(settings(), std::tuple(60.0, 4.0, 4.0, QUANTIZE_OFF));
  EXPECT_EQ(mt.isDirty(), 0);
  mt.SetBPM(90);
  EXPECT_EQ(mt.Commit(), 1);
  mt.SetUnitSize(8);
  mt.Revert();
  EXPECT_EQ(settings(), std::tuple(90.0, 4.0, 4.0, QUANTIZE_OFF));

  // A change of grid ends the pending state: the tempo survives a later Revert.
  mt.SetBPM(120);
  EXPECT_EQ(mt.SetQuantize(QUANTIZE_4), static_cast<uint32_t>(QA_CHANGED));
  EXPECT_EQ(mt.isDirty(), 0);
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

TEST(MusicalTime, Items) {
  mtime mt;
  for (int id : {336, 337, 338, 339}) {
    UIItem *item = mt.UIItemResolve(std::to_string(id).c_str());
    ASSERT_NE(item, nullptr) << id;
    EXPECT_TRUE(item->GetID() == id && item->GetParent() == &mt) << id;
    EXPECT_EQ(mt.UIItemResolve(("#" + std::to_string(id)).c_str()), item);
  }
  // The separator 635 is not addressable.
  for (const char *name : {"635", "bpm", static_cast<const char *>(nullptr)})
    EXPECT_EQ(mt.UIItemResolve(name), nullptr);

  mtime copy(mt);
  EXPECT_EQ(copy.UIItemResolve("336")->GetParent(), &copy);
}

}  // namespace
