// The effect framework: type table, factories, declarations, selection and the effect record.
#include "effects/effect.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "core/dialogs.h"
#include "effects/fxtest.h"
#include "plugins/plugintest.h"
#include "time/memfile.h"

using fxtest::video;

TEST(EffectTable, HoldsEveryTypeOnceWithItsNameAndFactory) {
  size_t n = 0;
  const effecttype *t = EffectTypes(&n);
  std::set<std::pair<int, int>> seen;
  int video_rows = 0, audio_rows = 0;
  for (size_t i = 0; i < n; ++i) {
    SCOPED_TRACE(t[i].type);
    EXPECT_TRUE(seen.insert({t[i].type, int(t[i].kind)}).second);
    EXPECT_STRNE(EffectName(t[i].type), "");
    (t[i].kind == effectkind::video ? video_rows : audio_rows)++;
    if (t[i].type == 122) continue;  // the plugin wrappers need a plugin; every other row makes its effect
    std::unique_ptr<effect> e(t[i].kind == effectkind::video
                                  ? static_cast<effect *>(video(t[i].type).release())
                                  : effectAudio::EffectNew(t[i].type, nullptr, nullptr, nullptr));
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->GetID(), t[i].type);
  }
  EXPECT_EQ(std::pair(video_rows, audio_rows), std::pair(59, 3));
  // The shown name is shared (the twin tests tell the adjuster from the key by what they do).
  EXPECT_EQ(std::vector<std::string>({EffectName(292), EffectName(31), EffectName(12345)}),
            std::vector<std::string>({"Brightness Key", "Brightness Key", ""}));
  // A sound type is not a video effect, nor the reverse.
  EXPECT_EQ((std::vector<bool>{video(0) == nullptr, video(142) == nullptr,
                               effectAudio::EffectNew(28, nullptr, nullptr, nullptr) == nullptr}),
            std::vector(3, true));
}

TEST(Effect, NewVideoEffectCoversTheFrameAndIsSwitchedOn) {
  auto e = video(28);
  RECT r{};
  EXPECT_EQ((std::tuple{e->IsActive(), e->GetEffectRect(720, 576, &r), r.right, r.bottom, e->GetPluginBlock()}),
            std::tuple(true, true, 720, 576, static_cast<uint8_t *>(nullptr)));
  EXPECT_EQ(std::pair(r.left, r.top), std::pair(0, 0));
  e->SetTimeFloat(fxid::IDS_EFFECT_TOGGLE, 0.4);
  EXPECT_EQ((std::vector{e->IsActive(), e->ResetEffect(), e->IsActive()}), std::vector({false, true, true}));
  EXPECT_STREQ(effect::SwitchText(fxid::IDS_EFFECT_TOGGLE, false), "Effect Toggle Off");
  EXPECT_STREQ(effect::SwitchText(fxid::IDS_EFFECT_ENABLE, false), "Effect Disabled");
}

TEST(Effect, FamiliesDeclareTheirVariablesInOrder) {
  auto names = [](effectVideo &e) {
    std::string s;
    timefloatmgr &m = e.GetTimeFloatMgr();
    for (int i = 0; i < m.GetCount(); ++i) s += std::string(m.GetTimeFloatByIndex(i)->GetName()) + " ";
    return s;
  };
  const std::string common =
      "IDS_EFF_RECT IDS_EFF_L IDS_EFF_T IDS_EFF_R IDS_EFF_B IDS_EFFECT_SWITCHES IDS_EFFECT_ENABLE "
      "IDS_EFFECT_TOGGLE ";
  EXPECT_EQ(names(*video(103)), common + "IDS_EFFECT_VARS IDS_OPACITY ");
  EXPECT_EQ(names(*video(676)), common + "IDS_EFFECT_VARS IDS_SHADOW_SIZE ");
  EXPECT_EQ(names(*video(182)).substr(names(*video(111)).size()),
            "IDS_DST_RECT IDS_DST_L IDS_DST_T IDS_DST_R IDS_DST_B ");
  // The matrix variables come before the switches: the base declares them before initEffect.
  EXPECT_EQ(names(*video(149)),
            "IDS_EFF_RECT IDS_EFF_L IDS_EFF_T IDS_EFF_R IDS_EFF_B IDS_MATRIXVARS_01 IDS_MATRIX_SIZE "
            "IDS_EFFECT_LEVEL IDS_EFFECT_SWITCHES IDS_EFFECT_ENABLE IDS_EFFECT_TOGGLE ");
  std::unique_ptr<effectAudio> comp(effectAudio::EffectNew(514, nullptr, nullptr, nullptr));
  const timefloat *group = comp->FindTimeFloat("IDS_COMPRESS4");
  EXPECT_EQ(group ? group->GetMaximum() : -1, 1.0);
  EXPECT_EQ(comp->GetTimeFloatMgr().GetTimeFloatByIndex(4)->GetID(), fxid::IDS_COMP4);  // after the group

  // The chroma key declares its colour as members (kind 3), the RGB key as plain values.
  // The enable switch holds one stepped value for the whole clip (kind 104 = 64 + 32 + 8).
  auto chroma = video(29);
  EXPECT_EQ(std::vector({chroma->FindTimeFloat("IDS_RED")->GetKind(), video(28)->FindTimeFloat("IDS_RED")->GetKind(),
                         chroma->FindTimeFloat("IDS_EFFECT_ENABLE")->GetKind()}),
            std::vector({3u, 0u, 104u}));
  EXPECT_EQ(video(181)->GetTimeFloat(fxid::IDS_RADIUS_2), 0.25);
}

TEST(EffectSelect, OffersTheBuiltTypesByGroupAndReturnsTheChosenType) {
  plugtest::recording_dialogs d;
  EXPECT_EQ((std::pair{effectVideo::EffectSelect(nullptr, nullptr, true), d.title}),
            std::pair(0, std::string("Effect")));
  // Every video type, the plugin effects last.
  ASSERT_EQ(d.offered.size(), 59u);
  EXPECT_EQ(std::pair(d.offered.front(), d.offered.back()),
            std::pair(std::string("Basic Effects > Opacity"), std::string("Plugin Effects > Plugin Effects")));
  const auto rgb = std::find(d.offered.begin(), d.offered.end(), "Video Effects > RGB Key Color Excluded");
  ASSERT_NE(rgb, d.offered.end());
  d.choice_answer = int(rgb - d.offered.begin()) + 1;
  EXPECT_EQ(effectVideo::EffectSelect(nullptr, nullptr, true), 253);
  d.choice_answer = 3;
  EXPECT_EQ(effectAudio::EffectSelect(nullptr, nullptr, true), 122);
  EXPECT_EQ(d.offered, (std::vector<std::string>{"Audio Effects > Volume/Pan",
                                                 "Audio Effects > 4-Band Compressor / Expander",
                                                 "Plugin Effects > Plugin Effects"}));
  d.choice_answer = 1;
  EXPECT_EQ(effectAudio::EffectSelect(nullptr, nullptr, false), 142);
}

namespace {

// Keys at two times on an effect's variables, so a round trip has something to carry.
void animate(effectVideo &e) {
  for (auto [t, id, v] :
       {std::tuple{0, fxid::IDS_RED, 0.25}, {1500, fxid::IDS_RED, 0.75}, {1500, fxid::IDS_EFF_R, 0.5}})
    e.SetCurrentTime(t), e.SetTimeFloat(id, v);
  e.Commit();
}

// A keyed effect (type 252) with a plugin block of `capacity` bytes, `count` in use (0: empty, unkeyed).
std::unique_ptr<effectVideo> with_block(uint32_t capacity, uint32_t count = 0) {
  auto e = video(252);
  EXPECT_TRUE(e->CreatePluginBlock(capacity));
  if (!count) return e;
  animate(*e);
  uint8_t *b = e->GetPluginBlock();
  std::memcpy(b, &count, 4);
  for (uint32_t i = 4; i < count; ++i) b[i] = uint8_t(i * 7 + 1);
  return e;
}

bytes saved_of(effect &e, int *ok = nullptr) {
  return SavedBytes([&](FILE *f) { return e.Save(f); }, ok);
}
int load(effect &e, const bytes &b) { return e.Load(FileWith(b).get()); }
bool block_is_zero(effect &e, int n) {
  return std::all_of(e.GetPluginBlock(), e.GetPluginBlock() + n, [](uint8_t v) { return v == 0; });
}

}  // namespace

TEST(EffectRecord, WithoutPluginBlockItIsTheVariableRecordAlone) {
  auto a = video(28);
  animate(*a);
  int ok = 0;
  const bytes saved = saved_of(*a, &ok);
  EXPECT_EQ(std::pair(ok, saved), std::pair(1, SavedBytes([&](FILE *f) { return a->tfSave(f); })));
  // Loaded, it interpolates the keys and writes the same bytes again.
  auto b = video(28);
  EXPECT_EQ((std::tuple{load(*b, saved), b->GetTimeFloat(fxid::IDS_RED, 750), saved_of(*b)}),
            std::tuple(1, 0.5, saved));
}

TEST(EffectRecord, PluginBlockOfExactlyTheCapacityRoundTrips) {
  auto a = with_block(16, 16), b = with_block(16);
  const bytes saved = saved_of(*a);
  ASSERT_GE(saved.size(), 16u);
  EXPECT_EQ(Get<uint32_t>(saved, 0), 16u);  // the block's count leads the record
  EXPECT_EQ((std::tuple{load(*b, saved), std::memcmp(a->GetPluginBlock(), b->GetPluginBlock(), 16),
                        b->GetTimeFloat(fxid::IDS_RED, 0)}),
            std::tuple(1, 0, 0.25));
  // A block whose count uses only part of the capacity writes only that part.
  EXPECT_EQ(saved_of(*with_block(16, 9)).size(), saved.size() - 7);
  // One byte beyond the capacity is refused; the block stays zero and the variables still load.
  auto c = with_block(16);
  EXPECT_EQ(load(*c, saved_of(*with_block(17, 17))), 0);
  EXPECT_EQ((std::tuple{block_is_zero(*c, 16), c->GetTimeFloat(fxid::IDS_RED, 0),
                        c->GetTimeFloat(fxid::IDS_RED, 1500)}),
            std::tuple(true, 0.25, 0.75));
}

TEST(EffectRecord, DamagedRecordsFailCleanly) {
  auto a = with_block(12, 12);
  const bytes saved = saved_of(*a);
  for (size_t cut : {size_t(0), size_t(2), size_t(8), size_t(14)}) {
    auto b = with_block(12);
    EXPECT_EQ(load(*b, bytes(saved.begin(), saved.begin() + cut)), 0) << cut;
    // Cut inside the block: the block stays zero. Cut in the variables' header: only they fail.
    EXPECT_TRUE(cut >= 12 || block_is_zero(*b, 12)) << cut;
  }
  // A count too small to hold itself is refused too.
  bytes small = saved;
  Put<uint32_t>(small, 0, 3);
  EXPECT_EQ(load(*with_block(12), small), 0);
  // A count beyond the capacity cannot be written; a block too small for its count is not made.
  a->GetPluginBlock()[0] = 13;
  int ok = 1;
  saved_of(*a, &ok);
  EXPECT_EQ(std::pair(ok, a->CreatePluginBlock(3)), std::pair(0, false));
}
