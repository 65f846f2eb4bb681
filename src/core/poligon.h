// poligon: a small polygon filled or outlined on the drawing context, for the interface's symbols
// (the direction marks of buttons, the arrow of a drop-down).
#pragma once

#include <initializer_list>

#include "core/platform.h"

class poligon {
 public:
  static constexpr int kMaxPoints = 16;
  enum direction { LEFT, RIGHT, UP, DOWN };

  poligon() = default;
  poligon(std::initializer_list<POINT> points);
  // Appends a corner; false when kMaxPoints are held.
  bool Add(POINT p);
  void Reset() { count = 0; }
  int Count() const { return count; }
  POINT Point(int i) const { return points[i]; }
  void Move(int dx, int dy);
  // The smallest rectangle holding every corner (right and bottom exclusive).
  RECT Bounds() const;
  // Fills the pixels whose centres lie inside (even-odd rule) with `colour`; the number of
  // pixels covered (within the context's clip or not).
  int Fill(HDC hdc, COLORREF colour) const;
  // Draws the closed outline with the selected pen.
  void Outline(HDC hdc) const;
  // An isosceles triangle filling r, its tip at the middle of the side `tip` points to.
  static poligon Triangle(RECT r, direction tip);

 private:
  POINT points[kMaxPoints]{};
  int count = 0;
};
