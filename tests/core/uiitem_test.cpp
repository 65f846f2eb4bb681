// UI items: set-up, base commands, paths; buttons, sliders, text fields; pop-ups, colours, polygons.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "core/dialogs.h"
#include "core/poligon.h"
#include "core/uiitems.h"
#include "core/vemowin.h"
#include "media/dc.h"

namespace {

surface *FakeSurfaceManager() { return reinterpret_cast<surface *>(0x1000); }

TEST(UIItem, InitNeedsSurfaceContextIdAndEnable) {
  vemowin win;
  vemo parent;
  UIItem item;
  // Each of surfaces, context, ID and enable missing in turn; the item is left detached.
  EXPECT_EQ((std::vector{item.UIItemInit(&parent, nullptr, &win, 5, 1),
                         item.UIItemInit(&parent, FakeSurfaceManager(), nullptr, 5, 1),
                         item.UIItemInit(&parent, FakeSurfaceManager(), &win, 0, 1),
                         item.UIItemInit(&parent, FakeSurfaceManager(), &win, 5, 0)}),
            std::vector(4, false));
  EXPECT_EQ(std::pair(item.GetParent(), item.GetID()), std::pair(static_cast<vemo *>(nullptr), 0));
  EXPECT_EQ((std::tuple{item.UIItemInit(&parent, FakeSurfaceManager(), &win, 5, 1), item.GetParent(), item.GetID(),
                        UIItem().UIItemInit(nullptr, FakeSurfaceManager(), &win, 7, 1)}),  // no parent is fine
            std::tuple(true, &parent, 5, true));
}

TEST(UIItem, BaseCommandsTakeExactlyOneArgumentPathsSplitAtTheFirstDot) {
  UIItem item;
  item.SetID(336);
  // What a command answers; a refused one "no" and the result it left behind.
  auto answer = [&item](const char *command) {
    char result[UIITEM_RESULT_SIZE] = "stale";
    return item.Command(command, result) ? std::string(result) : "no " + std::string(result);
  };
  EXPECT_EQ(std::vector({answer("GetID"), answer("  GetType  "), answer("GetID now"), answer("Unknown")}),
            std::vector<std::string>({"336", "UIItem", "no ", "no "}));
  EXPECT_FALSE(item.Command("GetType", nullptr));
  EXPECT_EQ(item.UIItemResolve("anything"), nullptr);

  // Paths split at the first dot.
  for (auto [path, dot, head, tail] : {std::tuple{"mt", false, "mt", ""},
                                       {"intro.fx1.IDS_GREEN", true, "intro", "fx1.IDS_GREEN"},
                                       {".", true, "", ""}}) {
    char first[64], rest[64];
    EXPECT_EQ(UIItem::SplitUIItemString(path, first, rest), dot) << path;
    EXPECT_EQ(std::pair(std::string(first), std::string(rest)),
              std::pair(std::string(head), std::string(tail)));
  }
}

TEST(UIItem, PrefsItemReadsAndWritesThePrefsDataSet) {
  UIItemPrefs prefs;
  char result[UIITEM_RESULT_SIZE];
  EXPECT_EQ((std::tuple{prefs.Command("Set Skin \"Dark Blue\"", result), prefs.Command("Get Skin", result),
                        std::string(result), prefs.Command("GetType", result), std::string(result)}),
            std::tuple(true, true, "Dark Blue", true, "UIItemPrefs"));
}

// A parent that counts what its items tell it.
struct listener : vemo {
  int told = 0, last = 0;
  bool QueryCommand(HWND, int command, uint32_t *result) override {
    ++told;
    last = command;
    *result |= QA_CHANGED;
    return true;
  }
};

template <class T>
void Place(T &item, listener &parent, int id, RECT r) {
  item.SetParent(&parent);
  item.SetID(id);
  item.Layout(r);
}

uint32_t Send(UIItem &item, uint32_t message, int x, int keys = 0) {
  return item.QueryAction(nullptr, message, POINT{x, 5}, keys);
}

}  // namespace

TEST(UIItemButton, FiresOnceOnAReleaseOverIt) {
  listener parent;
  UIItemButtonNext b;
  Place(b, parent, 614, RECT{0, 0, 20, 10});
  EXPECT_EQ(Send(b, WM_LBUTTONDOWN, 30), 0u);  // beside it
  EXPECT_EQ((std::pair{Send(b, WM_LBUTTONDOWN, 5), b.UIGetState()}),
            std::pair(uint32_t(QA_CAPTURE | QA_UPDATE), UIS_PRESSED));
  Send(b, WM_MOUSEMOVE, 40);  // off and back while held
  EXPECT_EQ(b.UIGetState(), UIS_NORMAL);
  Send(b, WM_MOUSEMOVE, 6);
  // Told once; no second release.
  EXPECT_EQ((std::tuple{Send(b, WM_LBUTTONUP, 6), parent.told, parent.last, Send(b, WM_LBUTTONUP, 6)}),
            std::tuple(uint32_t(QA_RELEASE | QA_UPDATE | QA_CHANGED), 1, 614, 0u));
  // Released away from it: nothing is told.
  Send(b, WM_LBUTTONDOWN, 5);
  EXPECT_EQ((std::pair{Send(b, WM_LBUTTONUP, 25), parent.told}), std::pair(uint32_t(QA_RELEASE | QA_UPDATE), 1));
  b.UISetState(UIS_DISABLED);
  EXPECT_EQ(Send(b, WM_LBUTTONDOWN, 5), 0u);
}

TEST(UIItemSlider, ADragMapsColumnsToValuesWithinTheBounds) {
  listener parent;
  UIItemSlider s;
  // 107 columns: the thumb's centre runs over columns 3 to 103, 0.1 a column over 10 to 20.
  Place(s, parent, 2002, RECT{0, 0, 107, 10});
  s.UISetMinCurMax(10, 12, 20);
  EXPECT_EQ(Send(s, WM_LBUTTONDOWN, 53) & (QA_CAPTURE | QA_CHANGED), QA_CAPTURE | QA_CHANGED);
  EXPECT_DOUBLE_EQ(s.UIGetValue(), 15.0);
  for (auto [column, value] : {std::pair{28, 12.5}, {-50, 10.0}, {500, 20.0}}) {
    Send(s, WM_MOUSEMOVE, column);
    EXPECT_DOUBLE_EQ(s.UIGetValue(), value) << column;
  }
  EXPECT_EQ((std::pair{Send(s, WM_MOUSEMOVE, 600), parent.told}), std::pair(0u, 4));  // still 20: nothing to tell
  EXPECT_EQ(Send(s, WM_LBUTTONUP, 500), QA_RELEASE | QA_UPDATE);
  Send(s, WM_MOUSEMOVE, 53);  // no longer held
  EXPECT_DOUBLE_EQ(s.UIGetValue(), 20.0);
  s.UISetValue(-3);  // held to the bounds too
  EXPECT_DOUBLE_EQ(s.UIGetValue(), 10.0);
}

TEST(UIItemEditRC, TakesTypedTextUntilEnterOrEscape) {
  listener parent;
  UIItemEditRC e;
  Place(e, parent, 2001, RECT{0, 0, 80, 10});
  e.UISetText("0.375");
  EXPECT_EQ(Send(e, WM_CHAR, 0, '9'), 0u);  // not typing yet
  Send(e, WM_LBUTTONDOWN, 10);
  ASSERT_TRUE(e.UIIsEditing());
  for (char c : std::string("42")) Send(e, WM_CHAR, 0, c);  // the first replaces the text
  Send(e, WM_KEYDOWN, 0, VK_BACK);
  for (char c : std::string(".5")) Send(e, WM_CHAR, 0, c);
  EXPECT_EQ(std::pair(std::string(e.UIGetText()), parent.told), std::pair(std::string("4.5"), 0));
  EXPECT_EQ(Send(e, WM_KEYDOWN, 0, VK_RETURN), QA_UPDATE | QA_CHANGED);
  EXPECT_EQ(std::pair(parent.told, e.UIIsEditing()), std::pair(1, false));
  // Escape, or a press elsewhere, takes the typing back.
  for (auto [message, x, key] :
       {std::tuple<uint32_t, int, int>{WM_KEYDOWN, 0, VK_ESCAPE}, {WM_LBUTTONDOWN, 200, 0}}) {
    Send(e, WM_LBUTTONDOWN, 10);
    Send(e, WM_CHAR, 0, '7');
    Send(e, message, x, key);
    EXPECT_STREQ(e.UIGetText(), "4.5");
  }
  EXPECT_EQ(parent.told, 1);
}

TEST(UIHelpers, PopAMenuAndSelectColorAnswerThroughTheDialogs) {
  headless_dialogs &d = HeadlessDialogs();
  d.choice_answer = 2;
  // The separator (0) is not offered, so the second entry offered is "Delete".
  EXPECT_EQ(vemo::PopAMenu(nullptr, {{"Duplicate", 11}, {"", 0}, {"Delete", 12}}, "Clip"), 12);
  d.choice_answer = 0;
  EXPECT_EQ(vemo::PopAMenu(nullptr, {{"Duplicate", 11}}, "Clip"), 0);
  pix32 p(0, 0, 1, 200);
  EXPECT_EQ((std::pair{vemo::SelectColor(nullptr, &p), p}), std::pair(false, pix32(0, 0, 1, 200)));  // cancelled
  d.colour_answer = 0x00FF8000;  // blue 255, green 128, red 0; alpha kept
  EXPECT_EQ((std::pair{vemo::SelectColor(nullptr, &p), p}), std::pair(true, pix32(0, 128, 255, 200)));
  d.colour_answer = -1;
}

TEST(Poligon, FillsThePixelsWhoseCentresLieInside) {
  std::vector<pix32> pixels(64);
  dc hdc(pixels.data(), 8, 8, 8);
  // A 4 x 3 rectangle covers 12 pixels; the triangle below its diagonal x + y < 4 covers
  // 3 + 2 + 1 of them (centres on the diagonal are outside).
  EXPECT_EQ((poligon{{0, 0}, {4, 0}, {4, 3}, {0, 3}}).Fill(&hdc, RGB(255, 0, 0)), 12);
  EXPECT_EQ((poligon{{0, 0}, {4, 0}, {0, 4}}).Fill(&hdc, RGB(0, 255, 0)), 6);
  EXPECT_EQ(hdc.GetPixel(2, 0), RGB(0, 255, 0));
  EXPECT_EQ(hdc.GetPixel(3, 0), RGB(255, 0, 0));
}
