// The object tree: time arithmetic, extent setters, dirty marking and action-flag processing.
#include <gtest/gtest.h>

#include "core/dialogs.h"
#include "core/vemo.h"

namespace {

// A child that answers QueryAction with preset flags.
class flagged : public vemo {
 public:
  uint32_t answer = 0;
  uint32_t QueryAction(HWND, uint32_t, POINT, int) override { return answer; }
};

TEST(ObjectTree, LocalTimeIsParentTimeMinusPositionPlusOffset) {
  vemo root, arrangement, leaf;
  root.SetChild(arrangement);
  arrangement.SetPosition(50);
  arrangement.SetChild(leaf);
  leaf.SetPosition(100);
  EXPECT_EQ(std::pair(root.GetRootTimeOffset(), leaf.GetRootTimeOffset()), std::pair(0, 150));

  EXPECT_EQ(leaf.SetTime(1000), QA_UPDATE);  // acts on the root only
  EXPECT_EQ(root.GetCurrentTime(), 1000);
  EXPECT_EQ(leaf.MoveTime(-250), QA_UPDATE);
  EXPECT_EQ(root.GetCurrentTime(), 750);

  arrangement.SetCurrentTime(root.GetCurrentTime());
  leaf.SetCurrentTime(arrangement.GetCurrentTime());
  EXPECT_EQ(std::pair(arrangement.GetCurrentTime(), leaf.GetCurrentTime()), std::pair(700, 600));
  EXPECT_EQ(leaf.ObjectOffset(&arrangement), -100);
  EXPECT_EQ(leaf.GetRoot(), &root);
}

TEST(ObjectTree, SetChildHandsDownTimeAndContext) {
  vemo parent, child;
  parent.SetCurrentTime(400);
  child.SetPosition(100);
  EXPECT_EQ(parent.SetChild(child), QA_UPDATE);
  EXPECT_TRUE(child.GetParent() == &parent && child.GetCurrentTime() == 300);
}

TEST(ObjectTree, PoSizClampsButSingleSettersDoNot) {
  vemo v;
  EXPECT_EQ(v.SetPoSiz(-5, 0), QA_CHANGED);
  EXPECT_EQ(std::pair(v.GetPosition(), v.GetSize()), std::pair(0, 1));
  v.SetPosition(-5);
  v.SetSize(-7);
  EXPECT_EQ(std::pair(v.GetPosition(), v.GetSize()), std::pair(-5, -7));
}

TEST(ObjectTree, DirtyMarksEveryAncestorExitQueryActionOnlyItself) {
  vemo root, mid, leaf;
  root.SetChild(mid);
  mid.SetChild(leaf);
  for (vemo *v : {&root, &mid, &leaf}) v->SetClean();
  EXPECT_EQ(mid.ExitQueryAction(QA_CHANGED), 144u);
  EXPECT_TRUE(mid.isDirty() && !root.isDirty());
  mid.SetClean();
  EXPECT_EQ(leaf.Dirty(), 1);
  EXPECT_TRUE(leaf.isDirty() && mid.isDirty() && root.isDirty());
}

TEST(ObjectTree, CaptureFollowsTheChildsFlags) {
  vemo parent;
  flagged child;
  RECT rc{0, 0, 10, 10};
  child.answer = QA_CAPTURE;
  EXPECT_EQ(parent.ExitChildQueryAction(&rc, &child, nullptr, WM_LBUTTONDOWN, POINT{}, 0), QA_CAPTURE);
  EXPECT_EQ(parent.GetCapturedChild(), &child);
  child.answer = QA_RELEASE;
  EXPECT_EQ(parent.ExitChildQueryAction(&rc, &child, nullptr, WM_LBUTTONUP, POINT{}, 0), 130u);
  EXPECT_EQ(parent.GetCapturedChild(), nullptr);
  EXPECT_EQ(parent.ExitQueryAction(QA_RELEASE), 130u);
}

TEST(ObjectTree, QueryCapMovTakesTheCapture) {
  flagged v;
  v.answer = QA_UPDATE;
  EXPECT_EQ(v.QueryCapMov(nullptr, POINT{}, 0), QA_UPDATE | QA_CAPTURE);
  EXPECT_TRUE(HeadlessDialogs().captured);
  v.ExitQueryAction(QA_RELEASE);
  EXPECT_FALSE(HeadlessDialogs().captured);
}

TEST(BusyCounter, NestsAndShowsTheWaitCursorUntilBalanced) {
  EXPECT_TRUE(vemo::BusyStart() == 1 && HeadlessDialogs().cursor == cursorkind::wait);
  EXPECT_EQ(vemo::BusyStart(), 2);
  EXPECT_TRUE(vemo::BusyEnd() == 1 && HeadlessDialogs().cursor == cursorkind::wait);
  EXPECT_TRUE(vemo::BusyEnd() == 0 && HeadlessDialogs().cursor == cursorkind::arrow);
}

TEST(BusyCounterDeathTest, UnbalancedEndStopsTheProgram) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(vemo::BusyEnd(), "BusyEnd without a matching BusyStart");
}

}  // namespace
