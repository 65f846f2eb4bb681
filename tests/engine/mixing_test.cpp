// Audio mixing by hand-worked samples.
#include <gtest/gtest.h>

#include <vector>

#include "effects/effect.h"
#include "engine/enginetest.h"
#include "support/wavfile.h"
#include "time/timefloat.h"

using namespace enginetest;

namespace {

// A clip of a wave file whose every sample (each channel) is `value`, at `start` on `track`.
clip *Constant(project &pr, const std::string &name, int rate, int channels, int bits, int value, int ms,
               int start = 0, int track = 0, clip *parent = nullptr) {
  const fixtures::wav_layout recipe{
      .channels = uint16_t(channels), .rate = uint32_t(rate), .bits = uint16_t(bits)};
  std::vector<uint8_t> samples;
  for (size_t i = 0; i < size_t(rate) * size_t(ms) / 1000 * size_t(channels); ++i) {
    samples.push_back(uint8_t(value));
    if (bits == 16) samples.push_back(uint8_t(value >> 8));
  }
  clip *c = pr.p->AddMedia(parent ? parent : pr.root(), pr.Wav(name, samples, recipe).c_str(), start, track);
  EXPECT_NE(c, nullptr) << name;
  return c;
}

std::vector<int16_t> Mix(project &pr, int from, int ms) {
  std::vector<int16_t> out;
  EXPECT_TRUE(pr.p->Mix(from, ms, out));
  EXPECT_EQ(out.size(), size_t(ms * 441 / 10) * 2);
  return out;
}

// Every sample of [from, to) sample frames equals v; the first mismatch otherwise.
::testing::AssertionResult All(const std::vector<int16_t> &s, size_t from, size_t to, int v) {
  for (size_t i = from * 2; i < to * 2 && i < s.size(); ++i)
    if (s[i] != v) return ::testing::AssertionFailure() << "sample " << i << " is " << s[i] << ", not " << v;
  return ::testing::AssertionSuccess();
}

}  // namespace

TEST(Mixing, BlockTimesRoundTowardsMinusInfinity) {
  std::vector<int> got;
  for (int t : {-1, 999, 1000, -1000, -1001, INT32_MIN}) got.push_back(clip::ClipTime2AudioBlockTime(t));
  // The last: the lowest whole second that an int holds.
  EXPECT_EQ(got, (std::vector<int>{-1000, 0, 1000, -1000, -2000, -2147483000}));
}

TEST(Mixing, OverlappingClipsAddAndWrapAround) {
  project pr;
  ASSERT_TRUE(Constant(pr, "a.wav", 44100, 2, 16, 30000, 2000) &&
              Constant(pr, "b.wav", 44100, 2, 16, 30000, 2000, 1000, 1));
  const std::vector<int16_t> s = Mix(pr, 500, 1000);
  // 500..1000 one clip; from 1000 both: 30000 + 30000 = 60000 wraps to -5536.
  EXPECT_TRUE(All(s, 0, 22050, 30000));
  EXPECT_TRUE(All(s, 22050, 44100, -5536));
  // The first clip's sound ends at 2000: beyond it only the second is heard.
  const std::vector<int16_t> late = Mix(pr, 2100, 500);
  EXPECT_TRUE(All(late, 0, 22050, 30000));
}

TEST(Mixing, HighRatesAreHeardAtOneFramePerSecond) {
  // A second of 96 kHz stereo is 384 000 bytes, more than a work buffer holds.
  project pr;
  ASSERT_NE(Constant(pr, "wide.wav", 96000, 2, 16, 1234, 2000), nullptr);
  int16_t *work1 = nullptr, *work2 = nullptr;
  int16_t *buffer = pr.root()->ClipAllocAudioProcessingBuffer(&work1, &work2);
  ASSERT_NE(buffer, nullptr);
  std::vector<int16_t> out(88200, 0);
  pr.root()->SetCurrentTime(0);
  pr.root()->ClipAudioUpdate(CLIP_COMPOSE_MAKE);
  pr.root()->ClipAudioGet44100(out.data(), work1, work2, 1000, 176400);
  EXPECT_TRUE(All(out, 0, 44100, 1234));
}

TEST(Mixing, TheAudioMasterIsHeardAlone) {
  project pr;
  clip *a = Constant(pr, "a.wav", 44100, 2, 16, 1000, 1000),
       *b = Constant(pr, "b.wav", 44100, 2, 16, 7, 1000, 0, 1);
  ASSERT_TRUE(a && b);
  EXPECT_TRUE(All(Mix(pr, 0, 200), 0, 8820, 1007));
  ASSERT_TRUE(pr.root()->SetAudioMaster(b));
  EXPECT_TRUE(All(Mix(pr, 0, 200), 0, 8820, 7));
  // Even a muted master is the one heard; without a master, muted clips add nothing.
  b->SetAudioMute(true);
  EXPECT_TRUE(All(Mix(pr, 0, 200), 0, 8820, 7));
  pr.root()->SetAudioMaster(nullptr);
  EXPECT_TRUE(All(Mix(pr, 0, 200), 0, 8820, 1000));
  EXPECT_FALSE(pr.root()->SetAudioMaster(pr.root()));
}

TEST(Mixing, SecondsBeforeTheClipsTimeZeroAreSilent) {
  project pr;
  clip *c = Constant(pr, "c.wav", 44100, 2, 16, 1234, 3000, 2000);
  ASSERT_NE(c, nullptr);
  // A negative offset reaches before the sound: the clip starts at 500 with local time -1500.
  c->SetOffset(-1500);
  const std::vector<int16_t> s = Mix(pr, 1000, 1500);
  EXPECT_TRUE(All(s, 0, 44100, 0));         // local -1000 .. 0
  EXPECT_TRUE(All(s, 44100, 66150, 1234));  // local 0 .. 500
}

TEST(Mixing, EightBitSilenceAndSoundInsideASubArrangement) {
  project pr;
  clip *sub = pr.p->AddArrangement(pr.root(), 1000, 4000, 0);
  ASSERT_NE(sub, nullptr);
  clip *c = Constant(pr, "e.wav", 11025, 2, 8, 0, 1000, 0, 0, sub);
  ASSERT_NE(c, nullptr);
  c->SetOffset(-1000);  // one silent second first, filled with 8-bit silence (128) ...
  c->SetPosition(0);    // ... at the start of the sub-arrangement
  const std::vector<int16_t> s = Mix(pr, 1000, 2000);
  EXPECT_TRUE(All(s, 0, 44100, 0));
  EXPECT_TRUE(All(s, 44100, 88200, -32640));  // 8-bit 0 widens to -32640
  // Outside the sub-arrangement nothing is heard.
  EXPECT_TRUE(All(Mix(pr, 0, 900), 0, 39690, 0));
}

TEST(Mixing, TheBlockWindowCoversSixSecondsAndMovesWithTheTime) {
  project pr;
  clip *c = Constant(pr, "w.wav", 8000, 1, 16, 5, 9000);
  ASSERT_NE(c, nullptr);
  pr.root()->SetCurrentTime(2500);
  ASSERT_TRUE(pr.root()->ClipAudioUpdate(CLIP_COMPOSE_MAKE));
  EXPECT_EQ(c->GetFirstBlockTime(), 2000);
  EXPECT_EQ(c->GetCurrentBlockCount(), 6);
  int bytes = -1;
  std::vector<uint8_t> out(40000);
  ASSERT_TRUE(c->ClipAudioGetData(out.data(), 1000, &bytes));
  EXPECT_EQ(bytes, 16000);  // 8000 frames of 2 bytes
  // A span that leaves the six cached seconds gives nothing.
  pr.root()->SetCurrentTime(7800);
  pr.root()->ClipAudioUpdate(CLIP_COMPOSE_MAKE);
  EXPECT_EQ(c->GetFirstBlockTime(), 7000);
  ASSERT_TRUE(c->ClipAudioGetData(out.data(), 5500, &bytes));
  EXPECT_EQ(bytes, 0);
  EXPECT_TRUE(All(Mix(pr, 8000, 500), 0, 22050, 5));
}

TEST(Mixing, VolumePanEffectScalesTheClipAndGivesItsEnvelope) {
  project pr;
  clip *c = Constant(pr, "c.wav", 44100, 2, 16, 1001, 2000);
  ASSERT_NE(c, nullptr);
  timefloat curve;
  EXPECT_FALSE(pr.root()->ClipGetAudioEnveloppe(c, &curve));
  effectAudio *fx = c->AudioEffectAdd(142);
  ASSERT_NE(fx, nullptr);
  Key(fx, fxid::IDS_VOLUME, 0, 0.5);
  Key(fx, fxid::IDS_PAN, 0, 0.5);
  const std::vector<int16_t> s = Mix(pr, 0, 100);
  EXPECT_EQ(s[100], 250);  // 1001 * 0.5 * 0.5, truncated
  EXPECT_EQ(s[101], 500);
  ASSERT_TRUE(pr.root()->ClipGetAudioEnveloppe(c, &curve));
  EXPECT_EQ(curve.GetValue(0), 0.5);
}
