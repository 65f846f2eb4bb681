// Image files written by the tests: BMP, ICO and WMF by hand, JPEG, PNG and GIF by libraries.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "media/pix32.h"

using bytes = std::vector<uint8_t>;

// A BMP picture: pixel data exactly as stored in the file (rows bottom-up unless height < 0).
struct bmp_layout {
  int width = 1, height = 1, bpp = 24;
  uint32_t compression = 0;
  uint32_t header = 40;             // 12, 40, 108, 124
  std::vector<uint32_t> palette{};  // 0x00RRGGBB
  uint32_t colours_used = 0;
  uint32_t masks[4] = {0, 0, 0, 0};  // after a 40-byte header for bit fields, or inside V4/V5
  bytes pixels{};
  bool file_header = true;  // false: a packed DIB
};
bytes make_bmp(const bmp_layout &s);

// An icon directory of the given images (DIBs without file header, or PNG files); type 1 icon, 2 cursor.
bytes make_ico(const std::vector<bytes> &images, int type = 1);

// A JPEG of w x h RGB pixels (row-major, top-down).
bytes make_jpeg(int w, int h, const std::vector<pix32> &pixels, int quality, bool grey = false);
// A PNG of w x h pixels, with or without an alpha channel.
bytes make_png(int w, int h, const std::vector<pix32> &pixels, bool alpha);
// A GIF of w x h pixels from a palette of at most 256 colours, entry `transparent` (or -1) transparent.
bytes make_gif(int w, int h, const std::vector<uint8_t> &indices, const std::vector<uint32_t> &palette,
               int transparent);
// A placeable metafile of w x h units at 96 per inch filled with one solid red rectangle.
// A red rectangle over the whole w x h picture (96 units per inch), with a window extent of
// `units` picture units each, outlined with a black pen `pen` units wide (none when negative).
bytes make_wmf(int w, int h, int pen = -1, int units = 1);
