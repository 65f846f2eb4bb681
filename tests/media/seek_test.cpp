// Frame-exact seeking in every container, at most one group of pictures decoded per read.
#include <gtest/gtest.h>

#include <numeric>

#include "media/ffdecoder.h"
#include "media/surface.h"
#include "support/mediafile.h"

namespace {

using namespace fixtures;

constexpr int kFrames = 75;
constexpr int kGop = 12;

struct container_case {
  const char *name, *format, *codec;
  int b_frames;
  // Whether the file has an index of its key frames that a read can go by. Without one
  // (program, transport and elementary streams, Ogg) a read searches for its place, lands a
  // second early or decodes from the start within the first ten seconds; the index this ASF
  // muxer writes points at packets a second apart.
  bool indexed;
};

void PrintTo(const container_case &c, std::ostream *os) { *os << c.name; }

// FNV-1a over the visible pixels.
uint64_t Checksum(KORSurface *s) {
  surf a;
  if (!surface::SurfaceDataLock(s, &a)) return 0;
  uint64_t h = 1469598103934665603ull;
  for (int y = 0; y < a.height; ++y) {
    const auto *p = reinterpret_cast<const uint8_t *>(a.bits + size_t(y) * a.pitch);
    for (size_t i = 0; i < size_t(a.width) * 4; ++i) h = (h ^ p[i]) * 1099511628211ull;
  }
  surface::SurfaceDataUnlock(&a);
  return h;
}

// One reader behind the AVI or the stream interface.
struct reader {
  avi_handle avi;
  stream_handle stream;
  reader(const std::string &path, bool is_avi) {
    if (is_avi)
      avi = OpenAVI(path);
    else
      stream = OpenStream(path);
  }
  bool open() const { return avi || stream; }
  KORSurface *Read(int ms) {
    if (avi) return mediareaders::AVIRead(avi.get(), ms) ? avi->frame : nullptr;
    return mediareaders::StreamReadVideoSample(stream.get(), ms);
  }
  int64_t Decoded() const { return ffdecoder::VideoStats(avi ? avi->video : stream->video).decoded; }
};

class SeekEverywhere : public ::testing::TestWithParam<container_case> {};

TEST_P(SeekEverywhere, ScatteredReadsMatchReadsInOrderAndCostOneGroupAtMost) {
  const container_case c = GetParam();
  if (!HaveEncoder(c.codec)) GTEST_SKIP() << c.codec << " is not available";
  const media_recipe s{
      .format = c.format, .video_codec = c.codec, .frames = kFrames, .gop = kGop, .max_b_frames = c.b_frames};
  const std::string path = WriteTempMedia(std::string("seek_") + c.name, s);
  const bool is_avi = s.format == "avi";
  // A frame decoded after the one asked for, and the pictures of an open group that come out
  // before its key frame, are part of the price.
  const int64_t bound = c.indexed ? kGop + c.b_frames + 3 : kFrames;

  // The first read after opening starts at the key frame before it, not at the file's start.
  {
    reader r(path, is_avi);
    ASSERT_TRUE(r.open());
    KORSurface *f = r.Read((kFrames - 2) * 40);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ShownFrame(f, kFrames), kFrames - 2);
    EXPECT_LE(r.Decoded(), bound);
  }

  reader r(path, is_avi);
  ASSERT_TRUE(r.open());
  std::vector<uint64_t> in_order(kFrames);
  for (int k = 0; k < kFrames; ++k) {
    KORSurface *f = r.Read(k * 40);  // frame k from its first millisecond at 25 fps
    ASSERT_NE(f, nullptr) << "frame " << k;
    ASSERT_EQ(ShownFrame(f, kFrames), k) << "frame " << k;
    in_order[k] = Checksum(f);
  }
  std::vector<int> order(kFrames);
  std::iota(order.begin(), order.end(), 0);
  uint32_t state = 5;
  for (int i = kFrames - 1; i > 0; --i) std::swap(order[i], order[NextRandom(state) % uint32_t(i + 1)]);
  int64_t worst = 0;
  for (int k : order) {
    const int64_t before = r.Decoded();
    // Anywhere within the frame's 40 ms.
    KORSurface *f = r.Read(k * 40 + int(NextRandom(state) % 40));
    ASSERT_NE(f, nullptr) << "frame " << k;
    ASSERT_EQ(Checksum(f), in_order[k]) << "frame " << k;
    worst = std::max(worst, r.Decoded() - before);
  }
  EXPECT_LE(worst, bound);
}

INSTANTIATE_TEST_SUITE_P(Containers, SeekEverywhere,
                         ::testing::Values(container_case{"avi_mjpeg", "avi", "mjpeg", 0, true},
                                           container_case{"avi_mpeg4_b", "avi", "mpeg4", 2, true},
                                           container_case{"avi_xvid_b", "avi", "libxvid", 2, true},
                                           container_case{"avi_h264_b", "avi", "libx264", 3, true},
                                           container_case{"avi_huffyuv", "avi", "huffyuv", 0, true},
                                           container_case{"mp4_h264_b", "mp4", "libx264", 3, true},
                                           container_case{"mp4_mpeg4_b", "mp4", "mpeg4", 2, true},
                                           container_case{"mov_h264_b", "mov", "libx264", 3, true},
                                           container_case{"mkv_ffv1", "matroska", "ffv1", 0, true},
                                           container_case{"webm_vp8", "webm", "libvpx", 0, true},
                                           container_case{"flv_flv1", "flv", "flv", 0, true},
                                           container_case{"ps_mpeg2_b", "mpeg", "mpeg2video", 2, false},
                                           container_case{"ts_h264_b", "mpegts", "libx264", 3, false},
                                           container_case{"es_mpeg2_b", "mpeg2video", "mpeg2video", 2, false},
                                           container_case{"es_h264_b", "h264", "libx264", 3, false},
                                           container_case{"ogg_theora", "ogg", "libtheora", 0, false},
                                           container_case{"asf_wmv2", "asf", "wmv2", 0, false}),
                         [](const auto &info) { return std::string(info.param.name); });

}  // namespace
