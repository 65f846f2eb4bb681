// Platform layer: string table, dialogs, settings store, folders, dates, icons and shell files.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "core/dialogs.h"
#include "core/icons.h"
#include "core/settings.h"
#include "core/vemo.h"
#include "support/mediafile.h"
#include "support/wavfile.h"

namespace fs = std::filesystem;

namespace {

// A private folder per test, and XDG folders inside it.
class PlatformTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("XDG_CONFIG_HOME", (dir + "/config").c_str(), 1);
    setenv("XDG_DATA_HOME", (dir + "/data").c_str(), 1);
    HeadlessDialogs().quiet = true;
    HeadlessDialogs().answer_yes = false;
  }
  void TearDown() override { HeadlessDialogs().quiet = false; }
  fixtures::temp_dir tmp;
  const std::string dir = tmp.path();
};

TEST(StringTable, KnownIdsAndEmptyOutsideTheRange) {
  // "Forground" is spelled as the product shows it.
  for (auto [id, text] : {std::pair{45, "Source Left Edge"}, {394, "Forground Color"}, {158, "Quantize Off"},
                          {0, ""}, {1024, ""}, {-3, ""}})
    EXPECT_STREQ(vemo::GetStringPtr(id), text) << id;
}

TEST_F(PlatformTest, MessageBoxesGoThroughTheDialogInterface) {
  headless_dialogs &d = HeadlessDialogs();
  auto shown = [&d] { return std::tuple<std::string, std::string, boxicon>(d.last_text, d.last_caption, d.last_icon); };
  EXPECT_FALSE(vemo::AskForOk("Caption", "Proceed?"));
  d.answer_yes = true;
  EXPECT_EQ((std::pair{vemo::AskForOk("Caption", "Proceed?"), d.last_caption}),
            std::pair(true, std::string("Caption")));
  EXPECT_TRUE(vemo::AskForDelete(99));
  EXPECT_EQ(std::pair(d.last_text, d.last_caption), std::pair(std::string("\n\n"), std::string()));
  vemo::BoxError(nullptr, 45);  // the body is the word, the caption the message
  EXPECT_EQ(shown(), std::tuple("Error", "Source Left Edge", boxicon::exclamation));
  vemo::BoxInfo(nullptr, 46);
  EXPECT_EQ(shown(), std::tuple("Info", "Source Top Edge", boxicon::information));
}

TEST_F(PlatformTest, DatasetValuesPersistAtomically) {
  // What a read answers, and the text it leaves.
  auto get = [](const char *key, size_t size = 64) {
    char value[64] = "stale";
    const int n = vemo::GetDatasetValue("General", key, value, size);
    return std::pair(n, std::string(value));
  };
  EXPECT_EQ(get("Missing"), std::pair(0, std::string()));
  // Sub-keys become folders and cannot climb out of the store.
  EXPECT_EQ(std::vector({vemo::SetDatasetValue("General", "LastProject", "/home/a/b=c.vmp"),
                         vemo::SetDatasetValue("General", "Multi", "line one\nline\\two"),
                         vemo::SetDatasetValue("Plugins\\..\\Export", "Format", "AVI")}),
            std::vector({1, 1, 1}));
  EXPECT_EQ(get("LastProject"), std::pair(15, std::string("/home/a/b=c.vmp")));
  EXPECT_EQ(get("Multi"), std::pair(17, std::string("line one\nline\\two")));
  EXPECT_EQ(get("LastProject", 4).first, 0);  // too small
  const std::string store = dir + "/config/kor.vale.lab";
  EXPECT_EQ(std::pair(fs::exists(store + "/General"), fs::exists(store + "/Plugins/Export")), std::pair(true, true));
  for (const auto &e : fs::directory_iterator(store))
    EXPECT_EQ(e.path().filename().string().find(".XXXXXX"), std::string::npos);
}

TEST_F(PlatformTest, FoldersFileNamesAndTempFiles) {
  char path[512];
  std::snprintf(path, sizeof path, "%s/a/b/c", dir.c_str());
  EXPECT_EQ((std::tuple{vemo::MakeDirectory(path), std::string(path), fs::is_directory(dir + "/a/b/c"),
                        vemo::MakeDirectory(path)}),  // existing is fine
            std::tuple(1, dir + "/a/b/c/", true, 1));
  std::ofstream(dir + "/file") << "x";  // a file, or a path through one, is no folder
  for (const char *bad : {"/file", "/file/sub"}) {
    std::snprintf(path, sizeof path, "%s%s", dir.c_str(), bad);
    EXPECT_EQ(vemo::MakeDirectory(path), 0) << bad;
  }

  // File names, temporary files and folders.
  char name[128];
  vemo::SetNumberingFolder(12);
  EXPECT_EQ((std::pair{vemo::MakeFileName('v', 42, ".avi", name), std::string(name)}),
            std::pair(true, std::string("12/v0000042.avi")));
  EXPECT_EQ((std::pair{vemo::MakeUrlName("http://example.invalid/m/", 'p', 7, ".jpg", name), std::string(name)}),
            std::pair(true, std::string("http://example.invalid/m/12/p0000007.jpg")));
  vemo::SetNumberingFolder(0);

  setenv("TMPDIR", dir.c_str(), 1);
  FILE *f = vemo::OpenTempFile("lv-temp.bin", "wb");
  ASSERT_NE(f, nullptr);
  std::fclose(f);
  EXPECT_TRUE(fs::exists(dir + "/lv-temp.bin"));
  unsetenv("TMPDIR");

  char s[] = "folder/";
  vemo::removelastchar(s, '/');
  vemo::removelastchar(s, '/');  // only a last '/' goes
  EXPECT_STREQ(s, "folder");
}

TEST(Dates, AsctimeFormWithNewline) {
  tm t{};  // a Sunday
  t.tm_year = 126, t.tm_mon = 10, t.tm_mday = 22, t.tm_hour = 15, t.tm_min = 26, t.tm_sec = 5;
  char text[64];
  EXPECT_EQ(vemo::GetDateString(&t, text), 25);
  EXPECT_STREQ(text, "Sun Nov 22 15:26:05 2026\n");
  EXPECT_EQ(vemo::GetDateStringToday(text), 25);
}

TEST_F(PlatformTest, IconsComeFromTheFileTypeOrTheQuestionMark) {
  vemo v;
  EXPECT_EQ((std::pair{v.SetIcon((dir + "/missing.avi").c_str()), v.GetIcon()->name}),
            std::pair(false, std::string("dialog-question")));
  std::ofstream(dir + "/clip.avi") << "x";
  EXPECT_EQ((std::pair{v.SetIcon((dir + "/clip.avi").c_str()), v.GetIcon()->name}),
            std::pair(true, std::string("video-x-generic")));
  vemo copy(v);  // a copy holds its own icon, so the two destructors release two icons
  EXPECT_NE(copy.GetIcon(), v.GetIcon());
  EXPECT_EQ(copy.GetIcon()->name, "video-x-generic");
  copy = v;
  EXPECT_NE(copy.GetIcon(), v.GetIcon());
  std::ofstream(dir + "/notes.unknownext") << "x";
  EXPECT_EQ(vemo::IconLoadByFileName((dir + "/notes.unknownext").c_str()), nullptr);
  EXPECT_STREQ(IconNameForFile("a/b.WAV"), "audio-x-generic");
  EXPECT_EQ(IconNameForFile("dir.d/noext"), nullptr);
}

TEST_F(PlatformTest, ShellRegistrationWritesMimeTypeAndDesktopEntry) {
  EXPECT_TRUE(vemo::SetShellExtensions());
  const std::string mime = fixtures::ReadFileText(dir + "/data/mime/packages/lumi-vaxel.xml");
  EXPECT_NE(mime.find("*.vmp"), std::string::npos);
  const std::string entry = fixtures::ReadFileText(dir + "/data/applications/lumi-vaxel.desktop");
  EXPECT_NE(entry.find("MimeType=application/x-lumi-vaxel-project;"), std::string::npos);
  // Opening a project shows it in the preview window of the program that registered the type.
  const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
  EXPECT_NE(entry.find("Exec=\"" + self + "\" preview %f\n"), std::string::npos);
  std::map<std::string, std::string> values;
  ASSERT_TRUE(settings::ReadDataset(dir + "/data/kor.vale.lab/classes/.vmp", values));
  EXPECT_EQ(values["@"], "Lumi-Vaxel.Project.File");
  values.clear();
  ASSERT_TRUE(settings::ReadDataset(
      dir + "/data/kor.vale.lab/classes/Lumi-Vaxel.Project.File/shell/open/command", values));
  // The running program registers its own path, whatever its name.
  EXPECT_EQ(values["@"], self + " %1");
}

}  // namespace
