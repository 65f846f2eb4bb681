// Writes the seed files of the image fuzz targets (run by hand when the seeds change):
//   FUZZ_CORPUS=fuzz/corpus test_media --gtest_also_run_disabled_tests --gtest_filter='*FuzzSeeds*'
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "imagefixtures.h"

TEST(FuzzSeeds, DISABLED_Write) {
  const char *root = std::getenv("FUZZ_CORPUS");
  ASSERT_NE(root, nullptr);
  auto put = [&](const char *target, const char *name, const bytes &b) {
    const std::filesystem::path dir = std::filesystem::path(root) / target;
    std::filesystem::create_directories(dir);
    ASSERT_TRUE(write_file((dir / name).string(), b));
  };
  std::vector<pix32> px(64);
  for (int i = 0; i < 64; ++i)
    px[size_t(i)] = pix32(uint8_t(i * 4), uint8_t(255 - i * 3), uint8_t(i * 7), uint8_t(i * 2));

  bmp_layout pal;
  pal.width = 5, pal.height = 3, pal.bpp = 8, pal.colours_used = 3,
  pal.palette = {0x102030, 0x808080, 0xFFFFFF};
  pal.pixels = {0, 1, 2, 1, 0, 0, 0, 0, 2, 2, 1, 1, 0, 0, 0, 0, 1, 0, 2, 0, 1, 0, 0, 0};
  put("fuzz_image_bmp", "pal8.bmp", make_bmp(pal));
  bmp_layout rle8;
  rle8.width = 6, rle8.height = 3, rle8.bpp = 8, rle8.compression = 1, rle8.colours_used = 3;
  rle8.palette = {0, 0xFF0000, 0x00FF00};
  rle8.pixels = {3, 1, 0, 0, 0, 4, 2, 1, 2, 1, 0, 0, 0, 2, 2, 1, 2, 2, 0, 1};
  put("fuzz_image_bmp", "rle8.bmp", make_bmp(rle8));
  bmp_layout rle4;
  rle4.width = 7, rle4.height = 2, rle4.bpp = 4, rle4.compression = 2, rle4.colours_used = 4;
  rle4.palette = {0, 0x111111, 0x222222, 0x333333};
  rle4.pixels = {7, 0x12, 0, 0, 0, 5, 0x32, 0x10, 0x30, 0, 0, 1};
  put("fuzz_image_bmp", "rle4.bmp", make_bmp(rle4));
  bmp_layout b16;
  b16.width = 3, b16.height = 2, b16.bpp = 16, b16.compression = 3;
  b16.masks[0] = 0xF800, b16.masks[1] = 0x07E0, b16.masks[2] = 0x001F;
  b16.pixels = {0xE0, 0x07, 0x00, 0xF8, 0x1F, 0x00, 0, 0, 0xFF, 0xFF, 0, 0, 0x10, 0x84, 0, 0};
  put("fuzz_image_bmp", "bf565.bmp", make_bmp(b16));
  bmp_layout v5;
  v5.width = 2, v5.height = -2, v5.bpp = 32, v5.header = 124, v5.compression = 3;
  v5.masks[0] = 0xFF0000, v5.masks[1] = 0xFF00, v5.masks[2] = 0xFF, v5.masks[3] = 0xFF000000;
  v5.pixels = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  put("fuzz_image_bmp", "v5alpha.bmp", make_bmp(v5));
  bmp_layout core;
  core.width = 9, core.height = 2, core.bpp = 1, core.header = 12, core.palette = {0, 0xFFFFFF};
  core.pixels = {0xAA, 0x80, 0, 0, 0x55, 0x00, 0, 0};
  put("fuzz_image_bmp", "core1.bmp", make_bmp(core));

  bmp_layout icon;
  icon.width = 4, icon.height = 8, icon.bpp = 32, icon.file_header = false;
  icon.pixels.assign(4 * 4 * 4, 0x80);
  icon.pixels.resize(icon.pixels.size() + 16, 0x0F);
  bmp_layout icon4;
  icon4.width = 3, icon4.height = 4, icon4.bpp = 4, icon4.file_header = false, icon4.colours_used = 2;
  icon4.palette = {0x0000FF, 0xFFFF00};
  icon4.pixels = {0x01, 0x10, 0, 0, 0x10, 0x01, 0, 0, 0x40, 0, 0, 0, 0xA0, 0, 0, 0};
  put("fuzz_image_ico", "two.ico", make_ico({make_bmp(icon), make_bmp(icon4)}));
  put("fuzz_image_ico", "png.cur", make_ico({make_png(5, 5, px, true)}, 2));

  put("fuzz_image_jpeg", "colour.jpg", make_jpeg(8, 8, px, 75));
  put("fuzz_image_jpeg", "grey.jpg", make_jpeg(8, 8, px, 50, true));
  put("fuzz_image_png", "rgba.png", make_png(8, 8, px, true));
  put("fuzz_image_png", "rgb.png", make_png(4, 4, px, false));
  std::vector<uint8_t> idx(24);
  for (size_t i = 0; i < idx.size(); ++i) idx[i] = uint8_t(i % 3);
  put("fuzz_image_gif", "small.gif", make_gif(6, 4, idx, {0x000000, 0xFF8000, 0x0080FF}, 2));
}
