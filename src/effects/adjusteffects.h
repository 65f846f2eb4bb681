// The colour adjusters, the keyed adjusters, the mapper and the opacity effect.
#pragma once

#include "effects/effect.h"

// Shifts red, green, blue and alpha and reduces saturation over the whole rectangle of the
// destination, whatever the alpha.
class effectAdjuster : public effectVideo {
 public:
  static constexpr int kType = 106;
  effectAdjuster(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
  bool WorksInPlace() const override { return true; }
  bool IsPointwise() const override { return true; }
};

// A keyed adjuster: keys the source in place with its key worker, then adjusts the destination
// where the keyed source's alpha is not 0, mixed by that alpha. The two results or-ed.
template <int Type, int (effectVideo::*KeyVars)(), int (effectVideo::*Key)(KORSurface *, RECT)>
class effectAdjKeyed : public effectVideo {
 public:
  static constexpr int kType = Type;
  effectAdjKeyed(clip *owner, vemowin *window, surface *surfaces) {
    initEffect(owner, window, surfaces);
    SetID(Type);
    AdjusterVars();
    (this->*KeyVars)();
  }
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override {
    const int keyed = (this->*Key)(source, rc);
    return keyed | AdjusterProcess(source, destination, rc);
  }
};

#define VEMO_ADJ_EFFECT(name, type, vars, worker)                                      \
  class name : public effectAdjKeyed<type, &effectVideo::vars, &effectVideo::worker> { \
   public:                                                                             \
    using effectAdjKeyed::effectAdjKeyed;                                              \
  };

VEMO_ADJ_EFFECT(effectAdjRGB, 252, KeyRGBVars, KeyRGBProcess)
VEMO_ADJ_EFFECT(effectAdjRGBI, 253, KeyRGBVars, KeyRGBIProcess)
VEMO_ADJ_EFFECT(effectAdjYUV, 254, KeyChromaVars, KeyChromaProcess)
VEMO_ADJ_EFFECT(effectAdjYUVI, 255, KeyChromaVars, KeyChromaIProcess)
VEMO_ADJ_EFFECT(effectAdjRed, 550, KeyBrightVars, KeyRedProcess)
VEMO_ADJ_EFFECT(effectAdjRedI, 551, KeyBrightVars, KeyRedIProcess)
VEMO_ADJ_EFFECT(effectAdjGreen, 290, KeyBrightVars, KeyGreenProcess)
VEMO_ADJ_EFFECT(effectAdjGreenI, 291, KeyBrightVars, KeyGreenIProcess)
VEMO_ADJ_EFFECT(effectAdjBlue, 552, KeyBrightVars, KeyBlueProcess)
VEMO_ADJ_EFFECT(effectAdjBlueI, 553, KeyBrightVars, KeyBlueIProcess)
VEMO_ADJ_EFFECT(effectAdjBright, 292, KeyBrightVars, KeyBrightProcess)
VEMO_ADJ_EFFECT(effectAdjBrightI, 293, KeyBrightVars, KeyBrightIProcess)
VEMO_ADJ_EFFECT(effectAdjCircle, 256, KeyCircleVars, KeyCircleProcess)
VEMO_ADJ_EFFECT(effectAdjCircleI, 257, KeyCircleVars, KeyCircleIProcess)
VEMO_ADJ_EFFECT(effectAdjOval, 258, KeyCircleVars, KeyOvalProcess)
VEMO_ADJ_EFFECT(effectAdjOvalI, 259, KeyCircleVars, KeyOvalIProcess)
VEMO_ADJ_EFFECT(effectAdjRect, 260, KeyRectVars, KeyRectProcess)
VEMO_ADJ_EFFECT(effectAdjRectI, 261, KeyRectVars, KeyRectIProcess)

#undef VEMO_ADJ_EFFECT

// Maps each channel linearly between its two levels ("Map Red 0" .. "Map Red 1", ...).
class effectMapper : public effectVideo {
 public:
  static constexpr int kType = 111;
  effectMapper(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
  bool WorksInPlace() const override { return true; }
  bool IsPointwise() const override { return true; }
};

// Adds "Opacity" (a signed level) to the alpha of the rectangle; 0 touches nothing.
class effectOpacity : public effectVideo {
 public:
  static constexpr int kType = 103;
  effectOpacity(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
  bool WorksInPlace() const override { return true; }
  bool IsPointwise() const override { return true; }
};
