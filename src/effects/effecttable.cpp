// The effect type table: every type number of both factories with its menu group and maker, the
// factories and the selection menus built from it.
#include <iterator>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "core/dialogs.h"
#include "effects/adjusteffects.h"
#include "effects/audioeffects.h"
#include "effects/effect.h"
#include "effects/geometric.h"
#include "effects/interlace.h"
#include "effects/keyeffects.h"
#include "effects/matrixeffects.h"
#include "effects/patterns.h"
#include "effects/plugineffects.h"

namespace {

template <class T>
effect *make(clip *owner, vemowin *window, surface *surfaces) {
  return new (std::nothrow) T(owner, window, surfaces);
}

using fxmenu::kAudioEffects;
using fxmenu::kBasicEffects;
using fxmenu::kInterlacing;
using fxmenu::kPluginEffects;
using fxmenu::kVideoEffects;
constexpr effectkind V = effectkind::video;
constexpr effectkind A = effectkind::audio;

// A row whose maker is null yields no effect and is left out of the menus. "Video Effects" gathers what
// changes the picture beyond its colour and alpha: the keyed adjusters, the geometric effects and the
// neighbourhood filters.
constexpr effecttype kTypes[] = {
    // Basic effects: opacity, colour, keys, mirrors.
    {103, V, kBasicEffects, make<effectOpacity>},
    {106, V, kBasicEffects, make<effectAdjuster>},
    {111, V, kBasicEffects, make<effectMapper>},
    {28, V, kBasicEffects, make<effectKeyRGB>},
    {130, V, kBasicEffects, make<effectKeyRGBI>},
    {29, V, kBasicEffects, make<effectKeyChroma>},
    {131, V, kBasicEffects, make<effectKeyChromaI>},
    {30, V, kBasicEffects, make<effectKeyGreen>},
    {288, V, kBasicEffects, make<effectKeyGreenI>},
    {546, V, kBasicEffects, make<effectKeyRed>},
    {547, V, kBasicEffects, make<effectKeyRedI>},
    {548, V, kBasicEffects, make<effectKeyBlue>},
    {549, V, kBasicEffects, make<effectKeyBlueI>},
    {31, V, kBasicEffects, make<effectKeyBright>},
    {289, V, kBasicEffects, make<effectKeyBrightI>},
    {181, V, kBasicEffects, make<effectKeyCircle>},
    {241, V, kBasicEffects, make<effectKeyCircleI>},
    {244, V, kBasicEffects, make<effectKeyOval>},
    {243, V, kBasicEffects, make<effectKeyOvalI>},
    {247, V, kBasicEffects, make<effectKeyRect>},
    {248, V, kBasicEffects, make<effectKeyRectI>},
    {300, V, kBasicEffects, make<effectFlipX>},
    {301, V, kBasicEffects, make<effectFlipY>},
    // Video effects.
    {252, V, kVideoEffects, make<effectAdjRGB>},
    {253, V, kVideoEffects, make<effectAdjRGBI>},
    {254, V, kVideoEffects, make<effectAdjYUV>},
    {255, V, kVideoEffects, make<effectAdjYUVI>},
    {290, V, kVideoEffects, make<effectAdjGreen>},
    {291, V, kVideoEffects, make<effectAdjGreenI>},
    {550, V, kVideoEffects, make<effectAdjRed>},
    {551, V, kVideoEffects, make<effectAdjRedI>},
    {552, V, kVideoEffects, make<effectAdjBlue>},
    {553, V, kVideoEffects, make<effectAdjBlueI>},
    {292, V, kVideoEffects, make<effectAdjBright>},
    {293, V, kVideoEffects, make<effectAdjBrightI>},
    {256, V, kVideoEffects, make<effectAdjCircle>},
    {257, V, kVideoEffects, make<effectAdjCircleI>},
    {258, V, kVideoEffects, make<effectAdjOval>},
    {259, V, kVideoEffects, make<effectAdjOvalI>},
    {260, V, kVideoEffects, make<effectAdjRect>},
    {261, V, kVideoEffects, make<effectAdjRectI>},
    {266, V, kVideoEffects, make<effectRotator>},
    {282, V, kVideoEffects, make<effectWipe>},
    {419, V, kVideoEffects, make<effectBubble>},
    {443, V, kVideoEffects, make<effectRotX>},
    {449, V, kVideoEffects, make<effectRotY>},
    {439, V, kVideoEffects, make<effectPatHor>},
    {440, V, kVideoEffects, make<effectPatVer>},
    {297, V, kVideoEffects, make<effectSQRT>},
    {676, V, kVideoEffects, make<effectSinkTL>},
    {679, V, kVideoEffects, make<effectFrame01>},
    {182, V, kVideoEffects, make<effectExtraOutput>},
    {72, V, kVideoEffects, make<effectMatrixEdge>},
    {149, V, kVideoEffects, make<effectMatrixBlurr>},
    {78, V, kVideoEffects, make<effectMatrixKeySmothe>},
    // Interlacing.
    {525, V, kInterlacing, make<effectInterlaceFFO>},
    {526, V, kInterlacing, make<effectInterlaceSFO>},
    {527, V, kInterlacing, make<effectInterlaceFB1>},
    // Plugins: the wrapper asks for the plugin itself.
    {122, V, kPluginEffects, effectVideoPlugin::Create},
    // Sound.
    {142, A, kAudioEffects, make<effectVolPan>},
    {514, A, kAudioEffects, make<effectCompEx4>},
    {122, A, kPluginEffects, effectAudioPlugin::Create},
};

const effecttype *find(int type, effectkind kind) {
  for (const effecttype &t : kTypes)
    if (t.type == type && t.kind == kind) return &t;
  return nullptr;
}

effect *create(int type, effectkind kind, clip *owner, vemowin *window, surface *surfaces) {
  const effecttype *t = find(type, kind);
  return t && t->create ? t->create(owner, window, surfaces) : nullptr;
}

// The menu as one list: "Group > Name" per offered type, grouped in table order.
int select(HWND parent, effectkind kind, bool plugins) {
  std::vector<std::string> entries;
  std::vector<int> types;
  for (const effecttype &t : kTypes) {
    if (t.kind != kind || !t.create) continue;
    if (std::string_view(t.group) == kPluginEffects && !plugins) continue;
    entries.push_back(std::string(t.group) + " > " + EffectName(t.type));
    types.push_back(t.type);
  }
  if (entries.empty()) return 0;
  const int chosen = Dialogs().Choose(parent, fxmenu::kEffect, entries);
  return chosen >= 1 && chosen <= int(types.size()) ? types[chosen - 1] : 0;
}

}  // namespace

const effecttype *EffectTypes(size_t *count) {
  if (count) *count = std::size(kTypes);
  return kTypes;
}

const char *EffectName(int type) {
  for (const effecttype &t : kTypes)
    if (t.type == type) return vemo::GetStringPtr(type);
  return "";
}

effectVideo *effectVideo::EffectNew(int type, clip *owner, vemowin *window, surface *surfaces) {
  return static_cast<effectVideo *>(create(type, effectkind::video, owner, window, surfaces));
}

effectAudio *effectAudio::EffectNew(int type, clip *owner, vemowin *window, surface *surfaces) {
  return static_cast<effectAudio *>(create(type, effectkind::audio, owner, window, surfaces));
}

int effectVideo::EffectSelect(HWND parent, surface *, bool plugins) {
  return select(parent, effectkind::video, plugins);
}

int effectAudio::EffectSelect(HWND parent, surface *, bool plugins) {
  return select(parent, effectkind::audio, plugins);
}
