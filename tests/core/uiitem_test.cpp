// UI items: initialisation, the base commands and path splitting.
#include <gtest/gtest.h>

#include <cstring>

#include "core/uiitems.h"
#include "core/vemowin.h"

namespace {

surface *FakeSurfaceManager() { return reinterpret_cast<surface *>(0x1000); }

TEST(UIItem, InitNeedsSurfaceContextIdAndEnable) {
  vemowin win;
  vemo parent;
  UIItem item;
  EXPECT_FALSE(item.UIItemInit(&parent, nullptr, &win, 5, 1));
  EXPECT_EQ(item.GetParent(), nullptr);  // left detached
  EXPECT_EQ(item.GetID(), 0);
  EXPECT_FALSE(item.UIItemInit(&parent, FakeSurfaceManager(), nullptr, 5, 1));
  EXPECT_FALSE(item.UIItemInit(&parent, FakeSurfaceManager(), &win, 0, 1));
  EXPECT_FALSE(item.UIItemInit(&parent, FakeSurfaceManager(), &win, 5, 0));
  EXPECT_TRUE(item.UIItemInit(&parent, FakeSurfaceManager(), &win, 5, 1));
  EXPECT_EQ(item.GetParent(), &parent);
  EXPECT_EQ(item.GetID(), 5);
  UIItem root_item;
  EXPECT_TRUE(root_item.UIItemInit(nullptr, FakeSurfaceManager(), &win, 7, 1));  // no parent is fine
}

TEST(UIItem, BaseCommandsTakeExactlyOneArgument) {
  UIItem item;
  item.SetID(336);
  char result[UIITEM_RESULT_SIZE];
  EXPECT_TRUE(item.Command("GetID", result));
  EXPECT_STREQ(result, "336");
  EXPECT_TRUE(item.Command("  GetType  ", result));
  EXPECT_STREQ(result, "UIItem");
  std::strcpy(result, "stale");
  EXPECT_FALSE(item.Command("GetID now", result));
  EXPECT_STREQ(result, "");
  EXPECT_FALSE(item.Command("Unknown", result));
  EXPECT_FALSE(item.Command("GetType", nullptr));
  EXPECT_EQ(item.UIItemResolve("anything"), nullptr);
}

TEST(UIItem, SplitPathsAtTheFirstDot) {
  char first[64], rest[64];
  EXPECT_FALSE(UIItem::SplitUIItemString("mt", first, rest));
  EXPECT_STREQ(first, "mt");
  EXPECT_STREQ(rest, "");
  EXPECT_TRUE(UIItem::SplitUIItemString("intro.fx1.IDS_GREEN", first, rest));
  EXPECT_STREQ(first, "intro");
  EXPECT_STREQ(rest, "fx1.IDS_GREEN");
  EXPECT_TRUE(UIItem::SplitUIItemString(".", first, rest));
  EXPECT_STREQ(first, "");
  EXPECT_STREQ(rest, "");
}

TEST(UIItem, PrefsItemReadsAndWritesThePrefsDataSet) {
  UIItemPrefs prefs;
  char result[UIITEM_RESULT_SIZE];
  EXPECT_TRUE(prefs.Command("Set Skin \"Dark Blue\"", result));
  EXPECT_TRUE(prefs.Command("Get Skin", result));
  EXPECT_STREQ(result, "Dark Blue");
  EXPECT_TRUE(prefs.Command("GetType", result));
  EXPECT_STREQ(result, "UIItemPrefs");
}

}  // namespace
