// Filling and outlining small polygons row by row on the drawing context.
#include "core/poligon.h"

#include <algorithm>
#include <cmath>

#include "media/dc.h"

poligon::poligon(std::initializer_list<POINT> list) {
  for (POINT p : list) Add(p);
}

bool poligon::Add(POINT p) {
  if (count >= kMaxPoints) return false;
  points[count++] = p;
  return true;
}

void poligon::Move(int dx, int dy) {
  for (int i = 0; i < count; ++i) {
    points[i].x += dx;
    points[i].y += dy;
  }
}

RECT poligon::Bounds() const {
  if (!count) return RECT{0, 0, 0, 0};
  RECT r{points[0].x, points[0].y, points[0].x, points[0].y};
  for (int i = 1; i < count; ++i) {
    r.left = std::min(r.left, points[i].x);
    r.top = std::min(r.top, points[i].y);
    r.right = std::max(r.right, points[i].x);
    r.bottom = std::max(r.bottom, points[i].y);
  }
  ++r.right;
  ++r.bottom;
  return r;
}

int poligon::Fill(HDC hdc, COLORREF colour) const {
  if (!hdc || count < 3) return 0;
  const RECT b = Bounds();
  int covered = 0;
  double cross[kMaxPoints];
  for (int y = b.top; y < b.bottom; ++y) {
    // Where the edges cross this row's pixel centres; pairs of crossings bound the spans inside.
    const double cy = y + 0.5;
    int n = 0;
    for (int i = 0; i < count; ++i) {
      const POINT a = points[i], c = points[(i + 1) % count];
      if ((a.y <= cy) == (c.y <= cy)) continue;
      cross[n++] = a.x + (cy - a.y) * double(c.x - a.x) / double(c.y - a.y);
    }
    std::sort(cross, cross + n);
    for (int k = 0; k + 1 < n; k += 2) {
      // Pixel x is inside when its centre x + 0.5 lies within [cross[k], cross[k + 1]).
      const int x0 = int(std::ceil(cross[k] - 0.5)), x1 = int(std::ceil(cross[k + 1] - 0.5));
      if (x1 <= x0) continue;
      hdc->FillRect(RECT{x0, y, x1, y + 1}, colour);
      covered += x1 - x0;
    }
  }
  return covered;
}

void poligon::Outline(HDC hdc) const {
  if (!hdc || count < 2) return;
  hdc->MoveTo(points[count - 1].x, points[count - 1].y);
  for (int i = 0; i < count; ++i) hdc->LineTo(points[i].x, points[i].y);
}

poligon poligon::Triangle(RECT r, direction tip) {
  const int cx = (r.left + r.right) / 2, cy = (r.top + r.bottom) / 2;
  switch (tip) {
    case LEFT: return poligon{{r.right, r.top}, {r.right, r.bottom}, {r.left, cy}};
    case RIGHT: return poligon{{r.left, r.top}, {r.left, r.bottom}, {r.right, cy}};
    case UP: return poligon{{r.left, r.bottom}, {r.right, r.bottom}, {cx, r.top}};
    case DOWN: break;
  }
  return poligon{{r.left, r.top}, {r.right, r.top}, {cx, r.bottom}};
}
