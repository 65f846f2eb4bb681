// The effect framework: set-up, switches, the effect record with its plugin block, the editor's
// forwarding and the variable declarations of the three bases.
#include "effects/effect.h"

#include <strings.h>

#include <cstring>
#include <new>

#include "core/byteorder.h"
#include "core/frect.h"
#include "core/vemowin.h"
#include "media/surface.h"
#include "time/declared_vars.h"

namespace {

// Declarations that differ from their table row for one declarer: the compressor's group heading
// is declared with the bounds of its bands. A group holds no values, but the bounds are written
// with its curve.
struct override_row {
  const char *name;
  double minimum, maximum, defaultvalue;
};
constexpr override_row kAudioOverrides[] = {{"IDS_COMPRESS4", 0.0, 1.0, 1.0}};

int declare(timefloatmgr &mgr, const char *name) { return DeclareVariable(mgr, name); }

int declare_audio(timefloatmgr &mgr, const char *name) {
  const tfdecl *row = FindDeclaredVariable(name);
  if (!row) return 0;
  tfdecl r = *row;
  for (const override_row &o : kAudioOverrides)
    if (strcasecmp(o.name, name) == 0) {
      r.minimum = o.minimum;
      r.maximum = o.maximum;
      r.defaultvalue = o.defaultvalue;
    }
  return DeclareVariable(mgr, r);
}

bool help_registered = false;

}  // namespace

// ---- effect ----

effect::~effect() { delete[] pluginblock; }

bool effect::initEffect(clip *owner, vemowin *w, surface *s) {
  ownerclip = owner;
  effwindow = w;
  effsurface = s;
  wincontext = w;
  surfaces = s;
  window = w ? w->GetWindow() : nullptr;
  delete[] pluginblock;
  pluginblock = nullptr;
  pluginblocksize = 0;
  tfmgr.Attach(this, s, w);
  TV_IDS_EFFECT_SWITCHES();
  TV_IDS_EFFECT_ENABLE();
  TV_IDS_EFFECT_TOGGLE();
  return true;
}

void effect::InitEffectHelp() { help_registered = true; }

const char *effect::EffectHelpText(int type) { return help_registered ? EffectName(type) : ""; }

bool effect::IsActive() {
  return GetTimeFloat(fxid::IDS_EFFECT_ENABLE) >= 0.5 && GetTimeFloat(fxid::IDS_EFFECT_TOGGLE) >= 0.5;
}

const char *effect::SwitchText(int switch_id, bool on) {
  if (switch_id == fxid::IDS_EFFECT_ENABLE) return on ? "Effect Enable" : "Effect Disabled";
  if (switch_id == fxid::IDS_EFFECT_TOGGLE) return on ? "Effect Toggle" : "Effect Toggle Off";
  return "";
}

bool effect::ResetEffect() {
  tfReset();
  return true;
}

uint32_t effect::effQueryAction(HWND hwnd, uint32_t message, POINT pt, int keys) {
  return vemo::QueryAction(hwnd, message, pt, keys);
}

int effect::effDraw(HDC hdc, RECT rc, int flags) { return vemo::Draw(hdc, rc, flags); }

RECT effect::effLayout(RECT rc) { return vemo::Layout(rc); }

uint32_t effect::QueryAction(HWND hwnd, uint32_t message, POINT pt, int keys) {
  const uint32_t own = effQueryAction(hwnd, message, pt, keys);
  return own | tfQueryAction(hwnd, message, pt, keys);
}

int effect::Draw(HDC hdc, RECT rc, int flags) {
  const int shown = tfDraw(hdc, rc, flags);
  return effDraw(hdc, rc, flags) | shown;
}

RECT effect::Layout(RECT rc) {
  const RECT r = tfLayout(rc);
  effLayout(rc);
  return r;
}

// ---- Plugin parameter block and the effect record ----

bool effect::CreatePluginBlock(uint32_t capacity) {
  if (capacity < 4) return false;
  uint8_t *block = new (std::nothrow) uint8_t[capacity]();
  if (!block) return false;
  delete[] pluginblock;
  pluginblock = block;
  pluginblocksize = capacity;
  byteorder::put_le32(pluginblock, 4);
  return true;
}

int effect::Save(FILE *f) {
  if (!f) return 0;
  if (pluginblock && pluginblocksize) {
    // The block as its count says. A count below 4 cannot describe the count itself: it is
    // written as an empty block (count 4). A count beyond the capacity cannot be written.
    uint32_t count = byteorder::le32(pluginblock);
    if (count < 4) count = 4;
    if (count > pluginblocksize) return 0;
    uint8_t head[4];
    byteorder::put_le32(head, count);
    if (std::fwrite(head, 1, 4, f) != 4) return 0;
    if (count > 4 && std::fwrite(pluginblock + 4, 1, count - 4, f) != count - 4) return 0;
  }
  return tfSave(f) ? 1 : 0;
}

int effect::Load(FILE *f) {
  if (!f) return 0;
  int ok = LoadPluginBlock(f);
  // The variables load in every case, also after a refused block.
  if (!tfLoad(f)) ok = 0;
  return ok;
}

int effect::LoadPluginBlock(FILE *f) {
  if (!f) return 0;
  int ok = 1;
  if (pluginblock && pluginblocksize) {
    std::memset(pluginblock, 0, pluginblocksize);
    uint8_t head[4];
    if (std::fread(head, 1, 4, f) != 4) {
      ok = 0;
    } else {
      const uint32_t count = byteorder::le32(head);
      if (count < 4 || count > pluginblocksize) {
        // Refused: the block stays zero. The refused bytes are stepped over so that the
        // variables after them still load.
        ok = 0;
        if (count > 4) std::fseek(f, long(count - 4), SEEK_CUR);
      } else {
        byteorder::put_le32(pluginblock, count);
        if (count > 4 && std::fread(pluginblock + 4, 1, count - 4, f) != count - 4) {
          std::memset(pluginblock, 0, pluginblocksize);
          ok = 0;
        }
      }
    }
  }
  return ok;
}

// ---- effectVideo and effectAudio bases ----

effectVideo::effectVideo() {
  TV_IDS_EFF_RECT();
  TV_IDS_EFF_L();
  TV_IDS_EFF_T();
  TV_IDS_EFF_R();
  TV_IDS_EFF_B();
}

int effectVideo::Process(KORSurface *, KORSurface *, RECT) { return 0; }

int effectVideo::ProcessOntoCopy(KORSurface *source, KORSurface *destination, RECT rc) {
  surface::SurfaceCopy(source, destination);
  return Process(source, destination, rc);
}

int effectVideo::GetEffectRect(int w, int h, RECT *out) {
  if (!out) return 0;
  const frect f(GetTimeFloat(fxid::IDS_EFF_L), GetTimeFloat(fxid::IDS_EFF_T), GetTimeFloat(fxid::IDS_EFF_R),
                GetTimeFloat(fxid::IDS_EFF_B));
  return frect::ScaleToUnity(&f, w, h, out);
}

int effectAudio::Process(int16_t *, int16_t *, int) { return 0; }

// ---- Declarations: one table row each ----

#define VEMO_TV_EFFECT(key, number) \
  int effect::TV_##key() { return declare(tfmgr, #key); }
#define VEMO_TV_VIDEO(key, number) \
  int effectVideo::TV_##key() { return declare(tfmgr, #key); }
#define VEMO_TV_AUDIO(key, number) \
  int effectAudio::TV_##key() { return declare_audio(tfmgr, #key); }

VEMO_EFFECT_SWITCH_VARIABLES(VEMO_TV_EFFECT)
VEMO_EFFECT_VIDEO_VARIABLES(VEMO_TV_VIDEO)
VEMO_EFFECT_AUDIO_VARIABLES(VEMO_TV_AUDIO)
VEMO_TV_AUDIO(IDS_EFFECT_VARS, 428)

#undef VEMO_TV_EFFECT
#undef VEMO_TV_VIDEO
#undef VEMO_TV_AUDIO
