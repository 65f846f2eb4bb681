// The pattern and frame effects: the blended loops, the sunk shadow and the coloured frame.
//
// Common principles: the loops read the source and write the destination (another surface);
// the shadow and the frame draw in place on the destination. All work only inside the
// rectangle handed to Process and return 1, or 0 when a surface cannot be locked.
#pragma once

#include "effects/geometric.h"

// The picture as a loop, shifted by "Pattern Displacement" percent of its width (Hor) or height
// (Ver), the seam where its two edges meet cross-blended.
class effectPatHor : public effectTyped<439> {
 public:
  effectPatHor(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
};

class effectPatVer : public effectTyped<440> {
 public:
  effectPatVer(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
};

// The picture sunk into the page: a soft shadow along its top and left edges.
class effectSinkTL : public effectTyped<676> {
 public:
  effectSinkTL(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
  bool WorksInPlace() const override { return true; }
};

// A bevelled border in the frame colour.
class effectFrame01 : public effectTyped<679> {
 public:
  effectFrame01(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
  bool WorksInPlace() const override { return true; }
};
