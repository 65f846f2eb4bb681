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

// Blue, green and red of dst blended with src by src alpha; dst alpha unchanged.
void blend_row(const pix32 *src, pix32 *dst, int n);
void blend_row_ref(const pix32 *src, pix32 *dst, int n);

// dst[i] = src[index[i]], plain or with all four channels blended by the source alpha (the
// alpha channel blends its own value: a * a + d.a * (255 - a) >> 8).
void gather_row(const pix32 *src, const int32_t *index, pix32 *dst, int n, bool blend);
void gather_row_ref(const pix32 *src, const int32_t *index, pix32 *dst, int n, bool blend);

// Every alpha becomes clamp(alpha + delta, 0, 255).
void alpha_add_row(pix32 *p, int n, int delta);
void alpha_add_row_ref(pix32 *p, int n, int delta);

// Blue, green, red halved (rounded down); alpha unchanged.
void dimm_row(pix32 *p, int n);
void dimm_row_ref(pix32 *p, int n);

// Nearest-neighbour scale of rs in a onto rd in b (both locked), rows through for_rows. Source
// position of destination (x, y): rs.left + (x - rd.left) * sw / dw, likewise for y, with
// truncating division. Rectangles are trusted to be at least 2 x 2; pixels whose destination
// or source falls off a surface are skipped.
void scale_rect(const surf &a, RECT rs, const surf &b, RECT rd, bool blend);
// The same written as the plainest per-pixel loop, for the tests.
void scale_rect_ref(const surf &a, RECT rs, const surf &b, RECT rd, bool blend);

}  // namespace kernels
