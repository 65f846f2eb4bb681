// Row kernels of the surface operations, each fast path beside its plain scalar reference.
//
// The fast paths must give bit-identical results to the references for every width (the tests
// compare them over odd widths and tails). All kernels use the engine's blend rule:
// c = (s * a + d * (255 - a)) >> 8.
#pragma once

#include <cstdint>

#include "core/platform.h"
#include "media/pix32.h"
#include "media/surface.h"

namespace kernels {

// The instruction sets the fast paths may use. The best one the processor has is chosen at
// start; tests lower it to check every tier against the references. avx512 is AVX-512 with its
// VL, BW and VBMI parts, used on 256-bit registers for the byte permutes and the comparisons into
// mask registers; a kernel without such a path takes its AVX2 one there.
enum class tier { scalar = 0, sse2 = 1, avx2 = 2, avx512 = 3 };
tier ActiveTier();
// Uses at most `t` from now on (never more than the processor has); returns the previous cap.
tier LimitTier(tier t);

// Every pixel of the row becomes p.
void fill_row(pix32 *p, int n, pix32 value);
void fill_row_ref(pix32 *p, int n, pix32 value);

// Blue, green and red of dst blended with src by src alpha; dst alpha unchanged.
void blend_row(const pix32 *src, pix32 *dst, int n);
void blend_row_ref(const pix32 *src, pix32 *dst, int n);

// dst[i] = src[index[i]], plain or with all four channels blended by the source alpha (the
// alpha channel blends its own value: a * a + d.a * (255 - a) >> 8). The source alpha is first
// moved by alpha_delta as alpha_add_row moves it (the source itself is not written). `kinds`
// comes from gather_plan for the same index table; the table is planned once and used for many
// rows.
void gather_row(const pix32 *src, const int32_t *index, const uint8_t *kinds, pix32 *dst, int n, bool blend,
                int alpha_delta = 0);
void gather_row_ref(const pix32 *src, const int32_t *index, pix32 *dst, int n, bool blend,
                    int alpha_delta = 0);
// gather_row into `rows` destination rows `pitch` pixels apart, each run of source pixels
// fetched once for all of them.
void gather_rows(const pix32 *src, const int32_t *index, const uint8_t *kinds, pix32 *dst, ptrdiff_t pitch,
                 int rows, int n, bool blend, int alpha_delta = 0);
// For each full run of eight indices (n / 8 entries): 0 when they are consecutive, 1 when all
// lie within the eight pixels from the first, 3 within the sixteen, 2 otherwise. Runs that
// would read at or past `limit` (the readable pixels of a row) count as 2.
void gather_plan(const int32_t *index, int n, int limit, uint8_t *kinds);

// Blue, green and red of dst blended with src by the constant a; dst alpha unchanged.
void mix_row(const pix32 *src, pix32 *dst, int n, int a);
void mix_row_ref(const pix32 *src, pix32 *dst, int n, int a);

// Every alpha becomes clamp(alpha + delta, 0, 255).
void alpha_add_row(pix32 *p, int n, int delta);
void alpha_add_row_ref(pix32 *p, int n, int delta);
// dst[i] is src[i] with its alpha moved as by alpha_add_row: a copy and an opacity in one pass.
void copy_alpha_add_row(const pix32 *src, pix32 *dst, int n, int delta);
void copy_alpha_add_row_ref(const pix32 *src, pix32 *dst, int n, int delta);

// Every alpha becomes `alpha`; the colours stay.
void alpha_set_row(pix32 *p, int n, uint8_t alpha);
void alpha_set_row_ref(pix32 *p, int n, uint8_t alpha);

// Pixels of three bytes (blue, green, red) to words with alpha 0; reads exactly 3 * n bytes.
void bgr24_row(const uint8_t *in, pix32 *out, int n);
void bgr24_row_ref(const uint8_t *in, pix32 *out, int n);

// out = (a * (256 - w) + b * w) >> 8 for each of the four channels, 0 <= w <= 256.
void mix256_row(const pix32 *a, const pix32 *b, pix32 *out, int n, int w);
void mix256_row_ref(const pix32 *a, const pix32 *b, pix32 *out, int n, int w);

// Blue, green and red blended with the colour's by the constant alpha (the blend rule), and
// every alpha raised to at least `alpha`; the colour's own alpha is not used.
void paint_row(pix32 *p, int n, pix32 colour, int alpha);
void paint_row_ref(pix32 *p, int n, pix32 colour, int alpha);

// The same with a weight per pixel, and a read backwards: out[x] mixes a[-x] and b[x] by w[x].
void mix256_mirrored_row(const pix32 *a, const pix32 *b, pix32 *out, int n, const uint16_t *w);
void mix256_mirrored_row_ref(const pix32 *a, const pix32 *b, pix32 *out, int n, const uint16_t *w);

// Blue, green and red of each pixel scaled by its weight, (c * w[x]) >> 8 with 0 <= w <= 256;
// alpha unchanged.
void shade_row(pix32 *p, int n, const uint16_t *w);
void shade_row_ref(pix32 *p, int n, const uint16_t *w);

// out = (a + b) >> 1 for each byte, all four channels.
void mean_row(const pix32 *a, const pix32 *b, pix32 *out, int n);
void mean_row_ref(const pix32 *a, const pix32 *b, pix32 *out, int n);

// The n pixels of a and of b exchanged (rows that do not overlap).
void swap_rows(pix32 *a, pix32 *b, int n);
void swap_rows_ref(pix32 *a, pix32 *b, int n);

// The n pixels in reverse order.
void mirror_row(pix32 *p, int n);
void mirror_row_ref(pix32 *p, int n);

// Blue, green, red halved (rounded down); alpha unchanged.
void dimm_row(pix32 *p, int n);
void dimm_row_ref(pix32 *p, int n);

// Nearest-neighbour scale of rs in a onto rd in b (both locked), rows through for_rows. Source
// position of destination (x, y): rs.left + (x - rd.left) * sw / dw, likewise for y, with
// truncating division. Rectangles are trusted to be at least 2 x 2; pixels whose destination
// or source falls off a surface are skipped. Each source pixel's alpha is first moved by
// alpha_delta as alpha_add_row moves it: the opacity of a picture on its way, not in a copy.
void scale_rect(const surf &a, RECT rs, const surf &b, RECT rd, bool blend, int alpha_delta = 0);
// The same written as the plainest per-pixel loop, for the tests.
void scale_rect_ref(const surf &a, RECT rs, const surf &b, RECT rd, bool blend, int alpha_delta = 0);

// Two scalings in one pick: m takes what scale_rect(a, rs1, mid, rd1) and then
// scale_rect(mid, rs2, b, rd2) would put on b, mid being a w x h picture, from a straight. Both
// steps pick pixels, so picking through both tables at once picks the same ones; pixel (x, y)
// of `placed` on b lands at (x - placed.left, y - placed.top) of m, with the first step's
// alpha_delta. False, with nothing written, where the second step would read a pixel of mid
// that the first does not write, would skip a row, or m is too small.
bool scale_rect_through(const surf &a, RECT rs1, RECT rd1, int w, int h, RECT rs2, const surf &b, RECT rd2,
                        const surf &m, int alpha_delta, RECT *placed);

}  // namespace kernels
