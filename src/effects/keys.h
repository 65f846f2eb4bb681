// Key kernels: the pixel loops of the colour and shape keys over a locked surface.
//
// Common principles of the kernels below:
// - Each takes a locked surf, the rectangle to key (left, top, right, bottom; right and bottom
//   exclusive) and the parameters already read as bytes or raw values. Shape geometry (centre,
//   scale) comes from the rectangle as given; the walk itself is clipped to the surface.
// - Only alpha is written. Keying a pixel sets its alpha to 0; a soft edge lowers it to the
//   smaller of the ramp and the old alpha. A pixel whose alpha is already 0 so never changes.
// - `inverted` picks the twin that keys exactly the pixels the plain kernel keeps. The kernel is
//   chosen once per call; the pixel loop carries no parameter tests.
#pragma once

#include <cstdint>

#include "core/platform.h"
#include "media/surface.h"

namespace fxkernels {

// A box around a colour: every channel within its tolerance (bounds saturate at 0 and 255).
struct rgbkey {
  uint8_t red, green, blue;
  uint8_t redtol, greentol, bluetol;
};

// A box around a colour's Y, U and V. The U test's upper bound is the V test's upper bound.
struct chromakey {
  uint8_t red, green, blue;
  uint8_t chromatol, lumatol;
};

// Which component must be the largest (ties count) besides the luma test.
enum class dominance { none, red, green, blue };

// Luma between two levels (either order), optionally with a dominant component.
struct brightkey {
  uint8_t level1, level2;
  dominance dominant;
};

// Y, U and V of a colour with byte arithmetic: every sum is taken modulo 256 and the divisions of
// negative products truncate toward zero.
uint8_t ChromaY(int red, int green, int blue);
uint8_t ChromaU(int red, int green, int blue);
uint8_t ChromaV(int red, int green, int blue);

void KeyRGB(const surf &s, RECT r, const rgbkey &k, bool inverted);
void KeyChroma(const surf &s, RECT r, const chromakey &k, bool inverted);
void KeyBright(const surf &s, RECT r, const brightkey &k, bool inverted);

// Shape keys. The plain kernel keys outside the shape and fades a ramp between the inner and
// outer bound; the inverted one keys inside. v1, v2 are the raw "Radius" or "Size" values.
//  circle: squared distance from the rectangle's centre against D * v, D = 2 * (max(w, h) / 2 - 2)^2
//  oval:   the circle with the vertical offset scaled to horizontal units (w / h)
//  rect:   the larger of the horizontal and the scaled vertical offset against (w / 2) * v
void KeyCircle(const surf &s, RECT r, double v1, double v2, bool inverted);
void KeyOval(const surf &s, RECT r, double v1, double v2, bool inverted);
void KeyRect(const surf &s, RECT r, double v1, double v2, bool inverted);

// The colour keys as plain per-pixel loops, the reference their vector paths must match bit for
// bit.
namespace ref {
void KeyRGB(const surf &s, RECT r, const rgbkey &k, bool inverted);
void KeyChroma(const surf &s, RECT r, const chromakey &k, bool inverted);
void KeyBright(const surf &s, RECT r, const brightkey &k, bool inverted);
}  // namespace ref

}  // namespace fxkernels
