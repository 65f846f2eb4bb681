// The wave reader against files whose every byte the test wrote.
#include <gtest/gtest.h>

#include <cstring>

#include "media/mediareaders.h"
#include "support/wavfile.h"

namespace {

using fixtures::wav_layout;
using fixtures::WavBytes;
using fixtures::WriteTempFile;

// 16-bit stereo frames whose left sample is the frame number and right its negation.
std::vector<uint8_t> CountingFrames(int frames) {
  std::vector<uint8_t> s;
  for (int i = 0; i < frames; ++i) {
    const int16_t l = static_cast<int16_t>(i), r = static_cast<int16_t>(-i);
    s.push_back(uint8_t(l));
    s.push_back(uint8_t(uint16_t(l) >> 8));
    s.push_back(uint8_t(r));
    s.push_back(uint8_t(uint16_t(r) >> 8));
  }
  return s;
}

rwav *Open(const char *name, const std::vector<uint8_t> &bytes) {
  return mediareaders::WaveFileReadOpen(WriteTempFile(name, bytes).c_str());
}

int16_t LeftAt(const uint8_t *buf, int frame) {
  return static_cast<int16_t>(buf[frame * 4] | (buf[frame * 4 + 1] << 8));
}

TEST(WaveReader, OneAndAHalfSecondsReadsPaddedSeconds) {
  rwav *r = Open("one_half.wav", WavBytes(wav_layout{}, CountingFrames(66150)));
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(r->length, 1500);
  EXPECT_EQ(r->datasize, 264600u);
  EXPECT_EQ(r->dataoffset, 44);

  uint8_t *first = mediareaders::WaveFileRead(r, 999);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(LeftAt(first, 0), 0);
  EXPECT_EQ(LeftAt(first, 44099), 44099 - 65536 * (44099 > 32767));

  uint8_t *second = mediareaders::WaveFileRead(r, 1200);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(static_cast<uint16_t>(LeftAt(second, 0)), uint16_t(44100));  // frame 44100
  // 88 200 bytes of sound, then 88 200 bytes of silence.
  EXPECT_EQ(static_cast<uint16_t>(LeftAt(second, 22049)), uint16_t(66149));
  for (int i = 88200; i < 176400; ++i) ASSERT_EQ(second[i], 0) << i;

  EXPECT_EQ(mediareaders::WaveFileRead(r, 1500), nullptr);
  EXPECT_EQ(mediareaders::WaveFileRead(r, -1), nullptr);
  mediareaders::WaveFileReadClose(r);
  mediareaders::WaveFileReadClose(nullptr);
}

TEST(WaveReader, EightBitPaddingIsSilence128) {
  // 1.5 seconds
  rwav *r =
      Open("eight.wav", WavBytes({.channels = 1, .rate = 8000, .bits = 8}, std::vector<uint8_t>(12000, 7)));
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(r->length, 1500);
  uint8_t *buf = mediareaders::WaveFileRead(r, 1000);
  ASSERT_NE(buf, nullptr);
  EXPECT_EQ(buf[3999], 7);
  EXPECT_EQ(buf[4000], 128);
  EXPECT_EQ(buf[7999], 128);
  mediareaders::WaveFileReadClose(r);
}

TEST(WaveReader, AcceptsChunkLayoutsThatOccurInTheWild) {
  // An odd-sized chunk with its pad byte first.
  rwav *r = Open("junk.wav", WavBytes({.fmt_chunk_size = 18, .junk_before_fmt = true}, CountingFrames(441)));
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(r->length, 10);
  EXPECT_EQ(r->wfx.cbSize, 0);
  ASSERT_NE(mediareaders::WaveFileRead(r, 5), nullptr);
  EXPECT_EQ(LeftAt(r->buffer, 440), 440);
  mediareaders::WaveFileReadClose(r);

  // Mono 16-bit and 32-bit samples open: widths are the converters' business, not the reader's.
  r = Open("wide.wav", WavBytes({.channels = 1, .bits = 32}, std::vector<uint8_t>(400)));
  ASSERT_NE(r, nullptr);
  mediareaders::WaveFileReadClose(r);
}

TEST(WaveReader, RefusesWhatIsNotPcmSound) {
  EXPECT_EQ(Open("adpcm.wav", WavBytes({.format_tag = 2}, CountingFrames(100))), nullptr);
  EXPECT_EQ(Open("empty_data.wav", WavBytes(wav_layout{}, {})), nullptr);
  EXPECT_EQ(Open("zero.wav", {}), nullptr);
  EXPECT_EQ(mediareaders::WaveFileReadOpen("/nonexistent/file.wav"), nullptr);
  EXPECT_EQ(mediareaders::WaveFileReadOpen(nullptr), nullptr);
  std::vector<uint8_t> not_wave = WavBytes(wav_layout{}, CountingFrames(10));
  std::memcpy(not_wave.data() + 8, "AVI ", 4);
  EXPECT_EQ(Open("avi.wav", not_wave), nullptr);
}

TEST(WaveReader, LyingDataSizeIsCutToTheFile) {
  rwav *r = Open("liar.wav", WavBytes({.data_size_override = 0x7FFFFFF0}, CountingFrames(4410)));
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(r->datasize, 17640u);
  EXPECT_EQ(r->length, 100);
  mediareaders::WaveFileReadClose(r);

  // 2.2 MB at a claimed byte a second would last 2.2e9 ms, past what a clip time can hold.
  EXPECT_EQ(Open("slow.wav", WavBytes({.channels = 1, .rate = 1, .bits = 8}, std::vector<uint8_t>(2200000))),
            nullptr);
}

}  // namespace
