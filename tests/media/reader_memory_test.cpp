// Showing one large frame costs its pictures, no copy per thread (peak resident memory, not time).
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "media/mediareaders.h"
#include "media/surface.h"
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

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;  // freed memory waits in quarantine: peaks mean nothing
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

TEST(ReaderMemory, ALargeLosslessFrameCostsItsPicturesNotOnePerThread) {
  if (kSanitized) GTEST_SKIP() << "a sanitizer's quarantine holds on to freed memory";
  constexpr int kSide = 4096;
  const media_recipe s{.video_codec = "huffyuv",
                       .pix_fmt = "yuv422p",
                       .gradient = true,
                       .width = kSide,
                       .height = kSide,
                       .frames = 2,
                       .gop = 1};
  const std::string path = WriteTempMedia("large.avi", s);
  if (!ResetPeak()) GTEST_SKIP() << "the peak resident size cannot be reset here";
  const long before = StatusKiB("VmRSS");
  ASSERT_GT(before, 0);

  roa *r = mediareaders::AVIReadOpen(path.c_str());
  ASSERT_NE(r, nullptr);
  ASSERT_TRUE(mediareaders::AVIRead(r, 40));
  const long peak = StatusKiB("VmHWM");
  mediareaders::AVIReadClose(r);

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
