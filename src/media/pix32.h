// One pixel: blue, green, red, alpha bytes in memory order, so a little-endian 32-bit word reads
// 0xAARRGGBB. Alpha 255 is opaque, 0 transparent; pixels are never premultiplied.
#pragma once

#include <cstdint>

struct pix32 {
  uint8_t b = 0;
  uint8_t g = 0;
  uint8_t r = 0;
  uint8_t a = 0;

  constexpr pix32() = default;
  constexpr pix32(uint8_t red, uint8_t green, uint8_t blue, uint8_t alpha = 0)
      : b(blue), g(green), r(red), a(alpha) {}

  // The pixel as the 0xAARRGGBB word it is in memory.
  constexpr uint32_t word() const {
    return uint32_t(b) | (uint32_t(g) << 8) | (uint32_t(r) << 16) | (uint32_t(a) << 24);
  }
  static constexpr pix32 from_word(uint32_t w) {
    return pix32(uint8_t(w >> 16), uint8_t(w >> 8), uint8_t(w), uint8_t(w >> 24));
  }
  friend constexpr bool operator==(const pix32 &x, const pix32 &y) {
    return x.b == y.b && x.g == y.g && x.r == y.r && x.a == y.a;
  }
};

static_assert(sizeof(pix32) == 4, "pix32 is four bytes");
