// Key kernels: colour boxes, luma ranges and soft-edged circles, ovals and rectangles on alpha.
#include "effects/keys.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "media/kernels.h"
#include "media/rows.h"

#if defined(__SSE2__)
#include <immintrin.h>
#define FX_SSE2 1
#endif

namespace fxkernels {
namespace {

inline pix32 *row(const surf &s, int y) { return row_of(s, y); }

// Walks the clipped rectangle a row at a time: row(first pixel, count).
template <class Row>
void walk(const surf &s, RECT r, Row row) {
  const RECT c = clip_to(s, r);
  if (c.right <= c.left) return;
  const int n = c.right - c.left;
  for_rows(c, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) row(s.bits + size_t(s.pitch) * size_t(y) + c.left, n);
  });
}

inline int clamp_byte(int v) { return std::clamp(v, 0, 255); }

// ---- Colour keys ----
//
// Keying clears alpha where the pixel lies in the key's box (plain) or outside it (inverted).
// A pixel already at alpha 0 stays at 0 either way, so it needs no test of its own.

struct rgbbox {
  int lr, hr, lg, hg, lb, hb;
};

rgbbox make_box(const rgbkey &k) {
  return {clamp_byte(k.red - k.redtol),     clamp_byte(k.red + k.redtol),   clamp_byte(k.green - k.greentol),
          clamp_byte(k.green + k.greentol), clamp_byte(k.blue - k.bluetol), clamp_byte(k.blue + k.bluetol)};
}

template <bool Inv>
void rgb_row_ref(pix32 *p, int n, const rgbbox &b) {
  for (int i = 0; i < n; ++i) {
    const bool in = p[i].r >= b.lr && p[i].r <= b.hr && p[i].g >= b.lg && p[i].g <= b.hg && p[i].b >= b.lb &&
                    p[i].b <= b.hb;
    if (in != Inv) p[i].a = 0;
  }
}

// The byte arithmetic of the chroma conversion: each term is a truncating division of a possibly
// negative product, and the sum wraps as a byte would.
inline int chroma_y(int r, int g, int b) { return ((17 * r) / 64 + g / 2 + 16 + (3 * b) / 32) & 0xFF; }
inline int chroma_u(int r, int g, int b) {
  return (128 + (7 * b) / 16 + (-5 * r) / 32 + (-9 * g) / 32) & 0xFF;
}
inline int chroma_v(int r, int g, int b) { return (128 + (7 * r) / 16 + (-3 * g) / 8 + (-b) / 16) & 0xFF; }

struct chromabox {
  int ly, hy, lu, lv, hv;
};

chromabox make_box(const chromakey &k) {
  const int yk = chroma_y(k.red, k.green, k.blue);
  const int uk = chroma_u(k.red, k.green, k.blue);
  const int vk = chroma_v(k.red, k.green, k.blue);
  // U is tested against its own lower bound but V's upper bound: the keyed box is lopsided on
  // purpose, and with a key whose U lies above its V a tight tolerance keys nothing at all.
  return {clamp_byte(yk - k.lumatol), clamp_byte(yk + k.lumatol), clamp_byte(uk - k.chromatol),
          clamp_byte(vk - k.chromatol), clamp_byte(vk + k.chromatol)};
}

template <bool Inv>
void chroma_row_ref(pix32 *p, int n, const chromabox &b) {
  for (int i = 0; i < n; ++i) {
    const int y = chroma_y(p[i].r, p[i].g, p[i].b), u = chroma_u(p[i].r, p[i].g, p[i].b),
              v = chroma_v(p[i].r, p[i].g, p[i].b);
    const bool in = y >= b.ly && y <= b.hy && v >= b.lv && v <= b.hv && u >= b.lu && u <= b.hv;
    if (in != Inv) p[i].a = 0;
  }
}

struct brightrange {
  int lo, hi;
};

template <dominance D, bool Inv>
void bright_row_ref(pix32 *p, int n, const brightrange &b) {
  for (int i = 0; i < n; ++i) {
    const int l = (p[i].b + p[i].r + 2 * p[i].g) / 4;
    bool in = l >= b.lo && l <= b.hi;
    if (D == dominance::red) in = in && p[i].g <= p[i].r && p[i].b <= p[i].r;
    if (D == dominance::green) in = in && p[i].r <= p[i].g && p[i].b <= p[i].g;
    if (D == dominance::blue) in = in && p[i].r <= p[i].b && p[i].g <= p[i].b;
    if (in != Inv) p[i].a = 0;
  }
}

#if FX_SSE2
inline __m128i load4(const pix32 *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
inline void store4(pix32 *p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }

// Clears the alpha of the four pixels v whose lane of `in` is all ones (plain) or zero (inverted).
template <bool Inv>
inline __m128i key4(__m128i v, __m128i in) {
  const __m128i amask = _mm_set1_epi32(int(0xFF000000u));
  const __m128i keyed = Inv ? _mm_andnot_si128(in, amask) : _mm_and_si128(in, amask);
  return _mm_andnot_si128(keyed, v);
}

// lo <= x <= hi on 32-bit lanes holding small non-negative values.
inline __m128i within4(__m128i x, int lo, int hi) {
  return _mm_and_si128(_mm_cmpgt_epi32(x, _mm_set1_epi32(lo - 1)),
                       _mm_cmpgt_epi32(_mm_set1_epi32(hi + 1), x));
}
#endif

template <bool Inv>
void rgb_row(pix32 *p, int n, const rgbbox &b) {
  int i = 0;
#if FX_SSE2
  // A channel lies in its bounds when both saturating differences are 0; alpha's bounds are
  // 0..255, so a pixel is inside when its whole word of differences is 0.
  const __m128i lo = _mm_set1_epi32(int(pix32(uint8_t(b.lr), uint8_t(b.lg), uint8_t(b.lb), 0).word()));
  const __m128i hi = _mm_set1_epi32(int(pix32(uint8_t(b.hr), uint8_t(b.hg), uint8_t(b.hb), 255).word()));
  const __m128i zero = _mm_setzero_si128();
  for (; i + 4 <= n; i += 4) {
    const __m128i v = load4(p + i);
    const __m128i out = _mm_or_si128(_mm_subs_epu8(lo, v), _mm_subs_epu8(v, hi));
    store4(p + i, key4<Inv>(v, _mm_cmpeq_epi32(out, zero)));
  }
#endif
  rgb_row_ref<Inv>(p + i, n - i, b);
}

#if FX_SSE2
// Sixteen pixels a step: the channels of two registers spread into 16-bit lanes by byte
// shuffles, so each term (k * x) >> s is one multiply on all sixteen, the high half of
// x * (k << (16 - s)). Every sum stays within 16..239, so the byte wrap never applies; the lane
// masks are spread back to the pixels.
template <bool Inv>
__attribute__((target("avx2"))) int chroma_row_avx2(pix32 *p, int n, const chromabox &b) {
  const __m256i amask = _mm256_set1_epi32(int(0xFF000000u));
  // Of each half's four pixels: blue then green (8 lanes), and red in the low or high 4 lanes.
  const __m256i blue_green =
      _mm256_broadcastsi128_si256(_mm_setr_epi8(0, -1, 4, -1, 8, -1, 12, -1, 1, -1, 5, -1, 9, -1, 13, -1));
  const __m256i red_low = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(2, -1, 6, -1, 10, -1, 14, -1, -1, -1, -1, -1, -1, -1, -1, -1));
  const __m256i red_high = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, 2, -1, 6, -1, 10, -1, 14, -1));
  const __m256i r17 = _mm256_set1_epi16(17 << 10), b3 = _mm256_set1_epi16(3 << 11);  // y: >> 6, >> 5
  const __m256i x7 = _mm256_set1_epi16(7 << 12);                                     // >> 4
  const __m256i r5 = _mm256_set1_epi16(5 << 11), g9 = _mm256_set1_epi16(9 << 11);    // u: >> 5
  const __m256i g3 = _mm256_set1_epi16(3 << 13);                                     // v: >> 3
  const __m256i c16 = _mm256_set1_epi16(16), c128 = _mm256_set1_epi16(128);
  const __m256i ly = _mm256_set1_epi16(short(b.ly - 1)), hy = _mm256_set1_epi16(short(b.hy + 1)),
                lu = _mm256_set1_epi16(short(b.lu - 1)), lv = _mm256_set1_epi16(short(b.lv - 1)),
                hv = _mm256_set1_epi16(short(b.hv + 1));
  int i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m256i v0 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + i));
    const __m256i v1 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + i + 8));
    const __m256i bg0 = _mm256_shuffle_epi8(v0, blue_green), bg1 = _mm256_shuffle_epi8(v1, blue_green);
    const __m256i bl = _mm256_unpacklo_epi64(bg0, bg1), gr = _mm256_unpackhi_epi64(bg0, bg1);
    const __m256i rd = _mm256_or_si256(_mm256_shuffle_epi8(v0, red_low), _mm256_shuffle_epi8(v1, red_high));
    const __m256i y =
        _mm256_add_epi16(_mm256_add_epi16(_mm256_mulhi_epu16(rd, r17), _mm256_srli_epi16(gr, 1)),
                         _mm256_add_epi16(_mm256_mulhi_epu16(bl, b3), c16));
    const __m256i u =
        _mm256_sub_epi16(_mm256_add_epi16(c128, _mm256_mulhi_epu16(bl, x7)),
                         _mm256_add_epi16(_mm256_mulhi_epu16(rd, r5), _mm256_mulhi_epu16(gr, g9)));
    const __m256i w =
        _mm256_sub_epi16(_mm256_add_epi16(c128, _mm256_mulhi_epu16(rd, x7)),
                         _mm256_add_epi16(_mm256_mulhi_epu16(gr, g3), _mm256_srli_epi16(bl, 4)));
    const __m256i in = _mm256_and_si256(
        _mm256_and_si256(_mm256_cmpgt_epi16(y, ly), _mm256_cmpgt_epi16(hy, y)),
        _mm256_and_si256(_mm256_and_si256(_mm256_cmpgt_epi16(w, lv), _mm256_cmpgt_epi16(hv, w)),
                         _mm256_and_si256(_mm256_cmpgt_epi16(u, lu), _mm256_cmpgt_epi16(hv, u))));
    // Each 128-bit half holds v0's four pixels in its first four lanes, v1's in the next.
    const __m256i in0 = _mm256_unpacklo_epi16(in, in), in1 = _mm256_unpackhi_epi16(in, in);
    const __m256i k0 = Inv ? _mm256_andnot_si256(in0, amask) : _mm256_and_si256(in0, amask);
    const __m256i k1 = Inv ? _mm256_andnot_si256(in1, amask) : _mm256_and_si256(in1, amask);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(p + i), _mm256_andnot_si256(k0, v0));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(p + i + 8), _mm256_andnot_si256(k1, v1));
  }
  return i;
}
#endif

#if FX_SSE2
// Byte 4k + c of a pair of pixel registers for 16-bit lane k: blue c = 0, green 1, red 2.
struct channelbytes {
  alignas(32) uint8_t at[3][32] = {};
  constexpr channelbytes() {
    for (int k = 0; k < 16; ++k)
      for (int c = 0; c < 3; ++c) at[c][2 * k] = uint8_t(4 * k + c);
  }
};
constexpr channelbytes kChannelBytes;

// The same sixteen pixels a step with AVX-512: a two-register byte permute puts each channel of
// the sixteen pixels in order into 16-bit lanes, the sums come out less their boxes' lower
// bounds, and a channel is inside when that difference, read unsigned, is at most the box's
// width. The comparisons go to mask registers, which clear alpha straight from their bits. Every
// box must be non-empty (a wider-than-its-range difference would pass as a small one): key_chroma
// answers empty boxes itself.
template <bool Inv>
__attribute__((target("avx2,avx512f,avx512vl,avx512bw,avx512vbmi"))) int chroma_row_avx512(
    pix32 *p, int n, const chromabox &b) {
  const auto &at = kChannelBytes.at;
  const __m256i at_blue = _mm256_load_si256(reinterpret_cast<const __m256i *>(at[0]));
  const __m256i at_green = _mm256_load_si256(reinterpret_cast<const __m256i *>(at[1]));
  const __m256i at_red = _mm256_load_si256(reinterpret_cast<const __m256i *>(at[2]));
  const __mmask32 low_bytes = 0x55555555u;
  const __m256i r17 = _mm256_set1_epi16(17 << 10), b3 = _mm256_set1_epi16(3 << 11);  // y: >> 6, >> 5
  const __m256i x7 = _mm256_set1_epi16(7 << 12);                                     // >> 4
  const __m256i r5 = _mm256_set1_epi16(5 << 11), g9 = _mm256_set1_epi16(9 << 11);    // u: >> 5
  const __m256i g3 = _mm256_set1_epi16(3 << 13);                                     // v: >> 3
  // y carries its 16 and u and v their 128 into the lower bounds.
  const __m256i ly = _mm256_set1_epi16(short(b.ly - 16)), lu = _mm256_set1_epi16(short(b.lu - 128)),
                lv = _mm256_set1_epi16(short(b.lv - 128));
  const __m256i wy = _mm256_set1_epi16(short(b.hy - b.ly)), wu = _mm256_set1_epi16(short(b.hv - b.lu)),
                wv = _mm256_set1_epi16(short(b.hv - b.lv));
  const __m256i colours = _mm256_set1_epi32(0x00FFFFFF);
  int i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m256i v0 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + i));
    const __m256i v1 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + i + 8));
    const __m256i bl = _mm256_maskz_permutex2var_epi8(low_bytes, v0, at_blue, v1);
    const __m256i gr = _mm256_maskz_permutex2var_epi8(low_bytes, v0, at_green, v1);
    const __m256i rd = _mm256_maskz_permutex2var_epi8(low_bytes, v0, at_red, v1);
    const __m256i y =
        _mm256_add_epi16(_mm256_add_epi16(_mm256_mulhi_epu16(rd, r17), _mm256_srli_epi16(gr, 1)),
                         _mm256_sub_epi16(_mm256_mulhi_epu16(bl, b3), ly));
    const __m256i u =
        _mm256_sub_epi16(_mm256_sub_epi16(_mm256_mulhi_epu16(bl, x7), lu),
                         _mm256_add_epi16(_mm256_mulhi_epu16(rd, r5), _mm256_mulhi_epu16(gr, g9)));
    const __m256i w =
        _mm256_sub_epi16(_mm256_sub_epi16(_mm256_mulhi_epu16(rd, x7), lv),
                         _mm256_add_epi16(_mm256_mulhi_epu16(gr, g3), _mm256_srli_epi16(bl, 4)));
    __mmask16 in =
        _mm256_cmple_epu16_mask(y, wy) & _mm256_cmple_epu16_mask(u, wu) & _mm256_cmple_epu16_mask(w, wv);
    if (Inv) in = __mmask16(~in);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(p + i),
                        _mm256_mask_and_epi32(v0, __mmask8(in), v0, colours));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(p + i + 8),
                        _mm256_mask_and_epi32(v1, __mmask8(in >> 8), v1, colours));
  }
  return i;
}
#endif

template <bool Inv>
void chroma_row(pix32 *p, int n, const chromabox &b) {
  int i = 0;
#if FX_SSE2
  const kernels::tier t = kernels::ActiveTier();
  if (t >= kernels::tier::avx512)
    i = chroma_row_avx512<Inv>(p, n, b);
  else if (t >= kernels::tier::avx2)
    i = chroma_row_avx2<Inv>(p, n, b);
  // On 32-bit lanes. Channels are not negative, so (-5r) / 32 is -((5r) >> 5), and so on.
  const __m128i m8 = _mm_set1_epi32(0xFF);
  const __m128i c16 = _mm_set1_epi32(16), c128 = _mm_set1_epi32(128);
  for (; i + 4 <= n; i += 4) {  // (after the AVX2 steps: at most one)
    const __m128i v = load4(p + i);
    const __m128i bl = _mm_and_si128(v, m8);
    const __m128i gr = _mm_and_si128(_mm_srli_epi32(v, 8), m8);
    const __m128i rd = _mm_and_si128(_mm_srli_epi32(v, 16), m8);
    const __m128i r5 = _mm_add_epi32(_mm_slli_epi32(rd, 2), rd);
    const __m128i r7 = _mm_sub_epi32(_mm_slli_epi32(rd, 3), rd);
    const __m128i r17 = _mm_add_epi32(_mm_slli_epi32(rd, 4), rd);
    const __m128i g3 = _mm_add_epi32(_mm_slli_epi32(gr, 1), gr);
    const __m128i g9 = _mm_add_epi32(_mm_slli_epi32(gr, 3), gr);
    const __m128i b3 = _mm_add_epi32(_mm_slli_epi32(bl, 1), bl);
    const __m128i b7 = _mm_sub_epi32(_mm_slli_epi32(bl, 3), bl);
    __m128i y = _mm_add_epi32(_mm_add_epi32(_mm_srli_epi32(r17, 6), _mm_srli_epi32(gr, 1)),
                              _mm_add_epi32(c16, _mm_srli_epi32(b3, 5)));
    __m128i u = _mm_sub_epi32(_mm_add_epi32(c128, _mm_srli_epi32(b7, 4)),
                              _mm_add_epi32(_mm_srli_epi32(r5, 5), _mm_srli_epi32(g9, 5)));
    __m128i w = _mm_sub_epi32(_mm_add_epi32(c128, _mm_srli_epi32(r7, 4)),
                              _mm_add_epi32(_mm_srli_epi32(g3, 3), _mm_srli_epi32(bl, 4)));
    y = _mm_and_si128(y, m8);
    u = _mm_and_si128(u, m8);
    w = _mm_and_si128(w, m8);
    const __m128i in =
        _mm_and_si128(_mm_and_si128(within4(y, b.ly, b.hy), within4(w, b.lv, b.hv)), within4(u, b.lu, b.hv));
    store4(p + i, key4<Inv>(v, in));
  }
#endif
  chroma_row_ref<Inv>(p + i, n - i, b);
}

#if FX_SSE2
// Byte c of each pixel alone in its lane, by a shuffle with this (blue 0, green 1, red 2).
__attribute__((target("avx2"))) inline __m256i byte_lanes(int c) {
  const char b = char(c);
  return _mm256_broadcastsi128_si256(_mm_setr_epi8(b, -1, -1, -1, char(b + 4), -1, -1, -1, char(b + 8), -1,
                                                   -1, -1, char(b + 12), -1, -1, -1));
}

// Eight pixels a step; b + 2g + r comes from the bytes in two multiply-adds.
template <dominance D, bool Inv>
__attribute__((target("avx2"))) int bright_row_avx2(pix32 *p, int n, const brightrange &b) {
  const __m256i weights = _mm256_set1_epi32(0x00010201), ones = _mm256_set1_epi16(1),
                amask = _mm256_set1_epi32(int(0xFF000000u));
  const __m256i top_of = byte_lanes(D == dominance::red     ? 2
                                    : D == dominance::green ? 1
                                                            : 0),
                one_of = byte_lanes(D == dominance::red ? 1 : 2),
                other_of = byte_lanes(D == dominance::blue ? 1 : 0);
  // The bounds are read once: the stores could alias them for all the compiler knows.
  const __m256i lo = _mm256_set1_epi32(b.lo - 1), hi = _mm256_set1_epi32(b.hi + 1);
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + i));
    const __m256i l = _mm256_srli_epi32(_mm256_madd_epi16(_mm256_maddubs_epi16(v, weights), ones), 2);
    __m256i in = _mm256_and_si256(_mm256_cmpgt_epi32(l, lo), _mm256_cmpgt_epi32(hi, l));
    if constexpr (D != dominance::none) {
      const __m256i top = _mm256_shuffle_epi8(v, top_of);
      in = _mm256_andnot_si256(_mm256_or_si256(_mm256_cmpgt_epi32(_mm256_shuffle_epi8(v, one_of), top),
                                               _mm256_cmpgt_epi32(_mm256_shuffle_epi8(v, other_of), top)),
                               in);
    }
    const __m256i keyed = Inv ? _mm256_andnot_si256(in, amask) : _mm256_and_si256(in, amask);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(p + i), _mm256_andnot_si256(keyed, v));
  }
  return i;
}
#endif

template <dominance D, bool Inv>
void bright_row(pix32 *p, int n, const brightrange &b) {
  int i = 0;
#if FX_SSE2
  if (kernels::ActiveTier() >= kernels::tier::avx2) i = bright_row_avx2<D, Inv>(p, n, b);
  const __m128i m8 = _mm_set1_epi32(0xFF);
  for (; i + 4 <= n; i += 4) {
    const __m128i v = load4(p + i);
    const __m128i bl = _mm_and_si128(v, m8);
    const __m128i gr = _mm_and_si128(_mm_srli_epi32(v, 8), m8);
    const __m128i rd = _mm_and_si128(_mm_srli_epi32(v, 16), m8);
    const __m128i l = _mm_srli_epi32(_mm_add_epi32(_mm_add_epi32(bl, rd), _mm_slli_epi32(gr, 1)), 2);
    __m128i in = within4(l, b.lo, b.hi);
    // x <= y is "not x > y".
    if constexpr (D == dominance::red)
      in = _mm_andnot_si128(_mm_or_si128(_mm_cmpgt_epi32(gr, rd), _mm_cmpgt_epi32(bl, rd)), in);
    if constexpr (D == dominance::green)
      in = _mm_andnot_si128(_mm_or_si128(_mm_cmpgt_epi32(rd, gr), _mm_cmpgt_epi32(bl, gr)), in);
    if constexpr (D == dominance::blue)
      in = _mm_andnot_si128(_mm_or_si128(_mm_cmpgt_epi32(rd, bl), _mm_cmpgt_epi32(gr, bl)), in);
    store4(p + i, key4<Inv>(v, in));
  }
#endif
  bright_row_ref<D, Inv>(p + i, n - i, b);
}

// The kernels whole: fast rows, or (Ref) the plain loops.
template <bool Ref>
void key_rgb(const surf &s, RECT r, const rgbkey &k, bool inv) {
  const rgbbox b = make_box(k);
  if (inv)
    walk(s, r, [&](pix32 *p, int n) { Ref ? rgb_row_ref<true>(p, n, b) : rgb_row<true>(p, n, b); });
  else
    walk(s, r, [&](pix32 *p, int n) { Ref ? rgb_row_ref<false>(p, n, b) : rgb_row<false>(p, n, b); });
}

template <bool Ref>
void key_chroma(const surf &s, RECT r, const chromakey &k, bool inv) {
  const chromabox b = make_box(k);
  // A box with no room in one of its ranges keys nothing; inverted, it keys every pixel.
  if (!Ref && (b.hy < b.ly || b.hv < b.lu || b.hv < b.lv)) {
    if (inv) walk(s, r, [](pix32 *p, int n) { kernels::alpha_add_row(p, n, -255); });
    return;
  }
  if (inv)
    walk(s, r, [&](pix32 *p, int n) { Ref ? chroma_row_ref<true>(p, n, b) : chroma_row<true>(p, n, b); });
  else
    walk(s, r, [&](pix32 *p, int n) { Ref ? chroma_row_ref<false>(p, n, b) : chroma_row<false>(p, n, b); });
}

template <bool Ref, dominance D, bool Inv>
void key_bright_rows(const surf &s, RECT r, const brightrange &b) {
  walk(s, r, [&](pix32 *p, int n) { Ref ? bright_row_ref<D, Inv>(p, n, b) : bright_row<D, Inv>(p, n, b); });
}

template <bool Ref, dominance D>
void key_bright_pick(const surf &s, RECT r, const brightrange &b, bool inv) {
  if (inv)
    key_bright_rows<Ref, D, true>(s, r, b);
  else
    key_bright_rows<Ref, D, false>(s, r, b);
}

template <bool Ref>
void key_bright(const surf &s, RECT r, const brightkey &k, bool inv) {
  const brightrange b{std::min(k.level1, k.level2), std::max(k.level1, k.level2)};
  switch (k.dominant) {
    case dominance::none:
      key_bright_pick<Ref, dominance::none>(s, r, b, inv);
      break;
    case dominance::red:
      key_bright_pick<Ref, dominance::red>(s, r, b, inv);
      break;
    case dominance::green:
      key_bright_pick<Ref, dominance::green>(s, r, b, inv);
      break;
    case dominance::blue:
      key_bright_pick<Ref, dominance::blue>(s, r, b, inv);
      break;
  }
}

// ---- Shape keys ----
//
// Every shape key sorts a pixel by a distance d from the rectangle's centre into three zones:
// d >= outer (keyed by the plain key), d <= inner (keyed by the inverted one) and a ramp between,
// where alpha falls to min(alpha, ramp). When outer == inner the plain key also keys d == outer
// and the inverted key d == inner, as the zone tests run in that order. Along one row d only
// grows with |x - cx|, so each row splits into at most five runs: outer, ramp, inner, ramp,
// outer. Only the ramp runs compute d per pixel; the others are a fill or nothing.

// Rectangles farther out than this are refused, so every product below fits in 64 bits.
constexpr int64_t kMaxCoord = int64_t(1) << 24;
// Threshold products are limited to this; distances on an accepted rectangle stay well below.
constexpr double kMaxThreshold = double(int64_t(1) << 52);

int64_t threshold(double scale, double v) {
  const double t = scale * v;
  if (!(t == t)) return 0;
  return int64_t(std::clamp(t, -kMaxThreshold, kMaxThreshold));
}

// Floor of the square root of t >= 0, exact.
int64_t isqrt(int64_t t) {
  int64_t n = int64_t(std::sqrt(double(t)));
  while (n > 0 && n * n > t) --n;
  while ((n + 1) * (n + 1) <= t) ++n;
  return n;
}

// Division by a divisor fixed for the call through its reciprocal, corrected to the exact
// truncated quotient (n >= 0, q > 0, quotients below 256 here).
struct exactdiv {
  int64_t q;
  double inv;
  explicit exactdiv(int64_t divisor) : q(divisor), inv(1.0 / double(divisor)) {}
  int64_t operator()(int64_t n) const {
    int64_t a = int64_t(double(n) * inv);
    if (a * q > n)
      --a;
    else if ((a + 1) * q <= n)
      ++a;
    return a;
  }
};

struct shapezones {
  int64_t outer, inner;  // the bounds as the key defines them
  int64_t ti, to;        // d <= ti: inner zone, d >= to: outer zone, ti < to
};

shapezones make_zones(int64_t outer, int64_t inner, bool inverted) {
  shapezones z{outer, inner, 0, 0};
  // The plain key tests the outer zone first, the inverted key the inner zone first.
  z.ti = inverted ? inner : std::min(inner, outer - 1);
  z.to = inverted ? std::max(outer, inner + 1) : outer;
  return z;
}

#if FX_SSE2
// Below this divisor and zone bound the ramp runs in 32-bit lanes. A ramp pixel's distance lies
// between the zone bounds, so it and its numerator (outer - d) * 255 or (d - inner) * 255 < 255 * q
// fit, as does (a + 1) * q <= 256 * q.
constexpr int64_t kVectorRampLimit = int64_t(1) << 23;
constexpr int64_t kVectorZoneLimit = int64_t(1) << 30;

// Ramp pixels x .. end eight at a step: the level is the quotient of exactdiv. The float product
// of the numerator and the reciprocal is within 2^-15 of the quotient (three roundings of one
// part in 2^24 on a value below 256), so its integer part is off by at most one, and a * q
// against the numerator moves it to the exact quotient. d = dx^2 + e moves on by 16 dx + 64 a
// step, and that by 128, instead of a multiply.
template <bool Inv>
__attribute__((target("avx2"))) int ramp_avx2(pix32 *p, int x, int end, int64_t cx, int64_t e,
                                              const shapezones &z, int64_t q) {
  const __m256i bound = _mm256_set1_epi32(int(Inv ? z.inner : z.outer)),
                colour = _mm256_set1_epi32(0x00FFFFFF);
  const __m256i vq = _mm256_set1_epi32(int(q)), one = _mm256_set1_epi32(1);
  const __m256 inv = _mm256_set1_ps(1.0f / float(q));
  const __m256i dx =
      _mm256_add_epi32(_mm256_set1_epi32(int(int64_t(x) - cx)), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
  __m256i d = _mm256_add_epi32(_mm256_mullo_epi32(dx, dx), _mm256_set1_epi32(int(e)));
  __m256i grow = _mm256_add_epi32(_mm256_slli_epi32(dx, 4), _mm256_set1_epi32(64));
  const __m256i grow_step = _mm256_set1_epi32(128);
  for (; x + 8 <= end; x += 8) {
    const __m256i t = Inv ? _mm256_sub_epi32(d, bound) : _mm256_sub_epi32(bound, d);
    d = _mm256_add_epi32(d, grow);
    grow = _mm256_add_epi32(grow, grow_step);
    const __m256i n = _mm256_sub_epi32(_mm256_slli_epi32(t, 8), t);
    const __m256i up = _mm256_add_epi32(_mm256_cvttps_epi32(_mm256_mul_ps(_mm256_cvtepi32_ps(n), inv)), one);
    __m256i a = _mm256_add_epi32(up, _mm256_cmpgt_epi32(_mm256_mullo_epi32(up, vq), n));
    a = _mm256_add_epi32(a, _mm256_cmpgt_epi32(_mm256_mullo_epi32(a, vq), n));
    __m256i *at = reinterpret_cast<__m256i *>(p + x);
    const __m256i v = _mm256_loadu_si256(at);
    const __m256i alpha = _mm256_min_epi32(_mm256_srli_epi32(v, 24), a);
    _mm256_storeu_si256(at, _mm256_or_si256(_mm256_and_si256(v, colour), _mm256_slli_epi32(alpha, 24)));
  }
  return x;
}
#endif

#if FX_SSE2
// Alpha held at most `level` (0..255) from x to end: a byte minimum that leaves the colours, as
// 255 in their bytes. Returns end.
__attribute__((target("avx2"))) int cap_alpha_avx2(pix32 *p, int x, int end, int level) {
  const uint32_t cap = uint32_t(level) << 24 | 0x00FFFFFFu;
  const __m256i c = _mm256_set1_epi32(int(cap));
  for (; x + 8 <= end; x += 8) {
    __m256i *q = reinterpret_cast<__m256i *>(p + x);
    _mm256_storeu_si256(q, _mm256_min_epu8(_mm256_loadu_si256(q), c));
  }
  for (; x < end; ++x) p[x].a = std::min(p[x].a, uint8_t(level));
  return x;
}

// The column levels held to the row's (the lower for the plain key, the higher for the inverted)
// as words whose colour bytes are 255.
template <bool Inv>
inline __m128i row_caps4(__m128i columns, __m128i own) {
  return Inv ? _mm_max_epu8(columns, own) : _mm_min_epu8(columns, own);
}
template <bool Inv>
__attribute__((target("avx2"))) inline __m256i row_caps8(__m256i columns, __m256i own) {
  return Inv ? _mm256_max_epu8(columns, own) : _mm256_min_epu8(columns, own);
}

// Alpha held at most the row's caps: eight pixels a step. Returns where it stopped.
template <bool Inv>
__attribute__((target("avx2"))) int cap_row_avx2(pix32 *p, const pix32 *columns, int n, uint32_t own) {
  const __m256i o = _mm256_set1_epi32(int(own));
  int x = 0;
  for (; x + 8 <= n; x += 8) {
    __m256i *q = reinterpret_cast<__m256i *>(p + x);
    const __m256i c = row_caps8<Inv>(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(columns + x)), o);
    _mm256_storeu_si256(q, _mm256_min_epu8(_mm256_loadu_si256(q), c));
  }
  return x;
}
#endif

// One row of a round key: A is the largest |dx| of the inner zone (-1: none), B the smallest |dx|
// of the outer zone (B > A); d is dx^2 + e.
template <bool Inv>
void shape_row(pix32 *p, int xl, int xr, int64_t cx, int64_t a, int64_t b, int64_t e, const shapezones &z,
               const exactdiv &div, bool vector) {
  const int64_t b0 = cx - b + 1;
  const int64_t b1 = a >= 0 ? cx - a : cx;
  const int64_t b2 = a >= 0 ? cx + a + 1 : cx;
  const int64_t b3 = cx + b;
  int x = xl;
  auto upto = [&](int64_t bound) { return int(std::clamp<int64_t>(bound, x, xr)); };
  auto clear = [&](int end) {
#if FX_SSE2
    if (vector) x = cap_alpha_avx2(p, x, end, 0);
#endif
    for (; x < end; ++x) p[x].a = 0;
  };
  auto level_at = [&](int64_t d) { return Inv ? div((d - z.inner) * 255) : div((z.outer - d) * 255); };
  auto ramp = [&](int end) {
#if FX_SSE2
    if (vector) x = ramp_avx2<Inv>(p, x, end, cx, e, z, div.q);
#endif
    for (; x < end; ++x) {
      const int64_t dx = int64_t(x) - cx;
      p[x].a = uint8_t(std::min<int64_t>(p[x].a, level_at(dx * dx + e)));
    }
  };
  int end = upto(b0);
  if constexpr (Inv)
    x = end;
  else
    clear(end);
  ramp(upto(b1));
  end = upto(b2);
  if constexpr (Inv)
    clear(end);
  else
    x = end;
  ramp(upto(b3));
  if constexpr (!Inv) clear(xr);
}

bool vector_ramp(const exactdiv &div, const shapezones &z) {
#if FX_SSE2
  return kernels::ActiveTier() >= kernels::tier::avx2 && div.q < kVectorRampLimit && z.to <= kVectorZoneLimit;
#else
  (void)div;
  (void)z;
  return false;
#endif
}

bool geometry_ok(RECT r) {
  return r.right > r.left && r.bottom > r.top && r.left > -kMaxCoord && r.top > -kMaxCoord &&
         r.right < kMaxCoord && r.bottom < kMaxCoord;
}

// Circle and oval: d = dx^2 + dy^2 with dy scaled by w / h for the oval.
template <bool Inv, bool Oval>
void key_round(const surf &s, RECT r, double v1, double v2) {
  if (!geometry_ok(r)) return;
  const int64_t w = int64_t(r.right) - r.left, h = int64_t(r.bottom) - r.top;
  const int64_t cx = r.left + w / 2, cy = r.top + h / 2;
  const int64_t m = std::max(w, h) / 2 - 2;
  const double scale = 2.0 * double(m) * double(m);
  const shapezones z =
      make_zones(threshold(scale, std::max(v1, v2)), threshold(scale, std::min(v1, v2)), Inv);
  const exactdiv div(std::max<int64_t>(z.outer - z.inner, 1));
  const bool vector = vector_ramp(div, z);
  const RECT c = clip_to(s, r);
  if (c.right <= c.left) return;
  for_rows(c, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) {
      int64_t dy = y - cy;
      if (Oval) dy = dy * w / h;
      const int64_t e = dy * dy;
      const int64_t a = z.ti - e < 0 ? -1 : isqrt(z.ti - e);
      const int64_t t = z.to - e;
      const int64_t b = t <= 0 ? 0 : isqrt(t - 1) + 1;  // the smallest n with n^2 >= t
      shape_row<Inv>(row(s, y), c.left, c.right, cx, a, b, e, z, div, vector);
    }
  });
}

// Alpha held at most the column's level held to the row's (`own`): byte minima and maxima on
// words whose colour bytes are 255 (plain) or 0 (the inverted key's row word, under the maximum).
template <bool Inv>
void cap_row(pix32 *p, const pix32 *columns, int n, uint8_t own) {
  const uint32_t word = uint32_t(own) << 24 | (Inv ? 0 : 0x00FFFFFFu);
  int x = 0;
#if FX_SSE2
  if (kernels::ActiveTier() >= kernels::tier::avx2) x = cap_row_avx2<Inv>(p, columns, n, word);
  const __m128i o = _mm_set1_epi32(int(word));
  for (; x + 4 <= n; x += 4) store4(p + x, _mm_min_epu8(load4(p + x), row_caps4<Inv>(load4(columns + x), o)));
#endif
  for (; x < n; ++x)
    p[x].a = std::min(p[x].a, Inv ? std::max(columns[x].a, own) : std::min(columns[x].a, own));
}

// Rectangle: d = max(|dx|, e) with e = |dy| scaled by w / h, plain distances. The level a
// distance allows (0 in the keyed zone, 255 in the kept one) never rises with d for the plain
// key and never falls for the inverted one, so the level of max(|dx|, e) is the lower (plain)
// or higher (inverted) of the level of |dx| and that of e: each column's level is worked out
// once, and a row is a byte minimum against those levels held to the row's.
template <bool Inv>
void key_rect(const surf &s, RECT r, double v1, double v2) {
  if (!geometry_ok(r)) return;
  const int64_t w = int64_t(r.right) - r.left, h = int64_t(r.bottom) - r.top;
  const int64_t cx = r.left + w / 2, cy = r.top + h / 2;
  const double scale = double(w / 2);
  const shapezones z =
      make_zones(threshold(scale, std::max(v1, v2)), threshold(scale, std::min(v1, v2)), Inv);
  const exactdiv div(std::max<int64_t>(z.outer - z.inner, 1));
  const RECT c = clip_to(s, r);
  if (c.right <= c.left) return;
  auto level = [&](int64_t d) -> uint8_t {
    if (d <= z.ti) return Inv ? 0 : 255;
    if (d >= z.to) return Inv ? 255 : 0;
    return uint8_t(Inv ? div((d - z.inner) * 255) : div((z.outer - d) * 255));
  };
  const int n = c.right - c.left;
  std::vector<pix32> columns(static_cast<size_t>(n));
  for (int x = 0; x < n; ++x) {
    const int64_t dx = int64_t(c.left) + x - cx;
    columns[size_t(x)] = pix32(255, 255, 255, level(dx < 0 ? -dx : dx));
  }
  for_rows(c, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) {
      const int64_t q = (int64_t(y) - cy) * w / h;
      cap_row<Inv>(row(s, y) + c.left, columns.data(), n, level(q < 0 ? -q : q));
    }
  });
}

}  // namespace

uint8_t ChromaY(int red, int green, int blue) { return uint8_t(chroma_y(red, green, blue)); }
uint8_t ChromaU(int red, int green, int blue) { return uint8_t(chroma_u(red, green, blue)); }
uint8_t ChromaV(int red, int green, int blue) { return uint8_t(chroma_v(red, green, blue)); }

void KeyRGB(const surf &s, RECT r, const rgbkey &k, bool inverted) {
  if (s.bits) key_rgb<false>(s, r, k, inverted);
}

void KeyChroma(const surf &s, RECT r, const chromakey &k, bool inverted) {
  if (s.bits) key_chroma<false>(s, r, k, inverted);
}

void KeyBright(const surf &s, RECT r, const brightkey &k, bool inverted) {
  if (s.bits) key_bright<false>(s, r, k, inverted);
}

namespace ref {

void KeyRGB(const surf &s, RECT r, const rgbkey &k, bool inverted) {
  if (s.bits) key_rgb<true>(s, r, k, inverted);
}

void KeyChroma(const surf &s, RECT r, const chromakey &k, bool inverted) {
  if (s.bits) key_chroma<true>(s, r, k, inverted);
}

void KeyBright(const surf &s, RECT r, const brightkey &k, bool inverted) {
  if (s.bits) key_bright<true>(s, r, k, inverted);
}

}  // namespace ref

void KeyCircle(const surf &s, RECT r, double v1, double v2, bool inverted) {
  if (!s.bits) return;
  if (inverted)
    key_round<true, false>(s, r, v1, v2);
  else
    key_round<false, false>(s, r, v1, v2);
}

// The oval is the circle measured in horizontal units: the vertical offset is scaled by w / h
// (truncating, as the rectangle key scales it) before squaring, and d = dx^2 + dy^2 is held
// against the circle's own bounds D * radius with D = 2 * (max(w, h) / 2 - 2)^2. On a rectangle
// wider than high the oval at radius 0.5 so comes within about two pixels of all four sides; on
// a taller one it reaches past the left and right sides, as the circle does.
void KeyOval(const surf &s, RECT r, double v1, double v2, bool inverted) {
  if (!s.bits) return;
  if (inverted)
    key_round<true, true>(s, r, v1, v2);
  else
    key_round<false, true>(s, r, v1, v2);
}

void KeyRect(const surf &s, RECT r, double v1, double v2, bool inverted) {
  if (!s.bits) return;
  if (inverted)
    key_rect<true>(s, r, v1, v2);
  else
    key_rect<false>(s, r, v1, v2);
}

}  // namespace fxkernels
