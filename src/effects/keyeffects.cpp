// The key workers of effectVideo (variables read once, surface locked, kernel run) and the
// variable groups of the key families.
#include "effects/keyeffects.h"

#include "effects/keys.h"
#include "effects/levels.h"
#include "media/surface.h"
#include "time/declared_vars.h"

namespace {

// Runs k on the locked surface; 1, or 0 when the surface cannot be locked.
template <class Kernel>
int locked(KORSurface *s, Kernel k) {
  surf a;
  if (!surface::SurfaceDataLock(s, &a)) return 0;
  k(a);
  surface::SurfaceDataUnlock(&a);
  return 1;
}

uint8_t byte_of(effectVideo &e, int id) { return fxlevels::ColourByte(e.GetTimeFloat(id)); }

fxkernels::rgbkey read_rgb(effectVideo &e) {
  return {byte_of(e, fxid::IDS_RED),
          byte_of(e, fxid::IDS_GREEN),
          byte_of(e, fxid::IDS_BLUE),
          byte_of(e, fxid::IDS_RED_TOLERANCE),
          byte_of(e, fxid::IDS_GREEN_TOLERANCE),
          byte_of(e, fxid::IDS_BLUE_TOLERANCE)};
}

fxkernels::chromakey read_chroma(effectVideo &e) {
  return {byte_of(e, fxid::IDS_RED), byte_of(e, fxid::IDS_GREEN), byte_of(e, fxid::IDS_BLUE),
          byte_of(e, fxid::IDS_CHROMA_TOLERANCE), byte_of(e, fxid::IDS_LUMA_TOLERANCE)};
}

fxkernels::brightkey read_bright(effectVideo &e, fxkernels::dominance d) {
  return {byte_of(e, fxid::IDS_BRIGHTNESS1), byte_of(e, fxid::IDS_BRIGHTNESS2), d};
}

// The colour keys' result is 0 whether or not the surface could be locked.
int rgb(effectVideo &e, KORSurface *s, RECT rc, bool inv) {
  const auto k = read_rgb(e);
  locked(s, [&](const surf &a) { fxkernels::KeyRGB(a, rc, k, inv); });
  return 0;
}

int chroma(effectVideo &e, KORSurface *s, RECT rc, bool inv) {
  const auto k = read_chroma(e);
  locked(s, [&](const surf &a) { fxkernels::KeyChroma(a, rc, k, inv); });
  return 0;
}

int bright(effectVideo &e, KORSurface *s, RECT rc, fxkernels::dominance d, bool inv) {
  const auto k = read_bright(e, d);
  locked(s, [&](const surf &a) { fxkernels::KeyBright(a, rc, k, inv); });
  return 0;
}

// Radii and sizes are used as read, without clamping.
template <class Kernel>
int shape(effectVideo &e, KORSurface *s, RECT rc, int id1, int id2, bool inv, Kernel kernel) {
  const double v1 = e.GetTimeFloat(id1), v2 = e.GetTimeFloat(id2);
  return locked(s, [&](const surf &a) { kernel(a, rc, v1, v2, inv); });
}

using fxkernels::dominance;

}  // namespace

int effectVideo::KeyRGBProcess(KORSurface *s, RECT rc) { return rgb(*this, s, rc, false); }
int effectVideo::KeyRGBIProcess(KORSurface *s, RECT rc) { return rgb(*this, s, rc, true); }
int effectVideo::KeyChromaProcess(KORSurface *s, RECT rc) { return chroma(*this, s, rc, false); }
int effectVideo::KeyChromaIProcess(KORSurface *s, RECT rc) { return chroma(*this, s, rc, true); }
int effectVideo::KeyGreenProcess(KORSurface *s, RECT rc) {
  return bright(*this, s, rc, dominance::green, false);
}
int effectVideo::KeyGreenIProcess(KORSurface *s, RECT rc) {
  return bright(*this, s, rc, dominance::green, true);
}
int effectVideo::KeyRedProcess(KORSurface *s, RECT rc) { return bright(*this, s, rc, dominance::red, false); }
int effectVideo::KeyRedIProcess(KORSurface *s, RECT rc) { return bright(*this, s, rc, dominance::red, true); }
int effectVideo::KeyBlueProcess(KORSurface *s, RECT rc) {
  return bright(*this, s, rc, dominance::blue, false);
}
int effectVideo::KeyBlueIProcess(KORSurface *s, RECT rc) {
  return bright(*this, s, rc, dominance::blue, true);
}
int effectVideo::KeyBrightProcess(KORSurface *s, RECT rc) {
  return bright(*this, s, rc, dominance::none, false);
}
int effectVideo::KeyBrightIProcess(KORSurface *s, RECT rc) {
  return bright(*this, s, rc, dominance::none, true);
}

int effectVideo::KeyCircleProcess(KORSurface *s, RECT rc) {
  return shape(*this, s, rc, fxid::IDS_RADIUS_1, fxid::IDS_RADIUS_2, false, fxkernels::KeyCircle);
}
int effectVideo::KeyCircleIProcess(KORSurface *s, RECT rc) {
  return shape(*this, s, rc, fxid::IDS_RADIUS_1, fxid::IDS_RADIUS_2, true, fxkernels::KeyCircle);
}
int effectVideo::KeyOvalProcess(KORSurface *s, RECT rc) {
  return shape(*this, s, rc, fxid::IDS_RADIUS_1, fxid::IDS_RADIUS_2, false, fxkernels::KeyOval);
}
int effectVideo::KeyOvalIProcess(KORSurface *s, RECT rc) {
  return shape(*this, s, rc, fxid::IDS_RADIUS_1, fxid::IDS_RADIUS_2, true, fxkernels::KeyOval);
}
int effectVideo::KeyRectProcess(KORSurface *s, RECT rc) {
  return shape(*this, s, rc, fxid::IDS_SIZE1, fxid::IDS_SIZE2, false, fxkernels::KeyRect);
}
int effectVideo::KeyRectIProcess(KORSurface *s, RECT rc) {
  return shape(*this, s, rc, fxid::IDS_SIZE1, fxid::IDS_SIZE2, true, fxkernels::KeyRect);
}

// ---- Variable groups ----

int effectVideo::KeyRGBVars() {
  TV_IDS_RGBKEYVARS();
  TV_IDS_RED();
  TV_IDS_GREEN();
  TV_IDS_BLUE();
  TV_IDS_RED_TOLERANCE();
  TV_IDS_GREEN_TOLERANCE();
  return TV_IDS_BLUE_TOLERANCE();
}

int effectVideo::KeyChromaVars() {
  TV_IDS_YUVKEYVARS();
  // The key colour's channels are declared as members that leave the current group alone.
  DeclareVariable(tfmgr, "IDS_RED", TF_KIND_MEMBER);
  DeclareVariable(tfmgr, "IDS_GREEN", TF_KIND_MEMBER);
  DeclareVariable(tfmgr, "IDS_BLUE", TF_KIND_MEMBER);
  TV_IDS_CHROMA_TOLERANCE();
  return TV_IDS_LUMA_TOLERANCE();
}

int effectVideo::KeyBrightVars() {
  TV_IDS_EFFECT_VARS();
  TV_IDS_BRIGHTNESS1();
  return TV_IDS_BRIGHTNESS2();
}

int effectVideo::KeyCircleVars() {
  TV_IDS_RADII_01();
  TV_IDS_RADIUS_1();
  return TV_IDS_RADIUS_2();
}

int effectVideo::KeyRectVars() {
  TV_IDS_SIZE_01();
  TV_IDS_SIZE1();
  return TV_IDS_SIZE2();
}
