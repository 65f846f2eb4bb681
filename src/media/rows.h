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
