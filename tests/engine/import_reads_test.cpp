// Importing a medium reads its headers, index and a frame, never the whole file (bytes, not time).
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "engine/enginetest.h"
#include "support/mediafile.h"

using namespace enginetest;

namespace {

// Bytes this process has read through read() and its kin so far; -1 when the kernel does not say.
long long BytesRead() {
  std::ifstream in("/proc/self/io");
  std::string key;
  long long value = 0;
  while (in >> key >> value)
    if (key == "rchar:") return value;
  return -1;
}

TEST(ImportReads, AnUncompressedVideoCostsTheSameForTenSecondsAndAHundred) {
  project pr;
  fixtures::media_recipe s{
      .video_codec = "rawvideo", .pix_fmt = "bgr24", .width = 256, .height = 192, .rate_num = 5, .gop = 1};
  long long read[2] = {};
  for (int i = 0; i < 2; ++i) {
    s.frames = i == 0 ? 50 : 500;
    const std::string path = fixtures::WriteTempMedia(i == 0 ? "short.avi" : "long.avi", s);
    const long long before = BytesRead();
    if (before < 0) GTEST_SKIP() << "/proc/self/io cannot be read here";
    clip *c = pr.p->AddMedia(pr.root(), path.c_str(), 0, i);
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->GetSize(), s.frames * 200);
    pr.At(0);
    read[i] = BytesRead() - before;
  }
  std::printf("bytes read to import and show a frame: %lld (10 s), %lld (100 s)\n", read[0], read[1]);
  EXPECT_LE(read[1], read[0] * 12 / 10);
}

}  // namespace
