// The stream reader's sound, start times, lengths and still pictures (frames: the seek tests).
#include <gtest/gtest.h>

#include "media/ffdecoder.h"
#include "media/surface.h"
#include "support/mediafile.h"
#include "support/wavfile.h"

namespace {

using namespace fixtures;

// Sound is read from the millisecond itself, sample-exact, with silence after its end.
TEST(StreamReader, SoundStartsAtTheMillisecondAsked) {
  media_recipe s{.format = "matroska", .video_codec = "ffv1", .frames = 60, .audio_codec = "pcm_s16le"};
  s.audio_samples = 20000;  // 2.5 s of sound at 8000 a second
  stream_handle m = OpenStream(WriteTempMedia("sound.mkv", s));
  ASSERT_NE(m, nullptr);
  ASSERT_EQ(std::pair(m->audiovalid, m->videovalid), std::pair(1, 1));
  EXPECT_EQ(FormatRow(m->wfx), (std::vector<uint32_t>{1, 2, 8000, 16, 4, 32000}));
  EXPECT_NEAR(m->audioduration, 2500, 2);

  // 1 ms is 8 sample frames; 1999 ms is frame 15992, of which 4008 remain before the end.
  for (int ms : {0, 1, 1500, 1999, 250, 1000, 2001})
    EXPECT_EQ(SoundMismatches(mediareaders::StreamReadAudioSample(m.get(), ms), 8000, ms * 8, 20000), 0)
        << ms;
  for (int ms : {2500, -1}) EXPECT_EQ(mediareaders::StreamReadAudioSample(m.get(), ms), nullptr);
  // Pictures and sound keep separate positions: reading one does not disturb the other.
  ASSERT_NE(mediareaders::StreamReadVideoSample(m.get(), 1000), nullptr);
  const int64_t seeks = ffdecoder::VideoStats(m->video).seeks;
  ASSERT_NE(mediareaders::StreamReadAudioSample(m.get(), 100), nullptr);
  EXPECT_EQ(StreamFrame(m.get(), 1040, 60), 26);
  EXPECT_EQ(ffdecoder::VideoStats(m->video).seeks, seeks);
}

// Sequence headers claiming about 105 Mbit/s make the estimated length 1-2 ms; counted frames give 3 s.
TEST(StreamReader, ElementaryStreamWithAJunkBitRateTakesItsRealLength) {
  const media_recipe s{.format = "mpeg1video", .video_codec = "mpeg1video", .frames = 75};
  const std::string path = WriteTempMedia("junkrate.m1v", s);
  std::vector<uint8_t> bytes = ReadFileBytes(path);
  int headers = 0;
  for (size_t i = 0; i + 11 < bytes.size(); ++i)
    if (bytes[i] == 0 && bytes[i + 1] == 0 && bytes[i + 2] == 1 && bytes[i + 3] == 0xB3) {
      // 18 bits of rate in units of 400 bit/s: 0x3FFFE.
      bytes[i + 8] = bytes[i + 9] = 0xFF;
      bytes[i + 10] = uint8_t((bytes[i + 10] & 0x3F) | 0x80), ++headers;
    }
  ASSERT_GT(headers, 0);
  stream_handle m = OpenStream(WriteTempFile("junkrate.m1v", bytes));
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(m->duration, 3000);
  EXPECT_EQ(StreamFrame(m.get(), 2960, s.frames), 74);
}

// Late streams keep their places: before its first picture a medium shows it; before its sound, silence.
TEST(StreamReader, PicturesAndSoundKeepTheContainersStartTimes) {
  media_recipe s{.format = "mov", .frames = 60, .video_start = 3, .audio_codec = "pcm_s16le"};
  s.audio_samples = 24000;
  stream_handle m = OpenStream(WriteTempMedia("late_video.mov", s));
  ASSERT_NE(m, nullptr);
  EXPECT_NEAR(m->duration, 120 + 60 * 40, 40);
  for (int k : {0, 1, 10, 59}) EXPECT_EQ(StreamFrame(m.get(), 120 + 40 * k, s.frames), k);
  EXPECT_EQ(StreamFrame(m.get(), 0, s.frames), 0);
  EXPECT_EQ(SoundMismatches(mediareaders::StreamReadAudioSample(m.get(), 0), 8000, 0, 24000), 0);

  s.video_start = 0, s.audio_start = 2000;
  m = OpenStream(WriteTempMedia("late_sound.mov", s));
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(StreamFrame(m.get(), 400, s.frames), 10);
  const uint8_t *buf = mediareaders::StreamReadAudioSample(m.get(), 0);
  ASSERT_NE(buf, nullptr);
  EXPECT_EQ(SampleAt(buf, 1999, 2, 0), 0);
  EXPECT_EQ(SampleAt(buf, 2000, 2, 0), Sample16(0, 0));
  EXPECT_EQ(SampleAt(buf, 7999, 2, 1), Sample16(5999, 1));
}

// Sound alone gives the length; 8-bit stays 8-bit, six channels mix to stereo, converted mono stays mono.
TEST(StreamReader, SoundOnlyMediaKeepTheirSampleFormatOrMixDown) {
  const std::tuple<const char *, const char *, int, int, std::vector<uint32_t>> rows[] = {
      {"u8.mka", "pcm_u8", 1, 1000, {1, 1, 8000, 8, 1, 8000}},
      {"mono.mka", "pcm_s24le", 1, 0, {1, 1, 8000, 16, 2, 16000}},
      {"u8.wav", "pcm_u8", 1, 0, {1, 1, 8000, 8, 1, 8000}},  // a wave file is a medium too
      {"six.mka", "pcm_s16le", 6, 0, {1, 2, 8000, 16, 4, 32000}}};
  for (const auto &[name, codec, channels, ms, format] : rows) {
    SCOPED_TRACE(name);
    media_recipe s{.format = std::string(name).ends_with(".wav") ? "wav" : "matroska", .video_codec = ""};
    s.audio_codec = codec, s.audio_channels = channels, s.audio_samples = 12000;
    stream_handle m = OpenStream(WriteTempMedia(name, s));
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(std::pair(m->videovalid, m->frame), std::pair(0, static_cast<KORSurface *>(nullptr)));
    EXPECT_EQ(mediareaders::StreamReadVideoSample(m.get(), 0), nullptr);
    EXPECT_NEAR(m->duration, 1500, 2);
    EXPECT_EQ(m->duration, m->audioduration);
    EXPECT_EQ(FormatRow(m->wfx), format);
    const uint8_t *buf = mediareaders::StreamReadAudioSample(m.get(), ms);
    ASSERT_NE(buf, nullptr);
    int loud = 0;
    for (int n = 0; n < 8000; ++n) {
      const int64_t k = ms * 8 + n;
      if (channels == 6)
        loud += SampleAt(buf, n, 2, 0) != 0 && SampleAt(buf, n, 2, 1) != 0;
      else if (format[3] == 8)
        ASSERT_EQ(buf[n], k < 12000 ? Sample8(k, 0) : 128) << n;
      else
        ASSERT_EQ(SampleAt(buf, n, 1, 0), Sample24(k, 0) >> 8) << n;
    }
    EXPECT_GT(loud, channels == 6 ? 7000 : -1);
  }
}

// An animated picture's frames show from their own delays (hundredths of a second) to the next.
TEST(StreamReader, AnimatedGifWithUnevenDelays) {
  media_recipe s{.format = "gif", .video_codec = "gif", .pix_fmt = "pal8", .rate_num = 10, .frames = 6};
  s.pts = {0, 10, 30, 35, 60, 100}, s.tb_num = 1, s.tb_den = 100;
  stream_handle m = OpenStream(WriteTempMedia("uneven.gif", s));
  ASSERT_NE(m, nullptr);
  ASSERT_EQ(m->videovalid, 1);
  for (int i = 0; i + 1 < s.frames; ++i)
    for (int ms = int(s.pts[i]) * 10; ms < s.pts[i + 1] * 10; ms += 7)
      ASSERT_EQ(StreamFrame(m.get(), ms, s.frames), i) << "ms " << ms;
  EXPECT_EQ(StreamFrame(m.get(), 320, s.frames), 2);  // back again
}

// A single picture is shown at every time, exactly.
TEST(StreamReader, SinglePictureAtAnyTime) {
  media_recipe s{.format = "image2", .video_codec = "png", .pix_fmt = "rgb24", .gradient = true, .width = 37};
  s.height = 21, s.frames = 1;
  // The name holds a pattern character on purpose: it names one file, not a sequence.
  stream_handle m = OpenStream(WriteTempMedia("still%d.png", s));
  ASSERT_NE(m, nullptr);
  for (int ms : {0, 5000, 40, 100000})  // -1 mismatches when nothing is read
    EXPECT_EQ(GradientMismatches(mediareaders::StreamReadVideoSample(m.get(), ms), 0), 0) << ms;
}

// Missing and empty files (cut and flipped ones are the stream fuzz target's replay).
TEST(StreamReader, RefusesNonsense) {
  EXPECT_EQ(mediareaders::StreamOpenRead(nullptr), nullptr);
  EXPECT_EQ(mediareaders::StreamOpenRead(std::string("/nonexistent/missing.mp4").c_str()), nullptr);
  EXPECT_EQ(mediareaders::StreamOpenRead(WriteTempFile("empty.mp4", {}).c_str()), nullptr);
}

}  // namespace
