// Integer rectangle helpers and the clip-time text forms.
#include <cmath>
#include <cstdio>

#include "core/trap.h"
#include "core/vemo.h"

bool vemo::CliptimeToString(int t, char *dst) {
  std::sprintf(dst, "%f", static_cast<double>(static_cast<float>(t) / 1000.0f));
  return true;
}

bool vemo::StringToCliptime(const char *s, int *t) {
  float seconds = 0.0f;
  if (!s || std::sscanf(s, "%f", &seconds) != 1) return false;
  // Single-precision product, so "1.8" gives 1800 and not the 1799 a double product of the
  // float 1.7999999 would give.
  const float ms = seconds * 1000.0f;
  // Out-of-range text saturates instead of overflowing the int.
  if (!(ms < 2147483647.0f)) *t = INT32_MAX;
  else if (!(ms > -2147483648.0f)) *t = INT32_MIN;
  else *t = static_cast<int>(ms);
  return true;
}

int vemo::PointInRect(const POINT *p, const RECT *r) {
  return p->x >= r->left && p->x < r->right && p->y >= r->top && p->y < r->bottom ? 1 : 0;
}

bool vemo::recrec(RECT &r) {
  r.left = 0;
  r.right = -1;
  return true;
}

int vemo::Move(RECT *r, int dx, int dy) {
  r->left += dx;
  r->right += dx;
  r->top += dy;
  r->bottom += dy;
  return 1;
}

RECT vemo::SplitTop(RECT *r, int h) {
  RECT strip = *r;
  strip.bottom = r->top + h < r->bottom ? r->top + h : r->bottom;
  r->top = strip.bottom;
  return strip;
}

RECT vemo::SplitBottom(RECT *r, int h) {
  RECT strip = *r;
  strip.top = r->bottom - h > r->top ? r->bottom - h : r->top;
  r->bottom = strip.top;
  return strip;
}

RECT vemo::SplitLeft(RECT *r, int w) {
  RECT strip = *r;
  strip.right = r->left + w < r->right ? r->left + w : r->right;
  r->left = strip.right;
  return strip;
}

RECT vemo::SplitRight(RECT *r, int w) {
  RECT strip = *r;
  strip.left = r->right - w > r->left ? r->right - w : r->left;
  r->right = strip.left;
  return strip;
}

RECT vemo::SplitCloseButton(RECT *r, int s) {
  RECT b;
  b.left = r->right - s > r->left ? r->right - s : r->left;
  b.top = r->top;
  b.right = r->right;
  b.bottom = r->top + s < r->bottom ? r->top + s : r->bottom;
  return b;
}

RECT vemo::ChildRectY(RECT r, int from, int to, int parts) {
  if (parts == 0) vemo_trap("ChildRectY with 0 parts");
  const int height = r.bottom - r.top;
  RECT out = r;
  out.top = r.top + height * from / parts;
  out.bottom = r.top + height * to / parts;
  return out;
}

RECT vemo::ChildRectX(RECT r, int from, int to, int parts) {
  if (parts == 0) vemo_trap("ChildRectX with 0 parts");
  const int width = r.right - r.left;
  RECT out = r;
  out.left = r.left + width * from / parts;
  out.right = r.left + width * to / parts;
  return out;
}

RECT vemo::SplitAtX(RECT *r, int x) {
  if (x < r->left) x = r->left;
  if (x > r->right) x = r->right;
  RECT before = *r;
  before.right = x;
  r->left = x;
  return before;
}

RECT vemo::SplitAtY(RECT *r, int y) {
  if (y < r->top) y = r->top;
  if (y > r->bottom) y = r->bottom;
  RECT before = *r;
  before.bottom = y;
  r->top = y;
  return before;
}

RECT vemo::Reduce(RECT r, int d) { return RECT{r.left + d, r.top + d, r.right - d, r.bottom - d}; }

RECT vemo::And(RECT a, RECT b) {
  RECT out{a.left > b.left ? a.left : b.left, a.top > b.top ? a.top : b.top,
           a.right < b.right ? a.right : b.right, a.bottom < b.bottom ? a.bottom : b.bottom};
  if (!checkrec(out)) recrec(out);
  return out;
}

RECT vemo::RCFROMCTR(POINT c, int w, int h) {
  return RECT{c.x - w / 2, c.y - h / 2, c.x - w / 2 + w, c.y - h / 2 + h};
}

namespace {
int MapToSpan(double v, double lo, double hi, int from, int to) {
  if (!(hi > lo)) return from;
  return from + static_cast<int>(std::lround((v - lo) / (hi - lo) * (to - from)));
}
double MapFromSpan(int p, double lo, double hi, int from, int to) {
  if (to == from) return lo;
  double v = lo + (p - from) * (hi - lo) / (to - from);
  return v < lo ? lo : v > hi ? hi : v;
}
}  // namespace

int vemo::MapXInRect(double v, double lo, double hi, RECT r) { return MapToSpan(v, lo, hi, r.left, r.right - 1); }
int vemo::MapYInRect(double v, double lo, double hi, RECT r) {
  // Rows grow downward while values grow upward.
  return MapToSpan(v, lo, hi, r.bottom - 1, r.top);
}
double vemo::Map2RectX(int x, double lo, double hi, RECT r) { return MapFromSpan(x, lo, hi, r.left, r.right - 1); }
double vemo::Map2RectY(int y, double lo, double hi, RECT r) { return MapFromSpan(y, lo, hi, r.bottom - 1, r.top); }

void vemo::rot2D(double &x, double &y, double theta) {
  const double c = std::cos(theta), s = std::sin(theta);
  const double u = x * c - y * s;
  const double v = x * s + y * c;
  x = u;
  y = v;
}
