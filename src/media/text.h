// The text engine behind the drawing context: fonts found through fontconfig, glyphs rendered
// by FreeType into cached 8-bit coverage bitmaps.
//
// One FreeType library and one face per family/weight/slant live for the whole process; glyph
// bitmaps are cached by face, size and glyph, so drawing text again allocates nothing. Calls
// from several threads are serialised inside.
#pragma once

#include <cstdint>
#include <string>
#include <type_traits>

#include "media/dc.h"

namespace textengine {

// One glyph's coverage, placed at (x, y) of its top-left corner on the target.
struct coverage {
  const uint8_t *alpha;  // w x h bytes, rows `w` apart, 0 transparent .. 255 covered
  int w;
  int h;
  int x;
  int y;
};

// Line metrics of the font; false when no font could be loaded.
bool Metrics(const font &f, textmetric *tm);
// Width in pixels of the first len bytes of UTF-8 text set on one line (advances and kerning).
bool Measure(const font &f, const char *text, int len, int *width);
// Lays the text out from pen position (x, baseline) and hands each inked glyph to
// fn(context, glyph). Returns the pen advance (the text's width); -1 when no font could be
// loaded.
using coverage_fn = void (*)(void *context, const coverage &glyph);
int Render(const font &f, const char *text, int len, int x, int baseline, coverage_fn fn, void *context);

// The same with any callable, without allocating for it.
template <class F>
int Render(const font &f, const char *text, int len, int x, int baseline, F &&fn) {
  using callable = std::remove_reference_t<F>;
  return Render(
      f, text, len, x, baseline, [](void *c, const coverage &g) { (*static_cast<callable *>(c))(g); },
      const_cast<void *>(static_cast<const void *>(&fn)));
}
// Where the underline of the font lies relative to the baseline (positive below) and how
// thick it is.
bool Underline(const font &f, int *offset, int *thickness);

// The file of the installed font that best matches family, weight and slant (fontconfig's
// choice), or empty when there is none.
std::string FontFile(const char *family, int weight, bool italic);

}  // namespace textengine
