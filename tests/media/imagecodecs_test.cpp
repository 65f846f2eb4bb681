// Image decoders on files made by the tests: known pixels back, cut and damaged files refused.
#include "media/imagecodecs.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "core/vemo.h"
#include "imagefixtures.h"
#include "media/surface.h"
#include "support/wavfile.h"
#include "surfacetest.h"

namespace {

owned_surface decode(KORSurface *(*fn)(const uint8_t *, size_t), const bytes &b) {
  return owned_surface(fn(b.data(), b.size()));
}

// Pixels of a decoded picture as 0xAARRGGBB words, top row first.
std::vector<uint32_t> words(KORSurface *s) {
  std::vector<uint32_t> out;
  for (int y = 0; y < s->height; ++y)
    for (int x = 0; x < s->width; ++x) out.push_back(at(s, x, y).word());
  return out;
}

// A 2 x 2 32-bit icon image with its own alpha (rows bottom-up) and an empty AND mask.
bytes icon32() {
  bmp_layout s;
  s.width = 2, s.height = 4, s.bpp = 32, s.file_header = false;
  s.pixels = {1, 2, 3, 0x80, 4,  5,  6,  0xFF,  // bottom row
              7, 8, 9, 0x00, 10, 11, 12, 0x40};
  s.pixels.resize(s.pixels.size() + 8, 0);  // AND mask: two rows of 4 bytes
  return make_bmp(s);
}

// A 4 x 2 4-bit icon image: palette colours, transparency from the AND mask.
bytes icon4() {
  bmp_layout s;
  s.width = 4, s.height = 4, s.bpp = 4, s.file_header = false;
  s.palette = {0, 0x112233, 0x445566, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  s.pixels = {0x12, 0x21, 0, 0,   // bottom row: 1 2 2 1
              0x22, 0x11, 0, 0,   // top row: 2 2 1 1
              0x50, 0,    0, 0,   // AND mask bottom: 0101 -> pixels 1 and 3 transparent
              0x80, 0,    0, 0};  // AND mask top: 1000 -> pixel 0 transparent
  return make_bmp(s);
}

std::vector<pix32> quadrants(int w, int h) {
  std::vector<pix32> px(size_t(w) * h);
  const pix32 colours[4] = {pix32(200, 30, 30), pix32(30, 200, 30), pix32(30, 30, 200), pix32(240, 240, 240)};
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) px[size_t(y) * w + x] = colours[(y >= h / 2) * 2 + (x >= w / 2)];
  return px;
}

}  // namespace

TEST(ImageBMP, PaletteDepthsOneFourAndEight) {
  bmp_layout one;  // 3 x 2, top row 1 0 1, bottom row 0 0 1
  one.width = 3, one.height = 2, one.bpp = 1, one.palette = {0xFF0000, 0x0000FF};
  one.pixels = {0x20, 0, 0, 0, 0xA0, 0, 0, 0};
  auto s = decode(DecodeBMP, make_bmp(one));
  ASSERT_TRUE(s);
  EXPECT_EQ(words(s.get()), (std::vector<uint32_t>{0xFF, 0xFF0000, 0xFF, 0xFF0000, 0xFF0000, 0xFF}));

  bmp_layout four{.width = 3, .height = 1, .bpp = 4, .pixels = {0x2F, 0x00, 0, 0}};  // indices 2, 15, 0
  four.palette.assign(16, 0x010101);
  four.palette[2] = 0x123456, four.palette[15] = 0xABCDEF, four.palette[0] = 0x000001;
  s = decode(DecodeBMP, make_bmp(four));
  ASSERT_TRUE(s);
  EXPECT_EQ(words(s.get()), (std::vector<uint32_t>{0x123456, 0xABCDEF, 0x000001}));

  // A short table of 3; an index beyond it is black.
  bmp_layout eight;
  eight.width = 4, eight.height = 1, eight.bpp = 8, eight.palette = {0x0A0B0C, 0x102030, 0x405060},
  eight.colours_used = 3, eight.pixels = {2, 1, 200, 0};
  s = decode(DecodeBMP, make_bmp(eight));
  ASSERT_TRUE(s);
  EXPECT_EQ(words(s.get()), (std::vector<uint32_t>{0x405060, 0x102030, 0, 0x0A0B0C}));

  bmp_layout core = eight;  // the 12-byte header with 3-byte table entries
  core.header = 12, core.colours_used = 0;
  core.palette.resize(256, 0);
  s = decode(DecodeBMP, make_bmp(core));
  ASSERT_TRUE(s);
  EXPECT_EQ(words(s.get()), (std::vector<uint32_t>{0x405060, 0x102030, 0, 0x0A0B0C}));
}

TEST(ImageBMP, RunLengthEncodings) {
  bmp_layout rle8;  // 5 x 3, rows bottom-up
  rle8.width = 5, rle8.height = 3, rle8.bpp = 8, rle8.compression = 1, rle8.colours_used = 4;
  rle8.palette = {0, 0x111111, 0x222222, 0x333333};
  rle8.pixels = {3, 1, 0, 0,        // bottom: 1 1 1, end of line
                 0, 3, 2, 3, 2, 0,  // middle: absolute 2 3 2 (padded)
                 2, 1, 0, 0,        // then 1 1, end of line
                 0, 2, 3, 0,        // delta (+3, 0) on the top row
                 2, 3, 0, 1};       // 3 3, end of bitmap
  auto s = decode(DecodeBMP, make_bmp(rle8));
  ASSERT_TRUE(s);
  EXPECT_EQ(words(s.get()),
            (std::vector<uint32_t>{0, 0, 0, 0x333333, 0x333333,                       // top
                                   0x222222, 0x333333, 0x222222, 0x111111, 0x111111,  // middle
                                   0x111111, 0x111111, 0x111111, 0, 0}));

  bmp_layout rle4;
  rle4.width = 5, rle4.height = 2, rle4.bpp = 4, rle4.compression = 2,
  rle4.palette = {0, 0x010101, 0x020202, 0x030303, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  rle4.pixels = {5, 0x12, 0,    0,     // bottom: 1 2 1 2 1
                 0, 3,    0x32, 0x10,  // top: absolute 3 2 1 (two bytes, already even)
                 2, 0x33, 0,    1};    // then 3 3, end of bitmap
  s = decode(DecodeBMP, make_bmp(rle4));
  ASSERT_TRUE(s);
  EXPECT_EQ(words(s.get()), (std::vector<uint32_t>{0x030303, 0x020202, 0x010101, 0x030303, 0x030303, 0x010101,
                                                   0x020202, 0x010101, 0x020202, 0x010101}));
  // Without its end-of-bitmap mark the data counts as cut.
  rle4.pixels.resize(rle4.pixels.size() - 2);
  EXPECT_FALSE(decode(DecodeBMP, make_bmp(rle4)));
}

TEST(ImageBMP, DirectColourDepthsAndAlpha) {
  bmp_layout b16{.width = 3, .height = 1, .bpp = 16, .pixels = {0xFF, 0x7F, 0x10, 0x00, 0x00, 0x7C, 0, 0}};
  // 555 above: white, a blue of 16/31, pure red
  auto s = decode(DecodeBMP, make_bmp(b16));
  ASSERT_TRUE(s);
  EXPECT_EQ(words(s.get()), (std::vector<uint32_t>{0xFFFFFF, 0x000084, 0xFF0000}));  // 16 * 255 / 31 = 131.6

  bmp_layout b565 = b16;  // 565 bit fields: full green, green 32 of 63, blue 31
  b565.compression = 3, b565.masks[0] = 0xF800, b565.masks[1] = 0x07E0, b565.masks[2] = 0x001F;
  b565.pixels = {0xE0, 0x07, 0x00, 0x04, 0x1F, 0x00, 0, 0};
  s = decode(DecodeBMP, make_bmp(b565));
  ASSERT_TRUE(s);
  EXPECT_EQ(words(s.get()), (std::vector<uint32_t>{0x00FF00, 0x008200, 0x0000FF}));  // 32 * 255 / 63 = 129.5

  bmp_layout b24;
  b24.width = 2, b24.height = -2, b24.bpp = 24,
  b24.pixels = {1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0};  // top-down
  s = decode(DecodeBMP, make_bmp(b24));
  ASSERT_TRUE(s);
  EXPECT_EQ(s->height, 2);
  EXPECT_EQ(words(s.get()), (std::vector<uint32_t>{0x030201, 0x060504, 0x090807, 0x0C0B0A}));

  bmp_layout b32{.bpp = 32, .pixels = {1, 2, 3, 0x77}};  // plain 32-bit: the fourth byte is not alpha
  s = decode(DecodeBMP, make_bmp(b32));
  ASSERT_TRUE(s);
  EXPECT_EQ(words(s.get())[0], 0x00030201u);

  bmp_layout v5 = b32;  // a 124-byte header with an alpha mask keeps it
  v5.header = 124, v5.compression = 3;
  v5.masks[0] = 0xFF0000, v5.masks[1] = 0xFF00, v5.masks[2] = 0xFF, v5.masks[3] = 0xFF000000;
  s = decode(DecodeBMP, make_bmp(v5));
  ASSERT_TRUE(s);
  EXPECT_EQ(words(s.get())[0], 0x77030201u);

  bmp_layout v2 = v5;  // a 52-byte header: the alpha mask of compression 6 follows it
  v2.header = 52, v2.compression = 6, v2.file_header = false;
  bytes dib = make_bmp(v2);
  s = decode(DecodeBMP, dib);
  ASSERT_TRUE(s);
  EXPECT_EQ(words(s.get())[0], 0x77030201u);
  dib.resize(52);
  EXPECT_FALSE(decode(DecodeBMP, dib));

  bmp_layout packed = b24;  // a packed DIB: no file header
  packed.file_header = false;
  s = decode(DecodeBMP, make_bmp(packed));
  ASSERT_TRUE(s);
  EXPECT_EQ(words(s.get())[3], 0x0C0B0Au);
}

TEST(ImageBMP, AbsurdHeadersAreRefused) {
  bmp_layout big{.width = 20000};
  EXPECT_FALSE(decode(DecodeBMP, make_bmp(big)));
  big.width = 16384, big.height = 16384, big.bpp = 8, big.compression = 1;  // over the pixel cap
  EXPECT_FALSE(decode(DecodeBMP, make_bmp(big)));
  bmp_layout odd{.bpp = 7, .pixels = {0, 0, 0, 0}};
  EXPECT_FALSE(decode(DecodeBMP, make_bmp(odd)));
  odd.bpp = 24, odd.compression = 4;  // an embedded JPEG
  EXPECT_FALSE(decode(DecodeBMP, make_bmp(odd)));
}

TEST(ImageICO, LargestImageWithAlphaFromMaskOrChannel) {
  auto s = decode(DecodeICO, make_ico({icon32(), icon4()}));
  ASSERT_TRUE(s);
  ASSERT_EQ(std::pair(s->width, s->height), std::pair(4, 2));
  EXPECT_EQ(words(s.get()), (std::vector<uint32_t>{0x00445566, 0xFF445566, 0xFF112233, 0xFF112233, 0xFF112233,
                                                   0x00445566, 0xFF445566, 0x00112233}));
  s = decode(DecodeICO, make_ico({icon32()}, 2));  // a cursor; the channel is the alpha
  ASSERT_TRUE(s);
  EXPECT_EQ(words(s.get()), (std::vector<uint32_t>{0x00090807, 0x400C0B0A, 0x80030201, 0xFF060504}));

  std::vector<pix32> px(9, pix32(1, 2, 3, 4));
  px[8] = pix32(21, 22, 23, 24);
  s = decode(DecodeICO, make_ico({icon4(), make_png(3, 3, px, true)}));  // 9 pixels beat 8
  ASSERT_TRUE(s);
  EXPECT_EQ(s->width, 3);
  EXPECT_EQ(at(s.get(), 2, 2), pix32(21, 22, 23, 24));

  EXPECT_FALSE(decode(DecodeICO, make_ico({})));
  bytes bad = make_ico({icon4()});
  bad[2] = 3;  // neither icon nor cursor
  EXPECT_FALSE(decode(DecodeICO, bad));
}

TEST(ImageICO, IconFileReaderIsInstalled) {
  HICON h = vemo::IconLoadByFileName(fixtures::WriteTempFile("reader.ico", make_ico({icon4()})).c_str());
  ASSERT_NE(h, nullptr);
  ASSERT_EQ(h->pixels.size(), 8u);
  EXPECT_EQ(h->pixels[1], 0xFF445566u);
  DestroyIcon(h);
}

TEST(ImageJPEG, ColourAndGreyWithinTolerance) {
  const auto px = quadrants(32, 16);
  auto s = decode(DecodeJPEG, make_jpeg(32, 16, px, 95));
  ASSERT_TRUE(s);
  ASSERT_EQ(std::pair(s->width, s->height), std::pair(32, 16));
  for (auto [x, y] : {std::pair{4, 4}, {27, 3}, {5, 12}, {28, 12}}) {
    const pix32 got = at(s.get(), x, y), want = px[size_t(y) * 32 + x];
    EXPECT_NEAR(got.r, want.r, 8) << x << "," << y;
    EXPECT_NEAR(got.g, want.g, 8);
    EXPECT_NEAR(got.b, want.b, 8);
    EXPECT_EQ(got.a, 0);
  }
  s = decode(DecodeJPEG, make_jpeg(32, 16, px, 90, true));
  ASSERT_TRUE(s);
  const pix32 g = at(s.get(), 4, 4);
  EXPECT_NEAR(g.r, 30, 6);
  EXPECT_EQ(g.r, g.g);
  EXPECT_EQ(g.g, g.b);
}

TEST(ImagePNGAndGIF, AlphaKeptOnlyWhereThePictureHasIt) {
  std::vector<pix32> px = {pix32(255, 0, 0, 255), pix32(0, 255, 0, 128),     pix32(0, 0, 255, 0),
                           pix32(1, 2, 3, 4),     pix32(250, 251, 252, 253), pix32(9, 8, 7, 6)};
  auto s = decode(DecodePNG, make_png(3, 2, px, true));
  ASSERT_TRUE(s);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(at(s.get(), i % 3, i / 3), px[size_t(i)]);
  s = decode(DecodePNG, make_png(3, 2, px, false));
  ASSERT_TRUE(s);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(at(s.get(), i % 3, i / 3), pix32(px[i].r, px[i].g, px[i].b, 0));

  const std::vector<uint32_t> palette = {0x102030, 0xFFFFFF, 0x00FF00};
  const std::vector<uint8_t> idx = {0, 1, 2, 2, 1, 0};
  const bytes gif = make_gif(3, 2, idx, palette, -1);
  ASSERT_FALSE(gif.empty());
  s = decode(DecodeGIF, gif);
  ASSERT_TRUE(s);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(at(s.get(), i % 3, i / 3).word(), palette[idx[size_t(i)]]);
  s = decode(DecodeGIF, make_gif(3, 2, idx, palette, 1));
  ASSERT_TRUE(s);
  EXPECT_EQ(at(s.get(), 1, 0).a, 0);
  EXPECT_EQ(at(s.get(), 0, 0).word(), 0xFF102030u);
}

TEST(ImageWMF, SolidRectangleRendersAtItsNaturalSize) {
  auto s = decode(DecodeWMF, make_wmf(40, 20));
  ASSERT_TRUE(s);
  EXPECT_EQ(std::pair(s->width, s->height), std::pair(40, 20));
  const pix32 mid = at(s.get(), 20, 10);
  EXPECT_EQ(mid, pix32(255, 0, 0, 0));
}

// The header's largest record (in words, at byte 34 after the placeable header) sizes the
// library's record buffer: it must hold every record and lie inside the file.
TEST(ImageWMF, ALargestRecordOutsideTheFileOrTooSmallIsRefused) {
  for (uint32_t words : {0x5E000000u, 1000u, 7u}) {
    bytes wmf = make_wmf(40, 20);  // its largest record is the pen's 8 words
    for (int i = 0; i < 4; ++i) wmf[34 + size_t(i)] = uint8_t(words >> (8 * i));
    EXPECT_FALSE(decode(DecodeWMF, wmf)) << words;
  }
}

TEST(SurfaceLoad, PicksTheDecoderByExtension) {
  const bytes bmp = make_bmp({.pixels = {1, 2, 3, 0}});
  auto load = [](const std::string &path) { return owned_surface(surface::SurfaceLoad(path.c_str())); };
  auto loads = [&](const char *name, const bytes &b) { return bool(load(fixtures::WriteTempFile(name, b))); };
  owned_surface s = load(fixtures::WriteTempFile("X.BMP", bmp));
  ASSERT_TRUE(s);
  EXPECT_EQ(at(s.get(), 0, 0).word(), 0x030201u);
  EXPECT_TRUE(loads("x.dib", bmp));
  EXPECT_FALSE(loads("x.txt", bmp));
  EXPECT_FALSE(loads("x.emf", bmp));
  EXPECT_FALSE(load(".bmp"));  // the name must be longer than it
  EXPECT_FALSE(load("/nonexistent/missing.jpg"));
  EXPECT_TRUE(loads("x.JPEG", make_jpeg(8, 8, quadrants(8, 8), 90)));
}

// An enhanced metafile has no renderer: it fails as an unsupported format, named .emf or .wmf,
// while a damaged file says nothing more than null.
TEST(SurfaceLoad, EnhancedMetafilesAreAnUnsupportedFormat) {
  bytes emf(88, 0);
  emf[0] = 1;                                                  // the header record's type
  emf[40] = ' ', emf[41] = 'E', emf[42] = 'M', emf[43] = 'F';  // its signature
  for (const char *name : {"e.emf", "e.wmf"}) {
    EXPECT_FALSE(owned_surface(surface::SurfaceLoad(fixtures::WriteTempFile(name, emf).c_str()))) << name;
    EXPECT_STREQ(SurfaceLoadFailure(), "unsupported picture format") << name;
  }
  EXPECT_FALSE(owned_surface(surface::SurfaceLoad(fixtures::WriteTempFile("j.wmf", bytes(88, 7)).c_str())));
  EXPECT_STREQ(SurfaceLoadFailure(), "");
}

// Every decoder refuses every cut of a good file (flipped bytes are the fuzz targets' part).
TEST(ImageDamage, CutFilesAreRefused) {
  SetImageDecoderLogging(false);
  bmp_layout pal;
  pal.width = 5, pal.height = 3, pal.bpp = 8, pal.palette = {0, 0x808080, 0xFFFFFF}, pal.colours_used = 3,
  pal.pixels = bytes(24, 1);
  bmp_layout rle;
  rle.width = 6, rle.height = 2, rle.bpp = 8, rle.compression = 1, rle.palette = {0, 0xFFFFFF},
  rle.colours_used = 2, rle.pixels = {6, 1, 0, 0, 0, 3, 1, 0, 1, 0, 3, 1, 0, 1};
  const bmp_layout b24{.width = 3, .height = 2, .bpp = 24, .pixels = bytes(24, 7)};
  struct sample {
    const char *name;
    KORSurface *(*fn)(const uint8_t *, size_t);
    bytes data;
  };
  std::vector<uint32_t> palette = {0, 0xFFFFFF};
  const sample samples[] = {
      {"bmp8", DecodeBMP, make_bmp(pal)},
      {"rle8", DecodeBMP, make_bmp(rle)},
      {"bmp24", DecodeBMP, make_bmp(b24)},
      {"ico", DecodeICO, make_ico({icon32(), icon4()})},
      {"jpeg", DecodeJPEG, make_jpeg(16, 16, quadrants(16, 16), 80)},
      {"png", DecodePNG, make_png(4, 3, quadrants(4, 3), true)},
      {"gif", DecodeGIF, make_gif(4, 2, {0, 1, 1, 0, 1, 0, 0, 1}, palette, -1)},
      {"wmf", DecodeWMF, make_wmf(16, 8)},
  };
  for (const sample &s : samples) {
    ASSERT_FALSE(s.data.empty()) << s.name;
    for (size_t n = 0; n < s.data.size(); ++n) {
      const bytes cut(s.data.begin(), s.data.begin() + ptrdiff_t(n));
      EXPECT_FALSE(decode(s.fn, cut)) << s.name << " cut to " << n;
    }
  }
}
