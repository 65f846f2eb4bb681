// The make loop's frame times and sound sizes, stops, refusals, and the worker's job word.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "core/dialogs.h"
#include "engine/enginetest.h"
#include "engine/worker.h"
#include "media/plugin_abi.h"

using namespace enginetest;

namespace {

// Records every call the maker makes.
class recorder : public imgio_export {
 public:
  explicit recorder(clip *r) : root(r) {}
  int Open(HWND) override {
    ++opened;
    return openresult;
  }
  int Close() override {
    ++closed;
    return 1;
  }
  int SetOption(const char *, const char *) override { return 0; }
  int PutVideo(int index, surf32 *f) override {
    EXPECT_EQ(closed, 0);
    videoindex.push_back(index);
    times.push_back(root->GetCurrentTime());
    EXPECT_NE(f->bits, nullptr);
    if (index == stopat) root->Stop();
    return 1;
  }
  int PutAudio(int index, short *, int bytes) override {
    audioindex.push_back(index);
    audiobytes.push_back(bytes);
    return 1;
  }
  bool CanEncode(bool, bool) override { return true; }
  int GetLastError(char *, int) override { return 0; }

  clip *root;
  int openresult = 1;
  int stopat = -1;
  int opened = 0, closed = 0;
  std::vector<int> videoindex, audioindex, times, audiobytes;
};

// A project with a picture and a tone over its first two seconds.
struct makeproject : project {
  makeproject() {
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
  int sum = 0;
  for (size_t i = 0; i < want.size(); ++i) {
    EXPECT_EQ(rec.videoindex[i], int(i));
    EXPECT_EQ(rec.audioindex[i], int(i));
    const int length = (i + 1 < want.size() ? want[i + 1] : 1000) - want[i];
    EXPECT_TRUE(length == 66 || length == 67);
    // 66 ms: 2910.6 sample frames, truncated; 67 ms: 2954.7.
    EXPECT_EQ(rec.audiobytes[i], length == 66 ? 2910 * 4 : 2954 * 4);
    sum += length;
  }
  EXPECT_EQ(sum, 1000);
  EXPECT_EQ(rec.opened, 1);
  EXPECT_EQ(rec.closed, 1);
  EXPECT_EQ(pr.root()->GetBusyState(), 0);
  char name[500];
  ASSERT_TRUE(rec.GetFileName(name, sizeof name));
  EXPECT_EQ(std::string(name), pr.dir.file("out.bin"));
}

TEST(Making, LongRangesKeepExactTimesIn64Bits) {
  // i * L overflows 32 bits here: 59999999 * 2e9 / 6e7 = 5999999900 / 3 = 1999999966.67.
  EXPECT_EQ(clip::MakeFrameTime(1000, 2000000000, 60000000, 59999999), int64_t(1000) + 1999999966);
  EXPECT_EQ(clip::MakeFrameTime(5, 1000, 15, 15), 1005);
  EXPECT_EQ(clip::MakeAudioBytes(1000), 176400);
}

TEST(Making, AnEmptyRangeOpensAndClosesTheOutput) {
  makeproject pr;
  pr.root()->SetMakeRange(300, 300);
  recorder rec(pr.root());
  EXPECT_EQ(pr.root()->StartMaking(&rec), 1);
  EXPECT_EQ(rec.opened, 1);
  EXPECT_EQ(rec.closed, 1);
  EXPECT_TRUE(rec.times.empty());
  EXPECT_TRUE(rec.audiobytes.empty());
}

TEST(Making, AStopKeepsTheEarlierFramesAndClosesTheFile) {
  makeproject pr;
  pr.root()->SetMakeRange(0, 1000);  // 25 frames
  recorder rec(pr.root());
  rec.stopat = 3;
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
}

TEST(Making, RefusalsAreToldAndNothingIsWritten) {
  makeproject pr;
  pr.root()->SetMakeRange(0, 200);
  recorder rec(pr.root());
  rec.openresult = 0;
  HeadlessDialogs().quiet = true;
  EXPECT_EQ(pr.root()->StartMaking(&rec), 0);
  EXPECT_EQ(HeadlessDialogs().last_text, "The Lumi-Vaxel make operation failed....");
  EXPECT_TRUE(rec.times.empty());

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
std::vector<int> g_jobs;  // read by the test only once the worker is idle

int GatedHandler(unsigned int job, void *) {
  g_jobs.push_back(int(job));
  ++g_started;
  while (g_gate.load() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return 1;
}

}  // namespace

TEST(Worker, TheLatestJobWinsAndNothingFollowsQuit) {
  g_gate = 0;
  g_started = 0;
  g_jobs.clear();
  {
    clipworker w(&GatedHandler, nullptr);
    ASSERT_TRUE(w.Running());
    ASSERT_TRUE(w.Post(7));
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
}

// A job posted inside a critical section waits for its end, however long the worker polls.
TEST(Worker, AJobPostedInsideACriticalSectionWaitsForItsEnd) {
  g_gate = 1;
  g_started = 0;
  g_jobs.clear();
  std::atomic<int32_t> critical{0};
  clipworker w(&GatedHandler, nullptr, &critical);
  ++critical;
  w.WaitWhileRunning();
  ASSERT_TRUE(w.Post(7));
  EXPECT_TRUE(w.WaitForIdle());  // held back, so nothing can run: idle at once
  std::this_thread::sleep_for(std::chrono::milliseconds(3 * clipworker::kPollMs));
  EXPECT_EQ(g_started.load(), 0);
  --critical;
  while (g_started.load() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  EXPECT_TRUE(w.WaitForIdle());
  EXPECT_EQ(g_jobs, (std::vector<int>{7}));
}

TEST(Worker, AHeadlessRootComposesOnItsWorkerAndMarksTheWindowForRedraw) {
  project pr;
  std::atomic<int> done{0}, redraws{0};
  pr.p->SetMessages([&](const char *t) {
    if (std::string(t) == "Done!") done = 1;
  });
  pr.root()->SetRedrawCallback([&redraws] { ++redraws; });
  EXPECT_FALSE(pr.root()->WaitForIdle());  // no worker yet
  ASSERT_TRUE(pr.root()->PostJob(CLIP_JOB_COMPOSE));
  EXPECT_TRUE(pr.root()->WaitForIdle());
  EXPECT_EQ(done.load(), 1);
  EXPECT_EQ(redraws.load(), 1);
  pr.root()->SetRedrawCallback(nullptr);
  EXPECT_EQ(pr.root()->ClipCriticalStart(), 1);
  EXPECT_EQ(pr.root()->ClipCriticalEnd(), 0);
}
