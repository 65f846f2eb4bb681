// The software drawing context: clipping, lines, fills, copies and text on 32-bit pixels.
#include "media/dc.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "media/text.h"

namespace {

RECT intersect(RECT a, RECT b) {
  RECT r{std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
         std::min(a.bottom, b.bottom)};
  if (r.right < r.left) r.right = r.left;
  if (r.bottom < r.top) r.bottom = r.top;
  return r;
}

bool empty(const RECT &r) { return r.right <= r.left || r.bottom <= r.top; }

// One destination index's share of the source under area averaging: `count` source indices
// from `first`, with integer weights summing to the source length of the stretch.
struct contribution {
  int first = 0;
  int count = 0;
  size_t weights = 0;  // offset into the weight table
};

// Area-averaging tables for mapping n source pixels onto m destination pixels. Destination i
// covers [i * n, (i + 1) * n) and source j covers [j * m, (j + 1) * m), both in units of
// 1 / m source pixels, so the overlaps are exact integers that sum to n.
void area_table(int n, int m, std::vector<contribution> &out, std::vector<uint32_t> &weights) {
  out.resize(size_t(m));
  weights.clear();
  for (int i = 0; i < m; ++i) {
    const int64_t lo = int64_t(i) * n, hi = int64_t(i + 1) * n;
    const int j0 = int(lo / m), j1 = int((hi - 1) / m);
    contribution &c = out[size_t(i)];
    c.first = j0;
    c.count = j1 - j0 + 1;
    c.weights = weights.size();
    for (int j = j0; j <= j1; ++j) {
      const int64_t a = std::max(lo, int64_t(j) * m), b = std::min(hi, int64_t(j + 1) * m);
      weights.push_back(uint32_t(b - a));
    }
  }
}

}  // namespace

dc::dc(pix32 *b, int w, int h, int p)
    : bits(b), width(std::max(w, 0)), height(std::max(h, 0)), pitch(p), clip{0, 0, width, height} {}

dc::~dc() = default;

// ---- State ----

RECT dc::SetClipRect(RECT r) {
  clip = intersect(r, RECT{0, 0, width, height});
  return clip;
}

void dc::ResetClip() { clip = RECT{0, 0, width, height}; }

pen dc::SelectPen(const pen &p) {
  pen old = curpen;
  curpen = p;
  return old;
}

brush dc::SelectBrush(const brush &b) {
  brush old = curbrush;
  curbrush = b;
  return old;
}

font dc::SelectFont(const font &f) {
  font old = curfont;
  curfont = f;
  return old;
}

COLORREF dc::SetTextColor(COLORREF c) {
  std::swap(textcolour, c);
  return c;
}

COLORREF dc::SetBkColor(COLORREF c) {
  std::swap(bkcolour, c);
  return c;
}

int dc::SetBkMode(int mode) {
  if (mode != TRANSPARENT && mode != OPAQUE) return 0;
  std::swap(bkmode, mode);
  return mode;
}

int dc::SetStretchBltMode(int mode) {
  if (mode != COLORONCOLOR && mode != HALFTONE) return 0;
  std::swap(stretchmode, mode);
  return mode;
}

bool dc::SetBrushOrgEx(int x, int y, POINT *previous) {
  if (previous) *previous = brushorg;
  brushorg = POINT{x, y};
  return true;
}

uint8_t dc::SetDrawAlpha(uint8_t a) {
  std::swap(drawalpha, a);
  return a;
}

pix32 dc::colour(COLORREF c) const { return pix32(uint8_t(c), uint8_t(c >> 8), uint8_t(c >> 16), drawalpha); }

// ---- Pixels, lines and areas ----

void dc::fill_span(int x0, int x1, int y, pix32 p) {
  if (y < clip.top || y >= clip.bottom) return;
  x0 = std::max(x0, clip.left);
  x1 = std::min(x1, clip.right);
  if (x1 > x0) std::fill(bits + size_t(pitch) * size_t(y) + x0, bits + size_t(pitch) * size_t(y) + x1, p);
}

void dc::plot(int x, int y, pix32 p, int w) {
  if (w <= 1) {
    if (x >= clip.left && x < clip.right && y >= clip.top && y < clip.bottom)
      bits[size_t(pitch) * size_t(y) + size_t(x)] = p;
    return;
  }
  // A wide pen stamps a w x w square centred on the point.
  const int x0 = x - w / 2, y0 = y - w / 2;
  for (int yy = y0; yy < y0 + w; ++yy) fill_span(x0, x0 + w, yy, p);
}

void dc::SetPixel(int x, int y, COLORREF c) { plot(x, y, colour(c), 1); }

COLORREF dc::GetPixel(int x, int y) const {
  if (x < 0 || y < 0 || x >= width || y >= height) return 0xFFFFFFFF;
  const pix32 p = bits[size_t(pitch) * size_t(y) + size_t(x)];
  return RGB(p.r, p.g, p.b);
}

bool dc::MoveTo(int x, int y, POINT *previous) {
  if (previous) *previous = position;
  position = POINT{x, y};
  return true;
}

bool dc::LineTo(int x, int y) {
  const POINT from = position;
  position = POINT{x, y};
  if (curpen.null) return true;
  const pix32 p = colour(curpen.colour);
  const int w = std::max(curpen.width, 1);
  // Bresenham from `from` towards (x, y), leaving out the end point. Work in 64 bits so far
  // away end points cannot overflow the error term.
  int64_t x0 = from.x, y0 = from.y;
  const int64_t dx = std::llabs(int64_t(x) - x0), dy = -std::llabs(int64_t(y) - y0);
  const int sx = x0 < x ? 1 : -1, sy = y0 < y ? 1 : -1;
  int64_t err = dx + dy;
  // A line whose bounding box misses the clip (widened by the pen) draws nothing.
  const int64_t margin = w;
  if (std::max<int64_t>(x0, x) < clip.left - margin || std::min<int64_t>(x0, x) >= clip.right + margin ||
      std::max<int64_t>(y0, y) < clip.top - margin || std::min<int64_t>(y0, y) >= clip.bottom + margin)
    return true;
  while (x0 != x || y0 != y) {
    // A line only moves one way: once it has left the clip box in its direction of travel, no
    // later point can come back into it.
    if ((sx > 0 ? x0 >= clip.right + margin : x0 < clip.left - margin) ||
        (sy > 0 ? y0 >= clip.bottom + margin : y0 < clip.top - margin))
      break;
    plot(int(x0), int(y0), p, w);
    const int64_t e2 = 2 * err;
    if (e2 >= dy) {
      err += dy;
      x0 += sx;
    }
    if (e2 <= dx) {
      err += dx;
      y0 += sy;
    }
  }
  return true;
}

int dc::FillRect(RECT r, const brush &b) {
  if (b.null) return 1;
  const pix32 p = colour(b.colour);
  r = intersect(r, clip);
  for (int y = r.top; y < r.bottom; ++y) fill_span(r.left, r.right, y, p);
  return 1;
}

int dc::FillRect(RECT r, COLORREF c) { return FillRect(r, brush{c, false}); }

bool dc::Rectangle(int left, int top, int right, int bottom) {
  if (right < left) std::swap(left, right);
  if (bottom < top) std::swap(top, bottom);
  if (right - left < 1 || bottom - top < 1) return true;
  const int w = curpen.null ? 0 : std::max(curpen.width, 1);
  FillRect(RECT{left + w, top + w, right - w, bottom - w}, curbrush);
  if (w > 0) {
    const pix32 p = colour(curpen.colour);
    const int t = std::min(w, bottom - top), l = std::min(w, right - left);
    for (int y = top; y < top + t; ++y) fill_span(left, right, y, p);
    for (int y = bottom - t; y < bottom; ++y) fill_span(left, right, y, p);
    for (int y = top + t; y < bottom - t; ++y) {
      fill_span(left, left + l, y, p);
      fill_span(right - l, right, y, p);
    }
  }
  return true;
}

// ---- Copies ----

bool dc::BitBlt(int x, int y, int w, int h, const dc *src, int sx, int sy, uint32_t) {
  if (!src || w <= 0 || h <= 0) return false;
  // Clip the destination, then the source, moving both together.
  RECT d = intersect(RECT{x, y, int(std::min<int64_t>(int64_t(x) + w, INT32_MAX)),
                          int(std::min<int64_t>(int64_t(y) + h, INT32_MAX))},
                     clip);
  const int64_t ox = int64_t(sx) - x, oy = int64_t(sy) - y;  // source = destination + offset
  d.left = int(std::max<int64_t>(d.left, -ox));
  d.top = int(std::max<int64_t>(d.top, -oy));
  d.right = int(std::min<int64_t>(d.right, src->width - ox));
  d.bottom = int(std::min<int64_t>(d.bottom, src->height - oy));
  if (empty(d)) return true;
  const size_t bytes = size_t(d.right - d.left) * sizeof(pix32);
  // memmove: source and destination may be the same pixels.
  if (oy < 0) {
    for (int row = d.bottom - 1; row >= d.top; --row)
      std::memmove(bits + size_t(pitch) * size_t(row) + d.left,
                   src->bits + size_t(src->pitch) * size_t(row + oy) + size_t(d.left + ox), bytes);
  } else {
    for (int row = d.top; row < d.bottom; ++row)
      std::memmove(bits + size_t(pitch) * size_t(row) + d.left,
                   src->bits + size_t(src->pitch) * size_t(row + oy) + size_t(d.left + ox), bytes);
  }
  return true;
}

bool dc::StretchBlt(int x, int y, int w, int h, const dc *src, int sx, int sy, int sw, int sh, uint32_t) {
  if (!src || w <= 0 || h <= 0 || sw <= 0 || sh <= 0 || src->width <= 0 || src->height <= 0) return false;
  const RECT d = intersect(RECT{x, y, int(std::min<int64_t>(int64_t(x) + w, INT32_MAX)),
                                int(std::min<int64_t>(int64_t(y) + h, INT32_MAX))},
                           clip);
  if (empty(d)) return true;
  auto srcx = [&](int64_t j) { return size_t(std::clamp<int64_t>(sx + j, 0, src->width - 1)); };
  auto srcrow = [&](int64_t j) {
    return src->bits + size_t(src->pitch) * size_t(std::clamp<int64_t>(sy + j, 0, src->height - 1));
  };
  if (w == sw && h == sh) {
    // Same size: a straight copy in either mode (reads clamped like any stretch).
    for (int row = d.top; row < d.bottom; ++row) {
      const pix32 *s = srcrow(row - y);
      pix32 *o = bits + size_t(pitch) * size_t(row);
      for (int col = d.left; col < d.right; ++col) o[col] = s[srcx(col - x)];
    }
    return true;
  }
  if (stretchmode != HALFTONE) {
    for (int row = d.top; row < d.bottom; ++row) {
      const pix32 *s = srcrow(int64_t(row - y) * sh / h);
      pix32 *o = bits + size_t(pitch) * size_t(row);
      for (int col = d.left; col < d.right; ++col) o[col] = s[srcx(int64_t(col - x) * sw / w)];
    }
    return true;
  }
  // Area average, separable: each destination row sums its source rows by vertical weight
  // into an accumulator row, then each destination pixel sums accumulator columns by
  // horizontal weight. Weights are exact overlaps, so the result is the true box average.
  thread_local std::vector<contribution> cols, rows;
  thread_local std::vector<uint32_t> colw, roww;
  thread_local std::vector<uint32_t> acc;
  area_table(sw, w, cols, colw);
  area_table(sh, h, rows, roww);
  const contribution &c0 = cols[size_t(d.left - x)], &c1 = cols[size_t(d.right - 1 - x)];
  const int j0 = c0.first, j1 = c1.first + c1.count;  // source columns needed
  acc.resize(size_t(j1 - j0) * 4);
  const uint64_t total = uint64_t(sw) * uint64_t(sh);
  for (int row = d.top; row < d.bottom; ++row) {
    const contribution &rc = rows[size_t(row - y)];
    std::fill(acc.begin(), acc.end(), 0u);
    for (int k = 0; k < rc.count; ++k) {
      const uint32_t wy = roww[rc.weights + size_t(k)];
      const pix32 *s = srcrow(rc.first + k);
      uint32_t *a = acc.data();
      for (int j = j0; j < j1; ++j, a += 4) {
        const pix32 p = s[srcx(j)];
        a[0] += p.b * wy;
        a[1] += p.g * wy;
        a[2] += p.r * wy;
        a[3] += p.a * wy;
      }
    }
    pix32 *o = bits + size_t(pitch) * size_t(row);
    for (int col = d.left; col < d.right; ++col) {
      const contribution &cc = cols[size_t(col - x)];
      uint64_t sum[4] = {0, 0, 0, 0};
      for (int k = 0; k < cc.count; ++k) {
        const uint64_t wx = colw[cc.weights + size_t(k)];
        const uint32_t *a = acc.data() + size_t(cc.first + k - j0) * 4;
        for (int ch = 0; ch < 4; ++ch) sum[ch] += a[ch] * wx;
      }
      o[col] = pix32(uint8_t((sum[2] + total / 2) / total), uint8_t((sum[1] + total / 2) / total),
                     uint8_t((sum[0] + total / 2) / total), uint8_t((sum[3] + total / 2) / total));
    }
  }
  return true;
}

// ---- Text ----

bool dc::GetTextMetrics(textmetric *tm) { return textengine::Metrics(curfont, tm); }

bool dc::GetTextExtentPoint32(const char *text, int len, SIZE *size) {
  textmetric tm;
  int w = 0;
  if (!textengine::Metrics(curfont, &tm) || !textengine::Measure(curfont, text, len, &w)) return false;
  if (size) *size = SIZE{w, tm.height};
  return true;
}

bool dc::TextOut(int x, int y, const char *text, int len) {
  textmetric tm;
  if (!text || !textengine::Metrics(curfont, &tm)) return false;
  if (bkmode == OPAQUE) {
    int w = 0;
    textengine::Measure(curfont, text, len, &w);
    FillRect(RECT{x, y, x + w, y + tm.height}, bkcolour);
  }
  const pix32 ink = colour(textcolour);
  const int baseline = y + tm.ascent;
  const RECT cl = clip;
  const int advance = textengine::Render(curfont, text, len, x, baseline, [&](const textengine::coverage &g) {
    const int gx0 = std::max(g.x, int(cl.left)), gx1 = std::min(g.x + g.w, int(cl.right));
    const int gy0 = std::max(g.y, int(cl.top)), gy1 = std::min(g.y + g.h, int(cl.bottom));
    for (int yy = gy0; yy < gy1; ++yy) {
      const uint8_t *cov = g.alpha + size_t(yy - g.y) * size_t(g.w) - g.x;
      pix32 *o = bits + size_t(pitch) * size_t(yy);
      for (int xx = gx0; xx < gx1; ++xx) {
        const int c = cov[xx];
        if (c == 0) continue;
        pix32 &d = o[xx];
        if (c == 255) {
          d = ink;
          continue;
        }
        // Coverage blend, rounded: (ink * c + d * (255 - c)) / 255.
        auto lerp = [c](int i, int v) { return uint8_t((i * c + v * (255 - c) + 127) / 255); };
        d = pix32(lerp(ink.r, d.r), lerp(ink.g, d.g), lerp(ink.b, d.b), lerp(ink.a, d.a));
      }
    }
  });
  if (advance < 0) return false;
  if (curfont.underline && advance > 0) {
    int offset = 1, thick = 1;
    textengine::Underline(curfont, &offset, &thick);
    for (int yy = baseline + offset; yy < baseline + offset + thick; ++yy) fill_span(x, x + advance, yy, ink);
  }
  return true;
}

int dc::DrawText(const char *text, int len, RECT *r, uint32_t flags) {
  if (!text || !r) return 0;
  textmetric tm;
  if (!textengine::Metrics(curfont, &tm)) return 0;
  const int n = len < 0 ? int(std::strlen(text)) : len;
  const int boxw = r->right - r->left;
  const int lineh = tm.height + tm.linegap;
  auto measure = [&](int from, int to) {
    int w = 0;
    textengine::Measure(curfont, text + from, to - from, &w);
    return w;
  };
  // Break into lines: at '\n' (unless single line) and, with DT_WORDBREAK, before a word that
  // would run past the right edge.
  struct span {
    int from, to;
  };
  std::vector<span> lines;
  if (flags & DT_SINGLELINE) {
    lines.push_back({0, n});
  } else {
    int start = 0;
    for (int i = 0; i <= n; ++i) {
      if (i < n && text[i] != '\n') continue;
      int end = i;
      if (end > start && text[end - 1] == '\r') --end;
      if (!(flags & DT_WORDBREAK)) {
        lines.push_back({start, end});
      } else {
        if (start == end) lines.push_back({start, end});
        int ls = start;
        while (ls < end) {
          // The longest run of whole words that fits; a single word too long stands alone.
          int best = -1, first = -1;
          for (int k = ls + 1; k <= end; ++k) {
            if (k < end && text[k] != ' ') continue;
            if (first < 0) first = k;
            if (measure(ls, k) > boxw) break;
            best = k;
          }
          if (best < 0) best = first;
          lines.push_back({ls, best});
          ls = best;
          while (ls < end && text[ls] == ' ') ++ls;
        }
      }
      start = i + 1;
    }
  }
  int textw = 0;
  for (const span &s : lines) textw = std::max(textw, measure(s.from, s.to));
  const int texth = int(lines.size()) * tm.height + std::max(0, int(lines.size()) - 1) * tm.linegap;
  if (flags & DT_CALCRECT) {
    r->right = r->left + textw;
    r->bottom = r->top + texth;
    return texth;
  }
  int y = r->top;
  if (flags & DT_SINGLELINE) {
    if (flags & DT_VCENTER)
      y = r->top + (r->bottom - r->top - tm.height) / 2;
    else if (flags & DT_BOTTOM)
      y = r->bottom - tm.height;
  }
  const RECT saved = clip;
  if (!(flags & DT_NOCLIP)) clip = intersect(clip, *r);
  for (const span &s : lines) {
    const int w = measure(s.from, s.to);
    int x = r->left;
    if (flags & DT_CENTER)
      x = r->left + (boxw - w) / 2;
    else if (flags & DT_RIGHT)
      x = r->right - w;
    TextOut(x, y, text + s.from, s.to - s.from);
    y += lineh;
  }
  clip = saved;
  return texth;
}
