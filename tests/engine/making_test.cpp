// The make loop: its set-up, frame times and sound sizes, stops, refusals; the worker's job word.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "core/dialogs.h"
#include "engine/enginetest.h"
#include "engine/worker.h"
#include "media/plugin_abi.h"

using namespace enginetest;

namespace {

// Records every call the maker makes, and what the plugin was told by the time it opens.
class recorder : public imgio_export {
 public:
  explicit recorder(clip *r) : root(r) {}
  int Open(HWND) override {
    ++opened;
    GetLengthMilliseconds(&length);
    GetTitle(title, sizeof title);
    GetAuthor(author, sizeof author);
    GetComment(comment, sizeof comment);
    copyrightset = GetCopyright(copyright, sizeof copyright);
    return openresult;
  }
  int Close() override {
    ++closed;
    return 1;
  }
  int SetOption(const char *, const char *) override { return 0; }
  int PutVideo(int index, surf32 *f) override {
    EXPECT_LT(closed, opened);  // between Open and Close
    videoindex.push_back(index);
    times.push_back(root->GetCurrentTime());
    refpic &p = pictures.emplace_back(f->width, f->height);
    for (int y = 0; y < f->height; ++y) std::copy_n(f->bits + size_t(y) * f->pitch, f->width, &p.at(0, y));
    if (index == stopat) root->Stop();
    return 1;
  }
  int PutAudio(int index, short *s, int bytes) override {
    wrongsamples += int(std::count_if(s, s + bytes / 2, [](short v) { return v != 0x1111; }));
    audioindex.push_back(index);
    audiobytes.push_back(bytes);
    return 1;
  }
  bool CanEncode(bool a, bool v) override {
    asked_audio = a;
    asked_video = v;
    return encodes;
  }
  int GetLastError(char *, int) override { return 0; }

  clip *root;
  bool encodes = true, asked_audio = false, asked_video = false;
  int openresult = 1, stopat = -1, opened = 0, closed = 0, length = -1, copyrightset = 0;
  std::vector<int> videoindex, audioindex, times, audiobytes;
  std::vector<refpic> pictures;
  int wrongsamples = 0;
  char title[imgio::kTextSize] = "", author[imgio::kTextSize] = "", comment[imgio::kTextSize] = "",
       copyright[imgio::kTextSize] = "";
};

// A project with a picture and a tone over its first two seconds, made over 0.4 s.
struct makeproject : project {
  makeproject() {
    root()->SetMakeRange(0, 400);
    Still(root(), "pic.bmp", 8, 8, 0, 2000, 0);
    p->AddMedia(root(), Wav("tone.wav", std::vector<uint8_t>(size_t(44100) * 4 * 2, 0x11)).c_str(), 0, 1);
    HeadlessDialogs().file_answer = dir.file("out.bin");
  }
  ~makeproject() { HeadlessDialogs().file_answer.clear(); }
};

}  // namespace

TEST(Making, FifteenFramesOverOneSecondCoverItExactly) {
  makeproject pr;
  pr.root()->ChangeVideoFps(134);  // 15 fps
  pr.root()->SetMakeRange(0, 1000);
  recorder rec(pr.root());
  ASSERT_EQ(pr.root()->StartMaking(&rec), 1);
  const std::vector<int> want = {0, 66, 133, 200, 266, 333, 400, 466, 533, 600, 666, 733, 800, 866, 933};
  EXPECT_EQ(rec.times, want);
  ASSERT_EQ(rec.audiobytes.size(), 15u);
  for (size_t i = 0; i < want.size(); ++i) {
    EXPECT_EQ(std::pair(rec.videoindex[i], rec.audioindex[i]), std::pair(int(i), int(i)));
    // 66 ms: 2910.6 sample frames, truncated; 67 ms: 2954.7.
    const int length = (i + 1 < want.size() ? want[i + 1] : 1000) - want[i];
    EXPECT_EQ(rec.audiobytes[i], length == 66 ? 2910 * 4 : 2954 * 4);
  }
  // The composed pictures and the tone's samples, as they are.
  for (int i : {0, 14}) EXPECT_EQ(FirstDifference(rec.pictures[size_t(i)], pr.At(want[size_t(i)])), "") << i;
  EXPECT_EQ(rec.wrongsamples, 0);
  EXPECT_EQ(std::tuple(rec.opened, rec.closed, pr.root()->GetBusyState()), std::tuple(1, 1, 0));
}

TEST(Making, LongRangesKeepExactTimesIn64Bits) {
  // i * L overflows 32 bits here: 59999999 * 2e9 / 6e7 = 5999999900 / 3 = 1999999966.67.
  EXPECT_EQ(clip::MakeFrameTime(1000, 2000000000, 60000000, 59999999), int64_t(1000) + 1999999966);
  EXPECT_EQ(clip::MakeFrameTime(5, 1000, 15, 15), 1005);
  EXPECT_EQ(clip::MakeAudioBytes(1000), 176400);
}

TEST(Making, EmptyRangesAndStopsCloseTheFileAndRefusalsAreTold) {
  makeproject pr;
  pr.root()->SetMakeRange(300, 300);
  recorder rec(pr.root());
  EXPECT_EQ(pr.root()->StartMaking(&rec), 1);
  EXPECT_EQ(std::tuple(rec.opened, rec.closed, rec.times.size(), rec.audiobytes.size()),
            std::tuple(1, 1, 0u, 0u));
  // A stop keeps the earlier frames.
  pr.root()->SetMakeRange(0, 1000);  // 25 frames
  rec.stopat = 3;
  rec.closed = 0;
  EXPECT_EQ(pr.root()->StartMaking(&rec), 128);
  EXPECT_EQ(rec.videoindex, (std::vector<int>{0, 1, 2, 3}));
  EXPECT_EQ(rec.audioindex.size(), 4u);  // the stopped frame is finished
  EXPECT_EQ(rec.closed, 1);
  // A new make starts afresh.
  rec.stopat = -1;
  rec.videoindex.clear();
  rec.closed = 0;
  EXPECT_EQ(pr.root()->StartMaking(&rec), 1);
  EXPECT_EQ(rec.videoindex.size(), 25u);
  // 25 fps over 2e9 ms: the frame count is 5e7, though fps times length passes 32 bits.
  int told = 0;
  pr.root()->SetMakeProgress([&told](int, int count) { told = count; });
  pr.root()->SetMakeRange(0, 2000000000);
  rec.stopat = 0;
  rec.closed = 0;
  EXPECT_EQ(pr.root()->StartMaking(&rec), 128);
  EXPECT_EQ(told, 50000000);
  pr.root()->SetMakeProgress(nullptr);

  // Refusals are told and nothing is written.
  pr.root()->SetMakeRange(0, 200);
  recorder refusing(pr.root());
  refusing.openresult = 0;
  HeadlessDialogs().quiet = true;
  EXPECT_EQ(pr.root()->StartMaking(&refusing), 0);
  EXPECT_EQ(HeadlessDialogs().last_text, "The Lumi-Vaxel make operation failed....");
  EXPECT_TRUE(refusing.times.empty());

  pr.root()->SetVideoMute(true);
  pr.root()->SetAudioMute(true);
  recorder other(pr.root());
  EXPECT_EQ(pr.root()->StartMaking(&other), 0);
  EXPECT_EQ(HeadlessDialogs().last_text, "No Audio and no Video available for making.");
  EXPECT_EQ(other.opened, 0);
  HeadlessDialogs().quiet = false;
}

namespace {

std::atomic<int> g_gate{0};
std::atomic<int> g_started{0};
std::atomic<int> g_nice{-100};
std::vector<int> g_jobs;  // read by the test only once the worker is idle

int GatedHandler(unsigned int job, void *) {
  g_jobs.push_back(int(job));
  g_nice = getpriority(PRIO_PROCESS, 0);  // the calling thread's own nice value
  ++g_started;
  while (g_gate.load() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return 1;
}

}  // namespace

TEST(Worker, HeldBackByACriticalSectionTheLatestJobWinsNothingFollowsQuitAndItRunsOneStepNicer) {
  g_gate = 0;
  g_started = 0;
  g_jobs.clear();
  errno = 0;
  const int mine = getpriority(PRIO_PROCESS, 0);
  std::atomic<int32_t> critical{0};
  {
    clipworker w(&GatedHandler, nullptr, &critical);
    ASSERT_TRUE(w.Running());
    // A job posted inside a critical section waits for its end, however long the worker polls.
    ++critical;
    w.WaitWhileRunning();
    ASSERT_TRUE(w.Post(7));
    EXPECT_TRUE(w.WaitForIdle());  // held back, so nothing can run: idle at once
    std::this_thread::sleep_for(std::chrono::milliseconds(3 * clipworker::kPollMs));
    EXPECT_EQ(g_started.load(), 0);
    --critical;
    while (g_started.load() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_FALSE(w.Idle());
    // Job 7 runs; 8 waits and is replaced by 9.
    EXPECT_TRUE(w.Post(8));
    EXPECT_TRUE(w.Post(9));
    g_gate = 1;
    EXPECT_TRUE(w.WaitForIdle());
    EXPECT_EQ(g_jobs, (std::vector<int>{7, 9}));
    EXPECT_TRUE(w.Post(CLIP_JOB_QUIT));
    EXPECT_FALSE(w.Post(5));
    EXPECT_FALSE(w.WaitForIdle());
  }  // joins
  EXPECT_EQ(g_jobs, (std::vector<int>{7, 9}));
  EXPECT_EQ(g_nice.load(), mine < 19 ? mine + 1 : 19);
}

// The display composition runs on the root's worker, names its steps and asks for a redraw.
TEST(Worker, AHeadlessRootComposesOnItsWorkerAndMarksTheWindowForRedraw) {
  project pr;
  pr.Still(pr.root(), "b.bmp", 30, 20, 0, 5000, 0)->SetName("pic");
  std::vector<std::string> seen;  // read only once the worker is idle
  std::atomic<int> redraws{0};
  pr.p->SetMessages([&](const char *t) { seen.emplace_back(t); });
  pr.root()->SetRedrawCallback([&redraws] { ++redraws; });
  EXPECT_FALSE(pr.root()->WaitForIdle());  // no worker yet
  ASSERT_TRUE(pr.root()->PostJob(CLIP_JOB_COMPOSE));
  EXPECT_TRUE(pr.root()->WaitForIdle());
  EXPECT_EQ(seen, (std::vector<std::string>{"Processing: pic",
                                            "Processing: Drawing Video Frame pic", "Done!"}));
  EXPECT_EQ(redraws.load(), 1);
  pr.root()->SetRedrawCallback(nullptr);
}

TEST(MakeSetup, OutputFormatTable) {
  // choice, then the format: PCM, channels, rate, bits, block align, bytes per second. The ends of
  // the choices' table and a choice outside it.
  const std::pair<int, std::vector<uint32_t>> table[] = {
      {95, {1, 2, 44100, 16, 4, 176400}}, {92, {1, 2, 11025, 8, 2, 22050}}, {96, {1, 1, 11025, 8, 1, 11025}}};
  clip c(nullptr);
  for (const auto &[choice, format] : table) {
    EXPECT_TRUE(c.InitWFX(choice));
    EXPECT_EQ(fixtures::FormatRow(c.GetOutputFormat()), format) << choice;
    EXPECT_EQ(c.GetOutputFormat().cbSize, 0) << choice;
  }
}

TEST(MakeSetup, ThePluginAgreesAndLearnsLengthAndTextsThenSoundIsMadeAtChoice95) {
  makeproject pr;
  pr.root()->InitWFX(0);
  pr.root()->SetName("Root Name");
  recorder refusing(pr.root());
  refusing.encodes = false;
  EXPECT_EQ(pr.root()->StartMaking(&refusing), 0);
  EXPECT_TRUE(refusing.asked_audio && refusing.asked_video);
  EXPECT_EQ(refusing.opened, 0);

  recorder plugin(pr.root());
  ASSERT_EQ(pr.root()->StartMaking(&plugin), 1);
  EXPECT_EQ(fixtures::FormatRow(pr.root()->GetOutputFormat()),
            (std::vector<uint32_t>{1, 2, 44100, 16, 4, 176400}));
  // No title of its own: the root's name; empty texts are not passed.
  EXPECT_EQ(std::tuple(plugin.length, std::string(plugin.title), plugin.copyrightset),
            std::tuple(400, "Root Name", 0));

  clip::projecttexts t;
  t.title = "Title";
  t.author = "Author";
  t.comment = "Comment";
  t.copyright = std::string(500, 'c');  // one character too long: left out
  pr.root()->SetProjectTexts(t);
  recorder again(pr.root());
  ASSERT_EQ(pr.root()->StartMaking(&again), 1);
  EXPECT_EQ(std::tuple(std::string(again.title), std::string(again.author), std::string(again.comment),
                       again.copyrightset),
            std::tuple("Title", "Author", "Comment", 0));
}

TEST(MakeSetup, TheMadeFileGoesToTheDesktopOpenerWhenThePreferenceIsOn) {
  makeproject pr;
  // A stand-in opener first on the PATH writes down what it was given.
  const std::string bin = pr.dir.file("bin"), note = pr.dir.file("opened.txt");
  std::filesystem::create_directories(bin);
  std::ofstream(bin + "/xdg-open") << "#!/bin/sh\necho \"$1\" > " << note << ".part && mv " << note
                                   << ".part " << note << "\n";
  std::filesystem::permissions(bin + "/xdg-open", std::filesystem::perms::owner_all);
  const std::string path = std::getenv("PATH") ? std::getenv("PATH") : "";
  const char *display = std::getenv("DISPLAY");
  const std::string olddisplay = display ? display : "";
  setenv("PATH", (bin + ":" + path).c_str(), 1);
  setenv("DISPLAY", ":lumivaxel-test", 1);
  recorder plugin(pr.root());
  ASSERT_EQ(vemo::SetDatasetValue("prefs", clip::kPrefOpenMadeFile, "1"), 1);
  ASSERT_EQ(pr.root()->StartMaking(&plugin), 1);
  vemo::SetDatasetValue("prefs", clip::kPrefOpenMadeFile, "0");
  setenv("PATH", path.c_str(), 1);
  display ? setenv("DISPLAY", olddisplay.c_str(), 1) : unsetenv("DISPLAY");
  // The opener runs on its own; wait for its note (at most ten seconds).
  for (int i = 0; i < 1000 && !std::filesystem::exists(note); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  std::ifstream in(note);
  std::string line;
  std::getline(in, line);
  EXPECT_EQ(line, pr.dir.file("out.bin"));
}

TEST(MakeSetup, AskForSaveCancelsWhenUnattended) {
  HeadlessDialogs().quiet = true;
  EXPECT_EQ(
      std::tuple(clip::AskForSave(), HeadlessDialogs().last_default, HeadlessDialogs().last_text),
      std::tuple(IDCANCEL, IDYES, "Save Current Project ?"));  // nothing is replaced
  HeadlessDialogs().quiet = false;
}
