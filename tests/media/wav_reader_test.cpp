// The wave reader against files whose every byte the test wrote.
#include <gtest/gtest.h>

#include "support/mediafile.h"
#include "support/wavfile.h"

namespace {

using namespace fixtures;

// 16-bit stereo frames whose left sample is the frame number and right its negation.
std::vector<uint8_t> CountingFrames(int frames) {
  std::vector<uint8_t> s;
  for (int i = 0; i < frames; ++i) put16(s, uint16_t(i)), put16(s, uint16_t(-i));
  return s;
}

wave_handle Open(const char *name, const std::vector<uint8_t> &bytes) {
  return OpenWave(WriteTempFile(name, bytes));
}

TEST(WaveReader, OneAndAHalfSecondsReadsPaddedSecondsOfSilence) {
  wave_handle r = Open("one_half.wav", WavBytes(wav_layout{}, CountingFrames(66150)));
  ASSERT_NE(r, nullptr);
  EXPECT_EQ((std::vector<int64_t>{r->length, r->datasize, r->dataoffset}),
            (std::vector<int64_t>{1500, 264600, 44}));

  uint8_t *first = mediareaders::WaveFileRead(r.get(), 999);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(std::pair(SampleAt(first, 0, 2, 0), SampleAt(first, 44099, 2, 0)),
            (std::pair<int16_t, int16_t>(0, 44099 - 65536)));
  // The frames 44100 .. 66149 (88 200 bytes of sound), then 88 200 bytes of silence.
  uint8_t *second = mediareaders::WaveFileRead(r.get(), 1200);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(uint16_t(SampleAt(second, 0, 2, 0)), 44100);
  EXPECT_EQ(uint16_t(SampleAt(second, 22049, 2, 0)), 66149 - 65536);  // frame 66149 in 16 bits
  for (int i = 88200; i < 176400; ++i) ASSERT_EQ(second[i], 0) << i;

  for (int ms : {1500, -1}) EXPECT_EQ(mediareaders::WaveFileRead(r.get(), ms), nullptr);

  // 8-bit padding is silence at 128.
  r = Open("eight.wav", WavBytes({.channels = 1, .rate = 8000, .bits = 8}, std::vector<uint8_t>(12000, 7)));
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(r->length, 1500);
  uint8_t *buf = mediareaders::WaveFileRead(r.get(), 1000);
  ASSERT_NE(buf, nullptr);
  EXPECT_EQ(std::vector<uint8_t>(buf + 3999, buf + 4001), (std::vector<uint8_t>{7, 128}));
  EXPECT_EQ(buf[7999], 128);
}

TEST(WaveReader, AcceptsChunkLayoutsThatOccurInTheWild) {
  // An odd-sized chunk with its pad byte first.
  wave_handle r =
      Open("junk.wav", WavBytes({.fmt_chunk_size = 18, .junk_before_fmt = true}, CountingFrames(441)));
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(std::pair(r->length, int(r->wfx.cbSize)), std::pair(10, 0));
  ASSERT_NE(mediareaders::WaveFileRead(r.get(), 5), nullptr);
  EXPECT_EQ(SampleAt(r->buffer, 440, 2, 0), 440);
  // Mono 32-bit samples open: widths are the converters' business, not the reader's.
  EXPECT_NE(Open("wide.wav", WavBytes({.channels = 1, .bits = 32}, std::vector<uint8_t>(400))), nullptr);
}

TEST(WaveReader, RefusesWhatIsNotPcmSoundOrLiesAboutItsSize) {
  EXPECT_EQ(Open("adpcm.wav", WavBytes({.format_tag = 2}, CountingFrames(100))), nullptr);
  EXPECT_EQ(Open("empty_data.wav", WavBytes(wav_layout{}, {})), nullptr);
  EXPECT_EQ(Open("zero.wav", {}), nullptr);
  for (const char *path : {"/nonexistent/file.wav", static_cast<const char *>(nullptr)})
    EXPECT_EQ(mediareaders::WaveFileReadOpen(path), nullptr);
  std::vector<uint8_t> not_wave = WavBytes(wav_layout{}, CountingFrames(10));
  std::memcpy(not_wave.data() + 8, "AVI ", 4);
  EXPECT_EQ(Open("avi.wav", not_wave), nullptr);
  // 2.2 MB at a claimed byte a second would last 2.2e9 ms, past what a clip time can hold.
  EXPECT_EQ(Open("slow.wav", WavBytes({.channels = 1, .rate = 1, .bits = 8}, std::vector<uint8_t>(2200000))),
            nullptr);

  // A data size past the file's end is cut to the file.
  wave_handle r = Open("liar.wav", WavBytes({.data_size_override = 0x7FFFFFF0}, CountingFrames(4410)));
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(std::pair(r->datasize, r->length), std::pair(17640u, 100));
}

}  // namespace
