// The neighbourhood walker of the matrix effects, its blur and edge kernels, and the column-sum
// paths that give the blur and the edge map the walker's bytes without refilling the record.
//
// The walker's record slides: away from the rectangle's left edge only its last column is read,
// the other columns are those of the last pixel that was filtered, even when that pixel lies
// several skipped (alpha 0) pixels back or on an earlier row. So a row depends on the rows
// before it and the walk stays one sequential pass. The fast paths keep that exactly by holding
// the record as a ring of columns: each filtered pixel pushes one column and drops the oldest.
#include "media/matrixwalk.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

#include "media/rows.h"

namespace {

inline pix32 *row(const surf32 *s, int y) { return row_of(*s, y); }

bool usable(const surf32 *s) { return s && s->bits && s->width > 0 && s->height > 0; }

RECT inside(const surf32 *a, const surf32 *b, RECT r) {
  r.left = std::max(r.left, 0);
  r.top = std::max(r.top, 0);
  r.right = std::min({r.right, a->width, b->width});
  r.bottom = std::min({r.bottom, a->height, b->height});
  return r;
}

int odd_size(int n) { return std::max(n | 1, 3); }

// Above this the record's sums could leave 32 bits; such sizes take the plain walk.
constexpr int kFastLimit = 1023;

inline void mix(pix32 &d, int b, int g, int r, int level) {
  const int keep = 255 - level;
  d.b = uint8_t((b * level + d.b * keep) >> 8);
  d.g = uint8_t((g * level + d.g * keep) >> 8);
  d.r = uint8_t((r * level + d.r * keep) >> 8);
}

// The three colours of a sum ride in one 64-bit word, 21 bits each: no sum over a record of at
// most kPackedLimit^2 pixels exceeds 255 * 90 * 90 < 2^21. Sums and differences are exact in
// the whole word as long as each colour's result is in range, whatever the order of the steps.
constexpr int kPackedLimit = 90;
constexpr uint64_t kLane = (uint64_t(1) << 21) - 1;

inline uint64_t pack(pix32 p) { return uint64_t(p.b) | uint64_t(p.g) << 21 | uint64_t(p.r) << 42; }

struct lanes {
  uint64_t b, g, r;
  explicit lanes(uint64_t v) : b(v & kLane), g((v >> 21) & kLane), r(v >> 42) {}
};

// Colour sums of a column or a record: three counters, or one packed word.
struct rgb {
  uint32_t b = 0, g = 0, r = 0;
  void add(pix32 p) {
    b += p.b;
    g += p.g;
    r += p.r;
  }
  void add(const rgb &o) {
    b += o.b;
    g += o.g;
    r += o.r;
  }
  void sub(const rgb &o) {
    b -= o.b;
    g -= o.g;
    r -= o.r;
  }
  void replace(pix32 out, pix32 in) {
    b = b - out.b + in.b;
    g = g - out.g + in.g;
    r = r - out.r + in.r;
  }
  uint32_t blue() const { return b; }
  uint32_t green() const { return g; }
  uint32_t red() const { return r; }
};

struct packed {
  uint64_t v = 0;
  void add(pix32 p) { v += pack(p); }
  void add(const packed &o) { v += o.v; }
  void sub(const packed &o) { v -= o.v; }
  void replace(pix32 out, pix32 in) { v += pack(in) - pack(out); }
  uint32_t blue() const { return uint32_t(v & kLane); }
  uint32_t green() const { return uint32_t((v >> 21) & kLane); }
  uint32_t red() const { return uint32_t(v >> 42); }
};

inline uint64_t diff(uint64_t a, uint64_t b) { return a > b ? a - b : b - a; }

// x / n for x < 2^28 as a multiplication and a shift, exact: with b = ceil(log2 n), k = 28 + b
// and m = floor(2^k / n) + 1, the error m * n - 2^k lies in (0, n], so x * m / 2^k exceeds x / n
// by less than 1/n and never reaches the next integer. x * m stays below 2^57.
struct divider {
  uint64_t m;
  int k;
  explicit divider(uint32_t n) {
    int b = 0;
    while ((uint64_t(1) << b) < n) ++b;
    k = 28 + b;
    m = (uint64_t(1) << k) / n + 1;
  }
  uint32_t operator()(uint64_t x) const { return uint32_t((x * m) >> k); }
};

// The source rows of the record for row y: y - H/2 + j clamped to the rectangle.
void window_rows(const surf32 *src, const RECT &c, int y, int H, std::vector<const pix32 *> &rows) {
  for (int j = 0; j < H; ++j) rows[size_t(j)] = row(src, std::clamp(y - H / 2 + j, c.top, c.bottom - 1));
}

// Blur: the record's column sums come from per-column vertical sums kept for the current row
// (one row leaves and one enters per step), the record's total from the ring.
template <class Sum>
void blur_fast(surf32 *src, surf32 *dst, const RECT &c, int W, int H, uint8_t level) {
  const int cw = c.right - c.left;
  std::vector<Sum> vertical(static_cast<size_t>(cw)), ring(static_cast<size_t>(W));
  std::vector<const pix32 *> rows(static_cast<size_t>(H));
  window_rows(src, c, c.top, H, rows);
  for (int j = 0; j < H; ++j)
    for (int x = 0; x < cw; ++x) vertical[size_t(x)].add(rows[size_t(j)][c.left + x]);
  Sum total;
  int oldest = 0;
  const divider mean(uint32_t(W) * uint32_t(H));
  for (int y = c.top; y < c.bottom; ++y) {
    if (y > c.top) {
      const pix32 *out = row(src, std::clamp(y - 1 - H / 2, c.top, c.bottom - 1)) + c.left;
      const pix32 *in = row(src, std::clamp(y + H / 2, c.top, c.bottom - 1)) + c.left;
      for (int x = 0; x < cw; ++x) vertical[size_t(x)].replace(out[x], in[x]);
    }
    const pix32 *s = row(src, y);
    pix32 *d = row(dst, y);
    for (int x = c.left; x < c.right; ++x) {
      if (s[x].a == 0) continue;
      if (x == c.left) {
        total = Sum();
        for (int i = 0; i < W; ++i) {
          ring[size_t(i)] = vertical[size_t(std::clamp(x - W / 2 + i, c.left, c.right - 1) - c.left)];
          total.add(ring[size_t(i)]);
        }
        oldest = 0;
      } else {
        const Sum &fresh = vertical[size_t(std::min(x + W / 2, c.right - 1) - c.left)];
        total.sub(ring[size_t(oldest)]);
        total.add(fresh);
        ring[size_t(oldest)] = fresh;
        if (++oldest == W) oldest = 0;
      }
      mix(d[x], int(mean(total.blue())), int(mean(total.green())), int(mean(total.red())), level);
    }
  }
}

// Edge map: each ring slot holds the prefix sums of its column over the record's rows, so the
// halves and triangles are sums of one or two prefix entries per column.
void edge_fast(surf32 *src, surf32 *dst, const RECT &c, int W, int H, uint8_t level) {
  const size_t stride = size_t(H) + 1;
  std::vector<uint64_t> ring(size_t(W) * stride);
  std::vector<const pix32 *> rows(static_cast<size_t>(H));
  // Per record column u: the prefix ends of the lower triangle (v >= u), the upper (v <= u) and
  // the two halves about the other diagonal (v >= W-u-1, v <= W-u-1).
  struct ends {
    int lower, upper, anti_low, anti_up;
  };
  std::vector<ends> at(static_cast<size_t>(W));
  for (int u = 0; u < W; ++u) {
    const int a = W - u - 1;
    at[size_t(u)] = {std::min(u, H), std::min(u, H - 1) + 1, std::min(a, H), std::min(a, H - 1) + 1};
  }
  const divider mean(uint32_t(W) * uint32_t(H));
  auto fill = [&](uint64_t *p, int sx) {
    p[0] = 0;
    for (int j = 0; j < H; ++j) p[j + 1] = p[j] + pack(rows[size_t(j)][sx]);
  };
  // The halves are kept as running sums over the ring: top and bottom change by the column
  // pushed and the one dropped; left and right also by the columns that cross the middle.
  uint64_t top = 0, bottom = 0, left = 0, right = 0;
  int oldest = 0;
  auto at_position = [&](int u) { return &ring[size_t((oldest + u) % W) * stride]; };
  for (int y = c.top; y < c.bottom; ++y) {
    window_rows(src, c, y, H, rows);
    const pix32 *s = row(src, y);
    pix32 *d = row(dst, y);
    for (int x = c.left; x < c.right; ++x) {
      if (s[x].a == 0) continue;
      if (x == c.left) {
        oldest = 0;
        top = bottom = left = right = 0;
        for (int i = 0; i < W; ++i) {
          uint64_t *p = &ring[size_t(i) * stride];
          fill(p, std::clamp(x - W / 2 + i, c.left, c.right - 1));
          top += p[H / 2 + 1];
          bottom += p[H] - p[H / 2];
          if (i <= W / 2) left += p[H];
          if (i >= W / 2) right += p[H];
        }
      } else {
        uint64_t *gone = &ring[size_t(oldest) * stride];
        // Before the shift: position 0 leaves, W/2 + 1 moves into the left half, W/2 leaves the
        // right half (for W = 3 those are positions 2 and 1).
        left = left - gone[H] + at_position(W / 2 + 1)[H];
        right -= at_position(W / 2)[H];
        top -= gone[H / 2 + 1];
        bottom -= gone[H] - gone[H / 2];
        fill(gone, std::min(x + W / 2, c.right - 1));
        top += gone[H / 2 + 1];
        bottom += gone[H] - gone[H / 2];
        right += gone[H];
        if (++oldest == W) oldest = 0;
      }
      uint64_t lower = 0, upper = 0, anti_low = 0, anti_up = 0;
      int slot = oldest;
      for (int u = 0; u < W; ++u) {
        const uint64_t *p = &ring[size_t(slot) * stride];
        if (++slot == W) slot = 0;
        const uint64_t all = p[H];
        const ends &e = at[size_t(u)];
        lower += all - p[e.lower];
        upper += p[e.upper];
        anti_low += all - p[e.anti_low];
        anti_up += p[e.anti_up];
      }
      const lanes t(top), b(bottom), l(left), r(right), lo(lower), up(upper), al(anti_low), au(anti_up);
      // The top red sum is taken over by the bottom one: that pair adds no red.
      const uint64_t strength = diff(t.g, b.g) + diff(t.b, b.b) + diff(l.r, r.r) + diff(l.g, r.g) +
                                diff(l.b, r.b) + diff(lo.r, up.r) + diff(lo.g, up.g) + diff(lo.b, up.b) +
                                diff(al.r, au.r) + diff(al.g, au.g) + diff(al.b, au.b);
      // The strength is at most 11 * 255 * W * H: limited first, so the divider's range holds.
      const int v =
          int(std::min<uint64_t>(mean(std::min<uint64_t>(strength, 255 * uint64_t(W) * H + 1)), 255));
      mix(d[x], v, v, v, level);
    }
  }
}

struct record_free {
  void operator()(matrixrecord *m) const { std::free(m); }
};

}  // namespace

int matrixwalk::Reference(surf32 *src, surf32 *dst, RECT r, int w, int h, matrixkernel kernel, void *extra,
                          unsigned char level) {
  if (!usable(src) || !usable(dst) || !kernel) return 0;
  const int W = odd_size(w), H = odd_size(h);
  const size_t cells = size_t(W) * size_t(H);
  if (cells > (size_t(1) << 28)) return 0;
  std::unique_ptr<matrixrecord, record_free> m(
      static_cast<matrixrecord *>(std::calloc(1, sizeof(matrixrecord) + cells * sizeof(pix32))));
  if (!m) return 0;
  m->width = W;
  m->height = H;
  m->extra = extra;
  pix32 *cell = m->pixels();
  const RECT c = inside(src, dst, r);
  for (int y = c.top; y < c.bottom; ++y) {
    const pix32 *s = row(src, y);
    pix32 *d = row(dst, y);
    for (int x = c.left; x < c.right; ++x) {
      if (s[x].a == 0) continue;
      for (int j = 0; j < H; ++j) {
        const pix32 *sr = row(src, std::clamp(y - H / 2 + j, c.top, c.bottom - 1));
        pix32 *rr = cell + size_t(j) * size_t(W);
        for (int i = 0; i < W; ++i)
          rr[i] = x > c.left && i < W - 1 ? rr[i + 1] : sr[std::clamp(x - W / 2 + i, c.left, c.right - 1)];
      }
      const pix32 k = kernel(m.get());
      mix(d[x], k.b, k.g, k.r, level);
    }
  }
  return 1;
}

int pixelator::RunSingleMatrix(surf32 *src, surf32 *dst, RECT r, int w, int h, matrixkernel kernel,
                               void *extra, unsigned char level) {
  if (!usable(src) || !usable(dst) || !kernel) return 0;
  const int W = odd_size(w), H = odd_size(h);
  const bool fast = (kernel == &pixelator::matrixBlurr && W <= kFastLimit && H <= kFastLimit) ||
                    (kernel == &pixelator::matrixEdge && W <= kPackedLimit && H <= kPackedLimit);
  if (!fast) return matrixwalk::Reference(src, dst, r, w, h, kernel, extra, level);
  const RECT c = inside(src, dst, r);
  if (c.right <= c.left || c.bottom <= c.top) return 1;
  if (kernel == &pixelator::matrixBlurr && W <= kPackedLimit && H <= kPackedLimit)
    blur_fast<packed>(src, dst, c, W, H, level);
  else if (kernel == &pixelator::matrixBlurr)
    blur_fast<rgb>(src, dst, c, W, H, level);
  else
    edge_fast(src, dst, c, W, H, level);
  return 1;
}

pix32 pixelator::matrixBlurr(matrixrecord *m) {
  if (!m || m->width <= 0 || m->height <= 0) return pix32();
  const size_t n = size_t(m->width) * size_t(m->height);
  const pix32 *p = m->pixels();
  uint64_t b = 0, g = 0, r = 0;
  for (size_t i = 0; i < n; ++i) {
    b += p[i].b;
    g += p[i].g;
    r += p[i].r;
  }
  return pix32(uint8_t(r / n), uint8_t(g / n), uint8_t(b / n), 0);
}

pix32 pixelator::matrixEdge(matrixrecord *m) {
  if (!m || m->width <= 0 || m->height <= 0) return pix32();
  const int W = m->width, H = m->height;
  // Sums of r, g, b over: top, bottom, left, right, lower, upper, anti-low, anti-up.
  uint64_t s[8][3] = {};
  const pix32 *p = m->pixels();
  for (int v = 0; v < H; ++v)
    for (int u = 0; u < W; ++u) {
      const pix32 q = p[size_t(v) * size_t(W) + size_t(u)];
      const bool in[8] = {v <= H / 2, v >= H / 2, u <= W / 2,     u >= W / 2,
                          u <= v,     u >= v,     W - u - 1 <= v, W - u - 1 >= v};
      for (int k = 0; k < 8; ++k)
        if (in[k]) {
          s[k][0] += q.r;
          s[k][1] += q.g;
          s[k][2] += q.b;
        }
    }
  s[0][0] = s[1][0];  // the top red sum overwritten by the bottom one, as it always was
  uint64_t strength = 0;
  for (int pair = 0; pair < 8; pair += 2)
    for (int ch = 0; ch < 3; ++ch) strength += diff(s[pair][ch], s[pair + 1][ch]);
  const uint8_t v = uint8_t(std::min<uint64_t>(strength / (uint64_t(W) * uint64_t(H)), 255));
  return pix32(v, v, v, v);
}
