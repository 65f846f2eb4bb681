// Plugin effects: choice, parameters as variables, the per-frame call, records, lifetime.
#include <gtest/gtest.h>

#include <thread>

#include "core/clock.h"
#include "core/vemowin.h"
#include "effects/fxtest.h"
#include "effects/plugineffects.h"
#include "plugins/plugintest.h"
#include "time/memfile.h"

using plugtest::FixturePlugin;

namespace {

// A surface manager with the plugin folder's libraries (Invert the only video effect).
class PluginEffect : public ::testing::Test {
 protected:
  void SetUp() override { manager = std::make_unique<surface>(&context, nullptr); }
  void Add(const char *fixture) {
    ASSERT_TRUE(manager->Plugins().LoadPlugin(FixturePlugin(fixture).c_str()));
  }
  std::unique_ptr<effectVideo> Video() {
    return std::unique_ptr<effectVideo>(effectVideo::EffectNew(122, nullptr, &context, manager.get()));
  }
  auto *AsPlugin(const auto &e) { return dynamic_cast<effectVideoPlugin *>(e.get()); }
  // An effect made as a project load makes it (the scope lasts the statement): nothing asked, no plugin.
  std::unique_ptr<effectVideo> VideoForLoading() { return effectloadscope(), Video(); }
  // The fixture's effect, offered second after Invert.
  std::unique_ptr<effectVideo> FixtureVideo() {
    Add("fx_params.so");
    dialogs.choice_answer = 2;
    return Video();
  }

  plugtest::recording_dialogs dialogs;
  vemowin context;
  std::unique_ptr<surface> manager;
};

// The block a plugin effect's record starts with: its count, then the library's name with its zero.
bytes NameBlock(const std::string &name) {
  bytes b(4 + name.size() + 1, 0);
  b[0] = uint8_t(b.size());
  std::copy(name.begin(), name.end(), b.begin() + 4);
  return b;
}

pix32 Known(int x, int y) {
  return pix32(uint8_t(x * 40 + 3), uint8_t(y * 50 + 1), uint8_t(x * y * 9), uint8_t(90 + x));
}

}  // namespace

TEST_F(PluginEffect, TheOnlyVideoPluginIsTakenUnaskedInvertsByItsAmountAndOutlivesItsList) {
  auto e = Video();
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(std::pair(dialogs.chooses, e->GetID()), std::pair(0, 122));
  ASSERT_NE(AsPlugin(e), nullptr);
  ASSERT_NE(AsPlugin(e)->GetPlugin(), nullptr);
  EXPECT_STREQ(AsPlugin(e)->GetPluginName(), "invert.so");
  // The plugin's parameters joined the effect's own variables.
  timefloatmgr &vars = e->GetTimeFloatMgr();
  EXPECT_NE(vars.GetTimeFloatPointer("IDS_EFF_L"), nullptr);
  ASSERT_NE(vars.GetTimeFloatPointer("INVERT_AMOUNT"), nullptr);

  // Invert turns the rectangle by its amount (a second effect: this one's variables change).
  auto inv = Video();
  ASSERT_NE(inv, nullptr);
  fxtest::canvas src(7, 5), dst(7, 5);
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 7; ++x) src.at(x, y) = dst.at(x, y) = Known(x, y);
  const RECT rc{1, 1, 5, 4};
  // Amount 1 (the default): exactly 255 - c inside, alpha kept; outside untouched.
  ASSERT_EQ(inv->Process(src.kor(), dst.kor(), rc), 1);
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 7; ++x) {
      const pix32 k = Known(x, y), inverted(uint8_t(255 - k.r), uint8_t(255 - k.g), uint8_t(255 - k.b), k.a);
      EXPECT_EQ(dst.at(x, y), x >= 1 && x < 5 && y >= 1 && y < 4 ? inverted : k) << x << "," << y;
    }
  // Amount 0.25 (m = 64) with the alpha switch on: c + floor((255 - 2c) * 64 / 256) per channel.
  timefloatmgr &amount = inv->GetTimeFloatMgr();
  amount.timefloatset("INVERT_AMOUNT", 0, 0.25), amount.timefloatset("INVERT_ALPHA", 0, 1.0);
  amount.Commit();
  ASSERT_EQ(inv->Process(src.kor(), dst.kor(), rc), 1);
  auto quarter = [](int c) { return uint8_t(c + ((255 - 2 * c) >> 2)); };  // >> 2 floors either sign
  const pix32 k = Known(3, 2);
  EXPECT_EQ(dst.at(3, 2), pix32(quarter(k.r), quarter(k.g), quarter(k.b), quarter(k.a)));
  EXPECT_EQ(dst.at(0, 0), Known(0, 0));
  EXPECT_EQ(src.at(3, 2), k);  // the source is only read

  manager.reset();  // the lists free their libraries; the wrapper keeps its own
  src.at(1, 1) = pix32(10, 20, 30, 40);
  EXPECT_EQ(e->Process(src.kor(), dst.kor(), RECT{0, 0, 3, 3}), 1);
  EXPECT_EQ(dst.at(1, 1), pix32(245, 235, 225, 40));
  EXPECT_TRUE(plugtest::Resident(plugtest::BuiltPlugin("invert.so")));
  inv.reset();
  e.reset();
  EXPECT_FALSE(plugtest::Resident(plugtest::BuiltPlugin("invert.so")));
}

TEST_F(PluginEffect, SeveralPluginsAreChosenFromAndRefusalsMakeNoEffect) {
  Add("fx_params.so");
  Add("fx_once.so");          // its entry gave its one object to the loader
  dialogs.choice_answer = 0;  // cancelled
  EXPECT_EQ(Video(), nullptr);
  EXPECT_EQ(dialogs.offered,
            (std::vector<std::string>{"Invert", "Fixture Video Effect", "Fixture Video Effect"}));

  dialogs.choice_answer = 2;
  auto e = Video();
  ASSERT_NE(e, nullptr);
  EXPECT_STREQ(AsPlugin(e)->GetPluginName(), "fx_params.so");

  // A plugin whose entry makes no object now offers no effect interface: told, and no effect.
  dialogs.choice_answer = 3;
  const int boxes = dialogs.boxes_shown;
  EXPECT_EQ(Video(), nullptr);
  EXPECT_EQ(std::pair(dialogs.boxes_shown, dialogs.last_text),
            std::pair(boxes + 1, std::string("No Effect Interface")));

  // Without a surface manager there are no plugins.
  EXPECT_EQ(effectVideo::EffectNew(122, nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(effectAudio::EffectNew(122, nullptr, nullptr, manager.get()), nullptr);  // no sound plugin
}

TEST_F(PluginEffect, ParameterFlagsBecomeVariableKindsAndValuesReachThePlugin) {
  auto e = FixtureVideo();
  ASSERT_NE(e, nullptr);
  timefloatmgr &vars = e->GetTimeFloatMgr();
  const char *keys[] = {"FX_PLAIN", "FX_GROUP", "FX_SWITCH", "FX_BOTH"};
  const uint32_t kinds[] = {0, 7, 8, 15};
  for (int i = 0; i < 4; ++i) {
    timefloat *v = vars.GetTimeFloatPointer(keys[i]);
    ASSERT_NE(v, nullptr) << keys[i];
    EXPECT_EQ(v->GetKind(), kinds[i]) << keys[i];
    EXPECT_EQ(v->GetID(), 1100 + i);
  }
  EXPECT_EQ(vars.GetTimeFloatPointer("FX_PLAIN")->GetMinimum(), -1.0);
  EXPECT_EQ(vars.GetTimeFloatPointer("FX_PLAIN")->GetDefault(), 0.25);

  // Values are read at the clock's tick count, not the clip time: keys 0 and 0.5 at times 0 and 1 give 0.5.
  while (TickCount() < 2) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  vars.timefloatset("FX_PLAIN", 0, 0.0), vars.timefloatset("FX_PLAIN", 1, 0.5);
  vars.Commit();
  e->SetCurrentTime(0);
  fxtest::canvas src(8, 6), dst(8, 6);
  EXPECT_EQ(e->Process(src.kor(), dst.kor(), RECT{2, 1, 5, 3}), 7);  // the plugin's own result
  effio *plugin = AsPlugin(e)->GetPlugin();
  EXPECT_EQ(plugin->params[0].value, 0.5);
  EXPECT_EQ(plugin->params[2].value, 1.0);  // the switch's default
  for (int y = 0; y < 6; ++y)               // right and bottom are exclusive
    for (int x = 0; x < 8; ++x)
      EXPECT_EQ(dst.at(x, y), x >= 2 && x < 5 && y >= 1 && y < 3 ? pix32(100, 100, 100, 255) : pix32())
          << x << y;

  // A parameter whose variable the effect lacks gets the plugin's default.
  effio_video *other =
      reinterpret_cast<LumiVaxelVideoPluginProc>(manager->Plugins().VideoEffects()[1].entry)();
  ASSERT_NE(other, nullptr);
  other->paramcount = 1, other->params[0].key = "NOT_DECLARED";
  other->params[0].defaultvalue = -0.75, other->params[0].value = 3.0;
  e->SetPluginVars(other);
  EXPECT_EQ(other->params[0].value, -0.75);
  other->SelfDestruct();
}

TEST_F(PluginEffect, TheRecordNamesTheLibraryLoadingBindsItAgainAndAMissingOneIsKept) {
  auto fixture = FixtureVideo();
  ASSERT_NE(fixture, nullptr);
  fixture->GetTimeFloatMgr().timefloatset("FX_PLAIN", 0, 0.75), fixture->GetTimeFloatMgr().Commit();
  int ok = 0;
  const bytes saved = SavedBytes([&](FILE *f) { return fixture->Save(f); }, &ok);
  ASSERT_EQ(ok, 1);
  const bytes block = NameBlock("fx_params.so");
  EXPECT_EQ(bytes(saved.begin(), saved.begin() + ptrdiff_t(std::min(saved.size(), block.size()))), block);

  // Loading asks nothing, although two video plugins are loaded, and binds the named one.
  const int chooses = dialogs.chooses;
  std::unique_ptr<effectVideo> loaded = VideoForLoading();
  ASSERT_NE(loaded, nullptr);
  EXPECT_EQ(dialogs.chooses, chooses);
  EXPECT_EQ(AsPlugin(loaded)->GetPlugin(), nullptr);
  EXPECT_EQ(loaded->Load(FileWith(saved).get()), 1);
  ASSERT_NE(AsPlugin(loaded)->GetPlugin(), nullptr);
  EXPECT_STREQ(AsPlugin(loaded)->GetPluginName(), "fx_params.so");
  EXPECT_EQ(loaded->GetTimeFloatMgr().timefloatget("FX_PLAIN", 0), 0.75);
  EXPECT_EQ(SavedBytes([&](FILE *out) { return loaded->Save(out); }), saved);

  // An effect from a library not loaded here: its record is kept and the picture left alone.
  std::unique_ptr<effectVideo> e = VideoForLoading();
  bytes record = NameBlock("gone.so");
  const bytes vars = SavedBytes([&](FILE *f) { return e->tfSave(f); });
  record.insert(record.end(), vars.begin(), vars.end());
  EXPECT_EQ(e->Load(FileWith(record).get()), 1);
  EXPECT_EQ(AsPlugin(e)->GetPlugin(), nullptr);
  EXPECT_STREQ(AsPlugin(e)->GetPluginName(), "gone.so");
  EXPECT_EQ(SavedBytes([&](FILE *out) { return e->Save(out); }), record);
  fxtest::canvas src(4, 4), dst(4, 4);
  dst.at(1, 1) = pix32(1, 2, 3, 4);
  EXPECT_EQ(e->Process(src.kor(), dst.kor(), RECT{0, 0, 4, 4}), 0);
  EXPECT_EQ(dst.at(1, 1), pix32(1, 2, 3, 4));
}

TEST_F(PluginEffect, SoundPluginEffectsHandTheSoundOnUnchanged) {
  Add("fx_nullvideo_audio.so");
  std::unique_ptr<effectAudio> e(effectAudio::EffectNew(122, nullptr, &context, manager.get()));
  ASSERT_NE(e, nullptr);
  auto *wrapper = dynamic_cast<effectAudioPlugin *>(e.get());
  ASSERT_NE(wrapper, nullptr);
  EXPECT_STREQ(wrapper->GetPluginName(), "fx_nullvideo_audio.so");
  EXPECT_NE(e->GetTimeFloatMgr().GetTimeFloatPointer("FX_GAIN"), nullptr);
  int16_t in[8] = {1, 2, 3, 4, 5, 6, 7, 8}, out[8] = {};
  // 14 bytes are three whole frames: the fourth is not copied.
  EXPECT_EQ(e->Process(in, out, 14), 1);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(out[i], i < 6 ? in[i] : 0) << i;
}
