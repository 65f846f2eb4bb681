// Playing: the play queue, the play job's sound against its file, and Stop.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "engine/enginetest.h"
#include "engine/playqueue.h"
#include "support/mediafile.h"

using namespace enginetest;

namespace {

// Its only sound: 127 000 known sample frames (2.8798 s, no whole milliseconds) at 0 on track 0.
struct playproject : project {
  clip *tone = nullptr;
  playqueue queue;
  playproject() {
    std::vector<uint8_t> samples;
    for (int64_t n = 0; n < 127000; ++n)
      for (int c = 0; c < 2; ++c) {
        const uint16_t s = uint16_t(fixtures::Sample16(n, c));
        samples.push_back(uint8_t(s));
        samples.push_back(uint8_t(s >> 8));
      }
    tone = p->AddMedia(root(), Wav("tone.wav", samples).c_str(), 0, 0);
    root()->SetPlayOutput(&queue);
  }
  ~playproject() { root()->Stop(); }  // a play job still running must stop before the queue goes
  // Pulls `frames` sample frames as the sound device would (waiting for the job, 20 s at most).
  std::vector<int16_t> Pull(int frames) {
    std::vector<int16_t> out(size_t(frames) * 2);
    int got = 0;
    for (int tries = 0; got < frames && tries < 20000; ++tries) {
      const int n = queue.SoundGet(out.data() + size_t(got) * 2, std::min(1024, frames - got));
      got += n;
      if (!n && queue.Finished()) break;
      if (!n) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    out.resize(size_t(got) * 2);
    return out;
  }
};

// The first sample frame where `got` differs from the file from frame `first` on; -1 if none.
int64_t FirstWrong(const std::vector<int16_t> &got, int64_t first) {
  for (size_t i = 0; i < got.size(); ++i)
    if (got[i] != fixtures::Sample16(first + int64_t(i / 2), int(i % 2))) return int64_t(i / 2);
  return -1;
}

}  // namespace

TEST(PlayQueue, SoundRingWrapsAndClockCountsWhatWasPulled) {
  playqueue q;
  q.Reset(1000);
  std::vector<int16_t> in(size_t(6 * 44100) * 2), out(size_t(playqueue::kSoundFrames) * 2);
  for (size_t i = 0; i < in.size(); ++i) in[i] = int16_t(i * 7);
  const int three = 3 * 44100, two = 2 * 44100;
  ASSERT_TRUE(q.SoundPut(in.data(), three));
  EXPECT_EQ(q.SoundRoom(), playqueue::kSoundFrames - three);
  EXPECT_EQ(q.SoundEnd(), 4000);
  EXPECT_EQ(q.SoundGet(out.data(), two), two);
  // 2 s pulled, 1024 frames (23.2 ms) of them still in the device.
  EXPECT_EQ(q.Clock(), 3000);
  q.SetLatency(1024);
  EXPECT_EQ(q.Clock(), 3000 - 24);
  q.SetLatency(0);
  // The next two seconds run over the end of the ring.
  ASSERT_TRUE(q.SoundPut(in.data() + size_t(three) * 2, two));
  EXPECT_FALSE(q.SoundPut(in.data(), 44100 + 1));  // one second of room is left
  EXPECT_EQ(q.SoundGet(out.data(), playqueue::kSoundFrames), three);
  for (int i = 0; i < three * 2; ++i) ASSERT_EQ(out[size_t(i)], in[size_t(two) * 2 + size_t(i)]) << i;
  // Empty: silence, and the clock stands still.
  out[0] = 5;
  EXPECT_EQ(q.SoundGet(out.data(), 10), 0);
  EXPECT_EQ(std::pair(int(out[0]), q.Clock()), std::pair(0, 6000));
}

TEST(PlayQueue, TheWindowTakesTheNewestDuePictureAndStalePicturesMakeRoom) {
  playqueue q;
  q.Reset(0);
  for (int i = 0; i < playqueue::kPictures; ++i) {
    ASSERT_NE(q.PictureToFill(8, 6), nullptr);
    q.PicturePut(i * 40, i);
  }
  // Full, and at 40 ms nothing is overtaken but frame 0.
  EXPECT_EQ(q.PictureToFill(8, 6, 39), nullptr);
  ASSERT_NE(q.PictureToFill(8, 6, 40), nullptr);
  EXPECT_EQ(q.Dropped(), 1);
  q.PicturePut(160, 4);
  // At 100 ms frames 1 and 2 are due: 2 is shown, 1 dropped; while 2 is held nothing moves.
  int t = -1, f = -1;
  ASSERT_NE(q.PictureDue(100, &t, &f), nullptr);
  EXPECT_EQ(std::tuple(t, f, q.Dropped()), std::tuple(80, 2, 2));
  EXPECT_EQ(q.PictureDue(1000, &t, &f), nullptr);
  q.PictureDone();
  EXPECT_EQ(q.PicturesWaiting(), 2);
  EXPECT_EQ(q.PictureDue(119, &t, &f), nullptr);
  KORSurface *s = q.PictureToFill(16, 12);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(s->width, 16);
  ASSERT_NE(q.PictureAt(&t, &f), nullptr);
  EXPECT_EQ(t, 120);
}

TEST(Playing, FrameGridOfFifteenFramesPerSecond) {
  EXPECT_EQ(clip::FrameStart(1, 15), 66);  // 1000 / 15 truncated
  for (auto [ms, frame] : {std::pair{65, 0}, {66, 1}, {999, 14}, {1000, 15}})
    EXPECT_EQ(clip::FrameAt(ms, 15), frame);
  for (int n = 0; n < 100; ++n) EXPECT_EQ(clip::FrameAt(clip::FrameStart(n, 15), 15), n);
}

TEST(Playing, TheCompositeSoundIsTheFileFromTheStartTime) {
  playproject pr;
  ASSERT_TRUE(pr.root()->PlayStart(500, false));
  EXPECT_EQ(pr.root()->GetBusyState() & 2, 2);
  const std::vector<int16_t> got = pr.Pull(44100);
  ASSERT_EQ(got.size(), size_t(44100) * 2);
  EXPECT_EQ(FirstWrong(got, 22050), -1);
  // Pictures come on the frame grid of 25 fps from 500 ms.
  int t = -1, f = -1;
  ASSERT_NE(pr.queue.PictureAt(&t, &f), nullptr);
  EXPECT_EQ((t - 500) % 40, 0);
  EXPECT_EQ(f, t / 40);
  EXPECT_EQ(pr.root()->Stop(), 128u);
  EXPECT_EQ(pr.root()->GetBusyState(), 0);
  EXPECT_TRUE(pr.root()->WaitForIdle());
}

TEST(Playing, TheCurrentChildsMediumPlaysUntilItsEndOrAStopAndRefusalsNeedNoWorker) {
  playproject pr;
  pr.root()->SetCurrentTime(2000);
  pr.root()->SelectCurrent(pr.tone);
  ASSERT_TRUE(pr.root()->PlayStart(2000, true));
  EXPECT_EQ(pr.queue.Origin(), 2000);
  const std::vector<int16_t> got = pr.Pull(44100);
  // The rest of the file from sample frame 88 200: 879 or 880 ms (38 763 or 38 808 frames, the
  // last ones silent), then nothing.
  ASSERT_GE(got.size(), size_t(38763) * 2);
  ASSERT_LE(got.size(), size_t(38808) * 2);
  EXPECT_EQ(FirstWrong(std::vector<int16_t>(got.begin(), got.begin() + 38763 * 2), 88200), -1);
  // Having played to the end the job cleans its player up and leaves the playing state.
  EXPECT_TRUE(pr.root()->WaitForIdle());
  EXPECT_TRUE(pr.queue.Finished());
  EXPECT_EQ(pr.root()->GetBusyState(), 0);
  EXPECT_FALSE(pr.p->Surfaces()->Player(0).IsOpen());
  // Stopped early, the same.
  ASSERT_TRUE(pr.root()->PlayStart(0, true));
  EXPECT_EQ(pr.Pull(1000).size(), 2000u);
  pr.root()->Stop();
  EXPECT_EQ(pr.root()->GetBusyState(), 0);
  EXPECT_FALSE(pr.p->Surfaces()->Player(0).IsOpen());
  // A current child without a medium has nothing to play; nor has a root without a queue.
  pr.root()->SelectCurrent(pr.Solid(pr.root(), pix32(1, 2, 3, 255), 0, 1000, 1));
  EXPECT_FALSE(pr.root()->PlayStart(0, true));
  pr.root()->SetPlayOutput(nullptr);
  EXPECT_FALSE(pr.root()->PlayStart(0, false));
}
