// Sound formats and the converters to and from the internal format, worked by hand.
#include <gtest/gtest.h>

#include "core/dialogs.h"
#include "media/pixelator.h"
#include "media/wavcfg.h"
#include "support/wavfile.h"

namespace {

std::vector<uint8_t> Internal(const std::vector<std::pair<int16_t, int16_t>> &frames) {
  std::vector<uint8_t> b;
  for (auto [l, r] : frames) fixtures::put16(b, uint16_t(l)), fixtures::put16(b, uint16_t(r));
  return b;
}

// The first n 16-bit samples of a buffer.
std::vector<int16_t> S16s(const uint8_t *p, int n) {
  std::vector<int16_t> v;
  for (int i = 0; i < n; ++i) v.push_back(int16_t(p[2 * i] | (p[2 * i + 1] << 8)));
  return v;
}

// rate, channels, bits, block align, bytes per second, extra size
std::vector<uint32_t> Fields(const WAVEFORMATEX &f) {
  return {f.nSamplesPerSec, f.nChannels, f.wBitsPerSample, f.nBlockAlign, f.nAvgBytesPerSec, f.cbSize};
}

TEST(SoundFormats, InitFillsTheRecordWithTheDeliberateExtraSizeAndTheChoiceListsFromEightDown) {
  wavcfg cfg;
  EXPECT_EQ(std::pair(cfg.GetType(), cfg.IsValid()), std::pair(WT_16_STEREO_44, 1));
  EXPECT_EQ(Fields(cfg.GetFormat()), (std::vector<uint32_t>{44100, 2, 16, 4, 176400, 18}));
  cfg.InitWFX(static_cast<wavtype>(0));
  EXPECT_EQ(Fields(cfg.GetFormat()), (std::vector<uint32_t>{11025, 1, 8, 1, 11025, 18}));
  cfg.InitWFX(WT_16_MONO_22);
  EXPECT_EQ(Fields(cfg.GetFormat()), (std::vector<uint32_t>{22050, 1, 16, 2, 44100, 18}));
  EXPECT_STREQ(WAVTYPE_TABLE[3].text, "8 Bit / Stereo / 22.05 kHz");

  // The choice lists formats from eight down.
  auto chosen = [&] { return std::pair(cfg.GetType(), cfg.GetFormat().nSamplesPerSec); };
  HeadlessDialogs().choice_answer = 3;  // the third entry listed is format 6
  EXPECT_EQ(cfg.Dowavcfg(nullptr), 1);
  EXPECT_EQ(chosen(), std::pair(WT_16_STEREO_22, 22050u));
  HeadlessDialogs().choice_answer = 0;
  EXPECT_EQ(cfg.Dowavcfg(nullptr), 0);  // cancelled
  EXPECT_EQ(cfg.GetType(), WT_16_STEREO_22);
  EXPECT_EQ(HeadlessDialogs().last_selected, 3);  // the list opened on the current type
  HeadlessDialogs().answer_yes = true;            // OK on the entry it opened with
  EXPECT_EQ(cfg.Dowavcfg(nullptr), 1);
  HeadlessDialogs().answer_yes = false;
  EXPECT_EQ(cfg.GetType(), WT_16_STEREO_22);

  // OK with nothing chosen answers 16-bit stereo 44.1 kHz.
  struct nothingchosen : headless_dialogs {
    bool ChooseFromList(HWND, const char *, const std::vector<std::string> &, int, int *chosen) override {
      *chosen = 0;
      return true;
    }
  } ui;
  SetDialogs(&ui);
  EXPECT_EQ(cfg.Dowavcfg(nullptr), 1);
  SetDialogs(nullptr);
  EXPECT_EQ(chosen(), std::pair(WT_16_STEREO_44, 44100u));
}

TEST(FromInternal, HalfRateTakesEveryOtherFrame) {
  std::vector<std::pair<int16_t, int16_t>> frames;
  for (int i = 0; i < 44100; ++i) frames.emplace_back(int16_t(i), int16_t(-i));
  const auto in = Internal(frames);
  wavcfg cfg;
  cfg.InitWFX(WT_16_STEREO_22);
  std::vector<uint8_t> out(200000);
  EXPECT_EQ(pixelator::From44100_16_2(in.data(), &cfg.GetFormat(), 176400, out.data()), 88200);
  EXPECT_EQ(S16s(&out[4 * 10], 2), (std::vector<int16_t>{20, -20}));
  cfg.InitWFX(static_cast<wavtype>(1));
  EXPECT_EQ(pixelator::From44100_16_2(in.data(), &cfg.GetFormat(), 176400, out.data()), 11025);
}

TEST(FromInternal, EightBitAndMonoArithmetic) {
  const auto in = Internal({{-1, 0}, {-32768, 32767}, {300, -301}, {-256, -257}});
  uint8_t out[16];
  const WAVEFORMATEX mono8{1, 1, 44100, 44100, 1, 8, 18}, stereo8{1, 2, 44100, 88200, 2, 8, 18},
      mono16{1, 1, 44100, 88200, 2, 16, 18};
  ASSERT_EQ(pixelator::From44100_16_2(in.data(), &mono8, 16, out), 4);
  // Mixed then shifted: (-1 + 0) / 2 = 0 -> 128; -1 / 2 = 0; -1 / 2 = 0 (toward zero);
  // -513 / 2 = -256, / 256 = -1 -> 127.
  EXPECT_EQ(std::vector<uint8_t>(out, out + 4), (std::vector<uint8_t>{128, 128, 128, 127}));

  ASSERT_EQ(pixelator::From44100_16_2(in.data(), &stereo8, 16, out), 8);
  // -1 / 256 = 0; -32768 / 256 = -128; 32767 / 256 = 127; 300 / 256 = 1; -301 / 256 = -1.
  EXPECT_EQ(std::vector<uint8_t>(out, out + 6), (std::vector<uint8_t>{128, 128, 0, 255, 129, 127}));

  ASSERT_EQ(pixelator::From44100_16_2(in.data(), &mono16, 16, out), 8);
  // (-32768 + 32767) / 2 and (300 - 301) / 2 are 0 toward zero; (-256 - 257) / 2 = -256.
  EXPECT_EQ(S16s(out, 4), (std::vector<int16_t>{0, 0, 0, -256}));
}

TEST(ToInternal, EightBitWidensThroughTheTableAndFramesStretchByTheNearestEarlier) {
  WAVEFORMATEX mono8{1, 1, 8000, 8000, 1, 8, 18}, src{1, 2, 22050, 88200, 4, 16, 18};
  const uint8_t eight[4] = {0, 128, 255, 1};
  uint8_t out[28];
  EXPECT_EQ(pixelator::To44100_16_2(eight, &mono8, 4, out, 16), 1);
  // (v - 128) * 255; mono: right repeats left.
  EXPECT_EQ(S16s(out, 8), (std::vector<int16_t>{-32640, -32640, 0, 0, 32385, 32385, -32385, -32385}));
  // Three stereo 16-bit frames stretched over seven: j = i * 3 / 7 -> 0 0 0 1 1 2 2.
  const auto in = Internal({{10, -10}, {20, -20}, {30, -30}});
  EXPECT_EQ(pixelator::To44100_16_2(in.data(), &src, 12, out, 28), 1);
  EXPECT_EQ(S16s(out, 14),
            (std::vector<int16_t>{10, -10, 10, -10, 10, -10, 20, -20, 20, -20, 30, -30, 30, -30}));
  // Nothing to read gives silence rather than a read past the input.
  uint8_t quiet[8] = {1, 1, 1, 1, 1, 1, 1, 1};
  EXPECT_EQ(pixelator::To44100_16_2(in.data(), &src, 3, quiet, 8), 1);
  for (uint8_t b : quiet) EXPECT_EQ(b, 0);
}

}  // namespace
