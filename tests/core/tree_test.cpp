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

TEST(ObjectTree, LocalTimeIsParentTimeMinusPositionPlusOffsetAndExtentsClamp) {
  vemo root, arrangement, leaf;
  root.SetChild(arrangement);
  arrangement.SetPosition(50);
  arrangement.SetChild(leaf);
  leaf.SetPosition(100);
  EXPECT_EQ(std::pair(root.GetRootTimeOffset(), leaf.GetRootTimeOffset()), std::pair(0, 150));

  // Both act on the root only.
  EXPECT_EQ((std::vector{leaf.SetTime(1000), uint32_t(root.GetCurrentTime()), leaf.MoveTime(-250),
                         uint32_t(root.GetCurrentTime())}),
            std::vector<uint32_t>({QA_UPDATE, 1000, QA_UPDATE, 750}));

  arrangement.SetCurrentTime(root.GetCurrentTime());
  leaf.SetCurrentTime(arrangement.GetCurrentTime());
  EXPECT_EQ(std::pair(arrangement.GetCurrentTime(), leaf.GetCurrentTime()), std::pair(700, 600));
  EXPECT_EQ(std::pair(leaf.ObjectOffset(&arrangement), leaf.GetRoot()), std::pair(-100, &root));

  // SetChild hands down the time and the context.
  vemo parent, child;
  parent.SetCurrentTime(400);
  child.SetPosition(100);
  EXPECT_EQ((std::tuple{parent.SetChild(child), child.GetParent(), child.GetCurrentTime()}),
            std::tuple(uint32_t(QA_UPDATE), &parent, 300));
  // SetPoSiz clamps.
  EXPECT_EQ((std::tuple{child.SetPoSiz(-5, 0), child.GetPosition(), child.GetSize()}),
            std::tuple(uint32_t(QA_CHANGED), 0, 1));
}

TEST(ObjectTree, DirtyMarksEveryAncestorExitQueryActionOnlyItself) {
  vemo root, mid, leaf;
  root.SetChild(mid);
  mid.SetChild(leaf);
  for (vemo *v : {&root, &mid, &leaf}) v->SetClean();
  EXPECT_EQ(mid.ExitQueryAction(QA_CHANGED), 144u);
  EXPECT_EQ(std::pair(mid.isDirty(), root.isDirty()), std::pair(1, 0));
  mid.SetClean();
  EXPECT_EQ((std::vector{leaf.Dirty(), int(leaf.isDirty()), int(mid.isDirty()), int(root.isDirty())}),
            std::vector({1, 1, 1, 1}));
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
  EXPECT_EQ((std::pair{parent.GetCapturedChild(), parent.ExitQueryAction(QA_RELEASE)}),
            std::pair(static_cast<vemo *>(nullptr), 130u));
  // QueryCapMov takes the capture itself; a release gives it back.
  child.answer = QA_UPDATE;
  EXPECT_EQ((std::pair{child.QueryCapMov(nullptr, POINT{}, 0), HeadlessDialogs().captured}),
            std::pair(uint32_t(QA_UPDATE | QA_CAPTURE), true));
  child.ExitQueryAction(QA_RELEASE);
  EXPECT_FALSE(HeadlessDialogs().captured);
}

TEST(BusyCounter, NestsAndShowsTheWaitCursorUntilBalanced) {
  auto cursor = [] { return HeadlessDialogs().cursor; };
  EXPECT_EQ((std::tuple{vemo::BusyStart(), cursor(), vemo::BusyStart(), vemo::BusyEnd(), cursor(), vemo::BusyEnd(),
                        cursor()}),
            std::tuple(1, cursorkind::wait, 2, 1, cursorkind::wait, 0, cursorkind::arrow));
}

TEST(BusyCounterDeathTest, UnbalancedEndStopsTheProgram) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(vemo::BusyEnd(), "BusyEnd without a matching BusyStart");
}

}  // namespace
