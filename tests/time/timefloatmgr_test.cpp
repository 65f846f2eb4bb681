// The variable manager, the declared variables and the variable clipboard.
#include "time/timefloatmgr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>

#include "core/dialogs.h"
#include "time/declared_vars.h"
#include "time/memfile.h"
#include "time/tfcboard.h"

namespace {

// A manager with the named rows of the declaration table.
std::unique_ptr<timefloatmgr> NewMgr(std::initializer_list<const char *> names = {}) {
  auto m = std::make_unique<timefloatmgr>();
  for (const char *n : names) DeclareVariable(*m, n);
  return m;
}

TEST(TimefloatMgrDeclare, NamesAreUniqueWithoutRegardToCaseAndCarryTheirProperties) {
  auto m = NewMgr();
  EXPECT_EQ(m->timefloatadd("IDS_VOLUME", 123, 0, 1, 1, 0xFFFFFFFF, 0xFFFFFFFF, 0), 1);
  EXPECT_EQ(m->timefloatadd("IDS_VOLUME", 123, 0, 1, 1, 0xFFFFFFFF, 0xFFFFFFFF, 0), 1);
  EXPECT_EQ((std::pair{m->timefloatadd("ids_volume", 5, 0, 1, 1), m->GetCount()}), std::pair(0, 1));
  EXPECT_EQ(std::vector({m->timefloatget("ids_Volume"), m->timefloatget(123), m->timefloatget("IDS_PAN"),
                         m->timefloatget(150), m->timefloatget(nullptr)}),
            std::vector({0, 0, -1, -1, -1}));
  EXPECT_EQ(m->timefloatadd(nullptr, 1, 0, 1, 0) + m->timefloatadd(std::string(256, 'x').c_str(), 1, 0, 1, 0),
            0);

  // Properties, text and placement.
  vemo owner;
  m->Attach(&owner, nullptr, nullptr);
  m->timefloatadd("IDS_PAN", 150, -1, 1, 0);
  m->timefloatadd("MY_OWN", 1000, 2, 3, 2.5);
  timefloat *pan = m->GetTimeFloatPointer("IDS_PAN");
  ASSERT_NE(pan, nullptr);
  EXPECT_STREQ(pan->GetText(), "Pan");
  EXPECT_EQ(std::pair(pan->GetGroupID(), pan->GetParent()), std::pair(150, &owner));
  EXPECT_STREQ(m->GetTimeFloatPointer("MY_OWN")->GetText(), "MY_OWN");  // no resource text

  m->timefloatadd("IDS_RED", 38, 0, 1, 0, TF_COLOR_RED, 0xFFFFFFFF, 0);
  const timefloat *red = m->GetTimeFloatPointer(38);
  EXPECT_EQ(std::pair(red->GetColor1(), red->GetColor2()),
            std::pair(TF_COLOR_RED, RGB(192, 192, 192)));  // all-ones keeps the default
  // A refused second declaration still sets kind and colours.
  m->timefloatadd("IDS_RED", 38, 0, 1, 0, 0xFFFFFFFF, TF_COLOR_BLUE, 3);
  EXPECT_EQ(std::vector({red->GetKind(), red->GetFlags(), red->GetColor2()}),
            std::vector<uint32_t>({3, 3, TF_COLOR_BLUE}));
}

TEST(TimefloatMgrDeclare, AtMost128VariablesAndKindsMoveTheCurrentGroup) {
  auto m = NewMgr();
  for (int i = 0; i < 128; ++i)
    ASSERT_EQ(m->timefloatadd(("V" + std::to_string(i)).c_str(), 2000 + i, 0, 1, 0), 1);
  EXPECT_EQ(m->timefloatadd("V128", 3000, 0, 1, 0), 0);
  EXPECT_EQ(m->timefloatadd("V129", 3001, 0, 1, 0, 0, 0, 0), 1);  // refused, still 1
  EXPECT_EQ(std::pair(m->GetCount(), m->timefloatget("V129")), std::pair(128, -1));
  // Kinds 7 and 3 leave the group; kind 0, and 72 with neither bit 1 nor 2, move it to their ID.
  auto k = NewMgr();
  for (auto [name, kind, group] : {std::tuple{"IDS_COLOR_FG", 7u, 0},
                                   {"IDS_COLOR_FG_R", 0u, 399},
                                   {"IDS_RED", 3u, 399},
                                   {"IDS_STR_ITALIC", 72u, 388}}) {
    DeclareVariable(*k, name, kind);
    EXPECT_EQ(k->GetCurrentGroup(), group) << name;
  }
}

TEST(TimefloatMgrValues, SetGetResetAndPendingEdits) {
  auto m = NewMgr({"IDS_VOLUME", "IDS_PAN"});
  EXPECT_EQ((std::tuple{m->timefloatset("IDS_NOPE", 0, 1), m->timefloatset(999, 0, 1), m->IsChanged(),
                        m->timefloatget(999, 0)}),
            std::tuple(0, 0, false, 0.0));

  m->SetCurrentGroup(0);
  EXPECT_EQ((std::vector{m->timefloatset("ids_pan", 100, -0.5), m->timefloatset(150, 300, 0.5), int(m->IsChanged()),
                         m->GetCurrentGroup()}),
            std::vector({1, 1, 1, 150}));
  // No keys: the default.
  EXPECT_EQ(std::pair(m->timefloatget("IDS_PAN", 200), m->timefloatget(123, 200)), std::pair(0.0, 1.0));
  double v = 9, lo = 9, hi = 9;
  EXPECT_EQ(m->timefloatget(150, 150, &v, &lo, &hi), 1);
  EXPECT_EQ(std::vector({v, lo, hi}), std::vector({-0.25, -1.0, 1.0}));
  EXPECT_EQ(m->timefloatget("IDS_X", 150, &v, &lo, &hi), 0);

  m->Commit();
  EXPECT_FALSE(m->IsChanged());
  m->timefloatset(123, 50, 0.5);
  m->Revert();  // reaches every curve
  EXPECT_EQ(m->GetTimeFloatPointer(123)->HasValues(), 0);

  EXPECT_EQ((std::tuple{m->timefloatreset("IDS_PAN"), m->timefloatreset(777),
                        m->GetTimeFloatPointer(150)->HasValues()}),
            std::tuple(1, 0, 0));
  m->timefloatset(123, 50, 0.5);
  m->Reset();
  EXPECT_EQ(std::pair(m->GetTimeFloatPointer(123)->HasValues(), m->GetCount()), std::pair(0, 2));
}

TEST(TimefloatMgrGroups, CountAndLookup) {
  EXPECT_EQ(NewMgr()->FindCurrentGroup(), -1);
  auto m = NewMgr({"IDS_SRC_RECT", "IDS_SRC_L", "IDS_SRC_T", "IDS_CLIP_VARS", "IDS_START_OPACITY"});
  EXPECT_EQ(m->GroupCount(), 2);
  // A member finds its header, a header itself.
  for (auto [current, index, selected] :
       {std::tuple{46, 0, 422}, {425, 3, 425}, {554, 3, 425}, {4242, -1, 0}}) {
    m->SetCurrentGroup(current);
    EXPECT_EQ(m->FindCurrentGroup(), index) << current;
    EXPECT_EQ(m->GetSelectedGroup(), selected) << current;
  }

  auto &ui = HeadlessDialogs();
  ui.choice_answer = 2;
  EXPECT_EQ((std::pair{m->QAPopGroups(nullptr), m->GetCurrentGroup()}), std::pair(uint32_t(QA_UPDATE), 425));
  ui.choice_answer = 0;
  EXPECT_EQ(m->QAPopGroups(nullptr), 0u);
}

TEST(TimefloatMgrResolve, ButtonsByNumberOrName) {
  auto m = NewMgr({"IDS_VOLUME"});
  UIItem *next = m->UIItemResolve("#614");
  ASSERT_NE(next, nullptr);
  EXPECT_EQ(next->GetID(), 614);
  for (const char *name : {"614", "NextKeyFrame", "ids_nextkeyframe"})
    EXPECT_EQ(m->UIItemResolve(name), next) << name;
  for (auto [name, id] : {std::pair{"PREVKEYFRAME", 615}, {"clickgroups", 191}, {"#494", 494}})
    EXPECT_EQ(m->UIItemResolve(name)->GetID(), id) << name;
  for (const char *name : {"IDS_VOLUME", "0", "#613", static_cast<const char *>(nullptr)})
    EXPECT_EQ(m->UIItemResolve(name), nullptr);

  timefloatmgr copy(*m);  // with its own buttons
  EXPECT_NE(copy.UIItemResolve("614"), next);
  EXPECT_EQ(std::pair(copy.UIItemResolve("614")->GetParent(), copy.GetCount()),
            std::pair(static_cast<vemo *>(&copy), 1));
}

bytes SaveMgr(timefloatmgr &m) {
  return SavedBytes([&](FILE *f) { return m.Save(f); });
}

TEST(TimefloatMgrFile, RecordLayout) {
  auto m = NewMgr({"IDS_VOLUME", "IDS_PAN"});
  m->timefloatset(150, 10, 0.5);
  const bytes b = SaveMgr(*m);
  ASSERT_EQ(b.size(), 8u + 368u + 368u + 16u);
  // Header size, count, each curve's key count (in declaration order), the key's time and value.
  EXPECT_EQ(Fields<int32_t>(b, {0, 4, 8 + 4, 8 + 368 + 4, 8 + 736}), (std::vector<int32_t>{8, 2, 0, 1, 10}));
  EXPECT_EQ(std::string(reinterpret_cast<const char *>(b.data() + 8 + 368 + 32)), "IDS_PAN");
  EXPECT_EQ(Get<double>(b, 8 + 736 + 8), 0.5);
}

TEST(TimefloatMgrFile, MatchesByNameOnly) {
  auto saved = NewMgr({"IDS_VOLUME", "IDS_PAN", "IDS_OPACITY", "IDS_SATURATION"});
  for (auto [name, t, v] : {std::tuple{"IDS_VOLUME", 0, 0.25}, {"IDS_VOLUME", 1000, 0.75}, {"IDS_PAN", 500, -1.0},
                            {"IDS_OPACITY", 40, 0.5}, {"IDS_SATURATION", 7, 0.125}})
    saved->timefloatset(name, t, v);
  const bytes b = SaveMgr(*saved);

  // Other order, other bounds, one stored name undeclared, one declared name not stored.
  auto loaded = NewMgr();
  loaded->timefloatadd("IDS_SATURATION", 239, 0, 1, 1);
  loaded->timefloatadd("IDS_PAN", 150, -2, 2, 1.5);
  loaded->timefloatadd("IDS_VOLUME", 123, 0, 1, 1);
  loaded->timefloatadd("IDS_SMOOTHING", 277, 0.7, 0.99, 0.7);
  loaded->timefloatset("IDS_SMOOTHING", 3, 0.8);  // wiped: the file does not hold it
  EXPECT_EQ(loaded->Load(FileWith(b).get()), 1);
  EXPECT_EQ(loaded->GetCount(), 4);
  EXPECT_EQ(std::pair(loaded->timefloatget("IDS_VOLUME", 500), loaded->timefloatget("IDS_SATURATION", 0)),
            std::pair(0.5, 0.125));
  const timefloat *pan = loaded->GetTimeFloatPointer("IDS_PAN");
  // Bounds and ID as declared, keys from the file.
  EXPECT_EQ(std::vector({pan->GetMinimum(), pan->GetDefault(), pan->GetValue(0), double(pan->Header().id)}),
            std::vector({-2.0, 1.5, -1.0, 150.0}));
  EXPECT_EQ(std::pair(loaded->GetTimeFloatPointer("IDS_SMOOTHING")->HasValues(),
                      loaded->GetTimeFloatPointer("IDS_OPACITY")),
            std::pair(0, static_cast<timefloat *>(nullptr)));
  EXPECT_FALSE(loaded->IsChanged());  // what was loaded is committed
}

TEST(TimefloatMgrFile, BadHeadersAndStrayCurves) {
  auto m = NewMgr({"IDS_VOLUME"});
  // Empty, a longer header, one cut inside.
  for (const bytes &bad : {bytes{}, bytes{9, 0, 0, 0, 1, 0, 0, 0, 0}, bytes{8, 0, 0, 0, 1, 0}})
    EXPECT_EQ(m->Load(FileWith(bad).get()), 0);

  // A count far beyond what the file holds stops at the end of the file.
  auto src = NewMgr({"IDS_VOLUME"});
  src->timefloatset(123, 5, 0.5);
  bytes b = SaveMgr(*src);
  Put<int32_t>(b, 4, 2000000000);
  EXPECT_EQ((std::pair{m->Load(FileWith(b).get()), m->timefloatget(123, 5)}), std::pair(1, 0.5));

  // A curve with a longer header than ours ends the loading; what was read stays.
  bytes two = SaveMgr(*src);
  Put<int32_t>(two, 4, 2);
  Put<uint32_t>(two, two.size(), 400);
  two.resize(two.size() + 396);
  EXPECT_EQ((std::pair{m->Load(FileWith(two).get()), m->timefloatget(123, 5)}), std::pair(1, 0.5));
}

TEST(TimefloatMgrFile, EveryTruncationLoadsCleanly) {
  auto src = NewMgr({"IDS_VOLUME", "IDS_PAN", "IDS_OPACITY"});
  for (auto [id, t, v] : {std::tuple{123, 0, 0.25}, {123, 100, 0.5}, {104, 10, 0.75}})
    src->timefloatset(id, t, v);
  const bytes whole = SaveMgr(*src);
  auto m = NewMgr({"IDS_OPACITY", "IDS_VOLUME", "IDS_PAN"});
  for (size_t n = 0; n <= whole.size(); ++n) {
    const int r = m->Load(FileWith(bytes(whole.begin(), whole.begin() + static_cast<long>(n))).get());
    EXPECT_EQ(r, n >= 8 ? 1 : 0) << n;
    if (r == 0) continue;
    // Whatever arrived is a prefix of what was saved: the volume's two keys (0.25 first), then the opacity's.
    const int volume = m->GetTimeFloatPointer(123)->HasValues();
    const int opacity = m->GetTimeFloatPointer(104)->HasValues();
    EXPECT_EQ(std::pair(volume, opacity), std::pair(opacity ? 2 : std::min(volume, 2), std::min(opacity, 1))) << n;
    EXPECT_EQ(volume ? m->timefloatget(123, 0) : 0.25, 0.25) << n;
  }
  EXPECT_EQ(m->GetTimeFloatPointer(104)->HasValues(), 1);
}

TEST(DeclaredVariables, TableIsConsistent) {
  size_t n = 0;
  const tfdecl *rows = DeclaredVariables(&n);
  ASSERT_GT(n, 100u);
  std::set<std::pair<std::string, uint32_t>> seen;
  for (size_t i = 0; i < n; ++i) {
    const tfdecl &r = rows[i];
    SCOPED_TRACE(r.name);
    EXPECT_TRUE(seen.insert({r.name, r.kind}).second);
    EXPECT_STRNE(vemo::GetStringPtr(r.id), "");  // every row has its displayed text
    const std::vector bounds({r.minimum, r.defaultvalue, r.maximum});
    if (r.kind == TF_KIND_GROUP)
      EXPECT_EQ(bounds, std::vector({0.0, 0.0, 0.0}));
    else if (r.kind & TF_KIND_SWITCH)
      EXPECT_EQ(std::pair(r.minimum, r.maximum), std::pair(0.0, 1.0));
    else
      EXPECT_LT(r.minimum, r.maximum);
    EXPECT_TRUE(std::is_sorted(bounds.begin(), bounds.end()));
  }
}

TEST(DeclaredVariables, RowsAsDeclared) {
  // Found without regard to case; the kind picks among rows of one name.
  EXPECT_EQ(std::vector({FindDeclaredVariable("ids_dst_r")->id, int(FindDeclaredVariable("IDS_RED")->kind),
                         int(FindDeclaredVariable("IDS_RED", 3)->kind), DeclareVariable(*NewMgr(), "IDS_NOTHING")}),
            std::vector({51, 0, 3, 0}));
  EXPECT_EQ(std::vector({FindDeclaredVariable("IDS_RED", 7), FindDeclaredVariable("IDS_NOTHING")}),
            std::vector<const tfdecl *>(2, nullptr));
}

TEST(VariableClipboard, ByIDThenByName) {
  auto board = std::make_unique<tfcboard>();
  timefloat pan("IDS_PAN", -1, 1, 0), other("IDS_PAN", -1, 1, 0);
  for (timefloat *tf : {&pan, &other}) tf->SetID(150);
  pan.SetValue(0, 0.5);
  EXPECT_EQ((std::vector{board->Check(&pan), board->PasteTo(&other), board->CopyFrom(&pan), board->Check(&other)}),
            std::vector({false, false, true, true}));
  other.SetCurrentTime(700);
  EXPECT_EQ((std::pair{board->PasteTo(&other), other.GetValue(700)}), std::pair(true, 0.5));
  other.Revert();  // a paste is a pending edit
  EXPECT_EQ(other.HasValues(), 0);
  pan.SetValue(0, -0.25);  // a second copy overwrites the entry
  EXPECT_EQ((std::tuple{board->CopyFrom(&pan), board->CountByID(), board->PasteTo(&other), other.GetValue(700)}),
            std::tuple(true, 1, true, -0.25));

  timefloat unnamed, a("my value", 0, 1, 0), b("MY VALUE", 0, 1, 0);
  a.SetValue(0, 0.75);
  EXPECT_EQ((std::tuple{board->CopyFrom(&unnamed), board->CopyFrom(&a), board->CountByName(), board->PasteTo(&b),
                        b.GetValue(0)}),
            std::tuple(false, true, 1, true, 0.75));
  // Names are kept to 63 characters.
  timefloat l1(std::string(80, 'n').c_str(), 0, 1, 0), l2((std::string(63, 'n') + "zz").c_str(), 0, 1, 0);
  EXPECT_EQ((std::pair{board->CopyFrom(&l1), board->Check(&l2)}), std::pair(true, true));
}

TEST(VariableClipboard, TablesHoldAThousandAndTwentyFourEntries) {
  auto board = std::make_unique<tfcboard>();
  timefloat tf;
  for (int id = 1; id <= 1024; ++id) {
    tf.SetID(id);
    ASSERT_TRUE(board->CopyFrom(&tf));
  }
  // Full: a new ID is refused, an existing entry still takes a value.
  for (auto [id, taken] : {std::pair{1025, false}, {17, true}}) {
    tf.SetID(id);
    EXPECT_EQ(board->CopyFrom(&tf), taken) << id;
  }
  tf.SetID(0);
  tf.SetName("by name");
  EXPECT_TRUE(board->CopyFrom(&tf));  // the other table has room
}

}  // namespace
