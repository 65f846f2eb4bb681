// Image decoders on files made by the tests: known pixels back, cut and damaged files refused.
#include "media/imagecodecs.h"

#include <gtest/gtest.h>

#include "imagefixtures.h"
#include "support/wavfile.h"
#include "surfacetest.h"

namespace {

using decoder = KORSurface *(*)(const uint8_t *, size_t);
using words = std::vector<uint32_t>;

owned_surface decode(decoder fn, const bytes &b) { return owned_surface(fn(b.data(), b.size())); }

// The decoded picture's pixels as 0xAARRGGBB words, top row first, against the expected ones.
void ExpectWords(decoder fn, const bytes &b, const words &want) {
  auto s = decode(fn, b);
  ASSERT_TRUE(s);
  EXPECT_EQ(Words(s.get()), want);
}

void ExpectEveryCutRefused(decoder fn, const bytes &b) {
  ASSERT_FALSE(b.empty());
  for (size_t n = 0; n < b.size(); ++n)
    EXPECT_FALSE(decode(fn, bytes(b.begin(), b.begin() + ptrdiff_t(n)))) << "cut to " << n;
}

// A 2 x 2 32-bit icon image with its own alpha (rows bottom-up) and an empty 2-row AND mask.
bytes icon32() {
  bmp_layout s{.width = 2, .height = 4, .bpp = 32, .file_header = false};
  s.pixels = {1, 2, 3, 0x80, 4, 5, 6, 0xFF, 7, 8, 9, 0x00, 10, 11, 12, 0x40, 0, 0, 0, 0, 0, 0, 0, 0};
  return make_bmp(s);
}

// A 4 x 2 4-bit icon image: palette colours, transparency from the AND mask.
bytes icon4() {
  bmp_layout s{.width = 4, .height = 4, .bpp = 4, .palette = {0, 0x112233, 0x445566}, .file_header = false};
  s.palette.resize(16, 0);
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

TEST(ImageBMP, EveryDepthAndEncodingAndAbsurdHeadersRefused) {
  std::vector<uint32_t> pal16(16, 0x010101);  // indices 0, 2 and 15 are used
  pal16[0] = 0x000001, pal16[2] = 0x123456, pal16[15] = 0xABCDEF;
  const std::vector<uint32_t> pal3 = {0x0A0B0C, 0x102030, 0x405060},
                              grey4 = {0, 0x010101, 0x020202, 0x030303};
  auto padded = [](std::vector<uint32_t> p, size_t n) { return p.resize(n, 0), p; };
  const bytes b24 = {1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0}, b32 = {1, 2, 3, 0x77};
  const uint32_t f = 0xFF;  // masks
  // clang-format off
  const std::tuple<const char *, bmp_layout, words> rows[] = {
      // 3 x 2, top row 1 0 1, bottom row 0 0 1
      {"1-bit", {.width = 3, .height = 2, .bpp = 1, .palette = {0xFF0000, 0xFF},
                 .pixels = {0x20, 0, 0, 0, 0xA0, 0, 0, 0}}, {0xFF, 0xFF0000, 0xFF, 0xFF0000, 0xFF0000, 0xFF}},
      {"4-bit", {.width = 3, .bpp = 4, .palette = pal16, .pixels = {0x2F, 0x00, 0, 0}},
       {0x123456, 0xABCDEF, 0x000001}},
      // A short table of 3; an index beyond it is black.
      {"8-bit", {.width = 4, .bpp = 8, .palette = pal3, .colours_used = 3, .pixels = {2, 1, 200, 0}},
       {0x405060, 0x102030, 0, 0x0A0B0C}},
      // The 12-byte header with 3-byte table entries.
      {"core", {.width = 4, .bpp = 8, .header = 12, .palette = padded(pal3, 256), .pixels = {2, 1, 200, 0}},
       {0x405060, 0x102030, 0, 0x0A0B0C}},
      // 5 x 3 bottom-up: 1 1 1, EOL; absolute 2 3 2 (padded), 1 1, EOL; delta (+3, 0), 3 3, end.
      {"rle8", {.width = 5, .height = 3, .bpp = 8, .compression = 1, .palette = {0, 0x111111, 0x222222, 0x333333},
                .colours_used = 4, .pixels = {3, 1, 0, 0, 0, 3, 2, 3, 2, 0, 2, 1, 0, 0, 0, 2, 3, 0, 2, 3, 0, 1}},
       {0, 0, 0, 0x333333, 0x333333, 0x222222, 0x333333, 0x222222, 0x111111, 0x111111,
        0x111111, 0x111111, 0x111111, 0, 0}},
      // Bottom 1 2 1 2 1; top absolute 3 2 1 (two bytes, already even), 3 3, end of bitmap.
      {"rle4", {.width = 5, .height = 2, .bpp = 4, .compression = 2,
                .palette = padded(grey4, 16), .pixels = {5, 0x12, 0, 0, 0, 3, 0x32, 0x10, 2, 0x33, 0, 1}},
       {0x030303, 0x020202, 0x010101, 0x030303, 0x030303, 0x010101, 0x020202, 0x010101, 0x020202, 0x010101}},
      // 555: white, a blue of 16/31 (16 * 255 / 31 = 131.6), pure red.
      {"16-bit", {.width = 3, .bpp = 16, .pixels = {0xFF, 0x7F, 0x10, 0x00, 0x00, 0x7C, 0, 0}},
       {0xFFFFFF, 0x000084, 0xFF0000}},
      // 565 bit fields: full green, green 32 of 63 (32 * 255 / 63 = 129.5), blue 31.
      {"565", {.width = 3, .bpp = 16, .compression = 3, .masks = {0xF800, 0x07E0, 0x001F},
               .pixels = {0xE0, 0x07, 0x00, 0x04, 0x1F, 0x00, 0, 0}}, {0x00FF00, 0x008200, 0x0000FF}},
      {"24-bit top-down", {.width = 2, .height = -2, .pixels = b24}, {0x030201, 0x060504, 0x090807, 0x0C0B0A}},
      {"packed DIB", {.width = 2, .height = -2, .pixels = b24, .file_header = false},
       {0x030201, 0x060504, 0x090807, 0x0C0B0A}},
      // Plain 32-bit: the fourth byte is no alpha; a mask in a 124-byte header or after a 52-byte one is.
      {"32-bit", {.bpp = 32, .pixels = b32}, {0x00030201}},
      {"V5", {.bpp = 32, .compression = 3, .header = 124, .masks = {f << 16, f << 8, f, f << 24}, .pixels = b32},
       {0x77030201}},
      {"V2", {.bpp = 32, .compression = 6, .header = 52, .masks = {f << 16, f << 8, f, f << 24}, .pixels = b32,
              .file_header = false}, {0x77030201}},
  };
  // clang-format on
  // Every cut of each file is refused too: a missing mask, palette, row or end-of-bitmap mark.
  SetImageDecoderLogging(false);
  for (const auto &[name, layout, want] : rows) {
    SCOPED_TRACE(name);
    ExpectWords(DecodeBMP, make_bmp(layout), want);
    ExpectEveryCutRefused(DecodeBMP, make_bmp(layout));
  }

  const bytes files[] = {
      make_bmp({.width = 20000}),
      make_bmp({.width = 16384, .height = 16384, .bpp = 8, .compression = 1}),  // over the pixel cap
      make_bmp({.bpp = 7, .pixels = {0, 0, 0, 0}}),
      make_bmp({.compression = 4, .pixels = {0, 0, 0, 0}}),  // an embedded JPEG
  };
  for (size_t i = 0; i < std::size(files); ++i) EXPECT_FALSE(decode(DecodeBMP, files[i])) << i;
}

TEST(ImageICO, LargestImageWithAlphaFromMaskOrChannel) {
  // 4 x 2 beats 2 x 2.
  ExpectWords(
      DecodeICO, make_ico({icon32(), icon4()}),
      {0x00445566, 0xFF445566, 0xFF112233, 0xFF112233, 0xFF112233, 0x00445566, 0xFF445566, 0x00112233});
  // A cursor; the channel is the alpha.
  ExpectWords(DecodeICO, make_ico({icon32()}, 2), {0x00090807, 0x400C0B0A, 0x80030201, 0xFF060504});

  std::vector<pix32> px(9, pix32(1, 2, 3, 4));
  px[8] = pix32(21, 22, 23, 24);
  words want;
  for (pix32 p : px) want.push_back(p.word());
  ExpectWords(DecodeICO, make_ico({icon4(), make_png(3, 3, px, true)}), want);  // 9 pixels beat 8

  EXPECT_FALSE(decode(DecodeICO, make_ico({})));
  bytes bad = make_ico({icon4()});
  bad[2] = 3;  // neither icon nor cursor
  EXPECT_FALSE(decode(DecodeICO, bad));

  HICON h = vemo::IconLoadByFileName(fixtures::WriteTempFile("reader.ico", make_ico({icon4()})).c_str());
  ASSERT_NE(h, nullptr);  // the icon file reader is installed
  ASSERT_EQ(h->pixels.size(), 8u);
  EXPECT_EQ(h->pixels[1], 0xFF445566u);
  DestroyIcon(h);
}

TEST(ImageJPEG, ColourAndGreyWithinTolerance) {
  const auto px = quadrants(32, 16);
  auto s = decode(DecodeJPEG, make_jpeg(32, 16, px, 95));
  ASSERT_EQ(s ? std::pair(s->width, s->height) : std::pair(0, 0), std::pair(32, 16));
  for (auto [x, y] : {std::pair{4, 4}, {27, 3}, {5, 12}, {28, 12}}) {
    const pix32 got = at(s.get(), x, y), want = px[size_t(y) * 32 + x];
    EXPECT_LE(std::max({std::abs(got.r - want.r), std::abs(got.g - want.g), std::abs(got.b - want.b)}), 8);
    EXPECT_EQ(got.a, 0) << x << "," << y;
  }
  s = decode(DecodeJPEG, make_jpeg(32, 16, px, 90, true));
  ASSERT_TRUE(s);
  const pix32 g = at(s.get(), 4, 4);
  EXPECT_NEAR(g.r, 30, 6);
  EXPECT_EQ(g.word(), g.r * 0x010101u);  // grey, alpha 0
}

TEST(ImagePNGAndGIF, AlphaKeptOnlyWhereThePictureHasIt) {
  const std::vector<pix32> px = {pix32(255, 0, 0, 255), pix32(0, 255, 0, 128),     pix32(0, 0, 255, 0),
                                 pix32(1, 2, 3, 4),     pix32(250, 251, 252, 253), pix32(9, 8, 7, 6)};
  words with, without;
  for (pix32 p : px) with.push_back(p.word()), without.push_back(p.word() & 0xFFFFFF);
  ExpectWords(DecodePNG, make_png(3, 2, px, true), with);
  ExpectWords(DecodePNG, make_png(3, 2, px, false), without);

  const words palette = {0x102030, 0xFFFFFF, 0x00FF00};
  const std::vector<uint8_t> idx = {0, 1, 2, 2, 1, 0};
  words shown;
  for (uint8_t i : idx) shown.push_back(palette[i]);
  ExpectWords(DecodeGIF, make_gif(3, 2, idx, palette, -1), shown);
  for (uint32_t &w : shown) w |= w == palette[1] ? 0 : 0xFF000000u;  // entry 1 transparent, the rest opaque
  ExpectWords(DecodeGIF, make_gif(3, 2, idx, palette, 1), shown);
}

TEST(ImageWMF, SolidRectangleAtItsNaturalSizeAndLargestRecordsThatLie) {
  auto s = decode(DecodeWMF, make_wmf(40, 20));
  ASSERT_TRUE(s);
  EXPECT_EQ(std::pair(s->width, s->height), std::pair(40, 20));
  EXPECT_EQ(at(s.get(), 20, 10), pix32(255, 0, 0, 0));
  // The largest record (words, at byte 34) sizes the buffer: it must hold every record, inside the file.
  for (uint32_t words : {0x5E000000u, 1000u, 7u}) {
    bytes wmf = make_wmf(40, 20);  // its largest record is the pen's 8 words
    for (int i = 0; i < 4; ++i) wmf[34 + size_t(i)] = uint8_t(words >> (8 * i));
    EXPECT_FALSE(decode(DecodeWMF, wmf)) << words;
  }
}

// The raster device's cost grows with the square of a pen's width: on a 160 x 80 picture a pen
// is narrowed to 32 units, and where a window unit is 10 pixels, to 3.
TEST(ImageWMF, PensAreNarrowedTo32Pixels) {
  auto picture = [](int pen, int units) {
    auto s = decode(DecodeWMF, make_wmf(160, 80, pen, units));
    return s ? Words(s.get()) : words();
  };
  EXPECT_EQ(picture(150, 1), picture(32, 1));
  EXPECT_NE(picture(20, 1), picture(32, 1));
  EXPECT_EQ(picture(15, 10), picture(3, 10));
  EXPECT_NE(picture(2, 10), picture(3, 10));
}

TEST(SurfaceLoad, PicksTheDecoderByExtensionAndEnhancedMetafilesAreUnsupported) {
  const bytes bmp = make_bmp({.pixels = {1, 2, 3, 0}});
  auto load = [](const std::string &path) { return owned_surface(surface::SurfaceLoad(path.c_str())); };
  auto loads = [&](const char *name, const bytes &b) { return bool(load(fixtures::WriteTempFile(name, b))); };
  owned_surface s = load(fixtures::WriteTempFile("X.BMP", bmp));
  EXPECT_EQ(s ? at(s.get(), 0, 0).word() : 0, 0x030201u);
  EXPECT_EQ((std::vector{loads("x.dib", bmp), loads("x.txt", bmp), loads("x.emf", bmp), bool(load(".bmp")),
                         bool(load("/nonexistent/missing.jpg")),
                         loads("x.JPEG", make_jpeg(8, 8, quadrants(8, 8), 90))}),
            (std::vector{true, false, false, false, false, true}));  // ".bmp": the name must be longer
  // An enhanced metafile (named .emf or .wmf) is an unsupported format; a damaged file is only null.
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

// Every other decoder refuses every cut of a good file too (flipped bytes are the fuzz targets' part).
TEST(ImageDamage, CutFilesAreRefused) {
  SetImageDecoderLogging(false);
  const std::tuple<const char *, decoder, bytes> samples[] = {
      {"ico", DecodeICO, make_ico({icon32(), icon4()})},
      {"jpeg", DecodeJPEG, make_jpeg(16, 16, quadrants(16, 16), 80)},
      {"png", DecodePNG, make_png(4, 3, quadrants(4, 3), true)},
      {"gif", DecodeGIF, make_gif(4, 2, {0, 1, 1, 0, 1, 0, 0, 1}, {0, 0xFFFFFF}, -1)},
      {"wmf", DecodeWMF, make_wmf(16, 8)},
  };
  for (const auto &[name, fn, data] : samples) {
    SCOPED_TRACE(name);
    ExpectEveryCutRefused(fn, data);
  }
}
