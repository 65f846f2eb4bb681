// What the maker settles before the first frame.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "core/dialogs.h"
#include "engine/enginetest.h"
#include "engine/worker.h"
#include "media/plugin_abi.h"

using namespace enginetest;

namespace {

// Notes what the plugin was told by the time it opens; writes nothing.
class setupprobe : public imgio_export {
 public:
  int Open(HWND) override {
    ++opened;
    GetLengthMilliseconds(&length);
    GetTitle(title, sizeof title);
    GetAuthor(author, sizeof author);
    GetComment(comment, sizeof comment);
    copyrightset = GetCopyright(copyright, sizeof copyright);
    return 1;
  }
  int Close() override { return 1; }
  int SetOption(const char *, const char *) override { return 0; }
  int PutVideo(int, surf32 *) override { return 1; }
  int PutAudio(int, short *, int) override { return 1; }
  bool CanEncode(bool a, bool v) override {
    asked_audio = a;
    asked_video = v;
    return encodes;
  }
  int GetLastError(char *, int) override { return 0; }

  bool encodes = true, asked_audio = false, asked_video = false;
  int opened = 0, length = -1, copyrightset = 0;
  char title[imgio::kTextSize] = "", author[imgio::kTextSize] = "", comment[imgio::kTextSize] = "",
       copyright[imgio::kTextSize] = "";
};

// A still over the first second and a second of 22.05 kHz mono 8-bit sound.
struct soundproject : project {
  soundproject() {
    Still(root(), "pic.bmp", 8, 8, 0, 1000, 0);
    p->AddMedia(
        root(),
        Wav("tone.wav", std::vector<uint8_t>(22050, 0x90), {.channels = 1, .rate = 22050, .bits = 8}).c_str(),
        0, 1);
    root()->SetMakeRange(0, 400);
    HeadlessDialogs().file_answer = dir.file("made.bin");
  }
  ~soundproject() { HeadlessDialogs().file_answer.clear(); }
};

}  // namespace

TEST(MakeSetup, OutputFormatTable) {
  // choice, then the format: PCM, channels, rate, bits, block align, bytes per second
  const std::pair<int, std::vector<uint32_t>> table[] = {
      {95, {1, 2, 44100, 16, 4, 176400}}, {122, {1, 1, 44100, 16, 2, 88200}},
      {90, {1, 2, 22050, 16, 4, 88200}},  {91, {1, 1, 22050, 16, 2, 44100}},
      {120, {1, 2, 22050, 8, 2, 44100}},  {121, {1, 1, 22050, 8, 1, 22050}},
      {92, {1, 2, 11025, 8, 2, 22050}},   {0, {1, 1, 11025, 8, 1, 11025}},
      {96, {1, 1, 11025, 8, 1, 11025}}};
  clip c(nullptr);
  for (const auto &[choice, format] : table) {
    EXPECT_TRUE(c.InitWFX(choice));
    EXPECT_EQ(fixtures::FormatRow(c.GetOutputFormat()), format) << choice;
    EXPECT_EQ(c.GetOutputFormat().cbSize, 0) << choice;
  }
}

TEST(MakeSetup, ThePluginAgreesAndLearnsLengthAndTextsThenSoundIsMadeAtChoice95) {
  soundproject pr;
  pr.root()->InitWFX(0);
  pr.root()->SetName("Root Name");
  setupprobe refusing;
  refusing.encodes = false;
  EXPECT_EQ(pr.root()->StartMaking(&refusing), 0);
  EXPECT_TRUE(refusing.asked_audio && refusing.asked_video);
  EXPECT_EQ(refusing.opened, 0);

  setupprobe plugin;
  ASSERT_EQ(pr.root()->StartMaking(&plugin), 1);
  EXPECT_EQ(fixtures::FormatRow(pr.root()->GetOutputFormat()),
            (std::vector<uint32_t>{1, 2, 44100, 16, 4, 176400}));
  EXPECT_EQ(plugin.length, 400);
  EXPECT_STREQ(plugin.title, "Root Name");  // no title of its own: the root's name
  EXPECT_EQ(plugin.copyrightset, 0);        // empty texts are not passed

  clip::projecttexts t;
  t.title = "Title";
  t.author = "Author";
  t.comment = "Comment";
  t.copyright = std::string(500, 'c');  // one character too long: left out
  pr.root()->SetProjectTexts(t);
  setupprobe again;
  ASSERT_EQ(pr.root()->StartMaking(&again), 1);
  EXPECT_STREQ(again.title, "Title");
  EXPECT_STREQ(again.author, "Author");
  EXPECT_STREQ(again.comment, "Comment");
  EXPECT_EQ(again.copyrightset, 0);
}

TEST(MakeSetup, TheMadeFileGoesToTheDesktopOpenerWhenThePreferenceIsOn) {
  soundproject pr;
  // A stand-in opener on the PATH writes down what it was given.
  const std::string bin = pr.dir.file("bin"), note = pr.dir.file("opened.txt");
  std::filesystem::create_directories(bin);
  std::ofstream(bin + "/xdg-open") << "#!/bin/sh\necho \"$1\" > " << note << ".part && mv " << note
                                   << ".part " << note << "\n";
  std::filesystem::permissions(bin + "/xdg-open", std::filesystem::perms::owner_all);
  const std::string path = std::string(std::getenv("PATH") ? std::getenv("PATH") : "");
  const char *display = std::getenv("DISPLAY");
  const std::string olddisplay = display ? display : "";
  setenv("PATH", (bin + ":" + path).c_str(), 1);
  setenv("DISPLAY", ":lumivaxel-test", 1);

  setupprobe plugin;
  ASSERT_EQ(vemo::SetDatasetValue("prefs", clip::kPrefOpenMadeFile, "0"), 1);
  ASSERT_EQ(pr.root()->StartMaking(&plugin), 1);
  ASSERT_EQ(vemo::SetDatasetValue("prefs", clip::kPrefOpenMadeFile, "1"), 1);
  ASSERT_EQ(pr.root()->StartMaking(&plugin), 1);
  vemo::SetDatasetValue("prefs", clip::kPrefOpenMadeFile, "0");
  setenv("PATH", path.c_str(), 1);
  if (display)
    setenv("DISPLAY", olddisplay.c_str(), 1);
  else
    unsetenv("DISPLAY");

  // The opener runs on its own; wait for its note (at most ten seconds).
  for (int i = 0; i < 1000 && !std::filesystem::exists(note); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  std::ifstream in(note);
  std::string line;
  std::getline(in, line);
  EXPECT_EQ(line, pr.dir.file("made.bin"));
}

TEST(MakeSetup, TheWorkerRunsOneStepNicer) {
  static std::atomic<int> seen{-100};
  errno = 0;
  const int mine = getpriority(PRIO_PROCESS, 0);
  clipworker w(
      [](unsigned, void *) {
        seen = getpriority(PRIO_PROCESS, 0);  // the calling thread's own nice value
        return 1;
      },
      nullptr);
  ASSERT_TRUE(w.Post(CLIP_JOB_COMPOSE));
  while (seen.load() == -100) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_EQ(seen.load(), mine < 19 ? mine + 1 : 19);
}

TEST(MakeSetup, AskForSaveTellsItsThreeAnswersApart) {
  headless_dialogs &ui = HeadlessDialogs();
  ui.quiet = true;
  EXPECT_EQ(clip::AskForSave(), IDCANCEL);  // unattended: nothing is replaced
  EXPECT_EQ(ui.last_default, IDYES);
  EXPECT_EQ(ui.last_text, "Save Current Project ?");
  ui.answer_yes = true;
  EXPECT_EQ(clip::AskForSave(), IDYES);
  ui.answer_yes = false;
  struct saysno : headless_dialogs {
    int AskYesNoCancel(HWND, const char *, const char *, boxicon, int) override { return IDNO; }
  } no;
  SetDialogs(&no);
  EXPECT_EQ(clip::AskForSave(), IDNO);
  SetDialogs(nullptr);
  ui.quiet = false;
}
