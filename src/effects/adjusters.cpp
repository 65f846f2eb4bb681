// Adjuster kernels: channel shifts, desaturation, masked mixing, table mapping and alpha offset,
// with SSE2 and AVX2 paths beside their scalar references.
#include "effects/adjusters.h"

#include <algorithm>

#include "media/kernels.h"
#include "media/rows.h"

#if defined(__SSE2__)
#include <immintrin.h>
#define FX_SSE2 1
#endif

namespace fxkernels {
namespace {

inline pix32 *row(const surf &s, int y) { return row_of(s, y); }

// The adjustment with its parameters fixed; Desat says whether the mixing step runs (k > 1).
struct adjuster {
  int dr, dg, db, k, kc;  // kc = 255 - k
  explicit adjuster(const adjustlevels &l)
      : dr(l.red), dg(l.green), db(l.blue), k(255 - l.saturation), kc(l.saturation) {}

  template <bool Desat>
  void apply(int &r, int &g, int &b) const {
    r = std::clamp(r + dr, 0, 255);
    g = std::clamp(g + dg, 0, 255);
    b = std::clamp(b + db, 0, 255);
    if constexpr (Desat) {
      const int lk = ((r + 2 * g + b) / 4) * k;
      r = (lk + r * kc) >> 8;
      g = (lk + g * kc) >> 8;
      b = (lk + b * kc) >> 8;
    }
  }
};

template <bool Desat>
void adjust_row_ref(pix32 *p, int n, const adjuster &a, int da) {
  for (int x = 0; x < n; ++x) {
    int r = p[x].r, g = p[x].g, b = p[x].b;
    a.apply<Desat>(r, g, b);
    p[x] = pix32(uint8_t(r), uint8_t(g), uint8_t(b), uint8_t(std::clamp(p[x].a + da, 0, 255)));
  }
}

template <bool Desat>
void masked_row_ref(const pix32 *m, pix32 *p, int n, const adjuster &a) {
  for (int x = 0; x < n; ++x) {
    const int ma = m[x].a, mc = 255 - ma;
    // A mask alpha of 0 leaves the pixel as it is (the mix would darken it by one step).
    if (!ma) continue;
    int r = p[x].r, g = p[x].g, b = p[x].b;
    a.apply<Desat>(r, g, b);
    p[x].r = uint8_t((r * ma + p[x].r * mc) >> 8);
    p[x].g = uint8_t((g * ma + p[x].g * mc) >> 8);
    p[x].b = uint8_t((b * ma + p[x].b * mc) >> 8);
  }
}

#if FX_SSE2
inline __m128i load4(const pix32 *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
inline void store4(pix32 *p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }

// The shifts as two saturating byte steps: of a channel's up and down amounts one is 0, so
// adding one and subtracting the other is the clamped sum.
struct shift4 {
  __m128i up, down;
  shift4(const adjuster &a, int da) {
    up = _mm_set1_epi32(int(pix32(uint8_t(std::max(a.dr, 0)), uint8_t(std::max(a.dg, 0)),
                                  uint8_t(std::max(a.db, 0)), uint8_t(std::max(da, 0)))
                                .word()));
    down = _mm_set1_epi32(int(pix32(uint8_t(std::max(-a.dr, 0)), uint8_t(std::max(-a.dg, 0)),
                                    uint8_t(std::max(-a.db, 0)), uint8_t(std::max(-da, 0)))
                                  .word()));
  }
  __m128i operator()(__m128i v) const { return _mm_subs_epu8(_mm_adds_epu8(v, up), down); }
};

// Desaturation of two pixels widened to 16-bit lanes (b, g, r, a each). L * k + c * kc is at
// most 255 * 255 and alpha's a * 256 at most 65280, so every lane fits unsigned 16 bits and the
// shift is logical; alpha comes back unchanged.
struct desat2 {
  __m128i weights, kv, kcv;
  explicit desat2(const adjuster &a) {
    weights = _mm_setr_epi16(1, 2, 1, 0, 1, 2, 1, 0);
    kv = _mm_setr_epi16(short(a.k), short(a.k), short(a.k), 0, short(a.k), short(a.k), short(a.k), 0);
    kcv = _mm_setr_epi16(short(a.kc), short(a.kc), short(a.kc), 256, short(a.kc), short(a.kc), short(a.kc),
                         256);
  }
  __m128i operator()(__m128i x) const {
    __m128i s = _mm_madd_epi16(x, weights);  // b + 2g, r per pixel
    s = _mm_srli_epi32(_mm_add_epi32(s, _mm_shuffle_epi32(s, _MM_SHUFFLE(2, 3, 0, 1))), 2);
    const __m128i l = _mm_or_si128(s, _mm_slli_epi32(s, 16));  // L in every lane of its pixel
    return _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(l, kv), _mm_mullo_epi16(x, kcv)), 8);
  }
};

template <bool Desat>
inline __m128i adjust4(__m128i v, const shift4 &sh, const desat2 &ds) {
  v = sh(v);
  if constexpr (Desat) {
    const __m128i zero = _mm_setzero_si128();
    v = _mm_packus_epi16(ds(_mm_unpacklo_epi8(v, zero)), ds(_mm_unpackhi_epi8(v, zero)));
  }
  return v;
}

// Eight pixels a step, on the even (blue, red) and odd (green, alpha) bytes as 16-bit lanes, so
// no step moves bytes across lanes; L * k is worked once per pixel.
struct avx2steps {
  __m256i up, down, kv, kcv, kcv_odd, even, high;
  __attribute__((target("avx2"))) avx2steps(const adjuster &a, int da) {
    const shift4 sh(a, da);
    up = _mm256_broadcastsi128_si256(sh.up);
    down = _mm256_broadcastsi128_si256(sh.down);
    kv = _mm256_set1_epi32(a.k);
    kcv = _mm256_set1_epi16(short(a.kc));
    kcv_odd = _mm256_set1_epi32(a.kc | 256 << 16);  // alpha weighed 256 comes back as it was
    even = _mm256_set1_epi16(0x00FF);
    high = _mm256_set1_epi16(short(0xFF00));
  }
  __attribute__((target("avx2"))) __m256i shift(__m256i v) const {
    return _mm256_subs_epu8(_mm256_adds_epu8(v, up), down);
  }
  // L * k + c * kc is at most 255 * 255 and a * 256 at most 65280: unsigned 16 bits. b + 2g + r
  // is summed with adds, leaving the multiplier to the three products; the odd lanes' results
  // are taken from their high bytes, where they belong, instead of shifting.
  __attribute__((target("avx2"))) __m256i desaturate(__m256i v) const {
    const __m256i br_in = _mm256_and_si256(v, even), ga_in = _mm256_srli_epi16(v, 8);
    // b + r + 2g in each pixel's low half (the high half holds r + 2a, which k's 0 clears).
    const __m256i sum = _mm256_add_epi16(_mm256_add_epi16(br_in, _mm256_srli_epi32(br_in, 16)),
                                         _mm256_add_epi16(ga_in, ga_in));
    const __m256i lk = _mm256_mullo_epi16(_mm256_srli_epi16(sum, 2), kv);
    const __m256i spread = _mm256_or_si256(lk, _mm256_slli_epi32(lk, 16));
    const __m256i br = _mm256_srli_epi16(_mm256_add_epi16(_mm256_mullo_epi16(br_in, kcv), spread), 8);
    const __m256i ga = _mm256_and_si256(_mm256_add_epi16(_mm256_mullo_epi16(ga_in, kcv_odd), lk), high);
    return _mm256_or_si256(br, ga);
  }
  template <bool Desat>
  __attribute__((target("avx2"))) __m256i adjust(__m256i v) const {
    v = shift(v);
    return Desat ? desaturate(v) : v;
  }
};

inline __attribute__((target("avx2"))) __m256i load8(const pix32 *p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
}
inline __attribute__((target("avx2"))) void store8(pix32 *p, __m256i v) {
  _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v);
}

template <bool Desat>
__attribute__((target("avx2"))) int adjust_row_avx2(pix32 *p, int n, const adjuster &a, int da) {
  const avx2steps st(a, da);
  int i = 0;
  for (; i + 8 <= n; i += 8) store8(p + i, st.adjust<Desat>(load8(p + i)));
  return i;
}

// Colours mixed by the mask's alpha, (c * w + o * (255 - w)) >> 8 on the even and odd bytes as
// 16-bit lanes; alpha and the pixels under a mask alpha of 0 are put back from the old pixel.
template <bool Desat>
__attribute__((target("avx2"))) int masked_row_avx2(const pix32 *m, pix32 *p, int n, const adjuster &a) {
  const avx2steps st(a, 0);
  const __m256i zero = _mm256_setzero_si256(), full = _mm256_set1_epi16(255);
  const __m256i amask = _mm256_set1_epi32(int(0xFF000000u));
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m256i old = load8(p + i);
    const __m256i ma = _mm256_srli_epi32(load8(m + i), 24);
    const __m256i adj = st.adjust<Desat>(old);
    const __m256i w = _mm256_or_si256(ma, _mm256_slli_epi32(ma, 16)), wo = _mm256_sub_epi16(full, w);
    const __m256i br =
        _mm256_srli_epi16(_mm256_add_epi16(_mm256_mullo_epi16(_mm256_and_si256(adj, st.even), w),
                                           _mm256_mullo_epi16(_mm256_and_si256(old, st.even), wo)),
                          8);
    const __m256i ga = _mm256_and_si256(_mm256_add_epi16(_mm256_mullo_epi16(_mm256_srli_epi16(adj, 8), w),
                                                         _mm256_mullo_epi16(_mm256_srli_epi16(old, 8), wo)),
                                        st.high);
    const __m256i keep = _mm256_or_si256(_mm256_cmpeq_epi32(ma, zero), amask);
    store8(p + i, _mm256_blendv_epi8(_mm256_or_si256(br, ga), old, keep));
  }
  return i;
}
#endif

template <bool Desat>
void adjust_row(pix32 *p, int n, const adjuster &a, int da) {
  int i = 0;
#if FX_SSE2
  if (kernels::ActiveTier() >= kernels::tier::avx2) i = adjust_row_avx2<Desat>(p, n, a, da);
  const shift4 sh(a, da);
  const desat2 ds(a);
  for (; i + 4 <= n; i += 4) store4(p + i, adjust4<Desat>(load4(p + i), sh, ds));
#endif
  adjust_row_ref<Desat>(p + i, n - i, a, da);
}

template <bool Desat>
void masked_row(const pix32 *m, pix32 *p, int n, const adjuster &a) {
  int i = 0;
#if FX_SSE2
  if (kernels::ActiveTier() >= kernels::tier::avx2) i = masked_row_avx2<Desat>(m, p, n, a);
  const shift4 sh(a, 0);
  const desat2 ds(a);
  const __m128i zero = _mm_setzero_si128();
  const __m128i colour = _mm_setr_epi16(-1, -1, -1, 0, -1, -1, -1, 0);
  const __m128i full = _mm_set1_epi16(255);
  const __m128i alpha256 = _mm_setr_epi16(0, 0, 0, 256, 0, 0, 0, 256);
  // Mix weights of two pixels: m on the colour lanes (0 on alpha), 255 - m on the colour lanes
  // and 256 on alpha, so alpha comes back as it was.
  auto mix2 = [&](__m128i adj, __m128i old, __m128i m32) {
    const __m128i mm = _mm_or_si128(m32, _mm_slli_epi32(m32, 16));
    const __m128i w1 = _mm_and_si128(mm, colour);
    const __m128i w2 = _mm_or_si128(_mm_and_si128(_mm_sub_epi16(full, mm), colour), alpha256);
    return _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(adj, w1), _mm_mullo_epi16(old, w2)), 8);
  };
  for (; i + 4 <= n; i += 4) {
    const __m128i old = load4(p + i);
    const __m128i ma = _mm_srli_epi32(load4(m + i), 24);
    const __m128i adj = adjust4<Desat>(old, sh, ds);
    const __m128i lo =
        mix2(_mm_unpacklo_epi8(adj, zero), _mm_unpacklo_epi8(old, zero), _mm_unpacklo_epi32(ma, ma));
    const __m128i hi =
        mix2(_mm_unpackhi_epi8(adj, zero), _mm_unpackhi_epi8(old, zero), _mm_unpackhi_epi32(ma, ma));
    const __m128i mixed = _mm_packus_epi16(lo, hi);
    const __m128i untouched = _mm_cmpeq_epi32(ma, zero);
    store4(p + i, _mm_or_si128(_mm_and_si128(untouched, old), _mm_andnot_si128(untouched, mixed)));
  }
#endif
  masked_row_ref<Desat>(m + i, p + i, n - i, a);
}

template <bool Ref>
void adjust(const surf &s, RECT r, const adjustlevels &l) {
  if (!s.bits) return;
  const RECT c = clip_to(s, r);
  if (c.right <= c.left) return;
  const adjuster a(l);
  const int n = c.right - c.left;
  const bool desat = a.k > 1;
  for_rows(c, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) {
      pix32 *p = row(s, y) + c.left;
      if (desat)
        Ref ? adjust_row_ref<true>(p, n, a, l.opacity) : adjust_row<true>(p, n, a, l.opacity);
      else
        Ref ? adjust_row_ref<false>(p, n, a, l.opacity) : adjust_row<false>(p, n, a, l.opacity);
    }
  });
}

template <bool Ref>
void adjust_masked(const surf &mask, const surf &target, RECT r, const adjustlevels &l) {
  if (!mask.bits || !target.bits) return;
  const RECT c = clip_to(mask, clip_to(target, r));
  if (c.right <= c.left) return;
  const adjuster a(l);
  const int n = c.right - c.left;
  const bool desat = a.k > 1;
  for_rows(c, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) {
      const pix32 *m = row(mask, y) + c.left;
      pix32 *p = row(target, y) + c.left;
      if (desat)
        Ref ? masked_row_ref<true>(m, p, n, a) : masked_row<true>(m, p, n, a);
      else
        Ref ? masked_row_ref<false>(m, p, n, a) : masked_row<false>(m, p, n, a);
    }
  });
}

struct maptables {
  uint8_t red[256], green[256], blue[256], alpha[256];
};

void map_row_ref(pix32 *p, int n, const maptables &t) {
  for (int x = 0; x < n; ++x) p[x] = pix32(t.red[p[x].r], t.green[p[x].g], t.blue[p[x].b], t.alpha[p[x].a]);
}

#if FX_SSE2
// Eight pixels a step without the tables: (i * |high - low|) >> 8 is the high half of the 16-bit
// product (i << 8) * |high - low|, and the sign of high - low is put back on it before low is
// added, which truncates toward zero as the division does.
__attribute__((target("avx2"))) inline __m256i channel_lanes(int b, int g, int r, int a) {
  return _mm256_set1_epi64x(int64_t(uint16_t(b)) | int64_t(uint16_t(g)) << 16 | int64_t(uint16_t(r)) << 32 |
                            int64_t(uint16_t(a)) << 48);
}

__attribute__((target("avx2"))) int map_row_avx2(pix32 *p, int n, const maplines &l) {
  const __m256i low = channel_lanes(l.blue.low, l.green.low, l.red.low, l.alpha.low);
  const __m256i slope = channel_lanes(l.blue.high - l.blue.low, l.green.high - l.green.low,
                                      l.red.high - l.red.low, l.alpha.high - l.alpha.low);
  const __m256i steep = _mm256_abs_epi16(slope), zero = _mm256_setzero_si256();
  int x = 0;
  for (; x + 8 <= n; x += 8) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + x));
    const __m256i lo = _mm256_slli_epi16(_mm256_unpacklo_epi8(v, zero), 8);
    const __m256i hi = _mm256_slli_epi16(_mm256_unpackhi_epi8(v, zero), 8);
    const __m256i mlo = _mm256_add_epi16(low, _mm256_sign_epi16(_mm256_mulhi_epu16(lo, steep), slope));
    const __m256i mhi = _mm256_add_epi16(low, _mm256_sign_epi16(_mm256_mulhi_epu16(hi, steep), slope));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(p + x), _mm256_packus_epi16(mlo, mhi));
  }
  return x;
}
#endif

template <bool Ref>
void map(const surf &s, RECT r, const maplines &l) {
  if (!s.bits) return;
  const RECT c = clip_to(s, r);
  const int n = c.right - c.left;
  maptables t;
  MakeMapTable(t.red, l.red.low, l.red.high);
  MakeMapTable(t.green, l.green.low, l.green.high);
  MakeMapTable(t.blue, l.blue.low, l.blue.high);
  MakeMapTable(t.alpha, l.alpha.low, l.alpha.high);
  const bool avx2 = !Ref && kernels::ActiveTier() >= kernels::tier::avx2;
  for_rows(c, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) {
      pix32 *p = row(s, y) + c.left;
      int i = 0;
#if FX_SSE2
      if (avx2) i = map_row_avx2(p, n, l);
#endif
      (void)avx2;
      map_row_ref(p + i, n - i, t);
    }
  });
}

}  // namespace

pix32 AdjustColour(pix32 p, const adjustlevels &l) {
  const adjuster a(l);
  int r = p.r, g = p.g, b = p.b;
  if (a.k > 1)
    a.apply<true>(r, g, b);
  else
    a.apply<false>(r, g, b);
  return pix32(uint8_t(r), uint8_t(g), uint8_t(b), p.a);
}

void Adjust(const surf &s, RECT r, const adjustlevels &l) { adjust<false>(s, r, l); }

void AdjustMasked(const surf &mask, const surf &target, RECT r, const adjustlevels &l) {
  adjust_masked<false>(mask, target, r, l);
}

void MakeMapTable(uint8_t *table, int low, int high) {
  for (int i = 0; i < 256; ++i) table[i] = uint8_t(low + (i * (high - low)) / 256);
}

void Map(const surf &s, RECT r, const maplines &l) { map<false>(s, r, l); }

void AlphaAdd(const surf &s, RECT r, int k) {
  if (!s.bits) return;
  const RECT c = clip_to(s, r);
  const int n = c.right - c.left;
  for_rows(c, [&](int y0, int y1) {
    for (int y = y0; y < y1; ++y) kernels::alpha_add_row(row(s, y) + c.left, n, k);
  });
}

namespace ref {
void Adjust(const surf &s, RECT r, const adjustlevels &l) { adjust<true>(s, r, l); }
void AdjustMasked(const surf &mask, const surf &target, RECT r, const adjustlevels &l) {
  adjust_masked<true>(mask, target, r, l);
}
void Map(const surf &s, RECT r, const maplines &l) { map<true>(s, r, l); }
}  // namespace ref

}  // namespace fxkernels
