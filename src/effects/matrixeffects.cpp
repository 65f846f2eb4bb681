// The neighbourhood effects: the matrix base with its variables, edge map, blur, key smoother.
#include "effects/matrixeffects.h"

#include <cmath>

#include "effects/levels.h"
#include "effects/sampling.h"

namespace {

surf32 frame_of(const surf &s) { return surf32{s.width, s.height, s.pitch, s.bits}; }

}  // namespace

effectMatrix::effectMatrix() {
  TV_IDS_MATRIXVARS_01();
  TV_IDS_MATRIX_SIZE();
  TV_IDS_EFFECT_LEVEL();
}

int effectMatrix::MatrixSize() {
  const double n = GetTimeFloat(fxid::IDS_MATRIX_SIZE);
  // Not rescaled: 3.9 is 3, and the walker turns 4 into 5.
  return n == n ? int(std::fmin(std::fmax(n, -1e6), 1e6)) : 0;
}

unsigned char effectMatrix::MatrixLevel() {
  return uint8_t(fxlevels::UnsignedLevel(GetTimeFloat(fxid::IDS_EFFECT_LEVEL)));
}

int effectMatrix::RunKernel(KORSurface *source, KORSurface *destination, RECT rc, matrixkernel kernel,
                            bool onto_copy) {
  const int n = MatrixSize();
  const unsigned char level = MatrixLevel();
  fxsample::locked_pair lk(source, destination);
  if (!lk.ok()) return 0;
  surf32 from = frame_of(lk.first), to = frame_of(lk.second);
  return onto_copy ? pixelator::RunSingleMatrixOntoCopy(&from, &to, rc, n, n, kernel, nullptr, level)
                   : pixelator::RunSingleMatrix(&from, &to, rc, n, n, kernel, nullptr, level);
}

effectMatrixEdge::effectMatrixEdge(clip *owner, vemowin *w, surface *s) {
  initEffect(owner, w, s);
  SetID(kType);
}

int effectMatrixEdge::Process(KORSurface *source, KORSurface *destination, RECT rc) {
  return RunKernel(source, destination, rc, &pixelator::matrixEdge);
}

effectMatrixBlurr::effectMatrixBlurr(clip *owner, vemowin *w, surface *s) {
  initEffect(owner, w, s);
  SetID(kType);
}

int effectMatrixBlurr::Process(KORSurface *source, KORSurface *destination, RECT rc) {
  return RunKernel(source, destination, rc, &pixelator::matrixBlurr);
}

int effectMatrixBlurr::ProcessOntoCopy(KORSurface *source, KORSurface *destination, RECT rc) {
  return RunKernel(source, destination, rc, &pixelator::matrixBlurr, true);
}

int effectMatrixBlurr::ProcessOpaqueOntoCopy(KORSurface *source, KORSurface *destination, RECT rc) {
  const int n = MatrixSize();
  fxsample::locked_pair lk(source, destination);
  if (!lk.ok()) return 0;
  surf32 from = frame_of(lk.first), to = frame_of(lk.second);
  return pixelator::RunBlurOpaqueOntoCopy(&from, &to, rc, n, n, MatrixLevel());
}

effectMatrixKeySmothe::effectMatrixKeySmothe(clip *owner, vemowin *w, surface *s) {
  initEffect(owner, w, s);
  SetID(kType);
}

int effectMatrixKeySmothe::Process(KORSurface *source, KORSurface *destination, RECT rc) {
  const int n = MatrixSize();
  const unsigned char level = MatrixLevel();
  fxsample::locked_pair lk(source, destination);
  if (!lk.ok()) return 0;
  surf32 from = frame_of(lk.first), to = frame_of(lk.second);
  return pixelator::RunKeyBlend(&from, &to, rc, n, double(level));
}
