// Helpers of the engine tests: a headless project, known pictures and a plain reference compositor.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "engine/project.h"
#include "media/pix32.h"
#include "support/wavfile.h"

namespace enginetest {

// A picture as plain pixels.
struct refpic {
  int w = 0;
  int h = 0;
  std::vector<pix32> px;
  refpic() = default;
  refpic(int width, int height, pix32 fill = pix32()) : w(width), h(height), px(size_t(w) * h, fill) {}
  pix32 &at(int x, int y) { return px[size_t(y) * w + x]; }
  const pix32 &at(int x, int y) const { return px[size_t(y) * w + x]; }
  bool operator==(const refpic &o) const { return w == o.w && h == o.h && px == o.px; }
};

// A rectangle in fractions of a picture.
struct frac {
  double l, t, r, b;
};

refpic Grab(KORSurface *s);
// The first pixel where a and b differ, as text ("" when they are equal).
std::string FirstDifference(const refpic &a, const refpic &b);

// The reference rules, one step each:
// the part s of src onto the part d of dst: s is cut to the picture and d in proportion, d is
// cut to the picture and s in proportion, both truncated to pixels; nearest neighbour, and
// with blend c = (s * a + d * (255 - a)) >> 8, alpha a = (a * a + da * (255 - a)) >> 8.
void RefComposite(refpic &dst, const refpic &src, frac s, frac d, bool blend);
// Every alpha plus trunc(op * 256.1), clamped to 0..255.
void RefOpacity(refpic &p, double op);
// A child with effects: its source part s (cut to the picture) scaled without blend over a
// whole parent-sized picture.
refpic RefEffectSurface(const refpic &src, frac s, int w, int h);

// A 24-bit BMP of w x h pixels from fn (alpha dropped; it loads with alpha 0).
std::string WriteBmp(const std::string &path, int w, int h, const std::function<pix32(int, int)> &fn);
// The picture that a 24-bit BMP from fn loads as.
refpic Pattern(int w, int h, const std::function<pix32(int, int)> &fn);
// A colourful pattern with every pixel different.
pix32 PatternPixel(int x, int y);

// A headless project of 160 x 120 pixels at 25 fps and 10 s, quiet dialogs answering no.
struct project {
  std::unique_ptr<vemoproject> p;
  fixtures::temp_dir dir;
  explicit project(int format = 80);
  clip *root() const { return p->Root(); }
  // A uniform gradient clip: one colour with real alpha (its pre-effect opacity is 0).
  clip *Solid(clip *parent, pix32 colour, int start, int length, int track);
  // A still picture clip from a 24-bit BMP of the pattern.
  clip *Still(clip *parent, const std::string &name, int w, int h, int start, int length, int track,
              const std::function<pix32(int, int)> &fn = PatternPixel);
  // The root's picture at t.
  refpic At(int t);
  // A wave file of the raw PCM bytes `samples` in the program's temporary folder; its path.
  std::string Wav(const std::string &name, const std::vector<uint8_t> &samples,
                  const fixtures::wav_layout &layout = {});
};

// Sets a key of variable id at the clip's local time t.
void Key(vemotime *o, int id, int t, double v);
void SetRect(vemotime *o, int l, int tp, int r, int b, int t, frac f);
// A clip's destination or source rectangle keyed at t.
void SetDst(vemotime *o, int t, frac f);
void SetSrc(vemotime *o, int t, frac f);

}  // namespace enginetest
