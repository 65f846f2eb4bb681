// Turning a variable's value into the byte or level an effect's pixel loop works with.
//
// Every conversion multiplies by 255.0 and truncates toward zero; the clamps differ by use. Out of
// range values (and NaN, taken as 0) never reach an integer conversion unclamped.
#pragma once

#include <cstdint>

namespace fxlevels {

// A colour or tolerance of a key: the value clamped to 0..1, times 255, truncated.
inline uint8_t ColourByte(double v) {
  if (!(v > 0.0)) return 0;
  if (v >= 1.0) return 255;
  return uint8_t(v * 255.0);
}

// An unsigned level: trunc(v * 255) with negatives taken as 0 and values above 255 as 255. The
// same numbers as ColourByte; kept apart because the two are named apart where they are used.
inline int UnsignedLevel(double v) { return ColourByte(v); }

// A signed level: trunc(v * 255) clamped to -255..255.
inline int SignedLevel(double v) {
  if (!(v == v)) return 0;
  if (v >= 1.0) return 255;
  if (v <= -1.0) return -255;
  return int(v * 255.0);
}

}  // namespace fxlevels
