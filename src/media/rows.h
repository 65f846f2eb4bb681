// for_rows: the one row-walking helper every pixel operation goes through.
//
// It hands the operation bands of whole rows [y0, y1). Today the band is the whole range, run
// inline; splitting into bands for threads happens here and nowhere else.
#pragma once

#include "core/platform.h"

template <class Fn>
inline void for_rows(int y0, int y1, Fn &&fn) {
  if (y1 > y0) fn(y0, y1);
}

template <class Fn>
inline void for_rows(const RECT &r, Fn &&fn) {
  if (r.right > r.left) for_rows(r.top, r.bottom, fn);
}

// Any record with width, height, pitch and bits (surf, KORSurface, surf32).
template <class Frame>
inline auto *row_of(const Frame &f, int y) {
  return f.bits + static_cast<size_t>(f.pitch) * static_cast<size_t>(y);
}

// The part of r that lies on the frame. Rectangles inside it are unchanged; the clip only keeps
// a wrong caller from writing outside the pixel block.
template <class Frame>
inline RECT clip_to(const Frame &f, RECT r) {
  if (r.left < 0) r.left = 0;
  if (r.top < 0) r.top = 0;
  if (r.right > f.width) r.right = f.width;
  if (r.bottom > f.height) r.bottom = f.height;
  return r;
}

// The first x in [lo, hi) where pred holds, for a pred that holds from some x on (hi when it
// never does), by bisection: where a row's pixels fall into runs in a known order (a ramp's
// levels, the sides of a border), the runs' ends are found without visiting every pixel.
template <class Pred>
inline int first_where(int lo, int hi, Pred pred) {
  while (lo < hi) {
    const int mid = lo + (hi - lo) / 2;
    if (pred(mid))
      hi = mid;
    else
      lo = mid + 1;
  }
  return lo;
}
