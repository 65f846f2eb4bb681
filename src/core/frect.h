// frect: a rectangle with double edges, used for the animated source and destination
// rectangles, where 0..1 spans a picture and edges may lie outside it.
#pragma once

#include "core/vemo.h"

class frect : public vemo {
 public:
  double left = 0.0;
  double top = 0.0;
  double right = 0.0;
  double bottom = 0.0;

  frect() = default;
  frect(double l, double t, double r, double b) : left(l), top(t), right(r), bottom(b) {}

  // Nonzero when left < right and top < bottom.
  int Validate() const { return left < right && top < bottom; }
  // Nonzero when the rectangle overlaps the unit square.
  int CheckUnityAnd() const { return left < 1.0 && top < 1.0 && right > 0.0 && bottom > 0.0; }
  double Width() const { return right - left; }
  double Height() const { return bottom - top; }
  // The centre point.
  double CenterX() const { return (left + right) / 2.0; }
  double CenterY() const { return (top + bottom) / 2.0; }
  // Clips this rectangle to the unit square (no partner).
  int ClipToUnity();
  // The intersection with another rectangle; nonzero when it is not empty.
  int And(const frect &other);

  // Scales f onto a w x h pixel grid, truncating toward zero; nonzero when the result is a
  // non-empty rectangle with no negative edge.
  static int ScaleToUnity(const frect *f, int w, int h, RECT *out);
  // Clips a to the unit square and moves b's edges in proportion, so the part of b that
  // matches the kept part of a remains.
  static int ClipToUnity(frect *a, frect *b);
};
