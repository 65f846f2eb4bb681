// The AVI reader against files encoded from known frames and samples, and damaged files.
#include <gtest/gtest.h>

#include <string_view>

#include "media/ffdecoder.h"
#include "media/surface.h"
#include "support/mediafile.h"
#include "support/wavfile.h"

namespace {

using namespace fixtures;

// Sound comes back sample-exact, a second at a time, in any order, from between the pictures.
TEST(AVIReader, SoundComesBackAWholeSecondAtATime) {
  media_recipe s{.rate_num = 30000, .rate_den = 1001, .frames = 96, .audio_codec = "pcm_s16le"};
  s.audio_samples = 26000;  // 3.25 s of sound at 8000 a second
  avi_handle r = OpenAVI(WriteTempMedia("sound.avi", s));
  ASSERT_NE(r, nullptr);
  ASSERT_EQ(r->audiovalid, 1);
  EXPECT_EQ(FormatRow(r->wfx), (std::vector<uint32_t>{1, 2, 8000, 16, 4, 32000}));
  // Seconds 3, 0, 2 (by its last millisecond), 1: out of order on purpose.
  for (int ms : {3000, 0, 2999, 1999})
    EXPECT_EQ(SoundMismatches(mediareaders::AVIReadAudioSecond(r.get(), ms), 8000, ms / 1000 * 8000, 26000),
              0)
        << ms;
  for (int ms : {4000, -1000}) EXPECT_EQ(mediareaders::AVIReadAudioSecond(r.get(), ms), nullptr);
  EXPECT_EQ(AVIFrame(r.get(), 3000, 96), FrameAt(3000, 30000, 1001));  // the pictures beside it still read
  EXPECT_TRUE(mediareaders::AVIReadClose(r.release()));
}

// 2^32 - 1 frames claimed have no 32-bit end time: the length is ten seconds, the frames still read.
TEST(AVIReader, LengthBeyondMillisecondsIsTenSeconds) {
  std::vector<uint8_t> bytes = ReadFileBytes(WriteTempMedia("long.avi", {.frames = 10}));
  const std::string_view text(reinterpret_cast<const char *>(bytes.data()), bytes.size());
  ASSERT_NE(text.find("strh"), text.npos);
  std::fill_n(bytes.begin() + ptrdiff_t(text.find("strh") + 8 + 32), 4, 0xFF);  // the stream's dwLength
  avi_handle r = OpenAVI(WriteTempFile("long.avi", bytes));
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(r->duration, 10000);
  EXPECT_EQ(AVIFrame(r.get(), 120, 10), 3);
}

// Lossless pictures come out exact and upright (raw bottom-up, FFV1 top-down); subsampled YUV nearly.
TEST(AVIReader, LosslessFramesArriveExactAndUpright) {
  const std::tuple<const char *, const char *, const char *, int, int, int> rows[] = {
      {"raw.avi", "rawvideo", "bgr24", 64, 48, 0},
      {"raw_odd.avi", "rawvideo", "bgr24", 33, 7, 0},
      {"ffv1.avi", "ffv1", "bgr0", 30, 20, 0},
      {"ffv1_420.avi", "ffv1", "yuv420p", 62, 40, 10}};
  for (const auto &[name, codec, pix_fmt, w, h, tolerance] : rows) {
    SCOPED_TRACE(name);
    avi_handle r = OpenAVI(WriteTempMedia(
        name,
        {.video_codec = codec, .pix_fmt = pix_fmt, .gradient = true, .width = w, .height = h, .frames = 6}));
    ASSERT_NE(r, nullptr);
    for (int i : {0, 5, 2, 3}) {
      ASSERT_TRUE(mediareaders::AVIRead(r.get(), i * 40 + 20));
      EXPECT_EQ(r->frame->pitch, (w + 3) / 4 * 4);
      EXPECT_EQ(GradientMismatches(r->frame, i, tolerance), 0) << "frame " << i;
    }
  }
}

// What is not an AVI file is refused (cut and flipped ones are the AVI fuzz target's replay).
TEST(AVIReader, RefusesWhatIsNotAnAVI) {
  EXPECT_EQ(mediareaders::AVIReadOpen(nullptr), nullptr);
  const std::string paths[] = {
      "",
      "/nonexistent/missing.avi",
      WriteTempFile("empty.avi", {}),
      WriteTempFile("text.avi", std::vector<uint8_t>(300, 'x')),
      WriteTempFile("sound.avi", WavBytes({}, std::vector<uint8_t>(4000, 1))),
      WriteTempMedia("notavi.mp4", {.format = "mp4", .video_codec = "mpeg4", .frames = 5})};
  for (const std::string &path : paths) EXPECT_EQ(OpenAVI(path), nullptr) << path;
}

}  // namespace

// Every third frame of an intra-only file (as parallel composers read): those passed over are not decoded.
TEST(AVIReader, FramesPassedOverInAnIntraFileAreNotDecoded) {
  avi_handle r = OpenAVI(WriteTempMedia("intra.avi", {.frames = 60}));
  ASSERT_NE(r, nullptr);
  const int64_t before = ffdecoder::VideoStats(r->video).decoded;
  for (int i = 1; i < 60; i += 3) ASSERT_EQ(AVIFrame(r.get(), i * 40, 60), i);
  // 20 frames shown, and the open's look at frame 0 and the first, next frames in order.
  EXPECT_LE(ffdecoder::VideoStats(r->video).decoded - before, 22);
}
