// The source generators of generated clips: the text string (172) and the gradient (568).
//
// A generator paints the picture of its clip at the clip's current time into a surface of the
// parent's picture size, from the clip's variables. Painting is a pure function of those
// variables, the clip's text settings and the size, so a generator repaints only when one of
// them changed since its last picture.
//
// Text string (172). The clip's text (ClipSetText; lines separated by '\n') in the clip's font
// family (ClipSetFont; default "DejaVu Sans"), anti-aliased through FreeType:
// - "IDS_STR_FONTSIZE" (5..500, default 32): the em height in pixels of a 240-line picture;
//   larger pictures scale it by height / 240, so a project looks alike in every format.
// - "IDS_STR_FONTWEIGHT" (0..1, default 0.5): weight 100 + 800 * w rounded to hundreds
//   (0.5 gives 500, which the font's regular face serves; 0.75 and up give bold faces).
// - "IDS_STR_ITALIC", "IDS_STR_UNDERLINE" (switches): on from 0.5.
// - "IDS_COLOR_FG_R/G/B/A": the letters' colour and opacity.
// - "IDS_COLOR_BG_R/G/B/A": the background's colour and opacity (default transparent black).
//   Its colour is also the colour of the shadows.
// - "IDS_STR_SDIST" (0..1, default 0.02): the drop shadow's distance in picture heights; 0 for
//   no shadow. The shadow is the letters' shape, softened by a box blur of a third of the
//   distance, at 60 % of the letters' opacity.
// - "IDS_STR_SANG" (-1..1, default 0): the shadow's direction: 0 falls to the lower right
//   (45 degrees below the x axis), each unit turns it by 180 degrees clockwise.
// - "IDS_STR_SINS" (0..1, default 0): "Show Inside": the strength of an inner shadow: inside
//   the letters, along the edges the shadow vector points away from, the letters' colour is
//   mixed towards the shadow colour, as if the letters were cut into the picture. It needs a
//   shadow distance.
// The lines are centred vertically, and horizontally or left or right aligned
// (ClipSetTextAlign). The picture's alpha is the letters', shadow's and background's coverage,
// so clear areas stay transparent over the parent.
//
// Gradient (568). A bilinear blend of the four corner colours "IDS_COLOR_LT", "IDS_COLOR_RT",
// "IDS_COLOR_LB", "IDS_COLOR_RB" (each R, G, B, A in 0..1; defaults white, green, red, blue,
// all opaque) over the whole picture, alpha included. Channels are computed with 8 fraction
// bits and rounded against a 4 x 4 ordered threshold, so slow gradients show no bands.
#pragma once

#include <cstdint>
#include <string>

#include "core/uiitem.h"

class clip;
struct KORSurface;

class clipsrc : public UIItem {
 public:
  explicit clipsrc(clip *owner) : srcclip(owner) {}
  ~clipsrc() override = default;
  clipsrc(const clipsrc &) = delete;
  clipsrc &operator=(const clipsrc &) = delete;

  // Declares the generator's variables in its clip; false when it cannot work.
  virtual bool Setup() = 0;
  // Paints the picture at the clip's current time into `s` (width x height of the picture).
  // True when `s` holds it; `changed` tells whether it differs from the previous call's.
  virtual bool Paint(KORSurface *s, bool *changed) = 0;
  // Forgets the last picture so the next Paint repaints.
  virtual void Invalidate() = 0;
  // The source type: 172 or 568.
  virtual int Type() const = 0;

  // The generator for a source type (172 or 568), or null.
  static clipsrc *Create(int type, clip *owner);

  clip *GetClip() const { return srcclip; }
  int32_t width = 0;
  int32_t height = 0;

 protected:
  clip *srcclip;
};

// The text string generator (172). Its settings object holds the last painted parameters.
class clipsrcText : public clipsrc {
 public:
  explicit clipsrcText(clip *owner) : clipsrc(owner) {}
  bool Setup() override;
  bool Paint(KORSurface *s, bool *changed) override;
  void Invalidate() override { painted.clear(); }
  int Type() const override { return 172; }

 private:
  std::string painted;  // the parameters of the picture last painted, as bytes
};

// The gradient generator (568).
class clipsrcGradient : public clipsrc {
 public:
  explicit clipsrcGradient(clip *owner) : clipsrc(owner) {}
  bool Setup() override;
  bool Paint(KORSurface *s, bool *changed) override;
  void Invalidate() override { valid = false; }
  int Type() const override { return 568; }

 private:
  bool valid = false;
  uint8_t corners[16] = {};  // the four corners' RGBA last painted
  int32_t paintedw = 0;
  int32_t paintedh = 0;
};
