// The timed object base: slots, local time, variables, keys, rectangles, commands, names.
#include "time/vemotime.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "core/dialogs.h"
#include "core/uiitems.h"
#include "time/declared_vars.h"

namespace {

// The vtable slot of a virtual member function, from its Itanium ABI form (1 + the byte offset).
template <typename F>
long Slot(F f) {
  uintptr_t rep[2];  // 1 + the offset, then the adjustment of `this`
  static_assert(sizeof(F) == sizeof(rep));
  std::memcpy(rep, &f, sizeof rep);
  return static_cast<long>((rep[0] - 1) / sizeof(void *));
}

template <typename... F>
std::vector<long> Slots(F... f) {
  return {Slot(f)...};
}

TEST(TimedObject, VirtualSlotsFollowUIItemInOrder) {
  using vt = vemotime;
  const std::vector<long> slots = Slots(
      &vt::SetOffset, &vt::GetOffset,
      static_cast<int (vt::*)(int, double *, double *, double *)>(&vt::GetTimeFloat),
      static_cast<double (vt::*)(int, int)>(&vt::GetTimeFloat),
      static_cast<double (vt::*)(int)>(&vt::GetTimeFloat), &vt::CheckTimeFloat, &vt::DeleteTimeFloatEntry,
      &vt::DeletePreviousTimeFloatEntries, &vt::DeleteNextTimeFloatEntries, &vt::NextTimeFloatTime,
      &vt::PrevTimeFloatTime, &vt::rcDraw, &vt::Commit, &vt::Revert, &vt::Reset);
  // Slot 22 of the interface is UIItem::SetID; 29 follows UIItem's own 28.
  const long base = Slot(&UIItem::SetID) - 22;
  for (size_t i = 0; i < slots.size(); ++i) EXPECT_EQ(slots[i] - base, 29 + long(i)) << i;
  EXPECT_EQ(Slot(&UIItem::UIItemRefresh) - base, 28);
  EXPECT_EQ(Slot(&vt::SetCurrentTime), Slot(&vemo::SetCurrentTime));  // overrides add no slots
  EXPECT_EQ(Slot(&vt::UIItemResolve), Slot(&UIItem::UIItemResolve));
}

// A root that passes its local time down to one child, as containers do.
class tree_root : public vemotime {
 public:
  vemotime *child = nullptr;
  uint32_t SetCurrentTime(int t) override {
    const uint32_t r = vemotime::SetCurrentTime(t);
    if (child) child->SetCurrentTime(currenttime);
    return r;
  }
};

struct timed_tree {
  std::unique_ptr<tree_root> root = std::make_unique<tree_root>();
  std::unique_ptr<vemotime> obj = std::make_unique<vemotime>();
  timed_tree() {
    root->child = obj.get();
    obj->SetParent(root.get());
    obj->SetPoSiz(1000, 5000);
    obj->SetOffset(300);  // position 1300, size 4700
  }
};

std::pair<int, int> PoSiz(vemotime &o) { return {o.GetPosition(), o.GetSize()}; }

TEST(TimedObject, OffsetTrimsTheHead) {
  auto obj = std::make_unique<vemotime>();
  obj->SetPoSiz(1000, 5000);
  EXPECT_EQ((std::tuple{obj->SetOffset(300), PoSiz(*obj)}), std::tuple(uint32_t(QA_CHANGED), std::pair(1300, 4700)));
  obj->SetOffset(100);  // back out again: the head grows
  EXPECT_EQ(PoSiz(*obj), std::pair(1100, 4900));
  // Unlike the plain object's, a timed object's extent is not clamped.
  EXPECT_EQ((std::tuple{obj->SetPoSiz(-5, 0), PoSiz(*obj)}), std::tuple(uint32_t(QA_CHANGED), std::pair(-5, 0)));
  obj->MovePoSiz(20);
  EXPECT_EQ(obj->GetPosition(), 15);

  // A local time past the int range (times a fuzzed project file gave) is held at its end.
  obj->SetPoSiz(2000000000, 10);
  obj->SetCurrentTime(-2000000000);
  EXPECT_EQ(obj->GetCurrentTime(), INT32_MIN);
}

TEST(TimedObject, LocalTimeReachesTheVariablesWhichCommitRevertAndResetWithTheMusicalTime) {
  auto obj = std::make_unique<vemotime>();
  obj->RectCreateSource();
  obj->SetPoSiz(1000, 5000);
  obj->SetOffset(300);
  obj->SetPoSiz(1000, 5000);  // position 1000 with offset 300
  EXPECT_EQ(obj->SetCurrentTime(2500), static_cast<uint32_t>(QA_UPDATE));
  EXPECT_EQ(std::vector({obj->GetCurrentTime(), obj->GetTimeFloatMgr().GetCurrentTime(),
                         obj->FindTimeFloat(45)->GetCurrentTime()}),
            std::vector({1800, 1800, 1800}));
  EXPECT_EQ(std::vector({obj->SetTimeFloat(45, 0.5), obj->SetTimeFloat(999, 0.5)}),
            std::vector<uint32_t>({QA_CHANGED, 0}));
  EXPECT_EQ(obj->FindTimeFloat(45)->Keys()[0].time, 1800);
  EXPECT_EQ(std::vector({obj->CheckTimeFloat(45), obj->CheckTimeFloat(46), obj->CheckTimeFloat(999)}),
            std::vector({true, false, false}));
  obj->FindTimeFloat(45)->SetValue(2800, 1.0);
  EXPECT_EQ(std::vector({obj->GetTimeFloat(45), obj->GetTimeFloat(45, 2800), obj->GetTimeFloat(999)}),
            std::vector({0.5, 1.0, 0.0}));
  double v = 0, lo = 9, hi = 9;
  EXPECT_EQ((std::tuple{obj->GetTimeFloat(45, &v, &lo, &hi), v, obj->GetTimeFloat(999, &v, &lo, &hi)}),
            std::tuple(1, 0.5, 0));

  // Commit, Revert and Reset cover the variables and the musical time.
  obj->GetMTime().SetBPM(120);
  EXPECT_EQ(obj->Commit(), 1u);
  obj->SetTimeFloat(45, 0.25);
  obj->GetMTime().SetBPM(90);
  EXPECT_EQ((std::tuple{obj->Revert(), obj->GetTimeFloat(45), obj->GetMTime().GetBPM()}), std::tuple(1u, 0.5, 120.0));
  EXPECT_EQ((std::tuple{obj->Reset(), obj->FindTimeFloat(45)->HasValues(), obj->GetMTime().GetBPM(),
                        obj->GetTimeFloatMgr().GetCount()}),
            std::tuple(1u, 0, 60.0, 5));
}

TEST(TimedObject, CommandsKeyDeletionAndStepping) {
  timed_tree tree;
  vemotime &obj = *tree.obj;
  tree.root->SetTime(2500);
  char result[UIITEM_RESULT_SIZE];
  for (auto [command, answer] : {std::pair{"GetTime", "1.500000"},
                                 {"GetPosition", "1.300000"},
                                 {"GetSize", "4.700000"},
                                 {"GetOffset", "0.300000"}}) {
    EXPECT_TRUE(obj.Command(command, result));
    EXPECT_STREQ(result, answer);
  }

  // SetTime adds the positions up to the root; the offset carries the object further into its material.
  EXPECT_TRUE(obj.Command("SetTime 2.25", result));
  EXPECT_EQ(std::vector(
                {tree.root->GetCurrentTime(), obj.GetCurrentTime(), obj.GetTimeFloatMgr().GetCurrentTime()}),
            std::vector({2250 + 1300, 2250 + 300, 2250 + 300}));
  EXPECT_EQ((std::pair{obj.Command("SetTime soon", result), obj.GetCurrentTime()}), std::pair(false, 2550));
  obj.SetID(77);
  EXPECT_EQ(std::pair(obj.GetTimeFloatMgr().GetID(), obj.GetMTime().GetID()), std::pair(77, 77));
  EXPECT_EQ((std::pair{obj.Command("GetTime now", result), std::string(result)}), std::pair(false, std::string()));

  // Keys are deleted around the local time and stepped through.
  obj.RectCreateDestination();
  timefloat *l = obj.FindTimeFloat(49);
  for (int t : {100, 200, 300, 400}) l->SetValue(t, t / 1000.0);
  tree.root->SetTime(1000 + 250);  // local 250
  ASSERT_EQ(obj.GetCurrentTime(), 250);

  const uint32_t changed = QA_CHANGED | QA_UPDATE, moved = QA_UPDATE;
  EXPECT_EQ(obj.DeleteTimeFloatEntry(49), 0u);  // no key here
  // Without a key here the neighbours' deletions change nothing yet still answer a change.
  for (auto del : {&vemotime::DeletePreviousTimeFloatEntries, &vemotime::DeleteNextTimeFloatEntries})
    EXPECT_EQ((obj.*del)(49), changed);
  EXPECT_EQ(l->HasValues(), 4);
  // Stepping moves the local time key by key; before the first key there is nowhere to go.
  for (auto [next, answer, time] : {std::tuple{true, moved, 300},
                                    {false, moved, 200},
                                    {false, moved, 100},
                                    {false, 0u, 100},
                                    {true, moved, 200}}) {
    EXPECT_EQ(next ? obj.NextTimeFloatTime(49) : obj.PrevTimeFloatTime(49), answer);
    EXPECT_EQ(obj.GetCurrentTime(), time);
  }
  // At 200 the earlier key goes, then the one here.
  EXPECT_EQ((std::vector<int>{int(obj.DeletePreviousTimeFloatEntries(49)), l->GetLoIndex(),
                              int(obj.DeleteTimeFloatEntry(49)), l->HasValues()}),
            std::vector<int>({int(changed), 200, int(changed), 2}));
  obj.NextTimeFloatTime(49);  // at 300 the later ones go; after the last key the time stays
  EXPECT_EQ((std::vector<int>{int(obj.DeleteNextTimeFloatEntries(49)), l->HasValues(), int(obj.NextTimeFloatTime(49)),
                              obj.GetCurrentTime(), int(obj.NextTimeFloatTime(999)), int(obj.ResetTimeFloat(49)),
                              l->HasValues()}),
            std::vector<int>({int(changed), 1, 0, 300, 0, QA_CHANGED, 0}));
}

TEST(TimedObject, SelectingTheCurrentVariable) {
  auto obj = std::make_unique<vemotime>();
  EXPECT_EQ(obj->GuessCurrentTimeFloat(), 0);
  obj->RectCreateSource();
  // An unknown ID leaves none current; a guess skips the group header.
  EXPECT_EQ((std::vector<int>{int(obj->SetCurrentTimeFloat(46)), obj->GetCurrentTimeFloat(),
                              int(obj->SetCurrentTimeFloat(9999)), obj->GetCurrentTimeFloat(),
                              obj->GuessCurrentTimeFloat()}),
            std::vector({int(QA_UPDATE), 46, 0, 0, 45}));

  // Chosen: the third variable, headers left out. Cancelled: it stays.
  for (auto [choice, answer] : {std::pair{3, uint32_t(QA_UPDATE)}, {0, 0u}}) {
    HeadlessDialogs().choice_answer = choice;
    EXPECT_EQ((std::pair{obj->SelectCurrentTimeFloat(nullptr), obj->GetCurrentTimeFloat()}), std::pair(answer, 47));
  }
}

TEST(TimedObject, Rectangles) {
  auto obj = std::make_unique<vemotime>();
  // The second destination request adds nothing.
  EXPECT_EQ((std::vector{obj->RectCreateSource(), obj->RectCreateDestination(), obj->RectCreateDestination()}),
            std::vector({true, true, true}));
  timefloatmgr &m = obj->GetTimeFloatMgr();
  EXPECT_EQ(std::pair(m.GetCount(), m.GroupCount()), std::pair(10, 2));
  EXPECT_EQ(std::string(m.GetTimeFloatByIndex(0)->GetName()) + m.GetTimeFloatByIndex(5)->GetName(),
            "IDS_SRC_RECTIDS_DST_RECT");

  const frect src = obj->GetTimeRect(45, 46, 47, 48);
  EXPECT_EQ(std::vector({src.left, src.top, src.right, src.bottom}), std::vector({0.0, 0.0, 1.0, 1.0}));

  obj->SetCurrentTime(100);
  EXPECT_EQ(obj->SetTimeRect(49, 50, 51, 52, frect(-3, -0.5, 25, 2)), static_cast<uint32_t>(QA_CHANGED));
  frect dst;
  EXPECT_EQ(obj->GetTimeRect(dst, 49, 50, 51, 52), 1);
  EXPECT_EQ(std::vector({dst.left, dst.top, dst.right, dst.bottom}),
            std::vector({-3.0, -0.5, 20.0, 2.0}));  // right clamped
  EXPECT_EQ((std::pair{obj->DeleteTimeRect(49, 50, 51, 52), obj->FindTimeFloat(50)->HasValues()}),
            std::pair(uint32_t(QA_CHANGED | QA_UPDATE), 0));
  obj->SetTimeRect(49, 50, 51, 52, frect(0, 0, 1, 1));
  EXPECT_EQ((std::pair{obj->ResetTimeRect(49, 50, 51, 52), obj->FindTimeFloat(49)->HasValues()}),
            std::pair(uint32_t(QA_CHANGED), 0));
}

TEST(TimedObject, ResolveAndCopies) {
  auto obj = std::make_unique<vemotime>();
  obj->RectCreateSource();
  EXPECT_EQ(obj->UIItemResolve("."), obj.get());
  for (const char *name : {"mt", "mt.336", "mt.tempo"})
    EXPECT_EQ(obj->UIItemResolve(name), &obj->GetMTime()) << name;
  UIItem *prefs = obj->UIItemResolve("prefs");
  ASSERT_NE(dynamic_cast<UIItemPrefs *>(prefs), nullptr);
  EXPECT_EQ(std::pair(obj->UIItemResolve(".prefs"), obj->UIItemResolve("*.prefs")), std::pair(prefs, prefs));
  UIItem *help = obj->UIItemResolve("help");
  ASSERT_NE(help, nullptr);
  EXPECT_NE(help, prefs);
  // Application-wide: another object's ".help" is the same item.
  EXPECT_EQ(std::pair(obj->UIItemResolve("*.help"), vemotime().UIItemResolve(".help")), std::pair(help, help));

  EXPECT_EQ(obj->UIItemResolve("IDS_NEXTKEYFRAME")->GetID(), 614);
  EXPECT_EQ(obj->UIItemResolve("IDS_SRC_T"), obj->FindTimeFloat(46));
  for (const char *name : {"IDS_NOPE", "614", "something"})
    EXPECT_EQ(obj->UIItemResolve(name), nullptr) << name;
  EXPECT_FALSE(obj->rcDraw(nullptr, RECT{}));

  // Copies own their members.
  obj->SetTimeFloat(45, 0.5);
  auto copy = std::make_unique<vemotime>(*obj);
  for (UIItem *member :
       std::initializer_list<UIItem *>{copy->FindTimeFloat(45), &copy->GetTimeFloatMgr(), &copy->GetMTime()})
    EXPECT_EQ(member->GetParent(), copy.get());
  copy->SetTimeFloat(45, 0.75);
  EXPECT_EQ(std::pair(obj->GetTimeFloat(45), copy->GetTimeFloat(45)), std::pair(0.5, 0.75));
}

}  // namespace
