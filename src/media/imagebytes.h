// Bounds-checked little- and big-endian reads for the image decoders.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/byteorder.h"
#include "media/imagecodecs.h"

namespace imagebytes {

// True when [off, off + n) lies inside a buffer of `size` bytes (no overflow).
inline bool fits(size_t size, uint64_t off, uint64_t n) { return off <= size && n <= size - off; }

using byteorder::be32;
using byteorder::le16;
using byteorder::le32;

// Whether a picture of w x h lies within the decoders' caps.
inline bool size_ok(int64_t w, int64_t h) {
  return w >= 1 && h >= 1 && w <= IMAGE_MAX_SIDE && h <= IMAGE_MAX_SIDE && w * h <= IMAGE_MAX_PIXELS;
}

}  // namespace imagebytes
