// Showing one large frame costs its pictures, no copy per thread (peak resident memory, not time).
#include <gtest/gtest.h>

#include <fstream>

#include "support/mediafile.h"

namespace {

using namespace fixtures;

// A field of /proc/self/status in KiB, -1 when missing.
long StatusKiB(const char *field) {
  std::ifstream in("/proc/self/status");
  const std::string key = std::string(field) + ":";
  for (std::string line; std::getline(in, line);)
    if (line.starts_with(key)) return std::stol(line.substr(key.size()));
  return -1;
}

// Sets the high-water mark back to the present resident size.
bool ResetPeak() { return bool(std::ofstream("/proc/self/clear_refs") << "5" << std::flush); }

TEST(ReaderMemory, ALargeLosslessFrameCostsItsPicturesNotOnePerThread) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "a sanitizer's quarantine holds on to freed memory";
#endif
  constexpr int kSide = 4096;
  media_recipe s{.video_codec = "huffyuv", .pix_fmt = "yuv422p", .gradient = true, .frames = 2, .gop = 1};
  s.width = s.height = kSide;
  const std::string path = WriteTempMedia("large.avi", s);
  if (!ResetPeak()) GTEST_SKIP() << "the peak resident size cannot be reset here";
  const long before = StatusKiB("VmRSS");
  ASSERT_GT(before, 0);

  avi_handle r = OpenAVI(path);
  ASSERT_NE(r, nullptr);
  ASSERT_TRUE(mediareaders::AVIRead(r.get(), 40));
  const long peak = StatusKiB("VmHWM");
  r.reset();

  // The surface (4 bytes a pixel), three 4:2:2 pictures (shown, next, pooled) and a quarter surface more.
  const long pixels = long(kSide) * kSide;
  const long budget = (pixels * 4 + 3 * pixels * 2 + pixels) / 1024;
  EXPECT_LE(peak - before, budget);
}

}  // namespace
