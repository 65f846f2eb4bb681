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
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "media/kernels.h"
#include "media/rows.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define MATRIX_X86 1
#define AVX2_INLINE __attribute__((target("avx2"))) inline
#endif

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

// Colour sums of a column or a record too large for packed sums: three counters.
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
void blur_wide(surf32 *src, surf32 *dst, const RECT &c, int W, int H, uint8_t level) {
  using Sum = rgb;
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

// The means of the walk's totals mixed into the filtered pixels of a row.
void mix_means_ref(const pix32 *s, pix32 *d, const uint64_t *totals, int from, int to, const divider &mean,
                   int level) {
  for (int x = from; x < to; ++x) {
    if (s[x].a == 0) continue;
    const lanes t(totals[x]);
    mix(d[x], int(mean(t.b)), int(mean(t.g)), int(mean(t.r)), level);
  }
}

#if MATRIX_X86
// The divider's multiplier is below 2^30 and the sums below 2^21, so each product is one
// 32 x 32-bit multiply; d keeps its alpha, and its whole pixel where the source is skipped.
__attribute__((target("avx2"))) int mix_means_avx2(const pix32 *s, pix32 *d, const uint64_t *totals, int n,
                                                   const divider &mean, int level) {
  const __m256i lane = _mm256_set1_epi64x(int64_t(kLane)), m = _mm256_set1_epi64x(int64_t(mean.m));
  const __m128i k = _mm_cvtsi32_si128(mean.k);
  const __m256i vl = _mm256_set1_epi16(int16_t(level)), vk = _mm256_set1_epi16(int16_t(255 - level));
  const __m256i low_words = _mm256_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6);
  const __m128i amask = _mm_set1_epi32(int(0xFF000000u)), zero = _mm_setzero_si128();
  int x = 0;
  for (; x + 4 <= n; x += 4) {
    const __m256i t = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(totals + x));
    const __m256i b = _mm256_srl_epi64(_mm256_mul_epu32(_mm256_and_si256(t, lane), m), k);
    const __m256i g =
        _mm256_srl_epi64(_mm256_mul_epu32(_mm256_and_si256(_mm256_srli_epi64(t, 21), lane), m), k);
    const __m256i r = _mm256_srl_epi64(_mm256_mul_epu32(_mm256_srli_epi64(t, 42), m), k);
    const __m256i words =
        _mm256_or_si256(b, _mm256_or_si256(_mm256_slli_epi64(g, 8), _mm256_slli_epi64(r, 16)));
    const __m128i means = _mm256_castsi256_si128(_mm256_permutevar8x32_epi32(words, low_words));
    const __m128i dv = _mm_loadu_si128(reinterpret_cast<const __m128i *>(d + x));
    const __m128i sv = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + x));
    const __m256i mixed =
        _mm256_srli_epi16(_mm256_add_epi16(_mm256_mullo_epi16(_mm256_cvtepu8_epi16(means), vl),
                                           _mm256_mullo_epi16(_mm256_cvtepu8_epi16(dv), vk)),
                          8);
    const __m128i out = _mm_packus_epi16(_mm256_castsi256_si128(mixed), _mm256_extracti128_si256(mixed, 1));
    const __m128i keep = _mm_or_si128(_mm_cmpeq_epi32(_mm_and_si128(sv, amask), zero), amask);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(d + x), _mm_blendv_epi8(out, dv, keep));
  }
  return x;
}
#endif

// Packed column sums of a row: the sums with one source row out and one in (without `out`, only
// in added), four pixels a step with AVX2. A pixel word b | g << 8 | r << 16 packs by moving green
// up 13 bits and red up 26.
void packed_columns_ref(const pix32 *out, const pix32 *in, uint64_t *v, int from, int to) {
  for (int x = from; x < to; ++x) v[x] += pack(in[x]) - (out ? pack(out[x]) : 0);
}

#if MATRIX_X86
__attribute__((target("avx2"))) inline __m256i pack4(const pix32 *p) {
  const __m256i w = _mm256_cvtepu32_epi64(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)));
  const __m256i b = _mm256_and_si256(w, _mm256_set1_epi64x(0xFF)),
                g = _mm256_and_si256(w, _mm256_set1_epi64x(0xFF00)),
                r = _mm256_and_si256(w, _mm256_set1_epi64x(0xFF0000));
  return _mm256_or_si256(b, _mm256_or_si256(_mm256_slli_epi64(g, 13), _mm256_slli_epi64(r, 26)));
}

__attribute__((target("avx2"))) int packed_columns_avx2(const pix32 *out, const pix32 *in, uint64_t *v,
                                                        int n) {
  int x = 0;
  for (; x + 4 <= n; x += 4) {
    __m256i sum =
        _mm256_add_epi64(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(v + x)), pack4(in + x));
    if (out) sum = _mm256_sub_epi64(sum, pack4(out + x));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(v + x), sum);
  }
  return x;
}
#endif

void packed_columns(const pix32 *out, const pix32 *in, uint64_t *v, int n, bool avx2) {
  int done = 0;
#if MATRIX_X86
  if (avx2) done = packed_columns_avx2(out, in, v, n);
#endif
  (void)avx2;
  packed_columns_ref(out, in, v, done, n);
}

// The blur on packed sums in two passes a row. The walk's totals come first, in order: the ring
// is kept as the list of the columns pushed this row, the oldest W back from the end, and a skipped
// pixel writes its column past the end without moving it, so the walk has no branch and no store
// the next load waits on (the last W carry over to the next row). The means and the mix then take
// the filtered pixels. `Sums` keeps the column sums, one 64-bit word a column (see sums21 and
// sums16), with the last repeated W / 2 times past the right edge. Rows above `from` are walked
// but not written (the box filter wrote them).
template <class Sums>
void blur_walk(surf32 *src, surf32 *dst, const RECT &c, int W, int H, Sums &sums, int from) {
  const int cw = c.right - c.left, half = W / 2;
  std::vector<uint64_t> pushed(static_cast<size_t>(cw + W)), totals(static_cast<size_t>(cw));
  for (int j = 0; j < H; ++j)
    sums.rows(nullptr, row(src, std::clamp(c.top - H / 2 + j, c.top, c.bottom - 1)) + c.left);
  uint64_t total = 0;
  for (int y = c.top; y < c.bottom; ++y) {
    if (y > c.top)
      sums.rows(row(src, std::clamp(y - 1 - H / 2, c.top, c.bottom - 1)) + c.left,
                row(src, std::clamp(y + H / 2, c.top, c.bottom - 1)) + c.left);
    sums.extend();
    const pix32 *s = row(src, y) + c.left;
    pix32 *d = row(dst, y) + c.left;
    if (s[0].a != 0) {  // the rectangle's left edge fills the ring anew
      total = 0;
      for (int i = 0; i < W; ++i) total += pushed[size_t(i)] = sums.word(std::max(i - half, 0));
      totals[0] = total;
    }
    size_t count = size_t(W);
    for (int x = 1; x < cw; ++x) {
      const uint64_t fresh = sums.word(x + half);
      const uint64_t keep = s[x].a != 0 ? ~uint64_t(0) : 0;
      total += (fresh - pushed[count - size_t(W)]) & keep;
      pushed[count] = fresh;
      count += keep & 1;
      totals[size_t(x)] = total;
    }
    std::copy(pushed.begin() + std::ptrdiff_t(count) - W, pushed.begin() + std::ptrdiff_t(count),
              pushed.begin());
    if (y >= from) sums.finish(s, d, totals.data());
  }
}

// Column sums in 21-bit lanes: any record up to kPackedLimit square.
struct sums21 {
  int cw, level;
  bool avx2;
  divider mean;
  std::vector<uint64_t> v;
  sums21(int width, int W, int H, uint8_t lv, bool fast)
      : cw(width), level(lv), avx2(fast), mean(uint32_t(W) * uint32_t(H)), v(size_t(width + W / 2)) {}
  void rows(const pix32 *out, const pix32 *in) { packed_columns(out, in, v.data(), cw, avx2); }
  void extend() { std::fill(v.begin() + cw, v.end(), v[size_t(cw - 1)]); }
  uint64_t word(int i) const { return v[size_t(i)]; }
  void finish(const pix32 *s, pix32 *d, const uint64_t *totals) const {
    int done = 0;
#if MATRIX_X86
    if (avx2) done = mix_means_avx2(s, d, totals, cw, mean, level);
#endif
    mix_means_ref(s, d, totals, done, cw, mean, level);
  }
};

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

// Blur of a rectangle in which no pixel is skipped: the walker then filters every pixel in
// order, so the record at (x, y) holds exactly the columns x - W/2 .. x + W/2 of the rows
// y - H/2 .. y + H/2, clamped to the rectangle: a plain box filter. Its sums fit 16 bits when
// W * H <= 257, so four pixels' channels ride in one 256-bit register.
constexpr int kBoxCells = 257;
constexpr int kBoxWidth = 17;

// m with (x * m) >> 16 == x / n for every x <= top, or 0 when no 16-bit m is exact. The product
// overshoots x / n by x * (m * n - 65536) / (65536 * n); it can only reach the next integer at
// x = q * n + n - 1, so those are the points to check.
uint32_t exact16(uint32_t n, uint32_t top) {
  const uint32_t m = 65536 / n + 1;
  if (m > 65535) return 0;
  for (uint32_t x = n - 1; x <= top; x += n)
    if (((x * m) >> 16) != x / n) return 0;
  return m;
}

// The mean of a record's 16-bit sum as one multiply ((t * first) >> 16) or, where none is exact
// (of the square records only 3 x 3 has one), two: floor(floor(t / W) / H) is t / (W * H). That
// covers the squares up to 11 x 11; larger ones take the 21-bit sums.
struct divisor16 {
  uint32_t first = 0, second = 0;
  divisor16(int W, int H) {
    if (W * H > kBoxCells) return;  // the sums would not fit 16 bits
    const uint32_t top = 255 * uint32_t(W * H);
    if ((first = exact16(uint32_t(W * H), top))) return;
    second = exact16(uint32_t(H), 255 * uint32_t(H));
    first = second ? exact16(uint32_t(W), top) : 0;
    if (!first) second = 0;
  }
  explicit operator bool() const { return first != 0; }
  int operator()(uint32_t t) const {
    t = (t * first) >> 16;
    return int(second ? (t * second) >> 16 : t);
  }
#if MATRIX_X86
  AVX2_INLINE __m256i apply(__m256i t) const {
    t = _mm256_mulhi_epu16(t, _mm256_set1_epi16(int16_t(uint16_t(first))));
    return second ? _mm256_mulhi_epu16(t, _mm256_set1_epi16(int16_t(uint16_t(second)))) : t;
  }
#endif
};

// One output row d from the padded column sums v (four uint16 per column, the first W/2 and
// last W/2 columns repeated): colour mean mixed by level into the old pixels, their alpha kept
// (`opaque` is ORed into each pixel: 0xFF000000 makes every alpha 255). The old pixels are d's
// own, or those of the row d is to become a copy of.
void box_row_ref(const uint16_t *v, const pix32 *old, pix32 *d, int from, int to, int W,
                 const divisor16 &mean, int level, uint32_t opaque) {
  for (int x = from; x < to; ++x) {
    uint32_t t[3] = {0, 0, 0};
    for (int i = 0; i < W; ++i)
      for (int ch = 0; ch < 3; ++ch) t[ch] += v[size_t(x + i) * 4 + size_t(ch)];
    pix32 p = old[x];
    mix(p, mean(t[0]), mean(t[1]), mean(t[2]), level);
    d[x] = pix32::from_word(p.word() | opaque);
  }
}

#if MATRIX_X86
// Eight pixels' colour bytes from their means, two registers of four pixels in 16-bit lanes,
// mixed into dv by level ((mean * level + d * (255 - level)) >> 8). At level 255 (Full) the
// colours no longer depend on the old pixel: (mean * 255) >> 8 is mean - 1, or 0 for 0. The
// alpha bytes are whatever the lanes give; callers put dv's back.
template <bool Full>
AVX2_INLINE __m256i mixed_means(__m256i lo, __m256i hi, __m256i dv, int level) {
  if constexpr (Full) {
    const __m256i one = _mm256_set1_epi16(1);
    lo = _mm256_subs_epu16(lo, one);
    hi = _mm256_subs_epu16(hi, one);
  } else {
    const __m256i vl = _mm256_set1_epi16(int16_t(level)), vk = _mm256_set1_epi16(int16_t(255 - level));
    const __m256i dlo = _mm256_cvtepu8_epi16(_mm256_castsi256_si128(dv));
    const __m256i dhi = _mm256_cvtepu8_epi16(_mm256_extracti128_si256(dv, 1));
    lo = _mm256_srli_epi16(_mm256_add_epi16(_mm256_mullo_epi16(lo, vl), _mm256_mullo_epi16(dlo, vk)), 8);
    hi = _mm256_srli_epi16(_mm256_add_epi16(_mm256_mullo_epi16(hi, vl), _mm256_mullo_epi16(dhi, vk)), 8);
  }
  return _mm256_permute4x64_epi64(_mm256_packus_epi16(lo, hi), 0xD8);
}

// Eight pixels a step, in two registers of four.
template <bool Full>
__attribute__((target("avx2"))) int box_row_avx2(const uint16_t *v, const pix32 *old, pix32 *d, int n, int W,
                                                 const divisor16 &mean, int level, uint32_t opaque) {
  const __m256i amask = _mm256_set1_epi32(int(0xFF000000u)), lift = _mm256_set1_epi32(int(opaque));
  int x = 0;
  for (; x + 8 <= n; x += 8) {
    const __m256i *p = reinterpret_cast<const __m256i *>(v + size_t(x) * 4);
    __m256i lo = _mm256_loadu_si256(p), hi = _mm256_loadu_si256(p + 1);
    for (int i = 1; i < W; ++i) {
      const __m256i *q = reinterpret_cast<const __m256i *>(v + size_t(x + i) * 4);
      lo = _mm256_add_epi16(lo, _mm256_loadu_si256(q));
      hi = _mm256_add_epi16(hi, _mm256_loadu_si256(q + 1));
    }
    const __m256i dv = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(old + x));
    const __m256i colours = mixed_means<Full>(mean.apply(lo), mean.apply(hi), dv, level);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(d + x),
                        _mm256_or_si256(_mm256_blendv_epi8(colours, dv, amask), lift));
  }
  return x;
}
#endif

// Column sums of the row: the sums of the last row with one source row out and one in (the
// 16-bit lanes wrap, and the result is exact because every true sum fits). Without `out`, only
// adds `in`.
void box_columns_ref(const uint8_t *out, const uint8_t *in, uint16_t *v, int from, int to) {
  for (int k = from; k < to; ++k) v[k] = uint16_t(v[k] + in[k] - (out ? out[k] : 0));
}

#if MATRIX_X86
__attribute__((target("avx2"))) int box_columns_avx2(const uint8_t *out, const uint8_t *in, uint16_t *v,
                                                     int n) {
  int k = 0;
  for (; k + 16 <= n; k += 16) {
    __m256i sum = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(v + k));
    sum = _mm256_add_epi16(sum,
                           _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(in + k))));
    if (out)
      sum = _mm256_sub_epi16(
          sum, _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(out + k))));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(v + k), sum);
  }
  return k;
}

__attribute__((target("avx2"))) bool any_transparent_avx2(const pix32 *p, int n) {
  const __m256i amask = _mm256_set1_epi32(int(0xFF000000u)), zero = _mm256_setzero_si256();
  __m256i hit = zero;
  int x = 0;
  for (; x + 8 <= n; x += 8) {
    const __m256i a = _mm256_and_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + x)), amask);
    hit = _mm256_or_si256(hit, _mm256_cmpeq_epi32(a, zero));
  }
  for (; x < n; ++x)
    if (p[x].a == 0) return true;
  return !_mm256_testz_si256(hit, hit);
}
#endif

void box_columns(const pix32 *out, const pix32 *in, uint16_t *v, int pixels, bool avx2) {
  const uint8_t *o = reinterpret_cast<const uint8_t *>(out), *i = reinterpret_cast<const uint8_t *>(in);
  int done = 0;
#if MATRIX_X86
  if (avx2) done = box_columns_avx2(o, i, v, pixels * 4);
#endif
  (void)avx2;
  box_columns_ref(o, i, v, done, pixels * 4);
}

// The means of the walk's totals in 16-bit lanes, mixed into the filtered pixels of a row.
void small_means_ref(const pix32 *s, pix32 *d, const uint64_t *totals, int from, int to,
                     const divisor16 &mean, int level) {
  for (int x = from; x < to; ++x) {
    if (s[x].a == 0) continue;
    const uint64_t t = totals[x];
    auto lane = [&](int i) { return mean(uint32_t(t >> (16 * i) & 0xFFFF)); };
    mix(d[x], lane(0), lane(1), lane(2), level);
  }
}

#if MATRIX_X86
// Eight pixels a step as box_row_avx2 does, d kept whole where the source is skipped.
template <bool Full>
__attribute__((target("avx2"))) int small_means_avx2(const pix32 *s, pix32 *d, const uint64_t *totals, int n,
                                                     const divisor16 &mean, int level) {
  const __m256i amask = _mm256_set1_epi32(int(0xFF000000u)), zero = _mm256_setzero_si256();
  int x = 0;
  for (; x + 8 <= n; x += 8) {
    const __m256i lo = mean.apply(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(totals + x)));
    const __m256i hi = mean.apply(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(totals + x + 4)));
    const __m256i dv = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(d + x));
    const __m256i sv = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(s + x));
    const __m256i keep = _mm256_or_si256(_mm256_cmpeq_epi32(_mm256_and_si256(sv, amask), zero), amask);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(d + x),
                        _mm256_blendv_epi8(mixed_means<Full>(lo, hi, dv, level), dv, keep));
  }
  return x;
}
#endif

// Column sums in 16-bit lanes (b, g, r, a), for records of at most kBoxCells whose mean is a
// 16-bit multiply: a column is read as one 64-bit word, and the walk's packed arithmetic stays
// exact as every true lane sum fits.
struct sums16 {
  int cw, half, level;
  bool avx2;
  divisor16 mean;
  std::vector<uint16_t> v;
  sums16(int width, int W, const divisor16 &m, uint8_t lv, bool fast)
      : cw(width), half(W / 2), level(lv), avx2(fast), mean(m), v(size_t(width + W / 2) * 4) {}
  void rows(const pix32 *out, const pix32 *in) { box_columns(out, in, v.data(), cw, avx2); }
  void extend() {
    for (int i = cw; i < cw + half; ++i) std::copy_n(&v[size_t(cw - 1) * 4], 4, &v[size_t(i) * 4]);
  }
  uint64_t word(int i) const {
    uint64_t w;
    std::memcpy(&w, &v[size_t(i) * 4], sizeof w);
    return w;
  }
  void finish(const pix32 *s, pix32 *d, const uint64_t *totals) const {
    int done = 0;
#if MATRIX_X86
    if (avx2)
      done = level == 255 ? small_means_avx2<true>(s, d, totals, cw, mean, level)
                          : small_means_avx2<false>(s, d, totals, cw, mean, level);
#endif
    small_means_ref(s, d, totals, done, cw, mean, level);
  }
};

bool any_skipped(const pix32 *s, int n, bool avx2) {
#if MATRIX_X86
  if (avx2) return any_transparent_avx2(s, n);
#endif
  (void)avx2;
  for (int x = 0; x < n; ++x)
    if (s[x].a == 0) return true;
  return false;
}

bool all_filtered(const surf32 *src, const RECT &c, bool avx2) {
  for (int y = c.top; y < c.bottom; ++y)
    if (any_skipped(row(src, y) + c.left, c.right - c.left, avx2)) return false;
  return true;
}

// Whether the box filter's 16-bit sums and one-multiply means serve a W x H record.
bool box_takes(int W, int H) { return W * H <= kBoxCells && W <= kBoxWidth && divisor16(W, H); }

// The blur as a box filter down to the first row with a skipped pixel: up to there the walker
// filters every pixel, so its record is the clamped window. Each source row is looked at as it
// first enters the column sums, while it is at hand. Returns the first row not written: c.top
// when the box cannot take this record, c.bottom when it took the whole rectangle. Fresh: dst
// is to come out as if it had been a copy of src, so the old pixels are read from src.
// Opaque: every source alpha is read as 255 (the picture as an opacity of 100 % would leave it),
// so every pixel is filtered and each row written comes out with alpha 255.
int box_fast(surf32 *src, surf32 *dst, const RECT &c, int W, int H, uint8_t level, bool fresh,
             bool opaque = false) {
  if (!box_takes(W, H) || src->bits == dst->bits) return c.top;
  const divisor16 mean(W, H);
  const uint32_t lift = opaque ? 0xFF000000u : 0u;  // ORed into every pixel written
  const bool avx2 = kernels::ActiveTier() >= kernels::tier::avx2;
  const int cw = c.right - c.left, pad = W / 2;
  int looked = c.top - 1, stop = c.bottom;  // the last row looked at; the first with a skipped pixel
  auto enter = [&](int y) {
    const pix32 *p = row(src, y) + c.left;
    if (y > looked) {
      looked = y;
      if (stop == c.bottom && !opaque && any_skipped(p, cw, avx2)) stop = y;
    }
    return p;
  };
  std::vector<uint16_t> padded(size_t(cw + 2 * pad) * 4);
  uint16_t *v = padded.data() + size_t(pad) * 4;
  for (int j = 0; j < H; ++j)
    box_columns(nullptr, enter(std::clamp(c.top - H / 2 + j, c.top, c.bottom - 1)), v, cw, avx2);
  for (int y = c.top; y < stop; ++y) {
    if (y > c.top)
      box_columns(row(src, std::clamp(y - 1 - H / 2, c.top, c.bottom - 1)) + c.left,
                  enter(std::clamp(y + H / 2, c.top, c.bottom - 1)), v, cw, avx2);
    for (int k = 1; k <= pad; ++k) {
      std::copy_n(v, 4, v - size_t(k) * 4);
      std::copy_n(v + size_t(cw - 1) * 4, 4, v + size_t(cw - 1 + k) * 4);
    }
    pix32 *d = row(dst, y) + c.left;
    const pix32 *old = fresh ? row(src, y) + c.left : d;
    int done = 0;
#if MATRIX_X86
    if (avx2)
      done = level == 255 ? box_row_avx2<true>(padded.data(), old, d, cw, W, mean, level, lift)
                          : box_row_avx2<false>(padded.data(), old, d, cw, W, mean, level, lift);
#endif
    box_row_ref(padded.data(), old, d, done, cw, W, mean, level, lift);
  }
  return stop;
}

// Edge map of a 3 x 3 record over a rectangle in which no pixel is skipped: the record is then
// the clamped window, and each pair of halves differs only by the cells off its dividing line
// (rows 0 and 2, columns 0 and 2, the three cells on either side of each diagonal). Cell (u, v)
// is column u of row v. The strength over 9 is (s * 7282) >> 16, exact for s below 32768.
constexpr uint32_t kNinth = 7282;

#if MATRIX_X86
AVX2_INLINE __m256i cell16(const pix32 *p) {
  return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)));
}
AVX2_INLINE __m256i add3(__m256i p, __m256i q, __m256i r) {
  return _mm256_add_epi16(_mm256_add_epi16(p, q), r);
}
AVX2_INLINE __m256i apart(__m256i p, __m256i q) { return _mm256_abs_epi16(_mm256_sub_epi16(p, q)); }

// The level of one record held as cell[u][v]: the strength over 9, limited to 255, with the
// three colours in 16-bit lanes of one register.
AVX2_INLINE __m128i lanes16(pix32 p) { return _mm_cvtepu8_epi16(_mm_cvtsi32_si128(int(p.word()))); }
AVX2_INLINE __m128i add3(__m128i p, __m128i q, __m128i r) { return _mm_add_epi16(_mm_add_epi16(p, q), r); }
AVX2_INLINE __m128i apart(__m128i p, __m128i q) { return _mm_abs_epi16(_mm_sub_epi16(p, q)); }
AVX2_INLINE int edge3_level(const pix32 (&cell)[3][3]) {
  const __m128i c00 = lanes16(cell[0][0]), c01 = lanes16(cell[0][1]), c02 = lanes16(cell[0][2]);
  const __m128i c10 = lanes16(cell[1][0]), c12 = lanes16(cell[1][2]);
  const __m128i c20 = lanes16(cell[2][0]), c21 = lanes16(cell[2][1]), c22 = lanes16(cell[2][2]);
  const __m128i across = apart(add3(c00, c10, c20), add3(c02, c12, c22));
  const __m128i down = apart(add3(c00, c01, c02), add3(c20, c21, c22));
  const __m128i diag = apart(add3(c01, c02, c12), add3(c10, c20, c21));
  const __m128i anti = apart(add3(c21, c12, c22), add3(c00, c10, c01));
  // The top red sum is taken over by the bottom one: that pair adds no red.
  const __m128i total =
      _mm_add_epi16(_mm_add_epi16(_mm_and_si128(across, _mm_setr_epi16(-1, -1, 0, 0, 0, 0, 0, 0)), down),
                    _mm_add_epi16(diag, anti));
  const __m128i pairs = _mm_madd_epi16(total, _mm_setr_epi16(1, 1, 1, 0, 0, 0, 0, 0));
  const uint32_t strength = uint32_t(_mm_cvtsi128_si32(pairs) + _mm_extract_epi32(pairs, 1));
  return std::min(int((strength * kNinth) >> 16), 255);
}

// The level of the window of columns a, x, b of three rows.
AVX2_INLINE int window_level(const pix32 *r0, const pix32 *r1, const pix32 *r2, int a, int x, int b) {
  const pix32 cell[3][3] = {{r0[a], r1[a], r2[a]}, {r0[x], r1[x], r2[x]}, {r0[b], r1[b], r2[b]}};
  return edge3_level(cell);
}

// The strengths of four pixels from x on, as b + g and r in two 32-bit lanes each: sixteen-bit
// lanes hold every sum of three cells (at most 765), the differences and their total.
AVX2_INLINE __m256i edge3_four(const pix32 *r0, const pix32 *r1, const pix32 *r2, int x) {
  const __m256i c00 = cell16(r0 + x - 1), c10 = cell16(r0 + x), c20 = cell16(r0 + x + 1);
  const __m256i c01 = cell16(r1 + x - 1), c21 = cell16(r1 + x + 1);
  const __m256i c02 = cell16(r2 + x - 1), c12 = cell16(r2 + x), c22 = cell16(r2 + x + 1);
  const __m256i across = apart(add3(c00, c10, c20), add3(c02, c12, c22));
  const __m256i down = apart(add3(c00, c01, c02), add3(c20, c21, c22));
  const __m256i diag = apart(add3(c01, c02, c12), add3(c10, c20, c21));
  const __m256i anti = apart(add3(c21, c12, c22), add3(c00, c10, c01));
  const __m256i no_red = _mm256_set1_epi64x(0x00000000FFFFFFFF);
  const __m256i total = _mm256_add_epi16(_mm256_add_epi16(_mm256_and_si256(across, no_red), down),
                                         _mm256_add_epi16(diag, anti));
  return _mm256_madd_epi16(total, _mm256_set1_epi64x(0x0000000100010001));  // alpha weighed 0
}

// Pixels x .. end - 1 (all with both neighbours in the rectangle), eight a step; returns where
// it stopped. With `take`, only the pixels whose byte in it is not 0 are written.
__attribute__((target("avx2"))) int edge3_avx2(const pix32 *r0, const pix32 *r1, const pix32 *r2, pix32 *d,
                                               int x, int end, int level, const uint8_t *take = nullptr) {
  const __m256i ninth = _mm256_set1_epi32(int(kNinth)), top = _mm256_set1_epi32(255);
  const __m256i amask = _mm256_set1_epi32(int(0xFF000000u)), grey = _mm256_set1_epi32(0x00010101);
  for (; x + 8 <= end; x += 8) {
    // hadd pairs the lanes of pixels 0 1 4 5 | 2 3 6 7; the permute puts them in order.
    const __m256i s = _mm256_permute4x64_epi64(
        _mm256_hadd_epi32(edge3_four(r0, r1, r2, x), edge3_four(r0, r1, r2, x + 4)), 0xD8);
    const __m256i k = _mm256_mullo_epi32(_mm256_min_epi32(_mm256_mulhi_epu16(s, ninth), top), grey);
    const __m256i dv = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(d + x));
    const __m256i out = mixed_means<false>(_mm256_cvtepu8_epi16(_mm256_castsi256_si128(k)),
                                           _mm256_cvtepu8_epi16(_mm256_extracti128_si256(k, 1)), dv, level);
    __m256i keep = amask;
    if (take) {
      const __m256i t = _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(take + x)));
      keep = _mm256_or_si256(keep, _mm256_cmpeq_epi32(t, _mm256_setzero_si256()));
    }
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(d + x), _mm256_blendv_epi8(out, dv, keep));
  }
  return x;
}
#endif

bool edge3_fast(surf32 *src, surf32 *dst, const RECT &c, int W, int H, uint8_t level) {
#if MATRIX_X86
  if (W != 3 || H != 3 || src->bits == dst->bits || kernels::ActiveTier() < kernels::tier::avx2 ||
      !all_filtered(src, c, true))
    return false;
  for (int y = c.top; y < c.bottom; ++y) {
    const pix32 *r0 = row(src, std::max(y - 1, int(c.top))), *r1 = row(src, y),
                *r2 = row(src, std::min(y + 1, int(c.bottom) - 1));
    pix32 *d = row(dst, y);
    int x = c.left;
    auto plain = [&](int to) {
      for (; x < to; ++x) {
        const int v =
            window_level(r0, r1, r2, std::max(x - 1, int(c.left)), x, std::min(x + 1, int(c.right) - 1));
        mix(d[x], v, v, v, level);
      }
    };
    plain(std::min(c.left + 1, c.right));
    x = edge3_avx2(r0, r1, r2, d, x, c.right - 1, level);
    plain(c.right);
  }
  return true;
#else
  (void)src, (void)dst, (void)c, (void)W, (void)H, (void)level;
  return false;
#endif
}

// The 3 x 3 edge map with skipped pixels. A scalar pass keeps the walker's record as the image
// columns it holds (each with the row it was read for: the record carries over skipped pixels
// and rows) and works out every pixel whose record is not its clamped window, and the
// rectangle's edge pixels; the others, those after three pixels filtered in a row or after the
// rectangle's left edge, are the vector rows' window, eight a step.
void edge3_walk(surf32 *src, surf32 *dst, const RECT &c, uint8_t level) {
#if MATRIX_X86
  // Each column held as x | row << 32 in one word (row -1: a column of the empty record the walk
  // starts with), oldest first, kept in registers.
  auto held_at = [](int x, int y) { return uint64_t(uint32_t(x)) | uint64_t(uint32_t(y)) << 32; };
  uint64_t h0 = held_at(0, -1), h1 = h0, h2 = h0;
  auto cells = [&](uint64_t k, pix32 *out) {
    const int x = int(uint32_t(k)), y = int(uint32_t(k >> 32));
    for (int v = 0; v < 3; ++v)
      out[v] = y < 0 ? pix32() : row(src, std::clamp(y - 1 + v, int(c.top), int(c.bottom) - 1))[x];
  };
  std::vector<uint8_t> window(static_cast<size_t>(c.right - c.left));
  uint8_t *take = window.data() - c.left;
  for (int y = c.top; y < c.bottom; ++y) {
    const pix32 *s = row(src, y);
    pix32 *d = row(dst, y);
    for (int x = c.left; x < c.right; ++x) {
      take[x] = 0;
      if (s[x].a == 0) continue;
      if (x == c.left) {
        h0 = held_at(std::max(x - 1, int(c.left)), y);
        h1 = held_at(x, y);
      } else {
        h0 = h1;
        h1 = h2;
      }
      h2 = held_at(std::min(x + 1, int(c.right) - 1), y);
      if (h0 == held_at(x - 1, y) && h1 == held_at(x, y) && x + 1 < c.right) {
        take[x] = 1;
        continue;
      }
      pix32 cell[3][3];
      cells(h0, cell[0]);
      cells(h1, cell[1]);
      cells(h2, cell[2]);
      const int v = edge3_level(cell);
      mix(d[x], v, v, v, level);
    }
    const pix32 *r0 = row(src, std::max(y - 1, int(c.top))),
                *r2 = row(src, std::min(y + 1, int(c.bottom) - 1));
    int x = edge3_avx2(r0, s, r2, d, c.left + 1, c.right - 1, level, take);
    for (; x < c.right - 1; ++x) {
      if (!take[x]) continue;
      const int v = window_level(r0, s, r2, x - 1, x, x + 1);
      mix(d[x], v, v, v, level);
    }
  }
#else
  (void)src, (void)dst, (void)c, (void)level;
#endif
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

namespace {

// Rows y0..y1, columns x0..x1 of src copied onto dst.
void copy_block(const surf32 *src, surf32 *dst, int x0, int x1, int y0, int y1) {
  if (x1 <= x0 || src->bits == dst->bits) return;
  for (int y = y0; y < y1; ++y)
    std::memcpy(row(dst, y) + x0, row(src, y) + x0, size_t(x1 - x0) * sizeof(pix32));
}

// RunSingleMatrix; fresh: dst holds nothing yet and is to come out as if src had been copied
// onto it first (their common part), so only what the walk leaves is copied.
int run_matrix(surf32 *src, surf32 *dst, RECT r, int w, int h, matrixkernel kernel, void *extra,
               unsigned char level, bool fresh) {
  if (!usable(src) || !usable(dst) || !kernel) return 0;
  const int W = odd_size(w), H = odd_size(h);
  const bool fast = (kernel == &pixelator::matrixBlurr && W <= kFastLimit && H <= kFastLimit) ||
                    (kernel == &pixelator::matrixEdge && W <= kPackedLimit && H <= kPackedLimit);
  const RECT c = inside(src, dst, r);
  const bool empty = c.right <= c.left || c.bottom <= c.top;
  const bool samesize = src->width == dst->width && src->height == dst->height;
  if (fresh && (!fast || empty || !samesize || kernel != &pixelator::matrixBlurr || src->bits == dst->bits)) {
    copy_block(src, dst, 0, std::min(src->width, dst->width), 0, std::min(src->height, dst->height));
    fresh = false;
  }
  if (!fast) return matrixwalk::Reference(src, dst, r, w, h, kernel, extra, level);
  if (empty) return 1;
  if (fresh) {  // all but c, whose rows the box and the walk fill
    copy_block(src, dst, 0, src->width, 0, c.top);
    copy_block(src, dst, 0, src->width, c.bottom, src->height);
    copy_block(src, dst, 0, c.left, c.top, c.bottom);
    copy_block(src, dst, c.right, src->width, c.top, c.bottom);
  }
  const bool avx2 = kernels::ActiveTier() >= kernels::tier::avx2;
  const int boxed = kernel == &pixelator::matrixBlurr ? box_fast(src, dst, c, W, H, level, fresh) : c.top;
  if (boxed == c.bottom) return 1;
  // The walk keeps the old pixel where the source is skipped.
  if (fresh) copy_block(src, dst, c.left, c.right, boxed, c.bottom);
  if (kernel == &pixelator::matrixEdge && edge3_fast(src, dst, c, W, H, level)) return 1;
  if (kernel == &pixelator::matrixEdge && W == 3 && H == 3 && avx2 && src->bits != dst->bits) {
    edge3_walk(src, dst, c, level);
    return 1;
  }
  const divisor16 small(W, H);
  if (kernel == &pixelator::matrixBlurr && small) {
    sums16 sums(c.right - c.left, W, small, level, avx2);
    blur_walk(src, dst, c, W, H, sums, boxed);
  } else if (kernel == &pixelator::matrixBlurr && W <= kPackedLimit && H <= kPackedLimit) {
    sums21 sums(c.right - c.left, W, H, level, avx2);
    blur_walk(src, dst, c, W, H, sums, boxed);
  } else if (kernel == &pixelator::matrixBlurr)
    blur_wide(src, dst, c, W, H, level);
  else
    edge_fast(src, dst, c, W, H, level);
  return 1;
}

}  // namespace

int pixelator::RunSingleMatrix(surf32 *src, surf32 *dst, RECT r, int w, int h, matrixkernel kernel,
                               void *extra, unsigned char level) {
  return run_matrix(src, dst, r, w, h, kernel, extra, level, false);
}

int pixelator::RunSingleMatrixOntoCopy(surf32 *src, surf32 *dst, RECT r, int w, int h, matrixkernel kernel,
                                       void *extra, unsigned char level) {
  return run_matrix(src, dst, r, w, h, kernel, extra, level, true);
}

int pixelator::RunBlurOpaqueOntoCopy(surf32 *src, surf32 *dst, RECT r, int w, int h, unsigned char level) {
  const int W = odd_size(w), H = odd_size(h);
  if (!usable(src) || !usable(dst) || src->bits == dst->bits || src->width != dst->width ||
      src->height != dst->height || !box_takes(W, H))
    return 0;
  // What the box does not write is the source with its alpha lifted to 255.
  const RECT c = inside(src, dst, r);
  auto lifted = [&](int x0, int x1, int y0, int y1) {
    for (int y = y0; x1 > x0 && y < y1; ++y)
      kernels::copy_alpha_add_row(row(src, y) + x0, row(dst, y) + x0, x1 - x0, 255);
  };
  if (c.right <= c.left || c.bottom <= c.top) {
    lifted(0, src->width, 0, src->height);
    return 1;
  }
  lifted(0, src->width, 0, c.top);
  lifted(0, src->width, c.bottom, src->height);
  lifted(0, c.left, c.top, c.bottom);
  lifted(c.right, src->width, c.top, c.bottom);
  box_fast(src, dst, c, W, H, level, true, true);
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
