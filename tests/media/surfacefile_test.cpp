// Saving surfaces as 24-bit BMP files and the packed clipboard chunk.
#include <gtest/gtest.h>

#include "core/byteorder.h"
#include "core/vemowin.h"
#include "imagefixtures.h"
#include "media/imagecodecs.h"
#include "support/mediafile.h"
#include "support/wavfile.h"
#include "surfacetest.h"

using byteorder::le32;
using fixtures::ReadFileBytes;

namespace {
const fixtures::temp_dir dir;
}  // namespace

TEST(SurfaceSave, OnePixelMakesA58ByteFileAndFiveByThreeReadBack) {
  auto s = make_surface(1, 1);
  at(s.get(), 0, 0) = pix32(0x30, 0x20, 0x10, 0x99);
  const std::string path = dir.file("one.bmp");
  ASSERT_TRUE(surface::SurfaceSave(s.get(), path.c_str()));
  const bytes b = ReadFileBytes(path);
  const bytes expect = {
      'B',  'M',  58,   0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0,         // file header
      40,   0,    0,    0, 1, 0, 0, 0, 1, 0, 0,  0, 1, 0, 24, 0,  // size, w, h, planes, bits
      0,    0,    0,    0, 4, 0, 0, 0, 0, 0, 0,  0, 0, 0, 0,  0,  // BI_RGB, image size 4
      0,    0,    0,    0, 0, 0, 0, 0,                            // colours
      0x10, 0x20, 0x30, 0};                                       // blue, green, red, pad
  EXPECT_EQ(b, expect);
  EXPECT_FALSE(surface::SurfaceSave(s.get(), "/nonexistent/dir/x.bmp"));
  EXPECT_FALSE(surface::SurfaceSave(nullptr, path.c_str()));
  // Five pixels by three read back through the loader.
  auto five = make_surface(5, 3);
  fill_random(five.get(), 42);
  ASSERT_TRUE(surface::SurfaceSave(five.get(), dir.file("five.bmp").c_str()));
  const bytes fb = ReadFileBytes(dir.file("five.bmp"));
  ASSERT_EQ(fb.size(), 54u + 16u * 3u);
  EXPECT_EQ(le32(fb.data() + 2), 54u + 48u);
  // The decoder is checked against hand-made files: reading back checks row order and padding.
  owned_surface ours(DecodeBMP(fb.data(), fb.size()));
  ASSERT_TRUE(ours);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 5; ++x)
      EXPECT_EQ(at(ours.get(), x, y).word(), at(five.get(), x, y).word() & 0xFFFFFF);
}

TEST(SurfaceSave, ClipboardChunkIsAPackedBottomUpDib) {
  auto s = make_surface(5, 3);
  fill_random(s.get(), 7);
  int w = 0, h = 0;
  const bytes four = surface::Surface24Chunk(s.get(), &w, &h, 4),
              one = surface::Surface24Chunk(s.get(), 0, 0, 1);
  EXPECT_EQ(std::pair(w, h), std::pair(5, 3));
  ASSERT_EQ(std::pair(four.size(), one.size()), (std::pair<size_t, size_t>(16 * 3 + 44, 15 * 3 + 44)));
  for (const bytes *c : {&four, &one}) {
    EXPECT_EQ(le32(c->data()), 40u);
    EXPECT_EQ(le32(c->data() + 20), 48u);  // image size counted with 4-byte rows either way
  }
  // The first row stored is the bottom one.
  const pix32 bottom = at(s.get(), 0, 2), top = at(s.get(), 4, 0);
  EXPECT_EQ((std::vector{four[40], four[42], one[40 + 30 + 12], four[40 + 32 + 12]}),
            (std::vector{bottom.b, bottom.r, top.b, top.b}));
  EXPECT_TRUE(surface::Surface24Chunk(nullptr, &w, &h, 4).empty());
  vemowin context;
  EXPECT_FALSE(surface(&context, nullptr).Surface2ClipBoard(s.get()));  // no system clipboard: always false
}
