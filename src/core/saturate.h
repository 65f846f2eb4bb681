// Narrowing to int that holds at the int range's ends instead of overflowing, for values a damaged
// file or a long edit can push past it.
#pragma once

#include <cstdint>

inline int32_t Saturate(int64_t v) {
  return v > INT32_MAX ? INT32_MAX : v < INT32_MIN ? INT32_MIN : static_cast<int32_t>(v);
}

// Truncation toward zero, held at the int range; a value that is no number gives 0.
inline int32_t SaturateToInt(double v) {
  if (v != v) return 0;
  if (v >= 2147483647.0) return INT32_MAX;
  if (v <= -2147483648.0) return INT32_MIN;
  return static_cast<int32_t>(v);
}
