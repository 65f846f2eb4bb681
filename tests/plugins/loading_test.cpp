// Plugin loading, the choice and lookup of export plugins, and the surface manager's start-up.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "core/vemowin.h"
#include "media/surface.h"
#include "plugins/plugintest.h"
#include "support/wavfile.h"

using plugtest::BuiltPlugin;
using plugtest::FixturePlugin;
using plugtest::Resident;

namespace {

class bareexport : public imgio_export {
 public:
  int Open(HWND) override { return 1; }
  int Close() override { return 1; }
  int SetOption(const char *, const char *) override { return 0; }
  int GetLastError(char *, int) override { return 0; }
};

// A list's entries, one "file: description" line each, with " *" where the entry holds an object.
std::string Listed(const KORPlugin *entries, int count) {
  std::string text;
  for (int i = 0; i < count; ++i)
    text += std::string(entries[i].filename) + ": " + entries[i].description +
            (entries[i].object ? " *\n" : "\n");
  return text;
}

}  // namespace

TEST(Imgio, TextsMustFitWithTheirZeroAndGettersMustHaveRoom) {
  bareexport io;
  char buffer[600] = {};
  const std::string t499(499, 't'), t500(500, 't');
  // Each call's result in order: nothing set yet; 500 characters and their zero do not fit 500.
  EXPECT_EQ((std::vector{io.GetTitle(buffer, sizeof buffer), io.SetTitle(t500.c_str()),
                         io.GetTitle(buffer, sizeof buffer), io.SetTitle(t499.c_str()),
                         io.GetTitle(buffer, sizeof buffer)}),
            (std::vector{0, 0, 0, 1, 1}));
  EXPECT_EQ(buffer, t499);
  EXPECT_EQ(io.SetTitle(""), 0);
  EXPECT_EQ((std::vector{io.SetComment("0123456789"), io.GetComment(buffer, 10), io.SetComment("012345678"),
                         io.GetComment(buffer, 10)}),
            (std::vector{1, 0, 1, 1}));
  EXPECT_STREQ(buffer, "012345678");

  double fps = 0;
  int width = 0;
  EXPECT_EQ(io.GetFramesPerSecond(&fps), 0);
  // An empty file name is refused, the five numbers are stored all the same.
  EXPECT_EQ((std::vector{io.SetInfo("", 1, 320, 240, 12.5, 0), io.GetFileName(buffer, sizeof buffer),
                         io.GetWidth(&width), io.GetFramesPerSecond(&fps)}),
            (std::vector{0, 0, 1, 1}));
  EXPECT_EQ(std::pair(width, fps), std::pair(320, 12.5));
}

TEST(PluginLists, EachLibraryCountsAsTheKindOfItsFirstEntry) {
  pluginlists lists;
  fixtures::temp_dir dir;
  std::ofstream(dir.file("junk.so")) << "this is text, not a shared library";
  // Export and video entries: the export counts; a video entry making nothing, then sound: a sound effect.
  for (const char *name : {"fx_both.so", "fx_nullvideo_audio.so", "fx_params.so"})
    EXPECT_TRUE(lists.LoadPlugin(FixturePlugin(name).c_str())) << name;
  // An export entry making nothing is refused (a video entry would have worked); so are non-libraries.
  for (const std::string &path : {FixturePlugin("fx_nullexport.so"), FixturePlugin("fx_noentry.so"),
                                  dir.file("junk.so"), dir.file("missing.so"), std::string()})
    EXPECT_FALSE(lists.LoadPlugin(path.c_str())) << path;

  EXPECT_EQ(Listed(lists.Exports(), lists.ExportCount()), "fx_both.so: Fixture Export (pictures only) *\n");
  EXPECT_EQ(Listed(lists.AudioEffects(), lists.AudioEffectCount()),
            "fx_nullvideo_audio.so: Fixture Audio Effect\n");
  EXPECT_EQ(Listed(lists.VideoEffects(), lists.VideoEffectCount()), "fx_params.so: Fixture Video Effect\n");
  EXPECT_EQ(lists.Count(pluginlists::kImport), 0);

  // Refused libraries are unloaded at once; taken ones stay until the lists are freed.
  EXPECT_EQ((std::vector{Resident(FixturePlugin("fx_nullexport.so")),
                         Resident(FixturePlugin("fx_noentry.so")), Resident(FixturePlugin("fx_both.so"))}),
            (std::vector{false, false, true}));
  lists.FreeAll();
  EXPECT_EQ(lists.ExportCount() + lists.VideoEffectCount() + lists.AudioEffectCount(), 0);
  EXPECT_FALSE(Resident(FixturePlugin("fx_both.so")));
}

TEST(PluginLists, AFileNameLoadsOnceWhateverItsCaseAndFolder) {
  fixtures::temp_dir a, b;
  ASSERT_TRUE(std::filesystem::copy_file(BuiltPlugin("invert.so"), a.file("Fx.so")));
  ASSERT_TRUE(std::filesystem::copy_file(FixturePlugin("fx_params.so"), b.file("fX.so")));
  pluginlists lists;
  EXPECT_TRUE(lists.LoadPlugin(a.file("Fx.so").c_str()));
  EXPECT_TRUE(lists.LoadPlugin(b.file("fX.so").c_str()));  // taken as loaded already
  EXPECT_EQ(Listed(lists.VideoEffects(), lists.VideoEffectCount()), "Fx.so: Invert\n");
  EXPECT_FALSE(Resident(b.file("fX.so")));
  // The name is looked for in every list, also when the first one was an export plugin.
  EXPECT_TRUE(lists.LoadPlugin(FixturePlugin("fx_both.so").c_str()));
  EXPECT_TRUE(lists.LoadPlugin(b.file("FX_BOTH.so").c_str()));
  EXPECT_EQ(std::pair(lists.VideoEffectCount(), lists.ExportCount()), std::pair(1, 1));
}

TEST(ExportChoice, OffersThePluginsThatCanEncodeWhatIsMadeAndFindsThemByNameOrFileType) {
  plugtest::recording_dialogs dialogs;
  pluginlists lists;
  for (const std::string &path :
       {BuiltPlugin("avi.so"), BuiltPlugin("mp4.so"), BuiltPlugin("wav.so"),
        BuiltPlugin("images.so"), FixturePlugin("fx_both.so")})
    ASSERT_TRUE(lists.LoadPlugin(path.c_str())) << path;
  auto Offered = [&](bool video, bool audio) {
    return dialogs.offered.clear(), lists.PopExportTypes(nullptr, video, audio), dialogs.offered;
  };
  auto d = [&](int i) { return std::string(lists.Exports()[i].description); };  // avi mp4 wav images fixture
  EXPECT_EQ(Offered(true, true), (std::vector{d(0), d(1)}));
  EXPECT_EQ(Offered(true, false), (std::vector{d(0), d(1), d(3), d(4)}));
  EXPECT_EQ(Offered(false, true), (std::vector{d(0), d(1), d(2)}));
  // Nothing to make: no menu at all.
  const int before = dialogs.chooses;
  EXPECT_EQ(lists.PopExportTypes(nullptr, false, false), nullptr);
  EXPECT_EQ(dialogs.chooses, before);

  // The answer counts among the offered entries, not among all plugins.
  dialogs.choice_answer = 3;
  EXPECT_EQ(lists.PopExportTypes(nullptr, false, true), lists.Exports()[2].object);
  dialogs.choice_answer = 0;
  EXPECT_EQ(lists.PopExportTypes(nullptr, true, false), nullptr);

  KORPlugin *avi = &lists.Exports()[0], *wav = &lists.Exports()[2], *images = &lists.Exports()[3];
  // By file name, description, title or extension ("png").
  const std::pair<const char *, KORPlugin *> names[] = {
      {"AVI", avi},    {"avi.so", avi},
      {".wav", wav},   {"images", images},
      {"png", images}, {"mkv", nullptr},
      {"", nullptr},   {"Fixture Export (pictures only)", &lists.Exports()[4]}};
  for (auto [name, plugin] : names) EXPECT_EQ(lists.FindExport(name), plugin) << name;
  // "shot.bmp" matches the second of the pictures plugin's patterns.
  const std::pair<const char *, KORPlugin *> files[] = {
      {"/out/clip.AVI", avi}, {"shot.bmp", images}, {"dir.wav/noext", nullptr}, {"clip.mkv", nullptr}};
  for (auto [file, plugin] : files) EXPECT_EQ(lists.FindExportForFile(file), plugin) << file;
}

// The folders' loading itself is every engine test's start; a hook can take each candidate instead.
TEST(SurfaceStartUp, OffersEachCandidateOfThePluginFoldersToTheHook) {
  vemowin context;
  std::vector<std::string> offered;
  surface::SetPluginLoader([&offered](surface &, const char *path) {
    offered.emplace_back(path);
    return false;
  });
  {
    surface manager(&context, nullptr);
    EXPECT_EQ(manager.Plugins().ExportCount(), 0);
  }
  surface::SetPluginLoader(nullptr);
  EXPECT_TRUE(std::any_of(offered.begin(), offered.end(), [](auto &p) { return p.ends_with("/avi.so"); }));
}
