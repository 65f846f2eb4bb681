// The interlace effects: first field only, second field only, and the field blender.
#include "effects/interlace.h"

#include <algorithm>
#include <cstring>

#include "media/kernels.h"
#include "media/rows.h"
#include "media/surface.h"

namespace {

// Runs fn(surf, r, columns) for each even row r from the rectangle's top rounded down to even,
// while r < bottom, with the columns clipped to the surface.
template <class Fn>
int each_even_row(KORSurface *s, RECT rc, Fn &&fn) {
  surf a;
  if (!surface::SurfaceDataLock(s, &a)) return 0;
  const int left = std::max(rc.left, 0), right = std::min(rc.right, a.width);
  const int bottom = std::min(rc.bottom, a.height);
  if (right > left)
    for (int r = std::max(rc.top & ~1, 0); r < bottom; r += 2) fn(a, r, bottom, left, right);
  surface::SurfaceDataUnlock(&a);
  return 1;
}

void copy_row(const surf &a, int from, int to, int left, int right) {
  std::memcpy(row_of(a, to) + left, row_of(a, from) + left, size_t(right - left) * sizeof(pix32));
}

}  // namespace

effectInterlaceFFO::effectInterlaceFFO(clip *owner, vemowin *w, surface *s) {
  initEffect(owner, w, s);
  SetID(kType);
}

int effectInterlaceFFO::Process(KORSurface *, KORSurface *destination, RECT rc) {
  return each_even_row(destination, rc, [](const surf &a, int r, int bottom, int left, int right) {
    if (r < bottom - 1) copy_row(a, r, r + 1, left, right);
  });
}

effectInterlaceSFO::effectInterlaceSFO(clip *owner, vemowin *w, surface *s) {
  initEffect(owner, w, s);
  SetID(kType);
}

int effectInterlaceSFO::Process(KORSurface *, KORSurface *destination, RECT rc) {
  return each_even_row(destination, rc, [](const surf &a, int r, int bottom, int left, int right) {
    if (r < bottom - 1) copy_row(a, r + 1, r, left, right);
  });
}

effectInterlaceFB1::effectInterlaceFB1(clip *owner, vemowin *w, surface *s) {
  initEffect(owner, w, s);
  SetID(kType);
}

int effectInterlaceFB1::Process(KORSurface *, KORSurface *destination, RECT rc) {
  return each_even_row(destination, rc, [](const surf &a, int r, int bottom, int left, int right) {
    // Past the bottom the missing row below is the row itself; the last even row of an odd
    // count is its own mean and stays as it is.
    if (r + 1 >= bottom) return;
    const int below = r + 2 < bottom ? r + 2 : r + 1;
    kernels::mean_row(row_of(a, r) + left, row_of(a, below) + left, row_of(a, r + 1) + left, right - left);
  });
}
