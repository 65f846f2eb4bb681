// Row kernels of the surface operations: AVX2 and SSE2 fast paths, chosen once by what the
// processor offers, and the scalar references they must match bit for bit.
#include "media/kernels.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <vector>

#include "media/rows.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define KERNELS_X86 1
#define AVX2_FN __attribute__((target("avx2")))
#endif

namespace kernels {

namespace {

inline uint8_t mix(int s, int d, int a) { return uint8_t((s * a + d * (255 - a)) >> 8); }

tier detect() {
#if KERNELS_X86
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("avx512vl") &&
      __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi"))
    return tier::avx512;
  if (__builtin_cpu_supports("avx2")) return tier::avx2;
  return tier::sse2;
#else
  return tier::scalar;
#endif
}

const tier kBest = detect();
std::atomic<int> g_cap{int(tier::avx512)};

inline tier use() { return tier(std::min(int(kBest), g_cap.load(std::memory_order_relaxed))); }

#if KERNELS_X86
// ---- SSE2: four pixels at a time ----

inline __m128i load4(const pix32 *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
inline void store4(pix32 *p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }
inline int word_at(const pix32 *p) {
  int w;
  std::memcpy(&w, p, 4);
  return w;
}

// Every channel of four pixels blended by the source alpha. s * a + d * (255 - a) is at most
// 255 * 255, so it fits an unsigned 16-bit lane and the shift is logical.
inline __m128i blend4(__m128i s, __m128i d) {
  const __m128i zero = _mm_setzero_si128(), full = _mm_set1_epi16(255);
  const __m128i slo = _mm_unpacklo_epi8(s, zero), shi = _mm_unpackhi_epi8(s, zero);
  const __m128i dlo = _mm_unpacklo_epi8(d, zero), dhi = _mm_unpackhi_epi8(d, zero);
  const __m128i alo = _mm_shufflehi_epi16(_mm_shufflelo_epi16(slo, 0xFF), 0xFF);
  const __m128i ahi = _mm_shufflehi_epi16(_mm_shufflelo_epi16(shi, 0xFF), 0xFF);
  const __m128i rlo =
      _mm_add_epi16(_mm_mullo_epi16(slo, alo), _mm_mullo_epi16(dlo, _mm_sub_epi16(full, alo)));
  const __m128i rhi =
      _mm_add_epi16(_mm_mullo_epi16(shi, ahi), _mm_mullo_epi16(dhi, _mm_sub_epi16(full, ahi)));
  return _mm_packus_epi16(_mm_srli_epi16(rlo, 8), _mm_srli_epi16(rhi, 8));
}

// (s * va + d * vb) >> 8 for every byte of four pixels, the weights in 16-bit lanes; each sum
// must fit 16 bits unsigned (a blend: va = a, vb = 255 - a).
inline __m128i mix4(__m128i s, __m128i d, __m128i va, __m128i vb) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i lo = _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(_mm_unpacklo_epi8(s, zero), va),
                                                  _mm_mullo_epi16(_mm_unpacklo_epi8(d, zero), vb)),
                                    8);
  const __m128i hi = _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(_mm_unpackhi_epi8(s, zero), va),
                                                  _mm_mullo_epi16(_mm_unpackhi_epi8(d, zero), vb)),
                                    8);
  return _mm_packus_epi16(lo, hi);
}

// Keeps the colours of r and the alpha of d.
inline __m128i keep_alpha4(__m128i r, __m128i d) {
  const __m128i amask = _mm_set1_epi32(int(0xFF000000u));
  return _mm_or_si128(_mm_andnot_si128(amask, r), _mm_and_si128(amask, d));
}

int fill_sse2(pix32 *p, int n, pix32 value) {
  const __m128i v = _mm_set1_epi32(int(value.word()));
  int i = 0;
  for (; i + 4 <= n; i += 4) store4(p + i, v);
  return i;
}

int swap_sse2(pix32 *a, pix32 *b, int n) {
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128i x = load4(a + i);
    store4(a + i, load4(b + i));
    store4(b + i, x);
  }
  return i;
}

// The rounded-up mean of the bytes less the bit the rounding added: the truncated mean.
int mean_sse2(const pix32 *a, const pix32 *b, pix32 *out, int n) {
  const __m128i one = _mm_set1_epi8(1);
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128i x = load4(a + i), y = load4(b + i);
    store4(out + i, _mm_sub_epi8(_mm_avg_epu8(x, y), _mm_and_si128(_mm_xor_si128(x, y), one)));
  }
  return i;
}

// a * (256 - w) + b * w is at most 255 * 256: it fits mix4's lanes.
int mix256_sse2(const pix32 *a, const pix32 *b, pix32 *out, int n, int w) {
  const __m128i wa = _mm_set1_epi16(int16_t(256 - w)), wb = _mm_set1_epi16(int16_t(w));
  int i = 0;
  for (; i + 4 <= n; i += 4) store4(out + i, mix4(load4(a + i), load4(b + i), wa, wb));
  return i;
}

// Four pixels from each end a step, each four reversed; returns how many were taken from each end.
int mirror_sse2(pix32 *p, int n) {
  int k = 0;
  for (; n - 2 * k >= 8; k += 4) {
    const __m128i x = load4(p + k), y = load4(p + n - k - 4);
    store4(p + k, _mm_shuffle_epi32(y, 0x1B));
    store4(p + n - k - 4, _mm_shuffle_epi32(x, 0x1B));
  }
  return k;
}

int blend_sse2(const pix32 *src, pix32 *dst, int n) {
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128i d = load4(dst + i);
    store4(dst + i, keep_alpha4(blend4(load4(src + i), d), d));
  }
  return i;
}

// The alpha of each source pixel is first moved by `delta` (saturating, as alpha_add_row does).
int gather_blend_sse2(const pix32 *src, const int32_t *index, pix32 *dst, int n, int delta) {
  const uint32_t mag = uint32_t(std::min(delta < 0 ? -delta : delta, 255)) << 24;
  const __m128i up = _mm_set1_epi32(int(delta > 0 ? mag : 0)),
                down = _mm_set1_epi32(int(delta < 0 ? mag : 0));
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128i s = _mm_set_epi32(word_at(src + index[i + 3]), word_at(src + index[i + 2]),
                                    word_at(src + index[i + 1]), word_at(src + index[i]));
    store4(dst + i, blend4(_mm_subs_epu8(_mm_adds_epu8(s, up), down), load4(dst + i)));
  }
  return i;
}

int mix_sse2(const pix32 *src, pix32 *dst, int n, int a) {
  const __m128i va = _mm_set1_epi16(int16_t(a)), vb = _mm_set1_epi16(int16_t(255 - a));
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128i d = load4(dst + i);
    store4(dst + i, keep_alpha4(mix4(load4(src + i), d, va, vb), d));
  }
  return i;
}

// clamp(a + delta, 0, 255) is a saturating add (or subtract) of |delta| capped at 255.
int alpha_add_sse2(const pix32 *src, pix32 *dst, int n, int delta) {
  const int mag = std::min(delta < 0 ? -delta : delta, 255);
  const __m128i step = _mm_set1_epi32(int(uint32_t(mag) << 24));
  int i = 0;
  if (delta > 0) {
    for (; i + 4 <= n; i += 4) store4(dst + i, _mm_adds_epu8(load4(src + i), step));
  } else {
    for (; i + 4 <= n; i += 4) store4(dst + i, _mm_subs_epu8(load4(src + i), step));
  }
  return i;
}

int alpha_set_sse2(pix32 *p, int n, uint8_t alpha) {
  const __m128i amask = _mm_set1_epi32(int(0xFF000000u)), value = _mm_set1_epi32(int(uint32_t(alpha) << 24));
  int i = 0;
  for (; i + 4 <= n; i += 4) store4(p + i, _mm_or_si128(_mm_andnot_si128(amask, load4(p + i)), value));
  return i;
}

// Shifting the whole word moves each channel's low bit into its neighbour's top bit; the mask
// drops those, and alpha comes back from the original word.
int dimm_sse2(pix32 *p, int n) {
  const __m128i low = _mm_set1_epi32(0x007F7F7F), amask = _mm_set1_epi32(int(0xFF000000u));
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128i v = load4(p + i);
    store4(p + i, _mm_or_si128(_mm_and_si128(_mm_srli_epi32(v, 1), low), _mm_and_si128(v, amask)));
  }
  return i;
}

// ---- AVX2: eight pixels at a time, the same arithmetic ----

AVX2_FN inline __m256i load8(const pix32 *p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
}
AVX2_FN inline void store8(pix32 *p, __m256i v) { _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v); }

// Eight source pixels weighed for blending: their channels times their alpha, in 16-bit lanes
// (each 32-bit pixel is two lanes: masking keeps blue and red, a shift by 8 gives green and
// alpha), and 255 - alpha for the destination. One weighing serves every row it is blended into.
struct weighed8 {
  __m256i even, odd, rest;
};

AVX2_FN inline weighed8 weigh8(__m256i s) {
  const __m256i low = _mm256_set1_epi16(0x00FF), full = _mm256_set1_epi16(255);
  // The pixel's alpha in both of its lanes.
  const __m256i pick = _mm256_setr_epi8(3, -1, 3, -1, 7, -1, 7, -1, 11, -1, 11, -1, 15, -1, 15, -1, 3, -1, 3,
                                        -1, 7, -1, 7, -1, 11, -1, 11, -1, 15, -1, 15, -1);
  const __m256i a = _mm256_shuffle_epi8(s, pick);
  return {_mm256_mullo_epi16(_mm256_and_si256(s, low), a), _mm256_mullo_epi16(_mm256_srli_epi16(s, 8), a),
          _mm256_sub_epi16(full, a)};
}

AVX2_FN inline __m256i blend8(const weighed8 &w, __m256i d) {
  const __m256i low = _mm256_set1_epi16(0x00FF), high = _mm256_set1_epi16(int16_t(0xFF00));
  const __m256i even = _mm256_add_epi16(w.even, _mm256_mullo_epi16(_mm256_and_si256(d, low), w.rest));
  const __m256i odd = _mm256_add_epi16(w.odd, _mm256_mullo_epi16(_mm256_srli_epi16(d, 8), w.rest));
  return _mm256_or_si256(_mm256_srli_epi16(even, 8), _mm256_and_si256(odd, high));
}

AVX2_FN inline __m256i blend8(__m256i s, __m256i d) { return blend8(weigh8(s), d); }

AVX2_FN inline __m256i keep_alpha8(__m256i r, __m256i d) {
  return _mm256_blendv_epi8(r, d, _mm256_set1_epi32(int(0xFF000000u)));
}

// mix4 on eight pixels. The weights are 16-bit lanes as the byte unpacks hold the pixels: lo for
// pixels 0, 1 | 4, 5, hi for 2, 3 | 6, 7 (the same register twice for constant weights).
AVX2_FN inline __m256i mix8(__m256i s, __m256i d, __m256i va_lo, __m256i vb_lo, __m256i va_hi,
                            __m256i vb_hi) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i lo =
      _mm256_srli_epi16(_mm256_add_epi16(_mm256_mullo_epi16(_mm256_unpacklo_epi8(s, zero), va_lo),
                                         _mm256_mullo_epi16(_mm256_unpacklo_epi8(d, zero), vb_lo)),
                        8);
  const __m256i hi =
      _mm256_srli_epi16(_mm256_add_epi16(_mm256_mullo_epi16(_mm256_unpackhi_epi8(s, zero), va_hi),
                                         _mm256_mullo_epi16(_mm256_unpackhi_epi8(d, zero), vb_hi)),
                        8);
  return _mm256_packus_epi16(lo, hi);
}

AVX2_FN int fill_avx2(pix32 *p, int n, pix32 value) {
  const __m256i v = _mm256_set1_epi32(int(value.word()));
  int i = 0;
  for (; i + 8 <= n; i += 8) store8(p + i, v);
  return i;
}

AVX2_FN int blend_avx2(const pix32 *src, pix32 *dst, int n) {
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m256i d = load8(dst + i);
    store8(dst + i, keep_alpha8(blend8(load8(src + i), d), d));
  }
  return i;
}

// Eight source pixels for index[0..7], fetched as planned: one load for a consecutive run, a
// load and a permute for a run within eight pixels (scaling up), two of each for a run within
// sixteen (scaling down to half), a hardware gather otherwise.
AVX2_FN inline __m256i fetch8(const pix32 *src, const int32_t *index, uint8_t kind) {
  if (kind == 0) return load8(src + index[0]);
  const __m256i idx = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(index));
  const __m256i off = _mm256_sub_epi32(idx, _mm256_set1_epi32(index[0]));
  if (kind == 1) return _mm256_permutevar8x32_epi32(load8(src + index[0]), off);
  if (kind == 3) {
    // The permute reads the low three bits of each offset; the comparison picks the half.
    const __m256i first = _mm256_permutevar8x32_epi32(load8(src + index[0]), off);
    const __m256i second = _mm256_permutevar8x32_epi32(load8(src + index[0] + 8), off);
    return _mm256_blendv_epi8(first, second, _mm256_cmpgt_epi32(off, _mm256_set1_epi32(7)));
  }
  return _mm256_i32gather_epi32(reinterpret_cast<const int *>(src), idx, 4);
}

// The gathers fill `rows` destination rows `pitch` pixels apart from one source row (a
// picture scaled up repeats its rows): each run of source pixels is fetched, its alpha moved
// (saturating, as alpha_add_row moves it) and for the blend weighed, once for all of them.
// Dir > 0 adds `step` to each alpha, Dir < 0 subtracts it, 0 leaves it: each direction has its
// own loop, so a picture whose alpha is not moved pays nothing for the move.
template <int Dir>
AVX2_FN inline __m256i move_alpha8(__m256i s, __m256i step) {
  if constexpr (Dir > 0) return _mm256_adds_epu8(s, step);
  if constexpr (Dir < 0) return _mm256_subs_epu8(s, step);
  return s;
}

template <int Dir>
AVX2_FN int gather_blend_avx2(const pix32 *src, const int32_t *index, const uint8_t *kinds, pix32 *dst,
                              ptrdiff_t pitch, int rows, int n, __m256i step) {
  int i = 0;
  if (rows == 1) {
    for (; i + 8 <= n; i += 8)
      store8(dst + i, blend8(move_alpha8<Dir>(fetch8(src, index + i, kinds[i / 8]), step), load8(dst + i)));
    return i;
  }
  for (; i + 8 <= n; i += 8) {
    const weighed8 w = weigh8(move_alpha8<Dir>(fetch8(src, index + i, kinds[i / 8]), step));
    for (int r = 0; r < rows; ++r) {
      pix32 *d = dst + pitch * r + i;
      store8(d, blend8(w, load8(d)));
    }
  }
  return i;
}

template <int Dir>
AVX2_FN int gather_copy_avx2(const pix32 *src, const int32_t *index, const uint8_t *kinds, pix32 *dst,
                             ptrdiff_t pitch, int rows, int n, __m256i step) {
  int i = 0;
  if (rows == 1) {
    for (; i + 8 <= n; i += 8) store8(dst + i, move_alpha8<Dir>(fetch8(src, index + i, kinds[i / 8]), step));
    return i;
  }
  for (; i + 8 <= n; i += 8) {
    const __m256i s = move_alpha8<Dir>(fetch8(src, index + i, kinds[i / 8]), step);
    for (int r = 0; r < rows; ++r) store8(dst + pitch * r + i, s);
  }
  return i;
}

// A blend whose alpha is moved up by 255 or more: every source alpha is 255, so each channel
// is (s * 255 + d * 0) >> 8, which is s - 1 (0 stays 0), and the alpha 254, whatever lay below.
// The destination is not read.
AVX2_FN int gather_opaque_avx2(const pix32 *src, const int32_t *index, const uint8_t *kinds, pix32 *dst,
                               ptrdiff_t pitch, int rows, int n) {
  const __m256i alpha = _mm256_set1_epi32(int(0xFF000000u)), one = _mm256_set1_epi8(1);
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m256i s = _mm256_subs_epu8(_mm256_or_si256(fetch8(src, index + i, kinds[i / 8]), alpha), one);
    for (int r = 0; r < rows; ++r) store8(dst + pitch * r + i, s);
  }
  return i;
}

AVX2_FN int gather_avx2(const pix32 *src, const int32_t *index, const uint8_t *kinds, pix32 *dst,
                        ptrdiff_t pitch, int rows, int n, bool blend, int delta) {
  if (blend && delta >= 255) return gather_opaque_avx2(src, index, kinds, dst, pitch, rows, n);
  const __m256i step = _mm256_set1_epi32(int(uint32_t(std::min(delta < 0 ? -delta : delta, 255)) << 24));
  if (delta > 0)
    return blend ? gather_blend_avx2<1>(src, index, kinds, dst, pitch, rows, n, step)
                 : gather_copy_avx2<1>(src, index, kinds, dst, pitch, rows, n, step);
  if (delta < 0)
    return blend ? gather_blend_avx2<-1>(src, index, kinds, dst, pitch, rows, n, step)
                 : gather_copy_avx2<-1>(src, index, kinds, dst, pitch, rows, n, step);
  return blend ? gather_blend_avx2<0>(src, index, kinds, dst, pitch, rows, n, step)
               : gather_copy_avx2<0>(src, index, kinds, dst, pitch, rows, n, step);
}

AVX2_FN int mix_avx2(const pix32 *src, pix32 *dst, int n, int a) {
  const __m256i va = _mm256_set1_epi16(int16_t(a)), vb = _mm256_set1_epi16(int16_t(255 - a));
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m256i d = load8(dst + i);
    store8(dst + i, keep_alpha8(mix8(load8(src + i), d, va, vb, va, vb), d));
  }
  return i;
}

AVX2_FN int alpha_add_avx2(const pix32 *src, pix32 *dst, int n, int delta) {
  const int mag = std::min(delta < 0 ? -delta : delta, 255);
  const __m256i step = _mm256_set1_epi32(int(uint32_t(mag) << 24));
  int i = 0;
  if (delta > 0) {
    for (; i + 8 <= n; i += 8) store8(dst + i, _mm256_adds_epu8(load8(src + i), step));
  } else {
    for (; i + 8 <= n; i += 8) store8(dst + i, _mm256_subs_epu8(load8(src + i), step));
  }
  return i;
}

AVX2_FN int alpha_set_avx2(pix32 *p, int n, uint8_t alpha) {
  const __m256i amask = _mm256_set1_epi32(int(0xFF000000u));
  const __m256i value = _mm256_set1_epi32(int(uint32_t(alpha) << 24));
  int i = 0;
  for (; i + 8 <= n; i += 8) store8(p + i, _mm256_or_si256(_mm256_andnot_si256(amask, load8(p + i)), value));
  return i;
}

// Eight pixels of three bytes each from two 16-byte loads (each 12 bytes used), spread to words
// with alpha 0 by a byte shuffle within each 128-bit lane. The loads reach 4 bytes past the
// pixels used, so the loop stops two pixels short of the row's end.
AVX2_FN int bgr24_avx2(const uint8_t *in, pix32 *out, int n) {
  const __m256i spread = _mm256_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1, 0, 1, 2, -1,
                                          3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
  int i = 0;
  for (; i + 10 <= n; i += 8) {
    const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + 3 * i));
    const __m128i hi = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + 3 * i + 12));
    store8(out + i, _mm256_shuffle_epi8(_mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1), spread));
  }
  return i;
}

// Sixteen pixels of three bytes from forty-eight, spread to words by one byte permute across
// the register, the alpha bytes zeroed by its mask. The last step's load and store are masked
// to the pixels left, so the row is done with nothing read or written past it.
__attribute__((target("avx2,avx512f,avx512vl,avx512bw,avx512vbmi"))) void bgr24_avx512(const uint8_t *in,
                                                                                       pix32 *out, int n) {
  alignas(64) static constexpr uint8_t kSpread[64] = {
      0,  1,  2,  0,  3,  4,  5,  0,  6,  7,  8,  0,  9,  10, 11, 0,  12, 13, 14, 0,  15, 16,
      17, 0,  18, 19, 20, 0,  21, 22, 23, 0,  24, 25, 26, 0,  27, 28, 29, 0,  30, 31, 32, 0,
      33, 34, 35, 0,  36, 37, 38, 0,  39, 40, 41, 0,  42, 43, 44, 0,  45, 46, 47, 0};
  const __m512i spread = _mm512_load_si512(kSpread);
  const __mmask64 colours = 0x7777777777777777ull;
  for (int i = 0; i < n; i += 16) {
    const int m = std::min(16, n - i);
    const __m512i v = _mm512_maskz_loadu_epi8(__mmask64((uint64_t(1) << (3 * m)) - 1), in + 3 * i);
    _mm512_mask_storeu_epi32(out + i, __mmask16((1u << m) - 1),
                             _mm512_maskz_permutexvar_epi8(colours, spread, v));
  }
}

AVX2_FN int swap_avx2(pix32 *a, pix32 *b, int n) {
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m256i x = load8(a + i);
    store8(a + i, load8(b + i));
    store8(b + i, x);
  }
  return i;
}

AVX2_FN int mean_avx2(const pix32 *a, const pix32 *b, pix32 *out, int n) {
  const __m256i one = _mm256_set1_epi8(1);
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m256i x = load8(a + i), y = load8(b + i);
    store8(out + i, _mm256_sub_epi8(_mm256_avg_epu8(x, y), _mm256_and_si256(_mm256_xor_si256(x, y), one)));
  }
  return i;
}

AVX2_FN int mix256_avx2(const pix32 *a, const pix32 *b, pix32 *out, int n, int w) {
  const __m256i wa = _mm256_set1_epi16(int16_t(256 - w)), wb = _mm256_set1_epi16(int16_t(w));
  int i = 0;
  for (; i + 8 <= n; i += 8) store8(out + i, mix8(load8(a + i), load8(b + i), wa, wb, wa, wb));
  return i;
}

// The colour's share c * a is the same for every pixel: one multiply per lane for the picture's.
AVX2_FN int paint_avx2(pix32 *p, int n, pix32 colour, int alpha) {
  const __m256i zero = _mm256_setzero_si256(), keep = _mm256_set1_epi16(int16_t(255 - alpha));
  const __m256i share =
      _mm256_setr_epi16(int16_t(colour.b * alpha), int16_t(colour.g * alpha), int16_t(colour.r * alpha), 0,
                        int16_t(colour.b * alpha), int16_t(colour.g * alpha), int16_t(colour.r * alpha), 0,
                        int16_t(colour.b * alpha), int16_t(colour.g * alpha), int16_t(colour.r * alpha), 0,
                        int16_t(colour.b * alpha), int16_t(colour.g * alpha), int16_t(colour.r * alpha), 0);
  const __m256i amask = _mm256_set1_epi32(int(0xFF000000u)),
                least = _mm256_set1_epi32(int(uint32_t(alpha) << 24));
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m256i d = load8(p + i);
    const __m256i lo = _mm256_srli_epi16(
        _mm256_add_epi16(_mm256_mullo_epi16(_mm256_unpacklo_epi8(d, zero), keep), share), 8);
    const __m256i hi = _mm256_srli_epi16(
        _mm256_add_epi16(_mm256_mullo_epi16(_mm256_unpackhi_epi8(d, zero), keep), share), 8);
    store8(p + i, _mm256_blendv_epi8(_mm256_packus_epi16(lo, hi), _mm256_max_epu8(d, least), amask));
  }
  return i;
}

// The weights of eight pixels spread over their channels' 16-bit lanes as mix8 takes them.
AVX2_FN inline void spread_weights(const uint16_t *w, __m256i &lo, __m256i &hi) {
  const __m256i v = _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(w)));
  const __m256i pair = _mm256_or_si256(v, _mm256_slli_epi32(v, 16));
  lo = _mm256_unpacklo_epi32(pair, pair);
  hi = _mm256_unpackhi_epi32(pair, pair);
}

AVX2_FN int mix256_mirrored_avx2(const pix32 *a, const pix32 *b, pix32 *out, int n, const uint16_t *w) {
  const __m256i full = _mm256_set1_epi16(256), reverse = _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0);
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m256i x = _mm256_permutevar8x32_epi32(load8(a - i - 7), reverse);
    __m256i lo, hi;
    spread_weights(w + i, lo, hi);
    store8(out + i, mix8(x, load8(b + i), _mm256_sub_epi16(full, lo), lo, _mm256_sub_epi16(full, hi), hi));
  }
  return i;
}

// mix8 with no second picture: one multiply a half rather than a second against zero. Alpha's
// lanes weigh 256, which gives it back unchanged.
AVX2_FN int shade_avx2(pix32 *p, int n, const uint16_t *w) {
  const __m256i zero = _mm256_setzero_si256(), full = _mm256_set1_epi16(256);
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    __m256i lo, hi;
    spread_weights(w + i, lo, hi);
    const __m256i v = load8(p + i);
    lo = _mm256_mullo_epi16(_mm256_unpacklo_epi8(v, zero), _mm256_blend_epi16(lo, full, 0x88));
    hi = _mm256_mullo_epi16(_mm256_unpackhi_epi8(v, zero), _mm256_blend_epi16(hi, full, 0x88));
    store8(p + i, _mm256_packus_epi16(_mm256_srli_epi16(lo, 8), _mm256_srli_epi16(hi, 8)));
  }
  return i;
}

AVX2_FN int mirror_avx2(pix32 *p, int n) {
  const __m256i reverse = _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0);
  int k = 0;
  for (; n - 2 * k >= 16; k += 8) {
    const __m256i x = load8(p + k), y = load8(p + n - k - 8);
    store8(p + k, _mm256_permutevar8x32_epi32(y, reverse));
    store8(p + n - k - 8, _mm256_permutevar8x32_epi32(x, reverse));
  }
  return k;
}

AVX2_FN int dimm_avx2(pix32 *p, int n) {
  const __m256i low = _mm256_set1_epi32(0x007F7F7F), amask = _mm256_set1_epi32(int(0xFF000000u));
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m256i v = load8(p + i);
    store8(p + i,
           _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi32(v, 1), low), _mm256_and_si256(v, amask)));
  }
  return i;
}
#endif

}  // namespace

tier ActiveTier() { return use(); }

tier LimitTier(tier t) { return tier(g_cap.exchange(int(t))); }

// ---- References ----

void fill_row_ref(pix32 *p, int n, pix32 value) {
  for (int i = 0; i < n; ++i) p[i] = value;
}

void blend_row_ref(const pix32 *src, pix32 *dst, int n) {
  for (int i = 0; i < n; ++i) {
    const int a = src[i].a;
    dst[i].b = mix(src[i].b, dst[i].b, a);
    dst[i].g = mix(src[i].g, dst[i].g, a);
    dst[i].r = mix(src[i].r, dst[i].r, a);
  }
}

void gather_row_ref(const pix32 *src, const int32_t *index, pix32 *dst, int n, bool blend, int alpha_delta) {
  for (int i = 0; i < n; ++i) {
    pix32 s = src[index[i]];
    s.a = uint8_t(std::clamp(s.a + alpha_delta, 0, 255));
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

void mix_row_ref(const pix32 *src, pix32 *dst, int n, int a) {
  for (int i = 0; i < n; ++i) {
    dst[i].b = mix(src[i].b, dst[i].b, a);
    dst[i].g = mix(src[i].g, dst[i].g, a);
    dst[i].r = mix(src[i].r, dst[i].r, a);
  }
}

void alpha_add_row_ref(pix32 *p, int n, int delta) {
  for (int i = 0; i < n; ++i) p[i].a = uint8_t(std::clamp(p[i].a + delta, 0, 255));
}

void copy_alpha_add_row_ref(const pix32 *src, pix32 *dst, int n, int delta) {
  for (int i = 0; i < n; ++i) {
    dst[i] = src[i];
    dst[i].a = uint8_t(std::clamp(src[i].a + delta, 0, 255));
  }
}

void alpha_set_row_ref(pix32 *p, int n, uint8_t alpha) {
  for (int i = 0; i < n; ++i) p[i].a = alpha;
}

void bgr24_row_ref(const uint8_t *in, pix32 *out, int n) {
  for (int i = 0; i < n; ++i) out[i] = pix32(in[3 * i + 2], in[3 * i + 1], in[3 * i], 0);
}

void dimm_row_ref(pix32 *p, int n) {
  for (int i = 0; i < n; ++i) {
    p[i].b >>= 1;
    p[i].g >>= 1;
    p[i].r >>= 1;
  }
}

// ---- Fast paths: the widest tier for the body, the reference for the tail ----

void fill_row(pix32 *p, int n, pix32 value) {
  int i = 0;
#if KERNELS_X86
  const tier t = use();
  if (t >= tier::avx2)
    i = fill_avx2(p, n, value);
  else if (t == tier::sse2)
    i = fill_sse2(p, n, value);
#endif
  fill_row_ref(p + i, n - i, value);
}

void blend_row(const pix32 *src, pix32 *dst, int n) {
  int i = 0;
#if KERNELS_X86
  const tier t = use();
  if (t >= tier::avx2)
    i = blend_avx2(src, dst, n);
  else if (t == tier::sse2)
    i = blend_sse2(src, dst, n);
#endif
  blend_row_ref(src + i, dst + i, n - i);
}

void gather_plan(const int32_t *index, int n, int limit, uint8_t *kinds) {
  for (int i = 0; i + 8 <= n; i += 8) {
    const int32_t base = index[i];
    bool consecutive = base + 8 <= limit, near = consecutive, within16 = int64_t(base) + 16 <= limit;
    for (int k = 1; k < 8; ++k) {
      const int64_t off = int64_t(index[i + k]) - base;
      consecutive &= off == k;
      near &= off >= 0 && off < 8;
      within16 &= off >= 0 && off < 16;
    }
    kinds[i / 8] = consecutive ? 0 : near ? 1 : within16 ? 3 : 2;
  }
}

void gather_rows(const pix32 *src, const int32_t *index, const uint8_t *kinds, pix32 *dst, ptrdiff_t pitch,
                 int rows, int n, bool blend, int alpha_delta) {
  int i = 0;
#if KERNELS_X86
  if (use() >= tier::avx2) {
    i = gather_avx2(src, index, kinds, dst, pitch, rows, n, blend, alpha_delta);
    for (int r = 0; r < rows; ++r)
      gather_row_ref(src, index + i, dst + pitch * r + i, n - i, blend, alpha_delta);
    return;
  }
#endif
  for (int r = 0; r < rows; ++r) gather_row(src, index, kinds, dst + pitch * r, n, blend, alpha_delta);
}

void gather_row(const pix32 *src, const int32_t *index, const uint8_t *kinds, pix32 *dst, int n, bool blend,
                int alpha_delta) {
  int i = 0;
#if KERNELS_X86
  const tier t = use();
  if (t >= tier::avx2) return gather_rows(src, index, kinds, dst, 0, 1, n, blend, alpha_delta);
  if (t == tier::sse2 && blend) i = gather_blend_sse2(src, index, dst, n, alpha_delta);
#else
  (void)kinds;
#endif
  gather_row_ref(src, index + i, dst + i, n - i, blend, alpha_delta);
}

void mix_row(const pix32 *src, pix32 *dst, int n, int a) {
  int i = 0;
#if KERNELS_X86
  const tier t = use();
  if (t >= tier::avx2)
    i = mix_avx2(src, dst, n, a);
  else if (t == tier::sse2)
    i = mix_sse2(src, dst, n, a);
#endif
  mix_row_ref(src + i, dst + i, n - i, a);
}

void alpha_add_row(pix32 *p, int n, int delta) { copy_alpha_add_row(p, p, n, delta); }

void copy_alpha_add_row(const pix32 *src, pix32 *dst, int n, int delta) {
  int i = 0;
#if KERNELS_X86
  const tier t = use();
  if (t >= tier::avx2)
    i = alpha_add_avx2(src, dst, n, delta);
  else if (t == tier::sse2)
    i = alpha_add_sse2(src, dst, n, delta);
#endif
  copy_alpha_add_row_ref(src + i, dst + i, n - i, delta);
}

void bgr24_row(const uint8_t *in, pix32 *out, int n) {
  int i = 0;
#if KERNELS_X86
  const tier t = use();
  if (t >= tier::avx512) return bgr24_avx512(in, out, n);
  if (t == tier::avx2) i = bgr24_avx2(in, out, n);
#endif
  bgr24_row_ref(in + 3 * i, out + i, n - i);
}

void alpha_set_row(pix32 *p, int n, uint8_t alpha) {
  int i = 0;
#if KERNELS_X86
  const tier t = use();
  if (t >= tier::avx2)
    i = alpha_set_avx2(p, n, alpha);
  else if (t == tier::sse2)
    i = alpha_set_sse2(p, n, alpha);
#endif
  alpha_set_row_ref(p + i, n - i, alpha);
}

void swap_rows_ref(pix32 *a, pix32 *b, int n) { std::swap_ranges(a, a + n, b); }

void mirror_row_ref(pix32 *p, int n) { std::reverse(p, p + n); }

void mean_row_ref(const pix32 *a, const pix32 *b, pix32 *out, int n) {
  for (int x = 0; x < n; ++x)
    out[x] = pix32(uint8_t((a[x].r + b[x].r) >> 1), uint8_t((a[x].g + b[x].g) >> 1),
                   uint8_t((a[x].b + b[x].b) >> 1), uint8_t((a[x].a + b[x].a) >> 1));
}

void mix256_row_ref(const pix32 *a, const pix32 *b, pix32 *out, int n, int w) {
  const int k = 256 - w;
  for (int x = 0; x < n; ++x)
    out[x] = pix32(uint8_t((a[x].r * k + b[x].r * w) >> 8), uint8_t((a[x].g * k + b[x].g * w) >> 8),
                   uint8_t((a[x].b * k + b[x].b * w) >> 8), uint8_t((a[x].a * k + b[x].a * w) >> 8));
}

void mix256_row(const pix32 *a, const pix32 *b, pix32 *out, int n, int w) {
  int i = 0;
#if KERNELS_X86
  const tier t = use();
  if (t >= tier::avx2)
    i = mix256_avx2(a, b, out, n, w);
  else if (t == tier::sse2)
    i = mix256_sse2(a, b, out, n, w);
#endif
  mix256_row_ref(a + i, b + i, out + i, n - i, w);
}

void paint_row_ref(pix32 *p, int n, pix32 colour, int alpha) {
  const int keep = 255 - alpha;
  for (int x = 0; x < n; ++x) {
    p[x].r = uint8_t((colour.r * alpha + p[x].r * keep) >> 8);
    p[x].g = uint8_t((colour.g * alpha + p[x].g * keep) >> 8);
    p[x].b = uint8_t((colour.b * alpha + p[x].b * keep) >> 8);
    if (p[x].a < alpha) p[x].a = uint8_t(alpha);
  }
}

void paint_row(pix32 *p, int n, pix32 colour, int alpha) {
  int i = 0;
#if KERNELS_X86
  if (use() >= tier::avx2) i = paint_avx2(p, n, colour, alpha);
#endif
  paint_row_ref(p + i, n - i, colour, alpha);
}

void mix256_mirrored_row_ref(const pix32 *a, const pix32 *b, pix32 *out, int n, const uint16_t *w) {
  for (int x = 0; x < n; ++x) mix256_row_ref(a - x, b + x, out + x, 1, w[x]);
}

void mix256_mirrored_row(const pix32 *a, const pix32 *b, pix32 *out, int n, const uint16_t *w) {
  int i = 0;
#if KERNELS_X86
  if (use() >= tier::avx2) i = mix256_mirrored_avx2(a, b, out, n, w);
#endif
  mix256_mirrored_row_ref(a - i, b + i, out + i, n - i, w + i);
}

void shade_row_ref(pix32 *p, int n, const uint16_t *w) {
  for (int x = 0; x < n; ++x) {
    p[x].r = uint8_t((p[x].r * w[x]) >> 8);
    p[x].g = uint8_t((p[x].g * w[x]) >> 8);
    p[x].b = uint8_t((p[x].b * w[x]) >> 8);
  }
}

void shade_row(pix32 *p, int n, const uint16_t *w) {
  int i = 0;
#if KERNELS_X86
  if (use() >= tier::avx2) i = shade_avx2(p, n, w);
#endif
  shade_row_ref(p + i, n - i, w + i);
}

void mean_row(const pix32 *a, const pix32 *b, pix32 *out, int n) {
  int i = 0;
#if KERNELS_X86
  const tier t = use();
  if (t >= tier::avx2)
    i = mean_avx2(a, b, out, n);
  else if (t == tier::sse2)
    i = mean_sse2(a, b, out, n);
#endif
  mean_row_ref(a + i, b + i, out + i, n - i);
}

void swap_rows(pix32 *a, pix32 *b, int n) {
  int i = 0;
#if KERNELS_X86
  const tier t = use();
  if (t >= tier::avx2)
    i = swap_avx2(a, b, n);
  else if (t == tier::sse2)
    i = swap_sse2(a, b, n);
#endif
  swap_rows_ref(a + i, b + i, n - i);
}

void mirror_row(pix32 *p, int n) {
  int k = 0;
#if KERNELS_X86
  const tier t = use();
  if (t >= tier::avx2)
    k = mirror_avx2(p, n);
  else if (t == tier::sse2)
    k = mirror_sse2(p, n);
#endif
  mirror_row_ref(p + k, n - 2 * k);
}

void dimm_row(pix32 *p, int n) {
  int i = 0;
#if KERNELS_X86
  const tier t = use();
  if (t >= tier::avx2)
    i = dimm_avx2(p, n);
  else if (t == tier::sse2)
    i = dimm_sse2(p, n);
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

void scale_rect(const surf &a, RECT rs, const surf &b, RECT rd, bool blend, int alpha_delta) {
  const scale_plan p = plan(a, rs, b, rd);
  if (p.x1 <= p.x0) return;
  const int n = p.x1 - p.x0;
  // The column table and its fetch plan are made once per call; their storage is kept
  // between calls. The whole allocated row may be read: the pitch is its length in memory.
  thread_local std::vector<int32_t> index;
  thread_local std::vector<uint8_t> kinds;
  if (index.size() < size_t(n)) index.resize(size_t(n));
  if (kinds.size() < size_t(n / 8 + 1)) kinds.resize(size_t(n / 8 + 1));
  for (int i = 0; i < n; ++i) index[size_t(i)] = int32_t(source_x(rs, rd, p.sw, p.dw, p.x0 + i));
  gather_plan(index.data(), n, a.pitch, kinds.data());
  const int y0 = std::max(rd.top, 0), y1 = std::min(rd.bottom, b.height);
  const auto source_y = [&](int y) { return rs.top + ((int64_t(y) - rd.top) * p.sh) / p.dh; };
  for_rows(y0, y1, [&](int r0, int r1) {
    for (int y = r0, rows; y < r1; y += rows) {
      // Destination rows from the same source row are filled together.
      const int64_t sy = source_y(y);
      for (rows = 1; y + rows < r1 && source_y(y + rows) == sy;) ++rows;
      if (sy >= rs.bottom || sy < 0 || sy >= a.height) continue;
      gather_rows(a.bits + size_t(a.pitch) * size_t(sy), index.data(), kinds.data(),
                  b.bits + size_t(b.pitch) * size_t(y) + p.x0, b.pitch, rows, n, blend, alpha_delta);
    }
  });
}

bool scale_rect_through(const surf &a, RECT rs1, RECT rd1, int w, int h, RECT rs2, const surf &b, RECT rd2,
                        const surf &m, int alpha_delta, RECT *placed) {
  *placed = RECT{0, 0, 0, 0};
  surf mid{};
  mid.width = w;
  mid.height = h;
  const scale_plan p1 = plan(a, rs1, mid, rd1), p2 = plan(mid, rs2, b, rd2);
  const int y0 = std::max(rd2.top, 0), y1 = std::min(rd2.bottom, b.height);
  if (p2.x1 <= p2.x0 || y1 <= y0) return true;
  const int n = p2.x1 - p2.x0, rows = y1 - y0;
  if (m.width < n || m.height < rows) return false;
  thread_local std::vector<int32_t> index, source_row;
  thread_local std::vector<uint8_t> kinds;
  if (index.size() < size_t(n)) index.resize(size_t(n));
  if (kinds.size() < size_t(n / 8 + 1)) kinds.resize(size_t(n / 8 + 1));
  if (source_row.size() < size_t(rows)) source_row.resize(size_t(rows));
  for (int i = 0; i < n; ++i) {
    const int64_t x = source_x(rs2, rd2, p2.sw, p2.dw, p2.x0 + i);
    if (x < p1.x0 || x >= p1.x1) return false;
    index[size_t(i)] = int32_t(source_x(rs1, rd1, p1.sw, p1.dw, x));
  }
  // The rows as each step's own loop works them out, skipped rows included.
  const int mid0 = std::max(rd1.top, 0), mid1 = std::min(rd1.bottom, h);
  for (int i = 0; i < rows; ++i) {
    const int64_t y = rs2.top + ((int64_t(y0 + i) - rd2.top) * p2.sh) / p2.dh;
    if (y >= rs2.bottom || y < 0 || y >= h || y < mid0 || y >= mid1) return false;
    const int64_t sy = rs1.top + ((y - rd1.top) * p1.sh) / p1.dh;
    if (sy >= rs1.bottom || sy < 0 || sy >= a.height) return false;
    source_row[size_t(i)] = int32_t(sy);
  }
  gather_plan(index.data(), n, a.pitch, kinds.data());
  for_rows(0, rows, [&](int r0, int r1) {
    for (int i = r0, run; i < r1; i += run) {
      for (run = 1; i + run < r1 && source_row[size_t(i + run)] == source_row[size_t(i)];) ++run;
      gather_rows(a.bits + size_t(a.pitch) * size_t(source_row[size_t(i)]), index.data(), kinds.data(),
                  m.bits + size_t(m.pitch) * size_t(i), m.pitch, run, n, false, alpha_delta);
    }
  });
  *placed = RECT{p2.x0, y0, p2.x1, y1};
  return true;
}

void scale_rect_ref(const surf &a, RECT rs, const surf &b, RECT rd, bool blend, int alpha_delta) {
  const int64_t sw = int64_t(rs.right) - rs.left, sh = int64_t(rs.bottom) - rs.top;
  const int64_t dw = int64_t(rd.right) - rd.left, dh = int64_t(rd.bottom) - rd.top;
  for (int64_t y = rd.top; y < rd.bottom; ++y) {
    const int64_t sy = rs.top + ((y - rd.top) * sh) / dh;
    if (sy >= rs.bottom || y < 0 || y >= b.height || sy < 0 || sy >= a.height) continue;
    for (int64_t x = rd.left; x < rd.right; ++x) {
      const int64_t sx = rs.left + ((x - rd.left) * sw) / dw;
      if (x < 0 || x >= b.width || sx < 0 || sx >= a.width) continue;
      pix32 s = a.bits[sy * a.pitch + sx];
      s.a = uint8_t(std::clamp(s.a + alpha_delta, 0, 255));
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
