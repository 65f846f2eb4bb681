// pixelator: the static helpers on pix32 values and surf32 frames, shared by every UI item,
// timed object and the surface manager through inheritance.
//
// Common principles of the frame helpers: a surf32 holds width x height pixels, rows `pitch`
// pixels apart, top row first. Rectangles are {left, top, right, bottom}, right and bottom
// exclusive; the helpers keep their work inside both frames. They return 1 (0 for a null
// frame or rectangle).
#pragma once

#include <cstdint>

#include "core/vemo.h"
#include "media/pix32.h"

// The neighbourhood record a matrix kernel reads: the sizes, the caller's extra pointer, then
// width x height pixels row by row, top row first, directly after the header.
struct matrixrecord {
  int32_t width;
  int32_t height;
  void *extra;
  pix32 *pixels() { return reinterpret_cast<pix32 *>(this + 1); }
  const pix32 *pixels() const { return reinterpret_cast<const pix32 *>(this + 1); }
};
static_assert(sizeof(matrixrecord) == 16, "the pixels follow the header without a gap");
using matrixkernel = pix32 (*)(matrixrecord *);

// surf32, the plain frame record handed to plugins and pixel helpers (pitch in pixels, rows
// top-down), is declared with the plugin interface (media/plugin_abi.h, through pix32.h).

class pixelator : public vemo {
 public:
  pixelator() = default;

  // ---- Pixel values ----
  // A colour that stands out against p: each colour channel 255 where p's is below 129, else
  // 0; alpha (or the top byte) 0.
  static pix32 contrast(pix32 p);
  static COLORREF contrast(COLORREF c);
  // (red + 2 * green + blue) >> 2.
  static int brightness(pix32 p);
  // Grey of the same brightness; alpha kept.
  static pix32 bnw(pix32 p);

  // ---- Frames ----
  // Sets (x, min(y1, y2)) ... (x, max(y1, y2)) to p, both ends included. Rows are stepped by
  // the width, as frames made by Surf32Create have pitch = width.
  static int vline(surf32 *s, int x, int y1, int y2, pix32 p);
  // Copies r (the same coordinates in both frames), alpha included.
  static int BitBlt(surf32 *src, surf32 *dst, RECT *r);
  // a >= 254: the plain copy; otherwise colours blended by the constant a, dst alpha kept.
  static int BitBlt(surf32 *src, surf32 *dst, RECT *r, unsigned char a);
  // An int alpha (clamped to 0..255), so integer arguments are not ambiguous.
  static int BitBlt(surf32 *src, surf32 *dst, RECT *r, int a);
  // d clamped to 0..1 (anything not above 0 is 0), a = trunc(d * 255), then the above.
  static int BitBlt(surf32 *src, surf32 *dst, RECT *r, double d);
  // Swaps row y with row height - 1 - y.
  static int UpsideDown(surf32 *s);
  // dst(x, y) for (x, y) in r = src at (x, y) turned by deg degrees about c (nearest pixel);
  // 0 (black, alpha 0) where that lies outside the source frame or outside r.
  static int Rotate(surf32 *src, surf32 *dst, RECT r, POINT c, double deg);
  // Softens a keyed alpha mask (keysmooth.cpp): for pixels of r whose source alpha is not 0, dst alpha comes
  // from the sum of source alpha over an odd k x k square (k = n with its lowest bit set, at
  // least 3; edges clamped) against lo = k * k * 255 / 2 and hi = lo + lo * soft.
  static int RunKeyBlend(surf32 *src, surf32 *dst, RECT r, int n, double soft);

  // Filters r of src into dst with an odd neighbourhood (w and h with their lowest bit set, at
  // least 3), clamped to r. Pixels whose source alpha is 0 are skipped; the others get the
  // kernel's colour mixed in by `level` ((k * level + d * (255 - level)) >> 8), alpha kept. The
  // record slides: away from r.left only its last column is read afresh, the others are those
  // of the last pixel filtered, also across skipped pixels and rows. src and dst are different
  // frames. 0 when the record cannot be allocated.
  static int RunSingleMatrix(surf32 *src, surf32 *dst, RECT r, int w, int h, matrixkernel kernel, void *extra,
                             unsigned char level);
  // RunSingleMatrix onto a dst that does not hold src's picture yet: dst comes out as if src had
  // been copied onto it first (as far as both reach), but only what the walk leaves is copied.
  static int RunSingleMatrixOntoCopy(surf32 *src, surf32 *dst, RECT r, int w, int h, matrixkernel kernel,
                                     void *extra, unsigned char level);
  // RunSingleMatrixOntoCopy of the blur with every alpha of src read as 255, which dst then
  // has everywhere: for a picture an opacity of 100 % would make opaque, without that copy of it.
  // src and dst are different frames of one size. 0, with nothing written, for a record too
  // large for the box filter.
  static int RunBlurOpaqueOntoCopy(surf32 *src, surf32 *dst, RECT r, int w, int h, unsigned char level);
  // Mean of each colour over the record (truncating); alpha 0. `extra` is not used.
  static pix32 matrixBlurr(matrixrecord *m);
  // A grey edge map: differences of the sums over the four pairs of halves, divided by the
  // record's size, limited to 255, in all four bytes.
  static pix32 matrixEdge(matrixrecord *m);

  // A w x h frame (pitch = w) allocated with its record as one block; null on failure.
  static surf32 *Surf32Create(int w, int h);
  static void Surf32Delete(surf32 *s);
  // Loading frames from files is not offered: always null.
  static surf32 *Surf32Load(const char *path);

  // ---- Sound conversion (audioconvert.cpp) ----
  // Internal sound (44.1 kHz, 16-bit, stereo) to `target`'s format, nearest earlier frame, no
  // filtering. Returns the bytes written: (inBytes / 4) * rate / 44100 frames of the target's
  // block size; 0 for a target that is not 8/16-bit mono or stereo.
  static int From44100_16_2(const void *in, const WAVEFORMATEX *target, int inBytes, void *out);
  // Any accepted PCM to the internal format, stretched to fill exactly outBytes (whole frames).
  // Returns 1. A source with no whole frame, or not 8/16-bit, gives silence.
  static int To44100_16_2(const void *in, const WAVEFORMATEX *source, int inBytes, void *out, int outBytes);
};
