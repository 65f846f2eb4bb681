// Showing one large frame costs its pictures, no copy per thread (peak resident memory, not time).
#include <gtest/gtest.h>

#include <fstream>

#include "support/mediafile.h"

namespace {

using namespace fixtures;

// A field of /proc/self/status in KiB, -1 when missing.
long StatusKiB(const char *field) {
  std::ifstream in("/proc/self/status");
  std::string line;
  const std::string key = std::string(field) + ":";
  while (std::getline(in, line))
    if (line.compare(0, key.size(), key) == 0) return std::stol(line.substr(key.size()));
  return -1;
}

// Sets the high-water mark back to the present resident size.
bool ResetPeak() {
  std::ofstream out("/proc/self/clear_refs");
  out << "5";
  out.flush();
  return bool(out);
}

TEST(ReaderMemory, ALargeLosslessFrameCostsItsPicturesNotOnePerThread) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "a sanitizer's quarantine holds on to freed memory";
#endif
  constexpr int kSide = 4096;
  media_recipe s;
  s.video_codec = "huffyuv", s.pix_fmt = "yuv422p", s.gradient = true, s.width = s.height = kSide,
  s.frames = 2, s.gop = 1;
  const std::string path = WriteTempMedia("large.avi", s);
  if (!ResetPeak()) GTEST_SKIP() << "the peak resident size cannot be reset here";
  const long before = StatusKiB("VmRSS");
  ASSERT_GT(before, 0);

  avi_handle r = OpenAVI(path);
  ASSERT_NE(r, nullptr);
  ASSERT_TRUE(mediareaders::AVIRead(r.get(), 40));
  const long peak = StatusKiB("VmHWM");
  r.reset();

  // The surface (4 bytes a pixel) and three decoded 4:2:2 pictures (2 bytes a pixel each: the
  // one shown, the one after it and one the decoder's pool keeps), with a quarter of a surface
  // for the packet, the converter and the decoder's tables.
  const long pixels = long(kSide) * kSide;
  const long budget = (pixels * 4 + 3 * pixels * 2 + pixels) / 1024;
  std::printf("peak for one %dx%d frame: %ld MiB (budget %ld MiB)\n", kSide, kSide, (peak - before) / 1024,
              budget / 1024);
  EXPECT_LE(peak - before, budget);
}

}  // namespace
