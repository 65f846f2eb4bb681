// Bounds-checked little- and big-endian reads for the image decoders.
#pragma once

#include <cstddef>
#include <cstdint>

#include "media/imagecodecs.h"

namespace imagebytes {

// True when [off, off + n) lies inside a buffer of `size` bytes (no overflow).
inline bool fits(size_t size, uint64_t off, uint64_t n) { return off <= size && n <= size - off; }

inline uint16_t le16(const uint8_t *p) { return uint16_t(p[0] | (p[1] << 8)); }
inline uint32_t le32(const uint8_t *p) {
  return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}
inline uint32_t be32(const uint8_t *p) {
  return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | uint32_t(p[3]);
}

// Whether a picture of w x h lies within the decoders' caps.
inline bool size_ok(int64_t w, int64_t h) {
  return w >= 1 && h >= 1 && w <= IMAGE_MAX_SIDE && h <= IMAGE_MAX_SIDE && w * h <= IMAGE_MAX_PIXELS;
}

}  // namespace imagebytes
