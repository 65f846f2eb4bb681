// Adjuster kernels: colour shifts with desaturation, the masked adjustment of the keyed
// adjusters, the four-table mapper and the alpha offset, over locked surfaces.
//
// Common principles of the kernels below:
// - Levels are already read: signed ones in -255..255, unsigned ones in 0..255.
// - Rectangles are {left, top, right, bottom}, right and bottom exclusive; the walk is clipped
//   to the surface (to both surfaces for the masked adjustment).
// - Mixing divides by 256 (a shift), not by 255: a full mix comes out one step darker.
#pragma once

#include <cstdint>

#include "core/platform.h"
#include "media/surface.h"

namespace fxkernels {

struct adjustlevels {
  int red = 0, green = 0, blue = 0;  // signed levels added to the channels
  int opacity = 0;                   // signed level added to alpha (whole-rectangle adjuster only)
  int saturation = 255;              // unsigned level; 255 leaves saturation alone
};

// One colour through the adjustment: channels shifted and saturated, then, when
// k = 255 - saturation exceeds 1, mixed toward L = (r + 2g + b) / 4 as (L*k + c*(255-k)) / 256.
pix32 AdjustColour(pix32 p, const adjustlevels &l);

// Every pixel of r adjusted in place (whatever its alpha), alpha shifted by the opacity level.
void Adjust(const surf &s, RECT r, const adjustlevels &l);

// Where the mask's alpha m is not 0, the target's colour becomes (adjusted*m + old*(255-m)) / 256
// per channel; the target's alpha is never written.
void AdjustMasked(const surf &mask, const surf &target, RECT r, const adjustlevels &l);

// The mapper's four lines (levels 0..255): value i becomes low + (i * (high - low)) / 256,
// truncating toward zero. MakeMapTable writes a line's 256 entries.
struct mapline {
  int low, high;
};
struct maplines {
  mapline red, green, blue, alpha;
};
void MakeMapTable(uint8_t *table, int low, int high);
// Every channel of every pixel of r replaced by its line's value.
void Map(const surf &s, RECT r, const maplines &l);

// alpha = clamp(alpha + k, 0, 255) over r (alpha 0 is raised too).
void AlphaAdd(const surf &s, RECT r, int k);

// The adjustments as plain per-pixel loops, the reference their vector paths must match bit for
// bit.
namespace ref {
void Adjust(const surf &s, RECT r, const adjustlevels &l);
void AdjustMasked(const surf &mask, const surf &target, RECT r, const adjustlevels &l);
void Map(const surf &s, RECT r, const maplines &l);  // through the four tables
}  // namespace ref

}  // namespace fxkernels
