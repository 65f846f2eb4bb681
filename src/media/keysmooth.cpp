// The key smoother: a keyed alpha mask softened by the sum of alpha over a k x k square.
//
// A band of rows keeps the column sums of alpha over the square's rows (one row leaves and one
// enters per step), padded past the frame's edges with copies of the edge columns, and a running
// sum along the padded row gives each square's total as the difference of two entries. All sums
// fit 32 bits: a square holds at most 1023^2 * 255 < 2^31, and the running sum may wrap since
// only its differences are used.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include "media/kernels.h"
#include "media/pixelator.h"
#include "media/rows.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define SMOOTH_X86 1
#endif

namespace {

inline pix32 *row(const surf32 *s, int y) { return row_of(*s, y); }

bool usable(const surf32 *s) { return s && s->bits && s->width > 0 && s->height > 0; }

// The alpha of a square total: 0 up to lo, 255 from lo + span on, truncated linear between. A
// span of 1 stands for hi == lo: every total above lo is then 255.
struct ramp {
  int32_t lo, span;
  uint8_t operator()(uint32_t total) const {
    const int64_t t = std::clamp<int64_t>(int64_t(total) - lo, 0, span);
    return uint8_t(t * 255 / span);
  }
};

// v[x] += alpha of in[x] - alpha of out[x] (without out, only in added).
void alpha_columns_ref(const pix32 *out, const pix32 *in, uint32_t *v, int from, int to) {
  for (int x = from; x < to; ++x) v[x] += in[x].a - (out ? out[x].a : 0u);
}

void running_sum_ref(const uint32_t *col, uint32_t *sum, int from, int to) {
  for (int i = from; i < to; ++i) sum[i + 1] = sum[i] + col[i];
}

void smooth_row_ref(const pix32 *s, pix32 *d, const uint32_t *sum, int from, int to, int k,
                    const ramp &level) {
  for (int x = from; x < to; ++x)
    if (s[x].a != 0) d[x].a = level(sum[x + k] - sum[x]);
}

#if SMOOTH_X86
__attribute__((target("avx2"))) int alpha_columns_avx2(const pix32 *out, const pix32 *in, uint32_t *v,
                                                       int n) {
  int x = 0;
  for (; x + 8 <= n; x += 8) {
    __m256i s = _mm256_add_epi32(
        _mm256_loadu_si256(reinterpret_cast<const __m256i *>(v + x)),
        _mm256_srli_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(in + x)), 24));
    if (out)
      s = _mm256_sub_epi32(
          s, _mm256_srli_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(out + x)), 24));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(v + x), s);
  }
  return x;
}

// Eight entries a step: a scan inside each 128-bit half, the low half's last entry carried into
// the high half, then the total so far added to all.
__attribute__((target("avx2"))) int running_sum_avx2(const uint32_t *col, uint32_t *sum, int n) {
  __m256i carry = _mm256_set1_epi32(int(sum[0]));
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(col + i));
    x = _mm256_add_epi32(x, _mm256_slli_si256(x, 4));
    x = _mm256_add_epi32(x, _mm256_slli_si256(x, 8));
    x = _mm256_add_epi32(x, _mm256_shuffle_epi32(_mm256_permute2x128_si256(x, x, 0x08), 0xFF));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(sum + i + 1), _mm256_add_epi32(x, carry));
    // Off the chain from one step to the next: only the add waits on the carry.
    carry = _mm256_add_epi32(carry, _mm256_permutevar8x32_epi32(x, _mm256_set1_epi32(7)));
  }
  return i;
}

// The ramp for spans below 2^23 (squares up to 256 wide), where t * 255 and (q + 1) * span fit
// 31 bits: a float estimate of t * 255 / span is within one of the quotient (t is exact in a
// float, the two roundings leave it off by less than 2^-15), and one step each way makes it exact.
constexpr int32_t kVectorSpan = 1 << 23;

__attribute__((target("avx2"))) int smooth_row_avx2(const pix32 *s, pix32 *d, const uint32_t *sum, int n,
                                                    int k, const ramp &level) {
  const __m256i lo = _mm256_set1_epi32(level.lo), span = _mm256_set1_epi32(level.span);
  const __m256i zero = _mm256_setzero_si256(), one = _mm256_set1_epi32(1);
  const __m256i alpha = _mm256_set1_epi32(int(0xFF000000u));
  const __m256 scale = _mm256_set1_ps(255.0f / float(level.span));
  int x = 0;
  for (; x + 8 <= n; x += 8) {
    const __m256i total = _mm256_sub_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(sum + x + k)),
                                           _mm256_loadu_si256(reinterpret_cast<const __m256i *>(sum + x)));
    const __m256i t = _mm256_min_epi32(_mm256_max_epi32(_mm256_sub_epi32(total, lo), zero), span);
    const __m256i num = _mm256_sub_epi32(_mm256_slli_epi32(t, 8), t);
    __m256i q = _mm256_cvttps_epi32(_mm256_mul_ps(_mm256_cvtepi32_ps(t), scale));
    const __m256i up = _mm256_add_epi32(q, one);
    q = _mm256_add_epi32(up, _mm256_cmpgt_epi32(_mm256_mullo_epi32(up, span), num));
    q = _mm256_add_epi32(q, _mm256_cmpgt_epi32(_mm256_mullo_epi32(q, span), num));
    const __m256i dv = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(d + x));
    const __m256i sv = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(s + x));
    const __m256i out = _mm256_or_si256(_mm256_andnot_si256(alpha, dv), _mm256_slli_epi32(q, 24));
    const __m256i skipped = _mm256_cmpeq_epi32(_mm256_and_si256(sv, alpha), zero);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(d + x), _mm256_blendv_epi8(out, dv, skipped));
  }
  return x;
}
#endif

void smooth_rows(const surf32 *src, surf32 *dst, const RECT &c, int y0, int y1, int k, const ramp &level,
                 bool avx2) {
  const int half = k / 2, w = src->width, h = src->height;
  const int first = c.left - half, padded = c.right - c.left + 2 * half;
  // The frame's columns the squares reach; those left of 0 and right of w - 1 are copies.
  const int xa = std::max(first, 0), xb = std::min(c.right - 1 + half, w - 1) + 1;
  std::vector<uint32_t> col(static_cast<size_t>(padded)), sum(static_cast<size_t>(padded) + 1);
  uint32_t *v = col.data() + (xa - first);
  const int n = xb - xa;
  auto columns = [&](const pix32 *out, const pix32 *in) {
    int done = 0;
#if SMOOTH_X86
    if (avx2) done = alpha_columns_avx2(out ? out + xa : nullptr, in + xa, v, n);
#endif
    alpha_columns_ref(out ? out + xa : nullptr, in + xa, v, done, n);
  };
  auto source = [&](int y) { return row(src, std::clamp(y, 0, h - 1)); };
  for (int dy = -half; dy <= half; ++dy) columns(nullptr, source(y0 + dy));
  for (int y = y0; y < y1; ++y) {
    if (y > y0) columns(source(y - 1 - half), source(y + half));
    std::fill(col.begin(), col.begin() + (xa - first), v[0]);
    std::fill(col.begin() + (xb - first), col.end(), v[n - 1]);
    int done = 0;
#if SMOOTH_X86
    if (avx2) done = running_sum_avx2(col.data(), sum.data(), padded);
#endif
    running_sum_ref(col.data(), sum.data(), done, padded);
    const pix32 *s = row(src, y) + c.left;
    pix32 *d = row(dst, y) + c.left;
    done = 0;
#if SMOOTH_X86
    if (avx2 && level.span < kVectorSpan)
      done = smooth_row_avx2(s, d, sum.data(), c.right - c.left, k, level);
#endif
    smooth_row_ref(s, d, sum.data(), done, c.right - c.left, k, level);
  }
}

}  // namespace

int pixelator::RunKeyBlend(surf32 *src, surf32 *dst, RECT r, int n, double soft) {
  if (!usable(src) || !usable(dst)) return 0;
  // Kernels wider than this only repeat the edges; the cap keeps the sums in range.
  n = std::clamp(n, 0, 1023);
  const int k = std::max(n | 1, 3);
  const int64_t lo = int64_t(k) * k * 255 / 2;
  const double s = std::isnan(soft) ? 0.0 : std::clamp(soft, 0.0, 1.0);
  const int64_t hi = int64_t(double(lo) + double(lo) * s);
  const ramp level{int32_t(lo), int32_t(std::max<int64_t>(hi - lo, 1))};
  const RECT c = clip_to(*dst, clip_to(*src, r));
  if (c.right <= c.left || c.bottom <= c.top) return 1;
  // The squares read rows the band has already written when both are one frame: read a copy.
  std::unique_ptr<surf32, void (*)(surf32 *)> copy(nullptr, &pixelator::Surf32Delete);
  if (src->bits == dst->bits) {
    copy.reset(pixelator::Surf32Create(src->width, src->height));
    RECT whole{0, 0, src->width, src->height};
    if (!copy || !pixelator::BitBlt(src, copy.get(), &whole)) return 0;
    src = copy.get();
  }
  const bool avx2 = kernels::ActiveTier() >= kernels::tier::avx2;
  for_rows(c, [&](int y0, int y1) { smooth_rows(src, dst, c, y0, y1, k, level, avx2); });
  return 1;
}
