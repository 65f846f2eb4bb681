// The colour and shape key effects: each declares its family's variables and keys the
// destination in place through one worker of effectVideo. The "I" classes are the inverted twins.
#pragma once

#include "effects/effect.h"

// A key effect: the type, the variable group it declares, and its worker.
template <int Type, int (effectVideo::*Vars)(), int (effectVideo::*Worker)(KORSurface *, RECT)>
class effectKeyOf : public effectVideo {
 public:
  static constexpr int kType = Type;
  effectKeyOf(clip *owner, vemowin *window, surface *surfaces) {
    initEffect(owner, window, surfaces);
    SetID(Type);
    (this->*Vars)();
  }
  // The source is not read: the frame being built is keyed.
  int Process(KORSurface *, KORSurface *destination, RECT rc) override {
    return (this->*Worker)(destination, rc);
  }
  bool WorksInPlace() const override { return true; }
  // The colour keys look at the pixel alone; the shape keys at where it lies.
  bool IsPointwise() const override {
    return Vars != &effectVideo::KeyCircleVars && Vars != &effectVideo::KeyRectVars;
  }
};

#define VEMO_KEY_EFFECT(name, type, vars, worker)                                   \
  class name : public effectKeyOf<type, &effectVideo::vars, &effectVideo::worker> { \
   public:                                                                          \
    using effectKeyOf::effectKeyOf;                                                 \
  };

VEMO_KEY_EFFECT(effectKeyRGB, 28, KeyRGBVars, KeyRGBProcess)
VEMO_KEY_EFFECT(effectKeyRGBI, 130, KeyRGBVars, KeyRGBIProcess)
VEMO_KEY_EFFECT(effectKeyChroma, 29, KeyChromaVars, KeyChromaProcess)
VEMO_KEY_EFFECT(effectKeyChromaI, 131, KeyChromaVars, KeyChromaIProcess)
VEMO_KEY_EFFECT(effectKeyGreen, 30, KeyBrightVars, KeyGreenProcess)
VEMO_KEY_EFFECT(effectKeyGreenI, 288, KeyBrightVars, KeyGreenIProcess)
VEMO_KEY_EFFECT(effectKeyRed, 546, KeyBrightVars, KeyRedProcess)
VEMO_KEY_EFFECT(effectKeyRedI, 547, KeyBrightVars, KeyRedIProcess)
VEMO_KEY_EFFECT(effectKeyBlue, 548, KeyBrightVars, KeyBlueProcess)
VEMO_KEY_EFFECT(effectKeyBlueI, 549, KeyBrightVars, KeyBlueIProcess)
VEMO_KEY_EFFECT(effectKeyBright, 31, KeyBrightVars, KeyBrightProcess)
VEMO_KEY_EFFECT(effectKeyBrightI, 289, KeyBrightVars, KeyBrightIProcess)
VEMO_KEY_EFFECT(effectKeyCircle, 181, KeyCircleVars, KeyCircleProcess)
VEMO_KEY_EFFECT(effectKeyCircleI, 241, KeyCircleVars, KeyCircleIProcess)
VEMO_KEY_EFFECT(effectKeyOval, 244, KeyCircleVars, KeyOvalProcess)
VEMO_KEY_EFFECT(effectKeyOvalI, 243, KeyCircleVars, KeyOvalIProcess)
VEMO_KEY_EFFECT(effectKeyRect, 247, KeyRectVars, KeyRectProcess)
VEMO_KEY_EFFECT(effectKeyRectI, 248, KeyRectVars, KeyRectIProcess)

#undef VEMO_KEY_EFFECT
