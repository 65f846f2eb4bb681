// Frame-exact reading in every container, in order and scattered (one group of pictures per read).
#include <gtest/gtest.h>

#include <numeric>

#include "media/ffdecoder.h"
#include "media/surface.h"
#include "support/mediafile.h"
#include "surfacetest.h"

namespace {

using namespace fixtures;

constexpr int kFrames = 75;
constexpr int kGop = 12;

struct container_case {
  const char *name, *format, *codec;
  int b_frames;
  // Reads go by an index of key frames (not in PS, TS, ES, Ogg, nor this ASF muxer's second-apart one).
  bool indexed;
  int num = 25, den = 1;  // frames per second
};

void PrintTo(const container_case &c, std::ostream *os) { *os << c.name; }

// FNV-1a over the visible pixels' words.
uint64_t Checksum(KORSurface *s) {
  uint64_t h = 1469598103934665603ull;
  for (int y = 0; y < s->height; ++y)
    for (int x = 0; x < s->width; ++x) h = (h ^ at(s, x, y).word()) * 1099511628211ull;
  return h;
}

// One reader behind the AVI or the stream interface.
struct reader {
  avi_handle avi;
  stream_handle stream;
  reader(const std::string &path, bool is_avi)
      : avi(is_avi ? OpenAVI(path) : nullptr), stream(is_avi ? nullptr : OpenStream(path)) {}
  bool open() const { return avi || stream; }
  KORSurface *Read(int ms) {
    if (avi) return mediareaders::AVIRead(avi.get(), ms) ? avi->frame : nullptr;
    KORSurface *f = mediareaders::StreamReadVideoSample(stream.get(), ms);
    EXPECT_TRUE(!f || f == stream->frame);  // the stream's own picture is handed out
    return f;
  }
  ffdecoder::video_stats Stats() const { return ffdecoder::VideoStats(avi ? avi->video : stream->video); }
};

class FrameAccuracy : public ::testing::TestWithParam<container_case> {};

// Containers keep time differently and codecs reorder frames: every millisecond in order shows the
// frame whose span holds it, and a scattered read anywhere in that span the same picture.
TEST_P(FrameAccuracy, InOrderAndScatteredReadsShowEachFramesPicture) {
  const container_case c = GetParam();
  if (!HaveEncoder(c.codec)) GTEST_SKIP() << c.codec << " is not available";
  media_recipe s{.format = c.format, .video_codec = c.codec, .rate_num = c.num, .rate_den = c.den};
  s.frames = kFrames, s.gop = kGop, s.max_b_frames = c.b_frames;
  const std::string path = WriteTempMedia(c.name, s);
  const bool is_avi = s.format == "avi";
  // A frame decoded after the one asked for, and an open group's pictures before its key frame, count.
  const int64_t bound = c.indexed ? kGop + c.b_frames + 3 : kFrames;
  const int length = int(int64_t(kFrames) * 1000 * c.den / c.num);
  auto first_ms = [&](int k) { return int((int64_t(k) * 1000 * c.den + c.num - 1) / c.num); };

  // The first read after opening starts at the key frame before it, not at the file's start.
  reader fresh(path, is_avi);
  ASSERT_TRUE(fresh.open());
  KORSurface *f = fresh.Read(first_ms(kFrames - 2));
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(ShownFrame(f, kFrames), kFrames - 2);
  EXPECT_LE(fresh.Stats().decoded, bound);

  reader r(path, is_avi);
  ASSERT_TRUE(r.open());
  if (is_avi) {
    EXPECT_EQ((std::vector{r.avi->width, r.avi->height, r.avi->ratenum, r.avi->rateden, r.avi->duration}),
              (std::vector{64, 48, c.num, c.den, length}));
  } else {
    EXPECT_EQ((std::vector{r.stream->width, r.stream->height, r.stream->videovalid, r.stream->audiovalid}),
              (std::vector{64, 48, 1, 0}));
    EXPECT_EQ(mediareaders::StreamReadAudioSample(r.stream.get(), 0), nullptr);
    // Some containers leave out the last frame's span; those without an index estimate their length.
    EXPECT_NEAR(r.stream->duration, length, c.indexed ? 2 * 1000.0 * c.den / c.num : length * 0.15);
  }
  std::vector<uint64_t> in_order(kFrames);
  for (int ms = 0; ms < length; ++ms) {
    f = r.Read(ms);
    ASSERT_NE(f, nullptr) << "ms " << ms;
    const int k = int(FrameAt(ms, c.num, c.den));
    ASSERT_EQ(ShownFrame(f, kFrames), k) << "ms " << ms;
    if (ms == first_ms(k)) in_order[size_t(k)] = Checksum(f);
  }
  // Reading in order never seeks; in an AVI file it decodes and converts each frame once.
  const ffdecoder::video_stats st = r.Stats();
  EXPECT_EQ(st.seeks, 0);
  if (is_avi) {
    EXPECT_EQ(std::pair(st.decoded, st.converted), std::pair(int64_t(kFrames), int64_t(kFrames)));
  }
  for (int ms : {length + 500, -40}) EXPECT_EQ(r.Read(ms), nullptr);

  std::vector<int> order(kFrames);
  std::iota(order.begin(), order.end(), 0);
  uint32_t state = 5;
  for (int i = kFrames - 1; i > 0; --i) std::swap(order[i], order[NextRandom(state) % uint32_t(i + 1)]);
  int64_t worst = 0;
  for (int k : order) {
    const int64_t before = r.Stats().decoded;
    // Anywhere within the frame's span.
    f = r.Read(first_ms(k) + int(NextRandom(state) % uint32_t(first_ms(k + 1) - first_ms(k))));
    ASSERT_NE(f, nullptr) << "frame " << k;
    ASSERT_EQ(Checksum(f), in_order[size_t(k)]) << "frame " << k;
    worst = std::max(worst, r.Stats().decoded - before);
  }
  EXPECT_LE(worst, bound);
  // The same frame again costs no decoding.
  const int64_t again = r.Stats().decoded;
  ASSERT_NE(r.Read(first_ms(order.back())), nullptr);
  EXPECT_EQ(r.Stats().decoded, again);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Containers, FrameAccuracy, ::testing::Values(
    container_case{"avi_mjpeg", "avi", "mjpeg", 0, true},
    container_case{"avi_mjpeg_29_97", "avi", "mjpeg", 0, true, 30000, 1001},
    container_case{"avi_mpeg4_b", "avi", "mpeg4", 2, true},
    container_case{"avi_xvid_b", "avi", "libxvid", 2, true},
    container_case{"avi_h264_b", "avi", "libx264", 3, true},
    container_case{"avi_huffyuv", "avi", "huffyuv", 0, true},
    container_case{"mp4_h264_b", "mp4", "libx264", 3, true},
    container_case{"mp4_mpeg4_b", "mp4", "mpeg4", 2, true},
    container_case{"mp4_mpeg4_b_29_97", "mp4", "mpeg4", 2, true, 30000, 1001},
    container_case{"mov_h264_b", "mov", "libx264", 3, true},
    container_case{"mov_mjpeg_29_97", "mov", "mjpeg", 0, true, 30000, 1001},
    container_case{"mkv_ffv1", "matroska", "ffv1", 0, true},
    container_case{"mkv_h264_b_29_97", "matroska", "libx264", 3, true, 30000, 1001},
    container_case{"webm_vp8", "webm", "libvpx", 0, true},
    container_case{"flv_flv1", "flv", "flv", 0, true},
    container_case{"ps_mpeg2_b", "mpeg", "mpeg2video", 2, false},
    container_case{"ps_mpeg2_b_29_97", "mpeg", "mpeg2video", 2, false, 30000, 1001},
    container_case{"ts_h264_b", "mpegts", "libx264", 3, false},
    container_case{"es_mpeg2_b", "mpeg2video", "mpeg2video", 2, false},
    container_case{"es_h264_b", "h264", "libx264", 3, false},
    container_case{"ogg_theora", "ogg", "libtheora", 0, false},
    container_case{"asf_wmv2", "asf", "wmv2", 0, false},
    container_case{"asf_wmv2_29_97", "asf", "wmv2", 0, false, 30000, 1001}),
  [](const auto &info) { return std::string(info.param.name); });
// clang-format on

}  // namespace
