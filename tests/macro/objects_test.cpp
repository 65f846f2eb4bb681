// Object commands: names reaching the tree, what they answer; refused commands change nothing.
#include <gtest/gtest.h>

#include "core/dialogs.h"
#include "engine/project.h"
#include "macrotest.h"
#include "media/surface.h"
#include "support/mediafile.h"
#include "support/wavfile.h"

using macrotest::RunText;

namespace {

// The project the test builds: every kind of clip, an effect with a key, a master and a mute.
constexpr const char *kScript =
    "Arrangement SetFormat 640 480 ; Arrangement SetFps 25 ; Arrangement SetLength 6 ; "
    "Arrangement AddMedia Pic $arg1/picture.bmp 2 0.5 4 ; "
    "Pic Place 1 4.5 3 ; Pic SetOffset 0.25 ; "
    "Pic.IDS_DST_L SetKey 0 0.1 ; Pic.IDS_DST_L SetKey 2.5 0.3 ; "
    "fx = Pic AddEffect Chroma_Key ; Pic.$fx.IDS_GREEN SetKey 0 1 ; Pic AddEffect 103 ; "
    "Arrangement AddText Title 1 0 6 \"Hello\\nworld\" ; Title.IDS_STR_FONTSIZE SetKey 1 24 ; "
    "Arrangement AddGradient Back 5 0 6 ; "
    "Arrangement AddArrangement Inner 0 1 3 ; Inner AddText Caption 0 0 2 Inside ; "
    "Arrangement AddMedia \"Low tone\" $arg1/tone.wav 6 0 1 ; Low_tone AudioMaster 1 ; "
    "Low_tone MuteVideo 1 ; Arrangement Commit ; saved = Arrangement Save $arg1/macro.vmp ; return saved";

TEST(MacroObjects, RefusedCommandsChangeNothingAndNamesReachChildrenEffectsAndVariables) {
  HeadlessDialogs().quiet = true;
  HeadlessDialogs().answer_yes = false;
  // A picture and a second of sound; what they show and sound like does not matter here.
  fixtures::temp_dir dir;
  KORSurface *s = surface::SurfaceCreate(64, 48);
  ASSERT_NE(s, nullptr);
  ASSERT_TRUE(surface::SurfaceSave(s, dir.file("picture.bmp").c_str()));
  surface::SurfaceDelete(s);
  const std::vector<uint8_t> wav =
      fixtures::WavBytes(fixtures::wav_layout{}, std::vector<uint8_t>(44100 * 4));
  macrotest::WriteText(dir.file("tone.wav"), std::string(wav.begin(), wav.end()));
  vemoproject built;
  ASSERT_TRUE(built.New());
  const auto made = RunText(built.Root(), kScript, dir.path().c_str());
  ASSERT_TRUE(made.ok) << made.error;
  auto Saved = [&](const char *name) {
    EXPECT_TRUE(built.Save(dir.file(name).c_str()));
    return fixtures::ReadFileText(dir.file(name));
  };

  const std::string before = Saved("before.vmp");
  for (const char *bad :
       {"Pic Place 1", "Pic Place a 2", "Pic Place 1 0", "Pic SetOffset -1", "Pic SetOffset 99", "Pic AddEffect 99999",
        "Pic AddEffect Nothing", "Pic RemoveEffect fx9", "Pic Rename Title", "Pic MuteAudio maybe", "Pic AudioMaster",
        "Arrangement AddMedia X /nonexistent/x.bmp 1 0", "Arrangement AddText Pic 1 0 1",
        "Arrangement AddGradient G 1 0 0", "Arrangement SetFormat 641 480", "Arrangement SetFps 26",
        "Arrangement SetLength -2", "Arrangement Delete Nobody",
        "Arrangement Make out.xyz", "Arrangement Make out.avi from=2 to=1", "Arrangement Make out.avi codec=none",
        "Inner Frame 0 x.bmp", "Arrangement Frame 0 x.gif", "Arrangement Load /nonexistent.vmp",
        "Pic.IDS_DST_L SetKey x 1", "Pic.IDS_DST_L KillKey 3", "Title SetText", "Pic SetText hi", "Pic Fly"}) {
    const auto o = RunText(built.Root(), bad);
    EXPECT_FALSE(o.ok) << bad;
    EXPECT_NE(o.error.find(" failed"), std::string::npos) << bad << ": " << o.error;
  }
  EXPECT_EQ(RunText(built.Root(), "Pic Place 1").error,
            "clause 2: Pic Place 1 failed: usage: Place START LENGTH [TRACK] "
            "(seconds, a length above 0, a track from 0)");
  EXPECT_EQ(Saved("after.vmp"), before);

  // Names reach children, effects and variables.
  UIItem *root = built.Root();
  auto answer = [&](const std::string &clause) {
    const auto o = RunText(root, "a = " + clause + " ; return a");
    EXPECT_TRUE(o.ok) << clause << ": " << o.error;
    return o.value;
  };
  EXPECT_EQ(answer("Arrangement List"), "Pic Title Back Inner \"Low tone\"");
  EXPECT_EQ(answer("arrangement.PIC GetType"), "clip");
  EXPECT_EQ(answer("Pic.fx1.IDS_GREEN GetValue 0"), "1.000000");
  EXPECT_EQ(answer("Pic.Chroma_Key GetID"), "29");
  EXPECT_EQ(answer("Pic.fx2 GetID"), "103");
  EXPECT_EQ(answer("Inner.Caption GetName"), "Caption");
  EXPECT_EQ(answer("Pic.IDS_DST_L ListKeys"), "0.000000=0.100000 2.500000=0.300000");
  EXPECT_EQ(answer("Pic.IDS_DST_L GetValue 1.25"), "0.200000");
  EXPECT_EQ(answer("Pic GetPosition"), "1.250000");  // the offset trimmed the head
  EXPECT_NE(answer("Low_tone Describe").find("audio master"), std::string::npos);
  EXPECT_EQ(answer("Pic RemoveEffect fx1"), "");
  EXPECT_EQ(answer("Pic.fx1 GetID"), "103");
  EXPECT_EQ(answer("Pic.IDS_DST_L KillKey 2.5"), "");
  EXPECT_EQ(answer("Pic.IDS_DST_L Reset"), "");
  EXPECT_EQ(answer("Pic.IDS_DST_L GetKeyCount"), "0");
  EXPECT_EQ(answer("Arrangement Delete Inner"), "");
  EXPECT_EQ(answer("Arrangement List"), "Pic Title Back \"Low tone\"");

  // The root's own name comes first; a child of that name is reached below it.
  EXPECT_EQ(answer("Arrangement AddArrangement Arrangement 0 0 1"), "Arrangement");
  EXPECT_EQ(answer("Arrangement.arrangement GetSize"), "1.000000");
  EXPECT_EQ(answer("Arrangement GetSize"), "6.000000");
  // A frame and a made file of the root.
  EXPECT_EQ(answer("Arrangement Frame 1.5 " + dir.file("f.bmp")), dir.file("f.bmp"));
  EXPECT_EQ(fixtures::ReadFileBytes(dir.file("f.bmp")).size(), size_t(54 + 480 * 1920));
  EXPECT_EQ(answer("Arrangement Make " + dir.file("m.avi") + " to=0.2 codec=raw"), dir.file("m.avi"));
  EXPECT_GT(fixtures::ReadFileBytes(dir.file("m.avi")).size(), size_t(2 * 640 * 480));
  // Loading replaces the tree with the saved one.
  EXPECT_EQ(answer("Arrangement Load " + dir.file("macro.vmp")), "Arrangement");
  EXPECT_EQ(answer("Arrangement List"), "Pic Title Back Inner \"Low tone\"");
}

}  // namespace
