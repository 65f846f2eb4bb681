// The neighbourhood effects: edge map, blur and key smoother over an n x n square.
//
// Common principles: "Matrix Size" is truncated to n (the walker makes it odd, at least 3) and
// "Effect Level" becomes a byte; the source is read and the destination written, the two locked
// source first. 1 when the walk ran, 0 when a surface cannot be locked.
#pragma once

#include "effects/effect.h"
#include "media/pixelator.h"

// Declares "Matrix Variables 1", "Matrix Size" and "Effect Level"; its subclasses call
// initEffect after it.
class effectMatrix : public effectVideo {
 public:
  effectMatrix();

 protected:
  // The size and level at the current time.
  int MatrixSize();
  unsigned char MatrixLevel();
  // RunSingleMatrix with `kernel` over rc from source to destination (onto a copy of source:
  // RunSingleMatrixOntoCopy).
  int RunKernel(KORSurface *source, KORSurface *destination, RECT rc, matrixkernel kernel,
                bool onto_copy = false);
};

class effectMatrixEdge : public effectMatrix {
 public:
  static constexpr int kType = 72;
  effectMatrixEdge(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
};

class effectMatrixBlurr : public effectMatrix {
 public:
  static constexpr int kType = 149;
  effectMatrixBlurr(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
  // The box filter writes every pixel of an opaque rectangle: nothing there is copied first.
  int ProcessOntoCopy(KORSurface *source, KORSurface *destination, RECT rc) override;
  // Records the box filter takes; larger ones return 0.
  int ProcessOpaqueOntoCopy(KORSurface *source, KORSurface *destination, RECT rc) override;
  // The means go into the colours; every pixel keeps its own alpha.
  bool KeepsOpaque() const override { return true; }
};

// Softens the alpha edge of a keyed picture; the level byte is RunKeyBlend's softness, which
// keeps 0 as 0 and takes any other level as 1.
class effectMatrixKeySmothe : public effectMatrix {
 public:
  static constexpr int kType = 78;
  effectMatrixKeySmothe(clip *owner, vemowin *window, surface *surfaces);
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
};
