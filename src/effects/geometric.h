// The geometric effects: mirrors, the rotator, the wipe, the second output, and the effects that
// move pixels (bubble, waves, square-root lens).
//
// Common principles: the mirrors, the wipe and the second output work in place on the
// destination; the others read the source and write the destination, which must be another
// surface. All work only inside the rectangle handed to Process and return 1, or 0 when a
// surface cannot be locked.
#pragma once

#include "effects/effect.h"

// A video effect with its type: the constructor links it (initEffect) and sets its ID; the
// concrete effect then declares its own variables.
template <int Type>
class effectTyped : public effectVideo {
 public:
  static constexpr int kType = Type;

 protected:
  effectTyped(clip *owner, vemowin *window, surface *surfaces) {
    initEffect(owner, window, surfaces);
    SetID(Type);
  }
};

class effectFlipX : public effectTyped<300> {
 public:
  effectFlipX(clip *owner, vemowin *window, surface *surfaces) : effectTyped(owner, window, surfaces) {}
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
  bool WorksInPlace() const override { return true; }
};

class effectFlipY : public effectTyped<301> {
 public:
  effectFlipY(clip *owner, vemowin *window, surface *surfaces) : effectTyped(owner, window, surfaces) {}
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
  bool WorksInPlace() const override { return true; }
};

class effectRotator : public effectTyped<266> {
 public:
  effectRotator(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
};

// Lowers alpha on one side of a soft line across the picture; colours are left alone.
class effectWipe : public effectTyped<282> {
 public:
  effectWipe(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
  bool WorksInPlace() const override { return true; }
};

// A second picture of the clip, colour-mapped, placed by its own destination rectangle. In the
// chain it is the mapper; the clip engine composes it (engine/compose.cpp).
class effectExtraOutput : public effectTyped<182> {
 public:
  effectExtraOutput(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
  bool WorksInPlace() const override { return true; }
};

// A glass hemisphere over the ellipse inscribed in the rectangle.
class effectBubble : public effectTyped<419> {
 public:
  effectBubble(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
};

// Rows (RotX) or columns (RotY) shifted cyclically along a sine.
class effectRotX : public effectTyped<443> {
 public:
  effectRotX(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
};

class effectRotY : public effectTyped<449> {
 public:
  effectRotY(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
};

// A lens that squeezes or spreads positions about the centre by a power of their distance.
class effectSQRT : public effectTyped<297> {
 public:
  effectSQRT(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
};
