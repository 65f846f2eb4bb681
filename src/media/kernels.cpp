// Row kernels of the surface operations: SSE2 fast paths and their scalar references.
#include "media/kernels.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "media/rows.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#define KERNELS_SSE2 1
#endif

namespace kernels {

namespace {

inline uint8_t mix(int s, int d, int a) { return uint8_t((s * a + d * (255 - a)) >> 8); }

#if KERNELS_SSE2
// Four pixels with every channel blended by the source alpha. s * a + d * (255 - a) is at most
// 255 * 255, so it fits an unsigned 16-bit lane and the shift is logical.
inline __m128i blend4(__m128i s, __m128i d) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i full = _mm_set1_epi16(255);
  __m128i slo = _mm_unpacklo_epi8(s, zero), shi = _mm_unpackhi_epi8(s, zero);
  __m128i dlo = _mm_unpacklo_epi8(d, zero), dhi = _mm_unpackhi_epi8(d, zero);
  __m128i alo = _mm_shufflehi_epi16(_mm_shufflelo_epi16(slo, 0xFF), 0xFF);
  __m128i ahi = _mm_shufflehi_epi16(_mm_shufflelo_epi16(shi, 0xFF), 0xFF);
  __m128i rlo = _mm_add_epi16(_mm_mullo_epi16(slo, alo), _mm_mullo_epi16(dlo, _mm_sub_epi16(full, alo)));
  __m128i rhi = _mm_add_epi16(_mm_mullo_epi16(shi, ahi), _mm_mullo_epi16(dhi, _mm_sub_epi16(full, ahi)));
  return _mm_packus_epi16(_mm_srli_epi16(rlo, 8), _mm_srli_epi16(rhi, 8));
}

inline __m128i load4(const pix32 *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
inline void store4(pix32 *p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }
inline uint32_t word_at(const pix32 *p) {
  uint32_t w;
  std::memcpy(&w, p, 4);
  return w;
}
#endif

}  // namespace

// ---- References ----

void blend_row_ref(const pix32 *src, pix32 *dst, int n) {
  for (int i = 0; i < n; ++i) {
    const int a = src[i].a;
    dst[i].b = mix(src[i].b, dst[i].b, a);
    dst[i].g = mix(src[i].g, dst[i].g, a);
    dst[i].r = mix(src[i].r, dst[i].r, a);
  }
}

void gather_row_ref(const pix32 *src, const int32_t *index, pix32 *dst, int n, bool blend) {
  for (int i = 0; i < n; ++i) {
    const pix32 s = src[index[i]];
    if (!blend) {
      dst[i] = s;
      continue;
    }
    const int a = s.a;
    dst[i].b = mix(s.b, dst[i].b, a);
    dst[i].g = mix(s.g, dst[i].g, a);
    dst[i].r = mix(s.r, dst[i].r, a);
    dst[i].a = mix(a, dst[i].a, a);
  }
}

void alpha_add_row_ref(pix32 *p, int n, int delta) {
  for (int i = 0; i < n; ++i) p[i].a = uint8_t(std::clamp(p[i].a + delta, 0, 255));
}

void dimm_row_ref(pix32 *p, int n) {
  for (int i = 0; i < n; ++i) {
    p[i].b >>= 1;
    p[i].g >>= 1;
    p[i].r >>= 1;
  }
}

// ---- Fast paths ----

void blend_row(const pix32 *src, pix32 *dst, int n) {
  int i = 0;
#if KERNELS_SSE2
  const __m128i amask = _mm_set1_epi32(int(0xFF000000u));
  for (; i + 4 <= n; i += 4) {
    const __m128i s = load4(src + i), d = load4(dst + i);
    const __m128i r = blend4(s, d);
    store4(dst + i, _mm_or_si128(_mm_andnot_si128(amask, r), _mm_and_si128(amask, d)));
  }
#endif
  blend_row_ref(src + i, dst + i, n - i);
}

void gather_row(const pix32 *src, const int32_t *index, pix32 *dst, int n, bool blend) {
  if (!blend) {
    for (int i = 0; i < n; ++i) dst[i] = src[index[i]];
    return;
  }
  int i = 0;
#if KERNELS_SSE2
  for (; i + 4 <= n; i += 4) {
    const __m128i s = _mm_set_epi32(int(word_at(src + index[i + 3])), int(word_at(src + index[i + 2])),
                                    int(word_at(src + index[i + 1])), int(word_at(src + index[i])));
    store4(dst + i, blend4(s, load4(dst + i)));
  }
#endif
  gather_row_ref(src, index + i, dst + i, n - i, blend);
}

void alpha_add_row(pix32 *p, int n, int delta) {
  int i = 0;
#if KERNELS_SSE2
  // clamp(a + delta, 0, 255) is a saturating add (or subtract) of |delta| capped at 255.
  const int mag = std::min(delta < 0 ? -delta : delta, 255);
  const __m128i step = _mm_set1_epi32(int(uint32_t(mag) << 24));
  if (delta > 0) {
    for (; i + 4 <= n; i += 4) store4(p + i, _mm_adds_epu8(load4(p + i), step));
  } else {
    for (; i + 4 <= n; i += 4) store4(p + i, _mm_subs_epu8(load4(p + i), step));
  }
#endif
  alpha_add_row_ref(p + i, n - i, delta);
}

void dimm_row(pix32 *p, int n) {
  int i = 0;
#if KERNELS_SSE2
  // Shifting the whole word moves each channel's low bit into its neighbour's top bit; the
  // mask drops those, and alpha comes back from the original word.
  const __m128i low = _mm_set1_epi32(0x007F7F7F), amask = _mm_set1_epi32(int(0xFF000000u));
  for (; i + 4 <= n; i += 4) {
    const __m128i v = load4(p + i);
    store4(p + i, _mm_or_si128(_mm_and_si128(_mm_srli_epi32(v, 1), low), _mm_and_si128(v, amask)));
  }
#endif
  dimm_row_ref(p + i, n - i);
}

// ---- Scaling ----

namespace {

struct scale_plan {
  int64_t sw, sh, dw, dh;
  int x0, x1;  // destination columns whose source column lies on the source surface
};

// Source column for destination column x (truncating division, as the rule says).
inline int64_t source_x(const RECT &rs, const RECT &rd, int64_t sw, int64_t dw, int64_t x) {
  return rs.left + ((x - rd.left) * sw) / dw;
}

scale_plan plan(const surf &a, const RECT &rs, const surf &b, const RECT &rd) {
  scale_plan p;
  p.sw = int64_t(rs.right) - rs.left;
  p.sh = int64_t(rs.bottom) - rs.top;
  p.dw = int64_t(rd.right) - rd.left;
  p.dh = int64_t(rd.bottom) - rd.top;
  int x0 = std::max(rd.left, 0), x1 = std::min(rd.right, b.width);
  // Source columns grow with x, so the valid ones form one run.
  while (x0 < x1 && source_x(rs, rd, p.sw, p.dw, x0) < 0) ++x0;
  while (x1 > x0 && source_x(rs, rd, p.sw, p.dw, x1 - 1) >= a.width) --x1;
  p.x0 = x0;
  p.x1 = x1;
  return p;
}

}  // namespace

void scale_rect(const surf &a, RECT rs, const surf &b, RECT rd, bool blend) {
  const scale_plan p = plan(a, rs, b, rd);
  if (p.x1 <= p.x0) return;
  const int n = p.x1 - p.x0;
  // The column table is computed once per call; its storage is kept between calls.
  thread_local std::vector<int32_t> index;
  if (index.size() < size_t(n)) index.resize(size_t(n));
  for (int i = 0; i < n; ++i) index[i] = int32_t(source_x(rs, rd, p.sw, p.dw, p.x0 + i));
  const int y0 = std::max(rd.top, 0), y1 = std::min(rd.bottom, b.height);
  for_rows(y0, y1, [&](int r0, int r1) {
    for (int y = r0; y < r1; ++y) {
      const int64_t sy = rs.top + ((int64_t(y) - rd.top) * p.sh) / p.dh;
      if (sy >= rs.bottom || sy < 0 || sy >= a.height) continue;
      gather_row(a.bits + size_t(a.pitch) * size_t(sy), index.data(),
                 b.bits + size_t(b.pitch) * size_t(y) + p.x0, n, blend);
    }
  });
}

void scale_rect_ref(const surf &a, RECT rs, const surf &b, RECT rd, bool blend) {
  const int64_t sw = int64_t(rs.right) - rs.left, sh = int64_t(rs.bottom) - rs.top;
  const int64_t dw = int64_t(rd.right) - rd.left, dh = int64_t(rd.bottom) - rd.top;
  for (int64_t y = rd.top; y < rd.bottom; ++y) {
    const int64_t sy = rs.top + ((y - rd.top) * sh) / dh;
    if (sy >= rs.bottom || y < 0 || y >= b.height || sy < 0 || sy >= a.height) continue;
    for (int64_t x = rd.left; x < rd.right; ++x) {
      const int64_t sx = rs.left + ((x - rd.left) * sw) / dw;
      if (x < 0 || x >= b.width || sx < 0 || sx >= a.width) continue;
      const pix32 s = a.bits[sy * a.pitch + sx];
      pix32 &d = b.bits[y * b.pitch + x];
      if (!blend) {
        d = s;
      } else {
        const int al = s.a;
        d.b = mix(s.b, d.b, al);
        d.g = mix(s.g, d.g, al);
        d.r = mix(s.r, d.r, al);
        d.a = mix(al, d.a, al);
      }
    }
  }
}

}  // namespace kernels
