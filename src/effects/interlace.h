// The interlace effects: one field of an interlaced frame rebuilt from the other, in place on the
// destination. Rows count from 0 at the top; the first field is the even rows. The walk starts
// at the rectangle's top rounded down to even and steps by two. 1, or 0 when the destination
// cannot be locked.
#pragma once

#include "effects/effect.h"

// Each first-field row copied over the row below it.
class effectInterlaceFFO : public effectVideo {
 public:
  static constexpr int kType = 525;
  effectInterlaceFFO(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
  bool WorksInPlace() const override { return true; }
};

// Each second-field row copied over the row above it.
class effectInterlaceSFO : public effectVideo {
 public:
  static constexpr int kType = 526;
  effectInterlaceSFO(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
  bool WorksInPlace() const override { return true; }
};

// Each second-field row replaced by the mean of its neighbours.
class effectInterlaceFB1 : public effectVideo {
 public:
  static constexpr int kType = 527;
  effectInterlaceFB1(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
  bool WorksInPlace() const override { return true; }
};
