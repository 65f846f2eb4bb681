// The sound effects by hand-worked samples.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "effects/audioeffects.h"
#include "time/timefloat.h"

namespace {

std::unique_ptr<effectAudio> audio(int type) {
  return std::unique_ptr<effectAudio>(effectAudio::EffectNew(type, nullptr, nullptr, nullptr));
}

// One frame through the effect: {left, right} out.
std::pair<int, int> one(effectAudio &e, int16_t l, int16_t r) {
  int16_t in[2] = {l, r}, out[2] = {};
  EXPECT_EQ(e.Process(in, out, 4), 1);
  return {out[0], out[1]};
}

}  // namespace

TEST(VolumePan, GainsPerSideAndTruncationTowardZero) {
  auto e = audio(142);
  EXPECT_EQ(one(*e, 1001, -1001), std::make_pair(1001, -1001));
  e->SetTimeFloat(fxid::IDS_VOLUME, 0.5);
  e->SetTimeFloat(fxid::IDS_PAN, 0.5);
  // Left 1001 * 0.5 * 0.5 = 250.25, right -1001 * 0.5 = -500.5.
  EXPECT_EQ(one(*e, 1001, -1001), std::make_pair(250, -500));
  e->SetTimeFloat(fxid::IDS_VOLUME, 1.0);
  e->SetTimeFloat(fxid::IDS_PAN, -1.0);
  EXPECT_EQ(one(*e, -32768, 32767), std::make_pair(-32768, 0));
  // Fewer than four bytes are no frame.
  int16_t in[2] = {5, 5}, out[2] = {7, 7};
  EXPECT_EQ((std::pair{e->Process(in, out, 3), int(out[0])}), std::pair(1, 7));
}

TEST(Compressor, CornerValuesMirroredNegativesAndRereadsEvery441Frames) {
  auto e = audio(514);  // 8191 is trunc(0.25 * 32767)
  EXPECT_EQ(std::vector({one(*e, 8192, 32767), one(*e, 16384, 0), one(*e, -32768, -8192)}),
            (std::vector<std::pair<int, int>>{{8191, 32767}, {16383, 0}, {-32767, -8191}}));
  e->SetTimeFloat(fxid::IDS_COMP1, 0.5);
  EXPECT_EQ(one(*e, 32767, -32768), std::make_pair(16383, -16383));
  // "High Band" 1.0 at 0 ms (replacing the key above), 0.5 at 10 ms, 0.25 from 20 ms on.
  for (auto [t, v] : {std::pair{0, 1.0}, {10, 0.5}, {20, 0.25}})
    e->FindTimeFloat(fxid::IDS_COMP1)->SetValue(t, v);
  std::vector<int16_t> in(2 * 900, 32767), out(in.size());
  ASSERT_EQ(e->Process(in.data(), out.data(), int(in.size() * 2)), 1);
  // Frame 0 reads the block's start, frames 1 .. 441 10 ms, 442 on 20 ms.
  EXPECT_EQ(std::vector({out[0], out[2 * 1], out[2 * 441 + 1], out[2 * 442]}),
            std::vector<int16_t>({32767, 16383, 16383, 8191}));

  // Volume/pan steps the same way from its current time, in blocks for the vector path; pan 0.5 halves the left.
  auto v = audio(142);
  for (auto [t, g] : {std::pair{100, 1.0}, {110, 0.5}, {120, 0.25}})
    v->FindTimeFloat(fxid::IDS_VOLUME)->SetValue(t, g);
  v->SetTimeFloat(fxid::IDS_PAN, 0.5);
  v->SetCurrentTime(100);
  std::vector<int16_t> tone(2 * 901), got(tone.size());
  for (size_t i = 0; i < tone.size(); i += 2) tone[i] = 1001, tone[i + 1] = -1001;
  v->Process(tone.data(), got.data(), int(tone.size() * 2));
  // Frames 0, 1, 441, 442 and 900: 1001 * v * g, truncated.
  EXPECT_EQ(std::vector({got[0], got[1], got[2], got[3], got[882], got[883], got[884], got[885], got[1800], got[1801]}),
            std::vector<int16_t>({500, -1001, 250, -500, 250, -500, 125, -250, 125, -250}));
}
