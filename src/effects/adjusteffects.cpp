// The adjusting workers of effectVideo, the adjuster, mapper and opacity effects, and the
// adjuster and mapper variable groups.
#include "effects/adjusteffects.h"

#include "effects/adjusters.h"
#include "effects/levels.h"
#include "media/surface.h"

namespace {

fxkernels::adjustlevels read_adjust(effectVideo &e) {
  fxkernels::adjustlevels l;
  l.red = fxlevels::SignedLevel(e.GetTimeFloat(fxid::IDS_ADJ_RED));
  l.green = fxlevels::SignedLevel(e.GetTimeFloat(fxid::IDS_ADJ_GREEN));
  l.blue = fxlevels::SignedLevel(e.GetTimeFloat(fxid::IDS_ADJ_BLUE));
  l.saturation = fxlevels::UnsignedLevel(e.GetTimeFloat(fxid::IDS_ADJ_SATURATION));
  l.opacity = fxlevels::SignedLevel(e.GetTimeFloat(fxid::IDS_ADJ_OPACITY));
  return l;
}

fxkernels::mapline map_line(effectVideo &e, int low_id, int high_id) {
  return {fxlevels::UnsignedLevel(e.GetTimeFloat(low_id)), fxlevels::UnsignedLevel(e.GetTimeFloat(high_id))};
}

}  // namespace

// ---- Workers ----

int effectVideo::AdjusterProcess(KORSurface *mask, KORSurface *target, RECT rc) {
  // "Adjust Opacity" is read with the others but the keyed adjustment writes colour only.
  const fxkernels::adjustlevels l = read_adjust(*this);
  surf m, t;
  if (!surface::SurfaceDataLock(mask, &m)) return 0;
  if (!surface::SurfaceDataLock(target, &t)) {
    surface::SurfaceDataUnlock(&m);
    return 0;
  }
  fxkernels::AdjustMasked(m, t, rc, l);
  surface::SurfaceDataUnlock(&t);
  surface::SurfaceDataUnlock(&m);
  return 1;
}

int effectVideo::ProcessEffectMapper(KORSurface *s, RECT rc) {
  const fxkernels::maplines l{map_line(*this, fxid::IDS_MAP_RED_0, fxid::IDS_MAP_RED_1),
                              map_line(*this, fxid::IDS_MAP_GREEN_0, fxid::IDS_MAP_GREEN_1),
                              map_line(*this, fxid::IDS_MAP_BLUE_0, fxid::IDS_MAP_BLUE_1),
                              map_line(*this, fxid::IDS_MAP_OPACITY_0, fxid::IDS_MAP_OPACITY_1)};
  surf a;
  if (!surface::SurfaceDataLock(s, &a)) return 0;
  // Even the default levels (0 and 1) are no identity: entry 255 maps to 254.
  fxkernels::Map(a, rc, l);
  surface::SurfaceDataUnlock(&a);
  return 1;
}

// ---- Effects ----

effectAdjuster::effectAdjuster(clip *owner, vemowin *w, surface *s) {
  initEffect(owner, w, s);
  SetID(kType);
  AdjusterVars();
}

int effectAdjuster::Process(KORSurface *, KORSurface *destination, RECT rc) {
  const fxkernels::adjustlevels l = read_adjust(*this);
  surf a;
  if (!surface::SurfaceDataLock(destination, &a)) return 0;
  // No shift and no desaturation (k = 255 - saturation at most 1) leave every pixel as it is.
  const bool identity = !l.red && !l.green && !l.blue && !l.opacity && l.saturation >= 254;
  if (!identity) fxkernels::Adjust(a, rc, l);
  surface::SurfaceDataUnlock(&a);
  return 1;
}

effectMapper::effectMapper(clip *owner, vemowin *w, surface *s) {
  initEffect(owner, w, s);
  SetID(kType);
  VarsEffectMapper();
}

int effectMapper::Process(KORSurface *, KORSurface *destination, RECT rc) {
  return ProcessEffectMapper(destination, rc);
}

effectOpacity::effectOpacity(clip *owner, vemowin *w, surface *s) {
  initEffect(owner, w, s);
  SetID(kType);
  TV_IDS_EFFECT_VARS();
  TV_IDS_OPACITY();
}

int effectOpacity::Process(KORSurface *, KORSurface *destination, RECT rc) {
  const int k = fxlevels::SignedLevel(GetTimeFloat(fxid::IDS_OPACITY));
  if (k == 0) return 1;
  surf a;
  if (!surface::SurfaceDataLock(destination, &a)) return 0;
  fxkernels::AlphaAdd(a, rc, k);
  surface::SurfaceDataUnlock(&a);
  return 1;
}

// ---- Variable groups ----

int effectVideo::AdjusterVars() {
  TV_IDS_ADJVARS_01();
  TV_IDS_ADJ_RED();
  TV_IDS_ADJ_GREEN();
  TV_IDS_ADJ_BLUE();
  TV_IDS_ADJ_SATURATION();
  return TV_IDS_ADJ_OPACITY();
}

int effectVideo::VarsEffectMapper() {
  TV_IDS_MAPVARS_01();
  TV_IDS_MAP_RED_1();
  TV_IDS_MAP_RED_0();
  TV_IDS_MAP_GREEN_1();
  TV_IDS_MAP_GREEN_0();
  TV_IDS_MAP_BLUE_1();
  TV_IDS_MAP_BLUE_0();
  TV_IDS_MAP_OPACITY_1();
  return TV_IDS_MAP_OPACITY_0();
}
